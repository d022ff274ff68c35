#pragma once

#include <string>
#include <vector>

#include "xmlnode/xmlnode.h"

/// The tree of a text for as long as this lives.
class Tree {
public:
    explicit Tree(const std::string& text) : node(xmlnode_parse_string(text.c_str(), 0)) {}
    ~Tree() { xmlnode_free(node); }
    Tree(const Tree&) = delete;
    Tree& operator=(const Tree&) = delete;

    bool isValid() const { return node != nullptr; }
    XmlNode* root() const { return node; }

private:
    XmlNode* node;
};

/// The attribute of a node; "(none)" when there is none.
inline std::string attribute(XmlNode* node, const std::string& name) {
    const char* value = xmlnode_get_attribute_value(node, name.c_str());
    return value != nullptr ? value : "(none)";
}

/// The attribute `name` of each node below with the tag, in order.
inline std::vector<std::string> attributes(XmlNode* node, const std::string& tag,
                                           const std::string& name) {
    std::vector<std::string> values;
    g_autoptr(GList) list = xmlnode_find_tags(node, tag.c_str());
    for (const GList* entry = list; entry != nullptr; entry = entry->next) {
        values.push_back(attribute(static_cast<XmlNode*>(entry->data), name));
    }
    return values;
}

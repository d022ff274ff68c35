#include "xmlnode/xmlnode.h"

#include <cstring>
#include <limits>

#include "xmlnode/element.h"
#include "xmlnode/parser.h"

XmlNode* xmlnode_parse_string(const char* text, gsize length) {
    if (text == nullptr) {
        return nullptr;
    }
    return parser::parse(text, length != 0 ? length : std::strlen(text)).release();
}

GList* xmlnode_find_tags(XmlNode* node, const char* tag) {
    const auto found = elements::find(node, tag, std::numeric_limits<std::size_t>::max());
    GList* list = nullptr;
    for (auto entry = found.rbegin(); entry != found.rend(); ++entry) {
        list = g_list_prepend(list, *entry);
    }
    return list;
}

XmlNode* xmlnode_find_tag(XmlNode* node, const char* tag) {
    const auto found = elements::find(node, tag, 1);
    return found.empty() ? nullptr : found.front();
}

const char* xmlnode_get_attribute_value(XmlNode* node, const char* name) {
    return elements::findAttribute(node, name);
}

void xmlnode_free(XmlNode* root) {
    delete root;
}

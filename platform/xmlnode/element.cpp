#include "xmlnode/element.h"

#include <algorithm>

namespace {

void collect(const XmlNode& node, const std::string& tag, std::size_t limit,
             std::vector<XmlNode*>* found) {
    for (const auto& child : node.children) {
        if (found->size() >= limit) {
            return;
        }
        if (child->tag == tag) {
            found->push_back(child.get());
        }
        collect(*child, tag, limit, found);
    }
}

}  // namespace

std::vector<XmlNode*> elements::find(XmlNode* node, const char* tag, std::size_t limit) {
    std::vector<XmlNode*> found;
    if (node != nullptr && tag != nullptr) {
        collect(*node, tag, limit, &found);
    }
    return found;
}

const char* elements::findAttribute(const XmlNode* node, const char* name) {
    if (node == nullptr || name == nullptr) {
        return nullptr;
    }
    const auto found = std::find_if(node->attributes.begin(), node->attributes.end(),
                                    [name](const auto& entry) { return entry.first == name; });
    return found != node->attributes.end() ? found->second.c_str() : nullptr;
}

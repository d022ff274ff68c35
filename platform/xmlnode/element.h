#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "xmlnode/xmlnode.h"

/// One element of a tree, with all below it.
struct _XmlNode {
    std::string tag;  // without prefix
    std::vector<std::pair<std::string, std::string>> attributes;
    std::vector<std::unique_ptr<_XmlNode>> children;
};

namespace elements {

/// The elements below `node` that have the tag, in document order; no more than `limit`.
std::vector<XmlNode*> find(XmlNode* node, const char* tag, std::size_t limit);

/// The text of an attribute, or null.
const char* findAttribute(const XmlNode* node, const char* name);

}  // namespace elements

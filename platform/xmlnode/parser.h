#pragma once

#include <cstddef>
#include <memory>

#include "xmlnode/element.h"

namespace parser {

/// The tree of a text of `length` bytes, or null.
std::unique_ptr<XmlNode> parse(const char* text, std::size_t length);

}  // namespace parser

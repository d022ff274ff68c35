#pragma once

#include <map>
#include <stdexcept>
#include <string>

/// A text that is no XML document of one root element.
class XmlError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// What the analytics service looks at in the XML texts that pass through it. Declarations of
/// document types are refused, so there are no entities but the five of XML itself.
namespace XmlText {

/// An element without its content. The tag stands without its namespace prefix.
struct Root {
    std::string tag;
    std::map<std::string, std::string> attributes;
};

/// The root of a whole, well-formed document. Throws XmlError.
Root rootOf(const std::string& text);

/// The document with an element a line, two blanks for each level, and a line end at its end; text
/// between tags loses the blanks around it. Throws XmlError.
std::string indented(const std::string& text);

}  // namespace XmlText

#include "events/svg_doc.h"

namespace {

constexpr const char* kOpening =
    "<svg xmlns=\"http://www.w3.org/2000/svg\" version=\"1.1\" baseProfile=\"full\" \n"
    "xmlns:xlink=\"http://www.w3.org/1999/xlink\" \n"
    "width=\"100%\" height=\"100%\" \n"
    "viewBox=\"-1 -1 2 2\" \n"
    "preserveAspectRatio=\"none\" >\n";

}  // namespace

SvgDoc::SvgDoc(const std::string& transform, const std::string& element)
    : head(kOpening + transform) {
    *this += element;
}

SvgDoc& SvgDoc::operator+=(const std::string& element) {
    if (!element.empty()) {
        elements.push_back(element);
    }
    return *this;
}

std::string SvgDoc::toString() const {
    if (elements.empty()) {
        return "<svg><desc></desc></svg>";
    }
    std::string text = head;
    for (const std::string& element : elements) {
        text += element;
    }
    return text + "</g></svg>";
}

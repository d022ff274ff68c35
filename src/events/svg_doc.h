#pragma once

#include <string>
#include <vector>

/// One frame of visual confirmation: SVG elements in the coordinates of the scene divided by 4096,
/// -1 to 1 across the picture, inside one group that puts them onto the client's picture.
class SvgDoc {
public:
    /// An empty picture.
    SvgDoc() = default;
    /// `transform` is the opening tag of the group, as createSVGTransform() makes it.
    SvgDoc(const std::string& transform, const std::string& element);

    /// Appends an element; an empty text is ignored.
    SvgDoc& operator+=(const std::string& element);

    bool hasElements() const { return !elements.empty(); }
    std::string toString() const;

private:
    std::vector<std::string> elements;
    std::string head;
};

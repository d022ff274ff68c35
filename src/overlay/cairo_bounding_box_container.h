#pragma once

#include <map>

#include "overlay/cairo_bounding_box.h"

class TrackingObject;
struct ExternalOverlayUnion;
struct StreamSettings;

/// The boxes of one frame by object id, one each.
class CairoBoundingBoxContainer {
public:
    using Iterator = std::map<int, CairoBoundingBox>::const_iterator;

    /// Adds the box around a centre, in scene units, or replaces the one of that id. A rotation
    /// other than 0, 90, 180 and 270 degrees is logged and gives an empty box.
    void insert(int id, int x, int y, int width, int height, const StreamSettings& settings,
                const ExternalOverlayUnion& margins);

    /// Adds the box of an object, moved along by its velocity for so many microseconds. An object
    /// that is there already keeps its box; one without an outline gets none.
    void insert(const TrackingObject& object, const StreamSettings& settings, const long& age,
                const ExternalOverlayUnion& margins);

    Iterator begin() const { return boxes.begin(); }
    Iterator end() const { return boxes.end(); }
    bool isEmpty() const { return boxes.empty(); }

private:
    std::map<int, CairoBoundingBox> boxes;
};

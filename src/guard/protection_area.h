#pragma once

#include <string>
#include <vector>

#include "geometry/polygon.h"
#include "guard/area_proof.h"

class TrackingObject;

/// The part of the picture that a guard watches: one include polygon minus any number of exclude
/// polygons. Does not change once its guard is in service and is then read without a lock.
class ProtectionArea {
public:
    /// Where an object is.
    enum Where {
        kInside = 0,    ///< some piece of it is in the include polygon and in no exclude polygon
        kOutside = 1,   ///< it does not meet the include polygon
        kExcluded = 2,  ///< what is in the include polygon is excluded, or clipping gave no piece
    };

    explicit ProtectionArea(const Polygon& includeArea);

    /// Adds a copy of the polygon to what is not watched.
    void addExcludeArea(const Polygon& excludeArea);

    /// Where the object's outline is (Where). The object must have one.
    int checkObject(const TrackingObject& object) const;

    /// The same for an outline.
    int checkOutline(const Polygon& outline) const;

    /// The same by clipping alone. Slow; the measure of all shortcuts.
    int checkByClipping(const Polygon& outline) const;

    /// Whether nothing of the piece remains when all exclude polygons have been cut out of it. A
    /// polygon whose vertices all lie in an exclude polygon counts as excluded even where its edges
    /// leave a concave one: vertices only are asked, and that is meant.
    bool isExcluded(const Polygon& piece) const;

    /// The include polygon as an SVG element of the class "includeArea".
    std::string toStringSvg(const std::string& style) const;

private:
    Polygon includeArea;
    std::vector<Polygon> excludeAreas;
    AreaProof proof;
};

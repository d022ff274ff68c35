#include "guard/protection_area.h"

#include <utility>

#include "geometry/polygon_container.h"
#include "tracking/tracking_object.h"

ProtectionArea::ProtectionArea(const Polygon& area) : includeArea(area), proof(area.points) {}

void ProtectionArea::addExcludeArea(const Polygon& excludeArea) {
    excludeAreas.push_back(excludeArea);
    proof.addExcludeArea(excludeArea.points);
}

int ProtectionArea::checkObject(const TrackingObject& object) const {
    return checkOutline(*object.polygon);
}

int ProtectionArea::checkOutline(const Polygon& outline) const {
    switch (proof.ask(outline.points)) {
        case AreaProof::kOutside:
            return kOutside;
        case AreaProof::kInside:
            return kInside;
        case AreaProof::kNothingLeft:
            return includeArea.doesIntersect(outline) ? kExcluded : kOutside;
        default:
            return checkByClipping(outline);
    }
}

int ProtectionArea::checkByClipping(const Polygon& outline) const {
    if (!includeArea.doesIntersect(outline)) {
        return kOutside;
    }
    PolygonContainer pieces;
    includeArea.intersect(outline, pieces);
    for (const Polygon* piece : pieces.polygons) {
        if (!isExcluded(*piece)) {
            return kInside;
        }
    }
    return kExcluded;
}

bool ProtectionArea::isExcluded(const Polygon& piece) const {
    PolygonContainer remaining;
    remaining.insert(piece.clone());
    for (const Polygon& excludeArea : excludeAreas) {
        PolygonContainer outside;
        for (const Polygon* polygon : remaining.polygons) {
            if (excludeArea.isPolygonInside(*polygon)) {
                continue;
            }
            if (excludeArea.doesIntersect(*polygon)) {
                polygon->cutOff(excludeArea, outside);
            } else {
                outside.insert(polygon->clone());
            }
        }
        std::swap(remaining.polygons, outside.polygons);
    }
    return remaining.polygons.empty();
}

std::string ProtectionArea::toStringSvg(const std::string& style) const {
    return includeArea.toStringSvg(style, "includeArea");
}

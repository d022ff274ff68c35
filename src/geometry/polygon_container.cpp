#include "geometry/polygon_container.h"

#include "geometry/polygon.h"

PolygonContainer::PolygonContainer(const PolygonContainer& other) {
    append(other);
}

PolygonContainer& PolygonContainer::operator=(const PolygonContainer& other) {
    PolygonContainer copy(other);
    polygons.swap(copy.polygons);
    return *this;
}

PolygonContainer::~PolygonContainer() {
    clear();
}

void PolygonContainer::insert(Polygon* polygon) {
    polygons.push_back(polygon);
}

void PolygonContainer::append(const PolygonContainer& other) {
    // By index and number: the other may be this one.
    const std::size_t count = other.polygons.size();
    for (std::size_t i = 0; i < count; ++i) {
        insert(other.polygons[i]->clone());
    }
}

void PolygonContainer::takeOwnership(PolygonContainer& other) {
    if (&other == this) {
        return;
    }
    polygons.insert(polygons.end(), other.polygons.begin(), other.polygons.end());
    other.polygons.clear();
}

void PolygonContainer::clear() {
    for (const Polygon* polygon : polygons) {
        delete polygon;
    }
    polygons.clear();
}

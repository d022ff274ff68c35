#pragma once

#include <vector>

class Polygon;

/// A list that owns its polygons; copies are deep.
class PolygonContainer {
public:
    PolygonContainer() = default;
    PolygonContainer(const PolygonContainer& other);
    PolygonContainer& operator=(const PolygonContainer& other);
    ~PolygonContainer();

    /// Takes ownership of the polygon.
    void insert(Polygon* polygon);

    /// Appends clones of the other's polygons.
    void append(const PolygonContainer& other);

    /// Appends the other's polygons themselves and leaves it empty.
    void takeOwnership(PolygonContainer& other);

    /// Deletes all polygons.
    void clear();

    /// Owned.
    std::vector<Polygon*> polygons;
};

#pragma once

#include <cstdint>

#include "scene/nolt_velocity.h"
#include "scene/scene.h"

class Polygon;

/// One object as one scene reports it. It lives as long as its NoltScene.
class NoltObject {
public:
    /// Reads what the capability mask (CapabilityPolygon and so on) asks for; the rest keeps its
    /// initial value. `timestamp` is the scene's, in microseconds.
    NoltObject(const scene_object_st* object, long timestamp, int capabilities);

    /// Takes over both polygons; either may be null.
    NoltObject(int id, long timestamp, const NoltVelocity& velocity, Polygon* polygon,
               Polygon* boundingBox, bool confident);
    ~NoltObject();
    NoltObject(const NoltObject&) = delete;
    NoltObject& operator=(const NoltObject&) = delete;

    /// The polygon's width in scene units, without one the bounding box's, else 0.
    int getWidth() const;
    /// As getWidth(), of the height.
    int getHeight() const;

    std::int32_t id = -1;
    std::int64_t timestamp;
    NoltVelocity velocity;
    Polygon* polygon = nullptr;      ///< owned; the outline, or null
    Polygon* boundingBox = nullptr;  ///< owned, or null
    bool confident = true;

private:
    static Polygon* createPolygon(const scene_object_st* object, scene_prop_e property);
    static void getVelocity(const scene_object_st* object, NoltVelocity& velocity);
    static bool isConfident(const scene_object_st* object);
};

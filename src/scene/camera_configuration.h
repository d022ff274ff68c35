#pragma once

#include <cstdint>
#include <vector>

class Guard;

/// What a configuration says about one camera. A plain value that may be copied: the guards are
/// borrowed by each copy, and the camera that the configuration is applied to takes them over.
class CameraConfiguration {
public:
    /// `id` counts from 1; `rotation` in degrees.
    CameraConfiguration(int id, int rotation);

    /// Appends a guard; null is ignored.
    void insertGuard(Guard* guard);

    /// The guard with that profile id, or null.
    Guard* getGuard(int uid) const;

    int getId() const { return id; }
    int getRotation() const { return rotation; }
    /// In configuration order.
    const std::vector<Guard*>& getGuards() const { return guards; }

    /// Id and rotation.
    bool operator==(const CameraConfiguration& other) const;
    /// The id alone.
    bool operator==(int cameraId) const;

private:
    std::int32_t id;
    std::int32_t rotation;
    std::vector<Guard*> guards;
};

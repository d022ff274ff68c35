#pragma once

#include <cstdint>

#include "tracking/object_storage.h"
#include "tracking/parsed_scene.h"
#include "tracking/tracking_object_merger.h"

class NoltScene;
class NoltSceneEvent;

/// Keeps the tracked objects of one camera across its scenes. Guarded by the camera's lock.
class NoltSceneParser : public TrackingObjectMerger {
public:
    /// Both are given to every new object; the rotation is in degrees.
    NoltSceneParser(int cameraRotation, float aspectRatio);

    /// Applies the scene to the stored objects: sightings, then merges, splits and ends. The result
    /// borrows its active objects until the next call of the parser.
    ParsedScene parse(const NoltScene& scene);

    void mergeTrackingObject(TrackingObject& target,
                             const std::vector<const TrackingObject*>& sources,
                             bool isTargetAmongSources) override;

    /// Another rotation than the present one empties the storage.
    void updateCameraRotation(int rotation);

    /// The stored objects: for the camera, which empties them, and for tests.
    ObjectStorage& getStorage();
    int getCameraRotation() const;

private:
    void createOrUpdateObjects(const NoltScene& scene);
    void mergeObjects(const NoltScene& scene);
    void splitObjects(const NoltScene& scene);
    void moveDeletedObjects(const NoltScene& scene, ParsedScene& parsed);
    void listActiveObjects(const NoltScene& scene, ParsedScene& parsed);
    void mergeObjects(const NoltSceneEvent& event);
    void splitObjects(const NoltSceneEvent& event);

    ObjectStorage storage;
    std::int32_t cameraRotation;
    float aspectRatio;  ///< constant
};

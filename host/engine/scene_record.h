#pragma once

#include <array>
#include <cstdint>

#include "scene/scene.h"
#include "scene/scene_encoder.h"

/// What the engine adds to the records of platform/scene. Scenes within the engine always have a
/// time: on the monotonic clock once a source has played them, from the start within a recording.

/// The confidence of an object that is confirmed and measured in this very picture; whatever is
/// less counts as low.
inline constexpr std::int16_t fullConfidence = 4096;

/// The scene's time in nanoseconds.
inline std::int64_t sceneTime(const SceneRecord& scene) {
    return static_cast<std::int64_t>(scene.time.value_or(0));
}

inline void setSceneTime(SceneRecord& scene, std::int64_t time) {
    scene.time = static_cast<std::uint64_t>(time);
}

/// The four corners of the box between two opposite ones; the first and the third are those two.
inline std::array<ScenePoint, 4> boxCorners(ScenePoint first, ScenePoint second) {
    return {first, ScenePoint{first.x, second.y}, second, ScenePoint{second.x, first.y}};
}

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

/// The writing side of scene payloads, for whoever makes scenes: the scene engine, tests,
/// benchmarks. Plain records in, one heap block out that scene_copy_from_area() reads.

/// A point in scene units.
struct ScenePoint {
    std::int16_t x = 0;
    std::int16_t y = 0;

    friend bool operator==(const ScenePoint&, const ScenePoint&) = default;
};

/// Scene units per second.
struct SceneVelocity {
    std::int32_t x = 0;
    std::int32_t y = 0;

    friend bool operator==(const SceneVelocity&, const SceneVelocity&) = default;
};

/// One object; what is not set does not exist in the payload.
struct SceneObjectRecord {
    std::int32_t id = 0;
    std::optional<std::vector<ScenePoint>> polygon = {};  ///< at most SCENE_MAX_POINTS
    std::optional<std::array<ScenePoint, 4>> boundingBox = {};
    std::optional<SceneVelocity> velocity = {};
    std::optional<std::int16_t> confidence = {};  ///< 4096 is full confidence
};

/// One statement about objects; `action` is a scene_event_action_e.
struct SceneEventRecord {
    int action = 0;
    std::vector<std::int32_t> ids = {};
    std::vector<std::int32_t> relatedIds = {};
};

struct SceneRecord {
    std::optional<std::uint64_t> time = {};  ///< nanoseconds on the monotonic clock
    std::vector<SceneObjectRecord> objects = {};
    std::vector<SceneEventRecord> events = {};
};

/// The properties of objects that a payload can leave out, as the bits of a scene stream's
/// capability mask.
enum SceneProperties : unsigned {
    SceneBoundingBoxes = 1,
    ScenePolygons = 2,
    SceneVelocities = 4,
    SceneConfidences = 8,
    SceneAllProperties = 15,
};

/// An encoded scene in a block of malloc(3).
class ScenePayload {
public:
    /// Takes the block over.
    ScenePayload(char* block, std::size_t size);

    const char* data() const;
    std::size_t size() const;
    /// Transfers the block to the caller, who releases it with free(3).
    char* release();

private:
    struct Free {
        void operator()(char* block) const;
    };
    std::unique_ptr<char, Free> block;
    std::size_t length;
};

/// Writes scenes one after the other, keeping its working memory. One thread at a time.
class SceneEncoder {
public:
    SceneEncoder();
    ~SceneEncoder();
    SceneEncoder(const SceneEncoder&) = delete;
    SceneEncoder& operator=(const SceneEncoder&) = delete;

    /// The payload of the scene, objects and events in the given order, with those properties of
    /// its objects that stand in `properties` (bits of SceneProperties). Which objects are served
    /// to whom is the caller's affair. An outline of more than SCENE_MAX_POINTS points is a
    /// std::length_error.
    ScenePayload encode(const SceneRecord& scene, unsigned properties = SceneAllProperties);

private:
    class Writer;
    std::unique_ptr<Writer> writer;
};

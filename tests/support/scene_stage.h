#pragma once

#include <chrono>
#include <map>
#include <vector>

#include "scene/nolt_scene.h"
#include "scene/scene_encoder.h"

/// Width and height in scene units.
struct SceneSize {
    int width;
    int height;
};

/// One object as the tracking engine would report it, from scene to scene. What is told of it holds
/// until something else is told.
class Track {
public:
    explicit Track(int id);

    /// Shows up, or is somewhere else: a box around the centre, of full confidence.
    Track& enters(ScenePoint centre, SceneSize size);
    /// The same box around another centre.
    Track& moves(ScenePoint centre);
    /// A box of another size around the same centre.
    Track& grows(SceneSize size);
    /// Shows up with, or takes, an outline of its own.
    Track& takesOutline(std::vector<ScenePoint> outline);
    /// Shows up without an outline.
    Track& losesOutline();
    Track& runs(int velocityX, int velocityY);
    /// 4096 is full confidence.
    Track& hasConfidence(int confidence);
    /// Is reported without a confidence.
    Track& hasNoConfidence();
    /// Is reported no more, and nothing is said about it.
    Track& hides();

    bool isPresent() const;
    const SceneObjectRecord& record() const;

private:
    Track& shows();

    SceneObjectRecord object;
    ScenePoint centre;
    SceneSize size = {0, 0};
    bool present = false;
};

/// Makes scenes: tracks that go on from one scene to the next, and events that belong to one.
///
///     scene.track(7).enters({0, 0}, {100, 200});
///     const ParsedScene first = parser.parse(scene.at(1s));
///     scene.track(7).moves({50, 0});
///     const ParsedScene second = parser.parse(scene.at(2500ms));
class SceneStage {
public:
    using Time = std::chrono::nanoseconds;

    /// The mask the system asks for: everything but bounding boxes.
    static constexpr int usualCapabilities = 14;

    /// The track of the id, hidden at first.
    Track& track(int id);

    /// Tells in the next scene that the objects ended. Their tracks hide.
    void ends(const std::vector<int>& ids);
    /// Tells in the next scene that the objects ended, and goes on showing them.
    void endsButShows(const std::vector<int>& ids);
    /// Tells in the next scene that the sources were merged into the target.
    void merges(int target, const std::vector<int>& sources);
    /// Tells in the next scene that the parts split off from the source.
    void splits(int source, const std::vector<int>& parts);

    /// The scene at the time: decoded, encoded, or as a record. Present tracks in the order of
    /// their ids. Its events are then told.
    NoltScene at(Time time, int capabilities = usualCapabilities);
    ScenePayload payloadAt(Time time);
    SceneRecord recordAt(Time time);

private:
    std::map<int, Track> tracks;
    std::vector<SceneEventRecord> events;
};

#include "engine/recording_source.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "engine/clock.h"

namespace {

/// Calls `visit` with every id of the scene, to read or to change.
template <typename Scene, typename Visit>
void forEachId(Scene& scene, Visit visit) {
    for (auto& object : scene.objects) {
        visit(object.id);
    }
    for (auto& event : scene.events) {
        std::for_each(event.ids.begin(), event.ids.end(), visit);
        std::for_each(event.relatedIds.begin(), event.relatedIds.end(), visit);
    }
}

}  // namespace

RecordingSource::RecordingSource(Recording scenes, bool loop, Clock& time)
    : recording(std::move(scenes)),
      looping(loop),
      interval(recording.medianInterval()),
      clock(time) {
    for (const SceneRecord& scene : recording.scenes) {
        forEachId(scene, [this](std::int32_t id) {
            lowestId = std::min(lowestId, id);
            highestId = std::max(highestId, id);
        });
    }
}

void RecordingSource::run(std::int64_t start, SourceListener& listener) {
    live.end();
    raise = 0;
    const std::int64_t length = sceneTime(recording.scenes.back()) + interval;
    for (; playPass(start, listener); start += length) {
        if (!looping) {
            followWithEmptyScenes(start + length, listener);
            return;
        }
        raiseIds();
    }
}

// One pass through the recording; false when the engine is to stop.
bool RecordingSource::playPass(std::int64_t start, SourceListener& listener) {
    std::vector<std::int32_t> ended = live.end();
    for (const SceneRecord& original : recording.scenes) {
        if (!clock.waitUntil(start + sceneTime(original))) {
            return false;
        }
        SceneRecord scene = raised(original);
        setSceneTime(scene, start + sceneTime(original));
        live.follow(scene);
        if (!ended.empty()) {
            scene.events.insert(scene.events.begin(),
                                {SCENE_ACTION_DELETE, std::exchange(ended, {}), {}});
        }
        listener.onScene(scene);
    }
    return true;
}

void RecordingSource::followWithEmptyScenes(std::int64_t from, SourceListener& listener) {
    for (SceneRecord empty; clock.waitUntil(from); from += interval) {
        setSceneTime(empty, from);
        listener.onScene(empty);
    }
}

SceneRecord RecordingSource::raised(const SceneRecord& scene) const {
    SceneRecord copy = scene;
    forEachId(copy, [this](std::int32_t& id) { id = static_cast<std::int32_t>(id + raise); });
    return copy;
}

// When no higher ids are left it starts over from the recording's own, all of which have ended.
void RecordingSource::raiseIds() {
    raise += std::int64_t{highestId} - lowestId + 1;
    if (highestId + raise > std::numeric_limits<std::int32_t>::max()) {
        raise = 0;
    }
}

SourceDescription RecordingSource::describe() const {
    SourceDescription description;
    description.kind = "scenes";
    description.name = recording.name;
    description.framesPerSecond = 1e9 / static_cast<double>(interval);
    return description;
}

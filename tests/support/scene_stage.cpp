#include "support/scene_stage.h"

#include <utility>

#include "scene/scene.h"

namespace {

constexpr int fullConfidence = 4096;

ScenePoint point(int x, int y) {
    return {static_cast<std::int16_t>(x), static_cast<std::int16_t>(y)};
}

std::vector<ScenePoint> box(ScenePoint centre, SceneSize size) {
    const int left = centre.x - size.width / 2;
    const int low = centre.y - size.height / 2;
    const int right = left + size.width;
    const int high = low + size.height;
    return {point(left, low), point(left, high), point(right, high), point(right, low)};
}

}  // namespace

Track::Track(int id) {
    object.id = id;
    object.velocity = SceneVelocity{};
    object.confidence = fullConfidence;
}

Track& Track::shows() {
    present = true;
    object.polygon = box(centre, size);
    return *this;
}

Track& Track::enters(ScenePoint newCentre, SceneSize newSize) {
    centre = newCentre;
    size = newSize;
    return shows();
}

Track& Track::moves(ScenePoint newCentre) {
    centre = newCentre;
    return shows();
}

Track& Track::grows(SceneSize newSize) {
    size = newSize;
    return shows();
}

Track& Track::takesOutline(std::vector<ScenePoint> outline) {
    present = true;
    object.polygon = std::move(outline);
    return *this;
}

Track& Track::losesOutline() {
    present = true;
    object.polygon.reset();
    return *this;
}

Track& Track::runs(int velocityX, int velocityY) {
    object.velocity = SceneVelocity{velocityX, velocityY};
    return *this;
}

Track& Track::hasConfidence(int confidence) {
    object.confidence = static_cast<std::int16_t>(confidence);
    return *this;
}

Track& Track::hasNoConfidence() {
    object.confidence.reset();
    return *this;
}

Track& Track::hides() {
    present = false;
    return *this;
}

bool Track::isPresent() const {
    return present;
}

const SceneObjectRecord& Track::record() const {
    return object;
}

Track& SceneStage::track(int id) {
    return tracks.try_emplace(id, id).first->second;
}

void SceneStage::ends(const std::vector<int>& ids) {
    endsButShows(ids);
    for (const int id : ids) {
        track(id).hides();
    }
}

void SceneStage::endsButShows(const std::vector<int>& ids) {
    events.push_back({SCENE_ACTION_DELETE, ids, {}});
}

void SceneStage::merges(int target, const std::vector<int>& sources) {
    events.push_back({SCENE_ACTION_MERGE, {target}, sources});
}

void SceneStage::splits(int source, const std::vector<int>& parts) {
    events.push_back({SCENE_ACTION_SPLIT, {source}, parts});
}

SceneRecord SceneStage::recordAt(Time time) {
    SceneRecord scene;
    scene.time = static_cast<std::uint64_t>(time.count());
    for (const auto& [id, track] : tracks) {
        if (track.isPresent()) {
            scene.objects.push_back(track.record());
        }
    }
    scene.events = std::exchange(events, {});
    return scene;
}

ScenePayload SceneStage::payloadAt(Time time) {
    return SceneEncoder().encode(recordAt(time));
}

NoltScene SceneStage::at(Time time, int capabilities) {
    return NoltScene(payloadAt(time).data(), capabilities);
}

#include "engine/scene_analyser.h"

#include <algorithm>
#include <utility>

#include "engine/blob_finder.h"
#include "engine/outline.h"

namespace {

constexpr double viewWidth = 8192;
constexpr double leastInterval = 0.001;
constexpr double mostInterval = 2.0;

std::array<ScenePoint, 4> boxOf(const std::vector<ScenePoint>& polygon) {
    ScenePoint low = polygon.front();
    ScenePoint high = polygon.front();
    for (const ScenePoint& point : polygon) {
        low = {std::min(low.x, point.x), std::min(low.y, point.y)};
        high = {std::max(high.x, point.x), std::max(high.y, point.y)};
    }
    return boxCorners(low, high);
}

std::int16_t confidenceOf(const ObjectTrack& track) {
    if (track.isMeasured()) {
        return fullConfidence;
    }
    const int share = cvRound(fullConfidence * track.seenShare());
    return static_cast<std::int16_t>(std::clamp(share, 0, fullConfidence - 1));
}

}  // namespace

SceneAnalyser::SceneAnalyser(const AnalysisSettings& values) : settings(values), tracker(values) {}

SceneRecord SceneAnalyser::analyse(const cv::Mat& picture, std::int64_t time) {
    if (picture.size() != view) {
        forget();
        view = picture.size();
    }
    if (!segmenter) {
        segmenter = std::make_unique<Segmenter>(settings);
        begin = time;
        last = 0;
    }
    const double now = static_cast<double>(time - begin) / 1e9;
    const double interval = std::clamp(now - last, leastInterval, mostInterval);
    const bool usable = segmenter->update(picture, now, tracker.held(now));
    last = now;
    tracker.predict(interval);
    std::vector<Blob> blobs;
    if (usable) {
        blobs = BlobFinder::find(*segmenter, tracker.expectations(), settings);
    }
    std::vector<SceneEventRecord> events = tracker.update(blobs, now, interval, view);
    SceneRecord scene = emptyScene(time);
    std::move(events.begin(), events.end(), std::back_inserter(scene.events));
    for (const ObjectTrack& track : tracker.all()) {
        if (track.isConfirmed()) {
            scene.objects.push_back(describe(track, view));
        }
    }
    return scene;
}

SceneRecord SceneAnalyser::emptyScene(std::int64_t time) {
    SceneRecord scene;
    setSceneTime(scene, time);
    if (!ended.empty()) {
        scene.events.push_back({SCENE_ACTION_DELETE, std::exchange(ended, {}), {}});
    }
    return scene;
}

void SceneAnalyser::interrupt() {
    const std::vector<std::int32_t> ids = tracker.end();
    ended.insert(ended.end(), ids.begin(), ids.end());
}

void SceneAnalyser::forget() {
    interrupt();
    segmenter.reset();
}

SceneObjectRecord SceneAnalyser::describe(const ObjectTrack& track, cv::Size size) const {
    SceneObjectRecord object;
    object.id = track.id;
    object.polygon =
        Outline::make(track.points, track.single, track.shift(), size, settings.mostVertices);
    object.boundingBox = boxOf(*object.polygon);
    const cv::Point2d velocity = track.velocity();
    object.velocity = SceneVelocity{cvRound(velocity.x / size.width * viewWidth),
                                    cvRound(-velocity.y / size.height * viewWidth)};
    object.confidence = confidenceOf(track);
    return object;
}

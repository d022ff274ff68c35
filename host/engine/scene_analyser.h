#pragma once

#include <cstdint>
#include <memory>
#include <opencv2/core.hpp>
#include <vector>

#include "engine/analysis_settings.h"
#include "engine/scene_record.h"
#include "engine/segmenter.h"
#include "engine/tracker.h"

/// Makes scenes of the pictures of one view. Ids start at 1 and are never reused.
class SceneAnalyser {
public:
    explicit SceneAnalyser(const AnalysisSettings& values = {});

    /// The scene of a picture: 3 channels of 8 bits, blue first. `time`, in nanoseconds, increases
    /// from call to call.
    SceneRecord analyse(const cv::Mat& picture, std::int64_t time);

    /// A scene where there is no picture.
    SceneRecord emptyScene(std::int64_t time);

    /// The pictures make a jump: no object is followed across it. The next scene deletes them all.
    void interrupt();
    /// As interrupt(), and the next picture shows another view.
    void forget();

private:
    SceneObjectRecord describe(const ObjectTrack& track, cv::Size view) const;

    const AnalysisSettings settings;
    std::unique_ptr<Segmenter> segmenter;
    Tracker tracker;
    std::vector<std::int32_t> ended;  // still to be told
    cv::Size view;
    std::int64_t begin = 0;
    double last = 0;
};

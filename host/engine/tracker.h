#pragma once

#include <cstdint>
#include <opencv2/core.hpp>
#include <vector>

#include "engine/analysis_settings.h"
#include "engine/blob_finder.h"
#include "engine/object_track.h"
#include "engine/scene_record.h"

/// Follows the objects of one view. For each picture predict(), then update() with what the picture
/// shows. Ids start at 1 and never come again. Every confirmed track that ends is told of by a
/// delete or a merge. Times are in seconds.
class Tracker {
public:
    explicit Tracker(const AnalysisSettings& values) : settings(values) {}

    void predict(double interval);

    /// Puts the blobs of the present picture to the tracks; what happened to confirmed tracks.
    std::vector<SceneEventRecord> update(const std::vector<Blob>& blobs, double time,
                                         double interval, cv::Size view);

    /// Ends all tracks; the ids of those that were confirmed.
    std::vector<std::int32_t> end();

    /// The confirmed tracks as predicted.
    std::vector<Expectation> expectations() const;
    /// The boxes of confirmed tracks that have not stood still for too long.
    std::vector<cv::Rect2d> held(double time) const;
    const std::vector<ObjectTrack>& all() const { return tracks; }

private:
    /// One picture's blobs, and who has which.
    struct Matching {
        const std::vector<Blob>& blobs;
        std::vector<int> blobOf;   // by track
        std::vector<int> trackOf;  // by blob
        std::vector<bool> merged;  // by track: it has ended
    };

    void mergeSwallowed(Matching& matching, double interval, std::vector<SceneEventRecord>& events);
    bool isSwallowed(const ObjectTrack& track, const ObjectTrack& other, const Blob& blob) const;
    std::vector<ObjectTrack> startFresh(const Matching& matching, double time);
    int sourceOf(const Blob& blob, const Matching& matching) const;
    void confirm(ObjectTrack& track, const std::vector<ObjectTrack>& alive,
                 std::vector<SceneEventRecord>& events);

    const AnalysisSettings settings;
    std::vector<ObjectTrack> tracks;
    std::int32_t nextId = 1;
};

#pragma once

#include <cstdint>
#include <opencv2/core.hpp>
#include <opencv2/video/tracking.hpp>

#include "engine/blob.h"

struct AnalysisSettings;

/// One object followed from picture to picture: where it was measured, where it is believed to be.
/// Times are in seconds, positions in picture points.
///
///     fresh --seen often and long enough--> confirmed (has an id)
///
/// For each picture predict() comes first, then correct() or miss().
class ObjectTrack {
public:
    ObjectTrack(const Blob& blob, double time);

    void predict(double interval);
    void correct(const Blob& blob, double time, double interval);
    void miss(double interval);
    void confirm(std::int32_t number) { id = number; }

    bool isConfirmed() const { return id != 0; }
    bool isMeasured() const { return misses == 0; }
    bool isRipe(double time, const AnalysisSettings& settings) const;
    bool isLost(double time, cv::Size view, const AnalysisSettings& settings) const;

    /// The box in which the present picture should show it.
    cv::Rect2d predicted() const;
    /// How far off the prediction may be.
    double uncertainty() const;
    cv::Point2d velocity() const;
    void setVelocity(cv::Point2d value);
    /// From where it was measured to where it is believed to be now.
    cv::Point2d shift() const;
    /// Recent share of pictures that showed it, 0..1.
    double seenShare() const { return hitRate; }

    std::int32_t id = 0;      ///< 0: not confirmed
    std::int32_t parent = 0;  ///< of the track it seems to have split off from; 0: none
    cv::Size2d size;          ///< smoothed
    double area = 0;          ///< smoothed
    Contour points;           ///< as last measured
    bool single = true;       ///< as last measured
    cv::Rect2d box;           ///< as last measured
    double born = 0;
    double moved = 0;      ///< when it last was elsewhere
    double swallowed = 0;  ///< how long it has been inside another track's blob

private:
    cv::KalmanFilter filter;
    cv::Point2d movedFrom;
    double seen = 0;
    double hitRate = 0.5;
    int hits = 1;
    int misses = 0;
};

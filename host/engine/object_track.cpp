#include "engine/object_track.h"

#include <algorithm>
#include <cmath>

#include "engine/analysis_settings.h"
#include "engine/boxes.h"

namespace {

// The state is position and velocity; noise is told in body lengths, so that near and far objects
// are treated alike.
constexpr int states = 4;
constexpr int measurements = 2;
constexpr double measurementNoise = 0.08;
constexpr double startNoise = 0.1;
constexpr double startSpeedNoise = 1.5;
constexpr double smoothing = 0.3;
constexpr double forgetting = 0.5;
constexpr double movedShare = 0.25;
constexpr double leavingShare = 0.6;
/// Times are rounded: a limit met to the millisecond is met, in every pass and on every machine.
constexpr double rounding = 0.001;

double bodyLength(const cv::Size2d& size) {
    return std::max(size.width, size.height);
}

double square(double value) {
    return value * value;
}

}  // namespace

ObjectTrack::ObjectTrack(const Blob& blob, double time)
    : size(blob.box.size()),
      area(blob.area),
      points(blob.points),
      single(blob.single),
      box(blob.box),
      born(time),
      moved(time),
      filter(states, measurements, 0, CV_64F),
      movedFrom(Boxes::centre(blob.box)),
      seen(time) {
    const double length = bodyLength(size);
    cv::setIdentity(filter.transitionMatrix);
    cv::setIdentity(filter.measurementMatrix);
    cv::setIdentity(filter.measurementNoiseCov, square(measurementNoise * length));
    cv::setIdentity(filter.errorCovPost, square(startNoise * length));
    filter.errorCovPost.at<double>(2, 2) = filter.errorCovPost.at<double>(3, 3) =
        square(startSpeedNoise * length);
    filter.statePost.at<double>(0) = movedFrom.x;
    filter.statePost.at<double>(1) = movedFrom.y;
    filter.statePost.copyTo(filter.statePre);
}

void ObjectTrack::predict(double interval) {
    filter.transitionMatrix.at<double>(0, 2) = interval;
    filter.transitionMatrix.at<double>(1, 3) = interval;
    const double acceleration = square(bodyLength(size));  // one body length per second squared
    cv::Mat& noise = filter.processNoiseCov;
    noise.setTo(0);
    for (int i = 0; i < 2; ++i) {
        noise.at<double>(i, i) = acceleration * std::pow(interval, 4) / 4;
        noise.at<double>(i, i + 2) = noise.at<double>(i + 2, i) =
            acceleration * std::pow(interval, 3) / 2;
        noise.at<double>(i + 2, i + 2) = acceleration * square(interval);
    }
    filter.predict();
}

void ObjectTrack::correct(const Blob& blob, double time, double interval) {
    const cv::Point2d centre = Boxes::centre(blob.box);
    filter.correct((cv::Mat_<double>(2, 1) << centre.x, centre.y));
    const double weight = 1 - std::exp(-interval / smoothing);
    size.width += weight * (blob.box.width - size.width);
    size.height += weight * (blob.box.height - size.height);
    area += weight * (blob.area - area);
    hitRate += weight * (1 - hitRate);
    points = blob.points;
    single = blob.single;
    box = blob.box;
    if (cv::norm(centre - movedFrom) > movedShare * bodyLength(box.size())) {
        movedFrom = centre;
        moved = time;
    }
    seen = time;
    ++hits;
    misses = 0;
    swallowed = 0;
}

void ObjectTrack::miss(double interval) {
    ++misses;
    hitRate *= std::exp(-interval / forgetting);
}

bool ObjectTrack::isRipe(double time, const AnalysisSettings& settings) const {
    return isMeasured() && hits >= settings.confirmPictures &&
           time - born >= settings.confirmAfter - rounding;
}

bool ObjectTrack::isLost(double time, cv::Size view, const AnalysisSettings& settings) const {
    if (!isConfirmed()) {
        return time - seen > settings.coastUnconfirmed + rounding;
    }
    const cv::Rect2d whole(0, 0, view.width, view.height);
    const bool leaving = !isMeasured() && Boxes::shareInside(predicted(), whole) < leavingShare;
    return time - seen > (leaving ? settings.coastLeaving : settings.coast) + rounding;
}

cv::Rect2d ObjectTrack::predicted() const {
    return {filter.statePre.at<double>(0) - size.width / 2,
            filter.statePre.at<double>(1) - size.height / 2, size.width, size.height};
}

double ObjectTrack::uncertainty() const {
    return std::sqrt(filter.errorCovPre.at<double>(0, 0));
}

cv::Point2d ObjectTrack::velocity() const {
    return {filter.statePost.at<double>(2), filter.statePost.at<double>(3)};
}

void ObjectTrack::setVelocity(cv::Point2d value) {
    filter.statePost.at<double>(2) = value.x;
    filter.statePost.at<double>(3) = value.y;
}

cv::Point2d ObjectTrack::shift() const {
    return isMeasured() ? cv::Point2d() : Boxes::centre(predicted()) - Boxes::centre(box);
}

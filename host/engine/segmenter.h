#pragma once

#include <cstdint>
#include <opencv2/core.hpp>
#include <opencv2/video/background_segm.hpp>
#include <vector>

#include "engine/analysis_settings.h"
#include "engine/blob.h"

/// Tells what moves from what belongs to the view: a background that is learned slowly, steadied
/// against changes of brightness, with places that flicker all the time silenced.
///
///     warming up --time and pictures--> watching <--light changes at once / pause over--> blinded
///
/// All pictures of one segmenter have the same size and come with times that increase.
class Segmenter {
public:
    explicit Segmenter(const AnalysisSettings& values);

    /// Takes the next picture, `time` in seconds. `held` are the boxes of objects that must not
    /// fade into the background. False while the mask is not to be trusted.
    bool update(const cv::Mat& picture, double time, const std::vector<cv::Rect2d>& held);

    /// Of the last picture: 255 where something moves, else 0.
    const cv::Mat& mask() const { return foreground; }

    /// Whether a blob of the last picture is only light: the background's own texture, brighter or
    /// darker.
    bool isLight(const Blob& blob);

private:
    void prepare(const cv::Size& size);
    void steadyBrightness(double interval);
    double learningRate(double interval) const;
    bool isWarm() const;
    void separate(double rate, const std::vector<cv::Rect2d>& held);
    void silenceBlinking(double interval);
    bool isFlooded();

    const AnalysisSettings settings;
    cv::Ptr<cv::BackgroundSubtractorMOG2> model;
    double begin = 0;
    double last = 0;
    double blindUntil = -1;
    std::int64_t pictures = 0;
    cv::Mat blurred;
    cv::Mat grid;   // brightness of a coarse grid, long-term
    cv::Mat clean;  // the last picture, without the held objects
    cv::Mat notHeld;
    cv::Mat foreground;
    cv::Mat before;    // the foreground of the picture before
    cv::Mat toggling;  // share of pictures in which a pixel toggles
    cv::Mat scratch;
    cv::Mat grey;            // of the last picture, made when first needed
    cv::Mat greyBackground;  // likewise
    cv::Mat openKernel;
    cv::Mat closeKernel;
};

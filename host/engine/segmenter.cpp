#include "engine/segmenter.h"

#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>

#include "engine/boxes.h"

namespace {

constexpr int historyPictures = 500;  // overridden by the explicit rates
constexpr int white = 255;
constexpr int shadowLimit = 200;  // the model marks shadows with 127
const cv::Size gridSize{64, 48};
constexpr double leastGain = 0.6;
constexpr double mostGain = 1.6;
constexpr double blindMemory = 1.0;
constexpr double heldMargin = 0.15;

/// What a time constant comes to for one picture.
double share(double interval, double memory) {
    return 1 - std::exp(-interval / memory);
}

float median(cv::Mat values) {
    const auto middle = values.begin<float>() + static_cast<std::ptrdiff_t>(values.total() / 2);
    std::nth_element(values.begin<float>(), middle, values.end<float>());
    return *middle;
}

}  // namespace

Segmenter::Segmenter(const AnalysisSettings& values)
    : settings(values),
      model(cv::createBackgroundSubtractorMOG2(historyPictures, values.varianceThreshold, true)) {
    model->setVarMin(values.leastVariance);
}

bool Segmenter::update(const cv::Mat& picture, double time, const std::vector<cv::Rect2d>& held) {
    if (pictures == 0) {
        begin = time;
        prepare(picture.size());
    }
    const double interval = pictures == 0 ? 0.04 : std::clamp(time - last, 0.001, 2.0);
    last = time;
    grey.release();
    cv::GaussianBlur(picture, blurred, {3, 3}, 0);
    steadyBrightness(interval);
    separate(learningRate(interval), held);
    silenceBlinking(interval);
    cv::morphologyEx(foreground, foreground, cv::MORPH_OPEN, openKernel);
    cv::morphologyEx(foreground, foreground, cv::MORPH_CLOSE, closeKernel);
    const bool trusted = isWarm() && !isFlooded();
    ++pictures;
    return trusted;
}

void Segmenter::prepare(const cv::Size& size) {
    const int width = std::max(3, size.width / 96) | 1;
    openKernel = cv::getStructuringElement(cv::MORPH_ELLIPSE, {3, 3});
    // Taller than wide: what falls apart is mostly people, at the waist.
    closeKernel = cv::getStructuringElement(cv::MORPH_ELLIPSE, {width, width * 2 | 1});
}

// Automatic exposure and passing clouds: the typical cell of a coarse grid keeps its brightness.
void Segmenter::steadyBrightness(double interval) {
    cv::Mat small;
    cv::Mat cells;
    cv::resize(blurred, small, gridSize, 0, 0, cv::INTER_AREA);
    cv::cvtColor(small, cells, cv::COLOR_BGR2GRAY);
    cells.convertTo(cells, CV_32F, 1, 1);
    if (grid.empty()) {
        grid = cells;
        return;
    }
    const double gain = std::clamp(1.0 / median(cells / grid), leastGain, mostGain);
    cv::accumulateWeighted(cells, grid, share(interval, settings.backgroundMemory));
    blurred.convertTo(blurred, -1, gain);
}

bool Segmenter::isWarm() const {
    return last - begin >= settings.warmUp && pictures >= settings.warmUpPictures;
}

// Every picture counts the same during the warm-up; a slow rate straight away would let drifting
// brightness become foreground.
double Segmenter::learningRate(double interval) const {
    if (!isWarm()) {
        return 1.0 / static_cast<double>(pictures + 1);
    }
    const double memory =
        std::clamp(last - begin, settings.settledMemory, settings.backgroundMemory);
    const double rate = share(interval, memory);
    return last < blindUntil ? std::max(rate, share(interval, blindMemory)) : rate;
}

void Segmenter::separate(double rate, const std::vector<cv::Rect2d>& held) {
    if (!isWarm()) {
        model->apply(blurred, foreground, rate);
    } else {
        // The model has no mask for updates: it is taught the last picture without the held
        // objects, every second time, and only asked about the real one.
        notHeld.create(blurred.size(), CV_8U);
        notHeld.setTo(white);
        for (const cv::Rect2d& box : held) {
            const cv::Rect inside =
                cv::Rect(Boxes::grown(box, heldMargin)) & cv::Rect({0, 0}, blurred.size());
            if (!inside.empty()) {
                notHeld(inside).setTo(0);
            }
        }
        if (clean.empty()) {
            clean = blurred.clone();
        }
        blurred.copyTo(clean, notHeld);
        model->apply(blurred, foreground, 0);
        if (pictures % 2 == 0) {
            model->apply(clean, scratch, 1 - (1 - rate) * (1 - rate));
        }
    }
    cv::threshold(foreground, foreground, shadowLimit, white, cv::THRESH_BINARY);
}

// Leaves, water, flickering lamps: pixels that toggle all the time say nothing.
void Segmenter::silenceBlinking(double interval) {
    if (before.empty()) {
        before = foreground.clone();
        toggling = cv::Mat::zeros(foreground.size(), CV_32F);
    }
    cv::bitwise_xor(foreground, before, scratch);
    foreground.copyTo(before);
    cv::accumulateWeighted(scratch, toggling, share(std::max(interval, 0.1), settings.blinkMemory));
    cv::Mat around;
    cv::boxFilter(toggling, around, -1, {5, 5});
    cv::compare(around, settings.blinkShare * white, scratch, cv::CMP_LT);
    cv::bitwise_and(foreground, scratch, foreground);
}

// Half the view does not start to move at once: the light was switched, or the camera was.
bool Segmenter::isFlooded() {
    if (cv::countNonZero(foreground) >
        settings.floodShare * static_cast<double>(foreground.total())) {
        blindUntil = last + settings.floodPause;
    }
    return last < blindUntil;
}

bool Segmenter::isLight(const Blob& blob) {
    if (blob.area < settings.lightLeastShare * static_cast<double>(foreground.total())) {
        return false;
    }
    if (grey.empty()) {
        cv::Mat background;
        model->getBackgroundImage(background);
        cv::cvtColor(background, greyBackground, cv::COLOR_BGR2GRAY);
        cv::cvtColor(blurred, grey, cv::COLOR_BGR2GRAY);
    }
    const cv::Rect box(blob.box);
    cv::Mat inside = cv::Mat::zeros(box.size(), CV_8U);
    cv::fillPoly(inside, std::vector<Contour>{blob.points}, white, cv::LINE_8, 0, -box.tl());
    cv::Mat result;
    cv::matchTemplate(grey(box), greyBackground(box), result, cv::TM_CCOEFF_NORMED, inside);
    const float correlation = result.at<float>(0);
    // An even surface has no texture to compare; the result is then beyond 1 or no number.
    return correlation > settings.lightCorrelation && correlation <= 1.01f;
}

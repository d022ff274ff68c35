#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "engine/picture_pace.h"
#include "engine/picture_scaler.h"
#include "engine/scene_analyser.h"

class Clock;
class SourceListener;

/// Shows decoded pictures at their times: waits, analyses, and hands picture and scene on. What a
/// video file and a live stream have in common.
class PicturePlayer {
public:
    /// Clock and destination are borrowed. `sourceName` is what messages call the source,
    /// `usualInterval` is in nanoseconds, 0 if not known. Pictures of a live source come when they
    /// come; those of any other can wait.
    PicturePlayer(std::string sourceName, bool isLive, std::int64_t usualInterval, Clock& time,
                  SourceListener& destination);

    /// The pictures make a jump. The next one is due at `time`, or after the last one if that is
    /// later.
    void restart(std::int64_t time);

    /// Shows a picture with the time that its stream gives it. False when the engine is to stop.
    bool show(const AVFrame& picture, std::optional<std::int64_t> streamTime);

    /// Shows an empty scene at its time. False when the engine is to stop.
    bool showNothing();

    /// When showNothing() would.
    std::int64_t nextTime() const { return last + pace.interval(); }

private:
    std::int64_t timeOf(std::optional<std::int64_t> streamTime);
    void fail(const std::string& reason);

    const std::string name;
    const bool live;
    Clock& clock;
    SourceListener& listener;
    PicturePace pace;
    PictureScaler scaler;
    SceneAnalyser analyser;
    std::int64_t last = 0;
    bool failing = false;
};

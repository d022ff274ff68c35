#pragma once

#include "engine/input_file.h"
#include "engine/picture_shape.h"
#include "engine/source.h"

class Clock;
class PicturePlayer;
class VideoFile;

/// Plays a video file at its own pace. A scene is stamped with the time at which its picture is
/// due.
///
/// At the end, in a loop: the file again; all objects are deleted in the first scene of the new
/// pass and times go on. Played once: empty scenes at the median interval.
class VideoSource : public Source {
public:
    /// Opens the file and decodes a picture. `time` is borrowed. Throws SourceError.
    VideoSource(InputFile video, bool loop, Clock& time);

    void run(std::int64_t start, SourceListener& listener) override;
    SourceDescription describe() const override;

private:
    enum class PassEnd { Stopped, Finished, Fruitless };
    PassEnd playPass(PicturePlayer& player);
    void reportEnd(const VideoFile& pass, long pictures);

    const InputFile file;
    const bool looping;
    Clock& clock;
    PictureShape shape;
    double framesPerSecond = 0;
    bool damageTold = false;
};

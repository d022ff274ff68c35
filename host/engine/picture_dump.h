#pragma once

#include <cstddef>
#include <deque>
#include <string>
#include <vector>

#include "engine/av_pointers.h"
#include "engine/source.h"

/// Keeps the last pictures of one camera as JPEG files in a folder, each named by its scene's time.
/// Used from one thread.
///
///     camera1_2026-01-01T12:00:00.040000Z_5025040000.jpg
///
/// The first time is the scene's as events carry it, UTC in microseconds; the two clocks are
/// compared anew for each picture, so it may differ from an event's by some microseconds. The
/// second is the same on the monotonic clock, in microseconds, exactly the scene's.
///
/// A file is whole from the moment it has its name. A picture that cannot be kept is left out; that
/// is told once on standard error, and again after one that could be kept.
class PictureDump : public PictureListener {
public:
    static constexpr std::size_t usualMost = 300;

    /// Counts the pictures in `folder` that an earlier engine has left of this camera among the
    /// `most` it keeps. Throws SourceError "FOLDER: reason".
    PictureDump(std::string folder, int camera, std::size_t most = usualMost);
    ~PictureDump() override;
    PictureDump(const PictureDump&) = delete;
    PictureDump& operator=(const PictureDump&) = delete;

    /// Never throws.
    void onPicture(const Picture& picture) override;

private:
    void findKept();
    std::string nameOf(const Picture& picture) const;
    void encode(const AVFrame& picture);
    void openEncoder(int width, int height);
    void scale(const AVFrame& picture);
    void write(const std::string& name) const;
    void forgetOldest();

    const std::string folder;
    const std::string prefix;
    const std::size_t most;
    std::deque<std::string> kept;  // oldest first
    AvCodec encoder;               // null until the first picture
    AvScaler scaler;
    AvFrame scaled;
    AvPacket packet;
    bool failing = false;
};

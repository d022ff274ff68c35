#pragma once

#include <cstdint>
#include <string>

#include "engine/scene_record.h"

struct AVFrame;

/// What a source is, for the device's parameters.
struct SourceDescription {
    std::string kind;  ///< "video", "scenes" or "pipe"
    std::string name;
    int width = 1280;  ///< of the picture as shown, with square pixels
    int height = 720;
    double framesPerSecond = 0;  ///< 0: not known
};

/// A decoded picture in its full size, borrowed for the call.
struct Picture {
    const AVFrame* frame;
    std::int64_t time;  ///< nanoseconds, the same as its scene's
};

/// Takes a source's pictures, on the source's thread.
class PictureListener {
public:
    virtual ~PictureListener() = default;
    /// Comes before the scene made of the picture. A source without pictures never calls it.
    virtual void onPicture(const Picture&) {}
};

/// Takes all that a source yields, on the source's thread.
class SourceListener : public PictureListener {
public:
    virtual void onScene(const SceneRecord& scene) = 0;
};

/// Where scenes come from. Construction opens and checks it and throws SourceError; run() plays it
/// on the calling thread until the engine is to stop. Whatever befalls a source while it runs,
/// scenes keep coming: empty ones if there is nothing to see.
class Source {
public:
    virtual ~Source() = default;

    /// Plays from `start`, nanoseconds on the monotonic clock. Scene times never decrease.
    virtual void run(std::int64_t start, SourceListener& listener) = 0;

    virtual SourceDescription describe() const = 0;
    /// Whether it goes on by itself. Anything else waits for its first client.
    virtual bool isLive() const { return false; }
};

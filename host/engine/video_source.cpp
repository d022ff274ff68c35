#include "engine/video_source.h"

#include <cmath>
#include <cstdio>
#include <utility>

#include "engine/clock.h"
#include "engine/picture_player.h"
#include "engine/source_error.h"
#include "engine/video_file.h"

namespace {

constexpr double second = 1e9;
constexpr std::int64_t retryAfter = 1'000'000'000;

}  // namespace

VideoSource::VideoSource(InputFile video, bool loop, Clock& time)
    : file(std::move(video)), looping(loop), clock(time) {
    VideoFile check(file);
    if (check.next() == nullptr) {
        throw SourceError(file.name() + ": no picture can be decoded");
    }
    shape = check.shape();
    framesPerSecond = check.framesPerSecond();
}

void VideoSource::run(std::int64_t start, SourceListener& listener) {
    const double interval = framesPerSecond > 0 ? second / framesPerSecond : 0;
    PicturePlayer player(file.name(), false, std::llround(interval), clock, listener);
    player.restart(start);
    for (;;) {
        const PassEnd end = playPass(player);
        if (end == PassEnd::Stopped) {
            return;
        }
        player.restart(0);
        if (end == PassEnd::Finished && looping) {
            continue;
        }
        const std::int64_t retry = clock.now() + retryAfter;
        while (!looping || clock.now() < retry) {
            if (!player.showNothing()) {
                return;
            }
        }
    }
}

VideoSource::PassEnd VideoSource::playPass(PicturePlayer& player) {
    try {
        VideoFile pass(file);
        long pictures = 0;
        while (const AVFrame* picture = pass.next()) {
            if (!player.show(*picture, pass.time())) {
                return PassEnd::Stopped;
            }
            ++pictures;
        }
        reportEnd(pass, pictures);
        return pictures > 0 ? PassEnd::Finished : PassEnd::Fruitless;
    } catch (const SourceError& error) {
        std::fprintf(stderr, "plinth: %s\n", error.what());
        return PassEnd::Fruitless;
    }
}

void VideoSource::reportEnd(const VideoFile& pass, long pictures) {
    if (pass.failure() != 0) {
        std::fprintf(stderr, "plinth: %s: cannot be read beyond picture %ld: %s\n",
                     file.name().c_str(), pictures, avErrorText(pass.failure()).c_str());
    }
    if (pass.damaged() > 0 && !std::exchange(damageTold, true)) {
        std::fprintf(stderr, "plinth: %s: %ld damaged pieces were left out\n", file.name().c_str(),
                     pass.damaged());
    }
}

SourceDescription VideoSource::describe() const {
    return {"video", file.name(), shape.width, shape.height, framesPerSecond};
}

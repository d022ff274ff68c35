#include "engine/picture_player.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "engine/clock.h"
#include "engine/source.h"

namespace {

/// A picture that is later than this was held up.
constexpr std::int64_t mostLate = 1'000'000'000;
/// A live picture that comes earlier than this before its time is one of a burst: it would be shown
/// late, and all after it.
constexpr std::int64_t mostEarlyLive = 200'000'000;
constexpr std::int64_t leastStep = 1'000'000;

}  // namespace

PicturePlayer::PicturePlayer(std::string sourceName, bool isLive, std::int64_t usualInterval,
                             Clock& time, SourceListener& destination)
    : name(std::move(sourceName)),
      live(isLive),
      clock(time),
      listener(destination),
      pace(usualInterval) {}

void PicturePlayer::restart(std::int64_t time) {
    analyser.interrupt();
    pace.restart(time);
}

bool PicturePlayer::show(const AVFrame& picture, std::optional<std::int64_t> streamTime) {
    const std::int64_t due = timeOf(streamTime);
    if (!clock.waitUntil(due)) {
        return false;
    }
    last = due;
    try {
        listener.onPicture({&picture, due});
        listener.onScene(analyser.analyse(scaler.scale(picture), due));
        failing = false;
    } catch (const std::exception& error) {
        fail(error.what());
        listener.onScene(analyser.emptyScene(due));
    }
    return true;
}

std::int64_t PicturePlayer::timeOf(std::optional<std::int64_t> streamTime) {
    const std::int64_t due = pace.due(streamTime);
    const std::int64_t early = due - clock.now();
    std::int64_t slip = 0;
    if (early < -mostLate) {
        // Held up, by a slow machine or a stopped process: play on from here, picture by picture.
        slip = -early;
    } else if (live && early > mostEarlyLive) {
        slip = -std::min(early - mostEarlyLive, std::max<std::int64_t>(due - last - leastStep, 0));
    }
    pace.slip(slip);
    return due + slip;
}

// One line, not one for each picture.
void PicturePlayer::fail(const std::string& reason) {
    analyser.forget();
    if (!std::exchange(failing, true)) {
        std::fprintf(stderr, "plinth: %s: %s\n", name.c_str(), reason.c_str());
    }
}

bool PicturePlayer::showNothing() {
    const std::int64_t due = pace.due({});
    if (!clock.waitUntil(due)) {
        return false;
    }
    last = due;
    listener.onScene(analyser.emptyScene(due));
    return true;
}

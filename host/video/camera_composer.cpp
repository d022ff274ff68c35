#include "video/camera_composer.h"

#include <algorithm>
#include <exception>
#include <string>
#include <utility>

#include "video/log.h"
#include "video/picture_frame.h"

using std::chrono::steady_clock;

namespace {

std::int64_t microseconds(PictureQueue::Time time) {
    return std::chrono::duration_cast<std::chrono::microseconds>(time.time_since_epoch()).count();
}

}  // namespace

CameraComposer::CameraComposer(int camera, AvFrame first, const OverlaySource& source, Taker taker)
    : number(camera), overlays(source), take(std::move(taker)), queue(std::move(first)) {
    thread = std::thread(&CameraComposer::run, this);
}

CameraComposer::~CameraComposer() {
    {
        const std::lock_guard lock(mutex);
        isEnding = true;
    }
    changed.notify_one();
    thread.join();
}

void CameraComposer::add(const AVFrame& picture) {
    AvFrame shared = sharePictureFrame(picture);
    {
        const std::lock_guard lock(mutex);
        queue.add(std::move(shared), steady_clock::now());
        if (watched.empty()) {
            return;
        }
    }
    changed.notify_one();
}

void CameraComposer::setDemand(const Stream& stream, const StreamDemand& demand) {
    {
        const std::lock_guard lock(mutex);
        if (demand.isNone()) {
            watched.erase(stream.id);
        } else {
            const auto [entry, isNew] = watched.try_emplace(stream.id, Watched{stream, {}});
            const bool isKeyWanted = entry->second.demand.keyPicture;
            entry->second.demand = demand;
            entry->second.demand.keyPicture |= isKeyWanted;
        }
    }
    changed.notify_one();
}

void CameraComposer::run() {
    std::unique_lock lock(mutex);
    while (!isEnding) {
        if (watched.empty()) {
            lock.unlock();
            painters.clear();
            lock.lock();
            changed.wait(lock, [this] { return isEnding || !watched.empty(); });
            continue;
        }
        const auto next = queue.nextTime();
        const auto now = steady_clock::now();
        if (now < next) {
            changed.wait_until(lock, next);
            continue;
        }
        const Round round = takeRound(now);
        lock.unlock();
        paint(round);
        lock.lock();
    }
}

// Called with the mutex held.
CameraComposer::Round CameraComposer::takeRound(PictureQueue::Time now) {
    const PictureQueue::Due due = queue.take(now);
    Round round = {sharePictureFrame(*due.picture), due.time, {}};
    for (auto& [id, stream] : watched) {
        round.streams.push_back(stream);
        stream.demand.keyPicture = false;
    }
    return round;
}

void CameraComposer::paint(const Round& round) {
    const auto isWatched = [&](int id) {
        return std::any_of(round.streams.begin(), round.streams.end(),
                           [&](const Watched& other) { return other.stream.id == id; });
    };
    std::erase_if(painters, [&](const auto& painter) { return !isWatched(painter.first); });
    userOverlays.keepStreams(isWatched);
    std::string failure;
    for (const Watched& stream : round.streams) {
        try {
            paint(round, stream);
        } catch (const std::exception& error) {
            failure = error.what();
        }
    }
    tellOutcome(failure);
}

void CameraComposer::paint(const Round& round, const Watched& stream) {
    const auto begin = steady_clock::now();
    StreamPainter& painter =
        painters.try_emplace(stream.stream.id, stream.stream, overlays, userOverlays).first->second;
    ComposedPicture picture =
        painter.paint(*round.picture, microseconds(round.time), stream.demand);
    take({stream.stream.id, begin, std::move(picture)});
}

// Once, until all streams work again.
void CameraComposer::tellOutcome(const std::string& failure) {
    const bool hasFailed = !failure.empty();
    if (!std::exchange(isFailing, hasFailed) && hasFailed) {
        say("a picture of camera " + std::to_string(number) + " could not be shown: " + failure);
    }
}

#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <utility>
#include <vector>

#include "engine/av_pointers.h"
#include "video/picture_sink.h"

/// Keeps the pictures it is given, all of them to its end, and can hold up the one who brings them.
class PictureCollector : public PictureSink {
public:
    struct Entry {
        int camera;
        std::int64_t time;
        const AVFrame* frame;  ///< stays the collector's
    };

    void onPicture(int camera, const AVFrame& picture, std::int64_t time) override {
        std::unique_lock lock(mutex);
        kept.emplace_back(av_frame_clone(&picture));
        entries.push_back({camera, time, kept.back().get()});
        changed.notify_all();
        changed.wait(lock, [this] { return !held; });
    }

    /// Returns the new pictures once there are so many, or after 20 seconds what there is.
    std::vector<Entry> take(std::size_t count) {
        std::unique_lock lock(mutex);
        changed.wait_for(lock, std::chrono::seconds(20), [&] { return entries.size() >= count; });
        return std::exchange(entries, {});
    }

    /// From the next picture on whoever brings one waits until it is let go.
    void hold(bool wanted) {
        const std::lock_guard lock(mutex);
        held = wanted;
        changed.notify_all();
    }

private:
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<Entry> entries;  // guarded by mutex
    // Let go of when no receiver runs any more: ThreadSanitizer does not see how libav counts.
    std::vector<AvFrame> kept;  // guarded by mutex
    bool held = false;          // guarded by mutex
};

#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <vector>

#include "engine/av_pointers.h"
#include "video/picture_sink.h"

/// Keeps the pictures it is given, and can hold up the one who brings them.
class PictureCollector : public PictureSink {
public:
    struct Entry {
        int camera;
        std::int64_t time;
        AvFrame frame;
    };

    void onPicture(int camera, const AVFrame& picture, std::int64_t time) override {
        std::unique_lock lock(mutex);
        entries.push_back({camera, time, AvFrame(av_frame_clone(&picture))});
        changed.notify_all();
        changed.wait(lock, [this] { return !held; });
    }

    /// Returns the pictures once there are so many, or after 20 seconds what there is.
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
    bool held = false;           // guarded by mutex
};

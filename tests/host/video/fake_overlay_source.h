#pragma once

#include <atomic>
#include <condition_variable>
#include <mutex>

#include "video/overlay_snapshot.h"

/// Overlays as a test sets them, the same over every stream.
class FakeOverlaySource : public OverlaySource {
public:
    OverlaySnapshot getSnapshot(const Stream&) const override {
        std::unique_lock lock(mutex);
        ++asked;
        OverlaySnapshot answer = snapshot;
        changed.wait(lock, [this] { return !isHeld; });
        return answer;
    }

    void set(OverlaySnapshot next) {
        const std::lock_guard lock(mutex);
        snapshot = std::move(next);
    }

    /// While held, who asks gets what there is at that moment, but not before it is let go.
    void hold(bool held) {
        const std::lock_guard lock(mutex);
        isHeld = held;
        changed.notify_all();
    }

    /// How many pictures have been composed.
    int countOfPictures() const { return asked; }

private:
    mutable std::atomic<int> asked = 0;
    mutable std::mutex mutex;
    mutable std::condition_variable changed;
    OverlaySnapshot snapshot;
    bool isHeld = false;
};

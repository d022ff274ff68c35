#pragma once

#include <atomic>
#include <mutex>

#include "video/overlay_snapshot.h"

/// Overlays as a test sets them, the same over every stream.
class FakeOverlaySource : public OverlaySource {
public:
    OverlaySnapshot getSnapshot(const Stream&) const override {
        ++asked;
        const std::lock_guard lock(mutex);
        return snapshot;
    }

    void set(OverlaySnapshot next) {
        const std::lock_guard lock(mutex);
        snapshot = std::move(next);
    }

    /// How many pictures have been composed.
    int countOfPictures() const { return asked; }

private:
    mutable std::atomic<int> asked = 0;
    mutable std::mutex mutex;
    OverlaySnapshot snapshot;
};

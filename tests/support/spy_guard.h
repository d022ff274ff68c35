#pragma once

#include <algorithm>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "guard/area_guard.h"
#include "support/wait_for.h"

/// What several spy guards saw, a line each, in order. Any thread may call.
class Journal {
public:
    void write(const std::string& line) {
        const std::lock_guard lock(mutex);
        lines.push_back(line);
    }
    /// What was written since the last call.
    std::vector<std::string> take() {
        const std::lock_guard lock(mutex);
        return std::exchange(lines, {});
    }
    bool has(const std::string& line) const {
        const std::lock_guard lock(mutex);
        return std::ranges::count(lines, line) != 0;
    }
    /// Waits for a line; false after ten seconds.
    bool getsInTime(const std::string& line) const {
        return waitFor([&] { return has(line); });
    }

private:
    mutable std::mutex mutex;
    std::vector<std::string> lines;
};

/// An area guard of the whole picture that writes down what its camera asks of it, each line after
/// its profile's id:
///
///     7: scene 5000 3@4000 4@5000     time, and id and first sight of each active object
///     7: startup -3     7: arrive 2 6000     7: leave 7000     7: move 1 8000
///     7: test           7: deleted
class SpyGuard : public AreaGuard {
public:
    SpyGuard(int profile, int camera, StateEventProducerI& producer, Journal& shared);
    ~SpyGuard() override;

    AlarmData* checkObjects(ParsedScene& scene) override;
    void sendAlarmEvent() override;
    void handleStartupPreset(int preset) override;
    void handleArrivingAtPreset(int preset, const long& time) override;
    void handleLeavingPreset(const long& time) override;
    void handleMovementEvent(bool moving, const long& time) override;

private:
    void write(const std::string& text);

    Journal& journal;
};

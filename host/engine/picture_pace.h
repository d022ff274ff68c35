#pragma once

#include <cstdint>
#include <optional>
#include <vector>

/// Turns a stream's own times into the times at which its pictures are due. All in nanoseconds.
///
/// Due times always increase. Within a pass they keep the stream's intervals; a time that is
/// missing, goes back, or jumps ahead by more than 10 s is replaced by the usual interval, and what
/// follows counts from there.
class PicturePace {
public:
    /// Until the stream shows its intervals: `usual`, 0 if not known.
    explicit PicturePace(std::int64_t usual = 0);

    /// The first picture after this is due at `time`, or one interval after the last one if that is
    /// later.
    void restart(std::int64_t time);

    /// When the next picture is due; `streamTime` is its own time.
    std::int64_t due(std::optional<std::int64_t> streamTime);

    /// The clock has run away from the stream: all later pictures are due so much later.
    void slip(std::int64_t duration);

    /// The median interval so far.
    std::int64_t interval() const;

private:
    void learn(std::int64_t length);

    std::int64_t usualInterval;
    std::vector<std::int64_t> intervals;  // the first ones
    std::optional<std::int64_t> last;     // due
    std::optional<std::int64_t> offset;   // due - stream time, once known in this pass
    std::int64_t passStart = 0;
};

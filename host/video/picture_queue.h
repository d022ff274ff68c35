#pragma once

#include <chrono>
#include <cstddef>
#include <deque>

#include "engine/av_pointers.h"

/// The pictures of one camera on their way to being composed, and when that is due: a fixed time
/// after a picture has come, so that what is drawn for it is there as well. While no new one comes,
/// the last one is due again and again.
///
/// Knows no clock: each call is told the time. Not guarded.
class PictureQueue {
public:
    using Time = std::chrono::steady_clock::time_point;

    static constexpr std::chrono::milliseconds delay{60};
    static constexpr std::chrono::milliseconds repeatInterval{100};
    /// When more pictures are on their way than this, the oldest is left out.
    static constexpr std::size_t mostWaiting = 8;

    struct Due {
        const AVFrame* picture;  ///< the queue's, until its next change
        /// When it was due; what nobody has looked at for long was due just now.
        Time time;
    };

    /// `first` is shown until a picture is due.
    explicit PictureQueue(AvFrame first);

    void add(AvFrame picture, Time now);

    /// When something is due next: the first picture on its way, or the last one again. May have
    /// passed.
    Time nextTime() const;

    /// Takes what is due by `now`: the latest of several pictures. Only to be called when
    /// nextTime() has passed.
    Due take(Time now);

private:
    struct Waiting {
        AvFrame picture;
        Time due;
    };

    void forgetPassed(Time now);

    AvFrame shown;
    Time shownDue;
    bool isShown = true;  ///< false when nobody has taken `shown` yet
    Time lastTaken;
    std::deque<Waiting> waiting;  ///< oldest first
};

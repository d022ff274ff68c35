#include "video/picture_queue.h"

#include <algorithm>
#include <utility>

PictureQueue::PictureQueue(AvFrame first) : shown(std::move(first)) {}

void PictureQueue::add(AvFrame picture, Time now) {
    forgetPassed(now);
    if (waiting.size() == mostWaiting) {
        waiting.pop_front();
    }
    waiting.push_back({std::move(picture), now + delay});
}

PictureQueue::Time PictureQueue::nextTime() const {
    if (!isShown) {
        return shownDue;
    }
    return waiting.empty() ? lastTaken + repeatInterval : waiting.front().due;
}

PictureQueue::Due PictureQueue::take(Time now) {
    forgetPassed(now);
    const Time due = isShown ? now : std::max(shownDue, now - repeatInterval);
    isShown = true;
    lastTaken = now;
    return {shown.get(), due};
}

// Also while nobody looks, so that no more pictures are kept than are on their way.
void PictureQueue::forgetPassed(Time now) {
    while (!waiting.empty() && waiting.front().due <= now) {
        shown = std::move(waiting.front().picture);
        shownDue = waiting.front().due;
        isShown = false;
        waiting.pop_front();
    }
}

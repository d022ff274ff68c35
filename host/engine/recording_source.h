#pragma once

#include "engine/live_ids.h"
#include "engine/recording.h"
#include "engine/source.h"

class Clock;

/// Plays a recording at its own pace: a scene is stamped start + its time, exactly.
///
/// At the end, played once: empty scenes at the median interval. In a loop: the recording again,
/// one median interval after its last scene. The first scene of the new pass deletes all ids that
/// still live, times go on, and ids are raised by as much as keeps the passes apart.
class RecordingSource : public Source {
public:
    /// `time` is borrowed.
    RecordingSource(Recording scenes, bool loop, Clock& time);

    void run(std::int64_t start, SourceListener& listener) override;
    SourceDescription describe() const override;

private:
    bool playPass(std::int64_t start, SourceListener& listener);
    void followWithEmptyScenes(std::int64_t from, SourceListener& listener);
    SceneRecord raised(const SceneRecord& scene) const;
    void raiseIds();

    const Recording recording;
    const bool looping;
    const std::int64_t interval;
    Clock& clock;
    LiveIds live;
    std::int32_t lowestId = 1;
    std::int32_t highestId = 0;
    std::int64_t raise = 0;
};

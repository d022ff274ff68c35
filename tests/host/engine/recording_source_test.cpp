#include "engine/recording_source.h"

#include <gmock/gmock.h>

#include <limits>

#include "engine/recording_parser.h"
#include "jumping_clock.h"
#include "scene_collector.h"

using testing::ElementsAre;

namespace {

constexpr std::int64_t second = 1'000'000'000;
constexpr std::int64_t start = 1000 * second;

Recording recordingOf(const std::vector<std::string>& lines) {
    RecordingParser parser("walk");
    for (const std::string& line : lines) {
        parser.addLine(line);
    }
    return parser.finish();
}

SceneCollector play(const std::vector<std::string>& lines, bool loop, std::int64_t duration) {
    JumpingClock clock(start, start + duration);
    SceneCollector scenes;
    RecordingSource(recordingOf(lines), loop, clock).run(start, scenes);
    return scenes;
}

const std::vector<std::string> walk = {
    R"({"time":0.5,"objects":[{"id":1},{"id":2}]})",
    R"({"time":0.75,"objects":[{"id":1},{"id":3}],"events":[{"action":"merge","ids":[1],"relatedIds":[2]}]})",
    R"({"time":1.0,"objects":[{"id":1}],"events":[{"action":"split","ids":[1],"relatedIds":[1,3]}]})"};

/// Lets a scene take its time.
class SlowCollector : public SceneCollector {
public:
    SlowCollector(JumpingClock& time, std::int64_t duration) : clock(time), work(duration) {}
    void onScene(const SceneRecord& scene) override {
        begins.push_back(clock.now());
        SceneCollector::onScene(scene);
        clock.pass(work);
    }
    std::vector<std::int64_t> begins;

private:
    JumpingClock& clock;
    const std::int64_t work;
};

}  // namespace

TEST(RecordingSource, StampsScenesWithStartPlusTime) {
    EXPECT_THAT(play(walk, false, second + 1).times(start),
                ElementsAre(second / 2, second * 3 / 4, second));
}

TEST(RecordingSource, PlaysEverySceneAtItsTimeAndAsItIs) {
    JumpingClock clock(start, start + second + 1);
    SlowCollector scenes(clock, 0);
    RecordingSource(recordingOf(walk), false, clock).run(start, scenes);
    EXPECT_THAT(scenes.begins,
                ElementsAre(start + second / 2, start + second * 3 / 4, start + second));
    EXPECT_EQ(scenes.lines(start)[1], R"({"time":0.75,"objects":[{"id":1},{"id":3}],)"
                                      R"("events":[{"action":"merge","ids":[1],"relatedIds":[2]}]})"
                                      "\n");
}

TEST(RecordingSource, KeepsItsTimesWhenItIsHeldUp) {
    JumpingClock clock(start, start + 2 * second);
    SlowCollector scenes(clock, 3 * second);
    RecordingSource(recordingOf(walk), false, clock).run(start, scenes);
    EXPECT_THAT(scenes.times(start), testing::Contains(second * 3 / 4));
}

TEST(RecordingSource, FollowsTheEndWithEmptyScenesAtTheMedianInterval) {
    const SceneCollector scenes = play(walk, false, second * 7 / 4);
    EXPECT_THAT(scenes.lines(start),
                ElementsAre(testing::_, testing::_, testing::_, "{\"time\":1.25,\"objects\":[]}\n",
                            "{\"time\":1.5,\"objects\":[]}\n"));
}

TEST(RecordingSource, LoopsWithDeletesHigherIdsAndTimesThatGoOn) {
    const SceneCollector scenes = play(walk, true, second * 3);
    EXPECT_THAT(scenes.lines(start),
                ElementsAre(testing::_, testing::_, testing::_,
                            R"({"time":1.75,"objects":[{"id":4},{"id":5}],)"
                            R"("events":[{"action":"delete","ids":[1,3]}]})"
                            "\n",
                            R"({"time":2.0,"objects":[{"id":4},{"id":6}],)"
                            R"("events":[{"action":"merge","ids":[4],"relatedIds":[5]}]})"
                            "\n",
                            R"({"time":2.25,"objects":[{"id":4}],)"
                            R"("events":[{"action":"split","ids":[4],"relatedIds":[4,6]}]})"
                            "\n"));
}

TEST(RecordingSource, ANewPassDeletesBeforeAnythingElse) {
    const SceneCollector scenes =
        play({R"({"time":0,"objects":[{"id":1}],"events":[{"action":"delete","ids":[9]}]})"}, true,
             second / 5);
    ASSERT_EQ(scenes.scenes.size(), 2u);
    ASSERT_EQ(scenes.scenes[1].events.size(), 2u);
    EXPECT_THAT(scenes.scenes[1].events[0].ids, ElementsAre(1));
    EXPECT_THAT(scenes.scenes[1].events[1].ids, ElementsAre(18));
}

TEST(RecordingSource, KeepsPassesApartWithIdsBelowOne) {
    const SceneCollector scenes =
        play({R"({"time":0,"objects":[{"id":-5},{"id":0}]})"}, true, second / 5);
    ASSERT_EQ(scenes.scenes.size(), 2u);
    EXPECT_EQ(scenes.scenes[1].objects[0].id, 1);
    EXPECT_EQ(scenes.scenes[1].objects[1].id, 6);
}

TEST(RecordingSource, StartsIdsOverWhenThereAreNoneLeft) {
    const SceneCollector scenes =
        play({R"({"time":0,"objects":[{"id":2147483647}]})"}, true, second / 5);
    ASSERT_EQ(scenes.scenes.size(), 2u);
    EXPECT_EQ(scenes.scenes[1].objects[0].id, std::numeric_limits<std::int32_t>::max());
    EXPECT_THAT(scenes.scenes[1].events[0].ids, ElementsAre(2147483647));
}

TEST(RecordingSource, StopsAtOnce) {
    EXPECT_TRUE(play(walk, true, 0).scenes.empty());
}

TEST(RecordingSource, IsAGreyPictureOfSixteenToNine) {
    JumpingClock clock(0, 0);
    const RecordingSource source(recordingOf(walk), false, clock);
    const SourceDescription description = source.describe();
    EXPECT_EQ(description.kind, "scenes");
    EXPECT_EQ(description.name, "walk");
    EXPECT_EQ(description.width, 1280);
    EXPECT_EQ(description.height, 720);
    EXPECT_DOUBLE_EQ(description.framesPerSecond, 4);
    EXPECT_FALSE(source.isLive());
}

#include "scene/nolt_scene.h"

#include "geometry/polygon.h"
#include "scene/double/scene_double.h"
#include "scene/nolt_object.h"
#include "scene/nolt_scene_event.h"
#include "scene/scene_encoder.h"
#include "support/scene_stage.h"
#include "support/syslog_capture.h"

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr int usual = SceneStage::usualCapabilities;

NoltScene decode(const SceneRecord& scene, int capabilities = usual) {
    return NoltScene(SceneEncoder().encode(scene).data(), capabilities);
}

std::vector<int> idsOf(const NoltScene& scene) {
    std::vector<int> ids;
    for (const NoltObject* object : scene.activeObjects) {
        ids.push_back(object->id);
    }
    return ids;
}

void expectEmpty(const NoltScene& scene) {
    EXPECT_EQ(scene.timestamp, 0);
    EXPECT_THAT(scene.activeObjects, IsEmpty());
    EXPECT_THAT(scene.deletedObjects, IsEmpty());
    EXPECT_THAT(scene.mergeEvents, IsEmpty());
    EXPECT_THAT(scene.splitEvents, IsEmpty());
}

}  // namespace

TEST(NoltScene, IsEmptyAndSilentForAPayloadThatTheLibraryRefuses) {
    const SyslogCapture log;
    const ScenePayload payload = SceneEncoder().encode({.time = 5'000'000, .objects = {{.id = 1}}});
    SceneDouble::reset();
    SceneDouble::failCall(1);
    const NoltScene scene(payload.data(), usual);
    expectEmpty(scene);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(NoltScene, IsEmptyForNull) {
    expectEmpty(NoltScene(nullptr, usual));
}

TEST(NoltScene, GivesTheSceneBackAlsoWhenThereIsNone) {
    SceneDouble::reset();
    const NoltScene scene(nullptr, usual);
    EXPECT_EQ(SceneDouble::nullDeletes(), 1U);
}

TEST(NoltScene, CutsItsTimeToMicroseconds) {
    EXPECT_EQ(decode({.time = 1999}).timestamp, 1);
    EXPECT_EQ(decode({.time = 999}).timestamp, 0);
    EXPECT_EQ(decode({.time = 18'446'744'073'709'551'615U}).timestamp, 18'446'744'073'709'551);
}

TEST(NoltScene, IsAtTimeZeroWithoutATimestamp) {
    EXPECT_EQ(decode({.objects = {{.id = 1}}}).timestamp, 0);
}

TEST(NoltScene, IsAtTimeZeroWhenTheTimestampCannotBeHad) {
    SceneDouble::reset();
    const ScenePayload payload = SceneEncoder().encode({.time = 5'000'000, .objects = {{.id = 1}}});
    SceneDouble::failCall(2);
    const NoltScene scene(payload.data(), usual);
    EXPECT_EQ(scene.timestamp, 0);
    EXPECT_THAT(idsOf(scene), ElementsAre(1));
}

TEST(NoltScene, ListsObjectsInTheLibrarysOrderAtItsTime) {
    const NoltScene scene =
        decode({.time = 7'000'000, .objects = {{.id = 9}, {.id = 2}, {.id = 9}}});
    EXPECT_THAT(idsOf(scene), ElementsAre(9, 2, 9));
    EXPECT_EQ(scene.activeObjects[1]->timestamp, 7000);
}

TEST(NoltScene, HasNoBoundingBoxesWithTheUsualCapabilities) {
    SceneRecord record{.objects = {{.id = 1}}};
    record.objects[0].boundingBox = {{{0, 0}, {0, 10}, {10, 10}, {10, 0}}};
    const NoltScene scene = decode(record);
    EXPECT_EQ(scene.activeObjects[0]->boundingBox, nullptr);
    EXPECT_NE(scene.activeObjects[0]->polygon, nullptr);
}

TEST(NoltScene, TakesAllIdsOfDeleteEventsInEventOrder) {
    const NoltScene scene = decode({.events = {{SCENE_ACTION_DELETE, {5, 3}, {}},
                                               {SCENE_ACTION_DELETE, {}, {8}},
                                               {SCENE_ACTION_DELETE, {4, 5}, {9}}}});
    EXPECT_THAT(scene.deletedObjects, ElementsAre(5, 3, 4, 5));
    EXPECT_THAT(scene.activeObjects, IsEmpty());
}

TEST(NoltScene, TakesMergesAndSplitsApartInEventOrder) {
    const NoltScene scene = decode({.events = {{SCENE_ACTION_MERGE, {1}, {2, 3}},
                                               {SCENE_ACTION_SPLIT, {4, 40}, {5, 6}},
                                               {SCENE_ACTION_MERGE, {7}, {8}}}});
    ASSERT_EQ(scene.mergeEvents.size(), 2U);
    EXPECT_EQ(scene.mergeEvents[0]->id, 1);
    EXPECT_THAT(scene.mergeEvents[0]->relatedIds, ElementsAre(2, 3));
    EXPECT_EQ(scene.mergeEvents[1]->id, 7);
    ASSERT_EQ(scene.splitEvents.size(), 1U);
    EXPECT_EQ(scene.splitEvents[0]->id, 4);
    EXPECT_THAT(scene.splitEvents[0]->relatedIds, ElementsAre(5, 6));
}

TEST(NoltScene, DropsMergesAndSplitsWithoutIdsOrRelatedIds) {
    const NoltScene scene = decode({.events = {{SCENE_ACTION_MERGE, {1}, {}},
                                               {SCENE_ACTION_MERGE, {}, {2}},
                                               {SCENE_ACTION_SPLIT, {4}, {}},
                                               {SCENE_ACTION_SPLIT, {}, {5}}}});
    EXPECT_THAT(scene.mergeEvents, IsEmpty());
    EXPECT_THAT(scene.splitEvents, IsEmpty());
}

TEST(NoltScene, GoesByTheCountsOfTheLibraryAlone) {
    // Behind the payload, its time, the end of its objects, the event and its action come its ids,
    // then its related ids.
    constexpr unsigned idsCall = 6;
    const auto decodeMiscounted = [](int action, unsigned call, int count) {
        SceneDouble::reset();
        const ScenePayload payload = SceneEncoder().encode({.events = {{action, {1, 2}, {3, 4}}}});
        SceneDouble::miscount(call, count);
        return NoltScene(payload.data(), usual);
    };
    for (const int none : {0, -1}) {
        expectEmpty(decodeMiscounted(SCENE_ACTION_DELETE, idsCall, none));
        for (const int action : {SCENE_ACTION_SPLIT, SCENE_ACTION_MERGE}) {
            expectEmpty(decodeMiscounted(action, idsCall, none));
            expectEmpty(decodeMiscounted(action, idsCall + 1, none));
        }
    }
    EXPECT_THAT(decodeMiscounted(SCENE_ACTION_DELETE, idsCall, 1).deletedObjects, ElementsAre(1));
    const NoltScene merged = decodeMiscounted(SCENE_ACTION_MERGE, idsCall + 1, 1);
    EXPECT_THAT(merged.mergeEvents.at(0)->relatedIds, ElementsAre(3));
}

TEST(NoltScene, IsAtTimeZeroUnlessTheTimestampIsJustOneValue) {
    for (const int count : {-1, 0, 2}) {
        SceneDouble::miscount(2, count);
        EXPECT_EQ(decode({.time = 5'000'000}).timestamp, 0) << count;
    }
}

TEST(NoltScene, IgnoresOtherActions) {
    expectEmpty(decode({.events = {{3, {1}, {2}}, {-1, {1}, {2}}}}));
}

TEST(NoltScene, LeavesNoSceneBehindWhicheverCallFails) {
    const SyslogCapture log;
    const ScenePayload payload = SceneEncoder().encode(
        {.time = 5000,
         .objects = {{.id = 1, .polygon = {{{0, 0}, {0, 9}, {9, 0}}}}, {.id = 2}},
         .events = {{SCENE_ACTION_DELETE, {3}, {}}, {SCENE_ACTION_MERGE, {1}, {2}}}});
    SceneDouble::reset();
    const int before = SceneDouble::liveScenes();
    { const NoltScene whole(payload.data(), 15); }
    const unsigned calls = SceneDouble::calls();
    ASSERT_GT(calls, 15U);
    for (unsigned n = 1; n <= calls; ++n) {
        SceneDouble::failCall(n);
        const NoltScene scene(payload.data(), 15);
        EXPECT_LE(scene.activeObjects.size(), 2U) << n;
        EXPECT_EQ(SceneDouble::liveScenes(), before) << n;
    }
    SceneDouble::reset();
}

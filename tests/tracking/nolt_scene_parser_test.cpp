#include "tracking/nolt_scene_parser.h"

#include "geometry/polygon.h"
#include "support/scene_stage.h"
#include "support/syslog_capture.h"
#include "tracking/tracking_object.h"
#include "tracking/tracking_object_external_data_no_merge.h"

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

std::vector<int> idsOf(const std::vector<TrackingObject*>& objects) {
    std::vector<int> ids;
    for (const TrackingObject* object : objects) {
        ids.push_back(object->id);
    }
    return ids;
}

SyslogCapture::Line notFound(int id) {
    return {LOG_WARNING,
            "Object with id " + std::to_string(id) + " was not found in the storage\n"};
}

class NoltSceneParserTest : public testing::Test {
protected:
    ParsedScene parseAt(SceneStage::Time time) { return parser.parse(scene.at(time)); }
    TrackingObject& stored(int id) { return *parser.getStorage().getObject(id); }
    bool isStored(int id) { return parser.getStorage().contains(id); }

    // Three boxes side by side, seen first at 1, 2 and 3 seconds, and all three last at 3 seconds.
    void enterThree() {
        scene.track(1).enters({0, 0}, {100, 200});
        parseAt(1s);
        scene.track(2).enters({1000, 0}, {50, 400});
        parseAt(2s);
        scene.track(3).enters({2000, 0}, {300, 100});
        parseAt(3s);
    }

    const SyslogCapture log;
    SceneStage scene;
    NoltSceneParser parser{0, 1.5F};
};

// Remembers how merges were asked for.
class RecordingParser : public NoltSceneParser {
public:
    RecordingParser() : NoltSceneParser(0, 1.0F) {}

    void mergeTrackingObject(TrackingObject& target,
                             const std::vector<const TrackingObject*>& sources,
                             bool isTargetAmongSources) override {
        std::string call = std::to_string(target.id) + " <-";
        for (const TrackingObject* source : sources) {
            call += " " + std::to_string(source->id);
        }
        calls.push_back(call + (isTargetAmongSources ? " with itself" : ""));
    }

    std::vector<std::string> calls;
};

}  // namespace

TEST_F(NoltSceneParserTest, KeepsAnObjectFromSceneToScene) {
    scene.track(7).enters({0, 0}, {100, 200}).runs(3, 4);
    const ParsedScene first = parseAt(1s);
    EXPECT_EQ(first.timestamp, 1'000'000);
    EXPECT_FALSE(first.ownsActiveObjects);
    EXPECT_THAT(idsOf(first.activeObjects), ElementsAre(7));

    scene.track(7).moves({50, 0});
    const ParsedScene second = parseAt(2500ms);
    EXPECT_EQ(second.activeObjects, first.activeObjects);
    const TrackingObject& object = *second.activeObjects[0];
    EXPECT_EQ(object.firstSeen, 1'000'000);
    EXPECT_EQ(object.lastSeen, 2'500'000);
    EXPECT_EQ(object.position, (Point{50, 0}));
    EXPECT_EQ(object.previousPosition, (Point{0, 0}));
    EXPECT_EQ(object.velocityX, 3);
    EXPECT_EQ(object.getAspectCorrectedWidth(), 150);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(NoltSceneParserTest, ChangesNothingForASceneThatCouldNotBeRead) {
    enterThree();
    const ParsedScene parsed = parser.parse(NoltScene(nullptr, 14));
    EXPECT_EQ(parsed.timestamp, 0);
    EXPECT_THAT(parsed.activeObjects, IsEmpty());
    EXPECT_THAT(parsed.deletedObjects, IsEmpty());
    EXPECT_EQ(parser.getStorage().getSize(), 3U);
    EXPECT_EQ(stored(1).lastSeen, 3'000'000);
}

TEST_F(NoltSceneParserTest, KeepsAnObjectThatIsNotReportedForAWhile) {
    enterThree();
    scene.track(2).hides();
    EXPECT_THAT(idsOf(parseAt(4s).activeObjects), ElementsAre(1, 3));
    scene.track(2).moves({900, 0});
    EXPECT_THAT(idsOf(parseAt(5s).activeObjects), ElementsAre(1, 2, 3));
    EXPECT_EQ(stored(2).firstSeen, 2'000'000);
}

TEST_F(NoltSceneParserTest, ListsActiveObjectsInTheOrderOfTheScene) {
    const auto box = [](int id) {
        return SceneObjectRecord{
            .id = id, .polygon = {{{0, 0}, {0, 9}, {9, 9}}}, .confidence = 4096};
    };
    const ScenePayload payload = SceneEncoder().encode({.objects = {box(9), box(2), box(5)}});
    const NoltScene decoded(payload.data(), 14);
    EXPECT_THAT(idsOf(parser.parse(decoded).activeObjects), ElementsAre(9, 2, 5));
}

TEST_F(NoltSceneParserTest, UpdatesAndListsAnIdTwiceThatComesTwice) {
    const auto box = [](std::int16_t x) {
        return SceneObjectRecord{.id = 7,
                                 .polygon = {{{x, 0},
                                              {x, 100},
                                              {static_cast<std::int16_t>(x + 100), 100},
                                              {static_cast<std::int16_t>(x + 100), 0}}},
                                 .confidence = 4096};
    };
    const ScenePayload payload =
        SceneEncoder().encode({.time = 1'000'000, .objects = {box(0), box(500)}});
    const NoltScene decoded(payload.data(), 14);
    const ParsedScene parsed = parser.parse(decoded);
    EXPECT_THAT(idsOf(parsed.activeObjects), ElementsAre(7, 7));
    EXPECT_EQ(parsed.activeObjects[0], parsed.activeObjects[1]);
    EXPECT_EQ(stored(7).position, (Point{550, 50}));
    EXPECT_EQ(stored(7).previousPosition, (Point{50, 50}));
}

TEST_F(NoltSceneParserTest, GivesAnObjectWithoutAnOutlineARepairedOne) {
    scene.track(7).losesOutline();
    const ParsedScene parsed = parseAt(1s);
    EXPECT_THAT(parsed.activeObjects[0]->polygon->points,
                ElementsAre(Point{0, 0}, Point{0, 1}, Point{1, 0}));
    EXPECT_EQ(parsed.activeObjects[0]->maxWidth, 0);
}

TEST_F(NoltSceneParserTest, HandsEndedObjectsOverInTheOrderOfTheEvents) {
    enterThree();
    scene.ends({3});
    scene.ends({1});
    const ParsedScene parsed = parseAt(4s);
    EXPECT_THAT(idsOf(parsed.activeObjects), ElementsAre(2));
    EXPECT_THAT(idsOf(parsed.deletedObjects), ElementsAre(3, 1));
    EXPECT_FALSE(isStored(1));
    EXPECT_FALSE(isStored(3));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(NoltSceneParserTest, EndsObjectsInASceneWithoutObjects) {
    enterThree();
    scene.ends({1, 2, 3});
    const ParsedScene parsed = parseAt(4s);
    EXPECT_THAT(parsed.activeObjects, IsEmpty());
    EXPECT_THAT(idsOf(parsed.deletedObjects), ElementsAre(1, 2, 3));
    EXPECT_EQ(parser.getStorage().getSize(), 0U);
}

TEST_F(NoltSceneParserTest, DoesNothingSilentlyForEventsOnAnEmptyStorage) {
    scene.ends({1, 2});
    scene.merges(1, {2});
    scene.splits(1, {2});
    const ParsedScene parsed = parseAt(1s);
    EXPECT_THAT(parsed.activeObjects, IsEmpty());
    EXPECT_THAT(parsed.deletedObjects, IsEmpty());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(NoltSceneParserTest, IgnoresTheEndOfUnknownObjects) {
    enterThree();
    scene.endsButShows({99});
    const ParsedScene parsed = parseAt(4s);
    EXPECT_THAT(parsed.deletedObjects, IsEmpty());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(NoltSceneParserTest, UpdatesThenEndsAnObjectThatIsSeenAndEndedAtOnce) {
    scene.track(7).enters({0, 0}, {100, 200});
    parseAt(1s);
    scene.track(7).moves({50, 0});
    scene.endsButShows({7});
    const ParsedScene parsed = parseAt(2s);
    EXPECT_THAT(parsed.activeObjects, IsEmpty());
    ASSERT_THAT(idsOf(parsed.deletedObjects), ElementsAre(7));
    EXPECT_EQ(parsed.deletedObjects[0]->position, (Point{50, 0}));
    EXPECT_EQ(parsed.deletedObjects[0]->lastSeen, 2'000'000);
    EXPECT_THAT(log.lines(), ElementsAre(notFound(7)));
}

TEST_F(NoltSceneParserTest, LeavesActiveObjectsAliveBehindAScene) {
    enterThree();
    {
        scene.ends({1});
        const ParsedScene parsed = parseAt(4s);
    }
    EXPECT_EQ(stored(2).lastSeen, 4'000'000);
    EXPECT_EQ(stored(3).lastSeen, 4'000'000);
}

TEST_F(NoltSceneParserTest, StartsAnEndedIdAnew) {
    enterThree();
    scene.ends({1});
    parseAt(4s);
    scene.track(1).enters({0, 0}, {10, 10});
    parseAt(5s);
    EXPECT_EQ(stored(1).firstSeen, 5'000'000);
    EXPECT_EQ(stored(1).maxWidth, 10);
}

TEST_F(NoltSceneParserTest, MergesSizesAndAgesIntoTheTarget) {
    enterThree();
    scene.merges(3, {2, 1});
    scene.ends({1, 2});
    const ParsedScene parsed = parseAt(4s);
    const TrackingObject& target = stored(3);
    EXPECT_EQ(target.firstSeen, 1'000'000);
    EXPECT_EQ(target.maxWidth, 300);
    EXPECT_EQ(target.maxHeight, 400);
    EXPECT_EQ(target.getWidth(), 300);
    EXPECT_EQ(target.getHeight(), 400);
    EXPECT_EQ(target.position, (Point{2000, 0}));
    EXPECT_THAT(idsOf(parsed.deletedObjects), ElementsAre(1, 2));
}

TEST_F(NoltSceneParserTest, TakesThePreviousPositionOfTheLastValidSource) {
    enterThree();
    scene.merges(3, {1, 2, 99});
    parseAt(4s);
    EXPECT_EQ(stored(3).previousPosition, (Point{1000, 0}));
}

TEST_F(NoltSceneParserTest, KeepsThePreviousPositionOfATargetAmongItsSources) {
    enterThree();
    scene.track(3).moves({2100, 0});
    scene.merges(3, {1, 3, 2});
    parseAt(4s);
    EXPECT_EQ(stored(3).previousPosition, (Point{2000, 0}));
    EXPECT_EQ(stored(3).firstSeen, 1'000'000);
}

TEST_F(NoltSceneParserTest, DropsAMergeIntoAnUnknownTarget) {
    enterThree();
    scene.merges(99, {1, 2});
    parseAt(4s);
    EXPECT_EQ(stored(1).maxHeight, 200);
    EXPECT_EQ(stored(2).firstSeen, 2'000'000);
    EXPECT_FALSE(isStored(99));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(NoltSceneParserTest, ChangesNothingInAMergeOfUnknownSources) {
    enterThree();
    scene.merges(3, {98, 99});
    parseAt(4s);
    EXPECT_EQ(stored(3).firstSeen, 3'000'000);
    EXPECT_EQ(stored(3).previousPosition, (Point{2000, 0}));
}

TEST_F(NoltSceneParserTest, LeavesObjectsThatAreNotMergeableOutOfMergesAndSplits) {
    enterThree();
    stored(1).mergeable = false;
    scene.merges(3, {1, 2});
    scene.splits(1, {2});
    parseAt(4s);
    EXPECT_EQ(stored(3).firstSeen, 2'000'000);
    EXPECT_EQ(stored(2).firstSeen, 2'000'000);
}

TEST_F(NoltSceneParserTest, AsksForMergesThroughTheMerger) {
    RecordingParser recorder;
    for (const int id : {1, 2, 3}) {
        scene.track(id).enters({0, 0}, {10, 10});
    }
    recorder.parse(scene.at(1s));
    scene.merges(1, {3, 99, 2});
    scene.merges(2, {2, 3});
    scene.merges(3, {99});
    scene.merges(99, {1});
    recorder.parse(scene.at(2s));
    EXPECT_THAT(recorder.calls, ElementsAre("1 <- 3 2", "2 <- 2 3 with itself", "3 <-"));
}

TEST_F(NoltSceneParserTest, MergesNothingWithoutSources) {
    TrackingObject target(1);
    target.firstSeen = 5;
    parser.mergeTrackingObject(target, {}, false);
    parser.mergeTrackingObject(target, {nullptr, &target}, false);
    EXPECT_EQ(target.firstSeen, 5);
}

TEST_F(NoltSceneParserTest, MergesBeforeItSplitsAndSplitsBeforeItEnds) {
    enterThree();
    // 2 gets the age of 1, then 3 gets that of 2, whose end comes last.
    scene.splits(2, {3});
    scene.merges(2, {1});
    scene.ends({1, 2});
    const ParsedScene parsed = parseAt(4s);
    EXPECT_EQ(stored(3).firstSeen, 1'000'000);
    EXPECT_THAT(idsOf(parsed.deletedObjects), ElementsAre(1, 2));
}

TEST_F(NoltSceneParserTest, GivesPartsOfASplitTheHistoryOfTheirSource) {
    scene.track(1).enters({0, 0}, {100, 200});
    parseAt(1s);
    stored(1).insertData("key", new TrackingObjectExternalDataNoMerge());
    scene.track(2).enters({1000, 0}, {50, 400});
    scene.splits(1, {2, 1, 99});
    parseAt(5s);
    EXPECT_EQ(stored(2).firstSeen, 1'000'000);
    EXPECT_EQ(stored(2).maxWidth, 100);
    EXPECT_EQ(stored(2).previousPosition, (Point{0, 0}));
    EXPECT_NE(stored(2).getData("key"), nullptr);
    EXPECT_NE(stored(2).getData("key"), stored(1).getData("key"));
}

TEST_F(NoltSceneParserTest, MakesAPartOfAYoungerSourceYounger) {
    enterThree();
    scene.splits(3, {1});
    parseAt(4s);
    EXPECT_EQ(stored(1).firstSeen, 3'000'000);
}

TEST_F(NoltSceneParserTest, DropsASplitOfAnUnknownSource) {
    enterThree();
    scene.splits(99, {1, 2});
    parseAt(4s);
    EXPECT_EQ(stored(1).firstSeen, 1'000'000);
    EXPECT_EQ(stored(2).firstSeen, 2'000'000);
}

TEST_F(NoltSceneParserTest, EvictsTheLongestUnseenWithoutTellingOfTheirEnd) {
    for (int id = 1; id <= 500; ++id) {
        scene.track(id).enters({0, 0}, {10, 10});
    }
    parseAt(1s);
    for (int id = 1; id <= 500; ++id) {
        scene.track(id).hides();
    }
    for (int id = 1; id <= 10; ++id) {
        scene.track(id).moves({1, 1});
    }
    scene.track(501).enters({0, 0}, {10, 10});
    const ParsedScene parsed = parseAt(2s);
    EXPECT_EQ(parser.getStorage().getSize(), 401U);
    EXPECT_EQ(parsed.activeObjects.size(), 11U);
    EXPECT_THAT(parsed.deletedObjects, IsEmpty());
    EXPECT_TRUE(isStored(10));
    EXPECT_FALSE(isStored(11));
    EXPECT_FALSE(isStored(110));
    EXPECT_TRUE(isStored(111));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(NoltSceneParserTest, SurvivesMoreObjectsInASceneThanItCanKeep) {
    for (int id = 1; id <= 501; ++id) {
        scene.track(id).enters({0, 0}, {10, 10});
    }
    const ParsedScene parsed = parseAt(1s);
    EXPECT_EQ(parser.getStorage().getSize(), 401U);
    EXPECT_EQ(parsed.activeObjects.size(), 401U);
    EXPECT_EQ(log.lines().size(), 100U);
    EXPECT_EQ(log.lines().front(), notFound(1));
    EXPECT_EQ(log.lines().back(), notFound(100));
}

TEST_F(NoltSceneParserTest, KeepsItsObjectsAtThePresentRotation) {
    enterThree();
    parser.updateCameraRotation(0);
    EXPECT_EQ(parser.getStorage().getSize(), 3U);
    EXPECT_EQ(parser.getCameraRotation(), 0);
}

TEST_F(NoltSceneParserTest, StartsAnewAtAnotherRotation) {
    enterThree();
    parser.updateCameraRotation(90);
    EXPECT_EQ(parser.getStorage().getSize(), 0U);
    EXPECT_EQ(parser.getCameraRotation(), 90);
    parseAt(4s);
    EXPECT_EQ(stored(1).firstSeen, 4'000'000);
    EXPECT_EQ(stored(1).getWidth(), 200);
}

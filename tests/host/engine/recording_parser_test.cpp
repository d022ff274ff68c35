#include "engine/recording_parser.h"

#include <gmock/gmock.h>

#include "engine/source_error.h"

using testing::ElementsAre;

namespace {

Recording parse(const std::vector<std::string>& lines) {
    RecordingParser parser("walk.jsonl");
    for (const std::string& line : lines) {
        parser.addLine(line);
    }
    return parser.finish();
}

/// What a recording of a good line and then `line` is refused with.
std::string refusal(const std::string& line) {
    try {
        parse({R"({"time":1,"objects":[]})", line});
    } catch (const SourceError& error) {
        return error.what();
    }
    return "accepted";
}

std::string objectRefusal(const std::string& members) {
    return refusal(R"({"time":1,"objects":[{"id":1},{)" + members + "}]}");
}

std::string eventRefusal(const std::string& event) {
    return refusal(R"({"time":1,"objects":[],"events":[)" + event + "]}");
}

std::string polygonOf(std::size_t points) {
    std::string text = R"("id":1,"polygon":[)";
    for (std::size_t i = 0; i < points; ++i) {
        text += i == 0 ? "[0,0]" : ",[0,0]";
    }
    return text + "]";
}

}  // namespace

TEST(RecordingParser, ReadsEveryMember) {
    const Recording recording =
        parse({R"({"time":0.04,"objects":[{"id":7,"polygon":[[-100,-200],[-100,200],[100,200]],)"
               R"("boundingBox":[[-100,-200],[100,200]],"velocity":[35,-1],"confidence":4096}],)"
               R"("events":[{"action":"delete","ids":[3]},)"
               R"({"action":"split","ids":[4],"relatedIds":[5,6]},)"
               R"({"action":"merge","ids":[1],"relatedIds":[2]}]})"});
    ASSERT_EQ(recording.scenes.size(), 1u);
    const SceneRecord& scene = recording.scenes[0];
    EXPECT_EQ(sceneTime(scene), 40'000'000);
    ASSERT_EQ(scene.objects.size(), 1u);
    const SceneObjectRecord& object = scene.objects[0];
    EXPECT_EQ(object.id, 7);
    EXPECT_THAT(object.polygon.value(),
                ElementsAre(ScenePoint{-100, -200}, ScenePoint{-100, 200}, ScenePoint{100, 200}));
    EXPECT_THAT(object.boundingBox.value(),
                ElementsAre(ScenePoint{-100, -200}, ScenePoint{-100, 200}, ScenePoint{100, 200},
                            ScenePoint{100, -200}));
    EXPECT_EQ(object.velocity, (SceneVelocity{35, -1}));
    EXPECT_EQ(object.confidence, 4096);
    ASSERT_EQ(scene.events.size(), 3u);
    EXPECT_EQ(scene.events[0].action, SCENE_ACTION_DELETE);
    EXPECT_THAT(scene.events[0].ids, ElementsAre(3));
    EXPECT_EQ(scene.events[1].action, SCENE_ACTION_SPLIT);
    EXPECT_THAT(scene.events[1].relatedIds, ElementsAre(5, 6));
    EXPECT_EQ(scene.events[2].action, SCENE_ACTION_MERGE);
    EXPECT_THAT(scene.events[2].ids, ElementsAre(1));
}

TEST(RecordingParser, LeavesOutWhatIsMissing) {
    const Recording recording = parse({R"({"time":0,"objects":[{"id":1}]})"});
    const SceneObjectRecord& object = recording.scenes[0].objects[0];
    EXPECT_FALSE(object.polygon);
    EXPECT_FALSE(object.boundingBox);
    EXPECT_FALSE(object.velocity);
    EXPECT_FALSE(object.confidence);
    EXPECT_TRUE(recording.scenes[0].events.empty());
}

TEST(RecordingParser, AcceptsTheSameIdTwiceInAScene) {
    EXPECT_EQ(parse({R"({"time":0,"objects":[{"id":1},{"id":1}]})"}).scenes[0].objects.size(), 2u);
}

TEST(RecordingParser, AcceptsEqualTimes) {
    EXPECT_EQ(parse({R"({"time":1,"objects":[]})", R"({"time":1,"objects":[]})"}).scenes.size(),
              2u);
}

TEST(RecordingParser, AcceptsTheWholeRangeOfCoordinates) {
    const Recording recording =
        parse({R"({"time":0,"objects":[{"id":1,"polygon":[[-32768,32767],[1.0,-0]]}]})"});
    EXPECT_THAT(recording.scenes[0].objects[0].polygon.value(),
                ElementsAre(ScenePoint{-32768, 32767}, ScenePoint{1, 0}));
}

TEST(RecordingParser, AcceptsAThousandPoints) {
    EXPECT_EQ(objectRefusal(polygonOf(1000)), "accepted");
}

TEST(RecordingParser, RoundsTimesToNanosecondsAndVelocitiesToUnits) {
    const Recording recording =
        parse({R"({"time":0.0000000016,"objects":[{"id":1,"velocity":[2.5,-2.5]}]})"});
    EXPECT_EQ(sceneTime(recording.scenes[0]), 2);
    EXPECT_EQ(recording.scenes[0].objects[0].velocity, (SceneVelocity{3, -3}));
}

TEST(RecordingParser, LooksAtNothingThatItDoesNotKnow) {
    EXPECT_EQ(refusal(R"({"time":1,"objects":[{"id":1,"colour":"red"}],"weather":"rain"})"),
              "accepted");
}

TEST(RecordingParser, RefusesWhatIsNotAScene) {
    EXPECT_THAT(refusal("{"), testing::StartsWith("walk.jsonl:2: is not JSON: "));
    EXPECT_THAT(refusal(""), testing::StartsWith("walk.jsonl:2: is not JSON: "));
    EXPECT_THAT(refusal(R"({"time":1,"objects":[]} x)"),
                testing::StartsWith("walk.jsonl:2: is not JSON: "));
    EXPECT_THAT(refusal(R"({"time":1,"time":2,"objects":[]})"),
                testing::StartsWith("walk.jsonl:2: is not JSON: duplicate object key"));
    EXPECT_EQ(refusal("[]"), "walk.jsonl:2: is not a JSON object");
    EXPECT_EQ(refusal(R"({"time":1})"), "walk.jsonl:2: objects is not an array");
    EXPECT_EQ(refusal(R"({"time":1,"objects":{}})"), "walk.jsonl:2: objects is not an array");
    EXPECT_EQ(refusal(R"({"time":1,"objects":[7]})"), "walk.jsonl:2: objects[0] is not an object");
    EXPECT_EQ(refusal(R"({"time":1,"objects":[],"events":7})"),
              "walk.jsonl:2: events is not an array");
}

TEST(RecordingParser, RefusesABadTime) {
    EXPECT_EQ(refusal(R"({"objects":[]})"), "walk.jsonl:2: time is not a number");
    EXPECT_EQ(refusal(R"({"time":"1","objects":[]})"), "walk.jsonl:2: time is not a number");
    EXPECT_EQ(refusal(R"({"time":0.999,"objects":[]})"),
              "walk.jsonl:2: time is less than in the line before");
    EXPECT_EQ(refusal(R"({"time":-1,"objects":[]})"), "walk.jsonl:2: time is outside 0..10000000");
    EXPECT_EQ(refusal(R"({"time":1e300,"objects":[]})"),
              "walk.jsonl:2: time is outside 0..10000000");
    EXPECT_THAT(refusal(R"({"time":1e999,"objects":[]})"),
                testing::StartsWith("walk.jsonl:2: is not JSON: real number overflow"));
    EXPECT_THAT(refusal(R"({"time":NaN,"objects":[]})"),
                testing::StartsWith("walk.jsonl:2: is not JSON: "));
}

TEST(RecordingParser, RefusesABadId) {
    EXPECT_EQ(objectRefusal(""), "walk.jsonl:2: objects[1].id is not a number");
    EXPECT_EQ(objectRefusal(R"("id":1.5)"), "walk.jsonl:2: objects[1].id is not a whole number");
    EXPECT_EQ(objectRefusal(R"("id":2147483648)"),
              "walk.jsonl:2: objects[1].id is outside -2147483648..2147483647");
}

TEST(RecordingParser, RefusesABadOutline) {
    EXPECT_EQ(objectRefusal(R"("id":1,"polygon":7)"),
              "walk.jsonl:2: objects[1].polygon is not an array");
    EXPECT_EQ(objectRefusal(R"("id":1,"polygon":[[1,2,3]])"),
              "walk.jsonl:2: objects[1].polygon[0] is not a pair");
    EXPECT_EQ(objectRefusal(R"("id":1,"polygon":[[0,0],[32768,2]])"),
              "walk.jsonl:2: objects[1].polygon[1][0] is outside -32768..32767");
    EXPECT_EQ(objectRefusal(R"("id":1,"polygon":[[0,-32769]])"),
              "walk.jsonl:2: objects[1].polygon[0][1] is outside -32768..32767");
    EXPECT_EQ(objectRefusal(R"("id":1,"polygon":[[0,0.5]])"),
              "walk.jsonl:2: objects[1].polygon[0][1] is not a whole number");
    EXPECT_EQ(objectRefusal(R"("id":1,"polygon":[[0,"0"]])"),
              "walk.jsonl:2: objects[1].polygon[0][1] is not a number");
    EXPECT_EQ(objectRefusal(polygonOf(1001)),
              "walk.jsonl:2: objects[1].polygon has more than 1000 points");
}

TEST(RecordingParser, RefusesABadBox) {
    EXPECT_EQ(objectRefusal(R"("id":1,"boundingBox":[[0,0],[1,1],[2,2]])"),
              "walk.jsonl:2: objects[1].boundingBox is not a pair");
    EXPECT_EQ(objectRefusal(R"("id":1,"boundingBox":[[0,0],[1,40000]])"),
              "walk.jsonl:2: objects[1].boundingBox[1][1] is outside -32768..32767");
}

TEST(RecordingParser, RefusesABadVelocityOrConfidence) {
    EXPECT_EQ(objectRefusal(R"("id":1,"velocity":[1])"),
              "walk.jsonl:2: objects[1].velocity is not a pair");
    EXPECT_EQ(objectRefusal(R"("id":1,"velocity":[1,1e10])"),
              "walk.jsonl:2: objects[1].velocity[1] is outside -2147483648..2147483647");
    EXPECT_EQ(objectRefusal(R"("id":1,"confidence":-1)"),
              "walk.jsonl:2: objects[1].confidence is outside 0..32767");
    EXPECT_EQ(objectRefusal(R"("id":1,"confidence":true)"),
              "walk.jsonl:2: objects[1].confidence is not a number");
}

TEST(RecordingParser, RefusesABadEvent) {
    EXPECT_EQ(eventRefusal("1"), "walk.jsonl:2: events[0] is not an object");
    EXPECT_EQ(eventRefusal(R"({"action":"explode","ids":[1]})"),
              "walk.jsonl:2: events[0].action is none of delete, split, merge");
    EXPECT_EQ(eventRefusal(R"({"ids":[1]})"),
              "walk.jsonl:2: events[0].action is none of delete, split, merge");
    EXPECT_EQ(eventRefusal(R"({"action":"delete"})"),
              "walk.jsonl:2: events[0].ids is not an array");
    EXPECT_EQ(eventRefusal(R"({"action":"merge","ids":[1]})"),
              "walk.jsonl:2: events[0].relatedIds is not an array");
    EXPECT_EQ(eventRefusal(R"({"action":"delete","ids":[1,"2"]})"),
              "walk.jsonl:2: events[0].ids[1] is not a number");
}

TEST(RecordingParser, RefusesARecordingWithoutAScene) {
    try {
        parse({});
        FAIL() << "accepted";
    } catch (const SourceError& error) {
        EXPECT_STREQ(error.what(), "walk.jsonl:1: there is no scene");
    }
}

TEST(Recording, TakesTheMedianOfItsIntervals) {
    const auto at = [](const char* time) {
        return std::string(R"({"time":)") + time + R"(,"objects":[]})";
    };
    EXPECT_EQ(parse({at("0"), at("0.1"), at("0.2"), at("9")}).medianInterval(), 100'000'000);
    EXPECT_EQ(parse({at("0"), at("0.4")}).medianInterval(), 400'000'000);
}

TEST(Recording, HasAnIntervalWhereItsTimesGiveNone) {
    EXPECT_EQ(parse({R"({"time":5,"objects":[]})"}).medianInterval(), 100'000'000);
    EXPECT_EQ(parse({R"({"time":5,"objects":[]})", R"({"time":5,"objects":[]})"}).medianInterval(),
              100'000'000);
}

#include "scene/scene.h"

#include "platform/scene/scene_walk.h"
#include "scene/scene_encoder.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

ScenePayload encode(const SceneRecord& scene) {
    return SceneEncoder().encode(scene);
}

ScenePayload encodeObject(const SceneObjectRecord& object) {
    return encode({.objects = {object}});
}

}  // namespace

TEST(SceneNumbers, AreThoseOfTheDevice) {
    EXPECT_EQ(SCENE_PROP_TIMESTAMP, 0);
    EXPECT_EQ(SCENE_PROP_BOUNDING_BOX, 5);
    EXPECT_EQ(SCENE_PROP_POLYGON, 6);
    EXPECT_EQ(SCENE_PROP_VELOCITY, 7);
    EXPECT_EQ(SCENE_PROP_IDS, 9);
    EXPECT_EQ(SCENE_PROP_RELATED_IDS, 10);
    EXPECT_EQ(SCENE_PROP_CONFIDENCE, 15);
    EXPECT_EQ(SCENE_ACTION_DELETE, 0);
    EXPECT_EQ(SCENE_ACTION_SPLIT, 1);
    EXPECT_EQ(SCENE_ACTION_MERGE, 2);
}

TEST(Scene, TellsItsTimeInNanoseconds) {
    const ScenePayload payload = encode({.time = 18'000'000'000'000'000'001U});
    const OwnedScene scene = readScene(payload.data());
    const void* time = nullptr;
    ASSERT_EQ(scene_get_prop(scene.get(), SCENE_PROP_TIMESTAMP, &time), 1);
    EXPECT_EQ(*static_cast<const std::uint64_t*>(time), 18'000'000'000'000'000'001U);
}

TEST(Scene, WithoutTimeHasNoTimestamp) {
    const ScenePayload payload = encode({});
    const OwnedScene scene = readScene(payload.data());
    const void* time = &time;
    EXPECT_EQ(scene_get_prop(scene.get(), SCENE_PROP_TIMESTAMP, &time), 0);
    EXPECT_EQ(time, nullptr);
}

TEST(Scene, TellsATimeOfZero) {
    const ScenePayload payload = encode({.time = 0});
    const OwnedScene scene = readScene(payload.data());
    const void* time = nullptr;
    ASSERT_EQ(scene_get_prop(scene.get(), SCENE_PROP_TIMESTAMP, &time), 1);
    EXPECT_EQ(*static_cast<const std::uint64_t*>(time), 0U);
}

TEST(Scene, GivesNothingForNumbersThatAreNoPropertyOfIt) {
    const ScenePayload payload = encode({.time = 1, .objects = {{.id = 1}}, .events = {{}}});
    const OwnedScene scene = readScene(payload.data());
    const void* value = &value;
    EXPECT_EQ(scene_get_prop(scene.get(), SCENE_PROP_POLYGON, &value), -1);
    EXPECT_EQ(value, nullptr);
    value = &value;
    EXPECT_EQ(scene_get_obj_prop(objectsOf(scene.get())[0], SCENE_PROP_IDS, &value), -1);
    EXPECT_EQ(value, nullptr);
    value = &value;
    EXPECT_EQ(scene_get_evt_prop(eventsOf(scene.get())[0], SCENE_PROP_VELOCITY, &value), -1);
    EXPECT_EQ(value, nullptr);
}

TEST(Scene, ListsObjectsInTheirOrderAndLetsIdsRepeat) {
    const ScenePayload payload =
        encode({.objects = {{.id = 9}, {.id = -2147483647 - 1}, {.id = 9}, {.id = 3}}});
    const OwnedScene scene = readScene(payload.data());
    std::vector<int> found;
    for (const auto* object : objectsOf(scene.get())) {
        found.push_back(scene_get_object_id(object));
    }
    EXPECT_THAT(found, ElementsAre(9, -2147483647 - 1, 9, 3));
}

TEST(Scene, WithoutContentHasNoObjectsAndNoEvents) {
    const ScenePayload payload = encode({});
    const OwnedScene scene = readScene(payload.data());
    ASSERT_NE(scene, nullptr);
    EXPECT_EQ(scene_next_object(scene.get(), nullptr), nullptr);
    EXPECT_EQ(scene_next_event(scene.get(), nullptr), nullptr);
}

TEST(SceneObject, GivesWhatItWasMadeOf) {
    const ScenePayload payload = encodeObject({
        .id = 7,
        .polygon = {{{-100, -200}, {0, 32767}, {-32768, 5}}},
        .boundingBox = {{{{1, 2}, {3, 4}, {5, 6}, {7, 8}}}},
        .velocity = SceneVelocity{35, -2000000000},
        .confidence = 4095,
    });
    const OwnedScene scene = readScene(payload.data());
    const auto* object = objectsOf(scene.get())[0];
    EXPECT_EQ(scene_get_object_id(object), 7);
    EXPECT_THAT(coordinates(object, SCENE_PROP_POLYGON),
                ElementsAre(-100, -200, 0, 32767, -32768, 5));
    EXPECT_THAT(coordinates(object, SCENE_PROP_BOUNDING_BOX), ElementsAre(1, 2, 3, 4, 5, 6, 7, 8));
    const void* value = nullptr;
    ASSERT_EQ(scene_get_obj_prop(object, SCENE_PROP_VELOCITY, &value), 2);
    EXPECT_THAT(numbers<std::int32_t>(value, 2), ElementsAre(35, -2000000000));
    ASSERT_EQ(scene_get_obj_prop(object, SCENE_PROP_CONFIDENCE, &value), 1);
    EXPECT_EQ(*static_cast<const std::int16_t*>(value), 4095);
}

TEST(SceneObject, GivesPointsInPointsNotInNumbers) {
    const ScenePayload payload = encodeObject({.polygon = {{{1, 2}, {3, 4}, {5, 6}}}});
    const OwnedScene scene = readScene(payload.data());
    const void* points = nullptr;
    EXPECT_EQ(scene_get_obj_prop(objectsOf(scene.get())[0], SCENE_PROP_POLYGON, &points), 3);
}

TEST(SceneObject, GivesNothingForWhatItLacks) {
    const ScenePayload payload = encodeObject({.id = 7});
    const OwnedScene scene = readScene(payload.data());
    const auto* object = objectsOf(scene.get())[0];
    for (const auto prop : {SCENE_PROP_POLYGON, SCENE_PROP_BOUNDING_BOX, SCENE_PROP_VELOCITY}) {
        const void* value = &value;
        EXPECT_EQ(scene_get_obj_prop(object, prop, &value), 0) << prop;
        EXPECT_EQ(value, nullptr) << prop;
    }
    const void* value = &value;
    EXPECT_EQ(scene_get_obj_prop(object, SCENE_PROP_CONFIDENCE, &value), -1);
    EXPECT_EQ(value, nullptr);
}

TEST(SceneObject, TellsAConfidenceOfZeroFromNone) {
    const ScenePayload payload = encodeObject({.confidence = 0});
    const OwnedScene scene = readScene(payload.data());
    const void* value = nullptr;
    ASSERT_EQ(scene_get_obj_prop(objectsOf(scene.get())[0], SCENE_PROP_CONFIDENCE, &value), 1);
    EXPECT_EQ(*static_cast<const std::int16_t*>(value), 0);
}

TEST(SceneObject, KeepsAnEmptyOutlineEmpty) {
    const ScenePayload payload = encodeObject({.polygon = {std::vector<ScenePoint>{}}});
    const OwnedScene scene = readScene(payload.data());
    const void* value = nullptr;
    EXPECT_EQ(scene_get_obj_prop(objectsOf(scene.get())[0], SCENE_PROP_POLYGON, &value), 0);
}

TEST(SceneObject, HasUpToAThousandPoints) {
    const ScenePayload payload = encodeObject({.polygon = {std::vector<ScenePoint>(1000)}});
    const OwnedScene scene = readScene(payload.data());
    ASSERT_NE(scene, nullptr);
    EXPECT_EQ(coordinates(objectsOf(scene.get())[0], SCENE_PROP_POLYGON).size(), 2000U);
}

TEST(SceneEvents, ComeInTheirOrderWithTheirIds) {
    const ScenePayload payload = encode({.events = {
                                             {.action = SCENE_ACTION_DELETE, .ids = {3, 4}},
                                             {SCENE_ACTION_SPLIT, {4}, {5, 6}},
                                             {SCENE_ACTION_MERGE, {1}, {2}},
                                         }});
    const OwnedScene scene = readScene(payload.data());
    const auto events = eventsOf(scene.get());
    ASSERT_EQ(events.size(), 3U);
    EXPECT_EQ(scene_get_event_action(events[0]), SCENE_ACTION_DELETE);
    EXPECT_THAT(ids(events[0], SCENE_PROP_IDS), ElementsAre(3, 4));
    EXPECT_THAT(ids(events[0], SCENE_PROP_RELATED_IDS), IsEmpty());
    EXPECT_EQ(scene_get_event_action(events[1]), SCENE_ACTION_SPLIT);
    EXPECT_THAT(ids(events[1], SCENE_PROP_IDS), ElementsAre(4));
    EXPECT_THAT(ids(events[1], SCENE_PROP_RELATED_IDS), ElementsAre(5, 6));
    EXPECT_EQ(scene_get_event_action(events[2]), SCENE_ACTION_MERGE);
}

TEST(SceneEvents, HandOnActionsThatMeanNothing) {
    const ScenePayload payload = encode({.events = {{.action = 99}}});
    const OwnedScene scene = readScene(payload.data());
    EXPECT_EQ(scene_get_event_action(eventsOf(scene.get())[0]), 99);
}

TEST(SceneDelete, TakesNull) {
    scene_delete(nullptr);
}

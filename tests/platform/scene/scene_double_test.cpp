#include "scene/double/scene_double.h"

#include "platform/scene/scene_walk.h"
#include "scene/scene_encoder.h"

namespace {

ScenePayload payload() {
    return SceneEncoder().encode(
        {.time = 5000,
         .objects = {{.id = 7, .confidence = 1}, {.id = 8}},
         .events = {{SCENE_ACTION_DELETE, {3}, {}}, {SCENE_ACTION_MERGE, {1}, {2}}}});
}

class SceneDoubleTest : public testing::Test {
protected:
    SceneDoubleTest() { SceneDouble::reset(); }
    ~SceneDoubleTest() override { SceneDouble::reset(); }

    const ScenePayload made = payload();
};

}  // namespace

TEST_F(SceneDoubleTest, ReadsAsTheLibraryDoes) {
    const OwnedScene scene = readScene(made.data());
    EXPECT_EQ(readAll(scene.get()), 5000 % 1000 + 7 + 1 + 8 + 0 + 3 + 2 + 1 + 2);
}

TEST_F(SceneDoubleTest, KeepsTheBalanceOfScenes) {
    const int before = SceneDouble::liveScenes();
    {
        const OwnedScene scene = readScene(made.data());
        EXPECT_EQ(SceneDouble::liveScenes(), before + 1);
    }
    EXPECT_EQ(SceneDouble::liveScenes(), before);
    scene_delete(nullptr);
    EXPECT_EQ(SceneDouble::liveScenes(), before);
    EXPECT_EQ(SceneDouble::nullDeletes(), 1U);
}

TEST_F(SceneDoubleTest, CountsCalls) {
    const OwnedScene scene = readScene(made.data());
    objectsOf(scene.get());
    EXPECT_EQ(SceneDouble::calls(), 4U);
}

TEST_F(SceneDoubleTest, FailsTheCallAskedForAndNoOther) {
    SceneDouble::failCall(2);
    const OwnedScene first = readScene(made.data());
    EXPECT_NE(first, nullptr);
    EXPECT_EQ(readScene(made.data()), nullptr);
    EXPECT_NE(readScene(made.data()), nullptr);
}

TEST_F(SceneDoubleTest, FailsEachKindOfCall) {
    const OwnedScene scene = readScene(made.data());
    const auto* object = objectsOf(scene.get())[0];
    const auto* event = eventsOf(scene.get())[0];
    const auto failNext = [] { SceneDouble::failCall(1); };
    const void* value = &value;

    failNext();
    EXPECT_EQ(scene_get_prop(scene.get(), SCENE_PROP_TIMESTAMP, &value), -1);
    EXPECT_EQ(value, nullptr);
    failNext();
    EXPECT_EQ(scene_next_object(scene.get(), nullptr), nullptr);
    failNext();
    EXPECT_EQ(scene_get_object_id(object), -1);
    value = &value;
    failNext();
    EXPECT_EQ(scene_get_obj_prop(object, SCENE_PROP_CONFIDENCE, &value), -1);
    EXPECT_EQ(value, nullptr);
    failNext();
    EXPECT_EQ(scene_next_event(scene.get(), nullptr), nullptr);
    failNext();
    EXPECT_EQ(scene_get_event_action(event), -1);
    value = &value;
    failNext();
    EXPECT_EQ(scene_get_evt_prop(event, SCENE_PROP_IDS, &value), -1);
    EXPECT_EQ(value, nullptr);
}

TEST_F(SceneDoubleTest, MiscountsTheCallAskedForAndNoOther) {
    const OwnedScene scene = readScene(made.data());
    const auto* object = objectsOf(scene.get())[0];
    const void* value = nullptr;
    SceneDouble::miscount(2, 77);
    EXPECT_EQ(scene_get_obj_prop(object, SCENE_PROP_CONFIDENCE, &value), 1);
    EXPECT_EQ(scene_get_obj_prop(object, SCENE_PROP_CONFIDENCE, &value), 77);
    EXPECT_NE(value, nullptr);
    EXPECT_EQ(scene_get_obj_prop(object, SCENE_PROP_CONFIDENCE, &value), 1);
}

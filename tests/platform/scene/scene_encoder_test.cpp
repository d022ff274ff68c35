#include "scene/scene_encoder.h"

#include <cstdlib>
#include <stdexcept>

#include "platform/scene/scene_walk.h"

namespace {

SceneRecord completeObject() {
    return {.objects = {{
                .id = 7,
                .polygon = {{{1, 2}, {3, 4}, {5, 6}}},
                .boundingBox = {{{{1, 2}, {3, 4}, {5, 6}, {7, 8}}}},
                .velocity = SceneVelocity{1, 2},
                .confidence = 4096,
            }}};
}

// The count of a property of the scene's one object, written with the given properties.
int countOf(scene_prop_e prop, unsigned properties) {
    const ScenePayload payload = SceneEncoder().encode(completeObject(), properties);
    const OwnedScene scene = readScene(payload.data());
    const void* value = nullptr;
    return scene_get_obj_prop(objectsOf(scene.get())[0], prop, &value);
}

}  // namespace

TEST(SceneProperties, AreTheBitsOfTheCapabilityMask) {
    EXPECT_EQ(SceneBoundingBoxes, 1U);
    EXPECT_EQ(ScenePolygons, 2U);
    EXPECT_EQ(SceneVelocities, 4U);
    EXPECT_EQ(SceneConfidences, 8U);
}

TEST(SceneEncoder, WritesJustThePropertiesAskedFor) {
    for (unsigned properties = 0; properties <= SceneAllProperties; ++properties) {
        SCOPED_TRACE(properties);
        EXPECT_EQ(countOf(SCENE_PROP_BOUNDING_BOX, properties), (properties & 1) != 0 ? 4 : 0);
        EXPECT_EQ(countOf(SCENE_PROP_POLYGON, properties), (properties & 2) != 0 ? 3 : 0);
        EXPECT_EQ(countOf(SCENE_PROP_VELOCITY, properties), (properties & 4) != 0 ? 2 : 0);
        EXPECT_EQ(countOf(SCENE_PROP_CONFIDENCE, properties), (properties & 8) != 0 ? 1 : -1);
    }
}

TEST(SceneEncoder, WritesOneSceneAfterTheOtherAfresh) {
    SceneEncoder encoder;
    const ScenePayload first = encoder.encode(completeObject());
    const ScenePayload second = encoder.encode({.objects = {{.id = 8}, {.id = 9}}});
    const OwnedScene firstScene = readScene(first.data());
    const OwnedScene secondScene = readScene(second.data());
    EXPECT_EQ(objectsOf(firstScene.get()).size(), 1U);
    ASSERT_EQ(objectsOf(secondScene.get()).size(), 2U);
    EXPECT_EQ(scene_get_object_id(objectsOf(secondScene.get())[0]), 8);
}

TEST(SceneEncoder, RefusesMoreThanAThousandPoints) {
    SceneEncoder encoder;
    const SceneRecord tooMany{.objects = {{.polygon = {std::vector<ScenePoint>(1001)}}}};
    EXPECT_THROW(encoder.encode(tooMany), std::length_error);
    EXPECT_NE(readScene(encoder.encode(completeObject()).data()), nullptr);
}

TEST(SceneEncoder, WritesManyObjects) {
    SceneRecord scene;
    for (int id = 0; id < 5000; ++id) {
        scene.objects.push_back({.id = id, .polygon = {{{1, 2}, {3, 4}, {5, 6}}}});
    }
    const ScenePayload payload = SceneEncoder().encode(scene);
    const OwnedScene read = readScene(payload.data());
    ASSERT_NE(read, nullptr);
    EXPECT_EQ(objectsOf(read.get()).size(), 5000U);
}

TEST(ScenePayload, GivesItsBlockAway) {
    ScenePayload payload = SceneEncoder().encode(completeObject());
    const char* data = payload.data();
    char* block = payload.release();
    EXPECT_EQ(block, data);
    EXPECT_EQ(payload.data(), nullptr);
    std::free(block);
}

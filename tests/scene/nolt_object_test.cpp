#include "scene/nolt_object.h"

#include "geometry/polygon.h"
#include "scene/double/scene_double.h"
#include "scene/nolt_scene.h"
#include "scene/nolt_utils.h"
#include "scene/scene_encoder.h"
#include "support/syslog_capture.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// The one object of a scene, decoded with the mask.
class Decoded {
public:
    Decoded(const SceneObjectRecord& object, int capabilities)
        : scene(SceneEncoder().encode({.time = 8000, .objects = {object}}).data(), capabilities) {}

    const NoltObject* operator->() const { return scene.activeObjects.at(0); }

private:
    NoltScene scene;
};

SceneObjectRecord completeObject() {
    return {
        .id = 7,
        .polygon = {{{-100, -200}, {-100, 200}, {100, 200}}},
        .boundingBox = {{{{0, 0}, {0, 10}, {30, 10}, {30, 0}}}},
        .velocity = SceneVelocity{35, -70000},
        .confidence = 0,
    };
}

// The call of the library that reads the one property asked for: behind that of the payload, of the
// time, of the object and of its id.
constexpr unsigned velocityCall = 5;
constexpr unsigned confidenceCall = 5;

bool isConfidentAt(int confidence) {
    return Decoded({.confidence = static_cast<std::int16_t>(confidence)}, CapabilityLowConfident)
        ->confident;
}

}  // namespace

TEST(NoltObject, ReadsWhatTheMaskAsksFor) {
    const Decoded object(completeObject(), 15);
    EXPECT_EQ(object->id, 7);
    EXPECT_EQ(object->timestamp, 8);
    EXPECT_EQ(object->velocity.x, 35);
    EXPECT_EQ(object->velocity.y, -70000);
    EXPECT_THAT(object->polygon->points,
                ElementsAre(Point{-100, -200}, Point{-100, 200}, Point{100, 200}));
    EXPECT_EQ(object->boundingBox->width, 30);
    EXPECT_FALSE(object->confident);
}

TEST(NoltObject, ReadsNothingElse) {
    const Decoded object(completeObject(), 0);
    EXPECT_EQ(object->id, 7);
    EXPECT_EQ(object->timestamp, 8);
    EXPECT_EQ(object->velocity.x, 0);
    EXPECT_EQ(object->velocity.y, 0);
    EXPECT_EQ(object->polygon, nullptr);
    EXPECT_EQ(object->boundingBox, nullptr);
    EXPECT_TRUE(object->confident);
}

TEST(NoltObject, CountsAsConfidentFromFullConfidenceOn) {
    EXPECT_FALSE(isConfidentAt(-1));
    EXPECT_FALSE(isConfidentAt(4095));
    EXPECT_TRUE(isConfidentAt(4096));
    EXPECT_TRUE(isConfidentAt(32767));
}

TEST(NoltObject, CountsAsConfidentWithAWordWhenTheConfidenceIsMissing) {
    const SyslogCapture log;
    EXPECT_TRUE(Decoded({.id = 1}, CapabilityLowConfident)->confident);
    EXPECT_THAT(log.lines(), ElementsAre(SyslogCapture::Line{
                                 LOG_WARNING, "Could not get confidence value for object\n"}));
}

TEST(NoltObject, CountsAsConfidentSilentlyWhenConfidenceIsNotAskedFor) {
    const SyslogCapture log;
    EXPECT_TRUE(Decoded({.confidence = 0}, CapabilityPolygon)->confident);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(NoltObject, StandsStillWithoutAVelocity) {
    const Decoded object({.id = 1}, CapabilityVelocity);
    EXPECT_EQ(object->velocity.x, 0);
    EXPECT_EQ(object->velocity.y, 0);
}

TEST(NoltObject, StandsStillUnlessItsVelocityIsJustTwoValues) {
    for (const int count : {-1, 0, 1, 3}) {
        SceneDouble::miscount(velocityCall, count);
        const Decoded object(completeObject(), CapabilityVelocity);
        EXPECT_EQ(object->velocity.x, 0) << count;
        EXPECT_EQ(object->velocity.y, 0) << count;
    }
    const Decoded object(completeObject(), CapabilityVelocity);
    EXPECT_EQ(object->velocity.x, 35);
}

TEST(NoltObject, TakesANegativeCountForAMissingConfidence) {
    const SyslogCapture log;
    SceneDouble::miscount(confidenceCall, -2);
    EXPECT_TRUE(Decoded({.confidence = 0}, CapabilityLowConfident)->confident);
    EXPECT_EQ(log.lines().size(), 1U);
}

TEST(NoltObject, ReadsAConfidenceOfAnyCountThatIsNotNegative) {
    const SyslogCapture log;
    for (const int count : {0, 2}) {
        SceneDouble::miscount(confidenceCall, count);
        EXPECT_FALSE(Decoded({.confidence = 0}, CapabilityLowConfident)->confident) << count;
    }
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(NoltObject, GetsARepairedOutlineForOneThatIsMissing) {
    EXPECT_THAT(Decoded({.id = 1}, CapabilityPolygon)->polygon->points,
                ElementsAre(Point{0, 0}, Point{0, 1}, Point{1, 0}));
}

TEST(NoltObject, GetsARepairedOutlineForOneThatIsTooShort) {
    const Decoded object({.polygon = {{{10, 3000}}}}, CapabilityPolygon);
    EXPECT_THAT(object->polygon->points,
                ElementsAre(Point{10, 3000}, Point{11, 2999}, Point{11, 3000}));
    EXPECT_EQ(object->getWidth(), 0);
    EXPECT_EQ(object->getHeight(), 0);
}

TEST(NoltObject, HasTheSizeOfItsPolygon) {
    const Decoded object(completeObject(), 15);
    EXPECT_EQ(object->getWidth(), 200);
    EXPECT_EQ(object->getHeight(), 400);
}

TEST(NoltObject, HasTheSizeOfItsBoundingBoxWithoutAPolygon) {
    const Decoded object(completeObject(), CapabilityBoundingBox);
    EXPECT_EQ(object->getWidth(), 30);
    EXPECT_EQ(object->getHeight(), 10);
}

TEST(NoltObject, HasNoSizeWithoutEither) {
    const Decoded object(completeObject(), CapabilityVelocity);
    EXPECT_EQ(object->getWidth(), 0);
    EXPECT_EQ(object->getHeight(), 0);
}

TEST(NoltObject, TakesOverWhatItIsBuiltOf) {
    auto* polygon = new Polygon(0, 10, 0, 20);
    auto* boundingBox = new Polygon(0, 11, 0, 21);
    const NoltObject object(3, 99, {1, 2}, polygon, boundingBox, false);
    EXPECT_EQ(object.id, 3);
    EXPECT_EQ(object.timestamp, 99);
    EXPECT_EQ(object.velocity.y, 2);
    EXPECT_EQ(object.polygon, polygon);
    EXPECT_EQ(object.boundingBox, boundingBox);
    EXPECT_FALSE(object.confident);
}

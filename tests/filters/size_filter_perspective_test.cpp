#include "filters/size_filter_perspective.h"

#include <memory>

#include "filters/perspective_bar.h"
#include "geometry/polygon.h"
#include "scene/nolt_object.h"
#include "tracking/perspective_filter_external_data.h"
#include "tracking/tracking_object.h"

namespace {

constexpr const char* key = "size_filter_perspective_5";

// A scale of 4 at -1000 and of 2 at 1000.
Perspective perspective() {
    return Perspective({PerspectiveBar(-1000, -600, 100), PerspectiveBar(1000, 1200, 100)});
}

std::unique_ptr<NoltObject> report(const Point& centre, short width, short height) {
    return std::make_unique<NoltObject>(1, 1000, NoltVelocity{}, new Polygon(centre, width, height),
                                        nullptr, true);
}

std::unique_ptr<TrackingObject> box(const Point& centre, short width, short height,
                                    int rotation = 0, float aspectRatio = 1.0F) {
    return std::make_unique<TrackingObject>(*report(centre, width, height), rotation, aspectRatio);
}

int storedHeight(const TrackingObject& object) {
    return object.getData(key)->getInt("maxRealWorldHeight");
}

int storedWidth(const TrackingObject& object) {
    return object.getData(key)->getInt("maxRealWorldWidth");
}

SizeFilterPerspective filter(int minWidth, int minHeight, bool active = true) {
    return SizeFilterPerspective(5, minWidth, minHeight, perspective(), active);
}

}  // namespace

TEST(SizeFilterPerspective, StartsAtZero) {
    const auto object = box({0, 0}, 100, 100);
    EXPECT_FALSE(filter(0, 0).canObjectTriggerAlarm(*object));
    EXPECT_EQ(storedHeight(*object), 0);
    EXPECT_EQ(storedWidth(*object), 0);
    EXPECT_NE(dynamic_cast<PerspectiveFilterExternalData*>(object->getData(key)), nullptr);
}

TEST(SizeFilterPerspective, MeasuresTheObjectWhereItsFeetAre) {
    // Feet at -1000, scale 4.
    const auto object = box({0, -800}, 200, 400);
    filter(0, 0).updateFilterData(*object);
    EXPECT_EQ(storedHeight(*object), 100);
    EXPECT_EQ(storedWidth(*object), 50);
}

TEST(SizeFilterPerspective, MeasuresTheAspectCorrectedWidth) {
    const auto object = box({0, -800}, 200, 400, 0, 1.5F);
    filter(0, 0).updateFilterData(*object);
    EXPECT_EQ(storedHeight(*object), 100);
    EXPECT_EQ(storedWidth(*object), 75);
}

TEST(SizeFilterPerspective, MeasuresTheViewedSizeAtAnyRotation) {
    // Feet at x = 1000, scale 2; 400 wide as reported is high as viewed.
    const auto onItsSide = box({800, 0}, 400, 300, 90, 1.5F);
    filter(0, 0).updateFilterData(*onItsSide);
    EXPECT_EQ(storedHeight(*onItsSide), 200);
    EXPECT_EQ(storedWidth(*onItsSide), 100);

    const auto otherSide = box({-800, 0}, 400, 300, 270, 1.5F);
    filter(0, 0).updateFilterData(*otherSide);
    EXPECT_EQ(storedHeight(*otherSide), 100);
    EXPECT_EQ(storedWidth(*otherSide), 50);

    const auto upsideDown = box({0, 800}, 200, 400, 180);
    filter(0, 0).updateFilterData(*upsideDown);
    EXPECT_EQ(storedHeight(*upsideDown), 200);
    EXPECT_EQ(storedWidth(*upsideDown), 100);
}

TEST(SizeFilterPerspective, KeepsTheGreatestOfEachSize) {
    const auto object = box({0, -800}, 200, 400);
    filter(0, 0).updateFilterData(*object);
    object->update(*report({0, -950}, 400, 100));
    filter(0, 0).updateFilterData(*object);
    EXPECT_EQ(storedHeight(*object), 100);
    EXPECT_EQ(storedWidth(*object), 100);
}

TEST(SizeFilterPerspective, RefusesExactlyTheLimitsAndPassesBeyondOneOfThem) {
    const auto object = box({0, -800}, 200, 400);
    filter(0, 0).updateFilterData(*object);
    EXPECT_FALSE(filter(50, 100).canObjectTriggerAlarm(*object));
    EXPECT_TRUE(filter(49, 100).canObjectTriggerAlarm(*object));
    EXPECT_TRUE(filter(50, 99).canObjectTriggerAlarm(*object));
}

TEST(SizeFilterPerspective, MeasuresAlsoWhileInactiveAndPassesEverything) {
    const auto object = box({0, -800}, 200, 400);
    EXPECT_TRUE(filter(1000, 1000, false).canObjectTriggerAlarm(*object));
    EXPECT_EQ(object->getData(key), nullptr);
    filter(1000, 1000, false).updateFilterData(*object);
    EXPECT_EQ(storedHeight(*object), 100);
}

TEST(SizeFilterPerspective, LeavesEveryObjectAloneWhenAllBarsAreAtOnePlace) {
    const Perspective none({PerspectiveBar(0, 100, 50), PerspectiveBar(0, 100, 50)});
    SizeFilterPerspective degenerate(5, 1000, 1000, none, true);
    const auto object = box({0, 0}, 1, 1);
    degenerate.updateFilterData(*object);
    EXPECT_TRUE(degenerate.canObjectTriggerAlarm(*object));
}

TEST(SizeFilterPerspective, LetsAMergedObjectKeepTheGreaterSizes) {
    const auto target = box({0, -800}, 200, 400);
    const auto source = box({0, -950}, 400, 100);
    source->id = 2;
    filter(0, 0).updateFilterData(*target);
    filter(0, 0).updateFilterData(*source);
    target->merge(source.get(), true);
    EXPECT_EQ(storedHeight(*target), 100);
    EXPECT_EQ(storedWidth(*target), 100);
}

TEST(SizeFilterPerspective, ClonesLimitsKeyPerspectiveAndState) {
    const auto object = box({0, -800}, 200, 400);
    const std::unique_ptr<ExclusionFilter> clone(filter(50, 100).clone());
    clone->updateFilterData(*object);
    EXPECT_EQ(storedHeight(*object), 100);
    EXPECT_FALSE(clone->canObjectTriggerAlarm(*object));
    const std::unique_ptr<ExclusionFilter> inactive(filter(50, 100, false).clone());
    EXPECT_TRUE(inactive->canObjectTriggerAlarm(*object));
}

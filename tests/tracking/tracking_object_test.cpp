#include "tracking/tracking_object.h"

#include <memory>

#include "geometry/polygon.h"
#include "scene/nolt_object.h"
#include "support/syslog_capture.h"
#include "tracking/tracking_object_external_data_no_merge.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr float wide = 1.5F;

// A box as the tracking engine reports it.
struct Sighting {
    Point centre{0, 0};
    short width = 100;
    short height = 200;
    long time = 1000;
    NoltVelocity velocity{};
    bool confident = true;
    int id = 7;
};

std::unique_ptr<NoltObject> seen(const Sighting& sighting) {
    return std::make_unique<NoltObject>(
        sighting.id, sighting.time, sighting.velocity,
        new Polygon(sighting.centre, sighting.width, sighting.height), nullptr, sighting.confident);
}

std::unique_ptr<TrackingObject> tracked(const Sighting& sighting, int rotation = 0) {
    return std::make_unique<TrackingObject>(*seen(sighting), rotation, wide);
}

std::vector<int> extent(const Polygon* polygon) {
    return {polygon->minX, polygon->maxX, polygon->minY, polygon->maxY};
}

// Data that adds up in a merge and tells of its end.
class SumData : public TrackingObjectExternalData {
public:
    SumData(int value, int& aliveCounter) : alive(aliveCounter) {
        insert("sum", value);
        ++alive;
    }
    SumData(const SumData& other) : TrackingObjectExternalData(other), alive(other.alive) {
        ++alive;
    }
    ~SumData() override { --alive; }

    SumData* clone() const override { return new SumData(*this); }
    void merge(const TrackingObjectExternalData& other) override {
        insert("sum", getInt("sum") + other.getInt("sum"));
    }

private:
    int& alive;
};

class FilterDataTest : public testing::Test {
protected:
    ~FilterDataTest() override { EXPECT_EQ(alive, 0) << "filter data outlived its objects"; }

    void give(TrackingObject& object, const std::string& key, int sum) {
        object.insertData(key, new SumData(sum, alive));
    }
    static int sumOf(const TrackingObject& object, const std::string& key) {
        return object.getData(key)->getInt("sum");
    }

    int alive = 0;
};

}  // namespace

TEST(TrackingObject, StartsWhereItIsSeenFirst) {
    const auto object =
        tracked({.centre = {100, 1000}, .time = 5000, .velocity = {35, -7}, .confident = false});
    EXPECT_EQ(object->id, 7);
    EXPECT_EQ(object->firstSeen, 5000);
    EXPECT_EQ(object->lastSeen, 5000);
    EXPECT_EQ(object->maxWidth, 100);
    EXPECT_EQ(object->maxHeight, 200);
    EXPECT_EQ(object->getWidth(), 100);
    EXPECT_EQ(object->getAspectCorrectedWidth(), 150);
    EXPECT_EQ(object->position, (Point{100, 1000}));
    EXPECT_EQ(object->previousPosition, (Point{100, 1000}));
    EXPECT_THAT(extent(object->polygon), ElementsAre(50, 150, 900, 1100));
    EXPECT_THAT(extent(object->currentFootBox), ElementsAre(50, 150, 900, 950));
    EXPECT_THAT(extent(object->previousFootBox), ElementsAre(50, 150, 900, 950));
    EXPECT_NE(object->currentFootBox, object->previousFootBox);
    EXPECT_FALSE(object->confident);
    EXPECT_TRUE(object->mergeable);
    EXPECT_EQ(object->velocityX, 35);
    EXPECT_EQ(object->velocityY, -7);
    EXPECT_TRUE(object->externalData.empty());
}

TEST(TrackingObject, CopiesTheOutlineWithItsCachedExtent) {
    auto report = seen({});
    report->polygon->maxX = 4000;
    const TrackingObject object(*report, 0, wide);
    EXPECT_NE(object.polygon, report->polygon);
    EXPECT_EQ(object.polygon->points, report->polygon->points);
    EXPECT_EQ(object.polygon->maxX, 4000);
}

TEST(TrackingObject, NarrowsItsVelocityTo16Bits) {
    const auto object = tracked({.velocity = {65536 + 3, -65536 - 4}});
    EXPECT_EQ(object->velocityX, 3);
    EXPECT_EQ(object->velocityY, -4);
    object->update(*seen({.velocity = {32768, 40000}}));
    EXPECT_EQ(object->velocityX, -32768);
    EXPECT_EQ(object->velocityY, 40000 - 65536);
}

TEST(TrackingObject, KeepsViewedMaximaWhenItIsMountedOnItsSide) {
    for (const int rotation : {90, 270}) {
        const auto object = tracked({.width = 100, .height = 200}, rotation);
        EXPECT_EQ(object->getWidth(), 200);
        EXPECT_EQ(object->getHeight(), 100);
        EXPECT_EQ(object->maxWidth, 200);
        EXPECT_EQ(object->maxHeight, 100);
        object->update(*seen({.width = 150, .height = 150}));
        EXPECT_EQ(object->maxWidth, 200);
        EXPECT_EQ(object->maxHeight, 150);
    }
}

TEST(TrackingObject, KeepsReportedMaximaAtARotationOf45) {
    const SyslogCapture log;
    const auto object = tracked({.width = 100, .height = 200}, 45);
    EXPECT_TRUE(log.has(LOG_WARNING, "Unexpected camera rotation 45\n"));
    EXPECT_EQ(object->getWidth(), 200);
    EXPECT_EQ(object->getHeight(), 100);
    EXPECT_EQ(object->maxWidth, 100);
    EXPECT_EQ(object->maxHeight, 200);
    EXPECT_THAT(extent(object->currentFootBox), ElementsAre(-50, 50, -100, -50));
}

TEST(TrackingObject, TakesInALaterSighting) {
    const auto object = tracked({.centre = {100, 1000}, .time = 5000});
    object->update(*seen({.centre = {400, 800},
                          .width = 80,
                          .height = 300,
                          .time = 9000,
                          .velocity = {1, 2},
                          .confident = false}));
    EXPECT_EQ(object->id, 7);
    EXPECT_EQ(object->firstSeen, 5000);
    EXPECT_EQ(object->lastSeen, 9000);
    EXPECT_EQ(object->maxWidth, 100);
    EXPECT_EQ(object->maxHeight, 300);
    EXPECT_EQ(object->getWidth(), 80);
    EXPECT_EQ(object->getHeight(), 300);
    EXPECT_EQ(object->position, (Point{400, 800}));
    EXPECT_EQ(object->previousPosition, (Point{100, 1000}));
    EXPECT_THAT(extent(object->polygon), ElementsAre(360, 440, 650, 950));
    EXPECT_THAT(extent(object->previousFootBox), ElementsAre(50, 150, 900, 950));
    EXPECT_THAT(extent(object->currentFootBox), ElementsAre(360, 440, 650, 725));
    EXPECT_FALSE(object->confident);
    EXPECT_EQ(object->velocityX, 1);
    EXPECT_EQ(object->velocityY, 2);
}

TEST(TrackingObject, TakesInSightingAfterSighting) {
    const auto object = tracked({.centre = {0, 0}});
    object->update(*seen({.centre = {10, 0}, .time = 2000}));
    object->update(*seen({.centre = {20, 0}, .time = 3000}));
    object->update(*seen({.centre = {30, 0}, .time = 4000}));
    EXPECT_EQ(object->previousPosition, (Point{20, 0}));
    EXPECT_THAT(extent(object->previousFootBox), ElementsAre(-30, 70, -100, -50));
    EXPECT_THAT(extent(object->currentFootBox), ElementsAre(-20, 80, -100, -50));
    EXPECT_EQ(object->lastSeen - object->firstSeen, 3000);
}

TEST(TrackingObject, TakesTheOutlinesNumberOfPointsAsItComes) {
    const auto object = tracked({});
    const short triangle[] = {0, 0, 0, 90, 90, 0};
    const NoltObject report(7, 2000, {}, new Polygon(triangle, 3), nullptr, true);
    object->update(report);
    EXPECT_THAT(object->polygon->points, ElementsAre(Point{0, 0}, Point{0, 90}, Point{90, 0}));
    object->update(*seen({}));
    EXPECT_EQ(object->polygon->points.size(), 4U);
}

TEST(TrackingObject, TakesItsFirstOutlineInASighting) {
    TrackingObject object(7);
    object.update(*seen({.centre = {10, 20}}));
    EXPECT_EQ(object.position, (Point{10, 20}));
    EXPECT_EQ(object.polygon->points.size(), 4U);
    EXPECT_EQ(object.previousFootBox, nullptr);
}

TEST(TrackingObject, IsBuiltPlainForOtherUses) {
    const TrackingObject byId(5);
    EXPECT_EQ(byId.id, 5);
    EXPECT_EQ(byId.position, (Point{0, 0}));
    EXPECT_EQ(byId.previousPosition, (Point{0, 0}));
    EXPECT_EQ(byId.firstSeen, 0);
    EXPECT_EQ(byId.lastSeen, 0);
    EXPECT_TRUE(byId.confident);
    EXPECT_TRUE(byId.mergeable);
    EXPECT_EQ(byId.polygon, nullptr);

    auto* polygon = new Polygon(0, 10, 0, 20);
    const TrackingObject byPolygon(6, polygon);
    EXPECT_EQ(byPolygon.id, 6);
    EXPECT_EQ(byPolygon.polygon, polygon);

    const TrackingObject bySize(30, 40);
    EXPECT_EQ(bySize.maxWidth, 30);
    EXPECT_EQ(bySize.maxHeight, 40);
    EXPECT_EQ(bySize.getAspectCorrectedWidth(), 30);
}

TEST(TrackingObject, MovesItsPreviousFootBoxWithItsPreviousPosition) {
    const auto object = tracked({});
    object->setPreviousPosition({1000, 500});
    EXPECT_EQ(object->previousPosition, (Point{1000, 500}));
    EXPECT_THAT(extent(object->previousFootBox), ElementsAre(950, 1050, 400, 450));
    EXPECT_EQ(object->position, (Point{0, 0}));
}

TEST(TrackingObject, TellsItsOutlinesExtentAsXml) {
    const auto object = tracked({.centre = {0, 0}, .width = 1000, .height = 4096});
    EXPECT_EQ(object->toNoltStringXML(),
              "<object confidence=\"1.0\" id=\"7\">"
              "<box height=\"1\" width=\"0.2441\" x=\"-0.1221\" y=\"-0.5\"/></object>");
    object->confident = false;
    EXPECT_THAT(object->toNoltStringXML(), testing::StartsWith("<object confidence=\"0.0\" id"));
}

TEST(TrackingObject, TellsItsExtentWithFourSignificantDigits) {
    const auto object = tracked({.centre = {3000, -2001}, .width = 1235, .height = 777});
    EXPECT_EQ(object->toNoltStringXML(),
              "<object confidence=\"1.0\" id=\"7\">"
              "<box height=\"0.1897\" width=\"0.3015\" x=\"0.5818\" y=\"-0.5833\"/></object>");
    const auto tiny = tracked({.centre = {0, 5555}, .width = 1, .height = 0});
    EXPECT_THAT(tiny->toNoltStringXML(),
                testing::HasSubstr("height=\"0\" width=\"0.0002441\" x=\"0\" y=\"1.356\""));
}

TEST(TrackingObject, DrawsItsBoundingBox) {
    const auto object = tracked({.centre = {0, 0}, .width = 2048, .height = 4096});
    EXPECT_EQ(object->toStringSvg("fill:red"),
              object->polygon->toBoundingBoxStringSvg("fill:red", ""));
    EXPECT_THAT(object->toStringSvg("fill:red"), testing::HasSubstr("-0.250,-0.500"));
}

TEST(TrackingObjectMerge, TakesTheLargerSizesAndTheEarlierAge) {
    const auto target = tracked({.width = 100, .height = 50, .time = 5000});
    const auto source = tracked({.width = 60, .height = 300, .time = 2000, .id = 8});
    target->merge(source.get(), true);
    EXPECT_EQ(target->getWidth(), 100);
    EXPECT_EQ(target->getHeight(), 300);
    EXPECT_EQ(target->maxWidth, 100);
    EXPECT_EQ(target->maxHeight, 300);
    EXPECT_EQ(target->firstSeen, 2000);
    EXPECT_EQ(target->lastSeen, 5000);

    const auto younger = tracked({.time = 9000, .id = 9});
    target->merge(younger.get(), true);
    EXPECT_EQ(target->firstSeen, 2000);
}

TEST(TrackingObjectMerge, KeepsTheTargetsIdentity) {
    const auto target = tracked({.centre = {0, 0}, .velocity = {1, 1}});
    const auto source = tracked({.centre = {500, 0}, .time = 7000, .velocity = {9, 9}, .id = 8});
    target->merge(source.get(), false);
    EXPECT_EQ(target->id, 7);
    EXPECT_EQ(target->position, (Point{0, 0}));
    EXPECT_THAT(extent(target->polygon), ElementsAre(-50, 50, -100, 100));
    EXPECT_EQ(target->lastSeen, 1000);
    EXPECT_EQ(target->velocityX, 1);
}

TEST(TrackingObjectMerge, KeepsThePreviousPositionWhenTheTargetIsAmongTheSources) {
    const auto target = tracked({.centre = {0, 0}});
    const auto source = tracked({.centre = {500, 0}, .id = 8});
    target->merge(source.get(), true);
    EXPECT_EQ(target->previousPosition, (Point{0, 0}));
    EXPECT_THAT(extent(target->previousFootBox), ElementsAre(-50, 50, -100, -50));
}

TEST(TrackingObjectMerge, TakesTheSourcesPreviousPositionOtherwise) {
    const auto target = tracked({.centre = {0, 0}});
    const auto source = tracked({.centre = {500, 0}, .id = 8});
    target->merge(source.get(), false);
    EXPECT_EQ(target->previousPosition, (Point{500, 0}));
    EXPECT_THAT(extent(target->previousFootBox), ElementsAre(450, 550, -100, -50));
    EXPECT_NE(target->previousFootBox, source->previousFootBox);
}

TEST(TrackingObjectMerge, LogsBoxesThatDifferAndStillTakesTheMaxima) {
    const SyslogCapture log;
    const auto target = tracked({.width = 100, .height = 50});
    const auto source = tracked({.width = 60, .height = 300, .id = 8}, 180);
    target->merge(source.get(), true);
    EXPECT_EQ(target->getHeight(), 50);
    EXPECT_EQ(target->maxHeight, 300);
    EXPECT_TRUE(log.has(LOG_WARNING,
                        "Cannot merge two Invariant boxes with different aspect ratio or image "
                        "rotation,box 1: aspect ratio = 1.500000 image rotation = 0 - box 2: "
                        "aspect ratio = 1.500000 image rotation = 180\n"));
}

TEST(TrackingObjectMerge, DoesNothingUnlessBothAreMergeable) {
    for (const bool isTargetMergeable : {true, false}) {
        const auto target = tracked({.width = 10});
        const auto source = tracked({.width = 60, .time = 1, .id = 8});
        target->mergeable = isTargetMergeable;
        source->mergeable = !isTargetMergeable;
        target->merge(source.get(), false);
        EXPECT_EQ(target->maxWidth, 10);
        EXPECT_EQ(target->firstSeen, 1000);
    }
}

TEST(TrackingObjectMerge, TakesManySourcesInOrderAndLeavesOutNullAndItself) {
    const auto target = tracked({.centre = {0, 0}});
    const auto first = tracked({.centre = {500, 0}, .time = 300, .id = 8});
    const auto second = tracked({.centre = {600, 0}, .time = 400, .id = 9});
    const auto namesake = tracked({.centre = {700, 0}, .time = 1});
    target->merge({first.get(), nullptr, second.get(), namesake.get()}, false);
    EXPECT_EQ(target->previousPosition, (Point{600, 0}));
    EXPECT_EQ(target->firstSeen, 300);
}

TEST(TrackingObjectSplit, GivesEachPartTheSourcesHistory) {
    const auto source = tracked({.centre = {0, 0}, .width = 300, .height = 20, .time = 1000});
    const auto first = tracked({.centre = {500, 0}, .time = 4000, .id = 8});
    const auto second = tracked({.centre = {600, 0}, .time = 4000, .id = 9});
    std::vector<TrackingObject*> parts{first.get(), nullptr, second.get()};
    source->split(parts);
    for (const TrackingObject* part : {first.get(), second.get()}) {
        EXPECT_EQ(part->firstSeen, 1000);
        EXPECT_EQ(part->lastSeen, 4000);
        EXPECT_EQ(part->getWidth(), 300);
        EXPECT_EQ(part->getHeight(), 200);
        EXPECT_EQ(part->maxWidth, 300);
        EXPECT_EQ(part->previousPosition, (Point{0, 0}));
        EXPECT_THAT(extent(part->previousFootBox), ElementsAre(-150, 150, -10, -5));
    }
    EXPECT_EQ(first->position, (Point{500, 0}));
}

TEST(TrackingObjectSplit, MakesAPartYoungerToo) {
    const auto source = tracked({.time = 8000});
    const auto part = tracked({.time = 1000, .id = 8});
    part->splitFromSource(source.get());
    EXPECT_EQ(part->firstSeen, 8000);
}

TEST(TrackingObjectSplit, LeavesOutTheSourceItself) {
    const auto source = tracked({.time = 8000});
    const auto namesake = tracked({.time = 1000});
    std::vector<TrackingObject*> parts{source.get(), namesake.get()};
    source->split(parts);
    EXPECT_EQ(namesake->firstSeen, 1000);
}

TEST(TrackingObjectSplit, DoesNothingUnlessBothAreMergeable) {
    for (const bool isPartMergeable : {true, false}) {
        const auto source = tracked({.time = 8000});
        const auto part = tracked({.time = 1000, .id = 8});
        part->mergeable = isPartMergeable;
        source->mergeable = !isPartMergeable;
        part->splitFromSource(source.get());
        std::vector<TrackingObject*> parts{part.get()};
        source->split(parts);
        EXPECT_EQ(part->firstSeen, 1000);
    }
}

TEST_F(FilterDataTest, IsFoundUnderItsKey) {
    TrackingObject object(1);
    give(object, "a", 5);
    EXPECT_EQ(sumOf(object, "a"), 5);
    EXPECT_EQ(object.getData("b"), nullptr);
}

TEST_F(FilterDataTest, IsReplacedWithoutBeingDestroyed) {
    TrackingObject object(1);
    give(object, "a", 5);
    const std::unique_ptr<TrackingObjectExternalData> earlier(object.getData("a"));
    give(object, "a", 6);
    EXPECT_EQ(alive, 2);
    EXPECT_EQ(earlier->getInt("sum"), 5);
    EXPECT_EQ(sumOf(object, "a"), 6);
}

TEST_F(FilterDataTest, IsCombinedInAMerge) {
    TrackingObject target(1);
    TrackingObject source(2);
    give(target, "both", 5);
    give(target, "target", 1);
    give(source, "both", 7);
    target.merge(&source, true);
    EXPECT_EQ(sumOf(target, "both"), 12);
    EXPECT_EQ(sumOf(target, "target"), 1);
    EXPECT_EQ(sumOf(source, "both"), 7);
}

TEST_F(FilterDataTest, IsClonedInAMergeWhenTheTargetHasNone) {
    TrackingObject target(1);
    TrackingObject source(2);
    give(source, "a", 7);
    target.merge(&source, true);
    EXPECT_EQ(sumOf(target, "a"), 7);
    EXPECT_NE(target.getData("a"), source.getData("a"));
}

TEST_F(FilterDataTest, IsOverwrittenInASplit) {
    TrackingObject source(1);
    TrackingObject part(2);
    give(source, "both", 5);
    give(source, "source", 6);
    give(part, "both", 7);
    give(part, "part", 8);
    part.splitFromSource(&source);
    EXPECT_EQ(sumOf(part, "both"), 5);
    EXPECT_EQ(sumOf(part, "source"), 6);
    EXPECT_EQ(sumOf(part, "part"), 8);
    EXPECT_NE(part.getData("both"), source.getData("both"));
}

#include "overlay/cairo_bounding_box_container.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <map>

#include "device/stream_settings.h"
#include "geometry/polygon.h"
#include "overlay/external_overlay_union.h"
#include "support/syslog_capture.h"
#include "tracking/tracking_object.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

class CairoBoundingBoxes : public testing::Test {
protected:
    /// The box of a quarter of the width and an eighth of the height.
    CairoBoundingBox boxAt(int rotation) {
        boxes.insert(7, -2048, 3072, 2048, 1024, {1920, 1080, rotation, false}, {});
        return boxes.begin()->second;
    }
    void insert(const TrackingObject& object, long age = 0) {
        boxes.insert(object, settings, age, {});
    }

    std::map<int, CairoBoundingBox> all() const { return {boxes.begin(), boxes.end()}; }

    const StreamSettings settings{8192, 8192, 180, false};
    CairoBoundingBoxContainer boxes;
    SyslogCapture log;
};

TEST_F(CairoBoundingBoxes, StandAroundTheirCentreAtEachRotation) {
    EXPECT_EQ(boxAt(0), (CairoBoundingBox{480 - 240, 135 - 67, 480, 135}));
    EXPECT_EQ(boxAt(90), (CairoBoundingBox{945 - 67, 480 - 240, 135, 480}));
    EXPECT_EQ(boxAt(180), (CairoBoundingBox{1440 - 240, 945 - 67, 480, 135}));
    EXPECT_EQ(boxAt(270), (CairoBoundingBox{135 - 67, 1440 - 240, 135, 480}));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(CairoBoundingBoxes, AreCountedFromBelowTheUpperMargin) {
    boxes.insert(7, -2048, 3072, 2048, 1024, {1920, 1080, 0, false}, {.top = 48, .bottom = 16});
    EXPECT_EQ(boxes.begin()->second, (CairoBoundingBox{240, 135 - 67 - 48, 480, 135}));
}

TEST_F(CairoBoundingBoxes, AreEmptyAtARotationThatIsNotKnown) {
    EXPECT_EQ(boxAt(0).width, 480);
    EXPECT_EQ(boxAt(45), CairoBoundingBox());
    // One line for the centre, one for the size.
    const SyslogCapture::Line line{LOG_WARNING, "Unhandled rotation, value: 45\n"};
    EXPECT_THAT(log.lines(), ElementsAre(line, line));
}

TEST_F(CairoBoundingBoxes, KeepSixteenBitsOfEachSize) {
    boxes.insert(7, -4096, 4096, 24576, 16384, {16384, 16384, 0, false}, {});
    EXPECT_EQ(boxes.begin()->second, (CairoBoundingBox{8192, 16384, -16384, -32768}));
}

TEST_F(CairoBoundingBoxes, AreReplacedByALaterBoxOfTheirId) {
    boxes.insert(7, 0, 0, 100, 100, settings, {});
    boxes.insert(7, 0, 0, 200, 300, settings, {});
    boxes.insert(3, 0, 0, 100, 100, settings, {});
    EXPECT_THAT(all(), ElementsAre(Pair(3, CairoBoundingBox{4046, 4046, 100, 100}),
                                   Pair(7, CairoBoundingBox{3996, 3946, 200, 300})));
}

TEST_F(CairoBoundingBoxes, AreThereOnceInserted) {
    EXPECT_TRUE(boxes.isEmpty());
    boxes.insert(7, 0, 0, 100, 100, settings, {});
    EXPECT_FALSE(boxes.isEmpty());
}

TEST_F(CairoBoundingBoxes, AreThoseOfObjects) {
    // One pixel a unit, x from right to left.
    insert(TrackingObject(7, new Polygon(100, 300, -50, 50)));
    EXPECT_THAT(all(), ElementsAre(Pair(7, CairoBoundingBox{3796, 4046, 200, 100})));
}

TEST_F(CairoBoundingBoxes, KeepTheFirstBoxOfAnObject) {
    insert(TrackingObject(7, new Polygon(100, 300, -50, 50)));
    insert(TrackingObject(7, new Polygon(1100, 1300, -50, 50)));
    EXPECT_THAT(all(), ElementsAre(Pair(7, CairoBoundingBox{3796, 4046, 200, 100})));
}

TEST_F(CairoBoundingBoxes, FollowAnObjectForAsLongAsItTook) {
    TrackingObject object(7, new Polygon(100, 300, -50, 50));
    object.velocityX = 1000;
    object.velocityY = -1001;
    insert(object, 500000);
    EXPECT_THAT(all(), ElementsAre(Pair(7, CairoBoundingBox{3796 - 500, 4046 - 500, 200, 100})));
}

TEST_F(CairoBoundingBoxes, CopeWithAnyAge) {
    for (const long age : {std::numeric_limits<long>::min(), std::numeric_limits<long>::max()}) {
        TrackingObject object(age > 0 ? 1 : 2, new Polygon(100, 300, -50, 50));
        object.velocityX = -32768;
        object.velocityY = 32767;
        insert(object, age);
    }
    EXPECT_THAT(all(), testing::SizeIs(2));
    EXPECT_EQ(boxes.begin()->second.width, 200);
}

TEST_F(CairoBoundingBoxes, LeaveAnObjectWithoutAnOutlineOut) {
    insert(TrackingObject(7));
    EXPECT_TRUE(boxes.isEmpty());
}

}  // namespace

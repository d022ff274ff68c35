#include "guard/protection_area.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "geometry/double/geometry_double.h"
#include "support/allocation_counter.h"
#include "support/syslog_capture.h"
#include "tracking/tracking_object.h"

using testing::IsEmpty;

namespace {

const Polygon kArea(-1000, 1000, -1000, 1000);

Polygon polygon(const std::vector<short>& xy) {
    return Polygon(xy.data(), static_cast<int>(xy.size() / 2));
}

// A U that is open at the top.
const Polygon kNotched =
    polygon({-900, -900, -900, 900, -500, 900, -500, 0, 500, 0, 500, 900, 900, 900, 900, -900});

class ProtectionAreaTest : public testing::Test {
protected:
    ProtectionAreaTest() { GeometryDouble::reset(); }
    ~ProtectionAreaTest() override { GeometryDouble::reset(); }

    // By the fast way; the slow one must agree.
    int check(const Polygon& outline) const {
        const TrackingObject object(1, outline.clone());
        const int where = area.checkObject(object);
        EXPECT_EQ(area.checkByClipping(outline), where);
        return where;
    }

    ProtectionArea area{kArea};
};

}  // namespace

TEST_F(ProtectionAreaTest, OutsideIs1WhateverIsExcluded) {
    EXPECT_EQ(1, check(Polygon(1001, 1200, 0, 100)));
    area.addExcludeArea(Polygon(900, 1500, -500, 500));
    EXPECT_EQ(1, check(Polygon(1001, 1200, 0, 100)));
}

TEST_F(ProtectionAreaTest, InsideWithoutExcludesIs0) {
    EXPECT_EQ(0, check(Polygon(-100, 100, -100, 100)));
    EXPECT_EQ(0, check(Polygon(900, 1100, -100, 100)));
    EXPECT_EQ(0, check(Polygon(-3000, 3000, -3000, 3000)));
}

TEST_F(ProtectionAreaTest, ThereIsNoLeastOverlap) {
    EXPECT_EQ(0, check(Polygon(999, 1100, 0, 100)));
    EXPECT_EQ(0, check(Polygon(-3, -2, 0, 1)));
    area.addExcludeArea(Polygon(0, 100, 0, 100));
    EXPECT_EQ(0, check(Polygon(-1, 50, 10, 20)));
}

TEST_F(ProtectionAreaTest, TouchingGivesNoPiece) {
    EXPECT_EQ(2, check(Polygon(1000, 1200, 10, 100)));
    EXPECT_EQ(2, check(Polygon(1000, 1200, 1000, 1200)));
}

TEST_F(ProtectionAreaTest, WhollyInAnExcludeIs2) {
    area.addExcludeArea(Polygon(-500, 500, -500, 500));
    EXPECT_EQ(2, check(Polygon(-100, 100, -100, 100)));
    EXPECT_EQ(2, check(Polygon(-500, 500, -500, 500)));
    EXPECT_EQ(0, check(Polygon(-100, 600, -100, 100)));
}

TEST_F(ProtectionAreaTest, WhatLiesOutsideTheIncludeAreaNeedsNoExclude) {
    area.addExcludeArea(Polygon(500, 1000, -500, 500));
    EXPECT_EQ(2, check(Polygon(600, 2000, -100, 100)));
}

TEST_F(ProtectionAreaTest, HalvesInAdjoiningExcludesAre2) {
    area.addExcludeArea(Polygon(-500, 0, -500, 500));
    area.addExcludeArea(Polygon(0, 500, -500, 500));
    EXPECT_EQ(2, check(Polygon(-100, 100, -100, 100)));
    EXPECT_EQ(0, check(Polygon(-100, 100, -100, 600)));
}

TEST_F(ProtectionAreaTest, OrderOfExcludesHasNoEffect) {
    const std::vector<Polygon> excludes{Polygon(-500, 0, -500, 500), Polygon(-50, 500, -500, 500),
                                        Polygon(-10, 10, 400, 700)};
    ProtectionArea reversed(kArea);
    for (std::size_t i = 0; i < excludes.size(); ++i) {
        area.addExcludeArea(excludes[i]);
        reversed.addExcludeArea(excludes[excludes.size() - 1 - i]);
    }
    for (const Polygon& outline : {Polygon(-100, 100, -100, 100), Polygon(-100, 100, 400, 600),
                                   Polygon(-5, 5, 450, 650), Polygon(600, 700, 0, 10)}) {
        EXPECT_EQ(area.checkOutline(outline), reversed.checkOutline(outline));
    }
}

TEST_F(ProtectionAreaTest, SharedVerticesWork) {
    EXPECT_EQ(0, check(kArea));
    EXPECT_EQ(0, check(Polygon(0, 1000, 0, 1000)));
    area.addExcludeArea(Polygon(0, 500, 0, 1000));
    EXPECT_EQ(0, check(kArea));
    EXPECT_EQ(0, check(Polygon(0, 1000, 0, 1000)));
    // Vertices on the border of an exclude are inside it: no cut that could leave anything.
    EXPECT_EQ(2, check(Polygon(0, 500, 0, 1000)));
}

TEST_F(ProtectionAreaTest, AnExcludeInsideTheObjectLeavesItUnexcluded) {
    area.addExcludeArea(Polygon(-50, 50, -50, 50));
    EXPECT_EQ(0, check(Polygon(-100, 100, -100, 100)));
    // Also when what is round the hole is excluded but for a rest.
    area.addExcludeArea(Polygon(-200, 90, -200, 200));
    EXPECT_EQ(0, check(Polygon(-100, 100, -100, 100)));
    area.addExcludeArea(Polygon(-200, 200, -200, 200));
    EXPECT_EQ(2, check(Polygon(-100, 100, -100, 100)));
}

TEST_F(ProtectionAreaTest, AHoleIsNoPieceOfItsOwn) {
    // All round the first exclude is excluded by the others; the first alone must not come back as
    // something that stands outside them.
    area.addExcludeArea(Polygon(-50, 50, -50, 50));
    area.addExcludeArea(Polygon(-300, -40, -300, 300));
    area.addExcludeArea(Polygon(40, 300, -300, 300));
    area.addExcludeArea(Polygon(-300, 300, -300, -40));
    area.addExcludeArea(Polygon(-300, 300, 40, 300));
    EXPECT_EQ(2, check(Polygon(-100, 100, -100, 100)));
}

TEST_F(ProtectionAreaTest, AConcaveExcludeIsAskedForVerticesOnly) {
    area.addExcludeArea(kNotched);
    // Crosses the notch with its vertices on both sides of it: excluded all the same.
    EXPECT_EQ(2, check(Polygon(-700, 700, 300, 500)));
    // A vertex in the notch: not excluded.
    EXPECT_EQ(0, check(Polygon(-700, 100, 300, 500)));
    EXPECT_EQ(0, check(Polygon(-100, 100, 300, 500)));
}

TEST_F(ProtectionAreaTest, IsExcludedAsksTheSameOfAPiece) {
    EXPECT_FALSE(area.isExcluded(Polygon(-100, 100, -100, 100)));
    area.addExcludeArea(kNotched);
    EXPECT_TRUE(area.isExcluded(Polygon(-700, 700, 300, 500)));
    EXPECT_FALSE(area.isExcluded(Polygon(-100, 100, 300, 500)));
    EXPECT_FALSE(area.isExcluded(Polygon(2000, 2100, 0, 100)));
}

TEST_F(ProtectionAreaTest, APieceWithoutVerticesIsExcludedByAnyExclude) {
    Polygon empty(kArea);
    empty.points.clear();
    EXPECT_FALSE(area.isExcluded(empty));
    area.addExcludeArea(Polygon(0, 1, 0, 1));
    EXPECT_TRUE(area.isExcluded(empty));
}

TEST_F(ProtectionAreaTest, RepairedOutlinesAreJudgedByTheirVertices) {
    // Their box says (0, 0).
    EXPECT_EQ(0, check(polygon({500, 500})));
    EXPECT_EQ(1, check(polygon({2000, 2000})));
    EXPECT_EQ(1, check(polygon({2000, 0, 3000, 1000})));
    EXPECT_EQ(0, check(Polygon(nullptr, 0)));
}

TEST_F(ProtectionAreaTest, MovedOutlinesAreJudgedByTheirVertices) {
    Polygon outline(-100, 100, -100, 100);
    outline.moveTo({3000, 3000});
    EXPECT_EQ(1, check(outline));
    outline.moveTo({500, 500});
    EXPECT_EQ(0, check(outline));
}

TEST_F(ProtectionAreaTest, OutlinesBeyondThePictureAreJudged) {
    EXPECT_EQ(0, check(Polygon(-100, 20000, -100, 100)));
    EXPECT_EQ(0, check(Polygon(-32768, 32767, -32768, 32767)));
    EXPECT_EQ(1, check(Polygon(5000, 20000, -100, 100)));
}

TEST_F(ProtectionAreaTest, ManyExcludesAreJudged) {
    for (short i = 0; i < 40; ++i) {
        area.addExcludeArea(Polygon(-400 + 20 * i, -380 + 20 * i, -500, 500));
    }
    EXPECT_EQ(2, check(Polygon(-300, 300, -100, 100)));
    EXPECT_EQ(0, check(Polygon(-300, 300, -100, 600)));
}

TEST_F(ProtectionAreaTest, AFailingIntersectionTestIsOutside) {
    GeometryDouble::failEveryCall("gm_intersect_pp");
    EXPECT_EQ(1, area.checkByClipping(Polygon(-100, 100, -100, 100)));
    EXPECT_EQ(1, area.checkOutline(Polygon(999, 1100, 0, 100)));
}

TEST_F(ProtectionAreaTest, AFailingClipperGivesNoPiece) {
    const SyslogCapture log;
    GeometryDouble::failEveryCall("gm_clip_pp");
    EXPECT_EQ(2, area.checkByClipping(Polygon(-100, 100, -100, 100)));
    EXPECT_EQ(2, area.checkOutline(Polygon(999, 1100, 0, 100)));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(ProtectionAreaTest, APieceLostToTheClipperLeansTowardsExclusion) {
    const SyslogCapture log;
    area.addExcludeArea(Polygon(0, 500, -500, 500));
    const Polygon outline(-100, 100, -100, 100);
    EXPECT_EQ(0, area.checkByClipping(outline));
    // The first call finds the piece, the second one is to cut it.
    GeometryDouble::failCall("gm_clip_pp", 2);
    EXPECT_EQ(2, area.checkByClipping(outline));
    GeometryDouble::failCall("gm_clip_pp", 1);
    EXPECT_TRUE(area.isExcluded(outline));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(ProtectionAreaTest, AnyFailureOfTheLibraryIsSurvived) {
    area.addExcludeArea(kNotched);
    area.addExcludeArea(Polygon(-200, 200, 600, 900));
    const Polygon outline(-700, 400, 200, 700);
    ASSERT_EQ(0, area.checkByClipping(outline));
    for (const char* function : {"gm_intersect_pp", "gm_inside_p", "gm_clip_pp"}) {
        GeometryDouble::reset();
        area.checkByClipping(outline);
        const int calls = GeometryDouble::calls(function);
        EXPECT_GT(calls, 0);
        for (int n = 1; n <= calls; ++n) {
            GeometryDouble::failCall(function, n);
            const int where = area.checkByClipping(outline);
            EXPECT_TRUE(where >= 0 && where <= 2) << function << " call " << n;
        }
    }
}

TEST_F(ProtectionAreaTest, MostObjectsAreJudgedWithoutTheClipperAndWithoutMemory) {
    area.addExcludeArea(Polygon(0, 500, -500, 500));
    const TrackingObject far(1, Polygon(2000, 2100, 0, 100).clone());
    const TrackingObject inside(2, Polygon(-300, -100, 0, 100).clone());
    const TrackingObject halfExcluded(3, Polygon(-100, 100, 0, 100).clone());
    const TrackingObject excluded(4, Polygon(100, 300, 0, 100).clone());
    const std::size_t before = allocationCount;
    EXPECT_EQ(1, area.checkObject(far));
    EXPECT_EQ(0, area.checkObject(inside));
    EXPECT_EQ(0, area.checkObject(halfExcluded));
    EXPECT_EQ(2, area.checkObject(excluded));
    EXPECT_EQ(before, allocationCount);
    EXPECT_EQ(0, GeometryDouble::calls("gm_clip_pp"));
}

TEST_F(ProtectionAreaTest, RefusalBeforeClippingTakesNoMemory) {
    // Too close to tell by boxes, and by a way that is not open to proofs.
    const Polygon slanted = polygon({-1000, -1000, 1000, -1000, -1000, 1000});
    const ProtectionArea triangle(slanted);
    const Polygon near(500, 900, 500, 900);
    const Polygon beyond(2000, 9000, -100, 100);
    const std::size_t before = allocationCount;
    EXPECT_EQ(1, triangle.checkOutline(near));
    EXPECT_EQ(1, triangle.checkByClipping(near));
    EXPECT_EQ(1, area.checkOutline(beyond));
    EXPECT_EQ(before, allocationCount);
}

TEST_F(ProtectionAreaTest, CopiesThePolygonsItIsGiven) {
    Polygon include(kArea);
    Polygon exclude(-500, 500, -500, 500);
    ProtectionArea copied(include);
    copied.addExcludeArea(exclude);
    include.moveTo({3000, 3000});
    exclude.moveTo({3000, 3000});
    EXPECT_EQ(2, copied.checkOutline(Polygon(-100, 100, -100, 100)));
    EXPECT_EQ(0, copied.checkOutline(Polygon(600, 700, 600, 700)));
}

TEST_F(ProtectionAreaTest, SvgIsTheIncludePolygonAlone) {
    area.addExcludeArea(kNotched);
    EXPECT_EQ(
        "<polygon class=\"includeArea\" points=\" -0.244,-0.244 -0.244,0.244 0.244,0.244 "
        "0.244,-0.244\" style=\"fill:red\"  />\n",
        area.toStringSvg("fill:red"));
    EXPECT_EQ(kArea.toStringSvg("", "includeArea"), area.toStringSvg(""));
}

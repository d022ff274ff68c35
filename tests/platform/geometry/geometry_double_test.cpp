#include "geometry/double/geometry_double.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "geometry_shapes.h"

namespace {

const Shape kSquare{{0, 0}, {0, 10}, {10, 10}, {10, 0}};

class GeometryDoubleTest : public testing::Test {
protected:
    GeometryDoubleTest() { GeometryDouble::reset(); }
};

}  // namespace

TEST_F(GeometryDoubleTest, AnswersAndCounts) {
    EXPECT_TRUE(polygonsMeet(kSquare, kSquare));
    EXPECT_TRUE(polygonsMeet(kSquare, kSquare));
    EXPECT_EQ(2, GeometryDouble::calls("gm_intersect_pp"));
    EXPECT_EQ(0, GeometryDouble::calls("gm_clip_pp"));
    GeometryDouble::reset();
    EXPECT_EQ(0, GeometryDouble::calls("gm_intersect_pp"));
}

TEST_F(GeometryDoubleTest, FailsTheCallThatItIsToldTo) {
    EXPECT_TRUE(isInside({5, 5}, kSquare));
    GeometryDouble::failCall("gm_inside_p", 2);
    EXPECT_TRUE(isInside({5, 5}, kSquare));
    EXPECT_FALSE(isInside({5, 5}, kSquare));
    EXPECT_TRUE(isInside({5, 5}, kSquare));
}

TEST_F(GeometryDoubleTest, FailsEachFunctionAndStoresNothing) {
    for (const char* name : {"gm_intersect_pp", "gm_intersect_ps", "gm_intersect_ss", "gm_inside_p",
                             "gm_area_p", "gm_centroid_p", "gm_transform_scale", "gm_clip_pp"}) {
        GeometryDouble::failEveryCall(name);
    }
    const gm_point* square = kSquare.data();
    EXPECT_EQ(-1, gm_intersect_pp(square, 4, square, 4));
    EXPECT_EQ(-1, gm_intersect_ps(square, 4, square, 4));
    EXPECT_EQ(-1, gm_intersect_ss(square, 4, square, 4));
    EXPECT_EQ(-1, gm_inside_p(square, square, 4));
    std::int64_t area = 7;
    EXPECT_EQ(-1, gm_area_p(&area, square, 4));
    EXPECT_EQ(7, area);
    gm_point point{7, 7};
    EXPECT_EQ(-1, gm_centroid_p(&point, square, 4));
    EXPECT_EQ(-1, gm_transform_scale(&point, 1, 0, 0));
    EXPECT_EQ((gm_point{7, 7}), point);
    gm_point** pieces = nullptr;
    int64_t* lengths = nullptr;
    int64_t count = 7;
    EXPECT_EQ(-1,
              gm_clip_pp(&pieces, &lengths, &count, square, 4, square, 4, GM_CLIP_INTERSECTION));
    EXPECT_EQ(7, count);
}

TEST_F(GeometryDoubleTest, RefusesNamesThatAreNone) {
    EXPECT_THROW(GeometryDouble::failCall("gm_nothing", 1), std::invalid_argument);
}

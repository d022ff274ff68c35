#include "geometry/polygon_container.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "geometry/polygon.h"

using testing::IsEmpty;
using testing::SizeIs;

namespace {

// What is left undeleted a sanitizer tells.
PolygonContainer squares(int count) {
    PolygonContainer container;
    for (int i = 0; i < count; ++i) {
        container.insert(new Polygon(i, i + 1, 0, 1));
    }
    return container;
}

}  // namespace

TEST(PolygonContainer, OwnsWhatIsInserted) {
    PolygonContainer container;
    auto* polygon = new Polygon(0, 1, 0, 1);
    container.insert(polygon);
    ASSERT_THAT(container.polygons, SizeIs(1));
    EXPECT_EQ(polygon, container.polygons[0]);
    container.clear();
    EXPECT_THAT(container.polygons, IsEmpty());
}

TEST(PolygonContainer, AppendsClones) {
    PolygonContainer container = squares(1);
    const PolygonContainer other = squares(2);
    container.append(other);
    ASSERT_THAT(container.polygons, SizeIs(3));
    EXPECT_NE(other.polygons[1], container.polygons[2]);
    EXPECT_EQ(*other.polygons[1], *container.polygons[2]);
    EXPECT_THAT(other.polygons, SizeIs(2));
}

TEST(PolygonContainer, AppendsItself) {
    PolygonContainer container = squares(2);
    container.append(container);
    ASSERT_THAT(container.polygons, SizeIs(4));
    EXPECT_EQ(*container.polygons[1], *container.polygons[3]);
}

TEST(PolygonContainer, CopiesAreDeep) {
    const PolygonContainer container = squares(2);
    const PolygonContainer copy(container);
    EXPECT_NE(container.polygons[0], copy.polygons[0]);
    EXPECT_EQ(*container.polygons[0], *copy.polygons[0]);
    PolygonContainer assigned = squares(5);
    assigned = container;
    ASSERT_THAT(assigned.polygons, SizeIs(2));
    EXPECT_NE(container.polygons[1], assigned.polygons[1]);
    const PolygonContainer& self = assigned;
    assigned = self;
    ASSERT_THAT(assigned.polygons, SizeIs(2));
    EXPECT_EQ(*container.polygons[1], *assigned.polygons[1]);
}

TEST(PolygonContainer, TakeOwnershipMovesThePointers) {
    PolygonContainer container = squares(1);
    PolygonContainer other = squares(2);
    Polygon* moved = other.polygons[1];
    container.takeOwnership(other);
    EXPECT_THAT(container.polygons, SizeIs(3));
    EXPECT_EQ(moved, container.polygons[2]);
    EXPECT_THAT(other.polygons, IsEmpty());
}

TEST(PolygonContainer, TakingOwnershipOfItselfChangesNothing) {
    PolygonContainer container = squares(2);
    container.takeOwnership(container);
    EXPECT_THAT(container.polygons, SizeIs(2));
}

#include "guard/alarm_data_container.h"

#include <gtest/gtest.h>

#include "geometry/polygon.h"
#include "tracking/tracking_object.h"

TEST(AlarmDataContainer, IgnoresNull) {
    AlarmDataContainer container;
    container.insert(nullptr);
    EXPECT_FALSE(container.doesProfileExist(1));
}

TEST(AlarmDataContainer, KnowsTheProfilesAndSizesOfItsEntries) {
    TrackingObject object(1);
    auto* busy = new AlarmData(2);
    busy->addObjectStatus(&object, AlarmDataStatusAlarm);
    busy->addObjectStatus(&object, AlarmDataStatusAlarm);
    AlarmDataContainer container;
    container.insert(new AlarmData(1));
    container.insert(busy);
    EXPECT_TRUE(container.doesProfileExist(1));
    EXPECT_EQ(container.size(1), 0);
    EXPECT_EQ(container.size(2), 2);
    EXPECT_FALSE(container.doesProfileExist(3));
    EXPECT_EQ(container.size(3), 0);
}

TEST(AlarmDataContainer, IteratesTheObjectsOfAProfile) {
    TrackingObject first(1);
    TrackingObject second(2);
    auto* entry = new AlarmData(5);
    entry->addObjectStatus(&first, AlarmDataStatusAlarm);
    entry->addObjectStatus(&second, AlarmDataStatusFiltered);
    AlarmDataContainer container;
    container.insert(entry);
    const std::vector<AlarmData::ObjectStatus> seen(container.begin(5), container.end(5));
    EXPECT_EQ(seen, entry->objects);
}

TEST(AlarmDataContainer, IteratesThePolygonsOfAProfileWithoutObjects) {
    const Polygon box(-2048, 2048, -2048, 2048);
    auto* entry = new AlarmData(5);
    entry->addPolygonToDisplay(&box);
    AlarmDataContainer container;
    container.insert(entry);
    EXPECT_TRUE(container.doesProfileExist(5));
    EXPECT_EQ(container.size(5), 0);
    ASSERT_EQ(container.endPolygon(5) - container.beginPolygon(5), 1);
    EXPECT_EQ(*container.beginPolygon(5), &box);
}

TEST(AlarmDataContainer, GivesEmptyRangesForAnUnknownProfile) {
    AlarmDataContainer container;
    container.insert(new AlarmData(1));
    EXPECT_EQ(container.begin(9), container.end(9));
    EXPECT_EQ(container.beginPolygon(9), container.endPolygon(9));
    EXPECT_EQ(container.begin(9), AlarmDataContainer().begin(8));
}

TEST(AlarmDataContainer, TakesTheFirstEntryOfAProfile) {
    TrackingObject object(1);
    auto* second = new AlarmData(1);
    second->addObjectStatus(&object, AlarmDataStatusAlarm);
    AlarmDataContainer container;
    container.insert(new AlarmData(1));
    container.insert(second);
    EXPECT_EQ(container.size(1), 0);
}

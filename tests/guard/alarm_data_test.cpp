#include "guard/alarm_data.h"

#include <gtest/gtest.h>
#include <syslog.h>

#include "geometry/polygon.h"
#include "support/syslog_capture.h"
#include "tracking/tracking_object.h"

TEST(AlarmData, StartsWithoutObjectsPolygonsAndAlarm) {
    const AlarmData alarmData(7);
    EXPECT_EQ(alarmData.profileId, 7);
    EXPECT_FALSE(alarmData.alarm);
    EXPECT_TRUE(alarmData.objects.empty());
    EXPECT_TRUE(alarmData.polygons.empty());
}

TEST(AlarmData, StatusesHaveTheirTravellingValues) {
    EXPECT_EQ(AlarmDataStatusAlarm, 0);
    EXPECT_EQ(AlarmDataStatusNotOfInterest, 1);
    EXPECT_EQ(AlarmDataStatusFiltered, 2);
}

TEST(AlarmData, KeepsObjectsInTheOrderOfTheirVerdicts) {
    TrackingObject first(3);
    TrackingObject second(1);
    AlarmData alarmData(1);
    alarmData.addObjectStatus(&first, AlarmDataStatusFiltered);
    alarmData.addObjectStatus(&second, AlarmDataStatusAlarm);
    ASSERT_EQ(alarmData.objects.size(), 2U);
    EXPECT_EQ(alarmData.objects[0], AlarmData::ObjectStatus(&first, AlarmDataStatusFiltered));
    EXPECT_EQ(alarmData.objects[1], AlarmData::ObjectStatus(&second, AlarmDataStatusAlarm));
}

TEST(AlarmData, IgnoresANullPolygon) {
    const Polygon polygon(0, 10, 0, 10);
    AlarmData alarmData(1);
    alarmData.addPolygonToDisplay(nullptr);
    alarmData.addPolygonToDisplay(&polygon);
    EXPECT_EQ(alarmData.polygons, std::vector<const Polygon*>{&polygon});
}

TEST(AlarmData, TellsWhetherAnObjectTriggered) {
    TrackingObject alarming(3);
    TrackingObject outside(4);
    TrackingObject filtered(5);
    AlarmData alarmData(1);
    alarmData.addObjectStatus(&alarming, AlarmDataStatusAlarm);
    alarmData.addObjectStatus(&outside, AlarmDataStatusNotOfInterest);
    alarmData.addObjectStatus(&filtered, AlarmDataStatusFiltered);
    const SyslogCapture log;
    EXPECT_TRUE(alarmData.didTriggerAlarm(3));
    EXPECT_FALSE(alarmData.didTriggerAlarm(4));
    EXPECT_FALSE(alarmData.didTriggerAlarm(5));
    EXPECT_TRUE(log.lines().empty());
}

TEST(AlarmData, LogsAnUnknownObjectAndSaysNo) {
    const AlarmData alarmData(1);
    const SyslogCapture log;
    EXPECT_FALSE(alarmData.didTriggerAlarm(42));
    EXPECT_TRUE(
        log.has(LOG_ERR, "AlarmData::didTriggerAlarm - Could not find an object with id 42\n"));
    EXPECT_EQ(log.lines().size(), 1U);
}

#include "guard/area_guard.h"

#include <gmock/gmock.h>
#include <syslog.h>

#include "guard/guard_fixture.h"
#include "support/syslog_capture.h"
#include "tracking/tracking_object_external_data_no_merge.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class AreaGuardTest : public GuardFixture {
protected:
    AreaGuardTest() { makeGuard(); }

    AlarmDataStatus_e judge(TrackingObject& object) {
        verdict = check(++now, {&object});
        EXPECT_EQ(verdict->objects.size(), 1U);
        EXPECT_EQ(verdict->objects[0].first, &object);
        return verdict->objects[0].second;
    }
    bool isPending(TrackingObject& object) {
        return guard->getData(object)->getBool("hasPendingAlarm");
    }

    long now = 1_s;
    Verdict verdict;
};

}  // namespace

// The table of verdicts, a row each.

TEST_F(AreaGuardTest, AlarmsForAPassingObjectInside) {
    TrackingObject& object = track(1);
    EXPECT_EQ(judge(object), AlarmDataStatusAlarm);
    EXPECT_TRUE(verdict->alarm);
    EXPECT_FALSE(isPending(object));
}

TEST_F(AreaGuardTest, AlarmsForAPassingObjectOutsideThatHasAPendingAlarm) {
    TrackingObject& object = track(1);
    leave(object);
    guard->getData(object)->insert("hasPendingAlarm", true);
    EXPECT_EQ(judge(object), AlarmDataStatusAlarm);
    EXPECT_TRUE(verdict->alarm);
    EXPECT_FALSE(isPending(object));
}

TEST_F(AreaGuardTest, HasNothingToReportOnAPassingObjectOutside) {
    TrackingObject& object = track(1);
    leave(object);
    EXPECT_EQ(judge(object), AlarmDataStatusNotOfInterest);
    EXPECT_FALSE(verdict->alarm);
    EXPECT_FALSE(isPending(object));
}

TEST_F(AreaGuardTest, NotesAPendingAlarmForARefusedObjectInside) {
    TrackingObject& object = track(1);
    gate.isOpen = false;
    EXPECT_EQ(judge(object), AlarmDataStatusFiltered);
    EXPECT_FALSE(verdict->alarm);
    EXPECT_TRUE(isPending(object));
}

TEST_F(AreaGuardTest, LeavesThePendingAlarmOfARefusedObjectOutsideAsItIs) {
    TrackingObject& object = track(1);
    leave(object);
    gate.isOpen = false;
    EXPECT_EQ(judge(object), AlarmDataStatusFiltered);
    EXPECT_FALSE(isPending(object));
    guard->getData(object)->insert("hasPendingAlarm", true);
    EXPECT_EQ(judge(object), AlarmDataStatusFiltered);
    EXPECT_FALSE(verdict->alarm);
    EXPECT_TRUE(isPending(object));
}

TEST_F(AreaGuardTest, ClearsThePendingAlarmOfAPassingObjectInside) {
    TrackingObject& object = track(1);
    gate.isOpen = false;
    judge(object);
    gate.isOpen = true;
    EXPECT_EQ(judge(object), AlarmDataStatusAlarm);
    EXPECT_FALSE(isPending(object));
}

TEST_F(AreaGuardTest, AlarmsOnceForAnObjectThatWasHeldBackInsideAndPassesOutside) {
    TrackingObject& object = track(1);
    leave(object);
    gate.isOpen = false;
    EXPECT_EQ(judge(object), AlarmDataStatusFiltered);
    enter(object);
    EXPECT_EQ(judge(object), AlarmDataStatusFiltered);
    leave(object);
    EXPECT_EQ(judge(object), AlarmDataStatusFiltered);
    gate.isOpen = true;
    EXPECT_EQ(judge(object), AlarmDataStatusAlarm);
    EXPECT_EQ(judge(object), AlarmDataStatusNotOfInterest);
}

TEST_F(AreaGuardTest, KeepsAlarmingForAnObjectThatStays) {
    TrackingObject& object = track(1);
    EXPECT_EQ(judge(object), AlarmDataStatusAlarm);
    EXPECT_EQ(judge(object), AlarmDataStatusAlarm);
}

TEST_F(AreaGuardTest, NeverNotesAPendingAlarmInAnExcludeArea) {
    guard->addExcludeArea(Polygon(-500, 500, -500, 500));
    TrackingObject& object = track(1);
    gate.isOpen = false;
    EXPECT_EQ(judge(object), AlarmDataStatusFiltered);
    EXPECT_FALSE(isPending(object));
    gate.isOpen = true;
    EXPECT_EQ(judge(object), AlarmDataStatusNotOfInterest);
}

TEST_F(AreaGuardTest, TakesTheExcludeAreaAsACopy) {
    {
        const Polygon excluded(-500, 500, -500, 500);
        guard->addExcludeArea(excluded);
    }
    EXPECT_EQ(judge(track(1)), AlarmDataStatusNotOfInterest);
}

TEST_F(AreaGuardTest, GivesAnEmptyVerdictOnASceneWithoutObjects) {
    verdict = check(now);
    ASSERT_NE(verdict, nullptr);
    EXPECT_EQ(verdict->profileId, 3);
    EXPECT_FALSE(verdict->alarm);
    EXPECT_THAT(verdict->objects, IsEmpty());
    EXPECT_THAT(verdict->polygons, IsEmpty());
}

TEST_F(AreaGuardTest, JudgesEachObjectInTheOrderOfTheScene) {
    TrackingObject& outside = track(9);
    leave(outside);
    TrackingObject& inside = track(2);
    verdict = check(now, {&outside, &inside});
    EXPECT_THAT(verdict->objects, ElementsAre(std::pair(&outside, AlarmDataStatusNotOfInterest),
                                              std::pair(&inside, AlarmDataStatusAlarm)));
    EXPECT_TRUE(verdict->alarm);
}

TEST_F(AreaGuardTest, JudgesAnObjectTwiceThatIsInTheSceneTwice) {
    TrackingObject& object = track(1);
    verdict = check(now, {&object, &object});
    EXPECT_EQ(verdict->objects.size(), 2U);
    EXPECT_EQ(gate.updates, 2);
}

TEST_F(AreaGuardTest, UpdatesEveryFilterForEveryObjectWhateverTheVerdict) {
    guard->addExclusionFilter(new GateFilter(secondGate));
    gate.isOpen = false;
    TrackingObject& outside = track(1);
    leave(outside);
    check(now, {&outside, &track(2)});
    EXPECT_EQ(gate.updates, 2);
    EXPECT_EQ(secondGate.updates, 2);
    EXPECT_EQ(secondGate.questions, 0);
}

TEST_F(AreaGuardTest, KeepsItsDataOnTheObjectUnderItsOwnKey) {
    TrackingObject& object = track(1);
    TrackingObjectExternalData* data = guard->getData(object);
    EXPECT_EQ(data, object.getData("area_guard_3"));
    EXPECT_EQ(data, guard->getData(object));
    EXPECT_FALSE(data->getBool("hasPendingAlarm"));
}

TEST_F(AreaGuardTest, DoesNotHandThePendingAlarmToAnObjectThatIsMergedInto) {
    TrackingObject& target = track(1);
    TrackingObject& source = track(2);
    guard->getData(target);
    guard->getData(source)->insert("hasPendingAlarm", true);
    target.merge(&source, true);
    EXPECT_FALSE(isPending(target));
}

TEST_F(AreaGuardTest, LogsLostDataAndTakesItAsNotPending) {
    TrackingObject& object = track(1);
    leave(object);
    object.insertData("area_guard_3", new TrackingObjectExternalDataNoMerge);
    const SyslogCapture log;
    EXPECT_EQ(judge(object), AlarmDataStatusNotOfInterest);
    EXPECT_THAT(log.lines(), ElementsAre(SyslogCapture::Line{
                                 LOG_ERR, "Could not find stored data for key hasPendingAlarm\n"}));
}

TEST_F(AreaGuardTest, TellsWhetherItsEventIsOn) {
    EXPECT_FALSE(guard->isStateEventOngoing());
    judge(track(1));
    EXPECT_TRUE(guard->isStateEventOngoing());
}

TEST_F(AreaGuardTest, StopsItsEventAtOnceAndOnlyIfItIsOn) {
    guard->stopAllEvents(2_s);
    EXPECT_THAT(events.take(), IsEmpty());
    now = 4_s;
    judge(track(1));
    guard->stopAllEvents(5_s);
    EXPECT_FALSE(guard->isStateEventOngoing());
    EXPECT_THAT(events.take(),
                ElementsAre("start Camera1Profile3 4000001", "end Camera1Profile3 5000000"));
}

#include "events/ktw_state_event_producer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

#include "app/utils.h"
#include "events/event_nice_name.h"
#include "support/fake_clock.h"
#include "support/syslog_capture.h"
#include "support/wrapped_device.h"

namespace {

using Line = SyslogCapture::Line;
using Lines = std::vector<Line>;
using Texts = std::vector<std::string>;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr long kNow = 5'000'000'000;

/// The producer on a device with one camera; DevicesTwo below has two.
class Producers : public testing::Test {
protected:
    explicit Producers(const WrappedDevice::Parameters& parameters = {})
        : device(parameters), producer(KTW_StateEventProducer::getInstance()) {}

    void TearDown() override {
        KTW_StateEventProducer::releaseInstance();
        EXPECT_EQ(ZQEventDouble::problems(), Texts());
    }

    /// Registers as an event handler would.
    StateEventProducerHandle add(int camera, int profile, const std::string& name) {
        return producer.registerEvent(camera, name, utils::generateEventName(camera, profile),
                                      utils::generateEventNiceName("KTW 4", name, camera));
    }
    void start(const StateEventProducerHandle& handle) { producer.sendStartEvent(handle, kNow); }
    void end(const StateEventProducerHandle& handle) { producer.sendEndEvent(handle, kNow); }

    /// What was sent since the last call.
    Texts taken() {
        Texts all = WrappedDevice::sent();
        const Texts fresh(all.begin() + static_cast<long>(seen), all.end());
        seen = all.size();
        return fresh;
    }
    /// What was sent since the last call to the event with this last topic.
    Texts takenOf(const std::string& name) {
        Texts lines = taken();
        std::erase_if(lines,
                      [&](const std::string& line) { return !line.starts_with(name + " "); });
        return lines;
    }
    Texts declareLines() {
        Texts lines = ZQEventDouble::log("zq_event_handler_declare");
        for (std::string& line : lines) {
            line = line.substr(line.find(": ") + 2);
        }
        return lines;
    }
    void letRemovalsComeDue() {
        clock.advance(50'000);
        WrappedDevice::runTimer();
    }
    /// Lets one of the next sends fail, counted from 1.
    void failSend(int n) { ZQEventDouble::failCall("zq_event_handler_send_event", n); }
    void failDeclaration(int n) { ZQEventDouble::failCall("zq_event_handler_declare", n); }

    FakeClock clock{kNow};
    WrappedDevice device;
    KTW_StateEventProducer& producer;
    SyslogCapture log;
    std::size_t seen = 0;
};

class OneCamera : public Producers {};

class TwoCameras : public Producers {
protected:
    TwoCameras() : Producers(WrappedDevice::twoCameras()) {}
};

// Declaring

TEST_F(OneCamera, DeclaresTheFiveEventsOfAProfile) {
    const StateEventProducerHandle handle = add(1, 7, "My door");
    EXPECT_EQ(handle.key, "KTW 4: My door_Camera1Profile7");
    EXPECT_EQ(handle.cameraId, 1);
    const std::string own =
        "topic0=tnsorva:\"DeviceAppHost\" "
        "topic1=tnsorva:\"KTW\" (KTW|Tarnwatch) ";
    EXPECT_THAT(
        declareLines(),
        ElementsAre(
            own + "topic2=tnsorva:\"Camera1Profile7\" (Camera1Profile7|KTW 4: My door) "
                  "active=false data",
            own + "topic2=tnsorva:\"Camera1ProfileANY\" (Camera1ProfileANY|KTW 4: Any Profile) "
                  "active=false data",
            "topic0=tns1:\"RuleEngine\" (RuleEngine|Application) "
            "topic1=tnsorva:\"KTW3\" (KTW3|Tarnwatch 3) "
            "topic2=tnsorva:\"ktw3_video_1\" (ktw3_video_1|KTW 3) "
            "active=false (|Active) data areaid=0 (Area ID|) source",
            "topic0=tns1:\"VideoSource\" topic1=tns1:\"MotionAlarm\" Source=0 source "
            "[wstype:tt:ReferenceToken] State=false data",
            "topic0=tns1:\"RuleEngine\" topic1=tns1:\"MotionRegionDetector\" "
            "topic2=tns1:\"Motion\" [isApplicationData] State=false data VideoSource=0 source "
            "[wstype:tt:ReferenceToken] RuleName=\"My door\" source [wstype:xsd:string]"));
    for (const std::string& line : ZQEventDouble::log("zq_event_handler_declare")) {
        EXPECT_NE(line.find(" stateful "), std::string::npos) << line;
    }
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(TwoCameras, DeclareTheSixEventsOfAProfileWithTheirCameras) {
    const StateEventProducerHandle handle = add(2, 7, "My door");
    EXPECT_EQ(handle.key, "KTW 4: My door (Back)_Camera2Profile7");
    const std::string own =
        "topic0=tnsorva:\"DeviceAppHost\" "
        "topic1=tnsorva:\"KTW\" (KTW|Tarnwatch) ";
    const Texts lines = declareLines();
    ASSERT_EQ(lines.size(), 6U);
    EXPECT_EQ(lines[0], own +
                            "topic2=tnsorva:\"Camera2Profile7\" "
                            "(Camera2Profile7|KTW 4: My door (Back)) active=false data");
    EXPECT_EQ(lines[1], own +
                            "topic2=tnsorva:\"Camera2ProfileANY\" "
                            "(Camera2ProfileANY|KTW 4: Any Profile (Back)) active=false data");
    EXPECT_EQ(lines[2], own +
                            "topic2=tnsorva:\"CameraANY\" (CameraANY|KTW 4: Any Camera) "
                            "active=false data");
    EXPECT_NE(lines[3].find("(ktw3_video_2|KTW 3: Video 2)"), std::string::npos) << lines[3];
    EXPECT_NE(lines[4].find(" Source=1 "), std::string::npos) << lines[4];
    EXPECT_NE(lines[5].find(" VideoSource=1 "), std::string::npos) << lines[5];
}

/// The key of an event that a producer has declared can be seen in the text of its refusal.
TEST_F(TwoCameras, KeepTheirEventsUnderTheToldKeys) {
    add(2, 7, "My door");
    for (const char* key :
         {"KTW 4: My door (Back)_Camera2Profile7", "KTW 4: Any Profile (Back)_Camera2ProfileANY",
          "KTW 4: Any Camera_CameraANY", "KTW 3: Video 2_ktw3_video_2", "KTW (Back)_ONVIFCamera2",
          "My door - 2"}) {
        EXPECT_EQ(sdk_wrapper_event_remove(key), 1) << key;
    }
}

TEST_F(OneCamera, KeepsItsEventsUnderTheToldKeys) {
    add(1, 7, "My door");
    for (const char* key :
         {"KTW 4: My door_Camera1Profile7", "KTW 4: Any Profile_Camera1ProfileANY",
          "KTW 3_ktw3_video_1", "KTW_ONVIFCamera1", "My door - 1"}) {
        EXPECT_EQ(sdk_wrapper_event_remove(key), 1) << key;
    }
}

TEST_F(OneCamera, SharesTheCamerasEventsAmongItsProfiles) {
    add(1, 1, "A");
    add(1, 2, "B");
    EXPECT_THAT(WrappedDevice::declared(),
                ElementsAre("Camera1Profile1", "Camera1ProfileANY", "ktw3_video_1", "MotionAlarm",
                            "Motion", "Camera1Profile2", "Motion"));
}

// Starting and ending

TEST_F(OneCamera, SendsAnAlarmInAllItsFormsInOrder) {
    const auto door = add(1, 1, "Door");
    start(door);
    EXPECT_THAT(taken(), ElementsAre("Camera1Profile1 active=true", "Camera1ProfileANY active=true",
                                     "ktw3_video_1 active=true", "MotionAlarm Source=0 State=true",
                                     "Motion VideoSource=0 RuleName=\"Door\" State=true"));
    end(door);
    EXPECT_THAT(taken(),
                ElementsAre("Camera1Profile1 active=false", "Camera1ProfileANY active=false",
                            "ktw3_video_1 active=false", "MotionAlarm Source=0 State=false",
                            "Motion VideoSource=0 RuleName=\"Door\" State=false"));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(TwoCameras, SendAnAlarmInAllItsFormsInOrder) {
    const auto door = add(2, 1, "Door");
    start(door);
    end(door);
    EXPECT_THAT(taken(),
                ElementsAre("Camera2Profile1 active=true", "Camera2ProfileANY active=true",
                            "CameraANY active=true", "ktw3_video_2 active=true",
                            "MotionAlarm Source=1 State=true",
                            "Motion VideoSource=1 RuleName=\"Door\" State=true",
                            "Camera2Profile1 active=false", "Camera2ProfileANY active=false",
                            "CameraANY active=false", "ktw3_video_2 active=false",
                            "MotionAlarm Source=1 State=false",
                            "Motion VideoSource=1 RuleName=\"Door\" State=false"));
}

TEST_F(OneCamera, EndsWithoutATimeInThePresent) {
    const auto door = add(1, 1, "Door");
    start(door);
    taken();
    clock.advance(10'000'000);
    const std::int64_t before = g_get_real_time();
    producer.sendEndEvent(door);
    EXPECT_THAT(taken(),
                ElementsAre("Camera1Profile1 active=false", "Camera1ProfileANY active=false",
                            "ktw3_video_1 active=false", "MotionAlarm Source=0 State=false",
                            "Motion VideoSource=0 RuleName=\"Door\" State=false"));
    const auto sent = ZQEventDouble::sent();
    for (std::size_t i = sent.size() - 5; i < sent.size(); ++i) {
        EXPECT_GE(sent[i].utcMicroseconds, before);
    }
}

TEST_F(OneCamera, StampsStartsAndEndsWithTheirScenes) {
    const auto door = add(1, 1, "Door");
    clock.advance(10'000'000);
    start(door);
    end(door);
    for (const ZQEventDouble::Sent& sent : ZQEventDouble::sent()) {
        EXPECT_LE(sent.utcMicroseconds, g_get_real_time() - 10'000'000);
    }
}

TEST_F(OneCamera, StaysOnWhileAnyProfileIs) {
    const auto a = add(1, 1, "A");
    const auto b = add(1, 2, "B");
    start(a);
    EXPECT_EQ(taken().size(), 5U);
    start(b);
    EXPECT_THAT(taken(), ElementsAre("Camera1Profile2 active=true",
                                     "Motion VideoSource=0 RuleName=\"B\" State=true"));
    end(a);
    EXPECT_THAT(taken(), ElementsAre("Camera1Profile1 active=false",
                                     "Motion VideoSource=0 RuleName=\"A\" State=false"));
    end(b);
    EXPECT_THAT(taken(),
                ElementsAre("Camera1Profile2 active=false", "Camera1ProfileANY active=false",
                            "ktw3_video_1 active=false", "MotionAlarm Source=0 State=false",
                            "Motion VideoSource=0 RuleName=\"B\" State=false"));
}

TEST_F(OneCamera, HasNoAnyCameraEvent) {
    const auto door = add(1, 1, "Door");
    start(door);
    end(door);
    producer.unregisterEvent(door);
    for (const ZQEventDouble::Declaration& declaration : ZQEventDouble::declarations()) {
        EXPECT_EQ(ZQEventDouble::describe(declaration.keys).find("CameraANY"), std::string::npos);
    }
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(TwoCameras, AreOnTogetherWhileEitherIs) {
    const auto front = add(1, 1, "Front door");
    const auto back = add(2, 2, "Back door");
    start(front);
    EXPECT_THAT(takenOf("CameraANY"), ElementsAre("CameraANY active=true"));
    start(back);
    EXPECT_THAT(takenOf("CameraANY"), IsEmpty());
    end(front);
    EXPECT_THAT(takenOf("CameraANY"), IsEmpty());
    end(back);
    EXPECT_THAT(takenOf("CameraANY"), ElementsAre("CameraANY active=false"));
}

TEST_F(TwoCameras, KeepTheEventsOfEachApart) {
    const auto front = add(1, 1, "Door");
    const auto back = add(2, 2, "Door");
    start(back);
    EXPECT_THAT(taken(), ElementsAre("Camera2Profile2 active=true", "Camera2ProfileANY active=true",
                                     "CameraANY active=true", "ktw3_video_2 active=true",
                                     "MotionAlarm Source=1 State=true",
                                     "Motion VideoSource=1 RuleName=\"Door\" State=true"));
    start(front);
    EXPECT_THAT(taken(), ElementsAre("Camera1Profile1 active=true", "Camera1ProfileANY active=true",
                                     "ktw3_video_1 active=true", "MotionAlarm Source=0 State=true",
                                     "Motion VideoSource=0 RuleName=\"Door\" State=true"));
}

// Ends too many are repeated, and counted below 0

TEST_F(TwoCameras, RepeatTheAnyEndForAnEndTooMany) {
    const auto door = add(1, 1, "Door");
    start(door);
    end(door);
    taken();
    end(door);
    // The counter of cameras has gone down to -1, so the device's event is not repeated, ...
    EXPECT_THAT(taken(), ElementsAre("Camera1ProfileANY active=false",
                                     "Motion VideoSource=0 RuleName=\"Door\" State=false"));
    // ... and the next start brings it to 0 only, so that event does not come on.
    start(door);
    EXPECT_THAT(takenOf("CameraANY"), IsEmpty());
}

TEST_F(TwoCameras, RepeatTheAnyCameraEndWhileItsCounterStandsAtZero) {
    const auto front = add(1, 1, "Front door");
    const auto back = add(2, 2, "Back door");
    start(front);
    end(front);
    start(back);
    taken();
    // An end too many of the front camera, whose own end takes the back camera's count away.
    end(front);
    EXPECT_THAT(taken(), ElementsAre("Camera1ProfileANY active=false", "CameraANY active=false",
                                     "Motion VideoSource=0 RuleName=\"Front door\" State=false"));
}

TEST_F(OneCamera, CountsCamerasThoughThereIsNoEventForThem) {
    const auto door = add(1, 1, "Door");
    end(door);
    EXPECT_THAT(taken(), ElementsAre("Camera1ProfileANY active=false",
                                     "Motion VideoSource=0 RuleName=\"Door\" State=false"));
    start(door);
    EXPECT_EQ(taken().size(), 5U);
}

// Failing sends

TEST_F(TwoCameras, CountNoStartWhoseSendFailed) {
    const auto door = add(1, 1, "Door");
    failSend(1);
    start(door);
    EXPECT_THAT(log.texts(), testing::Contains("FAILED to send event\n"));
    EXPECT_TRUE(log.has(LOG_WARNING, "FAILED to send event\n"));
    // The other producers carry on.
    EXPECT_THAT(taken(), ElementsAre("Camera1Profile1 active=true failed",
                                     "ktw3_video_1 active=true", "MotionAlarm Source=0 State=true",
                                     "Motion VideoSource=0 RuleName=\"Door\" State=true"));
    end(door);
    EXPECT_THAT(taken(), ElementsAre("Camera1ProfileANY active=false", "ktw3_video_1 active=false",
                                     "MotionAlarm Source=0 State=false",
                                     "Motion VideoSource=0 RuleName=\"Door\" State=false"));
}

TEST_F(TwoCameras, CountNoCameraWhoseAnyStartFailed) {
    const auto front = add(1, 1, "Front door");
    const auto back = add(2, 2, "Back door");
    failSend(2);
    start(front);
    EXPECT_TRUE(log.has(LOG_WARNING, "FAILED to send Camera 1 Any event\n"));
    EXPECT_THAT(takenOf("CameraANY"), IsEmpty());
    start(back);
    EXPECT_THAT(takenOf("CameraANY"), ElementsAre("CameraANY active=true"));
    // The front camera's end takes the back camera's count away, and with it the device's event.
    end(front);
    EXPECT_THAT(takenOf("CameraANY"), ElementsAre("CameraANY active=false"));
}

TEST_F(TwoCameras, LogAnAnyCameraStartThatFailed) {
    const auto door = add(1, 1, "Door");
    failSend(3);
    start(door);
    EXPECT_TRUE(log.has(LOG_WARNING, "FAILED to send Global Any event\n"));
    taken();
    end(door);
    EXPECT_THAT(takenOf("CameraANY"), ElementsAre("CameraANY active=false"));
}

TEST_F(TwoCameras, CountNoEndWhoseSendFailed) {
    const auto door = add(1, 1, "Door");
    start(door);
    taken();
    failSend(1);
    end(door);
    EXPECT_TRUE(log.has(LOG_WARNING, "FAILED to send end event\n"));
    EXPECT_THAT(taken(),
                ElementsAre("Camera1Profile1 active=false failed", "ktw3_video_1 active=false",
                            "MotionAlarm Source=0 State=false",
                            "Motion VideoSource=0 RuleName=\"Door\" State=false"));
    end(door);
    EXPECT_THAT(taken(), ElementsAre("Camera1Profile1 active=false",
                                     "Camera1ProfileANY active=false", "CameraANY active=false",
                                     "Motion VideoSource=0 RuleName=\"Door\" State=false"));
}

TEST_F(TwoCameras, CountNoCameraWhoseAnyEndFailed) {
    const auto door = add(1, 1, "Door");
    start(door);
    taken();
    failSend(2);
    end(door);
    EXPECT_TRUE(log.has(LOG_WARNING, "FAILED to send end Camera Any event\n"));
    EXPECT_THAT(takenOf("CameraANY"), IsEmpty());
    end(door);
    EXPECT_THAT(takenOf("CameraANY"), ElementsAre("CameraANY active=false"));
}

TEST_F(TwoCameras, LogAnAnyCameraEndThatFailed) {
    const auto door = add(1, 1, "Door");
    start(door);
    failSend(3);
    end(door);
    EXPECT_TRUE(log.has(LOG_WARNING, "FAILED to send end Global Any event\n"));
}

TEST_F(OneCamera, CountsTheOlderAndTheOnvifEventWhoseSendFailed) {
    const auto door = add(1, 1, "Door");
    failSend(3);
    failSend(4);
    start(door);
    taken();
    end(door);
    EXPECT_THAT(taken(),
                ElementsAre("Camera1Profile1 active=false", "Camera1ProfileANY active=false",
                            "ktw3_video_1 active=false", "MotionAlarm Source=0 State=false",
                            "Motion VideoSource=0 RuleName=\"Door\" State=false"));
}

// Failing declarations

TEST_F(OneCamera, DeclaresNothingElseWhenTheProfilesEventFails) {
    failDeclaration(1);
    const auto handle = add(1, 1, "Door");
    EXPECT_EQ(handle.key, "invalid");
    EXPECT_EQ(handle.cameraId, 1);
    EXPECT_EQ(
        log.lines(),
        (Lines{
            {LOG_ERR, "Cannot declare event KTW 4: Door_Camera1Profile1 (internal error)\n"},
            {LOG_CRIT, "FAILED to create event Camera1Profile1 \n"},
            {LOG_ERR,
             "Cannot remove event declaration for event KTW 4: Door_Camera1Profile1 as it is not "
             "registered\n"},
            {LOG_WARNING, "FAILED to unregister event for Camera 1\n"}}));
    EXPECT_EQ(ZQEventDouble::log("zq_event_handler_declare").size(), 2U);
    letRemovalsComeDue();
    EXPECT_THAT(WrappedDevice::declared(), IsEmpty());
}

TEST_F(OneCamera, GivesTheProfilesEventUpWhenTheAggregateFails) {
    failDeclaration(2);
    EXPECT_EQ(add(1, 1, "Door").key, "invalid");
    EXPECT_EQ(log.lines(),
              (Lines{{LOG_ERR,
                      "Cannot declare event KTW 4: Any Profile_Camera1ProfileANY (internal "
                      "error)\n"},
                     {LOG_CRIT, "FAILED to create any event Camera1ProfileANY \n"},
                     {LOG_CRIT, "FAILED to create event Camera1Profile1 \n"},
                     {LOG_ERR,
                      "Cannot remove event declaration for event KTW 4: Any "
                      "Profile_Camera1ProfileANY as it is not registered\n"},
                     {LOG_WARNING, "FAILED to remove event Camera1ProfileANY \n"}}));
    letRemovalsComeDue();
    EXPECT_THAT(WrappedDevice::declared(), IsEmpty());
}

TEST_F(TwoCameras, GiveEverythingUpWhenTheDevicesAggregateFails) {
    failDeclaration(3);
    EXPECT_EQ(add(1, 1, "Door").key, "invalid");
    EXPECT_TRUE(log.has(LOG_CRIT, "FAILED to create any global event CameraANY \n"));
    EXPECT_TRUE(log.has(LOG_CRIT, "FAILED to create event Camera1Profile1 \n"));
    EXPECT_TRUE(log.has(LOG_WARNING, "FAILED to remove event CameraANY \n"));
    letRemovalsComeDue();
    EXPECT_THAT(WrappedDevice::declared(), IsEmpty());
}

TEST_F(TwoCameras, KeepTheAggregatesOfTheOthersWhenOneProfileFails) {
    const auto good = add(1, 1, "Good");
    failDeclaration(1);
    EXPECT_EQ(add(1, 2, "Bad").key, "invalid");
    letRemovalsComeDue();
    EXPECT_THAT(WrappedDevice::declared(),
                ElementsAre("Camera1Profile1", "Camera1ProfileANY", "CameraANY", "ktw3_video_1",
                            "MotionAlarm", "Motion"));
    producer.unregisterEvent(good);
    letRemovalsComeDue();
    EXPECT_THAT(WrappedDevice::declared(), IsEmpty());
}

TEST_F(OneCamera, GoesOnWhenTheOtherFormsFail) {
    for (const int n : {3, 4, 5}) {
        failDeclaration(n);
    }
    const auto door = add(1, 1, "Door");
    EXPECT_EQ(door.key, "KTW 4: Door_Camera1Profile1");
    log.clear();
    start(door);
    EXPECT_THAT(taken(),
                ElementsAre("Camera1Profile1 active=true", "Camera1ProfileANY active=true"));
    EXPECT_EQ(log.lines(),
              (Lines{{LOG_ERR, "Cannot send event invalid.  Event is not registered\n"},
                     {LOG_ERR, "Cannot send ONVIF Motion Alarm event.  Event is not registered\n"},
                     {LOG_ERR,
                      "Cannot send ONVIF Motion Region Alarm event.  Event is not registered\n"}}));
    log.clear();
    producer.unregisterEvent(door);
    EXPECT_EQ(
        log.lines(),
        (Lines{
            {LOG_ERR,
             "Cannot remove event declaration for event invalid as it is not registered\n"},
            {LOG_ERR,
             "Cannot remove event declaration for event invalid as it is not registered\n"},
            {LOG_ERR,
             "Cannot remove event declaration for event invalid - 1 as it is not registered\n"}}));
    letRemovalsComeDue();
    EXPECT_THAT(WrappedDevice::declared(), IsEmpty());
}

/// The life of one profile's events with the n-th call of the platform failing. Returns the number
/// of calls that could fail.
int liveWithFailure(int n) {
    FakeClock clock(kNow);
    const WrappedDevice device(WrappedDevice::twoCameras());
    const SyslogCapture log;
    ZQEventDouble::failAnyCall(n);
    KTW_StateEventProducer& producer = KTW_StateEventProducer::getInstance();
    const auto door = producer.registerEvent(1, "Door", "Camera1Profile1", "KTW 4: Door");
    producer.sendStartEvent(door, kNow);
    producer.sendEndEvent(door);
    producer.unregisterEvent(door);
    clock.advance(50'000);
    WrappedDevice::runTimer();
    KTW_StateEventProducer::releaseInstance();
    EXPECT_EQ(ZQEventDouble::problems(), Texts());
    // What the platform would not take back stands on its side alone.
    const bool keptByPlatform =
        std::ranges::any_of(ZQEventDouble::log("zq_event_handler_undeclare"),
                            [](const std::string& line) { return line.ends_with(" failed"); });
    EXPECT_EQ(ZQEventDouble::declared().size(), keptByPlatform ? 1U : 0U);
    return ZQEventDouble::calls("");
}

TEST(StateEventProducers, LeaveNothingBehindWhicheverCallOfThePlatformFails) {
    const int calls = liveWithFailure(0);
    EXPECT_GT(calls, 60);
    for (int n = 1; n <= calls; ++n) {
        SCOPED_TRACE(n);
        liveWithFailure(n);
    }
}

// Handles

TEST_F(OneCamera, LogsHandlesThatAreNotStored) {
    add(1, 1, "Door");
    const StateEventProducerHandle unknown{"other", 1};
    start(unknown);
    end(unknown);
    producer.sendEndEvent(unknown);
    producer.unregisterEvent(unknown);
    EXPECT_EQ(
        log.lines(),
        (Lines{{LOG_WARNING,
                "Could not send start event, StateEventProducerHandle: other is not stored\n"},
               {LOG_WARNING,
                "Could not end send event, StateEventProducerHandle: other is not stored\n"},
               {LOG_WARNING,
                "Could not end send event, StateEventProducerHandle: other is not stored\n"},
               {LOG_WARNING,
                "Could not unregister event, StateEventProducerHandle: other is not "
                "stored\n"}}));
    EXPECT_THAT(taken(), IsEmpty());
}

TEST_F(OneCamera, TellsHandlesOfSeveralCamerasApart) {
    const auto door = add(1, 1, "Door");
    start({door.key, 2});
    EXPECT_THAT(taken(), IsEmpty());
    start(door);
    EXPECT_EQ(taken().size(), 5U);
}

TEST_F(OneCamera, NeverFindsAnInvalidHandle) {
    failDeclaration(1);
    const auto handle = add(1, 1, "Door");
    log.clear();
    start(handle);
    EXPECT_EQ(log.lines(), (Lines{{LOG_WARNING,
                                   "Could not send start event, StateEventProducerHandle: invalid "
                                   "is not stored\n"}}));
}

TEST_F(TwoCameras, UndeclareEverythingOfTheLastProfile) {
    const auto a = add(1, 1, "A");
    const auto b = add(1, 2, "B");
    producer.unregisterEvent(a);
    letRemovalsComeDue();
    EXPECT_THAT(WrappedDevice::declared(),
                ElementsAre("Camera1ProfileANY", "CameraANY", "ktw3_video_1", "MotionAlarm",
                            "Camera1Profile2", "Motion"));
    producer.unregisterEvent(b);
    letRemovalsComeDue();
    EXPECT_THAT(WrappedDevice::declared(), IsEmpty());
    EXPECT_THAT(log.lines(), IsEmpty());
    start(a);
    EXPECT_THAT(taken(), IsEmpty());
}

TEST_F(OneCamera, KeepsTheDeclarationsOfAProfileThatIsRegisteredAgain) {
    producer.unregisterEvent(add(1, 1, "Door"));
    const auto door = add(1, 1, "Door");
    letRemovalsComeDue();
    EXPECT_EQ(ZQEventDouble::declared().size(), 5U);
    EXPECT_EQ(ZQEventDouble::declarations().size(), 5U);
    start(door);
    EXPECT_EQ(taken().size(), 5U);
}

// The instance

TEST_F(OneCamera, IsOneInstanceUntilTheLastRelease) {
    const auto door = add(1, 1, "Door");
    EXPECT_EQ(&KTW_StateEventProducer::getInstance(), &producer);
    KTW_StateEventProducer::releaseInstance();
    start(door);
    EXPECT_EQ(taken().size(), 5U);

    KTW_StateEventProducer::releaseInstance();
    // A new instance knows no handles.
    KTW_StateEventProducer::getInstance().sendStartEvent(door, kNow);
    EXPECT_THAT(taken(), IsEmpty());
}

TEST(StateEventProducerTest, ThrowsForACameraThatWasNeverRegistered) {
    const WrappedDevice device;
    StateEventProducer producer("KTW 4");
    const std::string key = producer.registerEvent(1, "name", "nice").key;
    EXPECT_THROW(producer.sendStartEvent({key, 3}, kNow), std::out_of_range);
    EXPECT_THROW(producer.sendEndEvent({key, 3}, kNow), std::out_of_range);
    EXPECT_THROW(producer.sendEndEvent({key, 3}), std::out_of_range);
    // A start looks at its camera's counter when it has been sent, an end before.
    EXPECT_THAT(WrappedDevice::sent(), ElementsAre("name active=true"));
}

TEST(StateEventProducerTest, LogsAStartThatCannotBeSentBeforeItLooksAtItsCamera) {
    const WrappedDevice device;
    const SyslogCapture log;
    StateEventProducer producer("KTW 4");
    producer.sendStartEvent({"key", 3}, kNow);
    EXPECT_EQ(log.lines(), (Lines{{LOG_ERR, "Cannot send event key.  Event is not registered\n"},
                                  {LOG_WARNING, "FAILED to send event\n"}}));
}

TEST(KTW3_StateEventProducerTest, DoesNothingForACameraThatWasNeverRegistered) {
    const WrappedDevice device;
    const SyslogCapture log;
    KTW3_StateEventProducer producer;
    producer.registerEvent(2);
    EXPECT_TRUE(producer.isCameraNbrInRange(0));
    EXPECT_TRUE(producer.isCameraNbrInRange(2));
    EXPECT_FALSE(producer.isCameraNbrInRange(3));
    EXPECT_FALSE(producer.isCameraNbrInRange(-1));
    producer.sendStartEvent({"key", 3}, kNow);
    producer.sendEndEvent({"key", 3}, kNow);
    producer.sendEndEvent({"key", -1});
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(ONVIF_StateEventProducerTest, DoesNothingForACameraThatWasNeverRegistered) {
    const WrappedDevice device;
    const SyslogCapture log;
    ONVIF_StateEventProducer producer;
    producer.registerEvent(2, "KTW");
    EXPECT_TRUE(producer.isCameraNbrInRange(2));
    EXPECT_FALSE(producer.isCameraNbrInRange(3));
    EXPECT_FALSE(producer.isCameraNbrInRange(-1));
    producer.sendStartEvent({"key", 3}, kNow);
    producer.sendEndEvent({"key", 3}, kNow);
    producer.sendEndEvent({"key", -1});
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(ONVIF_StateEventProducerTest, SendsNothingForAnEndTooMany) {
    const WrappedDevice device;
    ONVIF_StateEventProducer producer;
    const auto handle = producer.registerEvent(1, "KTW");
    producer.sendEndEvent(handle, kNow);
    producer.sendStartEvent(handle, kNow);
    producer.sendStartEvent(handle, kNow);
    producer.sendEndEvent(handle, kNow);
    producer.sendEndEvent(handle);
    producer.sendEndEvent(handle);
    EXPECT_THAT(WrappedDevice::sent(),
                ElementsAre("MotionAlarm Source=0 State=true", "MotionAlarm Source=0 State=false"));
}

// Threads

TEST_F(TwoCameras, ServeScenesAndReconfigurationsOnManyThreads) {
    constexpr int kRounds = 50;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([this, i] {
            KTW_StateEventProducer& own = KTW_StateEventProducer::getInstance();
            for (int round = 0; round < kRounds; ++round) {
                const auto handle = add(1 + i % 2, i, "Profile " + std::to_string(i));
                own.sendStartEvent(handle, kNow);
                own.sendEndEvent(handle);
                own.unregisterEvent(handle);
            }
            KTW_StateEventProducer::releaseInstance();
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    letRemovalsComeDue();
    EXPECT_THAT(WrappedDevice::declared(), IsEmpty());
    EXPECT_EQ(std::ranges::count_if(log.lines(),
                                    [](const Line& line) { return line.level != LOG_WARNING; }),
              0);
    const Texts starts = takenOf("Camera1ProfileANY");
    EXPECT_EQ(std::ranges::count(starts, "Camera1ProfileANY active=true"),
              std::ranges::count(starts, "Camera1ProfileANY active=false"));
}

}  // namespace

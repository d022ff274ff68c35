#include "events/sdk_wrapper.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <optional>
#include <thread>

#include "app/interval_timer_observable.h"
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
const Texts kNone;

const std::string kOwnTopics =
    "topic0=tnsorva:\"DeviceAppHost\" "
    "topic1=tnsorva:\"KTW\" (KTW|Tarnwatch) ";

class SdkWrapper : public testing::Test {
protected:
    void TearDown() override {
        EXPECT_EQ(ZQEventDouble::problems(), kNone);
        EXPECT_EQ(ZQParameterDouble::misuses(), kNone);
    }

    int addState(const std::string& key) {
        return sdk_wrapper_event_add(key.c_str(), key.c_str(), "nice", 2, nullptr);
    }
    int addFrames(const std::string& key) {
        return sdk_wrapper_event_add(key.c_str(), key.c_str(), "nice", 5, "svgframe");
    }
    Texts declareLines() { return ZQEventDouble::log("zq_event_handler_declare"); }
    /// The time that the event sent last carries, in microseconds since the epoch.
    std::int64_t lastTime() { return ZQEventDouble::sent().back().utcMicroseconds; }

    FakeClock clock{kNow};
    WrappedDevice device;
    SyslogCapture log;
};

// Connecting

TEST_F(SdkWrapper, StartsTheMainLoopAndConnectsTheApplicationToItsParameters) {
    EXPECT_THAT(GlibUtilsDouble::starts(),
                ElementsAre(GlibUtilsDouble::Start{"KTW", "Tarnwatch", "DeviceAppHost"}));
    EXPECT_THAT(ZQParameterDouble::connected(), ElementsAre("KTW"));
}

TEST_F(SdkWrapper, WarnsOfASecondStartAndKeepsItsConnections) {
    addState("a");
    sdk_wrapper_init("KTW", "Tarnwatch", "DeviceAppHost");
    EXPECT_EQ(log.lines(),
              (Lines{{LOG_WARNING, "The event handler is already initialized.\n"},
                     {LOG_WARNING, "The parameter handler is already initialized.\n"}}));
    EXPECT_EQ(ZQEventDouble::calls("zq_event_handler_new"), 0);
    EXPECT_THAT(ZQParameterDouble::connected(), ElementsAre("KTW"));
    EXPECT_EQ(sdk_wrapper_event_send("a", 1, nullptr, nullptr), 1);
}

/// Runs `test` in a process of its own, in which the wrapper has not been started yet.
#define EXPECT_IN_NEW_PROCESS(test)                                               \
    GTEST_FLAG_SET(death_test_style, "threadsafe");                               \
    EXPECT_EXIT(                                                                  \
        {                                                                         \
            test();                                                               \
            std::exit(testing::Test::HasFailure() ? EXIT_FAILURE : EXIT_SUCCESS); \
        },                                                                        \
        testing::ExitedWithCode(EXIT_SUCCESS), "")

void connectAtTheThirdTry() {
    const SyslogCapture log;
    ZQEventDouble::failCall("zq_event_handler_new", 1);
    ZQEventDouble::failCall("zq_event_handler_new", 2);
    ZQParameterDouble::failCall("zq_parameter_new", 1);
    sdk_wrapper_init("KTW", "Tarnwatch", "DeviceAppHost");
    EXPECT_EQ(log.lines(),
              (Lines{{LOG_WARNING, "Could not get an event-handler, try 1 of 10\n"},
                     {LOG_WARNING, "Could not get an event-handler, try 2 of 10\n"},
                     {LOG_WARNING, "Could not get an parameter-handler, try 1 of 10\n"}}));
    EXPECT_EQ(sdk_wrapper_event_add("k", "n", "nice", 2, nullptr), 1);
}

TEST(SdkWrapperStart, TriesAgainUntilItIsConnected) {
    EXPECT_IN_NEW_PROCESS(connectAtTheThirdTry);
}

void stayDisconnected() {
    ZQEventDouble::failEveryCall("zq_event_handler_new");
    ZQParameterDouble::failEveryCall("zq_parameter_new");
    {
        const SyslogCapture log;
        const auto begin = std::chrono::steady_clock::now();
        sdk_wrapper_init("KTW", "Tarnwatch", "DeviceAppHost");
        // 100 ms after each of the 20 failures, the last one of each kind too.
        EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(2000));
        const Lines lines = log.lines();
        ASSERT_EQ(lines.size(), 20U);
        EXPECT_EQ(lines[9], (Line{LOG_WARNING, "Could not get an event-handler, try 10 of 10\n"}));
        EXPECT_EQ(lines[19],
                  (Line{LOG_WARNING, "Could not get an parameter-handler, try 10 of 10\n"}));
    }
    EXPECT_EQ(ZQEventDouble::calls("zq_event_handler_new"), 10);
    EXPECT_EQ(ZQParameterDouble::calls("zq_parameter_new"), 10);

    const SyslogCapture log;
    const long time = 1;
    char buffer[4] = "old";
    EXPECT_EQ(sdk_wrapper_event_add("k", "n", "nice", 2, nullptr), 0);
    EXPECT_EQ(sdk_wrapper_event_add("k", "nice", 2, nullptr, zq_event_key_value_set_new()), 0);
    EXPECT_EQ(sdk_wrapper_event_add_onvif_motion_alarm_event("k", 0, 0), 0);
    EXPECT_EQ(sdk_wrapper_event_add_onvif_motion_region_alarm_event("k", "rule", 0, 0), 0);
    EXPECT_EQ(sdk_wrapper_event_remove("k"), 0);
    EXPECT_EQ(sdk_wrapper_event_send("k", 1, nullptr, &time), 0);
    EXPECT_EQ(sdk_wrapper_onvif_motion_alarm_event_send("k", 1, &time), 0);
    EXPECT_EQ(sdk_wrapper_onvif_motion_region_alarm_event_send("k", 1, "rule", &time), 0);
    EXPECT_EQ(sdk_wrapper_param_get("root.A", buffer, sizeof buffer), buffer);
    EXPECT_STREQ(buffer, "");
    EXPECT_EQ(
        log.lines(),
        (Lines{
            {LOG_ERR, "Cannot register event nice (handler not initialized)\n"},
            {LOG_ERR, "SDK Wrapper: Cannot register event nice (handler not initialized)\n"},
            {LOG_ERR, "Cannot declare ONVIF Motion Alarm event k (internal error)\n"},
            {LOG_ERR, "Cannot declare ONVIF Motion Region Alarm event k (internal error)\n"},
            {LOG_ERR, "Cannot remove event declaration for event k as it is not registered\n"},
            {LOG_ERR, "Cannot send event k. Handler is not initialized\n"},
            {LOG_ERR, "Cannot send ONVIF Motion Alarm event. Handler is not initialized\n"},
            {LOG_ERR, "Cannot send ONVIF Motion Region Alarm event. Handler is not initialized\n"},
            {LOG_WARNING,
             "Cannot get parameter root.A (handler not initialized). Using: root.A = \n"}}));

    // A connection that there is not is freed; see KeepsItsConnectionToTheBusForGood.
    sdk_wrapper_cleanup();
    EXPECT_EQ(ZQEventDouble::log("zq_event_handler_free").size(), 1U);
    EXPECT_EQ(ZQEventDouble::problems(), kNone);
    EXPECT_EQ(ZQParameterDouble::misuses(), kNone);
}

TEST(SdkWrapperStart, GoesOnWithoutConnectionsAfterTenTriesEach) {
    EXPECT_IN_NEW_PROCESS(stayDisconnected);
}

// Declaring

TEST_F(SdkWrapper, DeclaresAStatefulEventWithAnActiveProperty) {
    EXPECT_EQ(sdk_wrapper_event_add("key", "name", "nice name", 2, nullptr), 1);
    EXPECT_THAT(declareLines(),
                ElementsAre("zq_event_handler_declare stateful 1: " + kOwnTopics +
                            "topic2=tnsorva:\"name\" (name|nice name) active=false data"));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(SdkWrapper, DeclaresAStatelessEventWithADataProperty) {
    EXPECT_EQ(addFrames("name"), 1);
    EXPECT_THAT(declareLines(),
                ElementsAre("zq_event_handler_declare stateless 1: " + kOwnTopics +
                            "topic2=tnsorva:\"name\" (name|nice) [isApplicationData] "
                            "svgframe=\"\" data"));
}

TEST_F(SdkWrapper, TagsApplicationDataBeforeDeprecated) {
    EXPECT_EQ(sdk_wrapper_event_add("key", "name", "nice", 12, nullptr), 1);
    EXPECT_THAT(declareLines(),
                ElementsAre("zq_event_handler_declare stateless 1: " + kOwnTopics +
                            "topic2=tnsorva:\"name\" (name|nice) [isApplicationData] "
                            "[isDeprecated]"));
}

TEST_F(SdkWrapper, PutsTheDataPropertyBehindActive) {
    EXPECT_EQ(sdk_wrapper_event_add("key", "name", "nice", 2, "data"), 1);
    EXPECT_THAT(declareLines(),
                ElementsAre("zq_event_handler_declare stateful 1: " + kOwnTopics +
                            "topic2=tnsorva:\"name\" (name|nice) active=false data data=\"\" "
                            "data"));
}

TEST_F(SdkWrapper, BuildsASetInItsOrder) {
    sdk_wrapper_event_add("key", "name", "nice", 14, "data");
    EXPECT_THAT(ZQEventDouble::log(), testing::IsSupersetOf(Texts{"zq_event_key_value_set_new"}));
    const std::string set = "zq_event_key_value_set_";
    EXPECT_EQ(ZQEventDouble::log(),
              (Texts{"zq_event_key_value_set_new", set + "add_key_value", set + "add_key_value",
                     set + "add_nice_names", set + "add_key_value", set + "add_nice_names",
                     set + "mark_as_user_defined", set + "mark_as_user_defined",
                     set + "add_key_value", set + "mark_as_data", set + "add_key_value",
                     set + "mark_as_data", declareLines().back(), set + "free"}));
}

TEST_F(SdkWrapper, CutsADataKeyAt127Characters) {
    const std::string longKey(130, 'x');
    EXPECT_EQ(sdk_wrapper_event_add("key", "name", "nice", 4, longKey.c_str()), 1);
    EXPECT_NE(ZQEventDouble::declared()[0].keys.find(std::string(127, 'x')), nullptr);
    EXPECT_EQ(ZQEventDouble::declared()[0].keys.find(std::string(128, 'x')), nullptr);
}

TEST_F(SdkWrapper, DeclaresAnEventWithTheCallersSet) {
    ZQEventKeyValueSet* set = zq_event_key_value_set_new();
    zq_event_key_value_set_add_key_value(set, "topic0", "tns1", "Mine", ZQ_VALUE_TYPE_STRING,
                                         nullptr);
    EXPECT_EQ(sdk_wrapper_event_add("key", "nice", 2, nullptr, set), 1);
    EXPECT_THAT(declareLines(),
                ElementsAre("zq_event_handler_declare stateful 1: topic0=tns1:\"Mine\""));
    EXPECT_EQ(ZQEventDouble::liveSets(), 0);
}

TEST_F(SdkWrapper, DeclaresAMotionAlarm) {
    EXPECT_EQ(sdk_wrapper_event_add_onvif_motion_alarm_event("key", 2, 1), 1);
    EXPECT_THAT(declareLines(),
                ElementsAre("zq_event_handler_declare stateful 1: topic0=tns1:\"VideoSource\" "
                            "topic1=tns1:\"MotionAlarm\" Source=2 source "
                            "[wstype:tt:ReferenceToken] State=true data"));
}

TEST_F(SdkWrapper, DeclaresAMotionRegionEventWithoutTheTagThatComesTooEarly) {
    EXPECT_EQ(sdk_wrapper_event_add_onvif_motion_region_alarm_event("key", "My rule", 2, 0), 1);
    EXPECT_THAT(declareLines(),
                ElementsAre("zq_event_handler_declare stateful 1: topic0=tns1:\"RuleEngine\" "
                            "topic1=tns1:\"MotionRegionDetector\" topic2=tns1:\"Motion\" "
                            "[isApplicationData] State=false data VideoSource=2 source "
                            "[wstype:tt:ReferenceToken] RuleName=\"My rule\" source "
                            "[wstype:xsd:string]"));
    // The tag meant for "State" is tried nevertheless, on "RuleName" and before that exists.
    const std::string set = "zq_event_key_value_set_";
    EXPECT_EQ(
        ZQEventDouble::log(),
        (Texts{set + "new", set + "add_key_value", set + "add_key_value", set + "add_key_value",
               set + "mark_as_user_defined", set + "add_key_value", set + "mark_as_data",
               set + "mark_as_user_defined", set + "add_key_value", set + "mark_as_source",
               set + "mark_as_user_defined", set + "add_key_value", set + "mark_as_source",
               set + "mark_as_user_defined", declareLines().back(), set + "free"}));
}

TEST_F(SdkWrapper, DeclaresAMotionRegionEventInItsState) {
    EXPECT_EQ(sdk_wrapper_event_add_onvif_motion_region_alarm_event("key", "rule", 0, 1), 1);
    EXPECT_THAT(declareLines(), ElementsAre(testing::HasSubstr(" State=true data ")));
}

TEST_F(SdkWrapper, CountsAnotherUserOfTheSameDeclaration) {
    EXPECT_EQ(addState("a"), 1);
    EXPECT_EQ(addState("a"), 1);
    EXPECT_EQ(addFrames("b"), 1);
    EXPECT_EQ(addFrames("b"), 1);
    EXPECT_EQ(sdk_wrapper_event_add_onvif_motion_alarm_event("c", 1, 0), 1);
    EXPECT_EQ(sdk_wrapper_event_add_onvif_motion_alarm_event("c", 1, 1), 1);
    EXPECT_EQ(sdk_wrapper_event_add_onvif_motion_region_alarm_event("d", "r", 1, 0), 1);
    EXPECT_EQ(sdk_wrapper_event_add_onvif_motion_region_alarm_event("d", "other", 1, 0), 1);
    EXPECT_EQ(declareLines().size(), 4U);
    EXPECT_EQ(ZQEventDouble::declared().size(), 4U);
}

TEST_F(SdkWrapper, RefusesOtherPropertiesForAKeyAndKeepsTheFirst) {
    addState("state");
    addFrames("frames");
    sdk_wrapper_event_add_onvif_motion_alarm_event("alarm", 1, 0);
    sdk_wrapper_event_add_onvif_motion_region_alarm_event("region", "rule", 1, 0);
    const Texts before = WrappedDevice::declared();

    EXPECT_EQ(sdk_wrapper_event_add("state", "state", "nice", 3, nullptr), 0);
    EXPECT_EQ(sdk_wrapper_event_add("state", "state", "nice", 2, "data"), 0);
    EXPECT_EQ(sdk_wrapper_event_add("frames", "frames", "nice", 5, "other"), 0);
    EXPECT_EQ(sdk_wrapper_event_add("frames", "frames", "nice", 5, nullptr), 0);
    EXPECT_EQ(sdk_wrapper_event_add("alarm", "alarm", "nice", 1, nullptr), 0);
    EXPECT_EQ(sdk_wrapper_event_add_onvif_motion_alarm_event("alarm", 2, 0), 0);
    EXPECT_EQ(sdk_wrapper_event_add_onvif_motion_alarm_event("region", 1, 0), 0);
    EXPECT_EQ(sdk_wrapper_event_add_onvif_motion_region_alarm_event("region", "rule", 0, 0), 0);
    EXPECT_EQ(sdk_wrapper_event_add_onvif_motion_region_alarm_event("frames", "rule", 0, 0), 0);
    const auto refusal = [](const std::string& key) {
        return Line{LOG_ERR, "Cannot add event " + key +
                                 " as it is already declared, but with other properties\n"};
    };
    EXPECT_EQ(log.lines(), (Lines{refusal("state"), refusal("state"), refusal("frames"),
                                  refusal("frames"), refusal("alarm"), refusal("alarm"),
                                  refusal("region"), refusal("region"), refusal("frames")}));
    EXPECT_EQ(WrappedDevice::declared(), before);
    EXPECT_EQ(sdk_wrapper_event_send("state", 1, nullptr, nullptr), 1);
}

TEST_F(SdkWrapper, RefusesOtherPropertiesForAKeyOfACallersSet) {
    addState("state");
    EXPECT_EQ(sdk_wrapper_event_add("state", "nice", 4, nullptr, zq_event_key_value_set_new()), 0);
    EXPECT_EQ(log.lines(), (Lines{{LOG_ERR,
                                   "SDK Wrapper: Cannot add event state as it is already "
                                   "declared, but with other properties\n"}}));
    EXPECT_EQ(sdk_wrapper_event_add("state", "nice", 2, nullptr, zq_event_key_value_set_new()), 1);
    EXPECT_EQ(ZQEventDouble::liveSets(), 0);
}

TEST_F(SdkWrapper, LogsAFailedDeclarationAndForgetsTheEvent) {
    ZQEventDouble::failEveryCall("zq_event_handler_declare");
    EXPECT_EQ(addState("a"), 0);
    EXPECT_EQ(sdk_wrapper_event_add("b", "nice", 2, nullptr, zq_event_key_value_set_new()), 0);
    EXPECT_EQ(sdk_wrapper_event_add_onvif_motion_alarm_event("c", 0, 0), 0);
    EXPECT_EQ(sdk_wrapper_event_add_onvif_motion_region_alarm_event("d", "rule", 0, 0), 0);
    EXPECT_EQ(
        log.lines(),
        (Lines{{LOG_ERR, "Cannot declare event a (internal error)\n"},
               {LOG_ERR, "SDK Wrapper: Cannot declare event b (internal error)\n"},
               {LOG_ERR, "Cannot declare ONVIF Motion Alarm event c (internal error)\n"},
               {LOG_ERR, "Cannot declare ONVIF Motion Region Alarm event d (internal error)\n"}}));
    for (const char* key : {"a", "b", "c", "d"}) {
        EXPECT_EQ(sdk_wrapper_event_remove(key), 0);
    }
}

// Removing

TEST_F(SdkWrapper, UndeclaresFiftyMillisecondsAfterTheLastUserIsGone) {
    addState("a");
    addState("a");
    addState("a");
    EXPECT_EQ(sdk_wrapper_event_remove("a"), 1);
    EXPECT_EQ(sdk_wrapper_event_remove("a"), 1);
    clock.advance(1'000'000);
    WrappedDevice::runTimer();
    EXPECT_THAT(WrappedDevice::declared(), ElementsAre("a"));

    EXPECT_EQ(sdk_wrapper_event_remove("a"), 1);
    clock.advance(49'999);
    WrappedDevice::runTimer();
    EXPECT_THAT(WrappedDevice::declared(), ElementsAre("a"));
    clock.advance(1);
    WrappedDevice::runTimer();
    EXPECT_THAT(WrappedDevice::declared(), IsEmpty());
    EXPECT_THAT(log.lines(), IsEmpty());
    EXPECT_EQ(sdk_wrapper_event_send("a", 1, nullptr, nullptr), 0);
}

TEST_F(SdkWrapper, UndeclaresOnlyOnce) {
    addState("a");
    sdk_wrapper_event_remove("a");
    for (int i = 0; i < 3; ++i) {
        clock.advance(50'000);
        WrappedDevice::runTimer();
    }
    EXPECT_EQ(ZQEventDouble::log("zq_event_handler_undeclare").size(), 1U);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(SdkWrapper, HasNothingLeftToRemoveAtCleanupOfWhatWasUndeclared) {
    addState("a");
    sdk_wrapper_event_remove("a");
    clock.advance(50'000);
    WrappedDevice::runTimer();
    sdk_wrapper_cleanup();
    EXPECT_THAT(log.lines(), IsEmpty());
}

/// The id of an observer that has been called and is gone again with one of the next cycles. The
/// timer counts ids from 0 anew when it has no observers left.
int observeOnce() {
    static std::atomic<int> called;
    called = -1;
    const int id = IntervalTimerObservable::registerObserver(
        [](int observerId) {
            called = observerId;
            called.notify_all();
        },
        0);
    for (int seen = called; seen != id; seen = called) {
        called.wait(seen);
    }
    IntervalTimerObservable::unregisterObserver(id);
    return id;
}

/// Whether all other observers are gone, or go within ten seconds.
bool isTimerLeftAlone() {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    int id = observeOnce();
    while (id != 0 && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        id = observeOnce();
    }
    return id == 0;
}

TEST_F(SdkWrapper, LeavesNoObserverBehindWhenARemovalIsDone) {
    addState("a");
    addState("b");
    sdk_wrapper_event_remove("a");
    sdk_wrapper_event_remove("b");
    addState("b");
    clock.advance(50'000);
    WrappedDevice::runTimer();
    EXPECT_TRUE(isTimerLeftAlone());
}

TEST_F(SdkWrapper, LeavesNoObserverBehindThatFindsNothingToRemove) {
    addState("a");
    sdk_wrapper_event_remove("a");
    sdk_wrapper_cleanup();
    clock.advance(50'000);
    WrappedDevice::runTimer();
    EXPECT_TRUE(isTimerLeftAlone());
}

TEST_F(SdkWrapper, KeepsADeclarationThatIsAddedAgainInTime) {
    addState("a");
    sdk_wrapper_event_remove("a");
    clock.advance(40'000);
    EXPECT_EQ(addState("a"), 1);
    clock.advance(1'000'000);
    WrappedDevice::runTimer();
    EXPECT_EQ(declareLines().size(), 1U);
    EXPECT_THAT(ZQEventDouble::log("zq_event_handler_undeclare"), IsEmpty());
    EXPECT_EQ(sdk_wrapper_event_send("a", 1, nullptr, nullptr), 1);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(SdkWrapper, UndeclaresAtTheFirstOfTwoRemovalsThatAreDue) {
    addState("a");
    sdk_wrapper_event_remove("a");
    clock.advance(30'000);
    addState("a");
    sdk_wrapper_event_remove("a");
    clock.advance(20'000);
    WrappedDevice::runTimer();
    EXPECT_THAT(WrappedDevice::declared(), IsEmpty());
    EXPECT_THAT(log.lines(), IsEmpty());
    clock.advance(30'000);
    WrappedDevice::runTimer();
    EXPECT_EQ(log.lines(), (Lines{{LOG_WARNING,
                                   "Cannot remove event declaration for event a as it is not "
                                   "registered\n"}}));
}

TEST_F(SdkWrapper, CountsBelowNothingWithoutUndeclaringAgain) {
    addState("a");
    sdk_wrapper_event_remove("a");
    // A use too many: the count stands at -1, so the removal that is due finds it in use.
    EXPECT_EQ(sdk_wrapper_event_remove("a"), 1);
    clock.advance(50'000);
    WrappedDevice::runTimer();
    EXPECT_THAT(WrappedDevice::declared(), ElementsAre("a"));
}

TEST_F(SdkWrapper, LogsTheRemovalOfAnUnknownKey) {
    EXPECT_EQ(sdk_wrapper_event_remove("a"), 0);
    EXPECT_EQ(log.lines(),
              (Lines{{LOG_ERR,
                      "Cannot remove event declaration for event a as it is not registered\n"}}));
}

TEST_F(SdkWrapper, ForgetsADeclarationThatThePlatformWillNotTakeBack) {
    addState("a");
    ZQEventDouble::failEveryCall("zq_event_handler_undeclare");
    sdk_wrapper_event_remove("a");
    clock.advance(50'000);
    WrappedDevice::runTimer();
    EXPECT_EQ(sdk_wrapper_event_remove("a"), 0);
}

TEST_F(SdkWrapper, UndeclaresAtCleanupWhatIsLeft) {
    addState("used");
    addState("given up");
    addState("added again");
    sdk_wrapper_event_remove("given up");
    sdk_wrapper_event_remove("added again");
    addState("added again");
    sdk_wrapper_cleanup();
    EXPECT_THAT(WrappedDevice::declared(), IsEmpty());
    EXPECT_EQ(ZQEventDouble::log("zq_event_handler_undeclare")[0], "zq_event_handler_undeclare 2");
    EXPECT_EQ(ZQEventDouble::log("zq_event_handler_undeclare").size(), 3U);
    clock.advance(50'000);
    WrappedDevice::runTimer();
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(SdkWrapper, KeepsItsConnectionToTheBusForGood) {
    sdk_wrapper_cleanup();
    EXPECT_THAT(ZQEventDouble::log("zq_event_handler_free"), IsEmpty());
    EXPECT_EQ(ZQParameterDouble::liveHandlers(), 0);
}

TEST_F(SdkWrapper, RefusesToSendAfterCleanup) {
    addState("k");
    sdk_wrapper_cleanup();
    EXPECT_EQ(sdk_wrapper_event_send("k", 1, nullptr, nullptr), 0);
    EXPECT_EQ(sdk_wrapper_onvif_motion_alarm_event_send("k", 1, nullptr), 0);
    EXPECT_EQ(sdk_wrapper_onvif_motion_region_alarm_event_send("k", 1, "rule", nullptr), 0);
    EXPECT_EQ(addState("k"), 0);
    EXPECT_EQ(sdk_wrapper_event_remove("k"), 0);
    EXPECT_EQ(
        log.lines(),
        (Lines{
            {LOG_ERR, "Cannot send event k. No events are registered\n"},
            {LOG_ERR, "Cannot send ONVIF Motion Alarm event. No events are registered\n"},
            {LOG_ERR, "Cannot send ONVIF Motion Region Alarm event. No events are registered\n"},
            {LOG_ERR, "Cannot register event nice (handler not initialized)\n"},
            {LOG_ERR, "Cannot remove event declaration for event k as it is not registered\n"}}));
}

TEST_F(SdkWrapper, CarriesOnAfterCleanupAndANewStart) {
    sdk_wrapper_cleanup();
    sdk_wrapper_init("KTW", "Tarnwatch", "DeviceAppHost");
    EXPECT_EQ(addState("k"), 1);
    EXPECT_EQ(sdk_wrapper_event_send("k", 1, nullptr, nullptr), 1);
}

// Sending

TEST_F(SdkWrapper, SendsTheStateOfAStatefulEvent) {
    addState("a");
    EXPECT_EQ(sdk_wrapper_event_send("a", 1, nullptr, nullptr), 1);
    EXPECT_EQ(sdk_wrapper_event_send("a", 0, "ignored", nullptr), 1);
    EXPECT_THAT(WrappedDevice::sent(), ElementsAre("a active=true", "a active=false"));
}

TEST_F(SdkWrapper, SendsTheDataOfAStatelessEvent) {
    addFrames("a");
    EXPECT_EQ(sdk_wrapper_event_send("a", 1, "<svg>", nullptr), 1);
    EXPECT_EQ(sdk_wrapper_event_send("a", 0, "", nullptr), 1);
    EXPECT_EQ(sdk_wrapper_event_send("a", 0, nullptr, nullptr), 1);
    EXPECT_THAT(WrappedDevice::sent(),
                ElementsAre("a svgframe=\"<svg>\"", "a svgframe=\"\"", "a "));
}

TEST_F(SdkWrapper, SendsStateBeforeData) {
    sdk_wrapper_event_add("a", "a", "nice", 2, "data");
    sdk_wrapper_event_send("a", 1, "text", nullptr);
    EXPECT_THAT(WrappedDevice::sent(), ElementsAre("a active=true data=\"text\""));
}

TEST_F(SdkWrapper, SendsMotionAlarms) {
    sdk_wrapper_event_add_onvif_motion_alarm_event("a", 3, 0);
    EXPECT_EQ(sdk_wrapper_onvif_motion_alarm_event_send("a", 1, nullptr), 1);
    EXPECT_THAT(WrappedDevice::sent(), ElementsAre("MotionAlarm Source=3 State=true"));
}

TEST_F(SdkWrapper, SendsMotionRegionEvents) {
    sdk_wrapper_event_add_onvif_motion_region_alarm_event("a", "Door", 3, 0);
    EXPECT_EQ(sdk_wrapper_onvif_motion_region_alarm_event_send("a", 1, "Door", nullptr), 1);
    EXPECT_THAT(WrappedDevice::sent(),
                ElementsAre("Motion VideoSource=3 RuleName=\"Door\" State=true"));
}

TEST_F(SdkWrapper, StampsASendWithoutATimeWithThePresent) {
    addState("a");
    sdk_wrapper_event_add_onvif_motion_alarm_event("b", 0, 0);
    sdk_wrapper_event_add_onvif_motion_region_alarm_event("c", "r", 0, 0);
    const std::int64_t before = g_get_real_time();
    sdk_wrapper_event_send("a", 1, nullptr, nullptr);
    EXPECT_GE(lastTime(), before);
    sdk_wrapper_onvif_motion_alarm_event_send("b", 1, nullptr);
    EXPECT_GE(lastTime(), before);
    sdk_wrapper_onvif_motion_region_alarm_event_send("c", 1, "r", nullptr);
    EXPECT_GE(lastTime(), before);
    EXPECT_LE(lastTime(), g_get_real_time());
}

TEST_F(SdkWrapper, StampsASendWithItsTimeInUTC) {
    addState("a");
    sdk_wrapper_event_add_onvif_motion_alarm_event("b", 0, 0);
    sdk_wrapper_event_add_onvif_motion_region_alarm_event("c", "r", 0, 0);
    const long time = kNow - 2'500'000;
    const std::int64_t before = g_get_real_time() - 2'500'000;
    sdk_wrapper_event_send("a", 1, nullptr, &time);
    EXPECT_GE(lastTime(), before);
    sdk_wrapper_onvif_motion_alarm_event_send("b", 1, &time);
    EXPECT_GE(lastTime(), before);
    sdk_wrapper_onvif_motion_region_alarm_event_send("c", 1, "r", &time);
    EXPECT_GE(lastTime(), before);
    EXPECT_LE(lastTime(), g_get_real_time() - 2'500'000);
}

TEST_F(SdkWrapper, TakesATimeOfZeroForTheEpochInOwnEventsOnly) {
    addState("a");
    sdk_wrapper_event_add_onvif_motion_alarm_event("b", 0, 0);
    sdk_wrapper_event_add_onvif_motion_region_alarm_event("c", "r", 0, 0);
    const long zero = 0;
    const std::int64_t before = g_get_real_time() - kNow;
    sdk_wrapper_event_send("a", 1, nullptr, &zero);
    EXPECT_EQ(lastTime(), 0);
    sdk_wrapper_onvif_motion_alarm_event_send("b", 1, &zero);
    EXPECT_GE(lastTime(), before);
    sdk_wrapper_onvif_motion_region_alarm_event_send("c", 1, "r", &zero);
    EXPECT_GE(lastTime(), before);
    EXPECT_LE(lastTime(), g_get_real_time() - kNow);
}

TEST_F(SdkWrapper, RefusesToSendUnknownEvents) {
    EXPECT_EQ(sdk_wrapper_event_send("k", 1, nullptr, nullptr), 0);
    EXPECT_EQ(sdk_wrapper_onvif_motion_alarm_event_send("k", 1, nullptr), 0);
    EXPECT_EQ(sdk_wrapper_onvif_motion_region_alarm_event_send("k", 1, "rule", nullptr), 0);
    EXPECT_EQ(log.lines(),
              (Lines{{LOG_ERR, "Cannot send event k.  Event is not registered\n"},
                     {LOG_ERR, "Cannot send ONVIF Motion Alarm event.  Event is not registered\n"},
                     {LOG_ERR,
                      "Cannot send ONVIF Motion Region Alarm event.  Event is not registered\n"}}));
}

TEST_F(SdkWrapper, KeepsTheFirstFiveFailuresOfAQuietEventAtLevelInfo) {
    addFrames("a");
    ZQEventDouble::failEveryCall("zq_event_handler_send_event");
    for (int i = 0; i < 7; ++i) {
        EXPECT_EQ(sdk_wrapper_event_send("a", 0, "x", nullptr), 0);
    }
    const std::string text = "Could not send event a (id 1)\n";
    EXPECT_EQ(log.lines(), (Lines{{LOG_INFO, text},
                                  {LOG_INFO, text},
                                  {LOG_INFO, text},
                                  {LOG_INFO, text},
                                  {LOG_INFO, text},
                                  {LOG_ERR, text},
                                  {LOG_ERR, text}}));
}

TEST_F(SdkWrapper, StartsCountingFailuresAnewAfterASuccess) {
    addFrames("a");
    const auto failTimes = [](int times) {
        for (int i = 0; i < times; ++i) {
            ZQEventDouble::failCall("zq_event_handler_send_event", 1);
            sdk_wrapper_event_send("a", 0, "x", nullptr);
        }
    };
    failTimes(5);
    EXPECT_EQ(sdk_wrapper_event_send("a", 0, "x", nullptr), 1);
    failTimes(6);
    const std::string text = "Could not send event a (id 1)\n";
    Lines expected(10, Line{LOG_INFO, text});
    expected.push_back({LOG_ERR, text});
    EXPECT_EQ(log.lines(), expected);
}

TEST_F(SdkWrapper, LogsEachFailureOfOtherEventsAtLevelError) {
    addState("a");
    sdk_wrapper_event_add_onvif_motion_alarm_event("b", 0, 0);
    sdk_wrapper_event_add_onvif_motion_region_alarm_event("c", "r", 0, 0);
    ZQEventDouble::failEveryCall("zq_event_handler_send_event");
    EXPECT_EQ(sdk_wrapper_event_send("a", 1, nullptr, nullptr), 0);
    EXPECT_EQ(sdk_wrapper_onvif_motion_alarm_event_send("b", 1, nullptr), 0);
    EXPECT_EQ(sdk_wrapper_onvif_motion_region_alarm_event_send("c", 1, "r", nullptr), 0);
    // The third text lacks the word "Region", and is meant to.
    EXPECT_EQ(log.lines(),
              (Lines{{LOG_ERR, "Could not send event a (id 1)\n"},
                     {LOG_ERR, "Could not send ONVIF Motion Alarm event b (id 2)\n"},
                     {LOG_ERR, "Could not send ONVIF Motion Alarm event c (id 3)\n"}}));
}

TEST_F(SdkWrapper, TakesAPropertyThatCannotBeAddedForAFailedSend) {
    addFrames("a");
    addState("b");
    for (const char* key : {"a", "b"}) {
        ZQEventDouble::failCall("zq_event_key_value_set_add_key_value", 1);
        EXPECT_EQ(sdk_wrapper_event_send(key, 1, "x", nullptr), 0);
    }
    EXPECT_EQ(log.lines(), (Lines{{LOG_ERR, "Could not send event a.  Internal error\n"},
                                  {LOG_ERR, "Could not send event b.  Internal error\n"}}));
    EXPECT_THAT(ZQEventDouble::sent(), IsEmpty());
    EXPECT_EQ(ZQEventDouble::calls("zq_event_new2"), 0);
}

TEST_F(SdkWrapper, CountsAPropertyThatCannotBeAddedAsAFailure) {
    addFrames("a");
    ZQEventDouble::failCall("zq_event_key_value_set_add_key_value", 1);
    sdk_wrapper_event_send("a", 0, "x", nullptr);
    log.clear();
    ZQEventDouble::failEveryCall("zq_event_handler_send_event");
    for (int i = 0; i < 5; ++i) {
        sdk_wrapper_event_send("a", 0, "x", nullptr);
    }
    EXPECT_EQ(log.lines().at(3).level, LOG_INFO);
    EXPECT_EQ(log.lines().at(4).level, LOG_ERR);
}

TEST_F(SdkWrapper, TakesAnAlarmPropertyThatCannotBeAddedForAFailedSend) {
    sdk_wrapper_event_add_onvif_motion_alarm_event("b", 0, 0);
    for (int n = 1; n <= 2; ++n) {
        ZQEventDouble::failCall("zq_event_key_value_set_add_key_value", n);
        EXPECT_EQ(sdk_wrapper_onvif_motion_alarm_event_send("b", 1, nullptr), 0);
    }
    const Line line{LOG_ERR, "Could not send ONVIF Motion Alarm event b (id 1)\n"};
    EXPECT_EQ(log.lines(), (Lines{line, line}));
    EXPECT_EQ(ZQEventDouble::calls("zq_event_new2"), 0);
}

TEST_F(SdkWrapper, NamesTheRegionPropertyThatCouldNotBeAdded) {
    sdk_wrapper_event_add_onvif_motion_region_alarm_event("c", "r", 0, 0);
    for (int n = 1; n <= 3; ++n) {
        ZQEventDouble::failCall("zq_event_key_value_set_add_key_value", n);
        EXPECT_EQ(sdk_wrapper_onvif_motion_region_alarm_event_send("c", 1, "r", nullptr), 0);
    }
    const std::string text = "Could not send ONVIF Motion Region Alarm event c (id 1)\n";
    EXPECT_EQ(log.lines(), (Lines{{LOG_ERR, "Source: " + text},
                                  {LOG_ERR, "RuleName: " + text},
                                  {LOG_ERR, "State: " + text}}));
    EXPECT_EQ(ZQEventDouble::calls("zq_event_new2"), 0);
}

// Every single call of the platform failing

struct FaultCase {
    friend void PrintTo(const FaultCase& one, std::ostream* out) { *out << one.name; }

    const char* name;
    int (*add)();
    int (*send)();
    /// Calls of the platform that an add makes, of which all but the first and the last may fail.
    int callsToAdd;
    int callsToSend;
};

class SdkWrapperFaults : public testing::TestWithParam<FaultCase> {};

TEST_P(SdkWrapperFaults, OfAnAddLeaveNothingBehind) {
    const FaultCase& one = GetParam();
    for (int n = 1; n <= one.callsToAdd + 1; ++n) {
        SCOPED_TRACE(n);
        const WrappedDevice device;
        const SyslogCapture log;
        ZQEventDouble::failAnyCall(n);
        const bool fails = n == 1 || n == one.callsToAdd;
        EXPECT_EQ(one.add(), fails ? 0 : 1);
        EXPECT_EQ(log.lines().size(), fails ? 1U : 0U);
        if (n <= one.callsToAdd) {
            EXPECT_EQ(ZQEventDouble::calls(""), n == 1 ? 1 : one.callsToAdd);
        }
        EXPECT_EQ(one.send(), fails || n > one.callsToAdd ? 0 : 1);
        EXPECT_EQ(ZQEventDouble::problems(), kNone);
    }
}

TEST_P(SdkWrapperFaults, OfASendFailItAndNothingElse) {
    const FaultCase& one = GetParam();
    const WrappedDevice device;
    ASSERT_EQ(one.add(), 1);
    for (int n = 1; n <= one.callsToSend; ++n) {
        SCOPED_TRACE(n);
        const SyslogCapture log;
        const int before = ZQEventDouble::calls("");
        ZQEventDouble::failAnyCall(n);
        EXPECT_EQ(one.send(), 0);
        EXPECT_EQ(ZQEventDouble::calls("") - before, n);
        EXPECT_EQ(log.lines().size(), 1U);
        EXPECT_EQ(one.send(), 1);
        EXPECT_EQ(ZQEventDouble::problems(), kNone);
    }
}

INSTANTIATE_TEST_SUITE_P(
    AllKinds, SdkWrapperFaults,
    testing::Values(
        FaultCase{"Stateful", [] { return sdk_wrapper_event_add("k", "n", "nice", 14, "data"); },
                  [] { return sdk_wrapper_event_send("k", 1, "text", nullptr); }, 13, 5},
        FaultCase{"Stateless",
                  [] { return sdk_wrapper_event_add("k", "n", "nice", 5, "svgframe"); },
                  [] { return sdk_wrapper_event_send("k", 0, "text", nullptr); }, 10, 4},
        FaultCase{"MotionAlarm",
                  [] { return sdk_wrapper_event_add_onvif_motion_alarm_event("k", 0, 0); },
                  [] { return sdk_wrapper_onvif_motion_alarm_event_send("k", 1, nullptr); }, 9, 5},
        FaultCase{
            "MotionRegion",
            [] { return sdk_wrapper_event_add_onvif_motion_region_alarm_event("k", "r", 0, 0); },
            [] { return sdk_wrapper_onvif_motion_region_alarm_event_send("k", 1, "r", nullptr); },
            15, 6}),
    [](const auto& one) { return std::string(one.param.name); });

// Parameters

TEST_F(SdkWrapper, ReadsAParameter) {
    ZQParameterDouble::set("root.A", "value");
    char buffer[10] = "old";
    EXPECT_EQ(sdk_wrapper_param_get("root.A", buffer, sizeof buffer), buffer);
    EXPECT_STREQ(buffer, "value");
    EXPECT_THAT(ZQParameterDouble::lookUps(), ElementsAre("root.A"));
}

TEST_F(SdkWrapper, CutsAParameterToTheBuffer) {
    ZQParameterDouble::set("root.A", "value");
    char buffer[10] = "unchanged";
    sdk_wrapper_param_get("root.A", buffer, 4);
    EXPECT_STREQ(buffer, "val");
    EXPECT_EQ(buffer[4], 'a');
}

TEST_F(SdkWrapper, GivesAnEmptyTextForAParameterThatIsNotThere) {
    char buffer[10] = "old";
    EXPECT_STREQ(sdk_wrapper_param_get("root.A", buffer, sizeof buffer), "");
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(SdkWrapper, WarnsWhenParametersCannotBeRead) {
    sdk_wrapper_cleanup();
    char buffer[10] = "old";
    EXPECT_STREQ(sdk_wrapper_param_get("root.A", buffer, sizeof buffer), "");
    EXPECT_EQ(log.lines(),
              (Lines{{LOG_WARNING,
                      "Cannot get parameter root.A (handler not initialized). Using: root.A = "
                      "\n"}}));
}

// Threads

TEST(SdkWrapperThreads, AddSendAndRemoveAtOnceWithTheTimer) {
    constexpr int kRounds = 300;
    const SyslogCapture log;
    std::optional<WrappedDevice> device(std::in_place);
    ASSERT_EQ(sdk_wrapper_event_add("shared", "shared", "nice", 2, nullptr), 1);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([i] {
            const std::string own = "own" + std::to_string(i);
            char buffer[20];
            for (int round = 0; round < kRounds; ++round) {
                EXPECT_EQ(sdk_wrapper_event_add("shared", "shared", "nice", 2, nullptr), 1);
                EXPECT_EQ(sdk_wrapper_event_add(own.c_str(), own.c_str(), "nice", 5, "d"), 1);
                EXPECT_EQ(sdk_wrapper_event_send("shared", round % 2, nullptr, nullptr), 1);
                EXPECT_EQ(sdk_wrapper_event_send(own.c_str(), 0, "data", nullptr), 1);
                sdk_wrapper_param_get("root.A", buffer, sizeof buffer);
                EXPECT_EQ(sdk_wrapper_event_remove(own.c_str()), 1);
                EXPECT_EQ(sdk_wrapper_event_remove("shared"), 1);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(sdk_wrapper_event_send("shared", 1, nullptr, nullptr), 1);
    EXPECT_EQ(ZQEventDouble::sent().size(), 4U * kRounds * 2U + 1U);
    device.reset();
    EXPECT_THAT(ZQEventDouble::declared(), IsEmpty());
    EXPECT_EQ(ZQEventDouble::problems(), kNone);
    for (const Line& line : log.lines()) {
        EXPECT_NE(line.level, LOG_ERR) << line.text;
    }
}

}  // namespace

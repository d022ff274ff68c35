#include "events/motion_level_event_producer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <optional>
#include <thread>

#include "support/fake_clock.h"
#include "support/syslog_capture.h"
#include "support/wrapped_device.h"

namespace {

using Line = SyslogCapture::Line;
using Lines = std::vector<Line>;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr long kNow = 5'000'000'000;
constexpr long kPeriod = 5'000'000;
constexpr int kPicture = 8192 * 8192;

std::string level(const std::string& value) {
    return "Camera3MotionLevel motionlevel=\"" + value + "\"";
}

class MotionLevel : public testing::Test {
protected:
    MotionLevel() {
        producer.emplace(3, kPeriod);
        producer->start();
    }

    void scene(int area) { producer->sendEvent(area, clock.now()); }

    FakeClock clock{kNow};
    WrappedDevice device;
    SyslogCapture log;
    std::optional<MotionLevelEventProducer> producer;
};

TEST_F(MotionLevel, IsOffUntilStarted) {
    MotionLevelEventProducer fresh(3, kPeriod);
    EXPECT_FALSE(fresh.isActive());
    fresh.sendEvent(1, kNow);
    EXPECT_THAT(WrappedDevice::declared(), IsEmpty());
    fresh.start();
    EXPECT_TRUE(fresh.isActive());
    fresh.stop();
    EXPECT_FALSE(fresh.isActive());
}

TEST_F(MotionLevel, DeclaresItsEventAtTheFirstScene) {
    EXPECT_THAT(WrappedDevice::declared(), IsEmpty());
    scene(0);
    scene(0);
    EXPECT_THAT(ZQEventDouble::log("zq_event_handler_declare"),
                ElementsAre("zq_event_handler_declare stateless 1: "
                            "topic0=tnsorva:\"DeviceAppHost\" topic1=tnsorva:\"KTW\" "
                            "(KTW|Tarnwatch) topic2=tnsorva:\"Camera3MotionLevel\" "
                            "(Camera3MotionLevel|Camera3MotionLevel) [isApplicationData] "
                            "motionlevel=\"\" data"));
}

TEST_F(MotionLevel, SendsLaterThanAPeriodAfterTheFirstScene) {
    scene(kPicture / 4);
    clock.advance(kPeriod);
    scene(0);
    EXPECT_THAT(WrappedDevice::sent(), IsEmpty());
    clock.advance(1);
    scene(0);
    EXPECT_THAT(WrappedDevice::sent(), ElementsAre(level("25.0000")));
}

TEST_F(MotionLevel, SendsTheGreatestAreaOfThePeriodAndBeginsAnew) {
    scene(kPicture / 100);
    scene(kPicture / 2);
    clock.advance(kPeriod + 1);
    scene(kPicture / 8);
    clock.advance(kPeriod + 1);
    scene(kPicture / 8);
    EXPECT_THAT(WrappedDevice::sent(), ElementsAre(level("50.0000"), level("12.5000")));
}

TEST_F(MotionLevel, CountsTheSceneThatEndsThePeriod) {
    scene(0);
    clock.advance(kPeriod + 1);
    scene(kPicture / 2);
    EXPECT_THAT(WrappedDevice::sent(), ElementsAre(level("50.0000")));
}

TEST_F(MotionLevel, IsNeverMoreThanAHundred) {
    scene(kPicture);
    clock.advance(kPeriod + 1);
    scene(0);
    scene(kPicture + 1);
    clock.advance(kPeriod + 1);
    scene(0);
    scene(std::numeric_limits<int>::max());
    clock.advance(kPeriod + 1);
    scene(0);
    EXPECT_THAT(WrappedDevice::sent(),
                ElementsAre(level("100.0000"), level("100.0000"), level("100.0000")));
}

TEST_F(MotionLevel, RoundsToFourDecimals) {
    scene(671);
    clock.advance(kPeriod + 1);
    scene(0);
    // 671 / 2^26 * 100 = 0.00099987...
    EXPECT_THAT(WrappedDevice::sent(), ElementsAre(level("0.0010")));
}

TEST_F(MotionLevel, IsZeroForAPeriodOfEmptyScenes) {
    scene(0);
    clock.advance(kPeriod + 1);
    scene(0);
    EXPECT_THAT(WrappedDevice::sent(), ElementsAre(level("0.0000")));
}

TEST_F(MotionLevel, PassesOverAnAreaThatHasWrappedRound) {
    scene(std::numeric_limits<int>::min());
    clock.advance(kPeriod + 1);
    scene(kPicture / 4);
    EXPECT_THAT(WrappedDevice::sent(), ElementsAre(level("25.0000")));
}

TEST_F(MotionLevel, BeginsEachPeriodBelowNothing) {
    constexpr int kLeast = std::numeric_limits<int>::min();
    for (int period = 0; period < 2; ++period) {
        scene(kLeast);
        clock.advance(kPeriod + 1);
        scene(kLeast);
    }
    EXPECT_THAT(WrappedDevice::sent(), ElementsAre(level("-0.0000"), level("-0.0000")));
}

TEST_F(MotionLevel, BeginsAPeriodWhenTheOneBeforeIsSent) {
    scene(kPicture / 2);
    clock.advance(3 * kPeriod);
    scene(0);
    clock.advance(kPeriod);
    scene(kPicture / 4);
    EXPECT_THAT(WrappedDevice::sent(), ElementsAre(level("50.0000")));
    clock.advance(1);
    scene(0);
    EXPECT_THAT(WrappedDevice::sent(), ElementsAre(level("50.0000"), level("25.0000")));
}

TEST_F(MotionLevel, StampsTheEventWithTheScene) {
    scene(0);
    clock.advance(kPeriod + 1);
    const std::int64_t before = g_get_real_time();
    producer->sendEvent(0, clock.now() - 3'000'000);
    EXPECT_GE(ZQEventDouble::sent().back().utcMicroseconds, before - 3'000'000);
    EXPECT_LE(ZQEventDouble::sent().back().utcMicroseconds, g_get_real_time() - 3'000'000);
}

TEST_F(MotionLevel, TriesToDeclareAgainAtTheNextScene) {
    ZQEventDouble::failCall("zq_event_handler_declare", 1);
    scene(kPicture);
    EXPECT_EQ(log.lines(),
              (Lines{{LOG_ERR, "Cannot declare event Camera3MotionLevel (internal error)\n"},
                     {LOG_WARNING, "FAILED to create event Camera3MotionLevel \n"}}));
    // The period runs from the first try, and its scene's area is lost.
    clock.advance(kPeriod + 1);
    scene(kPicture / 2);
    EXPECT_THAT(WrappedDevice::sent(), ElementsAre(level("50.0000")));
}

TEST_F(MotionLevel, TriesToSendAgainAtTheNextSceneWithItsAreaKept) {
    scene(kPicture / 2);
    clock.advance(kPeriod + 1);
    ZQEventDouble::failCall("zq_event_handler_send_event", 1);
    scene(0);
    EXPECT_EQ(log.lines(), (Lines{{LOG_INFO, "Could not send event Camera3MotionLevel (id 1)\n"},
                                  {LOG_WARNING, "FAILED to send motion level event\n"}}));
    scene(0);
    EXPECT_THAT(WrappedDevice::sent(), ElementsAre(level("50.0000") + " failed", level("50.0000")));
}

TEST_F(MotionLevel, SendsNothingWhileStopped) {
    scene(0);
    producer->stop();
    clock.advance(kPeriod + 1);
    scene(kPicture);
    EXPECT_THAT(WrappedDevice::sent(), IsEmpty());
}

TEST_F(MotionLevel, SendsAtOnceWhenStartedAgainAfterAPeriod) {
    scene(kPicture / 2);
    producer->stop();
    clock.advance(10 * kPeriod);
    producer->start();
    scene(0);
    EXPECT_EQ(ZQEventDouble::log("zq_event_handler_declare").size(), 1U);
    EXPECT_THAT(WrappedDevice::sent(), ElementsAre(level("50.0000")));
}

TEST_F(MotionLevel, GivesItsDeclarationUpWhenDestroyed) {
    scene(0);
    producer.reset();
    clock.advance(50'000);
    WrappedDevice::runTimer();
    EXPECT_THAT(WrappedDevice::declared(), IsEmpty());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(MotionLevel, WithoutADeclarationHasNoneToGiveUp) {
    producer.reset();
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(MotionLevel, LogsADeclarationThatIsGone) {
    scene(0);
    sdk_wrapper_cleanup();
    producer.reset();
    EXPECT_TRUE(log.has(LOG_WARNING,
                        "sdk_wrapper_event_remove failed when removing motion level event.\n"));
}

TEST_F(MotionLevel, IsStartedAndStoppedWhileScenesCome) {
    std::thread control([&] {
        for (int i = 0; i < 1000; ++i) {
            producer->stop();
            producer->start();
        }
    });
    for (int i = 0; i < 1000; ++i) {
        scene(kPicture);
    }
    control.join();
    clock.advance(kPeriod + 1);
    scene(kPicture);
    EXPECT_THAT(WrappedDevice::sent(), ElementsAre(level("100.0000")));
}

}  // namespace

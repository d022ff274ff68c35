#include "events/visual_confirmation_handler.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>

#include "events/svg_doc.h"
#include "support/fake_clock.h"
#include "support/syslog_capture.h"
#include "support/wrapped_device.h"

namespace {

using Line = SyslogCapture::Line;
using Lines = std::vector<Line>;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr long kNow = 5'000'000'000;
constexpr long kDuration = 900'000'000;
const std::string kEmptyPicture = "frame svgframe=\"<svg><desc></desc></svg>\"";
const std::string kEmptyData = "frame svgframe=\"\"";
const std::string kBox = "frame svgframe=\"box</g></svg>\"";

class VisualConfirmation : public testing::Test {
protected:
    VisualConfirmation() { handler.emplace("frame", kDuration); }

    /// A document with one element, and no head to be short.
    static SvgDoc box() {
        SvgDoc document;
        document += "box";
        return document;
    }
    /// What was sent since the last call.
    std::vector<std::string> taken() {
        std::vector<std::string> all = WrappedDevice::sent();
        const std::vector<std::string> fresh(all.begin() + static_cast<long>(seen), all.end());
        seen = all.size();
        return fresh;
    }
    /// How long ago the event sent last happened, by its time, in microseconds.
    static std::int64_t ageOfLast() {
        return g_get_real_time() - ZQEventDouble::sent().back().utcMicroseconds;
    }

    FakeClock clock{kNow};
    WrappedDevice device;
    SyslogCapture log;
    std::optional<VisualConfirmationHandler> handler;
    std::size_t seen = 0;
};

TEST_F(VisualConfirmation, IsOffAtFirst) {
    EXPECT_FALSE(handler->isEnabled());
    EXPECT_FALSE(handler->isAllowedToSend());
    EXPECT_FALSE(handler->wasLastEventEmpty());
    EXPECT_THAT(WrappedDevice::declared(), IsEmpty());
}

TEST_F(VisualConfirmation, DeclaresItsEventWhenEnabled) {
    EXPECT_TRUE(handler->enable());
    EXPECT_TRUE(handler->isEnabled());
    EXPECT_THAT(ZQEventDouble::log("zq_event_handler_declare"),
                ElementsAre("zq_event_handler_declare stateless 1: "
                            "topic0=tnsorva:\"DeviceAppHost\" topic1=tnsorva:\"KTW\" "
                            "(KTW|Tarnwatch) topic2=tnsorva:\"frame\" (frame|frame) "
                            "[isApplicationData] svgframe=\"\" data"));
}

TEST_F(VisualConfirmation, StaysEnabledWhenItsEventCannotBeDeclared) {
    ZQEventDouble::failCall("zq_event_handler_declare", 1);
    EXPECT_FALSE(handler->enable());
    EXPECT_TRUE(handler->isEnabled());
    EXPECT_EQ(log.lines(), (Lines{{LOG_ERR, "Cannot declare event frame (internal error)\n"},
                                  {LOG_WARNING, "FAILED to create event frame \n"}}));
    EXPECT_TRUE(handler->enable());
    EXPECT_THAT(WrappedDevice::declared(), IsEmpty());
}

TEST_F(VisualConfirmation, SendsAFrameForEveryDocumentWithElements) {
    handler->enable();
    EXPECT_TRUE(handler->sendEvent(box(), kNow));
    EXPECT_TRUE(handler->sendEvent(box(), kNow));
    EXPECT_THAT(taken(), ElementsAre(kBox, kBox));
}

TEST_F(VisualConfirmation, StampsAFrameWithItsScene) {
    handler->enable();
    handler->sendEvent(box(), kNow - 2'000'000);
    EXPECT_GE(ageOfLast(), 2'000'000);
    handler->sendEvent(SvgDoc(), kNow - 4'000'000);
    EXPECT_GE(ageOfLast(), 4'000'000);
}

TEST_F(VisualConfirmation, SendsAnEmptyPictureOnce) {
    handler->enable();
    EXPECT_TRUE(handler->sendEvent(SvgDoc(), kNow));
    EXPECT_TRUE(handler->wasLastEventEmpty());
    EXPECT_FALSE(handler->sendEvent(SvgDoc(), kNow));
    EXPECT_THAT(taken(), ElementsAre(kEmptyPicture));
}

TEST_F(VisualConfirmation, SendsAnEmptyPictureAgainAfterAFrame) {
    handler->enable();
    handler->sendEvent(SvgDoc(), kNow);
    handler->sendEvent(box(), kNow);
    EXPECT_FALSE(handler->wasLastEventEmpty());
    EXPECT_TRUE(handler->sendEvent(SvgDoc(), kNow));
    EXPECT_THAT(taken(), ElementsAre(kEmptyPicture, kBox, kEmptyPicture));
}

TEST_F(VisualConfirmation, CountsAnEmptyPictureWhoseSendFailed) {
    handler->enable();
    ZQEventDouble::failCall("zq_event_handler_send_event", 1);
    EXPECT_FALSE(handler->sendEvent(SvgDoc(), kNow));
    EXPECT_TRUE(handler->wasLastEventEmpty());
    EXPECT_FALSE(handler->sendEvent(SvgDoc(), kNow));
    EXPECT_EQ(taken().size(), 1U);
}

TEST_F(VisualConfirmation, DropsAFailedFrame) {
    handler->enable();
    handler->sendEvent(SvgDoc(), kNow);
    ZQEventDouble::failCall("zq_event_handler_send_event", 1);
    EXPECT_FALSE(handler->sendEvent(box(), kNow));
    EXPECT_TRUE(handler->wasLastEventEmpty());
    EXPECT_EQ(log.lines(), (Lines{{LOG_INFO, "Could not send event frame (id 1)\n"}}));
}

TEST_F(VisualConfirmation, WrapsAnElementIntoADocument) {
    handler->enable();
    EXPECT_TRUE(handler->sendEvent(std::string("box"), kNow));
    EXPECT_THAT(taken(), ElementsAre("frame svgframe=\"" + SvgDoc("", "box").toString() + "\""));
    EXPECT_TRUE(handler->sendEvent(std::string(), kNow));
    EXPECT_FALSE(handler->sendEvent(std::string(), kNow));
    EXPECT_THAT(taken(), ElementsAre(kEmptyPicture));
}

TEST_F(VisualConfirmation, SendsATextAsItIs) {
    handler->enable();
    EXPECT_TRUE(handler->sendEvent(std::string("text")));
    EXPECT_TRUE(handler->sendDisablingEvent());
    EXPECT_THAT(taken(), ElementsAre("frame svgframe=\"text\"", kEmptyData));
    EXPECT_LT(ageOfLast(), 60'000'000);
    EXPECT_FALSE(handler->wasLastEventEmpty());
    ZQEventDouble::failCall("zq_event_handler_send_event", 1);
    EXPECT_FALSE(handler->sendEvent(std::string("text")));
}

TEST_F(VisualConfirmation, CountsTheEmptyPicturesThatWentOut) {
    handler->enable();
    ZQEventDouble::failCall("zq_event_handler_send_event", 1);
    EXPECT_FALSE(handler->sendEmptyEvent());
    EXPECT_FALSE(handler->wasLastEventEmpty());
    EXPECT_TRUE(handler->sendEmptyEvent());
    EXPECT_TRUE(handler->wasLastEventEmpty());
}

TEST_F(VisualConfirmation, IsAllowedToSendThroughExactlyItsDuration) {
    handler->enable();
    EXPECT_TRUE(handler->isAllowedToSend(kNow + kDuration));
    EXPECT_FALSE(handler->isAllowedToSend(kNow + kDuration + 1));
    clock.advance(kDuration);
    EXPECT_TRUE(handler->isAllowedToSend());
    clock.advance(1);
    EXPECT_FALSE(handler->isAllowedToSend());
}

TEST_F(VisualConfirmation, SendsEmptyDataOnceWhenItsDurationIsOver) {
    handler->enable();
    handler->sendEvent(box(), kNow);
    taken();
    const long late = kNow + kDuration + 1;
    EXPECT_TRUE(handler->sendEvent(box(), late));
    EXPECT_FALSE(handler->sendEvent(box(), late));
    EXPECT_FALSE(handler->sendEvent(SvgDoc(), late));
    EXPECT_THAT(taken(), ElementsAre(kEmptyData));
    EXPECT_TRUE(handler->isEnabled());
    EXPECT_THAT(WrappedDevice::declared(), ElementsAre("frame"));
}

TEST_F(VisualConfirmation, SendsNoEmptyDataBehindAnEmptyPicture) {
    handler->enable();
    handler->sendEvent(SvgDoc(), kNow);
    taken();
    EXPECT_FALSE(handler->sendEvent(box(), kNow + kDuration + 1));
    EXPECT_THAT(taken(), IsEmpty());
}

TEST_F(VisualConfirmation, CountsEmptyDataWhoseSendFailed) {
    handler->enable();
    ZQEventDouble::failCall("zq_event_handler_send_event", 1);
    EXPECT_FALSE(handler->sendEvent(box(), kNow + kDuration + 1));
    EXPECT_TRUE(handler->wasLastEventEmpty());
}

TEST_F(VisualConfirmation, TriesToSendEmptyDataWhileItIsOff) {
    EXPECT_FALSE(handler->sendEvent(box(), kNow));
    EXPECT_FALSE(handler->sendEvent(box(), kNow));
    EXPECT_EQ(log.lines(),
              (Lines{{LOG_ERR, "Cannot send event frame.  Event is not registered\n"}}));
}

TEST_F(VisualConfirmation, RenewsItsDurationAndKeepsTheDeclarationWhenEnabledAgain) {
    handler->enable();
    handler->sendEvent(SvgDoc(), kNow);
    clock.advance(kDuration + 1);
    EXPECT_FALSE(handler->isAllowedToSend());
    EXPECT_TRUE(handler->enable());
    EXPECT_TRUE(handler->isAllowedToSend());
    EXPECT_FALSE(handler->wasLastEventEmpty());
    EXPECT_EQ(ZQEventDouble::log("zq_event_handler_declare").size(), 1U);
    taken();
    handler->sendEvent(SvgDoc(), clock.now());
    EXPECT_THAT(taken(), ElementsAre(kEmptyPicture));
}

TEST_F(VisualConfirmation, SendsEmptyDataAndGivesItsDeclarationUpWhenDisabled) {
    handler->enable();
    handler->sendEvent(SvgDoc(), kNow);
    taken();
    handler->disable();
    EXPECT_FALSE(handler->isEnabled());
    EXPECT_FALSE(handler->wasLastEventEmpty());
    EXPECT_THAT(taken(), ElementsAre(kEmptyData));
    clock.advance(50'000);
    WrappedDevice::runTimer();
    EXPECT_THAT(WrappedDevice::declared(), IsEmpty());
    handler->disable();
    EXPECT_THAT(taken(), IsEmpty());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(VisualConfirmation, IsDisabledWhenDestroyed) {
    handler->enable();
    handler.reset();
    EXPECT_THAT(taken(), ElementsAre(kEmptyData));
    clock.advance(50'000);
    WrappedDevice::runTimer();
    EXPECT_THAT(WrappedDevice::declared(), IsEmpty());
}

TEST_F(VisualConfirmation, SendsNothingWhenDestroyedWhileOff) {
    handler.reset();
    EXPECT_THAT(taken(), IsEmpty());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(VisualConfirmation, SharesOneDeclarationAmongGuards) {
    VisualConfirmationHandler other("frame", kDuration);
    handler->enable();
    other.enable();
    handler->disable();
    clock.advance(50'000);
    WrappedDevice::runTimer();
    EXPECT_THAT(WrappedDevice::declared(), ElementsAre("frame"));
    EXPECT_TRUE(other.sendEvent(box(), kNow));
}

TEST_F(VisualConfirmation, ClearsTheScreenUnlessItIsClear) {
    handler->enable();
    handler->sendEvent(box(), kNow);
    taken();
    handler->clearScreen();
    EXPECT_THAT(taken(), ElementsAre(kEmptyPicture));
    EXPECT_FALSE(handler->wasLastEventEmpty());

    handler->sendEvent(SvgDoc(), kNow);
    taken();
    handler->clearScreen();
    EXPECT_THAT(taken(), IsEmpty());
    handler->sendEvent(SvgDoc(), kNow);
    EXPECT_THAT(taken(), ElementsAre(kEmptyPicture));
}

TEST_F(VisualConfirmation, ClearsNoScreenWhileItIsOff) {
    handler->clearScreen();
    EXPECT_THAT(taken(), IsEmpty());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(VisualConfirmation, DeclaresAndUndeclaresAlone) {
    EXPECT_TRUE(handler->declareEvent());
    EXPECT_FALSE(handler->isEnabled());
    EXPECT_TRUE(handler->undeclareEvent());
    clock.advance(50'000);
    WrappedDevice::runTimer();
    EXPECT_FALSE(handler->undeclareEvent());
}

}  // namespace

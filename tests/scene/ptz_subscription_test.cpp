#include "scene/ptz_subscription.h"

#include <gmock/gmock.h>
#include <syslog.h>

#include "support/platform_doubles.h"
#include "support/syslog_capture.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Line = SyslogCapture::Line;

int deliveredTo = 0;

void take(guint, ZQEvent* event, void* userData) {
    deliveredTo = *static_cast<int*>(userData);
    zq_event_free(event);
}

class PTZ_SubscriptionTest : public PlatformDoublesTest {
protected:
    int mark = 17;
    SyslogCapture log;
};

}  // namespace

TEST_F(PTZ_SubscriptionTest, SubscribesToItsTopicForAsLongAsItLives) {
    {
        const PTZ_Subscription subscription("PTZController", "Move", take, &mark);
        EXPECT_THAT(ZQEventDouble::log("zq_event_handler_subscribe"),
                    ElementsAre("zq_event_handler_subscribe 1: topic0=tns1:\"PTZController\" "
                                "topic1=tnsorva:\"Move\""));
        EXPECT_TRUE(ZQEventDouble::subscriptions().at(0).subscribed);
        EXPECT_EQ(ZQEventDouble::liveSets(), 0);
        EXPECT_TRUE(ZQEventDouble::deliver(1, {}, 0));
        EXPECT_EQ(deliveredTo, 17);
    }
    EXPECT_FALSE(ZQEventDouble::subscriptions().at(0).subscribed);
    EXPECT_EQ(ZQEventDouble::liveHandlers(), 0);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(PTZ_SubscriptionTest, HasAHandlerOfItsOwn) {
    const PTZ_Subscription first("PTZController", "Move", take, &mark);
    const PTZ_Subscription second("PTZController", "PTZPresets", take, &mark);
    EXPECT_EQ(ZQEventDouble::liveHandlers(), 2);
}

TEST_F(PTZ_SubscriptionTest, LogsAKeyThatCannotBeAddedAndSubscribesNevertheless) {
    ZQEventDouble::failCall("zq_event_key_value_set_add_key_value", 2);
    const PTZ_Subscription subscription("PTZController", "Move", take, &mark);
    EXPECT_THAT(log.lines(),
                ElementsAre(Line{LOG_ERR,
                                 "Failed to add key to PTZ callback ValueSet, message: "
                                 "injected failure\n"}));
    EXPECT_EQ(ZQEventDouble::subscriptions().size(), 1U);
}

TEST_F(PTZ_SubscriptionTest, LogsAFailureToSubscribeAndHasNothingToUnsubscribe) {
    ZQEventDouble::failCall("zq_event_handler_subscribe", 1);
    { const PTZ_Subscription subscription("PTZController", "Move", take, &mark); }
    EXPECT_THAT(log.lines(), ElementsAre(Line{LOG_ERR,
                                              "Failed to register PTZ callback, message: "
                                              "injected failure\n"}));
    EXPECT_EQ(ZQEventDouble::calls("zq_event_handler_unsubscribe"), 0);
    EXPECT_EQ(ZQEventDouble::liveHandlers(), 0);
}

TEST_F(PTZ_SubscriptionTest, LogsAFailureToUnsubscribe) {
    {
        const PTZ_Subscription subscription("PTZController", "Move", take, &mark);
        ZQEventDouble::failCall("zq_event_handler_unsubscribe", 1);
    }
    EXPECT_THAT(log.lines(), ElementsAre(Line{LOG_ERR,
                                              "Failed to unregister the PTZ callback, "
                                              "message: injected failure\n"}));
    EXPECT_EQ(ZQEventDouble::liveHandlers(), 0);
}

TEST_F(PTZ_SubscriptionTest, DoesWithoutAnEventBus) {
    ZQEventDouble::failCall("zq_event_handler_new", 1);
    { const PTZ_Subscription subscription("PTZController", "Move", take, &mark); }
    EXPECT_THAT(log.lines(), ElementsAre(Line{LOG_ERR,
                                              "Failed to register PTZ callback, message: "
                                              "no event handler\n"}));
    EXPECT_EQ(ZQEventDouble::calls("zq_event_handler_subscribe"), 0);
}

#include "zqevent/double/zqevent_double.h"

#include "support/platform_doubles.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class ZQEventDoubleTest : public PlatformDoublesTest {
protected:
    ~ZQEventDoubleTest() override { zq_event_handler_free(handler); }

    static ZQEventKeyValueSet* alarmSet(gint source, gboolean active) {
        ZQEventKeyValueSet* set = zq_event_key_value_set_new();
        EXPECT_TRUE(zq_event_key_value_set_add_key_value(set, "topic0", "tns1", "VideoSource",
                                                         ZQ_VALUE_TYPE_STRING, nullptr));
        EXPECT_TRUE(zq_event_key_value_set_add_nice_names(set, "topic0", "tns1", "nice key",
                                                          "nice value", nullptr));
        EXPECT_TRUE(zq_event_key_value_set_add_key_value(set, "Source", nullptr, &source,
                                                         ZQ_VALUE_TYPE_INT, nullptr));
        EXPECT_TRUE(zq_event_key_value_set_mark_as_source(set, "Source", nullptr, nullptr));
        EXPECT_TRUE(zq_event_key_value_set_mark_as_user_defined(set, "Source", nullptr,
                                                                "wstype:tt:Ref", nullptr));
        EXPECT_TRUE(zq_event_key_value_set_add_key_value(set, "State", nullptr, &active,
                                                         ZQ_VALUE_TYPE_BOOL, nullptr));
        EXPECT_TRUE(zq_event_key_value_set_mark_as_data(set, "State", nullptr, nullptr));
        return set;
    }

    guint declare(ZQEventKeyValueSet* set, gboolean stateless = FALSE) {
        guint id = 0;
        EXPECT_TRUE(
            zq_event_handler_declare(handler, set, stateless, &id, nullptr, nullptr, nullptr));
        zq_event_key_value_set_free(set);
        return id;
    }

    bool send(guint declaration, gboolean active, GDateTime* time, GError** error = nullptr) {
        ZQEventKeyValueSet* set = zq_event_key_value_set_new();
        zq_event_key_value_set_add_key_value(set, "State", nullptr, &active, ZQ_VALUE_TYPE_BOOL,
                                             nullptr);
        ZQEvent* event = zq_event_new2(set, time);
        zq_event_key_value_set_free(set);
        const bool accepted =
            zq_event_handler_send_event(handler, declaration, event, error) != FALSE;
        zq_event_free(event);
        return accepted;
    }

    ZQEventHandler* handler = zq_event_handler_new();
};

}  // namespace

TEST_F(ZQEventDoubleTest, WritesDownADeclarationWithAllThatWasSaidOfItsKeys) {
    EXPECT_EQ(declare(alarmSet(3, TRUE)), 1U);

    EXPECT_THAT(
        ZQEventDouble::log("zq_event_handler_declare"),
        ElementsAre("zq_event_handler_declare stateful 1: topic0=tns1:\"VideoSource\" (nice "
                    "key|nice value) Source=3 source [wstype:tt:Ref] State=true data"));
    EXPECT_EQ(ZQEventDouble::declared().size(), 1U);
}

TEST_F(ZQEventDoubleTest, WritesDownWhatIsSentWithItsTime) {
    const guint id = declare(alarmSet(0, FALSE));
    g_autoptr(GDateTime) epoch = g_date_time_new_from_unix_utc(0);
    g_autoptr(GDateTime) time = g_date_time_add(epoch, 1'500'000);

    EXPECT_TRUE(send(id, TRUE, time));

    EXPECT_THAT(ZQEventDouble::log("zq_event_handler_send_event"),
                ElementsAre("zq_event_handler_send_event 1: State=true "
                            "@1970-01-01T00:00:01.500000Z"));
    ASSERT_EQ(ZQEventDouble::sent().size(), 1U);
    EXPECT_EQ(ZQEventDouble::sent()[0].utcMicroseconds, 1'500'000);
    EXPECT_TRUE(ZQEventDouble::sent()[0].accepted);
}

TEST_F(ZQEventDoubleTest, ReplacesAValueInItsPlace) {
    ZQEventKeyValueSet* set = alarmSet(1, FALSE);
    const gint changed = 7;
    zq_event_key_value_set_add_key_value(set, "Source", nullptr, &changed, ZQ_VALUE_TYPE_INT,
                                         nullptr);
    declare(set);

    EXPECT_EQ(ZQEventDouble::describe(ZQEventDouble::declared()[0].keys),
              "topic0=tns1:\"VideoSource\" (nice key|nice value) Source=7 source [wstype:tt:Ref] "
              "State=false data");
}

TEST_F(ZQEventDoubleTest, RefusesATagOnAKeyThatIsNotThereYet) {
    ZQEventKeyValueSet* set = zq_event_key_value_set_new();
    GError* error = nullptr;

    EXPECT_FALSE(
        zq_event_key_value_set_mark_as_user_defined(set, "RuleName", nullptr, "tag", &error));

    ASSERT_NE(error, nullptr);
    EXPECT_TRUE(g_error_matches(error, ZQ_EVENT_ERROR, ZQ_EVENT_ERROR_NOT_FOUND));
    g_error_free(error);
    zq_event_key_value_set_free(set);
}

TEST_F(ZQEventDoubleTest, RefusesToSendWhatIsNotDeclaredAnyMore) {
    const guint id = declare(alarmSet(0, FALSE));
    EXPECT_TRUE(zq_event_handler_undeclare(handler, id, nullptr));
    EXPECT_FALSE(zq_event_handler_undeclare(handler, id, nullptr));

    EXPECT_FALSE(send(id, TRUE, nullptr));

    EXPECT_THAT(ZQEventDouble::declared(), IsEmpty());
    ASSERT_EQ(ZQEventDouble::sent().size(), 1U);
    EXPECT_FALSE(ZQEventDouble::sent()[0].accepted);
}

TEST_F(ZQEventDoubleTest, FailsTheCallAskedForAndNoOther) {
    const guint id = declare(alarmSet(0, FALSE));
    ZQEventDouble::failCall("zq_event_handler_send_event", 2);

    EXPECT_TRUE(send(id, TRUE, nullptr));
    GError* error = nullptr;
    EXPECT_FALSE(send(id, TRUE, nullptr, &error));
    ASSERT_NE(error, nullptr);
    EXPECT_STREQ(error->message, "injected failure");
    g_error_free(error);
    EXPECT_TRUE(send(id, TRUE, nullptr));
}

TEST_F(ZQEventDoubleTest, FailsTheNthCallOfWhateverFunction) {
    ZQEventDouble::failAnyCall(2);

    ZQEventKeyValueSet* set = zq_event_key_value_set_new();
    const gint value = 1;
    EXPECT_FALSE(zq_event_key_value_set_add_key_value(set, "a", nullptr, &value, ZQ_VALUE_TYPE_INT,
                                                      nullptr));
    EXPECT_TRUE(zq_event_key_value_set_add_key_value(set, "a", nullptr, &value, ZQ_VALUE_TYPE_INT,
                                                     nullptr));
    zq_event_key_value_set_free(set);
}

TEST_F(ZQEventDoubleTest, CountsWhatLives) {
    ZQEventKeyValueSet* set = zq_event_key_value_set_new();
    ZQEvent* event = zq_event_new2(set, nullptr);
    EXPECT_THAT(ZQEventDouble::problems(),
                ElementsAre("1 key-value sets not freed", "1 events not freed"));

    zq_event_key_value_set_free(set);
    zq_event_free(event);
    EXPECT_THAT(ZQEventDouble::problems(), IsEmpty());
}

TEST_F(ZQEventDoubleTest, NoticesASecondFreeAndALaterUse) {
    ZQEventKeyValueSet* set = zq_event_key_value_set_new();
    zq_event_key_value_set_free(set);

    zq_event_key_value_set_free(set);
    EXPECT_FALSE(zq_event_key_value_set_mark_as_data(set, "a", nullptr, nullptr));

    EXPECT_THAT(ZQEventDouble::misuses(),
                ElementsAre("zq_event_key_value_set_free: handle was freed before",
                            "zq_event_key_value_set_mark_as_data: handle was freed before"));
    ZQEventDouble::reset();
}

TEST_F(ZQEventDoubleTest, AKeptHandlerOutlivesAReset) {
    ZQEventDouble::reset();

    EXPECT_EQ(declare(alarmSet(0, FALSE)), 1U);
    EXPECT_THAT(ZQEventDouble::problems(), IsEmpty());
    EXPECT_EQ(ZQEventDouble::liveHandlers(), 0);
}

TEST_F(ZQEventDoubleTest, DeliversWhatATestInjects) {
    struct Received {
        gboolean moving = FALSE;
        gint preset = 0;
        gint64 seconds = 0;
    } received;
    ZQEventKeyValueSet* set = zq_event_key_value_set_new();
    zq_event_key_value_set_add_key_value(set, "topic0", "tns1", "PTZController",
                                         ZQ_VALUE_TYPE_STRING, nullptr);
    guint id = 0;
    ASSERT_TRUE(zq_event_handler_subscribe(
        handler, set, &id,
        [](guint, ZQEvent* event, void* userData) {
            auto* into = static_cast<Received*>(userData);
            const ZQEventKeyValueSet* values = zq_event_get_key_value_set(event);
            zq_event_key_value_set_get_boolean(values, "moving", nullptr, &into->moving, nullptr);
            zq_event_key_value_set_get_integer(values, "preset", nullptr, &into->preset, nullptr);
            into->seconds = g_date_time_to_unix(zq_event_get_time_stamp(event));
            zq_event_free(event);
        },
        &received, nullptr));
    zq_event_key_value_set_free(set);

    EXPECT_TRUE(ZQEventDouble::deliver(id, {{"moving", true}, {"preset", 4}}, 5'000'000));
    EXPECT_EQ(received.moving, TRUE);
    EXPECT_EQ(received.preset, 4);
    EXPECT_EQ(received.seconds, 5);

    EXPECT_TRUE(zq_event_handler_unsubscribe(handler, id, nullptr));
    EXPECT_FALSE(ZQEventDouble::deliver(id, {}, 0));
}

TEST_F(ZQEventDoubleTest, AFreedHandlerLeavesNothingDeclaredOrSubscribed) {
    ZQEventHandler* other = zq_event_handler_new();
    EXPECT_EQ(ZQEventDouble::liveHandlers(), 2);
    guint id = 0;
    ZQEventKeyValueSet* set = alarmSet(0, FALSE);
    zq_event_handler_declare(other, set, FALSE, &id, nullptr, nullptr, nullptr);
    zq_event_key_value_set_free(set);

    zq_event_handler_free(other);

    EXPECT_EQ(ZQEventDouble::liveHandlers(), 1);
    EXPECT_THAT(ZQEventDouble::declared(), IsEmpty());
}

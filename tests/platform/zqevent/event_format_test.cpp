#include "zqevent/event_format.h"

#include <gtest/gtest.h>

#include <memory>

#include "platform/zqevent/keys.h"

namespace {

EventKeys keysOf(const std::vector<Key>& keys) {
    EventKeys result;
    for (const Key& key : keys) {
        EventKey one;
        one.name = key.name;
        one.nameSpace = key.nameSpace;
        one.value = key.value;
        one.isData = key.mark == Key::data;
        one.isSource = key.mark == Key::source;
        result.append(one);
    }
    return result;
}

std::string text(const char* characters) {
    return characters;
}

std::optional<std::string> topicOf(const std::vector<Key>& keys) {
    return EventFormat::topic("tarnwatch", keysOf(keys), nullptr);
}

std::optional<std::string> filterOf(const std::vector<Key>& keys) {
    return EventFormat::filter("tarnwatch", keysOf(keys), nullptr);
}

std::string payloadAt(gint64 microseconds, const std::vector<Key>& keys) {
    g_autoptr(GDateTime) epoch = g_date_time_new_from_unix_utc(0);
    g_autoptr(GDateTime) time = g_date_time_add(epoch, microseconds);
    return EventFormat::payload(keysOf(keys), time);
}

const std::vector<Key> videoSource = {{"topic0", "tns1", text("VideoSource")}};

std::vector<Key> withSource(const EventValue& value) {
    return {{"topic0", "tns1", text("A")}, {"Source", "", value, Key::source}};
}

}  // namespace

TEST(EventFormatTopic, WritesTheStandardNamespaceBareAndAnyOtherWithItsName) {
    EXPECT_EQ(topicOf({{"topic0", "tns1", text("RuleEngine")},
                       {"topic1", "tnsorva", text("KTW3")},
                       {"topic2", "tnsorva", text("ktw3_video_1")},
                       {"areaid", "", 0, Key::source},
                       {"active", "", true, Key::data}}),
              "tarnwatch/onvif-ej/RuleEngine/tnsorva:KTW3/tnsorva:ktw3_video_1/&0");
}

TEST(EventFormatTopic, HasAsManyLevelsAsThereAre) {
    EXPECT_EQ(topicOf(videoSource), "tarnwatch/onvif-ej/VideoSource");
    EXPECT_EQ(topicOf({{"topic0", "tns1", text("VideoSource")},
                       {"topic1", "tns1", text("MotionAlarm")},
                       {"Source", "", 0, Key::source},
                       {"State", "", true, Key::data}}),
              "tarnwatch/onvif-ej/VideoSource/MotionAlarm/&0");
}

TEST(EventFormatTopic, JoinsSourceValuesInDeclaredOrder) {
    EXPECT_EQ(topicOf({{"topic0", "tns1", text("RuleEngine")},
                       {"topic1", "tns1", text("MotionRegionDetector")},
                       {"topic2", "tns1", text("Motion")},
                       {"State", "", true, Key::data},
                       {"VideoSource", "", 0, Key::source},
                       {"RuleName", "", text("Door"), Key::source}}),
              "tarnwatch/onvif-ej/RuleEngine/MotionRegionDetector/Motion/&0/Door");
}

TEST(EventFormatTopic, LeavesOutWhatWouldChangeItsLevels) {
    EXPECT_EQ(topicOf(withSource(text("a/b#c+d"))), "tarnwatch/onvif-ej/A/&abcd");
    EXPECT_EQ(topicOf(withSource(text("/"))), "tarnwatch/onvif-ej/A/&");
    EXPECT_EQ(topicOf({{"topic0", "a/b", text("x/y")}}), "tarnwatch/onvif-ej/ab:xy");
}

TEST(EventFormatTopic, LeavesOutControlAndNonCharacters) {
    EXPECT_EQ(topicOf(withSource(text("a\x01\x1f\x7f\nb"))), "tarnwatch/onvif-ej/A/&ab");
    EXPECT_EQ(topicOf(withSource(text("a\xC2\x85"
                                      "b"))),
              "tarnwatch/onvif-ej/A/&ab");
    EXPECT_EQ(topicOf(withSource(text("a\xEF\xB7\x90\xEF\xBF\xBE\xEF\xBF\xBF\xF0\x9F\xBF\xBE"
                                      "b"))),
              "tarnwatch/onvif-ej/A/&ab");
}

TEST(EventFormatTopic, KeepsLettersOfAllKindsAndBlanks) {
    EXPECT_EQ(topicOf(withSource(text("T\xC3\xBCr 2 \xF0\x9F\x9A\xAA"))),
              "tarnwatch/onvif-ej/A/&T\xC3\xBCr 2 \xF0\x9F\x9A\xAA");
}

TEST(EventFormatTopic, MendsWhatIsNotUtf8) {
    EXPECT_EQ(topicOf(withSource(text("a\xFF"))), "tarnwatch/onvif-ej/A/&a\xEF\xBF\xBD");
}

TEST(EventFormatTopic, RefusesLevelsAndSourcesWithoutValue) {
    EXPECT_EQ(topicOf({}), std::nullopt);
    EXPECT_EQ(topicOf({{"topic1", "tns1", text("A")}}), std::nullopt);
    EXPECT_EQ(topicOf({{"topic0", "tns1", EventValue()}}), std::nullopt);
    EXPECT_EQ(topicOf(withSource(EventValue())), std::nullopt);
}

TEST(EventFormatTopic, RefusesOneThatIsTooLong) {
    const std::string before = "tarnwatch/onvif-ej/A/&";
    EXPECT_TRUE(topicOf(withSource(std::string(65535 - before.size(), 'x'))));
    GError* error = nullptr;
    EXPECT_FALSE(EventFormat::topic(
        "tarnwatch", keysOf(withSource(std::string(65536 - before.size(), 'x'))), &error));
    ASSERT_NE(error, nullptr);
    EXPECT_TRUE(g_error_matches(error, ZQ_EVENT_ERROR, ZQ_EVENT_ERROR_INVALID));
    g_error_free(error);
}

TEST(EventFormatFilter, CoversTheTopicAndAllBelow) {
    EXPECT_EQ(filterOf({{"topic0", "tns1", text("PTZController")},
                        {"topic1", "tnsorva", text("PTZPresets")}}),
              "tarnwatch/onvif-ej/PTZController/tnsorva:PTZPresets/#");
    EXPECT_EQ(filterOf({}), "tarnwatch/onvif-ej/#");
}

TEST(EventFormatFilter, TakesALevelWithoutValueForAny) {
    EXPECT_EQ(filterOf({{"topic0", "tns1", EventValue()}, {"topic1", "tnsorva", text("Move")}}),
              "tarnwatch/onvif-ej/+/tnsorva:Move/#");
}

TEST(EventFormatFilter, RefusesGapsAndOtherKeys) {
    EXPECT_EQ(filterOf({{"topic1", "tns1", text("A")}}), std::nullopt);
    EXPECT_EQ(filterOf({{"topic0", "tns1", text("A")}, {"active", "", true}}), std::nullopt);
}

TEST(EventFormatPayload, WritesTimeSourceAndData) {
    EXPECT_EQ(payloadAt(1'767'225'600'000'042, alarmKeys("Camera1Profile1", true)),
              R"({"UtcTime":"2026-01-01T00:00:00.000042Z","Source":{},"Data":{"active":true}})");
    EXPECT_EQ(payloadAt(0, {{"topic0", "tns1", text("A")},
                            {"State", "", false, Key::data},
                            {"VideoSource", "", 0, Key::source},
                            {"RuleName", "", text("Door"), Key::source},
                            {"count", "", -7, Key::data}}),
              R"({"UtcTime":"1970-01-01T00:00:00.000000Z",)"
              R"("Source":{"VideoSource":"0","RuleName":"Door"},)"
              R"("Data":{"State":false,"count":-7}})");
}

TEST(EventFormatPayload, KeepsInValuesWhatATopicCannotHave) {
    EXPECT_EQ(payloadAt(0, {{"topic0", "tns1", text("A")},
                            {"RuleName", "", text("a/b#\n\"<\xC3\xBC\xFF"), Key::source}}),
              R"({"UtcTime":"1970-01-01T00:00:00.000000Z","Source":{"RuleName":"a/b#\n\"<)"
              "\xC3\xBC\xEF\xBF\xBD"
              R"("},"Data":{}})");
}

TEST(EventFormatPayload, LeavesOutWhatHasNoValueYet) {
    EXPECT_EQ(payloadAt(0, {{"topic0", "tns1", text("A")}, {"text", "", EventValue(), Key::data}}),
              R"({"UtcTime":"1970-01-01T00:00:00.000000Z","Source":{},"Data":{}})");
}

TEST(EventFormatPayload, WritesAnyTimeZoneAsUtc) {
    g_autoptr(GTimeZone) zone = g_time_zone_new_offset(3600);
    g_autoptr(GDateTime) time = g_date_time_new(zone, 2026, 1, 1, 0, 30, 0.5);
    EXPECT_EQ(EventFormat::payload(EventKeys(), time),
              R"({"UtcTime":"2025-12-31T23:30:00.500000Z","Source":{},"Data":{}})");
}

class EventFormatParse : public ::testing::Test {
protected:
    ~EventFormatParse() override { g_date_time_unref(arrival); }

    const EventKeys* parse(const std::string& payload) {
        event.reset(EventFormat::parse(payload, arrival));
        return event ? &event->set.keys : nullptr;
    }
    gint64 microseconds() const {
        return g_date_time_to_unix(event->time) * G_USEC_PER_SEC +
               g_date_time_get_microsecond(event->time);
    }

    GDateTime* arrival = g_date_time_new_from_unix_utc(77);
    std::unique_ptr<_ZQEvent> event;
};

TEST_F(EventFormatParse, TakesDataAndSource) {
    const EventKeys* keys =
        parse(R"({"UtcTime":"2026-01-01T00:00:00.000042Z","Source":{"PTZ":"0"},)"
              R"("Data":{"on_preset":true,"PresetToken":3,"name":"Gate"}})");
    ASSERT_NE(keys, nullptr);
    EXPECT_EQ(keys->size(), 4U);
    EXPECT_EQ(*keys->get<bool>("on_preset", nullptr, nullptr), true);
    EXPECT_EQ(*keys->get<int>("PresetToken", nullptr, nullptr), 3);
    EXPECT_EQ(*keys->get<std::string>("name", nullptr, nullptr), "Gate");
    EXPECT_EQ(*keys->get<std::string>("PTZ", nullptr, nullptr), "0");
    EXPECT_TRUE(keys->find("PTZ")->isSource);
    EXPECT_TRUE(keys->find("name")->isData);
    EXPECT_EQ(microseconds(), 1'767'225'600'000'042);
}

TEST_F(EventFormatParse, TakesTheArrivalWithoutAUsableTime) {
    for (const char* payload :
         {R"({"Data":{}})", R"({"UtcTime":7,"Data":{}})", R"({"UtcTime":"soon"})"}) {
        ASSERT_NE(parse(payload), nullptr) << payload;
        EXPECT_EQ(microseconds(), 77'000'000) << payload;
    }
}

TEST_F(EventFormatParse, UnderstandsOtherTimeZones) {
    ASSERT_NE(parse(R"({"UtcTime":"1970-01-01T02:00:01+02:00"})"), nullptr);
    EXPECT_EQ(microseconds(), 1'000'000);
}

TEST_F(EventFormatParse, LeavesOutWhatHasNoType) {
    const EventKeys* keys =
        parse(R"({"Data":{"a":1.5,"b":null,"c":[],"d":{},"e":2147483648,"f":-2147483648}})");
    ASSERT_NE(keys, nullptr);
    EXPECT_EQ(keys->size(), 1U);
    EXPECT_EQ(*keys->get<int>("f", nullptr, nullptr), -2147483647 - 1);
}

TEST_F(EventFormatParse, SurvivesMembersOfOtherKinds) {
    ASSERT_NE(parse(R"({"Data":[1],"Source":"x"})"), nullptr);
    EXPECT_TRUE(event->set.keys.empty());
}

TEST_F(EventFormatParse, RefusesWhatIsNoObject) {
    for (const char* payload : {"", "x", "[]", "3", "{", "{}x"}) {
        EXPECT_EQ(parse(payload), nullptr) << payload;
    }
}

TEST_F(EventFormatParse, AValueIsReadByItsOwnTypeOnly) {
    const EventKeys* keys = parse(R"({"Data":{"PresetToken":"3","on_preset":1}})");
    ASSERT_NE(keys, nullptr);
    GError* error = nullptr;
    EXPECT_EQ(keys->get<int>("PresetToken", nullptr, &error), nullptr);
    ASSERT_NE(error, nullptr);
    EXPECT_TRUE(g_error_matches(error, ZQ_EVENT_ERROR, ZQ_EVENT_ERROR_TYPE));
    g_clear_error(&error);
    EXPECT_EQ(keys->get<bool>("on_preset", nullptr, nullptr), nullptr);
    EXPECT_EQ(keys->get<int>("absent", nullptr, &error), nullptr);
    EXPECT_TRUE(g_error_matches(error, ZQ_EVENT_ERROR, ZQ_EVENT_ERROR_NOT_FOUND));
    g_clear_error(&error);
}

#include "scene/video_scene_subscriber.h"

#include <gmock/gmock.h>
#include <syslog.h>

#include <functional>

#include "support/subscriber_module/named_subscriber_module.h"
#include "support/syslog_capture.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Line = SyslogCapture::Line;

const std::vector<std::string> entries = {
    "video_scene_subscriber_create",
    "video_scene_subscriber_delete",
    "video_scene_subscriber_subscribe",
    "video_scene_subscriber_unsubscribe",
    "video_scene_subscriber_set_on_disconnect_callback",
    "video_scene_subscriber_set_on_message_arrived_callback",
    "video_scene_subscriber_set_bounding_box_enabled",
    "video_scene_subscriber_set_polygon_enabled",
    "video_scene_subscriber_set_velocity_enabled",
    "video_scene_subscriber_set_low_confident_enabled",
};

class VideoSceneSubscriberTest : public testing::Test {
protected:
    VideoSceneSubscriberTest() {
        EXPECT_TRUE(VideoSceneSubscriber::initialize());
        subscriber = VideoSceneSubscriber::createSubscriber(1, SCENE_FORMAT_AREA, this);
        module->takeCalls();
    }
    ~VideoSceneSubscriberTest() override { VideoSceneSubscriber::deinitialize(); }

    NamedSubscriberModule module;
    video_scene_subscriber_st* subscriber;
    SyslogCapture log;
};

}  // namespace

// The module

TEST(VideoSceneSubscriberModule, IsTheDevicesUnlessToldOtherwise) {
    EXPECT_STREQ(VideoSceneSubscriber::moduleName, "libvideo_scene_subscriber.so.0");
}

TEST(VideoSceneSubscriberModule, OpensAndClosesSilently) {
    const NamedSubscriberModule name(NamedSubscriberModule::path());
    const SyslogCapture log;
    EXPECT_TRUE(VideoSceneSubscriber::initialize());
    VideoSceneSubscriber::deinitialize();
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(VideoSceneSubscriberModule, FailsWithoutTheModuleAndLogsThatItCannotCloseIt) {
    const NamedSubscriberModule name("/nonexistent/module.so.0");
    const SyslogCapture log;
    EXPECT_FALSE(VideoSceneSubscriber::initialize());
    const std::vector<Line> lines = log.lines();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0].level, LOG_WARNING);
    EXPECT_THAT(lines[0].text,
                testing::StartsWith("Could not close module /nonexistent/module.so.0: "));
    EXPECT_EQ(lines[1], (Line{LOG_WARNING,
                              "Failed to load video_scene_subsriber. Could not open "
                              "video_scene_subscriber module\n"}));
}

TEST(VideoSceneSubscriberModule, FailsWithOneLineWhenAnyEntryPointIsMissing) {
    for (int n = 1; n <= 10; ++n) {
        const NamedSubscriberModule name(NamedSubscriberModule::pathWithoutEntry(n));
        const SyslogCapture log;
        EXPECT_FALSE(VideoSceneSubscriber::initialize());
        EXPECT_THAT(log.lines(),
                    ElementsAre(Line{LOG_WARNING,
                                     "Failed to load video_scene_subsriber. Could "
                                     "not open " +
                                         entries.at(static_cast<std::size_t>(n) - 1) + "\n"}));
    }
}

TEST(VideoSceneSubscriberModule, IsClosedAfterAFailure) {
    const NamedSubscriberModule name(NamedSubscriberModule::pathWithoutEntry(10));
    VideoSceneSubscriber::initialize();
    const SyslogCapture log;
    VideoSceneSubscriber::deinitialize();
    ASSERT_EQ(log.lines().size(), 1U);
    EXPECT_THAT(log.texts()[0], testing::StartsWith("Could not close module "));
}

// Subscriptions

TEST_F(VideoSceneSubscriberTest, CountsChannelsFromZero) {
    VideoSceneSubscriber::createSubscriber(3, SCENE_FORMAT_AREA, this);
    EXPECT_THAT(module->takeCalls(), ElementsAre("create 2 2"));
}

TEST_F(VideoSceneSubscriberTest, GivesTheModulesSubscriber) {
    EXPECT_EQ(subscriber->userData, this);
    module->setResult("create", -1);
    EXPECT_EQ(VideoSceneSubscriber::createSubscriber(1, SCENE_FORMAT_AREA, this), nullptr);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(VideoSceneSubscriberTest, DeletesASubscriberAndForgetsIt) {
    EXPECT_EQ(VideoSceneSubscriber::deleteSubscriber(&subscriber), 0);
    EXPECT_EQ(subscriber, nullptr);
    EXPECT_THAT(module->takeCalls(), ElementsAre("delete 1"));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(VideoSceneSubscriberTest, IsQuietAboutANullSubscriber) {
    video_scene_subscriber_st* none = nullptr;
    EXPECT_EQ(VideoSceneSubscriber::deleteSubscriber(&none), 0);
    EXPECT_THAT(log.lines(), IsEmpty());
    EXPECT_THAT(module->takeCalls(), IsEmpty());
}

TEST_F(VideoSceneSubscriberTest, LogsANullPlaceOfASubscriber) {
    EXPECT_EQ(VideoSceneSubscriber::deleteSubscriber(nullptr), -1);
    EXPECT_THAT(log.lines(),
                ElementsAre(Line{LOG_WARNING, "Received NULL instead of subscriber_pp\n"}));
}

TEST_F(VideoSceneSubscriberTest, ForgetsASubscriberThatCannotBeDeletedToo) {
    module->setResult("delete", -5);
    EXPECT_EQ(VideoSceneSubscriber::deleteSubscriber(&subscriber), -5);
    EXPECT_EQ(subscriber, nullptr);
}

TEST_F(VideoSceneSubscriberTest, HandsTheCallbacksOn) {
    const auto onMessage = +[](char*, void*) {};
    const auto onDisconnect = +[](void*) {};
    VideoSceneSubscriber::setOnMessageArrivedCallback(subscriber, onMessage);
    VideoSceneSubscriber::setOnDisconnectCallback(subscriber, onDisconnect);
    EXPECT_EQ(subscriber->onMessage, onMessage);
    EXPECT_EQ(subscriber->onDisconnect, onDisconnect);
}

// Results

namespace {

struct Wrapper {
    std::string entry;
    std::string name;
    std::function<int(video_scene_subscriber_st*)> call;
};

const std::vector<Wrapper> wrappers = {
    {"delete", "deleteSubscriber",
     [](auto* subscriber) { return VideoSceneSubscriber::deleteSubscriber(&subscriber); }},
    {"subscribe", "subscribe", VideoSceneSubscriber::subscribe},
    {"unsubscribe", "unsubscribe", VideoSceneSubscriber::unsubscribe},
    {"set_on_disconnect_callback", "setOnDisconnectCallback",
     [](auto* subscriber) {
         return VideoSceneSubscriber::setOnDisconnectCallback(subscriber, nullptr);
     }},
    {"set_on_message_arrived_callback", "setOnMessageArrivedCallback",
     [](auto* subscriber) {
         return VideoSceneSubscriber::setOnMessageArrivedCallback(subscriber, nullptr);
     }},
    {"set_bounding_box_enabled", "setBoundingBoxEnabled",
     VideoSceneSubscriber::setBoundingBoxEnabled},
    {"set_polygon_enabled", "setPolygonEnabled", VideoSceneSubscriber::setPolygonEnabled},
    {"set_velocity_enabled", "setVelocityEnabled", VideoSceneSubscriber::setVelocityEnabled},
    {"set_low_confident_enabled", "setLowConfidentEnabled",
     VideoSceneSubscriber::setLowConfidentEnabled},
};

const std::vector<std::pair<int, std::string>> failures = {
    {-2, "Scene provider in invalid running state (%s).\n"},
    {-3, "No valid scene provider available  (%s).\n"},
    {-4, "Invalid data format to scene provider  (%s).\n"},
    {-6, "System policy error, unauthorized API call (%s).\n"},
    {-5, "Unknown error in subscriber in (%s).\n"},
    {-1, "Unknown error in subscriber in (%s).\n"},
    {1, "Unknown error in subscriber in (%s).\n"},
};

}  // namespace

TEST_F(VideoSceneSubscriberTest, ReturnsAndLogsEachResultUnderTheWrappersName) {
    for (const Wrapper& wrapper : wrappers) {
        for (auto [code, text] : failures) {
            module->setResult(wrapper.entry, code);
            log.clear();
            EXPECT_EQ(wrapper.call(subscriber), code) << wrapper.name;
            text.replace(text.find("%s"), 2, wrapper.name);
            EXPECT_THAT(log.lines(), ElementsAre(Line{LOG_WARNING, text}));
            EXPECT_THAT(module->takeCalls(), ElementsAre(wrapper.entry + " 1"));
        }
    }
}

TEST_F(VideoSceneSubscriberTest, LogsNothingAboutSuccess) {
    for (const Wrapper& wrapper : wrappers) {
        EXPECT_EQ(wrapper.call(subscriber), 0) << wrapper.name;
    }
    EXPECT_THAT(log.lines(), IsEmpty());
}

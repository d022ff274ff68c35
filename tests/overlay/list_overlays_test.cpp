#include "overlay/list_overlays.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <optional>
#include <thread>

#include "overlay/external_overlay.h"
#include "overlay/message_record.h"
#include "overlay/overlay_subscription.h"
#include "support/failure_of.h"
#include "support/main_loop_thread.h"
#include "support/overlay_device.h"
#include "support/syslog_capture.h"
#include "support/wait_for.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

constexpr const char* kPath = "/com/orva/Overlay2/Overlay";
constexpr const char* kManager = "org.freedesktop.DBus.ObjectManager";
constexpr const char* kProperties = "org.freedesktop.DBus.Properties";
constexpr const char* kNoList =
    "Failed to get the current overlays, alarm overlay combined with dynamic overlays may not work "
    "correctly: ";

std::string pathOf(int id) {
    return std::string(kPath) + "/" + std::to_string(id);
}

std::string interfacesOf(int id) {
    return "{'com.orva.Overlay2.Overlay': {'OverlayId': <" + std::to_string(id) +
           ">, 'OverlayType': <'textoverlay'>, 'Position': <'top'>, 'Size': <'1920x40'>, 'Camera': "
           "<1>, 'Scalable': <true>}}";
}

GVariant* parsed(const char* type, const std::string& text) {
    return g_variant_parse(G_VARIANT_TYPE(type), text.c_str(), nullptr, nullptr, nullptr);
}

class FollowedOverlays : public testing::Test {
protected:
    ~FollowedOverlays() override { ListOverlays::deinitialize(); }

    void addOverlay(int id) {
        device->emit(kPath, kManager, "InterfacesAdded",
                     parsed("(oa{sa{sv}})", "('" + pathOf(id) + "', " + interfacesOf(id) + ")"));
    }
    void removeOverlay(int id) {
        device->emit(kPath, kManager, "InterfacesRemoved",
                     parsed("(oas)", "('" + pathOf(id) + "', ['x.y'])"));
    }
    void change(int id, const std::string& properties) {
        device->emit(
            pathOf(id), kProperties, "PropertiesChanged",
            parsed("(sa{sv}as)", "('com.orva.Overlay2.Overlay', " + properties + ", @as [])"));
    }
    static OverlayDevice::Reply listing(const std::string& objects) {
        return [objects] { return parsed("(a{oa{sa{sv}}})", "(" + objects + ",)"); };
    }
    void setManagedObjects(const std::string& objects) {
        device->answer("GetManagedObjects", listing(objects));
    }
    bool hasMessage(const std::string& text) {
        return waitFor([&] {
            const std::vector<std::string> texts = record.texts();
            return std::find(texts.begin(), texts.end(), text) != texts.end();
        });
    }
    /// All that was sent so far has been handled when the last of it has.
    std::vector<std::string> messagesUpToNow() {
        removeOverlay(99);
        EXPECT_TRUE(hasMessage("overlay 99 removed"));
        std::vector<std::string> texts = record.texts();
        texts.pop_back();
        return texts;
    }

    PrivateBus bus;
    std::optional<OverlayDevice> device{std::in_place, bus};
    SyslogCapture log;
    MessageRecord record;
    MainLoopThread mainLoop;
};

using ListOverlaysTest = FollowedOverlays;

TEST_F(ListOverlaysTest, PassOnOverlaysThatComeAndGo) {
    ASSERT_TRUE(ListOverlays::initialize(MessageRecord::take));
    addOverlay(12);
    removeOverlay(12);
    EXPECT_THAT(messagesUpToNow(), ElementsAre("overlay 12 added", "overlay 12 removed"));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(ListOverlaysTest, DropAnOverlayThatLacksAProperty) {
    ASSERT_TRUE(ListOverlays::initialize(MessageRecord::take));
    device->emit(kPath, kManager, "InterfacesAdded",
                 parsed("(oa{sa{sv}})", "('/a/1', {'com.orva.Overlay2.Overlay': {}})"));
    EXPECT_THAT(messagesUpToNow(), IsEmpty());
    EXPECT_THAT(log.texts(),
                ElementsAre("Could not create overlay area object, missing mandatory value\n"));
}

TEST_F(ListOverlaysTest, ListTheOverlaysThereAreAndFollowThem) {
    setManagedObjects("{'" + pathOf(7) + "': " + interfacesOf(7) + ", '" + pathOf(8) +
                      "': " + interfacesOf(8) + "}");
    ASSERT_TRUE(ListOverlays::initialize(MessageRecord::take));
    device->forgetCalls();
    const std::vector<ExternalOverlay> overlays = ListOverlays::getCurrentOverlays();
    EXPECT_THAT(device->calls(), ElementsAre("GetManagedObjects /com/orva/Overlay2/Overlay ()"));
    EXPECT_THAT(device->interfaces(), ElementsAre(kManager));
    ASSERT_EQ(overlays.size(), 2U);
    EXPECT_EQ(overlays[0].overlayId, 7);
    EXPECT_EQ(overlays[1].overlayId, 8);
    change(8, "{'Size': <'1920x48'>, 'Position': <'bottom'>}");
    EXPECT_TRUE(hasMessage("overlay 8 changed to 48 at 'bottom'"));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(ListOverlaysTest, LeaveOutAnOverlayThatCannotBeFollowed) {
    setManagedObjects("{'/a/1': " + interfacesOf(-1) + ", '/a/2': {'x.y': {}}, '" + pathOf(8) +
                      "': " + interfacesOf(8) + "}");
    ASSERT_TRUE(ListOverlays::initialize(MessageRecord::take));
    const std::vector<ExternalOverlay> overlays = ListOverlays::getCurrentOverlays();
    ASSERT_EQ(overlays.size(), 1U);
    EXPECT_EQ(overlays[0].overlayId, 8);
    device->emit(kPath, kManager, "InterfacesAdded",
                 parsed("(oa{sa{sv}})", "('/a/1', " + interfacesOf(-1) + ")"));
    EXPECT_THAT(messagesUpToNow(), IsEmpty());
    EXPECT_THAT(log.texts(),
                ElementsAre(std::string(kNoList) + "No overlay has the id -1\n",
                            "Could not create overlay area object, missing mandatory value\n",
                            "Error when handling stream changes: No overlay has the id -1\n"));
}

TEST_F(ListOverlaysTest, LeaveOutAnOverlayThatCannotBeFollowedWhenAServiceComesBack) {
    ASSERT_TRUE(ListOverlays::initialize(MessageRecord::take));
    device.reset();
    device.emplace(
        bus, std::map<std::string, OverlayDevice::Reply>{
                 {"GetManagedObjects", listing("{'/a/1': " + interfacesOf(-1) + ", '" + pathOf(8) +
                                               "': " + interfacesOf(8) + "}")}});
    EXPECT_TRUE(hasMessage("overlay 8 added"));
    EXPECT_THAT(log.texts(), ElementsAre("Error when handling stream changes: No overlay has the "
                                         "id -1\n"));
}

TEST_F(ListOverlaysTest, ListNoneWhenTheServiceFails) {
    ASSERT_TRUE(ListOverlays::initialize(MessageRecord::take));
    device->failAt(1);
    EXPECT_THAT(ListOverlays::getCurrentOverlays(), IsEmpty());
    EXPECT_THAT(log.lines(), ElementsAre(SyslogCapture::Line{
                                 LOG_WARNING, std::string(kNoList) +
                                                  "DBus list overlays call failed: "
                                                  "GDBus.Error:com.orva.Error: told to\n\n"}));
}

TEST_F(ListOverlaysTest, ListNoneWhenStopped) {
    EXPECT_THAT(ListOverlays::getCurrentOverlays(), IsEmpty());
    EXPECT_THAT(log.texts(),
                ElementsAre(std::string(kNoList) + "ListOverlays is not initialized\n"));
}

TEST_F(ListOverlaysTest, StartOnceAndWithACallback) {
    EXPECT_FALSE(ListOverlays::initialize(nullptr));
    EXPECT_TRUE(ListOverlays::initialize(MessageRecord::take));
    EXPECT_FALSE(ListOverlays::initialize(MessageRecord::take));
    EXPECT_THAT(log.texts(),
                ElementsAre("messageCallback_p was unexpectedly NULL\n",
                            "Initialize called on an already initaialized namespace\n"));
    ListOverlays::deinitialize();
    EXPECT_TRUE(ListOverlays::initialize(MessageRecord::take));
}

TEST_F(ListOverlaysTest, PassOnWhatAServiceBringsAlongThatComesBack) {
    ASSERT_TRUE(ListOverlays::initialize(MessageRecord::take));
    addOverlay(12);
    ASSERT_TRUE(hasMessage("overlay 12 added"));
    device.reset();
    device.emplace(bus, std::map<std::string, OverlayDevice::Reply>{
                            {"GetManagedObjects",
                             listing("{'" + pathOf(13) + "': " + interfacesOf(13) + "}")}});
    EXPECT_TRUE(hasMessage("overlay 13 added"));
    EXPECT_THAT(messagesUpToNow(),
                ElementsAre("overlay 12 added", "overlay 12 removed", "overlay 13 added"));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(ListOverlaysTest, PassNothingOnWhenStopped) {
    ASSERT_TRUE(ListOverlays::initialize(MessageRecord::take));
    ListOverlays::deinitialize();
    addOverlay(5);
    ASSERT_TRUE(ListOverlays::initialize(MessageRecord::take));
    EXPECT_THAT(messagesUpToNow(), IsEmpty());
}

TEST(ListOverlaysWithoutABus, DoNotStart) {
    const SyslogCapture log;
    PrivateBus bus;
    bus.stop();
    EXPECT_FALSE(ListOverlays::initialize(MessageRecord::take));
    EXPECT_THAT(log.texts(),
                ElementsAre(StartsWith("Failed to initialize OverlaySubscription: Failed to create "
                                       "proxy for overlay lister: ")));
}

using OverlayPropertySubscriptionTest = FollowedOverlays;

TEST_F(OverlayPropertySubscriptionTest, PassesOnTheChangesOfItsOverlay) {
    const OverlayPropertySubscription subscription(5, MessageRecord::takeChange);
    change(6, "{'Size': <'10x1'>, 'Position': <'top'>}");
    change(5, "{'Size': <'1920x48'>, 'Position': <'0.0,0.9'>, 'Text': <'more'>}");
    EXPECT_TRUE(hasMessage("overlay 5 changed to 48 at '0.0,0.9'"));
    EXPECT_EQ(record.texts().size(), 1U);
}

TEST_F(OverlayPropertySubscriptionTest, AsksForThePositionWhenJustTheSizeChanges) {
    device->answer("Get", [] { return g_variant_new("(v)", g_variant_new_string("bottom")); });
    const OverlayPropertySubscription subscription(5, MessageRecord::takeChange);
    device->forgetCalls();
    change(5, "{'Size': <'1920x48'>}");
    EXPECT_TRUE(hasMessage("overlay 5 changed to 48 at 'bottom'"));
    EXPECT_THAT(device->calls(),
                ElementsAre("Get " + pathOf(5) + " ('com.orva.Overlay2.Overlay', 'Position')"));
}

TEST_F(OverlayPropertySubscriptionTest, AsksForTheSizeWhenJustThePositionChanges) {
    device->answer("Get", [] { return g_variant_new("(v)", g_variant_new_string("640x56")); });
    const OverlayPropertySubscription subscription(5, MessageRecord::takeChange);
    device->forgetCalls();
    change(5, "{'Position': <'top'>}");
    EXPECT_TRUE(hasMessage("overlay 5 changed to 56 at 'top'"));
    EXPECT_THAT(device->calls(),
                ElementsAre("Get " + pathOf(5) + " ('com.orva.Overlay2.Overlay', 'Size')"));
}

TEST_F(OverlayPropertySubscriptionTest, AsksForBothWhenTheServiceTellsJustOfAChange) {
    device->answer("Get", [] { return g_variant_new("(v)", g_variant_new_string("24")); });
    const OverlayPropertySubscription subscription(5, MessageRecord::takeChange);
    device->emit(pathOf(5), kProperties, "PropertiesChanged",
                 parsed("(sa{sv}as)", "('com.orva.Overlay2.Overlay', @a{sv} {}, ['Size'])"));
    EXPECT_TRUE(hasMessage("overlay 5 changed to 24 at '24'"));
}

TEST_F(OverlayPropertySubscriptionTest, LogsWhatItCannotAskFor) {
    const OverlayPropertySubscription subscription(5, MessageRecord::takeChange);
    device->failAt(1);
    change(5, "{'Position': <'top'>}");
    device->answer("Get", [] { return g_variant_new("(s)", "text"); });
    change(5, "{'Position': <'top'>}");
    change(5, "{'Size': <'1920x48'>, 'Position': <'top'>}");
    EXPECT_TRUE(hasMessage("overlay 5 changed to 48 at 'top'"));
    EXPECT_EQ(record.texts().size(), 1U);
    const std::string text =
        "Could not set properties for overlay 5: Failed to get the property Size: ";
    using Line = SyslogCapture::Line;
    EXPECT_THAT(log.lines(),
                ElementsAre(Line{LOG_WARNING, text + "GDBus.Error:com.orva.Error: told to\n\n"},
                            Line{LOG_WARNING, text + "Pointer was unexpectedly NULL\n"}));
}

TEST_F(OverlayPropertySubscriptionTest, PassesOverWhatIsNoChangeOfEither) {
    const OverlayPropertySubscription subscription(5, MessageRecord::takeChange);
    device->forgetCalls();
    device->emit(pathOf(5), kProperties, "SomethingElse", parsed("(s)", "('text',)"));
    device->emit(pathOf(5), kProperties, "SomethingElse",
                 parsed("(sa{sv}as)", "('x.y', {'Size': <'1x1'>, 'Position': <'top'>}, @as [])"));
    device->emit(pathOf(5), kProperties, "PropertiesChanged", parsed("(s)", "('text',)"));
    change(5, "{'Text': <'more'>}");
    change(5, "{'Size': <'1920x48'>, 'Position': <7>}");
    EXPECT_TRUE(hasMessage("overlay 5 changed to 48 at ''"));
    EXPECT_EQ(record.texts().size(), 1U);
    EXPECT_THAT(device->calls(), IsEmpty());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(OverlayPropertySubscriptionTest, EndsWithTheLastOfItsCopies) {
    std::optional<OverlayPropertySubscription> first(std::in_place, 5, MessageRecord::takeChange);
    OverlayPropertySubscription second = *first;
    first->disconnect();
    EXPECT_FALSE(first->isConnected());
    EXPECT_TRUE(second.isConnected());
    first.reset();
    change(5, "{'Size': <'1x1'>, 'Position': <'top'>}");
    EXPECT_TRUE(hasMessage("overlay 5 changed to 1 at 'top'"));
    second.disconnect();
    second.disconnect();
    change(5, "{'Size': <'1x2'>, 'Position': <'top'>}");
    const OverlayPropertySubscription another(6, MessageRecord::takeChange);
    change(6, "{'Size': <'1x3'>, 'Position': <'top'>}");
    EXPECT_TRUE(hasMessage("overlay 6 changed to 3 at 'top'"));
    EXPECT_EQ(record.texts().size(), 2U);
}

TEST_F(OverlayPropertySubscriptionTest, MayEndWhileChangesCome) {
    std::thread changes([&] {
        for (int i = 0; i < 200; ++i) {
            change(5, "{'Size': <'1x1'>, 'Position': <'top'>}");
            std::this_thread::yield();
        }
    });
    for (int i = 0; i < 50; ++i) {
        const OverlayPropertySubscription subscription(5, MessageRecord::takeChange);
    }
    changes.join();
}

TEST(OverlayPropertySubscriptionWithoutABus, Fails) {
    PrivateBus bus;
    bus.stop();
    EXPECT_THAT(failureOf([] { OverlayPropertySubscription(5, MessageRecord::takeChange); }),
                StartsWith("Failed to create proxy for overlay properties: "));
    EXPECT_FALSE(OverlayPropertySubscription().isConnected());
}

}  // namespace

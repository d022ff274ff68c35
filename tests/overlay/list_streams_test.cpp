#include "overlay/list_streams.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <optional>
#include <thread>

#include "overlay/message_record.h"
#include "overlay/stream_lister.h"
#include "overlay/stream_properties.h"
#include "support/failure_of.h"
#include "support/main_loop_thread.h"
#include "support/overlay_device.h"
#include "support/syslog_capture.h"
#include "support/wait_for.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

constexpr const char* kPath = "/com/orva/Graphics1/Stream";
constexpr const char* kManager = "org.freedesktop.DBus.ObjectManager";
constexpr const char* kNoList =
    "Failed to get the currently connected streams, streams may have to be reloaded for alarm "
    "overlay functionality: ";

std::string interfacesOf(int id) {
    return "{'org.freedesktop.DBus.Properties': @a{sv} {}, 'com.orva.Graphics1.Stream': {"
           "'Stream': <'" +
           std::to_string(id) +
           "'>, 'Resolution': <'1280x720'>, 'Rotation': <180>, "
           "'Camera': <1>, 'MirrorEnabled': <false>, 'Type': <'h264'>}}";
}

GVariant* parsed(const char* type, const std::string& text) {
    return g_variant_parse(G_VARIANT_TYPE(type), text.c_str(), nullptr, nullptr, nullptr);
}

/// What a device answers that has these streams.
std::map<std::string, OverlayDevice::Reply> listing(const std::vector<int>& ids) {
    std::string objects;
    for (const int id : ids) {
        objects += (objects.empty() ? "'" : ", '") + std::string(kPath) + "/" + std::to_string(id) +
                   "': " + interfacesOf(id);
    }
    return {{"GetManagedObjects",
             [objects] { return parsed("(a{oa{sa{sv}}})", "({" + objects + "},)"); }}};
}

class ListStreamsTest : public testing::Test {
protected:
    ~ListStreamsTest() override { ListStreams::deinitialize(); }

    void emit(const char* signal, const char* type, const std::string& parameters) {
        device->emit(kPath, kManager, signal, parsed(type, parameters));
    }
    void addStream(int id) {
        emit("InterfacesAdded", "(oa{sa{sv}})",
             "('" + std::string(kPath) + "/" + std::to_string(id) + "', " + interfacesOf(id) + ")");
    }
    void removeStream(const std::string& name) {
        emit("InterfacesRemoved", "(oas)", "('" + std::string(kPath) + "/" + name + "', ['x.y'])");
    }
    bool hasMessage(const std::string& text) {
        return waitFor([&] {
            const std::vector<std::string> texts = record.texts();
            return std::find(texts.begin(), texts.end(), text) != texts.end();
        });
    }
    /// All that was sent so far has been handled when the last of it has.
    std::vector<std::string> messagesUpToNow() {
        addStream(99);
        EXPECT_TRUE(hasMessage("stream 99 added"));
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

TEST_F(ListStreamsTest, PassOnStreamsThatComeAndGo) {
    ASSERT_TRUE(ListStreams::initialize(MessageRecord::take));
    addStream(12);
    addStream(3);
    removeStream("12");
    EXPECT_THAT(messagesUpToNow(),
                ElementsAre("stream 12 added", "stream 3 added", "stream 12 removed"));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(ListStreamsTest, LogWhatTheyCannotUse) {
    ASSERT_TRUE(ListStreams::initialize(MessageRecord::take));
    emit("SomethingElse", "(s)", "('text',)");
    emit("InterfacesAdded", "(s)", "('text',)");
    emit("InterfacesRemoved", "(s)", "('text',)");
    removeStream("name");
    removeStream("99999999999");
    emit("InterfacesAdded", "(oa{sa{sv}})", "('/a/1', {'org.freedesktop.DBus.Peer': {}})");
    emit("InterfacesAdded", "(oa{sa{sv}})", "('/a/1', {'com.orva.Graphics1.Stream': {}})");
    EXPECT_THAT(messagesUpToNow(), IsEmpty());
    using Line = SyslogCapture::Line;
    EXPECT_THAT(
        log.lines(),
        ElementsAre(
            Line{LOG_INFO, "Unknown signal in stream callback\n"},
            Line{LOG_WARNING,
                 "Error when handling stream changes: Unexpected parameters of "
                 "InterfacesAdded\n"},
            Line{LOG_WARNING,
                 "Error when handling stream changes: Unexpected parameters of "
                 "InterfacesRemoved\n"},
            Line{LOG_WARNING,
                 "Error when handling stream changes: No id in the path of an object: "
                 "/com/orva/Graphics1/Stream/name\n"},
            Line{LOG_WARNING,
                 "Error when handling stream changes: No id in the path of an object: "
                 "/com/orva/Graphics1/Stream/99999999999\n"},
            Line{LOG_WARNING, "Could not create stream properties, missing mandatory value\n"}));
}

TEST_F(ListStreamsTest, ListTheStreamsThereAre) {
    device->answer("GetManagedObjects", [] {
        return parsed(
            "(a{oa{sa{sv}}})",
            "({'/a/7': " + interfacesOf(7) +
                ", '/a/b': {'org.freedesktop.DBus.Peer': {}}, '/a/8': " + interfacesOf(8) + "},)");
    });
    ASSERT_TRUE(ListStreams::initialize(MessageRecord::take));
    device->forgetCalls();
    const std::vector<StreamProperties> streams = ListStreams::getCurrentStreams();
    EXPECT_THAT(device->calls(), ElementsAre("GetManagedObjects /com/orva/Graphics1/Stream ()"));
    EXPECT_THAT(device->interfaces(), ElementsAre(kManager));
    ASSERT_EQ(streams.size(), 2U);
    EXPECT_EQ(streams[0].id, 7);
    EXPECT_EQ(streams[0].type, "h264");
    EXPECT_EQ(streams[1].id, 8);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(ListStreamsTest, ListNoneWhenTheServiceFails) {
    ASSERT_TRUE(ListStreams::initialize(MessageRecord::take));
    device->failAt(1);
    EXPECT_THAT(ListStreams::getCurrentStreams(), IsEmpty());
    device->answer("GetManagedObjects", [] { return g_variant_new("(s)", "text"); });
    EXPECT_THAT(ListStreams::getCurrentStreams(), IsEmpty());
    using Line = SyslogCapture::Line;
    EXPECT_THAT(
        log.lines(),
        ElementsAre(
            Line{LOG_WARNING, std::string(kNoList) + "DBus list stream call failed: "
                                                     "GDBus.Error:com.orva.Error: told to\n\n"},
            Line{LOG_WARNING, std::string(kNoList) + "DBus list stream call failed: Pointer was "
                                                     "unexpectedly NULL\n"}));
}

TEST_F(ListStreamsTest, ListNoneWhenStopped) {
    EXPECT_THAT(ListStreams::getCurrentStreams(), IsEmpty());
    EXPECT_THAT(log.texts(),
                ElementsAre(std::string(kNoList) + "ListStreams is not initialized\n"));
}

TEST_F(ListStreamsTest, StartOnce) {
    ASSERT_TRUE(ListStreams::initialize(MessageRecord::take));
    EXPECT_FALSE(ListStreams::initialize(MessageRecord::take));
    EXPECT_FALSE(ListStreams::initialize(nullptr));
    EXPECT_THAT(log.texts(),
                ElementsAre("Initialize called on an already initaialized namespace\n",
                            "Initialize called on an already initaialized namespace\n"));
    ListStreams::deinitialize();
    EXPECT_TRUE(ListStreams::initialize(MessageRecord::take));
}

TEST_F(ListStreamsTest, DoNotStartWithoutACallback) {
    EXPECT_FALSE(ListStreams::initialize(nullptr));
    EXPECT_THAT(log.texts(), ElementsAre("callback_p was unexpectedly NULL\n"));
    EXPECT_TRUE(ListStreams::initialize(MessageRecord::take));
}

TEST_F(ListStreamsTest, PassNothingOnWhenStopped) {
    ASSERT_TRUE(ListStreams::initialize(MessageRecord::take));
    ListStreams::deinitialize();
    addStream(5);
    ASSERT_TRUE(ListStreams::initialize(MessageRecord::take));
    EXPECT_THAT(messagesUpToNow(), IsEmpty());
}

TEST_F(ListStreamsTest, PassOnWhatAServiceBringsAlongThatComesBack) {
    device.reset();
    device.emplace(bus, listing({7, 8, 9}));
    ASSERT_TRUE(ListStreams::initialize(MessageRecord::take));
    EXPECT_EQ(ListStreams::getCurrentStreams().size(), 3U);
    addStream(10);
    removeStream("9");
    ASSERT_TRUE(hasMessage("stream 9 removed"));
    device.reset();
    device.emplace(bus, listing({8, 11}));
    ASSERT_TRUE(hasMessage("stream 11 added"));
    addStream(12);
    EXPECT_THAT(
        messagesUpToNow(),
        ElementsAre("stream 10 added", "stream 9 removed", "stream 7 removed", "stream 10 removed",
                    "stream 8 added", "stream 11 added", "stream 12 added"));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(ListStreamsTest, LogWhatAServiceThatComesBackCannotTell) {
    ASSERT_TRUE(ListStreams::initialize(MessageRecord::take));
    device.reset();
    device.emplace(bus, std::map<std::string, OverlayDevice::Reply>{
                            {"GetManagedObjects", [] { return g_variant_new("(s)", "text"); }}});
    EXPECT_TRUE(waitFor([this] { return log.lines().size() == 1; }));
    device.reset();
    device.emplace(bus, std::map<std::string, OverlayDevice::Reply>{
                            {"GetManagedObjects", [] { return nullptr; }}});
    EXPECT_TRUE(waitFor([this] { return log.lines().size() == 2; }));
    EXPECT_THAT(messagesUpToNow(), IsEmpty());
    using Line = SyslogCapture::Line;
    const std::string text =
        "Error when handling stream changes: DBus call to list objects failed: ";
    EXPECT_THAT(log.lines(),
                ElementsAre(Line{LOG_WARNING, text + "Pointer was unexpectedly NULL\n"},
                            Line{LOG_WARNING, text + "GDBus.Error:com.orva.Error: no\n\n"}));
}

TEST_F(ListStreamsTest, MayStopWhileAServiceComesBack) {
    for (int i = 0; i < 10; ++i) {
        ASSERT_TRUE(ListStreams::initialize(MessageRecord::take));
        device.reset();
        device.emplace(bus, listing({8}));
        ListStreams::deinitialize();
    }
    ASSERT_TRUE(ListStreams::initialize(MessageRecord::take));
    const std::vector<std::string> texts = messagesUpToNow();
    EXPECT_THAT(texts, testing::Each("stream 8 added"));
}

TEST_F(ListStreamsTest, StartStopAndListWhileStreamsCome) {
    std::atomic<bool> ended{false};
    std::thread streams([&] {
        for (int i = 0; i < 200; ++i) {
            addStream(5);
            std::this_thread::yield();
        }
    });
    std::thread reader([&] {
        while (!ended) {
            ListStreams::getCurrentStreams();
        }
    });
    for (int i = 0; i < 20; ++i) {
        EXPECT_TRUE(ListStreams::initialize(MessageRecord::take));
        ListStreams::getCurrentStreams();
        ListStreams::deinitialize();
    }
    ended = true;
    streams.join();
    reader.join();
}

class ListStreamsOverABus : public testing::Test {
protected:
    ListStreamsOverABus() { comeBackWith({7}); }
    ~ListStreamsOverABus() override { ListStreams::deinitialize(); }

    void goAway() {
        device.reset();
        bus.reset();
    }
    void comeBackWith(const std::vector<int>& streams) {
        bus.emplace(&address);
        device.emplace(*bus, listing(streams));
    }
    bool isLast(const std::string& text) const {
        return waitFor([&] {
            const std::vector<std::string> texts = record.texts();
            return !texts.empty() && texts.back() == text;
        });
    }

    FixedBusAddress address;
    std::optional<PrivateBus> bus;
    std::optional<OverlayDevice> device;
    MessageRecord record;
    MainLoopThread mainLoop;
};

TEST_F(ListStreamsOverABus, GoOnWhenItComesBack) {
    ASSERT_TRUE(ListStreams::initialize(MessageRecord::take));
    ASSERT_EQ(ListStreams::getCurrentStreams().size(), 1U);
    for (const int id : {8, 9}) {
        goAway();
        {
            const SyslogCapture log;
            EXPECT_THAT(ListStreams::getCurrentStreams(), IsEmpty());
            EXPECT_THAT(log.texts(), ElementsAre(StartsWith(kNoList)));
        }
        comeBackWith({id});
        EXPECT_TRUE(isLast("stream " + std::to_string(id) + " added"));
        const std::vector<StreamProperties> streams = ListStreams::getCurrentStreams();
        ASSERT_EQ(streams.size(), 1U);
        EXPECT_EQ(streams[0].id, id);
    }
    EXPECT_THAT(record.texts(), ElementsAre("stream 7 removed", "stream 8 added",
                                            "stream 8 removed", "stream 9 added"));
    device->emit(kPath, kManager, "InterfacesRemoved",
                 parsed("(oas)", "('" + std::string(kPath) + "/9', ['x.y'])"));
    EXPECT_TRUE(isLast("stream 9 removed"));
}

TEST_F(ListStreamsOverABus, MayStopWhileItIsAway) {
    ASSERT_TRUE(ListStreams::initialize(MessageRecord::take));
    goAway();
    ListStreams::deinitialize();
    comeBackWith({8});
    EXPECT_TRUE(ListStreams::initialize(MessageRecord::take));
    EXPECT_EQ(ListStreams::getCurrentStreams().size(), 1U);
    EXPECT_THAT(record.texts(), IsEmpty());
}

TEST(ListStreamsWithoutABus, DoNotStart) {
    const SyslogCapture log;
    PrivateBus bus;
    bus.stop();
    EXPECT_FALSE(ListStreams::initialize(MessageRecord::take));
    EXPECT_THAT(log.texts(), ElementsAre(StartsWith("Failed to initialize StreamLister: Failed to "
                                                    "create proxy for stream lister: ")));
}

}  // namespace

#include "overlay/list_streams.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
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

class ListStreamsTest : public testing::Test {
protected:
    ~ListStreamsTest() override { ListStreams::deinitialize(); }

    void emit(const char* signal, const char* type, const std::string& parameters) {
        device.emit(kPath, kManager, signal, parsed(type, parameters));
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
    OverlayDevice device{bus};
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
    device.answer("GetManagedObjects", [] {
        return parsed(
            "(a{oa{sa{sv}}})",
            "({'/a/7': " + interfacesOf(7) +
                ", '/a/b': {'org.freedesktop.DBus.Peer': {}}, '/a/8': " + interfacesOf(8) + "},)");
    });
    ASSERT_TRUE(ListStreams::initialize(MessageRecord::take));
    device.forgetCalls();
    const std::vector<StreamProperties> streams = ListStreams::getCurrentStreams();
    EXPECT_THAT(device.calls(), ElementsAre("GetManagedObjects /com/orva/Graphics1/Stream ()"));
    EXPECT_THAT(device.interfaces(), ElementsAre(kManager));
    ASSERT_EQ(streams.size(), 2U);
    EXPECT_EQ(streams[0].id, 7);
    EXPECT_EQ(streams[0].type, "h264");
    EXPECT_EQ(streams[1].id, 8);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(ListStreamsTest, ListNoneWhenTheServiceFails) {
    ASSERT_TRUE(ListStreams::initialize(MessageRecord::take));
    device.failAt(1);
    EXPECT_THAT(ListStreams::getCurrentStreams(), IsEmpty());
    device.answer("GetManagedObjects", [] { return g_variant_new("(s)", "text"); });
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

TEST(ListStreamsWithoutABus, DoNotStart) {
    const SyslogCapture log;
    PrivateBus bus;
    bus.stop();
    EXPECT_FALSE(ListStreams::initialize(MessageRecord::take));
    EXPECT_THAT(log.texts(), ElementsAre(StartsWith("Failed to initialize StreamLister: Failed to "
                                                    "create proxy for stream lister: ")));
}

}  // namespace

#include "video/graphics_service.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <array>

#include "served_video.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

constexpr const char* kOverlay = "com.orva.Graphics1.Overlay";
constexpr const char* kStreams = "/com/orva/Graphics1/Stream";

class GraphicsServiceTest : public ServedVideo {
protected:
    FileDescriptor openChannel(const BusCaller& from) const {
        return from.callForDescriptor(kGraphics1, kGraphicsPath, kOverlay, "GetCommandChannel");
    }
    FileDescriptor openDevice() const {
        return client->callForDescriptor(kGraphics1, kGraphicsPath, kOverlay, "OpenCameraDevice");
    }
    std::string switchStream(const char* method, int id) const {
        return client->call(kGraphics1, kGraphicsPath, "com.orva.Host.Streams1", method,
                            g_variant_new("(i)", id));
    }
    std::string listStreams() const {
        return client->call(kGraphics1, kStreams, kManager, "GetManagedObjects");
    }
    static std::string exchange(const FileDescriptor& channel, const std::string& request) {
        ::send(channel.get(), request.c_str(), request.size() + 1, MSG_NOSIGNAL);
        std::array<char, 512> reply{};
        const ssize_t size = recv(channel.get(), reply.data(), reply.size(), 0);
        return size > 0 ? reply.data() : "closed";
    }
    static std::string getBuffer(const FileDescriptor& channel) {
        return exchange(channel, R"({"apiVersion": "1.0", "method": "getBuffer", "context": "", )"
                                 R"("params": {"overlayId": 1}})");
    }
    static bool isClosedInTime(const FileDescriptor& channel) {
        return waitFor([&] {
            char byte = 0;
            return recv(channel.get(), &byte, 1, MSG_DONTWAIT) == 0;
        });
    }
};

TEST_F(GraphicsServiceTest, ListsAllStreamsWithTheirProperties) {
    const std::string all = listStreams();
    EXPECT_THAT(all, StartsWith("({objectpath '/com/orva/Graphics1/Stream/1': "
                                "{'com.orva.Graphics1.Stream': {'Stream': <'1'>, 'Camera': <1>, "
                                "'Type': <'h264'>, 'Resolution': <'1280x720'>, 'Rotation': <0>, "
                                "'MirrorEnabled': <false>}}, "));
    std::size_t streamsThere = 0;
    for (std::size_t at = all.find("'Rotation'"); at != std::string::npos;
         at = all.find("'Rotation'", at + 1)) {
        ++streamsThere;
    }
    EXPECT_EQ(streamsThere, table.getStreams().size());
    const std::string last = std::to_string(table.getStreams().size());
    EXPECT_EQ(client->call(kGraphics1, std::string(kStreams) + "/" + last,
                           "org.freedesktop.DBus.Properties", "GetAll",
                           g_variant_new("(s)", "com.orva.Graphics1.Stream")),
              "({'Stream': <'" + last +
                  "'>, 'Camera': <2>, 'Type': <'h264'>, 'Resolution': <'320x240'>, 'Rotation': "
                  "<270>, 'MirrorEnabled': <false>},)");
}

TEST_F(GraphicsServiceTest, TakesAStreamFromTheListAndPutsItBack) {
    const std::string all = listStreams();
    const SignalRecord signals(*bus, kGraphics1);
    EXPECT_EQ(switchStream("Remove", 1), "()");
    EXPECT_THAT(listStreams(), StartsWith("({objectpath '/com/orva/Graphics1/Stream/2'"));
    EXPECT_EQ(create(), "com.orva.Host.Error.NotFound: there is no stream \"1\"");
    EXPECT_EQ(switchStream("Add", 1), "()");
    EXPECT_EQ(listStreams(), all);
    ASSERT_TRUE(waitFor([&] { return signals.get().size() == 2; }));
    EXPECT_THAT(
        signals.get(),
        ElementsAre(
            "/com/orva/Graphics1/Stream InterfacesRemoved (objectpath "
            "'/com/orva/Graphics1/Stream/1', ['com.orva.Graphics1.Stream'])",
            "/com/orva/Graphics1/Stream InterfacesAdded (objectpath "
            "'/com/orva/Graphics1/Stream/1', {'com.orva.Graphics1.Stream': {'Stream': <'1'>, "
            "'Camera': <1>, 'Type': <'h264'>, 'Resolution': <'1280x720'>, 'Rotation': <0>, "
            "'MirrorEnabled': <false>}})"));
}

TEST_F(GraphicsServiceTest, SwitchesOnlyStreamsThatAreThere) {
    EXPECT_EQ(switchStream("Remove", 99), "com.orva.Host.Error.NotFound: stream 99 is not listed");
    EXPECT_EQ(switchStream("Add", 1),
              "com.orva.Host.Error.NotFound: stream 1 was not taken from the list");
    EXPECT_EQ(switchStream("Add", -1),
              "com.orva.Host.Error.NotFound: stream -1 was not taken from the list");
}

TEST_F(GraphicsServiceTest, HandsOutTheMemoryOfBuffers) {
    const FileDescriptor device = openDevice();
    struct stat here {
    }, there{};
    ASSERT_EQ(fstat(device.get(), &there), 0);
    ASSERT_EQ(fstat(store.getMemory(), &here), 0);
    EXPECT_EQ(here.st_ino, there.st_ino);
    EXPECT_EQ(fcntl(device.get(), F_GET_SEALS), F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_SEAL);
}

TEST_F(GraphicsServiceTest, OpensAChannelForOverlays) {
    create();
    const FileDescriptor channel = openChannel(*client);
    EXPECT_EQ(getBuffer(channel),
              R"({"apiVersion":"1.0","method":"getBuffer","context":"","data":{"buffer":0}})");
    EXPECT_THAT(exchange(channel, "garbage"), HasSubstr("no JSON"));
}

TEST_F(GraphicsServiceTest, ClosesTheChannelsOfAClientThatLeaves) {
    const FileDescriptor kept = openChannel(*client);
    std::optional<BusCaller> other(std::in_place, *bus);
    const FileDescriptor channel = openChannel(*other);
    other.reset();
    EXPECT_TRUE(isClosedInTime(channel));
    EXPECT_THAT(getBuffer(kept), HasSubstr("no such overlay"));
}

TEST_F(GraphicsServiceTest, ClosesAllChannelsWhenItEnds) {
    const FileDescriptor channel = openChannel(*client);
    stop();
    EXPECT_TRUE(isClosedInTime(channel));
}

TEST_F(GraphicsServiceTest, GivesAClientNoThousandsOfChannels) {
    std::vector<FileDescriptor> channels;
    for (std::size_t number = 0; number < GraphicsService::kMostChannelsOfAClient; ++number) {
        channels.push_back(openChannel(*client));
        EXPECT_TRUE(channels.back());
    }
    EXPECT_EQ(client->call(kGraphics1, kGraphicsPath, kOverlay, "GetCommandChannel"),
              "com.orva.Host.Error.TooMany: there are too many command channels");
    channels.pop_back();
    EXPECT_TRUE(waitFor([&] { return static_cast<bool>(openChannel(*client)); }));
}

TEST_F(GraphicsServiceTest, HandsOutNoDescriptorWhenToldTo) {
    for (const char* method : {"GetCommandChannel", "OpenCameraDevice"}) {
        setFault(method, "nodescriptor");
        EXPECT_FALSE(client->callForDescriptor(kGraphics1, kGraphicsPath, kOverlay, method));
        EXPECT_TRUE(client->callForDescriptor(kGraphics1, kGraphicsPath, kOverlay, method));
        setFault(method, "error");
        EXPECT_EQ(client->call(kGraphics1, kGraphicsPath, kOverlay, method),
                  "com.orva.Host.Error.Failed: told to");
        setFault(method, "wrong");
        EXPECT_EQ(client->call(kGraphics1, kGraphicsPath, kOverlay, method), "('wrong',)");
        setFault(method, "empty");
        EXPECT_EQ(client->call(kGraphics1, kGraphicsPath, kOverlay, method), "()");
    }
}

TEST_F(GraphicsServiceTest, HandsOutOtherDescriptorsWhenToldTo) {
    const auto statusOf = [](const FileDescriptor& descriptor) {
        struct stat status {};
        fstat(descriptor.get(), &status);
        return status;
    };
    setFault("GetCommandChannel", "notasocket");
    EXPECT_TRUE(S_ISFIFO(statusOf(openChannel(*client)).st_mode));
    setFault("OpenCameraDevice", "notamemory");
    EXPECT_TRUE(S_ISFIFO(statusOf(openDevice()).st_mode));
    setFault("OpenCameraDevice", "unsealed");
    const FileDescriptor unsealed = openDevice();
    EXPECT_EQ(statusOf(unsealed).st_size, CameraMemory::kSize);
    EXPECT_EQ(fcntl(unsealed.get(), F_GET_SEALS), 0);
    setFault("OpenCameraDevice", "toosmall");
    const FileDescriptor small = openDevice();
    EXPECT_EQ(statusOf(small).st_size, 4096);
    EXPECT_EQ(fcntl(small.get(), F_GET_SEALS), F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_SEAL);
}

}  // namespace

#include "engine/scene_server.h"

#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <condition_variable>
#include <cstdlib>
#include <cstring>

#include "engine/source_error.h"
#include "scene/scene.h"
#include "support/temporary_folder.h"

using namespace std::chrono_literals;
using namespace std::string_literals;
using testing::ElementsAre;

namespace {

const std::string everything = "1.1 OPEN 1 1 1 1 1\n";

/// A client with blocking reads that end the test rather than hang.
class Client {
public:
    explicit Client(const std::string& path) : socket(::socket(AF_UNIX, SOCK_STREAM, 0)) {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
        const timeval limit = {20, 0};
        setsockopt(socket.get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
        connected =
            connect(socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    }

    void send(const std::string& text) {
        ::send(socket.get(), text.data(), text.size(), MSG_NOSIGNAL);
    }

    std::string ask(const std::string& request) {
        send(request);
        std::string answer;
        char byte = 1;
        while (byte != 0 && recv(socket.get(), &byte, 1, 0) == 1) {
            answer += byte;
        }
        return answer;
    }

    bool read(void* buffer, std::size_t size) {
        return recv(socket.get(), buffer, size, MSG_WAITALL) == static_cast<ssize_t>(size);
    }

    /// The next payload as a heap block, null at the end of the stream.
    char* nextPayload() {
        unsigned char head[12];
        if (!read(head, sizeof head)) {
            return nullptr;
        }
        EXPECT_EQ(std::string(reinterpret_cast<char*>(head) + 4, 8), std::string(8, '\0'));
        const std::size_t size =
            (std::size_t{head[0]} << 24) | (head[1] << 16) | (head[2] << 8) | std::size_t{head[3]};
        char* payload = static_cast<char*>(malloc(size));
        if (!read(payload, size)) {
            free(payload);
            return nullptr;
        }
        return payload;
    }

    /// The time of the next scene in nanoseconds, -1 at the end of the stream.
    std::int64_t nextTime() {
        char* payload = nextPayload();
        if (payload == nullptr) {
            return -1;
        }
        scene_st* scene = scene_copy_from_area(payload);
        const void* value = nullptr;
        EXPECT_EQ(scene_get_prop(scene, SCENE_PROP_TIMESTAMP, &value), 1);
        const std::int64_t time = value == nullptr ? -2 : *static_cast<const std::int64_t*>(value);
        scene_delete(scene);
        free(payload);
        return time;
    }

    bool isClosed() {
        char byte = 0;
        return recv(socket.get(), &byte, 1, 0) == 0;
    }

    FileDescriptor socket;
    bool connected = false;
};

SceneRecord sceneAt(std::int64_t time) {
    SceneRecord scene;
    setSceneTime(scene, time);
    return scene;
}

SceneObjectRecord objectWith(std::int32_t id, std::int16_t confidence) {
    return {.id = id,
            .polygon = std::vector<ScenePoint>{{0, 0}, {0, 9}, {9, 9}},
            .boundingBox = boxCorners({0, 0}, {9, 9}),
            .velocity = SceneVelocity{1, 2},
            .confidence = confidence};
}

/// What the objects of a payload carry: id, and one letter for each property.
std::vector<std::string> contentsOf(char* payload) {
    std::vector<std::string> contents;
    scene_st* scene = scene_copy_from_area(payload);
    const scene_object_st* object = nullptr;
    while ((object = scene_next_object(scene, object)) != nullptr) {
        std::string text = std::to_string(scene_get_object_id(object)) + ":";
        const void* value = nullptr;
        const auto has = [&](scene_prop_e property) {
            scene_get_obj_prop(object, property, &value);
            return value != nullptr;
        };
        text += has(SCENE_PROP_BOUNDING_BOX) ? "b" : "";
        text += has(SCENE_PROP_POLYGON) ? "p" : "";
        text += has(SCENE_PROP_VELOCITY) ? "v" : "";
        text += has(SCENE_PROP_CONFIDENCE) ? "c" : "";
        contents.push_back(text);
    }
    scene_delete(scene);
    free(payload);
    return contents;
}

class SceneServerTest : public testing::Test {
protected:
    void startServer(SceneServer::Limits limits = {}) {
        server = std::make_unique<SceneServer>(
            path, 2,
            [this](int camera) {
                const std::lock_guard lock(mutex);
                opened.push_back(camera);
                changed.notify_all();
            },
            limits);
    }

    void SetUp() override { startServer(); }

    /// Returns once so many streams have been opened in all.
    void waitForOpened(std::size_t count) {
        std::unique_lock lock(mutex);
        ASSERT_TRUE(changed.wait_for(lock, 20s, [&] { return opened.size() >= count; }));
    }

    /// A client whose stream is open.
    std::unique_ptr<Client> open(const std::string& request = everything) {
        auto client = std::make_unique<Client>(path);
        EXPECT_THAT(client->ask(request), testing::EndsWith(" OK\0"s));
        waitForOpened(++asked);
        return client;
    }

    void publish(std::int64_t time, int camera = 1) { server->publish(camera, sceneAt(time)); }

    TemporaryFolder folder;
    const std::string path = folder.path("scenes");
    std::size_t asked = 0;
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<int> opened;
    std::unique_ptr<SceneServer> server;  // last: it calls into the others
};

}  // namespace

TEST_F(SceneServerTest, ServesScenesInOrder) {
    const auto client = open();
    for (std::int64_t time = 1; time <= 20; ++time) {
        publish(time);
    }
    for (std::int64_t time = 1; time <= 20; ++time) {
        EXPECT_EQ(client->nextTime(), time);
    }
}

TEST_F(SceneServerTest, ServesBothVersions) {
    Client older(path);
    EXPECT_EQ(older.ask("1.0 OPEN 0 1 1 2\n"), "1.0 OK\0"s);
    Client newer(path);
    EXPECT_EQ(newer.ask("1.1 OPEN 0 1 1 1 2\n"), "1.1 OK\0"s);
    waitForOpened(2);
    publish(7, 2);
    EXPECT_EQ(older.nextTime(), 7);
    EXPECT_EQ(newer.nextTime(), 7);
}

TEST_F(SceneServerTest, RefusesAndCloses) {
    for (const char* request : {"1.2 OPEN 0 1 1 1 1\n", "1.1 OPEN 0 1 1 1 3\n", "hello\n", "\n"}) {
        Client client(path);
        EXPECT_EQ(client.ask(request), "1.1 ERROR\0"s) << request;
        EXPECT_TRUE(client.isClosed()) << request;
    }
    EXPECT_THAT(opened, testing::IsEmpty());
}

TEST_F(SceneServerTest, RefusesARequestWithoutEnd) {
    Client client(path);
    EXPECT_EQ(client.ask(std::string(100, '1')), "1.1 ERROR\0"s);
    EXPECT_TRUE(client.isClosed());
}

TEST_F(SceneServerTest, AcceptsARequestInPieces) {
    Client client(path);
    for (const char letter : everything.substr(0, everything.size() - 1)) {
        client.send({letter});
    }
    EXPECT_EQ(client.ask("\n"), "1.1 OK\0"s);
}

TEST_F(SceneServerTest, ClosesAClientThatTakesTooLongToAsk) {
    server.reset();
    startServer({.handshake = 20ms});
    Client silent(path);
    Client slow(path);
    slow.send("1.1 OP");
    EXPECT_TRUE(silent.isClosed());
    EXPECT_TRUE(slow.isClosed());
}

TEST_F(SceneServerTest, LeavesAStreamOpenAfterTheTimeToAsk) {
    server.reset();
    startServer({.handshake = 20ms});
    const auto client = open();
    Client silent(path);
    EXPECT_TRUE(silent.isClosed());
    publish(1);
    EXPECT_EQ(client->nextTime(), 1);
}

TEST_F(SceneServerTest, TellsWhichCameraWasOpened) {
    open("1.1 OPEN 0 1 1 1 2\n");
    open("1.0 OPEN 0 1 1 1\n");
    EXPECT_THAT(opened, ElementsAre(2, 1));
}

TEST_F(SceneServerTest, AMereConnectOpensNothing) {
    const Client client(path);
    EXPECT_TRUE(client.connected);
    open();
    EXPECT_EQ(opened.size(), 1u);
}

TEST_F(SceneServerTest, ServesOnlyTheCameraThatWasAskedFor) {
    const auto first = open("1.1 OPEN 1 1 1 1 1\n");
    const auto second = open("1.1 OPEN 1 1 1 1 2\n");
    publish(1, 1);
    publish(2, 2);
    publish(3, 1);
    EXPECT_EQ(first->nextTime(), 1);
    EXPECT_EQ(first->nextTime(), 3);
    EXPECT_EQ(second->nextTime(), 2);
}

TEST_F(SceneServerTest, HonoursEachFlag) {
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"1.1 OPEN 1 0 0 1 1\n", "bc"},  {"1.1 OPEN 0 1 0 1 1\n", "pc"},
        {"1.1 OPEN 0 0 1 1 1\n", "vc"},  {"1.1 OPEN 1 1 1 1 1\n", "bpvc"},
        {"1.1 OPEN 1 1 1 0 1\n", "bpv"}, {"1.0 OPEN 1 1 1 1\n", "bpv"},
        {"1.0 OPEN 0 0 0 1\n", ""}};
    std::vector<std::unique_ptr<Client>> clients;
    for (const auto& [request, properties] : cases) {
        clients.push_back(open(request));
    }
    SceneRecord scene = sceneAt(1);
    scene.objects = {objectWith(1, 4096), objectWith(2, 4095), objectWith(3, 4096)};
    scene.objects[2].confidence.reset();
    server->publish(1, scene);
    for (std::size_t i = 0; i < cases.size(); ++i) {
        const auto& [request, properties] = cases[i];
        const bool low = properties.ends_with("c");
        std::vector<std::string> expected = {"1:" + properties};
        if (low) {
            expected.push_back("2:" + properties);
        }
        expected.push_back("3:" + properties.substr(0, properties.size() - (low ? 1 : 0)));
        EXPECT_EQ(contentsOf(clients[i]->nextPayload()), expected) << request;
    }
}

TEST_F(SceneServerTest, DeliversEventsWhateverTheFlags) {
    const auto client = open("1.0 OPEN 0 0 0 1\n");
    SceneRecord scene = sceneAt(1);
    scene.events = {{SCENE_ACTION_MERGE, {1}, {2, 3}}};
    server->publish(1, scene);
    char* payload = client->nextPayload();
    scene_st* decoded = scene_copy_from_area(payload);
    const scene_event_st* event = scene_next_event(decoded, nullptr);
    ASSERT_NE(event, nullptr);
    EXPECT_EQ(scene_get_event_action(event), SCENE_ACTION_MERGE);
    const void* ids = nullptr;
    EXPECT_EQ(scene_get_evt_prop(event, SCENE_PROP_RELATED_IDS, &ids), 2);
    scene_delete(decoded);
    free(payload);
}

TEST_F(SceneServerTest, ClosesAClientFiftyScenesBehindWhileAnotherGetsEveryScene) {
    testing::internal::CaptureStderr();
    const auto slow = open();
    const auto prompt = open();
    SceneRecord scene = sceneAt(1);
    scene.objects.assign(100, objectWith(1, 4096));  // more than the kernel holds for a client
    for (std::int64_t time = 1; time <= 200; ++time) {
        setSceneTime(scene, time);
        server->publish(1, scene);
        ASSERT_EQ(prompt->nextTime(), time);
    }
    std::int64_t received = 0;
    while (const std::int64_t time = slow->nextTime()) {
        if (time < 0) {
            break;
        }
        ASSERT_EQ(time, ++received);  // nothing was left out before the end
    }
    EXPECT_LT(received, 55);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "plinth: camera 1: a client 50 scenes behind was closed\n");
}

TEST_F(SceneServerTest, KeepsAClientFortyNineScenesBehind) {
    const auto slow = open();
    const auto prompt = open();
    SceneRecord scene = sceneAt(1);
    scene.objects.assign(400, objectWith(1, 4096));  // no scene fits into the kernel whole
    for (std::int64_t time = 1; time <= 49; ++time) {
        setSceneTime(scene, time);
        server->publish(1, scene);
        ASSERT_EQ(prompt->nextTime(), time);
    }
    for (std::int64_t time = 1; time <= 49; ++time) {
        ASSERT_EQ(slow->nextTime(), time);
    }
}

TEST_F(SceneServerTest, SurvivesClientsThatVanish) {
    const auto steady = open();
    for (std::int64_t time = 1; time <= 50; ++time) {
        {
            Client vanishing(path);
            vanishing.send(time % 3 == 0 ? "1.1 OP" : everything);
            if (time % 3 == 1) {
                const linger now = {1, 0};
                setsockopt(vanishing.socket.get(), SOL_SOCKET, SO_LINGER, &now, sizeof now);
                vanishing.ask("");
            }
        }
        publish(time);
        ASSERT_EQ(steady->nextTime(), time);
    }
}

TEST_F(SceneServerTest, ServesAClientThatClosedItsSendingHalf) {
    const auto client = open();
    shutdown(client->socket.get(), SHUT_WR);
    for (std::int64_t time = 1; time <= 3; ++time) {
        publish(time);
        EXPECT_EQ(client->nextTime(), time);
    }
}

TEST_F(SceneServerTest, LooksAtNothingThatFollowsTheRequest) {
    const auto client = open(everything + "1.0 OPEN 0 0 0 2\n");
    client->send(std::string(100'000, 'x'));
    publish(1);
    EXPECT_EQ(client->nextTime(), 1);
    EXPECT_EQ(opened.size(), 1u);
}

TEST_F(SceneServerTest, TurnsAwayMoreClientsThanItTakes) {
    testing::internal::CaptureStderr();
    server.reset();
    startServer({.clients = 2});
    const auto first = open();
    const auto second = open();
    for (int i = 0; i < 5; ++i) {
        EXPECT_TRUE(Client(path).isClosed());
    }
    publish(1);
    EXPECT_EQ(first->nextTime(), 1);
    EXPECT_EQ(second->nextTime(), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "plinth: clients are turned away, there are 2\n");  // told once
}

TEST_F(SceneServerTest, EndsItsClientsAndItsSocket) {
    const auto client = open();
    server.reset();
    EXPECT_TRUE(client->isClosed());
    struct stat status = {};
    EXPECT_NE(stat(path.c_str(), &status), 0);
}

TEST_F(SceneServerTest, ReplacesWhatStandsInItsPlace) {
    folder.write("scenes.other", "left over");
    const SceneServer other(folder.path("scenes.other"), 1, [](int) {});
    EXPECT_TRUE(Client(folder.path("scenes.other")).connected);
}

TEST_F(SceneServerTest, LeavesASuccessorsSocketAlone) {
    const SceneServer successor(path, 1, [](int) {});
    server.reset();
    EXPECT_TRUE(Client(path).connected);
}

TEST(SceneServer, SaysWhereItCannotListen) {
    const auto listen = [](const std::string& path) { SceneServer(path, 1, [](int) {}); };
    EXPECT_THROW(listen("/nowhere/scenes"), SourceError);
    EXPECT_THROW(listen("/tmp/" + std::string(200, 'x')), SourceError);
}

// Subscribers that are made and subscribe, or cannot.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>

#include "engine_stage.h"
#include "scripted_engine.h"
#include "support/own_process.h"
#include "support/wait_for.h"

using testing::ElementsAre;
using testing::EndsWith;
using testing::StartsWith;

namespace {

class Subscribing : public OwnFolder {};

/// The result of subscribing in a process of its own, prepared by `prepare`; 100 above it, since a
/// status is not negative.
template <typename Prepare>
int resultInAProcess(Prepare prepare) {
    return exitStatusOf([&] {
               video_scene_subscriber_st* subscriber =
                   module().create(0, SCENE_FORMAT_AREA, nullptr);
               prepare();
               _exit(100 + module().subscribe(subscriber));
           }) -
           100;
}

}  // namespace

TEST_F(Subscribing, HasNoSubscriberForANegativeChannel) {
    EXPECT_EQ(module().create(-1, SCENE_FORMAT_AREA, nullptr), nullptr);
}

TEST_F(Subscribing, TakesNullForNoSubscriber) {
    EXPECT_EQ(module().remove(nullptr), 0);
    EXPECT_EQ(module().subscribe(nullptr), -1);
    EXPECT_EQ(module().unsubscribe(nullptr), -1);
    EXPECT_EQ(module().setOnDisconnect(nullptr, nullptr), -1);
    EXPECT_EQ(module().setOnMessage(nullptr, nullptr), -1);
    EXPECT_EQ(module().enableBoundingBox(nullptr), -1);
    EXPECT_EQ(module().enablePolygon(nullptr), -1);
    EXPECT_EQ(module().enableVelocity(nullptr), -1);
    EXPECT_EQ(module().enableLowConfident(nullptr), -1);
}

TEST_F(Subscribing, TellsThatThereIsNoProvider) {
    SubscriberRecorder subscriber;
    EXPECT_EQ(subscriber.subscribe(), -3);
    folder.write("scenes", "a file");
    EXPECT_EQ(subscriber.subscribe(), -3);
    EXPECT_EQ(subscriber.unsubscribe(), 0);
    EXPECT_EQ(subscriber.disconnects(), 0);
}

TEST_F(Subscribing, TellsThatTheProviderHasDied) {
    { const ScriptedEngine engine(socket); }
    SubscriberRecorder subscriber;
    EXPECT_EQ(subscriber.subscribe(), -3);
}

TEST_F(Subscribing, WorksWhenTheProviderHasCome) {
    SubscriberRecorder subscriber;
    EXPECT_EQ(subscriber.subscribe(), -3);
    const ScriptedEngine engine(socket);
    EXPECT_EQ(subscriber.subscribe(), 0);
}

TEST_F(Subscribing, TellsThatTheFormatIsNotDelivered) {
    const ScriptedEngine engine(socket);
    SubscriberRecorder subscriber(0, static_cast<data_format_t>(1));
    EXPECT_EQ(subscriber.subscribe(), -4);
    EXPECT_THAT(engine.requests(), ElementsAre());
}

TEST_F(Subscribing, TellsThatTheProviderMayNotBeUsed) {
    const ScriptedEngine engine(socket);
    chmod(socket.c_str(), 0);
    EXPECT_EQ(resultInAProcess([] {
                  if (geteuid() == 0 && setresuid(65534, 65534, 65534) != 0) {
                      _exit(99);
                  }
              }),
              -6);
}

TEST_F(Subscribing, TellsThatDescriptorsAreShort) {
    const ScriptedEngine engine(socket);
    EXPECT_EQ(resultInAProcess([] {
                  const int next = open("/dev/null", O_RDONLY);
                  close(next);
                  const rlimit limit = {static_cast<rlim_t>(next), static_cast<rlim_t>(next)};
                  setrlimit(RLIMIT_NOFILE, &limit);
              }),
              -1);
}

TEST_F(Subscribing, TellsThatThreadsAreShortAndWorksWhenTheyAreNot) {
    const ScriptedEngine engine(socket);
    SubscriberRecorder subscriber;
    pthread_attr_t usual;
    pthread_getattr_default_np(&usual);
    pthread_attr_t huge = usual;
    // No thread can be made with a stack of this size.
    pthread_attr_setstacksize(&huge, std::size_t{1} << 50);
    pthread_setattr_default_np(&huge);
    EXPECT_EQ(subscriber.subscribe(), -1);
    pthread_setattr_default_np(&usual);
    EXPECT_EQ(subscriber.subscribe(), 0);
    EXPECT_EQ(subscriber.disconnects(), 0);
}

TEST_F(Subscribing, TellsThatTheChannelIsNotThere) {
    const ScriptedEngine engine(socket, std::string("1.1 ERROR\0", 10));
    SubscriberRecorder subscriber(7);
    EXPECT_EQ(subscriber.subscribe(), -3);
    EXPECT_THAT(engine.requests(), ElementsAre("1.1 OPEN 0 0 0 0 8\n"));
}

TEST_F(Subscribing, TellsThatTheProviderAnswersWithNonsense) {
    for (const std::string& answer :
         {std::string("1.0 OK\0", 7), std::string("\0", 1), std::string("OK\0", 3),
          std::string("1.1 OK \0", 8), std::string(200, 'x')}) {
        const ScriptedEngine engine(socket, answer);
        SubscriberRecorder subscriber;
        EXPECT_EQ(subscriber.subscribe(), -2) << answer;
        unlink(socket.c_str());
    }
}

TEST_F(Subscribing, TellsThatTheProviderHangsUpInsteadOfAnswering) {
    for (const char* answer : {"", "1.1 O"}) {
        ScriptedEngine engine(socket, answer);
        engine.hangUpAfterAnswers();
        SubscriberRecorder subscriber;
        EXPECT_EQ(subscriber.subscribe(), -2) << answer;
        unlink(socket.c_str());
    }
}

TEST_F(Subscribing, WaitsASecondForAnAnswer) {
    for (const char* answer : {"", "1.1 O"}) {
        const ScriptedEngine engine(socket, answer);
        SubscriberRecorder subscriber;
        const auto begin = std::chrono::steady_clock::now();
        EXPECT_EQ(subscriber.subscribe(), -2) << answer;
        const auto took = std::chrono::steady_clock::now() - begin;
        EXPECT_GE(took, std::chrono::milliseconds(990));
        EXPECT_LT(took, std::chrono::milliseconds(2500));
        unlink(socket.c_str());
    }
}

TEST_F(Subscribing, WaitsASecondInAllForAnAnswerThatComesInPieces) {
    ScriptedEngine engine(socket, "1.1 O");
    SubscriberRecorder subscriber;
    std::atomic<bool> isOver{false};
    std::thread provider([&] {
        // Far from the longest answer that is read.
        for (int piece = 0; piece < 20 && !isOver; ++piece) {
            std::this_thread::sleep_for(std::chrono::milliseconds(250));
            if (!engine.requests().empty()) {
                engine.send("x");
            }
        }
    });
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(subscriber.subscribe(), -2);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(2500));
    isOver = true;
    provider.join();
}

TEST_F(Subscribing, DoesNotWaitForAProviderThatAcceptsNobody) {
    const FileDescriptor listener(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, "scenes");
    ASSERT_EQ(bind(listener.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(listen(listener.get(), 0), 0);
    const FileDescriptor first(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    ASSERT_EQ(connect(first.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    SubscriberRecorder subscriber;
    EXPECT_EQ(subscriber.subscribe(), -2);
}

TEST_F(Subscribing, AsksForChannelAndProperties) {
    const ScriptedEngine engine(socket);
    SubscriberRecorder all(1);
    EXPECT_EQ(all.enableAll().subscribe(), 0);
    using Enable = int (*)(video_scene_subscriber_st*);
    for (const Enable enable : {module().enableBoundingBox, module().enablePolygon,
                                module().enableVelocity, module().enableLowConfident}) {
        SubscriberRecorder one;
        EXPECT_EQ(enable(one.subscriber), 0);
        EXPECT_EQ(one.subscribe(), 0);
    }
    SubscriberRecorder far(2147483647);
    EXPECT_EQ(far.subscribe(), 0);
    EXPECT_THAT(engine.requests(),
                ElementsAre("1.1 OPEN 1 1 1 1 2\n", "1.1 OPEN 1 0 0 0 1\n", "1.1 OPEN 0 1 0 0 1\n",
                            "1.1 OPEN 0 0 1 0 1\n", "1.1 OPEN 0 0 0 1 1\n",
                            "1.1 OPEN 0 0 0 0 2147483648\n"));
}

TEST_F(Subscribing, TwiceIsOnce) {
    const ScriptedEngine engine(socket);
    SubscriberRecorder subscriber;
    EXPECT_EQ(subscriber.subscribe(), 0);
    EXPECT_EQ(subscriber.subscribe(), 0);
    EXPECT_EQ(engine.requests().size(), 1u);
}

TEST_F(Subscribing, FromTwoThreadsAtOnceIsOnce) {
    const ScriptedEngine engine(socket);
    SubscriberRecorder subscriber;
    std::thread other([&] { EXPECT_EQ(subscriber.subscribe(), 0); });
    EXPECT_EQ(subscriber.subscribe(), 0);
    other.join();
    EXPECT_EQ(engine.requests().size(), 1u);
}

TEST_F(Subscribing, CanBeTakenBackWhileItWaitsForTheAnswer) {
    const ScriptedEngine engine(socket, "");
    SubscriberRecorder subscriber;
    std::thread other([&] { EXPECT_EQ(subscriber.subscribe(), -2); });
    ASSERT_TRUE(waitFor([&] { return engine.requests().size() == 1; }));
    EXPECT_EQ(subscriber.unsubscribe(), 0);
    other.join();
}

TEST_F(Subscribing, FixesWhatTheSubscriberWants) {
    const ScriptedEngine engine(socket);
    SubscriberRecorder subscriber;
    ASSERT_EQ(subscriber.subscribe(), 0);
    const auto change = [&] {
        return std::vector<int>{module().setOnDisconnect(subscriber.subscriber, nullptr),
                                module().setOnMessage(subscriber.subscriber, nullptr),
                                module().enableBoundingBox(subscriber.subscriber),
                                module().enablePolygon(subscriber.subscriber),
                                module().enableVelocity(subscriber.subscriber),
                                module().enableLowConfident(subscriber.subscriber)};
    };
    EXPECT_THAT(change(), ElementsAre(-2, -2, -2, -2, -2, -2));
    EXPECT_EQ(subscriber.unsubscribe(), 0);
    EXPECT_THAT(change(), ElementsAre(0, 0, 0, 0, 0, 0));
    EXPECT_EQ(subscriber.subscribe(), 0);
    EXPECT_THAT(engine.requests(), ElementsAre("1.1 OPEN 0 0 0 0 1\n", "1.1 OPEN 1 1 1 1 1\n"));
}

TEST_F(Subscribing, MakesAsManySubscribersAsAsked) {
    const ScriptedEngine engine(socket);
    std::vector<std::unique_ptr<SubscriberRecorder>> subscribers;
    for (int i = 0; i < 200; ++i) {
        subscribers.push_back(std::make_unique<SubscriberRecorder>(i % 4));
        EXPECT_EQ(subscribers.back()->subscribe(), 0);
    }
    EXPECT_EQ(engine.requests().size(), 200u);
}

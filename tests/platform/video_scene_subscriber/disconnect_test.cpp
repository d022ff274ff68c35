// Providers that go away, or send what is no scene.

#include <gmock/gmock.h>

#include <atomic>
#include <future>
#include <random>

#include "engine_stage.h"
#include "scene/scene_encoder.h"
#include "scripted_engine.h"

using testing::ElementsAre;

namespace {

class Disconnect : public EngineStage {};

/// A provider that grants everything and then sends what the test wants.
class Nonsense : public OwnFolder {
protected:
    Nonsense() { EXPECT_EQ(subscriber.subscribe(), 0); }

    static std::string sceneFrame(std::int64_t time) {
        SceneRecord scene;
        setSceneTime(scene, time);
        const ScenePayload payload = SceneEncoder().encode(scene);
        return ScriptedEngine::frame(static_cast<std::uint32_t>(payload.size()),
                                     {payload.data(), payload.size()});
    }

    ScriptedEngine engine{socket};
    SubscriberRecorder subscriber;
};

}  // namespace

TEST_F(Disconnect, IsToldOnceAfterAllScenes) {
    SubscriberRecorder subscriber;
    ASSERT_EQ(subscribe(subscriber), 0);
    publish(1);
    publish(2);
    ASSERT_TRUE(subscriber.waitForScenes(2));
    stopEngine();
    EXPECT_TRUE(subscriber.waitForDisconnects(1));
    startEngine();
    publish(3);
    EXPECT_EQ(subscriber.unsubscribe(), 0);
    EXPECT_EQ(subscriber.disconnects(), 1);
    EXPECT_THAT(subscriber.times(), ElementsAre(1, 2));
}

TEST_F(Disconnect, IsToldForEverySubscription) {
    SubscriberRecorder first(0);
    SubscriberRecorder second(1);
    ASSERT_EQ(subscribe(first), 0);
    ASSERT_EQ(subscribe(second), 0);
    for (int i = 1; i <= 5; ++i) {
        stopEngine();
        EXPECT_TRUE(first.waitForDisconnects(i));
        EXPECT_TRUE(second.waitForDisconnects(i));
        startEngine();
        // The callback may be on its way out still.
        for (SubscriberRecorder* one : {&first, &second}) {
            int code = -2;
            while ((code = subscribe(*one)) == -2) {
                std::this_thread::yield();
            }
            EXPECT_EQ(code, 0);
        }
    }
    EXPECT_EQ(first.disconnects(), 5);
    EXPECT_EQ(second.disconnects(), 5);
}

TEST_F(Disconnect, ReachesNobodyWithoutACallback) {
    SubscriberRecorder subscriber;
    module().setOnDisconnect(subscriber.subscriber, nullptr);
    SubscriberRecorder witness;
    ASSERT_EQ(subscribe(subscriber), 0);
    ASSERT_EQ(subscribe(witness), 0);
    stopEngine();
    EXPECT_TRUE(witness.waitForDisconnects(1));
    EXPECT_EQ(subscriber.unsubscribe(), 0);
    EXPECT_EQ(subscriber.disconnects(), 0);
}

TEST_F(Disconnect, RefusesToSubscribeAgainInItsCallback) {
    std::vector<int> results;
    SubscriberRecorder subscriber;
    subscriber.whenDisconnected([&](SubscriberRecorder& self) {
        results.push_back(self.subscribe());
        results.push_back(module().enablePolygon(self.subscriber));
        results.push_back(self.unsubscribe());
    });
    ASSERT_EQ(subscribe(subscriber), 0);
    stopEngine();
    EXPECT_TRUE(subscriber.waitForDisconnects(1));
    EXPECT_THAT(results, ElementsAre(-2, -2, 0));
}

TEST_F(Disconnect, HappensToASubscriberFiftyScenesBehind) {
    std::promise<void> release;
    SubscriberRecorder slow;
    slow.whenScene(
        [released = release.get_future().share()](SubscriberRecorder&) { released.wait(); });
    SubscriberRecorder quick;
    ASSERT_EQ(subscribe(slow), 0);
    ASSERT_EQ(subscribe(quick), 0);
    constexpr std::int64_t all = 1000;
    for (std::int64_t time = 1; time <= all; ++time) {
        publish(time);
        ASSERT_TRUE(quick.waitForScenes(static_cast<std::size_t>(time)));
    }
    release.set_value();
    EXPECT_TRUE(slow.waitForDisconnects(1));
    const std::vector<std::int64_t> got = slow.times();
    EXPECT_LT(got.size(), static_cast<std::size_t>(all));
    for (std::size_t i = 0; i < got.size(); ++i) {
        EXPECT_EQ(got[i], static_cast<std::int64_t>(i) + 1);
    }
    EXPECT_EQ(quick.disconnects(), 0);
}

TEST_F(Nonsense, OfEveryKindIsADisconnectAfterTheScenesBefore) {
    const std::vector<std::string> kinds = {
        ScriptedEngine::frame(0, ""),
        ScriptedEngine::frame(0xffffffff, "x"),
        ScriptedEngine::frame(0x80000000, "x"),
        ScriptedEngine::frame(SCENE_MAX_PAYLOAD + 1, "x"),
    };
    for (std::size_t i = 0; i < kinds.size(); ++i) {
        SubscriberRecorder one;
        ASSERT_EQ(one.subscribe(), 0);
        engine.send(sceneFrame(1) + sceneFrame(2) + kinds[i]);
        EXPECT_TRUE(one.waitForDisconnects(1));
        EXPECT_THAT(one.times(), ElementsAre(1, 2));
    }
    EXPECT_EQ(subscriber.disconnects(), 0);
}

TEST_F(Nonsense, ThatIsCutIsADisconnectWithoutAScene) {
    const std::string whole = sceneFrame(1);
    for (const std::size_t length :
         {std::size_t{1}, std::size_t{11}, std::size_t{12}, whole.size() - 1}) {
        SubscriberRecorder one;
        ASSERT_EQ(one.subscribe(), 0);
        engine.send(sceneFrame(7) + whole.substr(0, length));
        ASSERT_TRUE(one.waitForScenes(1));
        engine.hangUp();
        EXPECT_TRUE(one.waitForDisconnects(1)) << length;
        EXPECT_THAT(one.times(), ElementsAre(7)) << length;
    }
}

TEST_F(Nonsense, InsideAFrameIsLeftToTheReader) {
    engine.send(ScriptedEngine::frame(100, std::string(100, 'x')) + sceneFrame(2));
    EXPECT_TRUE(subscriber.waitForScenes(2));
    EXPECT_THAT(subscriber.times(), ElementsAre(-1, 2));
}

TEST_F(Nonsense, CannotBeAPayloadOfAnyLengthButTheLongestCan) {
    engine.send(ScriptedEngine::frame(SCENE_MAX_PAYLOAD, ""));
    const std::string piece(1 << 16, '\0');
    for (int sent = 0; sent < SCENE_MAX_PAYLOAD; sent += 1 << 16) {
        engine.send(piece);
    }
    EXPECT_TRUE(subscriber.waitForScenes(1));
    EXPECT_THAT(subscriber.times(), ElementsAre(-1));
}

TEST_F(Nonsense, ArrivesInAnyPieces) {
    const std::string frames = sceneFrame(1) + sceneFrame(2);
    for (const char byte : frames) {
        engine.send({byte});
    }
    EXPECT_TRUE(subscriber.waitForScenes(2));
    EXPECT_THAT(subscriber.times(), ElementsAre(1, 2));
}

TEST_F(Nonsense, AtRandomEndsTheSubscriptionAndNothingElse) {
    std::mt19937 random(1);
    for (int round = 0; round < 200; ++round) {
        SubscriberRecorder one;
        ASSERT_EQ(one.subscribe(), 0);
        std::string bytes = sceneFrame(1);
        for (int i = 0; i < 3; ++i) {
            bytes[random() % bytes.size()] = static_cast<char>(random());
        }
        bytes.resize(random() % 2 == 0 ? bytes.size() : random() % bytes.size());
        engine.send(bytes);
        engine.hangUp();
        EXPECT_TRUE(one.waitForDisconnects(1));
    }
}

// What arrives, and how it is called back.

#include <gmock/gmock.h>
#include <pthread.h>
#include <signal.h>

#include <future>

#include "engine_stage.h"

using testing::Each;
using testing::ElementsAre;

namespace {

class Delivery : public EngineStage {
protected:
    /// An object of full confidence and one of less, with every property.
    static SceneRecord twoObjects(std::int64_t time) {
        SceneRecord scene = sceneAt(time);
        for (const std::int16_t confidence : {fullConfidence, std::int16_t{4095}}) {
            scene.objects.push_back({.id = static_cast<int>(scene.objects.size()) + 1,
                                     .polygon = std::vector<ScenePoint>{{0, 0}, {0, 9}, {9, 9}},
                                     .boundingBox = boxCorners({0, 0}, {9, 9}),
                                     .velocity = SceneVelocity{1, 2},
                                     .confidence = confidence});
        }
        return scene;
    }
};

}  // namespace

TEST_F(Delivery, BringsScenesInOrderAsBlocksThatTheReaderTakes) {
    SubscriberRecorder subscriber;
    ASSERT_EQ(subscribe(subscriber), 0);
    std::vector<std::int64_t> expected;
    for (std::int64_t time = 1; time <= 40; ++time) {
        publish(time);
        expected.push_back(time);
    }
    EXPECT_TRUE(subscriber.waitForScenes(40));
    EXPECT_EQ(subscriber.times(), expected);
    EXPECT_EQ(subscriber.overlaps(), 0);
}

TEST_F(Delivery, LeavesOutWhatIsNotEnabled) {
    for (unsigned properties = 0; properties < 16; ++properties) {
        SubscriberRecorder subscriber;
        std::string letters;
        if ((properties & 1) != 0) {
            module().enableBoundingBox(subscriber.subscriber);
            letters += "b";
        }
        if ((properties & 2) != 0) {
            module().enablePolygon(subscriber.subscriber);
            letters += "p";
        }
        if ((properties & 4) != 0) {
            module().enableVelocity(subscriber.subscriber);
            letters += "v";
        }
        const bool lowConfident = (properties & 8) != 0;
        if (lowConfident) {
            module().enableLowConfident(subscriber.subscriber);
            letters += "c";
        }
        ASSERT_EQ(subscribe(subscriber), 0);
        publish(twoObjects(1));
        ASSERT_TRUE(subscriber.waitForScenes(1));
        EXPECT_THAT(subscriber.contents(),
                    ElementsAre("1" + letters + (lowConfident ? " 2" + letters : "")));
    }
}

TEST_F(Delivery, CountsChannelsFromZero) {
    SubscriberRecorder first(0);
    SubscriberRecorder second(1);
    SubscriberRecorder third(2);
    ASSERT_EQ(subscribe(first), 0);
    ASSERT_EQ(subscribe(second), 0);
    EXPECT_EQ(subscribe(third), -3);
    publish(1, 1);
    publish(2, 2);
    EXPECT_TRUE(first.waitForScenes(1));
    EXPECT_TRUE(second.waitForScenes(1));
    EXPECT_THAT(first.times(), ElementsAre(1));
    EXPECT_THAT(second.times(), ElementsAre(2));
}

TEST_F(Delivery, ServesEverySubscriberOfAChannel) {
    SubscriberRecorder first;
    SubscriberRecorder second;
    ASSERT_EQ(subscribe(first), 0);
    publish(1);
    ASSERT_TRUE(first.waitForScenes(1));
    ASSERT_EQ(subscribe(second), 0);
    publish(2);
    EXPECT_TRUE(first.waitForScenes(2));
    EXPECT_TRUE(second.waitForScenes(1));
    EXPECT_THAT(second.times(), ElementsAre(2));
}

TEST_F(Delivery, IsNotHeldUpByAnotherSubscriber) {
    std::promise<void> release;
    std::shared_future<void> released = release.get_future().share();
    SubscriberRecorder slow;
    slow.whenScene([released](SubscriberRecorder&) { released.wait(); });
    SubscriberRecorder quick;
    ASSERT_EQ(subscribe(slow), 0);
    ASSERT_EQ(subscribe(quick), 0);
    publish(1);
    publish(2);
    EXPECT_TRUE(slow.waitForScenes(1));
    EXPECT_TRUE(quick.waitForScenes(2));
    release.set_value();
    EXPECT_TRUE(slow.waitForScenes(2));
    EXPECT_NE(slow.thread(), quick.thread());
}

TEST_F(Delivery, ReleasesWhatNobodyTakes) {
    SubscriberRecorder unused;
    SubscriberRecorder witness;
    module().setOnMessage(unused.subscriber, nullptr);
    ASSERT_EQ(subscribe(unused), 0);
    ASSERT_EQ(subscribe(witness), 0);
    publish(1);
    EXPECT_TRUE(witness.waitForScenes(1));
    stopEngine();
    EXPECT_TRUE(unused.waitForDisconnects(1));
    EXPECT_THAT(unused.times(), ElementsAre());
}

TEST_F(Delivery, CallsBackOnAThreadThatTakesNoSignals) {
    sigset_t before;
    pthread_sigmask(SIG_SETMASK, nullptr, &before);
    std::vector<int> open;
    SubscriberRecorder subscriber;
    subscriber.whenScene([&open](SubscriberRecorder& self) {
        sigset_t blocked;
        pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
        for (const int signal : {SIGTERM, SIGINT, SIGCHLD, SIGALRM, SIGUSR1, SIGPIPE}) {
            if (sigismember(&blocked, signal) != 1) {
                open.push_back(signal);
            }
        }
        self.unsubscribe();
    });
    ASSERT_EQ(subscribe(subscriber), 0);
    publish(1);
    ASSERT_TRUE(subscriber.waitForScenes(1));
    EXPECT_EQ(subscriber.unsubscribe(), 0);
    EXPECT_THAT(open, ElementsAre());
    EXPECT_NE(subscriber.thread(), std::this_thread::get_id());
    sigset_t after;
    pthread_sigmask(SIG_SETMASK, nullptr, &after);
    for (int signal = 1; signal < 32; ++signal) {
        EXPECT_EQ(sigismember(&before, signal), sigismember(&after, signal)) << signal;
    }
}

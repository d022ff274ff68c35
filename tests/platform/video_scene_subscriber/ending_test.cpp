// Subscriptions that are ended by their owner, from outside and from within a callback.

#include <gmock/gmock.h>

#include <atomic>
#include <future>

#include "engine_stage.h"
#include "support/wait_for.h"

using namespace std::chrono_literals;
using testing::ElementsAre;

namespace {

class Ending : public EngineStage {
protected:
    /// Makes the subscriber's first scene wait until released.
    void holdFirstScene(SubscriberRecorder& subscriber) {
        subscriber.whenScene(
            [future = release.get_future().share()](SubscriberRecorder&) { future.wait(); });
        ASSERT_EQ(subscribe(subscriber), 0);
        publish(1);
        ASSERT_TRUE(subscriber.waitForScenes(1));
    }

    std::promise<void> release;
};

}  // namespace

TEST_F(Ending, WithoutASubscriptionDoesNothing) {
    SubscriberRecorder subscriber;
    EXPECT_EQ(subscriber.unsubscribe(), 0);
    EXPECT_EQ(subscriber.unsubscribe(), 0);
    EXPECT_EQ(subscriber.remove(), 0);
}

TEST_F(Ending, BringsNothingMoreAndNoDisconnect) {
    SubscriberRecorder subscriber;
    SubscriberRecorder witness;
    ASSERT_EQ(subscribe(subscriber), 0);
    ASSERT_EQ(subscribe(witness), 0);
    publish(1);
    ASSERT_TRUE(subscriber.waitForScenes(1));
    EXPECT_EQ(subscriber.unsubscribe(), 0);
    EXPECT_EQ(subscriber.unsubscribe(), 0);
    publish(2);
    stopEngine();
    EXPECT_TRUE(witness.waitForDisconnects(1));
    EXPECT_THAT(subscriber.times(), ElementsAre(1));
    EXPECT_EQ(subscriber.disconnects(), 0);
}

TEST_F(Ending, LetsTheSubscriberSubscribeAgain) {
    SubscriberRecorder subscriber;
    for (std::int64_t time = 1; time <= 5; ++time) {
        ASSERT_EQ(subscribe(subscriber), 0);
        publish(time);
        ASSERT_TRUE(subscriber.waitForScenes(static_cast<std::size_t>(time)));
        EXPECT_EQ(subscriber.unsubscribe(), 0);
        publish(100 + time);
    }
    EXPECT_THAT(subscriber.times(), ElementsAre(1, 2, 3, 4, 5));
    EXPECT_EQ(subscriber.disconnects(), 0);
}

TEST_F(Ending, WaitsForARunningCallback) {
    SubscriberRecorder subscriber;
    holdFirstScene(subscriber);
    std::future<int> ended =
        std::async(std::launch::async, [&] { return subscriber.unsubscribe(); });
    EXPECT_EQ(ended.wait_for(50ms), std::future_status::timeout);
    release.set_value();
    EXPECT_EQ(ended.get(), 0);
}

TEST_F(Ending, ByDeleteWaitsForARunningCallback) {
    SubscriberRecorder subscriber;
    holdFirstScene(subscriber);
    std::future<int> ended = std::async(std::launch::async, [&] { return subscriber.remove(); });
    EXPECT_EQ(ended.wait_for(50ms), std::future_status::timeout);
    release.set_value();
    EXPECT_EQ(ended.get(), 0);
}

TEST_F(Ending, FromTwoThreadsWaitsInBoth) {
    SubscriberRecorder subscriber;
    holdFirstScene(subscriber);
    std::vector<std::future<int>> ended;
    for (int i = 0; i < 2; ++i) {
        ended.push_back(std::async(std::launch::async, [&] { return subscriber.unsubscribe(); }));
    }
    for (std::future<int>& one : ended) {
        EXPECT_EQ(one.wait_for(50ms), std::future_status::timeout);
    }
    release.set_value();
    for (std::future<int>& one : ended) {
        EXPECT_EQ(one.get(), 0);
    }
}

TEST_F(Ending, ByDeleteWithoutUnsubscribe) {
    for (int i = 0; i < 20; ++i) {
        SubscriberRecorder subscriber;
        ASSERT_EQ(subscribe(subscriber), 0);
        publish(1);
        EXPECT_EQ(subscriber.remove(), 0);
        EXPECT_LE(subscriber.times().size(), 1u);
        EXPECT_EQ(subscriber.disconnects(), 0);
    }
}

TEST_F(Ending, WithinACallbackMakesItTheLast) {
    SubscriberRecorder subscriber;
    std::atomic<int> result{99};
    subscriber.whenScene([&](SubscriberRecorder& self) { result = self.unsubscribe(); });
    ASSERT_EQ(subscribe(subscriber), 0);
    publish(1);
    publish(2);
    ASSERT_TRUE(subscriber.waitForScenes(1));
    EXPECT_EQ(subscriber.unsubscribe(), 0);  // returns after the callback
    EXPECT_EQ(result, 0);
    stopEngine();
    EXPECT_THAT(subscriber.times(), ElementsAre(1));
    EXPECT_EQ(subscriber.disconnects(), 0);
    startEngine();
    EXPECT_EQ(subscribe(subscriber), 0);
}

TEST_F(Ending, ByDeleteWithinACallbackMakesItTheLast) {
    SubscriberRecorder subscriber;
    SubscriberRecorder witness;
    std::atomic<int> result{99};
    subscriber.whenScene([&](SubscriberRecorder& self) { result = self.remove(); });
    ASSERT_EQ(subscribe(subscriber), 0);
    ASSERT_EQ(subscribe(witness), 0);
    publish(1);
    publish(2);
    EXPECT_TRUE(waitFor([&] { return result != 99; }));
    EXPECT_EQ(result, 0);
    stopEngine();
    EXPECT_TRUE(witness.waitForDisconnects(1));
    EXPECT_THAT(subscriber.times(), ElementsAre(1));
    EXPECT_EQ(subscriber.disconnects(), 0);
}

TEST_F(Ending, ByDeleteWithinTheDisconnectCallback) {
    SubscriberRecorder subscriber;
    std::atomic<int> result{99};
    subscriber.whenDisconnected([&](SubscriberRecorder& self) { result = self.remove(); });
    ASSERT_EQ(subscribe(subscriber), 0);
    stopEngine();
    EXPECT_TRUE(subscriber.waitForDisconnects(1));
    EXPECT_EQ(result, 0);
}

TEST_F(Ending, WithinACallbackWhileAnotherThreadEndsItToo) {
    SubscriberRecorder subscriber;
    std::promise<void> inside;
    subscriber.whenScene([&, future = release.get_future().share()](SubscriberRecorder& self) {
        inside.set_value();
        future.wait();
        EXPECT_EQ(self.unsubscribe(), 0);
    });
    ASSERT_EQ(subscribe(subscriber), 0);
    publish(1);
    inside.get_future().wait();
    std::future<int> ended =
        std::async(std::launch::async, [&] { return subscriber.unsubscribe(); });
    release.set_value();
    EXPECT_EQ(ended.get(), 0);
    EXPECT_THAT(subscriber.times(), ElementsAre(1));
}

TEST_F(Ending, OfOneSubscriberInTheCallbackOfAnother) {
    SubscriberRecorder other;
    ASSERT_EQ(subscribe(other), 0);
    SubscriberRecorder subscriber;
    std::atomic<int> result{99};
    subscriber.whenScene([&](SubscriberRecorder&) { result = other.remove(); });
    ASSERT_EQ(subscribe(subscriber), 0);
    publish(1);
    EXPECT_TRUE(waitFor([&] { return result == 0; }));
}

TEST_F(Ending, SubscribingAgainHasToWaitForTheCallbackThatEndedIt) {
    SubscriberRecorder subscriber;
    std::atomic<int> subscribed{99};
    std::atomic<int> again{99};
    subscriber.whenScene([&](SubscriberRecorder& self) {
        subscribed = self.subscribe();
        self.unsubscribe();
        again = self.subscribe();
    });
    ASSERT_EQ(subscribe(subscriber), 0);
    publish(1);
    ASSERT_TRUE(waitFor([&] { return again != 99; }));
    EXPECT_EQ(subscriber.unsubscribe(), 0);
    EXPECT_EQ(subscribed, 0);
    EXPECT_EQ(again, -2);
    EXPECT_EQ(streams(), 1);
}

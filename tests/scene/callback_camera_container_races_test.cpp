#include <syslog.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <functional>

#include "scene/callback_container_fixture.h"
#include "support/fake_clock.h"
#include "support/syslog_capture.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/// The calls of one subscription with the usual capabilities.
constexpr std::array subscribing = {"create",
                                    "set_polygon_enabled",
                                    "set_velocity_enabled",
                                    "set_low_confident_enabled",
                                    "set_on_message_arrived_callback",
                                    "set_on_disconnect_callback",
                                    "subscribe"};

bool endsTheAttempt(const std::string& entry) {
    return entry == "create" || entry == "subscribe";
}

class CallbackRaceTest : public CallbackContainerTest {
protected:
    ~CallbackRaceTest() override { joinAll(); }

    /// Runs on a thread of the module, that is, on one that nobody but the module waits for.
    void onModuleThread(std::function<void()> callback) {
        threads.emplace_back(std::move(callback));
    }
    /// Delivers a scene, or tells of a loss, while the container's mutex is held: returns when the
    /// callback has begun. It goes on when the mutex is free.
    void deliverMeanwhile(int channel) {
        onModuleThread([this, channel] { deliverHere(channel); });
        EXPECT_TRUE(waitFor([&] { return module->running(channel) == 1; }));
    }
    void disconnectMeanwhile(int channel) {
        onModuleThread([this, channel] { module->disconnect(channel); });
        EXPECT_TRUE(waitFor([&] { return module->running(channel) == 1; }));
    }
    bool deliverHere(int channel) {
        static const ScenePayload payload = SceneStage().payloadAt(1s);
        auto* block = static_cast<char*>(malloc(payload.size()));
        std::copy_n(payload.data(), payload.size(), block);
        const bool isTaken = module->deliver(channel, block);
        if (!isTaken) {
            free(block);
        }
        return isTaken;
    }
    void joinAll() {
        for (std::thread& thread : threads) {
            thread.join();
        }
        threads.clear();
    }
    /// Applies camera 1 alone; `meanwhile` runs under the container's mutex, before the others are
    /// taken out of the list.
    void applyFirstAloneAnd(std::function<void()> meanwhile) {
        // Camera 3 is new, so it is created, and gone again with the next configuration.
        module->during("create", std::move(meanwhile));
        apply({{1, {4}}, {3, {}}});
        module->during("create", nullptr);
    }
    /// One attempt to reconnect, on a thread of its own as the timer's is.
    static void tick(int observer) {
        std::thread(CallbackCameraContainer::reconnectCamera, observer).join();
    }

    /// Held still, so that the timer's own ticks come only when a test wants them.
    FakeClock clock{g_get_monotonic_time()};

private:
    std::vector<std::thread> threads;
};

}  // namespace

// Callbacks in flight while their camera is removed: the module waits for them, and they wait for
// the container.

TEST_F(CallbackRaceTest, FreesASceneThatWasOnItsWayWhenItsCameraWasRemoved) {
    apply({{1, {4}}, {2, {7}}});
    journal.take();
    applyFirstAloneAnd([this] { deliverMeanwhile(1); });
    joinAll();
    EXPECT_THAT(journal.take(), ElementsAre("4: deleted", "4: startup -3", "7: deleted"));
    EXPECT_TRUE(deliver(0, 2s));
    EXPECT_THAT(journal.take(), ElementsAre("4: scene 2000000"));
}

TEST_F(CallbackRaceTest, CountsALossThatWasOnItsWayWhenItsCameraWasRemoved) {
    apply({{1, {4}}, {2, {7}}});
    applyFirstAloneAnd([this] { disconnectMeanwhile(1); });
    joinAll();
    EXPECT_EQ(disconnects(), 1);
    EXPECT_EQ(OpenContainer::reconnections(), 0U);
}

TEST_F(CallbackRaceTest, FreesASceneThatWasOnItsWayWhenAllCamerasWereRemoved) {
    apply({{1, {4}}});
    // The next call of the module is the removal's, with nothing locked but the camera.
    module->during("unsubscribe", [this] { EXPECT_FALSE(deliverHere(0)); });
    journal.take();
    std::atomic<bool> isOver{false};
    onModuleThread([&] {
        while (!isOver) {
            deliverHere(0);
        }
    });
    container->removeAllCameras();
    isOver = true;
    joinAll();
    EXPECT_EQ(module->live(), 0);
    EXPECT_EQ(journal.take().back(), "4: deleted");
}

TEST_F(CallbackRaceTest, WaitsForASceneThatRunsBeforeItRemovesItsCamera) {
    struct SlowGuard : SpyGuard {
        using SpyGuard::SpyGuard;
        AlarmData* checkObjects(ParsedScene& shown) override {
            AlarmData* result = SpyGuard::checkObjects(shown);
            isInside = true;
            waitFor([this] { return mayGoOn.load(); });
            return result;
        }
        std::atomic<bool> isInside{false};
        std::atomic<bool> mayGoOn{false};
    };
    auto* guard = new SlowGuard(7, 2, events, journal);
    CameraConfigurationContainer configuration;
    CameraConfiguration camera(2, 0);
    camera.insertGuard(guard);
    configuration.insert(camera);
    container->updateWithNewConfiguration(configuration);
    journal.take();
    onModuleThread([this] { deliverHere(1); });
    EXPECT_TRUE(waitFor([&] { return guard->isInside.load(); }));
    std::thread update([this] { apply({}); });
    EXPECT_EQ(module->running(1), 1);
    guard->mayGoOn = true;
    update.join();
    EXPECT_THAT(journal.take(), ElementsAre("7: scene 1000000", "7: deleted"));
}

TEST_F(CallbackRaceTest, FreesASceneThatWasOnItsWayAtShutdown) {
    apply({{1, {4}}});
    journal.take();
    // A plain mutex is taken in no order, so the scene may come before or after the shutdown.
    std::atomic<bool> isOver{false};
    onModuleThread([&] {
        while (!isOver && deliverHere(0)) {
        }
    });
    container->shutDown();
    journal.take();
    EXPECT_TRUE(deliver(0, 5s));
    container.reset();
    isOver = true;
    joinAll();
    EXPECT_THAT(journal.take(), ElementsAre("4: deleted"));
}

// Losses while the camera subscribes

TEST_F(CallbackRaceTest, ReconnectsWhenTheSourceGoesWhileANewCameraSubscribes) {
    module->during("subscribe", [this] { disconnectMeanwhile(0); });
    apply({{1, {4}}});
    module->during("subscribe", nullptr);
    joinAll();
    EXPECT_EQ(disconnects(), 1);
    EXPECT_EQ(OpenContainer::reconnections(), 1U);
    tick(OpenContainer::observer());
    EXPECT_EQ(OpenContainer::reconnections(), 0U);
    EXPECT_TRUE(deliver(0, 2s));
    EXPECT_EQ(module->live(), 1);
}

TEST_F(CallbackRaceTest, ReconnectsOnceMoreWhenTheSourceGoesWhileItReconnects) {
    apply({{1, {4}}});
    disconnect(0);
    const int observer = OpenContainer::observer();
    module->during("subscribe", [this] { disconnectMeanwhile(0); });
    tick(observer);
    module->during("subscribe", nullptr);
    joinAll();
    EXPECT_EQ(disconnects(), 2);
    ASSERT_EQ(OpenContainer::reconnections(), 1U);
    tick(OpenContainer::observer());
    EXPECT_EQ(OpenContainer::reconnections(), 0U);
    EXPECT_EQ(module->live(), 1);
}

TEST_F(CallbackRaceTest, HandsOnASceneThatComesWhileItsCameraIsNotYetInTheList) {
    module->during("subscribe", [this] { deliverMeanwhile(0); });
    apply({{1, {4}}});
    joinAll();
    EXPECT_THAT(journal.take(), ElementsAre("4: startup -3", "4: scene 1000000"));
}

TEST_F(CallbackRaceTest, ReplacesASubscriptionWhoseLossHasNotBeenToldToTheEnd) {
    // The module waits for the callback while the timer's thread holds the container; the callback
    // has let go of it and only has to return.
    apply({{1, {4}}});
    module->during("on_disconnect",
                   [this] { EXPECT_TRUE(waitFor([&] { return module->wasAsked("delete 1"); })); });
    onModuleThread([this] { module->disconnect(0); });
    EXPECT_TRUE(waitFor([] { return OpenContainer::reconnections() == 1; }));
    tick(OpenContainer::observer());
    joinAll();
    EXPECT_EQ(module->live(), 1);
    EXPECT_EQ(OpenContainer::reconnections(), 0U);
}

// Ticks

TEST_F(CallbackRaceTest, UnregistersTheTickThatFiresAsItsCameraIsRemoved) {
    apply({{1, {4}}, {2, {7}}});
    disconnect(1);
    const int observer = OpenContainer::observer();
    std::thread timer;
    applyFirstAloneAnd(
        [&] { timer = std::thread(CallbackCameraContainer::reconnectCamera, observer); });
    timer.join();
    EXPECT_EQ(OpenContainer::reconnections(), 0U);
    EXPECT_FALSE(module->disconnect(1));
}

TEST_F(CallbackRaceTest, IgnoresATickThatFiresAfterShutdown) {
    apply({{1, {4}}});
    disconnect(0);
    const int observer = OpenContainer::observer();
    container->shutDown();
    module->takeCalls();
    tick(observer);
    EXPECT_THAT(module->takeCalls(), IsEmpty());
    EXPECT_EQ(OpenContainer::reconnections(), 0U);
}

TEST_F(CallbackRaceTest, UnregistersTheTicksOfPendingReconnectionsAtShutdown) {
    apply({{1, {4}}});
    auto* camera = static_cast<CallbackCamera*>(OpenContainer::s_cameras.at(0));
    OpenContainer::reconnectEveryCycle(camera, 200000);
    EXPECT_EQ(OpenContainer::ticksInTime(), 0);
    container->shutDown();
    EXPECT_EQ(OpenContainer::ticksInTime(), 0);
    clock.advance(200001);
    EXPECT_EQ(OpenContainer::ticksInTime(), 0);
}

TEST_F(CallbackRaceTest, UnregistersTheTicksOfACameraThatIsRemoved) {
    apply({{1, {4}}, {2, {7}}});
    auto* camera = static_cast<CallbackCamera*>(OpenContainer::s_cameras.at(1));
    OpenContainer::reconnectEveryCycle(camera, 200000);
    EXPECT_EQ(OpenContainer::ticksInTime(), 0);
    apply({{1, {4}}});
    EXPECT_EQ(OpenContainer::ticksInTime(), 0);
    clock.advance(200001);
    EXPECT_EQ(OpenContainer::ticksInTime(), 0);
}

TEST_F(CallbackRaceTest, TicksEvery200000Microseconds) {
    apply({{1, {4}}});
    disconnect(0);
    module->takeCalls();
    module->setResult("create", -1);
    for (int attempt = 0; attempt < 3; ++attempt) {
        WatchedDevice::runTimer();
        clock.advance(199999);
        WatchedDevice::runTimer();
        EXPECT_THAT(module->takeCalls(), IsEmpty());
        clock.advance(1);
        WatchedDevice::runTimer();
        EXPECT_THAT(module->takeCalls(), ElementsAre("create 0 2"));
    }
}

TEST_F(CallbackRaceTest, LetsATickEndItselfThatWasRegisteredTooLateToBeUnregistered) {
    apply({{1, {4}}});
    auto* camera = static_cast<CallbackCamera*>(OpenContainer::s_cameras.at(0));
    // Within one cycle the timer drops what is unregistered before it takes up what is new.
    OpenContainer::reconnectEveryCycle(camera, 200000);
    container->shutDown();
    OpenContainer::ticksInTime();
    for (int wait = 0; wait < 3; ++wait) {
        clock.advance(200001);
        EXPECT_LE(OpenContainer::ticksInTime(), 1);
    }
}

TEST_F(CallbackRaceTest, CountsALossAfterShutdownAndForgetsItWithTheCamera) {
    apply({{1, {4}}});
    container->shutDown();
    disconnect(0);
    EXPECT_EQ(disconnects(), 1);
    ASSERT_EQ(OpenContainer::reconnections(), 1U);
    const int observer = OpenContainer::observer();
    container.reset();
    module->takeCalls();
    tick(observer);
    EXPECT_EQ(OpenContainer::reconnections(), 0U);
    EXPECT_THAT(module->takeCalls(), IsEmpty());
}

TEST_F(CallbackRaceTest, GoesWithItsCamerasWhileAReconnectionIsPending) {
    apply({{1, {4}}});
    disconnect(0);
    std::atomic<bool> isOver{false};
    const int observer = OpenContainer::observer();
    std::thread timer([&] {
        while (!isOver) {
            CallbackCameraContainer::reconnectCamera(observer);
        }
    });
    container.reset();
    isOver = true;
    timer.join();
    EXPECT_FALSE(CameraContainer::hasCameras());
    EXPECT_EQ(module->live(), 0);
}

// Failures at every call

TEST_F(CallbackRaceTest, SubscribesInTheEndWhicheverCallFailsAtFirst) {
    for (std::size_t n = 0; n < subscribing.size(); ++n) {
        const std::string failing = subscribing[n];
        module->failAnyCall(static_cast<int>(n) + 1);
        apply({{1, {4}}});
        const bool isPending = endsTheAttempt(failing);
        EXPECT_EQ(module->live(), isPending ? 0 : 1) << failing;
        ASSERT_EQ(OpenContainer::reconnections(), isPending ? 1U : 0U) << failing;
        if (isPending) {
            tick(OpenContainer::observer());
        }
        EXPECT_EQ(OpenContainer::reconnections(), 0U) << failing;
        EXPECT_EQ(module->live(), 1) << failing;
        EXPECT_TRUE(deliver(0, 1s)) << failing;
        apply({});
        EXPECT_EQ(module->live(), 0) << failing;
    }
}

TEST_F(CallbackRaceTest, ReconnectsInTheEndWhicheverCallFailsAtFirst) {
    apply({{1, {4}}});
    int losses = 0;
    for (std::size_t n = 0; n < subscribing.size(); ++n) {
        const std::string failing = subscribing[n];
        disconnect(0);
        ++losses;
        const int observer = OpenContainer::observer();
        module->failAnyCall(static_cast<int>(n) + 1);
        tick(observer);
        // The lost subscription is kept until there is a new one.
        EXPECT_EQ(module->live(), 1) << failing;
        ASSERT_EQ(OpenContainer::reconnections(), endsTheAttempt(failing) ? 1U : 0U) << failing;
        tick(observer);
        EXPECT_EQ(OpenContainer::reconnections(), 0U) << failing;
        EXPECT_EQ(module->live(), 1) << failing;
        EXPECT_TRUE(deliver(0, 1s)) << failing;
    }
    EXPECT_EQ(disconnects(), losses);
}

TEST_F(CallbackRaceTest, ReconnectsAfterAnyNumberOfFailures) {
    apply({{1, {4}}});
    for (const char* failing : {"create", "subscribe"}) {
        for (int failures = 1; failures <= 5; ++failures) {
            disconnect(0);
            const int observer = OpenContainer::observer();
            for (int n = 1; n <= failures; ++n) {
                module->failCall(failing, n);
            }
            for (int attempt = 0; attempt < failures; ++attempt) {
                EXPECT_EQ(OpenContainer::observer(), observer);
                tick(observer);
            }
            EXPECT_EQ(OpenContainer::reconnections(), 1U);
            tick(observer);
            EXPECT_EQ(OpenContainer::reconnections(), 0U);
            EXPECT_EQ(module->live(), 1);
        }
    }
    EXPECT_EQ(disconnects(), 10);
}

TEST_F(CallbackRaceTest, RemovesACameraWhoseSubscriptionNeverCameAbout) {
    module->setResult("subscribe", -3);
    apply({{1, {4}}, {2, {7}}});
    EXPECT_EQ(OpenContainer::reconnections(), 2U);
    apply({{1, {4}}});
    EXPECT_EQ(OpenContainer::reconnections(), 1U);
    EXPECT_EQ(module->live(), 0);
}

TEST_F(CallbackRaceTest, RemovesACameraWhoseSubscriptionCannotBeEnded) {
    SyslogCapture log;
    module->setResult("unsubscribe", -2);
    module->setResult("delete", -5);
    apply({{1, {4}}});
    apply({});
    EXPECT_FALSE(CameraContainer::hasCameras());
    EXPECT_TRUE(log.has(LOG_WARNING, "Scene provider in invalid running state (unsubscribe).\n"));
    EXPECT_TRUE(log.has(LOG_WARNING, "Unknown error in subscriber in (deleteSubscriber).\n"));
}

TEST_F(CallbackRaceTest, ReplacesASubscriptionThatCannotBeDeleted) {
    apply({{1, {4}}});
    module->setResult("delete", -5);
    disconnect(0);
    tick(OpenContainer::observer());
    EXPECT_EQ(OpenContainer::reconnections(), 0U);
    EXPECT_TRUE(deliver(0, 1s));
}

// Everything at once

TEST_F(CallbackRaceTest, RemovesCamerasWhileScenesAndLossesCome) {
    apply({{1, {4}}, {2, {7}}});
    std::atomic<bool> isOver{false};
    for (const int channel : {0, 1}) {
        onModuleThread([this, channel, &isOver] {
            while (!isOver) {
                deliverHere(channel);
                module->disconnect(channel);
            }
        });
    }
    for (int round = 0; round < 20; ++round) {
        apply({{1, {4}}});
        container->startMotionLevel();
        container->enableVisualConfirmation(4, "<g>");
        apply({{1, {5}}, {2, {7}}});
        container->doesProfileExist(7);
        container->sendAlarmEvent(5);
        container->getVisualConfIdNbr();
        container->handlePTZ_PresetEvent({true, round, round});
    }
    isOver = true;
    joinAll();
}

namespace {

/// How many cycles the stress runs: TARNWATCH_STRESS_CYCLES, 100 if it is not set; 10000 is the
/// full count. Each cycle writes the installation data file several times and waits for the disk,
/// so TMPDIR=/dev/shm is much the fastest.
int stressCycles() {
    const char* wanted = std::getenv("TARNWATCH_STRESS_CYCLES");
    return wanted == nullptr ? 100 : std::max(1, std::atoi(wanted));
}

}  // namespace

TEST_F(CallbackRaceTest, OutlivesCyclesOfAddingLosingAndRemoving) {
    std::atomic<bool> isOver{false};
    std::array<std::atomic<int>, 2> scenes{};
    std::array<std::atomic<int>, 2> losses{};
    apply({{1, {4}}});
    for (const int channel : {0, 1}) {
        onModuleThread([&, channel] {
            while (!isOver) {
                scenes[channel] += deliverHere(channel) ? 1 : 0;
                std::this_thread::yield();
            }
        });
        onModuleThread([&, channel] {
            while (!isOver) {
                losses[channel] += module->disconnect(channel) ? 1 : 0;
                std::this_thread::yield();
            }
        });
    }
    // Ticks beside those of the timer, without its intervals.
    std::thread timer([&] {
        while (!isOver) {
            for (const int observer : OpenContainer::observers()) {
                CallbackCameraContainer::reconnectCamera(observer);
            }
            std::this_thread::yield();
        }
    });
    const auto haveBothGrown = [&](std::size_t channel, int scenesBefore, int lossesBefore) {
        return waitFor([&] {
            std::this_thread::yield();
            return scenes[channel] > scenesBefore && losses[channel] > lossesBefore;
        });
    };
    const int cycles = stressCycles();
    for (int cycle = 0; cycle < cycles; ++cycle) {
        const int scenesBefore = scenes[1];
        const int lossesBefore = losses[1];
        module->failAnyCall(cycle % 11 + 1);
        apply({{1, {4}}, {2, {7}}});
        ASSERT_TRUE(haveBothGrown(1, scenesBefore, lossesBefore)) << cycle;
        apply({{1, {4}}});
        clock.advance(200000);
        module->takeCalls();
        journal.take();
    }
    // The first camera has lived through it all.
    EXPECT_TRUE(haveBothGrown(0, scenes[0], losses[0]));
    isOver = true;
    joinAll();
    timer.join();
    container->shutDown();
    container.reset();
    EXPECT_GE(losses[1], cycles);
    EXPECT_EQ(losses[0] + losses[1], module->disconnects());
    EXPECT_EQ(disconnects(), module->disconnects());
}

#include "scene/callback_container_fixture.h"

#include <syslog.h>

#include "support/syslog_capture.h"

using testing::AllOf;
using testing::ElementsAre;
using testing::Ge;
using testing::IsEmpty;
using testing::Le;

// Subscribing

TEST_F(CallbackContainerTest, SubscribesANewCamera) {
    apply({{2, {4}}});
    EXPECT_THAT(module->takeCalls(),
                ElementsAre("create 1 2", "set_polygon_enabled 1", "set_velocity_enabled 1",
                            "set_low_confident_enabled 1", "set_on_message_arrived_callback 1",
                            "set_on_disconnect_callback 1", "subscribe 1"));
}

TEST_F(CallbackContainerTest, EnablesTheCapabilitiesInOrder) {
    makeContainer(15);
    apply({{1, {}}});
    EXPECT_THAT(module->takeCalls(),
                ElementsAre("create 0 2", "set_bounding_box_enabled 1", "set_polygon_enabled 1",
                            "set_velocity_enabled 1", "set_low_confident_enabled 1",
                            "set_on_message_arrived_callback 1", "set_on_disconnect_callback 1",
                            "subscribe 1"));
}

TEST_F(CallbackContainerTest, EnablesNoCapabilityThatIsNotAskedFor) {
    makeContainer(0);
    apply({{1, {}}});
    EXPECT_THAT(module->takeCalls(), ElementsAre("create 0 2", "set_on_message_arrived_callback 1",
                                                 "set_on_disconnect_callback 1", "subscribe 1"));
}

TEST_F(CallbackContainerTest, GoesOnWhenACapabilityOrACallbackCannotBeSet) {
    for (const char* entry : {"set_polygon_enabled", "set_velocity_enabled",
                              "set_low_confident_enabled", "set_on_disconnect_callback"}) {
        module->setResult(entry, -2);
    }
    apply({{1, {4}}});
    EXPECT_TRUE(deliver(0, 1s));
    EXPECT_EQ(OpenContainer::reconnections(), 0U);
}

TEST_F(CallbackContainerTest, DeletesASubscriptionThatFailsAndTriesAgain) {
    module->setResult("subscribe", -3);
    SyslogCapture log;
    apply({{1, {4}}});
    EXPECT_TRUE(log.has(LOG_WARNING, "Could not subscribe to scene data. Code: -3\n"));
    EXPECT_TRUE(log.has(LOG_WARNING, "No valid scene provider available  (subscribe).\n"));
    EXPECT_EQ(module->live(), 0);
    EXPECT_EQ(OpenContainer::reconnections(), 1U);
    EXPECT_TRUE(CameraContainer::hasCameras());
    module->setResult("subscribe", 0);
    EXPECT_TRUE(isReconnectedInTime());
    EXPECT_EQ(module->live(), 1);
    EXPECT_TRUE(deliver(0, 1s));
}

TEST_F(CallbackContainerTest, TriesAgainUntilTheModuleGivesASubscription) {
    module->setResult("create", -1);
    const long before = WatchedDevice::now();
    apply({{1, {4}}});
    module->takeCalls();
    EXPECT_TRUE(waitFor([&] { return module->wasAsked("create 0 2"); }));
    EXPECT_GE(WatchedDevice::now() - before, 200000);
    EXPECT_EQ(OpenContainer::reconnections(), 1U);
    module->setResult("create", 0);
    EXPECT_TRUE(isReconnectedInTime());
}

// Scenes

TEST_F(CallbackContainerTest, HandsScenesToTheirCamera) {
    apply({{1, {4}}, {2, {7}}});
    journal.take();
    EXPECT_TRUE(deliver(1, 1s));
    EXPECT_TRUE(deliver(0, 2s));
    EXPECT_THAT(journal.take(), ElementsAre("7: scene 1000000", "4: scene 2000000"));
}

TEST_F(CallbackContainerTest, FreesAPayloadForACameraThatIsGone) {
    apply({{1, {4}}});
    journal.take();
    CallbackCamera gone(1, 0, versions(), 14);
    gone.insertGuard(spy(9));
    CallbackCameraContainer::newNoltDataCallback(scene.payloadAt(1s).release(), &gone);
    EXPECT_THAT(journal.take(), IsEmpty());
}

TEST_F(CallbackContainerTest, FreesPayloadsAfterShutdown) {
    apply({{1, {4}}});
    journal.take();
    container->shutDown();
    EXPECT_TRUE(deliver(0, 1s));
    EXPECT_THAT(journal.take(), IsEmpty());
}

// Lost subscriptions

TEST_F(CallbackContainerTest, SubscribesAgainAfterALossAndForgetsTheObjects) {
    apply({{1, {4}}});
    scene.track(3).enters({0, 0}, {100, 100});
    deliver(0, 1s);
    journal.take();
    const long before = WatchedDevice::now();
    disconnect(0);
    EXPECT_EQ(disconnects(), 1);
    EXPECT_EQ(OpenContainer::reconnections(), 1U);
    EXPECT_TRUE(isReconnectedInTime());
    EXPECT_GE(WatchedDevice::now() - before, 200000);
    EXPECT_EQ(module->live(), 1);
    EXPECT_TRUE(deliver(0, 2s));
    EXPECT_THAT(journal.take(), ElementsAre("4: scene 2000000 3@2000000"));
}

TEST_F(CallbackContainerTest, KeepsTryingAfterALoss) {
    apply({{1, {4}}});
    module->setResult("subscribe", -2);
    module->takeCalls();
    disconnect(0);
    EXPECT_TRUE(waitFor([&] { return module->wasAsked("subscribe 3"); }));
    EXPECT_EQ(OpenContainer::reconnections(), 1U);
    module->setResult("subscribe", 0);
    EXPECT_TRUE(isReconnectedInTime());
    EXPECT_EQ(disconnects(), 1);
}

TEST_F(CallbackContainerTest, CountsALossOfACameraThatIsGoneAndRegistersNothing) {
    CallbackCamera gone(1, 0, versions(), 14);
    CallbackCameraContainer::disconnectCallback(&gone);
    CallbackCameraContainer::disconnectCallback(&gone);
    EXPECT_EQ(disconnects(), 2);
    EXPECT_EQ(OpenContainer::reconnections(), 0U);
}

TEST_F(CallbackContainerTest, IgnoresATickOfAnUnknownObserver) {
    apply({{1, {4}}});
    module->takeCalls();
    CallbackCameraContainer::reconnectCamera(12345);
    EXPECT_THAT(module->takeCalls(), IsEmpty());
}

TEST_F(CallbackContainerTest, UnregistersAnUnknownObserverThatTicks) {
    OpenContainer::observeEveryCycle();
    EXPECT_THAT(OpenContainer::ticksInTime(), AllOf(Ge(1), Le(2)));
}

TEST_F(CallbackContainerTest, UnregistersTheObserverOfACameraThatIsGone) {
    CallbackCamera gone(1, 0, versions(), 14);
    OpenContainer::reconnectEveryCycle(&gone);
    EXPECT_THAT(OpenContainer::ticksInTime(), AllOf(Ge(1), Le(2)));
    EXPECT_EQ(OpenContainer::reconnections(), 0U);
}

TEST_F(CallbackContainerTest, UnregistersTheObserverOfACameraThatIsSubscribedAgain) {
    apply({{1, {4}}});
    module->takeCalls();
    OpenContainer::reconnectEveryCycle(
        static_cast<CallbackCamera*>(OpenContainer::s_cameras.at(0)));
    EXPECT_THAT(OpenContainer::ticksInTime(), AllOf(Ge(1), Le(2)));
    EXPECT_EQ(OpenContainer::reconnections(), 0U);
    EXPECT_TRUE(module->wasAsked("subscribe 2"));
}

TEST_F(CallbackContainerTest, DropsATickForACameraThatIsGone) {
    apply({{1, {4}}});
    disconnect(0);
    const int observer = OpenContainer::observer();
    container->removeAllCameras();
    module->takeCalls();
    CallbackCameraContainer::reconnectCamera(observer);
    EXPECT_EQ(OpenContainer::reconnections(), 0U);
    EXPECT_THAT(module->takeCalls(), IsEmpty());
}

TEST_F(CallbackContainerTest, DropsTheAttemptsForACameraThatIsRemoved) {
    apply({{1, {4}}, {2, {7}}});
    disconnect(0);
    disconnect(1);
    EXPECT_EQ(OpenContainer::reconnections(), 2U);
    apply({{1, {4}}});
    EXPECT_EQ(OpenContainer::reconnections(), 1U);
    EXPECT_TRUE(isReconnectedInTime());
}

TEST_F(CallbackContainerTest, DropsAllAttemptsAtShutdown) {
    apply({{1, {4}}});
    disconnect(0);
    container->shutDown();
    EXPECT_EQ(OpenContainer::reconnections(), 0U);
    EXPECT_TRUE(CameraContainer::hasCameras());
    EXPECT_EQ(module->live(), 1);
}

// Removal

TEST_F(CallbackContainerTest, EndsTheSubscriptionOfARemovedCameraAndLeavesTheOtherRunning) {
    apply({{1, {4}}, {2, {7}}});
    module->takeCalls();
    apply({{1, {5}}});
    EXPECT_THAT(module->takeCalls(), ElementsAre("unsubscribe 2", "delete 2"));
    journal.take();
    EXPECT_TRUE(deliver(0, 1s));
    EXPECT_FALSE(module->disconnect(1));
    EXPECT_THAT(journal.take(), ElementsAre("5: scene 1000000"));
}

#include "events/state_event_handler.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>

#include "events/state_event_producer_i.h"
#include "support/wrapped_device.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr long kHold = 3'000'000;
constexpr int kStarted = 0;
constexpr int kEnded = 1;
constexpr int kUnchanged = 2;

/// Writes down what it is told.
class Producer : public StateEventProducerI {
public:
    StateEventProducerHandle registerEvent(int cameraId, const std::string& profileName,
                                           const std::string& eventName,
                                           const std::string& niceName) override {
        calls.push_back("register " + std::to_string(cameraId) + ", " + profileName + ", " +
                        eventName + ", " + niceName);
        return {key, cameraId};
    }
    void unregisterEvent(const StateEventProducerHandle& handle) override {
        calls.push_back("unregister " + text(handle));
    }
    void sendStartEvent(const StateEventProducerHandle& handle, const long& time) override {
        calls.push_back("start " + text(handle) + " at " + std::to_string(time));
    }
    void sendEndEvent(const StateEventProducerHandle& handle, const long& time) override {
        calls.push_back("end " + text(handle) + " at " + std::to_string(time));
    }
    void sendEndEvent(const StateEventProducerHandle& handle) override {
        calls.push_back("end " + text(handle));
    }

    std::vector<std::string> takeCalls() { return std::exchange(calls, {}); }

    std::string key = "key";

private:
    static std::string text(const StateEventProducerHandle& handle) {
        return handle.key + "/" + std::to_string(handle.cameraId);
    }

    std::vector<std::string> calls;
};

class StateEventHandlerTest : public testing::Test {
protected:
    StateEventHandlerTest() {
        handler.emplace(2, 7, "KTW 4", "My door", kHold, producer);
        producer.takeCalls();
    }

    WrappedDevice device;
    Producer producer;
    std::optional<StateEventHandler> handler;
};

TEST_F(StateEventHandlerTest, RegistersItsEventUnderNameAndNiceName) {
    const StateEventHandler another(2, 7, "KTW 4", "My door", kHold, producer);
    EXPECT_THAT(producer.takeCalls(),
                ElementsAre("register 2, My door, Camera2Profile7, KTW 4: My door"));
    EXPECT_EQ(another.handle.key, "key");
    EXPECT_EQ(another.handle.cameraId, 2);
    EXPECT_EQ(another.getId(), 7);
    EXPECT_FALSE(another.isOngoing());
}

TEST_F(StateEventHandlerTest, PutsTheCamerasNameIntoTheNiceNameOfSeveralCameras) {
    ZQParameterDouble::set(WrappedDevice::twoCameras());
    CameraInfoTestAccess::forget();
    const StateEventHandler another(2, 7, "KTW 4", "My door", kHold, producer);
    EXPECT_THAT(producer.takeCalls(),
                ElementsAre("register 2, My door, Camera2Profile7, KTW 4: My door (Back)"));
}

TEST_F(StateEventHandlerTest, StartsTheEventAtTheFirstAlarmOnly) {
    EXPECT_EQ(handler->handleAlarm(true, 1'000'000), kStarted);
    EXPECT_EQ(handler->handleAlarm(true, 2'000'000), kUnchanged);
    EXPECT_TRUE(handler->isOngoing());
    EXPECT_THAT(producer.takeCalls(), ElementsAre("start key/2 at 1000000"));
}

TEST_F(StateEventHandlerTest, DoesNothingWithoutAnAlarm) {
    EXPECT_EQ(handler->handleAlarm(false, 1'000'000), kUnchanged);
    EXPECT_THAT(producer.takeCalls(), IsEmpty());
}

TEST_F(StateEventHandlerTest, HoldsThroughExactlyTheHoldTime) {
    handler->handleAlarm(true, 1'000'000);
    producer.takeCalls();
    EXPECT_FALSE(handler->hasReachedEnd(1'000'000 + kHold));
    EXPECT_EQ(handler->handleAlarm(false, 1'000'000 + kHold), kUnchanged);
    EXPECT_THAT(producer.takeCalls(), IsEmpty());
    EXPECT_TRUE(handler->hasReachedEnd(1'000'000 + kHold + 1));
    EXPECT_EQ(handler->handleAlarm(false, 1'000'000 + kHold + 1), kEnded);
    EXPECT_FALSE(handler->isOngoing());
    EXPECT_THAT(producer.takeCalls(), ElementsAre("end key/2 at 4000001"));
}

TEST_F(StateEventHandlerTest, StampsTheEndWithTheSceneThatNoticedIt) {
    handler->handleAlarm(true, 0);
    handler->handleAlarm(false, 60'000'000);
    EXPECT_THAT(producer.takeCalls(), ElementsAre("start key/2 at 0", "end key/2 at 60000000"));
}

TEST_F(StateEventHandlerTest, HoldsAnewFromEachAlarm) {
    handler->handleAlarm(true, 1'000'000);
    handler->handleAlarm(true, 3'000'000);
    EXPECT_EQ(handler->handleAlarm(false, 3'000'000 + kHold), kUnchanged);
    EXPECT_EQ(handler->handleAlarm(false, 3'000'000 + kHold + 1), kEnded);
}

TEST_F(StateEventHandlerTest, EndsOnceAndStaysArmed) {
    handler->handleAlarm(true, 0);
    handler->handleAlarm(false, kHold + 1);
    EXPECT_TRUE(handler->armed);
    EXPECT_EQ(handler->handleAlarm(false, kHold + 2), kUnchanged);
    EXPECT_EQ(handler->handleAlarm(true, kHold + 3), kStarted);
}

TEST_F(StateEventHandlerTest, HasReachedNoEndBeforeAnyAlarm) {
    EXPECT_FALSE(handler->hasReachedEnd(1'000'000'000));
    handler->ongoing = true;
    EXPECT_FALSE(handler->hasReachedEnd(1'000'000'000));
    handler->armed = true;
    EXPECT_TRUE(handler->hasReachedEnd(1'000'000'000));
}

TEST_F(StateEventHandlerTest, IsNeverEndedByASceneBeforeTheLastAlarm) {
    handler->handleAlarm(true, 10'000'000);
    EXPECT_FALSE(handler->hasReachedEnd(1));
    EXPECT_EQ(handler->handleAlarm(false, 1), kUnchanged);
    EXPECT_TRUE(handler->isOngoing());
}

TEST_F(StateEventHandlerTest, EndsAtTheNextSceneWithoutAHoldTime) {
    StateEventHandler another(1, 1, "KTW 4", "", 0, producer);
    another.handleAlarm(true, 5);
    EXPECT_EQ(another.handleAlarm(false, 5), kUnchanged);
    EXPECT_EQ(another.handleAlarm(false, 6), kEnded);
}

TEST_F(StateEventHandlerTest, CutsTheHoldShortWhenStopped) {
    handler->handleAlarm(true, 1'000'000);
    handler->stopAllEvents(1'000'001);
    EXPECT_FALSE(handler->isOngoing());
    EXPECT_FALSE(handler->armed);
    EXPECT_THAT(producer.takeCalls(),
                ElementsAre("start key/2 at 1000000", "end key/2 at 1000001"));
}

TEST_F(StateEventHandlerTest, SendsNothingWhenStoppedWhileIdle) {
    handler->stopAllEvents(1);
    EXPECT_THAT(producer.takeCalls(), IsEmpty());
    handler->handleAlarm(true, 0);
    handler->handleAlarm(false, kHold + 1);
    producer.takeCalls();
    handler->stopAllEvents(kHold + 2);
    EXPECT_THAT(producer.takeCalls(), IsEmpty());
    EXPECT_TRUE(handler->armed);
}

TEST_F(StateEventHandlerTest, EndsARunningEventWithoutATimeWhenDestroyed) {
    handler->handleAlarm(true, 1);
    producer.takeCalls();
    handler.reset();
    EXPECT_THAT(producer.takeCalls(), ElementsAre("end key/2", "unregister key/2"));
}

TEST_F(StateEventHandlerTest, UnregistersWhenDestroyedIdle) {
    handler.reset();
    EXPECT_THAT(producer.takeCalls(), ElementsAre("unregister key/2"));
}

TEST_F(StateEventHandlerTest, CarriesOnAfterAFailedRegistration) {
    producer.key = "invalid";
    handler.emplace(2, 7, "KTW 4", "My door", kHold, producer);
    producer.takeCalls();
    EXPECT_EQ(handler->handleAlarm(true, 1), kStarted);
    EXPECT_TRUE(handler->isOngoing());
    handler.reset();
    EXPECT_THAT(producer.takeCalls(),
                ElementsAre("start invalid/2 at 1", "end invalid/2", "unregister invalid/2"));
}

TEST(StateEventProducerHandleTest, IsInvalidUntilRegistered) {
    EXPECT_EQ(StateEventProducerHandle().key, "invalid");
    EXPECT_EQ(StateEventProducerHandle().cameraId, -1);
}

}  // namespace

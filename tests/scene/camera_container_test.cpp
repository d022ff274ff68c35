#include "scene/camera_container.h"

#include <syslog.h>

#include <algorithm>
#include <memory>
#include <thread>
#include <utility>

#include "scene/camera_fixture.h"
#include "support/fake_clock.h"
#include "support/syslog_capture.h"
#include "zqevent/zqevent.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const std::string transform = "<g transform=\"matrix(1 0 0 -1 0 0)\" >";

/// A container of cameras without a source of scenes.
class PlainContainer : public CameraContainer {
public:
    using CameraContainer::CameraContainer;
    using CameraContainer::s_cameras;
    using CameraContainer::s_canReceivePTZ_Callbacks;

    static std::vector<int> ids() {
        std::vector<int> numbers;
        for (const Camera* camera : s_cameras) {
            numbers.push_back(camera->getCameraId());
        }
        return numbers;
    }

    /// Whether the list is free to be used meanwhile.
    static bool isLocked() {
        if (!g_mutex_trylock(&s_mutex)) {
            return true;
        }
        g_mutex_unlock(&s_mutex);
        return false;
    }

    std::vector<std::string> created;
    int shutDowns = 0;
    /// Whether PTZ events had ended by the last of them, and the mutex was held.
    bool wasLastToShutDown = false;
    /// No camera is made for this number.
    int refusedCamera = -1;

protected:
    Camera* createCamera(int camera, int rotation, API_VersionHandler handler,
                         int newCapabilities) override {
        created.push_back(std::to_string(camera) + " at " + std::to_string(rotation) + ", " +
                          handler.toString() + std::to_string(newCapabilities));
        if (camera == refusedCamera) {
            return nullptr;
        }
        return new SocketCamera(camera, rotation, std::move(handler),
                                static_cast<unsigned>(newCapabilities));
    }
    void shutDownSub() override {
        ++shutDowns;
        wasLastToShutDown =
            isLocked() && !s_canReceivePTZ_Callbacks && presetSubscription == nullptr;
    }
};

/// A camera with a thread that runs until it is stopped, and writes down how it ends:
///
///     2: stop, not in the list     2: thread ends     2: deleted
class EndingCamera : public SocketCamera {
public:
    EndingCamera(int camera, API_VersionHandler handler, Journal& shared)
        : SocketCamera(camera, 0, std::move(handler), 14), journal(shared) {
        start(runUntilStopped, this);
    }
    ~EndingCamera() override {
        write("deleted" + std::string(AlarmOverlayDouble::lines().empty() ? "" : ", overlay told"));
    }

    void stop() override {
        const bool isListed = CameraContainer::doesCameraExist(this);
        write(std::string("stop, ") + (isListed ? "in the list" : "not in the list") +
              (PlainContainer::isLocked() ? ", locked" : ""));
        SocketCamera::stop();
    }

private:
    static void* runUntilStopped(void* data) {
        auto* camera = static_cast<EndingCamera*>(data);
        while (camera->isRunning()) {
            std::this_thread::sleep_for(1ms);
        }
        std::this_thread::sleep_for(5ms);
        camera->write("thread ends");
        return nullptr;
    }
    void write(const std::string& text) {
        journal.write(std::to_string(getCameraId()) + ": " + text);
    }

    Journal& journal;
};

class CameraContainerTest : public CameraFixture {
protected:
    explicit CameraContainerTest(const WatchedDevice::Parameters& parameters = WatchedDevice::plain)
        : CameraFixture(parameters), container(std::make_unique<PlainContainer>(versions(), 14U)) {}

    /// Applies a configuration with these cameras and their profiles.
    void apply(const std::vector<std::pair<int, std::vector<int>>>& cameras) {
        CameraConfigurationContainer configuration;
        for (const auto& [camera, profiles] : cameras) {
            configuration.insert(configurationOf(camera, profiles));
        }
        container->updateWithNewConfiguration(configuration);
    }
    Camera* camera(std::size_t index) { return PlainContainer::s_cameras.at(index); }

    std::unique_ptr<PlainContainer> container;
};

class PTZ_ContainerTest : public CameraContainerTest {
protected:
    PTZ_ContainerTest() : CameraContainerTest(WatchedDevice::mechanicalPTZ) {
        apply({{1, {4}}, {2, {7}}});
        journal.take();
    }
    ~PTZ_ContainerTest() override {
        container.reset();
        // Only shutDown() clears it.
        PlainContainer::s_canReceivePTZ_Callbacks = false;
    }

    /// Delivers to the subscription of that topic, at a monotonic time.
    static bool deliver(const std::string& topic, const ZQEventDouble::Values& values,
                        long monotonic) {
        for (const ZQEventDouble::Subscription& subscription : ZQEventDouble::subscriptions()) {
            if (subscription.keys.find("topic1", "tnsorva")->value == EventValue(topic)) {
                const long utc = g_get_real_time() - g_get_monotonic_time() + monotonic;
                return ZQEventDouble::deliver(subscription.id, values, utc);
            }
        }
        return false;
    }
    static bool deliverPreset(const ZQEventDouble::Values& values, long monotonic = 1000000) {
        return deliver("PTZPresets", values, monotonic);
    }
    static bool deliverMove(const ZQEventDouble::Values& values, long monotonic = 1000000) {
        return deliver("Move", values, monotonic);
    }
    /// Times go through two clocks and back; the journal's are compared to this many digits.
    static std::string withoutTime(const std::string& line) {
        return line.substr(0, line.rfind(' '));
    }
    static double timeOf(const std::string& line) {
        return std::stod(line.substr(line.rfind(' ')));
    }
    std::vector<std::string> told() {
        std::vector<std::string> lines = journal.take();
        std::ranges::transform(lines, lines.begin(), withoutTime);
        return lines;
    }

    static inline const std::string presetMessage =
        "Failed to unpack 'on_preset' in a PTZ event, message: ";
    static inline const std::string tokenMessage =
        "Failed to unpack 'PresetToken' in a PTZ event, message: ";
    static inline const std::string movingMessage =
        "Failed to unpack 'is_moving' in a PTZ event, message: ";
};

void expectOneError(const SyslogCapture& log, const std::string& begin) {
    const auto lines = log.lines();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].level, LOG_ERR);
    EXPECT_EQ(lines[0].text.substr(0, begin.size()), begin);
    EXPECT_GT(lines[0].text.size(), begin.size() + 1);
    EXPECT_EQ(lines[0].text.back(), '\n');
}

}  // namespace

// Configurations

TEST_F(CameraContainerTest, HasNoCamerasAtFirst) {
    EXPECT_FALSE(CameraContainer::hasCameras());
    EXPECT_FALSE(container->isMotionLevelActive());
    EXPECT_EQ(container->getVisualConfIdNbr(), -1);
    EXPECT_FALSE(container->isVisualConfEnabled());
}

TEST_F(CameraContainerTest, CreatesTheCamerasOfAConfigurationInOrder) {
    CameraConfigurationContainer configuration;
    configuration.insert(configurationOf(2, {7}, 90));
    configuration.insert(configurationOf(1, {4}));
    container->updateWithNewConfiguration(configuration);
    EXPECT_THAT(container->created, ElementsAre("2 at 90, 1.0 1.1 14", "1 at 0, 1.0 1.1 14"));
    EXPECT_THAT(PlainContainer::ids(), ElementsAre(2, 1));
    EXPECT_TRUE(CameraContainer::hasCameras());
    EXPECT_THAT(journal.take(), ElementsAre("7: startup -3", "4: startup -3"));
}

TEST_F(CameraContainerTest, KeepsACameraAndSwapsItsGuards) {
    apply({{1, {4}}});
    const Camera* before = camera(0);
    apply({{1, {5}}});
    EXPECT_EQ(camera(0), before);
    EXPECT_EQ(container->created.size(), 1U);
    EXPECT_THAT(journal.take(), ElementsAre("4: startup -3", "4: deleted", "5: startup -3"));
}

TEST_F(CameraContainerTest, DeletesTheCamerasThatAreNoLongerNamed) {
    apply({{1, {4}}, {2, {7}}, {3, {8}}});
    journal.take();
    apply({{1, {5}}, {3, {9}}});
    EXPECT_THAT(PlainContainer::ids(), ElementsAre(1, 3));
    EXPECT_THAT(journal.take(), ElementsAre("4: deleted", "5: startup -3", "8: deleted",
                                            "9: startup -3", "7: deleted"));
}

TEST_F(CameraContainerTest, DeletesAllCamerasWithAConfigurationWithoutAny) {
    apply({{1, {4}}, {2, {7}}});
    apply({});
    EXPECT_FALSE(CameraContainer::hasCameras());
}

TEST_F(CameraContainerTest, SkipsACameraThatIsNotMade) {
    container->refusedCamera = 2;
    CameraConfigurationContainer configuration;
    configuration.insert(CameraConfiguration(2, 0));
    configuration.insert(configurationOf(1, {4}));
    container->updateWithNewConfiguration(configuration);
    EXPECT_THAT(PlainContainer::ids(), ElementsAre(1));
}

TEST_F(CameraContainerTest, HandsTheOverlayItsPartOfEveryConfiguration) {
    AlarmOverlayConfigurationContainer overlay;
    overlay.profileIds = {4, 7};
    container->updateWithNewConfiguration(CameraConfigurationContainer(overlay));
    apply({});
    EXPECT_THAT(AlarmOverlayDouble::lines(), ElementsAre("profiles 4 7", "profiles"));
}

TEST_F(CameraContainerTest, FindsCamerasByConfigurationAndByPointer) {
    apply({{1, {4}}, {2, {7}}});
    EXPECT_EQ(container->getCamera(CameraConfiguration(2, 90)), camera(1));
    EXPECT_EQ(container->getCamera(CameraConfiguration(3, 0)), nullptr);
    EXPECT_TRUE(CameraContainer::doesCameraExist(camera(0)));
    const SocketCamera other(1, 0, versions(), 14);
    EXPECT_FALSE(CameraContainer::doesCameraExist(&other));
    EXPECT_FALSE(CameraContainer::doesCameraExist(nullptr));
}

TEST_F(CameraContainerTest, AppendsACamera) {
    container->insertCamera(new SocketCamera(5, 0, versions(), 14));
    EXPECT_THAT(PlainContainer::ids(), ElementsAre(5));
}

// What goes through all cameras

TEST_F(CameraContainerTest, FindsProfilesOnAnyCamera) {
    apply({{1, {4}}, {2, {7}}});
    EXPECT_TRUE(container->doesProfileExist(4));
    EXPECT_TRUE(container->doesProfileExist(7));
    EXPECT_FALSE(container->doesProfileExist(5));
}

TEST_F(CameraContainerTest, RequestsATestFromTheFirstCameraThatHasTheProfile) {
    apply({{1, {4}}, {2, {7, 4}}});
    journal.take();
    EXPECT_TRUE(container->sendAlarmEvent(7));
    EXPECT_TRUE(container->sendAlarmEvent(4));
    EXPECT_FALSE(container->sendAlarmEvent(5));
    EXPECT_THAT(journal.take(), ElementsAre("7: test", "4: test"));
}

TEST_F(CameraContainerTest, SwitchesTheMotionLevelOfAllCameras) {
    apply({{1, {}}, {2, {}}});
    container->startMotionLevel();
    EXPECT_TRUE(camera(0)->isMotionLevelActive());
    EXPECT_TRUE(camera(1)->isMotionLevelActive());
    EXPECT_TRUE(container->isMotionLevelActive());
    camera(0)->stopMotionLevel();
    EXPECT_TRUE(container->isMotionLevelActive());
    container->stopMotionLevel();
    EXPECT_FALSE(container->isMotionLevelActive());
}

TEST_F(CameraContainerTest, LetsNewCamerasJoinARunningMotionLevel) {
    apply({{1, {}}});
    container->startMotionLevel();
    apply({{1, {}}, {2, {}}});
    EXPECT_TRUE(camera(1)->isMotionLevelActive());
    container->stopMotionLevel();
    apply({{1, {}}, {2, {}}, {3, {}}});
    EXPECT_FALSE(camera(2)->isMotionLevelActive());
}

TEST_F(CameraContainerTest, ForwardsPTZ_EventsToAllCamerasInOrder) {
    apply({{2, {7}}, {1, {4}}});
    journal.take();
    container->handlePTZ_PresetEvent({true, 3, 1000});
    container->handlePTZ_MovementEvent({true, 2000});
    EXPECT_THAT(journal.take(), ElementsAre("7: arrive 3 1000", "4: arrive 3 1000",
                                            "7: move 1 2000", "4: move 1 2000"));
}

// Visual confirmation

TEST_F(CameraContainerTest, EnablesVisualConfirmationOfOneProfileAtATime) {
    apply({{1, {4}}, {2, {7}}});
    EXPECT_TRUE(container->enableVisualConfirmation(4, transform));
    EXPECT_EQ(container->getVisualConfIdNbr(), 4);
    EXPECT_TRUE(container->isVisualConfEnabled());
    EXPECT_TRUE(container->enableVisualConfirmation(7, transform));
    EXPECT_EQ(camera(0)->getVC_Data().profileId, -1);
    EXPECT_EQ(container->getVisualConfIdNbr(), 7);
    EXPECT_THAT(device.takeFrames(), ElementsAre(""));
}

TEST_F(CameraContainerTest, KeepsVisualConfirmationThatIsStartedAgain) {
    apply({{1, {4}}});
    container->enableVisualConfirmation(4, transform);
    EXPECT_TRUE(container->enableVisualConfirmation(4, transform));
    EXPECT_EQ(container->getVisualConfIdNbr(), 4);
    EXPECT_THAT(device.takeFrames(), IsEmpty());
}

TEST_F(CameraContainerTest, LeavesVisualConfirmationAloneWhenANewOneFails) {
    apply({{1, {4}}});
    container->enableVisualConfirmation(4, transform);
    EXPECT_FALSE(container->enableVisualConfirmation(5, transform));
    EXPECT_EQ(container->getVisualConfIdNbr(), 4);
}

TEST_F(CameraContainerTest, FailsWhenTheFramesEventCannotBeDeclared) {
    apply({{1, {4}}});
    WatchedDevice::failNextDeclaration();
    EXPECT_FALSE(container->enableVisualConfirmation(4, transform));
}

TEST_F(CameraContainerTest, AsksOnlyTheFirstCameraThatHasTheProfileForVisualConfirmation) {
    apply({{1, {4}}, {2, {4}}});
    WatchedDevice::failNextDeclaration();
    EXPECT_FALSE(container->enableVisualConfirmation(4, transform));
    EXPECT_EQ(camera(1)->getVC_Data().profileId, -1);
}

TEST_F(CameraContainerTest, DisablesVisualConfirmation) {
    apply({{1, {4}}, {2, {7}}});
    container->enableVisualConfirmation(7, transform);
    container->disableVisualConfirmation(4);
    EXPECT_EQ(container->getVisualConfIdNbr(), 7);
    container->disableVisualConfirmation(7);
    EXPECT_FALSE(container->isVisualConfEnabled());
    container->enableVisualConfirmation(4, transform);
    container->disableVisualConfirmation();
    EXPECT_FALSE(container->isVisualConfEnabled());
}

TEST_F(CameraContainerTest, ForgetsTheProfileThatIsDisabled) {
    apply({{1, {4}}, {2, {7}}});
    container->enableVisualConfirmation(4, transform);
    // Nothing of profile 4 is remembered, so the next start does not stop it.
    container->disableVisualConfirmation(9);
    EXPECT_TRUE(container->enableVisualConfirmation(7, transform));
    EXPECT_EQ(container->getVisualConfIdNbr(), 4);
    EXPECT_THAT(device.takeFrames(), IsEmpty());
}

// The end

TEST_F(CameraContainerTest, StopsAndDeletesItsCamerasWithItself) {
    apply({{1, {4}}, {2, {7}}});
    journal.take();
    container.reset();
    EXPECT_FALSE(CameraContainer::hasCameras());
    EXPECT_THAT(journal.take(), ElementsAre("4: deleted", "7: deleted"));
}

TEST_F(CameraContainerTest, RemovesAllCamerasOnRequest) {
    apply({{1, {4}}, {2, {7}}});
    container->removeAllCameras();
    EXPECT_FALSE(CameraContainer::hasCameras());
    apply({{1, {4}}});
    EXPECT_THAT(PlainContainer::ids(), ElementsAre(1));
}

TEST_F(CameraContainerTest, StopsJoinsAndDeletesOneRemovedCameraAfterTheOtherOutsideTheLock) {
    apply({{1, {4}}});
    container->insertCamera(new EndingCamera(2, versions(), journal));
    container->insertCamera(new EndingCamera(3, versions(), journal));
    journal.take();
    AlarmOverlayDouble::reset();
    apply({{1, {5}}});
    // The overlay hears of the configuration when the cameras have gone.
    EXPECT_THAT(AlarmOverlayDouble::lines(), ElementsAre("profiles"));
    EXPECT_THAT(
        journal.take(),
        ElementsAre("4: deleted", "5: startup -3", "2: stop, not in the list", "2: thread ends",
                    "2: deleted", "3: stop, not in the list", "3: thread ends", "3: deleted"));
    EXPECT_THAT(PlainContainer::ids(), ElementsAre(1));
}

TEST_F(CameraContainerTest, StopsJoinsAndDeletesAllItsCamerasOutsideTheLock) {
    container->insertCamera(new EndingCamera(2, versions(), journal));
    container->insertCamera(new EndingCamera(1, versions(), journal));
    container.reset();
    EXPECT_THAT(journal.take(),
                ElementsAre("2: stop, not in the list", "2: thread ends", "2: deleted",
                            "1: stop, not in the list", "1: thread ends", "1: deleted"));
}

TEST_F(CameraContainerTest, ShutsItsTransportDownAndKeepsItsCameras) {
    apply({{1, {4}}});
    container->shutDown();
    EXPECT_EQ(container->shutDowns, 1);
    EXPECT_TRUE(CameraContainer::hasCameras());
}

// PTZ events of the device

TEST_F(CameraContainerTest, SubscribesToNothingOnACameraWithoutAMechanicalHead) {
    apply({{1, {4}}});
    EXPECT_THAT(ZQEventDouble::subscriptions(), IsEmpty());
    EXPECT_FALSE(PlainContainer::s_canReceivePTZ_Callbacks);
}

TEST_F(PTZ_ContainerTest, SubscribesOnceWithTheFirstConfiguration) {
    EXPECT_TRUE(PlainContainer::s_canReceivePTZ_Callbacks);
    apply({{1, {5}}});
    EXPECT_THAT(ZQEventDouble::log("zq_event_handler_subscribe"),
                ElementsAre("zq_event_handler_subscribe 1: topic0=tns1:\"PTZController\" "
                            "topic1=tnsorva:\"PTZPresets\"",
                            "zq_event_handler_subscribe 2: topic0=tns1:\"PTZController\" "
                            "topic1=tnsorva:\"Move\""));
}

TEST_F(PTZ_ContainerTest, ForwardsPresetEventsWithTheirTime) {
    const FakeClock clock(g_get_monotonic_time());
    EXPECT_TRUE(deliverPreset({{"on_preset", true}, {"PresetToken", 3}}, clock.now() - 5000000));
    std::vector<std::string> lines = journal.take();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(withoutTime(lines[0]), "4: arrive 3");
    EXPECT_EQ(withoutTime(lines[1]), "7: arrive 3");
    EXPECT_NEAR(timeOf(lines[0]), static_cast<double>(clock.now() - 5000000), 1e6);
    EXPECT_TRUE(deliverPreset({{"on_preset", false}, {"PresetToken", 3}}));
    EXPECT_THAT(told(), ElementsAre("4: leave", "7: leave"));
    EXPECT_EQ(ZQEventDouble::liveEvents(), 0);
}

TEST_F(PTZ_ContainerTest, ForwardsMovementEvents) {
    EXPECT_TRUE(deliverMove({{"is_moving", true}}));
    EXPECT_TRUE(deliverMove({{"is_moving", false}}));
    EXPECT_THAT(told(), ElementsAre("4: move 1", "7: move 1", "4: move 0", "7: move 0"));
    EXPECT_EQ(ZQEventDouble::liveEvents(), 0);
}

TEST_F(PTZ_ContainerTest, ForwardsTheTimeOfAMovement) {
    const FakeClock clock(g_get_monotonic_time());
    EXPECT_TRUE(deliverMove({{"is_moving", true}}, clock.now() - 5000000));
    const std::vector<std::string> lines = journal.take();
    ASSERT_EQ(lines.size(), 2U);
    for (const std::string& line : lines) {
        EXPECT_NEAR(timeOf(line), static_cast<double>(clock.now() - 5000000), 1e6);
    }
}

TEST_F(PTZ_ContainerTest, DropsAPresetEventThatDoesNotSayWhether) {
    const SyslogCapture log;
    deliverPreset({{"PresetToken", 3}});
    expectOneError(log, presetMessage);
    EXPECT_THAT(journal.take(), IsEmpty());
    EXPECT_EQ(ZQEventDouble::liveEvents(), 0);
}

TEST_F(PTZ_ContainerTest, DropsAPresetEventThatDoesNotSayWhich) {
    const SyslogCapture log;
    deliverPreset({{"on_preset", true}});
    expectOneError(log, tokenMessage);
    deliverPreset({{"on_preset", true}, {"PresetToken", std::string("3")}});
    EXPECT_THAT(journal.take(), IsEmpty());
    EXPECT_EQ(ZQEventDouble::liveEvents(), 0);
}

TEST_F(PTZ_ContainerTest, DropsAMovementEventThatDoesNotSayWhether) {
    const SyslogCapture log;
    deliverMove({{"on_preset", true}});
    expectOneError(log, movingMessage);
    EXPECT_THAT(journal.take(), IsEmpty());
    EXPECT_EQ(ZQEventDouble::liveEvents(), 0);
}

TEST_F(PTZ_ContainerTest, TellsTheReasonOfAFailure) {
    ZQEventDouble::failCall("zq_event_key_value_set_get_boolean", 1);
    const SyslogCapture log;
    deliverMove({{"is_moving", true}});
    EXPECT_TRUE(log.has(LOG_ERR, movingMessage + "injected failure\n"));
}

TEST_F(PTZ_ContainerTest, UnsubscribesAtShutdown) {
    container->shutDown();
    EXPECT_FALSE(PlainContainer::s_canReceivePTZ_Callbacks);
    for (const ZQEventDouble::Subscription& subscription : ZQEventDouble::subscriptions()) {
        EXPECT_FALSE(subscription.subscribed);
    }
    EXPECT_EQ(container->shutDowns, 1);
    EXPECT_TRUE(container->wasLastToShutDown);
}

TEST_F(PTZ_ContainerTest, UnsubscribesWithItselfToo) {
    container.reset();
    for (const ZQEventDouble::Subscription& subscription : ZQEventDouble::subscriptions()) {
        EXPECT_FALSE(subscription.subscribed);
    }
}

TEST_F(PTZ_ContainerTest, FreesALateMovementEventButNotALatePresetEvent) {
    container->shutDown();
    ZQEventKeyValueSet* set = zq_event_key_value_set_new();
    CameraContainer::PTZ_MovementCallback(2, zq_event_new2(set, nullptr), container.get());
    EXPECT_EQ(ZQEventDouble::liveEvents(), 0);
    ZQEvent* late = zq_event_new2(set, nullptr);
    CameraContainer::PTZ_PresetCallback(1, late, container.get());
    EXPECT_EQ(ZQEventDouble::liveEvents(), 1);
    zq_event_free(late);
    zq_event_key_value_set_free(set);
    EXPECT_THAT(journal.take(), IsEmpty());
}

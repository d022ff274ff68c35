#include "overlay/overlay_services.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <thread>

#include "support/private_bus.h"
#include "support/syslog_capture.h"

namespace {

using Names = std::vector<std::string>;
using testing::IsEmpty;

class OverlayServices : public testing::Test {
protected:
    OverlayServices() { AlarmOverlay::forgetDBusNames(); }
    ~OverlayServices() override { AlarmOverlay::forgetDBusNames(); }

    SyslogCapture log;
};

TEST_F(OverlayServices, AreThereWithBothNames) {
    const PrivateBus bus;
    const BusNames names(bus, {"com.orva.Graphics1", "com.orva.Overlay2"});
    EXPECT_TRUE(AlarmOverlay::doDBusNamesExist());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(OverlayServices, AreNotThereWithOneName) {
    const PrivateBus bus;
    for (const Names& some : {Names{"com.orva.Graphics1"}, Names{"com.orva.Overlay2"},
                              Names{"com.orva.Graphics1", "com.orva.Overlay2.More"}, Names{}}) {
        const BusNames names(bus, some);
        EXPECT_FALSE(AlarmOverlay::doDBusNamesExist());
        AlarmOverlay::forgetDBusNames();
    }
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(OverlayServices, AreAskedForOnce) {
    const PrivateBus bus;
    std::optional<BusNames> names(std::in_place, bus,
                                  Names{"com.orva.Graphics1", "com.orva.Overlay2"});
    EXPECT_TRUE(AlarmOverlay::doDBusNamesExist());
    names.reset();
    EXPECT_TRUE(AlarmOverlay::doDBusNamesExist());
    AlarmOverlay::forgetDBusNames();
    EXPECT_FALSE(AlarmOverlay::doDBusNamesExist());
}

TEST_F(OverlayServices, AreNotThereWithoutABus) {
    PrivateBus bus;
    bus.stop();
    EXPECT_FALSE(AlarmOverlay::doDBusNamesExist());
    EXPECT_FALSE(AlarmOverlay::doDBusNamesExist());
    ASSERT_EQ(log.lines().size(), 1U);
    EXPECT_EQ(log.lines()[0].level, LOG_WARNING);
    EXPECT_THAT(log.lines()[0].text, testing::StartsWith("Failed to create proxy for ListNames: "));
}

TEST_F(OverlayServices, DoNotEndTheProcessWithTheBus) {
    std::optional<PrivateBus> bus(std::in_place);
    EXPECT_FALSE(AlarmOverlay::doDBusNamesExist());
    bus.reset();
    // GLib would end the process from the main context when it hears of the end.
    for (int i = 0; i < 20; ++i) {
        g_main_context_iteration(nullptr, FALSE);
    }
    AlarmOverlay::forgetDBusNames();
    EXPECT_FALSE(AlarmOverlay::doDBusNamesExist());
}

TEST_F(OverlayServices, AreTheSameForManyThreads) {
    const PrivateBus bus;
    const BusNames names(bus, {"com.orva.Graphics1", "com.orva.Overlay2"});
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([] { EXPECT_TRUE(AlarmOverlay::doDBusNamesExist()); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

}  // namespace

#include <gio/gio.h>
#include <gmock/gmock.h>

#include <atomic>
#include <functional>
#include <thread>

#include "overlay/alarm_overlay.h"
#include "support/overlay_stage.h"
#include "support/wait_for.h"

namespace {

/// Frames, messages, configurations, resets and the switch, all at once.
class AlarmOverlayStress : public OverlayStage {
protected:
    struct Disturbance {
        std::function<void(int)> body;
        int pause;  ///< microseconds between its runs: the lock is no fair one
    };

    /// Runs the body, and each disturbance again and again meanwhile, on a thread of its own.
    static void runAtOnce(const std::function<void()>& body,
                          const std::vector<Disturbance>& disturbances) {
        std::atomic<bool> isOver = false;
        std::vector<std::thread> threads;
        for (const Disturbance& disturbance : disturbances) {
            threads.emplace_back([&] {
                for (int i = 0; !isOver; ++i) {
                    disturbance.body(i);
                    g_usleep(disturbance.pause);
                }
            });
        }
        body();
        isOver = true;
        for (std::thread& thread : threads) {
            thread.join();
        }
    }

    static void sendMessages(int i) {
        const int id = 3 + i % 3;
        AlarmOverlay::handleMessage(
            StreamAddedMessage(StreamProperties{id, 1, "h264", kWidth, kHeight, 0, false}));
        ExternalOverlay overlay;
        overlay.overlayId = 9;
        overlay.type = ExternalOverlayText;
        overlay.top = i % 5 * 8;
        AlarmOverlay::handleMessage(OverlayAddedMessage(overlay));
        AlarmOverlay::handleMessage(StreamRemovedMessage(3 + i % 4));
        AlarmOverlay::handleMessage(OverlayRemovedMessage(9));
    }

    /// One request in so many fails, which leads to a reset each time.
    void failEvery(int requests) {
        services.answerRequests([this, requests](const std::string&) {
            return (++requestCount % requests == 0 ? std::string("error")
                                                   : R"({"data": {"buffer": 0}})") +
                   '\0';
        });
    }

    /// Messages come in order: with an answer, all signals before it have found nobody.
    static void passOverSignalsOnTheirWay() {
        g_autoptr(GDBusConnection) shared = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);
        g_autoptr(GVariant) id = g_dbus_connection_call_sync(
            shared, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
            "GetId", nullptr, nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
        EXPECT_NE(id, nullptr);
    }

    void expectAllIsWell() {
        AlarmOverlay::disable();
        passOverSignalsOnTheirWay();
        EXPECT_EQ(count("CreateOverlay"), count("RemoveOverlay"));
        EXPECT_GT(count("CreateOverlay"), 0);
        services.answerRequests({});
        services.forgetCalls();
        run({3});
        EXPECT_TRUE(isObjectShown());
    }

    int requestCount = 0;
};

TEST_F(AlarmOverlayStress, SurvivesFramesMessagesConfigurationsAndResets) {
    holdStreams({3, 4});
    holdOverlay(8, 10);
    failEvery(40);
    AlarmOverlay::enableIfSupported();
    configure();
    runAtOnce(
        [this] {
            EXPECT_TRUE(waitFor([this] {
                showObject();
                return AlarmOverlay::isEnabled() && count("GetCommandChannel") > 6;
            }));
        },
        {{[](int) { showObject(); }, 1000},
         {sendMessages, 1000},
         {[this](int i) { announceStream(3 + i % 2); }, 1000},
         // Each restarts the count of a reset.
         {[](int i) {
              configure({kProfile, i}, i % 4 == 0 ? 640 : kWidth);
          },
          100000}});
    expectAllIsWell();
}

TEST_F(AlarmOverlayStress, SurvivesBeingSwitchedOnAndOffAllTheWhile) {
    holdStreams({3, 4});
    holdOverlay(8, 10);
    failEvery(20);
    runAtOnce(
        [] {
            for (int i = 0; i < 50; ++i) {
                AlarmOverlay::enableIfSupported();
                EXPECT_TRUE(AlarmOverlay::isEnabled());
                g_usleep(i % 4 * 2000);
                AlarmOverlay::disable();
                EXPECT_FALSE(AlarmOverlay::isEnabled());
            }
        },
        {{[](int) { showObject(); }, 100},
         {sendMessages, 500},
         {[this](int i) { announceStream(3 + i % 2); }, 1000},
         {[](int i) { configure({kProfile}, i % 4 == 0 ? 640 : kWidth); }, 500}});
    expectAllIsWell();
}

}  // namespace

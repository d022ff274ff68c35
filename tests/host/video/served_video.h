#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>

#include "bus_caller.h"
#include "support/main_loop_thread.h"
#include "support/temporary_folder.h"
#include "support/wait_for.h"
#include "video/fault_plan.h"
#include "video/listed_streams.h"
#include "video/overlay_store.h"
#include "video/stream_table.h"
#include "video/user_overlay_files.h"
#include "video/video_bus.h"

/// The two services on a bus of their own, run by another thread, and a client of theirs. The
/// camera has 1280x720 pixels; stream 1 is its native one.
class ServedVideo : public testing::Test {
protected:
    static constexpr const char* kOverlay2 = "com.orva.Overlay2";
    static constexpr const char* kOverlayPath = "/com/orva/Overlay2";
    static constexpr const char* kGraphics1 = "com.orva.Graphics1";
    static constexpr const char* kGraphicsPath = "/com/orva/Graphics1";
    static constexpr const char* kManager = "org.freedesktop.DBus.ObjectManager";

    ServedVideo() {
        client.emplace(*bus);
        start();
        EXPECT_TRUE(areNamesThereInTime());
    }
    ~ServedVideo() override {
        client.reset();
        stop();
    }

    void start() {
        video.emplace(store, streams, files, faults, 2);
        loop.emplace();
    }
    void stop() {
        loop.reset();
        video.reset();
    }
    bool areNamesThereInTime() {
        return waitFor(
            [this] { return client->isOnBus(kOverlay2) && client->isOnBus(kGraphics1); });
    }

    std::string callFactory(const char* method, GVariant* parameters) const {
        return client->call(kOverlay2, kOverlayPath, "com.orva.Overlay2.Factory", method,
                            parameters);
    }
    static GVariant* properties(const char* size = "32x16", const char* stream = "1") {
        return g_variant_new_parsed(
            "({'Size': %s, 'Position': '-1.0000,-1.0000', 'Visible': 'true', 'OverlayFormat': "
            "'palette', 'Stream': %s, 'Camera': '1'},)",
            size, stream);
    }
    std::string create(const BusCaller& from) const {
        return from.call(kOverlay2, kOverlayPath, "com.orva.Overlay2.Factory", "CreateOverlay",
                         properties());
    }
    std::string create() const { return create(*client); }
    std::string callHost(const char* method, GVariant* parameters, int descriptor = -1) const {
        return client->call(kOverlay2, kOverlayPath, "com.orva.Host.Overlays1", method, parameters,
                            descriptor);
    }
    std::string addText(const char* text, const char* position) const {
        return callHost("AddText", g_variant_new_parsed("(%s, %s, @a{ss} {})", text, position));
    }
    std::string setFault(const char* what, const char* kind, unsigned nth = 1, unsigned count = 1,
                         unsigned milliseconds = 0) const {
        return client->call(kOverlay2, kOverlayPath, "com.orva.Host.Faults1", "Set",
                            g_variant_new("(ssuuu)", what, kind, nth, count, milliseconds));
    }
    std::string listOverlays() const {
        return client->call(kOverlay2, "/com/orva/Overlay2/Overlay", kManager, "GetManagedObjects");
    }
    static std::string nothing() { return "(@a{oa{sa{sv}}} {},)"; }

    const StreamTable table{{{1280, 720}, {640, 480}}};
    const FixedBusAddress address;
    std::optional<PrivateBus> bus{std::in_place, &address};
    const TemporaryFolder folder;
    const UserOverlayFiles files{folder.path("overlays")};
    ListedStreams streams{table};
    FaultPlan faults;
    OverlayStore store;
    std::optional<VideoBus> video;
    std::optional<MainLoopThread> loop;
    std::optional<BusCaller> client;
};

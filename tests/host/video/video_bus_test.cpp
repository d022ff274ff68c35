#include "video/video_bus.h"

#include "served_video.h"
#include "video/bus_clients.h"

namespace {

using testing::StartsWith;

class VideoBusTest : public ServedVideo {
protected:
    void restartBus() {
        client.reset();
        bus.reset();
        bus.emplace(&address);
        client.emplace(*bus);
    }
};

TEST_F(VideoBusTest, IsThereAgainWhenTheBusIsBackWithoutWhatApplicationsMade) {
    create();
    addText("Gate 3", "top");
    restartBus();
    ASSERT_TRUE(areNamesThereInTime());
    EXPECT_EQ(listOverlays(),
              "({objectpath '/com/orva/Overlay2/Overlay/2': {'com.orva.Overlay2.Overlay': "
              "{'Camera': <1>, 'OverlayType': <'textoverlay'>, 'OverlayId': <2>, 'Position': "
              "<'top'>, 'Size': <'0x40'>, 'Scalable': <true>}}},)");
    EXPECT_EQ(create(), "(objectpath '/com/orva/Overlay2/Overlay/3',)");
}

TEST_F(VideoBusTest, KeepsStreamsFromTheListWhenTheBusIsBack) {
    EXPECT_EQ(client->call(kGraphics1, kGraphicsPath, "com.orva.Host.Streams1", "Remove",
                           g_variant_new("(i)", 1)),
              "()");
    restartBus();
    ASSERT_TRUE(areNamesThereInTime());
    EXPECT_THAT(
        client->call(kGraphics1, "/com/orva/Graphics1/Stream", kManager, "GetManagedObjects"),
        StartsWith("({objectpath '/com/orva/Graphics1/Stream/2'"));
}

TEST_F(VideoBusTest, WaitsForABusThatIsNotThereYet) {
    stop();
    client.reset();
    bus.reset();
    start();
    bus.emplace(&address);
    client.emplace(*bus);
    EXPECT_TRUE(areNamesThereInTime());
}

TEST_F(VideoBusTest, WaitsForANameThatAnotherHas) {
    stop();
    std::optional<BusNames> owner(std::in_place, *bus, std::vector<std::string>{kGraphics1});
    start();
    EXPECT_THAT(
        client->call(kGraphics1, kGraphicsPath, "com.orva.Graphics1.Overlay", "OpenCameraDevice"),
        StartsWith("org.freedesktop.DBus.Error.Unknown"));
    owner.reset();
    EXPECT_TRUE(areNamesThereInTime());
    EXPECT_THAT(create(), StartsWith("(objectpath"));
}

TEST_F(VideoBusTest, LeavesTheBusWhenItEnds) {
    stop();
    EXPECT_TRUE(
        waitFor([this] { return !client->isOnBus(kOverlay2) && !client->isOnBus(kGraphics1); }));
}

TEST(BusClients, KnowsTheConnectionsOfOneProcess) {
    const PrivateBus bus;
    const BusCaller one(bus), other(bus);
    BusClients clients(one.get());
    EXPECT_TRUE(clients.areSame(one.name(), one.name()));
    EXPECT_TRUE(clients.areSame(one.name(), other.name()));
    EXPECT_FALSE(clients.areSame(one.name(), "org.freedesktop.DBus"));
    EXPECT_FALSE(clients.areSame(one.name(), ":1.999"));
    EXPECT_FALSE(clients.areSame(":1.998", ":1.999"));
}

TEST(BusClients, TellsOfEveryClientThatLeaves) {
    const PrivateBus bus;
    const BusCaller one(bus);
    std::optional<BusCaller> other(std::in_place, bus);
    const std::string name = other->name();
    BusClients clients(one.get());
    std::vector<std::string> left;
    clients.onLeave([&](const std::string& client) { left.push_back(client); });
    EXPECT_TRUE(clients.areSame(one.name(), name));
    other.reset();
    EXPECT_TRUE(waitFor([&] {
        g_main_context_iteration(nullptr, FALSE);
        return !left.empty();
    }));
    EXPECT_EQ(left, std::vector<std::string>{name});
    EXPECT_FALSE(clients.areSame(one.name(), name));
}

}  // namespace

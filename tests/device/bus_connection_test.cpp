#include "device/bus_connection.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

#include "support/main_loop_thread.h"
#include "support/private_bus.h"
#include "support/wait_for.h"

namespace {

class BusConnectionTest : public testing::Test {
protected:
    BusConnectionTest() { thereIsNoBus(); }
    ~BusConnectionTest() override {
        connection.reset();
        pump();
        bus.reset();
        EXPECT_TRUE(isSharedConnectionGoneInTime());
        g_unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
    }

    static void thereIsNoBus() {
        g_setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus", TRUE);
    }
    void startBus() { bus.emplace(); }
    void stopBus() {
        bus.reset();
        thereIsNoBus();
    }
    static void pump() {
        while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
        }
    }
    /// Runs the main context until then; false after ten seconds.
    template <typename Condition>
    static bool pumpUntil(Condition condition) {
        return waitFor([&] {
            pump();
            return condition();
        });
    }

    /// Makes the connection under test, which notes what its handler is called with.
    void make() {
        connection = std::make_unique<BusConnection>(
            [this](GDBusConnection* fresh) { remade.push_back(fresh); });
    }
    void open() {
        make();
        g_autoptr(GDBusConnection) opened = connection->open();
        ASSERT_NE(opened, nullptr);
    }
    bool isThere() const {
        g_autoptr(GDBusConnection) present = connection->get();
        return present != nullptr;
    }
    /// Whether the bus answers on the present connection.
    bool isAnswered() const {
        g_autoptr(GDBusConnection) present = connection->get();
        g_autoptr(GVariant) reply =
            present == nullptr ? nullptr
                               : g_dbus_connection_call_sync(
                                     present, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                     "org.freedesktop.DBus", "GetId", nullptr, nullptr,
                                     G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
        return reply != nullptr;
    }

    std::optional<PrivateBus> bus;
    std::vector<GDBusConnection*> remade;
    std::unique_ptr<BusConnection> connection;
};

}  // namespace

TEST_F(BusConnectionTest, IsNotThereBeforeItIsOpened) {
    startBus();
    make();
    EXPECT_FALSE(isThere());
}

TEST_F(BusConnectionTest, OpensTheOneThatTheProcessShares) {
    startBus();
    make();
    g_autoptr(GDBusConnection) opened = connection->open();
    g_autoptr(GDBusConnection) present = connection->get();
    g_autoptr(GDBusConnection) shared = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);
    EXPECT_EQ(opened, shared);
    EXPECT_EQ(present, shared);
    EXPECT_TRUE(isAnswered());
    EXPECT_TRUE(remade.empty());
}

TEST_F(BusConnectionTest, SaysWhyThereIsNoBus) {
    make();
    g_autoptr(GError) error = nullptr;
    EXPECT_EQ(connection->open(&error), nullptr);
    ASSERT_NE(error, nullptr);
    EXPECT_STRNE(error->message, "");
    EXPECT_FALSE(isThere());
}

TEST_F(BusConnectionTest, DoesNotEndTheProcessWithTheBus) {
    startBus();
    open();
    {
        g_autoptr(GDBusConnection) present = connection->get();
        EXPECT_FALSE(g_dbus_connection_get_exit_on_close(present));
    }
    stopBus();
    EXPECT_TRUE(pumpUntil([this] { return !isThere(); }));
}

TEST_F(BusConnectionTest, ComesBackWithTheBusAsOftenAsItGoes) {
    startBus();
    open();
    for (std::size_t round = 1; round <= 3; ++round) {
        stopBus();
        ASSERT_TRUE(pumpUntil([this] { return !isThere(); }));
        EXPECT_EQ(remade.size(), round - 1);
        startBus();
        ASSERT_TRUE(pumpUntil([this] { return isAnswered(); }));
        ASSERT_TRUE(pumpUntil([&] { return remade.size() == round; }));
        g_autoptr(GDBusConnection) present = connection->get();
        EXPECT_EQ(remade.back(), present);
        EXPECT_FALSE(g_dbus_connection_get_exit_on_close(present));
    }
}

TEST_F(BusConnectionTest, IsTriedAgainWhenTheBusIsNotThereAtFirst) {
    make();
    EXPECT_EQ(connection->open(), nullptr);
    pumpUntil([end = g_get_monotonic_time() + 250000] { return g_get_monotonic_time() > end; });
    EXPECT_FALSE(isThere());
    startBus();
    EXPECT_TRUE(pumpUntil([this] { return remade.size() == 1; }));
    EXPECT_TRUE(isAnswered());
}

TEST_F(BusConnectionTest, TakesOneOfItsOwnWhenTheSharedOneIsClosed) {
    startBus();
    g_autoptr(GDBusConnection) held = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);
    ASSERT_NE(held, nullptr);
    g_dbus_connection_set_exit_on_close(held, FALSE);
    stopBus();
    ASSERT_TRUE(pumpUntil([&] { return g_dbus_connection_is_closed(held) != FALSE; }));
    make();
    {
        g_autoptr(GDBusConnection) opened = connection->open();
        EXPECT_EQ(opened, held);
    }
    EXPECT_FALSE(isThere());
    startBus();
    ASSERT_TRUE(pumpUntil([this] { return remade.size() == 1; }));
    EXPECT_NE(remade[0], held);
    EXPECT_TRUE(isAnswered());
}

TEST_F(BusConnectionTest, NeedsNoHandler) {
    connection = std::make_unique<BusConnection>();
    EXPECT_EQ(connection->open(), nullptr);
    startBus();
    EXPECT_TRUE(pumpUntil([this] { return isAnswered(); }));
}

TEST_F(BusConnectionTest, LivesOnForThoseWhoHoldIt) {
    startBus();
    open();
    g_autoptr(GDBusConnection) held = connection->get();
    connection.reset();
    EXPECT_FALSE(g_dbus_connection_is_closed(held));
}

TEST_F(BusConnectionTest, CanEndWhileItIsTriedAgain) {
    make();
    EXPECT_EQ(connection->open(), nullptr);
    connection.reset();
    startBus();
    pumpUntil([end = g_get_monotonic_time() + 250000] { return g_get_monotonic_time() > end; });
    EXPECT_TRUE(remade.empty());
}

TEST_F(BusConnectionTest, CanEndWhileItConnects) {
    startBus();
    const std::string address = g_getenv("DBUS_SYSTEM_BUS_ADDRESS");
    for (long microseconds = 100000; microseconds < 105000; microseconds += 500) {
        thereIsNoBus();
        make();
        const long start = g_get_monotonic_time();
        EXPECT_EQ(connection->open(), nullptr);
        g_setenv("DBUS_SYSTEM_BUS_ADDRESS", address.c_str(), TRUE);
        // The attempt begins after 100 ms and takes several turns of the context.
        pumpUntil([&] { return g_get_monotonic_time() - start >= microseconds; });
        connection.reset();
        pump();
    }
}

TEST_F(BusConnectionTest, CanBeEndedByItsHandler) {
    bool called = false;
    connection = std::make_unique<BusConnection>([&](GDBusConnection*) {
        called = true;
        connection.reset();
    });
    EXPECT_EQ(connection->open(), nullptr);
    startBus();
    EXPECT_TRUE(pumpUntil([&] { return called; }));
    EXPECT_EQ(connection, nullptr);
}

TEST_F(BusConnectionTest, EndsOnlyAfterARunningHandler) {
    std::promise<void> entered;
    std::promise<void> leave;
    std::atomic<bool> left{false};
    connection = std::make_unique<BusConnection>([&](GDBusConnection*) {
        entered.set_value();
        leave.get_future().wait();
        left = true;
    });
    EXPECT_EQ(connection->open(), nullptr);
    startBus();
    const MainLoopThread loop;
    entered.get_future().wait();
    std::thread helper([&] { leave.set_value(); });
    connection.reset();
    EXPECT_TRUE(left);
    helper.join();
}

TEST_F(BusConnectionTest, CanBeAskedByAnyThreadWhileTheBusComesAndGoes) {
    startBus();
    connection = std::make_unique<BusConnection>();
    { g_autoptr(GDBusConnection) opened = connection->open(); }
    const MainLoopThread loop;
    std::atomic<bool> done{false};
    std::thread asker([&] {
        while (!done) {
            isThere();
        }
    });
    for (int round = 0; round < 3; ++round) {
        {
            g_autoptr(GDBusConnection) present = connection->get();
            EXPECT_NE(present, nullptr);
            if (present != nullptr) {
                g_dbus_connection_close_sync(present, nullptr, nullptr);
            }
        }
        EXPECT_TRUE(waitFor([this] { return isAnswered(); }));
    }
    done = true;
    asker.join();
    connection.reset();
}

#include "device/bus_connection.h"

#include <utility>

namespace {

/// Milliseconds.
constexpr unsigned kRetryInterval = 100;

constexpr auto kMessageBusClient = static_cast<GDBusConnectionFlags>(
    G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT | G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);

}  // namespace

/// What the sources on the main context work on. Each of them owns a share of it.
class BusConnection::Link {
public:
    explicit Link(RemadeHandler handler) : onRemade(std::move(handler)) {
        g_mutex_init(&mutex);
        g_cond_init(&handlerEnded);
    }
    ~Link() {
        g_mutex_clear(&mutex);
        g_cond_clear(&handlerEnded);
    }
    Link(const Link&) = delete;
    Link& operator=(const Link&) = delete;

    using Share = std::shared_ptr<Link>;

    static GDBusConnection* open(const Share& link, GError** error);
    static void end(Link& link);
    GDBusConnection* get();

private:
    static void adopt(const Share& link, GDBusConnection* connection);
    static void lose(const Share& link, GDBusConnection* connection);
    static void retryLater(const Share& link);
    static void runHandler(Link& link, GDBusConnection* connection);

    static void onClosed(GDBusConnection* connection, gboolean, GError*, gpointer share);
    static gboolean onRetry(gpointer share);
    static void onConnected(GObject*, GAsyncResult* result, gpointer share);

    static gpointer newShare(const Share& link) { return new Share(link); }
    static void deleteShare(gpointer share) { delete static_cast<Share*>(share); }
    static const Share& of(gpointer share) { return *static_cast<Share*>(share); }

    const RemadeHandler onRemade;
    GMutex mutex;
    GCond handlerEnded;
    // All guarded by mutex.
    bool ended = false;
    GDBusConnection* connection = nullptr;  // owned
    gulong closedSignal = 0;
    GSource* retry = nullptr;         // owned
    GCancellable* attempt = nullptr;  // owned
    GThread* handlerThread = nullptr;
};

GDBusConnection* BusConnection::Link::open(const Share& link, GError** error) {
    GDBusConnection* shared = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, error);
    if (shared != nullptr && g_dbus_connection_is_closed(shared) == FALSE) {
        adopt(link, shared);
    } else {
        g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&link->mutex);
        retryLater(link);
    }
    return shared;
}

/// Takes a reference of its own, unless it has come too late.
void BusConnection::Link::adopt(const Share& link, GDBusConnection* fresh) {
    // Otherwise GLib would end the process along with the bus.
    g_dbus_connection_set_exit_on_close(fresh, FALSE);
    {
        g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&link->mutex);
        if (link->ended) {
            return;
        }
        link->connection = static_cast<GDBusConnection*>(g_object_ref(fresh));
        link->closedSignal = g_signal_connect_data(
            fresh, "closed", G_CALLBACK(onClosed), newShare(link),
            [](gpointer share, GClosure*) { deleteShare(share); }, GConnectFlags{});
    }
    // Its signal may have passed before there was anybody to hear it.
    if (g_dbus_connection_is_closed(fresh) != FALSE) {
        lose(link, fresh);
    }
}

void BusConnection::Link::lose(const Share& link, GDBusConnection* closed) {
    g_autoptr(GDBusConnection) lost = nullptr;
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&link->mutex);
    if (link->ended || link->connection != closed) {
        return;
    }
    lost = std::exchange(link->connection, nullptr);
    g_signal_handler_disconnect(lost, link->closedSignal);
    retryLater(link);
}

/// The caller holds the mutex.
void BusConnection::Link::retryLater(const Share& link) {
    g_clear_pointer(&link->retry, g_source_unref);
    link->retry = g_timeout_source_new(kRetryInterval);
    g_source_set_callback(link->retry, onRetry, newShare(link), deleteShare);
    g_source_attach(link->retry, nullptr);
}

void BusConnection::Link::runHandler(Link& link, GDBusConnection* fresh) {
    {
        g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&link.mutex);
        if (link.ended || !link.onRemade) {
            return;
        }
        link.handlerThread = g_thread_self();
    }
    link.onRemade(fresh);
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&link.mutex);
    link.handlerThread = nullptr;
    g_cond_broadcast(&link.handlerEnded);
}

void BusConnection::Link::onClosed(GDBusConnection* closed, gboolean, GError*, gpointer share) {
    const Share link = of(share);
    lose(link, closed);
}

gboolean BusConnection::Link::onRetry(gpointer share) {
    const Share link = of(share);
    g_autofree char* address = g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&link->mutex);
    if (link->ended) {
        return G_SOURCE_REMOVE;
    }
    if (address == nullptr) {
        return G_SOURCE_CONTINUE;
    }
    g_clear_object(&link->attempt);
    link->attempt = g_cancellable_new();
    g_dbus_connection_new_for_address(address, kMessageBusClient, nullptr, link->attempt,
                                      onConnected, newShare(link));
    return G_SOURCE_REMOVE;
}

void BusConnection::Link::onConnected(GObject*, GAsyncResult* result, gpointer share) {
    const Share link = of(share);
    deleteShare(share);
    g_autoptr(GDBusConnection) fresh = g_dbus_connection_new_for_address_finish(result, nullptr);
    {
        g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&link->mutex);
        if (link->ended) {
            return;
        }
        if (fresh == nullptr) {
            retryLater(link);
            return;
        }
    }
    adopt(link, fresh);
    runHandler(*link, fresh);
}

void BusConnection::Link::end(Link& link) {
    g_autoptr(GDBusConnection) last = nullptr;
    g_autoptr(GCancellable) running = nullptr;
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&link.mutex);
    link.ended = true;
    while (link.handlerThread != nullptr && link.handlerThread != g_thread_self()) {
        g_cond_wait(&link.handlerEnded, &link.mutex);
    }
    if (link.retry != nullptr) {
        g_source_destroy(link.retry);
    }
    g_clear_pointer(&link.retry, g_source_unref);
    running = std::exchange(link.attempt, nullptr);
    if (link.connection != nullptr) {
        last = std::exchange(link.connection, nullptr);
        g_signal_handler_disconnect(last, link.closedSignal);
    }
    g_clear_pointer(&locker, g_mutex_locker_free);
    g_cancellable_cancel(running);
}

GDBusConnection* BusConnection::Link::get() {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&mutex);
    if (connection == nullptr || g_dbus_connection_is_closed(connection) != FALSE) {
        return nullptr;
    }
    return static_cast<GDBusConnection*>(g_object_ref(connection));
}

BusConnection::BusConnection(RemadeHandler onRemade)
    : link(std::make_shared<Link>(std::move(onRemade))) {}

BusConnection::~BusConnection() {
    Link::end(*link);
}

GDBusConnection* BusConnection::open(GError** error) {
    return Link::open(link, error);
}

GDBusConnection* BusConnection::get() const {
    return link->get();
}

#pragma once

#include <gio/gio.h>

#include <functional>
#include <memory>

/// A connection to the system bus that comes back with the bus: while the bus is away it is tried
/// again every 100 ms, and the end of the bus never ends the process.
///
/// States: Closed -> open() -> Connected <-> Lost, until destruction. An open() that fails leads to
/// Lost. Connections after the first are private: a shared one stays the closed one for as long as
/// anybody holds it.
///
/// Threads: whoever runs the default main context notices the loss and connects anew; nothing comes
/// back while nobody does. get() may be called by any thread, the rest by the owner.
class BusConnection {
public:
    /// Called on the default main context's thread with each connection after the one that open()
    /// made, once get() gives it: the place to export objects and watch names again. Exports and
    /// watches on the connection before are dead; they are still to be released, and whoever holds
    /// them keeps a reference of that connection to do it with. Nothing is locked meanwhile. Throws
    /// nothing.
    using RemadeHandler = std::function<void(GDBusConnection* connection)>;

    explicit BusConnection(RemadeHandler onRemade = nullptr);
    /// Waits for a running handler, unless called by it; afterwards none is called. The connection
    /// itself lives on for those who hold references.
    ~BusConnection();
    BusConnection(const BusConnection&) = delete;
    BusConnection& operator=(const BusConnection&) = delete;

    /// Connects, for the first time; to be called once. Returns what g_bus_get_sync() gives, to be
    /// released with g_object_unref(): null, with `error` set, when there is no bus; a closed one
    /// when the process's shared connection is closed and still held. It is tried again in either
    /// case.
    GDBusConnection* open(GError** error = nullptr);

    /// A reference of the caller's own to the present connection, to be released with
    /// g_object_unref(); null while there is none that is open. An open one can close at any time:
    /// calls on it then fail, and signals are lost.
    GDBusConnection* get() const;

private:
    class Link;

    /// Shared with the sources on the main context, which may outlive this object by a moment.
    std::shared_ptr<Link> link;
};

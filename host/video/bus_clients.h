#pragma once

#include <gio/gio.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

/// Who is on the bus: tells of clients that leave it, and which of them are one program. A program
/// may have several connections, as it must once the bus has come back while it held an old one.
///
/// Lives on the thread of the default main context. A question about a client waits for the bus
/// itself, for nobody else.
class BusClients {
public:
    using LeaveCallback = std::function<void(const std::string& client)>;

    /// The connection is shared with the caller.
    explicit BusClients(GDBusConnection* bus);
    ~BusClients();
    BusClients(const BusClients&) = delete;
    BusClients& operator=(const BusClients&) = delete;

    /// The callback hears of every client, by its unique name.
    void onLeave(LeaveCallback callback) { callbacks.push_back(std::move(callback)); }

    /// Whether two unique names are of one process. Not when one has left.
    bool areSame(const std::string& one, const std::string& other);

private:
    static void onOwnerChanged(GDBusConnection*, const char*, const char*, const char*, const char*,
                               GVariant* parameters, gpointer self);
    /// 0 when it is not there.
    unsigned findProcess(const std::string& client);

    GDBusConnection* bus;  // owned share
    unsigned subscription;
    std::map<std::string, unsigned> processes;  // of those on the bus
    std::vector<LeaveCallback> callbacks;
};

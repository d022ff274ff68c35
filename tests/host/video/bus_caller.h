#pragma once

#include <gio/gio.h>

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "engine/file_descriptor.h"
#include "support/private_bus.h"

/// A client on the bus that waits for its replies. The services it calls run on another thread.
class BusCaller {
public:
    explicit BusCaller(const PrivateBus& bus);
    /// Leaves the bus.
    ~BusCaller();
    BusCaller(const BusCaller&) = delete;
    BusCaller& operator=(const BusCaller&) = delete;

    std::string name() const { return g_dbus_connection_get_unique_name(connection); }
    GDBusConnection* get() const { return connection; }

    /// The reply as text, or the error's name and message. A descriptor (borrowed) goes along as
    /// the first one.
    std::string call(const std::string& service, const std::string& path,
                     const std::string& interface, const std::string& method,
                     GVariant* parameters = nullptr, int descriptor = -1) const;
    /// The first descriptor of the reply; none without one.
    FileDescriptor callForDescriptor(const std::string& service, const std::string& path,
                                     const std::string& interface, const std::string& method) const;
    bool isOnBus(const std::string& service) const;

private:
    GDBusConnection* connection;
};

/// The signals of a service since it was made, "PATH MEMBER PARAMETERS" each. They come on the
/// default main context, which another thread runs.
class SignalRecord {
public:
    SignalRecord(const PrivateBus& bus, const std::string& service);
    ~SignalRecord();
    SignalRecord(const SignalRecord&) = delete;
    SignalRecord& operator=(const SignalRecord&) = delete;

    std::vector<std::string> get() const;

private:
    struct Record {
        std::mutex mutex;
        std::vector<std::string> signals;  // guarded by mutex
    };

    GDBusConnection* connection;
    // Belongs to the subscription, which ends on another thread.
    const std::shared_ptr<Record> record = std::make_shared<Record>();
    unsigned subscription;
};

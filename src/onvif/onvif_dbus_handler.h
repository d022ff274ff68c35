#pragma once

#include <gio/gio.h>

#include <memory>
#include <string>

#include "app/status.h"

class BusConnection;
class OnvifHandler;

/// The rule service: the object /com/orva/MotionRegion with the interface com.orva.Onvif.Rule1 on
/// the system bus, for the device's analytics service, com.orva.Onvif.Analytics1. Whenever that
/// appears on the bus the rule's type and options are registered with it, from the connection that
/// has the object.
///
/// A bus that is missing at the start is one warning, and the process goes on without the service.
/// A bus that goes away takes the service along; when it is back, the object is there again and the
/// analytics service is watched for again, without a word in the log.
///
/// Threads: everything runs on the default main context, one call at a time: methods, the
/// registration (which blocks it until the analytics service has replied), and the way back to the
/// bus. Construction and destruction may happen on any other thread. No method runs any more when
/// the destructor returns; one that runs is waited for.
class OnvifDBusHandler {
public:
    /// Starts the service. Borrows the operations, for longer than this lives.
    explicit OnvifDBusHandler(OnvifHandler* handler);
    ~OnvifDBusHandler();
    OnvifDBusHandler(const OnvifDBusHandler&) = delete;
    OnvifDBusHandler& operator=(const OnvifDBusHandler&) = delete;

    /// The name of the error a client gets for a status; empty for success, which is never sent.
    static std::string convertStatusToErrorName(StatusCode_e status);

private:
    class Operations;

    void start();
    void serve(GDBusConnection* bus);
    void withdraw();
    void comeBack(GDBusConnection* bus);

    /// Shared with the callbacks, which may outlive this object by a moment.
    const std::shared_ptr<Operations> operations;
    GDBusNodeInfo* introspection = nullptr;  // owned; constant after the start
    GMutex mutex;
    GDBusConnection* connection = nullptr;  // owned; guarded by mutex, as the three below
    unsigned registrationId = 0;
    unsigned watcherId = 0;
    unsigned filterId = 0;
    std::unique_ptr<BusConnection> bus;
};

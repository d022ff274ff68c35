#pragma once

#include <gio/gio.h>

#include <functional>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "engine/file_descriptor.h"
#include "video/fault_plan.h"

class BusClients;

/// A call from the bus. All is borrowed for the call.
struct BusCall {
    std::string sender;  ///< unique name
    std::string path;
    std::string interface;
    std::string method;
    GVariant* parameters;      ///< as declared
    GUnixFDList* descriptors;  ///< null without any
};

/// What a call returns.
struct BusReply {
    GVariant* body = nullptr;   ///< floating, consumed; null for none
    FileDescriptor descriptor;  ///< goes along as the first one, if there is one
};

/// Objects on the bus while it lives. A call is answered by its object's handler, unless the plan
/// of faults has it otherwise. Lives on the thread of the default main context; never waits.
class ServedObjects {
public:
    /// Throws BusError for an answer that is an error.
    using Handler = std::function<BusReply(const BusCall& call)>;

    /// The introspection data has all interfaces that are served. The connection is shared with the
    /// caller; clients and faults are borrowed.
    ServedObjects(GDBusConnection* bus, const char* introspection, BusClients& clients,
                  FaultPlan& faults);
    ~ServedObjects();
    ServedObjects(const ServedObjects&) = delete;
    ServedObjects& operator=(const ServedObjects&) = delete;

    /// Serves an interface at a path; it also gets Get and GetAll of
    /// org.freedesktop.DBus.Properties for the properties of the interface.
    void add(const std::string& path, const char* interface, Handler handler);
    void remove(const std::string& path, const char* interface);

    /// A floating reference of the parameters is consumed.
    void emit(const std::string& path, const char* interface, const char* signal,
              GVariant* parameters);

private:
    struct Object {
        ServedObjects& all;
        const Handler handler;
        unsigned registration = 0;
    };
    using Place = std::pair<std::string, std::string>;  // path and interface

    /// A call that waits for its time.
    struct Delayed {
        ServedObjects& all;
        Place place;
        GDBusMethodInvocation* call;  // owned
        unsigned timer = 0;
    };

    static void handleCall(GDBusConnection*, const char*, const char*, const char*, const char*,
                           GVariant*, GDBusMethodInvocation* call, gpointer object);
    void answer(GDBusMethodInvocation* call, const Handler& handler);
    void answerWithFault(GDBusMethodInvocation* call, const Place& place, const Fault& fault);
    void delay(GDBusMethodInvocation* call, const Place& place, unsigned milliseconds);
    void answerDelayed(Delayed& delayed);
    void forgetDelayed(const std::string& client);

    GDBusConnection* bus;  // owned share
    GDBusNodeInfo* introspection;
    FaultPlan& faults;  // borrowed
    std::map<Place, std::unique_ptr<Object>> objects;
    std::list<Delayed> delays;
};

#include "video/served_objects.h"

#include <gio/gunixfdlist.h>
#include <unistd.h>

#include <algorithm>
#include <exception>

#include "video/bus_clients.h"
#include "video/bus_error.h"
#include "video/faulty_reply.h"

namespace {

BusCall readCall(GDBusMethodInvocation* call) {
    GDBusMessage* message = g_dbus_method_invocation_get_message(call);
    return {g_dbus_method_invocation_get_sender(call),
            g_dbus_method_invocation_get_object_path(call),
            g_dbus_method_invocation_get_interface_name(call),
            g_dbus_method_invocation_get_method_name(call),
            g_dbus_method_invocation_get_parameters(call),
            g_dbus_message_get_unix_fd_list(message)};
}

/// Callers may have sent megabytes that an error quotes; a reply larger than the bus allows would
/// cost the connection.
std::string shorten(std::string text) {
    constexpr std::size_t most = 512;  // bytes
    if (text.size() > most) {
        std::size_t end = most;
        while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) {
            --end;  // no character is cut in two
        }
        text.resize(end);
        text += "...";
    }
    return text;
}

/// Consumes the call.
void replyError(GDBusMethodInvocation* call, const BusError& error) {
    g_dbus_method_invocation_return_dbus_error(call, error.name(), shorten(error.what()).c_str());
}

/// Consumes the call.
void reply(GDBusMethodInvocation* call, BusReply answer) {
    g_autoptr(GUnixFDList) list = nullptr;
    if (answer.descriptor) {
        list = g_unix_fd_list_new();
        g_unix_fd_list_append(list, answer.descriptor.get(), nullptr);
    }
    g_dbus_method_invocation_return_value_with_unix_fd_list(call, answer.body, list);
}

}  // namespace

ServedObjects::ServedObjects(GDBusConnection* connection, const char* xml, BusClients& clients,
                             FaultPlan& plan)
    : bus(G_DBUS_CONNECTION(g_object_ref(connection))),
      introspection(g_dbus_node_info_new_for_xml(xml, nullptr)),
      faults(plan) {
    clients.onLeave([this](const std::string& client) { forgetDelayed(client); });
}

ServedObjects::~ServedObjects() {
    for (Delayed& delayed : delays) {
        g_source_remove(delayed.timer);
        g_object_unref(delayed.call);
    }
    for (const auto& [place, object] : objects) {
        g_dbus_connection_unregister_object(bus, object->registration);
    }
    g_dbus_node_info_unref(introspection);
    g_object_unref(bus);
}

void ServedObjects::add(const std::string& path, const char* interface, Handler handler) {
    // Without a function for properties, they are calls like others.
    static constexpr GDBusInterfaceVTable kCallbacks = {handleCall, nullptr, nullptr, {}};
    auto object = std::make_unique<Object>(Object{*this, std::move(handler)});
    object->registration = g_dbus_connection_register_object(
        bus, path.c_str(), g_dbus_node_info_lookup_interface(introspection, interface), &kCallbacks,
        object.get(), nullptr, nullptr);
    objects[{path, interface}] = std::move(object);
}

void ServedObjects::remove(const std::string& path, const char* interface) {
    if (const auto object = objects.extract(Place{path, interface}); !object.empty()) {
        g_dbus_connection_unregister_object(bus, object.mapped()->registration);
    }
}

void ServedObjects::emit(const std::string& path, const char* interface, const char* signal,
                         GVariant* parameters) {
    g_dbus_connection_emit_signal(bus, nullptr, path.c_str(), interface, signal, parameters,
                                  nullptr);
}

void ServedObjects::handleCall(GDBusConnection*, const char*, const char*, const char*,
                               const char* method, GVariant*, GDBusMethodInvocation* call,
                               gpointer data) {
    auto& object = *static_cast<Object*>(data);
    ServedObjects& all = object.all;
    if (const std::optional<Fault> fault = all.faults.countCall(method)) {
        const auto found =
            std::find_if(all.objects.begin(), all.objects.end(),
                         [&](const auto& entry) { return entry.second.get() == &object; });
        all.answerWithFault(call, found->first, *fault);
        return;
    }
    all.answer(call, object.handler);
}

void ServedObjects::answer(GDBusMethodInvocation* call, const Handler& handler) {
    try {
        reply(call, handler(readCall(call)));
    } catch (const BusError& error) {
        replyError(call, error);
    } catch (const std::exception& error) {
        replyError(call, BusError(BusError::Reason::Failed, error.what()));
    }
}

void ServedObjects::answerWithFault(GDBusMethodInvocation* call, const Place& place,
                                    const Fault& fault) {
    if (fault.kind == Fault::Kind::Exit) {
        _exit(1);
    }
    if (fault.kind == Fault::Kind::Late) {
        delay(call, place, fault.milliseconds);
        return;
    }
    g_autoptr(GDBusMessage) message =
        FaultyReply::make(g_dbus_method_invocation_get_message(call), fault.kind);
    g_dbus_connection_send_message(bus, message, G_DBUS_SEND_MESSAGE_FLAGS_NONE, nullptr, nullptr);
    g_object_unref(call);
}

void ServedObjects::delay(GDBusMethodInvocation* call, const Place& place, unsigned milliseconds) {
    Delayed& delayed = delays.emplace_back(Delayed{*this, place, call});
    delayed.timer = g_timeout_add(
        milliseconds,
        [](gpointer data) -> gboolean {
            auto& late = *static_cast<Delayed*>(data);
            late.all.answerDelayed(late);
            return G_SOURCE_REMOVE;
        },
        &delayed);
}

void ServedObjects::answerDelayed(Delayed& delayed) {
    GDBusMethodInvocation* call = delayed.call;
    const auto object = objects.find(delayed.place);
    delays.remove_if([&](const Delayed& one) { return &one == &delayed; });
    if (object != objects.end()) {
        answer(call, object->second->handler);
    } else {
        g_dbus_method_invocation_return_dbus_error(call, "org.freedesktop.DBus.Error.UnknownObject",
                                                   "the object has gone");
    }
}

/// What a client asked for is not done once it has left.
void ServedObjects::forgetDelayed(const std::string& client) {
    delays.remove_if([&](const Delayed& delayed) {
        if (client != g_dbus_method_invocation_get_sender(delayed.call)) {
            return false;
        }
        g_source_remove(delayed.timer);
        g_object_unref(delayed.call);
        return true;
    });
}

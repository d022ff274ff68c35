#pragma once

#include <gio/gio.h>

#include <memory>
#include <string>

#include "device/bus_connection.h"

class AlarmOverlayMessage;

/// Follows the objects of an object manager on the system bus. Signals come on the default main
/// context; the end of the follower does not wait for one that is being handled.
///
/// A service that comes back, alone or with the whole bus, says nothing of the objects that it
/// brings along. They are listed then, and each counts as new; those that are gone count as
/// removed.
///
/// Any thread without a main context of its own may make one, and any thread may list.
class ObjectFollower {
public:
    using Callback = void (*)(const AlarmOverlayMessage&);

    /// What to do about objects that come and go. Both may throw std::runtime_error.
    struct Handlers {
        /// Takes the properties of a new object, "a{sv}" (borrowed).
        void (*onAdded)(GVariant* properties, Callback callback);
        /// Takes the number at the end of the object's path.
        void (*onRemoved)(int id, Callback callback);
    };

    /// Throws std::runtime_error with one of the texts when the manager cannot be reached or
    /// followed. The handlers are borrowed, for good.
    ObjectFollower(const std::string& service, const std::string& path, const Handlers& handlers,
                   Callback callback, const std::string& noProxyText,
                   const std::string& notConnectedText);
    ~ObjectFollower();
    ObjectFollower(const ObjectFollower&) = delete;
    ObjectFollower& operator=(const ObjectFollower&) = delete;

    /// The reply of GetManagedObjects, "(a{oa{sa{sv}}})" (the caller unrefs it). Throws
    /// std::runtime_error.
    GVariant* listObjects(const std::string& failureText) const;

    /// Calls a function with the properties of each object of a reply of listObjects().
    template <typename Function>
    static void forEachObject(GVariant* reply, Function function) {
        g_autoptr(GVariant) objects = g_variant_get_child_value(reply, 0);
        for (gsize i = 0; i < g_variant_n_children(objects); ++i) {
            g_autoptr(GVariant) entry = g_variant_get_child_value(objects, i);
            g_autoptr(GVariant) interfaces = g_variant_get_child_value(entry, 1);
            g_autoptr(GVariant) properties = findProperties(interfaces);
            if (properties != nullptr) {
                function(properties);
            }
        }
    }

private:
    /// The properties of the object's own interface, out of "a{sa{sv}}" (the caller unrefs them);
    /// null when it has only the bus's.
    static GVariant* findProperties(GVariant* interfaces);

    class Link;

    /// Shared with what waits on the main context, which may outlive this object by a moment.
    std::shared_ptr<Link> link;
    BusConnection bus;
};

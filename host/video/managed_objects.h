#pragma once

#include <gio/gio.h>

#include <functional>
#include <initializer_list>
#include <set>
#include <string>

#include "video/served_objects.h"

/// Numbered objects of one interface, PATH/ID, below an object manager at PATH, with their
/// properties and all signals that belong to them. Lives on the thread of the default main context.
class ManagedObjects {
public:
    /// The properties of an object, a floating "a{sv}".
    using Describer = std::function<GVariant*(int id)>;

    /// What the objects (borrowed) are introspected by must have
    /// org.freedesktop.DBus.ObjectManager. The handler gets the calls of the interface's own
    /// methods.
    ManagedObjects(ServedObjects& objects, std::string path, const char* interface,
                   Describer describe, ServedObjects::Handler handler);

    /// An object that is there without a signal, since nobody can have looked yet.
    void addSilently(int id);
    void add(int id);
    void remove(int id);
    /// Tells of the values that these properties have now.
    void tellOfChange(int id, std::initializer_list<const char*> properties);

    std::string pathOf(int id) const { return path + "/" + std::to_string(id); }
    /// 0 for the path of something else.
    int idOf(const std::string& objectPath) const;

private:
    BusReply handleCall(int id, const BusCall& call);
    GVariant* listAll() const;

    ServedObjects& objects;  // borrowed
    const std::string path;
    const char* const interface;
    const Describer describe;
    const ServedObjects::Handler handler;
    std::set<int> ids;
};

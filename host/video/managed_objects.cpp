#include "video/managed_objects.h"

#include <charconv>
#include <utility>

#include "video/bus_error.h"

namespace {

constexpr const char* kManager = "org.freedesktop.DBus.ObjectManager";
constexpr const char* kProperties = "org.freedesktop.DBus.Properties";

/// A floating "a{sa{sv}}" of one interface; consumes the properties.
GVariant* makeInterfaces(const char* interface, GVariant* properties) {
    GVariantBuilder interfaces;
    g_variant_builder_init(&interfaces, G_VARIANT_TYPE("a{sa{sv}}"));
    g_variant_builder_add(&interfaces, "{s@a{sv}}", interface, properties);
    return g_variant_builder_end(&interfaces);
}

}  // namespace

ManagedObjects::ManagedObjects(ServedObjects& theObjects, std::string managerPath,
                               const char* theInterface, Describer describer,
                               ServedObjects::Handler methodHandler)
    : objects(theObjects),
      path(std::move(managerPath)),
      interface(theInterface),
      describe(std::move(describer)),
      handler(std::move(methodHandler)) {
    objects.add(path, kManager, [this](const BusCall&) {
        return BusReply{g_variant_new("(@a{oa{sa{sv}}})", listAll()), {}};
    });
}

void ManagedObjects::addSilently(int id) {
    ids.insert(id);
    objects.add(pathOf(id), interface,
                [this, id](const BusCall& call) { return handleCall(id, call); });
}

void ManagedObjects::add(int id) {
    addSilently(id);
    objects.emit(path, kManager, "InterfacesAdded",
                 g_variant_new("(o@a{sa{sv}})", pathOf(id).c_str(),
                               makeInterfaces(interface, describe(id))));
}

void ManagedObjects::remove(int id) {
    if (ids.erase(id) == 0) {
        return;
    }
    const char* const names[] = {interface, nullptr};
    objects.remove(pathOf(id), interface);
    objects.emit(path, kManager, "InterfacesRemoved",
                 g_variant_new("(o^as)", pathOf(id).c_str(), names));
}

void ManagedObjects::tellOfChange(int id, std::initializer_list<const char*> names) {
    g_autoptr(GVariant) properties = g_variant_ref_sink(describe(id));
    GVariantBuilder changed;
    g_variant_builder_init(&changed, G_VARIANT_TYPE_VARDICT);
    for (const char* name : names) {
        g_autoptr(GVariant) value = g_variant_lookup_value(properties, name, nullptr);
        g_variant_builder_add(&changed, "{sv}", name, value);
    }
    objects.emit(pathOf(id), kProperties, "PropertiesChanged",
                 g_variant_new("(sa{sv}as)", interface, &changed, nullptr));
}

int ManagedObjects::idOf(const std::string& objectPath) const {
    int id = 0;
    const std::size_t number = objectPath.rfind('/') + 1;
    std::from_chars(objectPath.data() + number, objectPath.data() + objectPath.size(), id);
    return ids.contains(id) && objectPath == pathOf(id) ? id : 0;
}

BusReply ManagedObjects::handleCall(int id, const BusCall& call) {
    if (call.interface != kProperties) {
        return handler(call);
    }
    g_autoptr(GVariant) properties = g_variant_ref_sink(describe(id));
    if (call.method == "GetAll") {
        return {g_variant_new("(@a{sv})", properties), {}};
    }
    const char* name = nullptr;
    g_variant_get(call.parameters, "(&s&s)", nullptr, &name);
    g_autoptr(GVariant) value = g_variant_lookup_value(properties, name, nullptr);
    if (value == nullptr) {
        throw BusError(BusError::Reason::NotFound, std::string("no property ") + name);
    }
    return {g_variant_new("(v)", value), {}};
}

GVariant* ManagedObjects::listAll() const {
    GVariantBuilder all;
    g_variant_builder_init(&all, G_VARIANT_TYPE("a{oa{sa{sv}}}"));
    for (const int id : ids) {
        g_variant_builder_add(&all, "{o@a{sa{sv}}}", pathOf(id).c_str(),
                              makeInterfaces(interface, describe(id)));
    }
    return g_variant_builder_end(&all);
}

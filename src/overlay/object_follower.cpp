#include "overlay/object_follower.h"

#include <syslog.h>

#include <cstdlib>
#include <cstring>
#include <set>
#include <stdexcept>
#include <utility>

#include "app/glib_utils.h"
#include "app/maybe.h"
#include "app/status.h"
#include "device/dbus_utils.h"

namespace {

constexpr const char* kManager = "org.freedesktop.DBus.ObjectManager";
constexpr const char* kList = "GetManagedObjects";
constexpr auto kFlags = G_DBUS_PROXY_FLAGS_DO_NOT_LOAD_PROPERTIES;

/// The number at the end of an object's path.
Maybe<int> findId(const char* path) {
    guint64 id = 0;
    const bool isNumber = g_ascii_string_to_unsigned(std::strrchr(path, '/') + 1, 10, 0, G_MAXINT,
                                                     &id, nullptr) != FALSE;
    return isNumber ? Maybe<int>(static_cast<int>(id)) : Maybe<int>();
}

/// The numbers of all objects of a reply of GetManagedObjects.
std::set<int> findIds(GVariant* reply) {
    std::set<int> ids;
    g_autoptr(GVariant) objects = g_variant_get_child_value(reply, 0);
    for (gsize i = 0; i < g_variant_n_children(objects); ++i) {
        const char* path = nullptr;
        g_variant_get_child(objects, i, "{&o@a{sa{sv}}}", &path, nullptr);
        const Maybe<int> id = findId(path);
        if (id.hasValue()) {
            ids.insert(id.get());
        }
    }
    return ids;
}

void throwIfNoList(GVariant* reply, const std::string& failureText) {
    const bool isRight =
        reply != nullptr && g_variant_is_of_type(reply, G_VARIANT_TYPE("(a{oa{sa{sv}}})")) != FALSE;
    GlibUtils::throwIfNull(isRight ? reply : nullptr, failureText);
}

/// Nothing may be thrown through the main loop.
template <typename Function>
void logFailures(Function function) {
    try {
        function();
    } catch (const std::runtime_error& failure) {
        syslog(LOG_WARNING, "Error when handling stream changes: %s\n", failure.what());
    }
}

}  // namespace

/// What signals and replies work on. Each of them owns a share of it.
class ObjectFollower::Link {
public:
    using Share = std::shared_ptr<Link>;

    Link(const Handlers& objectHandlers, Callback messages)
        : handlers(objectHandlers), callback(messages) {
        g_mutex_init(&mutex);
    }
    ~Link() { g_mutex_clear(&mutex); }
    Link(const Link&) = delete;
    Link& operator=(const Link&) = delete;

    /// Goes over to another proxy, unless it has come too late; false when it cannot be heard.
    static bool follow(const Share& link, GDBusProxy* fresh);
    /// Asks for all objects there are; the reply comes on the main context.
    static void listAnew(const Share& link, GDBusProxy* proxy);
    void end();

    /// The caller unrefs it.
    GDBusProxy* getProxy();
    /// What the caller was told that there is.
    void addKnown(const std::set<int>& ids);

private:
    static void onSignal(GDBusProxy* proxy, const char* sender, const char* signal,
                         GVariant* parameters, gpointer share);
    static void onOwner(GDBusProxy* proxy, GParamSpec*, gpointer share);
    static void onListed(GObject* proxy, GAsyncResult* result, gpointer share);

    template <typename Handler>
    static gulong connect(const Share& link, GDBusProxy* proxy, const char* signal,
                          Handler handler);
    bool isFollowing(const GDBusProxy* asked);
    void drop();

    void handleSignal(const std::string& signal, GVariant* parameters);
    void handleAdded(GVariant* parameters);
    void handleRemoved(GVariant* parameters);
    void handleList(GVariant* reply);

    const Handlers& handlers;
    const Callback callback;
    GMutex mutex;
    // All guarded by mutex.
    bool ended = false;
    GDBusProxy* proxy = nullptr;  // owned
    gulong objectSignal = 0;
    gulong ownerSignal = 0;
    std::set<int> known;
};

template <typename Handler>
gulong ObjectFollower::Link::connect(const Share& link, GDBusProxy* proxy, const char* signal,
                                     Handler handler) {
    return g_signal_connect_data(
        proxy, signal, G_CALLBACK(handler), new Share(link),
        [](gpointer share, GClosure*) { delete static_cast<Share*>(share); }, GConnectFlags{});
}

bool ObjectFollower::Link::follow(const Share& link, GDBusProxy* fresh) {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&link->mutex);
    if (link->ended) {
        return false;
    }
    link->drop();
    link->proxy = static_cast<GDBusProxy*>(g_object_ref(fresh));
    link->objectSignal = connect(link, fresh, "g-signal", onSignal);
    link->ownerSignal = connect(link, fresh, "notify::g-name-owner", onOwner);
    return link->objectSignal != 0 && link->ownerSignal != 0;
}

/// The caller holds the mutex.
void ObjectFollower::Link::drop() {
    if (proxy == nullptr) {
        return;
    }
    g_signal_handler_disconnect(proxy, objectSignal);
    g_signal_handler_disconnect(proxy, ownerSignal);
    g_clear_object(&proxy);
}

void ObjectFollower::Link::end() {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&mutex);
    ended = true;
    drop();
}

GDBusProxy* ObjectFollower::Link::getProxy() {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&mutex);
    return static_cast<GDBusProxy*>(g_object_ref(proxy));
}

bool ObjectFollower::Link::isFollowing(const GDBusProxy* asked) {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&mutex);
    return proxy == asked;
}

void ObjectFollower::Link::addKnown(const std::set<int>& ids) {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&mutex);
    known.insert(ids.begin(), ids.end());
}

void ObjectFollower::Link::onSignal(GDBusProxy* proxy, const char*, const char* signal,
                                    GVariant* parameters, gpointer share) {
    const Share link = *static_cast<Share*>(share);
    if (link->isFollowing(proxy)) {
        logFailures([&] { link->handleSignal(signal, parameters); });
    }
}

void ObjectFollower::Link::onOwner(GDBusProxy* proxy, GParamSpec*, gpointer share) {
    listAnew(*static_cast<Share*>(share), proxy);
}

void ObjectFollower::Link::listAnew(const Share& link, GDBusProxy* proxy) {
    g_autofree char* owner = g_dbus_proxy_get_name_owner(proxy);
    // The one that has gone leaves its objects to the next.
    if (owner != nullptr) {
        g_dbus_proxy_call(proxy, kList, nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, onListed,
                          new Share(link));
    }
}

void ObjectFollower::Link::onListed(GObject* source, GAsyncResult* result, gpointer share) {
    const std::unique_ptr<Share> link(static_cast<Share*>(share));
    GDBusProxy* proxy = G_DBUS_PROXY(source);
    g_autoptr(GError) error = nullptr;
    g_autoptr(GVariant) reply = g_dbus_proxy_call_finish(proxy, result, &error);
    if (!(*link)->isFollowing(proxy)) {
        return;
    }
    logFailures([&] {
        GlibUtils::throwIfNotOk(error, "DBus call to list objects failed");
        throwIfNoList(reply, "DBus call to list objects failed");
        (*link)->handleList(reply);
    });
}

void ObjectFollower::Link::handleSignal(const std::string& signal, GVariant* parameters) {
    if (signal == "InterfacesAdded") {
        handleAdded(parameters);
    } else if (signal == "InterfacesRemoved") {
        handleRemoved(parameters);
    } else {
        syslog(LOG_INFO, "Unknown signal in stream callback\n");
    }
}

void ObjectFollower::Link::handleAdded(GVariant* parameters) {
    utils::throwIf(!g_variant_is_of_type(parameters, G_VARIANT_TYPE("(oa{sa{sv}})")),
                   "Unexpected parameters of InterfacesAdded");
    const char* path = nullptr;
    g_autoptr(GVariant) interfaces = nullptr;
    g_variant_get(parameters, "(&o@a{sa{sv}})", &path, &interfaces);
    const Maybe<int> id = findId(path);
    if (id.hasValue()) {
        addKnown({id.get()});
    }
    g_autoptr(GVariant) properties = findProperties(interfaces);
    if (properties != nullptr) {
        handlers.onAdded(properties, callback);
    }
}

void ObjectFollower::Link::handleRemoved(GVariant* parameters) {
    utils::throwIf(!g_variant_is_of_type(parameters, G_VARIANT_TYPE("(oas)")),
                   "Unexpected parameters of InterfacesRemoved");
    const char* path = nullptr;
    g_variant_get_child(parameters, 0, "&o", &path);
    const Maybe<int> id = findId(path);
    utils::throwIf(!id.hasValue(), std::string("No id in the path of an object: ") + path);
    {
        g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&mutex);
        known.erase(id.get());
    }
    handlers.onRemoved(id.get(), callback);
}

void ObjectFollower::Link::handleList(GVariant* reply) {
    std::set<int> gone = findIds(reply);
    {
        g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&mutex);
        known.swap(gone);
        std::erase_if(gone, [this](int id) { return known.contains(id); });
    }
    for (const int id : gone) {
        logFailures([&] { handlers.onRemoved(id, callback); });
    }
    forEachObject(reply, [this](GVariant* properties) {
        logFailures([&] { handlers.onAdded(properties, callback); });
    });
}

ObjectFollower::ObjectFollower(const std::string& service, const std::string& path,
                               const Handlers& handlers, Callback callback,
                               const std::string& noProxyText, const std::string& notConnectedText)
    : link(std::make_shared<Link>(handlers, callback)),
      bus([link = link, service, path, noProxyText](GDBusConnection* fresh) {
          logFailures([&] {
              g_autoptr(GDBusProxy) proxy =
                  DBusUtils::createProxy(fresh, service, path, kManager, noProxyText, kFlags);
              if (Link::follow(link, proxy)) {
                  Link::listAnew(link, proxy);
              }
          });
      }) {
    g_autoptr(GDBusConnection) shared = bus.open();
    g_autoptr(GDBusProxy) proxy =
        DBusUtils::createProxy(service, path, kManager, noProxyText, kFlags);
    utils::throwIf(!Link::follow(link, proxy), notConnectedText);
}

ObjectFollower::~ObjectFollower() {
    link->end();
}

GVariant* ObjectFollower::listObjects(const std::string& failureText) const {
    g_autoptr(GDBusProxy) proxy = link->getProxy();
    g_autoptr(GVariant) reply = DBusUtils::callSync(proxy, kList, nullptr, failureText, true);
    throwIfNoList(reply, failureText);
    link->addKnown(findIds(reply));
    return static_cast<GVariant*>(g_steal_pointer(&reply));
}

GVariant* ObjectFollower::findProperties(GVariant* interfaces) {
    for (gsize i = 0; i < g_variant_n_children(interfaces); ++i) {
        const char* name = nullptr;
        g_autoptr(GVariant) properties = nullptr;
        g_variant_get_child(interfaces, i, "{&s@a{sv}}", &name, &properties);
        if (g_str_has_prefix(name, "org.freedesktop.DBus.") == FALSE) {
            return static_cast<GVariant*>(g_steal_pointer(&properties));
        }
    }
    return nullptr;
}

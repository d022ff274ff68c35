#include "zqevent/zqevent.h"

#include <memory>
#include <mutex>

#include "zqevent/event_bus.h"
#include "zqevent/event_keys.h"
#include "zqevent/host/zqevent_host.h"

/// All handlers of a process share its bus.
struct _ZQEventHandler {
    std::shared_ptr<EventBus> bus;
};

namespace {

struct Process {
    std::mutex mutex;
    EventBusSettings settings;
    std::shared_ptr<EventBus> bus;
};

/// Never destroyed: threads of the application may still call while the process ends.
Process& process() {
    static Process* const one = new Process;
    return *one;
}

std::shared_ptr<EventBus> runningBus() {
    const std::lock_guard lock(process().mutex);
    if (!process().bus) {
        process().bus = EventBus::start(process().settings);
    }
    return process().bus;
}

void stopBus() {
    std::shared_ptr<EventBus> bus;
    {
        const std::lock_guard lock(process().mutex);
        bus.swap(process().bus);
    }
    if (bus) {
        bus->stop();
    }
}

/// The application keeps its handler to the end: what waits is sent when the library goes.
__attribute__((destructor)) void endOfProcess() {
    stopBus();
}

bool truth(gboolean value) {
    return value != FALSE;
}

}  // namespace

void zq_event_host_configure(const ZQEventHostSettings* settings) {
    EventBusSettings wanted;
    wanted.host = settings->host ? settings->host : wanted.host;
    wanted.port = settings->host ? settings->port : wanted.port;
    wanted.prefix = settings->prefix ? settings->prefix : wanted.prefix;
    wanted.stateFolder = settings->stateFolder ? settings->stateFolder : wanted.stateFolder;
    const std::lock_guard lock(process().mutex);
    process().settings = wanted;
}

void zq_event_host_stop(void) {
    stopBus();
}

ZQEventHandler* zq_event_handler_new(void) {
    return new _ZQEventHandler{runningBus()};
}

void zq_event_handler_free(ZQEventHandler* handler) {
    if (handler) {
        handler->bus->release(handler);
        delete handler;
    }
}

ZQEventKeyValueSet* zq_event_key_value_set_new(void) {
    return new _ZQEventKeyValueSet;
}

void zq_event_key_value_set_free(ZQEventKeyValueSet* set) {
    delete set;
}

gboolean zq_event_key_value_set_add_key_value(ZQEventKeyValueSet* set, const char* key,
                                              const char* nameSpace, const void* value,
                                              ZQValueType type, GError** error) {
    return set->keys.add(key, nameSpace, value, type, error);
}

gboolean zq_event_key_value_set_add_nice_names(ZQEventKeyValueSet* set, const char* key,
                                               const char* nameSpace, const char* keyNiceName,
                                               const char* valueNiceName, GError** error) {
    EventKey* found = set->keys.change(key, nameSpace, error);
    if (!found) {
        return FALSE;
    }
    found->keyNiceName = keyNiceName ? keyNiceName : found->keyNiceName;
    found->valueNiceName = valueNiceName ? valueNiceName : found->valueNiceName;
    return TRUE;
}

gboolean zq_event_key_value_set_mark_as_data(ZQEventKeyValueSet* set, const char* key,
                                             const char* nameSpace, GError** error) {
    EventKey* found = set->keys.change(key, nameSpace, error);
    return found && (found->isData = true);
}

gboolean zq_event_key_value_set_mark_as_source(ZQEventKeyValueSet* set, const char* key,
                                               const char* nameSpace, GError** error) {
    EventKey* found = set->keys.change(key, nameSpace, error);
    return found && (found->isSource = true);
}

gboolean zq_event_key_value_set_mark_as_user_defined(ZQEventKeyValueSet* set, const char* key,
                                                     const char* nameSpace, const char* tag,
                                                     GError** error) {
    EventKey* found = set->keys.change(key, nameSpace, error);
    if (!found) {
        return FALSE;
    }
    found->tags.emplace_back(tag ? tag : "");
    return TRUE;
}

gboolean zq_event_key_value_set_get_boolean(const ZQEventKeyValueSet* set, const char* key,
                                            const char* nameSpace, gboolean* value,
                                            GError** error) {
    const bool* found = set->keys.get<bool>(key, nameSpace, error);
    *value = found ? *found : *value;
    return found != nullptr;
}

gboolean zq_event_key_value_set_get_integer(const ZQEventKeyValueSet* set, const char* key,
                                            const char* nameSpace, gint* value, GError** error) {
    const int* found = set->keys.get<int>(key, nameSpace, error);
    *value = found ? *found : *value;
    return found != nullptr;
}

gboolean zq_event_key_value_set_get_string(const ZQEventKeyValueSet* set, const char* key,
                                           const char* nameSpace, char** value, GError** error) {
    const std::string* found = set->keys.get<std::string>(key, nameSpace, error);
    *value = found ? g_strdup(found->c_str()) : *value;
    return found != nullptr;
}

gboolean zq_event_handler_declare(ZQEventHandler* handler, const ZQEventKeyValueSet* set,
                                  gboolean stateless, guint* declaration,
                                  ZQDeclarationCallback callback, void* userData, GError** error) {
    return handler->bus->declare(handler, set->keys, truth(stateless), *declaration, callback,
                                 userData, error);
}

gboolean zq_event_handler_undeclare(ZQEventHandler* handler, guint declaration, GError** error) {
    return handler->bus->undeclare(handler, declaration, error);
}

ZQEvent* zq_event_new2(const ZQEventKeyValueSet* set, GDateTime* timeStamp) {
    return new _ZQEvent(set->keys, timeStamp);
}

void zq_event_free(ZQEvent* event) {
    delete event;
}

const ZQEventKeyValueSet* zq_event_get_key_value_set(const ZQEvent* event) {
    return &event->set;
}

GDateTime* zq_event_get_time_stamp(const ZQEvent* event) {
    return event->time;
}

gboolean zq_event_handler_send_event(ZQEventHandler* handler, guint declaration,
                                     const ZQEvent* event, GError** error) {
    return handler->bus->send(handler, declaration, *event, error);
}

gboolean zq_event_handler_subscribe(ZQEventHandler* handler, const ZQEventKeyValueSet* set,
                                    guint* subscription, ZQSubscriptionCallback callback,
                                    void* userData, GError** error) {
    return handler->bus->subscribe(handler, set->keys, *subscription, callback, userData, error);
}

gboolean zq_event_handler_unsubscribe(ZQEventHandler* handler, guint subscription, GError** error) {
    return handler->bus->unsubscribe(handler, subscription, error);
}

#include "zqevent/double/zqevent_double.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <memory>
#include <mutex>

#include "double/fault_plan.h"

struct _ZQEventHandler {
    bool freed = false;
    bool madeBeforeReset = false;
};

namespace {

/// A set or an event that was handed out; kept after it was freed.
template <typename T>
struct Handed {
    std::unique_ptr<T> handle;
    bool freed = false;
};

struct Subscribed {
    ZQEventDouble::Subscription record;
    ZQSubscriptionCallback callback;
    void* userData;
};

std::mutex mutex;

struct State {
    FaultPlan plan;
    std::vector<std::string> log;
    std::vector<std::string> misuses;
    std::vector<ZQEventDouble::Declaration> declarations;
    std::vector<ZQEventDouble::Sent> sent;
    std::vector<Subscribed> subscriptions;
    std::map<const void*, Handed<_ZQEventKeyValueSet>> sets;
    std::map<const void*, Handed<_ZQEvent>> events;
    unsigned lastDeclaration = 0;
    unsigned lastSubscription = 0;
};

State state;
// Handlers outlive a reset, as they outlive a test in the process that keeps one.
std::map<const void*, std::unique_ptr<_ZQEventHandler>> handlers;

void misuse(const std::string& function, const std::string& what) {
    state.misuses.push_back(function + ": " + what);
}

template <typename T>
bool isUsable(const std::map<const void*, Handed<T>>& handed, const void* handle,
              const char* function) {
    const auto found = handed.find(handle);
    if (found == handed.end()) {
        misuse(function, "unknown handle");
        return false;
    }
    if (found->second.freed) {
        misuse(function, "handle was freed before");
        return false;
    }
    return true;
}

bool isUsableSet(const ZQEventKeyValueSet* set, const char* function) {
    if (state.sets.count(set)) {
        return isUsable(state.sets, set, function);
    }
    for (const auto& [handle, event] : state.events) {
        if (event.handle && &event.handle->set == set) {
            return isUsable(state.events, handle, function);
        }
    }
    misuse(function, "unknown handle");
    return false;
}

bool isUsableHandler(const ZQEventHandler* handler, const char* function) {
    const auto found = handlers.find(handler);
    if (found == handlers.end()) {
        misuse(function, "unknown handle");
        return false;
    }
    if (found->second->freed) {
        misuse(function, "handle was freed before");
        return false;
    }
    return true;
}

template <typename T>
void release(std::map<const void*, Handed<T>>& handed, const T* handle, const char* function) {
    state.log.push_back(function);
    if (handle && isUsable(handed, handle, function)) {
        handed[handle].freed = true;
    }
}

/// Counts a call that can fail and writes it down; tells whether it is to fail.
bool begin(const char* function, const std::string& details = {}) {
    const bool fails = state.plan.fails(function);
    state.log.push_back(function + (details.empty() ? "" : " " + details) +
                        (fails ? " failed" : ""));
    return fails;
}

gboolean refuse(GError** error) {
    g_set_error_literal(error, ZQ_EVENT_ERROR, ZQ_EVENT_ERROR_INVALID, "injected failure");
    return FALSE;
}

gboolean refuseUnknown(GError** error) {
    g_set_error_literal(error, ZQ_EVENT_ERROR, ZQ_EVENT_ERROR_NOT_FOUND, "unknown");
    return FALSE;
}

/// A call on a set that can fail: `work` on the keys if it does not.
template <typename Set, typename Work>
gboolean onSet(const char* function, Set* set, GError** error, const Work& work) {
    const std::lock_guard lock(mutex);
    if (begin(function) || !isUsableSet(set, function)) {
        return refuse(error);
    }
    return work(set->keys) ? TRUE : FALSE;
}

template <typename Work>
gboolean onKey(const char* function, ZQEventKeyValueSet* set, const char* key,
               const char* nameSpace, GError** error, const Work& work) {
    return onSet(function, set, error, [&](EventKeys& keys) {
        EventKey* found = keys.change(key, nameSpace, error);
        if (found) {
            work(*found);
        }
        return found != nullptr;
    });
}

std::string describeValue(const EventValue& value) {
    if (const auto* text = std::get_if<std::string>(&value)) {
        return '"' + *text + '"';
    }
    if (const auto* number = std::get_if<int>(&value)) {
        return std::to_string(*number);
    }
    if (const auto* truth = std::get_if<bool>(&value)) {
        return *truth ? "true" : "false";
    }
    return "null";
}

std::string describeKey(const EventKey& key) {
    std::string text = key.name + "=" + (key.nameSpace.empty() ? "" : key.nameSpace + ":") +
                       describeValue(key.value);
    if (!key.keyNiceName.empty() || !key.valueNiceName.empty()) {
        text += " (" + key.keyNiceName + "|" + key.valueNiceName + ")";
    }
    text += key.isSource ? " source" : "";
    text += key.isData ? " data" : "";
    for (const std::string& tag : key.tags) {
        text += " [" + tag + "]";
    }
    return text;
}

std::int64_t microseconds(GDateTime* time) {
    return g_date_time_to_unix(time) * G_USEC_PER_SEC + g_date_time_get_microsecond(time);
}

std::string describeTime(GDateTime* time) {
    g_autofree char* seconds = g_date_time_format(time, "%Y-%m-%dT%H:%M:%S");
    char fraction[16];
    std::snprintf(fraction, sizeof fraction, ".%06dZ", g_date_time_get_microsecond(time));
    return std::string("@") + seconds + fraction;
}

template <typename T>
int live(const std::map<const void*, Handed<T>>& handed) {
    return static_cast<int>(std::count_if(handed.begin(), handed.end(),
                                          [](const auto& entry) { return !entry.second.freed; }));
}

ZQEventDouble::Declaration* findDeclared(unsigned id, const ZQEventHandler* handler) {
    for (ZQEventDouble::Declaration& declaration : state.declarations) {
        if (declaration.id == id && declaration.declared && declaration.handler == handler) {
            return &declaration;
        }
    }
    return nullptr;
}

Subscribed* findSubscribed(unsigned id) {
    for (Subscribed& subscription : state.subscriptions) {
        if (subscription.record.id == id && subscription.record.subscribed) {
            return &subscription;
        }
    }
    return nullptr;
}

ZQEvent* newEvent(const EventKeys& keys, GDateTime* time) {
    auto event = std::make_unique<_ZQEvent>(keys, time);
    ZQEvent* handle = event.get();
    state.events[handle] = {std::move(event), false};
    return handle;
}

EventKeys eventKeys(const ZQEventDouble::Values& values) {
    EventKeys keys;
    for (const auto& [name, value] : values) {
        EventKey key;
        key.name = name;
        key.value = value;
        key.type = std::holds_alternative<std::string>(value) ? ZQ_VALUE_TYPE_STRING
                   : std::holds_alternative<bool>(value)      ? ZQ_VALUE_TYPE_BOOL
                                                              : ZQ_VALUE_TYPE_INT;
        key.isData = true;
        keys.append(std::move(key));
    }
    return keys;
}

}  // namespace

namespace ZQEventDouble {

void reset() {
    const std::lock_guard lock(mutex);
    state = State();
    for (auto& [handle, handler] : handlers) {
        handler->madeBeforeReset = true;
    }
}

void failCall(const std::string& function, int n) {
    const std::lock_guard lock(mutex);
    state.plan.failCall(function, n);
}

void failEveryCall(const std::string& function) {
    const std::lock_guard lock(mutex);
    state.plan.failEveryCall(function);
}

void failAnyCall(int n) {
    const std::lock_guard lock(mutex);
    state.plan.failAnyCall(n);
}

int calls(const std::string& function) {
    const std::lock_guard lock(mutex);
    return state.plan.calls(function);
}

std::vector<std::string> log() {
    const std::lock_guard lock(mutex);
    return state.log;
}

std::vector<std::string> log(const std::string& function) {
    std::vector<std::string> lines = log();
    std::erase_if(lines, [&](const std::string& line) {
        return line != function && !line.starts_with(function + " ");
    });
    return lines;
}

std::vector<Declaration> declarations() {
    const std::lock_guard lock(mutex);
    return state.declarations;
}

std::vector<Declaration> declared() {
    std::vector<Declaration> standing = declarations();
    std::erase_if(standing, [](const Declaration& one) { return !one.declared; });
    return standing;
}

std::vector<Sent> sent() {
    const std::lock_guard lock(mutex);
    return state.sent;
}

std::vector<Subscription> subscriptions() {
    const std::lock_guard lock(mutex);
    std::vector<Subscription> records;
    for (const Subscribed& subscription : state.subscriptions) {
        records.push_back(subscription.record);
    }
    return records;
}

int liveHandlers() {
    const std::lock_guard lock(mutex);
    return static_cast<int>(std::count_if(handlers.begin(), handlers.end(), [](const auto& entry) {
        return !entry.second->freed && !entry.second->madeBeforeReset;
    }));
}

int liveSets() {
    const std::lock_guard lock(mutex);
    return live(state.sets);
}

int liveEvents() {
    const std::lock_guard lock(mutex);
    return live(state.events);
}

std::vector<std::string> misuses() {
    const std::lock_guard lock(mutex);
    return state.misuses;
}

std::vector<std::string> problems() {
    std::vector<std::string> all = misuses();
    if (const int sets = liveSets()) {
        all.push_back(std::to_string(sets) + " key-value sets not freed");
    }
    if (const int events = liveEvents()) {
        all.push_back(std::to_string(events) + " events not freed");
    }
    return all;
}

bool deliver(unsigned subscription, const Values& values, std::int64_t utcMicroseconds) {
    std::unique_lock lock(mutex);
    const Subscribed* found = findSubscribed(subscription);
    if (!found) {
        return false;
    }
    const ZQSubscriptionCallback callback = found->callback;
    void* const userData = found->userData;
    g_autoptr(GDateTime) epoch = g_date_time_new_from_unix_utc(0);
    g_autoptr(GDateTime) time = g_date_time_add(epoch, utcMicroseconds);
    ZQEvent* event = newEvent(eventKeys(values), time);
    lock.unlock();
    callback(subscription, event, userData);
    return true;
}

std::string describe(const EventKeys& keys) {
    std::string text;
    for (const EventKey& key : keys) {
        text += (text.empty() ? "" : " ") + describeKey(key);
    }
    return text;
}

}  // namespace ZQEventDouble

ZQEventHandler* zq_event_handler_new(void) {
    const std::lock_guard lock(mutex);
    if (begin(__func__)) {
        return nullptr;
    }
    auto handler = std::make_unique<_ZQEventHandler>();
    ZQEventHandler* handle = handler.get();
    handlers[handle] = std::move(handler);
    return handle;
}

void zq_event_handler_free(ZQEventHandler* handler) {
    const std::lock_guard lock(mutex);
    state.log.push_back(__func__);
    if (!handler || !isUsableHandler(handler, __func__)) {
        return;
    }
    handlers[handler]->freed = true;
    for (ZQEventDouble::Declaration& declaration : state.declarations) {
        declaration.declared = declaration.declared && declaration.handler != handler;
    }
    for (Subscribed& subscription : state.subscriptions) {
        ZQEventDouble::Subscription& record = subscription.record;
        record.subscribed = record.subscribed && record.handler != handler;
    }
}

ZQEventKeyValueSet* zq_event_key_value_set_new(void) {
    const std::lock_guard lock(mutex);
    if (begin(__func__)) {
        return nullptr;
    }
    auto set = std::make_unique<_ZQEventKeyValueSet>();
    ZQEventKeyValueSet* handle = set.get();
    state.sets[handle] = {std::move(set), false};
    return handle;
}

void zq_event_key_value_set_free(ZQEventKeyValueSet* set) {
    const std::lock_guard lock(mutex);
    release(state.sets, set, __func__);
}

gboolean zq_event_key_value_set_add_key_value(ZQEventKeyValueSet* set, const char* key,
                                              const char* nameSpace, const void* value,
                                              ZQValueType type, GError** error) {
    return onSet(__func__, set, error,
                 [&](EventKeys& keys) { return keys.add(key, nameSpace, value, type, error); });
}

gboolean zq_event_key_value_set_add_nice_names(ZQEventKeyValueSet* set, const char* key,
                                               const char* nameSpace, const char* keyNiceName,
                                               const char* valueNiceName, GError** error) {
    return onKey(__func__, set, key, nameSpace, error, [&](EventKey& found) {
        found.keyNiceName = keyNiceName ? keyNiceName : found.keyNiceName;
        found.valueNiceName = valueNiceName ? valueNiceName : found.valueNiceName;
    });
}

gboolean zq_event_key_value_set_mark_as_data(ZQEventKeyValueSet* set, const char* key,
                                             const char* nameSpace, GError** error) {
    return onKey(__func__, set, key, nameSpace, error,
                 [](EventKey& found) { found.isData = true; });
}

gboolean zq_event_key_value_set_mark_as_source(ZQEventKeyValueSet* set, const char* key,
                                               const char* nameSpace, GError** error) {
    return onKey(__func__, set, key, nameSpace, error,
                 [](EventKey& found) { found.isSource = true; });
}

gboolean zq_event_key_value_set_mark_as_user_defined(ZQEventKeyValueSet* set, const char* key,
                                                     const char* nameSpace, const char* tag,
                                                     GError** error) {
    return onKey(__func__, set, key, nameSpace, error,
                 [&](EventKey& found) { found.tags.emplace_back(tag ? tag : ""); });
}

gboolean zq_event_key_value_set_get_boolean(const ZQEventKeyValueSet* set, const char* key,
                                            const char* nameSpace, gboolean* value,
                                            GError** error) {
    return onSet(__func__, set, error, [&](const EventKeys& keys) {
        const bool* found = keys.get<bool>(key, nameSpace, error);
        *value = found ? *found : *value;
        return found != nullptr;
    });
}

gboolean zq_event_key_value_set_get_integer(const ZQEventKeyValueSet* set, const char* key,
                                            const char* nameSpace, gint* value, GError** error) {
    return onSet(__func__, set, error, [&](const EventKeys& keys) {
        const int* found = keys.get<int>(key, nameSpace, error);
        *value = found ? *found : *value;
        return found != nullptr;
    });
}

gboolean zq_event_key_value_set_get_string(const ZQEventKeyValueSet* set, const char* key,
                                           const char* nameSpace, char** value, GError** error) {
    return onSet(__func__, set, error, [&](const EventKeys& keys) {
        const std::string* found = keys.get<std::string>(key, nameSpace, error);
        *value = found ? g_strdup(found->c_str()) : *value;
        return found != nullptr;
    });
}

gboolean zq_event_handler_declare(ZQEventHandler* handler, const ZQEventKeyValueSet* set,
                                  gboolean stateless, guint* declaration,
                                  ZQDeclarationCallback callback, void* userData, GError** error) {
    std::unique_lock lock(mutex);
    if (!isUsableHandler(handler, __func__) || !isUsableSet(set, __func__)) {
        return refuse(error);
    }
    const unsigned id = state.lastDeclaration + 1;
    if (begin(__func__, (stateless ? "stateless " : "stateful ") + std::to_string(id) + ": " +
                            ZQEventDouble::describe(set->keys))) {
        return refuse(error);
    }
    state.lastDeclaration = id;
    state.declarations.push_back({id, stateless != FALSE, set->keys, true, handler});
    *declaration = id;
    lock.unlock();
    if (callback) {
        callback(id, userData);
    }
    return TRUE;
}

gboolean zq_event_handler_undeclare(ZQEventHandler* handler, guint declaration, GError** error) {
    const std::lock_guard lock(mutex);
    if (begin(__func__, std::to_string(declaration)) || !isUsableHandler(handler, __func__)) {
        return refuse(error);
    }
    ZQEventDouble::Declaration* found = findDeclared(declaration, handler);
    if (!found) {
        return refuseUnknown(error);
    }
    found->declared = false;
    return TRUE;
}

ZQEvent* zq_event_new2(const ZQEventKeyValueSet* set, GDateTime* timeStamp) {
    const std::lock_guard lock(mutex);
    if (begin(__func__) || !isUsableSet(set, __func__)) {
        return nullptr;
    }
    return newEvent(set->keys, timeStamp);
}

void zq_event_free(ZQEvent* event) {
    const std::lock_guard lock(mutex);
    release(state.events, event, __func__);
}

const ZQEventKeyValueSet* zq_event_get_key_value_set(const ZQEvent* event) {
    const std::lock_guard lock(mutex);
    return isUsable(state.events, event, __func__) ? &event->set : nullptr;
}

GDateTime* zq_event_get_time_stamp(const ZQEvent* event) {
    const std::lock_guard lock(mutex);
    return isUsable(state.events, event, __func__) ? event->time : nullptr;
}

gboolean zq_event_handler_send_event(ZQEventHandler* handler, guint declaration,
                                     const ZQEvent* event, GError** error) {
    const std::lock_guard lock(mutex);
    if (!isUsableHandler(handler, __func__) || !isUsable(state.events, event, __func__)) {
        return refuse(error);
    }
    const EventKeys& values = event->set.keys;
    const bool fails =
        begin(__func__, std::to_string(declaration) + ": " + ZQEventDouble::describe(values) +
                            (values.empty() ? "" : " ") + describeTime(event->time));
    const bool known = findDeclared(declaration, handler) != nullptr;
    state.sent.push_back({declaration, values, microseconds(event->time), known && !fails});
    if (fails) {
        return refuse(error);
    }
    return known ? TRUE : refuseUnknown(error);
}

gboolean zq_event_handler_subscribe(ZQEventHandler* handler, const ZQEventKeyValueSet* set,
                                    guint* subscription, ZQSubscriptionCallback callback,
                                    void* userData, GError** error) {
    const std::lock_guard lock(mutex);
    if (!isUsableHandler(handler, __func__) || !isUsableSet(set, __func__)) {
        return refuse(error);
    }
    const unsigned id = state.lastSubscription + 1;
    if (begin(__func__, std::to_string(id) + ": " + ZQEventDouble::describe(set->keys))) {
        return refuse(error);
    }
    state.lastSubscription = id;
    state.subscriptions.push_back({{id, set->keys, true, handler}, callback, userData});
    *subscription = id;
    return TRUE;
}

gboolean zq_event_handler_unsubscribe(ZQEventHandler* handler, guint subscription, GError** error) {
    const std::lock_guard lock(mutex);
    if (begin(__func__, std::to_string(subscription)) || !isUsableHandler(handler, __func__)) {
        return refuse(error);
    }
    Subscribed* found = findSubscribed(subscription);
    if (!found || found->record.handler != handler) {
        return refuseUnknown(error);
    }
    found->record.subscribed = false;
    return TRUE;
}

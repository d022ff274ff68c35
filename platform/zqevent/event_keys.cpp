#include "zqevent/event_keys.h"

#include <algorithm>

namespace {

std::string_view textOf(const char* text) {
    return text ? text : std::string_view();
}

bool isValueType(int type) {
    return type == ZQ_VALUE_TYPE_INT || type == ZQ_VALUE_TYPE_BOOL || type == ZQ_VALUE_TYPE_STRING;
}

EventValue valueAt(const void* value, ZQValueType type) {
    if (!value) {
        return std::monostate();
    }
    switch (type) {
        case ZQ_VALUE_TYPE_INT:
            return *static_cast<const gint*>(value);
        case ZQ_VALUE_TYPE_BOOL:
            return *static_cast<const gboolean*>(value) != FALSE;
        case ZQ_VALUE_TYPE_STRING:
            break;
    }
    return std::string(static_cast<const char*>(value));
}

}  // namespace

GQuark zq_event_error_quark(void) {
    return g_quark_from_static_string("zq-event-error");
}

std::optional<unsigned> EventKey::topicLevel() const {
    constexpr std::string_view names[] = {"topic0", "topic1", "topic2"};
    const auto* found = std::find(std::begin(names), std::end(names), name);
    if (found == std::end(names)) {
        return std::nullopt;
    }
    return static_cast<unsigned>(found - std::begin(names));
}

bool EventKeys::add(const char* key, const char* nameSpace, const void* value, ZQValueType type,
                    GError** error) {
    if (textOf(key).empty() || !isValueType(type)) {
        g_set_error(error, ZQ_EVENT_ERROR, ZQ_EVENT_ERROR_INVALID,
                    "A key needs a name and a known type");
        return false;
    }
    EventKey* present = change(key, nameSpace, nullptr);
    if (!present) {
        keys.emplace_back();
        present = &keys.back();
        present->name = key;
        present->nameSpace = textOf(nameSpace);
    }
    present->type = type;
    present->value = valueAt(value, type);
    return true;
}

EventKey* EventKeys::change(const char* key, const char* nameSpace, GError** error) {
    return const_cast<EventKey*>(look(key, nameSpace, error));
}

const EventKey* EventKeys::find(std::string_view key, std::string_view nameSpace) const {
    const auto found = std::find_if(keys.begin(), keys.end(), [&](const EventKey& candidate) {
        return candidate.name == key && candidate.nameSpace == nameSpace;
    });
    return found == keys.end() ? nullptr : &*found;
}

const EventKey* EventKeys::look(const char* key, const char* nameSpace, GError** error) const {
    const EventKey* found = find(textOf(key), textOf(nameSpace));
    if (!found) {
        g_set_error(error, ZQ_EVENT_ERROR, ZQ_EVENT_ERROR_NOT_FOUND, "No key '%s'",
                    key ? key : "(null)");
    }
    return found;
}

void EventKeys::refuseType(const EventKey& key, GError** error) {
    g_set_error(error, ZQ_EVENT_ERROR, ZQ_EVENT_ERROR_TYPE,
                "The key '%s' has no value of the type asked for", key.name.c_str());
}

_ZQEvent::_ZQEvent(const EventKeys& keys, GDateTime* stamp)
    : set{keys}, time(stamp ? g_date_time_to_utc(stamp) : g_date_time_new_now_utc()) {}

_ZQEvent::~_ZQEvent() {
    g_date_time_unref(time);
}

#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "zqevent/zqevent.h"

/// A key's value; empty for "no value".
using EventValue = std::variant<std::monostate, int, bool, std::string>;

/// One key of a set, as it was described.
struct EventKey {
    std::string name;
    std::string nameSpace;  ///< empty for none
    ZQValueType type = ZQ_VALUE_TYPE_INT;
    EventValue value;
    std::string keyNiceName;
    std::string valueNiceName;
    std::vector<std::string> tags;
    bool isData = false;
    bool isSource = false;

    /// The level that a key named "topic0" to "topic2" gives, nothing for any other key.
    std::optional<unsigned> topicLevel() const;
};

/// What a set holds: keys in the order in which they were added. A value type; the library and its
/// double share it.
class EventKeys {
public:
    /// As zq_event_key_value_set_add_key_value().
    bool add(const char* key, const char* nameSpace, const void* value, ZQValueType type,
             GError** error);
    /// The key for a change; null, and `error` set, if it is not there.
    EventKey* change(const char* key, const char* nameSpace, GError** error);
    /// Appends a key as it is.
    void append(EventKey key) { keys.push_back(std::move(key)); }

    const EventKey* find(std::string_view key, std::string_view nameSpace = {}) const;
    /// The value if the key is there and has one of type T; else null, and `error` set.
    template <typename T>
    const T* get(const char* key, const char* nameSpace, GError** error) const {
        const EventKey* found = look(key, nameSpace, error);
        const T* value = found ? std::get_if<T>(&found->value) : nullptr;
        if (found && !value) {
            refuseType(*found, error);
        }
        return value;
    }

    auto begin() const { return keys.begin(); }
    auto end() const { return keys.end(); }
    bool empty() const { return keys.empty(); }
    std::size_t size() const { return keys.size(); }

private:
    const EventKey* look(const char* key, const char* nameSpace, GError** error) const;
    static void refuseType(const EventKey& key, GError** error);

    std::vector<EventKey> keys;
};

/// What the contract's handles are made of.
struct _ZQEventKeyValueSet {
    EventKeys keys;
};

struct _ZQEvent {
    /// `time` is borrowed; null for now.
    _ZQEvent(const EventKeys& keys, GDateTime* time);
    ~_ZQEvent();
    _ZQEvent(const _ZQEvent&) = delete;
    _ZQEvent& operator=(const _ZQEvent&) = delete;

    _ZQEventKeyValueSet set;
    GDateTime* time;  ///< owned, in UTC
};

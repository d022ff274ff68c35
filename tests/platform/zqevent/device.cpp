#include "platform/zqevent/device.h"

#include <memory>

KeySet::KeySet(const std::vector<Key>& keys) : set(zq_event_key_value_set_new()) {
    for (const Key& key : keys) {
        const char* nameSpace = key.nameSpace.empty() ? nullptr : key.nameSpace.c_str();
        const void* value = nullptr;
        ZQValueType type = ZQ_VALUE_TYPE_STRING;
        gint number = 0;
        gboolean truth = FALSE;
        if (const auto* text = std::get_if<std::string>(&key.value)) {
            value = text->c_str();
        } else if (const auto* integer = std::get_if<int>(&key.value)) {
            number = *integer;
            value = &number;
            type = ZQ_VALUE_TYPE_INT;
        } else if (const auto* boolean = std::get_if<bool>(&key.value)) {
            truth = *boolean;
            value = &truth;
            type = ZQ_VALUE_TYPE_BOOL;
        }
        zq_event_key_value_set_add_key_value(set, key.name.c_str(), nameSpace, value, type,
                                             nullptr);
        if (key.mark == Key::data) {
            zq_event_key_value_set_mark_as_data(set, key.name.c_str(), nameSpace, nullptr);
        } else if (key.mark == Key::source) {
            zq_event_key_value_set_mark_as_source(set, key.name.c_str(), nameSpace, nullptr);
        }
    }
}

guint declare(ZQEventHandler* handler, const std::vector<Key>& keys, bool stateless,
              GError** error) {
    const KeySet set(keys);
    guint id = 0;
    zq_event_handler_declare(handler, set.get(), stateless, &id, nullptr, nullptr, error);
    return id;
}

bool send(ZQEventHandler* handler, guint declaration, const std::vector<Key>& values,
          gint64 utcMicroseconds, GError** error) {
    const KeySet set(values);
    g_autoptr(GDateTime) epoch = g_date_time_new_from_unix_utc(0);
    g_autoptr(GDateTime) time =
        utcMicroseconds < 0 ? nullptr : g_date_time_add(epoch, utcMicroseconds);
    const std::unique_ptr<ZQEvent, void (*)(ZQEvent*)> event(zq_event_new2(set.get(), time),
                                                             zq_event_free);
    return zq_event_handler_send_event(handler, declaration, event.get(), error) != FALSE;
}

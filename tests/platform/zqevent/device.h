#pragma once

#include <string>
#include <vector>

#include "platform/zqevent/keys.h"
#include "zqevent/host/zqevent_host.h"
#include "zqevent/zqevent.h"

/// A set made through the library's functions; frees itself.
class KeySet {
public:
    explicit KeySet(const std::vector<Key>& keys);
    ~KeySet() { zq_event_key_value_set_free(set); }
    KeySet(const KeySet&) = delete;
    KeySet& operator=(const KeySet&) = delete;
    ZQEventKeyValueSet* get() const { return set; }

private:
    ZQEventKeyValueSet* set;
};

/// Declares, or 0.
guint declare(ZQEventHandler* handler, const std::vector<Key>& keys, bool stateless,
              GError** error = nullptr);
/// Sends at a time in microseconds since the epoch, or now for -1.
bool send(ZQEventHandler* handler, guint declaration, const std::vector<Key>& values,
          gint64 utcMicroseconds = -1, GError** error = nullptr);

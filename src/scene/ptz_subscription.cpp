#include "scene/ptz_subscription.h"

#include <syslog.h>

#include <utility>

G_DEFINE_AUTOPTR_CLEANUP_FUNC(ZQEventKeyValueSet, zq_event_key_value_set_free)

namespace {

void addTopic(ZQEventKeyValueSet* set, const char* key, const char* nameSpace, const char* value) {
    g_autoptr(GError) error = nullptr;
    if (!zq_event_key_value_set_add_key_value(set, key, nameSpace, value, ZQ_VALUE_TYPE_STRING,
                                              &error)) {
        syslog(LOG_ERR, "Failed to add key to PTZ callback ValueSet, message: %s\n",
               error->message);
    }
}

}  // namespace

PTZ_Subscription::PTZ_Subscription(const char* name0, const char* name1,
                                   ZQSubscriptionCallback callback, void* userData)
    : handler(zq_event_handler_new()) {
    if (handler == nullptr) {
        syslog(LOG_ERR, "Failed to register PTZ callback, message: %s\n", "no event handler");
        return;
    }
    g_autoptr(ZQEventKeyValueSet) set = zq_event_key_value_set_new();
    addTopic(set, "topic0", "tns1", name0);
    addTopic(set, "topic1", "tnsorva", name1);
    g_autoptr(GError) error = nullptr;
    if (!zq_event_handler_subscribe(handler, set, &subscriptionId, callback, userData, &error)) {
        syslog(LOG_ERR, "Failed to register PTZ callback, message: %s\n", error->message);
        zq_event_handler_free(std::exchange(handler, nullptr));
    }
}

PTZ_Subscription::~PTZ_Subscription() {
    if (handler == nullptr) {
        return;
    }
    g_autoptr(GError) error = nullptr;
    if (!zq_event_handler_unsubscribe(handler, subscriptionId, &error)) {
        syslog(LOG_ERR, "Failed to unregister the PTZ callback, message: %s\n", error->message);
    }
    zq_event_handler_free(handler);
}

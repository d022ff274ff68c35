#pragma once

#include "zqevent/zqevent.h"

/// A subscription to one of the device's PTZ events, for as long as it lives. Callbacks come on the
/// main loop; unsubscribing does not wait for them.
class PTZ_Subscription {
public:
    /// Subscribes to the event topic `tns1:name0/tnsorva:name1`. A failure is logged and leaves an
    /// object without a subscription.
    PTZ_Subscription(const char* name0, const char* name1, ZQEventSubscriptionCallback callback,
                     void* userData);
    ~PTZ_Subscription();
    PTZ_Subscription(const PTZ_Subscription&) = delete;
    PTZ_Subscription& operator=(const PTZ_Subscription&) = delete;

private:
    /// Owned; null when the subscription failed.
    _ZQEventHandler* handler;
    guint subscriptionId = 0;
};

#pragma once

#include "zqevent/zqevent.h"

/// A subscription to one of the device's PTZ events, for as long as it lives. Callbacks come on the
/// main loop; ending the subscription does not wait for one that runs.
class PTZ_Subscription {
public:
    /// Subscribes to the topic `tns1:name0/tnsorva:name1` and all below it. A failure is logged and
    /// leaves an object without a subscription. `userData` is borrowed.
    PTZ_Subscription(const char* name0, const char* name1, ZQSubscriptionCallback callback,
                     void* userData);
    ~PTZ_Subscription();
    PTZ_Subscription(const PTZ_Subscription&) = delete;
    PTZ_Subscription& operator=(const PTZ_Subscription&) = delete;

private:
    /// Owned; null when the subscription failed.
    ZQEventHandler* handler;
    guint subscriptionId = 0;
};

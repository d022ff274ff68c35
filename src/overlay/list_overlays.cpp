#include "overlay/list_overlays.h"

#include <syslog.h>

#include <memory>
#include <stdexcept>

#include "app/status.h"
#include "overlay/alarm_overlay_lock.h"
#include "overlay/external_overlay.h"
#include "overlay/overlay_subscription.h"

namespace {

struct Following {
    explicit Following(OverlaySubscription::Callback messages)
        : callback(messages), subscription(messages) {}

    const OverlaySubscription::Callback callback;
    const OverlaySubscription subscription;
};

/// Guarded by the alarm overlay's lock; a list that is being taken holds a share.
std::shared_ptr<const Following> following;

std::shared_ptr<const Following> getFollowing() {
    g_autoptr(GRecMutexLocker) locker = g_rec_mutex_locker_new(AlarmOverlay::getLock());
    utils::throwIf(following == nullptr, "ListOverlays is not initialized");
    return following;
}

template <typename Function>
void logFailures(Function function) {
    try {
        function();
    } catch (const std::runtime_error& failure) {
        syslog(LOG_WARNING,
               "Failed to get the current overlays, alarm overlay combined with dynamic overlays "
               "may not work correctly: %s\n",
               failure.what());
    }
}

std::vector<ExternalOverlay> list() {
    std::vector<ExternalOverlay> overlays;
    const std::shared_ptr<const Following> current = getFollowing();
    g_autoptr(GVariant) reply = current->subscription.listOverlays();
    ObjectFollower::forEachObject(reply, [&](GVariant* properties) {
        // One that cannot be followed does not take the others along.
        logFailures([&] {
            const std::unique_ptr<ExternalOverlay> overlay =
                OverlaySubscription::createOverlay(properties, current->callback);
            if (overlay != nullptr) {
                overlays.push_back(*overlay);
            }
        });
    });
    return overlays;
}

}  // namespace

bool ListOverlays::initialize(void (*messageCallback)(const AlarmOverlayMessage&)) {
    g_autoptr(GRecMutexLocker) locker = g_rec_mutex_locker_new(AlarmOverlay::getLock());
    if (following != nullptr) {
        syslog(LOG_WARNING, "Initialize called on an already initaialized namespace\n");
        return false;
    }
    if (messageCallback == nullptr) {
        syslog(LOG_WARNING, "messageCallback_p was unexpectedly NULL\n");
        return false;
    }
    try {
        following = std::make_shared<const Following>(messageCallback);
        return true;
    } catch (const std::runtime_error& failure) {
        syslog(LOG_WARNING, "Failed to initialize OverlaySubscription: %s\n", failure.what());
        return false;
    }
}

void ListOverlays::deinitialize() {
    g_autoptr(GRecMutexLocker) locker = g_rec_mutex_locker_new(AlarmOverlay::getLock());
    following.reset();
}

std::vector<ExternalOverlay> ListOverlays::getCurrentOverlays() {
    std::vector<ExternalOverlay> overlays;
    logFailures([&overlays] { overlays = list(); });
    return overlays;
}

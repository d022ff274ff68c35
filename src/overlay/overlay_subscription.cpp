#include "overlay/overlay_subscription.h"

#include "overlay/alarm_overlay_message.h"
#include "overlay/alarm_overlay_utils.h"
#include "overlay/external_overlay.h"

namespace {

constexpr const char* kNoProxy = "Failed to create proxy for overlay lister";

constexpr ObjectFollower::Handlers kHandlers = {
    [](GVariant* properties, OverlaySubscription::Callback callback) {
        const std::unique_ptr<ExternalOverlay> overlay =
            OverlaySubscription::createOverlay(properties, callback);
        if (overlay != nullptr) {
            callback(OverlayAddedMessage(*overlay));
        }
    },
    [](int id, OverlaySubscription::Callback callback) { callback(OverlayRemovedMessage(id)); },
};

}  // namespace

OverlaySubscription::OverlaySubscription(Callback callback)
    : follower("com.orva.Overlay2", "/com/orva/Overlay2/Overlay", kHandlers, callback, kNoProxy,
               kNoProxy) {}

GVariant* OverlaySubscription::listOverlays() const {
    return follower.listObjects("DBus list overlays call failed");
}

std::unique_ptr<ExternalOverlay> OverlaySubscription::createOverlay(GVariant* properties,
                                                                    Callback callback) {
    std::unique_ptr<ExternalOverlay> overlay(
        AlarmOverlay::Utils::createExternalOverlay(properties));
    if (overlay != nullptr) {
        overlay->subscription = OverlayPropertySubscription(
            overlay->overlayId, [callback](const OverlayProperties& changed) {
                callback(OverlayPropertiesChangedMessage(changed));
            });
    }
    return overlay;
}

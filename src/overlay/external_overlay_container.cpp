#include "overlay/external_overlay_container.h"

#include <algorithm>

#include "overlay/overlay_properties.h"

ExternalOverlayContainer::ExternalOverlayContainer(const StreamSettings& streamSettings)
    : settings(streamSettings) {}

void ExternalOverlayContainer::setStreamSettings(const StreamSettings& streamSettings) {
    settings = streamSettings;
    updateResultingExternalOverlayUnion();
}

void ExternalOverlayContainer::insert(const ExternalOverlay& overlay) {
    ExternalOverlay* known = getExternalOverlay(overlay.overlayId);
    if (known != nullptr) {
        *known = overlay;
    } else {
        overlays.push_back(overlay);
    }
    updateResultingExternalOverlayUnion();
}

void ExternalOverlayContainer::remove(int overlayId) {
    removeWithoutUpdate(overlayId);
    updateResultingExternalOverlayUnion();
}

void ExternalOverlayContainer::removeWithoutUpdate(int overlayId) {
    std::erase_if(overlays, [overlayId](const ExternalOverlay& overlay) {
        return overlay.overlayId == overlayId;
    });
}

void ExternalOverlayContainer::updateOverlayProperties(const OverlayProperties& properties) {
    ExternalOverlay* overlay = getExternalOverlay(properties.id);
    if (overlay != nullptr) {
        overlay->setProperties(properties);
        updateResultingExternalOverlayUnion();
    }
}

void ExternalOverlayContainer::updateResultingExternalOverlayUnion() {
    resultingUnion.clear();
    for (const ExternalOverlay& overlay : overlays) {
        resultingUnion.add(overlay.getTop(settings), overlay.getBottom(settings));
    }
    resultingUnion.adjustMarginToMacroBlockSize();
}

ExternalOverlay* ExternalOverlayContainer::getExternalOverlay(int overlayId) {
    const auto found = std::ranges::find_if(overlays, [overlayId](const ExternalOverlay& overlay) {
        return overlay.overlayId == overlayId;
    });
    return found == overlays.end() ? nullptr : &*found;
}

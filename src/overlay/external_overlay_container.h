#pragma once

#include <vector>

#include "device/stream_settings.h"
#include "overlay/external_overlay.h"
#include "overlay/external_overlay_union.h"

/// The overlays that others put into the picture, and the margins that they take together in
/// streams of one kind. One thread at a time.
class ExternalOverlayContainer {
public:
    ExternalOverlayContainer() = default;
    explicit ExternalOverlayContainer(const StreamSettings& streamSettings);

    /// Goes over to other streams with all overlays and their subscriptions, and computes the
    /// margins anew.
    void setStreamSettings(const StreamSettings& streamSettings);

    /// Adds an overlay, or replaces the one with its id, and computes the margins anew.
    void insert(const ExternalOverlay& overlay);

    /// Drops an overlay, with its share of the subscription, and computes the margins anew. An
    /// unknown id is nothing to drop.
    void remove(int overlayId);
    /// The same, and the margins stay.
    void removeWithoutUpdate(int overlayId);

    /// Passes new properties to the overlay of their id, if there is one, and computes the margins
    /// anew.
    void updateOverlayProperties(const OverlayProperties& properties);

    /// Takes the largest margin at each side, rounded up to a multiple of 16.
    void updateResultingExternalOverlayUnion();

    /// The overlay, borrowed until the container changes, or null.
    ExternalOverlay* getExternalOverlay(int overlayId);

    const std::vector<ExternalOverlay>& getExternalOverlays() const { return overlays; }
    const ExternalOverlayUnion& getResultingExternalOverlayUnion() const { return resultingUnion; }

private:
    std::vector<ExternalOverlay> overlays;
    ExternalOverlayUnion resultingUnion;
    StreamSettings settings;
};

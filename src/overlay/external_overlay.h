#pragma once

#include <cstdint>
#include <string>

#include "overlay/overlay_property_subscription.h"

struct OverlayProperties;
struct StreamSettings;

/// Only texts and images are scaled with the stream.
enum ExternalOverlayType_e : std::int32_t {
    ExternalOverlayOther = 0,
    ExternalOverlayText = 1,
    ExternalOverlayImage = 2,
};

/// An overlay that somebody else put into the picture, and the room that it takes there. A value;
/// copies share the subscription. Sizes are pixels, or lines of a grid of 1080 when it is scalable.
struct ExternalOverlay {
    /// Takes a new height and position. A failure is logged and leaves the overlay as it was.
    void setProperties(const OverlayProperties& properties);

    /// Takes one of the named positions; with an empty one nothing changes, the height neither.
    /// Throws std::runtime_error for any other.
    void handleNonCustomProperties(int newHeight, const std::string& position);

    /// Takes a position of two numbers from -1 to 1, split at "x" or else at ",". With an empty one
    /// a custom position stays and only the height is taken. Throws std::runtime_error.
    void handleCustomProperties(int newHeight, const std::string& position);

    /// The margin that it takes in a stream, in pixels.
    int getTop(const StreamSettings& settings) const;
    int getBottom(const StreamSettings& settings) const;

    /// Gives up its share of the subscription.
    void disconnect() { subscription.disconnect(); }

    int overlayId = 0;
    int top = 0;
    int bottom = 0;
    int height = 0;
    float customY = 0;  ///< -1 at the top of the picture, 1 at its bottom
    bool isCustomPosition = false;
    bool isScalable = false;
    ExternalOverlayType_e type = ExternalOverlayOther;
    OverlayPropertySubscription subscription;
};

#pragma once

struct ExternalOverlay;
struct StreamProperties;
struct _GVariant;

/// Reads what the device's services say of their objects: dictionaries of properties ("a{sv}",
/// borrowed). A property that is missing or of another type is logged and gives null; the caller
/// deletes what is made.
namespace AlarmOverlay::Utils {

/// From "Stream" (the id) and "Resolution" ("1920x1080"), texts; "Rotation" and "Camera",
/// integers; "MirrorEnabled", a boolean; "Type", a text.
StreamProperties* createStreamProperties(_GVariant* dictionary);

/// From "OverlayType", "Position" and "Size" ("640x40"), texts; "Camera" and "OverlayId",
/// integers; "Scalable", a boolean. A position that cannot be used is logged and takes no room.
ExternalOverlay* createExternalOverlay(_GVariant* dictionary);

}  // namespace AlarmOverlay::Utils

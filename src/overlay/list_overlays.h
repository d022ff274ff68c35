#pragma once

#include <vector>

class AlarmOverlayMessage;
struct ExternalOverlay;

/// The overlays at the overlay service, as they come, change and go. Any thread may call.
namespace ListOverlays {

/// Starts: messages about overlays go to the callback, on the default main context. False, and a
/// line in the log, without a callback, when it has started already or when it cannot.
bool initialize(void (*messageCallback)(const AlarmOverlayMessage&));
/// Stops; a message that is on its way is not waited for.
void deinitialize();

/// The overlays there are, their changes followed. Empty, and a line in the log, when they cannot
/// be had; without those, a line each, whose changes cannot be followed.
std::vector<ExternalOverlay> getCurrentOverlays();

}  // namespace ListOverlays

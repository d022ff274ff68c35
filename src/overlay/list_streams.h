#pragma once

#include <vector>

class AlarmOverlayMessage;
struct StreamProperties;

/// The device's video streams, as they come and go. Any thread may call.
namespace ListStreams {

/// Starts: messages about streams go to the callback, on the default main context. False, and a
/// line in the log, without a callback, when it has started already or when it cannot.
bool initialize(void (*messageCallback)(const AlarmOverlayMessage&));
/// Stops; a message that is on its way is not waited for.
void deinitialize();

/// The streams there are. Empty, and a line in the log, when they cannot be had.
std::vector<StreamProperties> getCurrentStreams();

}  // namespace ListStreams

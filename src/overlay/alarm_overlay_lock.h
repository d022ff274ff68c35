#pragma once

#include <glib.h>

namespace AlarmOverlay {

/// The one lock of the alarm overlay: it guards the feature's state, and the start and stop of
/// ListStreams and ListOverlays. Recursive.
GRecMutex* getLock();

}  // namespace AlarmOverlay

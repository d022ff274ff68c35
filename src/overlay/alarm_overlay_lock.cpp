#include "overlay/alarm_overlay_lock.h"

namespace {

GRecMutex lock;

}  // namespace

GRecMutex* AlarmOverlay::getLock() {
    return &lock;
}

#include "overlay/list_streams.h"

#include <syslog.h>

#include <memory>
#include <stdexcept>

#include "app/status.h"
#include "overlay/alarm_overlay_lock.h"
#include "overlay/alarm_overlay_utils.h"
#include "overlay/stream_lister.h"
#include "overlay/stream_properties.h"

namespace {

/// Guarded by the alarm overlay's lock; a list that is being taken holds a share.
std::shared_ptr<StreamLister> lister;

std::shared_ptr<StreamLister> getLister() {
    g_autoptr(GRecMutexLocker) locker = g_rec_mutex_locker_new(AlarmOverlay::getLock());
    utils::throwIf(lister == nullptr, "ListStreams is not initialized");
    return lister;
}

}  // namespace

bool ListStreams::initialize(void (*messageCallback)(const AlarmOverlayMessage&)) {
    g_autoptr(GRecMutexLocker) locker = g_rec_mutex_locker_new(AlarmOverlay::getLock());
    if (lister != nullptr) {
        syslog(LOG_WARNING, "Initialize called on an already initaialized namespace\n");
        return false;
    }
    if (messageCallback == nullptr) {
        syslog(LOG_WARNING, "callback_p was unexpectedly NULL\n");
        return false;
    }
    try {
        lister = std::make_shared<StreamLister>(messageCallback);
        return true;
    } catch (const std::runtime_error& failure) {
        syslog(LOG_WARNING, "Failed to initialize StreamLister: %s\n", failure.what());
        return false;
    }
}

void ListStreams::deinitialize() {
    g_autoptr(GRecMutexLocker) locker = g_rec_mutex_locker_new(AlarmOverlay::getLock());
    lister.reset();
}

std::vector<StreamProperties> ListStreams::getCurrentStreams() {
    std::vector<StreamProperties> streams;
    try {
        g_autoptr(GVariant) reply = getLister()->listStreams();
        ObjectFollower::forEachObject(reply, [&streams](GVariant* properties) {
            const std::unique_ptr<StreamProperties> stream(
                AlarmOverlay::Utils::createStreamProperties(properties));
            if (stream != nullptr) {
                streams.push_back(*stream);
            }
        });
    } catch (const std::runtime_error& failure) {
        syslog(LOG_WARNING,
               "Failed to get the currently connected streams, streams may have to be reloaded for "
               "alarm overlay functionality: %s\n",
               failure.what());
    }
    return streams;
}

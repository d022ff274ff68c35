#include "overlay/stream_lister.h"

#include <memory>

#include "overlay/alarm_overlay_message.h"
#include "overlay/alarm_overlay_utils.h"

namespace {

constexpr ObjectFollower::Handlers kHandlers = {
    [](GVariant* properties, StreamLister::Callback callback) {
        const std::unique_ptr<StreamProperties> stream(
            AlarmOverlay::Utils::createStreamProperties(properties));
        if (stream != nullptr) {
            callback(StreamAddedMessage(*stream));
        }
    },
    [](int id, StreamLister::Callback callback) { callback(StreamRemovedMessage(id)); },
};

}  // namespace

StreamLister::StreamLister(Callback callback)
    : follower("com.orva.Graphics1", "/com/orva/Graphics1/Stream", kHandlers, callback,
               "Failed to create proxy for stream lister", "Failed to connect the stream lister.") {
}

GVariant* StreamLister::listStreams() const {
    return follower.listObjects("DBus list stream call failed");
}

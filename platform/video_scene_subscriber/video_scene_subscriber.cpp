#include "video_scene_subscriber/video_scene_subscriber.h"

#include <exception>
#include <memory>

#include "video_scene_subscriber/result.h"
#include "video_scene_subscriber/scene_subscriber.h"

struct video_scene_subscriber_st {
    std::shared_ptr<SceneSubscriber> subscriber;
};

namespace {

/// Makes a call of the subscriber. Nothing is thrown across the module's border.
template <typename Call>
int guarded(video_scene_subscriber_st* handle, Call call) {
    if (handle == nullptr) {
        return result::outOfResources;
    }
    try {
        // A reference of its own: a callback may delete the subscriber meanwhile.
        const std::shared_ptr<SceneSubscriber> subscriber = handle->subscriber;
        return call(*subscriber);
    } catch (const std::exception&) {
        return result::outOfResources;
    }
}

int enable(video_scene_subscriber_st* handle, bool SceneStream::Request::*property) {
    return guarded(handle, [&](SceneSubscriber& one) { return one.enable(property); });
}

}  // namespace

video_scene_subscriber_st* video_scene_subscriber_create(int channel, data_format_t format,
                                                         void* userData) {
    if (channel < 0) {
        return nullptr;
    }
    try {
        return new video_scene_subscriber_st{
            std::make_shared<SceneSubscriber>(SCENE_SOCKET, channel, format, userData)};
    } catch (const std::exception&) {
        return nullptr;
    }
}

int video_scene_subscriber_delete(video_scene_subscriber_st* handle) {
    if (handle == nullptr) {
        return result::success;
    }
    const int code = video_scene_subscriber_unsubscribe(handle);
    delete handle;
    return code;
}

int video_scene_subscriber_subscribe(video_scene_subscriber_st* handle) {
    return guarded(handle, [](SceneSubscriber& one) { return one.subscribe(); });
}

int video_scene_subscriber_unsubscribe(video_scene_subscriber_st* handle) {
    return guarded(handle, [](SceneSubscriber& one) { return one.unsubscribe(); });
}

int video_scene_subscriber_set_on_disconnect_callback(
    video_scene_subscriber_st* handle, video_scene_subscriber_disconnect_t callback) {
    return guarded(handle,
                   [&](SceneSubscriber& one) { return one.setDisconnectCallback(callback); });
}

int video_scene_subscriber_set_on_message_arrived_callback(
    video_scene_subscriber_st* handle, video_scene_subscriber_message_t callback) {
    return guarded(handle, [&](SceneSubscriber& one) { return one.setMessageCallback(callback); });
}

int video_scene_subscriber_set_bounding_box_enabled(video_scene_subscriber_st* handle) {
    return enable(handle, &SceneStream::Request::boundingBox);
}

int video_scene_subscriber_set_polygon_enabled(video_scene_subscriber_st* handle) {
    return enable(handle, &SceneStream::Request::polygon);
}

int video_scene_subscriber_set_velocity_enabled(video_scene_subscriber_st* handle) {
    return enable(handle, &SceneStream::Request::velocity);
}

int video_scene_subscriber_set_low_confident_enabled(video_scene_subscriber_st* handle) {
    return enable(handle, &SceneStream::Request::lowConfident);
}

#include "scene/video_scene_subscriber.h"

#include <gmodule.h>
#include <syslog.h>

#include <stdexcept>
#include <string>

#include "app/status.h"

const char* VideoSceneSubscriber::moduleName = "libvideo_scene_subscriber.so.0";

namespace {

using SubscriberCall = int (*)(video_scene_subscriber_st*);

GModule* module = nullptr;
video_scene_subscriber_st* (*createEntry)(int, data_format_t, void*) = nullptr;
SubscriberCall deleteEntry = nullptr;
SubscriberCall subscribeEntry = nullptr;
SubscriberCall unsubscribeEntry = nullptr;
int (*setOnDisconnectEntry)(video_scene_subscriber_st*,
                            VideoSceneSubscriber::DisconnectCallback) = nullptr;
int (*setOnMessageArrivedEntry)(video_scene_subscriber_st*,
                                VideoSceneSubscriber::MessageCallback) = nullptr;
SubscriberCall setBoundingBoxEntry = nullptr;
SubscriberCall setPolygonEntry = nullptr;
SubscriberCall setVelocityEntry = nullptr;
SubscriberCall setLowConfidentEntry = nullptr;

template <typename Entry>
void bind(const std::string& symbol, Entry& entry) {
    gpointer address = nullptr;
    const bool isFound = g_module_symbol(module, symbol.c_str(), &address) && address != nullptr;
    utils::throwIf(!isFound, "Could not open " + symbol);
    entry = reinterpret_cast<Entry>(address);
}

void openModule() {
    module = g_module_open(VideoSceneSubscriber::moduleName, G_MODULE_BIND_LAZY);
    utils::throwIf(module == nullptr, "Could not open video_scene_subscriber module");
}

void bindEntries() {
    bind("video_scene_subscriber_create", createEntry);
    bind("video_scene_subscriber_delete", deleteEntry);
    bind("video_scene_subscriber_subscribe", subscribeEntry);
    bind("video_scene_subscriber_unsubscribe", unsubscribeEntry);
    bind("video_scene_subscriber_set_on_disconnect_callback", setOnDisconnectEntry);
    bind("video_scene_subscriber_set_on_message_arrived_callback", setOnMessageArrivedEntry);
    bind("video_scene_subscriber_set_bounding_box_enabled", setBoundingBoxEntry);
    bind("video_scene_subscriber_set_polygon_enabled", setPolygonEntry);
    bind("video_scene_subscriber_set_velocity_enabled", setVelocityEntry);
    bind("video_scene_subscriber_set_low_confident_enabled", setLowConfidentEntry);
}

int logged(int result, const char* wrapper) {
    switch (result) {
        case 0:
            break;
        case -2:
            syslog(LOG_WARNING, "Scene provider in invalid running state (%s).\n", wrapper);
            break;
        case -3:
            syslog(LOG_WARNING, "No valid scene provider available  (%s).\n", wrapper);
            break;
        case -4:
            syslog(LOG_WARNING, "Invalid data format to scene provider  (%s).\n", wrapper);
            break;
        case -6:
            syslog(LOG_WARNING, "System policy error, unauthorized API call (%s).\n", wrapper);
            break;
        default:
            syslog(LOG_WARNING, "Unknown error in subscriber in (%s).\n", wrapper);
            break;
    }
    return result;
}

}  // namespace

bool VideoSceneSubscriber::initialize() {
    try {
        openModule();
        bindEntries();
        return true;
    } catch (const std::runtime_error& error) {
        deinitialize();
        syslog(LOG_WARNING, "Failed to load video_scene_subsriber. %s\n", error.what());
        return false;
    }
}

void VideoSceneSubscriber::deinitialize() {
    // Meant to run, and to log, without an open module too.
    if (module == nullptr || !g_module_close(module)) {
        syslog(LOG_WARNING, "Could not close module %s: %s\n", moduleName, g_module_error());
    }
    module = nullptr;
}

video_scene_subscriber_st* VideoSceneSubscriber::createSubscriber(int camera, data_format_t format,
                                                                  void* userData) {
    return createEntry(camera - 1, format, userData);
}

int VideoSceneSubscriber::deleteSubscriber(video_scene_subscriber_st** subscriber) {
    if (subscriber == nullptr) {
        syslog(LOG_WARNING, "Received NULL instead of subscriber_pp\n");
        return -1;
    }
    if (*subscriber == nullptr) {
        return 0;
    }
    const int result = deleteEntry(*subscriber);
    *subscriber = nullptr;
    return logged(result, "deleteSubscriber");
}

int VideoSceneSubscriber::subscribe(video_scene_subscriber_st* subscriber) {
    return logged(subscribeEntry(subscriber), "subscribe");
}

int VideoSceneSubscriber::unsubscribe(video_scene_subscriber_st* subscriber) {
    return logged(unsubscribeEntry(subscriber), "unsubscribe");
}

int VideoSceneSubscriber::setOnDisconnectCallback(video_scene_subscriber_st* subscriber,
                                                  DisconnectCallback callback) {
    return logged(setOnDisconnectEntry(subscriber, callback), "setOnDisconnectCallback");
}

int VideoSceneSubscriber::setOnMessageArrivedCallback(video_scene_subscriber_st* subscriber,
                                                      MessageCallback callback) {
    return logged(setOnMessageArrivedEntry(subscriber, callback), "setOnMessageArrivedCallback");
}

int VideoSceneSubscriber::setBoundingBoxEnabled(video_scene_subscriber_st* subscriber) {
    return logged(setBoundingBoxEntry(subscriber), "setBoundingBoxEnabled");
}

int VideoSceneSubscriber::setPolygonEnabled(video_scene_subscriber_st* subscriber) {
    return logged(setPolygonEntry(subscriber), "setPolygonEnabled");
}

int VideoSceneSubscriber::setVelocityEnabled(video_scene_subscriber_st* subscriber) {
    return logged(setVelocityEntry(subscriber), "setVelocityEnabled");
}

int VideoSceneSubscriber::setLowConfidentEnabled(video_scene_subscriber_st* subscriber) {
    return logged(setLowConfidentEntry(subscriber), "setLowConfidentEnabled");
}

#include "module.h"

#include <dlfcn.h>

#include <stdexcept>

namespace {

template <typename Entry>
void bind(void* handle, const char* name, Entry& entry) {
    entry = reinterpret_cast<Entry>(dlsym(handle, name));
    if (entry == nullptr) {
        throw std::runtime_error(name);
    }
}

Module open() {
    void* handle = dlopen(MODULE, RTLD_LAZY | RTLD_LOCAL);
    if (handle == nullptr) {
        throw std::runtime_error(dlerror());
    }
    Module opened = {};
    bind(handle, "video_scene_subscriber_create", opened.create);
    bind(handle, "video_scene_subscriber_delete", opened.remove);
    bind(handle, "video_scene_subscriber_subscribe", opened.subscribe);
    bind(handle, "video_scene_subscriber_unsubscribe", opened.unsubscribe);
    bind(handle, "video_scene_subscriber_set_on_disconnect_callback", opened.setOnDisconnect);
    bind(handle, "video_scene_subscriber_set_on_message_arrived_callback", opened.setOnMessage);
    bind(handle, "video_scene_subscriber_set_bounding_box_enabled", opened.enableBoundingBox);
    bind(handle, "video_scene_subscriber_set_polygon_enabled", opened.enablePolygon);
    bind(handle, "video_scene_subscriber_set_velocity_enabled", opened.enableVelocity);
    bind(handle, "video_scene_subscriber_set_low_confident_enabled", opened.enableLowConfident);
    return opened;
}

}  // namespace

const Module& module() {
    static const Module opened = open();
    return opened;
}

// The module's shared library: built once whole, and once without each of the ten entry points. Its
// inside is in the test program.
#include "support/subscriber_module/subscriber_module.h"

extern "C" {

#if WITHOUT_ENTRY != 1
video_scene_subscriber_st* video_scene_subscriber_create(int channel, int format, void* userData) {
    return subscriber_module()->create(channel, format, userData);
}
#endif

#define ENTRY(name)                                                            \
    int video_scene_subscriber_##name(video_scene_subscriber_st* subscriber) { \
        return subscriber_module()->call(#name, subscriber);                   \
    }

#if WITHOUT_ENTRY != 2
ENTRY(delete)
#endif
#if WITHOUT_ENTRY != 3
ENTRY(subscribe)
#endif
#if WITHOUT_ENTRY != 4
ENTRY(unsubscribe)
#endif
#if WITHOUT_ENTRY != 5
int video_scene_subscriber_set_on_disconnect_callback(video_scene_subscriber_st* subscriber,
                                                      void (*callback)(void*)) {
    subscriber->onDisconnect = callback;
    return subscriber_module()->call("set_on_disconnect_callback", subscriber);
}
#endif
#if WITHOUT_ENTRY != 6
int video_scene_subscriber_set_on_message_arrived_callback(video_scene_subscriber_st* subscriber,
                                                           void (*callback)(char*, void*)) {
    subscriber->onMessage = callback;
    return subscriber_module()->call("set_on_message_arrived_callback", subscriber);
}
#endif
#if WITHOUT_ENTRY != 7
ENTRY(set_bounding_box_enabled)
#endif
#if WITHOUT_ENTRY != 8
ENTRY(set_polygon_enabled)
#endif
#if WITHOUT_ENTRY != 9
ENTRY(set_velocity_enabled)
#endif
#if WITHOUT_ENTRY != 10
ENTRY(set_low_confident_enabled)
#endif

}  // extern "C"

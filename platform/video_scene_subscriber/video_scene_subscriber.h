#pragma once

/// The device's scene subscriber module: scenes of a video channel, handed to callbacks. For C and
/// C++.
///
/// The module is opened at run time, as "libvideo_scene_subscriber.so.0", and never linked; the
/// declarations here give the entry points' names and types. Once opened it stays in the process.
///
/// A subscriber is made for one channel, given its callbacks and the properties it wants, and
/// subscribed. Its subscription then lives until unsubscribe, delete, or the loss of the scene
/// provider:
///
///                      subscribe, granted
///     create -> Idle ----------------------> Subscribed -- provider gone, or it sent nonsense
///                ^                               |               |
///                |       unsubscribe             |               v
///                +-------------------------------+     one disconnect callback
///                |                                               |
///                +-----------------------------------------------+
///
/// Threads. Each subscription has one thread of its own, which blocks all signals and makes all its
/// callbacks, one at a time. Two subscriptions may call back at the same time. Every function may
/// be called from any thread; for one subscriber, nothing may be called during or after delete but
/// by a callback that runs meanwhile, up to that callback's return, and delete only once. What the
/// program does about signals, SIGPIPE among them, stays as it is.
///
/// Callbacks. Scenes come in order, none twice and none left out. A subscription has at most one
/// disconnect callback, after all its message callbacks. Unsubscribe and delete return when no
/// callback runs any more and none will come, so the caller must hold no lock that a callback
/// waits for. A callback may call any function, for its own subscriber too: unsubscribe and delete
/// then return at once, and the running callback is the last. Two callbacks that end each other's
/// subscriptions wait for each other for ever.
///
/// A subscriber that is so slow that 50 scenes wait for it is disconnected; the provider waits for
/// nobody.
///
/// Results, beside 0 for success:
///
///     -1  the subscriber is null, or memory, descriptors or threads are short
///     -2  the provider does not answer within a second, or answers with nonsense; or the call does
///         not fit the subscriber's state
///     -3  there is no provider, or it does not have the channel
///     -4  the provider does not deliver the format
///     -6  the process may not use the provider

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/// A subscriber; opaque.
typedef struct video_scene_subscriber_st video_scene_subscriber_st;

/// The formats of scenes.
typedef enum data_format_t {
    SCENE_FORMAT_AREA = 2  ///< what scene_copy_from_area() of scene/scene.h reads
} data_format_t;

/// The longest payload that is delivered, in bytes.
enum { SCENE_MAX_PAYLOAD = 16 * 1024 * 1024 };

/// The provider of the subscription's scenes is gone.
typedef void (*video_scene_subscriber_disconnect_t)(void* userData);

/// One scene. The payload is a block of malloc(3) that passes to the callback, which releases it
/// with free(3). It comes from outside and is to be read by a reader that verifies it.
typedef void (*video_scene_subscriber_message_t)(char* payload, void* userData);

/// A new subscriber for a channel, counted from 0, without callbacks and without any of the four
/// properties. `userData` is borrowed and goes to the callbacks. The provider is not asked yet:
/// subscribe tells whether it is there and has the channel and the format. Null for a negative
/// channel and without memory. Owned by the caller, ended by delete.
video_scene_subscriber_st* video_scene_subscriber_create(int channel, data_format_t format,
                                                         void* userData);

/// Ends the subscription, if there is one, and the subscriber. 0, also for null.
int video_scene_subscriber_delete(video_scene_subscriber_st* subscriber);

/// Asks for scenes; they come from the channel's present on. Returns within a second and waits for
/// no callback; the first one may come before it returns. 0 without effect while subscribed. After
/// a disconnect it may be called again, but not yet in the disconnect callback, nor in any callback
/// after unsubscribe: -2. When it fails no callback is made.
int video_scene_subscriber_subscribe(video_scene_subscriber_st* subscriber);

/// Ends the subscription, without a disconnect callback. 0, also when there is none.
int video_scene_subscriber_unsubscribe(video_scene_subscriber_st* subscriber);

/// What to call when the provider is gone; null for nothing. -2 while subscribed.
int video_scene_subscriber_set_on_disconnect_callback(video_scene_subscriber_st* subscriber,
                                                      video_scene_subscriber_disconnect_t callback);

/// What to call with each scene; with null they are released unread. -2 while subscribed.
int video_scene_subscriber_set_on_message_arrived_callback(
    video_scene_subscriber_st* subscriber, video_scene_subscriber_message_t callback);

/// What scenes are to carry. A property that is not enabled does not stand in the payload; without
/// low-confident neither the confidence nor any object of less than full confidence does. -2 while
/// subscribed; once enabled, a property stays so.
int video_scene_subscriber_set_bounding_box_enabled(video_scene_subscriber_st* subscriber);
int video_scene_subscriber_set_polygon_enabled(video_scene_subscriber_st* subscriber);
int video_scene_subscriber_set_velocity_enabled(video_scene_subscriber_st* subscriber);
int video_scene_subscriber_set_low_confident_enabled(video_scene_subscriber_st* subscriber);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

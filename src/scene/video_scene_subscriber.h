#pragma once

#include "video_scene_subscriber/video_scene_subscriber.h"

/// The device's scene subscriber module, opened at run time and never linked. Each call is passed
/// on to the module; a bad result turns into a log line and is returned.
///
/// The module calls the callbacks on threads of its own. A payload is a heap block that passes to
/// the message callback. Ending a subscription waits until none of its callbacks runs any more, so
/// none may then be waiting for a lock of the caller's; callback_camera_container.h tells why none
/// is.
///
/// The entry points are written by initialize() only, before any camera exists; one thread calls
/// it.
namespace VideoSceneSubscriber {

using MessageCallback = void (*)(char* payload, void* userData);
using DisconnectCallback = void (*)(void* userData);

/// The module's file. Tests point it at a module of their own; nothing else writes it.
extern const char* moduleName;

/// Opens the module and binds all its entry points. A failure is logged, closes the module and
/// gives false.
bool initialize();
/// Closes the module; a failure to do so, also for want of an open module, is logged.
void deinitialize();

/// A new subscription for the camera, counted from 1, or null. `userData` goes to the callbacks.
video_scene_subscriber_st* createSubscriber(int camera, data_format_t format, void* userData);

/// Ends the subscription and sets the pointer to null. 0 when there is none; -1 without a place for
/// the pointer.
int deleteSubscriber(video_scene_subscriber_st** subscriber);

/// The module's result code: 0 for success, negative otherwise.
int subscribe(video_scene_subscriber_st* subscriber);
int unsubscribe(video_scene_subscriber_st* subscriber);
int setOnDisconnectCallback(video_scene_subscriber_st* subscriber, DisconnectCallback callback);
int setOnMessageArrivedCallback(video_scene_subscriber_st* subscriber, MessageCallback callback);
int setBoundingBoxEnabled(video_scene_subscriber_st* subscriber);
int setPolygonEnabled(video_scene_subscriber_st* subscriber);
int setVelocityEnabled(video_scene_subscriber_st* subscriber);
int setLowConfidentEnabled(video_scene_subscriber_st* subscriber);

}  // namespace VideoSceneSubscriber

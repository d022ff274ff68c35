#pragma once

#include "video_scene_subscriber/video_scene_subscriber.h"

/// The module, opened as a program opens it, with its socket "scenes" in the current folder.
struct Module {
    decltype(&video_scene_subscriber_create) create;
    decltype(&video_scene_subscriber_delete) remove;
    decltype(&video_scene_subscriber_subscribe) subscribe;
    decltype(&video_scene_subscriber_unsubscribe) unsubscribe;
    decltype(&video_scene_subscriber_set_on_disconnect_callback) setOnDisconnect;
    decltype(&video_scene_subscriber_set_on_message_arrived_callback) setOnMessage;
    decltype(&video_scene_subscriber_set_bounding_box_enabled) enableBoundingBox;
    decltype(&video_scene_subscriber_set_polygon_enabled) enablePolygon;
    decltype(&video_scene_subscriber_set_velocity_enabled) enableVelocity;
    decltype(&video_scene_subscriber_set_low_confident_enabled) enableLowConfident;
};

/// Opens it at the first call; throws std::runtime_error without it or one of its entry points.
const Module& module();

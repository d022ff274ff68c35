#pragma once

#include <cstdint>

#include "scene/camera.h"

struct video_scene_subscriber_st;

/// A camera whose scenes come from the subscriber module, on the module's thread and under the
/// container's mutex.
///
///     Created -> Subscribed <-> WaitingToReconnect -> Stopped
class CallbackCamera : public Camera {
public:
    CallbackCamera(int camera, int rotation, API_VersionHandler versions, unsigned capabilities);
    ~CallbackCamera() override;

    /// Ends the subscription; payloads that still come are freed unread.
    void stop() override;

    /// One scene: decode, track, guards, overlay, motion level. Takes the payload over, null too.
    void handleNoltData(char* payload) override;

    /// Deletes the present subscription, takes the new one over and forgets all tracked objects.
    void setSubscriber(video_scene_subscriber_st* newSubscriber);

private:
    void endSubscription();
    void processScene(const char* payload);

    /// Told for this class and never taken.
    GMutex unusedMutex;
    /// Owned; null for none.
    video_scene_subscriber_st* subscriber = nullptr;
    /// Nothing reads it.
    [[maybe_unused]] std::int32_t unusedId = -1;
    bool acceptingData = true;
};

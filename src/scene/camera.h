#pragma once

#include <glib.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "app/thread.h"
#include "cgi/api_version.h"
#include "cgi/api_version_handler.h"
#include "events/motion_level_event_producer.h"
#include "scene/ptz_events.h"
#include "scene/vc_data.h"
#include "tracking/nolt_scene_parser.h"

class CameraConfiguration;
class Guard;
class NoltScene;
class ParsedScene;

/// One video source and the pipeline of that source: it owns its guards, its scene parser with the
/// tracked objects, and its motion level producer, and runs every scene through them. How scenes
/// arrive is up to the subclass.
///
/// Threads: scenes on the camera's own thread or on one of the subscriber module; PTZ events and
/// requests on the main loop or the web server's thread; reconnects on the timer thread. The
/// recursive mutex is held across a whole scene and across a whole swap of guards, so a guard is
/// never destroyed while a scene runs through it. Order of locks: the container's mutex, this one,
/// the guard's.
class Camera : public Thread {
public:
    /// `camera` counts from 1; `rotation` in degrees; `capabilities` is a mask of Capability bits.
    Camera(int camera, int rotation, API_VersionHandler versions, unsigned capabilities);
    ~Camera() override;

    /// Runs one payload, a heap block, through the camera.
    virtual void handleNoltData(char* payload) = 0;

    /// The guard with that profile id, or null. Takes no lock: the caller holds the container's
    /// mutex or the camera's.
    Guard* getGuard(int profile) const;
    /// Appends a guard and takes ownership. Takes no lock.
    void insertGuard(Guard* guard);
    /// Destroys all guards. The caller holds the camera's mutex.
    void removeAllGuards();

    /// Requests a test event; false if there is no such profile.
    bool sendAlarmEvent(int profile);
    bool doesProfileExist(int profile);

    /// Keeps track of the preset the camera stands at and tells the guards. Token -1 is ignored,
    /// and so is leaving another preset than the current one.
    void handlePTZ_PresetEvent(const PTZ_PresetEvent& event);
    void handlePTZ_MovementEvent(const PTZ_MovementEvent& event);

    /// The first guard whose visual confirmation runs and has not timed out. Takes no lock: the
    /// caller holds the container's mutex or the camera's.
    VC_Data getVC_Data() const;
    /// `name` is the group tag of the frames. False if there is no such profile or its event could
    /// not be declared.
    bool enableVisualConfirmation(int profile, const std::string& name);
    void disableVisualConfirmation(int profile);
    void disableVisualConfirmation();

    /// The motion level flag and that of the producer, switched together. Take no lock.
    void startMotionLevel();
    void stopMotionLevel();
    bool isMotionLevelActive() const { return motionLevelActive; }

    /// Sends the summed area of the scene's objects if the motion level is on. The caller holds the
    /// camera's mutex.
    void handleMotionLevel(const ParsedScene& parsed, const NoltScene& scene);

    /// Swaps the guards for those of the configuration and takes them over. Running visual
    /// confirmation is carried over to the new guard of the same profile. All tracked objects are
    /// forgotten, whether or not anything else changes.
    void updateWithNewConfiguration(const CameraConfiguration& configuration);

    int getCameraId() const { return cameraId; }
    unsigned getCapabilities() const { return capabilities; }

protected:
    std::int32_t cameraId;
    /// Settled by the handshake before the first scene; read on the scene's thread.
    std::uint32_t capabilities;
    /// Owned, in configuration order; guarded by `mutex`.
    std::vector<Guard*> guards;
    API_VersionHandler versionHandler;
    API_Version currentVersion;
    /// Guarded by `mutex`.
    std::int32_t currentPreset;
    mutable GRecMutex mutex;
    MotionLevelEventProducer motionLevelProducer;
    std::atomic<bool> motionLevelActive{false};
    /// Guarded by `mutex`.
    NoltSceneParser parser;

private:
    void carryOverVisualConfirmation(const CameraConfiguration& configuration);
};

/// Whether the configuration is for that camera, which is not null.
bool operator==(const CameraConfiguration& configuration, const Camera* camera);
bool operator==(const Camera* camera, const CameraConfiguration& configuration);

/// Serves the compaction of camera lists.
bool isNull(const Camera* camera);

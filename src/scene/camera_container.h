#pragma once

#include <glib.h>

#include <cstdint>
#include <string>
#include <vector>

#include "cgi/api_version_handler.h"
#include "scene/ptz_events.h"

class Camera;
class CameraConfiguration;
class CameraConfigurationContainer;
class PTZ_Subscription;
struct _ZQEvent;

/// The front of the scene subsystem: owns every camera, applies configurations, forwards PTZ events
/// and shuts everything down. There is only ever one instance; its state is static because the
/// platform's callbacks come with nothing but a camera, or with nothing at all.
///
/// Threads: any. The static mutex guards the camera list, the PTZ flag and the subscriptions; it is
/// not recursive. Every operation here takes it unless it says otherwise, so that no camera is
/// deleted under a walk of the list. Order of locks: this one, the camera's, the guard's.
class CameraContainer {
public:
    /// `capabilities` is a mask of Capability bits.
    CameraContainer(API_VersionHandler versions, unsigned capabilities);
    virtual ~CameraContainer();
    CameraContainer(const CameraContainer&) = delete;
    CameraContainer& operator=(const CameraContainer&) = delete;

    /// Creates the cameras that are new, swaps the guards of all, and stops and deletes the cameras
    /// that are no longer named. Takes the guards of the configuration over. It can wait for as
    /// long as a removed camera's next frame takes to arrive.
    void updateWithNewConfiguration(const CameraConfigurationContainer& configuration);

    /// The camera of that configuration, or null. Takes no lock: the caller holds the mutex.
    Camera* getCamera(const CameraConfiguration& configuration) const;
    /// Whether the pointer is in the list. Takes no lock: the caller holds the mutex.
    static bool doesCameraExist(const Camera* camera);
    /// Appends a camera and takes ownership. Takes no lock: the caller holds the mutex.
    void insertCamera(Camera* camera);
    /// Whether there is any camera.
    static bool hasCameras();

    bool doesProfileExist(int profile);
    /// Requests a test event; false if there is no such profile.
    bool sendAlarmEvent(int profile);

    void startMotionLevel();
    void stopMotionLevel();
    /// Whether it is on for any camera.
    bool isMotionLevelActive() const;

    /// Starts visual confirmation for one profile and stops that of another. `name` is the group
    /// tag of the frames. False if there is no such profile or its event could not be declared.
    bool enableVisualConfirmation(int profile, const std::string& name);
    void disableVisualConfirmation(int profile);
    void disableVisualConfirmation();
    /// The profile whose visual confirmation runs and has not timed out, or -1.
    int getVisualConfIdNbr() const;
    bool isVisualConfEnabled() const;

    void handlePTZ_PresetEvent(const PTZ_PresetEvent& event);
    void handlePTZ_MovementEvent(const PTZ_MovementEvent& event);

    /// The platform's callbacks, on the main loop; the event passes to them.
    static void PTZ_PresetCallback(unsigned subscription, _ZQEvent* event, void* userData);
    static void PTZ_MovementCallback(unsigned subscription, _ZQEvent* event, void* userData);

    /// Stops, joins and deletes all cameras.
    void removeAllCameras();
    /// Ends PTZ events and scene intake. The cameras stay until the container is destroyed.
    void shutDown();
    /// Ends PTZ events. Takes no lock: the caller holds the mutex.
    void shutDownPTZ();

protected:
    /// Takes the cameras that the configuration does not name out of the list and returns them in
    /// order; they pass to the caller. The caller holds the mutex.
    virtual std::vector<Camera*> removeUnusedCameras(
        const CameraConfigurationContainer& configuration);
    /// A new camera that passes to the caller, or null to skip it. The caller holds the mutex.
    virtual Camera* createCamera(int camera, int rotation, API_VersionHandler versions,
                                 int newCapabilities) = 0;
    /// Ends scene intake. The caller holds the mutex.
    virtual void shutDownSub() = 0;

    /// Owned, in order of creation.
    static std::vector<Camera*> s_cameras;
    static GMutex s_mutex;
    static bool s_canReceivePTZ_Callbacks;

    API_VersionHandler versionHandler;
    std::uint32_t capabilities;
    /// The profile whose visual confirmation is on; -1 for none. Guarded by the mutex.
    std::int32_t visualConfProfile = -1;
    /// Owned; null while there is none.
    PTZ_Subscription* presetSubscription = nullptr;
    PTZ_Subscription* movementSubscription = nullptr;

private:
    /// The cameras that are no longer named; they pass to the caller.
    std::vector<Camera*> applyToCameras(const CameraConfigurationContainer& configuration);
    static std::vector<Camera*> takeAllCameras();
    void applyToCamera(const CameraConfiguration& configuration);
    static void forwardToCameras(const PTZ_PresetEvent& event);
    static void forwardToCameras(const PTZ_MovementEvent& event);
    void subscribeToPTZ();
    void destroySubscriptions();
    static bool isAnyMotionLevelActive();
    static void stopAndDelete(const std::vector<Camera*>& cameras);
    static int findVisualConfProfile();
    static void disableVisualConfirmationOnAll(int profile);
};

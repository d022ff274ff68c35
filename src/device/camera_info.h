#pragma once

#include <string>
#include <vector>

class API_Version;

/// Answers questions about the device from its parameters and one system file. What does not depend
/// on a camera's number is read once and kept for the life of the process.
///
/// Any thread may call. Cameras are counted from 1.
class CameraInfo {
public:
    struct Resolution {
        int width;
        int height;

        /// "1280x720".
        std::string toString() const;
        friend bool operator==(const Resolution&, const Resolution&) = default;
    };

    CameraInfo() = delete;

    /// The number of video sources; 1 unless the device analyses several.
    static int getNbrOfCameras();
    static bool isMultiCamera();
    /// False for sources without a picture to analyse (radar, composite), and below 1.
    static bool isSupportedSource(int camera);
    /// Empty for a camera that does not exist, with a warning.
    static std::string getCameraName(int camera);

    static std::string getProdNbr();
    static std::string getProdType();
    static bool isTierLineCamera();
    static bool isThermalCamera();
    /// Whether the camera's head moves by itself, not by a driver, remotely or digitally.
    static bool isMechanicalPTZ();

    /// Width by height of the camera's picture; 1.0 when nothing tells.
    static float getCameraAspectRatio(int camera);

    /// The version of the platform.
    static API_Version getSDK_Version();

    /// The stream resolutions with camera 1's aspect ratio, up to the platform's greatest width, in
    /// the device's order.
    static const std::vector<Resolution>& getCameraResolutionsForCurrentAspectRatio();

    /// Whether alarms can be drawn into the streams of this device.
    static bool isAlarmOverlaySupported();

private:
    friend class CameraInfoTestAccess;

    /// Forgets all kept answers; references to the resolutions end to be valid.
    static void forget();

    /// The file that tells the chip family.
    static const char* s_machineFile;
};

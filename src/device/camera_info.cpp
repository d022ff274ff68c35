#include "device/camera_info.h"

#include <glib.h>
#include <syslog.h>

#include <cmath>
#include <fstream>
#include <optional>

#include "app/convert.h"
#include "app/utils.h"
#include "cgi/api_version.h"
#include "events/sdk_wrapper.h"
#include "overlay/overlay_services.h"

const char* CameraInfo::s_machineFile = "/sys/devices/soc0/machine";

namespace {

constexpr double kLeastRatio = 0.001;
constexpr double kRatioTolerance = 1e-5;
constexpr float kAnalogueRatio = 4.0F / 3.0F;

/// What is kept of the device's answers; empty until asked for.
struct Answers {
    std::optional<int> nbrOfCameras;
    std::optional<std::string> prodNbr;
    std::optional<std::string> prodType;
    std::optional<bool> isMechanicalPTZ;
    std::optional<bool> isAlarmOverlaySupported;
    std::optional<API_Version> sdkVersion;
    std::optional<std::vector<CameraInfo::Resolution>> resolutions;
};

/// Guards the answers. Held while one of them is asked for.
GMutex mutex;
/// Never destroyed: threads that end with the process still ask.
Answers& answers = *new Answers;

/// Gives the kept answer, asking the device first if there is none. The caller holds the mutex.
template <typename T, typename Function>
const T& keep(std::optional<T>& answer, Function ask) {
    if (!answer.has_value()) {
        answer = ask();
    }
    return *answer;
}

std::string readParameter(const std::string& name) {
    char buffer[4096];
    return sdk_wrapper_param_get(name.c_str(), buffer, sizeof buffer);
}

/// Texts of video sources are short; what is longer is cut.
std::string readSourceParameter(const std::string& name) {
    char buffer[20];
    return sdk_wrapper_param_get(name.c_str(), buffer, sizeof buffer);
}

bool isParameterYes(const char* name) {
    return readParameter(name) == "yes";
}

std::string imageSource(int camera) {
    return "ImageSource.I" + std::to_string(camera - 1);
}

int askNbrOfCameras() {
    if (!isParameterYes("root.Properties.EmbeddedDevelopment.RuleEngine.MultiConfiguration")) {
        return 1;
    }
    const int number =
        Convert::stringToInt(readParameter("root.ImageSource.NbrOfSources").c_str()).get();
    if (number < 1) {
        syslog(LOG_WARNING, "nbr of cameras: %d\n", number);
    }
    return number;
}

enum class PTZ { None, Digital, DriverManaged, RemoteControlled, Mechanical };

PTZ classifyPTZ() {
    if (!isParameterYes("root.Properties.PTZ.PTZ")) {
        return PTZ::None;
    }
    if (isParameterYes("root.Properties.PTZ.DigitalPTZ")) {
        return PTZ::Digital;
    }
    if (isParameterYes("root.Properties.PTZ.DriverManagement")) {
        return PTZ::DriverManaged;
    }
    if (isParameterYes("root.Properties.RemoteCameraControl.TELIX")) {
        return PTZ::RemoteControlled;
    }
    return PTZ::Mechanical;
}

/// "16:9" as a number; 0.0 without the separator or a divisor.
float parseRatio(const std::string& text, char separator) {
    const std::size_t position = text.find(separator);
    if (position == std::string::npos) {
        return 0.0F;
    }
    const int dividend = Convert::stringToInt(text.substr(0, position).c_str()).get();
    const int divisor = Convert::stringToInt(text.substr(position + 1).c_str()).get();
    return divisor == 0 ? 0.0F : static_cast<float>(dividend) / static_cast<float>(divisor);
}

bool isNoRatio(float ratio) {
    return std::fabs(static_cast<double>(ratio)) < kLeastRatio;
}

float askAnalogueRatio(const std::string& videoType) {
    if (videoType == "pal" || videoType == "ntsc" || videoType == "PAL" || videoType == "NTSC") {
        return kAnalogueRatio;
    }
    syslog(LOG_WARNING, "Detected video type '%s' is invalid, assuming aspect ratio 1.0.\n",
           videoType.c_str());
    return 1.0F;
}

float askAspectRatio(int camera) {
    const std::string sensor = readSourceParameter(imageSource(camera) + ".Sensor.AspectRatio");
    const std::string resolution =
        readSourceParameter("Image.I" + std::to_string(camera - 1) + ".Appearance.Resolution");
    const std::string videoType = readSourceParameter(imageSource(camera) + ".Video.DetectedType");
    if (!sensor.empty()) {
        const float ratio = parseRatio(sensor, ':');
        if (isNoRatio(ratio)) {
            syslog(LOG_WARNING, "Sensor aspect ratio '%s' has unknown format.\n", sensor.c_str());
        }
        return ratio;
    }
    const float ratio = parseRatio(resolution, 'x');
    return isNoRatio(ratio) ? askAnalogueRatio(videoType) : ratio;
}

API_Version askSDK_Version() {
    return API_Version(readParameter("root.Properties.EmbeddedDevelopment.Version"));
}

bool isAtLeast(const API_Version& version, const char* least) {
    return !(version < API_Version(least));
}

/// A part that cannot be read, and every one of an item without just two, is 0.
CameraInfo::Resolution parseResolution(const std::string& item) {
    const std::vector<std::string> parts = utils::splitString(item, 'x');
    if (parts.size() != 2) {
        return {0, 0};
    }
    return {Convert::stringToInt(parts[0].c_str()).get(),
            Convert::stringToInt(parts[1].c_str()).get()};
}

std::vector<CameraInfo::Resolution> askResolutions(const API_Version& sdkVersion) {
    const int greatestWidth = isAtLeast(sdkVersion, "2.16") ? 1920 : 1280;
    const double cameraRatio = static_cast<double>(askAspectRatio(1));
    std::vector<CameraInfo::Resolution> resolutions;
    for (const std::string& item :
         utils::splitString(readParameter("root.Properties.Image.Resolution"), ',')) {
        const CameraInfo::Resolution resolution = parseResolution(item);
        if (resolution.width == 0 || resolution.height == 0) {
            syslog(LOG_WARNING, "Failed to parse resolution, skipping: %s\n", item.c_str());
            continue;
        }
        const float ratio =
            static_cast<float>(resolution.width) / static_cast<float>(resolution.height);
        if (std::fabs(cameraRatio - static_cast<double>(ratio)) < kRatioTolerance &&
            resolution.width <= greatestWidth) {
            resolutions.push_back(resolution);
        }
    }
    return resolutions;
}

/// The first line of the file that tells the chip family.
std::string readMachine(const char* path) {
    std::ifstream file(path);
    if (!file.is_open()) {
        return "unknown";
    }
    std::string line;
    std::getline(file, line);
    return line;
}

bool hasChipForOverlays(const char* machineFile) {
    const std::string machine = readMachine(machineFile);
    return machine.find("Ambarella") == std::string::npos &&
           machine.find("Mediatek") == std::string::npos;
}

}  // namespace

std::string CameraInfo::Resolution::toString() const {
    return std::to_string(width) + "x" + std::to_string(height);
}

int CameraInfo::getNbrOfCameras() {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&mutex);
    return keep(answers.nbrOfCameras, askNbrOfCameras);
}

bool CameraInfo::isMultiCamera() {
    return getNbrOfCameras() > 1;
}

bool CameraInfo::isSupportedSource(int camera) {
    if (camera < 1) {
        return false;
    }
    const std::string type = readParameter("root." + imageSource(camera) + ".Type");
    return type != "Radar" && type != "Composite";
}

std::string CameraInfo::getCameraName(int camera) {
    if (camera < 1 || camera > getNbrOfCameras()) {
        syslog(LOG_WARNING, "Invalid input. Camera number %i is not valid.\n", camera);
        return {};
    }
    return readParameter("root." + imageSource(camera) + ".Name");
}

std::string CameraInfo::getProdNbr() {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&mutex);
    return keep(answers.prodNbr, [] { return readParameter("root.Brand.ProdNbr"); });
}

std::string CameraInfo::getProdType() {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&mutex);
    return keep(answers.prodType, [] { return readParameter("root.Brand.ProdType"); });
}

bool CameraInfo::isTierLineCamera() {
    return getProdNbr().starts_with('Q');
}

bool CameraInfo::isThermalCamera() {
    return getProdType() == "Thermal Network Camera";
}

bool CameraInfo::isMechanicalPTZ() {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&mutex);
    return keep(answers.isMechanicalPTZ, [] { return classifyPTZ() == PTZ::Mechanical; });
}

float CameraInfo::getCameraAspectRatio(int camera) {
    return askAspectRatio(camera);
}

API_Version CameraInfo::getSDK_Version() {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&mutex);
    return keep(answers.sdkVersion, askSDK_Version);
}

const std::vector<CameraInfo::Resolution>& CameraInfo::getCameraResolutionsForCurrentAspectRatio() {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&mutex);
    return keep(answers.resolutions,
                [] { return askResolutions(keep(answers.sdkVersion, askSDK_Version)); });
}

bool CameraInfo::isAlarmOverlaySupported() {
    {
        g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&mutex);
        if (answers.isAlarmOverlaySupported.has_value()) {
            return *answers.isAlarmOverlaySupported;
        }
    }
    // Without the mutex, since the bus takes its time to answer.
    const bool isSupported = isAtLeast(getSDK_Version(), "2.15") &&
                             !getCameraResolutionsForCurrentAspectRatio().empty() &&
                             getNbrOfCameras() <= 1 && hasChipForOverlays(s_machineFile) &&
                             AlarmOverlay::doDBusNamesExist();
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&mutex);
    answers.isAlarmOverlaySupported = isSupported;
    return isSupported;
}

void CameraInfo::forget() {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&mutex);
    answers = {};
}

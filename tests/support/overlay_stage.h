#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "geometry/polygon.h"
#include "guard/alarm_data.h"
#include "guard/alarm_data_container.h"
#include "overlay/alarm_overlay.h"
#include "overlay/alarm_overlay_configuration_container.h"
#include "overlay/alarm_overlay_message.h"
#include "overlay/overlay_services.h"
#include "support/main_loop_thread.h"
#include "support/overlay_device.h"
#include "support/resident_cairo.h"
#include "support/syslog_capture.h"
#include "support/wrapped_device.h"
#include "tracking/tracking_object.h"

/// A device with one camera and overlay services, on which the alarm overlay is off. Its streams
/// are of one size, 64x48, unless a test wants others.
class OverlayStage : public testing::Test {
protected:
    static constexpr int kWidth = 64;
    static constexpr int kHeight = 48;
    static constexpr int kProfile = 1;
    /// Frames from a failure to the next try.
    static constexpr int kLimit = 25;
    static constexpr const char* kStreams = "/com/orva/Graphics1/Stream";
    static constexpr const char* kOverlays = "/com/orva/Overlay2/Overlay";
    static constexpr const char* kManager = "org.freedesktop.DBus.ObjectManager";

    static WrappedDevice::Parameters supporting() {
        return {{"root.Properties.EmbeddedDevelopment.Version", "2.15"},
                {"ImageSource.I0.Sensor.AspectRatio", "4:3"},
                {"root.Properties.Image.Resolution", "64x48,640x480"}};
    }

    OverlayStage() {
        CameraInfoTestAccess::setMachineFile("/nonexistent/machine");
        AlarmOverlay::forgetDBusNames();
    }
    ~OverlayStage() override {
        AlarmOverlay::disable();
        AlarmOverlay::forgetDBusNames();
        CameraInfoTestAccess::setMachineFile("/sys/devices/soc0/machine");
    }

    static std::string streamText(int id, const std::string& size = "64x48") {
        return "{'com.orva.Graphics1.Stream': {'Stream': <'" + std::to_string(id) +
               "'>, 'Resolution': <'" + size +
               "'>, 'Rotation': <0>, 'Camera': <1>, 'MirrorEnabled': <false>, 'Type': <'h264'>}}";
    }
    /// A text at the top of the picture, of so many pixels.
    static std::string overlayText(int id, int height) {
        return "{'com.orva.Overlay2.Overlay': {'OverlayId': <" + std::to_string(id) +
               ">, 'OverlayType': <'textoverlay'>, 'Position': <'top'>, 'Size': <'64x" +
               std::to_string(height) + "'>, 'Camera': <1>, 'Scalable': <false>}}";
    }

    /// The streams of the usual size that the device lists.
    void holdStreams(const std::vector<int>& ids) {
        std::string objects;
        for (const int id : ids) {
            objects += (objects.empty() ? "'" : ", '") + std::string(kStreams) + "/" +
                       std::to_string(id) + "': " + streamText(id);
        }
        services.holdObjects(kStreams, "{" + objects + "}");
    }
    void holdOverlay(int id, int height) {
        services.holdObjects(kOverlays, "{'" + std::string(kOverlays) + "/" + std::to_string(id) +
                                            "': " + overlayText(id, height) + "}");
    }
    /// A stream appears; the signal has gone out on return.
    void announceStream(int id) {
        const std::string text =
            "('" + std::string(kStreams) + "/" + std::to_string(id) + "', " + streamText(id) + ")";
        services.emit(kStreams, kManager, "InterfacesAdded",
                      g_variant_parse(G_VARIANT_TYPE("(oa{sa{sv}})"), text.c_str(), nullptr,
                                      nullptr, nullptr));
    }

    static void configure(const std::vector<int>& profiles = {kProfile}, int width = kWidth,
                          int height = kHeight) {
        AlarmOverlay::setNewConfiguration({profiles, {{1, {width, height, 0, false}}}});
    }
    /// Running, with an overlay in each of these streams.
    void run(const std::vector<int>& streams = {3}) {
        holdStreams(streams);
        AlarmOverlay::enableIfSupported();
        configure();
        ASSERT_EQ(count("CreateOverlay"), static_cast<int>(streams.size()));
    }

    /// One frame with an object in alarm.
    static void showObject() {
        TrackingObject object(7, new Polygon(-1024, 1024, -1024, 1024));
        auto* data = new AlarmData(kProfile);
        data->addObjectStatus(&object, AlarmDataStatusAlarm);
        AlarmDataContainer alarms;
        alarms.insert(data);
        AlarmOverlay::handleAlarmResult(alarms, g_get_monotonic_time());
    }
    static void showObjects(int frames) {
        for (int i = 0; i < frames; ++i) {
            showObject();
        }
    }
    /// Running becomes Resetting.
    void failAFrame() {
        services.failAt(1);
        showObject();
        ASSERT_FALSE(services.hasNotFailed());
    }

    /// The members that were called, without the paths and parameters.
    std::vector<std::string> members() const {
        std::vector<std::string> names;
        for (const std::string& call : services.calls()) {
            names.push_back(call.substr(0, call.find(' ')));
        }
        return names;
    }
    int count(const std::string& member) const {
        const std::vector<std::string> names = members();
        return static_cast<int>(std::count(names.begin(), names.end(), member));
    }
    /// Whether the overlay made last shows the object; forgets what it showed.
    bool isObjectShown() {
        services.forgetCalls();
        showObject();
        const std::vector<std::string> requests = services.requests();
        if (requests.empty()) {
            return false;
        }
        const std::string& last = requests.back();
        const int overlayId = std::stoi(last.substr(last.find("overlayId\": ") + 12));
        const unsigned char* image = services.bufferOf(overlayId) + 64;
        return std::find(image, image + kWidth * kHeight / 2, 0x44) != image + kWidth * kHeight / 2;
    }

    WrappedDevice device{supporting()};
    PrivateBus bus;
    OverlayDevice services{bus};
    SyslogCapture log;
    MainLoopThread mainLoop;
};

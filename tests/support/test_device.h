#pragma once

#include <string>

#include "events/sdk_wrapper.h"
#include "support/camera_info_test_access.h"
#include "zqevent/double/zqevent_double.h"
#include "zqparameter/double/zqparameter_double.h"

/// A device for tests: one fixed camera until something else is told, with the event wrapper
/// running on the doubles. What is to be told of it is told before the code under test asks.
class TestDevice {
public:
    TestDevice() {
        ZQEventDouble::reset();
        ZQParameterDouble::reset();
        CameraInfoTestAccess::forget();
        sdk_wrapper_init("KTW", "Tarnwatch", "DeviceAppHost");
    }
    ~TestDevice() {
        sdk_wrapper_cleanup();
        CameraInfoTestAccess::forget();
    }
    TestDevice(const TestDevice&) = delete;
    TestDevice& operator=(const TestDevice&) = delete;

    TestDevice& has(const std::string& parameter, const std::string& value) {
        ZQParameterDouble::set(parameter, value);
        CameraInfoTestAccess::forget();
        return *this;
    }
    TestDevice& hasSources(int count) {
        has("root.Properties.EmbeddedDevelopment.RuleEngine.MultiConfiguration", "yes");
        return has("root.ImageSource.NbrOfSources", std::to_string(count));
    }
    /// `camera` counts from 1.
    TestDevice& hasRadarAs(int camera) {
        return has("root.ImageSource.I" + std::to_string(camera - 1) + ".Type", "Radar");
    }
    TestDevice& isMechanicalPTZ() { return has("root.Properties.PTZ.PTZ", "yes"); }
    /// Resolutions as "1280x720,640x360"; those of the given aspect ratio are the device's.
    TestDevice& hasResolutions(const std::string& list, const std::string& aspectRatio) {
        has("ImageSource.I0.Sensor.AspectRatio", aspectRatio);
        has("root.Properties.EmbeddedDevelopment.Version", "2.16");
        return has("root.Properties.Image.Resolution", list);
    }
};

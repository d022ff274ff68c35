#pragma once

#include <atomic>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "app/interval_timer_observable.h"
#include "events/sdk_wrapper.h"
#include "glib-utils/double/glib_utils_double.h"
#include "support/camera_info_test_access.h"
#include "zqevent/double/zqevent_double.h"
#include "zqparameter/double/zqparameter_double.h"

/// A device on the platform's doubles for tests: fresh doubles with the given parameters, the
/// interval timer and the event wrapper. One at a time. Make a SyslogCapture after it: the wrapper
/// logs that its connection to the bus is still there from the test before.
class WrappedDevice {
public:
    using Parameters = std::map<std::string, std::string>;

    explicit WrappedDevice(const Parameters& parameters = {}) {
        connectForGood();
        ZQEventDouble::reset();
        ZQParameterDouble::reset();
        GlibUtilsDouble::reset();
        ZQParameterDouble::set(parameters);
        CameraInfoTestAccess::forget();
        IntervalTimerObservable::initialize(500);
        sdk_wrapper_init("KTW", "Tarnwatch", "DeviceAppHost");
    }
    ~WrappedDevice() {
        sdk_wrapper_cleanup();
        IntervalTimerObservable::deinitialize();
        CameraInfoTestAccess::forget();
    }
    WrappedDevice(const WrappedDevice&) = delete;
    WrappedDevice& operator=(const WrappedDevice&) = delete;

    /// Parameters of a device with two cameras, named "Front" and "Back".
    static Parameters twoCameras() {
        return {{"root.Properties.EmbeddedDevelopment.RuleEngine.MultiConfiguration", "yes"},
                {"root.ImageSource.NbrOfSources", "2"},
                {"root.ImageSource.I0.Name", "Front"},
                {"root.ImageSource.I1.Name", "Back"}};
    }

    /// Returns when the interval timer has called everything that was due at the call.
    static void runTimer() {
        static std::atomic<int> calls;
        calls = 0;
        const int id = IntervalTimerObservable::registerObserver(
            [](int) {
                ++calls;
                calls.notify_all();
            },
            0);
        // One call may be a late one of the probe before.
        for (int seen = 0; seen < 2; seen = calls) {
            calls.wait(seen);
        }
        IntervalTimerObservable::unregisterObserver(id);
    }

    /// What was sent, in order, as "NAME PROPERTIES", the name being the event's last topic.
    static std::vector<std::string> sent() {
        std::map<unsigned, std::string> names;
        for (const ZQEventDouble::Declaration& declaration : ZQEventDouble::declarations()) {
            names[declaration.id] = lastTopic(declaration.keys);
        }
        std::vector<std::string> lines;
        for (const ZQEventDouble::Sent& one : ZQEventDouble::sent()) {
            lines.push_back(names[one.declaration] + " " + ZQEventDouble::describe(one.values) +
                            (one.accepted ? "" : " failed"));
        }
        return lines;
    }

    /// The last topics of the events that stand declared, in the order of their declaration.
    static std::vector<std::string> declared() {
        std::vector<std::string> names;
        for (const ZQEventDouble::Declaration& declaration : ZQEventDouble::declared()) {
            names.push_back(lastTopic(declaration.keys));
        }
        return names;
    }

private:
    /// The wrapper connects to the bus once in a process. Done beforehand, a test finds the same
    /// whether it is the first or not.
    static void connectForGood() {
        static std::once_flag once;
        std::call_once(once, [] {
            sdk_wrapper_init("KTW", "Tarnwatch", "DeviceAppHost");
            sdk_wrapper_cleanup();
        });
    }

    static std::string lastTopic(const EventKeys& keys) {
        std::string name;
        for (const EventKey& key : keys) {
            if (key.topicLevel().has_value()) {
                name = std::get<std::string>(key.value);
            }
        }
        return name;
    }
};

#pragma once

#include <jansson.h>

#include <cstdint>
#include <string>
#include <vector>

#include "app/status.h"
#include "filters/perspective_bar.h"

class DataBoundaries;
class ExclusionFilter;
class Guard;
class Polygon;
class Polyline;
struct AreaDatapointsBoundaries;
struct ConditionBoundaries;

/// Checks one profile of a configuration document and holds what its guard is built of. Parsing
/// touches no running state; createGuard() is called once the whole document has proved valid.
///
/// The steps of a parse are member functions that throw StatusException; parseJson() runs them,
/// catches, logs and leaves the failure in `status`. What a failed factory holds is not used.
///
/// No lock: a factory belongs to the parser that made it.
class GuardFactory {
public:
    /// `cameraRotation` in degrees; `boundaries` is borrowed and must outlive the factory.
    GuardFactory(int cameraRotation, const DataBoundaries& boundaries);
    /// `eventDuration` in microseconds.
    GuardFactory(int cameraRotation, const DataBoundaries& boundaries, long eventDuration);
    virtual ~GuardFactory();
    GuardFactory(const GuardFactory&) = delete;
    GuardFactory& operator=(const GuardFactory&) = delete;

    /// A new guard (transferred), with copies of what the factory holds; null without an include
    /// area.
    virtual Guard* createGuard() const = 0;
    virtual void validateConfiguration();
    virtual void createOneExclusionFilter(const json_t& filter) = 0;
    /// Does not throw StatusException; a failure is logged and left in `status`.
    virtual void parseJson(const json_t& profile) = 0;

    void parseGuardData(const json_t& profile);
    void createExclusionFilters(const json_t& profile);
    void createTriggers(const json_t& profile);
    void createPresets(const json_t& profile);
    void createAlarmOverlay(const json_t& profile);

    bool isProfileNameValid(const std::string& profileName) const;

    /// Throws StatusException(message, code) when the condition holds.
    void throwIf(bool condition, const std::string& message, StatusCode_e code) const {
        utils::throwIf(condition, message, code);
    }

    // Readers of single filters. Each appends what it makes.
    void createSizeFilterPercent(const json_t& filter);
    void createObjectLifetimeFilter(const json_t& filter);
    void createSwayingFilter(const json_t& filter);
    /// The new filter is the caller's (transferred).
    ExclusionFilter* createAndReturnSwayingFilter(const json_t& filter) const;
    void createExcludeArea(const json_t& filter);

    // Readers of single triggers.
    void createOneIncludeArea(const json_t& trigger);
    void createOneLoiteringArea(const json_t& trigger);
    void createOneCondition(const json_t& condition);
    void createOneFenceLine(const json_t& trigger);

    /// A list of `min`..`max` points, -1.0..1.0, in scene units: x, then y of each. `label` names
    /// the list in the log.
    std::vector<std::int16_t> createDataVector(const json_t& points, int min, int max,
                                               const std::string& label) const;
    /// A new polygon (transferred).
    Polygon* createPolygon(const json_t& points, const AreaDatapointsBoundaries& limits,
                           const std::string& label) const;
    /// A new polyline (transferred).
    Polyline* createPolyline(const json_t& points) const;

    bool sizePercentActive = false;      // of the last such filter read
    bool sizePerspectiveActive = false;  // of the last such filter read
    std::string name;                    // trimmed
    std::int32_t uid = -1;
    std::int32_t camera = -1;
    std::int64_t eventDuration = 3000000;  // microseconds
    StatusCode_e status = StatusOk;
    Polygon* includeArea = nullptr;      // owned; of an include area or a loitering area
    std::int32_t individualTime = 0;     // microseconds; 0 when the condition is inactive
    std::int32_t groupTime = 0;          // likewise
    std::int32_t objectStoppedTime = 0;  // likewise
    Polyline* fence = nullptr;           // owned
    std::int32_t alarmDirection = 0;     // -1 left to right, 1 right to left, 0 both
    std::vector<ExclusionFilter*> exclusionFilters;  // owned, in document order
    std::vector<Polygon*> excludeAreas;              // owned, in document order
    std::vector<PerspectiveBar> perspectiveBars;
    std::int32_t cameraRotation;       // degrees
    const DataBoundaries* boundaries;  // borrowed
    std::vector<std::int32_t> presets;
    bool alarmOverlayEnabled = false;

protected:
    /// x * 4096 rounded half away from zero.
    static std::int32_t toFixedPoint(double value);

private:
    void createOneTrigger(const json_t& trigger, int nbrOfTriggers);
    /// The time of an "individual" or "group" condition in microseconds; 0 when it is inactive.
    std::int32_t readTimeInArea(const json_t& condition, const ConditionBoundaries& limits,
                                const std::string& word) const;
    std::int32_t readObjectStopped(const json_t& condition,
                                   const ConditionBoundaries& limits) const;
};

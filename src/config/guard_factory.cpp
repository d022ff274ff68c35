#include "config/guard_factory.h"

#include <syslog.h>

#include <utility>

#include "app/utils.h"
#include "config/data_boundaries.h"
#include "config/json_parser.h"
#include "device/camera_info.h"
#include "filters/object_lifetime_filter.h"
#include "filters/size_filter_percent.h"
#include "filters/swaying_filter.h"
#include "geometry/polygon.h"
#include "geometry/polyline.h"
#include "guard/guard.h"

namespace {

constexpr std::int64_t kMicrosecondsPerSecond = 1000000;
constexpr double kSceneUnits = 4096.0;

struct DirectionWord {
    const char* word;
    std::int32_t direction;
};

constexpr DirectionWord kDirectionWords[] = {{"leftToRight", -1}, {"rightToLeft", 1}, {"both", 0}};

std::int32_t toMicroseconds(int seconds) {
    return static_cast<std::int32_t>(seconds * kMicrosecondsPerSecond);
}

bool isWithin(int value, int min, int max) {
    return min <= value && value <= max;
}

bool isInView(double coordinate) {
    return -1.0 <= coordinate && coordinate <= 1.0;
}

template <typename T>
void deleteAll(std::vector<T*>& owned) {
    for (T* element : owned) {
        delete element;
    }
    owned.clear();
}

}  // namespace

GuardFactory::GuardFactory(int rotation, const DataBoundaries& limits)
    : cameraRotation(rotation), boundaries(&limits) {}

GuardFactory::GuardFactory(int rotation, const DataBoundaries& limits, long duration)
    : eventDuration(duration), cameraRotation(rotation), boundaries(&limits) {}

GuardFactory::~GuardFactory() {
    deleteAll(excludeAreas);
    deleteAll(exclusionFilters);
    delete fence;
    delete includeArea;
}

std::int32_t GuardFactory::toFixedPoint(double value) {
    return static_cast<std::int32_t>(value * kSceneUnits + (value > 0.0 ? 0.5 : -0.5));
}

void GuardFactory::parseGuardData(const json_t& profile) {
    const char* text = nullptr;
    std::int32_t duration = static_cast<std::int32_t>(eventDuration);
    throwIf(!JsonParser::unpack(&profile, "{s:s, s:i, s:i, s?i}", "name", &text, "uid", &uid,
                                "camera", &camera, "xinternalEventDuration", &duration),
            "Could not unpack data for the guard", StatusMissingParameter);
    // Only the low half is replaced, and is meant to be: a negative duration is a long one.
    eventDuration = (eventDuration & ~0xFFFFFFFFL) | static_cast<std::uint32_t>(duration);
    name = utils::trimString(text, " ");
    throwIf(!isProfileNameValid(name), "The name of the profile is not valid",
            StatusInvalidParameter);
}

bool GuardFactory::isProfileNameValid(const std::string& profileName) const {
    throwIf(boundaries->profile == nullptr, "Missing boundary values for the profile",
            StatusInternalError);
    return !profileName.empty() &&
           utils::lengthInUtf8(profileName) <= boundaries->profile->maxNameLength &&
           profileName.find_first_of("<>") == std::string::npos;
}

void GuardFactory::createExclusionFilters(const json_t& profile) {
    const json_t* filters = JsonParser::getArray(&profile, "filters");
    throwIf(filters == nullptr, "Could not find the 'filters' tag", StatusMissingParameter);
    for (std::size_t i = 0; i < json_array_size(filters); ++i) {
        const json_t* filter = json_array_get(filters, i);
        throwIf(filter == nullptr, "Could not get the exclusion filters", StatusMissingParameter);
        createOneExclusionFilter(*filter);
    }
}

void GuardFactory::createSizeFilterPercent(const json_t& filter) {
    int width = 0;
    int height = 0;
    int active = 0;
    throwIf(
        !JsonParser::unpack(&filter, "{s:[ii!], s:b}", "data", &width, &height, "active", &active),
        "Could not unpack a size filter percent", StatusMissingParameter);
    sizePercentActive = active != 0;
    const SizePercentageFilterBoundaries* limits = boundaries->sizePercentageFilter;
    throwIf(limits == nullptr, "Missing boundary values for the size percentage filter",
            StatusInternalError);
    throwIf(!isWithin(width, limits->minWidth, limits->maxWidth) ||
                !isWithin(height, limits->minHeight, limits->maxHeight),
            "Incorrect parameter value for size filter percent", StatusInvalidParameter);
    exclusionFilters.push_back(new SizeFilterPercent(width, height, active != 0));
}

void GuardFactory::createObjectLifetimeFilter(const json_t& filter) {
    int seconds = 0;
    int active = 0;
    throwIf(!JsonParser::unpack(&filter, "{s:i, s:b}", "data", &seconds, "active", &active),
            "Could not unpack an object lifetime filter", StatusMissingParameter);
    const ShortLivedFilterBoundaries* limits = boundaries->shortLivedFilter;
    throwIf(limits == nullptr, "Missing boundary values for the short lived filter",
            StatusInternalError);
    throwIf(!isWithin(seconds, limits->min, limits->max),
            "Incorrect parameter value for object lifetime filter", StatusInvalidParameter);
    exclusionFilters.push_back(new ObjectLifetimeFilter(toMicroseconds(seconds), active != 0));
}

void GuardFactory::createSwayingFilter(const json_t& filter) {
    exclusionFilters.push_back(createAndReturnSwayingFilter(filter));
}

ExclusionFilter* GuardFactory::createAndReturnSwayingFilter(const json_t& filter) const {
    int percent = 0;
    int active = 0;
    throwIf(!JsonParser::unpack(&filter, "{s:i, s:b}", "data", &percent, "active", &active),
            "Could not unpack a swaying filter", StatusMissingParameter);
    const SwayingFilterBoundaries* limits = boundaries->swayingFilter;
    throwIf(limits == nullptr, "Missing boundary values for the swaying filter",
            StatusInternalError);
    throwIf(!isWithin(percent, limits->min, limits->max),
            "Incorrect parameter value for swaying filter percent", StatusInvalidParameter);
    return new SwayingFilter(percent, uid, active != 0);
}

void GuardFactory::createExcludeArea(const json_t& filter) {
    const ExcludeAreaBoundaries* limits = boundaries->excludeArea;
    throwIf(limits == nullptr, "Missing boundary values for the exclude area", StatusInternalError);
    throwIf(static_cast<int>(excludeAreas.size()) >= limits->maxNbrInstances,
            "The configuration contains too many exclude areas", StatusInvalidParameter);
    const json_t* points = JsonParser::getArray(&filter, "data");
    throwIf(points == nullptr, "Could not get the data for an exclude area",
            StatusInvalidParameter);
    excludeAreas.push_back(createPolygon(*points, limits->datapoints, "An exclude area"));
}

std::vector<std::int16_t> GuardFactory::createDataVector(const json_t& points, int min, int max,
                                                         const std::string& label) const {
    const int count = static_cast<int>(json_array_size(&points));
    if (count < min) {
        syslog(LOG_WARNING, "%s contains too few verticies (%d)\n", label.c_str(), count);
        throwIf(true, "Too few verticies in a trigger", StatusInvalidParameter);
    }
    if (count > max) {
        syslog(LOG_WARNING, "%s contains too many verticies (%d)\n", label.c_str(), count);
        throwIf(true, "Too many verticies in a trigger", StatusInvalidParameter);
    }
    std::vector<std::int16_t> data;
    data.reserve(2 * static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        const json_t* point = json_array_get(&points, static_cast<std::size_t>(i));
        throwIf(point == nullptr, "Could not get data for a trigger", StatusMissingParameter);
        double x = 0;
        double y = 0;
        throwIf(!JsonParser::unpack(point, "[FF!]", &x, &y),
                "Could not unpack a point for a trigger", StatusMissingParameter);
        if (!isInView(x) || !isInView(y)) {
            syslog(LOG_WARNING, "%s %d is out of bounds: x=%f y=%f\n", label.c_str(), i, x, y);
            throwIf(true, "Trigger values out of bounds", StatusInvalidParameter);
        }
        data.push_back(static_cast<std::int16_t>(toFixedPoint(x)));
        data.push_back(static_cast<std::int16_t>(toFixedPoint(y)));
    }
    return data;
}

Polygon* GuardFactory::createPolygon(const json_t& points, const AreaDatapointsBoundaries& limits,
                                     const std::string& label) const {
    const std::vector<std::int16_t> data =
        createDataVector(points, limits.minNbrVertices, limits.maxNbrVertices, label);
    return new Polygon(data.data(), static_cast<int>(data.size() / 2));
}

Polyline* GuardFactory::createPolyline(const json_t& points) const {
    const FenceBoundaries* limits = boundaries->fence;
    throwIf(limits == nullptr, "Missing boundary values for fence", StatusInternalError);
    const std::vector<std::int16_t> data = createDataVector(
        points, limits->datapoints.minNbrVertices, limits->datapoints.maxNbrVertices, "A fence");
    return new Polyline(data.data(), static_cast<int>(data.size() / 2));
}

void GuardFactory::createTriggers(const json_t& profile) {
    const json_t* triggers = JsonParser::getArray(&profile, "triggers");
    throwIf(triggers == nullptr, "Could not find the 'triggers' tag", StatusMissingParameter);
    throwIf(json_array_size(triggers) == 0, "Could not find any triggers", StatusConflict);
    for (std::size_t i = 0; i < json_array_size(triggers); ++i) {
        const json_t* trigger = json_array_get(triggers, i);
        throwIf(trigger == nullptr, "Could not get the trigger data", StatusMissingParameter);
        createOneTrigger(*trigger, static_cast<int>(json_array_size(triggers)));
    }
}

void GuardFactory::createOneTrigger(const json_t& trigger, int nbrOfTriggers) {
    // The length of the whole array is compared with each limit, and is meant to be: triggers of
    // another type count as well.
    const char* text = nullptr;
    throwIf(!JsonParser::unpack(&trigger, "{s:s}", "type", &text), "Could not unpack trigger name",
            StatusMissingParameter);
    const std::string word = text;
    if (word == "includeArea") {
        throwIf(boundaries->includeArea == nullptr,
                "Missing boundary values for the include area triggers", StatusInternalError);
        throwIf(nbrOfTriggers > boundaries->includeArea->maxNbrInstances,
                "The configuration contains too many include area triggers", StatusConflict);
        createOneIncludeArea(trigger);
    } else if (word == "loiteringArea") {
        throwIf(boundaries->loitering == nullptr,
                "Missing boundary values for the loitering area triggers", StatusInternalError);
        throwIf(nbrOfTriggers > boundaries->loitering->maxNbrInstances,
                "The configuration contains too many loitering area triggers", StatusConflict);
        createOneLoiteringArea(trigger);
    } else if (word == "fence") {
        throwIf(boundaries->fence == nullptr, "Missing boundary values for fence",
                StatusInternalError);
        throwIf(nbrOfTriggers > boundaries->fence->maxNbrInstances,
                "The configuration contains too many fence triggers", StatusConflict);
        createOneFenceLine(trigger);
    } else {
        throwIf(true, "Unknown trigger " + word, StatusMissingParameter);
    }
}

void GuardFactory::createOneIncludeArea(const json_t& trigger) {
    throwIf(includeArea != nullptr, "Only one include area per profile is allowed", StatusConflict);
    const json_t* points = JsonParser::getArray(&trigger, "data");
    throwIf(points == nullptr, "Could not get the data for an include area",
            StatusMissingParameter);
    throwIf(boundaries->includeArea == nullptr, "Missing boundary values for include Area",
            StatusInternalError);
    includeArea = createPolygon(*points, boundaries->includeArea->datapoints, "An include area");
}

void GuardFactory::createOneLoiteringArea(const json_t& trigger) {
    throwIf(includeArea != nullptr, "Only one loitering area per profile is allowed",
            StatusConflict);
    const json_t* points = JsonParser::getArray(&trigger, "data");
    throwIf(points == nullptr, "Could not get the data for a loitering area",
            StatusMissingParameter);
    throwIf(boundaries->loitering == nullptr, "Missing boundary values for loitering",
            StatusInternalError);
    includeArea = createPolygon(*points, boundaries->loitering->datapoints, "An loitering area");
    const json_t* conditions = JsonParser::getArray(&trigger, "conditions");
    throwIf(conditions == nullptr, "Could not get the conditions for a loitering area",
            StatusMissingParameter);
    individualTime = 0;
    groupTime = 0;
    objectStoppedTime = 0;
    for (std::size_t i = 0; i < json_array_size(conditions); ++i) {
        const json_t* condition = json_array_get(conditions, i);
        throwIf(condition == nullptr, "Could not get data for a condition", StatusMissingParameter);
        createOneCondition(*condition);
    }
}

void GuardFactory::createOneCondition(const json_t& condition) {
    const LoiteringBoundaries* limits = boundaries->loitering;
    throwIf(limits == nullptr, "Missing boundary values for loitering", StatusInternalError);
    const char* text = nullptr;
    throwIf(!JsonParser::unpack(&condition, "{s:s}", "type", &text),
            "Could not unpack trigger condition name", StatusMissingParameter);
    const std::string word = text;
    if (word == "individual") {
        individualTime = readTimeInArea(condition, limits->individualTimeInArea, "individual");
    } else if (word == "group") {
        groupTime = readTimeInArea(condition, limits->groupTimeInArea, "group");
    } else if (word == "objectStopped") {
        objectStoppedTime = readObjectStopped(condition, limits->objectStopped);
    } else {
        throwIf(true, "Unknown trigger condition: " + word, StatusInvalidParameter);
    }
}

std::int32_t GuardFactory::readTimeInArea(const json_t& condition,
                                          const ConditionBoundaries& limits,
                                          const std::string& word) const {
    int seconds = 0;
    int active = 0;
    throwIf(!JsonParser::unpack(&condition, "{s:i, s:b}", "data", &seconds, "active", &active),
            "Could not unpack an " + word + " time in area condition", StatusMissingParameter);
    throwIf(!isWithin(seconds, limits.min, limits.max),
            "Incorrect parameter value for " + word + " time in area condition",
            StatusInvalidParameter);
    return active != 0 ? toMicroseconds(seconds) : 0;
}

std::int32_t GuardFactory::readObjectStopped(const json_t& condition,
                                             const ConditionBoundaries& limits) const {
    const std::string notUnpacked = "Could not unpack an object stopped condition";
    int active = 0;
    throwIf(!JsonParser::unpack(&condition, "{s:b}", "active", &active), notUnpacked,
            StatusMissingParameter);
    const json_t* data = JsonParser::getArray(&condition, "data");
    throwIf(data == nullptr, notUnpacked, StatusMissingParameter);
    throwIf(json_array_size(data) != 1, "Wrong number of params for the objectStopped condition.",
            StatusInvalidParameter);
    int seconds = 0;
    throwIf(!JsonParser::unpack(data, "[i]", &seconds), notUnpacked, StatusMissingParameter);
    throwIf(!isWithin(seconds, limits.min, limits.max),
            "Incorrect parameter value for object stopped condition", StatusInvalidParameter);
    return active != 0 ? toMicroseconds(seconds) : 0;
}

void GuardFactory::createOneFenceLine(const json_t& trigger) {
    throwIf(fence != nullptr, "Only one fence per profile is allowed", StatusConflict);
    const json_t* points = JsonParser::getArray(&trigger, "data");
    throwIf(points == nullptr, "Could not get the data for fence line", StatusMissingParameter);
    const char* text = nullptr;
    throwIf(!JsonParser::unpack(&trigger, "{s:s}", "alarmDirection", &text),
            "Could not get the direction for fence (Unpack failed)", StatusMissingParameter);
    const std::string word = text;
    const DirectionWord* known = nullptr;
    for (const DirectionWord& row : kDirectionWords) {
        if (word == row.word) {
            known = &row;
        }
    }
    throwIf(known == nullptr, "Could not get the direction for fence", StatusInvalidParameter);
    alarmDirection = known->direction;
    fence = createPolyline(*points);
}

void GuardFactory::createPresets(const json_t& profile) {
    const json_t* tokens = JsonParser::getArray(&profile, "presets");
    const bool isMechanicalPTZ = CameraInfo::isMechanicalPTZ();
    throwIf(tokens != nullptr && !isMechanicalPTZ,
            "This device is a non-ptz device and the configuration should not contain any presets",
            StatusConflict);
    throwIf(boundaries->ptz == nullptr, "Missing boundary values for PTZ", StatusInternalError);
    if (!isMechanicalPTZ) {
        return;
    }
    throwIf(static_cast<int>(json_array_size(tokens)) > boundaries->ptz->maxNbrPresets,
            "The configuration contains too many presets", StatusConflict);
    if (json_array_size(tokens) == 0) {
        presets.push_back(Guard::anyPosition);
        return;
    }
    for (std::size_t i = 0; i < json_array_size(tokens); ++i) {
        const json_t* element = json_array_get(tokens, i);
        throwIf(element == nullptr, "Could not parse the preset", StatusMissingParameter);
        int token = 0;
        throwIf(!JsonParser::unpack(element, "i", &token), "Could not unpack preset number",
                StatusMissingParameter);
        presets.push_back(token);
    }
}

void GuardFactory::createAlarmOverlay(const json_t& profile) {
    const json_t* enabled = json_object_get(&profile, "alarmOverlayEnabled");
    throwIf(enabled != nullptr && !json_is_boolean(enabled),
            "Could not parse the alarmOverlayEnabled field", StatusMissingParameter);
    alarmOverlayEnabled = json_is_true(enabled);
}

void GuardFactory::validateConfiguration() {
    if (!sizePerspectiveActive) {
        return;
    }
    throwIf(sizePercentActive, "Only one type of size filter can be active", StatusConflict);
    throwIf(perspectiveBars.size() < 2,
            "A valid perspective is required too use the size perspective filter", StatusConflict);
}

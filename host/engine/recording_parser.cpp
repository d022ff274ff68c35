#include "engine/recording_parser.h"

#include <jansson.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <utility>

#include "engine/source_error.h"

namespace {

constexpr double nanosecondsPerSecond = 1e9;
/// Some months: no number of passes through a recording leads out of the clock's range.
constexpr double longestTime = 1e7;

/// What is wrong with a line, told without file and number.
class BadLine : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct JsonDeleter {
    void operator()(json_t* json) const { json_decref(json); }
};
using JsonHolder = std::unique_ptr<json_t, JsonDeleter>;

/// Where in a line a value stands, for messages: `objects[3].polygon[2]`.
class Place {
public:
    explicit Place(std::string text) : path(std::move(text)) {}
    Place at(std::size_t index) const { return Place(path + "[" + std::to_string(index) + "]"); }
    Place of(const char* member) const { return Place(path + "." + member); }
    [[noreturn]] void refuse(const std::string& reason) const {
        throw BadLine(path + " " + reason);
    }

private:
    std::string path;
};

void requireArray(const json_t* json, const Place& place) {
    if (!json_is_array(json)) {
        place.refuse("is not an array");
    }
}

double readNumber(const json_t* json, const Place& place, double lowest, double highest) {
    if (!json_is_number(json)) {
        place.refuse("is not a number");
    }
    const double value = json_number_value(json);
    if (!(value >= lowest && value <= highest)) {
        const auto text = [](double number) {
            return std::to_string(static_cast<std::int64_t>(number));
        };
        place.refuse("is outside " + text(lowest) + ".." + text(highest));
    }
    return value;
}

template <typename T>
T readWhole(const json_t* json, const Place& place, T lowest = std::numeric_limits<T>::min(),
            T highest = std::numeric_limits<T>::max()) {
    const double value = readNumber(json, place, lowest, highest);
    if (value != std::trunc(value)) {
        place.refuse("is not a whole number");
    }
    return static_cast<T>(value);
}

std::array<const json_t*, 2> readPair(const json_t* json, const Place& place) {
    if (!json_is_array(json) || json_array_size(json) != 2) {
        place.refuse("is not a pair");
    }
    return {json_array_get(json, 0), json_array_get(json, 1)};
}

ScenePoint readPoint(const json_t* json, const Place& place) {
    const auto [x, y] = readPair(json, place);
    return {readWhole<std::int16_t>(x, place.at(0)), readWhole<std::int16_t>(y, place.at(1))};
}

std::vector<ScenePoint> readPolygon(const json_t* json, const Place& place) {
    requireArray(json, place);
    const std::size_t count = json_array_size(json);
    if (count > SCENE_MAX_POINTS) {
        place.refuse("has more than " + std::to_string(SCENE_MAX_POINTS) + " points");
    }
    std::vector<ScenePoint> points;
    points.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        points.push_back(readPoint(json_array_get(json, i), place.at(i)));
    }
    return points;
}

std::array<ScenePoint, 4> readBox(const json_t* json, const Place& place) {
    const auto [first, second] = readPair(json, place);
    return boxCorners(readPoint(first, place.at(0)), readPoint(second, place.at(1)));
}

SceneVelocity readVelocity(const json_t* json, const Place& place) {
    const auto [x, y] = readPair(json, place);
    constexpr double lowest = std::numeric_limits<std::int32_t>::min();
    constexpr double highest = std::numeric_limits<std::int32_t>::max();
    const auto component = [&](const json_t* number, std::size_t index) {
        return static_cast<std::int32_t>(
            std::round(readNumber(number, place.at(index), lowest, highest)));
    };
    return {component(x, 0), component(y, 1)};
}

SceneObjectRecord readObject(const json_t* json, const Place& place) {
    if (!json_is_object(json)) {
        place.refuse("is not an object");
    }
    SceneObjectRecord object;
    object.id = readWhole<std::int32_t>(json_object_get(json, "id"), place.of("id"));
    if (const json_t* polygon = json_object_get(json, "polygon")) {
        object.polygon = readPolygon(polygon, place.of("polygon"));
    }
    if (const json_t* box = json_object_get(json, "boundingBox")) {
        object.boundingBox = readBox(box, place.of("boundingBox"));
    }
    if (const json_t* velocity = json_object_get(json, "velocity")) {
        object.velocity = readVelocity(velocity, place.of("velocity"));
    }
    if (const json_t* confidence = json_object_get(json, "confidence")) {
        object.confidence = readWhole<std::int16_t>(confidence, place.of("confidence"), 0);
    }
    return object;
}

std::vector<std::int32_t> readIds(const json_t* json, const Place& place) {
    requireArray(json, place);
    std::vector<std::int32_t> ids;
    ids.reserve(json_array_size(json));
    for (std::size_t i = 0; i < json_array_size(json); ++i) {
        ids.push_back(readWhole<std::int32_t>(json_array_get(json, i), place.at(i)));
    }
    return ids;
}

scene_event_action_e readAction(const json_t* json, const Place& place) {
    const std::string_view text = json_is_string(json) ? json_string_value(json) : "";
    if (text == "delete") {
        return SCENE_ACTION_DELETE;
    }
    if (text == "split") {
        return SCENE_ACTION_SPLIT;
    }
    if (text == "merge") {
        return SCENE_ACTION_MERGE;
    }
    place.refuse("is none of delete, split, merge");
}

SceneEventRecord readEvent(const json_t* json, const Place& place) {
    if (!json_is_object(json)) {
        place.refuse("is not an object");
    }
    SceneEventRecord event;
    event.action = readAction(json_object_get(json, "action"), place.of("action"));
    event.ids = readIds(json_object_get(json, "ids"), place.of("ids"));
    const json_t* related = json_object_get(json, "relatedIds");
    if (related != nullptr || event.action != SCENE_ACTION_DELETE) {
        event.relatedIds = readIds(related, place.of("relatedIds"));
    }
    return event;
}

SceneRecord readScene(const json_t* json) {
    SceneRecord scene;
    const double seconds = readNumber(json_object_get(json, "time"), Place("time"), 0, longestTime);
    setSceneTime(scene, std::llround(seconds * nanosecondsPerSecond));
    const json_t* objects = json_object_get(json, "objects");
    requireArray(objects, Place("objects"));
    scene.objects.reserve(json_array_size(objects));
    for (std::size_t i = 0; i < json_array_size(objects); ++i) {
        scene.objects.push_back(readObject(json_array_get(objects, i), Place("objects").at(i)));
    }
    if (const json_t* events = json_object_get(json, "events")) {
        requireArray(events, Place("events"));
        for (std::size_t i = 0; i < json_array_size(events); ++i) {
            scene.events.push_back(readEvent(json_array_get(events, i), Place("events").at(i)));
        }
    }
    return scene;
}

SceneRecord readLine(std::string_view line) {
    json_error_t error = {};
    const JsonHolder json(json_loadb(line.data(), line.size(), JSON_REJECT_DUPLICATES, &error));
    if (!json) {
        throw BadLine(std::string("is not JSON: ") + error.text);
    }
    if (!json_is_object(json.get())) {
        throw BadLine("is not a JSON object");
    }
    return readScene(json.get());
}

}  // namespace

RecordingParser::RecordingParser(std::string name) {
    recording.name = std::move(name);
}

void RecordingParser::addLine(std::string_view line) {
    ++lineNumber;
    try {
        SceneRecord scene = readLine(line);
        if (!recording.scenes.empty() && sceneTime(scene) < sceneTime(recording.scenes.back())) {
            throw BadLine("time is less than in the line before");
        }
        recording.scenes.push_back(std::move(scene));
    } catch (const BadLine& bad) {
        throw SourceError(recording.name + ":" + std::to_string(lineNumber) + ": " + bad.what());
    }
}

Recording RecordingParser::finish() {
    if (recording.scenes.empty()) {
        throw SourceError(recording.name + ":1: there is no scene");
    }
    return std::move(recording);
}

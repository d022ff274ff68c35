#include "config/parse_config.h"

#include <algorithm>
#include <limits>

#include "app/status.h"
#include "config/json_parser.h"
#include "config/persistent_config_handler.h"

namespace {

struct FilterWord {
    const char* word;
    ParseConfig::FilterType type;
};

constexpr FilterWord kFilterWords[] = {
    {"sizePercentage", ParseConfig::kSizePercentage},
    {"sizePerspective", ParseConfig::kSizePerspective},
    {"timeShortLivedLimit", ParseConfig::kTimeShortLivedLimit},
    {"distanceSwayingObject", ParseConfig::kDistanceSwayingObject},
    {"excludeArea", ParseConfig::kExcludeArea},
};

json_t* getArray(const json_t* object, const char* key, const char* errorWords) {
    json_t* array = JsonParser::getArray(object, key);
    utils::throwIf(array == nullptr, errorWords, StatusMissingParameter);
    return array;
}

void throwIfNotParsed(bool parsed, const std::string& key) {
    utils::throwIf(!parsed, "Failed to parse key: " + key, StatusMissingParameter);
}

/// The first element that has the same integer under the key as `wanted`, or null.
json_t* findByKey(const json_t* array, const json_t* wanted, const char* key) {
    const int value = ParseConfig::parseInt(wanted, key);
    for (std::size_t i = 0; i < json_array_size(array); ++i) {
        json_t* element = json_array_get(array, i);
        if (ParseConfig::parseInt(element, key) == value) {
            return element;
        }
    }
    return nullptr;
}

}  // namespace

json_t* ParseConfig::getParams(const json_t* document) {
    json_t* params = JsonParser::getObject(document, "params");
    utils::throwIf(params == nullptr, "Could not read 'params' from configuration",
                   StatusMissingParameter);
    return params;
}

json_t* ParseConfig::getProfiles(const json_t* params) {
    return getArray(params, "profiles", "Could not read 'profiles' from configuration");
}

json_t* ParseConfig::getFilters(const json_t* profile) {
    return getArray(profile, "filters", "Could not read 'filters' from configuration");
}

json_t* ParseConfig::getCameras(const json_t* params) {
    return getArray(params, "cameras", "Could not read 'cameras' from old configuration");
}

JsonAutoPtr ParseConfig::getPersistentConfig(const std::string& path) {
    const std::string text = PersistentConfigHandler::load(path);
    utils::throwIf(text.empty(), "Could not read the configuration file", StatusFileError);
    JsonAutoPtr document(JsonParser::decode(text.c_str()));
    utils::throwIf(!JsonParser::isValid(document.get()),
                   "Could not decode json in the configuration file", StatusInternalError);
    return document;
}

int ParseConfig::parseInt(const json_t* object, const std::string& key) {
    int value = 0;
    throwIfNotParsed(JsonParser::unpack(object, "{s:i}", key.c_str(), &value), key);
    return value;
}

bool ParseConfig::parseBool(const json_t* object, const std::string& key) {
    int value = 0;
    throwIfNotParsed(JsonParser::unpack(object, "{s:b}", key.c_str(), &value), key);
    return value != 0;
}

std::string ParseConfig::parseString(const json_t* object, const std::string& key) {
    const char* value = nullptr;
    throwIfNotParsed(JsonParser::unpack(object, "{s:s}", key.c_str(), &value), key);
    return value;
}

int ParseConfig::getCameraNbr(const json_t* profile) {
    return parseInt(profile, "camera");
}

int ParseConfig::getCameraId(const json_t* camera) {
    return parseInt(camera, "id");
}

int ParseConfig::getProfileUid(const json_t* profile) {
    return parseInt(profile, "uid");
}

std::string ParseConfig::getProfileName(const json_t* profile) {
    return parseString(profile, "name");
}

int ParseConfig::getMaxUid(const json_t* profiles) {
    int maxUid = std::numeric_limits<int>::min();
    for (std::size_t i = 0; i < json_array_size(profiles); ++i) {
        maxUid = std::max(maxUid, getProfileUid(json_array_get(profiles, i)));
    }
    return maxUid;
}

std::pair<std::pair<int, int>, bool> ParseConfig::parseFilterIntPair(const json_t* filter) {
    int first = 0;
    int second = 0;
    int active = 0;
    utils::throwIf(
        !JsonParser::unpack(filter, "{s:[ii!], s:b}", "data", &first, &second, "active", &active),
        "Failed to parse \"data\"", StatusMissingParameter);
    return active != 0 ? std::pair(std::pair(first, second), true)
                       : std::pair(std::pair(0, 0), false);
}

std::pair<int, bool> ParseConfig::parseFilterInt(const json_t* filter) {
    int value = 0;
    int active = 0;
    utils::throwIf(!JsonParser::unpack(filter, "{s:i, s:b}", "data", &value, "active", &active),
                   "Failed to parse \"data\"", StatusMissingParameter);
    return active != 0 ? std::pair(value, true) : std::pair(0, false);
}

int ParseConfig::getFilterType(const json_t* filter) {
    const std::string word = parseString(filter, "type");
    const auto* row = std::find_if(std::begin(kFilterWords), std::end(kFilterWords),
                                   [&word](const FilterWord& entry) { return word == entry.word; });
    return row != std::end(kFilterWords) ? row->type : kUnknownFilter;
}

bool ParseConfig::isCameraActive(const json_t* cameras, int id) {
    for (std::size_t i = 0; i < json_array_size(cameras); ++i) {
        const json_t* camera = json_array_get(cameras, i);
        if (getCameraId(camera) == id) {
            return parseBool(camera, "active");
        }
    }
    return false;
}

json_t* ParseConfig::getProfile(const json_t* profile, const json_t* profiles) {
    return findByKey(profiles, profile, "uid");
}

json_t* ParseConfig::getCamera(const json_t* camera, const json_t* cameras) {
    return findByKey(cameras, camera, "id");
}

json_t* ParseConfig::getElementInArray(json_t* array, int index) {
    utils::throwIf(array == nullptr, "JSON point pointer was NULL.", StatusMalformedJson);
    json_t* element = json_array_get(array, static_cast<std::size_t>(index));
    utils::throwIf(element == nullptr, "Non valid index.", StatusMalformedJson);
    return element;
}

json_t* ParseConfig::getTriggerData(json_t* profile) {
    const json_t* triggers = JsonParser::getArray(profile, "triggers");
    utils::throwIf(json_array_size(triggers) != 1, "Json triggers pointer is incorrect.",
                   StatusMalformedJson);
    json_t* data = json_object_get(json_array_get(triggers, 0), "data");
    utils::throwIf(data == nullptr, "Json trigger data pointer was NULL.", StatusMalformedJson);
    return data;
}

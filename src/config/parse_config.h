#pragma once

#include <jansson.h>

#include <string>
#include <utility>

#include "config/json_auto_ptr.h"

/// Stateless readers of the configuration document. Each throws StatusException when it finds what
/// it does not expect. Returned values are borrowed from the argument unless said otherwise.
class ParseConfig {
public:
    /// The numbers of the filter types, as getFilterType() gives them.
    enum FilterType {
        kUnknownFilter = 0,
        kSizePercentage = 1,
        kSizePerspective = 2,
        kTimeShortLivedLimit = 3,
        kDistanceSwayingObject = 4,
        kExcludeArea = 5,
    };

    /// The document's `params` object.
    static json_t* getParams(const json_t* document);
    /// The `profiles` array of `params`.
    static json_t* getProfiles(const json_t* params);
    /// The `filters` array of a profile.
    static json_t* getFilters(const json_t* profile);
    /// The `cameras` array of `params`.
    static json_t* getCameras(const json_t* params);

    /// The document stored at the path.
    static JsonAutoPtr getPersistentConfig(const std::string& path);

    static int parseInt(const json_t* object, const std::string& key);
    static bool parseBool(const json_t* object, const std::string& key);
    static std::string parseString(const json_t* object, const std::string& key);

    /// A profile's `camera`.
    static int getCameraNbr(const json_t* profile);
    /// A camera's `id`.
    static int getCameraId(const json_t* camera);
    /// A profile's `uid`.
    static int getProfileUid(const json_t* profile);
    /// A profile's `name`, as it stands.
    static std::string getProfileName(const json_t* profile);

    /// The greatest `uid` of the array; -2147483648 for an empty one.
    static int getMaxUid(const json_t* profiles);

    /// A filter's two integers and whether it is active. An inactive filter gives 0, 0 and false.
    static std::pair<std::pair<int, int>, bool> parseFilterIntPair(const json_t* filter);
    /// A filter's integer and whether it is active. An inactive filter gives 0 and false.
    static std::pair<int, bool> parseFilterInt(const json_t* filter);
    /// The number of a filter's `type`; kUnknownFilter for a word without one.
    static int getFilterType(const json_t* filter);

    /// The `active` of the camera with this id; false if there is none.
    static bool isCameraActive(const json_t* cameras, int id);
    /// The element of `profiles` with the `uid` of `profile`, or null.
    static json_t* getProfile(const json_t* profile, const json_t* profiles);
    /// The element of `cameras` with the `id` of `camera`, or null.
    static json_t* getCamera(const json_t* camera, const json_t* cameras);

    static json_t* getElementInArray(json_t* array, int index);
    /// The `data` of a profile's only trigger.
    static json_t* getTriggerData(json_t* profile);
};

#pragma once

#include <string>

#include "config/data_boundaries.h"
#include "config/default_values.h"
#include "config/json_auto_ptr.h"

/// Turns limits and proposals into JSON: with boundaries and defaults the form of the capabilities
/// answer (`min`, `max`, `default`), with defaults alone that of a configuration document (`data`,
/// `active`).
///
/// Stateless. Each operation throws StatusException with StatusInternalError for a null record and
/// for a failed packing.
class CGI_Pack {
public:
    static JsonAutoPtr sizePercentageFilter(const SizePercentageFilterBoundaries* boundaries,
                                            const SizePercentageFilterDefaults* defaults);
    static JsonAutoPtr sizePercentageFilter(const SizePercentageFilterDefaults* defaults);
    static JsonAutoPtr shortLivedFilter(const ShortLivedFilterBoundaries* boundaries,
                                        const ShortLivedFilterDefaults* defaults);
    static JsonAutoPtr shortLivedFilter(const ShortLivedFilterDefaults* defaults);
    static JsonAutoPtr swayingFilter(const SwayingFilterBoundaries* boundaries,
                                     const SwayingFilterDefaults* defaults);
    static JsonAutoPtr swayingFilter(const SwayingFilterDefaults* defaults);

    static JsonAutoPtr excludeArea(const ExcludeAreaBoundaries* boundaries,
                                   const ExcludeAreaDefaults* defaults);
    static JsonAutoPtr includeArea(const IncludeAreaBoundaries* boundaries,
                                   const IncludeAreaDefaults* defaults);
    static JsonAutoPtr includeArea(const IncludeAreaDefaults* defaults);
    static JsonAutoPtr loiteringArea(const LoiteringBoundaries* boundaries,
                                     const LoiteringDefaults* defaults);
    static JsonAutoPtr loiteringArea(const LoiteringDefaults* defaults);
    static JsonAutoPtr fence(const FenceBoundaries* boundaries, const FenceDefaults* defaults);
    static JsonAutoPtr fence(const FenceDefaults* defaults);

    static JsonAutoPtr presets(const PTZ_Boundaries* boundaries, const PTZ_Defaults* defaults);
    static JsonAutoPtr motionLevel(const SupportedCapabilitiesDefaults* defaults);
    static JsonAutoPtr profiles(const ProfileBoundaries* boundaries);

    /// What this device offers of the alarm overlay.
    static JsonAutoPtr alarmOverlay();
    /// The same for a device that supports it or not.
    static JsonAutoPtr alarmOverlay(bool isSupported);

    /// A new empty object; `errorWords` are the message of a failure, here and below.
    static JsonAutoPtr object(const std::string& errorWords);
    /// A new empty array.
    static JsonAutoPtr array(const std::string& errorWords);
    /// Adds the value with a reference of its own; the caller's stays.
    static void insertInObject(JsonAutoPtr& target, JsonAutoPtr& value, const std::string& key,
                               const std::string& errorWords);
    static void appendToArray(JsonAutoPtr& target, JsonAutoPtr& value,
                              const std::string& errorWords);
};

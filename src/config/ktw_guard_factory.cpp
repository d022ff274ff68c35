#include "config/ktw_guard_factory.h"

#include <syslog.h>

#include "config/json_parser.h"
#include "config/parse_config.h"
#include "events/ktw_state_event_producer.h"
#include "filters/exclusion_filter.h"
#include "geometry/polygon.h"
#include "guard/area_guard.h"

KTW_GuardFactory::KTW_GuardFactory(const json_t& profile, int rotation,
                                   const DataBoundaries& limits)
    : AreaGuardFactory(rotation, limits) {
    KTW_GuardFactory::parseJson(profile);
}

void KTW_GuardFactory::parseJson(const json_t& profile) {
    try {
        parseGuardData(profile);
        validateNonSupportedPerspective(profile);
        createExclusionFilters(profile);
        createTriggers(profile);
        createPresets(profile);
        createAlarmOverlay(profile);
        validateConfiguration();
    } catch (const StatusException& failure) {
        status = failure.status;
        syslog(LOG_WARNING, "%s\n", failure.what());
    }
}

void KTW_GuardFactory::validateNonSupportedPerspective(const json_t& profile) const {
    throwIf(JsonParser::getArray(&profile, "perspective") != nullptr,
            "The guard contains 'perspective' tag, the json data is incoherent", StatusConflict);
}

void KTW_GuardFactory::createOneExclusionFilter(const json_t& filter) {
    switch (ParseConfig::getFilterType(&filter)) {
        case ParseConfig::kSizePercentage:
            createSizeFilterPercent(filter);
            break;
        case ParseConfig::kTimeShortLivedLimit:
            createObjectLifetimeFilter(filter);
            break;
        case ParseConfig::kDistanceSwayingObject:
            createSwayingFilter(filter);
            break;
        case ParseConfig::kExcludeArea:
            createExcludeArea(filter);
            break;
        default:
            throwIf(true, "Unknown exclusion filter", StatusInvalidParameter);
    }
}

void KTW_GuardFactory::validateConfiguration() {
    GuardFactory::validateConfiguration();
    throwIf(includeArea == nullptr,
            "The guard does not contain an include area, the json data is incoherent",
            StatusConflict);
}

Guard* KTW_GuardFactory::createGuard() const {
    if (includeArea == nullptr) {
        return nullptr;
    }
    const int configuredPreset = presets.empty() ? Guard::anyPosition : presets.front();
    AreaGuard* guard = new AreaGuard(*includeArea, name, uid, camera, eventDuration, "KTW 4",
                                     KTW_StateEventProducer::getInstance(), configuredPreset);
    for (const Polygon* area : excludeAreas) {
        guard->addExcludeArea(*area);
    }
    for (const ExclusionFilter* filter : exclusionFilters) {
        guard->addExclusionFilter(filter->clone());
    }
    return guard;
}

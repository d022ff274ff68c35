#include "filters/swaying_filter.h"

#include "app/utils.h"
#include "filters/view_share.h"
#include "tracking/tracking_object.h"
#include "tracking/tracking_object_external_data_no_merge.h"

namespace {

constexpr const char* displacementKey = "localDisplacement";
constexpr const char* originKey = "pointOfOrigin";

// An object within a fifth of its greatest excursion from the origin has come back; squared.
constexpr std::int32_t squaredReturnShare = 25;

std::int32_t square(std::int32_t value) {
    return value * value;
}

}  // namespace

SwayingFilter::SwayingFilter(int percent, int profileId, bool isActive)
    : active(isActive),
      filterDataKey(utils::generateFilterDataKey("swaying_filter", profileId)),
      squaredDistance(square(utils::percentOfViewToSceneUnits(percent))) {}

bool SwayingFilter::canObjectTriggerAlarm(TrackingObject& object) {
    return !active || getData(object)->getInt(displacementKey) > squaredDistance;
}

SwayingFilter* SwayingFilter::clone() const {
    return new SwayingFilter(*this);
}

void SwayingFilter::updateFilterData(TrackingObject& object) {
    if (!active) {
        return;
    }
    TrackingObjectExternalData* data = getData(object);
    const std::int32_t displacement = data->getInt(displacementKey);
    const std::int32_t distance = data->getPoint(originKey).squareDistance(object.position);
    if (displacement <= squaredDistance && displacement / squaredReturnShare > distance) {
        data->insert(originKey, object.position);
        data->insert(displacementKey, 0);
    } else if (distance > displacement) {
        data->insert(displacementKey, distance);
    }
}

TrackingObjectExternalData* SwayingFilter::getData(TrackingObject& object) const {
    TrackingObjectExternalData* data = object.getData(filterDataKey);
    if (data == nullptr) {
        data = new TrackingObjectExternalDataNoMerge();
        data->insert(displacementKey, 0);
        data->insert(originKey, object.position);
        object.insertData(filterDataKey, data);
    }
    return data;
}

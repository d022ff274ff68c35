#include "filters/size_filter_perspective.h"

#include "app/utils.h"
#include "tracking/perspective_filter_external_data.h"
#include "tracking/tracking_object.h"

namespace {

constexpr auto heightKey = PerspectiveFilterExternalData::maxRealWorldHeight;
constexpr auto widthKey = PerspectiveFilterExternalData::maxRealWorldWidth;

void raise(TrackingObjectExternalData& data, const char* key, int value) {
    if (value > data.getInt(key)) {
        data.insert(key, value);
    }
}

}  // namespace

SizeFilterPerspective::SizeFilterPerspective(int profileId, int width, int height,
                                             const Perspective& fitted, bool isActive)
    : filterDataKey(utils::generateFilterDataKey("size_filter_perspective", profileId)),
      minWidth(width),
      minHeight(height),
      perspective(fitted),
      active(isActive) {}

bool SizeFilterPerspective::canObjectTriggerAlarm(TrackingObject& object) {
    if (!active) {
        return true;
    }
    const TrackingObjectExternalData* data = getData(object);
    return minHeight < data->getInt(heightKey) || minWidth < data->getInt(widthKey);
}

SizeFilterPerspective* SizeFilterPerspective::clone() const {
    return new SizeFilterPerspective(*this);
}

void SizeFilterPerspective::updateFilterData(TrackingObject& object) {
    const int foot = object.getFootPositionValue(object.position);
    TrackingObjectExternalData* data = getData(object);
    raise(*data, heightKey, perspective.calculateRealWorldSize(foot, object.getHeight()));
    raise(*data, widthKey,
          perspective.calculateRealWorldSize(foot, object.getAspectCorrectedWidth()));
}

TrackingObjectExternalData* SizeFilterPerspective::getData(TrackingObject& object) const {
    TrackingObjectExternalData* data = object.getData(filterDataKey);
    if (data == nullptr) {
        data = new PerspectiveFilterExternalData();
        data->insert(heightKey, 0);
        data->insert(widthKey, 0);
        object.insertData(filterDataKey, data);
    }
    return data;
}

#include "filters/size_filter_percent.h"

#include "filters/view_share.h"
#include "tracking/tracking_object.h"

SizeFilterPercent::SizeFilterPercent(int widthPercent, int heightPercent, bool isActive)
    : minWidth(utils::percentOfViewToSceneUnits(widthPercent)),
      minHeight(utils::percentOfViewToSceneUnits(heightPercent)),
      active(isActive) {}

bool SizeFilterPercent::canObjectTriggerAlarm(TrackingObject& object) {
    return !active || minHeight < object.maxHeight || minWidth < object.maxWidth;
}

SizeFilterPercent* SizeFilterPercent::clone() const {
    return new SizeFilterPercent(*this);
}

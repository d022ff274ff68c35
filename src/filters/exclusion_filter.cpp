#include "filters/exclusion_filter.h"

void ExclusionFilter::updateFilterData(TrackingObject&) {}

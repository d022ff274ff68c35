#include "tracking/perspective_filter_external_data.h"

#include <algorithm>

PerspectiveFilterExternalData* PerspectiveFilterExternalData::clone() const {
    return new PerspectiveFilterExternalData(*this);
}

void PerspectiveFilterExternalData::merge(const TrackingObjectExternalData& other) {
    for (const char* key : {maxRealWorldHeight, maxRealWorldWidth}) {
        insert(key, std::max(getInt(key), other.getInt(key)));
    }
}

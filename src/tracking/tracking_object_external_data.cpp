#include "tracking/tracking_object_external_data.h"

#include <syslog.h>

namespace {

template <typename Value>
Value valueOrLog(const TextMap<Value>& values, std::string_view key) {
    if (const Value* value = values.find(key)) {
        return *value;
    }
    syslog(LOG_ERR, "Could not find stored data for key %s\n", std::string(key).c_str());
    return {};
}

}  // namespace

TrackingObjectExternalData::~TrackingObjectExternalData() = default;

void TrackingObjectExternalData::insert(std::string_view key, bool value) {
    bools.set(key, value);
}

void TrackingObjectExternalData::insert(std::string_view key, std::int32_t value) {
    ints.set(key, value);
}

void TrackingObjectExternalData::insert(std::string_view key, const Point& value) {
    points.set(key, value);
}

void TrackingObjectExternalData::insert(std::string_view key, std::int64_t time) {
    times.set(key, time);
}

bool TrackingObjectExternalData::getBool(std::string_view key) const {
    return valueOrLog(bools, key);
}

std::int32_t TrackingObjectExternalData::getInt(std::string_view key) const {
    return valueOrLog(ints, key);
}

Point TrackingObjectExternalData::getPoint(std::string_view key) const {
    return valueOrLog(points, key);
}

long TrackingObjectExternalData::getTimeVal(std::string_view key, long fallback) const {
    const std::int64_t* time = times.find(key);
    return time != nullptr ? *time : fallback;
}

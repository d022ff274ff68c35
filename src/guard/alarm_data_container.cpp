#include "guard/alarm_data_container.h"

#include <algorithm>

AlarmDataContainer::~AlarmDataContainer() {
    for (const AlarmData* entry : alarmData) {
        delete entry;
    }
}

void AlarmDataContainer::insert(const AlarmData* entry) {
    if (entry != nullptr) {
        alarmData.push_back(entry);
    }
}

int AlarmDataContainer::size(int profileId) const {
    return static_cast<int>(objectsOf(profileId).size());
}

bool AlarmDataContainer::doesProfileExist(int profileId) const {
    return find(profileId) != nullptr;
}

AlarmDataContainer::ObjectIterator AlarmDataContainer::begin(int profileId) const {
    return objectsOf(profileId).begin();
}

AlarmDataContainer::ObjectIterator AlarmDataContainer::end(int profileId) const {
    return objectsOf(profileId).end();
}

AlarmDataContainer::PolygonIterator AlarmDataContainer::beginPolygon(int profileId) const {
    return polygonsOf(profileId).begin();
}

AlarmDataContainer::PolygonIterator AlarmDataContainer::endPolygon(int profileId) const {
    return polygonsOf(profileId).end();
}

const AlarmData* AlarmDataContainer::find(int profileId) const {
    const auto entry = std::ranges::find(alarmData, profileId, &AlarmData::profileId);
    return entry == alarmData.end() ? nullptr : *entry;
}

const std::vector<AlarmData::ObjectStatus>& AlarmDataContainer::objectsOf(int profileId) const {
    static const std::vector<AlarmData::ObjectStatus> none;
    const AlarmData* entry = find(profileId);
    return entry == nullptr ? none : entry->objects;
}

const std::vector<const Polygon*>& AlarmDataContainer::polygonsOf(int profileId) const {
    static const std::vector<const Polygon*> none;
    const AlarmData* entry = find(profileId);
    return entry == nullptr ? none : entry->polygons;
}

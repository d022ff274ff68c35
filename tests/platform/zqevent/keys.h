#pragma once

#include <string>
#include <vector>

#include "zqevent/event_keys.h"

/// One key of a set, in the shortest form.
struct Key {
    enum Mark { none, data, source };
    std::string name;
    std::string nameSpace;
    EventValue value;
    Mark mark = none;
};

/// The keys of an event of this application: DeviceAppHost/KTW/`name` with a bool "active".
std::vector<Key> alarmKeys(const std::string& name, bool active);
/// The same with a text property "text" instead.
std::vector<Key> textKeys(const std::string& name);
std::string appTopic(const std::string& name);

#include "platform/zqevent/keys.h"

std::vector<Key> alarmKeys(const std::string& name, bool active) {
    return {{"topic0", "tnsorva", std::string("DeviceAppHost")},
            {"topic1", "tnsorva", std::string("KTW")},
            {"topic2", "tnsorva", name},
            {"active", "", active, Key::data}};
}

std::vector<Key> textKeys(const std::string& name) {
    std::vector<Key> keys = alarmKeys(name, false);
    keys.back() = {"text", "", std::string(), Key::data};
    return keys;
}

std::string appTopic(const std::string& name) {
    return "tarnwatch/onvif-ej/tnsorva:DeviceAppHost/tnsorva:KTW/tnsorva:" + name;
}

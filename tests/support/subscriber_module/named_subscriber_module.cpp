#include "support/subscriber_module/named_subscriber_module.h"

#include "scene/video_scene_subscriber.h"

NamedSubscriberModule::NamedSubscriberModule(const std::string& file)
    : name(file), formerName(VideoSceneSubscriber::moduleName) {
    subscriber_module()->reset();
    VideoSceneSubscriber::moduleName = name.c_str();
}

NamedSubscriberModule::~NamedSubscriberModule() {
    VideoSceneSubscriber::moduleName = formerName;
}

std::string NamedSubscriberModule::path() {
    return SUBSCRIBER_MODULE_FOLDER "/subscriber_module.so";
}

std::string NamedSubscriberModule::pathWithoutEntry(int n) {
    return SUBSCRIBER_MODULE_FOLDER "/subscriber_module_without_" + std::to_string(n) + ".so";
}

#include "scene/double/scene_double.h"

#include <atomic>

#include "scene/decoder.h"
#include "scene/scene.h"

namespace {

std::atomic<unsigned> callCount{0};
std::atomic<unsigned> failingCall{0};
std::atomic<unsigned> miscountingCall{0};
std::atomic<int> wrongCount{0};
std::atomic<unsigned> nullDeleteCount{0};
std::atomic<int> sceneBalance{0};

// Whether the countdown to a call ends with this one.
bool isReached(std::atomic<unsigned>& countdown) {
    if (countdown == 0) {
        return false;
    }
    return --countdown == 0;
}

enum class Fate { Ordinary, Failing, Miscounting };

// Counts a call of the library and says what is to become of it.
Fate nextFate() {
    ++callCount;
    const bool miscounts = isReached(miscountingCall);
    if (isReached(failingCall)) {
        return Fate::Failing;
    }
    return miscounts ? Fate::Miscounting : Fate::Ordinary;
}

bool isToFail() {
    return nextFate() == Fate::Failing;
}

// Reads a property of a scene, an object or an event.
template <typename Read, typename Owner>
int readProperty(Read read, const Owner* owner, scene_prop_e prop, const void** value) {
    const Fate fate = nextFate();
    if (fate == Fate::Failing) {
        *value = nullptr;
        return -1;
    }
    const int count = read(owner, prop, value);
    return fate == Fate::Miscounting ? wrongCount.load() : count;
}

}  // namespace

void SceneDouble::reset() {
    callCount = 0;
    failingCall = 0;
    miscountingCall = 0;
    nullDeleteCount = 0;
}

void SceneDouble::failCall(unsigned n) {
    failingCall = n;
}

void SceneDouble::miscount(unsigned n, int count) {
    wrongCount = count;
    miscountingCall = n;
}

unsigned SceneDouble::calls() {
    return callCount;
}

int SceneDouble::liveScenes() {
    return sceneBalance;
}

unsigned SceneDouble::nullDeletes() {
    return nullDeleteCount;
}

extern "C" {

scene_st* scene_copy_from_area(const char* data) {
    scene_st* scene = isToFail() ? nullptr : scene_decoder::copyFromArea(data);
    sceneBalance += scene == nullptr ? 0 : 1;
    return scene;
}

void scene_delete(scene_st* scene) {
    isToFail();
    nullDeleteCount += scene == nullptr ? 1 : 0;
    sceneBalance -= scene == nullptr ? 0 : 1;
    scene_decoder::destroy(scene);
}

int scene_get_prop(const scene_st* scene, scene_prop_e prop, const void** value) {
    return readProperty(scene_decoder::property, scene, prop, value);
}

const scene_object_st* scene_next_object(const scene_st* scene, const scene_object_st* previous) {
    return isToFail() ? nullptr : scene_decoder::nextObject(scene, previous);
}

int32_t scene_get_object_id(const scene_object_st* object) {
    return isToFail() ? -1 : scene_decoder::objectId(object);
}

int scene_get_obj_prop(const scene_object_st* object, scene_prop_e prop, const void** value) {
    return readProperty(scene_decoder::objectProperty, object, prop, value);
}

const scene_event_st* scene_next_event(const scene_st* scene, const scene_event_st* previous) {
    return isToFail() ? nullptr : scene_decoder::nextEvent(scene, previous);
}

int scene_get_event_action(const scene_event_st* event) {
    return isToFail() ? -1 : scene_decoder::eventAction(event);
}

int scene_get_evt_prop(const scene_event_st* event, scene_prop_e prop, const void** value) {
    return readProperty(scene_decoder::eventProperty, event, prop, value);
}
}

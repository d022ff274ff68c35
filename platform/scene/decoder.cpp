#include "scene/decoder.h"

#include <malloc.h>

#include <cstring>

#include "scene/frame.h"
#include "scene_generated.h"

static_assert(FLATBUFFERS_LITTLEENDIAN,
              "coordinates and ids are handed out as they lie in the payload");
static_assert(sizeof(scene_payload::Position) == 2 * sizeof(int16_t));
static_assert(sizeof(scene_payload::Velocity) == 2 * sizeof(int32_t));

struct scene_st {
    const scene_payload::Scene* root;  // borrowed: it lies in the payload
};

namespace {

template <typename Table>
using Tables = flatbuffers::Vector<flatbuffers::Offset<Table>>;

// A handle of an object or event is the place of its offset in the list it stands in, so that its
// successor is found without a search.
constexpr std::size_t entrySize = sizeof(flatbuffers::uoffset_t);

template <typename Table, typename Handle>
const Table* tableOf(const Handle* handle) {
    const auto* entry = reinterpret_cast<const std::uint8_t*>(handle);
    return reinterpret_cast<const Table*>(entry +
                                          flatbuffers::ReadScalar<flatbuffers::uoffset_t>(entry));
}

template <typename Handle, typename Table>
const Handle* next(const Tables<Table>* list, const Handle* previous) {
    if (list == nullptr) {
        return nullptr;
    }
    const std::uint8_t* entry = previous == nullptr
                                    ? list->Data()
                                    : reinterpret_cast<const std::uint8_t*>(previous) + entrySize;
    const std::uint8_t* end = list->Data() + list->size() * entrySize;
    return entry < end ? reinterpret_cast<const Handle*>(entry) : nullptr;
}

std::uint32_t wordAt(const char* position) {
    std::uint32_t word;
    std::memcpy(&word, position, sizeof word);
    return word;
}

// The length of the payload in the block; 0 when there is no whole payload.
std::size_t framedLength(const char* data) {
    const std::size_t room = malloc_usable_size(const_cast<char*>(data));
    if (room < scene_frame::headSize + scene_frame::tailSize ||
        wordAt(data) != scene_frame::magic) {
        return 0;
    }
    const std::size_t length = wordAt(data + scene_frame::lengthOffset);
    if (length > room || length >= scene_frame::maxLength ||
        length < scene_frame::headSize + scene_frame::tailSize) {
        return 0;
    }
    return wordAt(data + length - sizeof(std::uint32_t)) == ~scene_frame::magic ? length : 0;
}

template <typename Element>
std::size_t sizeOf(const flatbuffers::Vector<Element>* list) {
    return list == nullptr ? 0 : list->size();
}

// Whether the lists of the scene are no longer than they may be, and all of them together no longer
// than the payload: the verifier alone lets any number of objects share one list.
bool areCountsPlausible(const scene_payload::Scene& scene, std::size_t length) {
    std::size_t claimed = (sizeOf(scene.objects()) + sizeOf(scene.events())) * entrySize;
    for (std::size_t i = 0; i < sizeOf(scene.objects()); ++i) {
        const auto* object = scene.objects()->Get(static_cast<flatbuffers::uoffset_t>(i));
        const std::size_t polygon = sizeOf(object->polygon());
        const std::size_t boundingBox = sizeOf(object->bounding_box());
        if (polygon > SCENE_MAX_POINTS || boundingBox > SCENE_MAX_POINTS) {
            return false;
        }
        claimed += (polygon + boundingBox) * sizeof(scene_payload::Position);
    }
    for (std::size_t i = 0; i < sizeOf(scene.events()); ++i) {
        const auto* event = scene.events()->Get(static_cast<flatbuffers::uoffset_t>(i));
        claimed += (sizeOf(event->ids()) + sizeOf(event->related_ids())) * sizeof(std::int32_t);
    }
    return claimed <= length;
}

const scene_payload::Scene* verifiedScene(const char* data) {
    const std::size_t length = framedLength(data);
    if (length == 0) {
        return nullptr;
    }
    const auto* body = reinterpret_cast<const std::uint8_t*>(data) + scene_frame::headSize;
    flatbuffers::Verifier verifier(body, length - scene_frame::headSize - scene_frame::tailSize);
    if (!scene_payload::VerifySceneBuffer(verifier)) {
        return nullptr;
    }
    const scene_payload::Scene* scene = scene_payload::GetScene(body);
    return areCountsPlausible(*scene, length) ? scene : nullptr;
}

int give(const void* present, std::size_t count, const void** value) {
    *value = present;
    return present == nullptr ? 0 : static_cast<int>(count);
}

template <typename Element>
int giveList(const flatbuffers::Vector<Element>* list, const void** value) {
    return give(list == nullptr ? nullptr : list->Data(), sizeOf(list), value);
}

int giveNone(const void** value) {
    *value = nullptr;
    return -1;
}

// Where a scalar field lies in the payload; null when the table does not have it.
template <typename Table>
const void* fieldOf(const Table& table, flatbuffers::voffset_t field) {
    return reinterpret_cast<const flatbuffers::Table&>(table).GetAddressOf(field);
}

int giveConfidence(const scene_payload::Object& object, const void** value) {
    const void* confidence = fieldOf(object, scene_payload::Object::VT_CONFIDENCE);
    return confidence == nullptr ? giveNone(value) : give(confidence, 1, value);
}

}  // namespace

scene_st* scene_decoder::copyFromArea(const char* data) {
    const scene_payload::Scene* root = data == nullptr ? nullptr : verifiedScene(data);
    return root == nullptr ? nullptr : new scene_st{root};
}

void scene_decoder::destroy(scene_st* scene) {
    delete scene;
}

int scene_decoder::property(const scene_st* scene, scene_prop_e prop, const void** value) {
    if (prop != SCENE_PROP_TIMESTAMP) {
        return giveNone(value);
    }
    return give(fieldOf(*scene->root, scene_payload::Scene::VT_TIME), 1, value);
}

const scene_object_st* scene_decoder::nextObject(const scene_st* scene,
                                                 const scene_object_st* previous) {
    return next(scene->root->objects(), previous);
}

int32_t scene_decoder::objectId(const scene_object_st* object) {
    return tableOf<scene_payload::Object>(object)->id();
}

int scene_decoder::objectProperty(const scene_object_st* object, scene_prop_e prop,
                                  const void** value) {
    const auto* table = tableOf<scene_payload::Object>(object);
    switch (prop) {
        case SCENE_PROP_BOUNDING_BOX:
            return giveList(table->bounding_box(), value);
        case SCENE_PROP_POLYGON:
            return giveList(table->polygon(), value);
        case SCENE_PROP_VELOCITY:
            return give(table->velocity(), 2, value);
        case SCENE_PROP_CONFIDENCE:
            return giveConfidence(*table, value);
        default:
            return giveNone(value);
    }
}

const scene_event_st* scene_decoder::nextEvent(const scene_st* scene,
                                               const scene_event_st* previous) {
    return next(scene->root->events(), previous);
}

int scene_decoder::eventAction(const scene_event_st* event) {
    return tableOf<scene_payload::Event>(event)->action();
}

int scene_decoder::eventProperty(const scene_event_st* event, scene_prop_e prop,
                                 const void** value) {
    const auto* table = tableOf<scene_payload::Event>(event);
    switch (prop) {
        case SCENE_PROP_IDS:
            return giveList(table->ids(), value);
        case SCENE_PROP_RELATED_IDS:
            return giveList(table->related_ids(), value);
        default:
            return giveNone(value);
    }
}

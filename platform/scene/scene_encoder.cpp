#include "scene/scene_encoder.h"

#include <cstdlib>
#include <stdexcept>

#include "scene/frame_writer.h"
#include "scene/scene.h"
#include "scene_generated.h"

namespace {

using scene_payload::Position;

Position packPoint(const ScenePoint& point) {
    return {point.x, point.y};
}

}  // namespace

ScenePayload::ScenePayload(char* newBlock, std::size_t size) : block(newBlock), length(size) {}

const char* ScenePayload::data() const {
    return block.get();
}

std::size_t ScenePayload::size() const {
    return length;
}

char* ScenePayload::release() {
    return block.release();
}

void ScenePayload::Free::operator()(char* freed) const {
    std::free(freed);
}

class SceneEncoder::Writer {
public:
    ScenePayload write(const SceneRecord& scene, unsigned properties);

private:
    using Points = flatbuffers::Offset<flatbuffers::Vector<const Position*>>;

    Points writePoints(const ScenePoint* points, std::size_t count);
    Points writePolygon(const SceneObjectRecord& object, unsigned properties);
    Points writeBoundingBox(const SceneObjectRecord& object, unsigned properties);
    flatbuffers::Offset<scene_payload::Object> writeObject(const SceneObjectRecord& object,
                                                           unsigned properties);
    flatbuffers::Offset<scene_payload::Event> writeEvent(const SceneEventRecord& event);

    flatbuffers::FlatBufferBuilder builder{4096};
    std::vector<flatbuffers::Offset<scene_payload::Object>> objects;
    std::vector<flatbuffers::Offset<scene_payload::Event>> events;
};

ScenePayload SceneEncoder::Writer::write(const SceneRecord& scene, unsigned properties) {
    builder.Clear();
    objects.clear();
    events.clear();
    for (const SceneObjectRecord& object : scene.objects) {
        objects.push_back(writeObject(object, properties));
    }
    for (const SceneEventRecord& event : scene.events) {
        events.push_back(writeEvent(event));
    }
    const auto time =
        scene.time ? flatbuffers::Optional<std::uint64_t>(*scene.time) : flatbuffers::nullopt;
    const auto objectList = builder.CreateVector(objects);
    const auto eventList = builder.CreateVector(events);
    builder.Finish(scene_payload::CreateScene(builder, time, objectList, eventList));
    return scene_frame::wrap(builder.GetBufferPointer(), builder.GetSize());
}

SceneEncoder::Writer::Points SceneEncoder::Writer::writePoints(const ScenePoint* points,
                                                               std::size_t count) {
    if (count > SCENE_MAX_POINTS) {
        throw std::length_error("an outline has too many points for a payload");
    }
    return builder.CreateVectorOfNativeStructs<Position, ScenePoint>(points, count, packPoint);
}

SceneEncoder::Writer::Points SceneEncoder::Writer::writePolygon(const SceneObjectRecord& object,
                                                                unsigned properties) {
    if (!object.polygon || (properties & ScenePolygons) == 0) {
        return 0;
    }
    return writePoints(object.polygon->data(), object.polygon->size());
}

SceneEncoder::Writer::Points SceneEncoder::Writer::writeBoundingBox(const SceneObjectRecord& object,
                                                                    unsigned properties) {
    if (!object.boundingBox || (properties & SceneBoundingBoxes) == 0) {
        return 0;
    }
    return writePoints(object.boundingBox->data(), object.boundingBox->size());
}

flatbuffers::Offset<scene_payload::Object> SceneEncoder::Writer::writeObject(
    const SceneObjectRecord& object, unsigned properties) {
    const Points polygon = writePolygon(object, properties);
    const Points boundingBox = writeBoundingBox(object, properties);
    scene_payload::ObjectBuilder table(builder);
    table.add_id(object.id);
    if (!polygon.IsNull()) {
        table.add_polygon(polygon);
    }
    if (!boundingBox.IsNull()) {
        table.add_bounding_box(boundingBox);
    }
    if (object.velocity && (properties & SceneVelocities) != 0) {
        const scene_payload::Velocity velocity(object.velocity->x, object.velocity->y);
        table.add_velocity(&velocity);
    }
    if (object.confidence && (properties & SceneConfidences) != 0) {
        table.add_confidence(*object.confidence);
    }
    return table.Finish();
}

flatbuffers::Offset<scene_payload::Event> SceneEncoder::Writer::writeEvent(
    const SceneEventRecord& event) {
    const auto ids = builder.CreateVector(event.ids);
    const auto relatedIds = builder.CreateVector(event.relatedIds);
    return scene_payload::CreateEvent(builder, event.action, ids, relatedIds);
}

SceneEncoder::SceneEncoder() : writer(std::make_unique<Writer>()) {}

SceneEncoder::~SceneEncoder() = default;

ScenePayload SceneEncoder::encode(const SceneRecord& scene, unsigned properties) {
    return writer->write(scene, properties);
}

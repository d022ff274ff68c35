#include "video/chosen_streams.h"

#include <jansson.h>

#include <memory>
#include <utility>

#include "video/stream_table.h"
#include "video/web_error.h"

namespace {

constexpr unsigned notFound = 404;

struct JsonDeleter {
    void operator()(json_t* json) const { json_decref(json); }
};
using Json = std::unique_ptr<json_t, JsonDeleter>;

StreamWish readChoice(const json_t* camera) {
    StreamWish choice;
    choice.camera = static_cast<int>(json_integer_value(json_object_get(camera, "id")));
    if (const json_t* rotation = json_object_get(camera, "rotation"); json_is_integer(rotation)) {
        choice.rotation = static_cast<int>(json_integer_value(rotation));
    }
    if (const json_t* size = json_object_get(camera, "overlayResolution"); json_is_string(size)) {
        choice.size = StreamWish::Size::parse(json_string_value(size));
    }
    return choice;
}

std::string describe(const StreamWish::Size& size, int rotation) {
    return std::to_string(size.width) + "x" + std::to_string(size.height) + " turned by " +
           std::to_string(rotation) + " degrees";
}

}  // namespace

ChosenStreams::ChosenStreams(const StreamTable& streams, std::string configurationFile)
    : table(streams), path(std::move(configurationFile)) {
    read();
}

void ChosenStreams::read() {
    choices.clear();
    const Json document(json_load_file(path.c_str(), 0, nullptr));
    const json_t* cameras = json_object_get(json_object_get(document.get(), "params"), "cameras");
    for (std::size_t i = 0; i < json_array_size(cameras); ++i) {
        const StreamWish choice = readChoice(json_array_get(cameras, i));
        choices.insert({choice.camera, choice});
    }
}

Stream ChosenStreams::find(const StreamWish& wish) const {
    if (!table.findNative(wish.camera, 0)) {
        throw WebError(notFound, "there is no camera " + std::to_string(wish.camera));
    }
    const Stream usual = findDefault(wish.camera);
    const auto size = wish.size.value_or(StreamWish::Size{usual.width, usual.height});
    const int rotation = wish.rotation.value_or(usual.rotation);
    const auto stream = table.find(wish.camera, size.width, size.height, rotation);
    if (!stream) {
        throw WebError(notFound, "camera " + std::to_string(wish.camera) + " has no stream of " +
                                     describe(size, rotation));
    }
    return *stream;
}

// Only for a camera that is there.
Stream ChosenStreams::findDefault(int camera) const {
    const auto entry = choices.find(camera);
    const StreamWish choice = entry == choices.end() ? StreamWish() : entry->second;
    const Stream upright = *table.findNative(camera, 0);
    const Stream native = table.findNative(camera, choice.rotation.value_or(0)).value_or(upright);
    if (!choice.size) {
        return native;
    }
    return table.find(camera, choice.size->width, choice.size->height, native.rotation)
        .value_or(native);
}

#include "video/overlay_commands.h"

#include <jansson.h>

#include <cstdlib>
#include <limits>
#include <memory>
#include <optional>
#include <stdexcept>
#include <utility>

#include "video/overlay_store.h"

namespace {

constexpr std::size_t kMostContext = 64;  // bytes
constexpr const char* kVersion = "1.0";

struct JsonRelease {
    void operator()(json_t* value) const { json_decref(value); }
    void operator()(char* text) const { std::free(text); }
};
using Json = std::unique_ptr<json_t, JsonRelease>;

[[noreturn]] void refuseAs(const std::string& reason) {
    throw std::invalid_argument(reason);
}

std::string readText(const json_t* object, const char* key) {
    const json_t* value = json_object_get(object, key);
    if (!json_is_string(value)) {
        refuseAs(std::string(key) + " is no text");
    }
    return {json_string_value(value), json_string_length(value)};
}

int readNumber(const json_t* object, const char* key) {
    const json_t* value = json_object_get(object, key);
    const json_int_t number = json_is_integer(value) ? json_integer_value(value) : -1;
    if (number < 0 || number > std::numeric_limits<int>::max()) {
        refuseAs(std::string(key) + " is no number that could be one");
    }
    return static_cast<int>(number);
}

std::string print(const Json& value) {
    const std::unique_ptr<char, JsonRelease> text(json_dumps(value.get(), JSON_COMPACT));
    return text != nullptr ? text.get() : "{\"error\":{}}";
}

/// The reply that says it is done, with its data (transferred) if it has some.
std::string acknowledge(const OverlayCommand& command, json_t* data) {
    return print(Json(json_pack("{ss ss ss# so*}", "apiVersion", kVersion, "method",
                                command.method.c_str(), "context", command.context.data(),
                                static_cast<int>(command.context.size()), "data", data)));
}

}  // namespace

OverlayCommand OverlayCommand::parse(const std::string& text) {
    json_error_t error;
    const Json root(json_loadb(text.data(), text.size(), 0, &error));
    if (!json_is_object(root.get())) {
        refuseAs(root == nullptr ? "no JSON" : "no object");
    }
    OverlayCommand command = {readText(root.get(), "method"), readText(root.get(), "context"), 0,
                              0};
    if (readText(root.get(), "apiVersion") != kVersion) {
        refuseAs("no such apiVersion");
    }
    if (command.context.size() > kMostContext) {
        refuseAs("the context is too long");
    }
    const bool isSubmission = command.method == "submitBuffer";
    if (!isSubmission && command.method != "getBuffer") {
        refuseAs("no such method");
    }
    const json_t* parameters = json_object_get(root.get(), "params");
    command.overlayId = readNumber(parameters, "overlayId");
    command.buffer = isSubmission ? readNumber(parameters, "buffer") : 0;
    return command;
}

OverlayCommands::OverlayCommands(OverlayStore& theStore, OwnerTest ownerTest)
    : store(theStore), mayUse(std::move(ownerTest)) {}

std::string OverlayCommands::execute(const OverlayCommand& command) const {
    const PaletteOverlay* overlay = store.findPalette(command.overlayId);
    if (overlay == nullptr) {
        return refuse("no such overlay");
    }
    if (!mayUse(overlay->get().owner)) {
        return refuse("the overlay is somebody else's");
    }
    if (command.method == "getBuffer") {
        const std::optional<int> buffer = store.handOutBuffer(command.overlayId);
        return buffer ? acknowledge(command, json_pack("{si}", "buffer", *buffer))
                      : refuse("no memory is left for buffers");
    }
    return store.submitBuffer(command.overlayId, command.buffer)
               ? acknowledge(command, nullptr)
               : refuse("the buffer is not handed out");
}

std::string OverlayCommands::refuse(const std::string& reason) {
    return print(Json(json_pack("{ss s{si ss}}", "apiVersion", kVersion, "error", "code", 1,
                                "message", reason.c_str())));
}

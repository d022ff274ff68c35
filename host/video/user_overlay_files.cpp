#include "video/user_overlay_files.h"

#include <glib/gstdio.h>
#include <jansson.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <limits>
#include <memory>
#include <stdexcept>
#include <utility>

#include "video/log.h"
#include "video/overlay_snapshot.h"
#include "video/user_overlay_input.h"

namespace fs = std::filesystem;

namespace {

constexpr const char* kSuffix = ".overlay";
constexpr const char* kText = "text";
constexpr const char* kImage = "image";

struct Release {
    void operator()(json_t* value) const { json_decref(value); }
    void operator()(char* text) const { std::free(text); }
};
using Json = std::unique_ptr<json_t, Release>;

std::string nameOf(int id) {
    return std::to_string(id) + kSuffix;
}

/// 0 for a file of another kind.
int idOf(const fs::path& path) {
    const std::string name = path.filename().string();
    int id = 0;
    std::from_chars(name.data(), name.data() + name.size(), id);
    return id > 0 && name == nameOf(id) && fs::is_regular_file(path) ? id : 0;
}

std::string print(const UserOverlay& overlay) {
    const bool isText = overlay.kind == UserOverlay::Kind::Text;
    const Json root(json_pack("{si ss ss ss si si sb}", "camera", overlay.camera, "type",
                              isText ? kText : kImage, "text", overlay.text.c_str(), "position",
                              overlay.position.c_str(), "width", overlay.width, "height",
                              overlay.height, "scalable", overlay.isScalable ? 1 : 0));
    const std::unique_ptr<char, Release> line(json_dumps(root.get(), JSON_COMPACT));
    if (line == nullptr) {
        throw std::runtime_error("no JSON can be made of the overlay");
    }
    return std::string(line.get()) + "\n" + (isText ? "" : *overlay.imageFile);
}

int narrow(json_int_t number) {
    return static_cast<int>(std::clamp<json_int_t>(number, 0, std::numeric_limits<int>::max()));
}

UserOverlay parse(const std::string& content) {
    const std::size_t lineEnd = content.find('\n');
    if (lineEnd == std::string::npos) {
        throw std::runtime_error("its line is cut off");
    }
    const Json root(json_loadb(content.data(), lineEnd, 0, nullptr));
    const char *type = nullptr, *text = nullptr, *position = nullptr;
    json_int_t camera = 0, width = 0, height = 0;
    int isScalable = 0;
    const int failed = json_unpack(root.get(), "{sI ss ss ss sI sI sb}", "camera", &camera, "type",
                                   &type, "text", &text, "position", &position, "width", &width,
                                   "height", &height, "scalable", &isScalable);
    if (failed != 0 || (std::strcmp(type, kText) != 0 && std::strcmp(type, kImage) != 0)) {
        throw std::runtime_error("its line is damaged");
    }
    const bool isText = std::strcmp(type, kText) == 0;
    UserOverlay overlay;
    overlay.camera = narrow(camera);
    overlay.kind = isText ? UserOverlay::Kind::Text : UserOverlay::Kind::Image;
    overlay.text = text;
    overlay.position = position;
    overlay.width = narrow(width);
    overlay.height = narrow(height);
    overlay.isScalable = isScalable != 0;
    if (!isText) {
        overlay.imageFile = std::make_shared<const std::string>(content.substr(lineEnd + 1));
    }
    return overlay;
}

UserOverlay readFile(const fs::path& path, int cameras) {
    g_autofree char* content = nullptr;
    gsize size = 0;
    g_autoptr(GError) error = nullptr;
    if (g_file_get_contents(path.c_str(), &content, &size, &error) == FALSE) {
        throw std::runtime_error(error->message);
    }
    UserOverlay overlay = parse({content, size});
    UserOverlayInput::check(overlay, cameras);
    overlay.id = idOf(path);
    return overlay;
}

}  // namespace

UserOverlayFiles::UserOverlayFiles(std::string theFolder) : folder(std::move(theFolder)) {}

std::string UserOverlayFiles::pathOf(int id) const {
    return folder + "/" + nameOf(id);
}

UserOverlayFiles::Content UserOverlayFiles::load(int cameras) const {
    Content content;
    std::error_code none;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder, none)) {
        const int id = idOf(entry.path());
        if (id == 0) {
            continue;
        }
        content.greatestId = std::max(content.greatestId, id);
        try {
            content.overlays.push_back(readFile(entry.path(), cameras));
        } catch (const std::exception& error) {
            say(entry.path().string() + " is passed over: " + error.what());
        }
    }
    std::sort(content.overlays.begin(), content.overlays.end(),
              [](const UserOverlay& one, const UserOverlay& other) { return one.id < other.id; });
    return content;
}

void UserOverlayFiles::save(const UserOverlay& overlay) const {
    constexpr int kOwnersOnly = 0700;
    const std::string path = pathOf(overlay.id);
    const std::string content = print(overlay);
    if (g_mkdir_with_parents(folder.c_str(), kOwnersOnly) != 0) {
        throw std::runtime_error(folder + ": " + std::strerror(errno));
    }
    g_autoptr(GError) error = nullptr;
    const auto flags = static_cast<GFileSetContentsFlags>(G_FILE_SET_CONTENTS_CONSISTENT |
                                                          G_FILE_SET_CONTENTS_DURABLE);
    if (g_file_set_contents_full(path.c_str(), content.data(), static_cast<gssize>(content.size()),
                                 flags, 0600, &error) == FALSE) {
        throw std::runtime_error(error->message);
    }
}

void UserOverlayFiles::remove(int id) const {
    const std::string path = pathOf(id);
    if (g_unlink(path.c_str()) != 0 && errno != ENOENT) {
        throw std::runtime_error(path + ": " + std::strerror(errno));
    }
}

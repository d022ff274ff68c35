#include "engine/recording_writer.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <utility>

#include "engine/file_descriptor.h"
#include "engine/source_error.h"

namespace {

/// What a crash may lose, in nanoseconds of scene time.
constexpr std::int64_t flushInterval = 1'000'000'000;

std::string pair(long long x, long long y) {
    return "[" + std::to_string(x) + "," + std::to_string(y) + "]";
}

std::string pair(const ScenePoint& point) {
    return pair(point.x, point.y);
}

template <typename Items, typename Text>
std::string list(const Items& items, Text text) {
    std::string all = "[";
    for (const auto& item : items) {
        if (all.size() > 1) {
            all += ',';
        }
        all += text(item);
    }
    return all + "]";
}

std::string ids(const std::vector<std::int32_t>& all) {
    return list(all, [](std::int32_t id) { return std::to_string(id); });
}

std::string object(const SceneObjectRecord& one) {
    std::string text = "{\"id\":" + std::to_string(one.id);
    if (one.polygon) {
        text += ",\"polygon\":" +
                list(*one.polygon, [](const ScenePoint& point) { return pair(point); });
    }
    if (one.boundingBox) {
        text += ",\"boundingBox\":[" + pair(one.boundingBox->at(0)) + "," +
                pair(one.boundingBox->at(2)) + "]";
    }
    if (one.velocity) {
        text += ",\"velocity\":" + pair(one.velocity->x, one.velocity->y);
    }
    if (one.confidence) {
        text += ",\"confidence\":" + std::to_string(*one.confidence);
    }
    return text + "}";
}

std::string event(const SceneEventRecord& one) {
    static const char* const actions[] = {"delete", "split", "merge"};
    std::string text =
        std::string("{\"action\":\"") + actions[one.action] + "\",\"ids\":" + ids(one.ids);
    if (one.action != SCENE_ACTION_DELETE || !one.relatedIds.empty()) {
        text += ",\"relatedIds\":" + ids(one.relatedIds);
    }
    return text + "}";
}

// Exact to the nanosecond, and short where the time is round.
std::string seconds(std::int64_t nanoseconds) {
    char text[40];
    std::snprintf(text, sizeof text, "%" PRId64 ".%09" PRId64, nanoseconds / 1'000'000'000,
                  nanoseconds % 1'000'000'000);
    std::string number = text;
    while (number.ends_with('0') && !number.ends_with(".0")) {
        number.pop_back();
    }
    return number;
}

}  // namespace

RecordingWriter RecordingWriter::create(const std::string& path) {
    const int descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (descriptor < 0) {
        throw SourceError(path + ": " + std::strerror(errno));
    }
    return {descriptor, path};
}

RecordingWriter RecordingWriter::fromDescriptor(int descriptor, const std::string& name) {
    FileDescriptor copy(fcntl(descriptor, F_DUPFD_CLOEXEC, 0));
    if (!copy || ftruncate(copy.get(), 0) != 0 || lseek(copy.get(), 0, SEEK_SET) != 0) {
        throw SourceError(name + ": " + std::strerror(errno));
    }
    return {dup(copy.get()), name};
}

RecordingWriter::RecordingWriter(int descriptor, std::string name) : label(std::move(name)) {
    // "T" writes what it is given as it stands.
    file = gzdopen(descriptor, label.ends_with(".gz") ? "wb" : "wbT");
    if (file == nullptr) {
        close(descriptor);
        throw SourceError(label + ": out of memory");
    }
}

RecordingWriter::RecordingWriter(RecordingWriter&& other) noexcept
    : label(std::move(other.label)),
      file(std::exchange(other.file, nullptr)),
      start(other.start),
      flushed(other.flushed) {}

RecordingWriter::~RecordingWriter() {
    if (file != nullptr && gzclose(file) != Z_OK) {
        std::fprintf(stderr, "plinth: %s: could not be written to its end\n", label.c_str());
    }
}

void RecordingWriter::add(const SceneRecord& scene) {
    if (file == nullptr) {
        return;
    }
    const std::string line = format(scene, sceneTime(scene) - start);
    if (gzwrite(file, line.data(), static_cast<unsigned>(line.size())) !=
        static_cast<int>(line.size())) {
        giveUp();
        return;
    }
    if (sceneTime(scene) - flushed >= flushInterval) {
        flushed = sceneTime(scene);
        if (gzflush(file, Z_SYNC_FLUSH) != Z_OK) {
            giveUp();
        }
    }
}

void RecordingWriter::giveUp() {
    int error = Z_OK;
    const char* reason = gzerror(file, &error);
    std::fprintf(stderr, "plinth: %s: recording ends: %s\n", label.c_str(),
                 error == Z_ERRNO ? std::strerror(errno) : reason);
    gzclose(std::exchange(file, nullptr));
}

std::string RecordingWriter::format(const SceneRecord& scene, std::int64_t time) {
    std::string text = "{\"time\":" + seconds(time) + ",\"objects\":" + list(scene.objects, object);
    if (!scene.events.empty()) {
        text += ",\"events\":" + list(scene.events, event);
    }
    return text + "}\n";
}

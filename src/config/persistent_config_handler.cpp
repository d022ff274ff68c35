#include "config/persistent_config_handler.h"

#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "app/utils.h"
#include "config/json_auto_ptr.h"
#include "config/json_parser.h"

GMutex PersistentConfigHandler::mutex;

namespace {

constexpr std::size_t kFileFlags = JSON_REAL_PRECISION(4);
constexpr std::size_t kTemporarySuffixLength = 6;

JsonAutoPtr readFile(const std::string& path) {
    return JsonAutoPtr(json_load_file(path.c_str(), 0, nullptr));
}

/// Rounding to the file's digits can lift the greatest of numbers out of the range of numbers: a
/// file with such a text would be lost.
bool isReadable(const std::string& text) {
    return JsonParser::isValid(JsonAutoPtr(JsonParser::decode(text.c_str())).get());
}

void logReadFailure(const std::string& path) {
    syslog(LOG_WARNING, "Failed to read from file %s\n", path.c_str());
}

bool isRegularFile(const std::string& path) {
    struct stat status = {};
    return lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

/// A suffix of letters of one case, or of digits alone, is taken for a word or a date that somebody
/// gave: ".broken" and ".backup" are nobody's temporary files.
bool isTemporarySuffix(const std::string& suffix) {
    const auto has = [&suffix](char first, char last) {
        return std::any_of(suffix.begin(), suffix.end(),
                           [=](char c) { return first <= c && c <= last; });
    };
    return suffix.size() == kTemporarySuffixLength &&
           std::all_of(suffix.begin(), suffix.end(), [](char c) { return g_ascii_isalnum(c); }) &&
           has('a', 'z') + has('A', 'Z') + has('0', '9') >= 2;
}

bool isTemporaryNameOf(const std::string& name, const std::string& candidate) {
    const std::string prefix = name + ".";
    return candidate.compare(0, prefix.size(), prefix) == 0 &&
           isTemporarySuffix(candidate.substr(prefix.size()));
}

}  // namespace

std::string PersistentConfigHandler::load(const std::string& path) {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&mutex);
    if (!g_file_test(path.c_str(), G_FILE_TEST_EXISTS)) {
        return {};
    }
    const JsonAutoPtr document = readFile(path);
    if (!JsonParser::isValid(document.get())) {
        logReadFailure(path);
        return {};
    }
    return JsonParser::dump(document.get(), kFileFlags);
}

bool PersistentConfigHandler::save(const json_t* document, const std::string& path) {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&mutex);
    const std::string text = JsonParser::dump(document, kFileFlags);
    if (!isReadable(text)) {
        syslog(LOG_WARNING, "Failed to write to file %s\n", path.c_str());
        return false;
    }
    return utils::saveAndSyncFile(text.c_str(), path);
}

int PersistentConfigHandler::getConfigurationStatus(const std::string& path) {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&mutex);
    const JsonAutoPtr document = readFile(path);
    if (!JsonParser::isValid(document.get())) {
        logReadFailure(path);
        return 0;
    }
    int status = 0;
    JsonParser::unpack(JsonParser::getObject(document.get(), "params"), "{s:i}",
                       "configurationStatus", &status);
    return status;
}

bool PersistentConfigHandler::setBrokenFileAside(const std::string& path) {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&mutex);
    struct stat status = {};
    const bool hasContent = stat(path.c_str(), &status) == 0 && status.st_size > 0;
    if (!hasContent || JsonParser::isValid(readFile(path).get())) {
        return false;
    }
    return std::rename(path.c_str(), (path + ".broken").c_str()) == 0;
}

void PersistentConfigHandler::removeTemporaryFiles(const std::string& path) {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&mutex);
    const std::string folder = utils::getDirName(path);
    g_autofree char* name = g_path_get_basename(path.c_str());
    g_autoptr(GDir) directory = g_dir_open(folder.c_str(), 0, nullptr);
    if (directory == nullptr) {
        return;
    }
    while (const char* entry = g_dir_read_name(directory)) {
        const std::string candidate = folder + "/" + entry;
        if (isTemporaryNameOf(name, entry) && isRegularFile(candidate)) {
            unlink(candidate.c_str());
        }
    }
}

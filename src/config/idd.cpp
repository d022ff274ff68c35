#include "config/idd.h"

#include <jansson.h>
#include <syslog.h>

#include <fstream>
#include <limits>

#include "app/utils.h"
#include "config/json_auto_ptr.h"
#include "config/json_parser.h"

GMutex IDD::mutex;
std::string IDD::path;
API_Version IDD::version;
bool IDD::initialized = false;

namespace {

/// The first version whose file has data.
const API_Version& firstVersionWithData() {
    static const API_Version version("1.0");
    return version;
}

/// The version of a file that does not tell its own.
const API_Version& fallbackVersion() {
    static const API_Version version("0.0");
    return version;
}

std::string readFirstLine(const std::string& path) {
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    return line;
}

JsonAutoPtr createRecord(const API_Version& version) {
    const json_int_t now = g_get_monotonic_time();
    JsonAutoPtr record(json_pack("{s:s, s:I, s:I}", "version", version.text.c_str(),
                                 "oldestTimestamp", now, "newestTimestamp", now));
    if (firstVersionWithData() <= version) {
        json_object_set_new(record.get(), "data", json_pack("{s:i}", "nbrNoltDisconnects", 0));
    }
    return record;
}

JsonAutoPtr readRecord(const std::string& path, const API_Version& version) {
    const std::string line = readFirstLine(path);
    return line.empty() ? createRecord(version) : JsonAutoPtr(JsonParser::decode(line.c_str()));
}

API_Version versionOf(const JsonAutoPtr& record) {
    const char* text = nullptr;
    if (!JsonParser::unpack(record.get(), "{s:s}", "version", &text)) {
        syslog(LOG_WARNING, "Could not unpack the version of the IDD data\n");
        return fallbackVersion();
    }
    return API_Version(text);
}

bool addOneDisconnect(const JsonAutoPtr& record) {
    json_t* data = JsonParser::getObject(record.get(), "data");
    json_t* counter = json_object_get(data, "nbrNoltDisconnects");
    if (!json_is_integer(counter)) {
        syslog(LOG_INFO, "IDD: Cannot increment number of NOLT diconnects\n");
        return false;
    }
    const json_int_t count = json_integer_value(counter);
    if (count < std::numeric_limits<json_int_t>::max()) {
        json_integer_set(counter, count + 1);
    }
    json_object_set_new(record.get(), "newestTimestamp", json_integer(g_get_monotonic_time()));
    return true;
}

}  // namespace

bool IDD::initialize(const API_Version& newVersion, const std::string& newPath) {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&mutex);
    if (!newVersion.isValid()) {
        return false;
    }
    path = newPath;
    version = newVersion;
    initialized = true;
    return true;
}

void IDD::deinitialize() {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&mutex);
    path.clear();
    version = API_Version();
    initialized = false;
}

bool IDD::incrementNbrNoltDisconnects() {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&mutex);
    if (!initialized) {
        return false;
    }
    if (version < firstVersionWithData()) {
        syslog(LOG_INFO,
               "IDD: Cannot write incrementNbrNoltDisconnects because the IDD is set up with a "
               "version that is too low");
        return false;
    }
    const JsonAutoPtr record = readRecord(path, version);
    if (versionOf(record) < firstVersionWithData()) {
        syslog(LOG_INFO,
               "IDD: Cannot increment number of NOLT diconnects because the IDD version of the "
               "file is too low\n");
        return false;
    }
    if (!addOneDisconnect(record)) {
        return false;
    }
    utils::saveAndSyncFile(JsonParser::dumpJsonToString(record.get()).c_str(), path);
    return true;
}

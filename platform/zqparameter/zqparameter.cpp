#include "zqparameter/zqparameter.h"

#include <syslog.h>

#include <mutex>
#include <string>

#include "zqparameter/host/zqparameter_host.h"
#include "zqparameter/parameter_file.h"

struct _ZQParameter {
    ParameterFile file;
};

namespace {

constexpr const char* devicePath = "/run/device/state/parameters.conf";

std::mutex mutex;

/// Guarded by the mutex.
std::string& path() {
    static std::string& text = *new std::string(devicePath);
    return text;
}

std::string presentPath() {
    const std::lock_guard lock(mutex);
    return path();
}

}  // namespace

void zq_parameter_host_set_path(const char* newPath) {
    const std::lock_guard lock(mutex);
    path() = newPath ? newPath : devicePath;
}

GQuark zq_parameter_error_quark(void) {
    return g_quark_from_static_string("zq-parameter-error");
}

ZQParameter* zq_parameter_new(const char*, GError**) {
    const std::string where = presentPath();
    auto* handler = new _ZQParameter{ParameterFile(where)};
    if (const unsigned line = handler->file.firstBadLine()) {
        syslog(LOG_WARNING, "Parameters: %s:%u is not NAME=VALUE and left out\n", where.c_str(),
               line);
    }
    return handler;
}

void zq_parameter_free(ZQParameter* handler) {
    delete handler;
}

gboolean zq_parameter_get(ZQParameter* handler, const char* name, char** value, GError** error) {
    const auto found = handler->file.find(name ? name : "");
    if (!found) {
        g_set_error(error, ZQ_PARAMETER_ERROR, ZQ_PARAMETER_ERROR_NOT_FOUND, "No parameter '%s'",
                    name ? name : "(null)");
        return FALSE;
    }
    *value = g_strdup(found->c_str());
    return TRUE;
}

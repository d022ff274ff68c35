#include "zqhttp/zqhttp.h"

#include <syslog.h>

#include <memory>
#include <mutex>
#include <stdexcept>

#include "zqhttp/host/zqhttp_host.h"
#include "zqhttp/scgi_request.h"
#include "zqhttp/scgi_server.h"

struct _ZQHttpHandler {
    std::unique_ptr<ScgiServer> server;
};

namespace {

std::mutex mutex;

/// Guarded by the mutex.
ScgiServerSettings& settings() {
    static ScgiServerSettings& present = *new ScgiServerSettings;
    return present;
}

ScgiServerSettings presentSettings() {
    const std::lock_guard lock(mutex);
    return settings();
}

/// The fields as the callback takes them; they borrow the request's. The caller unrefs the table.
GHashTable* tableOf(const ScgiRequest& request) {
    GHashTable* table = g_hash_table_new(g_str_hash, g_str_equal);
    for (const auto& [name, value] : request.fields()) {
        g_hash_table_insert(table, const_cast<char*>(name.c_str()),
                            const_cast<char*>(value.c_str()));
    }
    return table;
}

}  // namespace

void zq_http_host_set_socket(const char* path) {
    const std::lock_guard lock(mutex);
    settings().path = path ? path : ScgiServerSettings().path;
}

void zq_http_host_set_patience(unsigned requestMilliseconds, unsigned answerSeconds) {
    const ScgiPatience usual;
    const std::lock_guard lock(mutex);
    settings().patience = {requestMilliseconds ? requestMilliseconds : usual.request,
                           answerSeconds ? answerSeconds : usual.answer};
}

ZQHttpHandler* zq_http_handler_new(ZQHttpCallback callback, void* userData) {
    const auto answer = [callback, userData](const ScgiRequest& request, GOutputStream& out) {
        g_autoptr(GHashTable) fields = tableOf(request);
        callback(request.field("REQUEST_METHOD"), request.field("REQUEST_URI"),
                 request.body().c_str(), fields, &out, userData);
    };
    try {
        return new _ZQHttpHandler{std::make_unique<ScgiServer>(presentSettings(), answer)};
    } catch (const std::runtime_error& error) {
        syslog(LOG_ERR, "Web server: %s\n", error.what());
        return nullptr;
    }
}

void zq_http_handler_free(ZQHttpHandler* handler) {
    delete handler;
}

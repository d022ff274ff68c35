#include "zqhttp/double/zqhttp_double.h"

#include <algorithm>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

#include "double/fault_plan.h"

struct _ZQHttpHandler {
    ZQHttpCallback callback;
    void* userData;
    bool freed = false;
    bool madeBeforeReset = false;
};

namespace {

std::mutex mutex;
std::condition_variable callEnded;

struct State {
    FaultPlan plan;
    std::vector<std::string> log;
    std::vector<void*> userData;
    std::vector<std::string> misuses;
};

// Guarded by the mutex, all.
State state;
std::vector<std::unique_ptr<_ZQHttpHandler>> handlers;
const _ZQHttpHandler* running = nullptr;
std::thread::id runner;

_ZQHttpHandler* newestHandler() {
    const auto found = std::find_if(handlers.rbegin(), handlers.rend(),
                                    [](const auto& handler) { return !handler->freed; });
    return found == handlers.rend() ? nullptr : found->get();
}

/// Null when the handle is not one that may be freed.
_ZQHttpHandler* findToFree(const ZQHttpHandler* handle) {
    const auto found = std::find_if(handlers.begin(), handlers.end(),
                                    [&](const auto& handler) { return handler.get() == handle; });
    if (found == handlers.end()) {
        state.misuses.push_back("zq_http_handler_free: unknown handle");
    } else if ((*found)->freed) {
        state.misuses.push_back("zq_http_handler_free: handle was freed before");
    } else if (running == handle && runner == std::this_thread::get_id()) {
        state.misuses.push_back("zq_http_handler_free: called from the callback");
    } else {
        return found->get();
    }
    return nullptr;
}

GHashTable* tableOf(const std::map<std::string, std::string>& fields) {
    GHashTable* table = g_hash_table_new(g_str_hash, g_str_equal);
    for (const auto& [name, value] : fields) {
        g_hash_table_insert(table, const_cast<char*>(name.c_str()),
                            const_cast<char*>(value.c_str()));
    }
    return table;
}

std::string takeText(GOutputStream* out) {
    g_output_stream_close(out, nullptr, nullptr);
    g_autoptr(GBytes) bytes = g_memory_output_stream_steal_as_bytes(G_MEMORY_OUTPUT_STREAM(out));
    gsize size = 0;
    const void* data = g_bytes_get_data(bytes, &size);
    return data ? std::string(static_cast<const char*>(data), size) : std::string();
}

}  // namespace

namespace ZQHttpDouble {

void reset() {
    const std::lock_guard lock(mutex);
    state = State();
    std::erase_if(handlers, [](const auto& handler) { return handler->freed; });
    for (const auto& handler : handlers) {
        handler->madeBeforeReset = true;
    }
}

void failCall(const std::string& function, int n) {
    const std::lock_guard lock(mutex);
    state.plan.failCall(function, n);
}

void failEveryCall(const std::string& function) {
    const std::lock_guard lock(mutex);
    state.plan.failEveryCall(function);
}

void failAnyCall(int n) {
    const std::lock_guard lock(mutex);
    state.plan.failAnyCall(n);
}

int calls(const std::string& function) {
    const std::lock_guard lock(mutex);
    return state.plan.calls(function);
}

Answer request(const std::string& body) {
    return request("POST", "/control", body,
                   {{"REQUEST_METHOD", "POST"}, {"REQUEST_URI", "/control"}});
}

Answer request(const std::string& method, const std::string& uri, const std::string& body,
               const std::map<std::string, std::string>& fields) {
    std::unique_lock lock(mutex);
    callEnded.wait(lock, [] { return running == nullptr; });
    const _ZQHttpHandler* handler = newestHandler();
    if (!handler) {
        return {};
    }
    running = handler;
    runner = std::this_thread::get_id();
    lock.unlock();

    g_autoptr(GHashTable) table = tableOf(fields);
    g_autoptr(GOutputStream) out = g_memory_output_stream_new_resizable();
    handler->callback(method.c_str(), uri.c_str(), body.c_str(), table, out, handler->userData);

    lock.lock();
    running = nullptr;
    callEnded.notify_all();
    return {true, takeText(out)};
}

std::vector<std::string> log() {
    const std::lock_guard lock(mutex);
    return state.log;
}

std::vector<void*> userData() {
    const std::lock_guard lock(mutex);
    return state.userData;
}

int liveHandlers() {
    const std::lock_guard lock(mutex);
    return static_cast<int>(std::count_if(handlers.begin(), handlers.end(), [](const auto& entry) {
        return !entry->freed && !entry->madeBeforeReset;
    }));
}

std::vector<std::string> misuses() {
    const std::lock_guard lock(mutex);
    return state.misuses;
}

}  // namespace ZQHttpDouble

ZQHttpHandler* zq_http_handler_new(ZQHttpCallback callback, void* userData) {
    const std::lock_guard lock(mutex);
    if (state.plan.fails(__func__)) {
        state.log.push_back("zq_http_handler_new failed");
        return nullptr;
    }
    state.log.push_back("zq_http_handler_new");
    state.userData.push_back(userData);
    handlers.push_back(std::make_unique<_ZQHttpHandler>(_ZQHttpHandler{callback, userData}));
    return handlers.back().get();
}

void zq_http_handler_free(ZQHttpHandler* handle) {
    std::unique_lock lock(mutex);
    if (!handle) {
        return;
    }
    state.log.push_back(__func__);
    if (_ZQHttpHandler* handler = findToFree(handle)) {
        handler->freed = true;
        callEnded.wait(lock, [handler] { return running != handler; });
    }
}

#include "zqparameter/double/zqparameter_double.h"

#include <algorithm>
#include <memory>
#include <mutex>

#include "double/fault_plan.h"

struct _ZQParameter {
    bool freed = false;
    bool madeBeforeReset = false;
};

namespace {

std::mutex mutex;

struct State {
    FaultPlan plan;
    std::map<std::string, std::string> values;
    std::vector<std::string> lookUps;
    std::vector<std::string> connected;
    std::vector<std::string> misuses;
};

State state;
// Connections outlive a reset, as they outlive a test in a process that keeps one.
std::map<const void*, std::unique_ptr<_ZQParameter>> handlers;

std::string bare(const std::string& name) {
    return name.starts_with("root.") ? name.substr(5) : name;
}

bool isUsable(const ZQParameter* handler, const std::string& function) {
    const auto found = handlers.find(handler);
    if (found == handlers.end()) {
        state.misuses.push_back(function + ": unknown handle");
        return false;
    }
    if (found->second->freed) {
        state.misuses.push_back(function + ": handle was freed before");
        return false;
    }
    return true;
}

void refuse(GError** error) {
    g_set_error_literal(error, ZQ_PARAMETER_ERROR, ZQ_PARAMETER_ERROR_INVALID, "injected failure");
}

}  // namespace

namespace ZQParameterDouble {

void reset() {
    const std::lock_guard lock(mutex);
    state = State();
    for (auto& [handle, handler] : handlers) {
        handler->madeBeforeReset = true;
    }
}

void set(const std::string& name, const std::string& value) {
    const std::lock_guard lock(mutex);
    state.values[bare(name)] = value;
}

void set(const std::map<std::string, std::string>& values) {
    for (const auto& [name, value] : values) {
        set(name, value);
    }
}

void remove(const std::string& name) {
    const std::lock_guard lock(mutex);
    state.values.erase(bare(name));
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

std::vector<std::string> lookUps() {
    const std::lock_guard lock(mutex);
    return state.lookUps;
}

std::vector<std::string> connected() {
    const std::lock_guard lock(mutex);
    return state.connected;
}

int liveHandlers() {
    const std::lock_guard lock(mutex);
    return static_cast<int>(std::count_if(handlers.begin(), handlers.end(), [](const auto& entry) {
        return !entry.second->freed && !entry.second->madeBeforeReset;
    }));
}

std::vector<std::string> misuses() {
    const std::lock_guard lock(mutex);
    return state.misuses;
}

}  // namespace ZQParameterDouble

GQuark zq_parameter_error_quark(void) {
    return g_quark_from_static_string("zq-parameter-error");
}

ZQParameter* zq_parameter_new(const char* name, GError** error) {
    const std::lock_guard lock(mutex);
    state.connected.emplace_back(name ? name : "");
    if (state.plan.fails(__func__)) {
        refuse(error);
        return nullptr;
    }
    auto handler = std::make_unique<_ZQParameter>();
    ZQParameter* handle = handler.get();
    handlers[handle] = std::move(handler);
    return handle;
}

void zq_parameter_free(ZQParameter* handler) {
    const std::lock_guard lock(mutex);
    if (handler && isUsable(handler, __func__)) {
        handlers[handler]->freed = true;
    }
}

gboolean zq_parameter_get(ZQParameter* handler, const char* name, char** value, GError** error) {
    const std::lock_guard lock(mutex);
    const bool fails = state.plan.fails(__func__);
    state.lookUps.emplace_back(name ? name : "");
    if (fails || !isUsable(handler, __func__)) {
        refuse(error);
        return FALSE;
    }
    const auto found = state.values.find(bare(name ? name : ""));
    if (found == state.values.end()) {
        g_set_error(error, ZQ_PARAMETER_ERROR, ZQ_PARAMETER_ERROR_NOT_FOUND, "No parameter '%s'",
                    name ? name : "(null)");
        return FALSE;
    }
    *value = g_strdup(found->second.c_str());
    return TRUE;
}

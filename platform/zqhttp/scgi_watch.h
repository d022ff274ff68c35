#pragma once

#include <gio/gio.h>

/// A source that its main context watches for as long as the object lives.
class ScgiWatch {
public:
    /// Takes over the caller's reference to the source (transferred).
    ScgiWatch(GSource* newSource, GSourceFunc callback, void* userData, GMainContext* context)
        : source(newSource) {
        g_source_set_callback(source, callback, userData, nullptr);
        g_source_attach(source, context);
    }
    ~ScgiWatch() {
        g_source_destroy(source);
        g_source_unref(source);
    }
    ScgiWatch(const ScgiWatch&) = delete;
    ScgiWatch& operator=(const ScgiWatch&) = delete;

private:
    GSource* source;
};

#pragma once

#include <string>

#include "overlay/cairo.h"

/// Makes another file the drawing library while it lives; none is open before and after. One at a
/// time.
class NamedCairoModule {
public:
    explicit NamedCairoModule(const std::string& file) : name(file), formerName(Cairo::moduleName) {
        Cairo::deinitialize();
        Cairo::moduleName = name.c_str();
    }
    ~NamedCairoModule() {
        Cairo::deinitialize();
        Cairo::moduleName = formerName;
    }
    NamedCairoModule(const NamedCairoModule&) = delete;
    NamedCairoModule& operator=(const NamedCairoModule&) = delete;

    static std::string path() { return CAIRO_MODULE_FOLDER "/cairo_module.so"; }
    /// The file of a library that keeps what is called.
    static std::string recorderPath() { return CAIRO_MODULE_FOLDER "/cairo_recorder.so"; }
    /// The file of a library that lacks the n-th entry point, from 1 to 18.
    static std::string pathWithoutEntry(int n) {
        return CAIRO_MODULE_FOLDER "/cairo_module_without_" + std::to_string(n) + ".so";
    }

private:
    std::string name;
    const char* formerName;
};

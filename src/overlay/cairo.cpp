#include "overlay/cairo.h"

#include <gmodule.h>
#include <syslog.h>

#include <stdexcept>
#include <string>

#include "app/status.h"

const char* Cairo::moduleName = "libcairo.so.2";

namespace {

using ContextCall = void (*)(_cairo*);
using SurfaceCall = void (*)(_cairo_surface*);
using SizeCall = int (*)(_cairo_surface*);
using PointCall = void (*)(_cairo*, double, double);
using SettingCall = void (*)(_cairo*, int);
using FourNumbersCall = void (*)(_cairo*, double, double, double, double);

struct EntryPoints {
    _cairo* (*create)(_cairo_surface*) = nullptr;
    ContextCall fill = nullptr;
    ContextCall destroy = nullptr;
    SurfaceCall surfaceDestroy = nullptr;
    _cairo_surface* (*imageSurfaceCreate)(int, int, int) = nullptr;
    unsigned char* (*imageSurfaceGetData)(_cairo_surface*) = nullptr;
    SizeCall imageSurfaceGetWidth = nullptr;
    SizeCall imageSurfaceGetHeight = nullptr;
    FourNumbersCall rectangle = nullptr;
    SettingCall setAntialias = nullptr;
    void (*setLineWidth)(_cairo*, double) = nullptr;
    SettingCall setOperator = nullptr;
    FourNumbersCall setSourceRgba = nullptr;
    PointCall moveTo = nullptr;
    ContextCall closePath = nullptr;
    PointCall lineTo = nullptr;
    ContextCall stroke = nullptr;
    SurfaceCall surfaceFlush = nullptr;
};

GModule* module = nullptr;
EntryPoints entries;

template <typename Entry>
void bind(const std::string& symbol, Entry& entry) {
    gpointer address = nullptr;
    const bool isFound = g_module_symbol(module, symbol.c_str(), &address) && address != nullptr;
    utils::throwIf(!isFound, "Could not open " + symbol);
    entry = reinterpret_cast<Entry>(address);
}

void openModule() {
    module = g_module_open(Cairo::moduleName, G_MODULE_BIND_LAZY);
    utils::throwIf(module == nullptr, "Could not open cairo module");
}

void bindEntries() {
    bind("cairo_create", entries.create);
    bind("cairo_fill", entries.fill);
    bind("cairo_destroy", entries.destroy);
    bind("cairo_surface_destroy", entries.surfaceDestroy);
    bind("cairo_image_surface_create", entries.imageSurfaceCreate);
    bind("cairo_image_surface_get_data", entries.imageSurfaceGetData);
    bind("cairo_image_surface_get_width", entries.imageSurfaceGetWidth);
    bind("cairo_image_surface_get_height", entries.imageSurfaceGetHeight);
    bind("cairo_rectangle", entries.rectangle);
    bind("cairo_set_antialias", entries.setAntialias);
    bind("cairo_set_line_width", entries.setLineWidth);
    bind("cairo_set_operator", entries.setOperator);
    bind("cairo_set_source_rgba", entries.setSourceRgba);
    bind("cairo_move_to", entries.moveTo);
    bind("cairo_close_path", entries.closePath);
    bind("cairo_line_to", entries.lineTo);
    bind("cairo_stroke", entries.stroke);
    bind("cairo_surface_flush", entries.surfaceFlush);
}

/// Calls the entry point; without it, logs and gives the result's zero.
template <typename Result, typename... Parameters, typename... Arguments>
Result call(Result (*entry)(Parameters...), const char* name, Arguments... arguments) {
    if (entry == nullptr) {
        syslog(LOG_ERR, "Can not use %s\n", name);
        return Result();
    }
    return entry(arguments...);
}

}  // namespace

bool Cairo::initialize() {
    if (isModuleOpen()) {
        return true;
    }
    try {
        openModule();
        bindEntries();
        return true;
    } catch (const std::runtime_error& failure) {
        syslog(LOG_WARNING, "Failed to load cairo. %s\n", failure.what());
        deinitialize();
        return false;
    }
}

bool Cairo::isModuleOpen() {
    return module != nullptr;
}

void Cairo::deinitialize() {
    entries = {};
    if (module != nullptr && !g_module_close(module)) {
        syslog(LOG_WARNING, "Could not close module %s: %s\n", moduleName, g_module_error());
    }
    module = nullptr;
}

_cairo* Cairo::createContext(_cairo_surface* surface) {
    return call(entries.create, "createContext", surface);
}

void Cairo::destroyContext(_cairo* context) {
    call(entries.destroy, "destroyContext", context);
}

void Cairo::destroySurface(_cairo_surface* surface) {
    call(entries.surfaceDestroy, "destroySurface", surface);
}

_cairo_surface* Cairo::imageSurfaceCreate(int format, int width, int height) {
    return call(entries.imageSurfaceCreate, "imageSurfaceCreate", format, width, height);
}

unsigned char* Cairo::imageSurfaceGetData(_cairo_surface* surface) {
    return call(entries.imageSurfaceGetData, "imageSurfaceGetData", surface);
}

int Cairo::imageSurfaceGetHeight(_cairo_surface* surface) {
    return call(entries.imageSurfaceGetHeight, "imageSurfaceGetHeight", surface);
}

int Cairo::imageSurfaceGetWidth(_cairo_surface* surface) {
    return call(entries.imageSurfaceGetWidth, "imageSurfaceGetWidth", surface);
}

void Cairo::createRectangle(_cairo* context, double x, double y, double width, double height) {
    call(entries.rectangle, "createRectangle", context, x, y, width, height);
}

void Cairo::contextFill(_cairo* context) {
    call(entries.fill, "contextFill", context);
}

void Cairo::setAntialias(_cairo* context, int antialias) {
    call(entries.setAntialias, "setAntialias", context, antialias);
}

void Cairo::setLineWidth(_cairo* context, double width) {
    call(entries.setLineWidth, "setLineWidth", context, width);
}

void Cairo::setOperator(_cairo* context, int drawingOperator) {
    call(entries.setOperator, "setOperator", context, drawingOperator);
}

void Cairo::setSource_RGBA(_cairo* context, double red, double green, double blue, double alpha) {
    call(entries.setSourceRgba, "setSource_RGBA", context, red, green, blue, alpha);
}

void Cairo::moveTo(_cairo* context, double x, double y) {
    call(entries.moveTo, "move to", context, x, y);
}

void Cairo::closePath(_cairo* context) {
    call(entries.closePath, "close path", context);
}

void Cairo::lineTo(_cairo* context, double x, double y) {
    call(entries.lineTo, "line to", context, x, y);
}

void Cairo::stroke(_cairo* context) {
    call(entries.stroke, "stroke", context);
}

void Cairo::surfaceFlush(_cairo_surface* surface) {
    call(entries.surfaceFlush, "surfaceFlush", surface);
}

#include "overlay/cairo.h"

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>

#include "support/cairo_module/named_cairo_module.h"
#include "support/resident_cairo.h"
#include "support/syslog_capture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::array<const char*, 18> kEntryPoints = {"cairo_create",
                                                      "cairo_fill",
                                                      "cairo_destroy",
                                                      "cairo_surface_destroy",
                                                      "cairo_image_surface_create",
                                                      "cairo_image_surface_get_data",
                                                      "cairo_image_surface_get_width",
                                                      "cairo_image_surface_get_height",
                                                      "cairo_rectangle",
                                                      "cairo_set_antialias",
                                                      "cairo_set_line_width",
                                                      "cairo_set_operator",
                                                      "cairo_set_source_rgba",
                                                      "cairo_move_to",
                                                      "cairo_close_path",
                                                      "cairo_line_to",
                                                      "cairo_stroke",
                                                      "cairo_surface_flush"};

/// The level and text of a call that needs an entry point and has none.
SyslogCapture::Line unusable(const std::string& name) {
    return {LOG_ERR, "Can not use " + name + "\n"};
}

bool isLoaded(const std::string& file) {
    void* module = dlopen(file.c_str(), RTLD_LAZY | RTLD_NOLOAD);
    if (module != nullptr) {
        dlclose(module);
    }
    return module != nullptr;
}

TEST(CairoModule, IsTheRunTimeLibrary) {
    EXPECT_STREQ(Cairo::moduleName, "libcairo.so.2");
}

TEST(CairoModule, IsOpenFromInitializeToDeinitialize) {
    const NamedCairoModule module(NamedCairoModule::path());
    const SyslogCapture log;
    EXPECT_FALSE(Cairo::isModuleOpen());
    EXPECT_TRUE(Cairo::initialize());
    EXPECT_TRUE(Cairo::isModuleOpen());
    EXPECT_TRUE(Cairo::initialize());
    EXPECT_TRUE(isLoaded(NamedCairoModule::path()));
    Cairo::deinitialize();
    EXPECT_FALSE(Cairo::isModuleOpen());
    EXPECT_FALSE(isLoaded(NamedCairoModule::path()));
    Cairo::deinitialize();
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(CairoModule, IsOffWithOneLineWithoutTheLibrary) {
    const NamedCairoModule module("libno_such_drawing_library.so.2");
    const SyslogCapture log;
    EXPECT_FALSE(Cairo::initialize());
    EXPECT_FALSE(Cairo::isModuleOpen());
    EXPECT_THAT(log.lines(),
                ElementsAre(SyslogCapture::Line{
                    LOG_WARNING, "Failed to load cairo. Could not open cairo module\n"}));
}

TEST(CairoModule, IsOffWithOneLineWithoutAnyOfItsEntryPoints) {
    for (int n = 1; n <= 18; ++n) {
        const NamedCairoModule module(NamedCairoModule::pathWithoutEntry(n));
        const SyslogCapture log;
        EXPECT_FALSE(Cairo::initialize());
        EXPECT_FALSE(Cairo::isModuleOpen());
        EXPECT_FALSE(isLoaded(NamedCairoModule::pathWithoutEntry(n)));
        const std::string symbol = kEntryPoints.at(static_cast<std::size_t>(n - 1));
        EXPECT_THAT(log.lines(),
                    ElementsAre(SyslogCapture::Line{
                        LOG_WARNING, "Failed to load cairo. Could not open " + symbol + "\n"}));
    }
}

TEST(CairoModule, LooksForTheFirstEntryPointFirst) {
    const NamedCairoModule module("libm.so.6");
    const SyslogCapture log;
    EXPECT_FALSE(Cairo::initialize());
    EXPECT_THAT(log.texts(), ElementsAre("Failed to load cairo. Could not open cairo_create\n"));
}

TEST(CairoModule, CanBeOpenedAfterAFailure) {
    const SyslogCapture log;
    {
        const NamedCairoModule module(NamedCairoModule::pathWithoutEntry(18));
        EXPECT_FALSE(Cairo::initialize());
        Cairo::closePath(nullptr);
        EXPECT_EQ(log.lines().back(), unusable("close path"));
    }
    const NamedCairoModule module(NamedCairoModule::path());
    EXPECT_TRUE(Cairo::initialize());
}

TEST(CairoModule, LogsEachCallWhileItIsClosed) {
    const NamedCairoModule module(NamedCairoModule::path());
    const SyslogCapture log;
    EXPECT_EQ(Cairo::createContext(nullptr), nullptr);
    Cairo::destroyContext(nullptr);
    Cairo::destroySurface(nullptr);
    EXPECT_EQ(Cairo::imageSurfaceCreate(2, 8, 8), nullptr);
    EXPECT_EQ(Cairo::imageSurfaceGetData(nullptr), nullptr);
    EXPECT_EQ(Cairo::imageSurfaceGetHeight(nullptr), 0);
    EXPECT_EQ(Cairo::imageSurfaceGetWidth(nullptr), 0);
    Cairo::createRectangle(nullptr, 0, 0, 1, 1);
    Cairo::contextFill(nullptr);
    Cairo::setAntialias(nullptr, 1);
    Cairo::setLineWidth(nullptr, 2);
    Cairo::setOperator(nullptr, 1);
    Cairo::setSource_RGBA(nullptr, 0, 0, 0, 0);
    Cairo::moveTo(nullptr, 0, 0);
    Cairo::closePath(nullptr);
    Cairo::lineTo(nullptr, 0, 0);
    Cairo::stroke(nullptr);
    Cairo::surfaceFlush(nullptr);
    EXPECT_THAT(log.lines(),
                ElementsAre(unusable("createContext"), unusable("destroyContext"),
                            unusable("destroySurface"), unusable("imageSurfaceCreate"),
                            unusable("imageSurfaceGetData"), unusable("imageSurfaceGetHeight"),
                            unusable("imageSurfaceGetWidth"), unusable("createRectangle"),
                            unusable("contextFill"), unusable("setAntialias"),
                            unusable("setLineWidth"), unusable("setOperator"),
                            unusable("setSource_RGBA"), unusable("move to"), unusable("close path"),
                            unusable("line to"), unusable("stroke"), unusable("surfaceFlush")));
}

TEST(CairoModule, DrawsWithTheLibraryItself) {
    const NamedCairoModule module("libcairo.so.2");
    ASSERT_TRUE(Cairo::initialize());
    _cairo_surface* surface = Cairo::imageSurfaceCreate(2, 8, 4);
    EXPECT_EQ(Cairo::imageSurfaceGetWidth(surface), 8);
    EXPECT_EQ(Cairo::imageSurfaceGetHeight(surface), 4);
    _cairo* context = Cairo::createContext(surface);
    Cairo::setAntialias(context, 1);
    Cairo::setSource_RGBA(context, 0, 0, 0, 1);
    Cairo::setLineWidth(context, 2);
    Cairo::lineTo(context, 0, 1);
    Cairo::moveTo(context, 4, 3);
    Cairo::lineTo(context, 7, 3);
    Cairo::stroke(context);
    Cairo::surfaceFlush(surface);
    const unsigned char* data = Cairo::imageSurfaceGetData(surface);
    std::string rows;
    for (int i = 0; i < 32; ++i) {
        rows += data[i] == 0xFF ? '#' : data[i] == 0 ? '.' : '?';
    }
    // What stands alone before the move is no line.
    EXPECT_EQ(rows,
              "........"
              "........"
              "....###."
              "....###.");
    Cairo::destroyContext(context);
    Cairo::destroySurface(surface);
}

}  // namespace

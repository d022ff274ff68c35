#include <gmock/gmock.h>
#include <gmodule.h>
#include <gtest/gtest.h>

#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "device/stream_settings.h"
#include "geometry/polygon.h"
#include "overlay/cairo.h"
#include "overlay/cairo_bounding_box.h"
#include "overlay/cairo_handler.h"
#include "overlay/external_overlay_union.h"
#include "support/cairo_module/named_cairo_module.h"

namespace {

using testing::ElementsAre;

constexpr const char* kDrawValue = "set_source_rgba 0.266667 0.266667 0.266667 0.266667";
constexpr const char* kEraseValue = "set_source_rgba 0.333333 0.333333 0.333333 0.333333";

/// What is asked of the drawing library.
class CairoCalls : public testing::Test {
protected:
    CairoCalls() {
        EXPECT_TRUE(Cairo::initialize());
        recorder = g_module_open(NamedCairoModule::recorderPath().c_str(), G_MODULE_BIND_LAZY);
        EXPECT_TRUE(g_module_symbol(recorder, "cairo_recorder_keep_in",
                                    reinterpret_cast<gpointer*>(&keepIn)));
        keepIn(&calls);
    }
    ~CairoCalls() override {
        keepIn(nullptr);
        g_module_close(recorder);
    }

    /// The calls since the last time.
    std::vector<std::string> takeCalls() {
        std::istringstream lines(std::exchange(calls, {}));
        std::vector<std::string> taken;
        for (std::string line; std::getline(lines, line);) {
            taken.push_back(line);
        }
        return taken;
    }

    const StreamSettings settings{64, 48, 0, false};
    const ExternalOverlayUnion margins{.top = 16, .bottom = 0};

private:
    const NamedCairoModule module{NamedCairoModule::recorderPath()};
    GModule* recorder = nullptr;
    void (*keepIn)(std::string*) = nullptr;
    std::string calls;
};

TEST_F(CairoCalls, MakeABlankImageAndTakeItDown) {
    std::optional<CairoHandler> handler(std::in_place, settings, margins);
    EXPECT_THAT(takeCalls(),
                ElementsAre("image_surface_create 2 32 32", "create", "set_antialias 1",
                            kEraseValue, "rectangle 0 0 32 32", "fill", "set_operator 1"));
    handler->flush();
    EXPECT_THAT(takeCalls(), ElementsAre("surface_flush"));
    handler.reset();
    EXPECT_THAT(takeCalls(), ElementsAre("destroy", "surface_destroy"));
}

TEST_F(CairoCalls, MakeNoImageWithoutRoom) {
    const CairoHandler handler(StreamSettings(), {});
    EXPECT_THAT(takeCalls(), ElementsAre());
}

TEST_F(CairoCalls, DrawAndEraseABox) {
    CairoHandler handler(settings, margins);
    takeCalls();
    const CairoBoundingBox box{.x = -5, .y = -7, .width = 11, .height = 13};
    handler.drawObject(box);
    EXPECT_THAT(takeCalls(),
                ElementsAre(kDrawValue, "set_line_width 2", "rectangle -2 -7 5 13", "stroke"));
    handler.eraseObject(box);
    EXPECT_THAT(takeCalls(),
                ElementsAre(kEraseValue, "set_line_width 4", "rectangle -2 -7 5 13", "stroke"));
}

TEST_F(CairoCalls, DrawAndEraseAPolygon) {
    CairoHandler handler(settings, margins);
    takeCalls();
    // Pixels (0, 48), (21, 24) and (64, 0).
    const short xy[] = {-4096, -4096, -1408, 0, 4096, 4096};
    const Polygon polygon(xy, 3);
    handler.drawPolygon(polygon, settings, margins);
    EXPECT_THAT(takeCalls(), ElementsAre(kDrawValue, "set_line_width 2", "line_to 0 32",
                                         "line_to 10 8", "line_to 32 -16", "close_path", "stroke"));
    handler.erasePolygon(polygon, settings, margins);
    EXPECT_THAT(takeCalls(), ElementsAre(kEraseValue, "set_line_width 4", "line_to 0 32",
                                         "line_to 10 8", "line_to 32 -16", "close_path", "stroke"));
}

TEST_F(CairoCalls, ReachTheirEntryPoints) {
    EXPECT_EQ(Cairo::imageSurfaceGetWidth(nullptr), 7);
    EXPECT_EQ(Cairo::imageSurfaceGetHeight(nullptr), 9);
    EXPECT_EQ(Cairo::imageSurfaceGetData(nullptr)[3], 4);
    Cairo::moveTo(nullptr, 1, 2);
    Cairo::setSource_RGBA(nullptr, 0.1, 0.2, 0.3, 0.4);
    EXPECT_THAT(takeCalls(), ElementsAre("image_surface_get_width", "image_surface_get_height",
                                         "image_surface_get_data", "move_to 1 2",
                                         "set_source_rgba 0.1 0.2 0.3 0.4"));
}

}  // namespace

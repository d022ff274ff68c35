#include "overlay/palette_utils.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/overlay_device.h"
#include "support/syslog_capture.h"

namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

class Palette : public testing::Test {
protected:
    PrivateBus bus;
    OverlayDevice device{bus};
    SyslogCapture log;
};

TEST_F(Palette, IsSetInOrder) {
    EXPECT_TRUE(PaletteUtils::setCustomPaletteValues());
    EXPECT_THAT(device.calls(),
                ElementsAre("SetColor /com/orva/Overlay2/PaletteColor/0 (0x00, 0x00, 0x00, 0x00, "
                            "false)",
                            "SetColor /com/orva/Overlay2/PaletteColor/5 (0x00, 0x00, 0x00, 0x00, "
                            "false)",
                            "SetColor /com/orva/Overlay2/PaletteColor/1 (0xff, 0x00, 0x00, 0x9b, "
                            "false)",
                            "SetColor /com/orva/Overlay2/PaletteColor/4 (0xff, 0x00, 0x00, 0x9b, "
                            "false)"));
    EXPECT_THAT(device.interfaces(), Each("com.orva.Overlay2.PaletteColor"));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(Palette, FailsAtEachColor) {
    for (int n = 1; n <= 4; ++n) {
        device.forgetCalls();
        log.clear();
        device.failAt(n);
        EXPECT_FALSE(PaletteUtils::setCustomPaletteValues());
        EXPECT_EQ(device.calls().size(), static_cast<std::size_t>(n));
        EXPECT_THAT(log.lines(),
                    ElementsAre(SyslogCapture::Line{
                        LOG_WARNING,
                        "Failed to set custom palette color: DBus call to SetColor failed: "
                        "GDBus.Error:com.orva.Error: told to\n\n"}));
    }
}

TEST_F(Palette, FailsWithoutABus) {
    bus.stop();
    EXPECT_FALSE(PaletteUtils::setCustomPaletteValues());
    EXPECT_THAT(log.texts(),
                ElementsAre(StartsWith("Failed to set custom palette color: Failed to create DBus "
                                       "proxy to set palette colors: ")));
}

}  // namespace

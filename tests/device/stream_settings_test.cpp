#include "device/stream_settings.h"

#include <gtest/gtest.h>

namespace {

TEST(StreamSettings, CorrectsForRotationAndMacroBlocks) {
    const StreamSettings upright(1920, 1080, 0, false);
    EXPECT_EQ(1080, upright.getRotationCorrectedHeight());
    EXPECT_EQ(1920, upright.getRotationAndMacroBlockCorrectedWidth());
    EXPECT_EQ(1072, upright.getRotationAndMacroBlockCorrectedHeight());
    for (int rotation : {90, 270}) {
        const StreamSettings turned(1920, 1080, rotation, false);
        EXPECT_EQ(1920, turned.getRotationCorrectedHeight());
        EXPECT_EQ(1072, turned.getRotationAndMacroBlockCorrectedWidth());
        EXPECT_EQ(1920, turned.getRotationAndMacroBlockCorrectedHeight());
    }
    EXPECT_EQ(1072,
              StreamSettings(1920, 1080, 180, true).getRotationAndMacroBlockCorrectedHeight());
}

TEST(StreamSettings, KeepsTheSignOfANegativeSize) {
    EXPECT_EQ(-16, StreamSettings(-17, 0, 0, false).getRotationAndMacroBlockCorrectedWidth());
}

TEST(StreamSettings, ComparesAllFourFields) {
    const StreamSettings settings(1, 2, 90, true);
    EXPECT_EQ(settings, StreamSettings(1, 2, 90, true));
    EXPECT_NE(settings, StreamSettings(3, 2, 90, true));
    EXPECT_NE(settings, StreamSettings(1, 3, 90, true));
    EXPECT_NE(settings, StreamSettings(1, 2, 0, true));
    EXPECT_NE(settings, StreamSettings(1, 2, 90, false));
    EXPECT_EQ(StreamSettings(), StreamSettings(0, 0, 0, false));
}

}  // namespace

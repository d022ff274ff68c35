#include "overlay/alarm_overlay_message.h"

#include <gtest/gtest.h>

namespace {

TEST(AlarmOverlayMessages, TellOfStreams) {
    const StreamProperties stream{.id = 3, .camera = 1, .type = "h264"};
    const StreamAddedMessage added(stream);
    EXPECT_EQ(added.type, 0);
    EXPECT_EQ(&added.payload, &stream);
    const StreamRemovedMessage removed(3);
    EXPECT_EQ(removed.type, 1);
    EXPECT_EQ(removed.payload, 3);
}

TEST(AlarmOverlayMessages, TellOfOverlays) {
    const ExternalOverlay overlay;
    const OverlayAddedMessage added(overlay);
    EXPECT_EQ(added.type, 2);
    EXPECT_EQ(&added.payload, &overlay);
    const OverlayRemovedMessage removed(12);
    EXPECT_EQ(removed.type, 3);
    EXPECT_EQ(removed.payload, 12);
}

TEST(AlarmOverlayMessages, KeepChangedPropertiesThemselves) {
    OverlayProperties properties{.id = 12, .height = "40", .position = "top"};
    const OverlayPropertiesChangedMessage changed(properties);
    properties = {};
    EXPECT_EQ(changed.type, 4);
    EXPECT_EQ(changed.payload.id, 12);
    EXPECT_EQ(changed.payload.height, "40");
    EXPECT_EQ(changed.payload.position, "top");
}

TEST(AlarmOverlayMessages, CanBeOfAnyType) {
    EXPECT_EQ(AlarmOverlayMessage(99).type, 99);
}

}  // namespace

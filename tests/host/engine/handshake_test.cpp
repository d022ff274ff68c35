#include "engine/handshake.h"

#include <gtest/gtest.h>

#include "engine/scene_record.h"

using namespace std::string_literals;

TEST(Handshake, GrantsTheNewestVersionWithFourFlags) {
    const Handshake handshake("1.1 OPEN 0 1 1 1 2", 2);
    EXPECT_TRUE(handshake.granted());
    EXPECT_EQ(handshake.camera(), 2);
    EXPECT_EQ(handshake.properties(), unsigned{ScenePolygons | SceneVelocities | SceneConfidences});
    EXPECT_EQ(handshake.answer(), "1.1 OK\0"s);
}

TEST(Handshake, GrantsTheOldVersionWithThreeFlags) {
    const Handshake handshake("1.0 OPEN 1 0 1 1", 1);
    EXPECT_TRUE(handshake.granted());
    EXPECT_EQ(handshake.camera(), 1);
    EXPECT_EQ(handshake.properties(), unsigned{SceneBoundingBoxes | SceneVelocities});
    EXPECT_EQ(handshake.answer(), "1.0 OK\0"s);
}

TEST(Handshake, RefusesAndOffersTheNewestVersion) {
    const char* const lines[] = {
        "",
        "1.1",
        "1.1 OPEN",
        "1.2 OPEN 0 1 1 1 1",   // unknown version
        "1.10 OPEN 0 1 1 1 1",  //
        "2.0 OPEN 1",           //
        "1.1 OPEN 0 1 1 1 3",   // unknown camera
        "1.1 OPEN 0 1 1 1 0",   //
        "1.1 OPEN 0 1 1 1 -1",  //
        "1.1 OPEN 0 1 1 1 01",  //
        "1.1 OPEN 0 1 1 1 4294967297",
        "1.1 OPEN 0 1 1 1 1x",
        "1.1 OPEN 0 1 1 1 1 ",
        " 1.1 OPEN 0 1 1 1 1",
        "1.1  OPEN 0 1 1 1 1",
        "1.1 OPEN 0 1 1 2 1",  // flags
        "1.1 OPEN 0 1 1 1",    // one flag or the camera is missing
        "1.0 OPEN 0 1 1 1 1",  // one flag too many
        "1.1 open 0 1 1 1 1",
        "1.1 CLOSE 0 1 1 1 1",
        "1.1 OPEN 0 1 1 1 1\r",
    };
    for (const char* line : lines) {
        const Handshake handshake(line, 2);
        EXPECT_FALSE(handshake.granted()) << line;
        EXPECT_EQ(handshake.camera(), 0) << line;
        EXPECT_EQ(handshake.answer(), "1.1 ERROR\0"s) << line;
    }
}

TEST(Handshake, AnswersWithinAHundredBytes) {
    EXPECT_LE(Handshake("", 1).answer().size(), 100u);
    EXPECT_LE(Handshake("1.1 OPEN 0 1 1 1 1", 1).answer().size(), 100u);
}

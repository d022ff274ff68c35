#include "scene/scene_reader_result.h"

#include <gtest/gtest.h>

namespace {

void expectFailureWithoutVersion(const std::string& reply) {
    const SceneReaderResult result(reply);
    EXPECT_FALSE(result.success) << reply;
    EXPECT_FALSE(result.version.isValid()) << reply;
    EXPECT_EQ(result.version.text, "") << reply;
}

void expectSuccess(const std::string& reply) {
    const SceneReaderResult result(reply);
    EXPECT_TRUE(result.success) << reply;
    EXPECT_EQ(result.version, API_Version("1.1")) << reply;
}

}  // namespace

TEST(SceneReaderResult, IsAFailureWithoutAVersionAtFirst) {
    const SceneReaderResult result;
    EXPECT_FALSE(result.success);
    EXPECT_FALSE(result.version.isValid());
}

TEST(SceneReaderResult, IsASuccessWithTheSecondWordOK) {
    expectSuccess("1.1 OK");
}

TEST(SceneReaderResult, DoesNotMindBlanksAroundAndDoubledBlanksBetweenTheWords) {
    expectSuccess("1.1 OK   ");
    expectSuccess("  1.1 OK");
    expectSuccess("1.1    OK");
}

TEST(SceneReaderResult, TellsTheVersionOfARefusal) {
    const SceneReaderResult result("1.0 ERROR");
    EXPECT_FALSE(result.success);
    EXPECT_EQ(result.version, API_Version("1.0"));
}

TEST(SceneReaderResult, ComparesOKExactly) {
    EXPECT_FALSE(SceneReaderResult("1.1 ok").success);
    EXPECT_FALSE(SceneReaderResult("1.1 OK\n").success);
    EXPECT_FALSE(SceneReaderResult("1.1 OKAY").success);
}

TEST(SceneReaderResult, RefusesAnythingButTwoWords) {
    expectFailureWithoutVersion("");
    expectFailureWithoutVersion("   ");
    expectFailureWithoutVersion("OK");
    expectFailureWithoutVersion("1.1 OK now");
}

TEST(SceneReaderResult, CanSucceedWithAVersionThatIsNone) {
    const SceneReaderResult result("one OK");
    EXPECT_TRUE(result.success);
    EXPECT_FALSE(result.version.isValid());
    EXPECT_EQ(result.version.text, "one");
}

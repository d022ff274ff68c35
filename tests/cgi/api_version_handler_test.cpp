#include "cgi/api_version_handler.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

constexpr const char* kControl[] = {"1.0", "1.1", "1.2", "1.3", "1.4"};

API_VersionHandler controlVersions() {
    return {kControl, 5};
}

std::vector<std::string> texts(const std::vector<API_Version>& versions) {
    std::vector<std::string> result;
    for (const API_Version& version : versions) {
        result.push_back(version.text);
    }
    return result;
}

TEST(ApiVersionHandler, SupportsEveryMinorUpToTheHighest) {
    EXPECT_TRUE(controlVersions().isSupported(API_Version("1.2")));
    EXPECT_TRUE(controlVersions().isSupported(API_Version("1.4")));
    constexpr const char* gapped[] = {"1.0", "1.4"};
    EXPECT_TRUE(API_VersionHandler(gapped, 2).isSupported(API_Version("1.2")));
}

TEST(ApiVersionHandler, DoesNotSupportWhatIsAboveOrOfAnotherMajor) {
    for (const char* text : {"1.5", "1.10", "0.9", "2.0", "0.0"}) {
        EXPECT_FALSE(controlVersions().isSupported(API_Version(text))) << text;
    }
    EXPECT_FALSE(controlVersions().isSupported(API_Version()));
}

TEST(ApiVersionHandler, FindsTheHighestOfAMajorWhateverTheOrder) {
    constexpr const char* mixed[] = {"1.3", "2.0", "1.1"};
    const API_VersionHandler handler(mixed, 3);
    EXPECT_EQ("1.3", handler.findHighestSupportedVersion(1).text);
    EXPECT_EQ("1.3", handler.getHighestSupportedVersion(1).text);
    EXPECT_EQ("1.1", handler.getHighestSupportedVersion().text);
    EXPECT_FALSE(controlVersions().getHighestSupportedVersion(2).isValid());
}

TEST(ApiVersionHandler, IsEmptyForACountBelowOne) {
    const API_VersionHandler handler(kControl, 0);
    EXPECT_FALSE(handler.isSupported(API_Version("1.0")));
    EXPECT_FALSE(handler.getHighestSupportedVersion().isValid());
    EXPECT_EQ("", handler.toString());
    EXPECT_TRUE(API_VersionHandler(kControl, -3).getVersions().empty());
}

TEST(ApiVersionHandler, ListsWhatIsNotAboveAVersionHighestFirst) {
    EXPECT_THAT(texts(controlVersions().getSupportedVersions(API_Version("1.2"))),
                testing::ElementsAre("1.2", "1.1", "1.0"));
    EXPECT_THAT(texts(controlVersions().getSupportedVersions(API_Version())), testing::IsEmpty());
}

TEST(ApiVersionHandler, ListsAnEntryWithAMissingNumberThatComparesLower) {
    constexpr const char* broken[] = {"1.x", "1.0"};
    EXPECT_THAT(texts(API_VersionHandler(broken, 2).getSupportedVersions(API_Version("1.1"))),
                testing::ElementsAre("1.0", "1.x"));
}

TEST(ApiVersionHandler, WritesABlankBehindEachVersion) {
    EXPECT_EQ("1.0 1.1 1.2 1.3 1.4 ", controlVersions().toString());
}

}  // namespace

#include "config/parse_config.h"

#include <gtest/gtest.h>

#include "support/json_support.h"
#include "support/status_matchers.h"
#include "support/syslog_capture.h"
#include "support/temporary_folder.h"

namespace {

TEST(ParseConfig, ReadsTheMembersOfADocument) {
    const JsonAutoPtr document = json(R"({"params":{"profiles":[{"filters":[3]}],"cameras":[2]}})");
    const json_t* params = ParseConfig::getParams(document.get());
    EXPECT_EQ(textOf(ParseConfig::getCameras(params)), "[2]");
    const json_t* profiles = ParseConfig::getProfiles(params);
    EXPECT_EQ(textOf(ParseConfig::getFilters(json_array_get(profiles, 0))), "[3]");
}

TEST(ParseConfig, RefusesMissingMembersAndThoseOfAnotherKind) {
    for (const char* text : {"{}", R"({"params":[],"profiles":{},"filters":{},"cameras":{}})"}) {
        const JsonAutoPtr object = json(text);
        expectStatus([&] { ParseConfig::getParams(object.get()); }, StatusMissingParameter,
                     "Could not read 'params' from configuration");
        expectStatus([&] { ParseConfig::getProfiles(object.get()); }, StatusMissingParameter,
                     "Could not read 'profiles' from configuration");
        expectStatus([&] { ParseConfig::getFilters(object.get()); }, StatusMissingParameter,
                     "Could not read 'filters' from configuration");
        expectStatus([&] { ParseConfig::getCameras(object.get()); }, StatusMissingParameter,
                     "Could not read 'cameras' from old configuration");
    }
    expectStatus([] { ParseConfig::getParams(nullptr); }, StatusMissingParameter,
                 "Could not read 'params' from configuration");
}

TEST(ParseConfig, ReadsTheStoredDocument) {
    const TemporaryFolder folder;
    folder.write("config.json", R"({"params":{"x":0.123456}})");
    EXPECT_EQ(textOf(ParseConfig::getPersistentConfig(folder.path("config.json"))),
              R"({"params":{"x":0.1235}})");
}

TEST(ParseConfig, TellsAnUnreadableStoredDocumentByItsStatus) {
    const SyslogCapture log;
    const TemporaryFolder folder;
    const std::string path = folder.path("config.json");
    const auto read = [&path] { ParseConfig::getPersistentConfig(path); };
    expectStatus(read, StatusFileError, "Could not read the configuration file");
    folder.write("config.json", "broken");
    expectStatus(read, StatusFileError, "Could not read the configuration file");
    // With four digits this number is greater than any that can be read.
    folder.write("config.json", R"({"x":1.7976931348623157e308})");
    expectStatus(read, StatusInternalError, "Could not decode json in the configuration file");
}

TEST(ParseConfig, ReadsSingleMembers) {
    const JsonAutoPtr object =
        json(R"({"camera":2,"id":3,"uid":4,"name":" n ","on":true,"off":false})");
    EXPECT_EQ(ParseConfig::getCameraNbr(object.get()), 2);
    EXPECT_EQ(ParseConfig::getCameraId(object.get()), 3);
    EXPECT_EQ(ParseConfig::getProfileUid(object.get()), 4);
    EXPECT_EQ(ParseConfig::getProfileName(object.get()), " n ");
    EXPECT_EQ(ParseConfig::parseInt(object.get(), "uid"), 4);
    EXPECT_TRUE(ParseConfig::parseBool(object.get(), "on"));
    EXPECT_FALSE(ParseConfig::parseBool(object.get(), "off"));
    EXPECT_EQ(ParseConfig::parseString(object.get(), "name"), " n ");
}

TEST(ParseConfig, NamesTheKeyThatItCouldNotRead) {
    const JsonAutoPtr object = json(R"({"uid":"4","on":1,"name":7,"real":1.0})");
    expectStatus([&] { ParseConfig::getProfileUid(object.get()); }, StatusMissingParameter,
                 "Failed to parse key: uid");
    expectStatus([&] { ParseConfig::getCameraId(object.get()); }, StatusMissingParameter,
                 "Failed to parse key: id");
    expectStatus([&] { ParseConfig::getCameraNbr(object.get()); }, StatusMissingParameter,
                 "Failed to parse key: camera");
    expectStatus([&] { ParseConfig::getProfileName(object.get()); }, StatusMissingParameter,
                 "Failed to parse key: name");
    expectStatus([&] { ParseConfig::parseBool(object.get(), "on"); }, StatusMissingParameter,
                 "Failed to parse key: on");
    expectStatus([&] { ParseConfig::parseInt(object.get(), "real"); }, StatusMissingParameter,
                 "Failed to parse key: real");
    expectStatus([] { ParseConfig::parseInt(nullptr, "x"); }, StatusMissingParameter,
                 "Failed to parse key: x");
}

TEST(ParseConfig, FindsTheGreatestUid) {
    EXPECT_EQ(ParseConfig::getMaxUid(json(R"([{"uid":-7},{"uid":-3},{"uid":-5}])").get()), -3);
    EXPECT_EQ(ParseConfig::getMaxUid(json("[]").get()), -2147483647 - 1);
    expectStatus([] { ParseConfig::getMaxUid(json("[{}]").get()); }, StatusMissingParameter,
                 "Failed to parse key: uid");
}

TEST(ParseConfig, ReadsAFilterOfTwoIntegers) {
    const auto active =
        ParseConfig::parseFilterIntPair(json(R"({"data":[5,6],"active":true})").get());
    EXPECT_EQ(active, std::pair(std::pair(5, 6), true));
    const auto inactive =
        ParseConfig::parseFilterIntPair(json(R"({"data":[5,6],"active":false})").get());
    EXPECT_EQ(inactive, std::pair(std::pair(0, 0), false));
    for (const char* text :
         {R"({"data":[5,6]})", R"({"data":[5],"active":true})", R"({"data":[5,6,7],"active":true})",
          R"({"data":5,"active":true})", R"({"data":[5,6],"active":1})"}) {
        expectStatus([&] { ParseConfig::parseFilterIntPair(json(text).get()); },
                     StatusMissingParameter, "Failed to parse \"data\"");
    }
}

TEST(ParseConfig, ReadsAFilterOfOneInteger) {
    EXPECT_EQ(ParseConfig::parseFilterInt(json(R"({"data":5,"active":true})").get()),
              std::pair(5, true));
    EXPECT_EQ(ParseConfig::parseFilterInt(json(R"({"data":5,"active":false})").get()),
              std::pair(0, false));
    expectStatus([] { ParseConfig::parseFilterInt(json(R"({"data":5})").get()); },
                 StatusMissingParameter, "Failed to parse \"data\"");
}

TEST(ParseConfig, NumbersTheFilterTypes) {
    const auto typeOf = [](const std::string& word) {
        return ParseConfig::getFilterType(json(R"({"type":")" + word + "\"}").get());
    };
    EXPECT_EQ(typeOf("sizePercentage"), 1);
    EXPECT_EQ(typeOf("sizePerspective"), 2);
    EXPECT_EQ(typeOf("timeShortLivedLimit"), 3);
    EXPECT_EQ(typeOf("distanceSwayingObject"), 4);
    EXPECT_EQ(typeOf("excludeArea"), 5);
    EXPECT_EQ(typeOf("includeArea"), 0);
    EXPECT_EQ(typeOf(""), 0);
    expectStatus([] { ParseConfig::getFilterType(json("{}").get()); }, StatusMissingParameter,
                 "Failed to parse key: type");
}

TEST(ParseConfig, TellsWhetherACameraIsActive) {
    const JsonAutoPtr cameras = json(R"([{"id":1,"active":false},{"id":2,"active":true}])");
    EXPECT_FALSE(ParseConfig::isCameraActive(cameras.get(), 1));
    EXPECT_TRUE(ParseConfig::isCameraActive(cameras.get(), 2));
    EXPECT_FALSE(ParseConfig::isCameraActive(cameras.get(), 3));
}

TEST(ParseConfig, FindsTheElementOfTheSameIdentity) {
    const JsonAutoPtr profiles = json(R"([{"uid":1},{"uid":2,"name":"b"}])");
    EXPECT_EQ(textOf(ParseConfig::getProfile(json(R"({"uid":2})").get(), profiles.get())),
              R"({"uid":2,"name":"b"})");
    EXPECT_EQ(ParseConfig::getProfile(json(R"({"uid":3})").get(), profiles.get()), nullptr);
    expectStatus([&] { ParseConfig::getProfile(json("{}").get(), profiles.get()); },
                 StatusMissingParameter, "Failed to parse key: uid");
    const JsonAutoPtr cameras = json(R"([{"id":1},{"id":2,"x":5}])");
    EXPECT_EQ(textOf(ParseConfig::getCamera(json(R"({"id":2})").get(), cameras.get())),
              R"({"id":2,"x":5})");
    EXPECT_EQ(ParseConfig::getCamera(json(R"({"id":3})").get(), cameras.get()), nullptr);
}

TEST(ParseConfig, GivesAnElementOfAnArray) {
    const JsonAutoPtr array = json("[7,8]");
    EXPECT_EQ(textOf(ParseConfig::getElementInArray(array.get(), 1)), "8");
    expectStatus([] { ParseConfig::getElementInArray(nullptr, 0); }, StatusMalformedJson,
                 "JSON point pointer was NULL.");
    for (const int index : {2, -1}) {
        expectStatus([&] { ParseConfig::getElementInArray(array.get(), index); },
                     StatusMalformedJson, "Non valid index.");
    }
}

TEST(ParseConfig, GivesTheDataOfTheOnlyTrigger) {
    EXPECT_EQ(textOf(ParseConfig::getTriggerData(json(R"({"triggers":[{"data":[1]}]})").get())),
              "[1]");
    for (const char* text :
         {"{}", R"({"triggers":[]})", R"({"triggers":[{"data":[1]},{"data":[1]}]})"}) {
        expectStatus([&] { ParseConfig::getTriggerData(json(text).get()); }, StatusMalformedJson,
                     "Json triggers pointer is incorrect.");
    }
    expectStatus([] { ParseConfig::getTriggerData(json(R"({"triggers":[{}]})").get()); },
                 StatusMalformedJson, "Json trigger data pointer was NULL.");
}

}  // namespace

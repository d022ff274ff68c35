#include "config/api_version_compatibility_converter.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "cgi/api_version_handler.h"
#include "support/failing_json_memory.h"
#include "support/json_support.h"
#include "support/status_matchers.h"
#include "support/syslog_capture.h"
#include "support/temporary_folder.h"

namespace {

const char* const kVersions[] = {"1.0", "1.1", "1.2", "1.3", "1.4"};

class ConverterTest : public testing::Test {
protected:
    ConverterTest() {
        folder.write("config.json",
                     R"({"apiVersion":"1.4","params":{"cameras":[{"id":1,"overlayResolution":"S"},)"
                     R"({"id":2}],"profiles":[{"uid":7,"presets":[4],"alarmOverlayEnabled":true},)"
                     R"({"uid":8}]}})");
    }

    std::string convert(const std::string& request) {
        return converter.handleOlderAPI_Versions(request, versions, folder.path("config.json"));
    }

    static std::string request(const std::string& version) {
        return R"({"apiVersion":")" + version +
               R"(","params":{"cameras":[)"
               R"({"id":2,"overlayResolution":"R"},{"id":1,"overlayResolution":"R"},)"
               R"({"id":3,"overlayResolution":"R"}],"profiles":[)"
               R"({"uid":8,"presets":[9],"alarmOverlayEnabled":false},)"
               R"({"uid":7,"presets":[9],"alarmOverlayEnabled":false},)"
               R"({"uid":9,"presets":[9],"alarmOverlayEnabled":false}]}})";
    }

    void expectFailure(const std::string& text, StatusCode_e status, const std::string& message) {
        log.clear();
        EXPECT_EQ(convert(text), "");
        EXPECT_EQ(converter.getStatus(), status);
        EXPECT_EQ(log.lines(), (std::vector<SyslogCapture::Line>{{LOG_WARNING, message + "\n"},
                                                                 {LOG_WARNING, text + "\n"}}));
    }

    TemporaryFolder folder;
    SyslogCapture log;
    const API_VersionHandler versions{kVersions, 5};
    API_VersionCompatibilityConverter converter;
};

TEST_F(ConverterTest, HasNotConvertedAnythingAtFirst) {
    EXPECT_EQ(converter.getStatus(), StatusMalformedJson);
}

TEST_F(ConverterTest, OfTheOldestVersionAllThreeKeysAreTakenFromTheStoredDocument) {
    EXPECT_EQ(convert(request("1.0")),
              R"({"apiVersion":"1.4","params":{"cameras":[{"id":2},)"
              R"({"id":1,"overlayResolution":"S"},{"id":3}],"profiles":[{"uid":8},)"
              R"({"uid":7,"alarmOverlayEnabled":true,"presets":[4]},{"uid":9}]}})");
    EXPECT_EQ(converter.getStatus(), StatusOk);
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(ConverterTest, FromThePresetVersionOnPresetsAreTheRequests) {
    for (const char* version : {"1.1", "1.2"}) {
        EXPECT_EQ(convert(request(version)),
                  R"({"apiVersion":"1.4","params":{"cameras":[{"id":2},)"
                  R"({"id":1,"overlayResolution":"S"},{"id":3}],"profiles":[)"
                  R"({"uid":8,"presets":[9]},{"uid":7,"presets":[9],"alarmOverlayEnabled":true},)"
                  R"({"uid":9,"presets":[9]}]}})");
        EXPECT_EQ(converter.getStatus(), StatusOk);
    }
}

TEST_F(ConverterTest, FromTheOverlayVersionOnOnlyTheVersionIsRaised) {
    for (const char* version : {"1.3", "1.4"}) {
        EXPECT_EQ(convert(request(version)), request("1.4"));
        EXPECT_EQ(converter.getStatus(), StatusOk);
    }
}

TEST_F(ConverterTest, ANewRequestNeedsNeitherCamerasNorProfilesHere) {
    EXPECT_EQ(convert(R"({"apiVersion":"1.3"})"), R"({"apiVersion":"1.4"})");
}

TEST_F(ConverterTest, KeepsFullPrecisionAndUnknownKeysInOrder) {
    EXPECT_EQ(convert(R"({"z":0.123456789,"apiVersion":"1.4","a":[1]})"),
              R"({"z":0.123456789,"apiVersion":"1.4","a":[1]})");
}

TEST_F(ConverterTest, AVersionOfAnotherMajorNumberLosesItsText) {
    EXPECT_EQ(convert(R"({"apiVersion":"2.0"})"), R"({"apiVersion":""})");
    EXPECT_EQ(converter.getStatus(), StatusOk);
}

TEST_F(ConverterTest, RefusesWhatIsNotJson) {
    expectFailure("{", StatusMalformedJson, "Unable to decode Json: ");
    expectFailure("", StatusMalformedJson, "Unable to decode Json: ");
}

TEST_F(ConverterTest, RefusesARequestWithoutAVersion) {
    expectFailure("{}", StatusMissingParameter, "Failed to parse apiVersion");
    expectFailure(R"({"apiVersion":1.4})", StatusMissingParameter, "Failed to parse apiVersion");
    // The stored document is asked for afterwards.
    std::filesystem::remove(folder.path("config.json"));
    expectFailure("{}", StatusMissingParameter, "Failed to parse apiVersion");
}

TEST_F(ConverterTest, WithoutAStoredDocumentEveryRequestFails) {
    std::filesystem::remove(folder.path("config.json"));
    for (const char* version : {"1.0", "1.4"}) {
        const std::string text = request(version);
        EXPECT_EQ(convert(text), "");
        EXPECT_EQ(converter.getStatus(), StatusFileError);
        EXPECT_TRUE(log.has(LOG_WARNING, "Could not read the configuration file\n"));
    }
}

TEST_F(ConverterTest, RefusesAnOldRequestWithoutWhatItNeeds) {
    expectFailure(R"({"apiVersion":"1.2"})", StatusMissingParameter,
                  "Could not read 'params' from configuration");
    expectFailure(R"({"apiVersion":"1.2","params":{}})", StatusMissingParameter,
                  "Could not read 'cameras' from old configuration");
    expectFailure(R"({"apiVersion":"1.2","params":{"cameras":[]}})", StatusMissingParameter,
                  "Could not read 'profiles' from configuration");
    expectFailure(R"({"apiVersion":"1.2","params":{"cameras":[{}],"profiles":[]}})",
                  StatusMissingParameter, "Failed to parse key: id");
    expectFailure(R"({"apiVersion":"1.2","params":{"cameras":[null],"profiles":[]}})",
                  StatusMissingParameter, "Failed to parse key: id");
    expectFailure(R"({"apiVersion":"1.2","params":{"cameras":[],"profiles":[{}]}})",
                  StatusMissingParameter, "Failed to parse key: uid");
}

TEST_F(ConverterTest, RefusesAnOldRequestOverAStoredDocumentWithoutWhatItNeeds) {
    folder.write("config.json", R"({"params":{"cameras":[],"profiles":{}}})");
    expectFailure(R"({"apiVersion":"1.2","params":{"cameras":[],"profiles":[]}})",
                  StatusMissingParameter, "Could not read 'profiles' from configuration");
}

TEST_F(ConverterTest, ALaterSuccessClearsTheStatus) {
    convert("{");
    convert(request("1.4"));
    EXPECT_EQ(converter.getStatus(), StatusOk);
}

TEST_F(ConverterTest, TheOverlayIsTakenOverBelowItsVersionOnly) {
    const JsonAutoPtr stored =
        json(R"({"params":{"cameras":[{"id":1,"overlayResolution":"S"}],"profiles":[]}})");
    const JsonAutoPtr request = json(R"({"params":{"cameras":[{"id":1}],"profiles":[]}})");
    converter.handleAlarmOverlayFeatures(request, API_Version("1.3"), stored);
    EXPECT_EQ(textOf(request), R"({"params":{"cameras":[{"id":1}],"profiles":[]}})");
    converter.handleAlarmOverlayFeatures(request, API_Version("1.2"), stored);
    EXPECT_EQ(textOf(request), textOf(stored));
}

TEST_F(ConverterTest, AVersionThatCannotBeSetIsAnInternalError) {
    const JsonAutoPtr request = json("{}");
    {
        const FailingJsonMemory memory(1);
        expectStatus([&] { converter.incrementAPI_VersionOfRequest(request, API_Version("1.4")); },
                     StatusInternalError,
                     "Could not create string to increment API version of request");
    }
    expectStatus([&] { converter.incrementAPI_VersionOfRequest(json("[]"), API_Version("1.4")); },
                 StatusInternalError, "Could not store string to increment API version of request");
    converter.incrementAPI_VersionOfRequest(request, API_Version("1.4"));
    EXPECT_EQ(textOf(request), R"({"apiVersion":"1.4"})");
}

}  // namespace

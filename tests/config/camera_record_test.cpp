#include "config/camera_record.h"

#include <gtest/gtest.h>

#include "support/json_support.h"
#include "support/status_matchers.h"
#include "support/syslog_capture.h"
#include "support/test_device.h"
#include "support/test_profile.h"

namespace {

using TestProfile::array;
using TestProfile::camera;

class CameraRecordTest : public testing::Test {
protected:
    static std::vector<CameraRecord> read(const std::vector<std::string>& cameras) {
        return CameraRecord::readAll(json(R"({"cameras":)" + array(cameras) + "}").get());
    }

    CameraRecord readOverlay(const std::string& resolution) {
        return read({with(camera(1), {{"overlayResolution", "\"" + resolution + "\""}})}).at(0);
    }

    static void expectFailure(const std::vector<std::string>& cameras, StatusCode_e status,
                              const std::string& message) {
        expectStatus([&] { read(cameras); }, status, message);
    }

    TestDevice device;
    SyslogCapture log;
};

TEST_F(CameraRecordTest, ReadsTheCamerasInDocumentOrder) {
    device.hasSources(3);
    const std::vector<CameraRecord> cameras = read({camera(3, false, 270), camera(1, true, 90)});
    ASSERT_EQ(cameras.size(), 2U);
    EXPECT_EQ(cameras[0].id, 3);
    EXPECT_FALSE(cameras[0].active);
    EXPECT_EQ(cameras[0].rotation, 270);
    EXPECT_EQ(cameras[1].id, 1);
    EXPECT_TRUE(cameras[1].active);
    EXPECT_EQ(cameras[1].rotation, 90);
    EXPECT_EQ(cameras[1].overlayWidth, -1);
    EXPECT_EQ(cameras[1].overlayHeight, -1);
}

TEST_F(CameraRecordTest, RefusesAMissingArray) {
    for (const char* text : {"{}", R"({"cameras":{}})", R"({"cameras":null})"}) {
        expectStatus([&] { CameraRecord::readAll(json(text).get()); }, StatusMissingParameter,
                     "Could not get 'cameras': ");
    }
}

TEST_F(CameraRecordTest, RefusesNoCameraAndMoreThanTheDeviceHas) {
    expectFailure({}, StatusMissingParameter, "No cameras found");
    expectFailure({camera(1), camera(2)}, StatusInvalidParameter,
                  "The configuration contains more cameras than device supports");
    // The number is looked at before the elements.
    expectFailure({"null", "null"}, StatusInvalidParameter,
                  "The configuration contains more cameras than device supports");
}

TEST_F(CameraRecordTest, RefusesElementsOfAnotherShape) {
    for (const char* element :
         {"null", "7", "{}", R"({"id":1,"rotation":0})", R"({"id":1,"active":true})",
          R"({"active":true,"rotation":0})", R"({"id":1,"active":1,"rotation":0})",
          R"({"id":1.0,"active":true,"rotation":0})"}) {
        expectFailure({element}, StatusMissingParameter, "Could not unpack data for the camera");
    }
}

TEST_F(CameraRecordTest, AcceptsFourRotations) {
    for (const int rotation : {0, 90, 180, 270}) {
        EXPECT_EQ(read({camera(1, true, rotation)}).at(0).rotation, rotation);
    }
    for (const int rotation : {-90, 1, 360}) {
        expectFailure({camera(1, true, rotation)}, StatusInvalidParameter,
                      "Invalid rotation parameter in configuration file");
    }
}

TEST_F(CameraRecordTest, RefusesNumbersThatTheDeviceDoesNotHave) {
    device.hasSources(2).hasRadarAs(2);
    for (const int id : {-1, 3}) {
        expectFailure({camera(id)}, StatusInvalidParameter,
                      "Invalid camera id parameter in configuration file");
    }
    for (const int id : {0, 2}) {
        expectFailure({camera(id)}, StatusInvalidParameter,
                      "Invalid camera id parameter in configuration file, not a supported source");
    }
    // The overlay's resolution comes first, then the rotation.
    expectFailure({camera(3, true, 7)}, StatusInvalidParameter,
                  "Invalid rotation parameter in configuration file");
    expectFailure({with(camera(3, true, 7), {{"overlayResolution", "\"abc\""}})},
                  StatusInvalidParameter,
                  "Chosen overlayResolution is invalid, should be on format width x height");
}

TEST_F(CameraRecordTest, RefusesANumberTwiceEvenWhenTheFirstIsInactive) {
    device.hasSources(2);
    expectFailure({camera(1, false), camera(1)}, StatusConflict, "Duplicate cameras found");
}

TEST_F(CameraRecordTest, TakesAListedOverlayResolution) {
    device.hasResolutions("1280x720,640x360,640x480", "16:9");
    const CameraRecord record = readOverlay("640x360");
    EXPECT_EQ(record.overlayWidth, 640);
    EXPECT_EQ(record.overlayHeight, 360);
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(CameraRecordTest, AcceptsAnUnlistedOverlayResolutionAsZeroByZero) {
    device.hasResolutions("1280x720", "16:9");
    for (const char* resolution : {"640x360", "0001280x720", "1280xx720", "x1x2x", "5 apples x7"}) {
        const CameraRecord record = readOverlay(resolution);
        EXPECT_EQ(record.overlayWidth, 0) << resolution;
        EXPECT_EQ(record.overlayHeight, 0) << resolution;
    }
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(CameraRecordTest, RefusesAnOverlayResolutionThatIsNotTwoParts) {
    device.hasResolutions("1280x720", "16:9");
    for (const char* resolution : {"", "abc", "1280", "x", "640x", "1x2x3"}) {
        expectStatus([&] { readOverlay(resolution); }, StatusInvalidParameter,
                     "Chosen overlayResolution is invalid, should be on format width x height");
    }
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(CameraRecordTest, RefusesAnOverlayResolutionWithAZero) {
    device.hasResolutions("1280x720", "16:9");
    for (const char* resolution : {"0x720", "1280x0", "axb", "99999999999x5"}) {
        log.clear();
        expectStatus([&] { readOverlay(resolution); }, StatusInvalidParameter,
                     "Chosen overlayResolution is invalid, should be on format width x height");
        EXPECT_EQ(log.lines(), (std::vector<SyslogCapture::Line>{
                                   {LOG_WARNING, std::string("Failed to parse resolution, "
                                                             "skipping: ") +
                                                     resolution + "\n"}}));
    }
}

TEST_F(CameraRecordTest, RefusesAnOverlayResolutionThatIsNotAText) {
    for (const char* value : {"7", "null", "[1280,720]"}) {
        expectFailure({with(camera(1), {{"overlayResolution", value}})}, StatusMissingParameter,
                      "Failed to parse overlayResolution");
    }
}

}  // namespace

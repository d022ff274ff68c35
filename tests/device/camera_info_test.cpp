#include "device/camera_info.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <map>
#include <optional>
#include <thread>

#include "cgi/api_version.h"
#include "overlay/overlay_services.h"
#include "support/private_bus.h"
#include "support/syslog_capture.h"
#include "support/wrapped_device.h"

namespace {

using Line = SyslogCapture::Line;
using Lines = std::vector<Line>;
using Resolution = CameraInfo::Resolution;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

class CameraInfoTest : public testing::Test {
protected:
    void TearDown() override { EXPECT_THAT(ZQParameterDouble::misuses(), IsEmpty()); }

    /// The device has this parameter, and has not been asked yet.
    void given(const std::string& name, const std::string& value) {
        ZQParameterDouble::set(name, value);
        CameraInfoTestAccess::forget();
    }
    void givenCameras(const std::string& number) {
        given("root.Properties.EmbeddedDevelopment.RuleEngine.MultiConfiguration", "yes");
        given("root.ImageSource.NbrOfSources", number);
    }

    WrappedDevice device;
    SyslogCapture log;
};

// Cameras

TEST_F(CameraInfoTest, CountsOneCameraUnlessTheDeviceAnalysesSeveral) {
    EXPECT_EQ(CameraInfo::getNbrOfCameras(), 1);
    given("root.ImageSource.NbrOfSources", "4");
    EXPECT_EQ(CameraInfo::getNbrOfCameras(), 1);
    given("root.Properties.EmbeddedDevelopment.RuleEngine.MultiConfiguration", "no");
    EXPECT_EQ(CameraInfo::getNbrOfCameras(), 1);
    EXPECT_FALSE(CameraInfo::isMultiCamera());
    given("root.Properties.EmbeddedDevelopment.RuleEngine.MultiConfiguration", "yes");
    EXPECT_EQ(CameraInfo::getNbrOfCameras(), 4);
    EXPECT_TRUE(CameraInfo::isMultiCamera());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(CameraInfoTest, IsNoMultiCameraWithOneOfSeveralPossible) {
    givenCameras("1");
    EXPECT_FALSE(CameraInfo::isMultiCamera());
}

TEST_F(CameraInfoTest, WarnsOfANumberOfCamerasBelowOne) {
    givenCameras("0");
    EXPECT_EQ(CameraInfo::getNbrOfCameras(), 0);
    givenCameras("-3");
    EXPECT_EQ(CameraInfo::getNbrOfCameras(), -3);
    givenCameras("many");
    EXPECT_EQ(CameraInfo::getNbrOfCameras(), 0);
    givenCameras("");
    EXPECT_EQ(CameraInfo::getNbrOfCameras(), 0);
    EXPECT_EQ(log.lines(), (Lines{{LOG_WARNING, "nbr of cameras: 0\n"},
                                  {LOG_WARNING, "nbr of cameras: -3\n"},
                                  {LOG_WARNING, "nbr of cameras: 0\n"},
                                  {LOG_WARNING, "nbr of cameras: 0\n"}}));
}

TEST_F(CameraInfoTest, AsksForTheNumberOfCamerasOnce) {
    givenCameras("0");
    CameraInfo::getNbrOfCameras();
    ZQParameterDouble::set("root.ImageSource.NbrOfSources", "4");
    EXPECT_EQ(CameraInfo::getNbrOfCameras(), 0);
    EXPECT_EQ(log.lines().size(), 1U);
}

TEST_F(CameraInfoTest, NamesTheCamerasThereAre) {
    givenCameras("2");
    given("root.ImageSource.I0.Name", "Front");
    given("root.ImageSource.I1.Name", "Back");
    EXPECT_EQ(CameraInfo::getCameraName(1), "Front");
    EXPECT_EQ(CameraInfo::getCameraName(2), "Back");
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(CameraInfoTest, HasNoNameForACameraThatIsNotThere) {
    givenCameras("2");
    given("root.ImageSource.I2.Name", "Third");
    EXPECT_EQ(CameraInfo::getCameraName(0), "");
    EXPECT_EQ(CameraInfo::getCameraName(-1), "");
    EXPECT_EQ(CameraInfo::getCameraName(3), "");
    const auto warning = [](const std::string& number) {
        return Line{LOG_WARNING, "Invalid input. Camera number " + number + " is not valid.\n"};
    };
    EXPECT_EQ(log.lines(), (Lines{warning("0"), warning("-1"), warning("3")}));
}

TEST_F(CameraInfoTest, SupportsAllSourcesButRadarAndComposite) {
    given("root.ImageSource.I1.Type", "Radar");
    given("root.ImageSource.I2.Type", "Composite");
    given("root.ImageSource.I3.Type", "Sensor");
    given("root.ImageSource.I4.Type", "radar");
    EXPECT_TRUE(CameraInfo::isSupportedSource(1));
    EXPECT_FALSE(CameraInfo::isSupportedSource(2));
    EXPECT_FALSE(CameraInfo::isSupportedSource(3));
    EXPECT_TRUE(CameraInfo::isSupportedSource(4));
    EXPECT_TRUE(CameraInfo::isSupportedSource(5));
}

TEST_F(CameraInfoTest, SupportsNoSourceBelowTheFirst) {
    EXPECT_FALSE(CameraInfo::isSupportedSource(0));
    EXPECT_FALSE(CameraInfo::isSupportedSource(-1));
}

// Product

TEST_F(CameraInfoTest, ReadsNumberAndTypeOfTheProductOnce) {
    given("root.Brand.ProdNbr", "Q1615");
    given("root.Brand.ProdType", "Network Camera");
    EXPECT_EQ(CameraInfo::getProdNbr(), "Q1615");
    EXPECT_EQ(CameraInfo::getProdType(), "Network Camera");
    ZQParameterDouble::set("root.Brand.ProdNbr", "M1");
    ZQParameterDouble::set("root.Brand.ProdType", "other");
    EXPECT_EQ(CameraInfo::getProdNbr(), "Q1615");
    EXPECT_EQ(CameraInfo::getProdType(), "Network Camera");
}

TEST_F(CameraInfoTest, KnowsTheTierLineByTheFirstLetter) {
    given("root.Brand.ProdNbr", "Q");
    EXPECT_TRUE(CameraInfo::isTierLineCamera());
    given("root.Brand.ProdNbr", "q1615");
    EXPECT_FALSE(CameraInfo::isTierLineCamera());
    given("root.Brand.ProdNbr", "PQ1");
    EXPECT_FALSE(CameraInfo::isTierLineCamera());
    given("root.Brand.ProdNbr", "");
    EXPECT_FALSE(CameraInfo::isTierLineCamera());
}

TEST_F(CameraInfoTest, KnowsThermalCamerasByTheirWholeType) {
    given("root.Brand.ProdType", "Thermal Network Camera");
    EXPECT_TRUE(CameraInfo::isThermalCamera());
    given("root.Brand.ProdType", "Thermal Network Camera 2");
    EXPECT_FALSE(CameraInfo::isThermalCamera());
    given("root.Brand.ProdType", "thermal network camera");
    EXPECT_FALSE(CameraInfo::isThermalCamera());
}

TEST_F(CameraInfoTest, IsMechanicalOnlyIfNothingElseMovesThePicture) {
    EXPECT_FALSE(CameraInfo::isMechanicalPTZ());
    given("root.Properties.PTZ.PTZ", "yes");
    EXPECT_TRUE(CameraInfo::isMechanicalPTZ());
    for (const char* other :
         {"root.Properties.PTZ.DigitalPTZ", "root.Properties.PTZ.DriverManagement",
          "root.Properties.RemoteCameraControl.TELIX"}) {
        given(other, "yes");
        EXPECT_FALSE(CameraInfo::isMechanicalPTZ()) << other;
        given(other, "no");
        EXPECT_TRUE(CameraInfo::isMechanicalPTZ()) << other;
        given(other, "Yes");
        EXPECT_TRUE(CameraInfo::isMechanicalPTZ()) << other;
    }
    given("root.Properties.PTZ.PTZ", "no");
    EXPECT_FALSE(CameraInfo::isMechanicalPTZ());
}

TEST_F(CameraInfoTest, AsksForTheHeadOnce) {
    given("root.Properties.PTZ.PTZ", "yes");
    EXPECT_TRUE(CameraInfo::isMechanicalPTZ());
    const int before = ZQParameterDouble::calls("zq_parameter_get");
    EXPECT_TRUE(CameraInfo::isMechanicalPTZ());
    EXPECT_EQ(ZQParameterDouble::calls("zq_parameter_get"), before);
}

// Aspect ratio

TEST_F(CameraInfoTest, TakesTheSensorsRatioFirst) {
    given("ImageSource.I0.Sensor.AspectRatio", "16:9");
    given("Image.I0.Appearance.Resolution", "640x480");
    given("ImageSource.I0.Video.DetectedType", "pal");
    EXPECT_EQ(static_cast<double>(CameraInfo::getCameraAspectRatio(1)), 1.7777777910232544);
    EXPECT_THAT(log.lines(), IsEmpty());
    EXPECT_THAT(ZQParameterDouble::lookUps(),
                ElementsAre("ImageSource.I0.Sensor.AspectRatio", "Image.I0.Appearance.Resolution",
                            "ImageSource.I0.Video.DetectedType"));
}

TEST_F(CameraInfoTest, HasARatioForEachCamera) {
    given("ImageSource.I0.Sensor.AspectRatio", "16:9");
    given("ImageSource.I1.Sensor.AspectRatio", "4:3");
    EXPECT_FLOAT_EQ(CameraInfo::getCameraAspectRatio(2), 4.0F / 3.0F);
}

TEST_F(CameraInfoTest, ReturnsASensorRatioOfUnknownFormatAllTheSame) {
    given("Image.I0.Appearance.Resolution", "640x480");
    for (const char* text : {"16/9", "0:9", "1:2000", "a:b", "16:0", ":"}) {
        given("ImageSource.I0.Sensor.AspectRatio", text);
        EXPECT_LT(CameraInfo::getCameraAspectRatio(1), 0.001F) << text;
        EXPECT_EQ(log.lines(), (Lines{{LOG_WARNING, std::string("Sensor aspect ratio '") + text +
                                                        "' has unknown format.\n"}}));
        log.clear();
    }
}

TEST_F(CameraInfoTest, ReturnsANegativeSensorRatio) {
    given("ImageSource.I0.Sensor.AspectRatio", "-4:3");
    EXPECT_FLOAT_EQ(CameraInfo::getCameraAspectRatio(1), -4.0F / 3.0F);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(CameraInfoTest, ReadsNoMoreThanTwentyCharactersOfARatio) {
    given("ImageSource.I0.Sensor.AspectRatio", "00000000000000016:09");
    EXPECT_EQ(CameraInfo::getCameraAspectRatio(1), 0.0F);
    EXPECT_TRUE(
        log.has(LOG_WARNING, "Sensor aspect ratio '00000000000000016:0' has unknown format.\n"));
}

TEST_F(CameraInfoTest, TakesTheResolutionsRatioWithoutASensors) {
    given("Image.I0.Appearance.Resolution", "1280x720");
    given("ImageSource.I0.Video.DetectedType", "pal");
    EXPECT_FLOAT_EQ(CameraInfo::getCameraAspectRatio(1), 1280.0F / 720.0F);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(CameraInfoTest, TakesFourToThreeForAnalogueVideo) {
    given("Image.I0.Appearance.Resolution", "unknown");
    for (const char* type : {"pal", "ntsc", "PAL", "NTSC"}) {
        given("ImageSource.I0.Video.DetectedType", type);
        EXPECT_EQ(static_cast<double>(CameraInfo::getCameraAspectRatio(1)), 1.3333333730697632);
    }
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(CameraInfoTest, TakesOneToOneWithAWarningForAnyOtherVideo) {
    for (const char* type : {"Pal", "secam", ""}) {
        given("ImageSource.I0.Video.DetectedType", type);
        EXPECT_EQ(CameraInfo::getCameraAspectRatio(1), 1.0F);
        EXPECT_EQ(log.lines(),
                  (Lines{{LOG_WARNING, std::string("Detected video type '") + type +
                                           "' is invalid, assuming aspect ratio 1.0.\n"}}));
        log.clear();
    }
}

TEST_F(CameraInfoTest, TakesOneToOneWithOneWarningWithoutAnyParameters) {
    EXPECT_EQ(CameraInfo::getCameraAspectRatio(1), 1.0F);
    EXPECT_EQ(log.lines(), (Lines{{LOG_WARNING,
                                   "Detected video type '' is invalid, assuming aspect ratio "
                                   "1.0.\n"}}));
}

// Resolutions

TEST_F(CameraInfoTest, KeepsTheResolutionsOfItsAspectRatio) {
    given("ImageSource.I0.Sensor.AspectRatio", "4:3");
    given("root.Properties.Image.Resolution", "640x480,800x600,1280x720");
    given("root.Properties.EmbeddedDevelopment.Version", "2.14");
    EXPECT_EQ(CameraInfo::getCameraResolutionsForCurrentAspectRatio(),
              (std::vector<Resolution>{{640, 480}, {800, 600}}));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(CameraInfoTest, KeepsResolutionsWithinAHundredThousandthOfItsAspectRatio) {
    given("root.Properties.EmbeddedDevelopment.Version", "2.14");
    given("root.Properties.Image.Resolution", "1280x720");
    for (const auto& [ratio, kept] : std::map<std::string, std::size_t>{{"177778:100000", 1},
                                                                        {"177777:100000", 1},
                                                                        {"177779:100000", 0},
                                                                        {"177776:100000", 0}}) {
        given("ImageSource.I0.Sensor.AspectRatio", ratio);
        EXPECT_EQ(CameraInfo::getCameraResolutionsForCurrentAspectRatio().size(), kept) << ratio;
    }
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(CameraInfoTest, KeepsResolutionsUpToThePlatformsWidth) {
    given("ImageSource.I0.Sensor.AspectRatio", "16:9");
    given("root.Properties.Image.Resolution", "3840x2160,1920x1080,1280x720,640x360");
    const std::vector<Resolution> narrow{{1280, 720}, {640, 360}};
    const std::vector<Resolution> wide{{1920, 1080}, {1280, 720}, {640, 360}};
    for (const auto& [version, expected] :
         std::map<std::string, std::vector<Resolution>>{{"2.15", narrow},
                                                        {"1.99", narrow},
                                                        {"2.16", wide},
                                                        {"2.17", wide},
                                                        {"3.0", wide},
                                                        {"nonsense", narrow}}) {
        given("root.Properties.EmbeddedDevelopment.Version", version);
        EXPECT_EQ(CameraInfo::getCameraResolutionsForCurrentAspectRatio(), expected) << version;
    }
}

TEST_F(CameraInfoTest, SkipsResolutionsThatCannotBeRead) {
    given("ImageSource.I0.Sensor.AspectRatio", "4:3");
    given("root.Properties.EmbeddedDevelopment.Version", "2.14");
    given("root.Properties.Image.Resolution", "640x480,0x600,800x0,big,axb,4x3x2,,800x600");
    EXPECT_EQ(CameraInfo::getCameraResolutionsForCurrentAspectRatio(),
              (std::vector<Resolution>{{640, 480}, {800, 600}}));
    const auto warning = [](const std::string& item) {
        return Line{LOG_WARNING, "Failed to parse resolution, skipping: " + item + "\n"};
    };
    EXPECT_EQ(log.lines(), (Lines{warning("0x600"), warning("800x0"), warning("big"),
                                  warning("axb"), warning("4x3x2")}));
}

TEST_F(CameraInfoTest, ComputesTheResolutionsOnce) {
    given("ImageSource.I0.Sensor.AspectRatio", "4:3");
    given("root.Properties.EmbeddedDevelopment.Version", "2.14");
    const auto& first = CameraInfo::getCameraResolutionsForCurrentAspectRatio();
    EXPECT_THAT(first, IsEmpty());
    ZQParameterDouble::set("root.Properties.Image.Resolution", "640x480");
    EXPECT_THAT(CameraInfo::getCameraResolutionsForCurrentAspectRatio(), IsEmpty());
    EXPECT_EQ(&CameraInfo::getCameraResolutionsForCurrentAspectRatio(), &first);
}

TEST_F(CameraInfoTest, ReadsALongListOfResolutions) {
    std::string list;
    for (int i = 0; i < 60; ++i) {
        list += "640x480,";
    }
    given("ImageSource.I0.Sensor.AspectRatio", "4:3");
    given("root.Properties.EmbeddedDevelopment.Version", "2.14");
    given("root.Properties.Image.Resolution", list);
    EXPECT_EQ(CameraInfo::getCameraResolutionsForCurrentAspectRatio().size(), 60U);
}

TEST(CameraInfoResolution, IsWrittenAsWidthXHeight) {
    EXPECT_EQ((Resolution{1280, 720}.toString()), "1280x720");
}

// Platform

TEST_F(CameraInfoTest, ReadsThePlatformsVersionOnce) {
    given("root.Properties.EmbeddedDevelopment.Version", "2.16");
    EXPECT_EQ(CameraInfo::getSDK_Version(), API_Version("2.16"));
    ZQParameterDouble::set("root.Properties.EmbeddedDevelopment.Version", "3.0");
    EXPECT_EQ(CameraInfo::getSDK_Version(), API_Version("2.16"));
}

TEST_F(CameraInfoTest, HasNoValidVersionWithoutTheParameter) {
    EXPECT_FALSE(CameraInfo::getSDK_Version().isValid());
    EXPECT_EQ(log.lines(), (Lines{{LOG_WARNING,
                                   "unsupported format on version , it should be "
                                   "major.minor\n"}}));
}

// Alarm overlay

class OverlaySupport : public CameraInfoTest {
protected:
    OverlaySupport() : names(std::in_place, bus, services) {
        given("root.Properties.EmbeddedDevelopment.Version", "2.15");
        given("ImageSource.I0.Sensor.AspectRatio", "4:3");
        given("root.Properties.Image.Resolution", "640x480");
        g_autofree char* name = nullptr;
        close(g_file_open_tmp("machine-XXXXXX", &name, nullptr));
        machineFile = name;
        givenMachine("Board\n");
        AlarmOverlay::forgetDBusNames();
    }
    ~OverlaySupport() override {
        CameraInfoTestAccess::setMachineFile("/sys/devices/soc0/machine");
        AlarmOverlay::forgetDBusNames();
        unlink(machineFile.c_str());
    }

    void givenMachine(const std::string& text) {
        std::ofstream(machineFile) << text;
        CameraInfoTestAccess::setMachineFile(machineFile.c_str());
        CameraInfoTestAccess::forget();
    }

    const std::vector<std::string> services{"com.orva.Graphics1", "com.orva.Overlay2"};
    PrivateBus bus;
    std::optional<BusNames> names;
    std::string machineFile;
};

TEST_F(OverlaySupport, IsThereWhenAllHolds) {
    EXPECT_TRUE(CameraInfo::isAlarmOverlaySupported());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(OverlaySupport, NeedsPlatform2_15) {
    given("root.Properties.EmbeddedDevelopment.Version", "2.14");
    EXPECT_FALSE(CameraInfo::isAlarmOverlaySupported());
    given("root.Properties.EmbeddedDevelopment.Version", "3.0");
    EXPECT_TRUE(CameraInfo::isAlarmOverlaySupported());
    given("root.Properties.EmbeddedDevelopment.Version", "");
    EXPECT_FALSE(CameraInfo::isAlarmOverlaySupported());
}

TEST_F(OverlaySupport, NeedsAResolution) {
    given("root.Properties.Image.Resolution", "1280x720");
    EXPECT_FALSE(CameraInfo::isAlarmOverlaySupported());
}

TEST_F(OverlaySupport, NeedsNoMoreThanOneCamera) {
    givenCameras("2");
    EXPECT_FALSE(CameraInfo::isAlarmOverlaySupported());
    for (const char* number : {"1", "0", "-3"}) {
        givenCameras(number);
        EXPECT_TRUE(CameraInfo::isAlarmOverlaySupported()) << number;
    }
}

TEST_F(OverlaySupport, IsNotOfferedOnTwoChipFamilies) {
    givenMachine("Some Ambarella S5 board\n");
    EXPECT_FALSE(CameraInfo::isAlarmOverlaySupported());
    givenMachine("Mediatek");
    EXPECT_FALSE(CameraInfo::isAlarmOverlaySupported());
    givenMachine("mediatek\nAmbarella\n");
    EXPECT_TRUE(CameraInfo::isAlarmOverlaySupported());
    givenMachine("");
    EXPECT_TRUE(CameraInfo::isAlarmOverlaySupported());
}

TEST_F(OverlaySupport, DoesNotNeedTheFileOfTheChipFamily) {
    CameraInfoTestAccess::setMachineFile("/nowhere/machine");
    EXPECT_TRUE(CameraInfo::isAlarmOverlaySupported());
}

TEST_F(OverlaySupport, NeedsTheServicesOnTheBus) {
    names.emplace(bus, std::vector<std::string>{"com.orva.Graphics1"});
    EXPECT_FALSE(CameraInfo::isAlarmOverlaySupported());
}

TEST_F(OverlaySupport, DoesNotAskTheBusWhenAnEarlierConditionFails) {
    names.reset();
    bus.stop();
    given("root.Properties.EmbeddedDevelopment.Version", "2.14");
    EXPECT_FALSE(CameraInfo::isAlarmOverlaySupported());
    given("root.Properties.EmbeddedDevelopment.Version", "2.15");
    givenMachine("Ambarella");
    EXPECT_FALSE(CameraInfo::isAlarmOverlaySupported());
    givenMachine("Board");
    givenCameras("2");
    EXPECT_FALSE(CameraInfo::isAlarmOverlaySupported());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(OverlaySupport, LooksAtItsConditionsInOrder) {
    const std::string resolutions = "root.Properties.Image.Resolution";
    const std::string severalCameras =
        "root.Properties.EmbeddedDevelopment.RuleEngine.MultiConfiguration";
    given("root.Properties.EmbeddedDevelopment.Version", "2.14");
    EXPECT_FALSE(CameraInfo::isAlarmOverlaySupported());
    EXPECT_THAT(ZQParameterDouble::lookUps(), Not(Contains(resolutions)));
    given("root.Properties.EmbeddedDevelopment.Version", "2.15");
    given(resolutions, "");
    EXPECT_FALSE(CameraInfo::isAlarmOverlaySupported());
    EXPECT_THAT(ZQParameterDouble::lookUps(),
                AllOf(Contains(resolutions), Not(Contains(severalCameras))));
}

TEST_F(OverlaySupport, IsAnsweredOnce) {
    EXPECT_TRUE(CameraInfo::isAlarmOverlaySupported());
    ZQParameterDouble::set("root.Properties.EmbeddedDevelopment.Version", "2.14");
    names.reset();
    std::ofstream(machineFile) << "Ambarella";
    EXPECT_TRUE(CameraInfo::isAlarmOverlaySupported());
}

// Faults and threads

TEST_F(CameraInfoTest, TakesAParameterThatFailsForAnEmptyOne) {
    givenCameras("2");
    ZQParameterDouble::failEveryCall("zq_parameter_get");
    EXPECT_EQ(CameraInfo::getNbrOfCameras(), 1);
    EXPECT_EQ(CameraInfo::getCameraName(1), "");
    EXPECT_FALSE(CameraInfo::isMechanicalPTZ());
    EXPECT_EQ(CameraInfo::getCameraAspectRatio(1), 1.0F);
}

TEST_F(CameraInfoTest, AnswersManyThreadsAlike) {
    givenCameras("2");
    given("root.ImageSource.I1.Name", "Back");
    given("root.Properties.PTZ.PTZ", "yes");
    given("ImageSource.I0.Sensor.AspectRatio", "4:3");
    given("root.Properties.Image.Resolution", "640x480");
    given("root.Properties.EmbeddedDevelopment.Version", "2.16");
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([] {
            for (int round = 0; round < 50; ++round) {
                EXPECT_EQ(CameraInfo::getNbrOfCameras(), 2);
                EXPECT_EQ(CameraInfo::getCameraName(2), "Back");
                EXPECT_TRUE(CameraInfo::isMechanicalPTZ());
                EXPECT_TRUE(CameraInfo::getSDK_Version().isValid());
                EXPECT_EQ(CameraInfo::getCameraResolutionsForCurrentAspectRatio().size(), 1U);
                EXPECT_FALSE(CameraInfo::isAlarmOverlaySupported());
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

}  // namespace

#include "overlay/alarm_overlay_utils.h"

#include <glib.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <memory>

#include "device/stream_settings.h"
#include "overlay/external_overlay.h"
#include "overlay/stream_properties.h"
#include "support/syslog_capture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// A dictionary with its values as texts of GVariant.
using Dictionary = std::map<std::string, std::string>;

const Dictionary kStream = {{"Stream", "'12'"},  {"Resolution", "'1920x1080'"},
                            {"Rotation", "270"}, {"Camera", "1"},
                            {"Type", "'h264'"},  {"MirrorEnabled", "true"}};
const Dictionary kOverlay = {{"Camera", "1"},      {"OverlayType", "'textoverlay'"},
                             {"OverlayId", "12"},  {"Position", "'top'"},
                             {"Size", "'640x40'"}, {"Scalable", "true"}};

const SyslogCapture::Line kNoStream{
    LOG_WARNING, "Could not create stream properties, missing mandatory value\n"};
const SyslogCapture::Line kNoOverlay{
    LOG_WARNING, "Could not create overlay area object, missing mandatory value\n"};

Dictionary with(Dictionary dictionary, const std::string& key, const std::string& value) {
    dictionary[key] = value;
    return dictionary;
}

GVariant* make(const Dictionary& dictionary) {
    std::string text;
    for (const auto& [key, value] : dictionary) {
        text += (text.empty() ? "'" : ", '") + key + "': <" + value + ">";
    }
    return g_variant_ref_sink(g_variant_new_parsed(("@a{sv} {" + text + "}").c_str()));
}

class AlarmOverlayUtils : public testing::Test {
protected:
    static std::unique_ptr<StreamProperties> createStream(const Dictionary& dictionary) {
        g_autoptr(GVariant) variant = make(dictionary);
        return std::unique_ptr<StreamProperties>(
            AlarmOverlay::Utils::createStreamProperties(variant));
    }
    static std::unique_ptr<ExternalOverlay> createOverlay(const Dictionary& dictionary) {
        g_autoptr(GVariant) variant = make(dictionary);
        return std::unique_ptr<ExternalOverlay>(
            AlarmOverlay::Utils::createExternalOverlay(variant));
    }

    SyslogCapture log;
};

TEST_F(AlarmOverlayUtils, MakesAStream) {
    const auto stream = createStream(kStream);
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(stream->id, 12);
    EXPECT_EQ(stream->camera, 1);
    EXPECT_EQ(stream->type, "h264");
    EXPECT_EQ(stream->width, 1920);
    EXPECT_EQ(stream->height, 1080);
    EXPECT_EQ(stream->rotation, 270);
    EXPECT_TRUE(stream->mirrored);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(AlarmOverlayUtils, MakesNoStreamWithoutAnyOfItsValues) {
    for (const auto& [key, value] : kStream) {
        Dictionary dictionary = kStream;
        dictionary.erase(key);
        log.clear();
        EXPECT_EQ(createStream(dictionary), nullptr) << key;
        EXPECT_THAT(log.lines(), ElementsAre(kNoStream)) << key;
    }
}

TEST_F(AlarmOverlayUtils, MakesNoStreamOfValuesOfAnotherType) {
    for (const auto& [key, value] : kStream) {
        log.clear();
        EXPECT_EQ(createStream(with(kStream, key, "1.5")), nullptr) << key;
        EXPECT_THAT(log.lines(), ElementsAre(kNoStream)) << key;
    }
}

TEST_F(AlarmOverlayUtils, MakesNoStreamOfAnIdThatIsNoNumber) {
    for (const char* id : {"''", "'twelve'", "'12b'"}) {
        EXPECT_EQ(createStream(with(kStream, "Stream", id)), nullptr) << id;
    }
}

TEST_F(AlarmOverlayUtils, MakesNoStreamOfAResolutionThatIsNone) {
    for (const std::string resolution : {"1920", "1920x", "x1080", "1920x1080x2", "axb", ""}) {
        log.clear();
        EXPECT_EQ(createStream(with(kStream, "Resolution", "'" + resolution + "'")), nullptr);
        EXPECT_THAT(log.lines(), ElementsAre(SyslogCapture::Line{LOG_INFO, "Failed to parse " +
                                                                               resolution + "\n"},
                                             kNoStream));
    }
}

TEST_F(AlarmOverlayUtils, IgnoresMoreThanItNeeds) {
    EXPECT_NE(createStream(with(kStream, "Codec", "'baseline'")), nullptr);
    EXPECT_NE(createOverlay(with(kOverlay, "Colour", "(1, 2)")), nullptr);
}

TEST_F(AlarmOverlayUtils, MakesAnOverlay) {
    const auto overlay = createOverlay(kOverlay);
    ASSERT_NE(overlay, nullptr);
    EXPECT_EQ(overlay->overlayId, 12);
    EXPECT_EQ(overlay->type, ExternalOverlayText);
    EXPECT_EQ(overlay->height, 40);
    EXPECT_TRUE(overlay->isScalable);
    EXPECT_FALSE(overlay->isCustomPosition);
    EXPECT_FALSE(overlay->subscription.isConnected());
    EXPECT_EQ(overlay->getTop({1920, 1080, 0, false}), 40);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(AlarmOverlayUtils, KnowsTextsAndImages) {
    EXPECT_EQ(createOverlay(with(kOverlay, "OverlayType", "'imageoverlay'"))->type,
              ExternalOverlayImage);
    for (const char* type : {"'palette'", "''", "'TextOverlay'"}) {
        EXPECT_EQ(createOverlay(with(kOverlay, "OverlayType", type))->type, ExternalOverlayOther);
    }
}

TEST_F(AlarmOverlayUtils, TakesACustomPosition) {
    const auto overlay = createOverlay(with(kOverlay, "Position", "'-1.0000,-0.9407'"));
    ASSERT_NE(overlay, nullptr);
    EXPECT_TRUE(overlay->isCustomPosition);
    EXPECT_EQ(overlay->customY, -0.9407F);
}

TEST_F(AlarmOverlayUtils, TakesIntegersOfEitherKind) {
    EXPECT_EQ(createOverlay(with(kOverlay, "OverlayId", "uint32 9"))->overlayId, 9);
    EXPECT_EQ(createStream(with(kStream, "Rotation", "uint32 90"))->rotation, 90);
    EXPECT_THAT(log.lines(), IsEmpty());
    EXPECT_EQ(createOverlay(with(kOverlay, "OverlayId", "uint32 2147483648")), nullptr);
}

TEST_F(AlarmOverlayUtils, MakesNoOverlayWithoutAnyOfItsValues) {
    for (const auto& [key, value] : kOverlay) {
        Dictionary dictionary = kOverlay;
        dictionary.erase(key);
        log.clear();
        EXPECT_EQ(createOverlay(dictionary), nullptr) << key;
        EXPECT_THAT(log.lines(), ElementsAre(kNoOverlay)) << key;
    }
}

TEST_F(AlarmOverlayUtils, MakesNoOverlayOfASizeThatIsNone) {
    EXPECT_EQ(createOverlay(with(kOverlay, "Size", "'large'")), nullptr);
    EXPECT_THAT(log.lines(),
                ElementsAre(SyslogCapture::Line{LOG_INFO, "Failed to parse large\n"}, kNoOverlay));
}

TEST_F(AlarmOverlayUtils, MakesNothingOfNumbersThatDoNotFit) {
    EXPECT_EQ(createOverlay(with(kOverlay, "Size", "'640x2147483648'")), nullptr);
    EXPECT_EQ(createStream(with(kStream, "Resolution", "'99999999999x1080'")), nullptr);
    EXPECT_EQ(createStream(with(kStream, "Stream", "'4294967308'")), nullptr);
    EXPECT_EQ(createStream(with(kStream, "Camera", "int64 1")), nullptr);
}

TEST_F(AlarmOverlayUtils, TakesNoRoomAtPositionsOutsideThePicture) {
    const std::string endless(400, '9');
    for (const std::string position :
         {"nan,nan", "inf,0", "0,-inf", "0,1e0", "1x2x3", "0.5,1.5", "0,0,0", "0", ",", "x"}) {
        log.clear();
        const auto overlay = createOverlay(with(kOverlay, "Position", "'" + position + "'"));
        ASSERT_NE(overlay, nullptr) << position;
        EXPECT_EQ(overlay->getTop({1920, 1080, 0, false}), 0) << position;
        EXPECT_EQ(overlay->getBottom({1920, 1080, 0, false}), 0) << position;
        EXPECT_EQ(log.lines().size(), 1U) << position;
    }
    EXPECT_FALSE(
        createOverlay(with(kOverlay, "Position", "'0," + endless + "'"))->isCustomPosition);
    EXPECT_FALSE(
        createOverlay(with(kOverlay, "Position", "'0,-" + endless + "'"))->isCustomPosition);
}

TEST_F(AlarmOverlayUtils, TakesNoRoomAtAnEmptyPosition) {
    const auto overlay = createOverlay(with(kOverlay, "Position", "''"));
    ASSERT_NE(overlay, nullptr);
    EXPECT_EQ(overlay->getTop({1920, 1080, 0, false}), 0);
    EXPECT_EQ(overlay->getBottom({1920, 1080, 0, false}), 0);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(AlarmOverlayUtils, MakesAnOverlayThatTakesNoRoomOfAPositionThatIsNone) {
    const auto overlay = createOverlay(with(kOverlay, "Position", "'middle'"));
    ASSERT_NE(overlay, nullptr);
    EXPECT_EQ(overlay->overlayId, 12);
    EXPECT_EQ(overlay->getTop({1920, 1080, 0, false}), 0);
    EXPECT_EQ(overlay->getBottom({1920, 1080, 0, false}), 0);
    EXPECT_THAT(log.lines(), ElementsAre(SyslogCapture::Line{
                                 LOG_WARNING,
                                 "Could not set properties for overlay 12: Could not parse the "
                                 "position of the overlay: middle\n"}));
}

TEST_F(AlarmOverlayUtils, MakesNothingOfWhatIsNoDictionary) {
    EXPECT_EQ(AlarmOverlay::Utils::createStreamProperties(nullptr), nullptr);
    EXPECT_EQ(AlarmOverlay::Utils::createExternalOverlay(nullptr), nullptr);
    g_autoptr(GVariant) text = g_variant_ref_sink(g_variant_new_string("Stream"));
    EXPECT_EQ(AlarmOverlay::Utils::createStreamProperties(text), nullptr);
    EXPECT_EQ(AlarmOverlay::Utils::createExternalOverlay(text), nullptr);
    EXPECT_THAT(log.lines(), ElementsAre(kNoStream, kNoOverlay, kNoStream, kNoOverlay));
}

}  // namespace

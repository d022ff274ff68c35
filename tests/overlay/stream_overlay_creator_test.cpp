#include "overlay/stream_overlay_creator.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <limits>
#include <memory>

#include "device/stream_settings.h"
#include "overlay/command_channel_handler.h"
#include "overlay/external_overlay_union.h"
#include "overlay/stream_overlay.h"
#include "support/failure_of.h"
#include "support/overlay_device.h"
#include "support/syslog_capture.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

constexpr const char* kToldTo = "GDBus.Error:com.orva.Error: told to\n";

class StreamOverlayCreatorTest : public testing::Test {
protected:
    std::unique_ptr<StreamOverlay> create(const StreamSettings& of,
                                          const ExternalOverlayUnion& margins = {}) {
        return std::unique_ptr<StreamOverlay>(creator.createStreamOverlay(of, 3, margins));
    }
    /// The first call of making an overlay.
    std::string creationOf(const StreamSettings& of, const ExternalOverlayUnion& margins = {}) {
        device.forgetCalls();
        create(of, margins);
        return device.calls().at(0);
    }
    std::string creationFailure() {
        return failureOf([this] { create(settings); });
    }

    PrivateBus bus;
    OverlayDevice device{bus};
    SyslogCapture log;
    StreamOverlayCreator creator;
    const StreamSettings settings{1920, 1080, 0, false};
};

TEST_F(StreamOverlayCreatorTest, MakesAnOverlayAndAsksForItsId) {
    const std::unique_ptr<StreamOverlay> overlay = create(settings, {.top = 32, .bottom = 0});
    EXPECT_THAT(
        device.calls(),
        ElementsAre("CreateOverlay /com/orva/Overlay2 ({'Size': '1920x1040', 'Position': "
                    "'-1.0000,-0.9407', 'Visible': 'false', 'OverlayFormat': 'palette', 'Stream': "
                    "'3', 'Camera': '1'},)",
                    "Get /com/orva/Overlay2/Overlay/1 ('com.orva.Overlay2.Overlay', 'OverlayId')"));
    EXPECT_THAT(device.interfaces(),
                ElementsAre("com.orva.Overlay2.Factory", "org.freedesktop.DBus.Properties"));
    EXPECT_TRUE(overlay->isCreated());
    EXPECT_EQ(overlay->getStreamId(), 3);
    EXPECT_EQ(overlay->getObjectPath(), "/com/orva/Overlay2/Overlay/1");
    EXPECT_EQ(overlay->getExternalUnion(), (ExternalOverlayUnion{.top = 32, .bottom = 0}));
}

TEST_F(StreamOverlayCreatorTest, TakesTheToldSizeAtEachRotation) {
    const auto sizeAt = [this](int rotation) {
        const std::string call = creationOf({1920, 1080, rotation, false});
        const std::size_t begin = call.find("'Size': '") + 9;
        return call.substr(begin, call.find('\'', begin) - begin);
    };
    EXPECT_EQ(sizeAt(0), "1920x1072");
    EXPECT_EQ(sizeAt(90), "1072x1072");
    EXPECT_EQ(sizeAt(180), "1920x1072");
    EXPECT_EQ(sizeAt(270), "1072x1072");
}

TEST_F(StreamOverlayCreatorTest, LeavesBothMarginsFree) {
    const std::string call = creationOf({640, 360, 0, false}, {.top = 16, .bottom = 48});
    EXPECT_THAT(call, HasSubstr("'Size': '640x288'"));
    EXPECT_THAT(call, HasSubstr("'Position': '-1.0000,-0.9111'"));
}

TEST_F(StreamOverlayCreatorTest, TakesThePositionInTheHeightAsGiven) {
    const std::string call = creationOf({640, 360, 90, false}, {.top = 16, .bottom = 0});
    EXPECT_THAT(call, HasSubstr("'Position': '-1.0000,-0.9111'"));
}

TEST_F(StreamOverlayCreatorTest, MakesAPlaceholderBeyondWhatABufferCanHave) {
    constexpr int kMost = std::numeric_limits<int>::max() / 16 * 16;
    EXPECT_FALSE(create({kMost, kMost, 0, false})->isCreated());
    EXPECT_FALSE(create({65536, 32768, 0, false})->isCreated());
    EXPECT_FALSE(create({640, 360, 0, false}, {.top = kMost, .bottom = kMost})->isCreated());
    EXPECT_FALSE(create({640, -kMost, 0, false}, {.top = kMost, .bottom = 0})->isCreated());
    EXPECT_THAT(device.calls(), IsEmpty());
    EXPECT_TRUE(create({65536, 32752, 0, false})->isCreated());
}

TEST_F(StreamOverlayCreatorTest, AsksForTheBytesOfTheImageAndOfTheService) {
    const std::unique_ptr<StreamOverlay> overlay = create({640, 360, 0, false});
    CommandChannelHandler channel;
    constexpr int kBytes = 640 * 352 / 2 + 96;
    const auto failureInMemoryOf = [&](int size) {
        const int other = OverlayDevice::makeMemory(size, F_SEAL_SHRINK);
        device.answerRequests([](const std::string&) { return R"({"data": {"buffer": 0}})"; });
        const std::string failure = failureOf([&] { overlay->setupBuffer(other, channel); });
        close(other);
        return failure;
    };
    EXPECT_EQ(failureInMemoryOf(kBytes), "");
    EXPECT_NE(failureInMemoryOf(kBytes - 1), "");
}

TEST_F(StreamOverlayCreatorTest, MakesAPlaceholderWithoutRoom) {
    for (const ExternalOverlayUnion& margins : {ExternalOverlayUnion{.top = 352, .bottom = 0},
                                                ExternalOverlayUnion{.top = 352, .bottom = 352}}) {
        EXPECT_FALSE(create({640, 360, 0, false}, margins)->isCreated());
    }
    EXPECT_FALSE(create({0, 0, 0, false})->isCreated());
    EXPECT_FALSE(create({-1, -1, 0, false})->isCreated());
    EXPECT_THAT(device.calls(), IsEmpty());
    EXPECT_TRUE(create({640, 360, 0, false}, {.top = 336, .bottom = 0})->isCreated());
}

TEST_F(StreamOverlayCreatorTest, TakesAnOverlayAway) {
    const std::unique_ptr<StreamOverlay> overlay = create(settings);
    device.forgetCalls();
    creator.unregister(*overlay);
    EXPECT_THAT(device.calls(), ElementsAre("RemoveOverlay /com/orva/Overlay2 ("
                                            "'/com/orva/Overlay2/Overlay/1',)"));
    EXPECT_THAT(device.interfaces(), ElementsAre("com.orva.Overlay2.Factory"));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(StreamOverlayCreatorTest, TakesNoPlaceholderAway) {
    creator.unregister(StreamOverlay(3));
    EXPECT_THAT(device.calls(), IsEmpty());
}

TEST_F(StreamOverlayCreatorTest, LogsAnOverlayThatCannotBeTakenAway) {
    const std::unique_ptr<StreamOverlay> overlay = create(settings);
    device.failAt(1);
    creator.unregister(*overlay);
    EXPECT_THAT(log.lines(),
                ElementsAre(SyslogCapture::Line{
                    LOG_WARNING, std::string("Failed to unregister a streamOverlay: Failed to "
                                             "remove overlay: ") +
                                     kToldTo + "\n"}));
}

TEST_F(StreamOverlayCreatorTest, FailsWithoutABus) {
    bus.stop();
    EXPECT_THAT(failureOf([] { StreamOverlayCreator(); }),
                StartsWith("Failed to create overlay factory proxy: "));
}

TEST_F(StreamOverlayCreatorTest, FailsWhenTheServiceMakesNone) {
    device.failAt(1);
    EXPECT_EQ(creationFailure(), std::string("Failed to create overlay: ") + kToldTo);
    device.answer("CreateOverlay", [] { return g_variant_new("(s)", "no path"); });
    EXPECT_EQ(creationFailure(), "Failed to create overlay: Pointer was unexpectedly NULL");
}

TEST_F(StreamOverlayCreatorTest, FailsWithoutAnIdAndLeavesNothingBehind) {
    device.failAt(2);
    EXPECT_EQ(creationFailure(),
              std::string("Failed to call Get for property OverlayId: ") + kToldTo);
    EXPECT_THAT(device.calls().back(), StartsWith("RemoveOverlay "));
    EXPECT_THAT(device.calls().back(), HasSubstr("/com/orva/Overlay2/Overlay/1"));
}

TEST_F(StreamOverlayCreatorTest, TakesAnIdOfEitherInteger) {
    device.answer("Get", [] { return g_variant_new("(v)", g_variant_new_uint32(9)); });
    EXPECT_TRUE(create(settings)->isCreated());
    const std::string failure =
        "Failed to call Get for property OverlayId: Pointer was unexpectedly NULL";
    device.answer("Get", [] { return g_variant_new("(v)", g_variant_new_string("9")); });
    EXPECT_EQ(creationFailure(), failure);
    device.answer("Get", [] { return g_variant_new("(i)", 9); });
    EXPECT_EQ(creationFailure(), failure);
}

}  // namespace

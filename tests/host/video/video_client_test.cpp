// The application's own client of the services, against them.

#include <syslog.h>

#include <memory>
#include <set>

#include "device/stream_settings.h"
#include "overlay/alarm_overlay_message.h"
#include "overlay/camera_device.h"
#include "overlay/command_channel_handler.h"
#include "overlay/external_overlay_container.h"
#include "overlay/list_overlays.h"
#include "overlay/list_streams.h"
#include "overlay/overlay_services.h"
#include "overlay/palette_utils.h"
#include "overlay/stream_overlay.h"
#include "overlay/stream_overlay_creator.h"
#include "overlay/stream_properties.h"
#include "served_video.h"
#include "support/failure_of.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

const StreamSettings kSettings(1280, 720, 0, false);
const ExternalOverlayUnion kMargins{.top = 32, .bottom = 16};
constexpr int kHeight = 720 - 32 - 16;

/// An alarm overlay's half of the services.
class Application {
public:
    Application() : device(CameraDevice::open("/nonexistent/cam0")) {}

    std::unique_ptr<StreamOverlay> create(int stream = 1,
                                          const StreamSettings& settings = kSettings,
                                          const ExternalOverlayUnion& margins = kMargins) {
        return std::unique_ptr<StreamOverlay>(
            creator.createStreamOverlay(settings, stream, margins));
    }
    void show(StreamOverlay& overlay, const std::vector<unsigned char>& image,
              bool isChanged = true) {
        overlay.setupBuffer(device.get(), channel);
        overlay.insertData(image.data(), isChanged);
        overlay.submitBuffer(channel);
    }

    const FileDescriptor device;
    CommandChannelHandler channel{1};
    StreamOverlayCreator creator;
};

class VideoClient : public ServedVideo {
protected:
    std::vector<PaletteBand> bands(int stream = 1) const {
        return store.getSnapshot(*table.find(stream)).bands;
    }
    static std::vector<unsigned char> image(unsigned char value) {
        return std::vector<unsigned char>(1280 * kHeight / 2, value);
    }
    /// What the application hears when it makes its half.
    static std::string failureOfStart() {
        return failureOf([] { Application(); });
    }
    std::string failureOfCreation() {
        return failureOf([this] { application->create(); });
    }
    /// What the application hears when it shows an image.
    std::string failureOfFrame() {
        const std::unique_ptr<StreamOverlay> overlay = application->create();
        return failureOf([&] { application->show(*overlay, image(0x44)); });
    }

    std::optional<Application> application{std::in_place};
};

TEST_F(VideoClient, FindsBothServices) {
    AlarmOverlay::forgetDBusNames();
    EXPECT_TRUE(AlarmOverlay::doDBusNamesExist());
    AlarmOverlay::forgetDBusNames();
}

TEST_F(VideoClient, SetsItsColours) {
    EXPECT_TRUE(PaletteUtils::setCustomPaletteValues());
    Palette expected;
    expected[1] = expected[4] = {255, 0, 0, 155};
    EXPECT_EQ(store.getSnapshot(*table.find(1)).palette, expected);
}

TEST_F(VideoClient, ShowsItsImageBetweenTheMargins) {
    const std::unique_ptr<StreamOverlay> overlay = application->create();
    std::vector<unsigned char> drawn = image(0x55);
    drawn.front() = 0x12;
    drawn[640] = 0x34;
    drawn.back() = 0x44;
    application->show(*overlay, drawn);
    ASSERT_EQ(bands().size(), 1U);
    const PaletteBand band = bands()[0];
    EXPECT_EQ(band.left, 0);
    EXPECT_EQ(band.top, 32);
    EXPECT_EQ(band.image->width, 1280);
    EXPECT_EQ(band.image->height, kHeight);
    EXPECT_EQ(band.image->pixels, drawn);
}

TEST_F(VideoClient, ShowsItsImageOnAStreamThatIsTurned) {
    const Stream turned = *table.findNative(1, 90);
    const std::unique_ptr<StreamOverlay> overlay =
        application->create(turned.id, {1280, 720, 90, false});
    const std::vector<unsigned char> drawn(720 * kHeight / 2, 0x44);
    application->show(*overlay, drawn);
    ASSERT_EQ(bands(turned.id).size(), 1U);
    EXPECT_EQ(bands(turned.id)[0].top, 32);
    EXPECT_EQ(bands(turned.id)[0].image->width, 720);
    EXPECT_EQ(bands(turned.id)[0].image->pixels, drawn);
    EXPECT_TRUE(bands(1).empty());
}

TEST_F(VideoClient, ShowsEachFrameAndStaysBlankWhenItStopsToCopy) {
    const std::unique_ptr<StreamOverlay> overlay = application->create();
    for (const unsigned char value : {0x44, 0x45, 0x46, 0x55}) {
        application->show(*overlay, image(value));
        EXPECT_EQ(bands()[0].image->pixels, image(value));
    }
    // The application copies the blank image once more, and nothing from then on.
    for (int frame = 0; frame < 4; ++frame) {
        application->show(*overlay, frame == 0 ? image(0x55) : image(0x77), false);
        EXPECT_EQ(bands()[0].image->pixels, image(0x55)) << frame;
    }
}

TEST_F(VideoClient, CopiesAnImageToTheOverlayOfAnotherStream) {
    const std::unique_ptr<StreamOverlay> first = application->create(1);
    const std::unique_ptr<StreamOverlay> second = application->create(3, {1280, 720, 180, false});
    application->show(*first, image(0x44));
    second->setupBuffer(application->device.get(), application->channel);
    second->copyDataFromStreamOverlay(*first, true);
    second->submitBuffer(application->channel);
    EXPECT_EQ(bands(3)[0].image->pixels, image(0x44));
}

TEST_F(VideoClient, TakesItsOverlayAway) {
    const std::unique_ptr<StreamOverlay> overlay = application->create();
    application->show(*overlay, image(0x44));
    application->creator.unregister(*overlay);
    EXPECT_TRUE(bands().empty());
    EXPECT_THAT(failureOf([&] { application->show(*overlay, image(0x44)); }),
                StartsWith("Failed to get buffer handle"));
}

TEST_F(VideoClient, ListsStreamsAndOverlays) {
    constexpr auto kNoMessages = +[](const AlarmOverlayMessage&) {};
    ASSERT_TRUE(ListStreams::initialize(kNoMessages));
    ASSERT_TRUE(ListOverlays::initialize(kNoMessages));
    application->create();
    addText("Gate 3", "top");
    const std::vector<StreamProperties> listed = ListStreams::getCurrentStreams();
    ASSERT_EQ(listed.size(), table.getStreams().size());
    EXPECT_EQ(listed[1].id, 2);
    EXPECT_EQ(listed[1].type, "h264");
    EXPECT_EQ(listed[1].width, 1280);
    EXPECT_EQ(listed[1].rotation, 90);
    const std::vector<ExternalOverlay> overlays = ListOverlays::getCurrentOverlays();
    ASSERT_EQ(overlays.size(), 2U);
    EXPECT_EQ(overlays[0].type, ExternalOverlayOther);
    EXPECT_EQ(overlays[0].getTop(kSettings), 0);
    EXPECT_EQ(overlays[1].type, ExternalOverlayText);
    EXPECT_EQ(overlays[1].getTop(kSettings), 40 * 720 / 1080);
    ListOverlays::deinitialize();
    ListStreams::deinitialize();
}

/// The margins as messages bring them.
struct Margins {
    static void take(const AlarmOverlayMessage& message) {
        const std::lock_guard lock(mutex);
        if (const auto* added = dynamic_cast<const OverlayAddedMessage*>(&message)) {
            overlays.insert(added->payload);
        } else if (const auto* removed = dynamic_cast<const OverlayRemovedMessage*>(&message)) {
            overlays.remove(removed->payload);
        } else if (const auto* changed =
                       dynamic_cast<const OverlayPropertiesChangedMessage*>(&message)) {
            overlays.updateOverlayProperties(changed->payload);
        }
    }
    static bool becomeInTime(const ExternalOverlayUnion& expected) {
        return waitFor([&] {
            const std::lock_guard lock(mutex);
            return overlays.getResultingExternalOverlayUnion() == expected;
        });
    }

    static inline std::mutex mutex;
    static inline ExternalOverlayContainer overlays{kSettings};  // guarded by mutex
};

TEST_F(VideoClient, FollowsTheMarginsThatPersonsLeave) {
    ASSERT_TRUE(ListOverlays::initialize(Margins::take));
    addText("Gate 3", "top");
    EXPECT_TRUE(Margins::becomeInTime({.top = 32, .bottom = 0}));
    callHost("Move", g_variant_new("(is)", 1, "bottomright"));
    EXPECT_TRUE(Margins::becomeInTime({.top = 0, .bottom = 32}));
    callHost("Move", g_variant_new("(is)", 1, "0.5,-0.8"));
    // Upper edge 72, height 26.
    EXPECT_TRUE(Margins::becomeInTime({.top = 112, .bottom = 0}));
    callHost("Remove", g_variant_new("(i)", 1));
    EXPECT_TRUE(Margins::becomeInTime({.top = 0, .bottom = 0}));
    ListOverlays::deinitialize();
}

TEST_F(VideoClient, HearsWhenItsHalfCannotBeMade) {
    application.reset();
    setFault("GetCommandChannel", "error");
    EXPECT_THAT(failureOfStart(), HasSubstr("com.orva.Host.Error.Failed: told to"));
    for (const char* kind : {"wrong", "empty"}) {
        setFault("GetCommandChannel", kind);
        EXPECT_THAT(failureOfStart(), StartsWith("Failed to get command channel file descriptor: "
                                                 "Failed to get command channel"));
    }
    setFault("GetCommandChannel", "nodescriptor");
    EXPECT_EQ(failureOfStart(),
              "Failed to get command channel file descriptor: Invalid file descriptor");
    setFault("GetCommandChannel", "notasocket");
    EXPECT_THAT(failureOfStart(), StartsWith("Failed to create command channel socket"));
    for (const char* kind : {"error", "wrong", "empty", "nodescriptor", "notamemory", "unsealed"}) {
        setFault("OpenCameraDevice", kind);
        EXPECT_EQ(failureOfStart(), "Failed to open CameraDevice file descriptor") << kind;
    }
    EXPECT_EQ(failureOfStart(), "");
}

TEST_F(VideoClient, HearsWhenNoOverlayIsMade) {
    for (const char* kind : {"error", "wrong", "empty"}) {
        setFault("CreateOverlay", kind);
        EXPECT_THAT(failureOfCreation(), StartsWith("Failed to create overlay"));
        setFault("Get", kind);
        EXPECT_THAT(failureOfCreation(), StartsWith("Failed to call Get for property OverlayId"));
    }
    // Nothing of it stays behind.
    EXPECT_EQ(listOverlays(), nothing());
    EXPECT_EQ(failureOfCreation(), "");
}

TEST_F(VideoClient, HearsWhenAFrameIsNotShown) {
    setFault("getBuffer", "error");
    EXPECT_EQ(failureOfFrame(), "Failed to get buffer handle");
    setFault("getBuffer", "short");
    EXPECT_EQ(failureOfFrame(), "Failed to get buffer handle");
    setFault("getBuffer", "wrong");
    EXPECT_EQ(failureOfFrame(), "Failed to mmap buffer handle: " + std::to_string(ENXIO));
    setFault("getBuffer", "empty");
    EXPECT_EQ(failureOfFrame(), "bytesRead <= 0");
    setFault("submitBuffer", "error");
    EXPECT_THAT(failureOfFrame(), StartsWith("Error when submitting buffer: {"));
    setFault("submitBuffer", "empty");
    EXPECT_EQ(failureOfFrame(), "bytesRead <= 0");
    setFault("SetProperties", "error");
    EXPECT_THAT(failureOfFrame(), StartsWith("Failed to set visibility for overlay"));
    EXPECT_EQ(failureOfFrame(), "");
}

TEST_F(VideoClient, WaitsForALateReplyAsLongAsItMeansTo) {
    setFault("getBuffer", "late", 1, 1, 100);
    EXPECT_EQ(failureOfFrame(), "");
    setFault("getBuffer", "late", 1, 1, 1500);
    EXPECT_THAT(failureOfFrame(), HasSubstr("no response after submitting"));
}

TEST_F(VideoClient, MapsNothingFromMemoryThatIsTooSmall) {
    application.reset();
    setFault("OpenCameraDevice", "toosmall");
    application.emplace();
    EXPECT_EQ(failureOfFrame(), "Failed to mmap buffer handle: " + std::to_string(ENXIO));
}

TEST_F(VideoClient, HearsWhenAColourIsNotSet) {
    setFault("SetColor", "error", 3);
    EXPECT_FALSE(PaletteUtils::setCustomPaletteValues());
    EXPECT_TRUE(PaletteUtils::setCustomPaletteValues());
}

TEST_F(VideoClient, StartsAnewWhenTheServicesAreBack) {
    std::unique_ptr<StreamOverlay> overlay = application->create();
    application->show(*overlay, image(0x44));
    stop();
    EXPECT_NE(failureOf([&] { application->show(*overlay, image(0x44)); }), "");
    overlay.reset();
    application.reset();
    start();
    ASSERT_TRUE(areNamesThereInTime());
    application.emplace();
    EXPECT_EQ(failureOfFrame(), "");
}

TEST_F(VideoClient, LeavesNoPictureWhenTheBusGoes) {
    const std::unique_ptr<StreamOverlay> overlay = application->create();
    application->show(*overlay, image(0x44));
    ASSERT_EQ(bands().size(), 1U);
    client.reset();
    bus.reset();
    EXPECT_TRUE(waitFor([this] { return bands().empty(); }));
    EXPECT_NE(failureOf([&] { application->show(*overlay, image(0x44)); }), "");
}

TEST_F(VideoClient, GoesOnWithConnectionsOfItsOwnWhenTheBusIsBack) {
    // One that is held keeps the process's shared connection the old one.
    const StreamOverlayCreator held;
    application.reset();
    client.reset();
    bus.reset();
    bus.emplace(&address);
    client.emplace(*bus);
    ASSERT_TRUE(areNamesThereInTime());
    application.emplace();
    const std::unique_ptr<StreamOverlay> overlay = application->create();
    application->show(*overlay, image(0x44));
    EXPECT_EQ(bands().size(), 1U);
    application->creator.unregister(*overlay);
    EXPECT_EQ(listOverlays(), nothing());
}

}  // namespace

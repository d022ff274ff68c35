#include "overlay/alarm_overlay_handler.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <filesystem>
#include <optional>
#include <thread>

#include "geometry/polygon.h"
#include "guard/alarm_data.h"
#include "guard/alarm_data_container.h"
#include "overlay/alarm_overlay_message.h"
#include "overlay/cairo.h"
#include "support/failure_of.h"
#include "support/fake_clock.h"
#include "support/overlay_device.h"
#include "support/syslog_capture.h"
#include "support/wait_for.h"
#include "tracking/tracking_object.h"

namespace {

using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

using Pixels = std::vector<unsigned char>;

constexpr int kWidth = 64;
constexpr int kHeight = 48;
constexpr int kProfile = 1;

/// Bytes and rows of an image, the last ones left out.
struct Span {
    int left;
    int top;
    int right;
    int bottom;

    bool has(int x, int y) const { return x >= left && x < right && y >= top && y < bottom; }
};

/// A blank image with a frame drawn into it.
Pixels imageWith(int rowSize, int rows, const Span& outer, const Span& inner) {
    Pixels image;
    for (int y = 0; y < rows; ++y) {
        for (int x = 0; x < rowSize; ++x) {
            image.push_back(outer.has(x, y) && !inner.has(x, y) ? 0x44 : 0x55);
        }
    }
    return image;
}

/// What is seen of an image below some rows.
Pixels below(const Pixels& image, int rows) {
    return {image.begin() + rows * kWidth / 2, image.end()};
}

class AlarmOverlayHandlerTest : public testing::Test {
protected:
    AlarmOverlayHandlerTest() {
        EXPECT_TRUE(Cairo::initialize());
        handler.emplace(settings, std::vector<int>{kProfile});
    }
    ~AlarmOverlayHandlerTest() override {
        handler.reset();
        Cairo::deinitialize();
    }

    /// A text at the top of a picture, of so many lines of a grid of 1080.
    void addScalableText(int id, int height) {
        ExternalOverlay overlay;
        overlay.overlayId = id;
        overlay.type = ExternalOverlayText;
        overlay.isScalable = true;
        overlay.top = height;
        overlay.height = height;
        handler->handleMessage(OverlayAddedMessage(overlay));
    }
    void addStream(int id) { add(StreamProperties{id, 1, "h264", kWidth, kHeight, 0, false}); }
    void add(const StreamProperties& stream) { handler->handleMessage(StreamAddedMessage(stream)); }
    /// A text at the top of a picture, of so many pixels.
    void addText(int id, int height) {
        ExternalOverlay overlay;
        overlay.overlayId = id;
        overlay.type = ExternalOverlayText;
        overlay.top = height;
        overlay.height = height;
        handler->handleMessage(OverlayAddedMessage(overlay));
    }

    /// One frame with the object in alarm for some profiles.
    void showObject(const std::vector<int>& profiles = {kProfile},
                    AlarmDataStatus_e status = AlarmDataStatusAlarm) {
        TrackingObject object(7, new Polygon(-1024, 1024, -1024, 1024));
        AlarmDataContainer alarms;
        for (const int profile : profiles) {
            auto* data = new AlarmData(profile);
            data->addObjectStatus(&object, status);
            alarms.insert(data);
        }
        show(alarms);
    }
    void showPolygon() {
        const Polygon area(-2048, 2048, -2048, 2048);
        auto* data = new AlarmData(kProfile);
        data->addPolygonToDisplay(&area);
        AlarmDataContainer alarms;
        alarms.insert(data);
        show(alarms);
    }
    void showNothing() { show(AlarmDataContainer()); }
    void show(const AlarmDataContainer& alarms) {
        handler->handleAlarmResult(alarms, g_get_monotonic_time());
    }

    Pixels shown(int overlayId = 1, int height = kHeight, int width = kWidth) {
        const unsigned char* buffer = device.bufferOf(overlayId);
        return {buffer + 64, buffer + 64 + width * height / 2};
    }
    int count(const std::string& member) const {
        const std::vector<std::string> calls = device.calls();
        return static_cast<int>(std::count_if(
            calls.begin(), calls.end(),
            [&member](const std::string& call) { return call.starts_with(member + " "); }));
    }

    static Pixels objectImage() {
        return imageWith(kWidth / 2, kHeight, {11, 17, 21, 31}, {13, 19, 19, 29});
    }
    static Pixels polygonImage() {
        return imageWith(kWidth / 2, kHeight, {7, 11, 25, 37}, {9, 13, 23, 35});
    }

    /// Of all overlays that were made.
    std::vector<std::string> sizes() const { return properties("Size"); }
    std::vector<std::string> streams() const { return properties("Stream"); }
    std::vector<std::string> properties(const std::string& name) const {
        const std::string key = "'" + name + "': '";
        std::vector<std::string> found;
        for (const std::string& call : device.calls()) {
            const std::size_t place = call.find(key);
            if (place != std::string::npos) {
                const std::size_t begin = place + key.size();
                found.push_back(call.substr(begin, call.find('\'', begin) - begin));
            }
        }
        return found;
    }

    PrivateBus bus;
    OverlayDevice device{bus};
    SyslogCapture log;
    const StreamSettings settings{kWidth, kHeight, 0, false};
    std::optional<AlarmOverlayHandler> handler;
};

TEST_F(AlarmOverlayHandlerTest, OpensTheDeviceBeforeTheChannel) {
    EXPECT_THAT(device.calls(), ElementsAre("OpenCameraDevice /com/orva/Graphics1 ()",
                                            "GetCommandChannel /com/orva/Graphics1 ()"));
    EXPECT_EQ(handler->getSettings(), settings);
    EXPECT_THAT(handler->getProfiles(), ElementsAre(kProfile));
    const AlarmOverlayHandler without;
    EXPECT_EQ(without.getSettings(), StreamSettings());
    EXPECT_THAT(without.getProfiles(), IsEmpty());
}

TEST_F(AlarmOverlayHandlerTest, FailsWithoutTheDevice) {
    for (int n = 1; n <= 2; ++n) {
        device.failAt(n);
        EXPECT_NE(failureOf([] { AlarmOverlayHandler(); }), "") << n;
    }
    device.failAt(1);
    EXPECT_EQ(failureOf([] { AlarmOverlayHandler(); }),
              "Failed to open CameraDevice file descriptor");
}

TEST_F(AlarmOverlayHandlerTest, TakesTheStreamsThatItIsToldTo) {
    const StreamProperties right{3, 1, "h264", kWidth, kHeight, 0, false};
    const auto isTaken = [&](auto change) {
        StreamProperties stream = right;
        change(stream);
        device.forgetCalls();
        add(stream);
        return count("CreateOverlay") == 1;
    };
    EXPECT_FALSE(isTaken([](StreamProperties& stream) { stream.camera = 2; }));
    EXPECT_FALSE(isTaken([](StreamProperties& stream) { stream.type = "H264"; }));
    EXPECT_FALSE(isTaken([](StreamProperties& stream) { stream.type = "jpeg"; }));
    EXPECT_FALSE(isTaken([](StreamProperties& stream) { stream.width = 128; }));
    EXPECT_FALSE(isTaken([](StreamProperties& stream) { stream.height = 64; }));
    EXPECT_FALSE(isTaken([](StreamProperties& stream) { stream.rotation = 180; }));
    EXPECT_FALSE(isTaken([](StreamProperties& stream) { stream.mirrored = true; }));
    EXPECT_TRUE(isTaken([](StreamProperties&) {}));
    EXPECT_FALSE(isTaken([](StreamProperties&) {}));
    EXPECT_TRUE(isTaken([](StreamProperties& stream) { stream.id = 4; }));
    handler->applySettings({}, settings);
    EXPECT_FALSE(isTaken([](StreamProperties& stream) { stream.id = 5; }));
}

TEST_F(AlarmOverlayHandlerTest, LetsAStreamGo) {
    addStream(3);
    addStream(4);
    device.forgetCalls();
    handler->handleMessage(StreamRemovedMessage(3));
    handler->handleMessage(StreamRemovedMessage(3));
    EXPECT_EQ(count("RemoveOverlay"), 1);
    EXPECT_THAT(device.calls().at(0), testing::HasSubstr("/com/orva/Overlay2/Overlay/1"));
    addStream(3);
    EXPECT_EQ(count("CreateOverlay"), 1);
}

TEST_F(AlarmOverlayHandlerTest, ShowsTheObjectInAlarmInEachStream) {
    addStream(3);
    addStream(4);
    showObject();
    EXPECT_THAT(shown(1), Contains(0x44));
    EXPECT_THAT(shown(1), Each(testing::AnyOf(0x44, 0x55)));
    EXPECT_EQ(shown(2), shown(1));
}

TEST_F(AlarmOverlayHandlerTest, DrawsABoxOfLinesOfTwo) {
    addStream(3);
    showObject();
    EXPECT_EQ(shown(), objectImage());
}

TEST_F(AlarmOverlayHandlerTest, DrawsPolygonsOfLinesOfTwo) {
    addStream(3);
    showPolygon();
    EXPECT_EQ(shown(), polygonImage());
}

TEST_F(AlarmOverlayHandlerTest, MovesABoxOnWithItsObjectSinceTheScene) {
    addStream(3);
    FakeClock clock(10000000);
    TrackingObject object(7, new Polygon(-1024, 1024, -1024, 1024));
    object.velocityX = 512;
    object.velocityY = -1024;
    auto* data = new AlarmData(kProfile);
    data->addObjectStatus(&object, AlarmDataStatusAlarm);
    AlarmDataContainer alarms;
    alarms.insert(data);
    handler->handleAlarmResult(alarms, 8000000);
    EXPECT_EQ(shown(), imageWith(32, 48, {15, 29, 25, 43}, {17, 31, 23, 41}));
}

TEST_F(AlarmOverlayHandlerTest, CopiesTheFirstOverlaysImageToAllLater) {
    std::array<std::atomic<int>, 4> firstPixels{};
    // The device leaves its mark in each buffer that is given back.
    device.answerRequests([&](const std::string& request) {
        const auto id = static_cast<std::size_t>(request.at(request.find("overlayId") + 12) - '0');
        const std::size_t offset = id * OverlayDevice::kBufferSize;
        if (request.find("submitBuffer") == std::string::npos) {
            return R"({"data": {"buffer": )" + std::to_string(offset) + "}}";
        }
        firstPixels[id] = device.buffers()[offset + 64];
        device.buffers()[offset + 64] = static_cast<unsigned char>(id);
        return std::string("{}");
    });
    addStream(3);
    addStream(4);
    addStream(5);
    showObject();
    EXPECT_EQ(firstPixels[1], 0x55);
    EXPECT_EQ(firstPixels[2], 1);
    EXPECT_EQ(firstPixels[3], 1);
}

TEST_F(AlarmOverlayHandlerTest, ShowsAnObjectOfSeveralProfilesOnce) {
    addStream(3);
    showObject();
    const Pixels once = shown();
    handler->applySettings({kProfile, 2}, settings);
    showObject({kProfile, 2});
    EXPECT_EQ(shown(), once);
}

TEST_F(AlarmOverlayHandlerTest, ShowsOnlyWhatIsInAlarmForItsProfiles) {
    addStream(3);
    showObject({2});
    EXPECT_THAT(shown(), Each(0x55));
    for (const auto status : {AlarmDataStatusNotOfInterest, AlarmDataStatusFiltered}) {
        showObject({kProfile}, status);
        EXPECT_THAT(shown(), testing::Not(Contains(0x44)));
    }
}

TEST_F(AlarmOverlayHandlerTest, ShowsPolygons) {
    addStream(3);
    showPolygon();
    EXPECT_THAT(shown(), Contains(0x44));
}

TEST_F(AlarmOverlayHandlerTest, LeavesNoTraceInAnyBuffer) {
    addStream(3);
    showObject();
    showPolygon();
    showObject();
    showNothing();
    EXPECT_THAT(shown(), Each(0x55));
    showNothing();
    EXPECT_THAT(shown(), Each(0x55));
    // From now on buffers are exchanged and left as they are: blank.
    device.forgetCalls();
    showNothing();
    EXPECT_THAT(device.requests(), SizeIs(2));
    EXPECT_THAT(shown(), Each(0x00));
}

TEST_F(AlarmOverlayHandlerTest, ErasesEachShapeBeforeTheNextImage) {
    addStream(3);
    for (int i = 0; i < 2; ++i) {
        showObject();
        EXPECT_EQ(shown(), objectImage());
        showPolygon();
        EXPECT_EQ(shown(), polygonImage());
    }
}

TEST_F(AlarmOverlayHandlerTest, ShowsOneBlankImageAtTheStart) {
    addStream(3);
    showNothing();
    EXPECT_THAT(shown(), Each(0x55));
    showNothing();
    showNothing();
    EXPECT_THAT(shown(), Each(0x00));
}

TEST_F(AlarmOverlayHandlerTest, DoesNothingWithoutStreamsOrProfiles) {
    device.forgetCalls();
    showObject();
    EXPECT_THAT(device.calls(), IsEmpty());
    addStream(3);
    handler->applySettings({}, settings);
    device.forgetCalls();
    showObject();
    EXPECT_THAT(device.calls(), IsEmpty());
    EXPECT_THAT(device.requests(), IsEmpty());
}

TEST_F(AlarmOverlayHandlerTest, KeepsClearOfATextOnlyAfterMoreThanThreeFrames) {
    addStream(3);
    addText(9, 10);
    for (int i = 0; i < 4; ++i) {
        showObject();
        EXPECT_EQ(count("CreateOverlay"), 1);
    }
    device.forgetCalls();
    showObject();
    EXPECT_THAT(device.calls().at(0), StartsWith("RemoveOverlay /com/orva/Overlay2"));
    EXPECT_THAT(device.calls().at(1), testing::HasSubstr("'Size': '64x32'"));
    EXPECT_THAT(device.calls().at(1), testing::HasSubstr("'-1.0000,-0.3333'"));
    EXPECT_THAT(shown(2, 32), Contains(0x44));
    showObject();
    EXPECT_EQ(count("CreateOverlay"), 1);
}

TEST_F(AlarmOverlayHandlerTest, DrawsInTheSamePlaceBelowAText) {
    addStream(3);
    addText(9, 10);
    for (int i = 0; i < 5; ++i) {
        showObject();
    }
    EXPECT_EQ(shown(2, 32), below(objectImage(), 16));
    showPolygon();
    EXPECT_EQ(shown(2, 32), below(polygonImage(), 16));
}

TEST_F(AlarmOverlayHandlerTest, RebuildsTheOverlaysOfTheSameStreamsInOrder) {
    for (const int stream : {5, 3, 4}) {
        addStream(stream);
    }
    addText(9, 10);
    device.forgetCalls();
    for (int i = 0; i < 5; ++i) {
        showNothing();
    }
    EXPECT_THAT(streams(), ElementsAre("5", "3", "4"));
    EXPECT_EQ(count("RemoveOverlay"), 3);
}

TEST_F(AlarmOverlayHandlerTest, DrawsAnImageOfTheNewSizeWhenATextIsGone) {
    addText(9, 10);
    handler->applySettings({kProfile}, StreamSettings());
    handler->applySettings({kProfile}, settings);
    addStream(3);
    showObject();
    EXPECT_EQ(shown(1, 32), below(objectImage(), 16));
    handler->handleMessage(OverlayRemovedMessage(9));
    for (int i = 0; i < 4; ++i) {
        showObject();
    }
    EXPECT_EQ(shown(2), objectImage());
}

TEST_F(AlarmOverlayHandlerTest, MovesWithTheTextAndComesBackWhenItIsGone) {
    addStream(3);
    addText(9, 10);
    const auto sizeAfterFive = [this] {
        device.forgetCalls();
        for (int i = 0; i < 5; ++i) {
            showObject();
        }
        return sizes().at(0);
    };
    for (int i = 0; i < 4; ++i) {
        showObject();
    }
    EXPECT_EQ(sizeAfterFive(), "64x32");
    OverlayProperties changed;
    changed.id = 9;
    changed.height = "20";
    changed.position = "top";
    handler->handleMessage(OverlayPropertiesChangedMessage(changed));
    EXPECT_EQ(sizeAfterFive(), "64x16");
    handler->handleMessage(OverlayRemovedMessage(9));
    EXPECT_EQ(sizeAfterFive(), "64x48");
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(AlarmOverlayHandlerTest, MakesUpForAnOverlayThatCouldNotBeMadeAfterFourFrames) {
    device.failAt(1);
    EXPECT_EQ(failureOf([this] { addStream(3); }),
              "Failed to create overlay: GDBus.Error:com.orva.Error: told to\n");
    EXPECT_THAT(log.lines(), IsEmpty());
    addStream(3);
    addStream(4);
    device.forgetCalls();
    for (int i = 0; i < 4; ++i) {
        showObject();
        EXPECT_THAT(shown(1), Contains(0x44));
    }
    EXPECT_EQ(count("CreateOverlay"), 0);
    showObject();
    EXPECT_EQ(count("CreateOverlay"), 2);
    EXPECT_THAT(shown(2), Contains(0x44));
    EXPECT_EQ(shown(3), shown(2));
}

TEST_F(AlarmOverlayHandlerTest, TellsWhenStreamsAreToBeListedAgain) {
    addStream(3);
    EXPECT_FALSE(handler->applySettings({kProfile}, settings));
    EXPECT_FALSE(handler->applySettings({5}, settings));
    EXPECT_EQ(count("RemoveOverlay"), 0);
    EXPECT_FALSE(handler->applySettings({}, settings));
    EXPECT_TRUE(handler->applySettings({kProfile}, settings));
    EXPECT_EQ(count("RemoveOverlay"), 1);
    EXPECT_TRUE(handler->applySettings({kProfile}, {128, 96, 0, false}));
    EXPECT_EQ(handler->getSettings(), StreamSettings(128, 96, 0, false));
    EXPECT_TRUE(handler->applySettings({}, settings));
    // Meant: without profiles before there is never nothing to do.
    EXPECT_TRUE(handler->applySettings({}, settings));
}

TEST_F(AlarmOverlayHandlerTest, DrawsAnImageOfTheNewSize) {
    EXPECT_TRUE(handler->applySettings({kProfile}, {128, 96, 0, false}));
    add({3, 1, "h264", 128, 96, 0, false});
    showObject();
    EXPECT_EQ(shown(1, 96, 128), imageWith(64, 96, {23, 35, 41, 61}, {25, 37, 39, 59}));
}

TEST_F(AlarmOverlayHandlerTest, ShowsNothingInStreamsWithoutASize) {
    for (const int size : {0, -1, -1080}) {
        handler->applySettings({kProfile}, {size, size, 0, false});
        add({3, 1, "h264", size, size, 0, false});
        device.forgetCalls();
        for (int i = 0; i < 10; ++i) {
            showObject();
            showPolygon();
        }
        EXPECT_THAT(device.calls(), IsEmpty());
        EXPECT_THAT(device.requests(), IsEmpty());
    }
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(AlarmOverlayHandlerTest, ScalesTheOverlaysOfOthersToItsSettings) {
    addScalableText(9, 400);
    addStream(3);
    for (int i = 0; i < 5; ++i) {
        showNothing();
    }
    EXPECT_TRUE(handler->applySettings({kProfile}, {128, 96, 0, false}));
    add({3, 1, "h264", 128, 96, 0, false});
    EXPECT_THAT(sizes(), ElementsAre("64x48", "64x16", "128x48"));
}

TEST_F(AlarmOverlayHandlerTest, ClosesTheDeviceInTheEnd) {
    const auto countDescriptors = [] {
        int count = 0;
        for ([[maybe_unused]] const auto& entry :
             std::filesystem::directory_iterator("/proc/self/fd")) {
            ++count;
        }
        return count;
    };
    handler.reset();
    const int before = countDescriptors();
    for (int i = 0; i < 20; ++i) {
        const AlarmOverlayHandler another(settings, {kProfile});
    }
    // Each left one of the double's ends behind, and the bus's own threads close the copies that
    // travelled a moment later.
    EXPECT_TRUE(waitFor([&] { return countDescriptors() < before + 30; }));
}

TEST_F(AlarmOverlayHandlerTest, KeepsTheOverlaysOfOthersOverNewSettings) {
    addText(9, 10);
    EXPECT_TRUE(handler->applySettings({kProfile}, {128, 96, 0, false}));
    device.forgetCalls();
    add({3, 1, "h264", 128, 96, 0, false});
    EXPECT_THAT(device.calls().at(0), testing::HasSubstr("'Size': '128x80'"));
}

TEST_F(AlarmOverlayHandlerTest, LogsMessagesThatItCannotUse) {
    OverlayProperties unknown;
    unknown.id = 12;
    unknown.height = "1";
    handler->handleMessage(OverlayPropertiesChangedMessage(unknown));
    handler->handleMessage(AlarmOverlayMessage(5));
    handler->handleMessage(OverlayRemovedMessage(12));
    using Line = SyslogCapture::Line;
    EXPECT_THAT(
        log.lines(),
        ElementsAre(Line{LOG_WARNING, "Could not find external overlay for proprties change: 12\n"},
                    Line{LOG_WARNING, "Unknown alarm overlay message type: 5\n"}));
}

TEST_F(AlarmOverlayHandlerTest, TakesAllOverlaysAwayInTheEnd) {
    addStream(3);
    addStream(4);
    device.forgetCalls();
    device.failAt(1);
    handler.reset();
    EXPECT_EQ(count("RemoveOverlay"), 2);
    EXPECT_THAT(log.texts(), ElementsAre(StartsWith("Failed to unregister a streamOverlay: ")));
}

TEST_F(AlarmOverlayHandlerTest, FailsAFrameAtAnyCallAndLeavesNoOverlayBehind) {
    bool hasFailed = true;
    for (int n = 1; hasFailed; ++n) {
        handler.emplace(settings, std::vector<int>{kProfile});
        addStream(3);
        addStream(4);
        device.forgetCalls();
        device.failAt(n);
        const std::string failure = failureOf([this] { showObject(); });
        hasFailed = !device.hasNotFailed();
        EXPECT_EQ(failure.empty(), !hasFailed) << n;
        EXPECT_LE(n, 7);
        device.failAt(0);
        handler.reset();
        EXPECT_EQ(count("RemoveOverlay"), 2) << n;
    }
}

TEST_F(AlarmOverlayHandlerTest, FailsARebuildAndTakesAwayWhatIsThere) {
    for (int n = 1; n <= 6; ++n) {
        handler.emplace(settings, std::vector<int>{kProfile});
        device.forgetCalls();
        addStream(3);
        addStream(4);
        addText(9, 10);
        for (int i = 0; i < 4; ++i) {
            showNothing();
        }
        device.failAt(n);
        // A removal that fails is logged only.
        EXPECT_EQ(failureOf([this] { showNothing(); }).empty(), n == 1 || n == 4) << n;
        device.failAt(0);
        handler.reset();
        const int failed = n == 2 || n == 5 ? 1 : 0;
        EXPECT_EQ(count("RemoveOverlay"), count("CreateOverlay") - failed) << n;
    }
}

TEST_F(AlarmOverlayHandlerTest, TakesFramesMessagesAndConfigurationsAtOnce) {
    std::thread frames([this] {
        for (int i = 0; i < 100; ++i) {
            showObject();
        }
    });
    std::thread configurations([this] {
        for (int i = 0; i < 20; ++i) {
            handler->applySettings({kProfile}, i % 2 == 0 ? StreamSettings() : settings);
        }
    });
    for (int i = 0; i < 50; ++i) {
        addStream(i % 3);
        addText(9, i % 5 * 8);
        handler->handleMessage(StreamRemovedMessage(i % 4));
        handler->handleMessage(OverlayRemovedMessage(9));
    }
    frames.join();
    configurations.join();
    handler.reset();
    EXPECT_EQ(count("CreateOverlay"), count("RemoveOverlay"));
    EXPECT_THAT(log.lines(), IsEmpty());
}

}  // namespace

#include "overlay/alarm_overlay.h"

#include <gmock/gmock.h>

#include <thread>

#include "overlay/alarm_overlay_lock.h"
#include "overlay/cairo.h"
#include "overlay/list_overlays.h"
#include "overlay/list_streams.h"
#include "overlay/message_record.h"
#include "support/cairo_module/named_cairo_module.h"
#include "support/failure_of.h"
#include "support/overlay_stage.h"
#include "support/wait_for.h"

namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;
using Line = SyslogCapture::Line;

constexpr const char* kNoPalette =
    "Failed to set custom palette colors, overlay colors may be incorrect.\n";
constexpr const char* kRetrying =
    "Failed to reset alarm overlay handler after 25 frames. Retrying...\n";
constexpr const char* kStreamFailure =
    "Error when handling stream changes: Failed to create overlay: GDBus.Error:com.orva.Error: "
    "told to\n\n";
constexpr const char* kFallback =
    "Failed to use OpenCameraDevice, using 'open /dev/cam0' fallback : ";

/// Tried by a thread of the services, never by one that holds it.
bool isLockFree() {
    const bool isFree = g_rec_mutex_trylock(AlarmOverlay::getLock()) != FALSE;
    if (isFree) {
        g_rec_mutex_unlock(AlarmOverlay::getLock());
    }
    return isFree;
}

/// What a message in a frame's way waits for: the alarm overlay's lock, held by another thread.
bool isLockHeldInTime() {
    return waitFor([] { return !isLockFree(); });
}

class AlarmOverlayTest : public OverlayStage {
protected:
    /// Nothing is left of a start that failed: everything can be started anew.
    static void expectOff() {
        EXPECT_FALSE(AlarmOverlay::isEnabled());
        EXPECT_FALSE(Cairo::isModuleOpen());
        EXPECT_TRUE(ListStreams::initialize(MessageRecord::take));
        ListStreams::deinitialize();
        EXPECT_TRUE(ListOverlays::initialize(MessageRecord::take));
        ListOverlays::deinitialize();
    }

    /// The rules by which the bus passes on signals of an overlay.
    int countRulesFor(int overlayId) const {
        g_autoptr(GDBusConnection) client = bus.connect();
        g_autoptr(GVariant) reply = g_dbus_connection_call_sync(
            client, "org.freedesktop.DBus", "/org/freedesktop/DBus",
            "org.freedesktop.DBus.Debug.Stats", "GetAllMatchRules", nullptr, nullptr,
            G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
        EXPECT_NE(reply, nullptr) << "the bus does not tell its rules";
        if (reply == nullptr) {
            return -1;
        }
        g_autofree char* printed = g_variant_print(reply, FALSE);
        const std::string text = printed;
        const std::string path = "/com/orva/Overlay2/Overlay/" + std::to_string(overlayId);
        int rules = 0;
        for (std::size_t at = text.find(path); at != std::string::npos;
             at = text.find(path, at + 1)) {
            ++rules;
        }
        g_dbus_connection_close_sync(client, nullptr, nullptr);
        return rules;
    }
    bool areRulesInTime(int overlayId, bool wanted) const {
        return waitFor([&] { return (countRulesFor(overlayId) > 0) == wanted; });
    }

    const std::vector<std::string> palette = std::vector<std::string>(4, "SetColor");
};

// Enabling

TEST_F(AlarmOverlayTest, IsOffUntilItIsEnabled) {
    EXPECT_FALSE(AlarmOverlay::isEnabled());
    holdStreams({3});
    configure();
    showObject();
    AlarmOverlay::handleMessage(StreamRemovedMessage(3));
    EXPECT_THAT(services.calls(), IsEmpty());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(AlarmOverlayTest, SetsThePaletteAndThenOpensTheDeviceAndTheChannel) {
    AlarmOverlay::enableIfSupported();
    EXPECT_TRUE(AlarmOverlay::isEnabled());
    EXPECT_THAT(services.calls(),
                ElementsAre(HasSubstr("/PaletteColor/0 "), HasSubstr("/PaletteColor/5 "),
                            HasSubstr("/PaletteColor/1 "), HasSubstr("/PaletteColor/4 "),
                            StartsWith("OpenCameraDevice "), StartsWith("GetCommandChannel ")));
    EXPECT_TRUE(Cairo::isModuleOpen());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(AlarmOverlayTest, IsEnabledOnce) {
    AlarmOverlay::enableIfSupported();
    services.forgetCalls();
    AlarmOverlay::enableIfSupported();
    EXPECT_THAT(services.calls(), IsEmpty());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(AlarmOverlayTest, StaysOffOnADeviceThatDoesNotSupportIt) {
    ZQParameterDouble::set("root.Properties.EmbeddedDevelopment.Version", "2.14");
    AlarmOverlay::enableIfSupported();
    EXPECT_THAT(services.calls(), IsEmpty());
    EXPECT_THAT(log.lines(), IsEmpty());
    expectOff();
}

TEST_F(AlarmOverlayTest, StaysOffWithoutTheLibraryOrOneOfItsSymbols) {
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"libno_such_drawing_library.so.2", "Could not open cairo module"},
        {NamedCairoModule::pathWithoutEntry(2), "Could not open cairo_fill"},
    };
    for (const auto& [path, text] : cases) {
        const NamedCairoModule module(path);
        AlarmOverlay::enableIfSupported();
        EXPECT_THAT(services.calls(), IsEmpty());
        EXPECT_THAT(log.lines(),
                    ElementsAre(Line{LOG_WARNING, "Failed to load cairo. " + text + "\n"}));
        log.clear();
        expectOff();
    }
}

TEST_F(AlarmOverlayTest, StaysOffWhenStreamsCannotBeFollowed) {
    ASSERT_TRUE(CameraInfo::isAlarmOverlaySupported());
    ASSERT_TRUE(ListStreams::initialize(MessageRecord::take));
    AlarmOverlay::enableIfSupported();
    EXPECT_THAT(
        log.lines(),
        ElementsAre(Line{LOG_WARNING, "Initialize called on an already initaialized namespace\n"},
                    Line{LOG_WARNING, "Failed to start listening to stream changes.\n"}));
    EXPECT_THAT(services.calls(), IsEmpty());
    expectOff();
}

TEST_F(AlarmOverlayTest, StaysOffWhenAColorCannotBeSet) {
    for (int n = 1; n <= 4; ++n) {
        services.forgetCalls();
        services.failAt(n);
        AlarmOverlay::enableIfSupported();
        EXPECT_EQ(services.calls().size(), static_cast<std::size_t>(n));
        EXPECT_THAT(log.lines(),
                    ElementsAre(Line{LOG_WARNING,
                                     "Failed to set custom palette color: DBus call to SetColor "
                                     "failed: GDBus.Error:com.orva.Error: told to\n\n"},
                                Line{LOG_WARNING, kNoPalette}));
        log.clear();
        expectOff();
    }
}

TEST_F(AlarmOverlayTest, StaysOffWhenOverlaysCannotBeFollowed) {
    ASSERT_TRUE(ListOverlays::initialize(MessageRecord::take));
    AlarmOverlay::enableIfSupported();
    EXPECT_THAT(
        log.lines(),
        ElementsAre(Line{LOG_WARNING, "Initialize called on an already initaialized namespace\n"},
                    Line{LOG_WARNING, "Failed to start listening to overlays\n"}));
    EXPECT_THAT(members(), ElementsAreArray(palette));
    expectOff();
}

TEST_F(AlarmOverlayTest, StaysOffWithoutTheCameraDevice) {
    services.failAt(5);
    AlarmOverlay::enableIfSupported();
    EXPECT_THAT(
        log.lines(),
        ElementsAre(AllOf(testing::Field(&Line::level, LOG_INFO),
                          testing::Field(&Line::text, StartsWith(kFallback))),
                    Line{LOG_WARNING,
                         "Failed to start alarm overlay handler: Failed to open CameraDevice file "
                         "descriptor\n"}));
    EXPECT_EQ(count("GetCommandChannel"), 0);
    expectOff();
}

TEST_F(AlarmOverlayTest, StaysOffWithoutACommandChannel) {
    services.failAt(6);
    AlarmOverlay::enableIfSupported();
    EXPECT_THAT(
        log.lines(),
        ElementsAre(Line{LOG_WARNING,
                         "Failed to start alarm overlay handler: Failed to get command channel "
                         "file descriptor: Failed to get command channel: "
                         "GDBus.Error:com.orva.Error: told to\n\n"}));
    expectOff();
}

TEST_F(AlarmOverlayTest, CanBeEnabledAfterAnyFailure) {
    for (int n = 1; n <= 6; ++n) {
        services.failAt(n);
        AlarmOverlay::enableIfSupported();
        EXPECT_FALSE(AlarmOverlay::isEnabled()) << n;
    }
    run();
    EXPECT_TRUE(isObjectShown());
}

/// The same device without the services.
class WithoutServices : public testing::Test {
protected:
    WithoutServices() {
        CameraInfoTestAccess::setMachineFile("/nonexistent/machine");
        AlarmOverlay::forgetDBusNames();
    }
    ~WithoutServices() override {
        AlarmOverlay::forgetDBusNames();
        CameraInfoTestAccess::setMachineFile("/sys/devices/soc0/machine");
    }

    WrappedDevice device{{{"root.Properties.EmbeddedDevelopment.Version", "2.15"},
                          {"ImageSource.I0.Sensor.AspectRatio", "4:3"},
                          {"root.Properties.Image.Resolution", "640x480"}}};
    SyslogCapture log;
};

TEST_F(WithoutServices, IsOffWhenOneOfThemIsAbsent) {
    const PrivateBus bus;
    for (const char* name : {"com.orva.Graphics1", "com.orva.Overlay2"}) {
        const BusNames names(bus, {name});
        AlarmOverlay::forgetDBusNames();
        CameraInfoTestAccess::forget();
        AlarmOverlay::enableIfSupported();
        EXPECT_FALSE(AlarmOverlay::isEnabled()) << name;
        EXPECT_FALSE(Cairo::isModuleOpen()) << name;
    }
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(WithoutServices, IsOffWithOneLineWithoutABus) {
    ASSERT_TRUE(isSharedConnectionGoneInTime());
    AlarmOverlay::enableIfSupported();
    AlarmOverlay::disable();
    EXPECT_FALSE(AlarmOverlay::isEnabled());
    EXPECT_THAT(log.lines(),
                ElementsAre(testing::Field(&Line::text,
                                           StartsWith("Failed to create proxy for ListNames: "))));
    g_unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
}

// Configurations

TEST_F(AlarmOverlayTest, ListsStreamsAndThenOverlaysForANewConfiguration) {
    holdStreams({3, 4});
    holdOverlay(9, 10);
    AlarmOverlay::enableIfSupported();
    services.forgetCalls();
    configure();
    EXPECT_THAT(services.calls(),
                ElementsAre(StartsWith("GetManagedObjects /com/orva/Graphics1/Stream "),
                            AllOf(StartsWith("CreateOverlay "), HasSubstr("'Stream': '3'")),
                            StartsWith("Get "),
                            AllOf(StartsWith("CreateOverlay "), HasSubstr("'Stream': '4'")),
                            StartsWith("Get "),
                            StartsWith("GetManagedObjects /com/orva/Overlay2/Overlay ")));
    EXPECT_TRUE(isObjectShown());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(AlarmOverlayTest, ListsNothingForAConfigurationThatChangesNoStream) {
    run();
    services.forgetCalls();
    configure();
    configure({kProfile, 2});
    EXPECT_THAT(services.calls(), IsEmpty());
    configure({kProfile}, 640, 480);
    EXPECT_THAT(members(), ElementsAre("RemoveOverlay", "GetManagedObjects", "GetManagedObjects"));
}

TEST_F(AlarmOverlayTest, LogsAConfigurationWithoutCameraOneAndChangesNothing) {
    const std::string text =
        "StreamSetting for specific camera not found, ignoring alarm overlay settings for camera "
        "1\n";
    run();
    services.forgetCalls();
    AlarmOverlay::setNewConfiguration({{5}, {{2, {640, 480, 0, false}}}});
    EXPECT_THAT(services.calls(), IsEmpty());
    EXPECT_THAT(log.lines(), ElementsAre(Line{LOG_WARNING, text}));
    EXPECT_TRUE(isObjectShown());
}

TEST_F(AlarmOverlayTest, FollowsTheOverlaysThatItListsWhileItHasThem) {
    holdOverlay(9, 10);
    AlarmOverlay::enableIfSupported();
    configure();
    EXPECT_TRUE(areRulesInTime(9, true));
    AlarmOverlay::handleMessage(OverlayRemovedMessage(9));
    EXPECT_TRUE(areRulesInTime(9, false));
}

TEST_F(AlarmOverlayTest, LeavesNoOverlayFollowedWhenItIsDisabled) {
    holdOverlay(9, 10);
    AlarmOverlay::enableIfSupported();
    configure();
    EXPECT_TRUE(areRulesInTime(9, true));
    AlarmOverlay::disable();
    EXPECT_TRUE(areRulesInTime(9, false));
}

TEST_F(AlarmOverlayTest, HearsOfChangesOfTheOverlaysThatItLists) {
    holdStreams({3});
    holdOverlay(9, 10);
    AlarmOverlay::enableIfSupported();
    configure();
    showObjects(4);
    const auto findSize = [this](const std::string& size) {
        services.forgetCalls();
        showObjects(5);
        const std::vector<std::string> calls = services.calls();
        return std::any_of(calls.begin(), calls.end(), [&](const std::string& call) {
            return call.starts_with("CreateOverlay") && call.find(size) != std::string::npos;
        });
    };
    EXPECT_TRUE(findSize("'64x32'"));
    services.emit("/com/orva/Overlay2/Overlay/9", "org.freedesktop.DBus.Properties",
                  "PropertiesChanged",
                  g_variant_parse(G_VARIANT_TYPE("(sa{sv}as)"),
                                  "('com.orva.Overlay2.Overlay', {'Size': <'64x20'>, 'Position': "
                                  "<'top'>}, @as [])",
                                  nullptr, nullptr, nullptr));
    EXPECT_TRUE(waitFor([&] { return findSize("'64x16'"); }));
}

TEST_F(AlarmOverlayTest, AStreamThatFailsKeepsNoOtherOut) {
    holdStreams({3, 4});
    holdOverlay(9, 10);
    AlarmOverlay::enableIfSupported();
    services.forgetCalls();
    services.failAt(2);
    configure();
    EXPECT_THAT(members(), ElementsAre("GetManagedObjects", "CreateOverlay", "CreateOverlay", "Get",
                                       "GetManagedObjects"));
    EXPECT_THAT(log.lines(), ElementsAre(Line{LOG_WARNING, kStreamFailure}));
    // The frames make up for it.
    services.forgetCalls();
    showObjects(5);
    EXPECT_EQ(count("CreateOverlay"), 2);
}

TEST_F(AlarmOverlayTest, RunsOnWithoutListsThatCannotBeHad) {
    holdStreams({3});
    AlarmOverlay::enableIfSupported();
    services.failAt(1);
    configure();
    EXPECT_THAT(log.texts(),
                ElementsAre(StartsWith("Failed to get the currently connected streams, ")));
    EXPECT_EQ(count("CreateOverlay"), 0);
    announceStream(3);
    EXPECT_TRUE(waitFor([this] { return isObjectShown(); }));
}

// Frames

TEST_F(AlarmOverlayTest, ShowsObjectsInAlarm) {
    run();
    EXPECT_TRUE(isObjectShown());
    services.forgetCalls();
    showObject();
    EXPECT_THAT(members(), ElementsAre("SetProperties"));
    EXPECT_THAT(services.requests(),
                ElementsAre(HasSubstr("getBuffer"), HasSubstr("submitBuffer")));
}

TEST_F(AlarmOverlayTest, ShowsThemInAStreamThatAppears) {
    run({});
    announceStream(3);
    EXPECT_TRUE(waitFor([this] { return isObjectShown(); }));
}

TEST_F(AlarmOverlayTest, LivesOnWhenAStreamThatAppearsFails) {
    run({});
    services.failAt(1);
    announceStream(3);
    EXPECT_TRUE(waitFor([this] { return count("CreateOverlay") == 1 && !log.lines().empty(); }));
    EXPECT_THAT(log.lines(), ElementsAre(Line{LOG_WARNING, kStreamFailure}));
    announceStream(4);
    EXPECT_TRUE(waitFor([this] { return isObjectShown(); }));
}

TEST_F(AlarmOverlayTest, DropsTheHandlerSilentlyWhenAFrameFails) {
    run({3, 4});
    services.forgetCalls();
    failAFrame();
    EXPECT_TRUE(AlarmOverlay::isEnabled());
    EXPECT_THAT(members(), ElementsAre("RemoveOverlay", "RemoveOverlay"));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(AlarmOverlayTest, ComesBackAtThe25thFrameAfterAFailure) {
    run();
    holdOverlay(9, 10);
    failAFrame();
    services.forgetCalls();
    showObjects(kLimit - 1);
    EXPECT_THAT(services.calls(), IsEmpty());
    EXPECT_THAT(services.requests(), IsEmpty());
    showObject();
    EXPECT_THAT(members(), ElementsAre("OpenCameraDevice", "GetCommandChannel", "SetColor",
                                       "SetColor", "SetColor", "SetColor", "GetManagedObjects",
                                       "CreateOverlay", "Get", "GetManagedObjects"));
    EXPECT_TRUE(isObjectShown());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(AlarmOverlayTest, TriesEvery25thFrameUntilItWorks) {
    run();
    failAFrame();
    services.answer("GetCommandChannel", [] { return nullptr; });
    for (int tries = 1; tries <= 3; ++tries) {
        services.forgetCalls();
        showObjects(kLimit - 1);
        EXPECT_THAT(services.calls(), IsEmpty());
        showObject();
        EXPECT_THAT(members(), ElementsAre("OpenCameraDevice", "GetCommandChannel"));
        EXPECT_THAT(log.lines(), ElementsAre(Line{LOG_INFO, kRetrying}));
        EXPECT_TRUE(AlarmOverlay::isEnabled());
        log.clear();
    }
    services.answer("GetCommandChannel", {});
    showObjects(kLimit);
    EXPECT_TRUE(isObjectShown());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(AlarmOverlayTest, ComesBackWithAnOldPalette) {
    run();
    failAFrame();
    services.answer("SetColor", [] { return nullptr; });
    showObjects(kLimit);
    EXPECT_THAT(log.texts(),
                ElementsAre(StartsWith("Failed to set custom palette color: "), kNoPalette));
    EXPECT_TRUE(isObjectShown());
}

TEST_F(AlarmOverlayTest, ComesBackFromAFailureAtAnyCallOfAFrame) {
    run({3, 4});
    for (int n = 1; n <= 6; ++n) {
        services.failAt(n);
        showObject();
        EXPECT_FALSE(services.hasNotFailed()) << n;
        showObjects(kLimit);
        EXPECT_TRUE(isObjectShown()) << n;
    }
    EXPECT_THAT(log.lines(), IsEmpty());
    AlarmOverlay::disable();
    services.failAt(1);
    showObject();
    EXPECT_TRUE(services.hasNotFailed());
}

TEST_F(AlarmOverlayTest, ComesBackFromAFailureAtAnyCallOfAReset) {
    for (int n = 1; n <= 10; ++n) {
        AlarmOverlay::disable();
        services.forgetCalls();
        run();
        failAFrame();
        services.failAt(n);
        showObjects(kLimit);
        EXPECT_FALSE(services.hasNotFailed()) << n;
        const bool isStreamListLost = n == 7;
        if (isStreamListLost) {
            // As the log says, the streams must be loaded again.
            announceStream(3);
        }
        showObjects(kLimit);
        EXPECT_TRUE(waitFor([this] { return isObjectShown(); })) << n;
    }
}

TEST_F(AlarmOverlayTest, ComesBackWithTheConfigurationThatArrivesMeanwhile) {
    run();
    failAFrame();
    showObjects(kLimit - 5);
    services.holdObjects(kStreams,
                         "{'" + std::string(kStreams) + "/5': " + streamText(5, "640x480") + "}");
    services.forgetCalls();
    configure({kProfile}, 640, 480);
    showObjects(kLimit - 1);
    EXPECT_THAT(services.calls(), IsEmpty());
    showObject();
    EXPECT_THAT(services.calls(),
                Contains(AllOf(StartsWith("CreateOverlay "), HasSubstr("'Size': '640x480'"))));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(AlarmOverlayTest, ComesBackWithoutProfilesWhenTheConfigurationHasNoneMeanwhile) {
    run();
    failAFrame();
    configure({});
    services.forgetCalls();
    showObjects(kLimit);
    EXPECT_EQ(count("GetCommandChannel"), 1);
    EXPECT_EQ(count("CreateOverlay"), 0);
}

TEST_F(AlarmOverlayTest, CountsOnOverAConfigurationWithoutCameraOne) {
    run();
    failAFrame();
    showObjects(kLimit - 1);
    AlarmOverlay::setNewConfiguration({{5}, {}});
    EXPECT_EQ(log.lines().size(), 1U);
    services.forgetCalls();
    showObject();
    EXPECT_EQ(count("CreateOverlay"), 1);
}

TEST_F(AlarmOverlayTest, DropsMessagesUntilItIsBack) {
    run({});
    announceStream(3);
    EXPECT_TRUE(waitFor([this] { return isObjectShown(); }));
    failAFrame();
    services.forgetCalls();
    AlarmOverlay::handleMessage(
        StreamAddedMessage(StreamProperties{4, 1, "h264", kWidth, kHeight, 0, false}));
    EXPECT_THAT(services.calls(), IsEmpty());
    holdStreams({3, 4});
    showObjects(kLimit);
    EXPECT_EQ(count("CreateOverlay"), 2);
    EXPECT_THAT(log.lines(), IsEmpty());
}

// Disabling

TEST_F(AlarmOverlayTest, IsOffAndHasNoOverlayLeftWhenItIsDisabled) {
    run({3, 4});
    services.forgetCalls();
    AlarmOverlay::disable();
    EXPECT_THAT(members(), ElementsAre("RemoveOverlay", "RemoveOverlay"));
    expectOff();
    services.forgetCalls();
    showObjects(2 * kLimit);
    configure();
    EXPECT_THAT(services.calls(), IsEmpty());
    AlarmOverlay::disable();
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(AlarmOverlayTest, CanBeEnabledAgain) {
    run();
    AlarmOverlay::disable();
    services.forgetCalls();
    run();
    EXPECT_TRUE(isObjectShown());
}

TEST_F(AlarmOverlayTest, GivesUpAResetWhenItIsDisabled) {
    run();
    failAFrame();
    showObjects(kLimit - 1);
    AlarmOverlay::disable();
    expectOff();
    services.forgetCalls();
    showObjects(2 * kLimit);
    EXPECT_THAT(services.calls(), IsEmpty());
    // Nothing of the old reset is counted on.
    AlarmOverlay::enableIfSupported();
    services.forgetCalls();
    showObjects(kLimit);
    EXPECT_THAT(services.calls(), IsEmpty());
}

// Several threads

TEST_F(AlarmOverlayTest, LeavesTheLockFreeDuringAFrame) {
    run();
    services.forgetCalls();
    std::vector<bool> isFree;
    services.answerRequests([&isFree](const std::string&) {
        isFree.push_back(isLockFree());
        return std::string(R"({"data": {"buffer": 0}})") + '\0';
    });
    showObject();
    EXPECT_THAT(isFree, ElementsAre(true, true));
    EXPECT_THAT(members(), ElementsAre("SetProperties"));
}

TEST_F(AlarmOverlayTest, LeavesTheLockFreeWhileItListsStreamsAndOverlays) {
    run();
    failAFrame();
    std::vector<bool> isFree;
    services.answer("GetManagedObjects", [&isFree] {
        isFree.push_back(isLockFree());
        return g_variant_new_parsed("(@a{oa{sa{sv}}} {},)");
    });
    showObjects(kLimit);
    EXPECT_THAT(isFree, ElementsAre(true, true));
    isFree.clear();
    configure({kProfile}, 640, 480);
    EXPECT_THAT(isFree, ElementsAre(true, true));
}

TEST_F(AlarmOverlayTest, HoldsTheLockForAMessage) {
    run({});
    std::vector<bool> isFree;
    services.answer("CreateOverlay", [&isFree] {
        isFree.push_back(isLockFree());
        return g_variant_new("(o)", "/com/orva/Overlay2/Overlay/1");
    });
    AlarmOverlay::handleMessage(
        StreamAddedMessage(StreamProperties{3, 1, "h264", kWidth, kHeight, 0, false}));
    EXPECT_THAT(isFree, ElementsAre(false));
}

TEST_F(AlarmOverlayTest, WaitsForTheFrameInProgressWhenItIsDisabled) {
    run();
    services.forgetCalls();
    std::thread disabling;
    services.answerRequests([&](const std::string&) {
        if (!disabling.joinable()) {
            disabling = std::thread(AlarmOverlay::disable);
            EXPECT_TRUE(isLockHeldInTime());
        }
        return std::string(R"({"data": {"buffer": 0}})") + '\0';
    });
    showObject();
    disabling.join();
    EXPECT_THAT(members(), ElementsAre("SetProperties", "RemoveOverlay"));
    expectOff();
}

TEST_F(AlarmOverlayTest, StaysOffWhenTheFrameInProgressFailsWhileItIsDisabled) {
    run();
    services.forgetCalls();
    std::thread disabling;
    services.answerRequests([&](const std::string&) {
        disabling = std::thread(AlarmOverlay::disable);
        EXPECT_TRUE(isLockHeldInTime());
        return std::string("error") + '\0';
    });
    showObject();
    disabling.join();
    expectOff();
    services.forgetCalls();
    showObjects(2 * kLimit);
    EXPECT_THAT(services.calls(), IsEmpty());
}

TEST_F(AlarmOverlayTest, KeepsItsNewHandlerWhenAFrameOfTheOldOneFails) {
    run();
    std::thread switching;
    services.answerRequests([&](const std::string&) {
        switching = std::thread([] {
            g_autoptr(GRecMutexLocker) locker = g_rec_mutex_locker_new(AlarmOverlay::getLock());
            AlarmOverlay::disable();
            AlarmOverlay::enableIfSupported();
        });
        EXPECT_TRUE(isLockHeldInTime());
        return std::string("error") + '\0';
    });
    showObject();
    switching.join();
    services.answerRequests({});
    configure();
    EXPECT_TRUE(isObjectShown());
}

TEST_F(AlarmOverlayTest, KeepsAMessageWaitingForTheFrameInProgress) {
    run({3, 4});
    services.forgetCalls();
    std::thread message;
    services.answerRequests([&](const std::string&) {
        if (!message.joinable()) {
            message = std::thread([] { AlarmOverlay::handleMessage(StreamRemovedMessage(3)); });
            EXPECT_TRUE(isLockHeldInTime());
        }
        return std::string(R"({"data": {"buffer": 0}})") + '\0';
    });
    showObject();
    message.join();
    EXPECT_THAT(members(), ElementsAre("SetProperties", "SetProperties", "RemoveOverlay"));
}

TEST_F(AlarmOverlayTest, ResetsWithTheConfigurationThatWaitsForTheFrameThatFails) {
    run();
    std::thread configuring;
    services.answerRequests([&](const std::string&) {
        configuring = std::thread([] { configure({kProfile}, 640, 480); });
        EXPECT_TRUE(isLockHeldInTime());
        return std::string("error") + '\0';
    });
    showObject();
    configuring.join();
    services.answerRequests({});
    services.holdObjects(kStreams,
                         "{'" + std::string(kStreams) + "/5': " + streamText(5, "640x480") + "}");
    services.forgetCalls();
    showObjects(kLimit);
    EXPECT_THAT(services.calls(),
                Contains(AllOf(StartsWith("CreateOverlay "), HasSubstr("'Size': '640x480'"))));
}

TEST_F(AlarmOverlayTest, ResetsOnceForTwoFramesThatFailWithOneHandler) {
    run();
    services.answerRequests([](const std::string&) { return std::string("error") + '\0'; });
    std::thread other(showObject);
    showObject();
    other.join();
    services.answerRequests({});
    // The later of the two may have been counted.
    showObjects(kLimit - 2);
    services.forgetCalls();
    showObjects(2);
    EXPECT_EQ(count("OpenCameraDevice"), 1);
    EXPECT_TRUE(isObjectShown());
}

}  // namespace

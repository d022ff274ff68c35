// The order of setting a configuration is what counts: everything that can refuse it, then the
// file, then what runs.

#include <dlfcn.h>

#include <future>
#include <map>
#include <optional>
#include <thread>
#include <utility>

#include "cgi/cgi_handler_fixture.h"
#include "cgi/lock_hook.h"
#include "support/failing_json_memory.h"
#include "support/wait_for.h"

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

bool isArrayBroken = false;

}  // namespace

/// Stands before the JSON library's own, to let an array lack an element that it counts.
extern "C" json_t* json_array_get(const json_t* array, std::size_t index) {
    static const auto original =
        reinterpret_cast<decltype(&json_array_get)>(dlsym(RTLD_NEXT, "json_array_get"));
    return isArrayBroken && index == 0 ? nullptr : original(array, index);
}

namespace {

class SetConfiguration : public CGI_HandlerFixture<CGI_Handler> {
protected:
    explicit SetConfiguration(const WatchedDevice::Parameters& parameters = WatchedDevice::plain)
        : CGI_HandlerFixture(parameters) {}

    /// A handler on a file that can be read, and not replaced: its name leaves no room for that of
    /// a temporary file beside it.
    void makeFileFinal() {
        const std::string path = folder.write(std::string(250, 'c'), documentOf({}));
        handler = std::make_unique<CGI_Handler>(*container, controlVersions(), path,
                                                motionLevelPath(), &limits, &defaults, &parser);
    }
    /// Sets a configuration and, before its n-th lock, another one from another thread: whether
    /// that was let in; no value when there are not so many locks.
    std::optional<bool> isAnotherLetInBefore(int n) {
        std::thread another;
        bool isLetIn = false;
        std::promise<void> hasKnocked;
        const auto setAnother = [&] {
            bool isFirst = true;
            const LockHook knock([&](GMutex* mutex) {
                if (std::exchange(isFirst, false)) {
                    isLetIn = g_mutex_trylock(mutex) != FALSE;
                    if (isLetIn) {
                        g_mutex_unlock(mutex);
                    }
                    hasKnocked.set_value();
                }
            });
            EXPECT_EQ(set(documentOf({7})), StatusOk);
        };
        int locks = 0;
        {
            const LockHook hook([&](GMutex*) {
                if (++locks == n) {
                    another = std::thread(setAnother);
                    hasKnocked.get_future().wait();
                }
            });
            EXPECT_EQ(set(documentOf({4})), StatusOk);
        }
        if (!another.joinable()) {
            return {};
        }
        another.join();
        return isLetIn;
    }
    /// Stores a document with that counter.
    void storeCounter(const std::string& counter) {
        store(with(
            documentOf({}),
            {{"params", R"({"cameras":[],"profiles":[],"configurationStatus":)" + counter + "}"}}));
    }
};

class SetConfigurationOnPTZ : public SetConfiguration {
protected:
    SetConfigurationOnPTZ() : SetConfiguration(WatchedDevice::mechanicalPTZ) {}
};

}  // namespace

TEST_F(SetConfiguration, StoresTheRequestAndRunsIt) {
    store(documentOf({}));
    EXPECT_EQ(set(documentOf({3, 7})), StatusOk);
    EXPECT_THAT(StagedContainer::profiles(), ElementsAre(3, 7));
    EXPECT_EQ(textOf(json(stored())),
              with(documentOf({3, 7}),
                   {{"params", textOf(json_object_get(json(stored()).get(), "params"))}}));
    expectWarnings({"Detected video type '' is invalid, assuming aspect ratio 1.0.\n"});
}

TEST_F(SetConfiguration, StoresTheWholeTextWithEnvelopeAndUnknownKeysInOrder) {
    store(documentOf({}));
    EXPECT_EQ(
        set(R"({"zoo":[null,1.5],"params":{"profiles":[],"x":{"b":1,"a":0.123456},)"
            R"("cameras":[{"id":1,"active":true,"rotation":0}]},"method":"any","context":"me","apiVersion":"1.4","q":"é\u0001"})"),
        StatusOk);
    EXPECT_EQ(stored(), R"({"zoo": [null, 1.5], "params": {"profiles": [], "x": {"b": 1, )"
                        R"("a": 0.1235}, "cameras": [{"id": 1, "active": true, "rotation": 0}], )"
                        R"("configurationStatus": 1}, )"
                        R"("method": "any", "context": "me", "apiVersion": "1.4", )"
                        R"("q": "é\u0001"})");
}

TEST_F(SetConfiguration, RunsWithTheNumbersOfTheRequestAndStoresRoundedOnes) {
    store(documentOf({}));
    const std::string area =
        TestProfile::includeArea("[[-0.50062,-0.5],[-0.50062,0.5],[0.5,0.5],[0.5,-0.5]]");
    EXPECT_EQ(set(TestProfile::document({TestProfile::camera(1)},
                                        {TestProfile::profile({{"triggers", "[" + area + "]"}})})),
              StatusOk);
    EXPECT_NE(stored().find("-0.5006"), std::string::npos) << stored();
    run("startVisualConfirmation", R"({"profile":1,"transform":[1,0,0,0,1,0,0,0,1]})");
    run("sendAlarmEvent", R"({"profile":1})");
    show(1s);
    const std::vector<std::string> frames = device.takeFrames();
    ASSERT_EQ(frames.size(), 1U);
    // 2051 of 4096. The stored number would be 2050, which is -0.500.
    EXPECT_NE(frames[0].find("points=\" -0.501,"), std::string::npos) << frames[0];
}

TEST_F(SetConfiguration, CountsEachConfigurationThatIsStored) {
    store(documentOf({}));
    EXPECT_EQ(set(documentOf({1})), StatusOk);
    EXPECT_EQ(storedCounter(), 1);
    EXPECT_EQ(set(documentOf({1})), StatusOk);
    EXPECT_EQ(storedCounter(), 2);
}

TEST_F(SetConfiguration, LetsTheCounterWrapFromTheGreatestToOne) {
    storeCounter("2147483646");
    EXPECT_EQ(set(documentOf({1})), StatusOk);
    EXPECT_EQ(storedCounter(), 2147483647);
    EXPECT_EQ(set(documentOf({1})), StatusOk);
    EXPECT_EQ(storedCounter(), 1);
}

TEST_F(SetConfiguration, CountsFromTheStoredNumberWhateverTheRequestSays) {
    storeCounter("41");
    EXPECT_EQ(set(R"({"apiVersion":"1.4","params":{"configurationStatus":"many","profiles":[],)"
                  R"("cameras":[{"id":1,"active":false,"rotation":0}]}})"),
              StatusOk);
    EXPECT_EQ(stored(),
              R"({"apiVersion": "1.4", "params": {"configurationStatus": 42, )"
              R"("profiles": [], "cameras": [{"id": 1, "active": false, "rotation": 0}]}})");
}

TEST_F(SetConfigurationOnPTZ, CompletesARequestOfAnOlderVersion) {
    store(TestProfile::document(
        {TestProfile::camera(1)},
        {TestProfile::profile({{"presets", "[3]"}, {"alarmOverlayEnabled", "false"}})}));
    EXPECT_EQ(set(TestProfile::document({TestProfile::camera(1)}, {TestProfile::profile()}, "1.0")),
              StatusOk);
    const JsonAutoPtr document = json(stored());
    EXPECT_STREQ(json_string_value(json_object_get(document.get(), "apiVersion")), "1.4");
    const json_t* profile =
        json_array_get(json_object_get(json_object_get(document.get(), "params"), "profiles"), 0);
    EXPECT_EQ(textOf(json_object_get(profile, "presets")), "[3]");
    EXPECT_EQ(textOf(json_object_get(profile, "alarmOverlayEnabled")), "false");
}

TEST_F(SetConfiguration, AnswersThroughTheEnvelopeAsWell) {
    store(documentOf({}));
    EXPECT_EQ(check(handler->handleRequest(documentOf({5}).c_str())), StatusOk);
    EXPECT_THAT(StagedContainer::profiles(), ElementsAre(5));
}

TEST_F(SetConfiguration, FailsAlwaysWhenThereIsNoFile) {
    const auto result = handler->handleSetRequest(documentOf({1}).c_str());
    EXPECT_EQ(result->status, StatusFileError);
    EXPECT_EQ(result->code, "1000");
    EXPECT_TRUE(log.has(LOG_WARNING, "Could not convert configuration to new API-version\n"));
    EXPECT_FALSE(CameraContainer::hasCameras());
    EXPECT_THAT(folder.names(), IsEmpty());
}

TEST_F(SetConfiguration, FailsWithTheStatusOfTheConversion) {
    start({4});
    const std::string before = stored();
    EXPECT_EQ(set("{"), StatusMalformedJson);
    expectWarnings({"Unable to decode Json: \n", "{\n",
                    "Could not convert configuration to new API-version\n"});
    EXPECT_EQ(set("{}"), StatusMissingParameter);
    expectWarnings({"Failed to parse apiVersion\n", "{}\n",
                    "Could not convert configuration to new API-version\n"});
    EXPECT_EQ(stored(), before);
    EXPECT_THAT(StagedContainer::profiles(), ElementsAre(4));
}

TEST_F(SetConfiguration, FailsWithTheStatusOfTheParser) {
    start({4});
    const std::string before = stored();
    const std::string twice = documentOf({4, 4});
    const std::map<std::string, StatusCode_e> refused = {
        {R"({"apiVersion":"1.4","method":"setConfiguration"})", StatusMissingParameter},
        {TestProfile::document({TestProfile::camera(1)},
                               {TestProfile::profile({{"name", "\"\""}})}),
         StatusInvalidParameter},
        {twice, StatusConflict},
        {documentOf({1, 2, 3, 4}), StatusTooManyRules},
        {TestProfile::document({TestProfile::camera(1)}, {"null"}), StatusMissingParameter}};
    for (const auto& [document, status] : refused) {
        EXPECT_EQ(set(document), status) << document;
        EXPECT_EQ(log.lines().back(),
                  (SyslogCapture::Line{LOG_WARNING, "Could not parse configuration\n"}));
    }
    EXPECT_EQ(stored(), before);
    EXPECT_EQ(storedCounter(), 1);
    EXPECT_THAT(StagedContainer::profiles(), ElementsAre(4));
}

TEST_F(SetConfiguration, KeepsTheOldConfigurationRunningWhenTheNewOneCannotBeSaved) {
    makeFileFinal();
    apply({4});
    log.clear();
    const auto result = handler->handleSetRequest(documentOf({4, 8}).c_str());
    EXPECT_EQ(result->status, StatusSaveError);
    EXPECT_EQ(result->data, nullptr);
    ASSERT_EQ(log.lines().size(), 2U);
    EXPECT_EQ(log.lines()[0].text.substr(0, 20), "Could not write file");
    EXPECT_EQ(log.lines()[1], (SyslogCapture::Line{LOG_WARNING, "Could not save configuration\n"}));
    EXPECT_THAT(StagedContainer::profiles(), ElementsAre(4));
    EXPECT_EQ(folder.read(std::string(250, 'c')), documentOf({}));
    // Its guards were there for a moment, and declared.
    EXPECT_THAT(device.declared(), testing::Contains("Camera1Profile8"));
    EXPECT_TRUE(device.isUndeclaredInTime("Camera1Profile8"));
    EXPECT_TRUE(device.isDeclared("Camera1Profile4"));
}

TEST_F(SetConfiguration, AnAlarmOutlivesAConfigurationThatCannotBeSaved) {
    makeFileFinal();
    apply({4});
    run("sendAlarmEvent", R"({"profile":4})");
    show(1s);
    const std::vector<std::string> started = device.sent();
    EXPECT_THAT(started, testing::Contains("Camera1Profile4 active=true"));
    EXPECT_EQ(set(documentOf({4})), StatusSaveError);
    device.runTimer();
    EXPECT_EQ(device.sent(), started);
    EXPECT_TRUE(device.isDeclared("Camera1Profile4"));
    show(4001ms);
    EXPECT_THAT(device.sent(), testing::Contains("Camera1Profile4 active=false"));
}

TEST_F(SetConfiguration, IsRefusedWhenThereIsNoMemoryAtAnyStep) {
    start({4});
    const std::string document = documentOf({4});
    ASSERT_EQ(set(document), StatusOk);
    const std::string before = stored();
    for (int n = 1;; ++n) {
        StatusCode_e status = StatusOk;
        {
            const FailingJsonMemory memory(n);
            status = handler->handleSetRequest(document.c_str())->status;
            if (memory.hasNotFailed()) {
                break;
            }
        }
        // An allocation may fail where nothing hangs on it; then it is a success.
        if (status == StatusOk) {
            ASSERT_NE(stored(), before) << n;
            store(before);
        } else {
            ASSERT_EQ(stored(), before) << n;
        }
        ASSERT_THAT(StagedContainer::profiles(), ElementsAre(4)) << n;
    }
    EXPECT_EQ(storedCounter(), 3);
}

// The two at once

TEST_F(SetConfiguration, TwoThreadsStoreAndRunWholeDocumentsOneAfterTheOther) {
    store(documentOf({}));
    constexpr int rounds = 50;
    const auto setAgainAndAgain = [this](const std::vector<int>& uids) {
        const std::string document = documentOf(uids);
        for (int i = 0; i < rounds; ++i) {
            EXPECT_EQ(handler->handleSetRequest(document.c_str())->status, StatusOk);
        }
    };
    std::thread other(setAgainAndAgain, std::vector<int>{1, 2, 3});
    setAgainAndAgain({7, 8});
    other.join();
    EXPECT_EQ(storedCounter(), 2 * rounds);
    const std::vector<int> running = StagedContainer::profiles();
    std::vector<int> inFile;
    const JsonAutoPtr document = json(stored());
    const json_t* profiles = json_object_get(json_object_get(document.get(), "params"), "profiles");
    for (std::size_t i = 0; i < json_array_size(profiles); ++i) {
        inFile.push_back(static_cast<int>(
            json_integer_value(json_object_get(json_array_get(profiles, i), "uid"))));
    }
    EXPECT_EQ(running, inFile);
}

TEST_F(SetConfiguration, LetsNoOtherInFromItsFirstLookAtTheFileToTheSwap) {
    start({4});
    int n = 2;  // the first lock is the one that keeps others out
    for (; const std::optional<bool> isLetIn = isAnotherLetInBefore(n); ++n) {
        EXPECT_FALSE(*isLetIn) << n;
    }
    // The file is read twice and written, and the cameras are changed.
    EXPECT_GT(n, 5);
}

// Presets of a moving camera

TEST_F(SetConfigurationOnPTZ, GivesEachProfileAnArrayOfPresets) {
    store(documentOf({}));
    EXPECT_EQ(
        set(TestProfile::document({TestProfile::camera(1)},
                                  {TestProfile::profile({{"uid", "1"}}),
                                   TestProfile::profile({{"uid", "2"}, {"presets", "[3]"}})})),
        StatusOk);
    const JsonAutoPtr document = json(stored());
    const json_t* profiles = json_object_get(json_object_get(document.get(), "params"), "profiles");
    EXPECT_EQ(textOf(json_object_get(json_array_get(profiles, 0), "presets")), "[]");
    EXPECT_EQ(textOf(json_object_get(json_array_get(profiles, 1), "presets")), "[3]");
}

TEST_F(SetConfiguration, AddsNoPresetsOnAFixedCamera) {
    store(documentOf({}));
    EXPECT_EQ(set(documentOf({1})), StatusOk);
    EXPECT_EQ(stored().find("presets"), std::string::npos);
}

// The helpers

TEST_F(SetConfiguration, UpdatesTheCounterOfADocument) {
    const std::string document = R"({"params":{"a":1}})";
    EXPECT_EQ(textOf(handler->updateConfigurationStatus(document, 0)),
              R"({"params":{"a":1,"configurationStatus":1}})");
    EXPECT_EQ(textOf(handler->updateConfigurationStatus(document, -5)),
              R"({"params":{"a":1,"configurationStatus":-4}})");
    EXPECT_EQ(textOf(handler->updateConfigurationStatus(document, 2147483646)),
              R"({"params":{"a":1,"configurationStatus":2147483647}})");
    EXPECT_EQ(textOf(handler->updateConfigurationStatus(document, 2147483647)),
              R"({"params":{"a":1,"configurationStatus":1}})");
    EXPECT_EQ(handler->updateConfigurationStatus("{", 0).get(), nullptr);
    EXPECT_EQ(handler->updateConfigurationStatus("{}", 0).get(), nullptr);
}

TEST_F(SetConfiguration, UpdatesADocumentByTheStoredCounter) {
    storeCounter("6");
    EXPECT_EQ(textOf(handler->updateQuery(R"({"params":{"profiles":[{}]}})")),
              R"({"params":{"profiles":[{}],"configurationStatus":7}})");
}

TEST_F(SetConfigurationOnPTZ, UpdatesADocumentWithPresetsAsWell) {
    EXPECT_EQ(textOf(handler->updateQuery(R"({"params":{"profiles":[{}]}})")),
              R"({"params":{"profiles":[{"presets":[]}],"configurationStatus":1}})");
}

TEST_F(SetConfiguration, AddsAnEmptyArrayOfPresetsWhereThereIsNone) {
    const JsonAutoPtr document =
        json(R"({"params":{"profiles":[{},{"presets":[1]},{"presets":7,"x":0}]}})");
    handler->addEmptyPTZ_PresetsIfMissing(document.get());
    EXPECT_EQ(textOf(document),
              R"({"params":{"profiles":[{"presets":[]},{"presets":[1]},{"presets":[],"x":0}]}})");
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(SetConfiguration, TellsWhereNoPresetsCanBeAdded) {
    const std::string noParams =
        "Could not get 'params'  when trying to add missing PTZ preset array\n";
    handler->addEmptyPTZ_PresetsIfMissing(json("{}").get());
    handler->addEmptyPTZ_PresetsIfMissing(json(R"({"params":[]})").get());
    handler->addEmptyPTZ_PresetsIfMissing(nullptr);
    expectWarnings({noParams, noParams, noParams});
    const std::string noProfiles =
        "Could not get 'profiles' when trying to add missing PTZ preset array \n";
    handler->addEmptyPTZ_PresetsIfMissing(json(R"({"params":{}})").get());
    handler->addEmptyPTZ_PresetsIfMissing(json(R"({"params":{"profiles":{}}})").get());
    expectWarnings({noProfiles, noProfiles});
    const JsonAutoPtr document = json(R"({"params":{"profiles":[null,{}]}})");
    handler->addEmptyPTZ_PresetsIfMissing(document.get());
    EXPECT_EQ(textOf(document), R"({"params":{"profiles":[null,{"presets":[]}]}})");
    expectWarnings({"Could not append presets array\n"});
}

TEST_F(SetConfiguration, GoesOnBehindAProfileThatIsMissing) {
    const JsonAutoPtr document = json(R"({"params":{"profiles":[{},{}]}})");
    isArrayBroken = true;
    handler->addEmptyPTZ_PresetsIfMissing(document.get());
    isArrayBroken = false;
    EXPECT_EQ(textOf(document), R"({"params":{"profiles":[{},{"presets":[]}]}})");
    expectWarnings({"Could not get the 'profile'  when trying to add missing PTZ preset array\n"});
}

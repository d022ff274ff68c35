#include "cgi/cgi_handler.h"

#include <dlfcn.h>
#include <sys/stat.h>

#include <functional>
#include <set>

#include "cgi/cgi_handler_fixture.h"
#include "cgi/cgi_header.h"
#include "cgi/lock_hook.h"
#include "support/failing_json_memory.h"
#include "support/fake_clock.h"
#include "support/status_matchers.h"

using namespace std::chrono_literals;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/// The append that fails, counted from now; 0 for none.
int failingAppend = 0;

}  // namespace

/// Stands before the JSON library's own: short arrays never want for memory.
extern "C" int json_array_append_new(json_t* array, json_t* value) {
    static const auto original = reinterpret_cast<decltype(&json_array_append_new)>(
        dlsym(RTLD_NEXT, "json_array_append_new"));
    if (failingAppend > 0 && --failingAppend == 0) {
        json_decref(value);
        return -1;
    }
    return original(array, value);
}

namespace {

class CGI_HandlerTest : public CGI_HandlerFixture<CGI_Handler> {
protected:
    explicit CGI_HandlerTest(const WatchedDevice::Parameters& parameters = WatchedDevice::plain)
        : CGI_HandlerFixture(parameters) {}

    static constexpr const char* kIdentity = "[1,0,0,0,1,0,0,0,1]";
    static constexpr const char* kIdentityTag =
        "<g transform=\"matrix(1 0 0 -1 0 0) matrix(1.0000 0.0000 0.0000 1.0000 0.0000 0.0000 )\" "
        ">";

    static std::string confirmation(int profile, const std::string& transform = kIdentity) {
        return R"({"profile":)" + std::to_string(profile) + R"(,"transform":)" + transform + "}";
    }
    std::string data(const std::string& method) {
        const auto result = run(method);
        EXPECT_EQ(result->status, StatusOk);
        return textOf(result->data);
    }
    /// The reasons for which the method fails when memory ends at one allocation or another, each
    /// with an internal error.
    std::set<std::string> reasonsWithoutMemory(
        const std::function<std::unique_ptr<CGI_HandlerResult>()>& method) {
        std::set<std::string> reasons;
        for (int n = 1;; ++n) {
            log.clear();
            std::unique_ptr<CGI_HandlerResult> result;
            {
                const FailingJsonMemory memory(n);
                result = method();
                if (memory.hasNotFailed()) {
                    EXPECT_EQ(result->status, StatusOk);
                    return reasons;
                }
            }
            if (result->status == StatusOk) {
                continue;
            }
            EXPECT_EQ(result->status, StatusInternalError);
            EXPECT_EQ(result->data, nullptr);
            reasons.insert(log.texts().back());
        }
    }
};

class CGI_HandlerOnTwoCameras : public CGI_HandlerTest {
protected:
    CGI_HandlerOnTwoCameras() : CGI_HandlerTest(WatchedDevice::twoCameras()) {}
};

class CGI_HandlerOnPTZ : public CGI_HandlerTest {
protected:
    CGI_HandlerOnPTZ() : CGI_HandlerTest(WatchedDevice::mechanicalPTZ) {}
};

/// A kind of handler with answers of its own.
class OwnHandler : public CGI_Handler {
public:
    using CGI_Handler::CGI_Handler;

    std::unique_ptr<CGI_HandlerResult> handleSetRequest(const char* text) override {
        seen = text;
        return std::make_unique<CGI_HandlerResult>(nullptr, StatusOk);
    }
    JsonAutoPtr createDefaultFilters() const override { return json("[1]"); }
    JsonAutoPtr createDefaultTriggers() const override { return json("[2]"); }

    std::string seen;
};

class OwnHandlerTest : public CGI_HandlerFixture<OwnHandler> {};

}  // namespace

// Heads and names

TEST_F(CGI_HandlerTest, HasNoResultForABadHead) {
    for (const char* text :
         {"", "{", "{}", R"({"method":"getConfiguration"})", R"({"apiVersion":"1.4"})",
          R"({"apiVersion":"2.0","method":"getConfiguration"})"}) {
        EXPECT_EQ(handler->handleRequest(text), nullptr) << text;
    }
}

TEST_F(CGI_HandlerTest, ExtractsTheHead) {
    const CGI_Header header =
        handler->extractHeader(R"({"apiVersion":"1.0","method":"any","context":"me"})");
    EXPECT_EQ(header.status, StatusOk);
    EXPECT_EQ(header.method, "any");
    EXPECT_EQ(header.context, "me");
    EXPECT_EQ(header.apiVersion, "1.4");
    EXPECT_EQ(handler->extractHeader("{").status, StatusMalformedJson);
}

TEST_F(CGI_HandlerTest, KnowsNoOtherMethods) {
    for (const char* name : {"getconfiguration", "setConfiguration ", "x"}) {
        const auto result = run(name);
        EXPECT_EQ(result->status, StatusMethodNotFound) << name;
        EXPECT_EQ(result->code, "2005");
        EXPECT_EQ(result->message, "The requested CGI method was not found");
        EXPECT_EQ(result->data, nullptr);
    }
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(CGI_HandlerTest, HasAMethodForAMissingOne) {
    const auto result = run("missingMethod");
    EXPECT_EQ(result->status, StatusMissingParameter);
    EXPECT_EQ(result->code, "2003");
    EXPECT_EQ(result->data, nullptr);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(OwnHandlerTest, LetsASubclassAnswer) {
    const std::string text = request("setConfiguration", "{}");
    EXPECT_EQ(handler->handleRequest(text.c_str())->status, StatusOk);
    EXPECT_EQ(handler->seen, text);
    const auto result = run("getConfigurationCapabilities");
    EXPECT_EQ(textOf(json_object_get(result->data, "filters")), "[1]");
    EXPECT_EQ(textOf(json_object_get(result->data, "triggers")), "[2]");
}

TEST_F(CGI_HandlerTest, ThrowsWhenAConditionHolds) {
    EXPECT_NO_THROW(handler->throwIf(false, "quiet", StatusConflict));
    expectStatus([&] { handler->throwIf(true, "loud", StatusConflict); }, StatusConflict, "loud");
}

// getConfiguration

TEST_F(CGI_HandlerTest, GivesTheStoredParameters) {
    store(R"({"apiVersion":"1.4","params":{"z":1,"a":[0.123456,null],"configurationStatus":3}})");
    EXPECT_EQ(data("getConfiguration"), R"({"z":1,"a":[0.1235,null],"configurationStatus":3})");
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(CGI_HandlerTest, GivesWhatTheLastConfigurationStored) {
    start({2});
    const std::string parameters = data("getConfiguration");
    EXPECT_EQ(parameters, textOf(json_object_get(json(stored()).get(), "params")));
    EXPECT_EQ(set(documentOf({4, 4})), StatusConflict);
    EXPECT_EQ(data("getConfiguration"), parameters);
}

TEST_F(CGI_HandlerTest, CannotGiveAConfigurationThatIsNotThere) {
    const auto result = run("getConfiguration");
    EXPECT_EQ(result->status, StatusFileError);
    EXPECT_EQ(result->code, "1000");
    EXPECT_EQ(result->data, nullptr);
    expectWarnings({"Could not read the configuration file\n"});
}

TEST_F(CGI_HandlerTest, CannotGiveAConfigurationThatIsNoJson) {
    store("{");
    EXPECT_EQ(statusOf("getConfiguration"), StatusFileError);
    expectWarnings({"Failed to read from file " + configurationPath() + "\n",
                    "Could not read the configuration file\n"});
}

TEST_F(CGI_HandlerTest, CannotGiveAConfigurationWithoutParameters) {
    for (const char* document : {"{}", R"({"params":[]})", "[]"}) {
        store(document);
        EXPECT_EQ(statusOf("getConfiguration"), StatusInternalError) << document;
        expectWarnings({"Could not get 'params' from the decoded json\n"});
    }
}

TEST_F(CGI_HandlerTest, CannotGiveAConfigurationWithoutMemory) {
    store(R"({"params":{"a":[]}})");
    std::set<std::string> reasons;
    const std::string text = request("getConfiguration");
    for (int n = 1;; ++n) {
        log.clear();
        const FailingJsonMemory memory(n);
        // The head takes memory, too; that is another matter.
        const auto result = handler->handleRequestedCgi(text.c_str(), "getConfiguration");
        if (memory.hasNotFailed()) {
            EXPECT_EQ(result->status, StatusOk);
            break;
        }
        if (result->status != StatusOk) {
            EXPECT_EQ(result->data, nullptr);
            reasons.insert(log.texts().back());
        }
    }
    EXPECT_THAT(reasons, ElementsAre("Could not copy 'params' from the decoded json\n",
                                     "Could not decode the json from the configuration file\n",
                                     "Could not read the configuration file\n"));
}

// getSupportedVersions

TEST_F(CGI_HandlerTest, ListsTheVersionsFromTheLowest) {
    EXPECT_EQ(data("getSupportedVersions"), R"({"apiVersions":["1.0","1.1","1.2","1.3","1.4"]})");
}

TEST_F(CGI_HandlerTest, LetsTheLackOfMemoryForVersionsPass) {
    // So many that the array has to grow.
    const std::vector<const char*> texts(20, "1.0");
    const API_VersionHandler many(texts.data(), static_cast<int>(texts.size()));
    CGI_Handler ofMany(*container, many, configurationPath(), motionLevelPath(), &limits, &defaults,
                       &parser);
    std::set<std::string> reasons;
    for (int n = 1;; ++n) {
        const FailingJsonMemory memory(n);
        try {
            const auto result = ofMany.handleRequestedCgi("", "getSupportedVersions");
            if (memory.hasNotFailed()) {
                EXPECT_EQ(result->status, StatusOk);
                break;
            }
        } catch (const StatusException& reason) {
            EXPECT_EQ(reason.status, StatusInternalError);
            reasons.insert(reason.message);
        }
    }
    EXPECT_THAT(reasons, ElementsAre("Could not create a version json array",
                                     "Could not create the response for GetSupportedVersions",
                                     "Could not create the versions json array",
                                     "Could not extend the versions json array",
                                     "Could not insert the apiVersions array into the response"));
    EXPECT_THAT(log.lines(), IsEmpty());
}

// getConfigurationCapabilities

TEST_F(CGI_HandlerTest, TellsWhatAClientMayWrite) {
    EXPECT_EQ(
        data("getConfigurationCapabilities"),
        R"({"filters":[)"
        R"({"type":"sizePercentage","min":[3,3],"max":[100,100],"default":[5,5],)"
        R"("defaultActive":true},)"
        R"({"type":"timeShortLivedLimit","min":1,"max":5,"default":1,"defaultActive":true},)"
        R"({"type":"distanceSwayingObject","min":3,"max":20,"default":5,"defaultActive":true},)"
        R"({"type":"excludeArea","min":[-1.0,-1.0],"max":[1.0,1.0],"minNbrVertices":3,)"
        R"("maxNbrVertices":20,"minNbrInstances":0,"maxNbrInstances":3,"defaultInstance":)"
        R"([[-0.2,-0.2],[-0.2,0.2],[0.2,0.2],[0.2,-0.2]]}],)"
        R"("triggers":[{"type":"includeArea","min":[-1.0,-1.0],"max":[1.0,1.0],)"
        R"("minNbrVertices":3,"maxNbrVertices":20,"minNbrInstances":1,"maxNbrInstances":1,)"
        R"("defaultInstance":[[-0.97,-0.97],[-0.97,0.97],[0.97,0.97],[0.97,-0.97]]}],)"
        R"("profiles":{"minNbrProfilesPerCamera":0,"maxNbrProfilesPerCamera":3,)"
        R"("minLengthName":1,"maxLengthName":64},)"
        R"("alarmOverlay":{"isSupported":false},)"
        R"("motionLevel":{"isSupported":true}})");
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(CGI_HandlerOnPTZ, TellsOfPresetsAtTheEnd) {
    const std::string text = data("getConfigurationCapabilities");
    const std::string end = R"("motionLevel":{"isSupported":true},)"
                            R"("presets":{"maxNbrPresetsPerProfile":1,"defaultPreset":-2}})";
    EXPECT_EQ(text.substr(text.size() - end.size()), end);
    EXPECT_NE(text.find(R"("maxNbrProfilesPerCamera":10)"), std::string::npos);
}

TEST_F(CGI_HandlerOnPTZ, TellsWhichStepOfTheCapabilitiesFailed) {
    const auto capabilities = [this] {
        return handler->handleRequestedCgi("", "getConfigurationCapabilities");
    };
    capabilities();  // so that the device has been asked before
    EXPECT_THAT(reasonsWithoutMemory(capabilities),
                testing::UnorderedElementsAre(
                    "Cannot create the default filters array\n",
                    "Cannot create the default values for the sizePercentageFilter\n",
                    "Cannot create the default values for the shortLivedFilter\n",
                    "Cannot create the default values for the swayingFilter\n",
                    "Cannot create the default values for the excludeArea\n",
                    "Cannot create the default triggers array\n",
                    "Cannot create the default values for the includeArea\n",
                    "Cannot create json data for isSupported for alarmOverlay\n",
                    "Cannot create json data for isSupported for motionLevel\n",
                    "Cannot create the default profiles data\n",
                    "Cannot create the data for the default profile\n",
                    "Cannot add the filters to the default configuration\n",
                    "Cannot add the triggers to the default configuration\n",
                    "Cannot add the profiles to the default configuration\n",
                    "Cannot add alarmOverlay to the default configuration\n",
                    "Cannot add motionLevel to the default configuration\n",
                    "Cannot create the presets for the default profile\n",
                    "Cannot add the presets to the default configuration\n"));
}

TEST_F(CGI_HandlerTest, TellsWhichElementOfTheCapabilitiesCouldNotBeAdded) {
    std::vector<std::string> reasons;
    for (int n = 1;; ++n) {
        failingAppend = n;
        const auto result = handler->handleRequestedCgi("", "getConfigurationCapabilities");
        if (std::exchange(failingAppend, 0) > 0) {
            EXPECT_EQ(result->status, StatusOk);
            break;
        }
        EXPECT_EQ(result->status, StatusInternalError);
        // The elements' own arrays are another matter.
        if (log.texts().back().starts_with("Cannot add ")) {
            reasons.push_back(log.texts().back());
        }
    }
    EXPECT_THAT(
        reasons,
        ElementsAre(
            "Cannot add the default values for the sizePercentageFilter to the filters array\n",
            "Cannot add the default values for the shortLivedFilter to the filters array\n",
            "Cannot add the default values for the swayingFilter to the filters array\n",
            "Cannot add the default values for the exclude area to the filters array\n",
            "Cannot add the default values for the includeArea to the triggers array\n"));
}

TEST_F(CGI_HandlerTest, TellsWhichValuesTheCapabilitiesLack) {
    // Another kind of application: it has loitering, no short lived filter and no include area.
    const DataBoundaries others(new SizePercentageFilterBoundaries{}, new PTZ_Boundaries{},
                                new ProfileBoundaries{}, new SwayingFilterBoundaries{},
                                new ExcludeAreaBoundaries{}, new LoiteringBoundaries{});
    makeHandler(others, defaults);
    const auto result = run("getConfigurationCapabilities");
    EXPECT_EQ(result->status, StatusInternalError);
    EXPECT_EQ(result->data, nullptr);
    expectWarnings({"Missing boundary values for the short lived filter\n"});
    expectStatus([&] { handler->createDefaultTriggers(); }, StatusInternalError,
                 "Missing boundary values for the include area");
}

// startVisualConfirmation, stopVisualConfirmation

TEST_F(CGI_HandlerTest, ShowsFramesOfAProfileInTheClientsPlane) {
    start({4});
    EXPECT_EQ(statusOf("startVisualConfirmation", confirmation(4)), StatusOk);
    EXPECT_TRUE(device.isDeclared("xinternal_data"));
    stage.track(1).enters({0, 0}, {200, 400});
    show(1s);
    const std::vector<std::string> frames = device.takeFrames();
    ASSERT_EQ(frames.size(), 1U);
    EXPECT_NE(frames[0].find(kIdentityTag), std::string::npos) << frames[0];
    EXPECT_NE(frames[0].find("fill:#"), std::string::npos) << frames[0];
}

TEST_F(CGI_HandlerTest, TakesTheNumbersOfTheTransformInTheirOrder) {
    start({4});
    EXPECT_EQ(statusOf("startVisualConfirmation", confirmation(4, "[2,1,0.5,1,4,-1,0,0,1]")),
              StatusOk);
    EXPECT_EQ(StagedContainer::find(1)->getVC_Data().name,
              "<g transform=\"matrix(1 0 0 -1 0 0) "
              "matrix(0.5714 -0.1429 -0.1429 0.2857 -0.4286 0.3571 )\" >");
}

TEST_F(CGI_HandlerTest, CountsTheFirstNineNumbersOfMore) {
    start({4});
    EXPECT_EQ(
        statusOf("startVisualConfirmation", confirmation(4, R"([1,0,0,0,1,0,0,0,1,5,"x",null])")),
        StatusOk);
    EXPECT_EQ(StagedContainer::find(1)->getVC_Data().name, kIdentityTag);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(CGI_HandlerTest, OnlyTurnsOverWithATransformThatCannotBeInverted) {
    start({4});
    EXPECT_EQ(statusOf("startVisualConfirmation", confirmation(4, "[0,0,0,0,0,0,0,0,0]")),
              StatusOk);
    EXPECT_EQ(StagedContainer::find(1)->getVC_Data().name,
              "<g transform=\"matrix(1 0 0 -1 0 0)\" >");
    expectWarnings({"The TransformationMatrix must be invertible.\n"});
}

TEST_F(CGI_HandlerTest, RefusesATransformThatIsNotNineNumbers) {
    start({4});
    for (const char* transform :
         {"[1,0,0,0,1,0,0,0]", R"([1,0,0,0,1,0,0,0,"1"])", "[null,0,0,0,1,0,0,0,1]", "{}", "9"}) {
        EXPECT_EQ(statusOf("startVisualConfirmation", confirmation(4, transform)),
                  StatusMissingParameter)
            << transform;
        expectWarnings({"Could not unpack the transformation matrix\n"});
    }
    EXPECT_EQ(statusOf("startVisualConfirmation", R"({"profile":4})"), StatusMissingParameter);
    expectWarnings({"Could not unpack the transformation matrix\n"});
    EXPECT_FALSE(container->isVisualConfEnabled());
}

TEST_F(CGI_HandlerTest, RefusesARequestForFramesThatIsNotWhole) {
    EXPECT_EQ(check(handler->handleRequestedCgi("{", "startVisualConfirmation")),
              StatusMalformedJson);
    expectWarnings({"Could not decode the startVisualConfirmation json data\n"});
    EXPECT_EQ(statusOf("startVisualConfirmation"), StatusMalformedJson);
    expectWarnings({"Could not decode the params for startVisualConfirmation\n"});
    for (const char* params :
         {"{}", R"({"profile":"4"})", R"({"profile":4.0})", R"({"profile":null})"}) {
        EXPECT_EQ(statusOf("startVisualConfirmation", params), StatusMissingParameter) << params;
        expectWarnings({"Could not unpack data for profile uid for startVisualConfirmation\n"});
    }
}

TEST_F(CGI_HandlerTest, CannotShowFramesOfAnUnknownProfile) {
    start({4});
    const auto result = run("startVisualConfirmation", confirmation(5));
    EXPECT_EQ(result->status, StatusConflict);
    EXPECT_EQ(result->code, "2002");
    EXPECT_EQ(result->data, nullptr);
    expectWarnings({"Could not enable visual confirmation\n"});
}

TEST_F(CGI_HandlerTest, LeavesFramesEnabledThatCouldNotBeDeclared) {
    start({4});
    device.failNextDeclaration();
    EXPECT_EQ(statusOf("startVisualConfirmation", confirmation(4)), StatusConflict);
    EXPECT_TRUE(log.has(LOG_WARNING, "FAILED to create event xinternal_data \n"));
    EXPECT_TRUE(log.has(LOG_WARNING, "Could not enable visual confirmation\n"));
    EXPECT_EQ(container->getVisualConfIdNbr(), 4);
    log.clear();
    // Asked again, all is said to be well, and still nothing stands declared.
    EXPECT_EQ(statusOf("startVisualConfirmation", confirmation(4)), StatusOk);
    EXPECT_THAT(log.lines(), IsEmpty());
    EXPECT_FALSE(device.isDeclared("xinternal_data"));
}

TEST_F(CGI_HandlerTest, ShowsFramesOfOneProfileAtATime) {
    start({4, 7});
    EXPECT_EQ(statusOf("startVisualConfirmation", confirmation(4)), StatusOk);
    EXPECT_EQ(statusOf("startVisualConfirmation", confirmation(7)), StatusOk);
    EXPECT_EQ(container->getVisualConfIdNbr(), 7);
    EXPECT_THAT(device.takeFrames(), ElementsAre("")) << "the end of the first";
    EXPECT_TRUE(device.isDeclared("xinternal_data"));
}

TEST_F(CGI_HandlerTest, RenewsTheTimeOfFramesOfTheSameProfile) {
    start({4});
    FakeClock clock(1000000);
    EXPECT_EQ(statusOf("startVisualConfirmation", confirmation(4)), StatusOk);
    clock.advance(899999999);
    EXPECT_EQ(statusOf("startVisualConfirmation", confirmation(4)), StatusOk);
    clock.advance(900000000);
    EXPECT_TRUE(container->isVisualConfEnabled());
    clock.advance(1);
    EXPECT_FALSE(container->isVisualConfEnabled());
    EXPECT_THAT(device.takeFrames(), IsEmpty());
}

TEST_F(CGI_HandlerTest, ClearsTheScreenOnceForEachEndOfATest) {
    start({4});
    run("startVisualConfirmation", confirmation(4));
    const std::string empty = "<svg><desc></desc></svg>";
    run("sendAlarmEvent", R"({"profile":4})");
    show(1s);
    show(4001ms);
    run("sendAlarmEvent", R"({"profile":4})");
    show(5s);
    show(8001ms);
    const std::vector<std::string> frames = device.takeFrames();
    ASSERT_EQ(frames.size(), 4U);
    EXPECT_NE(frames[0].find("includeArea"), std::string::npos);
    EXPECT_EQ(frames[1], empty);
    EXPECT_EQ(frames[3], empty);
}

TEST_F(CGI_HandlerTest, CarriesFramesOverToTheNextConfiguration) {
    start({4});
    run("startVisualConfirmation", confirmation(4));
    EXPECT_EQ(set(documentOf({2, 4})), StatusOk);
    EXPECT_EQ(StagedContainer::find(1)->getVC_Data().name, kIdentityTag);
    EXPECT_EQ(container->getVisualConfIdNbr(), 4);
}

TEST_F(CGI_HandlerTest, StopsAllFrames) {
    start({4});
    run("startVisualConfirmation", confirmation(4));
    EXPECT_EQ(statusOf("stopVisualConfirmation"), StatusOk);
    EXPECT_FALSE(container->isVisualConfEnabled());
    EXPECT_THAT(device.takeFrames(), ElementsAre(""));
    EXPECT_TRUE(device.isUndeclaredInTime("xinternal_data"));
}

TEST_F(CGI_HandlerTest, StopsFramesWhereThereAreNone) {
    EXPECT_EQ(statusOf("stopVisualConfirmation"), StatusOk);
    start({4});
    EXPECT_EQ(statusOf("stopVisualConfirmation"), StatusOk);
    EXPECT_THAT(device.takeFrames(), IsEmpty());
    EXPECT_THAT(log.lines(), IsEmpty());
}

// startMotionLevel, stopMotionLevel

TEST_F(CGI_HandlerTest, SwitchesTheMotionLevelAndKeepsTheChoice) {
    start({4});
    EXPECT_EQ(statusOf("startMotionLevel"), StatusOk);
    EXPECT_TRUE(container->isMotionLevelActive());
    EXPECT_EQ(folder.read("motion_level_config.json"), R"({"active": true})");
    EXPECT_EQ(statusOf("startMotionLevel"), StatusOk);
    EXPECT_EQ(statusOf("stopMotionLevel"), StatusOk);
    EXPECT_FALSE(container->isMotionLevelActive());
    EXPECT_EQ(folder.read("motion_level_config.json"), R"({"active": false})");
    EXPECT_EQ(statusOf("stopMotionLevel"), StatusOk);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(CGI_HandlerTest, TellsTheMotionLevelFromTheFirstSceneOn) {
    start({4});
    FakeClock clock(1000000);
    EXPECT_EQ(statusOf("startMotionLevel"), StatusOk);
    EXPECT_FALSE(device.isDeclared("Camera1MotionLevel"));
    stage.track(1).enters({0, 0}, {4096, 4096});
    show(1s);
    EXPECT_TRUE(device.isDeclared("Camera1MotionLevel"));
    clock.advance(5000001);
    show(6s);
    EXPECT_THAT(device.motionLevels(), ElementsAre("25.0000"));
    EXPECT_EQ(statusOf("stopMotionLevel"), StatusOk);
    clock.advance(5000001);
    show(12s);
    EXPECT_THAT(device.motionLevels(), ElementsAre("25.0000"));
    EXPECT_TRUE(device.isDeclared("Camera1MotionLevel"));
}

TEST_F(CGI_HandlerTest, SwitchesTheMotionLevelEvenIfTheChoiceCannotBeKept) {
    start({4});
    mkdir(motionLevelPath().c_str(), 0700);
    EXPECT_EQ(statusOf("startMotionLevel"), StatusOk);
    EXPECT_TRUE(container->isMotionLevelActive());
    ASSERT_EQ(log.lines().size(), 1U);
    EXPECT_EQ(log.texts()[0].substr(0, 20), "Could not write file");
}

TEST_F(CGI_HandlerTest, TellsWhenThereIsNoMemoryForTheChoice) {
    start({4});
    {
        const FailingJsonMemory memory(1);
        EXPECT_EQ(handler->handleRequestedCgi("", "startMotionLevel")->status, StatusOk);
    }
    EXPECT_EQ(log.lines(), (std::vector<SyslogCapture::Line>{
                               {LOG_ERR, "Cannot create motion level active attribute\n"}}));
}

TEST_F(CGI_HandlerTest, HasNoMotionLevelInABuildWithoutIt) {
    start({4});
    const DefaultValues absent(new SizePercentageFilterDefaults{}, new ShortLivedFilterDefaults{},
                               new SwayingFilterDefaults{}, new IncludeAreaDefaults{},
                               new ExcludeAreaDefaults{}, new PTZ_Defaults{}, nullptr);
    const DefaultValues refused(new SizePercentageFilterDefaults{}, new ShortLivedFilterDefaults{},
                                new SwayingFilterDefaults{}, new IncludeAreaDefaults{},
                                new ExcludeAreaDefaults{}, new PTZ_Defaults{},
                                new SupportedCapabilitiesDefaults{false});
    for (const DefaultValues* values : {&absent, &refused}) {
        makeHandler(*values);
        for (const char* method : {"startMotionLevel", "stopMotionLevel"}) {
            const auto result = run(method);
            EXPECT_EQ(result->status, StatusMethodNotFound);
            EXPECT_EQ(result->code, "2005");
            EXPECT_EQ(result->message, "The requested CGI method was not found");
            EXPECT_EQ(result->data, nullptr);
        }
    }
    EXPECT_FALSE(container->isMotionLevelActive());
    EXPECT_EQ(folder.read("motion_level_config.json"), "");
}

// sendAlarmEvent

TEST_F(CGI_HandlerTest, SendsAnAlarmWithTheNextSceneAndItsEndAfterTheHold) {
    start({4});
    EXPECT_EQ(statusOf("sendAlarmEvent", R"({"profile":4})"), StatusOk);
    EXPECT_THAT(device.sent(), IsEmpty());
    show(1s);
    EXPECT_THAT(device.sent(), Contains("Camera1Profile4 active=true"));
    show(4s);
    EXPECT_THAT(device.sent(), testing::Not(Contains("Camera1Profile4 active=false")));
    show(4001ms);
    EXPECT_THAT(device.sent(), Contains("Camera1Profile4 active=false"));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(CGI_HandlerOnTwoCameras, CannotSendAnAlarmOfAProfileThatIsNotAtWork) {
    start({4});
    EXPECT_EQ(set(TestProfile::document({TestProfile::camera(1), TestProfile::camera(2, false)},
                                        {TestProfile::profile({{"uid", "4"}}),
                                         TestProfile::profile({{"uid", "5"}, {"camera", "2"}})})),
              StatusOk);
    log.clear();
    for (const char* params : {R"({"profile":5})", R"({"profile":6})", R"({"profile":-1})"}) {
        const auto result = run("sendAlarmEvent", params);
        EXPECT_EQ(result->status, StatusInvalidParameter) << params;
        EXPECT_EQ(result->code, "2004");
        EXPECT_EQ(result->data, nullptr);
        expectWarnings({"Profile does not exist\n"});
    }
}

TEST_F(CGI_HandlerTest, RefusesARequestForAnAlarmThatIsNotWhole) {
    EXPECT_EQ(check(handler->handleRequestedCgi("]", "sendAlarmEvent")), StatusMalformedJson);
    expectWarnings({"Could not decode the sendAlarmEvent json data\n"});
    EXPECT_EQ(statusOf("sendAlarmEvent", "null"), StatusMalformedJson);
    expectWarnings({"Could not decode the params for sendAlarmEvent\n"});
    EXPECT_EQ(statusOf("sendAlarmEvent", R"({"uid":4})"), StatusMissingParameter);
    expectWarnings({"Could not unpack data for profile uid for sendAlarmEvent\n"});
}

TEST_F(CGI_HandlerTest, CannotSendAnAlarmOfAProfileThatGoesMeanwhile) {
    start({4});
    int locks = 0;
    const LockHook hook([&](GMutex* mutex) {
        // Between the search for the profile and the request to it.
        if (mutex == &StagedContainer::s_mutex && ++locks == 2) {
            container->removeAllCameras();
        }
    });
    EXPECT_EQ(statusOf("sendAlarmEvent", R"({"profile":4})"), StatusInternalError);
    expectWarnings({"Could not send alarm event\n"});
}

#include "onvif/onvif_config_converter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "rule_stage.h"
#include "support/failing_json_memory.h"
#include "support/syslog_capture.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Line = SyslogCapture::Line;

constexpr const char* kActive = R"({"id":1,"active":true,"rotation":90})";
constexpr const char* kInactive = R"({"id":1,"active":false,"rotation":90})";
constexpr const char* kOther = R"({"id":2,"active":true,"rotation":0})";

const StreamSettings kTurned(200, 200, 180, false);
const std::vector<Point> kTriangle{{0, 0}, {0, 100}, {200, 200}};

OnvifRules rules(const std::vector<std::string>& names, int camera = 1) {
    std::vector<OnvifRule> list;
    for (const std::string& name : names) {
        list.emplace_back(1.0, kTriangle, name);
    }
    return {list, camera};
}

/// The profile that stands for a rule of rules().
std::string created(int uid, int camera, const std::string& name) {
    return R"({"name":")" + name + R"(","camera":)" + std::to_string(camera) + R"(,"uid":)" +
           std::to_string(uid) +
           R"(,"triggers":[{"type":"includeArea","data":[[-1.0,-1.0],[-1.0,0.0],[1.0,1.0]]}],)" +
           R"("filters":[]})";
}

class OnvifConfigConverterTest : public testing::Test {
protected:
    ConfigConversionResult create(const OnvifRules& newRules,
                                  const StreamSettings& settings = kStream) {
        return OnvifConfigConverter::createRules(newRules, document.path(), settings);
    }
    ConfigConversionResult modify(const OnvifRules& changed) {
        return OnvifConfigConverter::modifyRules(changed, document.path(), kStream);
    }
    ConfigConversionResult remove(const std::vector<std::string>& names, int camera = 1) {
        return OnvifConfigConverter::deleteRules(names, document.path(), camera);
    }
    ConfigConversionResult get(int camera = 1) {
        return OnvifConfigConverter::getRules(document.path(), camera, kStream);
    }

    /// The result is the document with these cameras and profiles.
    void expectDocument(const ConfigConversionResult& result, const std::string& cameras,
                        const std::string& profiles) {
        EXPECT_FALSE(result.status.hasValue());
        ASSERT_TRUE(result.text.hasValue());
        EXPECT_EQ(result.text.get(), textOf(json(StoredDocument::documentText(cameras, profiles))));
        EXPECT_THAT(log.lines(), IsEmpty());
    }
    void expectFailure(const ConfigConversionResult& result, StatusCode_e status,
                       const std::string& message) {
        EXPECT_FALSE(result.text.hasValue());
        EXPECT_TRUE(result.status.hasValue());
        EXPECT_EQ(result.status.get(), status) << message;
        EXPECT_THAT(log.lines(), ElementsAre(Line{LOG_WARNING, message + "\n"}));
        log.clear();
    }
    /// All four operations fail so.
    void expectFailures(StatusCode_e status, const std::string& message) {
        expectFailure(create(rules({"a"})), status, message);
        expectFailure(modify(rules({"a"})), status, message);
        expectFailure(remove({"a"}), status, message);
        expectFailure(get(), status, message);
    }

    StoredDocument document;
    SyslogCapture log;
};

const std::string kComma = ",";

}  // namespace

TEST_F(OnvifConfigConverterTest, FailsWithoutADocument) {
    expectFailures(StatusFileError, "Could not read the configuration file");
}

TEST_F(OnvifConfigConverterTest, FailsWithoutAMember) {
    document.write("{}");
    expectFailures(StatusMissingParameter, "Could not read 'params' from configuration");
    document.write(R"({"params":{}})");
    expectFailures(StatusMissingParameter, "Could not read 'profiles' from configuration");
    document.write(R"({"params":{"cameras":[]}})");
    expectFailures(StatusMissingParameter, "Could not read 'profiles' from configuration");
}

TEST_F(OnvifConfigConverterTest, DeletesWithoutLookingAtTheCameras) {
    document.write(R"({"params":{"profiles":[]}})");
    const std::string message = "Could not read 'cameras' from old configuration";
    expectFailure(create(rules({"a"})), StatusMissingParameter, message);
    expectFailure(modify(rules({"a"})), StatusMissingParameter, message);
    expectFailure(get(), StatusMissingParameter, message);
    EXPECT_EQ(remove({"a"}).text.get(), R"({"params":{"profiles":[]}})");
}

// Which of two failures is told shows what comes first.
TEST_F(OnvifConfigConverterTest, LooksAtTheMembersOfAProfileInTheirTurn) {
    document.store(kActive, "{}");
    expectFailure(create(rules({"a"})), StatusMissingParameter, "Failed to parse key: uid");
    expectFailure(modify(rules({"a"})), StatusMissingParameter, "Failed to parse key: name");
    expectFailure(remove({"a"}), StatusMissingParameter, "Failed to parse key: camera");
    expectFailure(get(), StatusMissingParameter, "Failed to parse key: camera");
}

TEST_F(OnvifConfigConverterTest, LooksAtTheCamerasBeforeTheProfilesWhenItCreates) {
    document.store("{}", "{}");
    expectFailure(create(rules({"a"})), StatusMissingParameter, "Failed to parse key: id");
    document.store(R"({"id":1})", "");
    expectFailure(create(rules({"a\"b"})), StatusMissingParameter, "Failed to parse key: active");
}

TEST_F(OnvifConfigConverterTest, AppendsAProfileForEachRule) {
    document.store(kActive, profileText(3, 1, "old"));
    expectDocument(
        create(rules({"b", "a"})), kActive,
        profileText(3, 1, "old") + kComma + created(4, 1, "b") + kComma + created(5, 1, "a"));
}

TEST_F(OnvifConfigConverterTest, WritesTheCameraOfTheRules) {
    document.store(kActive + kComma + kOther, profileText(3, 2, "old"));
    expectDocument(create(rules({"a"}, 2)), kActive + kComma + kOther,
                   profileText(3, 2, "old") + kComma + created(4, 2, "a"));
    expectDocument(modify(rules({"old"}, 2)), kActive + kComma + kOther, created(3, 2, "old"));
}

TEST_F(OnvifConfigConverterTest, NeverWritesTheFile) {
    document.store(kActive, profileText(3, 1, "old"));
    create(rules({"a"}));
    modify(rules({"old"}));
    remove({"old"});
    expectDocument(modify({}), kActive, profileText(3, 1, "old"));
}

TEST_F(OnvifConfigConverterTest, CountsUidsOnFromTheGreatest) {
    document.store(kActive, profileText(1, 1, "a") + kComma + profileText(7, 2, "b") + kComma +
                                profileText(2, 1, "c"));
    const std::string old =
        profileText(1, 1, "a") + kComma + profileText(7, 2, "b") + kComma + profileText(2, 1, "c");
    expectDocument(create(rules({"d", "e"})), kActive,
                   old + kComma + created(8, 1, "d") + kComma + created(9, 1, "e"));
}

TEST_F(OnvifConfigConverterTest, CountsUidsFromOne) {
    document.store(kActive, "");
    expectDocument(create(rules({"a"})), kActive, created(1, 1, "a"));
    document.store(kActive, profileText(-5, 1, "old"));
    expectDocument(create(rules({"a"})), kActive,
                   profileText(-5, 1, "old") + kComma + created(1, 1, "a"));
}

TEST_F(OnvifConfigConverterTest, WrapsUidsBehindTheGreatestOfAll) {
    document.store(kActive, profileText(2147483647, 1, "old"));
    expectDocument(create(rules({"a"})), kActive,
                   profileText(2147483647, 1, "old") + kComma + created(-2147483647 - 1, 1, "a"));
}

TEST_F(OnvifConfigConverterTest, DoesNotLookForTheNameWhenItCreates) {
    document.store(kActive, profileText(1, 1, "a"));
    expectDocument(create(rules({"a"})), kActive,
                   profileText(1, 1, "a") + kComma + created(2, 1, "a"));
}

TEST_F(OnvifConfigConverterTest, ActivatesACameraAndLeavesItsProfiles) {
    document.store(kInactive + kComma + kOther, profileText(1, 1, "old"));
    expectDocument(create(rules({}), kTurned),
                   R"({"id":1,"active":true,"rotation":180},)" + std::string(kOther),
                   profileText(1, 1, "old"));
}

TEST_F(OnvifConfigConverterTest, ActivatesACameraBehindAnother) {
    document.store(kOther + kComma + kInactive, "");
    expectDocument(create(rules({}), kTurned),
                   kOther + kComma + R"({"id":1,"active":true,"rotation":180})", "");
}

TEST_F(OnvifConfigConverterTest, AddsACameraThatIsNotThere) {
    document.store(kOther, "");
    expectDocument(create(rules({}), kTurned),
                   kOther + kComma + R"({"id":1,"active":true,"rotation":180})", "");
}

TEST_F(OnvifConfigConverterTest, LeavesTheRotationOfAnActiveCamera) {
    document.store(kActive, "");
    expectDocument(create(rules({}), kTurned), kActive, "");
}

TEST_F(OnvifConfigConverterTest, FailsForANameThatMakesNoJson) {
    document.store(kActive, profileText(1, 1, "old"));
    expectFailure(create(rules({"good", "a\"b"})), StatusMalformedJson,
                  "Could not decode JSON array");
    expectFailure(create(rules({"a\\"})), StatusMalformedJson, "Could not decode JSON array");
}

TEST_F(OnvifConfigConverterTest, ReplacesWhatHasNameAndCamera) {
    const std::string before = profileText(1, 2, "a") + kComma;
    const std::string behind = kComma + profileText(9, 1, "A");
    document.store(kActive, before + profileText(5, 1, "a") + behind);
    expectDocument(modify(rules({"a"})), kActive, before + created(5, 1, "a") + behind);
}

TEST_F(OnvifConfigConverterTest, ReplacesEveryMatch) {
    document.store(kActive, profileText(5, 1, "a") + kComma + profileText(6, 1, "b") + kComma +
                                profileText(7, 1, "a"));
    expectDocument(modify(rules({"b", "a"})), kActive,
                   created(5, 1, "a") + kComma + created(6, 1, "b") + kComma + created(7, 1, "a"));
}

TEST_F(OnvifConfigConverterTest, DropsWhatARuleDoesNotHave) {
    document.store(kActive, with(profileText(5, 1, "a"), {{"presets", "[-2]"}, {"more", "1"}}));
    expectDocument(modify(rules({"a"})), kActive, created(5, 1, "a"));
}

TEST_F(OnvifConfigConverterTest, ChangesNothingForAnUnknownName) {
    document.store(kActive, profileText(5, 1, "a"));
    expectDocument(modify(rules({"unknown", "a "})), kActive, profileText(5, 1, "a"));
}

TEST_F(OnvifConfigConverterTest, ChangesNothingOfAnInactiveCamera) {
    document.store(kInactive, profileText(5, 1, "a"));
    expectDocument(modify(rules({"a"})), kInactive, profileText(5, 1, "a"));
    expectDocument(modify(rules({"a"}, 3)), kInactive, profileText(5, 1, "a"));
}

TEST_F(OnvifConfigConverterTest, ChangesNothingForNoRules) {
    document.store(kActive, profileText(5, 1, "a"));
    expectDocument(modify(rules({})), kActive, profileText(5, 1, "a"));
}

TEST_F(OnvifConfigConverterTest, FailsToModifyAProfileWithoutUid) {
    document.store(kActive, with(profileText(5, 1, "a"), {{"uid", ""}}));
    expectFailure(modify(rules({"a"})), StatusMissingParameter, "Failed to parse key: uid");
}

TEST_F(OnvifConfigConverterTest, FailsToModifyToWhatIsNoJson) {
    document.store(kActive, R"({"camera":1,"name":"a\"b","uid":1})");
    expectFailure(modify(rules({"a\"b"})), StatusMalformedJson, "Could not decode JSON array");
}

TEST_F(OnvifConfigConverterTest, DeletesEveryMatchOfTheCamera) {
    document.store(kActive, profileText(1, 1, "a") + kComma + profileText(2, 1, "b") + kComma +
                                profileText(3, 2, "a") + kComma + profileText(4, 1, "a"));
    expectDocument(remove({"a", "unknown"}), kActive,
                   profileText(2, 1, "b") + kComma + profileText(3, 2, "a"));
    expectDocument(
        remove({"b", "a"}, 2), kActive,
        profileText(1, 1, "a") + kComma + profileText(2, 1, "b") + kComma + profileText(4, 1, "a"));
}

TEST_F(OnvifConfigConverterTest, DeletesNeighboursOfOneName) {
    document.store(kActive, profileText(1, 1, "a") + kComma + profileText(2, 1, "a") + kComma +
                                profileText(3, 1, "b") + kComma + profileText(4, 1, "a") + kComma +
                                profileText(5, 1, "a"));
    expectDocument(remove({"a"}), kActive, profileText(3, 1, "b"));
}

TEST_F(OnvifConfigConverterTest, DeletesFromTheLastProfileToTheFirst) {
    document.store(kActive, R"({"name":"a"},{"camera":1})");
    expectFailure(remove({"a"}), StatusMissingParameter, "Failed to parse key: name");
    document.store(kActive, R"({"camera":1},{"name":"a"})");
    expectFailure(remove({"a"}), StatusMissingParameter, "Failed to parse key: camera");
}

TEST_F(OnvifConfigConverterTest, ModifiesFromTheFirstProfileToTheLast) {
    document.store(kActive, R"({"name":"a"},{"camera":1})");
    expectFailure(modify(rules({"a"})), StatusMissingParameter, "Failed to parse key: camera");
}

TEST_F(OnvifConfigConverterTest, DeletesOnAnInactiveCameraAndLeavesItSo) {
    document.store(kInactive, profileText(1, 1, "a"));
    expectDocument(remove({"a"}), kInactive, "");
}

TEST_F(OnvifConfigConverterTest, DeletesNothingForNoNames) {
    document.store(kActive, profileText(1, 1, "a"));
    expectDocument(remove({}), kActive, profileText(1, 1, "a"));
}

TEST_F(OnvifConfigConverterTest, ReadsTheRulesOfACamera) {
    const std::string time = R"([{"type":"timeShortLivedLimit","data":3,"active":true}])";
    document.store(kActive, profileText(1, 1, "a", time) + kComma + profileText(2, 2, "b"));
    const ConfigConversionResult result = get();
    EXPECT_FALSE(result.status.hasValue());
    EXPECT_EQ(result.text.get(),
              "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<GetRules>\n"
              "\t<tt:Rule Name=\"a\" Type=\"tt:MotionRegionDetector\" "
              "xmlns:tt=\"http://www.onvif.org/ver10/schema\" "
              "xmlns:axt=\"http://www.onvif.org/ver20/analytics\">\n"
              "\t\t<tt:Parameters>\n\t\t\t<tt:ElementItem Name=\"MotionRegion\">\n"
              "\t\t\t\t<axt:MotionRegionConfig Sensitivity=\"0.40\">\n\t\t\t\t\t<tt:Polygon>\n"
              "\t\t\t\t\t\t<tt:Point x=\"0\" y=\"0\"/>\n"
              "\t\t\t\t\t\t<tt:Point x=\"0\" y=\"200\"/>\n"
              "\t\t\t\t\t\t<tt:Point x=\"100\" y=\"200\"/>\n"
              "\t\t\t\t\t</tt:Polygon>\n\t\t\t\t</axt:MotionRegionConfig>\n"
              "\t\t\t</tt:ElementItem>\n\t\t</tt:Parameters>\n\t</tt:Rule>\n</GetRules>");
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(OnvifConfigConverterTest, ReadsNoRulesOfAnInactiveCamera) {
    // Not even a broken one.
    document.store(kInactive, R"({"camera":1})");
    const std::string empty = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<GetRules>\n</GetRules>";
    EXPECT_EQ(get(1).text.get(), empty);
    EXPECT_EQ(get(2).text.get(), empty);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(OnvifConfigConverterTest, FailsToReadWhatIsNoRule) {
    document.store(kActive, profileText(1, 1, "a") + R"(,{"camera":1,"filters":[]})");
    const ConfigConversionResult result = get();
    EXPECT_FALSE(result.text.hasValue());
    EXPECT_EQ(result.status.get(), StatusMalformedJson);
    EXPECT_THAT(log.lines(), ElementsAre(Line{LOG_WARNING, "Failed to parse key: name\n"},
                                         Line{LOG_ERR, "Rule was not found.\n"},
                                         Line{LOG_WARNING, "Could not create rules from JSON\n"}));
}

TEST_F(OnvifConfigConverterTest, FailsToReadAProfileWithoutCamera) {
    document.store(kActive, "{}");
    expectFailure(get(), StatusMissingParameter, "Failed to parse key: camera");
}

// The JSON library fails at each of its allocations in turn: no leak, no crash, and either the told
// failure or none to tell.
TEST_F(OnvifConfigConverterTest, SurvivesALackOfMemoryAtEveryPoint) {
    document.store(R"({"id":1,"active":false})", profileText(1, 1, "a"));
    std::set<std::string> messages;
    std::set<int> statuses;
    const auto starve = [&](auto operation) {
        for (int n = 1; n < 10000; ++n) {
            const FailingJsonMemory memory(n);
            const ConfigConversionResult result = operation();
            if (memory.hasNotFailed()) {
                EXPECT_TRUE(result.text.hasValue());
                return;
            }
            if (!result.text.hasValue()) {
                statuses.insert(result.status.hasValue() ? result.status.get() : -1);
            }
        }
        ADD_FAILURE() << "there is no end of allocations";
    };
    starve([this] { return create(rules({"b"})); });
    // Eight profiles: the array has no place for one more.
    std::string profiles = profileText(1, 2, "a");
    for (int uid = 2; uid <= 8; ++uid) {
        profiles += kComma + profileText(uid, 2, "a");
    }
    document.store(kOther, profiles);
    starve([this] { return create(rules({"b"})); });
    starve([this] { return modify(rules({"a"}, 2)); });
    starve([this] { return remove({"a"}, 2); });
    starve([this] { return get(2); });
    for (const std::string& text : log.texts()) {
        messages.insert(text);
    }
    for (const char* message :
         {"Could not update camera rotation\n", "Could not add camera\n",
          "Could not decode JSON array\n", "Could not append to JSON array\n"}) {
        EXPECT_TRUE(messages.contains(message)) << message;
    }
    EXPECT_TRUE(statuses.contains(StatusMalformedJson));
    EXPECT_TRUE(statuses.contains(-1)) << "no text to dump, and nothing thrown";
}

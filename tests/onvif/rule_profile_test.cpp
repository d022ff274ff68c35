#include "onvif/rule_profile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "rule_stage.h"
#include "support/status_matchers.h"
#include "support/syslog_capture.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Line = SyslogCapture::Line;

const std::vector<Point> kCorner{{0, 0}, {0, 100}, {200, 200}};

std::string textOfRule(const OnvifRule& rule, const StreamSettings& settings = kStream) {
    return ruleToProfileJson(rule, 4, 2, settings);
}

class ProfilesToRulesTest : public testing::Test {
protected:
    static Maybe<OnvifRules> read(const std::string& profiles, int camera = 1) {
        return profilesToRules(json(profiles).get(), camera, kStream);
    }
    static std::string withData(const std::string& data) {
        return R"({"camera":1,"name":"n","filters":[],"triggers":[{"data":)" + data + "}]}";
    }

    void expectLostRule(const std::string& profile, const std::string& reason) {
        log.clear();
        EXPECT_FALSE(read("[" + profileText(1, 1, "good") + "," + profile + "]").hasValue());
        EXPECT_THAT(log.lines(), ElementsAre(Line{LOG_WARNING, reason + "\n"},
                                             Line{LOG_ERR, "Rule was not found.\n"}))
            << profile;
    }

    SyslogCapture log;
};

}  // namespace

TEST(RuleToProfileJson, HasJustTheseBlanks) {
    EXPECT_EQ(
        textOfRule(OnvifRule(0.89, kCorner, "Door")),
        "{\"name\": \"Door\", \"camera\": 2,\"uid\": 4,\"triggers\": "
        "[{ \"type\": \"includeArea\", \"data\": [[-1.00, -1.00],[-1.00, 0.00],[1.00, 1.00]]}]"
        ",\"filters\": [{\"data\": 1,\"type\": \"timeShortLivedLimit\", \"active\": true  },"
        "{\"data\":[ 3,3],\"type\": \"sizePercentage\", \"active\": true }]}");
}

TEST(RuleToProfileJson, HasNoPointsForARuleWithoutAny) {
    EXPECT_EQ(textOfRule(OnvifRule(1.0, {}, "Door")),
              "{\"name\": \"Door\", \"camera\": 2,\"uid\": 4,\"triggers\": "
              "[{ \"type\": \"includeArea\", \"data\": []}],\"filters\": []}");
}

TEST(RuleToProfileJson, KeepsTwoDecimals) {
    // -0.984619140625, -0.986083984375 and -0.0009765625.
    const StreamSettings wide(1920, 1080, 0, false);
    const std::string text = textOfRule(OnvifRule(1.0, {{15, 7}, {959, 539}}, ""), wide);
    EXPECT_NE(text.find("[[-0.98, -0.99],[-0.00, -0.00]]"), std::string::npos) << text;
}

TEST(RuleToProfileJson, EscapesNothing) {
    EXPECT_EQ(textOfRule(OnvifRule(1.0, {}, "a\"b\\c\n")).substr(0, 19),
              "{\"name\": \"a\"b\\c\n\", ");
    const std::string injected = R"(x", "alarmOverlayEnabled": true, "y": ")";
    EXPECT_EQ(textOf(json(textOfRule(OnvifRule(1.0, {}, injected)))),
              R"({"name":"x","alarmOverlayEnabled":true,"y":"","camera":2,"uid":4,)"
              R"("triggers":[{"type":"includeArea","data":[]}],"filters":[]})");
}

TEST_F(ProfilesToRulesTest, TakesTheProfilesOfTheCameraInOrder) {
    const std::string size = R"([{"type":"sizePercentage","data":[5,5],"active":true}])";
    const Maybe<OnvifRules> rules =
        read("[" + profileText(3, 1, "b", size) + "," + profileText(1, 2, "c") + "," +
             profileText(2, 1, "a") + "]");
    ASSERT_TRUE(rules.hasValue());
    const std::vector<Point> points{{0, 0}, {0, 200}, {100, 200}};
    EXPECT_EQ(rules.get(),
              OnvifRules({OnvifRule(0.8, points, "b"), OnvifRule(1.0, points, "a")}, 1));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(ProfilesToRulesTest, HasNoRulesForACameraWithoutProfiles) {
    const Maybe<OnvifRules> rules = read("[" + profileText(1, 2, "c") + "]");
    ASSERT_TRUE(rules.hasValue());
    EXPECT_EQ(rules.get(), OnvifRules({}, 1));
}

TEST_F(ProfilesToRulesTest, ReportsThatThereAreNoProfilesAtAll) {
    EXPECT_FALSE(profilesToRules(nullptr, 1, kStream).hasValue());
    EXPECT_THAT(log.lines(), ElementsAre(Line{LOG_ERR, "Root JSON pointer was NULL.\n"}));
}

TEST_F(ProfilesToRulesTest, ReadsIntegersAndRealsAndZeroForOtherThings) {
    const Maybe<OnvifRules> rules = read("[" + withData(R"([[1,-1],[0.5,"x"],[0,0,9]])") + "]");
    ASSERT_TRUE(rules.hasValue());
    const std::vector<Point> points{{200, 0}, {150, 100}, {100, 100}};
    EXPECT_EQ(rules.get(), OnvifRules({OnvifRule(1.0, points, "n")}, 1));
}

TEST_F(ProfilesToRulesTest, HasNoPointsWhenTheDataIsNoArray) {
    const Maybe<OnvifRules> rules = read("[" + withData("7") + "]");
    ASSERT_TRUE(rules.hasValue());
    EXPECT_EQ(rules.get(), OnvifRules({OnvifRule(1.0, {}, "n")}, 1));
}

TEST_F(ProfilesToRulesTest, LosesAllForOneThatIsNoRule) {
    expectLostRule(R"({"camera":1,"name":"n","triggers":[{"data":[]}]})",
                   "Could not read 'filters' from configuration");
    expectLostRule(R"({"camera":1,"name":"n","filters":[{"type":"sizePercentage"}]})",
                   "Failed to parse \"data\"");
    expectLostRule(R"({"camera":1,"filters":[],"triggers":[{"data":[]}]})",
                   "Failed to parse key: name");
    expectLostRule(R"({"camera":1,"name":"n","filters":[]})",
                   "Json triggers pointer is incorrect.");
    expectLostRule(R"({"camera":1,"name":"n","filters":[],"triggers":[{},{}]})",
                   "Json triggers pointer is incorrect.");
    expectLostRule(R"({"camera":1,"name":"n","filters":[],"triggers":[{}]})",
                   "Json trigger data pointer was NULL.");
    expectLostRule(withData("[[1]]"), "Non valid index.");
    expectLostRule(withData("[7]"), "Non valid index.");
}

TEST_F(ProfilesToRulesTest, ReadsTheFiltersThenTheNameThenThePoints) {
    expectLostRule(R"({"camera":1})", "Could not read 'filters' from configuration");
    expectLostRule(R"({"camera":1,"filters":[{}]})", "Failed to parse key: type");
    expectLostRule(R"({"camera":1,"filters":[]})", "Failed to parse key: name");
}

TEST_F(ProfilesToRulesTest, ThrowsForAProfileThatDoesNotTellItsCamera) {
    expectStatus([] { read("[{}]"); }, StatusMissingParameter, "Failed to parse key: camera");
}

TEST(ProfileToRule, RefusesNull) {
    expectStatus([] { profileToRule(nullptr, kStream); }, StatusMalformedJson,
                 "Root rule JSON pointer was NULL.");
}

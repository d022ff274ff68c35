#include "onvif/rule_xml.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ctime>
#include <string>
#include <vector>

#include "rule_stage.h"
#include "support/sanitizers.h"
#include "support/syslog_capture.h"
#include "xmlnode/double/xmlnode_double.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Line = SyslogCapture::Line;

const Line kNotFound{LOG_ERR, "Rule was not found.\n"};
const std::vector<Point> kTriangle{{10, 20}, {-30, 40}, {50, 60}};
constexpr const char* kPoints =
    R"(<tt:Point x="10" y="20"/><tt:Point x="-30" y="40"/><tt:Point x="50" y="60"/>)";

/// A rule with attributes of its own at the config element, round the given points.
std::string rule(const std::string& name, const std::string& configAttributes,
                 const std::string& points = kPoints) {
    return R"(<tt:Rule Name=")" + name +
           R"(" Type="tt:MotionRegionDetector"><tt:Parameters><tt:ElementItem Name="MotionRegion">)"
           "<axt:MotionRegionConfig " +
           configAttributes + "><tt:Polygon>" + points +
           "</tt:Polygon></axt:MotionRegionConfig></tt:ElementItem></tt:Parameters></tt:Rule>";
}

std::string sensitive(const std::string& value) {
    return rule("Door", "Sensitivity=\"" + value + "\"");
}

std::string withPoint(const std::string& attributes) {
    return rule("Door", R"(Sensitivity="0.5")", "<tt:Point " + attributes + "/>" + kPoints);
}

class RuleXmlTest : public testing::Test {
protected:
    RuleXmlTest() { XmlnodeDouble::reset(); }
    ~RuleXmlTest() override {
        EXPECT_EQ(0, XmlnodeDouble::liveTrees());
        EXPECT_THAT(XmlnodeDouble::misuses(), IsEmpty());
    }

    static Maybe<OnvifRules> read(const std::string& rules,
                                  const StreamSettings& settings = kStream) {
        return readRules("<CreateRules>" + rules + "</CreateRules>", 2, settings);
    }
    /// The only rule of the text.
    static OnvifRule readOne(const std::string& text, const StreamSettings& settings = kStream) {
        const Maybe<OnvifRules> rules = read(text, settings);
        EXPECT_EQ(1U, rules.get().getRules().size()) << text;
        return rules.get().getRules().empty() ? OnvifRule() : rules.get().getRules().front();
    }

    void expectRefusal(const std::string& text, const std::vector<Line>& lines) {
        log.clear();
        EXPECT_FALSE(read(text).hasValue()) << text;
        EXPECT_EQ(log.lines(), lines) << text;
        log.clear();
    }
    void expectBadPoint(const std::string& attributes, const std::string& reason) {
        expectRefusal(withPoint(attributes),
                      {{LOG_ERR, reason + "\n"},
                       {LOG_ERR, "Point vector could not be created due to missing point.\n"},
                       {LOG_ERR, "Could not create points.\n"},
                       kNotFound});
    }

    SyslogCapture log;
};

}  // namespace

TEST_F(RuleXmlTest, ReadsRulesInOrder) {
    const Maybe<OnvifRules> rules =
        read(rule("Gate", R"(Sensitivity="0.5")") + rule("Door", R"(Sensitivity="1")"));
    ASSERT_TRUE(rules.hasValue());
    EXPECT_EQ(
        rules.get(),
        OnvifRules({OnvifRule(0.5, kTriangle, "Gate"), OnvifRule(1.0, kTriangle, "Door")}, 2));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(RuleXmlTest, FindsItsTagsWithoutPrefixAndWithADeclaredOne) {
    EXPECT_EQ(readOne("<Rule Name='n'><MotionRegionConfig Sensitivity='1'>"
                      "<Point x='10' y='20'/></MotionRegionConfig></Rule>"),
              OnvifRule(1.0, {{10, 20}}, "n"));
    EXPECT_EQ(readOne("<a:Rule xmlns:a='urn:a' Name='n'><a:MotionRegionConfig Sensitivity='1'>"
                      "<a:Point x='10' y='20'/></a:MotionRegionConfig></a:Rule>"),
              OnvifRule(1.0, {{10, 20}}, "n"));
}

TEST_F(RuleXmlTest, FindsRulesAtAnyDepth) {
    EXPECT_EQ(readOne("<a><b>" + sensitive("1") + "</b></a>"), OnvifRule(1.0, kTriangle, "Door"));
}

TEST_F(RuleXmlTest, ReportsThatThereIsNoRoot) {
    EXPECT_FALSE(RuleXml::read(nullptr, 2, kStream).hasValue());
    EXPECT_FALSE(OnvifConfigConverter::createRulesFromXML(nullptr, 2, kStream).hasValue());
    EXPECT_THAT(log.lines(), ElementsAre(Line{LOG_ERR, "Root XML pointer was NULL.\n"},
                                         Line{LOG_ERR, "Root XML pointer was NULL.\n"}));
}

TEST_F(RuleXmlTest, RefusesATextWithoutRules) {
    expectRefusal("", {{LOG_ERR, "No rules found.\n"}});
    expectRefusal("<Door/>", {{LOG_ERR, "No rules found.\n"}});
    // The root itself is not below the root.
    EXPECT_FALSE(readRules("<Rule Name='n'/>", 2).hasValue());
    EXPECT_THAT(log.lines(), ElementsAre(Line{LOG_ERR, "No rules found.\n"}));
}

TEST_F(RuleXmlTest, RefusesARuleWithoutAName) {
    expectRefusal("<Rule/>", {{LOG_ERR, "Name attribute not found.\n"}, kNotFound});
    EXPECT_EQ(readOne("<Rule Name=''/>").getName(), "");
}

TEST_F(RuleXmlTest, RefusesAMissingRuleEntry) {
    XmlnodeDouble::giveNullEntry(1);
    expectRefusal(sensitive("1"), {{LOG_ERR, "Root rule XML pointer was NULL.\n"}, kNotFound});
}

TEST_F(RuleXmlTest, EndsAtTheFirstBadRule) {
    expectRefusal(sensitive("1") + "<Rule/><Rule/>",
                  {{LOG_ERR, "Name attribute not found.\n"}, kNotFound});
}

// The margins are (1 - 0.97) * 0.5 in single precision.
TEST_F(RuleXmlTest, GivesARuleWithoutAConfigTheDefaults) {
    const OnvifRule rule = readOne("<tt:Rule Name='Door'/>", {1920, 1080, 0, false});
    EXPECT_EQ(rule.getSensitivity(), 0.800000011920929);
    EXPECT_EQ(rule, OnvifRule(0.8F, {{28, 1063}, {28, 16}, {1891, 16}, {1891, 1063}}, "Door"));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(RuleXmlTest, CentresTheDefaultRectangleInAnyStream) {
    EXPECT_EQ(readOne("<Rule Name='n'/>", {200, 100, 90, true}),
              OnvifRule(0.8F, {{2, 98}, {2, 1}, {197, 1}, {197, 98}}, "n"));
    EXPECT_EQ(readOne("<Rule Name='n'/>", {0, 0, 0, false}),
              OnvifRule(0.8F, {{0, 0}, {0, 0}, {0, 0}, {0, 0}}, "n"));
    // Cut to 16 bits: 0.985 * 40000 is 39400.
    EXPECT_EQ(readOne("<Rule Name='n'/>", {40000, 40000, 0, false}),
              OnvifRule(0.8F, {{599, -26136}, {599, 599}, {-26136, 599}, {-26136, -26136}}, "n"));
}

TEST_F(RuleXmlTest, KeepsTheSensitivityInSinglePrecision) {
    EXPECT_EQ(readOne(sensitive("0.8")).getSensitivity(), 0.800000011920929);
    EXPECT_EQ(readOne(sensitive("8e-1")).getSensitivity(), 0.800000011920929);
    EXPECT_EQ(readOne(sensitive(" +.5")).getSensitivity(), 0.5);
    EXPECT_EQ(readOne(sensitive("0x1p-1")).getSensitivity(), 0.5);
    EXPECT_EQ(readOne(sensitive("0")).getSensitivity(), 0.0);
    EXPECT_EQ(readOne(sensitive("1.0")).getSensitivity(), 1.0);
    // So near to 1.0 that single precision cannot tell.
    EXPECT_EQ(readOne(sensitive("1.00000001")).getSensitivity(), 1.0);
    EXPECT_EQ(readOne(sensitive("-0.0")).getSensitivity(), 0.0);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(RuleXmlTest, TakesZeroForASensitivityThatIsNotThere) {
    for (const std::string& text :
         {rule("Door", ""), sensitive(""), sensitive("high"), sensitive("inf"), sensitive("nan"),
          sensitive("0.8x"), sensitive("0,8"), sensitive("0.8 "), sensitive(".")}) {
        log.clear();
        EXPECT_EQ(readOne(text), OnvifRule(0.0, kTriangle, "Door")) << text;
        EXPECT_THAT(log.lines(),
                    ElementsAre(Line{LOG_INFO, "Sensitivity attribute not found.\n"},
                                Line{LOG_ERR, "Maybe<T> access with no internal value.\n"},
                                Line{LOG_ERR, "Maybe<T> access with no internal value.\n"}))
            << text;
    }
}

TEST_F(RuleXmlTest, RefusesASensitivityOutsideItsRange) {
    for (const char* value : {"1.5", "1.0000001", "-0.1", "-1e-30", "1e999", "-5"}) {
        expectRefusal(
            sensitive("1") + sensitive(value),
            {{LOG_ERR, "Sensitivity attribute is outside of 0.0 - 1.0 range.\n"}, kNotFound});
    }
}

TEST_F(RuleXmlTest, LetsARuleHaveNoPoints) {
    EXPECT_EQ(readOne(rule("Door", R"(Sensitivity="1")", "")), OnvifRule(1.0, {}, "Door"));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(RuleXmlTest, ReadsPointsToTheEndsOf16Bits) {
    const OnvifRule read = readOne(withPoint(R"(x="32767" y="-32768")"));
    EXPECT_EQ(*read.begin(), (Point{32767, -32768}));
    // Text behind the number does not count.
    EXPECT_EQ(*readOne(withPoint(R"(x="12.9" y=" 7px")")).begin(), (Point{12, 7}));
}

TEST_F(RuleXmlTest, RefusesPointsOutside16Bits) {
    for (const char* attributes :
         {R"(x="40000" y="1")", R"(x="32768" y="1")", R"(x="-32769" y="1")", R"(x="1" y="32768")",
          R"(x="1" y="-32769")", R"(x="2147483647" y="1")"}) {
        expectBadPoint(attributes, "Point value is outside the range of int16_t.");
    }
}

TEST_F(RuleXmlTest, RefusesPointsItCannotRead) {
    for (const char* attributes : {R"(x="1")", R"(y="1")", "", R"(x="" y="1")", R"(x="a" y="1")",
                                   R"(x="1" y="99999999999")", R"(X="1" Y="1")"}) {
        expectBadPoint(attributes, "Could not find/convert x/y point attribute.");
    }
}

TEST_F(RuleXmlTest, RefusesAMissingPointEntry) {
    XmlnodeDouble::giveNullEntry(2);
    expectRefusal(sensitive("1"),
                  {{LOG_ERR, "Root point XML pointer was NULL.\n"},
                   {LOG_ERR, "Point vector could not be created due to missing point.\n"},
                   {LOG_ERR, "Could not create points.\n"},
                   kNotFound});
}

TEST_F(RuleXmlTest, ReadsTheSensitivityBeforeThePoints) {
    expectRefusal(rule("Door", R"(Sensitivity="2")", "<Point/>"),
                  {{LOG_ERR, "Sensitivity attribute is outside of 0.0 - 1.0 range.\n"}, kNotFound});
}

TEST_F(RuleXmlTest, ReadsTheNameBeforeTheSensitivity) {
    expectRefusal("<Rule><MotionRegionConfig Sensitivity='2'/></Rule>",
                  {{LOG_ERR, "Name attribute not found.\n"}, kNotFound});
}

TEST_F(RuleXmlTest, ReadsBothCoordinatesBeforeItHoldsThemAgainst16Bits) {
    expectBadPoint(R"(x="40000" y="a")", "Could not find/convert x/y point attribute.");
}

TEST_F(RuleXmlTest, TakesOnlyThePointsBelowTheFirstConfig) {
    EXPECT_EQ(readOne("<Rule Name='n'><Point/><MotionRegionConfig Sensitivity='1'>"
                      "<Point x='10' y='20'/></MotionRegionConfig>"
                      "<MotionRegionConfig Sensitivity='2'><Point/></MotionRegionConfig></Rule>"),
              OnvifRule(1.0, {{10, 20}}, "n"));
    EXPECT_THAT(log.lines(), IsEmpty());
}

// Ten rules of twenty points with the longest names, each element with declarations of its own.
TEST_F(RuleXmlTest, TakesTwiceWhatADeviceTakes) {
    const std::string declared =
        " xmlns:tt=\"http://www.onvif.org/ver10/schema\" "
        "xmlns:axt=\"http://www.onvif.org/ver20/analytics\" ";
    std::string points;
    for (int i = 0; i < 20; ++i) {
        points += "\n\t\t\t\t\t\t<tt:Point" + declared + R"(x="-12345" y="-12345"/>)";
    }
    std::string name;
    for (int i = 0; i < 64; ++i) {
        name += "ä";
    }
    std::string text;
    for (int i = 0; i < 10; ++i) {
        text += rule(name, declared + R"(Sensitivity="0.500000")", points);
    }
    EXPECT_GT(text.size(), 25'000U);
    const Maybe<OnvifRules> rules = read(text + text);
    ASSERT_TRUE(rules.hasValue());
    const OnvifRule expected(0.5, std::vector<Point>(20, {-12345, -12345}), name);
    EXPECT_EQ(rules.get(), OnvifRules(std::vector<OnvifRule>(20, expected), 2));
}

// Each of the rules inside each other has all the points.
TEST_F(RuleXmlTest, TakesRulesInsideEachOtherWithinASecond) {
    constexpr int kRules = XMLNODE_MAX_DEPTH - 3;
    constexpr int kPointCount = XMLNODE_MAX_ELEMENTS - kRules - 2;
    std::string text = "<MotionRegionConfig Sensitivity='0.5'>";
    for (int i = 0; i < kPointCount; ++i) {
        text += "<Point x='1' y='2'/>";
    }
    text += "</MotionRegionConfig>";
    for (int i = 0; i < kRules; ++i) {
        text = "<Rule Name='a'>" + text + "</Rule>";
    }
    const StoredDocument document;
    document.store("", "");
    const std::clock_t start = std::clock();
    const Maybe<OnvifRules> rules = readRules("<r>" + text + "</r>", 1);
    ASSERT_EQ(static_cast<std::size_t>(kRules), rules.get().getRules().size());
    const auto result = OnvifConfigConverter::createRules(rules.get(), document.path(), kStream);
    EXPECT_GT(result.text.get().size(), static_cast<std::size_t>(kRules * kPointCount * 5));
    EXPECT_LT(std::clock() - start, (isSanitized ? 10 : 1) * CLOCKS_PER_SEC);
}

TEST_F(RuleXmlTest, WritesTheDocumentToTheByte) {
    const std::string xml = RuleXml::write(
        OnvifRules({OnvifRule(0.8, {{1, -2}, {30, 400}}, "Door"), OnvifRule(1.0, {}, "Gate")}, 1));
    EXPECT_EQ(xml,
              "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
              "<GetRules>\n"
              "\t<tt:Rule Name=\"Door\" Type=\"tt:MotionRegionDetector\" "
              "xmlns:tt=\"http://www.onvif.org/ver10/schema\" "
              "xmlns:axt=\"http://www.onvif.org/ver20/analytics\">\n"
              "\t\t<tt:Parameters>\n"
              "\t\t\t<tt:ElementItem Name=\"MotionRegion\">\n"
              "\t\t\t\t<axt:MotionRegionConfig Sensitivity=\"0.80\">\n"
              "\t\t\t\t\t<tt:Polygon>\n"
              "\t\t\t\t\t\t<tt:Point x=\"1\" y=\"-2\"/>\n"
              "\t\t\t\t\t\t<tt:Point x=\"30\" y=\"400\"/>\n"
              "\t\t\t\t\t</tt:Polygon>\n"
              "\t\t\t\t</axt:MotionRegionConfig>\n"
              "\t\t\t</tt:ElementItem>\n"
              "\t\t</tt:Parameters>\n"
              "\t</tt:Rule>\n"
              "\t<tt:Rule Name=\"Gate\" Type=\"tt:MotionRegionDetector\" "
              "xmlns:tt=\"http://www.onvif.org/ver10/schema\" "
              "xmlns:axt=\"http://www.onvif.org/ver20/analytics\">\n"
              "\t\t<tt:Parameters>\n"
              "\t\t\t<tt:ElementItem Name=\"MotionRegion\">\n"
              "\t\t\t\t<axt:MotionRegionConfig Sensitivity=\"1.00\">\n"
              "\t\t\t\t\t<tt:Polygon>\n"
              "\t\t\t\t\t</tt:Polygon>\n"
              "\t\t\t\t</axt:MotionRegionConfig>\n"
              "\t\t\t</tt:ElementItem>\n"
              "\t\t</tt:Parameters>\n"
              "\t</tt:Rule>\n"
              "</GetRules>");
}

TEST_F(RuleXmlTest, WritesNoRulesAsThreeLines) {
    EXPECT_EQ(RuleXml::write(OnvifRules()),
              "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<GetRules>\n</GetRules>");
}

TEST_F(RuleXmlTest, WritesNamesAsTheyAre) {
    const std::string xml = RuleXml::write(OnvifRules({OnvifRule(1.0, {}, "a\"<&>'")}, 1));
    EXPECT_NE(xml.find("\t<tt:Rule Name=\"a\"<&>'\" Type="), std::string::npos);
}

TEST_F(RuleXmlTest, ReadsWhatItWrites) {
    const OnvifRules rules({OnvifRule(0.25, kTriangle, "Door"), OnvifRule(1.0, {}, "Gate")}, 2);
    const Maybe<OnvifRules> read = readRules(RuleXml::write(rules), 2);
    ASSERT_TRUE(read.hasValue());
    EXPECT_EQ(read.get(), rules);
}

// The examples of docs/onvif-rules.md, each as the page shows it.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "config/json_parser.h"
#include "config/parse_config.h"
#include "onvif/transform_onvif.h"
#include "rule_stage.h"
#include "support/json_support.h"
#include "support/syslog_capture.h"

using testing::SizeIs;

namespace {

const StreamSettings kFullHd(1920, 1080, 0, false);

/// A piece of the page between fences, without its last line end.
struct Fence {
    std::string kind;  // what stands behind the opening fence
    std::string text;
};

using Row = std::vector<std::string>;

std::vector<std::string> readLines() {
    std::ifstream stream(TARNWATCH_DOCS "/onvif-rules.md");
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::vector<Fence> readFences() {
    std::vector<Fence> fences;
    bool isInside = false;
    for (const std::string& line : readLines()) {
        if (line.starts_with("```")) {
            isInside = !isInside;
            if (isInside) {
                fences.push_back({line.substr(3), ""});
            }
        } else if (isInside) {
            std::string& text = fences.back().text;
            text += (text.empty() ? "" : "\n") + line;
        }
    }
    return fences;
}

/// The texts of one kind, in the order of the page.
std::vector<std::string> readFences(const std::string& kind) {
    std::vector<std::string> texts;
    for (const Fence& fence : readFences()) {
        if (fence.kind == kind) {
            texts.push_back(fence.text);
        }
    }
    return texts;
}

Row cellsOf(const std::string& line) {
    Row cells;
    std::istringstream stream(line.substr(1));
    for (std::string cell; std::getline(stream, cell, '|');) {
        const std::size_t begin = cell.find_first_not_of(' ');
        const std::size_t end = cell.find_last_not_of(' ');
        cells.push_back(begin == std::string::npos ? "" : cell.substr(begin, end - begin + 1));
    }
    return cells;
}

/// The rows of the table whose head begins with the given cell.
std::vector<Row> readTable(const std::string& firstCell) {
    std::vector<Row> rows;
    bool isInside = false;
    for (const std::string& line : readLines()) {
        if (line.starts_with("| " + firstCell + " |")) {
            isInside = true;
        } else if (isInside && !line.starts_with("|")) {
            return rows;
        } else if (isInside && !line.starts_with("|---")) {
            rows.push_back(cellsOf(line));
        }
    }
    return rows;
}

/// A document, and what happens to it through rules.
class RulePage : public testing::Test {
protected:
    RulePage() { document.store("", ""); }

    void create(const std::string& xml, const StreamSettings& settings) {
        const Maybe<OnvifRules> rules = readRules(xml, 1, settings);
        ASSERT_TRUE(rules.hasValue()) << xml;
        const auto result =
            OnvifConfigConverter::createRules(rules.get(), document.path(), settings);
        ASSERT_TRUE(result.text.hasValue());
        document.write(result.text.get());
    }

    /// The profile that was created last.
    JsonAutoPtr lastProfile() const {
        const JsonAutoPtr stored = ParseConfig::getPersistentConfig(document.path());
        const json_t* profiles = ParseConfig::getProfiles(ParseConfig::getParams(stored.get()));
        return JsonAutoPtr(json_incref(json_array_get(profiles, json_array_size(profiles) - 1)));
    }

    std::string get(const StreamSettings& settings) const {
        return OnvifConfigConverter::getRules(document.path(), 1, settings).text.get();
    }

    StoredDocument document;
    SyslogCapture log;
};

std::string withSensitivity(const std::string& value) {
    return "<r><Rule Name='n'><MotionRegionConfig Sensitivity='" + value +
           "'><Point x='10' y='20'/></MotionRegionConfig></Rule></r>";
}

/// The value behind the name in a GetRules document.
std::string attributeOf(const std::string& xml, const std::string& name) {
    const std::string opening = " " + name + "=\"";
    const std::size_t begin = xml.find(opening);
    if (begin == std::string::npos) {
        return "";
    }
    const std::size_t from = begin + opening.size();
    return xml.substr(from, xml.find('"', from) - from);
}

/// The cells for the three filters of a profile: "none" for one that is not there.
Row filterCells(const json_t* profile) {
    std::map<std::string, std::string> values;
    const json_t* filters = ParseConfig::getFilters(profile);
    for (std::size_t i = 0; i < json_array_size(filters); ++i) {
        const json_t* filter = json_array_get(filters, i);
        const JsonAutoPtr data(json_incref(json_object_get(filter, "data")));
        values[ParseConfig::parseString(filter, "type")] =
            json_is_array(data.get()) ? textOf(json_array_get(data.get(), 0)) : textOf(data);
    }
    const auto cell = [&values](const std::string& type) {
        return values.contains(type) ? values[type] : "none";
    };
    return {cell("timeShortLivedLimit"), cell("distanceSwayingObject"), cell("sizePercentage")};
}

}  // namespace

TEST_F(RulePage, ShowsTheProfileOfEachRuleAndHowItReadsBack) {
    const auto rules = readFences("xml rule");
    const auto profiles = readFences("json profile");
    const auto answers = readFences("xml answer");
    ASSERT_THAT(rules, SizeIs(2));
    ASSERT_EQ(rules.size(), profiles.size());
    ASSERT_EQ(rules.size(), answers.size());
    for (std::size_t i = 0; i < rules.size(); ++i) {
        document.store("", "");
        create(rules[i], kFullHd);
        EXPECT_EQ(textOf(json(profiles[i])), textOf(lastProfile()));
        EXPECT_EQ(answers[i], get(kFullHd));
    }
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(RulePage, TellsTheLimitsOfAText) {
    EXPECT_EQ(64 * 1024, XMLNODE_MAX_LENGTH);
    EXPECT_EQ(32, XMLNODE_MAX_DEPTH);
    EXPECT_EQ(1000, XMLNODE_MAX_ELEMENTS);
    EXPECT_THAT(readLines(), testing::Contains(testing::HasSubstr(
                                 "A text may have 64 KiB, 32 levels and 1,000 elements")));
}

TEST_F(RulePage, TellsTheFiltersOfEachSensitivity) {
    const auto rows = readTable("Sensitivity");
    ASSERT_THAT(rows, SizeIs(testing::Ge(12U)));
    for (const Row& row : rows) {
        ASSERT_THAT(row, SizeIs(5));
        document.store("", "");
        create(withSensitivity(row[0]), kFullHd);
        const JsonAutoPtr profile = lastProfile();
        Row actual = filterCells(profile.get());
        actual.insert(actual.begin(), row[0]);
        actual.push_back(attributeOf(get(kFullHd), "Sensitivity"));
        EXPECT_EQ(row, actual);
    }
}

TEST_F(RulePage, TellsHowPointsComeBack) {
    const auto rows = readTable("Stream");
    ASSERT_THAT(rows, SizeIs(testing::Ge(6U)));
    for (const Row& row : rows) {
        ASSERT_THAT(row, SizeIs(5));
        StreamSettings settings;
        Point point;
        ASSERT_EQ(2, std::sscanf(row[0].c_str(), "%dx%d", &settings.width, &settings.height));
        ASSERT_EQ(1, std::sscanf(row[1].c_str(), "%d", &settings.rotation));
        ASSERT_EQ(2, std::sscanf(row[2].c_str(), "%hd, %hd", &point.x, &point.y));
        document.store("", "");
        create("<r><Rule Name='n'><MotionRegionConfig Sensitivity='1'><Point x='" +
                   std::to_string(point.x) + "' y='" + std::to_string(point.y) +
                   "'/></MotionRegionConfig></Rule></r>",
               settings);
        const JsonAutoPtr profile = lastProfile();
        const json_t* stored = json_array_get(ParseConfig::getTriggerData(profile.get()), 0);
        const std::string xml = get(settings);
        EXPECT_EQ(row[3],
                  textOf(json_array_get(stored, 0)) + ", " + textOf(json_array_get(stored, 1)))
            << row[0] << " " << row[1];
        EXPECT_EQ(row[4], attributeOf(xml, "x") + ", " + attributeOf(xml, "y"))
            << row[0] << " " << row[1];
    }
}

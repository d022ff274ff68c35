#include <glib.h>
#include <glib/gstdio.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <ctime>
#include <fstream>
#include <random>
#include <string>

#include "support/sanitizers.h"
#include "support/temporary_folder.h"
#include "tree.h"

namespace {

std::string repeat(const std::string& text, int count) {
    std::string result;
    result.reserve(text.size() * static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        result += text;
    }
    return result;
}

std::string nest(int depth) {
    return repeat("<a>", depth) + repeat("</a>", depth);
}

/// Seconds of processor time that the parser needs for a text.
double timeOf(const std::string& text, bool isValid) {
    const std::clock_t start = std::clock();
    EXPECT_EQ(isValid, Tree(text).isValid());
    return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}

/// Bytes that are resident now.
long residentBytes() {
    std::ifstream stream("/proc/self/statm");
    long total = 0;
    long resident = 0;
    stream >> total >> resident;
    return resident * sysconf(_SC_PAGESIZE);
}

/// The document type declaration of an entity that grows ten times with each of nine steps.
std::string entityBomb() {
    std::string declaration = "<!DOCTYPE r [<!ENTITY a0 \"ha\">";
    for (int step = 1; step < 10; ++step) {
        const std::string entity = "&a" + std::to_string(step - 1) + ";";
        declaration += "<!ENTITY a" + std::to_string(step) + " \"" + repeat(entity, 10) + "\">";
    }
    return declaration + "]>";
}

/// Four texts that would open a file if they could.
std::vector<std::string> readersOf(const std::string& file) {
    return {
        "<!DOCTYPE r [<!ENTITY e SYSTEM \"" + file + "\">]><r>&e;</r>",
        "<!DOCTYPE r [<!ENTITY % e SYSTEM \"" + file + "\"> %e;]><r/>",
        "<!DOCTYPE r SYSTEM \"" + file + "\"><r/>",
        "<!DOCTYPE r PUBLIC \"-//X//Y\" \"file://" + file + "\"><r/>",
    };
}

}  // namespace

TEST(HostileText, StopsAtADocumentType) {
    EXPECT_FALSE(Tree("<!DOCTYPE r><r/>").isValid());
    EXPECT_FALSE(Tree("<!DOCTYPE r [<!ENTITY e \"x\">]><r>&e;</r>").isValid());
    EXPECT_FALSE(Tree("<!DOCTYPE r [<!ATTLIST r a CDATA \"x\">]><r/>").isValid());
}

TEST(HostileText, StopsAtEntityBombsAtOnce) {
    for (const char* use : {"<r>&a9;</r>", "<r a='&a9;'/>"}) {
        EXPECT_LT(timeOf(entityBomb() + use, false), 1.0);
    }
}

// A pipe without a writer would hold whoever opens it for reading.
TEST(HostileText, OpensNoFile) {
    const TemporaryFolder folder;
    const std::string pipe = folder.path("pipe");
    ASSERT_EQ(0, mkfifo(pipe.c_str(), 0600));
    for (const std::string& text : readersOf(pipe)) {
        EXPECT_FALSE(Tree(text).isValid()) << text;
    }
}

TEST(HostileText, ResolvesNoInclusion) {
    const TemporaryFolder folder;
    const std::string file = folder.write("in.xml", "<p n='in'/>");
    const Tree tree("<r xmlns:xi='http://www.w3.org/2001/XInclude'><xi:include href='" + file +
                    "'/></r>");
    ASSERT_TRUE(tree.isValid());
    EXPECT_EQ(nullptr, xmlnode_find_tag(tree.root(), "p"));
    EXPECT_EQ(file, attribute(xmlnode_find_tag(tree.root(), "include"), "href"));
}

TEST(HostileText, TakesThirtyTwoLevelsAndNoMore) {
    EXPECT_TRUE(Tree(nest(XMLNODE_MAX_DEPTH)).isValid());
    EXPECT_FALSE(Tree(nest(XMLNODE_MAX_DEPTH + 1)).isValid());
    EXPECT_LT(timeOf(repeat("<a>", XMLNODE_MAX_LENGTH / 3), false), 1.0);
}

TEST(HostileText, TakesAThousandElementsAndNoMore) {
    EXPECT_TRUE(Tree("<r>" + repeat("<a/>", XMLNODE_MAX_ELEMENTS - 1) + "</r>").isValid());
    EXPECT_FALSE(Tree("<r>" + repeat("<a/>", XMLNODE_MAX_ELEMENTS) + "</r>").isValid());
}

TEST(HostileText, Takes64KiBAndNoMore) {
    const std::string text = "<r a='" + std::string(XMLNODE_MAX_LENGTH - 9, 'x') + "'/>";
    ASSERT_EQ(static_cast<std::size_t>(XMLNODE_MAX_LENGTH), text.size());
    EXPECT_TRUE(Tree(text).isValid());
    EXPECT_FALSE(Tree(text + " ").isValid());
}

TEST(HostileText, RefusesTenMegabytesOfNestingAtOnce) {
    EXPECT_LT(timeOf(repeat("<a>", 10 * 1024 * 1024 / 3), false), 1.0);
}

TEST(HostileText, CompletesTheWorstOfTheAllowedInTime) {
    std::string attributes;
    for (int i = 0; attributes.size() < XMLNODE_MAX_LENGTH - 100; ++i) {
        attributes += " a" + std::to_string(i) + "=''";
    }
    const double limit = isSanitized ? 10.0 : 1.0;
    EXPECT_LT(timeOf("<r" + attributes + "/>", true), limit);
}

TEST(HostileText, RefusesANulInsideTheGivenLength) {
    const std::string text("<r a='\0'/>", 10);
    EXPECT_EQ(nullptr, xmlnode_parse_string(text.data(), text.size()));
    const std::string behind("<r/>\0", 5);
    EXPECT_EQ(nullptr, xmlnode_parse_string(behind.data(), behind.size()));
    const std::string zeros(100, '\0');
    EXPECT_EQ(nullptr, xmlnode_parse_string(zeros.data(), zeros.size()));
}

TEST(HostileText, RefusesRandomBytesWithoutAWord) {
    std::mt19937 random(20240117);
    std::uniform_int_distribution<int> byte(0, 255);
    std::uniform_int_distribution<int> length(1, 300);
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    for (int round = 0; round < 2000; ++round) {
        std::string text(static_cast<std::size_t>(length(random)), ' ');
        for (char& character : text) {
            character = static_cast<char>(byte(random));
        }
        text[0] = round % 2 == 0 ? '<' : text[0];
        XmlNode* root = xmlnode_parse_string(text.data(), text.size());
        EXPECT_EQ(nullptr, root) << text;
        xmlnode_free(root);
    }
    EXPECT_EQ("", testing::internal::GetCapturedStderr());
    EXPECT_EQ("", testing::internal::GetCapturedStdout());
}

TEST(HostileText, LeavesNothingBehind) {
    if (isSanitized) {
        GTEST_SKIP() << "memory that is released stays in quarantine";
    }
    const std::vector<std::string> texts = {
        entityBomb() + "<r>&a9;</r>",
        repeat("<a>", XMLNODE_MAX_LENGTH / 3),
        "<r>" + repeat("<a/>", XMLNODE_MAX_ELEMENTS + 5) + "</r>",
        "<r " + repeat("a", 60000) + "='1'",
        "<r>" + repeat("&lt;", 16000),
    };
    const auto parseAll = [&texts] {
        for (const std::string& text : texts) {
            EXPECT_FALSE(Tree(text).isValid());
        }
    };
    for (int round = 0; round < 20; ++round) {
        parseAll();
    }
    const long before = residentBytes();
    for (int round = 0; round < 100; ++round) {
        parseAll();
    }
    EXPECT_LT(residentBytes() - before, 2 * 1024 * 1024);
}

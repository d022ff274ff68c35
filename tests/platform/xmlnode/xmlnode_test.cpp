#include "xmlnode/xmlnode.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "tree.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

TEST(Xmlnode, FindsTagsWhateverTheirPrefix) {
    const Tree tree(
        "<r xmlns='urn:a' xmlns:tt='urn:b'><Rule n='1'/><tt:Rule n='2'/><x:Rule n='3'/></r>");
    EXPECT_THAT(attributes(tree.root(), "Rule", "n"), ElementsAre("1", "2", "3"));
    EXPECT_THAT(attributes(tree.root(), "tt:Rule", "n"), IsEmpty());
}

TEST(Xmlnode, FindsTagsAtEveryDepthInDocumentOrder) {
    const Tree tree("<r><p n='1'><p n='2'><q><p n='3'/></q></p></p><s/><p n='4'/></r>");
    EXPECT_THAT(attributes(tree.root(), "p", "n"), ElementsAre("1", "2", "3", "4"));
    XmlNode* first = xmlnode_find_tag(tree.root(), "p");
    EXPECT_EQ("1", attribute(first, "n"));
    EXPECT_THAT(attributes(first, "p", "n"), ElementsAre("2", "3"));
}

TEST(Xmlnode, FindsOnlyWhatIsBelow) {
    const Tree tree("<Rule n='1'><Rule n='2'/></Rule>");
    EXPECT_EQ("2", attribute(xmlnode_find_tag(tree.root(), "Rule"), "n"));
    EXPECT_THAT(attributes(tree.root(), "Rule", "n"), ElementsAre("2"));
}

TEST(Xmlnode, TellsUpperCaseFromLower) {
    const Tree tree("<r><rule a='1'/></r>");
    EXPECT_EQ(nullptr, xmlnode_find_tag(tree.root(), "Rule"));
    EXPECT_EQ("(none)", attribute(xmlnode_find_tag(tree.root(), "rule"), "A"));
}

TEST(Xmlnode, GivesTheTextOfAnAttribute) {
    const Tree tree("<r a='' b='&lt;&amp;&#65;&#x42;\"' c=\"x\ty\nz\" tt:d='4' é='Größe'/>");
    EXPECT_EQ("", attribute(tree.root(), "a"));
    EXPECT_EQ("<&AB\"", attribute(tree.root(), "b"));
    EXPECT_EQ("x y z", attribute(tree.root(), "c"));
    EXPECT_EQ("(none)", attribute(tree.root(), "d"));
    EXPECT_EQ("4", attribute(tree.root(), "tt:d"));
    EXPECT_EQ("Größe", attribute(tree.root(), "é"));
    EXPECT_EQ("(none)", attribute(tree.root(), "e"));
}

TEST(Xmlnode, PassesOverWhatIsNoElement) {
    const Tree tree(
        "<?xml version='1.0'?><!-- <p n='0'/> --><?go <p/>?>"
        "<r>text &amp; text<![CDATA[<p n='0'/>]]><p n='1'>more</p><!-- -->\n</r>\n");
    EXPECT_THAT(attributes(tree.root(), "p", "n"), ElementsAre("1"));
}

TEST(Xmlnode, TakesTheGivenLength) {
    const std::string text = "<r/>garbage";
    XmlNode* root = xmlnode_parse_string(text.c_str(), 4);
    EXPECT_NE(nullptr, root);
    xmlnode_free(root);
    EXPECT_EQ(nullptr, xmlnode_parse_string(text.c_str(), 0));
}

TEST(Xmlnode, ReadsUtf8WhateverTheTextSays) {
    for (const char* encoding :
         {"utf-8", "UTF-16", "ISO-8859-1", "EBCDIC-US", "UTF-7", "nonsense"}) {
        const Tree tree("<?xml version='1.0' encoding='" + std::string(encoding) +
                        "'?><r n='Größe'/>");
        EXPECT_EQ("Größe", attribute(tree.root(), "n")) << encoding;
    }
    EXPECT_TRUE(Tree("\xEF\xBB\xBF<r/>").isValid());
}

TEST(Xmlnode, RefusesWhatIsNotWellFormed) {
    for (const char* text :
         {"", " ", "text", "<", "<r", "<r>", "</r>", "<r></s>", "<r/><r/>", "<r a=1/>",
          "<r a='1' a='2'/>", "<r a='<'/>", "<r>&unknown;</r>", "<r a='&unknown;'/>", "<r>&#0;</r>",
          " <?xml version='1.0'?><r/>", "<r>\x01</r>", "<r>\xC3\x28</r>", "<r a='\xFF'/>"}) {
        EXPECT_FALSE(Tree(text).isValid()) << text;
    }
}

TEST(Xmlnode, AnswersNothingWithNothing) {
    EXPECT_EQ(nullptr, xmlnode_parse_string(nullptr, 0));
    EXPECT_EQ(nullptr, xmlnode_parse_string(nullptr, 7));
    EXPECT_EQ(nullptr, xmlnode_find_tags(nullptr, "a"));
    EXPECT_EQ(nullptr, xmlnode_find_tag(nullptr, "a"));
    EXPECT_EQ(nullptr, xmlnode_get_attribute_value(nullptr, "a"));
    const Tree tree("<r a='1'><s/></r>");
    EXPECT_EQ(nullptr, xmlnode_find_tags(tree.root(), nullptr));
    EXPECT_EQ(nullptr, xmlnode_find_tag(tree.root(), nullptr));
    EXPECT_EQ(nullptr, xmlnode_get_attribute_value(tree.root(), nullptr));
    EXPECT_EQ(nullptr, xmlnode_find_tags(tree.root(), "t"));
    xmlnode_free(nullptr);
}

TEST(Xmlnode, KeepsTreesOfSeveralThreadsApart) {
    std::vector<std::thread> threads;
    for (int number = 0; number < 4; ++number) {
        threads.emplace_back([number] {
            const std::string value = std::to_string(number);
            for (int round = 0; round < 200; ++round) {
                const Tree tree("<r><p n='" + value + "'/><p n='x'/></r>");
                EXPECT_THAT(attributes(tree.root(), "p", "n"), ElementsAre(value, "x"));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

}  // namespace

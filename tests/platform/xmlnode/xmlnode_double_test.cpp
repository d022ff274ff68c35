#include "xmlnode/double/xmlnode_double.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tree.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

constexpr const char* kText = "<r><p n='1'/><p n='2'/></r>";

class XmlnodeDoubleTest : public testing::Test {
protected:
    XmlnodeDoubleTest() { XmlnodeDouble::reset(); }
};

}  // namespace

TEST_F(XmlnodeDoubleTest, AnswersLikeTheLibraryAndRecords) {
    const Tree tree(kText);
    const Tree broken("<r");
    EXPECT_THAT(attributes(tree.root(), "p", "n"), ElementsAre("1", "2"));
    EXPECT_EQ("1", attribute(xmlnode_find_tag(tree.root(), "p"), "n"));
    EXPECT_FALSE(broken.isValid());
    EXPECT_THAT(XmlnodeDouble::parsedTexts(), ElementsAre(kText, "<r"));
    EXPECT_EQ(2, XmlnodeDouble::calls("xmlnode_parse_string"));
    EXPECT_EQ(1, XmlnodeDouble::calls("xmlnode_find_tags"));
    EXPECT_EQ(1, XmlnodeDouble::calls("xmlnode_find_tag"));
    EXPECT_EQ(3, XmlnodeDouble::calls("xmlnode_get_attribute_value"));
    XmlnodeDouble::reset();
    EXPECT_THAT(XmlnodeDouble::parsedTexts(), IsEmpty());
    EXPECT_EQ(0, XmlnodeDouble::calls("xmlnode_find_tags"));
}

TEST_F(XmlnodeDoubleTest, FailsTheCallThatItIsToldTo) {
    const Tree tree(kText);
    XmlnodeDouble::failCall("xmlnode_parse_string", 2);
    EXPECT_TRUE(Tree(kText).isValid());
    EXPECT_FALSE(Tree(kText).isValid());
    EXPECT_TRUE(Tree(kText).isValid());
    XmlnodeDouble::failCall("xmlnode_find_tags", 1);
    EXPECT_THAT(attributes(tree.root(), "p", "n"), IsEmpty());
    EXPECT_THAT(attributes(tree.root(), "p", "n"), SizeIs(2));
    XmlnodeDouble::failCall("xmlnode_find_tag", 1);
    EXPECT_EQ(nullptr, xmlnode_find_tag(tree.root(), "p"));
    XmlnodeDouble::failEveryCall("xmlnode_get_attribute_value");
    EXPECT_THAT(attributes(tree.root(), "p", "n"), ElementsAre("(none)", "(none)"));
}

TEST_F(XmlnodeDoubleTest, GivesANullEntryWhenToldTo) {
    const Tree tree(kText);
    XmlnodeDouble::giveNullEntry(2);
    EXPECT_THAT(attributes(tree.root(), "p", "n"), ElementsAre("1", "2"));
    EXPECT_THAT(attributes(tree.root(), "p", "n"), ElementsAre("(none)", "1", "2"));
    EXPECT_THAT(attributes(tree.root(), "p", "n"), ElementsAre("1", "2"));
}

TEST_F(XmlnodeDoubleTest, KeepsCountOfTrees) {
    {
        const Tree one(kText);
        const Tree other(kText);
        EXPECT_EQ(2, XmlnodeDouble::liveTrees());
        xmlnode_free(xmlnode_find_tag(one.root(), "p"));
    }
    EXPECT_EQ(0, XmlnodeDouble::liveTrees());
    EXPECT_THAT(XmlnodeDouble::misuses(), ElementsAre("xmlnode_free: not a tree, or no more"));
}

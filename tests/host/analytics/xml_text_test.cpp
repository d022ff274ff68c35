#include "analytics/xml_text.h"

#include <gtest/gtest.h>

namespace {

TEST(XmlText, FindsTheRootWithoutItsPrefix) {
    const XmlText::Root root =
        XmlText::rootOf("<?xml version=\"1.0\"?>\n<!-- a rule --><tt:Rule Name='a &amp; b'/>");
    EXPECT_EQ("Rule", root.tag);
    EXPECT_EQ("a & b", root.attributes.at("Name"));
}

TEST(XmlText, RefusesWhatIsNoDocument) {
    for (const char* text :
         {"", "text", "<a>", "<a></b>", "<a/><b/>", "<a/>text", "<!DOCTYPE a><a/>",
          "<!DOCTYPE a [<!ENTITY e \"e\">]><a>&e;</a>", "<a>&e;</a>", "<a b='\xff'/>"}) {
        EXPECT_THROW(XmlText::rootOf(text), XmlError) << text;
        EXPECT_THROW(XmlText::indented(text), XmlError) << text;
    }
}

TEST(XmlText, PutsEachElementOnALine) {
    EXPECT_EQ(
        "<a:b c=\"d &amp; e\">\n"
        "  <f/>\n"
        "  <g>5 &lt; 6</g>\n"
        "  <h>\n"
        "    <i/>\n"
        "  </h>\n"
        "</a:b>\n",
        XmlText::indented("<a:b c='d &amp; e'> <f/>  <g> 5 &lt; 6 </g><h><i></i></h> </a:b>"));
}

}  // namespace

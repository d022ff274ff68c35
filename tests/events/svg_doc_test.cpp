#include "events/svg_doc.h"

#include <gtest/gtest.h>

namespace {

const std::string kOpening =
    "<svg xmlns=\"http://www.w3.org/2000/svg\" version=\"1.1\" baseProfile=\"full\" \n"
    "xmlns:xlink=\"http://www.w3.org/1999/xlink\" \n"
    "width=\"100%\" height=\"100%\" \n"
    "viewBox=\"-1 -1 2 2\" \n"
    "preserveAspectRatio=\"none\" >\n";

TEST(SvgDoc, IsAnEmptyPictureWithoutElements) {
    EXPECT_EQ(SvgDoc().toString(), "<svg><desc></desc></svg>");
    EXPECT_FALSE(SvgDoc().hasElements());
}

TEST(SvgDoc, IgnoresAnEmptyElement) {
    SvgDoc document("<g >", "");
    document += "";
    EXPECT_FALSE(document.hasElements());
    EXPECT_EQ(document.toString(), "<svg><desc></desc></svg>");
}

TEST(SvgDoc, PutsOpeningTransformAndElementsInOrder) {
    SvgDoc document("<g >", "<polygon a />\n");
    document += "<polygon b />\n";
    EXPECT_TRUE(document.hasElements());
    EXPECT_EQ(document.toString(),
              kOpening + "<g >" + "<polygon a />\n<polygon b />\n" + "</g></svg>");
}

TEST(SvgDoc, WithoutATransformHasTheOpeningAlone) {
    EXPECT_EQ(SvgDoc("", "<polygon />\n").toString(), kOpening + "<polygon />\n</g></svg>");
}

TEST(SvgDoc, StartedEmptyHasNoHead) {
    SvgDoc document;
    document += "<polygon />\n";
    EXPECT_EQ(document.toString(), "<polygon />\n</g></svg>");
}

TEST(SvgDoc, AppendsInAChain) {
    SvgDoc document;
    (document += "a") += "b";
    EXPECT_EQ(document.toString(), "ab</g></svg>");
}

}  // namespace

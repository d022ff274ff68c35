#include "events/svg_transform.h"

#include <gtest/gtest.h>

#include "support/syslog_capture.h"

namespace {

const std::string kFlipOnly = "<g transform=\"matrix(1 0 0 -1 0 0)\" >";

TEST(SvgTransform, OfTheIdentityIsTheIdentityBehindTheFlip) {
    const SyslogCapture log;
    const double identity[] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    EXPECT_EQ(createSVGTransform(identity, 9),
              "<g transform=\"matrix(1 0 0 -1 0 0) matrix(1.0000 0.0000 0.0000 1.0000 0.0000 "
              "0.0000 )\" >");
    EXPECT_TRUE(log.lines().empty());
}

TEST(SvgTransform, ListsTheUpperTwoRowsOfTheInverseByColumns) {
    // The inverse of x' = 2x + 3, y' = 4y + 5 is x = x' / 2 - 1.5, y = y' / 4 - 1.25.
    const double matrix[] = {2, 0, 3, 0, 4, 5, 0, 0, 1};
    EXPECT_EQ(createSVGTransform(matrix, 9),
              "<g transform=\"matrix(1 0 0 -1 0 0) matrix(0.5000 0.0000 0.0000 0.2500 -1.5000 "
              "-1.2500 )\" >");
}

TEST(SvgTransform, InvertsAGeneralMatrix) {
    // Determinant 1; the inverse is {-24, 18, 5; 20, -15, -4; -5, 4, 1}.
    const double matrix[] = {1, 2, 3, 0, 1, 4, 5, 6, 0};
    EXPECT_EQ(createSVGTransform(matrix, 9),
              "<g transform=\"matrix(1 0 0 -1 0 0) matrix(-24.0000 20.0000 18.0000 -15.0000 5.0000 "
              "-4.0000 )\" >");
}

TEST(SvgTransform, OfASingularMatrixOnlyFlips) {
    const SyslogCapture log;
    const double singular[] = {1, 2, 3, 2, 4, 6, 0, 0, 1};
    EXPECT_EQ(createSVGTransform(singular, 9), kFlipOnly);
    EXPECT_EQ(log.lines(), (std::vector<SyslogCapture::Line>{
                               {LOG_WARNING, "The TransformationMatrix must be invertible.\n"}}));
}

TEST(SvgTransform, TakesTheDeterminantsLimitFromSinglePrecision) {
    const SyslogCapture log;
    // 1e-5 in single precision is a little below 1e-5, so a determinant of 1e-5 still counts.
    const double atLimit[] = {1e-5, 0, 0, 0, 1, 0, 0, 0, 1};
    EXPECT_NE(createSVGTransform(atLimit, 9), kFlipOnly);
    const double below[] = {-0.99e-5, 0, 0, 0, 1, 0, 0, 0, 1};
    EXPECT_EQ(createSVGTransform(below, 9), kFlipOnly);
    EXPECT_EQ(log.texts(),
              std::vector<std::string>{"The TransformationMatrix must be invertible.\n"});
}

TEST(SvgTransform, AcceptsANegativeDeterminant) {
    const double mirrored[] = {-1, 0, 0, 0, 1, 0, 0, 0, 1};
    const std::string tag = createSVGTransform(mirrored, 9);
    EXPECT_EQ(tag.rfind("<g transform=\"matrix(1 0 0 -1 0 0) matrix(-1.0000 ", 0), 0U) << tag;
}

TEST(SvgTransform, WithoutNineValuesOnlyFlips) {
    const SyslogCapture log;
    const double identity[] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    EXPECT_EQ(createSVGTransform(nullptr, 9), kFlipOnly);
    EXPECT_EQ(createSVGTransform(identity, 8), kFlipOnly);
    EXPECT_EQ(createSVGTransform(identity, 10), kFlipOnly);
    const SyslogCapture::Line line{LOG_WARNING, "The Matrix needs 9 data values to be created.\n"};
    EXPECT_EQ(log.lines(), (std::vector<SyslogCapture::Line>{line, line, line}));
}

}  // namespace

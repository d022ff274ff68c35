#include "cgi/api_version.h"

#include <gtest/gtest.h>
#include <syslog.h>

#include "support/syslog_capture.h"

namespace {

TEST(ApiVersion, ReadsMajorAndMinorAndKeepsTheText) {
    const API_Version version("1.10");
    EXPECT_EQ(1, version.major);
    EXPECT_EQ(10, version.minor);
    EXPECT_EQ("1.10", version.text);
    EXPECT_TRUE(version.isValid());
}

TEST(ApiVersion, IsNotValidByDefault) {
    const API_Version version;
    EXPECT_EQ(-1, version.major);
    EXPECT_EQ(-1, version.minor);
    EXPECT_EQ("", version.text);
    EXPECT_FALSE(version.isValid());
}

TEST(ApiVersion, StaysNotValidAndKeepsTheTextOfABadFormat) {
    for (const char* text : {"1", "1.2.3", "", "a.b", ".", "1."}) {
        SyslogCapture log;
        const API_Version version(text);
        EXPECT_FALSE(version.isValid()) << text;
        EXPECT_EQ(text, version.text);
        EXPECT_TRUE(log.has(LOG_WARNING, std::string("unsupported format on version ") + text +
                                             ", it should be major.minor\n"));
    }
}

TEST(ApiVersion, LeavesTheNumbersAloneOnABadFormat) {
    int major = 7;
    int minor = 8;
    API_Version::convertVersionStrToInts("x", major, minor);
    EXPECT_EQ(7, major);
    EXPECT_EQ(8, minor);
    API_Version::convertVersionStrToInts("2.16", major, minor);
    EXPECT_EQ(2, major);
    EXPECT_EQ(16, minor);
}

TEST(ApiVersion, ComparesByNumbersAndNotByText) {
    EXPECT_TRUE(API_Version("1.0") == API_Version("1.00"));
    EXPECT_TRUE(API_Version("1.9") < API_Version("1.10"));
    EXPECT_FALSE(API_Version("2.0") < API_Version("1.10"));
    EXPECT_TRUE(API_Version("1.9") <= API_Version("1.9"));
    EXPECT_FALSE(API_Version("1.10") <= API_Version("1.9"));
}

TEST(ApiVersion, ThatIsNotValidEqualsNothingNotEvenItself) {
    const API_Version none;
    EXPECT_FALSE(none == none);
    EXPECT_FALSE(none <= none);
    EXPECT_TRUE(none < API_Version("1.0"));
    EXPECT_TRUE(none <= API_Version("1.0"));
}

}  // namespace

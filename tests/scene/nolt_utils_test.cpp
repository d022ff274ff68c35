#include "scene/nolt_utils.h"

#include <gtest/gtest.h>
#include <syslog.h>

#include "cgi/api_version.h"
#include "support/syslog_capture.h"

namespace {

TEST(NoltUtils, KnowsWhatEachSceneVersionDelivers) {
    EXPECT_EQ(7U, NoltUtils::getSupportedCapabilities(API_Version("1.0")));
    EXPECT_EQ(15U, NoltUtils::getSupportedCapabilities(API_Version("1.1")));
    EXPECT_EQ(6U, NoltUtils::removeUnsupportedCapabilites(API_Version("1.0"), 14));
    EXPECT_EQ(14U, NoltUtils::removeUnsupportedCapabilites(API_Version("1.1"), 14));
    EXPECT_TRUE(NoltUtils::areCapabilitiesSupported(API_Version("1.1"), 14));
    EXPECT_FALSE(NoltUtils::areCapabilitiesSupported(API_Version("1.0"), 14));
}

TEST(NoltUtils, DeliversNothingForAnUnknownVersionAndLogs) {
    SyslogCapture log;
    EXPECT_EQ(0U, NoltUtils::removeUnsupportedCapabilites(API_Version("1.2"), 15));
    EXPECT_TRUE(NoltUtils::areCapabilitiesSupported(API_Version("1.2"), 0));
    EXPECT_FALSE(NoltUtils::areCapabilitiesSupported(API_Version("1.2"), 1));
    EXPECT_EQ(3U, log.lines().size());
    EXPECT_TRUE(log.has(LOG_WARNING, "Cannon find the capabilities for version 1.2\n"));
    EXPECT_EQ(0U, NoltUtils::getSupportedCapabilities(API_Version()));
    EXPECT_TRUE(log.has(LOG_WARNING, "Cannon find the capabilities for version \n"));
}

TEST(NoltUtils, PinsTheBitsThatTravel) {
    EXPECT_EQ(1U, CapabilityBoundingBox);
    EXPECT_EQ(2U, CapabilityPolygon);
    EXPECT_EQ(4U, CapabilityVelocity);
    EXPECT_EQ(8U, CapabilityLowConfident);
}

}  // namespace

#include "onvif/convert_onvif.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "support/json_support.h"
#include "support/status_matchers.h"
#include "support/syslog_capture.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Line = SyslogCapture::Line;

std::string time(int value) {
    return R"({"data": )" + std::to_string(value) +
           R"(,"type": "timeShortLivedLimit", "active": true  },)";
}

std::string distance(int value) {
    return R"({"data": )" + std::to_string(value) +
           R"(,"type": "distanceSwayingObject", "active": true  },)";
}

std::string size(int value) {
    return R"({"data":[ )" + std::to_string(value) + "," + std::to_string(value) +
           R"(],"type": "sizePercentage", "active": true })";
}

std::string filters(double sensitivity) {
    return Convert::Onvif::sensitivityToFilters(sensitivity);
}

double sensitivity(const std::string& text) {
    return Convert::Onvif::filtersToSensitivity(json(text).get());
}

TEST(ConvertOnvif, WritesTheThreeFiltersWithJustTheseBlanks) {
    EXPECT_EQ(filters(0.5),
              "[{\"data\": 3,\"type\": \"timeShortLivedLimit\", \"active\": true  },"
              "{\"data\": 10,\"type\": \"distanceSwayingObject\", \"active\": true  },"
              "{\"data\":[ 13,13],\"type\": \"sizePercentage\", \"active\": true }]");
}

TEST(ConvertOnvif, ScalesAndRoundsEachFilter) {
    EXPECT_EQ(filters(0.8), "[" + time(1) + distance(4) + size(5) + "]");
    EXPECT_EQ(filters(0.5), "[" + time(3) + distance(10) + size(13) + "]");
    EXPECT_EQ(filters(0.1), "[" + time(5) + distance(18) + size(23) + "]");
    EXPECT_EQ(filters(0.001), "[" + time(5) + distance(20) + size(25) + "]");
}

TEST(ConvertOnvif, HasNoFiltersForTheHighestSensitivities) {
    for (const double value : {0.9, 0.95, 0.99, 1.0}) {
        EXPECT_EQ(filters(value), "[]") << value;
    }
}

TEST(ConvertOnvif, HasNoFiltersForNoSensitivity) {
    for (const double value : {0.0, -0.0, 9e-6, -9e-6}) {
        EXPECT_EQ(filters(value), "[]") << value;
    }
    const double limit = 9.999999747378752e-06;
    EXPECT_EQ(filters(std::nextafter(limit, 0.0)), "[]");
    EXPECT_EQ(filters(limit), "[" + time(5) + distance(20) + size(25) + "]");
}

TEST(ConvertOnvif, ReadsBackAsOneWhatHasNoFilters) {
    for (const double value : {0.0, 0.9, 0.95, 1.0}) {
        EXPECT_EQ(sensitivity(filters(value)), 1.0) << value;
    }
}

TEST(ConvertOnvif, HasDistanceLastAsSensitivityRises) {
    EXPECT_EQ(filters(0.89), "[" + time(1) + size(3) + "]");
    EXPECT_EQ(filters(0.875), "[" + time(1) + distance(3) + size(3) + "]");
    EXPECT_EQ(filters(std::nextafter(0.875, 1.0)), "[" + time(1) + size(3) + "]");
}

// 1.0 less the single-precision 0.9 is above 0.1.
TEST(ConvertOnvif, TellsNineTenthsInSinglePrecisionFromTheDouble) {
    EXPECT_EQ(filters(0.9F), "[" + time(1) + size(3) + "]");
}

TEST(ConvertOnvif, IsWellFormedAtEveryStep) {
    double value = 0.9;
    for (int i = 0; i < 200; ++i) {
        value = std::nextafter(value, 0.0);
    }
    for (int i = 0; i < 400; ++i) {
        EXPECT_TRUE(json(filters(value)).get() != nullptr) << filters(value);
        value = std::nextafter(value, 1.0);
    }
    for (int thousandth = 0; thousandth <= 1000; ++thousandth) {
        EXPECT_TRUE(json(filters(thousandth / 1000.0)).get() != nullptr) << thousandth;
        EXPECT_TRUE(json(filters(static_cast<float>(thousandth) / 1000.0F)).get() != nullptr);
    }
}

TEST(ConvertOnvif, TakesWhatIsNoNumberForTheHighest) {
    EXPECT_EQ(filters(std::nan("")), "[]");
}

TEST(ConvertOnvif, TakesTheStrictestFilter) {
    EXPECT_EQ(sensitivity("[" + time(1) + distance(10) + size(5) + "]"), 0.5);
    EXPECT_EQ(sensitivity("[" + time(4) + distance(10) + size(5) + "]"), 1 / 5.0);
    EXPECT_EQ(sensitivity("[" + time(1) + distance(4) + size(22) + "]"), 3 / 25.0);
    EXPECT_EQ(sensitivity("[]"), 1.0);
}

TEST(ConvertOnvif, TakesTheLargerSideOfASize) {
    const auto ofSize = [](const std::string& data) {
        return sensitivity(R"([{"type":"sizePercentage","active":true,"data":)" + data + "}]");
    };
    EXPECT_EQ(ofSize("[25,25]"), 0.0);
    EXPECT_EQ(ofSize("[100,30]"), 0.0);
    EXPECT_EQ(ofSize("[0,0]"), 1.0);
    EXPECT_EQ(ofSize("[25,5]"), 0.8);
    EXPECT_EQ(ofSize("[5,25]"), 0.8);
}

TEST(ConvertOnvif, KeepsValuesWithinTheScale) {
    const auto of = [](const std::string& type, int value) {
        return sensitivity(R"([{"active":true,"type":")" + type + R"(","data":)" +
                           std::to_string(value) + "}]");
    };
    EXPECT_EQ(of("timeShortLivedLimit", 5), 0.0);
    EXPECT_EQ(of("timeShortLivedLimit", 6), 0.0);
    EXPECT_EQ(of("timeShortLivedLimit", 4), 1 / 5.0);
    EXPECT_EQ(of("distanceSwayingObject", 20), 0.0);
    EXPECT_EQ(of("distanceSwayingObject", 19), 1 / 20.0);
    // Above 1.0, which cannot lower anything.
    EXPECT_EQ(of("timeShortLivedLimit", 0), 1.0);
    EXPECT_EQ(of("timeShortLivedLimit", -3), 1.0);
    EXPECT_EQ(of("distanceSwayingObject", -2147483647 - 1), 1.0);
}

TEST(ConvertOnvif, LetsInactiveFiltersBe) {
    EXPECT_EQ(sensitivity(R"([{"type":"timeShortLivedLimit","data":5,"active":false}])"), 1.0);
    EXPECT_EQ(sensitivity(R"([{"type":"distanceSwayingObject","data":20,"active":false}])"), 1.0);
    EXPECT_EQ(sensitivity(R"([{"type":"sizePercentage","data":[25,25],"active":false}])"), 1.0);
}

TEST(ConvertOnvif, PassesOverExcludeAreasWithoutAWord) {
    const SyslogCapture log;
    EXPECT_EQ(sensitivity(R"([{"type":"excludeArea"},)" + size(5) + "]"), 0.8);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(ConvertOnvif, ReportsFiltersItDoesNotKnow) {
    const SyslogCapture log;
    EXPECT_EQ(sensitivity(R"([{"type":"sizePerspective"},{"type":"other"},)" + size(5) + "]"), 0.8);
    EXPECT_THAT(log.lines(), ElementsAre(Line{LOG_WARNING, "Unknown filter type\n"},
                                         Line{LOG_WARNING, "Unknown filter type\n"}));
}

TEST(ConvertOnvif, RefusesFiltersItCannotRead) {
    for (const char* text : {
             R"([{"type":"sizePercentage","data":5,"active":true}])",
             R"([{"type":"sizePercentage","data":[5,5]}])",
             R"([{"type":"timeShortLivedLimit","active":true}])",
             R"([{"type":"distanceSwayingObject","data":"x","active":true}])",
         }) {
        expectStatus([&] { sensitivity(text); }, StatusMissingParameter,
                     "Failed to parse \"data\"");
    }
    expectStatus([] { sensitivity("[{}]"); }, StatusMissingParameter, "Failed to parse key: type");
    expectStatus([] { sensitivity("[null]"); }, StatusMissingParameter,
                 "Failed to parse key: type");
}

TEST(ConvertOnvif, TakesNoArrayForAnEmptyOne) {
    EXPECT_EQ(Convert::Onvif::filtersToSensitivity(nullptr), 1.0);
}

}  // namespace

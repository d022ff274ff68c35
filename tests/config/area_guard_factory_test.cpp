#include "config/area_guard_factory.h"

#include <gtest/gtest.h>

#include "config/data_boundaries.h"
#include "filters/object_lifetime_filter.h"
#include "filters/size_filter_percent.h"
#include "filters/size_filter_perspective.h"
#include "filters/swaying_filter.h"
#include "geometry/polygon.h"
#include "support/json_support.h"
#include "support/status_matchers.h"
#include "support/syslog_capture.h"
#include "support/test_device.h"
#include "support/test_profile.h"

namespace {

using TestProfile::array;
using TestProfile::excludeArea;
using TestProfile::filter;
using TestProfile::profile;

class OpenFactory : public AreaGuardFactory {
public:
    using AreaGuardFactory::AreaGuardFactory;
    Guard* createGuard() const override { return nullptr; }
};

class AreaGuardFactoryTest : public testing::Test {
protected:
    template <typename Step>
    void expectFailure(Step step, const std::string& text, StatusCode_e status,
                       const std::string& message) {
        const JsonAutoPtr value = json(text);
        expectStatus([&] { step(*value.get()); }, status, message);
    }

    static std::string bar(const std::string& data, const std::string& height = "2",
                           const std::string& type = "bar") {
        return R"({"type":")" + type + R"(","height":)" + height + R"(,"data":)" + data + "}";
    }

    /// Two bars that agree at rotation 0 and 270: the upper one is smaller.
    static std::string bars() {
        return array({bar("[[0.0,0.0],[0.1,0.1]]"), bar("[[0.5,0.5],[0.55,0.55]]")});
    }

    TestDevice device;
    SyslogCapture log;
    const DataBoundaries limits = DataBoundaries::ofThisBuild();
    OpenFactory factory{0, limits};
};

TEST_F(AreaGuardFactoryTest, ReadsEveryTypeOfFilter) {
    factory.createPerspectiveBars(*json(R"({"perspective":)" + bars() + "}").get());
    factory.createExclusionFilters(
        *json(profile({{"filters", array({filter("sizePercentage", "[5,5]", false),
                                          filter("sizePerspective", "[0,3]"),
                                          filter("timeShortLivedLimit", "1"),
                                          filter("distanceSwayingObject", "5"), excludeArea()})}}))
             .get());
    ASSERT_EQ(factory.exclusionFilters.size(), 4U);
    EXPECT_NE(dynamic_cast<SizeFilterPercent*>(factory.exclusionFilters[0]), nullptr);
    EXPECT_NE(dynamic_cast<SizeFilterPerspective*>(factory.exclusionFilters[1]), nullptr);
    EXPECT_NE(dynamic_cast<ObjectLifetimeFilter*>(factory.exclusionFilters[2]), nullptr);
    EXPECT_NE(dynamic_cast<SwayingFilter*>(factory.exclusionFilters[3]), nullptr);
    EXPECT_EQ(factory.excludeAreas.size(), 1U);
    EXPECT_TRUE(factory.sizePerspectiveActive);
}

TEST_F(AreaGuardFactoryTest, RefusesAFilterThatItDoesNotKnow) {
    const auto read = [this](const json_t& value) { factory.createOneExclusionFilter(value); };
    expectFailure(read, "{}", StatusMissingParameter, "Could not unpack exclusion filter name");
    expectFailure(read, "null", StatusMissingParameter, "Could not unpack exclusion filter name");
    expectFailure(read, R"({"type":"colour"})", StatusInvalidParameter,
                  "Unknown exclusion filter: colour");
}

TEST_F(AreaGuardFactoryTest, RefusesASizeFilterPerspectiveInOrder) {
    const auto read = [this](const json_t& value) { factory.createSizeFilterPerspective(value); };
    for (const char* text : {"{}", R"({"data":[1],"active":true})", R"({"data":[1,1]})"}) {
        expectFailure(read, text, StatusMissingParameter,
                      "Could not unpack a size filter perspective");
    }
    for (const char* data : {"[-1,0]", "[0,-1]"}) {
        expectFailure(read, filter("sizePerspective", data), StatusInvalidParameter,
                      "Incorrect parameter value for size filter perspective");
    }
    expectFailure(read, filter("sizePerspective", "[0,0]", false), StatusConflict,
                  "There must be at least two perspective bars");
    EXPECT_FALSE(factory.sizePerspectiveActive);
}

TEST_F(AreaGuardFactoryTest, AMissingOrEmptyPerspectiveLeavesTheBarsEmpty) {
    for (const char* text : {"{}", R"({"perspective":[]})", R"({"perspective":7})"}) {
        factory.createPerspectiveBars(*json(text).get());
        EXPECT_TRUE(factory.perspectiveBars.empty());
    }
}

TEST_F(AreaGuardFactoryTest, ABarIsReadOnTheUprightAxis) {
    const JsonAutoPtr value = json(bar("[[0.25,-0.5],[0.5,-0.25]]", "4"));
    for (const int rotation : {0, 180, 90, 270}) {
        OpenFactory reader(rotation, limits);
        reader.createOnePerspectiveBar(*value.get());
        const PerspectiveBar& made = reader.perspectiveBars.at(0);
        const bool isOnItsSide = rotation == 90 || rotation == 270;
        EXPECT_EQ(made.bottom, isOnItsSide ? 1024 : -2048) << rotation;
        EXPECT_EQ(made.top, isOnItsSide ? 2048 : -1024) << rotation;
        EXPECT_EQ(made.height, 4);
        EXPECT_EQ(made.scale, 256.0F);
    }
}

TEST_F(AreaGuardFactoryTest, RefusesABarInOrder) {
    const auto read = [this](const json_t& value) { factory.createOnePerspectiveBar(value); };
    for (const char* text : {"{}", R"({"type":"bar"})", R"({"type":"bar","height":1.5})", "null"}) {
        expectFailure(read, text, StatusMissingParameter, "Could not unpack a perspective bar");
    }
    expectFailure(read, R"({"type":"pole","height":2})", StatusInvalidParameter,
                  "Could not get the data for a perspective bar");
    expectFailure(read, bar("[]", "2", "pole"), StatusInvalidParameter,
                  "Unknown type of perspective.");
    for (const char* data : {"[]", "[[0,0]]", "[[0,0],[0,0],[0,0]]"}) {
        expectFailure(read, bar(data), StatusInvalidParameter,
                      "A perspective bar should have two points");
    }
    for (const char* data : {"[[0,0],[0]]", "[[0,0,0],[0,0]]", "[null,[0,0]]"}) {
        expectFailure(read, bar(data), StatusInvalidParameter,
                      "Could not unpack a point for a perspective bar");
    }
    EXPECT_TRUE(log.lines().empty());
    for (const char* data : {"[[0,0],[0,1.5]]", "[[-1.5,0],[0,0]]"}) {
        expectFailure(read, bar(data), StatusInvalidParameter, "Incorrect perspective point value");
    }
    EXPECT_EQ(
        log.lines(),
        (std::vector<SyslogCapture::Line>{
            {LOG_WARNING, "Perspective parameter is out of bounds: x=0.000000 y=1.500000\n"},
            {LOG_WARNING, "Perspective parameter is out of bounds: x=-1.500000 y=0.000000\n"}}));
}

TEST_F(AreaGuardFactoryTest, TheBarsOfAProfileAreHeldAgainstEachOther) {
    const auto read = [this](const json_t& value) { factory.createPerspectiveBars(value); };
    expectFailure(read, R"({"perspective":[)" + bar("[[0,0],[0,0.1]]") + "]}", StatusConflict,
                  "There must be at least two perspective bars");
    OpenFactory upsideDown(180, limits);
    const JsonAutoPtr value = json(R"({"perspective":)" + bars() + "}");
    expectStatus([&] { upsideDown.createPerspectiveBars(*value.get()); }, StatusConflict,
                 "One or more of the perspective bars have invalid values");
    OpenFactory upright(0, limits);
    upright.createPerspectiveBars(*value.get());
    EXPECT_EQ(upright.perspectiveBars.size(), 2U);
}

TEST_F(AreaGuardFactoryTest, ReadsAWholeProfile) {
    factory.parseJson(*json(profile({{"perspective", bars()},
                                     {"filters", array({filter("sizePerspective", "[1,1]")})},
                                     {"alarmOverlayEnabled", "true"}}))
                           .get());
    EXPECT_EQ(factory.status, StatusOk);
    EXPECT_EQ(factory.name, "Door");
    EXPECT_EQ(factory.perspectiveBars.size(), 2U);
    EXPECT_EQ(factory.exclusionFilters.size(), 1U);
    EXPECT_NE(factory.includeArea, nullptr);
    EXPECT_TRUE(factory.alarmOverlayEnabled);
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(AreaGuardFactoryTest, LogsTheFirstFailureOfAProfileAtErrorLevel) {
    const auto expectFirst = [this](const std::string& text, StatusCode_e status,
                                    const std::string& message) {
        log.clear();
        OpenFactory reader(0, limits);
        reader.parseJson(*json(text).get());
        EXPECT_EQ(reader.status, status);
        EXPECT_EQ(log.lines(), (std::vector<SyslogCapture::Line>{{LOG_ERR, message + "\n"}}));
    };
    // In this order: what comes first is told, whatever is wrong behind it.
    std::vector<std::pair<std::string, std::string>> changes = {
        {"uid", ""},      {"perspective", "[{}]"}, {"filters", ""},
        {"triggers", ""}, {"presets", "[]"},       {"alarmOverlayEnabled", "7"}};
    expectFirst(profile(changes), StatusMissingParameter, "Could not unpack data for the guard");
    changes.erase(changes.begin());
    expectFirst(profile(changes), StatusMissingParameter, "Could not unpack a perspective bar");
    changes.erase(changes.begin());
    expectFirst(profile(changes), StatusMissingParameter, "Could not find the 'filters' tag");
    changes.erase(changes.begin());
    expectFirst(profile(changes), StatusMissingParameter, "Could not find the 'triggers' tag");
    changes.erase(changes.begin());
    expectFirst(profile(changes), StatusConflict,
                "This device is a non-ptz device and the configuration should not contain any "
                "presets");
    changes.erase(changes.begin());
    expectFirst(profile(changes), StatusMissingParameter,
                "Could not parse the alarmOverlayEnabled field");
    expectFirst(profile({{"perspective", bars()},
                         {"filters", array({filter("sizePercentage", "[5,5]"),
                                            filter("sizePerspective", "[5,5]")})}}),
                StatusConflict, "Only one type of size filter can be active");
}

}  // namespace

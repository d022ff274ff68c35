#include "config/guard_factory.h"

#include <gtest/gtest.h>

#include "config/data_boundaries.h"
#include "filters/exclusion_filter.h"
#include "filters/object_lifetime_filter.h"
#include "filters/size_filter_percent.h"
#include "filters/swaying_filter.h"
#include "geometry/polygon.h"
#include "geometry/polyline.h"
#include "support/json_support.h"
#include "support/status_matchers.h"
#include "support/syslog_capture.h"
#include "support/test_device.h"
#include "support/test_profile.h"
#include "tracking/tracking_object.h"

namespace {

using TestProfile::array;
using TestProfile::excludeArea;
using TestProfile::filter;
using TestProfile::includeArea;
using TestProfile::kSquare;
using TestProfile::points;
using TestProfile::profile;

/// The shared checks alone.
class PlainFactory : public GuardFactory {
public:
    using GuardFactory::GuardFactory;
    using GuardFactory::toFixedPoint;

    Guard* createGuard() const override { return nullptr; }
    void createOneExclusionFilter(const json_t& element) override {
        seenFilters.push_back(textOf(&element));
    }
    void parseJson(const json_t&) override {}

    std::vector<std::string> seenFilters;
};

DataBoundaries noBoundaries() {
    return DataBoundaries(nullptr, nullptr, nullptr, nullptr, nullptr);
}

DataBoundaries loiteringBoundaries() {
    return DataBoundaries(
        nullptr, nullptr, nullptr, nullptr, nullptr,
        new LoiteringBoundaries{
            2, 1, {60, 5}, {70, 6}, {80, 7}, {.maxNbrVertices = 4, .minNbrVertices = 3}});
}

DataBoundaries fenceBoundaries() {
    return DataBoundaries(nullptr, nullptr, nullptr, nullptr,
                          new FenceBoundaries{1, 1, {.maxNbrVertices = 3, .minNbrVertices = 2}});
}

class GuardFactoryTest : public testing::Test {
protected:
    template <typename Step>
    void expectFailure(Step step, const std::string& text, StatusCode_e status,
                       const std::string& message) {
        const JsonAutoPtr value = json(text);
        expectStatus([&] { step(*value.get()); }, status, message);
    }

    TestDevice device;
    SyslogCapture log;
    const DataBoundaries limits = DataBoundaries::ofThisBuild();
    PlainFactory factory{0, limits};
};

TEST_F(GuardFactoryTest, BeginsEmpty) {
    EXPECT_FALSE(factory.sizePercentActive);
    EXPECT_FALSE(factory.sizePerspectiveActive);
    EXPECT_EQ(factory.name, "");
    EXPECT_EQ(factory.uid, -1);
    EXPECT_EQ(factory.camera, -1);
    EXPECT_EQ(factory.eventDuration, 3000000);
    EXPECT_EQ(factory.status, StatusOk);
    EXPECT_EQ(factory.includeArea, nullptr);
    EXPECT_EQ(factory.fence, nullptr);
    EXPECT_EQ(factory.individualTime, 0);
    EXPECT_EQ(factory.groupTime, 0);
    EXPECT_EQ(factory.objectStoppedTime, 0);
    EXPECT_EQ(factory.boundaries, &limits);
    EXPECT_FALSE(factory.alarmOverlayEnabled);
    EXPECT_EQ(PlainFactory(90, limits).cameraRotation, 90);
    EXPECT_EQ(PlainFactory(90, limits, 7000000).eventDuration, 7000000);
}

TEST_F(GuardFactoryTest, RoundsToFixedPointHalfAwayFromZero) {
    EXPECT_EQ(PlainFactory::toFixedPoint(-1.0), -4096);
    EXPECT_EQ(PlainFactory::toFixedPoint(0.0), 0);
    EXPECT_EQ(PlainFactory::toFixedPoint(0.5), 2048);
    EXPECT_EQ(PlainFactory::toFixedPoint(1.0), 4096);
    EXPECT_EQ(PlainFactory::toFixedPoint(0.5 / 4096), 1);
    EXPECT_EQ(PlainFactory::toFixedPoint(-0.5 / 4096), -1);
    EXPECT_EQ(PlainFactory::toFixedPoint(0.49 / 4096), 0);
    EXPECT_EQ(PlainFactory::toFixedPoint(-0.49 / 4096), 0);
    EXPECT_EQ(PlainFactory::toFixedPoint(0.97), 3973);
    EXPECT_EQ(PlainFactory::toFixedPoint(-0.97), -3973);
}

TEST_F(GuardFactoryTest, ReadsTheDataOfTheGuard) {
    factory.parseGuardData(
        *json(profile({{"uid", "-5"}, {"camera", "2"}, {"name", "\"  Back door \""}})).get());
    EXPECT_EQ(factory.uid, -5);
    EXPECT_EQ(factory.camera, 2);
    EXPECT_EQ(factory.name, "Back door");
    EXPECT_EQ(factory.eventDuration, 3000000);
}

TEST_F(GuardFactoryTest, OnlyTheLowHalfOfTheEventDurationIsReplaced) {
    factory.parseGuardData(*json(profile({{"xinternalEventDuration", "500000"}})).get());
    EXPECT_EQ(factory.eventDuration, 500000);
    factory.parseGuardData(*json(profile({{"xinternalEventDuration", "-1"}})).get());
    EXPECT_EQ(factory.eventDuration, 4294967295);
    PlainFactory longer(0, limits, 0x700000001);
    longer.parseGuardData(*json(profile({{"xinternalEventDuration", "2"}})).get());
    EXPECT_EQ(longer.eventDuration, 0x700000002);
    longer.parseGuardData(*json(profile()).get());
    EXPECT_EQ(longer.eventDuration, 0x700000002);
}

TEST_F(GuardFactoryTest, RefusesAProfileWithoutItsData) {
    const auto parse = [this](const json_t& value) { factory.parseGuardData(value); };
    for (const auto& changes : std::vector<std::vector<std::pair<std::string, std::string>>>{
             {{"name", ""}},
             {{"name", "7"}},
             {{"uid", ""}},
             {{"uid", "1.0"}},
             {{"camera", ""}},
             {{"camera", "\"1\""}},
             {{"xinternalEventDuration", "\"3\""}},
             {{"xinternalEventDuration", "null"}}}) {
        expectFailure(parse, profile(changes), StatusMissingParameter,
                      "Could not unpack data for the guard");
    }
    expectFailure(parse, "null", StatusMissingParameter, "Could not unpack data for the guard");
}

TEST_F(GuardFactoryTest, RefusesANameThatIsNotValid) {
    const auto parse = [this](const json_t& value) { factory.parseGuardData(value); };
    for (const std::string& name : {std::string(), std::string("   "), std::string("a<b"),
                                    std::string("a>b"), std::string("<"), std::string(65, 'x')}) {
        expectFailure(parse, profile({{"name", "\"" + name + "\""}}), StatusInvalidParameter,
                      "The name of the profile is not valid");
    }
}

TEST_F(GuardFactoryTest, CountsTheCharactersOfANameAndNotItsBytes) {
    std::string name;
    for (int i = 0; i < 64; ++i) {
        name += "\xe6\xa4\x85";
    }
    EXPECT_TRUE(factory.isProfileNameValid(name));
    EXPECT_FALSE(factory.isProfileNameValid(name + "x"));
    EXPECT_TRUE(factory.isProfileNameValid(std::string(64, 'x')));
    EXPECT_FALSE(factory.isProfileNameValid(""));
}

TEST_F(GuardFactoryTest, TrimsBlanksOnly) {
    factory.parseGuardData(*json(profile({{"name", R"("\t Door\n")"}})).get());
    EXPECT_EQ(factory.name, "\t Door\n");
    factory.parseGuardData(
        *json(profile({{"name", "\"" + std::string(40, ' ') + std::string(64, 'x') + " \""}}))
             .get());
    EXPECT_EQ(factory.name, std::string(64, 'x'));
}

TEST_F(GuardFactoryTest, AMissingRecordOfProfileLimitsIsAnInternalError) {
    const DataBoundaries none = noBoundaries();
    const PlainFactory lacking(0, none);
    expectStatus([&] { lacking.isProfileNameValid("x"); }, StatusInternalError,
                 "Missing boundary values for the profile");
}

TEST_F(GuardFactoryTest, OffersEachFilterInOrder) {
    factory.createExclusionFilters(*json(R"({"filters":[]})").get());
    EXPECT_TRUE(factory.seenFilters.empty());
    factory.createExclusionFilters(*json(R"({"filters":[1,null,{"a":2}]})").get());
    EXPECT_EQ(factory.seenFilters, (std::vector<std::string>{"1", "null", R"({"a":2})"}));
    for (const char* text : {"{}", R"({"filters":{}})", R"({"filters":null})"}) {
        expectFailure([this](const json_t& value) { factory.createExclusionFilters(value); }, text,
                      StatusMissingParameter, "Could not find the 'filters' tag");
    }
}

class SizeFilterPercentReader : public GuardFactoryTest {
protected:
    void read(const std::string& text) { factory.createSizeFilterPercent(*json(text).get()); }
    void expectRefused(const std::string& text, StatusCode_e status, const std::string& message) {
        expectFailure([this](const json_t& value) { factory.createSizeFilterPercent(value); }, text,
                      status, message);
    }
};

TEST_F(SizeFilterPercentReader, MakesAFilterOfTheLimits) {
    read(filter("sizePercentage", "[3,100]"));
    ASSERT_EQ(factory.exclusionFilters.size(), 1U);
    auto* made = dynamic_cast<SizeFilterPercent*>(factory.exclusionFilters[0]);
    ASSERT_NE(made, nullptr);
    TrackingObject object(7);
    object.maxHeight = 0;
    // 3 percent of the view are 245.76 units, rounded to 246.
    object.maxWidth = 246;
    EXPECT_FALSE(made->canObjectTriggerAlarm(object));
    object.maxWidth = 247;
    EXPECT_TRUE(made->canObjectTriggerAlarm(object));
}

TEST_F(SizeFilterPercentReader, AcceptsTheBoundsThemselvesOnly) {
    read(filter("sizePercentage", "[3,3]"));
    read(filter("sizePercentage", "[100,100]", false));
    for (const char* data : {"[2,3]", "[3,2]", "[101,3]", "[3,101]", "[-3,3]"}) {
        expectRefused(filter("sizePercentage", data), StatusInvalidParameter,
                      "Incorrect parameter value for size filter percent");
    }
    EXPECT_EQ(factory.exclusionFilters.size(), 2U);
}

TEST_F(SizeFilterPercentReader, RefusesAnotherShape) {
    for (const char* text :
         {R"({"active":true})", R"({"data":[5,5]})", R"({"data":[5,5],"active":1})",
          R"({"data":[5],"active":true})", R"({"data":[5,5,5],"active":true})",
          R"({"data":[5.0,5],"active":true})", R"({"data":5,"active":true})", "null"}) {
        expectRefused(text, StatusMissingParameter, "Could not unpack a size filter percent");
    }
}

TEST_F(SizeFilterPercentReader, TheLastFilterDecidesWhetherSizePercentIsActive) {
    read(filter("sizePercentage", "[5,5]", true));
    EXPECT_TRUE(factory.sizePercentActive);
    read(filter("sizePercentage", "[5,5]", false));
    EXPECT_FALSE(factory.sizePercentActive);
    EXPECT_EQ(factory.exclusionFilters.size(), 2U);
}

TEST_F(SizeFilterPercentReader, AMissingRecordIsToldBeforeTheBounds) {
    const DataBoundaries none = noBoundaries();
    PlainFactory lacking(0, none);
    expectStatus(
        [&] { lacking.createSizeFilterPercent(*json(filter("sizePercentage", "[1,1]")).get()); },
        StatusInternalError, "Missing boundary values for the size percentage filter");
}

class ObjectLifetimeFilterReader : public GuardFactoryTest {
protected:
    void read(const std::string& text) { factory.createObjectLifetimeFilter(*json(text).get()); }
    void expectRefused(const std::string& text, StatusCode_e status, const std::string& message) {
        expectFailure([this](const json_t& value) { factory.createObjectLifetimeFilter(value); },
                      text, status, message);
    }
};

TEST_F(ObjectLifetimeFilterReader, MakesAFilterOfSeconds) {
    read(filter("timeShortLivedLimit", "2"));
    ASSERT_EQ(factory.exclusionFilters.size(), 1U);
    auto* made = dynamic_cast<ObjectLifetimeFilter*>(factory.exclusionFilters[0]);
    ASSERT_NE(made, nullptr);
    TrackingObject object(7);
    object.firstSeen = 100;
    object.lastSeen = 2000099;
    EXPECT_FALSE(made->canObjectTriggerAlarm(object));
    object.lastSeen = 2000100;
    EXPECT_TRUE(made->canObjectTriggerAlarm(object));
}

TEST_F(ObjectLifetimeFilterReader, AcceptsTheBoundsThemselvesOnly) {
    read(filter("timeShortLivedLimit", "1"));
    read(filter("timeShortLivedLimit", "5", false));
    for (const char* data : {"0", "6"}) {
        expectRefused(filter("timeShortLivedLimit", data), StatusInvalidParameter,
                      "Incorrect parameter value for object lifetime filter");
    }
    EXPECT_EQ(factory.exclusionFilters.size(), 2U);
}

TEST_F(ObjectLifetimeFilterReader, RefusesAnotherShape) {
    for (const char* text : {R"({"active":true})", R"({"data":1})", R"({"data":1,"active":null})",
                             R"({"data":[1],"active":true})", R"({"data":1.0,"active":true})"}) {
        expectRefused(text, StatusMissingParameter, "Could not unpack an object lifetime filter");
    }
    const DataBoundaries none = noBoundaries();
    PlainFactory lacking(0, none);
    expectStatus(
        [&] {
            lacking.createObjectLifetimeFilter(*json(filter("timeShortLivedLimit", "9")).get());
        },
        StatusInternalError, "Missing boundary values for the short lived filter");
}

class SwayingFilterReader : public GuardFactoryTest {
protected:
    void read(const std::string& text) { factory.createSwayingFilter(*json(text).get()); }
    void expectRefused(const std::string& text, StatusCode_e status, const std::string& message) {
        expectFailure([this](const json_t& value) { factory.createSwayingFilter(value); }, text,
                      status, message);
    }
};

TEST_F(SwayingFilterReader, MakesAFilterOfTheSquaredDistance) {
    read(filter("distanceSwayingObject", "5"));
    ASSERT_EQ(factory.exclusionFilters.size(), 1U);
    auto* made = dynamic_cast<SwayingFilter*>(factory.exclusionFilters[0]);
    ASSERT_NE(made, nullptr);
    TrackingObject object(7);
    object.position = {0, 0};
    made->updateFilterData(object);
    // 5 percent of the view are 409.6 units, rounded to 410.
    object.position = {410, 0};
    made->updateFilterData(object);
    EXPECT_FALSE(made->canObjectTriggerAlarm(object));
    object.position = {410, 1};
    made->updateFilterData(object);
    EXPECT_TRUE(made->canObjectTriggerAlarm(object));
}

TEST_F(SwayingFilterReader, KeepsItsDataUnderTheKeyOfTheProfile) {
    factory.uid = 12;
    read(filter("distanceSwayingObject", "5"));
    TrackingObject object(7);
    factory.exclusionFilters[0]->updateFilterData(object);
    EXPECT_NE(object.getData("swaying_filter_12"), nullptr);
}

TEST_F(SwayingFilterReader, AcceptsTheBoundsThemselvesOnly) {
    read(filter("distanceSwayingObject", "3"));
    read(filter("distanceSwayingObject", "20", false));
    for (const char* data : {"2", "21"}) {
        expectRefused(filter("distanceSwayingObject", data), StatusInvalidParameter,
                      "Incorrect parameter value for swaying filter percent");
    }
    EXPECT_EQ(factory.exclusionFilters.size(), 2U);
}

TEST_F(SwayingFilterReader, RefusesAnotherShape) {
    for (const char* text :
         {R"({"active":true})", R"({"data":5})", R"({"data":[5],"active":true})"}) {
        expectRefused(text, StatusMissingParameter, "Could not unpack a swaying filter");
    }
    const DataBoundaries none = noBoundaries();
    PlainFactory lacking(0, none);
    expectStatus(
        [&] { lacking.createSwayingFilter(*json(filter("distanceSwayingObject", "1")).get()); },
        StatusInternalError, "Missing boundary values for the swaying filter");
}

TEST_F(GuardFactoryTest, ReadsExcludeAreasInOrder) {
    factory.createExcludeArea(*json(excludeArea()).get());
    factory.createExcludeArea(*json(excludeArea("[[0,0],[1,0.0],[1,1]]")).get());
    ASSERT_EQ(factory.excludeAreas.size(), 2U);
    EXPECT_EQ(factory.excludeAreas[0]->points.size(), 4U);
    EXPECT_EQ(factory.excludeAreas[1]->points,
              (std::vector<Point>{{0, 0}, {4096, 0}, {4096, 4096}}));
}

TEST_F(GuardFactoryTest, RefusesExcludeAreasInOrder) {
    const auto read = [this](const json_t& value) { factory.createExcludeArea(value); };
    expectFailure(read, R"({"type":"excludeArea"})", StatusInvalidParameter,
                  "Could not get the data for an exclude area");
    expectFailure(read, excludeArea("7"), StatusInvalidParameter,
                  "Could not get the data for an exclude area");
    expectFailure(read, excludeArea(points(2)), StatusInvalidParameter,
                  "Too few verticies in a trigger");
    EXPECT_TRUE(log.has(LOG_WARNING, "An exclude area contains too few verticies (2)\n"));
    for (int i = 0; i < 3; ++i) {
        factory.createExcludeArea(*json(excludeArea(points(20))).get());
    }
    // The fourth is counted before it is looked at.
    expectFailure(read, "{}", StatusInvalidParameter,
                  "The configuration contains too many exclude areas");
    const DataBoundaries none = noBoundaries();
    PlainFactory lacking(0, none);
    expectStatus([&] { lacking.createExcludeArea(*json("{}").get()); }, StatusInternalError,
                 "Missing boundary values for the exclude area");
}

TEST_F(GuardFactoryTest, ReadsPointsOfIntegersAndReals) {
    const JsonAutoPtr list = json("[[-1,1.0],[0.5,-0.5],[0,0.25]]");
    EXPECT_EQ(factory.createDataVector(*list.get(), 3, 3, "A list"),
              (std::vector<std::int16_t>{-4096, 4096, 2048, -2048, 0, 1024}));
    EXPECT_TRUE(factory.createDataVector(*json("[]").get(), 0, 3, "A list").empty());
}

TEST_F(GuardFactoryTest, RefusesTooFewAndTooManyPoints) {
    const auto read = [this](const json_t& value) {
        factory.createDataVector(value, 3, 20, "A list");
    };
    expectFailure(read, points(2), StatusInvalidParameter, "Too few verticies in a trigger");
    expectFailure(read, points(21), StatusInvalidParameter, "Too many verticies in a trigger");
    EXPECT_EQ(log.lines(), (std::vector<SyslogCapture::Line>{
                               {LOG_WARNING, "A list contains too few verticies (2)\n"},
                               {LOG_WARNING, "A list contains too many verticies (21)\n"}}));
    EXPECT_EQ(factory.createDataVector(*json(points(20)).get(), 3, 20, "A list").size(), 40U);
}

TEST_F(GuardFactoryTest, RefusesPointsOfAnotherShape) {
    for (const char* point : {"[0.1]", "[0.1,0.2,0.3]", "[]", "[\"0\",0]", "{}", "null", "7"}) {
        expectFailure(
            [this](const json_t& value) { factory.createDataVector(value, 1, 3, "A list"); },
            array({"[0,0]", point}), StatusMissingParameter,
            "Could not unpack a point for a trigger");
    }
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(GuardFactoryTest, RefusesPointsOutOfTheView) {
    const auto read = [this](const json_t& value) {
        factory.createDataVector(value, 1, 3, "A list");
    };
    for (const char* point : {"[1.001,0]", "[-1.001,0]", "[0,1.001]", "[0,-2]"}) {
        expectFailure(read, array({"[1,-1]", point}), StatusInvalidParameter,
                      "Trigger values out of bounds");
    }
    EXPECT_EQ(
        log.lines()[0],
        (SyslogCapture::Line{LOG_WARNING, "A list 1 is out of bounds: x=1.001000 y=0.000000\n"}));
}

TEST_F(GuardFactoryTest, ReadsAnIncludeArea) {
    factory.createTriggers(*json(profile()).get());
    ASSERT_NE(factory.includeArea, nullptr);
    EXPECT_EQ(factory.includeArea->points,
              (std::vector<Point>{{-2048, -2048}, {-2048, 2048}, {2048, 2048}, {2048, -2048}}));
}

TEST_F(GuardFactoryTest, ReadsIncludeAreasOfThreeToTwentyPoints) {
    for (const int count : {3, 20}) {
        PlainFactory reader(0, limits);
        reader.createTriggers(
            *json(profile({{"triggers", array({includeArea(points(count))})}})).get());
        EXPECT_EQ(reader.includeArea->points.size(), static_cast<std::size_t>(count));
    }
    const auto read = [this](const json_t& value) { factory.createTriggers(value); };
    expectFailure(read, profile({{"triggers", array({includeArea(points(2))})}}),
                  StatusInvalidParameter, "Too few verticies in a trigger");
    expectFailure(read, profile({{"triggers", array({includeArea(points(21))})}}),
                  StatusInvalidParameter, "Too many verticies in a trigger");
    EXPECT_TRUE(log.has(LOG_WARNING, "An include area contains too few verticies (2)\n"));
    EXPECT_TRUE(log.has(LOG_WARNING, "An include area contains too many verticies (21)\n"));
}

TEST_F(GuardFactoryTest, RefusesTriggersInOrder) {
    const auto read = [this](const json_t& value) { factory.createTriggers(value); };
    const auto triggers = [](const std::vector<std::string>& list) {
        return R"({"triggers":)" + array(list) + "}";
    };
    expectFailure(read, "{}", StatusMissingParameter, "Could not find the 'triggers' tag");
    expectFailure(read, R"({"triggers":{}})", StatusMissingParameter,
                  "Could not find the 'triggers' tag");
    expectFailure(read, triggers({}), StatusConflict, "Could not find any triggers");
    expectFailure(read, triggers({"null"}), StatusMissingParameter,
                  "Could not unpack trigger name");
    expectFailure(read, triggers({"{}"}), StatusMissingParameter, "Could not unpack trigger name");
    expectFailure(read, triggers({R"({"type":7})"}), StatusMissingParameter,
                  "Could not unpack trigger name");
    expectFailure(read, triggers({R"({"type":"tripwire"})"}), StatusMissingParameter,
                  "Unknown trigger tripwire");
    expectFailure(read, triggers({R"({"type":"includeArea"})"}), StatusMissingParameter,
                  "Could not get the data for an include area");
    expectFailure(read, triggers({R"({"type":"includeArea","data":{}})"}), StatusMissingParameter,
                  "Could not get the data for an include area");
}

TEST_F(GuardFactoryTest, ComparesTheLengthOfTheWholeTriggersArray) {
    const auto read = [this](const json_t& value) { factory.createTriggers(value); };
    expectFailure(read, R"({"triggers":[)" + includeArea() + R"(,{"type":"tripwire"}]})",
                  StatusConflict, "The configuration contains too many include area triggers");
    expectFailure(read, R"({"triggers":[)" + includeArea() + "," + includeArea() + "]}",
                  StatusConflict, "The configuration contains too many include area triggers");
    // Where another trigger stands first, that one has its say first.
    expectFailure(read, R"({"triggers":[{"type":"tripwire"},)" + includeArea() + "]}",
                  StatusMissingParameter, "Unknown trigger tripwire");
}

TEST_F(GuardFactoryTest, AllowsOneIncludeAreaAProfile) {
    const JsonAutoPtr trigger = json(includeArea());
    factory.createOneIncludeArea(*trigger.get());
    expectStatus([&] { factory.createOneIncludeArea(*trigger.get()); }, StatusConflict,
                 "Only one include area per profile is allowed");
}

TEST_F(GuardFactoryTest, ThisBuildRefusesLoiteringAndFence) {
    const auto read = [this](const json_t& value) { factory.createTriggers(value); };
    expectFailure(read, R"({"triggers":[{"type":"loiteringArea"}]})", StatusInternalError,
                  "Missing boundary values for the loitering area triggers");
    expectFailure(read, R"({"triggers":[{"type":"fence"}]})", StatusInternalError,
                  "Missing boundary values for fence");
}

TEST_F(GuardFactoryTest, ABuildWithoutIncludeAreasRefusesThem) {
    const DataBoundaries none = noBoundaries();
    PlainFactory lacking(0, none);
    expectStatus([&] { lacking.createTriggers(*json(profile()).get()); }, StatusInternalError,
                 "Missing boundary values for the include area triggers");
    expectStatus([&] { lacking.createOneIncludeArea(*json(includeArea()).get()); },
                 StatusInternalError, "Missing boundary values for include Area");
    expectStatus([&] { lacking.createOneIncludeArea(*json("{}").get()); }, StatusMissingParameter,
                 "Could not get the data for an include area");
}

class LoiteringReader : public GuardFactoryTest {
protected:
    static std::string area(const std::string& conditions) {
        return R"({"type":"loiteringArea","data":)" + kSquare + R"(,"conditions":)" + conditions +
               "}";
    }
    static std::string condition(const std::string& type, const std::string& data,
                                 const std::string& active = "true") {
        return R"({"type":")" + type + R"(","data":)" + data + R"(,"active":)" + active + "}";
    }
    void expectTriggerRefused(const std::string& text, StatusCode_e status,
                              const std::string& message) {
        PlainFactory another(0, loitering);
        const JsonAutoPtr value = json(text);
        expectStatus([&] { another.createOneLoiteringArea(*value.get()); }, status, message);
    }
    void expectConditionRefused(const std::string& text, StatusCode_e status,
                                const std::string& message) {
        const JsonAutoPtr value = json(text);
        expectStatus([&] { reader.createOneCondition(*value.get()); }, status, message);
    }

    const DataBoundaries loitering = loiteringBoundaries();
    PlainFactory reader{0, loitering};
};

TEST_F(LoiteringReader, ReadsTheAreaAndItsConditions) {
    reader.createTriggers(*json(R"({"triggers":[)" +
                                area(array({condition("individual", "60"), condition("group", "6"),
                                            condition("objectStopped", "[7]")})) +
                                "]}")
                               .get());
    EXPECT_EQ(reader.includeArea->points.size(), 4U);
    EXPECT_EQ(reader.individualTime, 60000000);
    EXPECT_EQ(reader.groupTime, 6000000);
    EXPECT_EQ(reader.objectStoppedTime, 7000000);
}

TEST_F(LoiteringReader, AnInactiveConditionIsZero) {
    reader.individualTime = 1;
    reader.groupTime = 2;
    reader.objectStoppedTime = 3;
    reader.createOneLoiteringArea(*json(area(array({condition("individual", "60", "false"),
                                                    condition("objectStopped", "[7]", "false")})))
                                       .get());
    EXPECT_EQ(reader.individualTime, 0);
    EXPECT_EQ(reader.groupTime, 0);
    EXPECT_EQ(reader.objectStoppedTime, 0);
}

TEST_F(LoiteringReader, RefusesAreasInOrder) {
    expectTriggerRefused(R"({"type":"loiteringArea"})", StatusMissingParameter,
                         "Could not get the data for a loitering area");
    expectTriggerRefused(R"({"data":[[0,0]]})", StatusInvalidParameter,
                         "Too few verticies in a trigger");
    EXPECT_TRUE(log.has(LOG_WARNING, "An loitering area contains too few verticies (1)\n"));
    expectTriggerRefused(R"({"data":)" + kSquare + "}", StatusMissingParameter,
                         "Could not get the conditions for a loitering area");
    expectTriggerRefused(area("[null]"), StatusMissingParameter,
                         "Could not unpack trigger condition name");
    reader.createOneLoiteringArea(*json(area("[]")).get());
    expectStatus([&] { reader.createOneLoiteringArea(*json("{}").get()); }, StatusConflict,
                 "Only one loitering area per profile is allowed");
}

TEST_F(LoiteringReader, ComparesTheLengthOfTheWholeTriggersArray) {
    expectStatus(
        [&] {
            reader.createTriggers(*json(R"({"triggers":[{"type":"loiteringArea"},{},{}]})").get());
        },
        StatusConflict, "The configuration contains too many loitering area triggers");
}

TEST_F(LoiteringReader, RefusesConditions) {
    expectConditionRefused("{}", StatusMissingParameter, "Could not unpack trigger condition name");
    expectConditionRefused(R"({"type":"pair"})", StatusInvalidParameter,
                           "Unknown trigger condition: pair");
    expectConditionRefused(R"({"type":"individual"})", StatusMissingParameter,
                           "Could not unpack an individual time in area condition");
    expectConditionRefused(condition("individual", "4"), StatusInvalidParameter,
                           "Incorrect parameter value for individual time in area condition");
    expectConditionRefused(condition("individual", "61"), StatusInvalidParameter,
                           "Incorrect parameter value for individual time in area condition");
    expectConditionRefused(condition("group", "[6]"), StatusMissingParameter,
                           "Could not unpack an group time in area condition");
    expectConditionRefused(condition("group", "5"), StatusInvalidParameter,
                           "Incorrect parameter value for group time in area condition");
    expectConditionRefused(condition("group", "71"), StatusInvalidParameter,
                           "Incorrect parameter value for group time in area condition");
}

TEST_F(LoiteringReader, RefusesObjectStoppedConditions) {
    for (const char* text :
         {R"({"type":"objectStopped","data":[7]})", R"({"type":"objectStopped","active":true})",
          R"({"type":"objectStopped","active":true,"data":7})",
          R"({"type":"objectStopped","active":true,"data":["7"]})"}) {
        expectConditionRefused(text, StatusMissingParameter,
                               "Could not unpack an object stopped condition");
    }
    for (const char* data : {"[]", "[7,7]"}) {
        expectConditionRefused(condition("objectStopped", data), StatusInvalidParameter,
                               "Wrong number of params for the objectStopped condition.");
    }
    for (const char* data : {"[6]", "[81]"}) {
        expectConditionRefused(condition("objectStopped", data), StatusInvalidParameter,
                               "Incorrect parameter value for object stopped condition");
    }
}

TEST_F(LoiteringReader, AMissingRecordIsAnInternalError) {
    expectStatus([&] { factory.createOneLoiteringArea(*json(area("[]")).get()); },
                 StatusInternalError, "Missing boundary values for loitering");
    expectStatus([&] { factory.createOneCondition(*json("{}").get()); }, StatusInternalError,
                 "Missing boundary values for loitering");
}

class FenceReader : public GuardFactoryTest {
protected:
    static std::string fence(const std::string& direction,
                             const std::string& data = "[[0,0],[1,1]]") {
        return R"({"type":"fence","data":)" + data + R"(,"alarmDirection":")" + direction + "\"}";
    }
    void expectRefused(const std::string& text, StatusCode_e status, const std::string& message) {
        const JsonAutoPtr value = json(text);
        expectStatus([&] { reader.createOneFenceLine(*value.get()); }, status, message);
    }

    const DataBoundaries fences = fenceBoundaries();
    PlainFactory reader{0, fences};
};

TEST_F(FenceReader, ReadsTheLineAndItsDirection) {
    for (const auto& [word, direction] :
         {std::pair("leftToRight", -1), std::pair("rightToLeft", 1), std::pair("both", 0)}) {
        PlainFactory each(0, fences);
        each.createTriggers(*json(R"({"triggers":[)" + fence(word) + "]}").get());
        EXPECT_EQ(each.alarmDirection, direction);
        EXPECT_EQ(*each.fence, Polyline(Point{0, 0}, Point{4096, 4096}));
    }
}

TEST_F(FenceReader, RefusesFencesInOrder) {
    expectRefused("{}", StatusMissingParameter, "Could not get the data for fence line");
    expectRefused(R"({"data":[]})", StatusMissingParameter,
                  "Could not get the direction for fence (Unpack failed)");
    expectRefused(fence("upwards", "[]"), StatusInvalidParameter,
                  "Could not get the direction for fence");
    expectRefused(fence("both", "[[0,0]]"), StatusInvalidParameter,
                  "Too few verticies in a trigger");
    EXPECT_TRUE(log.has(LOG_WARNING, "A fence contains too few verticies (1)\n"));
    reader.createOneFenceLine(*json(fence("both")).get());
    expectRefused("{}", StatusConflict, "Only one fence per profile is allowed");
}

TEST_F(FenceReader, ComparesTheLengthOfTheWholeTriggersArray) {
    expectStatus(
        [&] { reader.createTriggers(*json(R"({"triggers":[{"type":"fence"},{}]})").get()); },
        StatusConflict, "The configuration contains too many fence triggers");
}

TEST_F(FenceReader, AMissingRecordIsAnInternalError) {
    expectStatus([&] { factory.createOneFenceLine(*json(fence("both")).get()); },
                 StatusInternalError, "Missing boundary values for fence");
}

class PresetReader : public GuardFactoryTest {
protected:
    std::vector<std::int32_t> read(const std::string& text) {
        PlainFactory reader(0, limits);
        reader.createPresets(*json(text).get());
        return reader.presets;
    }
    void expectRefused(const std::string& text, StatusCode_e status, const std::string& message) {
        expectFailure([this](const json_t& value) { factory.createPresets(value); }, text, status,
                      message);
    }
};

TEST_F(PresetReader, AFixedDeviceHasNone) {
    EXPECT_TRUE(read("{}").empty());
    EXPECT_TRUE(read(R"({"presets":7})").empty());
    for (const char* text : {R"({"presets":[]})", R"({"presets":[1]})"}) {
        expectRefused(text, StatusConflict,
                      "This device is a non-ptz device and the configuration should not contain "
                      "any presets");
    }
}

TEST_F(PresetReader, AMechanicalPtzWithoutPresetsWatchesInAnyPosition) {
    device.isMechanicalPTZ();
    EXPECT_EQ(read("{}"), std::vector<std::int32_t>{-2});
    EXPECT_EQ(read(R"({"presets":[]})"), std::vector<std::int32_t>{-2});
    EXPECT_EQ(read(R"({"presets":{}})"), std::vector<std::int32_t>{-2});
}

TEST_F(PresetReader, TheNumbersThemselvesAreNotChecked) {
    device.isMechanicalPTZ();
    EXPECT_EQ(read(R"({"presets":[4]})"), std::vector<std::int32_t>{4});
    EXPECT_EQ(read(R"({"presets":[-99]})"), std::vector<std::int32_t>{-99});
}

TEST_F(PresetReader, RefusesTooManyAndOtherThanIntegers) {
    device.isMechanicalPTZ();
    expectRefused(R"({"presets":[1,2]})", StatusConflict,
                  "The configuration contains too many presets");
    for (const char* text :
         {R"({"presets":["1"]})", R"({"presets":[1.0]})", R"({"presets":[null]})"}) {
        expectRefused(text, StatusMissingParameter, "Could not unpack preset number");
    }
}

TEST_F(PresetReader, AMissingRecordIsToldAfterTheKindOfDevice) {
    const DataBoundaries none = noBoundaries();
    PlainFactory lacking(0, none);
    expectStatus([&] { lacking.createPresets(*json(R"({"presets":[]})").get()); }, StatusConflict,
                 "This device is a non-ptz device and the configuration should not contain any "
                 "presets");
    expectStatus([&] { lacking.createPresets(*json("{}").get()); }, StatusInternalError,
                 "Missing boundary values for PTZ");
}

TEST_F(GuardFactoryTest, ReadsTheAlarmOverlayFlag) {
    factory.createAlarmOverlay(*json(R"({"alarmOverlayEnabled":true})").get());
    EXPECT_TRUE(factory.alarmOverlayEnabled);
    factory.createAlarmOverlay(*json(R"({"alarmOverlayEnabled":false})").get());
    EXPECT_FALSE(factory.alarmOverlayEnabled);
    factory.createAlarmOverlay(*json("{}").get());
    EXPECT_FALSE(factory.alarmOverlayEnabled);
    for (const char* text : {R"({"alarmOverlayEnabled":1})", R"({"alarmOverlayEnabled":null})"}) {
        expectFailure([this](const json_t& value) { factory.createAlarmOverlay(value); }, text,
                      StatusMissingParameter, "Could not parse the alarmOverlayEnabled field");
    }
}

TEST_F(GuardFactoryTest, OneKindOfSizeFilterMayBeActiveAndPerspectiveNeedsBars) {
    factory.sizePercentActive = true;
    factory.validateConfiguration();
    factory.sizePerspectiveActive = true;
    expectStatus([&] { factory.validateConfiguration(); }, StatusConflict,
                 "Only one type of size filter can be active");
    factory.sizePercentActive = false;
    factory.perspectiveBars.emplace_back(0, 100, 2);
    expectStatus([&] { factory.validateConfiguration(); }, StatusConflict,
                 "A valid perspective is required too use the size perspective filter");
    factory.perspectiveBars.emplace_back(500, 550, 2);
    factory.validateConfiguration();
}

}  // namespace

#include "zqparameter/double/zqparameter_double.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>

using ::testing::ElementsAre;

namespace {

class ZQParameterDoubleTest : public ::testing::Test {
protected:
    ZQParameterDoubleTest() {
        ZQParameterDouble::reset();
        handler = zq_parameter_new("KTW", nullptr);
    }

    std::optional<std::string> get(const char* name) {
        g_autofree char* value = nullptr;
        if (!zq_parameter_get(handler, name, &value, nullptr)) {
            return std::nullopt;
        }
        return value;
    }

    ZQParameter* handler;
};

}  // namespace

TEST_F(ZQParameterDoubleTest, GivesWhatWasSetAndRecordsLookUps) {
    ZQParameterDouble::set({{"root.A", "1"}, {"B", ""}});

    EXPECT_EQ(get("A"), "1");
    EXPECT_EQ(get("root.B"), "");
    EXPECT_EQ(get("C"), std::nullopt);
    ZQParameterDouble::remove("A");
    EXPECT_EQ(get("root.A"), std::nullopt);

    EXPECT_THAT(ZQParameterDouble::lookUps(), ElementsAre("A", "root.B", "C", "root.A"));
}

TEST_F(ZQParameterDoubleTest, FailsTheCallAskedFor) {
    ZQParameterDouble::set("A", "1");
    ZQParameterDouble::failCall("zq_parameter_get", 2);
    EXPECT_EQ(get("A"), "1");
    EXPECT_EQ(get("A"), std::nullopt);
    EXPECT_EQ(get("A"), "1");

    ZQParameterDouble::failAnyCall(1);
    EXPECT_EQ(zq_parameter_new("KTW", nullptr), nullptr);
    ZQParameterDouble::failEveryCall("zq_parameter_new");
    EXPECT_EQ(zq_parameter_new("KTW", nullptr), nullptr);
    EXPECT_EQ(zq_parameter_new("KTW", nullptr), nullptr);
}

TEST_F(ZQParameterDoubleTest, NoticesASecondFreeAndALaterUse) {
    EXPECT_EQ(ZQParameterDouble::liveHandlers(), 1);
    zq_parameter_free(nullptr);
    zq_parameter_free(handler);
    EXPECT_EQ(ZQParameterDouble::liveHandlers(), 0);
    zq_parameter_free(handler);
    EXPECT_EQ(get("A"), std::nullopt);

    EXPECT_THAT(ZQParameterDouble::misuses(),
                ElementsAre("zq_parameter_free: handle was freed before",
                            "zq_parameter_get: handle was freed before"));
    ZQParameterDouble::reset();
}

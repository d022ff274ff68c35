#include "video/fault_plan.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

using Kind = Fault::Kind;

constexpr const char* kMethods[] = {"CreateOverlay",    "RemoveOverlay",    "Get",
                                    "SetProperties",    "SetColor",         "GetManagedObjects",
                                    "OpenCameraDevice", "GetCommandChannel"};

class FaultPlanTest : public testing::Test {
protected:
    /// What goes wrong with calls one after the other: "-" is nothing.
    std::string nextOf(const std::string& what, int calls) {
        std::string outcome;
        for (int call = 0; call < calls; ++call) {
            const std::optional<Fault> fault = plan.countCall(what);
            outcome += fault ? 'x' : '-';
        }
        return outcome;
    }
    std::string refusalOf(const std::string& what, const std::string& kind, unsigned nth = 1,
                          unsigned milliseconds = 0) {
        try {
            plan.set(what, kind, nth, 1, milliseconds);
            return "taken";
        } catch (const std::invalid_argument& error) {
            return error.what();
        }
    }
    bool takes(const std::string& what, const std::string& kind) {
        return refusalOf(what, kind) == "taken";
    }

    FaultPlan plan;
};

TEST_F(FaultPlanTest, LetsAllGoWellAtFirst) {
    EXPECT_EQ(nextOf("CreateOverlay", 5), "-----");
}

TEST_F(FaultPlanTest, CountsCallsFromNowOn) {
    plan.set("SetColor", "error", 1, 1, 0);
    EXPECT_EQ(nextOf("SetColor", 4), "x---");
    plan.set("SetColor", "error", 3, 2, 0);
    EXPECT_EQ(nextOf("SetColor", 7), "--xx---");
    plan.set("SetColor", "error", 2, 0, 0);
    EXPECT_EQ(nextOf("SetColor", 6), "-xxxxx");
}

TEST_F(FaultPlanTest, KeepsWhatIsCalledApart) {
    plan.set("SetColor", "error", 2, 1, 0);
    plan.set("getBuffer", "late", 1, 1, 250);
    EXPECT_EQ(nextOf("CreateOverlay", 3), "---");
    EXPECT_EQ(nextOf("Introspect", 3), "---");
    const std::optional<Fault> fault = plan.countCall("getBuffer");
    ASSERT_TRUE(fault);
    EXPECT_EQ(fault->kind, Kind::Late);
    EXPECT_EQ(fault->milliseconds, 250U);
    EXPECT_EQ(nextOf("SetColor", 3), "-x-");
}

TEST_F(FaultPlanTest, CountsAnyCallOrRequestIfToldSo) {
    plan.set("any", "error", 3, 1, 0);
    EXPECT_EQ(nextOf("SetColor", 1), "-");
    EXPECT_EQ(nextOf("Set", 1), "-");
    EXPECT_EQ(nextOf("Introspect", 1), "-");
    EXPECT_EQ(nextOf("getBuffer", 1), "-");
    EXPECT_EQ(nextOf("submitBuffer", 2), "x-");
}

TEST_F(FaultPlanTest, ReplacesAndForgetsPlans) {
    plan.set("SetColor", "error", 1, 0, 0);
    plan.set("SetColor", "wrong", 2, 1, 0);
    EXPECT_EQ(nextOf("SetColor", 3), "-x-");
    plan.set("SetColor", "error", 1, 0, 0);
    plan.set("any", "error", 1, 0, 0);
    plan.clear();
    EXPECT_EQ(nextOf("SetColor", 3), "---");
}

TEST_F(FaultPlanTest, TakesWhatMakesSense) {
    for (const char* method : kMethods) {
        for (const char* kind : {"error", "late", "wrong", "empty", "exit"}) {
            EXPECT_TRUE(takes(method, kind)) << method << " " << kind;
        }
        EXPECT_EQ(refusalOf(method, "short"),
                  std::string("\"short\" makes no sense for ") + method);
    }
    for (const char* request : {"getBuffer", "submitBuffer"}) {
        for (const char* kind : {"error", "late", "short", "wrong", "empty", "exit"}) {
            EXPECT_TRUE(takes(request, kind)) << request << " " << kind;
        }
        EXPECT_FALSE(takes(request, "nodescriptor"));
    }
    for (const char* kind : {"nodescriptor", "notamemory", "unsealed", "toosmall"}) {
        EXPECT_TRUE(takes("OpenCameraDevice", kind));
        EXPECT_FALSE(takes("CreateOverlay", kind));
        EXPECT_FALSE(takes("any", kind));
    }
    EXPECT_TRUE(takes("GetCommandChannel", "nodescriptor"));
    EXPECT_TRUE(takes("GetCommandChannel", "notasocket"));
    EXPECT_FALSE(takes("GetCommandChannel", "unsealed"));
    EXPECT_FALSE(takes("OpenCameraDevice", "notasocket"));
}

TEST_F(FaultPlanTest, SaysWhatMakesNoSense) {
    EXPECT_EQ(refusalOf("Move", "error"), "nothing is called \"Move\"");
    EXPECT_EQ(refusalOf("SetColor", "explode"), "there is no fault \"explode\"");
    EXPECT_EQ(refusalOf("SetColor", "toosmall"), "\"toosmall\" makes no sense for SetColor");
    EXPECT_EQ(refusalOf("SetColor", "error", 0), "calls are counted from 1");
    EXPECT_EQ(refusalOf("SetColor", "late", 1, 600001), "at most 600000 milliseconds");
    EXPECT_EQ(nextOf("SetColor", 2), "--");
}

}  // namespace

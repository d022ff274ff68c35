#include "app/glib_utils.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

std::string thrownFor(const GError* error) {
    try {
        GlibUtils::throwIfNotOk(error, "Reading");
    } catch (const std::runtime_error& thrown) {
        return thrown.what();
    }
    return "nothing";
}

TEST(GlibUtils, ReturnsQuietlyWithoutAnError) {
    EXPECT_EQ("nothing", thrownFor(nullptr));
}

TEST(GlibUtils, RaisesContextAndMessageAndLeavesTheErrorToTheCaller) {
    g_autoptr(GError) error =
        g_error_new_literal(g_quark_from_static_string("test"), 1, "no such file");
    EXPECT_EQ("Reading: no such file\n", thrownFor(error));
    EXPECT_STREQ("no such file", error->message);
}

TEST(GlibUtils, RaisesTheContextAloneForAnErrorWithoutAMessage) {
    const GError error = {0, 0, nullptr};
    EXPECT_EQ("Reading: ", thrownFor(&error));
}

TEST(GlibUtils, RaisesTheContextForANullPointerAlone) {
    const int something = 1;
    EXPECT_NO_THROW(GlibUtils::throwIfNull(&something, "Reading"));
    try {
        GlibUtils::throwIfNull(nullptr, "Reading");
        FAIL();
    } catch (const std::runtime_error& thrown) {
        EXPECT_STREQ("Reading: Pointer was unexpectedly NULL", thrown.what());
    }
}

}  // namespace

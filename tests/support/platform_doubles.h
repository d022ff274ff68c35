#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "glib-utils/double/glib_utils_double.h"
#include "zqevent/double/zqevent_double.h"
#include "zqparameter/double/zqparameter_double.h"

/// A test whose doubles of bus, parameters and main loop are fresh, and which fails if a handle
/// leaks, is freed twice or is used after being freed.
class PlatformDoublesTest : public ::testing::Test {
protected:
    PlatformDoublesTest() {
        ZQEventDouble::reset();
        ZQParameterDouble::reset();
        GlibUtilsDouble::reset();
    }

    ~PlatformDoublesTest() override {
        EXPECT_THAT(ZQEventDouble::problems(), ::testing::IsEmpty());
        EXPECT_THAT(ZQParameterDouble::misuses(), ::testing::IsEmpty());
    }
};

#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "app/status.h"

/// Expects the call to throw StatusException with just this status and message.
template <typename Call>
void expectStatus(Call call, StatusCode_e status, const std::string& message) {
    try {
        call();
        ADD_FAILURE() << "nothing thrown, expected \"" << message << '"';
    } catch (const StatusException& failure) {
        EXPECT_EQ(failure.status, status) << message;
        EXPECT_EQ(failure.message, message);
    }
}

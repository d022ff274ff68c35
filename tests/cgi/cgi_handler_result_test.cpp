#include "cgi/cgi_handler_result.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "config/json_auto_ptr.h"

TEST(CGI_HandlerResult, IsEmptyWithoutAnything) {
    const CGI_HandlerResult result;
    EXPECT_EQ(result.data, nullptr);
    EXPECT_EQ(result.status, StatusOk);
    EXPECT_EQ(result.code, "");
    EXPECT_EQ(result.message, "");
}

TEST(CGI_HandlerResult, OfDataAloneIsASuccess) {
    const CGI_HandlerResult result(json_object());
    EXPECT_TRUE(json_is_object(result.data));
    EXPECT_EQ(result.status, StatusOk);
    EXPECT_EQ(result.code, "0");
    EXPECT_EQ(result.message, "");
}

TEST(CGI_HandlerResult, HasTheCodeAndTheMessageOfItsStatus) {
    const CGI_HandlerResult failure(nullptr, StatusInvalidParameter);
    EXPECT_EQ(failure.data, nullptr);
    EXPECT_EQ(failure.status, StatusInvalidParameter);
    EXPECT_EQ(failure.code, "2004");
    EXPECT_EQ(failure.message, "The configuration contains an invalid parameter");

    const CGI_HandlerResult success(json_array(), StatusOk);
    EXPECT_TRUE(json_is_array(success.data));
    EXPECT_EQ(success.code, "0");
    EXPECT_EQ(success.message, "");
}

TEST(CGI_HandlerResult, GivesItsReferenceBack) {
    const JsonAutoPtr data(json_object());
    {
        const CGI_HandlerResult result(json_incref(data.get()));
        EXPECT_EQ(data.get()->refcount, 2U);
    }
    EXPECT_EQ(data.get()->refcount, 1U);
}

#include "app/status.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

struct Row {
    int value;
    StatusCode_e status;
    const char* code;
    const char* message;
};

constexpr const char* kGeneric = "An error occurred inside the application.";

const Row kRows[] = {
    {0, StatusOk, "0", ""},
    {2, StatusMalformedJson, "2001",
     "The configuration was not formatted correctly, i.e. does not follow json-scheme"},
    {4, StatusMalformedXml, "1000", kGeneric},
    {8, StatusMissingParameter, "2003", "A mandatory parameter is missing"},
    {16, StatusInvalidParameter, "2004", "The configuration contains an invalid parameter"},
    {32, StatusConflict, "2002",
     "Parts of the configuration contradict each other, e.g several profiles have the same id"},
    {64, StatusSaveError, "1000", kGeneric},
    {128, StatusFileError, "1000", kGeneric},
    {256, StatusMethodNotFound, "2005", "The requested CGI method was not found"},
    {512, StatusInternalError, "1000", kGeneric},
    {1024, StatusVersionNotSupported, "2000",
     "The requested version of the application is not supported."},
    {2048, StatusProductNotSupported, "8000", "The product is not supported by the Lumet."},
    {4096, StatusTooManyRules, "2002", kGeneric},
};

TEST(Status, HasTheValueCodeAndMessageThatClientsKnow) {
    for (const Row& row : kRows) {
        EXPECT_EQ(row.value, row.status);
        EXPECT_EQ(row.code, utils::convertStatusToJsonCode(row.status)) << row.value;
        EXPECT_EQ(row.message, utils::convertStatusToJsonMessage(row.status)) << row.value;
    }
}

TEST(Status, GivesTheGenericAnswerForAnUnknownValue) {
    EXPECT_EQ("1000", utils::convertStatusToJsonCode(static_cast<StatusCode_e>(1)));
    EXPECT_EQ(kGeneric, utils::convertStatusToJsonMessage(static_cast<StatusCode_e>(1)));
}

TEST(StatusException, CarriesMessageAndStatusThroughACopy) {
    try {
        utils::throwIf(true, "Duplicate cameras found", StatusConflict);
        FAIL() << "nothing was thrown";
    } catch (const StatusException& thrown) {
        const StatusException copy = thrown;
        EXPECT_STREQ("Duplicate cameras found", copy.what());
        EXPECT_EQ(StatusConflict, copy.status);
    }
}

TEST(ThrowIf, IsQuietWhenTheConditionDoesNotHold) {
    EXPECT_NO_THROW(utils::throwIf(false, "text", StatusConflict));
    EXPECT_NO_THROW(utils::throwIf(false, "text"));
}

TEST(ThrowIf, RaisesARuntimeErrorWithoutAStatus) {
    try {
        utils::throwIf(true, "Cannot create a camera");
        FAIL() << "nothing was thrown";
    } catch (const std::runtime_error& thrown) {
        EXPECT_STREQ("Cannot create a camera", thrown.what());
    }
}

}  // namespace

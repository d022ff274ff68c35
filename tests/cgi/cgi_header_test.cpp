#include "cgi/cgi_header.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <syslog.h>

#include <iterator>
#include <string>

#include "cgi/api_version_handler.h"
#include "config/json_auto_ptr.h"
#include "support/failing_json_memory.h"
#include "support/json_support.h"
#include "support/syslog_capture.h"

using ::testing::IsEmpty;

namespace {

constexpr const char* versionTexts[] = {"1.0", "1.1", "1.2", "1.3", "1.4"};

class CGI_HeaderTest : public ::testing::Test {
protected:
    CGI_Header read(const std::string& request) const {
        return CGI_Header(request.c_str(), versions);
    }
    static std::string answer(const CGI_Header& header) {
        return textOf(JsonAutoPtr(header.createResponseHeader()));
    }
    std::string answerToVersion(const std::string& version) const {
        return answer(read(R"({"method":"m","apiVersion":")" + version + "\"}"));
    }

    const API_VersionHandler versions{versionTexts, std::size(versionTexts)};
    SyslogCapture log;
};

const std::string missingParameter =
    R"("error":{"code":"2003","message":"A mandatory parameter is missing"}})";

}  // namespace

TEST_F(CGI_HeaderTest, TakesMethodAndContextAndLogsNothing) {
    const CGI_Header header =
        read(R"({"context":"abc","apiVersion":"1.2","method":"getConfiguration"})");

    EXPECT_EQ(header.status, StatusOk);
    EXPECT_EQ(header.method, "getConfiguration");
    EXPECT_EQ(header.context, "abc");
    EXPECT_TRUE(header.hasContext);
    EXPECT_EQ(answer(header),
              R"({"apiVersion":"1.4","method":"getConfiguration","context":"abc"})");
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(CGI_HeaderTest, AnswersWithTheHighestMinorOfTheMajorAskedFor) {
    for (const char* version : {"1.0", "1.2", "1.4"}) {
        EXPECT_EQ(answerToVersion(version), R"({"apiVersion":"1.4","method":"m","context":""})");
    }
}

TEST_F(CGI_HeaderTest, AnswersWithTheMajorAskedForAndNotWithTheHighestOfAll) {
    constexpr const char* twoMajors[] = {"1.3", "2.0"};
    const API_VersionHandler handler(twoMajors, std::size(twoMajors));

    EXPECT_EQ(CGI_Header(R"({"method":"m","apiVersion":"1.1"})", handler).apiVersion, "1.3");
    EXPECT_EQ(CGI_Header(R"({"method":"m","apiVersion":"3.0"})", handler).apiVersion, "2.0");
}

TEST_F(CGI_HeaderTest, OfSomethingElseThanJsonIsMalformed) {
    for (const char* request : {"", "}", "garbage", "{\"method\":", "1", "\"text\"", "null"}) {
        const CGI_Header header = read(request);
        EXPECT_EQ(header.status, StatusMalformedJson) << request;
        EXPECT_FALSE(header.hasContext);
        EXPECT_EQ(
            answer(header),
            R"({"apiVersion":"1.4","method":"","context":"","error":{"code":"2001",)"
            R"("message":"The configuration was not formatted correctly, i.e. does not follow )"
            R"(json-scheme"}})");
    }
}

TEST_F(CGI_HeaderTest, NeedsAMethod) {
    EXPECT_EQ(answer(read(R"({"apiVersion":"1.0","context":"c"})")),
              R"({"apiVersion":"1.4","method":"","context":"c",)" + missingParameter);
    for (const char* method : {"\"\"", "null", "1", "[\"m\"]"}) {
        EXPECT_EQ(read(std::string(R"({"apiVersion":"1.0","method":)") + method + "}").status,
                  StatusMissingParameter);
    }
}

TEST_F(CGI_HeaderTest, NeedsAVersionOfTwoNumbers) {
    for (const char* version : {"1", "1.x", "1.2.3", "", "x", ".", "1."}) {
        EXPECT_EQ(answerToVersion(version),
                  R"({"apiVersion":"1.4","method":"m","context":"",)" + missingParameter)
            << version;
    }
    EXPECT_EQ(read(R"({"method":"m"})").status, StatusMissingParameter);
    EXPECT_EQ(read(R"({"method":"m","apiVersion":1.4})").status, StatusMissingParameter);
}

TEST_F(CGI_HeaderTest, RefusesVersionsThatAreNotSpoken) {
    for (const char* version : {"1.9", "1.5", "1.10", "2.0", "0.9"}) {
        EXPECT_EQ(answerToVersion(version),
                  R"({"apiVersion":"1.4","method":"m","context":"","error":{"code":"2000",)"
                  R"("message":"The requested version of the application is not supported."}})")
            << version;
    }
}

TEST_F(CGI_HeaderTest, OfAnArrayLacksEverything) {
    const CGI_Header header = read(R"([{"method":"m","apiVersion":"1.0"}])");
    EXPECT_EQ(header.status, StatusMissingParameter);
    EXPECT_EQ(header.method, "");
}

TEST_F(CGI_HeaderTest, KeepsTheContextOfAHeadThatIsNotGood) {
    const CGI_Header header = read(R"({"method":"m","apiVersion":"2.0","context":"c"})");
    EXPECT_EQ(header.status, StatusVersionNotSupported);
    EXPECT_TRUE(header.hasContext);
    EXPECT_EQ(header.context, "c");
}

TEST_F(CGI_HeaderTest, AnswersAnEmptyContextLikeNone) {
    const CGI_Header none = read(R"({"method":"m","apiVersion":"1.0"})");
    const CGI_Header empty = read(R"({"method":"m","apiVersion":"1.0","context":""})");
    EXPECT_FALSE(none.hasContext);
    EXPECT_FALSE(empty.hasContext);
    EXPECT_EQ(answer(none), R"({"apiVersion":"1.4","method":"m","context":""})");
    EXPECT_EQ(answer(empty), answer(none));
}

TEST_F(CGI_HeaderTest, EchoesTheMethodAsItWasWritten) {
    EXPECT_EQ(answer(read(R"({"method":"a \"b\" \u00e5","apiVersion":"1.0"})")),
              "{\"apiVersion\":\"1.4\",\"method\":\"a \\\"b\\\" \xc3\xa5\",\"context\":\"\"}");
}

TEST_F(CGI_HeaderTest, NamesNoVersionWhenNoneIsSpoken) {
    const CGI_Header header(R"({"method":"m","apiVersion":"1.0"})", API_VersionHandler());
    EXPECT_EQ(header.status, StatusVersionNotSupported);
    EXPECT_EQ(header.apiVersion, "");
}

TEST_F(CGI_HeaderTest, LogsWhatIsNotGoodWithTheRequest) {
    read(R"({"method":"m","apiVersion":"2.0","context":"c"})");
    EXPECT_THAT(log.lines(),
                ::testing::ElementsAre(SyslogCapture::Line{
                    LOG_WARNING,
                    "The request header is not ok.\n"
                    "  Parsed request: [version: 2.0, method: m, context: c]\n"
                    "  Supported version matching request: 1.4\n"
                    "  Received request: {\"method\":\"m\",\"apiVersion\":\"2.0\",\"context\":"
                    "\"c\"}\n"}));
    log.clear();
    read("garbage");
    EXPECT_THAT(log.lines(), ::testing::ElementsAre(SyslogCapture::Line{
                                 LOG_WARNING,
                                 "The request header is not ok.\n"
                                 "  Parsed request: [version: , method: , context: ]\n"
                                 "  Supported version matching request: 1.4\n"
                                 "  Received request: garbage\n"}));
    log.clear();
    read(R"({"method":"m","apiVersion":"1"})");
    EXPECT_THAT(log.texts(), ::testing::ElementsAre(
                                 "unsupported format on version 1, it should be major.minor\n",
                                 "The request header is not ok.\n"
                                 "  Parsed request: [version: 1, method: m, context: ]\n"
                                 "  Supported version matching request: 1.4\n"
                                 "  Received request: {\"method\":\"m\",\"apiVersion\":\"1\"}\n"));
}

TEST_F(CGI_HeaderTest, HasNoAnswerWhenMemoryIsShort) {
    const CGI_Header header = read(R"({"method":"m","apiVersion":"1.0"})");
    const FailingJsonMemory memory(1);
    EXPECT_EQ(header.createResponseHeader(), nullptr);
}

TEST_F(CGI_HeaderTest, GetsTheTextUnderAKey) {
    const JsonAutoPtr object = json(R"({"a":"text","b":1,"c":null})");
    EXPECT_EQ(CGI_Header::getValue("a", *object.get()), "text");
    EXPECT_EQ(CGI_Header::getValue("b", *object.get()), "");
    EXPECT_EQ(CGI_Header::getValue("c", *object.get()), "");
    EXPECT_EQ(CGI_Header::getValue("d", *object.get()), "");
}

#include "zqhttp/scgi_request.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "scgi.h"

using ::testing::ElementsAre;
using ::testing::Pair;
using State = ScgiRequest::State;

namespace {

State stateOf(const std::string& bytes) {
    return ScgiRequest().add(bytes);
}

/// The state after a head of these fields, with "SCGI" added, and this body.
State stateOf(const Scgi::Fields& fields, const std::string& body = "") {
    Scgi::Fields all = fields;
    all.emplace_back("SCGI", "1");
    return stateOf(Scgi::head(all) + body);
}

State stateOfLength(const std::string& length, const std::string& body = "") {
    return stateOf({{"CONTENT_LENGTH", length}}, body);
}

}  // namespace

TEST(ScgiRequest, GivesFieldsAndBody) {
    ScgiRequest request;
    EXPECT_EQ(request.add(Scgi::request("{}", {{"REQUEST_METHOD", "POST"}, {"QUERY_STRING", ""}})),
              State::Complete);
    EXPECT_EQ(request.body(), "{}");
    EXPECT_THAT(request.fields(), ElementsAre(Pair("CONTENT_LENGTH", "2"), Pair("QUERY_STRING", ""),
                                              Pair("REQUEST_METHOD", "POST"), Pair("SCGI", "1")));
    EXPECT_STREQ(request.field("REQUEST_METHOD"), "POST");
    EXPECT_STREQ(request.field("REQUEST_URI"), "");
}

TEST(ScgiRequest, ReadsTheExampleOfItsHeader) {
    std::string example = "39:CONTENT_LENGTH.2.SCGI.1.REQUEST_URI./a.,{}";
    for (char& c : example) {
        c = c == '.' ? '\0' : c;
    }
    ScgiRequest request;
    EXPECT_EQ(request.add(example), State::Complete);
    EXPECT_STREQ(request.field("REQUEST_URI"), "/a");
    EXPECT_EQ(request.body(), "{}");
}

TEST(ScgiRequest, MayArriveInAnyPieces) {
    const std::string bytes = Scgi::request("{\"a\":1}", {{"REQUEST_URI", "/control"}});
    for (std::size_t length = 1; length <= bytes.size(); ++length) {
        ScgiRequest request;
        State state = State::Incomplete;
        for (std::size_t start = 0; start < bytes.size(); start += length) {
            EXPECT_EQ(state, State::Incomplete);
            state = request.add(std::string_view(bytes).substr(start, length));
        }
        EXPECT_EQ(state, State::Complete) << length;
        EXPECT_EQ(request.body(), "{\"a\":1}");
    }
}

TEST(ScgiRequest, LeavesOutWhatFollows) {
    ScgiRequest request;
    EXPECT_EQ(request.add(Scgi::request("{}") + "more"), State::Complete);
    EXPECT_EQ(request.add("and more"), State::Complete);
    EXPECT_EQ(request.body(), "{}");
}

TEST(ScgiRequest, MayHaveNoBody) {
    ScgiRequest request;
    EXPECT_EQ(request.add(Scgi::request("")), State::Complete);
    EXPECT_EQ(request.body(), "");
}

TEST(ScgiRequest, BeginsWithALengthOfDigits) {
    for (const char* bytes : {":", "-1:", "+1:", " 1:", "1 :", "x", "1x:", "01:", "00", "1\n"}) {
        EXPECT_EQ(stateOf(bytes), State::Malformed) << bytes;
    }
    EXPECT_EQ(stateOf(""), State::Incomplete);
    EXPECT_EQ(stateOf("12"), State::Incomplete);
    EXPECT_EQ(stateOf("65536:"), State::Incomplete);
    EXPECT_EQ(stateOf("65537:"), State::TooLarge);
    EXPECT_EQ(stateOf("99999999999999999999999999:"), State::TooLarge);
}

TEST(ScgiRequest, HasAHeadOfNamesAndValues) {
    const std::string length = std::string("CONTENT_LENGTH") + '\0' + "0" + '\0';
    const std::string scgi = std::string("SCGI") + '\0' + "1" + '\0';
    EXPECT_EQ(stateOf(Scgi::packed(length + scgi)), State::Complete);
    // Cut within a name, behind it, within a value.
    for (const std::string& cut :
         {std::string("NAME"), std::string("NAME") + '\0', std::string("NAME") + '\0' + "value"}) {
        EXPECT_EQ(stateOf(Scgi::packed(length + scgi + cut)), State::Malformed);
    }
    EXPECT_EQ(stateOf("0:,"), State::Malformed);
    EXPECT_EQ(stateOf({{"CONTENT_LENGTH", "0"}, {"", "value"}}), State::Malformed);
}

TEST(ScgiRequest, HasACommaBehindItsHead) {
    std::string bytes = Scgi::request("");
    bytes.back() = ';';
    EXPECT_EQ(stateOf(bytes), State::Malformed);
    bytes.pop_back();
    EXPECT_EQ(stateOf(bytes), State::Incomplete);
}

TEST(ScgiRequest, HasTheLengthOfItsBodyFirst) {
    EXPECT_EQ(stateOf(Scgi::head({{"SCGI", "1"}, {"CONTENT_LENGTH", "0"}})), State::Malformed);
    EXPECT_EQ(stateOf(Scgi::head({{"SCGI", "1"}})), State::Malformed);
    EXPECT_EQ(stateOf({{"CONTENT_LENGTHS", "0"}}), State::Malformed);
}

TEST(ScgiRequest, SaysThatItIsOne) {
    EXPECT_EQ(stateOf(Scgi::head({{"CONTENT_LENGTH", "0"}})), State::Malformed);
    EXPECT_EQ(stateOf(Scgi::head({{"CONTENT_LENGTH", "0"}, {"SCGI", "2"}})), State::Malformed);
}

TEST(ScgiRequest, HasABodyOfAtMost256KiB) {
    EXPECT_EQ(stateOf(Scgi::request(std::string(256 * 1024, ' '))), State::Complete);
    EXPECT_EQ(stateOfLength("262144"), State::Incomplete);
    EXPECT_EQ(stateOfLength("262145"), State::TooLarge);
    EXPECT_EQ(stateOfLength("18446744073709551616"), State::TooLarge);
    for (const char* length : {"", "-1", "+1", "1 ", "0x1", "1.0"}) {
        EXPECT_EQ(stateOfLength(length), State::Malformed) << length;
    }
}

TEST(ScgiRequest, NamesEachFieldOnce) {
    EXPECT_EQ(stateOf({{"CONTENT_LENGTH", "0"}, {"CONTENT_LENGTH", "0"}}), State::Malformed);
    EXPECT_EQ(stateOf({{"CONTENT_LENGTH", "0"}, {"A", "1"}, {"A", "1"}}), State::Malformed);
    EXPECT_EQ(stateOf({{"CONTENT_LENGTH", "0"}, {"SCGI", "1"}}), State::Malformed);
}

TEST(ScgiRequest, JoinsTheHeaderLinesThatAClientRepeats) {
    ScgiRequest request;
    EXPECT_EQ(request.add(Scgi::request("", {{"HTTP_A", "1"}, {"HTTP_B", "2"}, {"HTTP_A", "3"}})),
              State::Complete);
    EXPECT_STREQ(request.field("HTTP_A"), "1, 3");
    EXPECT_STREQ(request.field("HTTP_B"), "2");
}

TEST(ScgiRequest, HasNoNulInItsBody) {
    EXPECT_EQ(stateOf(Scgi::request(std::string("{}\0", 3))), State::Malformed);
    EXPECT_EQ(stateOf(Scgi::request(std::string("\0{}", 3))), State::Malformed);
    // A web server that is cut off while it sends reads no refusal.
    EXPECT_EQ(stateOfLength("3", std::string("{\0", 2)), State::Incomplete);
    // Behind the body it is none of it.
    EXPECT_EQ(stateOf(Scgi::request("{}") + '\0'), State::Complete);
}

TEST(ScgiRequest, StaysRefused) {
    ScgiRequest request;
    EXPECT_EQ(request.add("x"), State::Malformed);
    EXPECT_EQ(request.add(Scgi::request("{}")), State::Malformed);
}

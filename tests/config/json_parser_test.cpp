#include "config/json_parser.h"

#include <gtest/gtest.h>

#include <cmath>

#include "config/json_auto_ptr.h"
#include "support/json_support.h"

namespace {

TEST(JsonParser, ANullPointerIsNotValid) {
    EXPECT_FALSE(JsonParser::isValid(nullptr));
    EXPECT_TRUE(JsonParser::isValid(json_null()));
}

TEST(JsonParser, DecodesObjectsAndArraysOnly) {
    EXPECT_EQ(textOf(JsonAutoPtr(JsonParser::decode(R"({"b":1,"a":[2]})"))), R"({"b":1,"a":[2]})");
    EXPECT_EQ(textOf(JsonAutoPtr(JsonParser::decode("[]"))), "[]");
    for (const char* text : {"", "7", "\"text\"", "null", "{", "{} x", "{'a':1}"}) {
        EXPECT_EQ(JsonParser::decode(text), nullptr) << text;
    }
}

TEST(JsonParser, DecrefIgnoresNull) {
    JsonParser::decref(nullptr);
    const JsonAutoPtr value = json("[1]");
    json_incref(value.get());
    JsonParser::decref(value.get());
    EXPECT_EQ(value.get()->refcount, 1U);
}

TEST(JsonParser, GivesAMemberOnlyIfItIsAnObject) {
    const JsonAutoPtr value = json(R"({"object":{"x":1},"array":[1],"null":null})");
    EXPECT_EQ(textOf(JsonParser::getObject(value.get(), "object")), R"({"x":1})");
    EXPECT_EQ(JsonParser::getObject(value.get(), "array"), nullptr);
    EXPECT_EQ(JsonParser::getObject(value.get(), "null"), nullptr);
    EXPECT_EQ(JsonParser::getObject(value.get(), "missing"), nullptr);
    EXPECT_EQ(JsonParser::getObject(nullptr, "object"), nullptr);
}

TEST(JsonParser, GivesAMemberOnlyIfItIsAnArray) {
    const JsonAutoPtr value = json(R"({"object":{"x":1},"array":[1]})");
    EXPECT_EQ(textOf(JsonParser::getArray(value.get(), "array")), "[1]");
    EXPECT_EQ(JsonParser::getArray(value.get(), "object"), nullptr);
    EXPECT_EQ(JsonParser::getArray(value.get(), "missing"), nullptr);
    EXPECT_EQ(JsonParser::getArray(nullptr, "array"), nullptr);
}

TEST(JsonParser, DumpsCompactlyInOrderAtFullPrecision) {
    EXPECT_EQ(JsonParser::dumpJsonToString(json(R"({ "z": 0.123456789, "a": [1, 2] })").get()),
              R"({"z":0.123456789,"a":[1,2]})");
}

TEST(JsonParser, DumpsNothingForNullAndForWhatIsNotADocument) {
    EXPECT_EQ(JsonParser::dumpJsonToString(nullptr), "");
    EXPECT_EQ(JsonParser::dumpJsonToString(json("7").get()), "");
}

TEST(JsonParser, UnpacksByAFormat) {
    const JsonAutoPtr value = json(R"({"a":7})");
    int number = 0;
    EXPECT_TRUE(JsonParser::unpack(value.get(), "{s:i}", "a", &number));
    EXPECT_EQ(number, 7);
    EXPECT_FALSE(JsonParser::unpack(value.get(), "{s:i}", "b", &number));
    EXPECT_FALSE(JsonParser::unpack(nullptr, "{s:i}", "a", &number));
    EXPECT_FALSE(JsonParser::unpack(json_null(), "{s:i}", "a", &number));
}

}  // namespace

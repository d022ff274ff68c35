#include "config/json_auto_ptr.h"

#include <gtest/gtest.h>

namespace {

std::size_t countOf(const JsonAutoPtr& pointer) {
    return pointer.get()->refcount;
}

TEST(JsonAutoPtr, HoldsNothingAtFirst) {
    JsonAutoPtr pointer;
    EXPECT_EQ(pointer.get(), nullptr);
    EXPECT_EQ(pointer.release(), nullptr);
    pointer.free();
    EXPECT_EQ(JsonAutoPtr(pointer).get(), nullptr);
}

TEST(JsonAutoPtr, CopyingAddsAReference) {
    const JsonAutoPtr pointer(json_object());
    EXPECT_EQ(countOf(pointer), 1U);
    {
        const JsonAutoPtr copy = pointer;
        EXPECT_EQ(copy.get(), pointer.get());
        EXPECT_EQ(countOf(pointer), 2U);
    }
    EXPECT_EQ(countOf(pointer), 1U);
}

TEST(JsonAutoPtr, AssigningSharesAndGivesTheOldValueBack) {
    const JsonAutoPtr first(json_object());
    const JsonAutoPtr second(json_array());
    JsonAutoPtr pointer = first;
    pointer = second;
    EXPECT_EQ(pointer.get(), second.get());
    EXPECT_EQ(countOf(first), 1U);
    EXPECT_EQ(countOf(second), 2U);
}

TEST(JsonAutoPtr, AssigningToItselfKeepsTheValue) {
    JsonAutoPtr pointer(json_object());
    const JsonAutoPtr& same = pointer;
    pointer = same;
    EXPECT_EQ(countOf(pointer), 1U);
}

TEST(JsonAutoPtr, MovingLeavesTheCountAlone) {
    JsonAutoPtr pointer(json_object());
    const JsonAutoPtr moved = std::move(pointer);
    EXPECT_EQ(countOf(moved), 1U);
    EXPECT_EQ(pointer.get(), nullptr);
}

TEST(JsonAutoPtr, FreeGivesTheReferenceBack) {
    const JsonAutoPtr pointer(json_object());
    JsonAutoPtr copy = pointer;
    copy.free();
    EXPECT_EQ(copy.get(), nullptr);
    EXPECT_EQ(countOf(pointer), 1U);
}

TEST(JsonAutoPtr, ReleaseHandsTheReferenceOver) {
    const JsonAutoPtr pointer(json_object());
    JsonAutoPtr copy = pointer;
    json_t* value = copy.release();
    EXPECT_EQ(copy.get(), nullptr);
    EXPECT_EQ(value, pointer.get());
    EXPECT_EQ(countOf(pointer), 2U);
    json_decref(value);
}

}  // namespace

#pragma once

#include <jansson.h>

#include <utility>

/// Owns one reference of a json_t; holds null when there is none.
///
/// Copying shares the value: both then own a reference each. The count itself may be changed from
/// several threads at once, the value behind it may not: a value that threads share is not written
/// to, and where one of them writes, it writes to a json_deep_copy() of its own.
class JsonAutoPtr {
public:
    JsonAutoPtr() = default;
    /// Takes over the caller's reference (transferred).
    explicit JsonAutoPtr(json_t* value) : value_(value) {}
    JsonAutoPtr(const JsonAutoPtr& other) : value_(json_incref(other.value_)) {}
    JsonAutoPtr(JsonAutoPtr&& other) noexcept : value_(other.release()) {}
    ~JsonAutoPtr() { free(); }

    JsonAutoPtr& operator=(JsonAutoPtr other) noexcept {
        std::swap(value_, other.value_);
        return *this;
    }

    /// Gives the reference back and forgets the value.
    void free() {
        json_decref(value_);
        value_ = nullptr;
    }

    /// Hands the reference to the caller (transferred) and forgets the value.
    json_t* release() { return std::exchange(value_, nullptr); }

    /// The value (borrowed), or null.
    json_t* get() const { return value_; }

private:
    json_t* value_ = nullptr;
};

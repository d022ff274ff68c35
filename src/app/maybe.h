#pragma once

/// A value, or the absence of one.
template <typename T>
class Maybe {
public:
    Maybe() = default;
    explicit Maybe(const T& value) : value_(value), hasValue_(true) {}

    bool hasValue() const { return hasValue_; }

    /// The value; a default one when there is none.
    const T& get() const { return value_; }

private:
    T value_{};
    bool hasValue_ = false;
};

#pragma once

#include <stdexcept>
#include <string>

/// What the runtime_error of a function says; empty when it throws none.
template <typename Function>
std::string failureOf(Function function) {
    try {
        function();
    } catch (const std::runtime_error& failure) {
        return failure.what();
    }
    return {};
}

#pragma once

#include <chrono>
#include <thread>

/// Waits until the condition holds, whoever brings it about; false after ten seconds.
template <typename Condition>
bool waitFor(Condition condition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

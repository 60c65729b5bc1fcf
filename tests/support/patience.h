// Waiting for what other threads and processes do.
#pragma once

#include <chrono>
#include <functional>
#include <thread>

// Long enough for a loaded machine; a bound against hanging, never an expectation.
constexpr std::chrono::seconds kTestPatience{60};

// False when it did not come true.
[[nodiscard]] inline bool waitUntil(const std::function<bool()>& isTrue)
{
    const auto end = std::chrono::steady_clock::now() + kTestPatience;
    while (!isTrue()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

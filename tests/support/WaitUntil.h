#pragma once
// Polls a condition every millisecond until it holds or `limit` has passed.
// Tests wait for the product's threads with it; the limits are far beyond any
// normal wait, so that a slow, loaded machine or a sanitizer build passes too.
#include <chrono>
#include <functional>
#include <thread>

inline bool WaitUntil(const std::function<bool()>& done, std::chrono::milliseconds limit = std::chrono::seconds(30))
{
    for (const auto end = std::chrono::steady_clock::now() + limit; !done();) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

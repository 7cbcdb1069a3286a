// Waits, within a generous bound, until a condition holds: tests never sleep a
// fixed time to learn an outcome.
#pragma once

#include <chrono>
#include <thread>

namespace ferrow::test {

template <typename Pred>
bool Eventually(Pred pred, std::chrono::milliseconds limit = std::chrono::milliseconds(5000)) {
    auto end = std::chrono::steady_clock::now() + limit;
    while (!pred()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

}  // namespace ferrow::test

#include "platform/ProcessClock.h"

#include <chrono>

namespace ferrow::platform {
namespace {

const std::chrono::steady_clock::time_point g_loadTime = std::chrono::steady_clock::now();

}  // namespace

uint64_t ProcessClock::Ms64() {
    auto elapsed = std::chrono::steady_clock::now() - g_loadTime;
    return static_cast<uint64_t>(
        std::chrono::duration_cast<std::chrono::milliseconds>(elapsed).count());
}

}  // namespace ferrow::platform

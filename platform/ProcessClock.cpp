#include "platform/ProcessClock.h"

#include <chrono>
#include <utility>

namespace ferrow::platform {
namespace {

const std::chrono::steady_clock::time_point g_loadTime = std::chrono::steady_clock::now();

thread_local std::shared_ptr<VirtualClock> t_bound;

}  // namespace

uint64_t ProcessClock::WallMs64() {
    auto elapsed = std::chrono::steady_clock::now() - g_loadTime;
    return static_cast<uint64_t>(
        std::chrono::duration_cast<std::chrono::milliseconds>(elapsed).count());
}

uint64_t ProcessClock::Ms64() { return t_bound ? t_bound->Ms64() : WallMs64(); }

std::shared_ptr<VirtualClock> ProcessClock::Bound() { return t_bound; }

ProcessClock::Binding::Binding(std::shared_ptr<VirtualClock> clock)
    : previous_(std::exchange(t_bound, std::move(clock))) {}

ProcessClock::Binding::~Binding() { t_bound = std::move(previous_); }

}  // namespace ferrow::platform

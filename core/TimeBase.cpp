// The firmware's free-running time base and its periodic interrupt.
#include <ferrow/Ferrow_c.h>

#include "core/Ferrow_Ctx_c.h"
#include "core/InstanceTable.h"
#include "platform/CallFrame.h"
#include "platform/MessageReport.h"
#include "platform/TimerService.h"

#include <algorithm>

using ferrow::core::InstanceTable;
using ferrow::platform::CallFrame;
using ferrow::platform::TimerService;

namespace {

constexpr uintptr_t kFirstTimerId = 10;
// Ids held by other emulators are skipped by the instance table; a refusal
// means a user outside it holds the pair, or the service takes no timer on
// this window at all.
constexpr unsigned kTimerTries = 64;

HWND TimerWindow(const Ferrow_Ctx_c& ctx) {
    return ctx.timerWnd ? ctx.timerWnd->GetSafeHwnd() : nullptr;
}

}  // namespace

void Ferrow_Ctx_c::KillTimer() {
    timerPeriod = 0;
    KillServiceTimer();
}

void Ferrow_Ctx_c::KillServiceTimer() {
    TimerService* service = timerService.exchange(nullptr);
    if (service == nullptr) return;
    service->Kill(TimerWindow(*this), timerId);
    // Only now: until the kill, a tick of this timer must not find another
    // emulator that took the id.
    InstanceTable::ReleaseTimer(instanceIndex);
}

void Ferrow_c::t_init(int useClock, unsigned long periodMs) {
    CallFrame frame;
    Ferrow_Ctx_c& c = *ctx;
    c.useClock = useClock;
    c.tickPeriod = static_cast<uint32_t>(periodMs);
    c.intFn = nullptr;
    c.intFnObj = nullptr;
    if (c.timerStarted.exchange(1) != 0) return;

    c.tickMs = 0;
    // A zero period still ticks, as fast as the service allows.
    const unsigned period = periodMs == 0 ? 1u : static_cast<unsigned>(std::min(periodMs, 0x7FFFFFFFul));
    c.timerPeriod = period;
    // A simulation ticks at this rate itself.
    if (c.sim.load() != nullptr) return;
    if (c.instanceIndex == InstanceTable::kNone) {
        c.timerPeriod = 0;
        return;
    }
    HWND window = TimerWindow(c);
    TimerService& service = TimerService::For(window);
    uintptr_t id = kFirstTimerId;
    for (unsigned attempt = 0; attempt < kTimerTries; ++attempt, ++id) {
        id = InstanceTable::ReserveTimer(c.instanceIndex, id);
        if (service.Set(window, id, period, &Ferrow_c::TimerProc)) {
            c.timerId = static_cast<uint32_t>(id);
            c.timerService = &service;
            return;
        }
    }
    c.timerPeriod = 0;
    InstanceTable::ReleaseTimer(c.instanceIndex);
    ferrow::platform::MessageReport::Show(L"Ferrow_c::t_init", L"No periodic timer could be set");
}

void Ferrow_c::t_interrupt_set(void (*fn)(void)) {
    CallFrame frame;
    ctx->intFn = fn;
}

void Ferrow_c::t_interrupt_set(void (*fn)(void*)) {
    CallFrame frame;
    ctx->intFnObj = fn;
}

void Ferrow_c::t_disable_int() {
    CallFrame frame;
    ctx->KillTimer();
}

void Ferrow_c::t_set_overwrite(int on) { ctx->overwrite = on; }

void Ferrow_c::t_interrupt_exec(unsigned long elapsedMs) {
    CallFrame frame;
    t_tick(elapsedMs);
}

void Ferrow_c::t_tick(unsigned long elapsedMs) {
    ctx->tickMs.fetch_add(static_cast<uint32_t>(elapsedMs));
    if (auto fnObj = ctx->intFnObj.load()) {
        fnObj(this);
    } else if (auto fn = ctx->intFn.load()) {
        fn();
    }
}

void Ferrow_c::TimerProc(HWND window, unsigned, uintptr_t id, uint32_t) {
    Ferrow_Ctx_c* c = InstanceTable::Find(window, id);
    if (c == nullptr || c->overwrite != 0) return;
    c->owner->t_tick(c->tickPeriod);
}

// The readings are the 32-bit values a microcontroller's counters hold: the
// source in milliseconds, scaled, then taken modulo 2^32.
unsigned long Ferrow_c::ReadingI(unsigned divisor, unsigned multiplier) {
    CallFrame frame;
    const Ferrow_Ctx_c& c = *ctx;
    const uint32_t ms = (c.useClock != 0 && c.overwrite == 0) ? static_cast<uint32_t>(c.NowMs())
                                                              : c.tickMs.load();
    return static_cast<uint32_t>(static_cast<uint64_t>(ms) * multiplier / divisor);
}

unsigned long Ferrow_c::t_get_100ms() { return ReadingI(100, 1); }
unsigned long Ferrow_c::t_get_50ms() { return ReadingI(50, 1); }
unsigned long Ferrow_c::t_get_25ms() { return ReadingI(25, 1); }
unsigned long Ferrow_c::t_get_10ms() { return ReadingI(10, 1); }
unsigned long Ferrow_c::t_get_5ms() { return ReadingI(5, 1); }
unsigned long Ferrow_c::t_get_1ms() { return ReadingI(1, 1); }
unsigned long Ferrow_c::t_get_100us() { return ReadingI(1, 10); }
unsigned long Ferrow_c::t_get_100ns() { return ReadingI(1, 10000); }

void Ferrow_c::t_get_time(unsigned long* seconds, unsigned long* milliseconds) {
    const unsigned long ms = t_get_1ms();
    if (seconds) *seconds = ms / 1000;
    if (milliseconds) *milliseconds = ms % 1000;
}

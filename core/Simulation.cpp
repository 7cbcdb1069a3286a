#include "core/Simulation.h"

#include <ferrow/Ferrow_c.h>

#include "core/Ferrow_Ctx_c.h"

#include <algorithm>

using ferrow::platform::ProcessClock;

namespace ferrow::core {

Simulation::Simulation() : clock_(std::make_shared<platform::VirtualClock>()) {}

Simulation::~Simulation() {
    std::lock_guard<std::recursive_mutex> lock(mutex_);
    if (state_ == State::Started) Stop();
    for (Member& member : members_) {
        if (member.emu != nullptr) Release(member);
    }
}

int Simulation::Add(Ferrow_c* emu) {
    if (emu == nullptr) return -1;
    std::lock_guard<std::recursive_mutex> lock(mutex_);
    if (state_ != State::Setup) return -1;
    Ferrow_Ctx_c& c = *emu->ctx;
    if (c.running != 0 || c.threadMgr.IsActive()) return -1;
    Simulation* none = nullptr;
    if (!c.sim.compare_exchange_strong(none, this)) return -1;
    std::atomic_store(&c.clock, clock_);
    // A timer set in real time before joining ticks on in virtual time.
    c.KillServiceTimer();
    members_.push_back({emu, &c, kNever, kNever});
    return 0;
}

int Simulation::Start(int argc, char** argv) {
    std::lock_guard<std::recursive_mutex> lock(mutex_);
    if (state_ != State::Setup) return -1;
    state_ = State::Started;
    ProcessClock::Binding binding(clock_);
    int result = 0;
    // By index: a firmware may delete its emulator, which only marks it gone.
    for (std::size_t i = 0; i < members_.size(); ++i) {
        if (members_[i].emu == nullptr) continue;
        const int started = members_[i].emu->Start(argc, argv);
        if (result == 0) result = started;
    }
    Reschedule(Now());
    return result;
}

int Simulation::Run(uint64_t ms, int (*cond)(void*), void* arg) {
    std::lock_guard<std::recursive_mutex> lock(mutex_);
    if (state_ != State::Started || inRun_) return -1;
    struct InRun {
        bool& flag;
        explicit InRun(bool& f) : flag(f) { flag = true; }
        ~InRun() { flag = false; }
    } inRun(inRun_);
    ProcessClock::Binding binding(clock_);
    const uint64_t from = Now();
    // What changed since (a t_init or a pace set from outside, a member that
    // an exception left unscheduled) counts from now.
    Reschedule(from);
    const uint64_t until = ms >= kNever - from ? kNever - 1 : from + ms;
    if (cond != nullptr && cond(arg) != 0) return 0;
    // A step function or condition may stop the simulation.
    while (state_ == State::Started) {
        uint64_t next = kNever;
        for (const Member& member : members_) {
            if (member.emu != nullptr) next = std::min({next, member.nextTick, member.nextLoop});
        }
        if (next > until) {
            clock_->Set(until);
            break;
        }
        clock_->Set(next);
        RunInstant(next);
        Reschedule(next);
        if (step_ != nullptr) step_(stepArg_, static_cast<unsigned long>(next));
        if (cond != nullptr && cond(arg) != 0) return 0;
    }
    return cond != nullptr ? -1 : 0;
}

// Each member in the order of Add, its interrupt before its loop. The member
// list never grows during a Run, so references into it stay valid; a member
// deleted by a call is only marked gone.
void Simulation::RunInstant(uint64_t now) {
    for (Member& member : members_) {
        if (member.emu != nullptr && member.nextTick == now) {
            Ferrow_Ctx_c& c = *member.ctx;
            const uint32_t period = c.timerPeriod;
            member.nextTick = period != 0 ? now + period : kNever;
            // As the platform's timer: each tick adds the nominal period, and
            // manual time swallows it.
            if (c.overwrite == 0) member.emu->t_interrupt_exec(c.tickPeriod);
        }
        if (member.emu != nullptr && member.nextLoop == now) {
            Ferrow_Ctx_c& c = *member.ctx;
            member.nextLoop = kNever;
            if (c.running == 1) c.CallLoop();
        }
    }
}

void Simulation::Reschedule(uint64_t now) {
    for (Member& member : members_) {
        if (member.emu == nullptr) continue;
        const Ferrow_Ctx_c& c = *member.ctx;
        const uint32_t period = c.timerPeriod;
        if (period == 0) {
            member.nextTick = kNever;
        } else if (member.nextTick == kNever) {
            member.nextTick = now + period;
        }
        const int32_t pace = c.running == 1 ? c.Pace() : 0;
        if (pace <= 0) {
            member.nextLoop = kNever;
        } else if (member.nextLoop == kNever) {
            member.nextLoop = now + static_cast<uint64_t>(pace);
        }
    }
}

void Simulation::SetStepFunction(void (*fn)(void*, unsigned long), void* arg) {
    std::lock_guard<std::recursive_mutex> lock(mutex_);
    step_ = fn;
    stepArg_ = fn != nullptr ? arg : nullptr;
}

int Simulation::Stop() {
    std::lock_guard<std::recursive_mutex> lock(mutex_);
    const bool started = state_ == State::Started;
    state_ = State::Stopped;
    if (!started) return 0;
    ProcessClock::Binding binding(clock_);
    for (std::size_t i = 0; i < members_.size(); ++i) {
        if (members_[i].emu != nullptr) members_[i].emu->Stop();
    }
    return 0;
}

void Simulation::Remove(Ferrow_c* emu) {
    std::lock_guard<std::recursive_mutex> lock(mutex_);
    for (Member& member : members_) {
        if (member.emu == emu) Release(member);
    }
}

void Simulation::Release(Member& member) {
    std::atomic_store(&member.ctx->clock, std::shared_ptr<platform::VirtualClock>());
    member.ctx->sim = nullptr;
    member.emu = nullptr;
    member.ctx = nullptr;
}

}  // namespace ferrow::core

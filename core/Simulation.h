// The engine of Ferrow_Sim_c: an event loop over virtual time that calls each
// member emulator's periodic interrupt and loop on the calling thread, in a
// fixed order, with the simulation's clock bound to that thread.
#pragma once

#include "platform/ProcessClock.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

class Ferrow_c;
class Ferrow_Ctx_c;

namespace ferrow::core {

class Simulation {
public:
    Simulation();
    // Stops the members if it started them, then lets them all go.
    ~Simulation();
    Simulation(const Simulation&) = delete;
    Simulation& operator=(const Simulation&) = delete;

    // The operations of Ferrow_Sim_c, with its results.
    int Add(Ferrow_c* emu);
    int Start(int argc, char** argv);
    int Run(uint64_t ms, int (*cond)(void*) = nullptr, void* arg = nullptr);
    void SetStepFunction(void (*fn)(void*, unsigned long), void* arg);
    uint64_t Now() const { return clock_->Ms64(); }
    int Stop();

    // From a member's destructor, also in the middle of a Run: the member is
    // never called again.
    void Remove(Ferrow_c* emu);

private:
    static constexpr uint64_t kNever = UINT64_MAX;

    enum class State { Setup, Started, Stopped };

    struct Member {
        Ferrow_c* emu;  // null once it has left
        Ferrow_Ctx_c* ctx;
        uint64_t nextTick;
        uint64_t nextLoop;
    };

    // Each member's next tick and loop call from `now` on, as its timer and
    // pacing now stand; kept where already due.
    void Reschedule(uint64_t now);
    void RunInstant(uint64_t now);
    void Release(Member& member);

    const std::shared_ptr<platform::VirtualClock> clock_;
    // protects: members_, state_, inRun_, step_, stepArg_; held through Start,
    // Run and Stop, so that a member deleted on another thread waits for the
    // Run, and recursive so that one deleted by the firmware in the Run does not.
    std::recursive_mutex mutex_;
    std::vector<Member> members_;
    State state_ = State::Setup;
    bool inRun_ = false;
    void (*step_)(void*, unsigned long) = nullptr;
    void* stepArg_ = nullptr;
};

}  // namespace ferrow::core

// The emulator's run-time state: the worker thread, the firmware's registered
// functions, pacing, flags and the time base. Values shared between the
// worker, the timer and the controlling thread are atomics read anew at each
// use; nothing here is guarded by a lock. In a simulation the simulation's
// thread stands in for the worker and the timer, and its clock for the
// process clock.
#pragma once

#include "core/AttachedPeripheral.h"
#include "core/QL_ThreadMgr_c.h"
#include "platform/ProcessClock.h"

#include <ferrow/CWnd.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

class Ferrow_c;
struct N2KMsg;
namespace ferrow::platform {
class TimerService;
}
namespace ferrow::core {
class Simulation;
}

// One host function that sees every message put. Nodes are only ever
// appended, and a node is complete before it is linked, so PutMsg may walk
// the list while another thread appends.
struct PutMsgMonitor {
    void* obj;
    int (*fn)(void*, N2KMsg*);
    std::atomic<PutMsgMonitor*> next{nullptr};
};

class Ferrow_Ctx_c {
public:
    static constexpr unsigned kNameUnits = 1024;

    explicit Ferrow_Ctx_c(Ferrow_c* owner) : owner(owner) {}
    ~Ferrow_Ctx_c() {
        for (PutMsgMonitor* node = putMonitors.load(); node != nullptr;) {
            PutMsgMonitor* next = node->next.load();
            delete node;
            node = next;
        }
    }
    Ferrow_Ctx_c(const Ferrow_Ctx_c&) = delete;
    Ferrow_Ctx_c& operator=(const Ferrow_Ctx_c&) = delete;

    ferrow::core::QL_ThreadMgr_c threadMgr;
    Ferrow_c* const owner;

    // A main function with parameters and one without take each other's place.
    std::atomic<void (*)(int, char**)> mainFn{nullptr};
    std::atomic<void (*)()> mainFnVoid{nullptr};
    std::atomic<void (*)()> loopFn{nullptr};
    std::atomic<int (*)()> appInitFn{nullptr};
    std::atomic<int (*)()> connectFn{nullptr};
    std::atomic<int (*)(int)> connectFnInt{nullptr};
    std::atomic<int (*)()> disconnectFn{nullptr};
    std::atomic<int (*)(int)> disconnectFnInt{nullptr};
    std::atomic<int (*)()> isConnectedFn{nullptr};
    std::atomic<int (*)(int)> isConnectedFnInt{nullptr};
    std::atomic<void (*)(void*, int, char**)> mainFnObj{nullptr};
    std::atomic<void (*)(void*)> mainFnObjOnly{nullptr};
    std::atomic<void (*)(void*)> loopFnObj{nullptr};
    std::atomic<int (*)(void*)> appInitFnObj{nullptr};
    std::atomic<int (*)(void*, int)> connectFnObj{nullptr};
    std::atomic<int (*)(void*, int)> disconnectFnObj{nullptr};
    std::atomic<int (*)(void*, int)> isConnectedFnObj{nullptr};

    wchar_t eepromName[kNameUnits] = {};
    wchar_t eepromNameDefault[kNameUnits] = {};
    // 8-bit staging of eepromName for a configuration class without wide text.
    char eepromName8[kNameUnits] = {};
    // "DISP_ALL_PGN" as the configuration file gives it. The file rewrites it
    // whenever anything reloads the file, maybe while the worker runs, so
    // dispAllPgn takes it only at construction.
    int dispAllPgnSetting = 0;

    std::atomic<int32_t> cycleSleep{0};
    std::atomic<int32_t> cycleCalls{0};
    // The loop period the firmware registered; 0 before any.
    int32_t Pace() const {
        const int32_t calls = cycleCalls;
        return calls > 0 ? cycleSleep / calls : 0;
    }
    // One call of the firmware's loop, the object form first.
    void CallLoop() {
        if (auto loopObj = loopFnObj.load()) {
            loopObj(owner);
        } else if (auto loop = loopFn.load()) {
            loop();
        }
    }
    std::atomic<int32_t> running{0};
    std::atomic<int32_t> busy{0};
    uint32_t instanceIndex = 0;
    std::atomic<int32_t> putEnable{1};

    CWnd* timerWnd = nullptr;
    uint32_t timerId = 0;
    // Once 1, no timer is set again: t_init sets one at most once, and the
    // emulator's destruction shuts the door before it kills the timer.
    std::atomic<int32_t> timerStarted{0};
    // The service that runs this emulator's timer, null while none runs.
    // Published after timerId.
    std::atomic<ferrow::platform::TimerService*> timerService{nullptr};
    std::atomic<int32_t> useClock{1};
    std::atomic<void (*)()> intFn{nullptr};
    std::atomic<void (*)(void*)> intFnObj{nullptr};
    std::atomic<uint32_t> tickMs{0};
    std::atomic<uint32_t> tickPeriod{10};
    std::atomic<int32_t> overwrite{0};
    std::atomic<PutMsgMonitor*> putMonitors{nullptr};
    // The rate of the periodic ticks while they run, 0 while none do.
    std::atomic<uint32_t> timerPeriod{0};

    // The simulation this emulator belongs to, null in real time. Changed
    // only while the emulator is not started.
    std::atomic<ferrow::core::Simulation*> sim{nullptr};
    // The simulation's clock, null in real time; read and written through
    // std::atomic_load and std::atomic_store, since any thread may read the
    // time while the emulator joins or leaves.
    std::shared_ptr<ferrow::platform::VirtualClock> clock;
    // Milliseconds of this emulator's clock: the process clock, or virtual.
    // Out of a simulation the clock is not even looked at.
    uint64_t NowMs() const {
        if (sim.load() == nullptr) return ferrow::platform::ProcessClock::WallMs64();
        const std::shared_ptr<ferrow::platform::VirtualClock> simulated = std::atomic_load(&clock);
        return simulated ? simulated->Ms64() : ferrow::platform::ProcessClock::WallMs64();
    }

    // Kills the periodic timer, if one runs, and frees its id for other
    // emulators. When it returns no tick of it runs, unless called from one.
    void KillTimer();
    // The same for the platform's timer alone: a simulation takes over the
    // ticks at their rate.
    void KillServiceTimer();

    // Every peripheral built for this emulator, registered in a slot or not,
    // so that the emulator's destruction can tell them it is gone.
    void Attach(ferrow::core::AttachedPeripheral* p) {
        std::lock_guard<std::mutex> guard(peripheralsMutex);
        peripherals.push_back(p);
    }
    // Runs `enter` (which fills its slot) under the lock, while attached.
    template <class Fill>
    void Enter(ferrow::core::AttachedPeripheral* p, Fill&& enter) {
        std::lock_guard<std::mutex> guard(peripheralsMutex);
        if (std::find(peripherals.begin(), peripherals.end(), p) != peripherals.end()) enter();
    }
    // Lets go of the peripheral and, still under the lock, runs `leave` (which
    // clears its slot), unless the emulator has already let go of it.
    template <class Leave>
    void Detach(ferrow::core::AttachedPeripheral* p, Leave&& leave) {
        std::lock_guard<std::mutex> guard(peripheralsMutex);
        auto it = std::find(peripherals.begin(), peripherals.end(), p);
        if (it == peripherals.end()) return;
        peripherals.erase(it);
        leave();
    }
    // protects: peripherals and the slots as peripherals fill and clear them,
    // so that the message path's monitor and generator stay while it uses them
    std::mutex peripheralsMutex;
    std::vector<ferrow::core::AttachedPeripheral*> peripherals;
};

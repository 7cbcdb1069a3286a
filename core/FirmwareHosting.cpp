// The firmware's registered functions, the paced worker cycle, Start and Stop.
#include <ferrow/Ferrow_ADC_c.h>
#include <ferrow/Ferrow_GPIO_c.h>
#include <ferrow/Ferrow_PWM_c.h>
#include <ferrow/Ferrow_c.h>

#include "core/EmulatorConfig.h"
#include "core/Ferrow_Ctx_c.h"
#include "platform/CallFrame.h"
#include "platform/MessageReport.h"
#include "platform/ScopeLock.h"
#include "net/Brovik_c.h"

#include <chrono>
#include <thread>

using ferrow::platform::CallFrame;
using ferrow::platform::ScopeLock;

namespace {

// The worker never sleeps less than this at a time; shorter loop periods are
// made up by calling the loop several times in a burst.
constexpr int kMinCycleSleepMs = 20;

// Stop waits for the current burst in 50 ms steps: 5 attempts of 20 steps.
constexpr int kStopAttempts = 5;
constexpr int kStopStepsPerAttempt = 20;
constexpr auto kStopStep = std::chrono::milliseconds(50);

// The smallest count of loop calls whose combined periods reach the minimum
// sleep, and that combined period.
void SetPacing(Ferrow_Ctx_c& ctx, int pace) {
    int calls = pace >= kMinCycleSleepMs ? 1 : (kMinCycleSleepMs + pace - 1) / pace;
    ctx.cycleCalls = calls;
    ctx.cycleSleep = calls * pace;
}

}  // namespace

namespace {

// A device registration: the main function takes the place of the other main
// form of the same family; the loop and the pacing are set together.
template <typename Main, typename OtherMain, typename Loop>
int RegisterDevice(std::recursive_mutex& cs, Ferrow_Ctx_c& ctx, std::atomic<Main>& mainSlot,
                   std::atomic<OtherMain>& replacedSlot, std::atomic<Loop>& loopSlot, Main mainFn,
                   Loop loopFn, int pace) {
    CallFrame frame;
    if (pace <= 0) return -1;
    ScopeLock lock(cs, false);
    replacedSlot = nullptr;
    mainSlot = mainFn;
    loopSlot = loopFn;
    SetPacing(ctx, pace);
    return 0;
}

// Every single-function registration: refuse null, else store.
template <typename Fn>
int Register(std::recursive_mutex& cs, std::atomic<Fn>& slot, Fn fn) {
    CallFrame frame;
    if (fn == nullptr) return -1;
    ScopeLock lock(cs, false);
    slot = fn;
    return 0;
}

}  // namespace

int Ferrow_c::SetDeviceFunction(void (*mainFn)(int, char**), void (*loopFn)(void), int pace) {
    return RegisterDevice(cs, *ctx, ctx->mainFn, ctx->mainFnVoid, ctx->loopFn, mainFn, loopFn, pace);
}

int Ferrow_c::SetDeviceFunction(void (*mainFn)(void), void (*loopFn)(void), int pace) {
    return RegisterDevice(cs, *ctx, ctx->mainFnVoid, ctx->mainFn, ctx->loopFn, mainFn, loopFn, pace);
}

int Ferrow_c::SetDeviceFunction(void (*mainFn)(void*, int, char**), void (*loopFn)(void*),
                                int pace) {
    return RegisterDevice(cs, *ctx, ctx->mainFnObj, ctx->mainFnObjOnly, ctx->loopFnObj, mainFn,
                          loopFn, pace);
}

int Ferrow_c::SetDeviceFunction(void (*mainFn)(void*), void (*loopFn)(void*), int pace) {
    return RegisterDevice(cs, *ctx, ctx->mainFnObjOnly, ctx->mainFnObj, ctx->loopFnObj, mainFn,
                          loopFn, pace);
}

int Ferrow_c::SetAppInitFunction(int (*fn)(void)) { return Register(cs, ctx->appInitFn, fn); }
int Ferrow_c::SetAppInitFunction(int (*fn)(void*)) { return Register(cs, ctx->appInitFnObj, fn); }
int Ferrow_c::SetConnectFunction(int (*fn)(void)) { return Register(cs, ctx->connectFn, fn); }
int Ferrow_c::SetConnectFunction(int (*fn)(int)) { return Register(cs, ctx->connectFnInt, fn); }
int Ferrow_c::SetConnectFunction(int (*fn)(void*, int)) {
    return Register(cs, ctx->connectFnObj, fn);
}
int Ferrow_c::SetDisConnectFunction(int (*fn)(void)) { return Register(cs, ctx->disconnectFn, fn); }
int Ferrow_c::SetDisConnectFunction(int (*fn)(int)) {
    return Register(cs, ctx->disconnectFnInt, fn);
}
int Ferrow_c::SetDisConnectFunction(int (*fn)(void*, int)) {
    return Register(cs, ctx->disconnectFnObj, fn);
}
int Ferrow_c::SetIsConnectedFunction(int (*fn)(void)) {
    return Register(cs, ctx->isConnectedFn, fn);
}
int Ferrow_c::SetIsConnectedFunction(int (*fn)(int)) {
    return Register(cs, ctx->isConnectedFnInt, fn);
}
int Ferrow_c::SetIsConnectedFunction(int (*fn)(void*, int)) {
    return Register(cs, ctx->isConnectedFnObj, fn);
}

int Ferrow_c::SetAutoConnect(int on) {
    CallFrame frame;
    ScopeLock lock(cs, false);
    autoConnect = on;
    return 0;
}

int Ferrow_c::GetAutoConnect() {
    CallFrame frame;
    ScopeLock lock(cs, false);
    return autoConnect;
}

void Ferrow_c::process(void* obj) {
    Ferrow_Ctx_c& c = *static_cast<Ferrow_c*>(obj)->ctx;
    if (c.running == 1) {
        // Cleared on every way out, so that Stop never waits for a burst
        // that a throwing loop function has already left.
        struct BusyFlag {
            std::atomic<int32_t>& busy;
            explicit BusyFlag(std::atomic<int32_t>& b) : busy(b) { busy = 1; }
            ~BusyFlag() { busy = 0; }
        } busy(c.busy);
        const int calls = c.cycleCalls;
        // A loop call may destroy the emulator: from then on only the
        // context, which outlives that call, is used.
        for (int i = 0; i < calls && c.running != 0; ++i) c.CallLoop();
    }
    // Before any pacing is registered the worker idles at the minimum sleep
    // rather than spinning a core.
    const int sleepMs = c.cycleSleep;
    c.threadMgr.Sleep(static_cast<unsigned>(sleepMs > 0 ? sleepMs : kMinCycleSleepMs));
}

int Ferrow_c::Start() { return Start(0, nullptr); }

int Ferrow_c::Start(int argc, char** argv) {
    CallFrame frame;
    ScopeLock lock(cs, false);
    // A worker still running (or still finishing a burst after a Stop that
    // gave up) is never joined by a second one. In a simulation its thread
    // calls the loop instead of a worker.
    const bool simulated = ctx->sim.load() != nullptr;
    if (ctx->threadMgr.IsActive() || (simulated && ctx->running != 0)) return -1;

    ferrow::core::EmulatorConfig::RestoreEepromName(*ctx);

    // Their panels list the channels that exist now and begin refreshing.
    if (adc != nullptr) adc->Start();
    if (gpio != nullptr) gpio->Start();
    if (pwm != nullptr) pwm->Start();

    if (auto mainObj = ctx->mainFnObj.load()) {
        mainObj(this, argc, argv);
    } else if (auto mainObjOnly = ctx->mainFnObjOnly.load()) {
        mainObjOnly(this);
    } else if (auto mainArgs = ctx->mainFn.load()) {
        mainArgs(argc, argv);
    } else if (auto mainVoid = ctx->mainFnVoid.load()) {
        mainVoid();
    }

    // Before the worker exists, or its first cycle could find it clear and
    // sleep instead of calling the loop.
    ctx->running = 1;
    if (!simulated) ctx->threadMgr.Start(0);

    if (autoConnect != 0 && useGateway == 1) {
        gateway->connectFailed = 0;
        if (ConnectI() < 0) {
            gateway->connectFailed = 1;
            return -1;
        }
        int initResult = 0;
        if (auto initObj = ctx->appInitFnObj.load()) {
            initResult = initObj(this);
        } else if (auto init = ctx->appInitFn.load()) {
            initResult = init();
        }
        if (initResult < 0) return -1;
    }
    return 0;
}

int Ferrow_c::Stop() {
    CallFrame frame;
    ScopeLock lock(cs, false);
    bool ended = false;
    // Asked at once: the thread manager's Stop sleeps 20 ms before it asks,
    // which adds up when a network of emulators stops one after another. It
    // then finds the stop asked for and returns without sleeping; a loop
    // still busy is waited for in the usual steps.
    if (ctx->threadMgr.IsActive()) ctx->threadMgr.RequestStop();
    for (int attempt = 0; attempt < kStopAttempts && !ended; ++attempt) {
        ctx->threadMgr.Stop(10);
        ctx->running = 0;
        for (int step = 0; step < kStopStepsPerAttempt; ++step) {
            ended = ctx->busy == 0;
            if (ended) break;
            std::this_thread::sleep_for(kStopStep);
        }
    }
    // The loop has returned, so the worker ends within its cycle; a Start
    // right after must find it gone.
    if (ended) ctx->threadMgr.WaitEnded(kStopAttempts * kStopStepsPerAttempt * kStopStep);
    if (useGateway == 1 && DisConnectI() < 0) return -1;
    return ended ? 0 : -1;
}

// The caller frees what the loop may still be using, so the wait has no end;
// past Stop's own limit it says why the caller hangs.
void Ferrow_c::StopWorkerI() {
    ctx->running = 0;
    ferrow::core::QL_ThreadMgr_c& worker = ctx->threadMgr;
    worker.RequestStop();
    if (!worker.WaitEnded(kStopAttempts * kStopStepsPerAttempt * kStopStep)) {
        ferrow::platform::MessageReport::Show(
            L"Ferrow_c", L"The firmware's loop function has not returned 5 s after the stop; "
                         L"the emulator waits for it before it is destroyed");
    }
    worker.Shutdown();
}

namespace {

// A firmware-managed connection step: the first registered of the object,
// int and plain forms, or -1 when none is.
int CallFirstRegistered(Ferrow_c* self, int value, int (*fnObj)(void*, int), int (*fnInt)(int),
                        int (*fn)()) {
    if (fnObj) return fnObj(self, value);
    if (fnInt) return fnInt(value);
    if (fn) return fn();
    return -1;
}

}  // namespace

int Ferrow_c::ConnectI() {
    if (useGateway == 1) {
        gateway->maxPortSearch = maxPortSearch;
        return gateway->Connect();
    }
    return CallFirstRegistered(this, gateway->connectionValue, ctx->connectFnObj,
                               ctx->connectFnInt, ctx->connectFn);
}

int Ferrow_c::DisConnectI() {
    if (useGateway == 1) return gateway->DisConnect();
    return CallFirstRegistered(this, gateway->connectionValue, ctx->disconnectFnObj,
                               ctx->disconnectFnInt, ctx->disconnectFn);
}

int Ferrow_c::IsConnectedI() {
    if (useGateway == 1) return gateway->IsConnected();
    return CallFirstRegistered(this, gateway->connectionValue, ctx->isConnectedFnObj,
                               ctx->isConnectedFnInt, ctx->isConnectedFn);
}

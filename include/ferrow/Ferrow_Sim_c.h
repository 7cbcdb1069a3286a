// A simulation: emulators run in virtual time on the calling thread, with no
// worker thread and no timer, so that an hour of a network of devices takes
// seconds and gives the same result every run. Every emulator added keeps the
// simulation's clock in its time base, its message time stamps and its
// recordings; messages on a virtual bus between them arrive at the virtual
// time they were sent.
#pragma once

#include <ferrow/FerrowApi.h>

#include <memory>

class Ferrow_c;
namespace ferrow::core {
class Simulation;
}

class FERROW_API Ferrow_Sim_c {
public:
    Ferrow_Sim_c();
    // Stops the emulators it started; every emulator then leaves it and reads
    // the process clock again.
    ~Ferrow_Sim_c();
    Ferrow_Sim_c(const Ferrow_Sim_c&) = delete;
    Ferrow_Sim_c& operator=(const Ferrow_Sim_c&) = delete;

    // 0; -1 for null, an emulator already in a simulation or already started,
    // or after Start. An emulator deleted while in a simulation leaves it.
    int Add(Ferrow_c* emu);
    // Each added emulator's Start in the order of Add, at virtual time 0:
    // main, connection and application initialisation, but no worker thread
    // and no timer. 0, or the first non-zero result (every emulator is
    // started all the same); -1 when started before.
    int Start(int argc, char** argv);
    // Advances virtual time by `ms` on the calling thread. Each emulator's
    // loop runs once every pace ms, the first pace ms after Start, and its
    // periodic interrupt every first-t_init period, each tick adding the
    // latest period as the platform's timer does (a tick in manual time is
    // skipped); at one instant the emulators run in the order of Add, each
    // its interrupt before its loop. 0, or -1 before Start, after Stop, or from inside a Run. An
    // exception thrown by a firmware function leaves Run to its caller; the
    // next Run goes on from that instant.
    int Run(unsigned long ms);
    // Runs until `cond(arg)` is non-zero, checked first and then after every
    // instant at which something ran, for at most `maxMs`: 0 when it held,
    // -1 when it did not (time has then advanced by `maxMs`), for a null
    // `cond`, or when Run would refuse.
    int RunUntil(int (*cond)(void* arg), void* arg, unsigned long maxMs);
    // `fn(arg, nowMs)` is called after every instant at which something ran,
    // on the thread that runs; a null `fn` removes it. 0.
    int SetStepFunction(void (*fn)(void* arg, unsigned long nowMs), void* arg);
    // Virtual milliseconds since Start; from any thread.
    unsigned long Now();
    // Each emulator's Stop, in the order of Add; 0.
    int Stop();

private:
    std::unique_ptr<ferrow::core::Simulation> sim_;
};

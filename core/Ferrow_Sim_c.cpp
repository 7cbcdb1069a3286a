// The exported face of a simulation; the engine is core/Simulation.
#include <ferrow/Ferrow_Sim_c.h>

#include "core/Simulation.h"
#include "platform/CallFrame.h"

using ferrow::platform::CallFrame;

Ferrow_Sim_c::Ferrow_Sim_c() : sim_(std::make_unique<ferrow::core::Simulation>()) {}

Ferrow_Sim_c::~Ferrow_Sim_c() {
    CallFrame frame;
    sim_.reset();
}

int Ferrow_Sim_c::Add(Ferrow_c* emu) {
    CallFrame frame;
    return sim_->Add(emu);
}

int Ferrow_Sim_c::Start(int argc, char** argv) {
    CallFrame frame;
    return sim_->Start(argc, argv);
}

int Ferrow_Sim_c::Run(unsigned long ms) {
    CallFrame frame;
    return sim_->Run(ms);
}

int Ferrow_Sim_c::RunUntil(int (*cond)(void* arg), void* arg, unsigned long maxMs) {
    CallFrame frame;
    if (cond == nullptr) return -1;
    return sim_->Run(maxMs, cond, arg);
}

int Ferrow_Sim_c::SetStepFunction(void (*fn)(void* arg, unsigned long nowMs), void* arg) {
    CallFrame frame;
    sim_->SetStepFunction(fn, arg);
    return 0;
}

unsigned long Ferrow_Sim_c::Now() {
    CallFrame frame;
    return static_cast<unsigned long>(sim_->Now());
}

int Ferrow_Sim_c::Stop() {
    CallFrame frame;
    return sim_->Stop();
}

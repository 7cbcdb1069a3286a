// The frame every exported operation opens first. There is no module state to
// switch on this platform; the frame is the one place for concerns that apply
// to every call from firmware (the panels module, for instance, hands GUI work
// to the GUI thread from here).
#pragma once

namespace ferrow::platform {

class CallFrame {
public:
    // User-provided, so that a frame is a scope object the compiler keeps and
    // per-call work can be added here without touching any caller.
    CallFrame() {}
    ~CallFrame() {}
    CallFrame(const CallFrame&) = delete;
    CallFrame& operator=(const CallFrame&) = delete;
};

}  // namespace ferrow::platform

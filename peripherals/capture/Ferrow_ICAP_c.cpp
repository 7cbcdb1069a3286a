// The exported input-capture object: capture pins by handle. Each operation
// looks its pin up under the object's lock and leaves the queue to the ring
// shared with the ADC.
#include <ferrow/Ferrow_ICAP_c.h>

#include "peripherals/Peripheral.h"
#include "peripherals/TargetWord.h"
#include "peripherals/capture/CapturePin.h"
#include "platform/CallFrame.h"

#include <cstdint>
#include <limits>
#include <mutex>
#include <vector>

using ferrow::peripherals::CapturePin;
using ferrow::peripherals::Peripheral;
using ferrow::peripherals::SampleRing;
using ferrow::peripherals::TargetWord;
using ferrow::platform::CallFrame;

namespace {

// Nothing is written for an empty queue: there is no current value to stand
// in for a capture that never came.
int Read(SampleRing<uint32_t>& ring, unsigned long* out, int n, bool advance) {
    if (ring.Empty()) return 0;
    return ring.Read(out, n, advance, [](uint32_t v) { return static_cast<unsigned long>(v); });
}

}  // namespace

struct Ferrow_ICAP_c::Impl {
    Impl(Ferrow_c* emulator, Ferrow_ICAP_c* self, unsigned long noPanel)
        : core(emulator, self, Peripheral::RegistrySlot<Ferrow_ICAP_c, &Ferrow_c::icap>{},
               PeripheralKind::ICAP, noPanel) {}

    CapturePin* Handle2Dat(int h) {
        return h >= 0 && static_cast<size_t>(h) < pins.size() ? &pins[h] : nullptr;
    }

    // Runs `op` on the pin under the lock; -1 for an unknown handle.
    template <class Op>
    int OnPin(int h, Op op) {
        return core.WithRecord([&] { return Handle2Dat(h); }, op);
    }

    Peripheral core;
    std::vector<CapturePin> pins;  // guarded by core.Lock()
};

Ferrow_ICAP_c::Ferrow_ICAP_c(Ferrow_c* emulator, int modal, unsigned long noPanel)
    : impl_(new Impl(emulator, this, noPanel)) {
    impl_->core.Enter(modal);
}

Ferrow_ICAP_c::~Ferrow_ICAP_c() {
    impl_->core.Retire();
    delete impl_;
}

int Ferrow_ICAP_c::AddPin(unsigned long pin, unsigned char configuration, unsigned char bits,
                          unsigned long queueLength) {
    CallFrame frame;
    std::lock_guard<std::recursive_mutex> lock(impl_->core.Lock());
    const uint32_t length = TargetWord(queueLength);
    if (bits == 0 || length > SampleRing<uint32_t>::kMaxLength ||
        impl_->pins.size() >= static_cast<size_t>(std::numeric_limits<int>::max())) {
        return -1;
    }
    impl_->pins.emplace_back(TargetWord(pin), configuration, bits, length);
    return static_cast<int>(impl_->pins.size() - 1);
}

int Ferrow_ICAP_c::GetTotalPin() {
    CallFrame frame;
    std::lock_guard<std::recursive_mutex> lock(impl_->core.Lock());
    return static_cast<int>(impl_->pins.size());
}

unsigned long Ferrow_ICAP_c::hndl2PN(int h) {
    constexpr unsigned long kNone = ~0UL;
    CallFrame frame;
    std::lock_guard<std::recursive_mutex> lock(impl_->core.Lock());
    const CapturePin* pin = impl_->Handle2Dat(h);
    return pin ? pin->pinNumber : kNone;
}

int Ferrow_ICAP_c::PN2hndl(unsigned long pin) {
    CallFrame frame;
    std::lock_guard<std::recursive_mutex> lock(impl_->core.Lock());
    for (size_t h = 0; h < impl_->pins.size(); ++h) {
        if (impl_->pins[h].pinNumber == TargetWord(pin)) return static_cast<int>(h);
    }
    return -1;
}

int Ferrow_ICAP_c::SetConfig(int h, unsigned char configuration) {
    return impl_->OnPin(h, [&](CapturePin& p) {
        p.configuration = configuration;
        return 0;
    });
}

int Ferrow_ICAP_c::GetConfig(int h, unsigned char* configuration) {
    return impl_->OnPin(h, [&](CapturePin& p) {
        if (configuration) *configuration = p.configuration;
        return 0;
    });
}

int Ferrow_ICAP_c::SetValue(int h, unsigned long v) {
    return impl_->OnPin(h, [&](CapturePin& p) {
        p.Capture(v);
        return 0;
    });
}

int Ferrow_ICAP_c::GetValue(int h, unsigned long* value, unsigned long* count) {
    if (value == nullptr) return -1;
    return impl_->OnPin(h, [&](CapturePin& p) {
        *value = p.value;
        if (count) *count = p.count;
        return 0;
    });
}

int Ferrow_ICAP_c::QReset(int h) {
    return impl_->OnPin(h, [](CapturePin& p) {
        p.ring.Reset();
        return 0;
    });
}

int Ferrow_ICAP_c::QPut(int h, unsigned long v) {
    return impl_->OnPin(h, [&](CapturePin& p) { return p.Put(v) ? 0 : -1; });
}

int Ferrow_ICAP_c::QGet(int h, unsigned long* out, unsigned long* sequence, int n, int advance) {
    if (out == nullptr) return -1;
    return impl_->OnPin(h, [&](CapturePin& p) {
        if (sequence && !p.ring.Empty()) *sequence = p.ring.Sequence();
        return Read(p.ring, out, n, advance != 0);
    });
}

int Ferrow_ICAP_c::QSkip(int h, int n) {
    return impl_->OnPin(h, [&](CapturePin& p) { return p.ring.Skip(n); });
}

int Ferrow_ICAP_c::QGetID(int h, unsigned long* out, int n, unsigned long* wrap,
                          unsigned long* position) {
    if (out == nullptr) return -1;
    return impl_->OnPin(h, [&](CapturePin& p) {
        if (wrap) *wrap = p.ring.ReadWraps();
        if (position) *position = p.ring.ReadPosition();
        return Read(p.ring, out, n, false);
    });
}

int Ferrow_ICAP_c::SetName(int h, const char* name) {
    return impl_->OnPin(h, [&](CapturePin& p) { return Peripheral::StoreName(p.name, name); });
}

int Ferrow_ICAP_c::GetName(int h, char* buffer) {
    return impl_->OnPin(h, [&](CapturePin& p) { return Peripheral::CopyNameOut(p.name, buffer); });
}

void Ferrow_ICAP_c::Start() { impl_->core.Start(); }
void Ferrow_ICAP_c::Show() { impl_->core.Show(); }
void Ferrow_ICAP_c::Hide() { impl_->core.Hide(); }
void Ferrow_ICAP_c::Move(int x, int y) { impl_->core.Move(x, y); }
int Ferrow_ICAP_c::IsVisible() { return impl_->core.IsVisible(); }

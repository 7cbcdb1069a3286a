// The exported ADC: channel groups and the two ways of addressing their
// channels. Each operation looks its channel up under the object's lock and
// leaves the arithmetic to AdcChannel.
#include <ferrow/Ferrow_ADC_c.h>

#include "peripherals/Peripheral.h"
#include "peripherals/TargetWord.h"
#include "peripherals/adc/AdcChannel.h"
#include "platform/CallFrame.h"

#include <limits>
#include <mutex>
#include <vector>

using ferrow::peripherals::AdcChannel;
using ferrow::peripherals::Peripheral;
using ferrow::peripherals::Repr;
using ferrow::peripherals::SampleFormat;
using ferrow::peripherals::SampleRing;
using ferrow::peripherals::TargetWord;
using ferrow::peripherals::Widen;
using ferrow::platform::CallFrame;

namespace {

// Either pointer may be null.
int ReadRange(const AdcChannel& c, long* maximum, long* minimum) {
    if (maximum) *maximum = c.Maximum();
    if (minimum) *minimum = c.Minimum();
    return 0;
}

}  // namespace

struct Ferrow_ADC_c::Impl {
    using Group = std::vector<AdcChannel>;

    Impl(Ferrow_c* emulator, Ferrow_ADC_c* self, unsigned long noPanel)
        : core(emulator, self, Peripheral::RegistrySlot<Ferrow_ADC_c, &Ferrow_c::adc>{},
               PeripheralKind::ADC, noPanel) {}

    Group* Handle2Dat(int handle) {
        return handle >= 0 && static_cast<size_t>(handle) < groups.size() ? &groups[handle] : nullptr;
    }

    AdcChannel* Handle2Rec(int handle, int sub) {
        Group* group = Handle2Dat(handle);
        if (group == nullptr || sub < 0 || static_cast<size_t>(sub) >= group->size()) return nullptr;
        return &(*group)[sub];
    }

    // Walks the groups on every call, as the firmware's own driver does; the
    // benchmark measures what that costs for the last group.
    AdcChannel* AID2Rec(int id) {
        if (id < 0) return nullptr;
        size_t base = 0;
        for (Group& group : groups) {
            if (static_cast<size_t>(id) < base + group.size()) return &group[id - base];
            base += group.size();
        }
        return nullptr;
    }

    // Runs `op` on the channel under the lock; -1 for an unknown channel.
    template <class Op>
    int OnId(int id, Op op) {
        return core.WithRecord([&] { return AID2Rec(id); }, op);
    }

    template <class Op>
    int OnHandle(int handle, int sub, Op op) {
        return core.WithRecord([&] { return Handle2Rec(handle, sub); }, op);
    }

    template <class Out>
    int GetValueAs(int id, Out* out, Repr mode) {
        if (out == nullptr) return -1;
        return OnId(id, [&](AdcChannel& c) {
            *out = Widen<Out>(c.ValueAs(mode));
            return 0;
        });
    }

    template <class Out>
    int QGetAs(int id, Out* out, int n, int advance, Repr mode) {
        if (out == nullptr) return -1;
        return OnId(id, [&](AdcChannel& c) { return c.Read(out, n, advance != 0, mode); });
    }

    template <class Out>
    int QGetIDAs(int id, Out* out, int n, unsigned long* wrap, unsigned long* position, Repr mode) {
        if (out == nullptr) return -1;
        return OnId(id, [&](AdcChannel& c) {
            if (wrap) *wrap = c.ReadWraps();
            if (position) *position = c.ReadPosition();
            return c.Read(out, n, false, mode);
        });
    }

    template <class Out>
    int QGetAvgAs(int id, Out* out, Repr mode) {
        if (out == nullptr) return -1;
        return OnId(id, [&](AdcChannel& c) {
            const auto average = c.AverageAs(mode);
            if (!average) return -1;
            *out = Widen<Out>(*average);
            return 0;
        });
    }

    template <class Out>
    int QGetSumAs(int id, Out* out, Repr mode) {
        if (out == nullptr) return -1;
        return OnId(id, [&](AdcChannel& c) {
            *out = Widen<Out>(c.SumAs(mode));
            return 0;
        });
    }

    Peripheral core;
    std::vector<Group> groups;  // guarded by core.Lock(), as is every channel
    size_t total = 0;
};

Ferrow_ADC_c::Ferrow_ADC_c(Ferrow_c* emulator, int modal, unsigned long noPanel)
    : impl_(new Impl(emulator, this, noPanel)) {
    impl_->core.Enter(modal);
}

Ferrow_ADC_c::~Ferrow_ADC_c() {
    impl_->core.Retire();
    delete impl_;
}

int Ferrow_ADC_c::AddChannel(unsigned char count, unsigned char bits, unsigned long queueLength,
                             int isUnsigned, int) {
    CallFrame frame;
    std::lock_guard<std::recursive_mutex> lock(impl_->core.Lock());
    // Ids and totals are ints.
    const bool idsFit = impl_->total + count <= static_cast<size_t>(std::numeric_limits<int>::max());
    if (count == 0 || !SampleFormat::Valid(bits, isUnsigned != 0) ||
        TargetWord(queueLength) > SampleRing<int32_t>::kMaxLength || !idsFit) {
        return -1;
    }
    const SampleFormat format{bits, isUnsigned != 0};
    impl_->groups.emplace_back(count, AdcChannel(format, TargetWord(queueLength)));
    impl_->total += count;
    return static_cast<int>(impl_->groups.size() - 1);
}

int Ferrow_ADC_c::GetTotalChannel(int handle) {
    CallFrame frame;
    std::lock_guard<std::recursive_mutex> lock(impl_->core.Lock());
    if (handle < 0) return static_cast<int>(impl_->total);
    const Impl::Group* group = impl_->Handle2Dat(handle);
    return group ? static_cast<int>(group->size()) : -1;
}

int Ferrow_ADC_c::SetConfig(int handle, int sub, long maximum, long minimum) {
    return impl_->OnHandle(handle, sub, [&](AdcChannel& c) { return c.SetRange(maximum, minimum) ? 0 : -1; });
}

int Ferrow_ADC_c::SetConfig(int id, long maximum, long minimum) {
    return impl_->OnId(id, [&](AdcChannel& c) { return c.SetRange(maximum, minimum) ? 0 : -1; });
}

int Ferrow_ADC_c::GetConfig(int handle, int sub, long* maximum, long* minimum) {
    return impl_->OnHandle(handle, sub, [&](AdcChannel& c) { return ReadRange(c, maximum, minimum); });
}

int Ferrow_ADC_c::GetConfig(int id, long* maximum, long* minimum) {
    return impl_->OnId(id, [&](AdcChannel& c) { return ReadRange(c, maximum, minimum); });
}

int Ferrow_ADC_c::SetName(int handle, int sub, const char* name) {
    return impl_->OnHandle(handle, sub, [&](AdcChannel& c) { return Peripheral::StoreName(c.name, name); });
}

int Ferrow_ADC_c::SetName(int id, const char* name) {
    return impl_->OnId(id, [&](AdcChannel& c) { return Peripheral::StoreName(c.name, name); });
}

int Ferrow_ADC_c::GetName(int handle, int sub, char* buffer) {
    return impl_->OnHandle(handle, sub, [&](AdcChannel& c) { return Peripheral::CopyNameOut(c.name, buffer); });
}

int Ferrow_ADC_c::GetName(int id, char* buffer) {
    return impl_->OnId(id, [&](AdcChannel& c) { return Peripheral::CopyNameOut(c.name, buffer); });
}

int Ferrow_ADC_c::SetValue(int handle, int sub, long value) {
    return impl_->OnHandle(handle, sub, [&](AdcChannel& c) { return c.SetValueInRange(value) ? 0 : -1; });
}

int Ferrow_ADC_c::SetValue(int id, long value) {
    return impl_->OnId(id, [&](AdcChannel& c) {
        c.SetValueClamped(value);
        return 0;
    });
}

int Ferrow_ADC_c::GetValue(int handle, int sub, long* value) {
    if (value == nullptr) return -1;
    return impl_->OnHandle(handle, sub, [&](AdcChannel& c) {
        *value = c.Value();
        return 0;
    });
}

int Ferrow_ADC_c::GetValue(int id, long* value) { return impl_->GetValueAs(id, value, Repr::Stored); }
int Ferrow_ADC_c::GetValueI(int id, long* value) { return impl_->GetValueAs(id, value, Repr::Signed); }
int Ferrow_ADC_c::GetValueU(int id, unsigned long* value) {
    return impl_->GetValueAs(id, value, Repr::Unsigned);
}

int Ferrow_ADC_c::QSetup(int id, unsigned long N) {
    return impl_->OnId(id, [&](AdcChannel& c) { return c.Setup(TargetWord(N)) ? 0 : -1; });
}

int Ferrow_ADC_c::QReset(int id) {
    return impl_->OnId(id, [](AdcChannel& c) {
        c.Reset();
        return 0;
    });
}

int Ferrow_ADC_c::QPut(int id, long value) {
    return impl_->OnId(id, [&](AdcChannel& c) { return c.Put(value) ? 0 : -1; });
}

int Ferrow_ADC_c::QGet(int id, long* out, int n, int advance) {
    return impl_->QGetAs(id, out, n, advance, Repr::Stored);
}
int Ferrow_ADC_c::QGetI(int id, long* out, int n, int advance) {
    return impl_->QGetAs(id, out, n, advance, Repr::Signed);
}
int Ferrow_ADC_c::QGetU(int id, unsigned long* out, int n, int advance) {
    return impl_->QGetAs(id, out, n, advance, Repr::Unsigned);
}

int Ferrow_ADC_c::QGetID(int id, long* out, int n, unsigned long* wrap, unsigned long* position) {
    return impl_->QGetIDAs(id, out, n, wrap, position, Repr::Stored);
}
int Ferrow_ADC_c::QGetID_I(int id, long* out, int n, unsigned long* wrap, unsigned long* position) {
    return impl_->QGetIDAs(id, out, n, wrap, position, Repr::Signed);
}
int Ferrow_ADC_c::QGetID_U(int id, unsigned long* out, int n, unsigned long* wrap,
                           unsigned long* position) {
    return impl_->QGetIDAs(id, out, n, wrap, position, Repr::Unsigned);
}

int Ferrow_ADC_c::QSkip(int id, int n) {
    return impl_->OnId(id, [&](AdcChannel& c) { return c.Skip(n); });
}

int Ferrow_ADC_c::QGetAvg(int id, long* out) { return impl_->QGetAvgAs(id, out, Repr::Stored); }
int Ferrow_ADC_c::QGetAvgI(int id, long* out) { return impl_->QGetAvgAs(id, out, Repr::Signed); }
int Ferrow_ADC_c::QGetAvgU(int id, unsigned long* out) { return impl_->QGetAvgAs(id, out, Repr::Unsigned); }

int Ferrow_ADC_c::QGetSum(int id, long* out) { return impl_->QGetSumAs(id, out, Repr::Stored); }
int Ferrow_ADC_c::QGetSumI(int id, long* out) { return impl_->QGetSumAs(id, out, Repr::Signed); }
int Ferrow_ADC_c::QGetSumU(int id, unsigned long* out) { return impl_->QGetSumAs(id, out, Repr::Unsigned); }

int Ferrow_ADC_c::QGetSum2(int id, uint64_t* out) {
    if (out == nullptr) return -1;
    return impl_->OnId(id, [&](AdcChannel& c) {
        *out = c.SumOfSquares();
        return 0;
    });
}

void Ferrow_ADC_c::Start() { impl_->core.Start(); }
void Ferrow_ADC_c::Show() { impl_->core.Show(); }
void Ferrow_ADC_c::Hide() { impl_->core.Hide(); }
void Ferrow_ADC_c::Move(int x, int y) { impl_->core.Move(x, y); }
int Ferrow_ADC_c::IsVisible() { return impl_->core.IsVisible(); }

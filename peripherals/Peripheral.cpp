#include "peripherals/Peripheral.h"

#include "core/Ferrow_Ctx_c.h"
#include "peripherals/TargetWord.h"
#include "platform/CallFrame.h"

#include <algorithm>
#include <cstring>
#include <unordered_map>

namespace ferrow::peripherals {
namespace {

// Every live peripheral by the address of its exported object.
struct Objects {
    std::mutex mutex;  // protects: bySelf
    std::unordered_map<const void*, const Peripheral*> bySelf;
};

Objects& LiveObjects() {
    static auto* objects = new Objects;
    return *objects;
}

// Bytes, with the zero, that a name copied out on this thread may take; 0
// for no bound.
thread_local size_t shownNameCapacity = 0;

}  // namespace

Peripheral::Peripheral(Ferrow_c* emulator, void* self, PeripheralKind kind, unsigned long noPanel,
                       ClaimSlot claimSlot, ClearSlot clearSlot)
    : emulator_(emulator),
      self_(self),
      kind_(kind),
      noPanel_(TargetWord(noPanel)),
      claimSlot_(claimSlot),
      clearSlot_(clearSlot) {
    if (emulator != nullptr) emulator->ctx->Attach(this);
    Objects& objects = LiveObjects();
    std::lock_guard<std::mutex> guard(objects.mutex);
    objects.bySelf[self] = this;
}

Peripheral::~Peripheral() { Retire(); }

void Peripheral::Retire() {
    platform::CallFrame frame;
    {
        Objects& objects = LiveObjects();
        std::lock_guard<std::mutex> guard(objects.mutex);
        objects.bySelf.erase(self_);
    }
    delete panel_;
    panel_ = nullptr;
    // The emulator's lock of its peripheral list keeps it from detaching us
    // while we leave.
    if (Ferrow_c* emulator = emulator_.exchange(nullptr)) {
        emulator->ctx->Detach(this, [&] { clearSlot_(emulator, self_); });
    }
}

void Peripheral::Enter(int modal) {
    platform::CallFrame frame;
    Ferrow_c* emulator = emulator_.load();
    if (emulator != nullptr) emulator->ctx->Enter(this, [&] { claimSlot_(emulator, self_); });
    PanelProvider* provider = PanelProvider::Installed();
    if (noPanel_ != 0 || provider == nullptr) return;
    CWnd* parent = emulator ? CWnd::FromHandle(emulator->hParent) : nullptr;
    panel_ = provider->CreatePanel(kind_, self_, parent, modal);
}

void Peripheral::Show() {
    platform::CallFrame frame;
    if (panel_) panel_->Show();
}

void Peripheral::Hide() {
    platform::CallFrame frame;
    if (panel_) panel_->Hide();
}

void Peripheral::Move(int x, int y) {
    platform::CallFrame frame;
    if (panel_) panel_->Move(x, y);
}

int Peripheral::IsVisible() {
    platform::CallFrame frame;
    return panel_ ? panel_->IsVisible() : 0;
}

void Peripheral::Start() {
    platform::CallFrame frame;
    if (panel_) panel_->Start();
}

void Peripheral::Detach() { emulator_ = nullptr; }

Ferrow_c* Peripheral::EmulatorOf(const void* self) {
    Objects& objects = LiveObjects();
    std::lock_guard<std::mutex> guard(objects.mutex);
    const auto it = objects.bySelf.find(self);
    return it != objects.bySelf.end() ? it->second->Emulator() : nullptr;
}

int Peripheral::SetName(const char* name) {
    platform::CallFrame frame;
    std::lock_guard<std::recursive_mutex> guard(lock_);
    return StoreName(name_, name);
}

int Peripheral::GetName(char* buffer) {
    platform::CallFrame frame;
    std::lock_guard<std::recursive_mutex> guard(lock_);
    return CopyNameOut(name_, buffer);
}

int Peripheral::StoreName(std::string& stored, const char* name) {
    if (name == nullptr) return -1;
    stored.assign(name);
    return 0;
}

int Peripheral::CopyNameOut(const std::string& stored, char* buffer) {
    if (buffer == nullptr) return -1;
    const size_t length = shownNameCapacity != 0 ? std::min(stored.size(), shownNameCapacity - 1)
                                                 : stored.size();
    std::memcpy(buffer, stored.data(), length);
    buffer[length] = '\0';
    return 0;
}

Peripheral::ShownNameBound::ShownNameBound(size_t capacity) : previous_(shownNameCapacity) {
    shownNameCapacity = capacity;
}

Peripheral::ShownNameBound::~ShownNameBound() { shownNameCapacity = previous_; }

}  // namespace ferrow::peripherals

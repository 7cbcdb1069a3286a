#include "core/InstanceTable.h"

#include <mutex>

namespace ferrow::core {
namespace {

struct Entry {
    Ferrow_Ctx_c* ctx;
    HWND window;
    uintptr_t timerId;
    bool hasTimer;
};

// Written by constructors and destructors on any thread, read by timer ticks.
std::mutex g_mutex;  // protects: g_entries
Entry g_entries[InstanceTable::kCapacity];

}  // namespace

uint32_t InstanceTable::Add(Ferrow_Ctx_c* ctx, HWND window) {
    std::lock_guard<std::mutex> guard(g_mutex);
    for (uint32_t i = 0; i < kCapacity; ++i) {
        if (g_entries[i].ctx == nullptr) {
            g_entries[i] = Entry{ctx, window, 0, false};
            return i;
        }
    }
    return kNone;
}

uintptr_t InstanceTable::ReserveTimer(uint32_t index, uintptr_t firstId) {
    if (index >= kCapacity) return firstId;
    std::lock_guard<std::mutex> guard(g_mutex);
    Entry& own = g_entries[index];
    uintptr_t id = firstId;
    for (bool taken = true; taken;) {
        taken = false;
        for (uint32_t i = 0; i < kCapacity && !taken; ++i) {
            const Entry& e = g_entries[i];
            taken = i != index && e.ctx != nullptr && e.hasTimer && e.window == own.window &&
                    e.timerId == id;
        }
        if (taken) ++id;
    }
    own.timerId = id;
    own.hasTimer = true;
    return id;
}

void InstanceTable::ReleaseTimer(uint32_t index) {
    if (index >= kCapacity) return;
    std::lock_guard<std::mutex> guard(g_mutex);
    g_entries[index].timerId = 0;
    g_entries[index].hasTimer = false;
}

void InstanceTable::Clear(uint32_t index) {
    if (index >= kCapacity) return;
    std::lock_guard<std::mutex> guard(g_mutex);
    g_entries[index] = Entry{nullptr, nullptr, 0, false};
}

Ferrow_Ctx_c* InstanceTable::Find(HWND window, uintptr_t timerId) {
    std::lock_guard<std::mutex> guard(g_mutex);
    for (const Entry& e : g_entries) {
        if (e.ctx != nullptr && e.window == window && e.hasTimer && e.timerId == timerId) {
            return e.ctx;
        }
    }
    return nullptr;
}

uint32_t InstanceTable::InUse() {
    std::lock_guard<std::mutex> guard(g_mutex);
    uint32_t n = 0;
    for (const Entry& e : g_entries) n += e.ctx != nullptr;
    return n;
}

}  // namespace ferrow::core

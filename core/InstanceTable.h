// The process-wide table through which a periodic timer tick finds its
// emulator. Entries are handed out first-free, so cleared entries are reused
// and no construction ever writes past the table.
#pragma once

#include <ferrow/CWnd.h>

#include <cstdint>

class Ferrow_Ctx_c;

namespace ferrow::core {

class InstanceTable {
public:
    static constexpr uint32_t kCapacity = 1024;
    static constexpr uint32_t kNone = 0xFFFFFFFFu;

    // The index of a free entry now holding (ctx, window), or kNone when all
    // entries are taken.
    static uint32_t Add(Ferrow_Ctx_c* ctx, HWND window);
    // Records the timer set for the entry's emulator.
    static void SetTimer(uint32_t index, uintptr_t timerId);
    static void Clear(uint32_t index);
    // The first emulator whose entry has this window and timer, or null.
    static Ferrow_Ctx_c* Find(HWND window, uintptr_t timerId);
    static uint32_t InUse();
};

}  // namespace ferrow::core

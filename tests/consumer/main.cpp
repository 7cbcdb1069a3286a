// Built against the installed headers and shared library only.
#include <ferrow/ferrow.h>

#include <cstdio>

namespace {
int g_loops = 0;
void Main() {}
void Loop() { ++g_loops; }
}  // namespace

int main() {
    Ferrow_c emu(nullptr, nullptr, nullptr, "consumer.cfg", 0);
    emu.SetAutoConnect(0);
    if (emu.SetDeviceFunction(Main, Loop, 10) != 0) return 1;
    emu.t_init(0, 10);
    emu.t_set_overwrite(1);
    emu.t_interrupt_exec(30);
    if (emu.t_get_10ms() != 3) return 2;
    if (emu.Start() != 0 || emu.Stop() != 0) return 3;
    std::printf("consumer ok: %d loop calls\n", g_loops);
    return 0;
}

// Output compare: the input-capture object under the name firmware uses for
// its compare channels.
#include <ferrow/Ferrow_OCMP_c.h>

Ferrow_OCMP_c::Ferrow_OCMP_c(Ferrow_c* emulator, int modal, unsigned long noPanel)
    : Ferrow_ICAP_c(emulator, modal, noPanel) {}

Ferrow_OCMP_c::~Ferrow_OCMP_c() = default;

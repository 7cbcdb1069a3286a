// Timer output-compare channels: the firmware drives them exactly as input
// capture, so the object is an input-capture object under another name. It
// takes the emulator's input-capture slot when that is free, and shows an
// input-capture panel.
#pragma once

#include <ferrow/FerrowApi.h>
#include <ferrow/Ferrow_ICAP_c.h>

class FERROW_API Ferrow_OCMP_c : public Ferrow_ICAP_c {
public:
    Ferrow_OCMP_c(Ferrow_c* emulator, int modal, unsigned long noPanel);
    ~Ferrow_OCMP_c() override;
};

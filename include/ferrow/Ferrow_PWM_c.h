// Pulse-width-modulation outputs of the emulated device. Nothing is
// generated: each output keeps its frequency (Hz), duty (thousandths of a
// percent, 100,000 is full), configuration and enable, and converts a period
// or pulse width in nanoseconds to and from them with the device's 32-bit
// integer arithmetic.
#pragma once

#include <ferrow/FerrowApi.h>

class Ferrow_c;

class FERROW_API Ferrow_PWM_c {
public:
    Ferrow_PWM_c(Ferrow_c* emulator, int modal, unsigned long noPanel);
    virtual ~Ferrow_PWM_c();
    Ferrow_PWM_c(const Ferrow_PWM_c&) = delete;
    Ferrow_PWM_c& operator=(const Ferrow_PWM_c&) = delete;

    // Returns the new output's id. Pin numbers and every frequency, duty,
    // period and width are 32-bit on the device: wider values wrap as there.
    // A number added twice is answered by the first output added with it.
    int AddPin(unsigned long pin, unsigned char mode);
    int GetTotalPin();
    // The pin number of an id, or (unsigned long)-1 when the id names no output.
    unsigned long ID2PN(int id);

    int SetConfig(unsigned long pin, int config);
    int GetConfig(unsigned long pin, int* config);
    int SetFreq(unsigned long pin, unsigned long frequency);
    int GetFreq(unsigned long pin, unsigned long* frequency);
    // No limit is applied to a duty set directly.
    int SetDuty(unsigned long pin, unsigned long duty);
    int SetDutyDelay(unsigned long pin, unsigned long duty, unsigned long delay);
    int GetDuty(unsigned long pin, unsigned long* duty);
    // The period is kept as a frequency rounded to the nearest hertz, and read
    // back truncated, so it may come back different. Period 0 is refused.
    int SetPeriod(unsigned long pin, unsigned long period);
    int GetPeriod(unsigned long pin, unsigned long* period);
    // The width is kept as a duty of the current frequency, at most full duty;
    // changing the frequency later changes the width. Width 0 is refused.
    int SetWidth(unsigned long pin, unsigned long width);
    int GetWidth(unsigned long pin, unsigned long* width);
    int Enable(unsigned long pin, int enable);
    // The enable value (0 to 255), or -1 for an unknown pin.
    int IsEnabled(unsigned long pin);

    int SetName(unsigned long pin, const char* name);
    int GetName(unsigned long pin, char* name);

    // Lists the outputs that exist now on the panel and starts refreshing it.
    void Start();
    void Show();
    void Hide();
    void Move(int x, int y);
    int IsVisible();

private:
    struct Impl;
    Impl* impl_;
};

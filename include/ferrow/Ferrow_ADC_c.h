// The device's analog-to-digital converter. The firmware declares its inputs
// as channel groups (one per AddChannel) and reads conversion results; the
// operator or the firmware sets them. Every channel carries a sample queue
// with running sums over a window of its newest samples.
//
// A channel is addressed by handle (the group, in creation order) plus
// sub-index, or by channel id, its place over all groups in creation order.
// Read modes: the plain readers return results as stored, the I readers as
// two's complement, the U readers as offset binary.
#pragma once

#include <ferrow/FerrowApi.h>

#include <cstdint>

class Ferrow_c;

class FERROW_API Ferrow_ADC_c {
public:
    Ferrow_ADC_c(Ferrow_c* emulator, int modal, unsigned long noPanel);
    virtual ~Ferrow_ADC_c();
    Ferrow_ADC_c(const Ferrow_ADC_c&) = delete;
    Ferrow_ADC_c& operator=(const Ferrow_ADC_c&) = delete;

    // Appends `count` channels of `bits` resolution, unsigned (offset binary)
    // when `isUnsigned` is nonzero, each with a queue of `queueLength`
    // samples; returns the group's handle. -1 for a count of 0, a resolution
    // of 0 or wider than 31 bits unsigned / 32 bits signed, or a queue longer
    // than 65535. Queue and window lengths are 32-bit on the device: wider
    // ones wrap as there. `reserved` is accepted and not used.
    int AddChannel(unsigned char count, unsigned char bits, unsigned long queueLength,
                   int isUnsigned, int reserved);
    // handle < 0: channels of all groups; otherwise of that group.
    int GetTotalChannel(int handle);

    // The range: maximum must be above minimum.
    int SetConfig(int handle, int sub, long maximum, long minimum);
    int SetConfig(int id, long maximum, long minimum);
    // Either pointer may be null.
    int GetConfig(int handle, int sub, long* maximum, long* minimum);
    int GetConfig(int id, long* maximum, long* minimum);
    int SetName(int handle, int sub, const char* name);
    int SetName(int id, const char* name);
    int GetName(int handle, int sub, char* buffer);
    int GetName(int id, char* buffer);

    // Refuses a value outside the range.
    int SetValue(int handle, int sub, long value);
    // Clamps the value into the range.
    int SetValue(int id, long value);
    int GetValue(int handle, int sub, long* value);
    int GetValue(int id, long* value);
    int GetValueI(int id, long* value);
    int GetValueU(int id, unsigned long* value);

    // Sample queue, by channel id. The window of the running sums: the newest
    // N samples while N fits the queue, else the last complete block of N.
    int QSetup(int id, unsigned long N);
    // Empties the queue; the window starts again over all-zero samples.
    int QReset(int id);
    // Clamps into the range; -1 when full (one slot stays free before the reader).
    int QPut(int id, long value);
    // Up to n samples newest first, from the reader's sample back to the
    // oldest kept; with `advance` the reader then steps on unless it is on
    // the newest. Returns how many; before the first put, 0 with the current
    // value (as stored) in out[0].
    int QGet(int id, long* out, int n, int advance);
    int QGetI(int id, long* out, int n, int advance);
    int QGetU(int id, unsigned long* out, int n, int advance);
    // As QGet without advancing; `wrap` and `position` (may be null) receive
    // how often the reader wrapped and its slot.
    int QGetID(int id, long* out, int n, unsigned long* wrap, unsigned long* position);
    int QGetID_I(int id, long* out, int n, unsigned long* wrap, unsigned long* position);
    int QGetID_U(int id, unsigned long* out, int n, unsigned long* wrap, unsigned long* position);
    // Moves the reader on by up to n stored samples; returns how many.
    int QSkip(int id, int n);
    // Window sum / N rounded half away from zero; -1 for a window of 0.
    int QGetAvg(int id, long* out);
    int QGetAvgI(int id, long* out);
    int QGetAvgU(int id, unsigned long* out);
    // Wrapping 32-bit window sum; I and U move every sample's offset.
    int QGetSum(int id, long* out);
    int QGetSumI(int id, long* out);
    int QGetSumU(int id, unsigned long* out);
    // Sum of squared deviations from mid-scale (from 0 for signed groups).
    int QGetSum2(int id, uint64_t* out);

    void Start();
    void Show();
    void Hide();
    void Move(int x, int y);
    int IsVisible();

private:
    struct Impl;
    Impl* impl_;
};

// Timer input-capture channels. Each capture pin holds the last captured
// timer value, masked to the timer's width, a count of captures and a queue
// of captured values. The firmware delivers captures (SetValue, QPut) and
// reads them back; pins are addressed by the handle AddPin returns.
#pragma once

#include <ferrow/FerrowApi.h>

class Ferrow_c;

class FERROW_API Ferrow_ICAP_c {
public:
    Ferrow_ICAP_c(Ferrow_c* emulator, int modal, unsigned long noPanel);
    virtual ~Ferrow_ICAP_c();
    Ferrow_ICAP_c(const Ferrow_ICAP_c&) = delete;
    Ferrow_ICAP_c& operator=(const Ferrow_ICAP_c&) = delete;

    // Returns the pin's handle. -1 for a width of 0 bits or a queue longer
    // than 65535. Pin numbers, queue lengths and values are 32-bit on the
    // device: wider ones wrap as there.
    int AddPin(unsigned long pin, unsigned char configuration, unsigned char bits,
               unsigned long queueLength);
    int GetTotalPin();
    // All ones for an unknown handle.
    unsigned long hndl2PN(int h);
    // The first pin with that number, or -1.
    int PN2hndl(unsigned long pin);
    int SetConfig(int h, unsigned char configuration);
    // A null pointer is allowed.
    int GetConfig(int h, unsigned char* configuration);

    // A capture without queueing it: the value is masked and counted.
    int SetValue(int h, unsigned long v);
    // `count` may be null.
    int GetValue(int h, unsigned long* value, unsigned long* count);

    // Empties the queue; the last value and the count stay.
    int QReset(int h);
    // A queued capture, masked and counted; -1 when the queue is full (one
    // slot stays free before the reader).
    int QPut(int h, unsigned long v);
    // Up to n values newest first, from the reader's back to the oldest kept;
    // `sequence` (may be null) receives the number of the reader's value
    // since the last reset; with `advance` the reader then steps on unless it
    // is on the newest. Returns how many; 0 and nothing written before the
    // first put.
    int QGet(int h, unsigned long* out, unsigned long* sequence, int n, int advance);
    // Moves the reader on by up to n stored values; returns how many.
    int QSkip(int h, int n);
    // As QGet without advancing; `wrap` and `position` (may be null) receive
    // how often the reader wrapped and its slot.
    int QGetID(int h, unsigned long* out, int n, unsigned long* wrap, unsigned long* position);

    int SetName(int h, const char* name);
    int GetName(int h, char* buffer);

    void Start();
    void Show();
    void Hide();
    void Move(int x, int y);
    int IsVisible();

private:
    struct Impl;
    Impl* impl_;
};

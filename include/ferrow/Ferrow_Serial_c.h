// The device's UART. The firmware transmits with PutTX and receives with
// GetRX; the other end of the line (the serial log panel, a test) reads the
// transmitted bytes with the GetTX family and feeds the firmware with PutRX,
// which raises the receive callback as a receive interrupt would.
#pragma once

#include <ferrow/FerrowApi.h>

class Ferrow_c;

class FERROW_API Ferrow_Serial_c {
public:
    // Takes the next of the process's 256 port slots; a port built when all
    // are taken has none, and its ring operations return -1 (GetRX 0).
    Ferrow_Serial_c(Ferrow_c* emulator, int modal, unsigned long noPanel);
    virtual ~Ferrow_Serial_c();
    Ferrow_Serial_c(const Ferrow_Serial_c&) = delete;
    Ferrow_Serial_c& operator=(const Ferrow_Serial_c&) = delete;

    // Appends all `len` bytes or none: `len`, or -1. PutRX then calls the
    // receive callback once, whether the bytes fitted or not.
    int PutRX(const unsigned char* data, int len);
    int PutTX(const unsigned char* data, int len);
    // Take up to `len` bytes: the number taken.
    int GetRX(unsigned char* buffer, int len);
    int GetTX(unsigned char* buffer, int len);
    // One transmitted line ending in CR or LF, zero-terminated: its length,
    // or 0 while the line is unfinished and shorter than `size` - 1.
    int GetTXDataLine(char* buffer, int size);
    // Copies up to `size` transmitted bytes without taking them, unterminated.
    int GetTXDataPeek(char* buffer, int size);
    int GetTXDataSkip(int n);

    // Each registers the receive callback, sets the device handle and empties
    // both rings.
    void Init(void (*callback)());
    void InitV2(void (*callback)(int), int handle);
    void InitV2(void (*callback)(int));
    // Records a standard rate from 1200 to 115200; others are ignored. The
    // rate is 32-bit on the device: a wider one wraps as there.
    void SetBaud(unsigned long baud);
    void FlushRX();
    // Silences the receive callback for good.
    void Disable();
    // The port's slot number, or -1.
    int GetHndl();
    // -1 before any Init, else the handle given to the callback.
    int GetHndl_dev();

    // Both return the name's length, or -1 for a null argument.
    int SetName(const char* name);
    int GetName(char* buffer);

    void Show();
    void Hide();
    void Move(int x, int y);
    int IsVisible();

private:
    // Init registers `plain`, InitV2 `withHandle`; the other stays null.
    struct RxCallback {
        void (*plain)();
        void (*withHandle)(int);
    };

    void Register(RxCallback callback, int handle);

    // Both under the object's lock.
    RxCallback rxCallback_;
    int devHandle_;
    struct Impl;
    Impl* impl_;
};

// Keeps copies of the device's NMEA 2000 traffic for display: every message
// the firmware sends goes to the transmit store, every message it receives
// to the receive store. A full store only loses copies; traffic is never
// affected.
#pragma once

#include <ferrow/FerrowApi.h>
#include <ferrow/N2KMsg.h>

class Ferrow_c;

class FERROW_API Ferrow_N2K_Mon_c {
public:
    // `size`: capacity of each store, in messages.
    Ferrow_N2K_Mon_c(Ferrow_c* emulator, int modal, unsigned long size, unsigned long noPanel);
    virtual ~Ferrow_N2K_Mon_c();
    Ferrow_N2K_Mon_c(const Ferrow_N2K_Mon_c&) = delete;
    Ferrow_N2K_Mon_c& operator=(const Ferrow_N2K_Mon_c&) = delete;

    int SetName(const char* name);
    int GetName(char* buffer);
    int ClearRxMsg();
    int ClearTxMsg();
    // 1 when the oldest message was taken, 0 when the store is empty.
    int GetRxMsg(N2KMsg* msg);
    int GetTxMsg(N2KMsg* msg);
    // Messages offered to a store since it was last cleared, dropped ones too.
    unsigned long GetRxOffered();
    unsigned long GetTxOffered();

    void Show();
    void Hide();
    void Move(int x, int y);
    int IsVisible();

private:
    friend class Ferrow_c;
    static constexpr int kTx = 0;
    static constexpr int kRx = 1;

    int ClearMsg(int store);
    // 1 stored, 0 dropped (store full), -1 for a null message or bad store.
    int PutMsg(int store, N2KMsg* msg);
    int GetMsg(int store, N2KMsg* msg);
    unsigned long Offered(int store);

    struct Impl;
    Impl* impl_;
};

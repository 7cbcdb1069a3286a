// Injects NMEA 2000 messages into the firmware's receive path as if they came
// from the network: ISO requests, group-function requests and commands, and
// the proprietary messages. Queued messages reach the firmware before any
// message from the gateway; on request a message is also sent on the network.
//
// Every encoder ends with the first address (stored in addressA, the source),
// the second address (addressB, the destination) and the send flag; each
// returns what PutMsg returns, or -1 (nothing queued, nothing sent) for more
// than 252 pairs or a payload that would not fit the record's data field.
#pragma once

#include <ferrow/FerrowApi.h>
#include <ferrow/N2KMsg.h>

class Ferrow_c;

class FERROW_API Ferrow_N2K_Gen_c {
public:
    static constexpr unsigned kMaxPairs = 252;
    // Priority of the ISO requests it builds: what devices normally use.
    static constexpr unsigned char kIsoRequestPriority = 6;

    // `size`: capacity of the queue, in messages.
    Ferrow_N2K_Gen_c(Ferrow_c* emulator, int modal, unsigned long size, unsigned long noPanel);
    virtual ~Ferrow_N2K_Gen_c();
    Ferrow_N2K_Gen_c(const Ferrow_N2K_Gen_c&) = delete;
    Ferrow_N2K_Gen_c& operator=(const Ferrow_N2K_Gen_c&) = delete;

    int SetName(const char* name);
    int GetName(char* buffer);
    int ClearMsg();
    // Queues a copy; 1 queued, 0 queue full (nothing sent), -1 null message.
    // With `send` set a queued message also goes to the gateway unchanged.
    int PutMsg(N2KMsg* msg, int send);

    int PutISORequest(unsigned long pgn, unsigned char addressA, unsigned char addressB, int send);
    int PutN2KReq(unsigned long pgn, unsigned long interval, unsigned short offset,
                  const unsigned char* fields, const unsigned char* const* values,
                  const unsigned char* sizes, unsigned char pairs, unsigned char addressA,
                  unsigned char addressB, int send);
    int PutN2KReq(unsigned long pgn, const unsigned char* fields, const unsigned char* const* values,
                  const unsigned char* sizes, unsigned char pairs, unsigned char addressA,
                  unsigned char addressB, int send);
    int PutN2KReq(unsigned long pgn, unsigned long interval, unsigned short offset,
                  unsigned char field, const unsigned char* value, unsigned char size,
                  unsigned char addressA, unsigned char addressB, int send);
    int PutN2KReq(unsigned long pgn, unsigned char field, const unsigned char* value,
                  unsigned char size, unsigned char addressA, unsigned char addressB, int send);
    int PutN2KCmd(unsigned long pgn, const unsigned char* fields, const unsigned char* const* values,
                  const unsigned char* sizes, unsigned char pairs, unsigned char addressA,
                  unsigned char addressB, int send);
    int PutN2KCmd(unsigned long pgn, unsigned char field, const unsigned char* value,
                  unsigned char size, unsigned char addressA, unsigned char addressB, int send);
    int PutQLCmd(unsigned char field, const unsigned char* value, unsigned short size,
                 unsigned short word1, unsigned short word2, unsigned char addressA,
                 unsigned char addressB, int send);
    int PutQLData(const unsigned char* payload, unsigned short size, unsigned short word1,
                  unsigned short word2, unsigned char addressA, unsigned char addressB, int send);
    int PutQL_S(const unsigned char* bytes6, unsigned char addressA, unsigned char addressB,
                int send);

    void Show();
    void Hide();
    void Move(int x, int y);
    int IsVisible();

private:
    friend class Ferrow_c;
    // Takes the oldest queued message; 1, or 0 when the queue is empty.
    int GetMsg(N2KMsg* msg);

    struct Impl;
    Impl* impl_;
};

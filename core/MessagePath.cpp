// The firmware's NMEA 2000 traffic: connection, sending and receiving.
#include <ferrow/Ferrow_c.h>
#include <ferrow/Ferrow_N2K_Gen_c.h>
#include <ferrow/Ferrow_N2K_Mon_c.h>

#include "core/DisplayAllPgn.h"
#include "core/Ferrow_Ctx_c.h"
#include "net/transport/N2KRecord.h"
#include "platform/CallFrame.h"
#include "platform/ScopeLock.h"
#include "net/Brovik_c.h"

using ferrow::core::DisplayAllPgn;
using ferrow::platform::CallFrame;
using ferrow::platform::ScopeLock;

int Ferrow_c::Connect() {
    CallFrame frame;
    ScopeLock lock(cs, false);
    return ConnectI();
}

int Ferrow_c::DisConnect() {
    CallFrame frame;
    ScopeLock lock(cs, false);
    return DisConnectI();
}

int Ferrow_c::IsConnected() {
    CallFrame frame;
    ScopeLock lock(cs, false);
    return IsConnectedI();
}

int Ferrow_c::PutMsgEnable(int on) {
    CallFrame frame;
    ScopeLock lock(cs, false);
    ctx->putEnable = on;
    return 0;
}

int Ferrow_c::AddPutMsgMonitor(void* obj, int (*fn)(void*, N2KMsg*)) {
    CallFrame frame;
    if (obj == nullptr || fn == nullptr) return -1;
    ScopeLock lock(cs, false);
    auto* node = new PutMsgMonitor{obj, fn};
    // Appends at the end; a concurrent append moves on to the new last node.
    std::atomic<PutMsgMonitor*>* link = &ctx->putMonitors;
    for (;;) {
        PutMsgMonitor* expected = nullptr;
        if (link->compare_exchange_weak(expected, node)) return 0;
        if (expected != nullptr) link = &expected->next;
    }
}

N2KStatus Ferrow_c::PutMsg(N2KMsg* msg) {
    CallFrame frame;
    ScopeLock lock(cs, false);
    if (ctx->putEnable == 0) return N2K_OK;
    if (msg == nullptr) return N2K_BAD_MESSAGE;
    msg->timeStamp = ferrow::net::N2KRecord::TimeStampAt(ctx->NowMs());
    const N2KStatus status = gateway->PutMsg(msg);
    if (status != N2K_OK && DisplayAllPgn::Get(*this) == 0) return status;

    Record(Ferrow_N2K_Mon_c::kTx, msg);
    for (PutMsgMonitor* node = ctx->putMonitors.load(); node != nullptr; node = node->next.load()) {
        node->fn(node->obj, msg);
    }
    return gateway->connected == 0 ? N2K_OK : status;
}

N2KStatus Ferrow_c::GetMsg(N2KMsg* msg) {
    CallFrame frame;
    ScopeLock lock(cs, false);
    if (msg == nullptr) return N2K_BAD_MESSAGE;
    bool generated;
    {
        std::lock_guard<std::mutex> guard(ctx->peripheralsMutex);
        generated = n2kGen != nullptr && n2kGen->GetMsg(msg) == 1;
    }
    const N2KStatus status = generated ? N2K_OK : gateway->GetMsg(msg);
    if (status == N2K_OK) Record(Ferrow_N2K_Mon_c::kRx, msg);
    return status;
}

int Ferrow_c::GetGatewayStats(FerrowGatewayStats* stats) {
    CallFrame frame;
    if (stats == nullptr) return -1;
    ScopeLock lock(cs, false);
    *stats = gateway->Stats();
    return 0;
}

// Under the emulator's peripheral lock: a monitor deleted on another thread
// has then either not started to go or is out of its slot.
void Ferrow_c::Record(int store, N2KMsg* msg) {
    std::lock_guard<std::mutex> guard(ctx->peripheralsMutex);
    if (n2kMon != nullptr) n2kMon->PutMsg(store, msg);
}

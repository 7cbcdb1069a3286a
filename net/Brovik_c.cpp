#include "net/Brovik_c.h"

#include "platform/ProcessClock.h"
#include "platform/Text.h"

#include <ferrow/CfgFile_c.h>

#include <algorithm>
#include <cstdio>

using ferrow::net::GatewayTransport;
using ferrow::net::TransportRequest;

namespace {

// The gateway's own key beside its port name: where to record CAN frames.
constexpr char kLogKey[] = "GW_LOG_FILE";
constexpr wchar_t kLogKeyWide[] = L"GW_LOG_FILE";

// The bit rate of an NMEA 2000 bus.
constexpr double kBusBitsPerSecond = 250000.0;
// Bus load is measured over at least this much, so that a panel that reads
// it often does not show the jitter of single frames.
constexpr uint64_t kLoadWindowMs = 1000;

// Adds every counter of `from` to `to`; busLoad and connected are the
// gateway's own and are left alone.
void AddCounts(FerrowGatewayStats& to, const FerrowGatewayStats& from) {
    for (uint64_t FerrowGatewayStats::*counter :
         {&FerrowGatewayStats::framesIn, &FerrowGatewayStats::framesOut,
          &FerrowGatewayStats::messagesIn, &FerrowGatewayStats::messagesOut,
          &FerrowGatewayStats::refused, &FerrowGatewayStats::dropped,
          &FerrowGatewayStats::lostSends, &FerrowGatewayStats::badInput,
          &FerrowGatewayStats::transportTimeouts, &FerrowGatewayStats::transportAborts,
          &FerrowGatewayStats::busErrors, &FerrowGatewayStats::recordingFailures,
          &FerrowGatewayStats::peerLosses, &FerrowGatewayStats::busBits}) {
        to.*counter += from.*counter;
    }
}

// Connection values count up from 1 in the order gateways are made, and stay
// positive when the count wraps.
int NextConnectionValue() {
    static std::atomic<uint32_t> made{0};
    return static_cast<int>(made++ % 0x7fffffffu) + 1;
}

}  // namespace

Brovik_c::Brovik_c(HWND /*parent*/, void* /*gatewayArg*/, int gatewayKeepsConfig,
                   const char* configFileName, const char* defaultPortName, const char* portKey,
                   ferrow::net::TransportFactory transports)
    : config(nullptr),
      transports_(transports ? std::move(transports) : ferrow::net::TransportForPort),
      wideConfig_(gatewayKeepsConfig != 0),
      portKey_(portKey ? portKey : ""),
      portKeyWide_(ferrow::platform::Text::Widen(portKey_)) {
    connectionValue = NextConnectionValue();
    std::snprintf(portName_, kPortNameSize, "%s", defaultPortName ? defaultPortName : "");
    ferrow::platform::Text::WidenInto(portNameWide_, kPortNameSize, portName_);

    if (wideConfig_) {
        auto* wide = new CfgFile_c();
        wide->Init(configFileName, kConfigCapacity);
        wide->AddField(portKeyWide_.c_str(), CFG_TYPE_WSTRING, portNameWide_, 0, kPortNameSize);
        wide->AddField(kLogKeyWide, CFG_TYPE_WSTRING, logFileWide_, 0, kLogFileSize);
        config = wide;
    } else {
        config = new CFG_File();
        config->Init(configFileName, kConfigCapacity);
        config->AddField(portKey_.c_str(), CFG_TYPE_STRING, portName_, 0, kPortNameSize);
        config->AddField(kLogKey, CFG_TYPE_STRING, logFile_, 0, kLogFileSize);
    }
}

Brovik_c::~Brovik_c() {
    DisConnect();
    delete config;
}

std::string Brovik_c::PortName() const {
    return wideConfig_ ? ferrow::platform::Text::Narrow(portNameWide_) : std::string(portName_);
}

std::string Brovik_c::LogFile() const {
    return wideConfig_ ? ferrow::platform::Text::Narrow(logFileWide_) : std::string(logFile_);
}

int Brovik_c::Connect() {
    std::lock_guard<std::mutex> one(connecting_);
    uint64_t generation;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (transport_) {
            Refresh();
            return 0;
        }
        generation = generation_;
    }
    std::unique_ptr<GatewayTransport> transport =
        transports_(TransportRequest{PortName(), LogFile(), maxPortSearch});
    if (!transport) return -1;
    const int opened = transport->Open();
    if (opened < 0) return opened;
    std::lock_guard<std::mutex> lock(mutex_);
    if (generation != generation_) {
        transport->Close();
        return -1;
    }
    transport_ = std::move(transport);
    clock_ = ferrow::platform::ProcessClock::Bound();
    load_ = {};
    Refresh();
    return 0;
}

int Brovik_c::DisConnect() {
    std::lock_guard<std::mutex> lock(mutex_);
    ++generation_;
    connected = 0;
    if (transport_) {
        transport_->Close();
        transport_->AddStats(before_);
        transport_.reset();
    }
    return 0;
}

void Brovik_c::Refresh() {
    // connected is the member PutMsg's caller reads: it must say what
    // IsConnected says.
    connected = transport_ && transport_->IsUp() ? 1 : 0;
}

int Brovik_c::IsConnected() {
    std::lock_guard<std::mutex> lock(mutex_);
    Refresh();
    return connected;
}

N2KStatus Brovik_c::Put(N2KMsg* msg, bool ownMessage) {
    if (msg == nullptr || msg->length > N2KMsg::kMaxData) return N2K_BAD_MESSAGE;
    std::lock_guard<std::mutex> lock(mutex_);
    N2KStatus status = N2K_NOT_CONNECTED;
    if (transport_) {
        if (ownMessage) transport_->SetDeviceAddress(msg->addressA);
        status = transport_->Send(*msg);
    }
    Refresh();
    // Not being connected is told by the connected flag, not as an error.
    if (status == N2K_OK) {
        ++counted_.messagesOut;
    } else if (status != N2K_NOT_CONNECTED) {
        ++counted_.refused;
    }
    return status;
}

N2KStatus Brovik_c::PutMsg(N2KMsg* msg) { return Put(msg, true); }

N2KStatus Brovik_c::PutOtherMsg(N2KMsg* msg) { return Put(msg, false); }

N2KStatus Brovik_c::GetMsg(N2KMsg* msg) {
    if (msg == nullptr) return N2K_BAD_MESSAGE;
    std::lock_guard<std::mutex> lock(mutex_);
    const N2KStatus status = transport_ ? transport_->Fetch(*msg) : N2K_NOT_CONNECTED;
    Refresh();
    if (status == N2K_OK) ++counted_.messagesIn;
    return status;
}

uint64_t Brovik_c::DroppedCount() const {
    std::lock_guard<std::mutex> lock(mutex_);
    uint64_t dropped = before_.dropped;
    if (transport_) dropped += transport_->Dropped();
    return dropped;
}

FerrowGatewayStats Brovik_c::Stats() {
    std::lock_guard<std::mutex> lock(mutex_);
    FerrowGatewayStats stats = before_;
    if (transport_) transport_->AddStats(stats);
    AddCounts(stats, counted_);
    Refresh();
    stats.connected = connected;
    const uint64_t now = clock_ ? clock_->Ms64() : ferrow::platform::ProcessClock::WallMs64();
    if (now - load_.ms >= kLoadWindowMs) {
        const uint64_t bits = stats.busBits - std::min(stats.busBits, load_.bits);
        load_.load = load_.ms == 0 ? 0.0 : 100.0 * bits * 1000.0 / (now - load_.ms) / kBusBitsPerSecond;
        load_.ms = now;
        load_.bits = stats.busBits;
    }
    stats.busLoad = load_.load;
    return stats;
}

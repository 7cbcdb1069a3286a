#include "net/Brovik_c.h"

#include "platform/Text.h"

#include <ferrow/CfgFile_c.h>

#include <cstdio>

using ferrow::net::GatewayTransport;
using ferrow::net::TransportRequest;

namespace {

// The gateway's own key beside its port name: where to record CAN frames.
constexpr char kLogKey[] = "GW_LOG_FILE";
constexpr wchar_t kLogKeyWide[] = L"GW_LOG_FILE";

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
    std::lock_guard<std::mutex> lock(mutex_);
    if (!transport_) {
        std::unique_ptr<GatewayTransport> transport =
            transports_(TransportRequest{PortName(), LogFile(), maxPortSearch});
        if (!transport) return -1;
        const int opened = transport->Open();
        if (opened < 0) return opened;
        transport_ = std::move(transport);
    }
    connected = 1;
    return 0;
}

int Brovik_c::DisConnect() {
    std::lock_guard<std::mutex> lock(mutex_);
    connected = 0;
    if (transport_) {
        transport_->Close();
        droppedBefore_ += transport_->Dropped();
        transport_.reset();
    }
    return 0;
}

int Brovik_c::IsConnected() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return connected != 0 && transport_ && transport_->IsUp() ? 1 : 0;
}

N2KStatus Brovik_c::PutMsg(N2KMsg* msg) {
    if (msg == nullptr || msg->length > N2KMsg::kMaxData) return N2K_BAD_MESSAGE;
    std::lock_guard<std::mutex> lock(mutex_);
    return transport_ ? transport_->Send(*msg) : N2K_NOT_CONNECTED;
}

N2KStatus Brovik_c::GetMsg(N2KMsg* msg) {
    if (msg == nullptr) return N2K_BAD_MESSAGE;
    std::lock_guard<std::mutex> lock(mutex_);
    return transport_ ? transport_->Fetch(*msg) : N2K_NOT_CONNECTED;
}

uint64_t Brovik_c::DroppedCount() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return droppedBefore_ + (transport_ ? transport_->Dropped() : 0);
}

// The rig for the serial gateway transport: its peer is a simulated gateway
// device on a pseudo-terminal, which can be unplugged and plugged back in.
#pragma once

#include "net/serial/SerialTransport.h"
#include "tests/net/contract/ContractRig.h"
#include "tests/net/serial/SerialGatewayRig.h"

namespace ferrow::test {

// The serial gateway transport; its peer is a pluggable device, which
// outlives it and hears only what the transport enabled on it.
struct SerialRig : PluggableGateway, TransportRig<net::SerialTransport> {
    static constexpr const char* kName = "SerialTransport";
    static constexpr std::size_t kQueueLimit = Subject::kReceiveLimit;
    // A serial gateway takes at most 249 data bytes in one message.
    static constexpr N2KStatus kOverlongStatus = N2K_TOO_LONG;
    SerialRig() { subject = std::make_unique<Subject>(link, net::SerialPort::kDefaultBaud); }
    static std::unique_ptr<Subject> BadAddress(std::string& sentence) {
        sentence = "Cannot open /dev/ferrow-no-such-device: No such file or directory.";
        return std::make_unique<Subject>("/dev/ferrow-no-such-device", net::SerialPort::kDefaultBaud);
    }
    bool PeerSend(const N2KMsg& msg) {
        gateway->Inject(msg);
        return true;
    }
    // The serial line carries no source: the device sends from the address
    // it claimed for our device.
    bool PeerHeard(N2KMsg& msg) {
        const std::vector<N2KMsg> messages = gateway->HeardMessages();
        if (messages.size() <= heard) return false;
        msg = messages[heard++];
        msg.addressA = kSource;
        return true;
    }
    bool Flood(uint32_t count) {
        for (uint32_t n = 0; n < count; ++n) PeerSend(Nth(n));
        return Swallowed(*this, count);
    }
    void LosePeer() { Unplug(); }
    std::string RestorePeer() {
        PlugIn();
        heard = 0;
        return Eventually([&] { return subject->IsUp(); }) ? "" : "never reopened";
    }
    std::wstring ToldOfLoss() const {
        return L"Gateway|Lost the serial gateway at " + platform::Text::Widen(link) + L": ";
    }
    void StallPeer() { gateway->SetReading(false); }
    void ResumePeer() { gateway->SetReading(true); }

    std::size_t heard = 0;  // of the device's messages, those taken by PeerHeard
};

}  // namespace ferrow::test

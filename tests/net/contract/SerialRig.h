// The rig for the serial gateway transport: its peer is a simulated gateway
// device on a pseudo-terminal, which can be unplugged and plugged back in.
#pragma once

#include "net/serial/SerialMessageCodec.h"
#include "net/serial/SerialTransport.h"
#include "tests/net/contract/ContractRig.h"
#include "tests/net/serial/SerialGatewayRig.h"
#include "tests/support/TempDir.h"

#include <filesystem>

namespace ferrow::test {

// A simulated gateway device on a pseudo-terminal, reached through a link
// to it that outlives it, so that it can be unplugged and plugged back in.
struct PluggableGateway {
    PluggableGateway() { PlugIn(); }
    void PlugIn() {
        pty = std::make_unique<Pty>();
        std::filesystem::remove(link);
        std::filesystem::create_symlink(pty->Path(), link);
        gateway = std::make_unique<SimulatedGateway>(*pty, SimulatedGateway::Options{false});
        heard = 0;
    }

    TempDir dir;
    const std::string link = dir.File("gateway");
    std::unique_ptr<Pty> pty;
    std::unique_ptr<SimulatedGateway> gateway;
    std::size_t heard = 0;  // of its messages, those taken by PeerHeard
};

// The serial gateway transport; its peer is a pluggable device, which
// outlives it.
struct SerialRig : PluggableGateway, TransportRig<net::SerialTransport> {
    static constexpr const char* kName = "SerialTransport";
    static constexpr std::size_t kQueueLimit = Subject::kReceiveLimit;
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
        const auto payloads = gateway->Heard();
        if (payloads.size() <= heard) return false;
        msg = N2KMsg{};
        net::SerialMessageCodec::DecodeSend(payloads[heard].data(), payloads[heard].size(), msg);
        msg.addressA = kSource;
        ++heard;
        return true;
    }
    bool Flood(uint32_t count) {
        for (uint32_t n = 0; n < count; ++n) PeerSend(Nth(n));
        return Swallowed(*this, count);
    }
    void LosePeer() {
        gateway.reset();
        pty.reset();
    }
    std::string RestorePeer() {
        PlugIn();
        return Eventually([&] { return subject->IsUp(); }) ? "" : "never reopened";
    }
    std::wstring ToldOfLoss() const {
        return L"Gateway|Lost the serial gateway at " + platform::Text::Widen(link) + L": ";
    }
};

}  // namespace ferrow::test

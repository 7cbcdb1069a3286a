// What a gateway port name asks for. The syntax, in the configuration key
// "GW_PORT_NAME":
//   vbus, vbus:NAME            the in-process virtual bus (NAME: "vbus")
//   tcp:HOST:PORT[:candump]    client of a network gateway
//   tcp-listen:PORT[:candump]  our device is the gateway clients connect to
//   udp:HOST:PORT[:candump]    datagrams to HOST:PORT, received on PORT
//   file:PATH[:fast]           replay of a RAW or candump log
// Socket transports speak the RAW line format unless ":candump" follows;
// a log replays at its recorded pace unless ":fast" follows. A name that is
// none of these (such as the Windows default "COM5") stands for the default
// virtual bus.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace ferrow::platform {

struct PortSpec {
    enum class Kind { VirtualBus, TcpClient, TcpListen, Udp, LogFile };

    Kind kind = Kind::VirtualBus;
    // The bus name, host or log path.
    std::string name;
    uint16_t port = 0;
    bool candump = false;
    bool fast = false;
    // Set when the name was not understood and a virtual bus stands in.
    bool fellBack = false;

    // nullopt for a name of a known kind that is malformed (a port that is
    // not a number from 1 to 65535, an empty host or path).
    static std::optional<PortSpec> Parse(const std::string& portName);
};

}  // namespace ferrow::platform

// Every link and transport the contract suite holds to its rules.
#pragma once

#include "tests/net/contract/CanBusRig.h"
#include "tests/net/contract/SocketRigs.h"
#include "tests/net/contract/TransportRigs.h"

#ifndef _WIN32
#include "tests/net/contract/SerialRig.h"
#endif

namespace ferrow::test {

// SocketCAN is Linux's own, and the serial rig's gateway speaks through a
// pseudo-terminal.
#ifdef _WIN32
using Rigs = ::testing::Types<TcpClientRig, TcpListenRig, UdpRig, LogReplayRig, FrameTransportRig,
                              VirtualBusRig, CanBusRig>;
#else
using Rigs = ::testing::Types<TcpClientRig, TcpListenRig, UdpRig, SocketCanRig, LogReplayRig,
                              FrameTransportRig, SerialRig, VirtualBusRig,
                              CanBusRig>;
#endif

}  // namespace ferrow::test

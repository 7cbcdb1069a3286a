// The gateway connection object: it owns the configuration object the
// emulator and the panels share, keeps its port name under its own key, and
// carries the emulated device's messages to the network its port names,
// through a transport its factory makes when it connects.
#pragma once

#include "net/TransportFactory.h"

#include <ferrow/CFG_File.h>
#include <ferrow/CWnd.h>
#include <ferrow/FerrowGatewayStats.h>
#include <ferrow/N2KMsg.h>
#include <ferrow/N2KStatus.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

namespace ferrow::platform {
class VirtualClock;
}

class Brovik_c {
public:
    // Room for the gateway's own keys, the emulator's keys and one per panel.
    static constexpr unsigned short kConfigCapacity = 64;
    static constexpr unsigned kPortNameSize = 256;
    static constexpr unsigned kLogFileSize = 1024;

    // gatewayKeepsConfig: 1 makes the configuration object a CfgFile_c with
    // wide-character keys, 0 a CFG_File. The port key is registered here but
    // read only when the file is loaded by the emulator. Without a factory
    // the port name chooses the transport.
    Brovik_c(HWND parent, void* gatewayArg, int gatewayKeepsConfig, const char* configFileName,
             const char* defaultPortName, const char* portKey,
             ferrow::net::TransportFactory transports = {});
    virtual ~Brovik_c();
    Brovik_c(const Brovik_c&) = delete;
    Brovik_c& operator=(const Brovik_c&) = delete;

    // Opens the transport the port name selects: 0, also when already
    // connected, or negative when the network cannot be reached or a
    // DisConnect came while it was being reached. Resolving a name or
    // making a TCP connection can take seconds: messages never wait for it.
    int Connect();
    // Closes the transport, dropping what was received and not yet fetched.
    // 0, also when not connected.
    int DisConnect();
    // Non-zero while connected and the network is reachable.
    int IsConnected();

    // Connect and DisConnect may run on one thread while PutMsg and GetMsg run
    // on another. The statuses mean:
    //   N2K_OK             taken whole: all its frames go out, in order
    //                      (every other node gets a copy, except one whose
    //                      receive queue is full, which counts it as dropped:
    //                      the sender is not told, as on a real bus); or, for
    //                      GetMsg, the oldest received message was copied
    //                      into `msg` unchanged.
    //   N2K_NOT_CONNECTED  the gateway is not connected, or its network is
    //                      out of reach now.
    //   N2K_NO_MESSAGE     nothing received is waiting; `msg` is untouched.
    //   N2K_BAD_MESSAGE    a null record, a length past the data field, or a
    //                      message no CAN network carries (a priority above
    //                      7, a PGN no identifier carries, over 1,785 bytes).
    //   N2K_TX_BUSY        the network cannot take the whole message now:
    //                      nothing of it was sent; the ideal virtual bus
    //                      never answers it.
    //   N2K_TOO_LONG       more data than the link carries in one message: a
    //                      serial gateway takes at most 249 bytes.
    // PutMsg sends our device's own message: the address it sends from is
    // the one transport sessions are answered on. PutOtherMsg sends one on
    // behalf of another node (the generator's) and leaves that address be.
    // Both bring `connected` up to date, so that it agrees with IsConnected.
    N2KStatus PutMsg(N2KMsg* msg);
    N2KStatus PutOtherMsg(N2KMsg* msg);
    N2KStatus GetMsg(N2KMsg* msg);

    // Messages for this gateway lost because its receive queue was full,
    // over all its connections.
    uint64_t DroppedCount() const;
    // Everything counted over all connections; the bus load since the
    // previous call, or over the last second when called more often.
    FerrowGatewayStats Stats();

    // The port name as loaded from the configuration file.
    std::string PortName() const;
    // Where CAN frames are recorded ("GW_LOG_FILE"); empty for nowhere.
    std::string LogFile() const;

    CFG_File* config;
    // Non-zero while connected.
    std::atomic<int> connected{0};
    // Handed to the firmware's connect functions that take an int.
    std::atomic<int> connectionValue{0};
    // Cleared before the connection at start, set when it fails.
    std::atomic<int> connectFailed{0};
    // How many serial devices the port name "auto" may try; set before
    // Connect, from the emulator's "MAX_PORT_SEARCH".
    int maxPortSearch = 20;

private:
    const ferrow::net::TransportFactory transports_;
    bool wideConfig_;
    // Registered with the configuration object: they outlive its loads.
    std::string portKey_;
    std::wstring portKeyWide_;
    char portName_[kPortNameSize] = {};
    wchar_t portNameWide_[kPortNameSize] = {};
    char logFile_[kLogFileSize] = {};
    wchar_t logFileWide_[kLogFileSize] = {};

    N2KStatus Put(N2KMsg* msg, bool ownMessage);
    // Called with mutex_ held.
    void Refresh();

    // One connection is made at a time, without mutex_.
    std::mutex connecting_;
    // Held through each transport call, so that DisConnect never closes the
    // transport under a message in flight.
    mutable std::mutex mutex_;  // protects: transport_, clock_, generation_, before_, counted_, load_
    std::unique_ptr<ferrow::net::GatewayTransport> transport_;  // null while disconnected
    // The clock of the thread that connected (null: wall time): the bus load
    // is traffic over that time, whichever thread asks for it.
    std::shared_ptr<ferrow::platform::VirtualClock> clock_;
    // Moved on by DisConnect, so that a connection made meanwhile is dropped.
    uint64_t generation_ = 0;
    // What the transports of earlier connections counted.
    FerrowGatewayStats before_{};
    // What the gateway counts itself: messages and refusals.
    FerrowGatewayStats counted_{};
    struct LoadSample {
        uint64_t ms = 0;
        uint64_t bits = 0;
        double load = 0;
    } load_;
};

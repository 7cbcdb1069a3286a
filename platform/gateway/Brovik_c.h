// The gateway connection object: it owns the configuration object the
// emulator and the panels share, keeps its port name under its own key, and
// holds the connection state the emulator reads.
#pragma once

#include <ferrow/CFG_File.h>
#include <ferrow/CWnd.h>
#include <ferrow/N2KMsg.h>
#include <ferrow/N2KStatus.h>

#include <atomic>
#include <string>

class Brovik_c {
public:
    // Room for the gateway's own keys, the emulator's keys and one per panel.
    static constexpr unsigned short kConfigCapacity = 64;
    static constexpr unsigned kPortNameSize = 256;

    // gatewayKeepsConfig: 1 makes the configuration object a CfgFile_c with
    // wide-character keys, 0 a CFG_File. The port key is registered here but
    // read only when the file is loaded by the emulator.
    Brovik_c(HWND parent, void* gatewayArg, int gatewayKeepsConfig, const char* configFileName,
             const char* defaultPortName, const char* portKey);
    virtual ~Brovik_c();
    Brovik_c(const Brovik_c&) = delete;
    Brovik_c& operator=(const Brovik_c&) = delete;

    // Negative on failure.
    int Connect();
    int DisConnect();
    // N2K_OK, or why the message was not sent / nothing was fetched.
    N2KStatus PutMsg(N2KMsg* msg);
    N2KStatus GetMsg(N2KMsg* msg);

    // The port name as loaded from the configuration file.
    std::string PortName() const;

    CFG_File* config;
    // Non-zero while connected.
    std::atomic<int> connected{0};
    // Handed to the firmware's connect functions that take an int.
    std::atomic<int> connectionValue{0};
    // Cleared before the connection at start, set when it fails.
    std::atomic<int> connectFailed{0};

private:
    bool wideConfig_;
    // Registered with the configuration object: they outlive its loads.
    std::string portKey_;
    std::wstring portKeyWide_;
    char portName_[kPortNameSize] = {};
    wchar_t portNameWide_[kPortNameSize] = {};
};

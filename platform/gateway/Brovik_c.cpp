#include "platform/gateway/Brovik_c.h"

#include "platform/Text.h"

#include <ferrow/CfgFile_c.h>

#include <cstdio>

using ferrow::platform::Text;

Brovik_c::Brovik_c(HWND /*parent*/, void* /*gatewayArg*/, int gatewayKeepsConfig,
                   const char* configFileName, const char* defaultPortName, const char* portKey)
    : config(nullptr),
      wideConfig_(gatewayKeepsConfig != 0),
      portKey_(portKey ? portKey : ""),
      portKeyWide_(Text::Widen(portKey_)) {
    std::snprintf(portName_, kPortNameSize, "%s", defaultPortName ? defaultPortName : "");
    Text::WidenInto(portNameWide_, kPortNameSize, portName_);

    if (wideConfig_) {
        auto* wide = new CfgFile_c();
        wide->Init(configFileName, kConfigCapacity);
        wide->AddField(portKeyWide_.c_str(), CFG_TYPE_WSTRING, portNameWide_, 0, kPortNameSize);
        config = wide;
    } else {
        config = new CFG_File();
        config->Init(configFileName, kConfigCapacity);
        config->AddField(portKey_.c_str(), CFG_TYPE_STRING, portName_, 0, kPortNameSize);
    }
}

Brovik_c::~Brovik_c() {
    DisConnect();
    delete config;
}

std::string Brovik_c::PortName() const {
    return wideConfig_ ? Text::Narrow(portNameWide_) : std::string(portName_);
}

int Brovik_c::Connect() {
    connected = 1;
    return 0;
}

int Brovik_c::DisConnect() {
    connected = 0;
    return 0;
}

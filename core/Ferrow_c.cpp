// Construction and destruction of the emulator object.
#include <ferrow/Ferrow_c.h>

#include "core/EmulatorConfig.h"
#include "core/DisplayAllPgn.h"
#include "core/Ferrow_Ctx_c.h"
#include "core/InstanceTable.h"
#include "core/Simulation.h"
#include "platform/CallFrame.h"
#include "platform/FilePath.h"
#include "platform/MessageReport.h"
#include "platform/Text.h"
#include "net/Brovik_c.h"

#include <string>

using ferrow::core::InstanceTable;
using ferrow::platform::CallFrame;
using ferrow::platform::Text;

namespace {

const char kDefaultEepromFile[] = "Ferrow.hex";
const char kDefaultConfigFile[] = "Ferrow.cfg";
const char kDefaultPortName[] = "COM5";
const char kPortKey[] = "GW_PORT_NAME";

}  // namespace

Ferrow_c::Ferrow_c(CWnd* parent, void* gatewayArg, const char* eepromFileName,
                   const char* configFileName, unsigned long flags) {
    CreateI(parent, gatewayArg, eepromFileName, configFileName, flags);
}

Ferrow_c::Ferrow_c(HWND parent, void* gatewayArg, const char* eepromFileName,
                   const char* configFileName, unsigned long flags) {
    CreateI(CWnd::FromHandle(parent), gatewayArg, eepromFileName, configFileName, flags);
}

Ferrow_c::Ferrow_c(std::nullptr_t, void* gatewayArg, const char* eepromFileName,
                   const char* configFileName, unsigned long flags) {
    CreateI(nullptr, gatewayArg, eepromFileName, configFileName, flags);
}

void Ferrow_c::CreateI(CWnd* parent, void* gatewayArg, const char* eepromFileName,
                       const char* configFileName, unsigned long flags) {
    CallFrame frame;
    ctx = new Ferrow_Ctx_c(this);
    ctx->threadMgr.Register(&Ferrow_c::process, this);

    parentWnd = parent;
    hParent = parent ? parent->GetSafeHwnd() : nullptr;
    ctx->timerWnd = CWnd::FromHandle(hParent);

    ctx->instanceIndex = InstanceTable::Add(ctx, hParent);
    if (ctx->instanceIndex == InstanceTable::kNone) {
        ferrow::platform::MessageReport::Show(
            L"Ferrow_c", L"Too many emulators in this process: this one gets no periodic timer");
    }

    if (eepromFileName == nullptr) {
        const std::string dir = ferrow::platform::CurrentDirectory();
        const std::string path = ferrow::platform::JoinPath(dir.empty() ? "." : dir,
                                                            kDefaultEepromFile);
        Text::WidenInto(ctx->eepromName, Ferrow_Ctx_c::kNameUnits, path.c_str());
    } else {
        Text::WidenInto(ctx->eepromName, Ferrow_Ctx_c::kNameUnits, eepromFileName);
    }

    maxPortSearch = 20;
    autoConnect = 1;
    ferrow::core::DisplayAllPgn::Set(*this, 0);
    if (configFileName == nullptr) configFileName = kDefaultConfigFile;

    ownConfig = (flags & FERROW_CFG_GATEWAY) ? 0 : 1;
    useGateway = gatewayArg == nullptr ? 1 : 0;

    eeprom = nullptr;
    serial = nullptr;
    n2kMon = nullptr;
    n2kGen = nullptr;
    adc = nullptr;
    pwm = nullptr;
    gpio = nullptr;
    spi = nullptr;
    i2c = nullptr;
    icap = nullptr;

    gateway = new Brovik_c(hParent, gatewayArg, ownConfig ? 0 : 1, configFileName,
                           kDefaultPortName, kPortKey);
    config = gateway->config;
    ferrow::core::EmulatorConfig::Load(*this);
}

Ferrow_c::~Ferrow_c() {
    CallFrame frame;
    // A simulation calls this object no more once it has left; one running on
    // another thread finishes its Run first.
    if (ferrow::core::Simulation* simulation = ctx->sim.load()) simulation->Remove(this);
    // The worker and the timer may be inside firmware code that calls this
    // object: both end before anything is freed. The timer goes first, and no
    // new one can be set: the interrupt may be what destroys this object, and
    // then the loop must find no timer to wait for.
    ctx->running = 0;
    ctx->timerStarted = 1;
    ctx->KillTimer();
    // Destroyed by its own loop, the worker cannot wait for itself: it keeps
    // the context until that loop call returns, then frees it and ends.
    const bool fromOwnLoop = ctx->threadMgr.IsWorker();
    if (!fromOwnLoop) StopWorkerI();
    // One that the loop's last call set while the timer went.
    ctx->KillTimer();
    InstanceTable::Clear(ctx->instanceIndex);
    {
        // Peripherals belong to the firmware and may outlive the emulator.
        std::lock_guard<std::mutex> guard(ctx->peripheralsMutex);
        for (ferrow::core::AttachedPeripheral* peripheral : ctx->peripherals) peripheral->Detach();
        ctx->peripherals.clear();
    }
    delete gateway;
    gateway = nullptr;
    config = nullptr;
    if (fromOwnLoop) {
        ctx->threadMgr.EndDetached([](void* c) { delete static_cast<Ferrow_Ctx_c*>(c); }, ctx);
    } else {
        delete ctx;
    }
    ctx = nullptr;
}

void Ferrow_c::SetParent(CWnd* parent) {
    CallFrame frame;
    parentWnd = parent;
    hParent = parent ? parent->GetSafeHwnd() : nullptr;
}

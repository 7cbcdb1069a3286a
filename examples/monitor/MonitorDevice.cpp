#include "MonitorDevice.h"

#include "GroupFunction.h"
#include "MonitorBoard.h"
#include "N2kEncode.h"
#include "N2kPgn.h"
#include "N2kReader.h"

#include <ferrow/ferrow.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <map>
#include <mutex>
#include <optional>

using namespace monitor;

namespace {

constexpr unsigned long kPeripherals = FERROW_N2K_MON | FERROW_N2K_GEN | FERROW_SERIAL |
                                       FERROW_ADC | FERROW_GPIO | FERROW_EEPROM | FERROW_PWM |
                                       FERROW_SPI | FERROW_I2C | FERROW_ICAP;
constexpr unsigned long kNoSerialNumber = 0xFFFFFFFF;
constexpr int kMaxMessagesPerPass = 64;
constexpr uint8_t kMaxSid = 252;
constexpr uint8_t kMaxHeartbeatSequence = 252;

constexpr uint32_t kTransmitList[] = {pgn::kIsoAcknowledgement, pgn::kAddressClaim,
                                      pgn::kGroupFunction,      pgn::kPgnList,
                                      pgn::kHeartbeat,          pgn::kProductInformation,
                                      pgn::kEngineRapid,        pgn::kBatteryStatus,
                                      pgn::kTemperature};
constexpr uint32_t kReceiveList[] = {pgn::kIsoRequest, pgn::kAddressClaim, pgn::kGroupFunction};

// The emulator's callbacks carry only the emulator: each finds its device here.
std::mutex g_devicesMutex;
std::map<const void*, MonitorDevice*> g_devices;

MonitorDevice* DeviceOf(const void* emu) {
    std::lock_guard<std::mutex> lock(g_devicesMutex);
    auto it = g_devices.find(emu);
    return it == g_devices.end() ? nullptr : it->second;
}

double Celsius(uint32_t milliKelvin) { return (static_cast<double>(milliKelvin) - 273150) / 1000; }

// A number in decimal digits only, up to `max`.
bool ParseDecimal(const char* text, uint32_t max, uint32_t& out) {
    uint32_t value = 0;
    if (*text == '\0') return false;
    for (; *text != '\0'; ++text) {
        if (*text < '0' || *text > '9') return false;
        value = value * 10 + static_cast<uint32_t>(*text - '0');
        if (value > max) return false;
    }
    out = value;
    return true;
}

bool ParseUnique(const char* text, uint32_t& out) {
    return ParseDecimal(text, kUniqueNumberMask, out) && out != 0;
}

char* SkipSpaces(char* text) {
    while (*text == ' ' || *text == '\t') ++text;
    return text;
}

// The word at `text`, ended in place; `text` moves on to what follows.
char* TakeWord(char*& text) {
    char* word = SkipSpaces(text);
    char* end = word;
    while (*end != '\0' && *end != ' ' && *end != '\t') ++end;
    text = SkipSpaces(end);
    *end = '\0';
    return word;
}

// An input of the bench that `set` drives, for a user without the ADC panel:
// the channel, its range in the unit typed, and the counts for a value.
struct BenchInput {
    const char* name;
    const char* label;
    const char* unit;
    int channel;
    double min;
    double max;
    long (*counts)(double);
};

constexpr double kTempMinCelsius = (kTempZeroMilliKelvin - 273150) / 1000.0;
constexpr double kTempMaxCelsius = kTempMinCelsius + kTempSpanMilliKelvin / 1000.0;

const BenchInput kBenchInputs[] = {
    {"engine", "engine room", "C", kAdcEngineRoom, kTempMinCelsius, kTempMaxCelsius,
     &CountsForCelsius},
    {"sea", "sea", "C", kAdcSea, kTempMinCelsius, kTempMaxCelsius, &CountsForCelsius},
    {"battery", "battery", "V", kAdcBattery, 0,
     kAdcFullScale * kBatteryMillivoltsPerCount / 1000.0, &CountsForVolts},
    {"rpm", "engine", "rpm", kAdcBenchRpm, 0, kBenchRpmMax,
     [](double rpm) { return std::lround(rpm); }},
    {"cabin", "cabin", "C", kAdcBenchCabin, kBenchCabinMin / kBenchCabinPerDegree,
     kBenchCabinMax / kBenchCabinPerDegree,
     [](double celsius) { return std::lround(celsius * kBenchCabinPerDegree); }},
};

// A finite number that is all of `text`.
bool ParseNumber(const char* text, double& out) {
    if (*text == '\0') return false;
    char* end = nullptr;
    out = std::strtod(text, &end);
    return *end == '\0' && std::isfinite(out);
}

}  // namespace

Ferrow_c* MonitorDevice::Create(const MonitorOptions& options) {
    return create_Ferrow_pObj(options.parent, nullptr, options.eepromFile, options.configFile, 0,
                              kPeripherals, &MainEntry, &LoopEntry,
                              options.pace > 0 ? options.pace : 0, &AppInitEntry, kEepromSize);
}

MonitorDevice::MonitorDevice(const MonitorOptions& options)
    : pace_(options.pace > 0 ? options.pace : 0),
      simulation_(options.simulation),
      emu_(Create(options)),
      settings_(*emu_->eeprom),
      console_(*emu_->serial),
      sensors_(*emu_->adc, *emu_->icap, *emu_->i2c),
      engineTimer_(kEngineIntervalMs),
      batteryTimer_(kBatteryIntervalMs),
      temperatureTimer_(kTemperatureIntervalMs),
      heartbeatTimer_(kHeartbeatIntervalMs),
      address_(pgn::kNullAddress) {
    std::lock_guard<std::mutex> lock(g_devicesMutex);
    g_devices[emu_] = this;
}

MonitorDevice::~MonitorDevice() {
    emu_->Stop();
    emu_->t_disable_int();
    {
        std::lock_guard<std::mutex> lock(g_devicesMutex);
        g_devices.erase(emu_);
    }
    // Each peripheral clears its slot as it goes.
    delete emu_->n2kMon;
    delete emu_->n2kGen;
    delete emu_->serial;
    delete emu_->adc;
    delete emu_->gpio;
    delete emu_->eeprom;
    delete emu_->pwm;
    delete emu_->spi;
    delete emu_->i2c;
    delete emu_->icap;
    delete emu_;
}

int MonitorDevice::Start(int argc, char** argv) {
    TakeArguments(argc, argv);
    if (simulation_ != nullptr) return simulation_->Add(emu_);
    // Without a loop pace the emulator has no firmware functions to call.
    if (pace_ == 0) Main();
    return emu_->Start(argc, argv);
}

void MonitorDevice::TakeArguments(int argc, char** argv) {
    constexpr const char kUnique[] = "--unique";
    constexpr std::size_t kUniqueLength = sizeof kUnique - 1;
    for (int i = 1; i < argc && argv != nullptr && argv[i] != nullptr; ++i) {
        if (std::strncmp(argv[i], kUnique, kUniqueLength) != 0) continue;
        const char* value = argv[i] + kUniqueLength;
        if (*value == '=') {
            ++value;
        } else if (*value != '\0') {
            continue;
        } else {
            value = i + 1 < argc && argv[i + 1] != nullptr ? argv[++i] : "";
        }
        uint32_t number = 0;
        if (ParseUnique(value, number)) {
            uniqueArgument_ = number;
        } else {
            badUniqueArgument_ = value;
        }
    }
}

int MonitorDevice::Stop() { return emu_->Stop(); }

void MonitorDevice::MainEntry(void* emu) {
    if (MonitorDevice* device = DeviceOf(emu)) device->Main();
}

void MonitorDevice::LoopEntry(void* emu) {
    if (MonitorDevice* device = DeviceOf(emu)) device->Loop();
}

int MonitorDevice::AppInitEntry(void* emu) {
    MonitorDevice* device = DeviceOf(emu);
    return device ? device->AppInit() : -1;
}

void MonitorDevice::TickEntry(void* emu) {
    if (MonitorDevice* device = DeviceOf(emu)) device->Tick();
}

void MonitorDevice::Main() {
    std::lock_guard<std::mutex> lock(mutex_);
    if (mainRan_) return;
    mainRan_ = true;

    console_.Open();
    sensors_.Configure();
    Ferrow_GPIO_c& gpio = *emu_->gpio;
    gpio.AddPin(kPinButton);
    gpio.SetDir(kPinButton, 0);
    gpio.SetName(kPinButton, "BUTTON");
    gpio.AddPin(kPinLed);
    gpio.SetDir(kPinLed, 1);
    gpio.SetName(kPinLed, "ALARM LED");
    gpio.SetValReg(kPinLed, 0);
    Ferrow_PWM_c& pwm = *emu_->pwm;
    pwm.AddPin(kPinBacklight, 0);
    pwm.SetName(kPinBacklight, "BACKLIGHT");
    pwm.SetFreq(kPinBacklight, kBacklightHz);
    pwm.Enable(kPinBacklight, 1);

    // A serial number programmed into the EEPROM names the device; without
    // one, each device draws its own.
    const unsigned long serialNumber = emu_->eeprom->Get_Default_SN();
    const uint32_t programmed = serialNumber == kNoSerialNumber
                                    ? 0
                                    : static_cast<uint32_t>(serialNumber) & kUniqueNumberMask;
    settings_.Load(programmed != 0 ? programmed : AddressClaim::FreshUniqueNumber());
    if (uniqueArgument_) settings_.SetUniqueNumber(*uniqueArgument_);
    claim_.SetName(AddressClaim::MakeName(settings_.UniqueNumber()));
    instance_ = settings_.Instance();
    ApplyBacklight();
    console_.Print("Ferrow demo monitor %s", kSoftwareVersion);
    if (badUniqueArgument_) {
        console_.Print("--unique \"%s\" refused; usage: --unique 1-2097151",
                       badUniqueArgument_->c_str());
    }

    emu_->t_init(1, kTickMs);
    emu_->t_interrupt_set(&TickEntry);
}

int MonitorDevice::AppInit() {
    std::lock_guard<std::mutex> lock(mutex_);
    const uint8_t stored = settings_.Address();
    trafficStarted_ = false;
    if (claim_.Begin(stored) && claim_.Address() != stored) {
        console_.Print("address %u taken, claiming %u", stored, claim_.Address());
        settings_.SetAddress(claim_.Address());
    }
    address_ = claim_.Address();
    SendOwedClaim(emu_->t_get_1ms());
    return 0;
}

void MonitorDevice::Tick() {
    sensors_.Sample();
    int pressed = 0;
    if (emu_->gpio->GetValReg(kPinButton, &pressed) != 0 || pressed == 0) {
        pressedTicks_ = 0;
    } else if (pressedTicks_ < kDebounceTicks && ++pressedTicks_ == kDebounceTicks) {
        presses_.fetch_add(1, std::memory_order_release);
    }
}

void MonitorDevice::Loop() {
    std::lock_guard<std::mutex> lock(mutex_);
    loops_.fetch_add(1, std::memory_order_relaxed);
    const uint32_t now = emu_->t_get_1ms();
    console_.Poll([this](char* line) { RunCommand(line); });
    ReleaseButton(now);
    ServiceButton();
    sensors_.UpdateEngine(now);
    ServiceAlarm();
    Receive(now);
    ServiceClaim(now);
    // A claim still owed goes before our traffic into what the network takes.
    if (trafficStarted_ && !claim_.Owed()) SendPeriodic(now);
}

void MonitorDevice::ServiceButton() {
    const unsigned presses = presses_.load(std::memory_order_acquire);
    for (; pressesServed_ != presses; ++pressesServed_) {
        settings_.SetBacklightStep(static_cast<uint8_t>((settings_.BacklightStep() + 1) % kBacklightSteps));
        ApplyBacklight();
        console_.Print("backlight %lu %%", kBacklightDuty[settings_.BacklightStep()] / 1000);
    }
}

void MonitorDevice::ApplyBacklight() {
    emu_->pwm->SetDuty(kPinBacklight, kBacklightDuty[settings_.BacklightStep()]);
}

void MonitorDevice::ServiceAlarm() {
    // Until the averaging window has filled, the averages still hold its zeros.
    if (!sensors_.Settled()) return;
    const bool alarm = sensors_.BatteryCentivolts() < kBatteryLowCentivolts ||
                       sensors_.EngineRoomMilliKelvin() > kEngineRoomHighMilliKelvin;
    if (alarm == alarm_) return;
    alarm_ = alarm;
    emu_->gpio->SetValReg(kPinLed, alarm ? 1 : 0);
}

void MonitorDevice::Receive(uint32_t nowMs) {
    for (int i = 0; i < kMaxMessagesPerPass; ++i) {
        N2KMsg msg;
        if (emu_->GetMsg(&msg) != N2K_OK) return;
        if (msg.length > N2KMsg::kMaxData) continue;
        if (msg.pgn == pgn::kAddressClaim) {
            OnAddressClaim(msg, nowMs);
            continue;
        }
        // From our address: its sender never heard our claim, or we missed its.
        claim_.OnMessage(msg.addressA, nowMs);
        const bool forUs = msg.addressB == pgn::kGlobal ||
                           (claim_.HasAddress() && msg.addressB == claim_.Address());
        if (msg.pgn == pgn::kIsoRequest && forUs) {
            OnIsoRequest(msg);
        } else if (msg.pgn == pgn::kGroupFunction && forUs && claim_.HasAddress()) {
            OnGroupFunction(msg);
        }
    }
}

void MonitorDevice::OnAddressClaim(const N2KMsg& msg, uint32_t nowMs) {
    uint64_t name = 0;
    N2kReader in(msg.data, msg.length);
    if (!in.U64(name)) return;
    const uint8_t lost = claim_.Address();
    switch (claim_.OnClaim(msg.addressA, name, nowMs)) {
    case AddressClaim::Outcome::kNone:
    case AddressClaim::Outcome::kDefend:
        return;
    case AddressClaim::Outcome::kMoved:
        if (lost == pgn::kNullAddress) {
            console_.Print("address %u freed, claiming it", claim_.Address());
        } else {
            console_.Print("address %u taken, claiming %u", lost, claim_.Address());
        }
        settings_.SetAddress(claim_.Address());
        break;
    case AddressClaim::Outcome::kGaveUp:
        console_.Print("address %u taken, no address left", lost);
        break;
    }
    trafficStarted_ = false;
    address_ = claim_.Address();
}

void MonitorDevice::OnIsoRequest(const N2KMsg& msg) {
    uint32_t requested = 0;
    N2kReader in(msg.data, msg.length);
    if (!in.U24(requested)) return;
    // Even without an address a node answers this one, with "cannot claim".
    if (requested == pgn::kAddressClaim) {
        claim_.Owe();
        return;
    }
    if (!claim_.HasAddress()) return;
    if (requested == pgn::kProductInformation || requested == pgn::kPgnList) {
        SendNow(requested, msg.addressA);
    } else if (msg.addressB != pgn::kGlobal) {
        N2KMsg nak;
        N2kEncode::IsoNak(nak, requested, claim_.Address(), msg.addressA);
        Send(nak);
    }
}

void MonitorDevice::OnGroupFunction(const N2KMsg& msg) {
    const GroupFunction function(msg.data, msg.length, settings_.Instance());
    if (!function.NeedsAnswer()) return;
    if (function.Accepted()) {
        if (function.Function() == GroupFunction::kRequest) {
            SendNow(function.Pgn(), msg.addressA, function.SelectedSource().value_or(-1));
        } else if (function.NewInstance()) {
            SetInstance(*function.NewInstance());
            console_.Print("instance %u saved, set by node %u", settings_.Instance(),
                           msg.addressA);
        }
    }
    N2KMsg ack;
    function.Acknowledge(ack, claim_.Address(), msg.addressA);
    Send(ack);
}

void MonitorDevice::ServiceClaim(uint32_t nowMs) {
    SendOwedClaim(nowMs);
    if (trafficStarted_ || !claim_.Ready(nowMs)) return;
    trafficStarted_ = true;
    console_.Print("address %u claimed", claim_.Address());
    engineTimer_.Restart(nowMs);
    batteryTimer_.Restart(nowMs);
    temperatureTimer_.Restart(nowMs);
    heartbeatTimer_.Restart(nowMs);
}

void MonitorDevice::SendPeriodic(uint32_t nowMs) {
    if (engineTimer_.Due(nowMs)) SendNow(pgn::kEngineRapid, pgn::kGlobal);
    if (batteryTimer_.Due(nowMs)) SendNow(pgn::kBatteryStatus, pgn::kGlobal);
    if (temperatureTimer_.Due(nowMs)) SendNow(pgn::kTemperature, pgn::kGlobal);
    if (heartbeatTimer_.Due(nowMs)) SendNow(pgn::kHeartbeat, pgn::kGlobal);
}

void MonitorDevice::SendNow(uint32_t pgn, uint8_t destination, int temperatureSource) {
    const uint8_t source = claim_.Address();
    N2KMsg msg;
    switch (pgn) {
    case pgn::kAddressClaim:
        claim_.Owe();
        return;
    case pgn::kPgnList:
        N2kEncode::PgnList(msg, N2kEncode::kTransmitList, kTransmitList, std::size(kTransmitList),
                           source, destination);
        Send(msg);
        N2kEncode::PgnList(msg, N2kEncode::kReceiveList, kReceiveList, std::size(kReceiveList),
                           source, destination);
        break;
    case pgn::kHeartbeat:
        N2kEncode::Heartbeat(msg, heartbeatSequence_, source);
        heartbeatSequence_ = heartbeatSequence_ >= kMaxHeartbeatSequence ? 0 : heartbeatSequence_ + 1;
        break;
    case pgn::kProductInformation:
        N2kEncode::ProductInformation(msg, settings_.UniqueNumber(), source, destination);
        break;
    case pgn::kEngineRapid:
        N2kEncode::EngineRapid(msg, kEngineInstance, sensors_.EngineQuarterRpm(), source);
        break;
    case pgn::kBatteryStatus:
        N2kEncode::BatteryStatus(msg, settings_.Instance(), sensors_.BatteryCentivolts(), NextSid(),
                                 source);
        break;
    case pgn::kTemperature:
        SendTemperatures(NextSid(), temperatureSource);
        return;
    default:
        return;
    }
    Send(msg);
}

void MonitorDevice::SendTemperatures(uint8_t sid, int onlySource) {
    if (onlySource < 0 || onlySource == N2kEncode::kSourceInside) sensors_.ReadCabin();
    const struct {
        uint8_t source;
        std::optional<uint32_t> milliKelvin;
    } readings[] = {
        {N2kEncode::kSourceEngineRoom, sensors_.EngineRoomMilliKelvin()},
        {N2kEncode::kSourceSea, sensors_.SeaMilliKelvin()},
        {N2kEncode::kSourceInside, sensors_.CabinMilliKelvin()},
    };
    for (const auto& reading : readings) {
        if (onlySource >= 0 && onlySource != reading.source) continue;
        N2KMsg msg;
        N2kEncode::Temperature(msg, sid, settings_.Instance(), reading.source, reading.milliKelvin,
                               claim_.Address());
        Send(msg);
    }
}

void MonitorDevice::SendOwedClaim(uint32_t nowMs) {
    if (!claim_.Owed()) return;
    N2KMsg msg;
    N2kEncode::AddressClaim(msg, claim_.Name(), claim_.Address());
    // Refused for now, it goes again on the next pass.
    if (Send(msg) != N2K_TX_BUSY) claim_.Sent(nowMs);
}

N2KStatus MonitorDevice::Send(N2KMsg& msg) { return emu_->PutMsg(&msg); }

uint8_t MonitorDevice::NextSid() {
    const uint8_t sid = sid_;
    sid_ = sid_ >= kMaxSid ? 0 : sid_ + 1;
    return sid;
}

void MonitorDevice::SetInstance(uint8_t instance) {
    settings_.SetInstance(instance);
    instance_ = settings_.Instance();
}

void MonitorDevice::SetUniqueNumber(uint32_t number) {
    settings_.SetUniqueNumber(number);
    // Other nodes learn the new NAME from a claim of the address we hold.
    claim_.SetName(AddressClaim::MakeName(settings_.UniqueNumber()));
    claim_.Owe();
}

void MonitorDevice::RunCommand(char* line) {
    char* argument = line;
    const char* word = TakeWord(argument);
    for (char* last = argument + std::strlen(argument); last > argument && last[-1] == ' ';) {
        *--last = '\0';
    }
    if (*word == '\0') return;

    if (std::strcmp(word, "status") == 0) {
        PrintStatus();
    } else if (std::strcmp(word, "instance") == 0) {
        uint32_t instance = 0;
        if (ParseDecimal(argument, kMaxInstance, instance)) {
            SetInstance(static_cast<uint8_t>(instance));
            console_.Print("instance %u saved", instance);
        } else {
            console_.Print("usage: instance 0-252");
        }
    } else if (std::strcmp(word, "unique") == 0) {
        uint32_t number = 0;
        if (ParseUnique(argument, number)) {
            SetUniqueNumber(number);
            console_.Print("unique %u saved", number);
        } else {
            console_.Print("usage: unique 1-2097151");
        }
    } else if (std::strcmp(word, "set") == 0) {
        SetBenchInput(argument);
    } else if (std::strcmp(word, "press") == 0) {
        if (*argument == '\0') {
            PressButton();
        } else {
            console_.Print("usage: press");
        }
    } else if (std::strcmp(word, "help") == 0) {
        console_.Print("status        readings and settings");
        console_.Print("instance N    set the instance, 0-252");
        console_.Print("unique N      set the NAME's unique number, 1-2097151");
        console_.Print("set engine C  engine room temperature, -40 to 125");
        console_.Print("set sea C     sea temperature, -40 to 125");
        console_.Print("set cabin C   cabin temperature, -40 to 125");
        console_.Print("set battery V battery voltage, 0 to 20.475");
        console_.Print("set rpm N     engine speed, 0 to 6000");
        console_.Print("press         press the button");
        console_.Print("help          this list");
    } else {
        console_.Print("unknown command: %s", word);
    }
}

void MonitorDevice::SetBenchInput(char* argument) {
    const char* name = TakeWord(argument);
    const BenchInput* input = nullptr;
    for (const BenchInput& candidate : kBenchInputs) {
        if (std::strcmp(name, candidate.name) == 0) input = &candidate;
    }
    if (input == nullptr) {
        console_.Print("usage: set engine|sea|cabin|battery|rpm VALUE");
        return;
    }
    double value = 0;
    if (!ParseNumber(argument, value) || value < input->min || value > input->max) {
        console_.Print("usage: set %s %g to %g (%s)", input->name, input->min, input->max,
                       input->unit);
        return;
    }
    if (emu_->adc->SetValue(input->channel, input->counts(value)) != 0) {
        console_.Print("%s: no such input on this board", input->name);
        return;
    }
    console_.Print("%s set to %g %s", input->label, value, input->unit);
}

void MonitorDevice::PressButton() {
    // Held past the debounce, then let go by the loop.
    emu_->gpio->SetValPin(kPinButton, 1);
    releaseButtonAtMs_ = emu_->t_get_1ms() + (kDebounceTicks + 1) * kTickMs;
}

void MonitorDevice::ReleaseButton(uint32_t nowMs) {
    if (!releaseButtonAtMs_ || static_cast<int32_t>(nowMs - *releaseButtonAtMs_) < 0) return;
    releaseButtonAtMs_.reset();
    emu_->gpio->SetValPin(kPinButton, 0);
}

void MonitorDevice::PrintStatus() {
    console_.Print("address %u", claim_.Address());
    console_.Print("instance %u", settings_.Instance());
    console_.Print("unique %u", settings_.UniqueNumber());
    console_.Print("engine room %.1f C", Celsius(sensors_.EngineRoomMilliKelvin()));
    console_.Print("sea %.1f C", Celsius(sensors_.SeaMilliKelvin()));
    if (const std::optional<uint32_t> cabin = sensors_.CabinMilliKelvin()) {
        console_.Print("cabin %.1f C", Celsius(*cabin));
    } else {
        console_.Print("cabin n/a");
    }
    console_.Print("battery %.1f V", sensors_.BatteryCentivolts() / 100.0);
    console_.Print("engine %u rpm", (sensors_.EngineQuarterRpm() + 2u) / 4);
    console_.Print("backlight %lu %%", kBacklightDuty[settings_.BacklightStep()] / 1000);
}

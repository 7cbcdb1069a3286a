// The monitor's board: what is wired where, how the EEPROM is laid out, who
// the device is on the network and how often it speaks.
#pragma once

#include <cmath>
#include <cstdint>

namespace monitor {

// ADC: one group of three 12-bit unsigned inputs, each with a sample queue
// averaged over its newest samples.
constexpr int kAdcEngineRoom = 0;
constexpr int kAdcSea = 1;
constexpr int kAdcBattery = 2;
constexpr unsigned char kAdcChannels = 3;
constexpr unsigned char kAdcBits = 12;
constexpr long kAdcFullScale = 4095;
constexpr unsigned long kAdcQueue = 64;
constexpr unsigned long kAdcWindow = 16;
// Temperature inputs: 0 counts is -40 °C, full scale +125 °C.
constexpr long kTempSpanMilliKelvin = 165000;
constexpr long kTempZeroMilliKelvin = 233150;
// Battery input: 5 mV per count.
constexpr long kBatteryMillivoltsPerCount = 5;

// The counts that read as a temperature or a voltage, for whoever drives the inputs.
inline long CountsForCelsius(double celsius) {
    return std::lround((celsius * 1000 + 273150 - kTempZeroMilliKelvin) * kAdcFullScale /
                       kTempSpanMilliKelvin);
}
inline long CountsForVolts(double volts) {
    return std::lround(volts * 1000 / kBatteryMillivoltsPerCount);
}

// The bench's own inputs (not the firmware's): engine speed in rpm and the
// cabin temperature in tenths of a degree.
constexpr int kAdcBenchRpm = 3;
constexpr int kAdcBenchCabin = 4;
constexpr long kBenchRpmMax = 6000;
constexpr long kBenchCabinMin = -400;
constexpr long kBenchCabinMax = 1250;
constexpr double kBenchCabinPerDegree = 10.0;

// GPIO.
constexpr unsigned long kPinEngine = 3;
constexpr unsigned long kPinButton = 4;
constexpr unsigned long kPinLed = 5;
// A press counts once the button reads pressed on this many interrupts in a row.
constexpr int kDebounceTicks = 2;

// PWM backlight: 1 kHz, duty in thousandths of a percent per button step.
constexpr unsigned long kPinBacklight = 6;
constexpr unsigned long kBacklightHz = 1000;
constexpr unsigned char kBacklightSteps = 4;
constexpr unsigned long kBacklightDuty[kBacklightSteps] = {100000, 50000, 10000, 0};

// Input capture: one rising edge per engine revolution, a free-running 32-bit
// timer at 1 MHz, so a capture is the edge's time in microseconds.
constexpr unsigned char kIcapRisingEdge = 1;
constexpr unsigned char kIcapBits = 32;
constexpr unsigned long kIcapQueue = 32;
constexpr double kMicrosPerMinute = 60e6;

// I2C cabin temperature sensor: a 2-byte read of register 0 gives 1/16 °C,
// 12 bits two's complement, left-justified, high byte first.
constexpr unsigned short kI2cSensor = 0x48;
constexpr int kSensorTemperatureRegister = 0;
constexpr unsigned short kSensorReadLength = 2;

// EEPROM: one 10-byte settings record at 0. Version 1 (7 bytes, no unique
// number) is still read.
constexpr unsigned long kEepromSize = 256;
constexpr unsigned short kSettingsAddress = 0;
constexpr unsigned char kSettingsMagic0 = 'F';
constexpr unsigned char kSettingsMagic1 = 'M';
constexpr unsigned char kSettingsVersion = 2;
constexpr unsigned char kSettingsVersionV1 = 1;
constexpr unsigned char kDefaultAddress = 35;
constexpr unsigned char kDefaultInstance = 0;
constexpr unsigned char kDefaultBacklightStep = 0;

// Serial console.
constexpr unsigned long kConsoleBaud = 115200;
constexpr const char* kConsoleName = "CONSOLE";

// NAME fields. The unique number (21 bits, never 0) is the device's own: the
// EEPROM's serial number when one is set, otherwise drawn at first start.
constexpr uint32_t kUniqueNumberMask = 0x1FFFFF;
constexpr uint16_t kManufacturer = 2046;
constexpr uint8_t kDeviceInstance = 0;
constexpr uint8_t kDeviceFunction = 130;  // temperature
constexpr uint8_t kDeviceClass = 75;      // sensor communication interface
constexpr uint8_t kSystemInstance = 0;
constexpr uint8_t kIndustryGroup = 4;     // marine
constexpr uint8_t kArbitraryAddressCapable = 1;

// Product information.
constexpr uint16_t kN2kVersion = 2100;
constexpr uint16_t kProductCode = 1;
constexpr const char* kModelId = "Ferrow demo monitor";
constexpr const char* kSoftwareVersion = "1.0.0";
constexpr const char* kModelVersion = "1";
constexpr uint8_t kCertificationLevel = 1;
constexpr uint8_t kLoadEquivalency = 1;

// Instances the device answers to: its own (0 to 252) and its one engine's.
constexpr uint8_t kMaxInstance = 252;
constexpr uint8_t kEngineInstance = 0;

// Alarms: the LED is on while either holds.
constexpr long kBatteryLowCentivolts = 1180;
constexpr long kEngineRoomHighMilliKelvin = 353150;  // 80 °C

// Timing, in milliseconds of the emulator's time base.
constexpr unsigned long kTickMs = 10;
constexpr int kLoopPaceMs = 5;
constexpr uint32_t kClaimHoldMs = 250;
constexpr uint32_t kEngineIntervalMs = 100;
constexpr uint32_t kBatteryIntervalMs = 1500;
constexpr uint32_t kTemperatureIntervalMs = 2000;
constexpr uint32_t kHeartbeatIntervalMs = 60000;
constexpr uint32_t kEngineStoppedMs = 1000;

}  // namespace monitor

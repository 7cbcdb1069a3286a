#include "TemperatureSensorSlave.h"

#include "MonitorBoard.h"

#include <ferrow/Ferrow_I2C_c.h>

#include <cmath>
#include <map>
#include <mutex>

using namespace monitor;

namespace {

// The bus calls a slave with only the bus object: each bus finds its sensor
// here, so every device of the process has a sensor of its own.
std::mutex g_sensorsMutex;
std::map<const void*, const TemperatureSensorSlave*> g_sensors;

}  // namespace

TemperatureSensorSlave::~TemperatureSensorSlave() {
    std::lock_guard<std::mutex> lock(g_sensorsMutex);
    for (auto it = g_sensors.begin(); it != g_sensors.end();) {
        it = it->second == this ? g_sensors.erase(it) : std::next(it);
    }
}

void TemperatureSensorSlave::Attach(Ferrow_I2C_c& bus) {
    {
        std::lock_guard<std::mutex> lock(g_sensorsMutex);
        if (!g_sensors.emplace(&bus, this).second) return;
    }
    bus.AddSlave(kI2cSensor, &ReadOnBus, static_cast<Ferrow_I2C_c::SlaveObjFn>(nullptr),
                 "TEMP SENSOR");
}

void TemperatureSensorSlave::SetCelsius(double celsius) {
    if (!(celsius >= kMinCelsius)) celsius = kMinCelsius;
    if (celsius > kMaxCelsius) celsius = kMaxCelsius;
    celsius_.store(celsius);
}

int TemperatureSensorSlave::Read(unsigned char* buffer, unsigned short length, int reg) const {
    if (buffer == nullptr || length == 0 || reg != kSensorTemperatureRegister) return -1;
    const long sixteenths = std::lround(celsius_.load() * 16);
    const unsigned word = (static_cast<unsigned>(sixteenths) << 4) & 0xFFFF;
    const unsigned char bytes[kSensorReadLength] = {static_cast<unsigned char>(word >> 8),
                                                    static_cast<unsigned char>(word)};
    const unsigned short n = length < kSensorReadLength ? length : kSensorReadLength;
    for (unsigned short i = 0; i < n; ++i) buffer[i] = bytes[i];
    return n;
}

int TemperatureSensorSlave::ReadOnBus(void* bus, unsigned char* buffer, unsigned short length,
                                      int reg, int) {
    std::lock_guard<std::mutex> lock(g_sensorsMutex);
    auto it = g_sensors.find(bus);
    return it == g_sensors.end() ? -1 : it->second->Read(buffer, length, reg);
}

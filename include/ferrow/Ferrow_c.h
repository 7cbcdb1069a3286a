// The emulator object a firmware holds while it runs on the PC: it hosts the
// firmware's main, loop and interrupt functions, gives it a time base, and
// keeps one slot per kind of emulated peripheral.
#pragma once

#include <ferrow/CWnd.h>
#include <ferrow/FerrowApi.h>
#include <ferrow/FerrowGatewayStats.h>
#include <ferrow/N2KMsg.h>
#include <ferrow/N2KStatus.h>

#include <cstddef>
#include <cstdint>
#include <mutex>

// Ferrow_c flags: the gateway's configuration class holds the settings.
constexpr unsigned long FERROW_CFG_GATEWAY = 0x1;

class Brovik_c;
class Ferrow_Ctx_c;
class Ferrow_EEPROM_c;
class Ferrow_Serial_c;
class Ferrow_N2K_Mon_c;
class Ferrow_N2K_Gen_c;
class Ferrow_ADC_c;
class Ferrow_PWM_c;
class Ferrow_GPIO_c;
class Ferrow_SPI_c;
class Ferrow_I2C_c;
class Ferrow_ICAP_c;

class FERROW_API Ferrow_c {
public:
    // eepromFileName: null means "Ferrow.hex" in the current directory.
    // configFileName: null means "Ferrow.cfg". flags: FERROW_CFG_GATEWAY.
    // A null gatewayArg lets the gateway make the connection; otherwise the
    // firmware's own connect functions do.
    Ferrow_c(CWnd* parent, void* gatewayArg, const char* eepromFileName,
             const char* configFileName, unsigned long flags);
    Ferrow_c(HWND parent, void* gatewayArg, const char* eepromFileName,
             const char* configFileName, unsigned long flags);
    // Without a host window: lets `Ferrow_c emu(nullptr, ...)` choose.
    Ferrow_c(std::nullptr_t parent, void* gatewayArg, const char* eepromFileName,
             const char* configFileName, unsigned long flags);
    // Stops a running worker and the periodic timer before anything is freed.
    virtual ~Ferrow_c();
    Ferrow_c(const Ferrow_c&) = delete;
    Ferrow_c& operator=(const Ferrow_c&) = delete;

    // Panels created afterwards attach to the new window; the periodic timer
    // stays on the window given at construction.
    void SetParent(CWnd* parent);

    // Firmware functions. A pace of 0 or below, or a null function where one
    // is required, is refused with -1 and leaves the earlier registration.
    int SetDeviceFunction(void (*mainFn)(int, char**), void (*loopFn)(void), int pace);
    int SetDeviceFunction(void (*mainFn)(void), void (*loopFn)(void), int pace);
    int SetDeviceFunction(void (*mainFn)(void*, int, char**), void (*loopFn)(void*), int pace);
    int SetDeviceFunction(void (*mainFn)(void*), void (*loopFn)(void*), int pace);
    int SetAppInitFunction(int (*fn)(void));
    int SetAppInitFunction(int (*fn)(void*));
    int SetConnectFunction(int (*fn)(void));
    int SetConnectFunction(int (*fn)(int));
    int SetConnectFunction(int (*fn)(void*, int));
    int SetDisConnectFunction(int (*fn)(void));
    int SetDisConnectFunction(int (*fn)(int));
    int SetDisConnectFunction(int (*fn)(void*, int));
    int SetIsConnectedFunction(int (*fn)(void));
    int SetIsConnectedFunction(int (*fn)(int));
    int SetIsConnectedFunction(int (*fn)(void*, int));
    int SetAutoConnect(int on);
    int GetAutoConnect();

    // Runs main on the calling thread, starts the worker and (with automatic
    // connection through the gateway) connects and runs the application
    // initialisation. 0, or -1 when connecting or the initialisation failed
    // (the worker then runs all the same) or when a worker already runs.
    int Start(int argc, char** argv);
    int Start();
    // Ends the worker after its current cycle; 0, or -1 when the cycle did
    // not end within about 5 s or closing the connection failed.
    int Stop();
    // One worker cycle: a burst of loop calls, then the pacing sleep.
    static void process(void* obj);

    // Time base. Readings are 32-bit quantities that wrap at 2^32.
    void t_init(int useClock, unsigned long periodMs);
    void t_interrupt_set(void (*fn)(void));
    void t_interrupt_set(void (*fn)(void*));
    void t_disable_int();
    void t_set_overwrite(int on);
    void t_interrupt_exec(unsigned long elapsedMs);
    unsigned long t_get_100ms();
    unsigned long t_get_50ms();
    unsigned long t_get_25ms();
    unsigned long t_get_10ms();
    unsigned long t_get_5ms();
    unsigned long t_get_1ms();
    unsigned long t_get_100us();
    unsigned long t_get_100ns();
    // The current reading as whole seconds and the milliseconds within the
    // second; either pointer may be null.
    void t_get_time(unsigned long* seconds, unsigned long* milliseconds);

    // NMEA 2000. With a null gatewayArg the gateway connects; otherwise the
    // firmware's connect functions do (-1 when none is registered).
    int Connect();
    int DisConnect();
    // Non-zero when connected, 0 when not, -1 when it cannot be told.
    int IsConnected();
    // While 0, PutMsg sends and records nothing and returns 0.
    int PutMsgEnable(int on);
    // `fn(obj, msg)` sees every message put, in order of registration; -1
    // for a null obj or fn. Safe while another thread is putting.
    int AddPutMsgMonitor(void* obj, int (*fn)(void*, N2KMsg*));
    // Stamps the message and hands it to the gateway. What the gateway took
    // (or, with "DISP_ALL_PGN" set, every message) is recorded by the monitor
    // and the put-message monitors; while not connected a recorded message
    // counts as sent (0).
    N2KStatus PutMsg(N2KMsg* msg);
    // A message queued by the generator first, else one from the gateway;
    // a message obtained is recorded by the monitor.
    N2KStatus GetMsg(N2KMsg* msg);
    // Fills `stats` with what the gateway connection has carried and lost
    // (see FerrowGatewayStats.h): 0, or -1 for a null pointer. In
    // firmware-managed mode the gateway carries nothing, and its counts stay 0.
    int GetGatewayStats(FerrowGatewayStats* stats);

    HWND hParent;
    Ferrow_Ctx_c* ctx;
    // A CFG_File, or a CfgFile_c when ownConfig is 0; owned by the gateway.
    void* config;
    Brovik_c* gateway;
    int useGateway;
    int maxPortSearch;
    int autoConnect;
    int dispAllPgn;
    Ferrow_EEPROM_c* eeprom;
    Ferrow_Serial_c* serial;
    Ferrow_N2K_Mon_c* n2kMon;
    Ferrow_N2K_Gen_c* n2kGen;
    Ferrow_ADC_c* adc;
    Ferrow_PWM_c* pwm;
    Ferrow_GPIO_c* gpio;
    Ferrow_SPI_c* spi;
    Ferrow_I2C_c* i2c;
    Ferrow_ICAP_c* icap;
    CWnd* parentWnd;
    int ownConfig;
    // Named by the call frame but never entered, so that Stop can wait for a
    // loop that calls back into this object.
    std::recursive_mutex cs;

private:
    void CreateI(CWnd* parent, void* gatewayArg, const char* eepromFileName,
                 const char* configFileName, unsigned long flags);
    int ConnectI();
    int DisConnectI();
    int IsConnectedI();
    void StopWorkerI();
    // A copy of a message for the monitor's transmit or receive store.
    void Record(int store, N2KMsg* msg);
    void t_tick(unsigned long elapsedMs);
    unsigned long ReadingI(unsigned divisor, unsigned multiplier);
    static void TimerProc(HWND window, unsigned message, uintptr_t id, uint32_t time);
};

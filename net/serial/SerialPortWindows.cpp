#include "net/serial/SerialPort.h"

#include "platform/SystemError.h"

#include <windows.h>

#include <algorithm>

namespace ferrow::net {
namespace {

constexpr char kDevicePrefix[] = "\\\\.\\";
// A read ends at the first pause this long after a byte, or when its
// buffer is full, which at 115200 baud takes some 45 ms.
constexpr DWORD kReadPauseMs = 1;
constexpr std::size_t kReadSize = 512;

bool Configure(HANDLE file, uint32_t baud) {
    DCB dcb{};
    dcb.DCBlength = sizeof dcb;
    if (!GetCommState(file, &dcb)) return false;
    dcb.BaudRate = baud;
    dcb.ByteSize = 8;
    dcb.Parity = NOPARITY;
    dcb.StopBits = ONESTOPBIT;
    dcb.fBinary = TRUE;
    dcb.fParity = FALSE;
    dcb.fOutxCtsFlow = FALSE;
    dcb.fOutxDsrFlow = FALSE;
    dcb.fDtrControl = DTR_CONTROL_ENABLE;
    dcb.fDsrSensitivity = FALSE;
    dcb.fOutX = FALSE;
    dcb.fInX = FALSE;
    dcb.fErrorChar = FALSE;
    dcb.fNull = FALSE;
    dcb.fRtsControl = RTS_CONTROL_ENABLE;
    dcb.fAbortOnError = FALSE;
    // A read waits as long as it takes for a first byte; writes take as
    // long as the line needs. (Reads that return as soon as anything is
    // there, MAXDWORD for both the pause and the multiplier, never return
    // under Wine.)
    COMMTIMEOUTS timeouts{kReadPauseMs, 0, 0, 0, 0};
    return SetCommState(file, &dcb) && SetCommTimeouts(file, &timeouts) &&
           PurgeComm(file, PURGE_RXABORT | PURGE_RXCLEAR | PURGE_TXABORT | PURGE_TXCLEAR);
}

}  // namespace

// Both operations signal one manual-reset event. Starting either resets it,
// so whoever starts one signals it again for the other when that one has
// already finished.
struct SerialPort::Device {
    HANDLE file = INVALID_HANDLE_VALUE;
    HANDLE event = nullptr;
    OVERLAPPED reading{};
    OVERLAPPED writing{};
    bool readPending = false;
    bool writePending = false;
    DWORD failure = ERROR_SUCCESS;  // of an operation that could not start
    uint8_t input[kReadSize];
    DWORD received = 0;   // in `input` by the last read finished
    DWORD delivered = 0;  // of those
    std::vector<uint8_t> output;  // the bytes of the write under way

    ~Device() {
        CancelIoEx(file, nullptr);
        // The system writes into both until each has ended.
        for (;;) {
            ResetEvent(event);
            if ((!readPending || HasOverlappedIoCompleted(&reading)) &&
                (!writePending || HasOverlappedIoCompleted(&writing))) {
                break;
            }
            WaitForSingleObject(event, INFINITE);
        }
        CloseHandle(file);
        CloseHandle(event);
    }

    void Resignal() {
        if (failure != ERROR_SUCCESS || delivered < received ||
            (readPending && HasOverlappedIoCompleted(&reading)) ||
            (writePending && HasOverlappedIoCompleted(&writing))) {
            SetEvent(event);
        }
    }

    void StartRead() {
        received = delivered = 0;
        reading = OVERLAPPED{};
        reading.hEvent = event;
        if (ReadFile(file, input, sizeof input, nullptr, &reading) || GetLastError() == ERROR_IO_PENDING) {
            readPending = true;
        } else {
            failure = GetLastError();
        }
        Resignal();
    }

    void StartWrite(const uint8_t* bytes, std::size_t size) {
        output.assign(bytes, bytes + std::min<std::size_t>(size, MAXDWORD));
        writing = OVERLAPPED{};
        writing.hEvent = event;
        if (WriteFile(file, output.data(), static_cast<DWORD>(output.size()), nullptr, &writing) ||
            GetLastError() == ERROR_IO_PENDING) {
            writePending = true;
        } else {
            failure = GetLastError();
        }
        Resignal();
    }

    // Whether `operation`, pending, has ended, with its count in `n`; false
    // with `failure` set when it ended in error.
    bool Finished(OVERLAPPED& operation, bool& pending, DWORD& n) {
        if (GetOverlappedResult(file, &operation, &n, FALSE)) {
            pending = false;
            return true;
        }
        n = 0;
        if (GetLastError() != ERROR_IO_INCOMPLETE) {
            failure = GetLastError();
            pending = false;
        }
        return false;
    }

    long Lost(std::string& error) const {
        error = platform::SystemErrorText(failure);
        return kLost;
    }
};

void SerialPort::Closer::operator()(Device* device) const { delete device; }

bool SerialPort::SupportsBaud(uint32_t baud) { return baud > 0; }

int SerialPort::Open(const std::string& path, uint32_t baud, std::string& error) {
    Close();
    if (!SupportsBaud(baud)) {
        error = "Cannot open " + path + ": " + std::to_string(baud) + " is not a serial baud rate.";
        return -1;
    }
    const std::string device = path.rfind(kDevicePrefix, 0) == 0 ? path : kDevicePrefix + path;
    const HANDLE file = CreateFileA(device.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                    OPEN_EXISTING, FILE_FLAG_OVERLAPPED, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        error = "Cannot open " + path + ": " + platform::SystemErrorText(GetLastError()) + ".";
        return -1;
    }
    const HANDLE event = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    if (!event || !Configure(file, baud)) {
        error = "Cannot use " + path + " as a serial port: " + platform::SystemErrorText(GetLastError()) + ".";
        if (event) CloseHandle(event);
        CloseHandle(file);
        return -1;
    }
    device_.reset(new Device);
    device_->file = file;
    device_->event = event;
    device_->StartRead();
    return 0;
}

std::intptr_t SerialPort::WaitHandle() const {
    return device_ ? reinterpret_cast<std::intptr_t>(device_->event) : -1;
}

bool SerialPort::WriteIdle() const { return device_ && !device_->writePending; }

long SerialPort::Read(uint8_t* into, std::size_t size, std::string& error) {
    Device& device = *device_;
    ResetEvent(device.event);
    if (device.readPending && device.Finished(device.reading, device.readPending, device.received)) {
        device.delivered = 0;
    }
    if (device.failure != ERROR_SUCCESS) return device.Lost(error);
    const DWORD count = static_cast<DWORD>(std::min<std::size_t>(size, device.received - device.delivered));
    std::copy_n(device.input + device.delivered, count, into);
    device.delivered += count;
    if (!device.readPending && device.delivered == device.received) {
        device.StartRead();
    } else {
        device.Resignal();
    }
    return static_cast<long>(count);
}

long SerialPort::Write(const uint8_t* bytes, std::size_t size, std::string& error) {
    Device& device = *device_;
    DWORD taken = 0;
    if (device.writePending && !device.Finished(device.writing, device.writePending, taken)) {
        if (device.failure != ERROR_SUCCESS) return device.Lost(error);
        return 0;
    }
    if (device.failure != ERROR_SUCCESS) return device.Lost(error);
    if (taken < size) device.StartWrite(bytes + taken, size - taken);
    return static_cast<long>(taken);
}

bool SerialPort::Wait(std::chrono::milliseconds timeout, bool) {
    return WaitForSingleObject(device_->event, static_cast<DWORD>(timeout.count())) == WAIT_OBJECT_0;
}

std::vector<std::string> SerialPort::ListedComPorts() {
    std::vector<std::string> names;
    HKEY key;
    if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, "HARDWARE\\DEVICEMAP\\SERIALCOMM", 0, KEY_READ, &key) !=
        ERROR_SUCCESS) {
        return names;
    }
    for (DWORD index = 0;; ++index) {
        char value[256];
        DWORD valueSize = sizeof value;
        char data[256];
        DWORD dataSize = sizeof data - 1;
        DWORD type = 0;
        const LONG result = RegEnumValueA(key, index, value, &valueSize, nullptr, &type,
                                          reinterpret_cast<BYTE*>(data), &dataSize);
        if (result == ERROR_NO_MORE_ITEMS) break;
        if (result != ERROR_SUCCESS || type != REG_SZ) continue;
        data[dataSize] = '\0';
        if (data[0] != '\0') names.emplace_back(data);
    }
    RegCloseKey(key);
    return names;
}

}  // namespace ferrow::net

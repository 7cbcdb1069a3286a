#include "net/serial/SerialPort.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <iterator>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

namespace ferrow::net {
namespace {

struct Rate {
    uint32_t baud;
    speed_t speed;
};

constexpr Rate kRates[] = {
    {50, B50},           {75, B75},           {110, B110},         {134, B134},
    {150, B150},         {200, B200},         {300, B300},         {600, B600},
    {1200, B1200},       {1800, B1800},       {2400, B2400},       {4800, B4800},
    {9600, B9600},       {19200, B19200},     {38400, B38400},     {57600, B57600},
    {115200, B115200},   {230400, B230400},   {460800, B460800},   {500000, B500000},
    {576000, B576000},   {921600, B921600},   {1000000, B1000000}, {1152000, B1152000},
    {1500000, B1500000}, {2000000, B2000000}, {2500000, B2500000}, {3000000, B3000000},
    {3500000, B3500000}, {4000000, B4000000},
};

const Rate* RateOf(uint32_t baud) {
    for (const Rate& rate : kRates) {
        if (rate.baud == baud) return &rate;
    }
    return nullptr;
}

bool Transient(int error) { return error == EAGAIN || error == EWOULDBLOCK || error == EINTR; }

// What a call that moved `n` bytes returns.
long Moved(ssize_t n, std::string& error) {
    if (n > 0) return static_cast<long>(n);
    if (n < 0 && Transient(errno)) return 0;
    error = n < 0 ? std::strerror(errno) : "";
    return SerialPort::kLost;
}

}  // namespace

struct SerialPort::Device {
    int fd;
};

void SerialPort::Closer::operator()(Device* device) const {
    ::close(device->fd);
    delete device;
}

bool SerialPort::SupportsBaud(uint32_t baud) { return RateOf(baud) != nullptr; }

int SerialPort::Open(const std::string& path, uint32_t baud, std::string& error) {
    Close();
    const Rate* rate = RateOf(baud);
    if (!rate) {
        error = "Cannot open " + path + ": " + std::to_string(baud) + " is not a serial baud rate.";
        return -1;
    }
    const int fd = ::open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        error = "Cannot open " + path + ": " + std::strerror(errno) + ".";
        return -1;
    }
    termios settings{};
    bool set = tcgetattr(fd, &settings) == 0;
    if (set) {
        cfmakeraw(&settings);
        settings.c_cflag &= ~(CSIZE | PARENB | CSTOPB | CRTSCTS);
        settings.c_cflag |= CS8 | CLOCAL | CREAD;
        settings.c_iflag &= ~(IXON | IXOFF | IXANY);
        settings.c_cc[VMIN] = 0;
        settings.c_cc[VTIME] = 0;
        set = cfsetispeed(&settings, rate->speed) == 0 && cfsetospeed(&settings, rate->speed) == 0 &&
              tcsetattr(fd, TCSANOW, &settings) == 0;
    }
    if (!set) {
        error = "Cannot use " + path + " as a serial port: " + std::strerror(errno) + ".";
        ::close(fd);
        return -1;
    }
    tcflush(fd, TCIOFLUSH);
    device_.reset(new Device{fd});
    return 0;
}

std::intptr_t SerialPort::WaitHandle() const { return device_ ? device_->fd : -1; }

bool SerialPort::WriteIdle() const { return false; }

long SerialPort::Read(uint8_t* into, std::size_t size, std::string& error) {
    return Moved(::read(device_->fd, into, size), error);
}

long SerialPort::Write(const uint8_t* bytes, std::size_t size, std::string& error) {
    const ssize_t n = ::write(device_->fd, bytes, size);
    return n == 0 ? 0 : Moved(n, error);
}

bool SerialPort::Wait(std::chrono::milliseconds timeout, bool write) {
    pollfd fd{device_->fd, static_cast<short>(POLLIN | (write ? POLLOUT : 0)), 0};
    return ::poll(&fd, 1, static_cast<int>(timeout.count())) > 0 &&
           (fd.revents & (POLLIN | POLLHUP | POLLERR | POLLNVAL)) != 0;
}

}  // namespace ferrow::net

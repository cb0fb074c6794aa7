// The backend of SystemSettings on a Linux machine: the real network
// interface, the system clock and the /dev/i2c-* buses. The setters change
// the machine and need the privileges to do so.
#include <arpa/inet.h>
#include <fcntl.h>
#include <linux/i2c-dev.h>
#include <linux/reboot.h>
#include <net/if.h>
#include <net/route.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/reboot.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fstream>
#include <sstream>
#include <thread>
#include <vector>

#include "panelsys/SystemSettings.h"

namespace {

constexpr int kPageSize = 8;         // bytes per I2C write transfer
constexpr int kWriteCycleTries = 20; // 1 ms apart, while the device is busy

// A datagram socket for the interface requests, closed on scope exit.
class Socket {
public:
    Socket() : m_fd(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {}
    ~Socket()
    {
        if (m_fd >= 0) ::close(m_fd);
    }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;
    int fd() const { return m_fd; }

private:
    int m_fd;
};

class FileDescriptor {
public:
    explicit FileDescriptor(int fd) : m_fd(fd) {}
    ~FileDescriptor()
    {
        if (m_fd >= 0) ::close(m_fd);
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    int fd() const { return m_fd; }

private:
    int m_fd;
};

// The kernel's name of the interface: an index above 0 names the alias "ifc:index".
bool interfaceRequest(int index, const std::string& ifc, ifreq& request)
{
    std::string name = ifc;
    if (index > 0) name += ":" + std::to_string(index);
    if (name.empty() || name.size() >= IFNAMSIZ) return false;
    std::memset(&request, 0, sizeof request);
    std::memcpy(request.ifr_name, name.c_str(), name.size());
    return true;
}

bool toSockaddr(const oskit::HostAddress& address, sockaddr& out)
{
    sockaddr_in in{};
    in.sin_family = AF_INET;
    if (inet_pton(AF_INET, address.getAddressString(), &in.sin_addr) != 1) return false;
    std::memcpy(&out, &in, sizeof in);
    return true;
}

oskit::HostAddress fromSockaddr(const sockaddr& address)
{
    sockaddr_in in{};
    std::memcpy(&in, &address, sizeof in);
    char text[INET_ADDRSTRLEN] = {};
    if (inet_ntop(AF_INET, &in.sin_addr, text, sizeof text) == nullptr) return oskit::HostAddress();
    return oskit::HostAddress(std::string(text));
}

bool getInterfaceAddress(unsigned long requestCode, int index, const std::string& ifc, oskit::HostAddress& out)
{
    ifreq request{};
    if (!interfaceRequest(index, ifc, request)) return false;
    Socket socket;
    if (socket.fd() < 0 || ::ioctl(socket.fd(), requestCode, &request) != 0) return false;
    out = fromSockaddr(request.ifr_addr);
    return true;
}

bool setInterfaceAddress(unsigned long requestCode, const oskit::HostAddress& address, int index,
                         const std::string& ifc)
{
    ifreq request{};
    if (!interfaceRequest(index, ifc, request) || !toSockaddr(address, request.ifr_addr)) return false;
    Socket socket;
    return socket.fd() >= 0 && ::ioctl(socket.fd(), requestCode, &request) == 0;
}

// Bus names: a path, a number ("1" is /dev/i2c-1) or a device name ("i2c-1").
std::string busDevice(const std::string& bus)
{
    if (bus.empty()) return "";
    if (bus.front() == '/') return bus;
    bool digits = true;
    for (char c : bus) digits = digits && std::isdigit(static_cast<unsigned char>(c));
    if (digits) return "/dev/i2c-" + bus;
    if (bus.rfind("i2c-", 0) == 0) return "/dev/" + bus;
    return "";
}

// Opens the bus and selects the device; an eight-bit address drops its read/write bit.
int openDevice(const std::string& bus, int device)
{
    if (device < 0 || device > 0xFF) return -1;
    const std::string path = busDevice(bus);
    if (path.empty()) return -1;
    const int fd = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
    if (fd < 0) return -1;
    const long address = device > 0x7F ? (device >> 1) : device;
    if (::ioctl(fd, I2C_SLAVE, address) != 0) {
        ::close(fd);
        return -1;
    }
    return fd;
}

bool validTransfer(int offset, const unsigned char* data, int length)
{
    return offset >= 0 && offset <= 0xFF && length >= 0 && offset + length <= 0x100 && (data != nullptr || length == 0);
}

void setClock(const std::tm& wanted)
{
    std::tm copy = wanted;
    copy.tm_isdst = -1;
    const std::time_t seconds = std::mktime(&copy);
    if (seconds == static_cast<std::time_t>(-1)) return;
    timespec value{};
    value.tv_sec = seconds;
    if (::clock_settime(CLOCK_REALTIME, &value) != 0) std::perror("SystemSettings: clock_settime");
}

std::tm localNow()
{
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    return local;
}

class LinuxSystemBackend : public ISystemBackend {
public:
    void reboot(int flags) override
    {
        ::sync();
        // Hardware and operating system restart alike on this machine.
        (void)flags;
        if (::reboot(LINUX_REBOOT_CMD_RESTART) != 0) std::perror("SystemSettings: reboot");
    }

    void setIPAddressAndNetmask(const oskit::HostAddress& ip, const oskit::HostAddress& netmask, int index,
                                const std::string& ifc) override
    {
        setIPAddress(ip, index, ifc);
        setNetmask(netmask, index, ifc);
    }

    void setIPAddress(const oskit::HostAddress& ip, int index, const std::string& ifc) override
    {
        if (!setInterfaceAddress(SIOCSIFADDR, ip, index, ifc)) std::perror("SystemSettings: set address");
    }

    oskit::HostAddress getIPAddress(int index, const std::string& ifc) override
    {
        oskit::HostAddress address;
        if (!getInterfaceAddress(SIOCGIFADDR, index, ifc, address)) return oskit::HostAddress();
        return address;
    }

    void setNetmask(const oskit::HostAddress& netmask, int index, const std::string& ifc) override
    {
        if (!setInterfaceAddress(SIOCSIFNETMASK, netmask, index, ifc)) std::perror("SystemSettings: set netmask");
    }

    oskit::HostAddress getNetmask(int index, const std::string& ifc, const oskit::HostAddress& fallback) override
    {
        oskit::HostAddress netmask;
        if (!getInterfaceAddress(SIOCGIFNETMASK, index, ifc, netmask)) return fallback;
        return netmask;
    }

    // Replaces the default route of the interface. The new route goes in
    // before the old one goes, so that a gateway the kernel refuses (one
    // outside the interface's network) leaves the old route in place.
    void setGateway(const oskit::HostAddress& gateway, int index, const std::string& ifc) override
    {
        ifreq request{};
        if (!interfaceRequest(index, ifc, request)) return;
        rtentry route{};
        sockaddr_in any{};
        any.sin_family = AF_INET;
        std::memcpy(&route.rt_dst, &any, sizeof any);
        std::memcpy(&route.rt_genmask, &any, sizeof any);
        route.rt_dev = request.ifr_name;
        route.rt_flags = RTF_UP | RTF_GATEWAY;
        Socket socket;
        if (socket.fd() < 0 || !toSockaddr(gateway, route.rt_gateway)) return;
        const oskit::HostAddress old = getGateway(index, ifc);
        if (::ioctl(socket.fd(), SIOCADDRT, &route) != 0) {
            // The same route again is no change.
            if (errno != EEXIST) std::perror("SystemSettings: set gateway");
            return;
        }
        if (old.isValid() && std::string(old.getAddressString()) != gateway.getAddressString() &&
            toSockaddr(old, route.rt_gateway))
            ::ioctl(socket.fd(), SIOCDELRT, &route);
    }

    // The default route of the interface in /proc/net/route.
    oskit::HostAddress getGateway(int index, const std::string& ifc) override
    {
        std::string name = ifc;
        if (index > 0) name += ":" + std::to_string(index);
        std::ifstream routes("/proc/net/route");
        std::string line;
        std::getline(routes, line); // header
        while (std::getline(routes, line)) {
            std::istringstream fields(line);
            std::string iface;
            std::string destination;
            std::string gateway;
            std::string flags;
            if (!(fields >> iface >> destination >> gateway >> flags)) continue;
            if (iface != name || destination != "00000000") continue;
            unsigned long gatewayWord = 0;
            unsigned long flagWord = 0;
            if (std::sscanf(gateway.c_str(), "%lx", &gatewayWord) != 1) continue;
            if (std::sscanf(flags.c_str(), "%lx", &flagWord) != 1 || (flagWord & RTF_GATEWAY) == 0) continue;
            in_addr address{};
            address.s_addr = static_cast<in_addr_t>(gatewayWord); // already in network order
            char text[INET_ADDRSTRLEN] = {};
            if (inet_ntop(AF_INET, &address, text, sizeof text) == nullptr) continue;
            return oskit::HostAddress(std::string(text));
        }
        return oskit::HostAddress();
    }

    void setTime(uint8_t hour, uint8_t minute, uint8_t second) override
    {
        std::tm wanted = localNow();
        wanted.tm_hour = hour;
        wanted.tm_min = minute;
        wanted.tm_sec = second;
        setClock(wanted);
    }

    void getTime(uint8_t& hour, uint8_t& minute, uint8_t& second) override
    {
        const std::tm now = localNow();
        hour = static_cast<uint8_t>(now.tm_hour);
        minute = static_cast<uint8_t>(now.tm_min);
        second = static_cast<uint8_t>(now.tm_sec);
    }

    void setDate(uint16_t year, uint8_t month, uint8_t day) override
    {
        std::tm wanted = localNow();
        wanted.tm_year = year - 1900;
        wanted.tm_mon = month - 1;
        wanted.tm_mday = day;
        setClock(wanted);
    }

    void getDate(uint16_t& year, uint8_t& month, uint8_t& day) override
    {
        const std::tm now = localNow();
        year = static_cast<uint16_t>(now.tm_year + 1900);
        month = static_cast<uint8_t>(now.tm_mon + 1);
        day = static_cast<uint8_t>(now.tm_mday);
    }

    // Writes page by page: the offset byte, then the page's data; a device
    // busy with its write cycle is asked again.
    bool i2cWrite(const std::string& bus, int device, int offset, const unsigned char* data, int length) override
    {
        if (!validTransfer(offset, data, length)) return false;
        FileDescriptor fd(openDevice(bus, device));
        if (fd.fd() < 0) return false;
        for (int done = 0; done < length;) {
            const int chunk = std::min(kPageSize - ((offset + done) % kPageSize), length - done);
            std::vector<unsigned char> transfer(static_cast<size_t>(chunk) + 1);
            transfer[0] = static_cast<unsigned char>(offset + done);
            std::memcpy(transfer.data() + 1, data + done, static_cast<size_t>(chunk));
            bool written = false;
            for (int attempt = 0; attempt < kWriteCycleTries && !written; ++attempt) {
                written = ::write(fd.fd(), transfer.data(), transfer.size()) == static_cast<ssize_t>(transfer.size());
                if (!written) std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
            if (!written) return false;
            done += chunk;
        }
        return true;
    }

    bool i2cRead(const std::string& bus, int device, int offset, unsigned char* data, int length,
                 int /*flags*/) override
    {
        if (!validTransfer(offset, data, length)) return false;
        FileDescriptor fd(openDevice(bus, device));
        if (fd.fd() < 0) return false;
        const auto start = static_cast<unsigned char>(offset);
        bool addressed = false;
        for (int attempt = 0; attempt < kWriteCycleTries && !addressed; ++attempt) {
            addressed = ::write(fd.fd(), &start, 1) == 1;
            if (!addressed) std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        if (!addressed) return false;
        return length == 0 || ::read(fd.fd(), data, static_cast<size_t>(length)) == length;
    }
};

} // namespace

std::shared_ptr<ISystemBackend> makeLinuxSystemBackend()
{
    return std::make_shared<LinuxSystemBackend>();
}

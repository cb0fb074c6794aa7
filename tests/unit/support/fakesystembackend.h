#pragma once

// A system backend for tests: records what the module asks of the machine and
// answers from plain fields. Install it with FakeSystemScope.

#include <mutex>
#include <string>
#include <vector>

#include "panelsys/SystemSettings.h"

class FakeSystemBackend : public ISystemBackend {
public:
    std::mutex mutex;
    std::vector<int> reboots;
    std::string ip = "192.168.0.10", netmask = "255.255.255.0", gateway = "192.168.0.1";
    std::vector<std::string> networkCalls;
    uint16_t year = 2024;
    uint8_t month = 1, day = 2, hour = 3, minute = 4, second = 5;
    bool i2cWriteOk = true, i2cReadOk = true;
    std::vector<unsigned char> eeprom = std::vector<unsigned char>(256, 0);
    std::vector<std::string> i2cCalls;

    void reboot(int flags) override
    {
        std::lock_guard<std::mutex> lock(mutex);
        reboots.push_back(flags);
    }
    void setIPAddressAndNetmask(const oskit::HostAddress& a, const oskit::HostAddress& m, int index,
                                const std::string& ifc) override
    {
        std::lock_guard<std::mutex> lock(mutex);
        ip = a.getAddressString();
        netmask = m.getAddressString();
        networkCalls.push_back("setIPAddressAndNetmask " + ip + " " + netmask + " " + std::to_string(index) + " " + ifc);
    }
    void setIPAddress(const oskit::HostAddress& a, int index, const std::string& ifc) override
    {
        std::lock_guard<std::mutex> lock(mutex);
        ip = a.getAddressString();
        networkCalls.push_back("setIPAddress " + ip + " " + std::to_string(index) + " " + ifc);
    }
    oskit::HostAddress getIPAddress(int, const std::string&) override
    {
        std::lock_guard<std::mutex> lock(mutex);
        return oskit::HostAddress(ip);
    }
    void setNetmask(const oskit::HostAddress& m, int index, const std::string& ifc) override
    {
        std::lock_guard<std::mutex> lock(mutex);
        netmask = m.getAddressString();
        networkCalls.push_back("setNetmask " + netmask + " " + std::to_string(index) + " " + ifc);
    }
    oskit::HostAddress getNetmask(int, const std::string&, const oskit::HostAddress&) override
    {
        std::lock_guard<std::mutex> lock(mutex);
        return oskit::HostAddress(netmask);
    }
    void setGateway(const oskit::HostAddress& g, int index, const std::string& ifc) override
    {
        std::lock_guard<std::mutex> lock(mutex);
        gateway = g.getAddressString();
        networkCalls.push_back("setGateway " + gateway + " " + std::to_string(index) + " " + ifc);
    }
    oskit::HostAddress getGateway(int, const std::string&) override
    {
        std::lock_guard<std::mutex> lock(mutex);
        return oskit::HostAddress(gateway);
    }
    void setTime(uint8_t h, uint8_t m, uint8_t s) override
    {
        std::lock_guard<std::mutex> lock(mutex);
        hour = h, minute = m, second = s;
    }
    void getTime(uint8_t& h, uint8_t& m, uint8_t& s) override
    {
        std::lock_guard<std::mutex> lock(mutex);
        h = hour, m = minute, s = second;
    }
    void setDate(uint16_t y, uint8_t mo, uint8_t d) override
    {
        std::lock_guard<std::mutex> lock(mutex);
        year = y, month = mo, day = d;
    }
    void getDate(uint16_t& y, uint8_t& mo, uint8_t& d) override
    {
        std::lock_guard<std::mutex> lock(mutex);
        y = year, mo = month, d = day;
    }
    bool i2cWrite(const std::string& bus, int device, int offset, const unsigned char* data, int length) override
    {
        std::lock_guard<std::mutex> lock(mutex);
        i2cCalls.push_back("write " + bus + " " + std::to_string(device) + " " + std::to_string(offset) + " " +
                           std::to_string(length));
        if (!i2cWriteOk) return false;
        for (int i = 0; i < length && offset + i < static_cast<int>(eeprom.size()); ++i) eeprom[offset + i] = data[i];
        return true;
    }
    bool i2cRead(const std::string& bus, int device, int offset, unsigned char* data, int length, int) override
    {
        std::lock_guard<std::mutex> lock(mutex);
        i2cCalls.push_back("read " + bus + " " + std::to_string(device) + " " + std::to_string(offset) + " " +
                           std::to_string(length));
        if (!i2cReadOk) return false;
        for (int i = 0; i < length; ++i)
            data[i] = offset + i < static_cast<int>(eeprom.size()) ? eeprom[offset + i] : 0;
        return true;
    }
};

// Installs a FakeSystemBackend as the process's system backend for its lifetime.
class FakeSystemScope {
public:
    FakeSystemScope() : backend(std::make_shared<FakeSystemBackend>())
    {
        auto shared = backend;
        setSystemBackendFactory([shared] { return std::static_pointer_cast<ISystemBackend>(shared); });
    }
    ~FakeSystemScope() { setSystemBackendFactory(nullptr); }
    FakeSystemScope(const FakeSystemScope&) = delete;
    FakeSystemScope& operator=(const FakeSystemScope&) = delete;

    std::shared_ptr<FakeSystemBackend> backend;
};

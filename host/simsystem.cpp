#include "simsystem.h"

#include <cstdio>
#include <vector>

#include "hostcall.h"
#include "knobs.h"
#include "oskit/HostAddress.h"
#include "textutil.h"

namespace panelhost {

namespace {
const char* kDefaultIp = "192.168.1.100";
const char* kDefaultNetmask = "255.255.255.0";
const char* kDefaultGateway = "192.168.1.1";

std::string two(int v)
{
    char buf[16];
    std::snprintf(buf, sizeof buf, "%02d", v);
    return buf;
}
} // namespace

SimSystem::SimSystem(Recorder& recorder, Knobs& knobs) : m_recorder(recorder), m_knobs(knobs)
{
    m_eeprom.fill(0xff);
}

std::tm SimSystem::nowLocked() const
{
    const std::time_t t = m_frozen ? *m_frozen : std::time(nullptr) + static_cast<std::time_t>(m_offsetSeconds);
    std::tm tm{};
    gmtime_r(&t, &tm);
    return tm;
}

void SimSystem::moveTo(std::tm target)
{
    const std::time_t t = timegm(&target);
    if (m_frozen) m_frozen = t;
    else m_offsetSeconds = static_cast<long long>(t) - static_cast<long long>(std::time(nullptr));
}

bool SimSystem::setKnob(const std::string& name, const std::string& value, std::string& error)
{
    error.clear();
    if (name == "date" || name == "time") {
        int a = 0, b = 0, c = 0;
        char tail = 0;
        const char* format = name == "date" ? "%d-%d-%d%c" : "%d:%d:%d%c";
        if (std::sscanf(value.c_str(), format, &a, &b, &c, &tail) != 3) {
            error = name == "date" ? "a date YYYY-MM-DD" : "a time HH:MM:SS";
            return false;
        }
        std::lock_guard<std::mutex> lock(m_mutex);
        std::tm tm = nowLocked();
        if (name == "date") {
            tm.tm_year = a - 1900;
            tm.tm_mon = b - 1;
            tm.tm_mday = c;
        } else {
            tm.tm_hour = a;
            tm.tm_min = b;
            tm.tm_sec = c;
        }
        m_frozen = timegm(&tm);
        return true;
    }
    if (name == "i2c.eeprom") {
        auto bytes = parseHex(value);
        if (!bytes || bytes->size() > kEepromSize) {
            error = "at most 256 bytes as hex pairs";
            return false;
        }
        setEeprom(*bytes);
        return true;
    }
    return false;
}

std::optional<std::string> SimSystem::knob(const std::string& name) const
{
    if (name == "date" || name == "time") {
        std::lock_guard<std::mutex> lock(m_mutex);
        const std::tm tm = nowLocked();
        if (name == "date") return std::to_string(tm.tm_year + 1900) + "-" + two(tm.tm_mon + 1) + "-" + two(tm.tm_mday);
        return two(tm.tm_hour) + ":" + two(tm.tm_min) + ":" + two(tm.tm_sec);
    }
    if (name == "i2c.eeprom") return hexText(eeprom());
    if (name == "network.ip") return m_knobs.get(name, kDefaultIp);
    if (name == "network.netmask") return m_knobs.get(name, kDefaultNetmask);
    if (name == "network.gateway") return m_knobs.get(name, kDefaultGateway);
    return std::nullopt;
}

std::string SimSystem::eeprom() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return std::string(m_eeprom.begin(), m_eeprom.end());
}

void SimSystem::setEeprom(const std::string& bytes)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_eeprom.fill(0xff);
    for (size_t i = 0; i < bytes.size() && i < kEepromSize; ++i) m_eeprom[i] = static_cast<unsigned char>(bytes[i]);
}

void SimSystem::reboot(int flags)
{
    recordHostCall(m_recorder, "ISystemBackend.reboot", {std::to_string(flags)});
}

void SimSystem::setIPAddressAndNetmask(const oskit::HostAddress& ip, const oskit::HostAddress& netmask, int index,
                                       const std::string& ifc)
{
    recordHostCall(m_recorder, "ISystemBackend.setIPAddressAndNetmask",
                   {ip.getAddressString(), netmask.getAddressString(), std::to_string(index), ifc});
    m_knobs.set("network.ip", ip.getAddressString());
    m_knobs.set("network.netmask", netmask.getAddressString());
}

void SimSystem::setIPAddress(const oskit::HostAddress& ip, int index, const std::string& ifc)
{
    recordHostCall(m_recorder, "ISystemBackend.setIPAddress", {ip.getAddressString(), std::to_string(index), ifc});
    m_knobs.set("network.ip", ip.getAddressString());
}

oskit::HostAddress SimSystem::getIPAddress(int index, const std::string& ifc)
{
    recordHostCall(m_recorder, "ISystemBackend.getIPAddress", {std::to_string(index), ifc}, false);
    return oskit::HostAddress(m_knobs.get("network.ip", kDefaultIp));
}

void SimSystem::setNetmask(const oskit::HostAddress& netmask, int index, const std::string& ifc)
{
    recordHostCall(m_recorder, "ISystemBackend.setNetmask", {netmask.getAddressString(), std::to_string(index), ifc});
    m_knobs.set("network.netmask", netmask.getAddressString());
}

oskit::HostAddress SimSystem::getNetmask(int index, const std::string& ifc, const oskit::HostAddress& fallback)
{
    recordHostCall(m_recorder, "ISystemBackend.getNetmask", {std::to_string(index), ifc, fallback.getAddressString()},
                   false);
    auto v = m_knobs.get("network.netmask");
    return v ? oskit::HostAddress(*v) : oskit::HostAddress(kDefaultNetmask);
}

void SimSystem::setGateway(const oskit::HostAddress& gateway, int index, const std::string& ifc)
{
    recordHostCall(m_recorder, "ISystemBackend.setGateway", {gateway.getAddressString(), std::to_string(index), ifc});
    m_knobs.set("network.gateway", gateway.getAddressString());
}

oskit::HostAddress SimSystem::getGateway(int index, const std::string& ifc)
{
    recordHostCall(m_recorder, "ISystemBackend.getGateway", {std::to_string(index), ifc}, false);
    return oskit::HostAddress(m_knobs.get("network.gateway", kDefaultGateway));
}

void SimSystem::setTime(uint8_t hour, uint8_t minute, uint8_t second)
{
    recordHostCall(m_recorder, "ISystemBackend.setTime",
                   {std::to_string(hour), std::to_string(minute), std::to_string(second)});
    std::lock_guard<std::mutex> lock(m_mutex);
    std::tm tm = nowLocked();
    tm.tm_hour = hour;
    tm.tm_min = minute;
    tm.tm_sec = second;
    moveTo(tm);
}

void SimSystem::getTime(uint8_t& hour, uint8_t& minute, uint8_t& second)
{
    recordHostCall(m_recorder, "ISystemBackend.getTime", {}, false);
    std::lock_guard<std::mutex> lock(m_mutex);
    const std::tm tm = nowLocked();
    hour = static_cast<uint8_t>(tm.tm_hour);
    minute = static_cast<uint8_t>(tm.tm_min);
    second = static_cast<uint8_t>(tm.tm_sec);
}

void SimSystem::setDate(uint16_t year, uint8_t month, uint8_t day)
{
    recordHostCall(m_recorder, "ISystemBackend.setDate",
                   {std::to_string(year), std::to_string(month), std::to_string(day)});
    std::lock_guard<std::mutex> lock(m_mutex);
    std::tm tm = nowLocked();
    tm.tm_year = static_cast<int>(year) - 1900;
    tm.tm_mon = static_cast<int>(month) - 1;
    tm.tm_mday = day;
    moveTo(tm);
}

void SimSystem::getDate(uint16_t& year, uint8_t& month, uint8_t& day)
{
    recordHostCall(m_recorder, "ISystemBackend.getDate", {}, false);
    std::lock_guard<std::mutex> lock(m_mutex);
    const std::tm tm = nowLocked();
    year = static_cast<uint16_t>(tm.tm_year + 1900);
    month = static_cast<uint8_t>(tm.tm_mon + 1);
    day = static_cast<uint8_t>(tm.tm_mday);
}

bool SimSystem::i2cWrite(const std::string& bus, int device, int offset, const unsigned char* data, int length)
{
    const size_t n = data && length > 0 ? static_cast<size_t>(length) : 0;
    recordHostCall(m_recorder, "ISystemBackend.i2cWrite",
                   {bus, std::to_string(device), std::to_string(offset), hexText(data, n), std::to_string(length)});
    if (m_knobs.get("i2c.write", "ok") == "fail") return false;
    std::lock_guard<std::mutex> lock(m_mutex);
    for (size_t i = 0; i < n; ++i) {
        const long long at = static_cast<long long>(offset) + static_cast<long long>(i);
        if (at >= 0 && at < static_cast<long long>(kEepromSize)) m_eeprom[static_cast<size_t>(at)] = data[i];
    }
    return true;
}

bool SimSystem::i2cRead(const std::string& bus, int device, int offset, unsigned char* data, int length, int flags)
{
    recordHostCall(m_recorder, "ISystemBackend.i2cRead",
                   {bus, std::to_string(device), std::to_string(offset), std::to_string(length), std::to_string(flags)});
    if (m_knobs.get("i2c.read", "ok") == "fail") return false;
    if (!data || length <= 0) return true;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        for (int i = 0; i < length; ++i) {
            const long long at = static_cast<long long>(offset) + i;
            data[i] = at >= 0 && at < static_cast<long long>(kEepromSize) ? m_eeprom[static_cast<size_t>(at)] : 0xff;
        }
    }
    if (m_knobs.get("i2c.readback", "ok") == "corrupt") data[0] ^= 1;
    return true;
}

} // namespace panelhost

#pragma once

// The simulated machine behind SystemSettings: network settings kept in knobs,
// a clock that runs at an offset to the real one (and stands still once a
// script sets `sim date` or `sim time`), reboot requests recorded as calls,
// and an I2C bus with one 256-byte EEPROM whose faults knobs switch on:
//   i2c.write = ok|fail, i2c.read = ok|fail,
//   i2c.readback = ok|corrupt (the read gives the stored bytes with the lowest
//   bit of the first byte inverted).
// The EEPROM answers every bus and device address alike; bytes beyond the
// 256 are dropped on writes and read as 0xff.

#include <array>
#include <ctime>
#include <mutex>
#include <optional>
#include <string>

#include "panelsys/SystemSettings.h"

namespace panelhost {

class Recorder;
class Knobs;

class SimSystem : public ISystemBackend {
public:
    static constexpr size_t kEepromSize = 256;

    SimSystem(Recorder& recorder, Knobs& knobs);

    // The knobs this object owns: date, time, i2c.eeprom (hex text), and the
    // defaults of network.ip|netmask|gateway. setKnob answers false with a
    // message for a bad value; knobs it doesn't own answer false with an
    // empty message.
    bool setKnob(const std::string& name, const std::string& value, std::string& error);
    std::optional<std::string> knob(const std::string& name) const;

    std::string eeprom() const; // 256 raw bytes
    void setEeprom(const std::string& bytes);

    void reboot(int flags) override;
    void setIPAddressAndNetmask(const oskit::HostAddress& ip, const oskit::HostAddress& netmask, int index,
                                const std::string& ifc) override;
    void setIPAddress(const oskit::HostAddress& ip, int index, const std::string& ifc) override;
    oskit::HostAddress getIPAddress(int index, const std::string& ifc) override;
    void setNetmask(const oskit::HostAddress& netmask, int index, const std::string& ifc) override;
    oskit::HostAddress getNetmask(int index, const std::string& ifc, const oskit::HostAddress& fallback) override;
    void setGateway(const oskit::HostAddress& gateway, int index, const std::string& ifc) override;
    oskit::HostAddress getGateway(int index, const std::string& ifc) override;
    void setTime(uint8_t hour, uint8_t minute, uint8_t second) override;
    void getTime(uint8_t& hour, uint8_t& minute, uint8_t& second) override;
    void setDate(uint16_t year, uint8_t month, uint8_t day) override;
    void getDate(uint16_t& year, uint8_t& month, uint8_t& day) override;
    bool i2cWrite(const std::string& bus, int device, int offset, const unsigned char* data, int length) override;
    bool i2cRead(const std::string& bus, int device, int offset, unsigned char* data, int length, int flags) override;

private:
    std::tm nowLocked() const;
    void moveTo(std::tm target);

    Recorder& m_recorder;
    Knobs& m_knobs;
    mutable std::mutex m_mutex;
    long long m_offsetSeconds = 0;
    std::optional<std::time_t> m_frozen;
    std::array<unsigned char, kEepromSize> m_eeprom;
};

} // namespace panelhost

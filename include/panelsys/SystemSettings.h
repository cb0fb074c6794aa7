#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "oskit/HostAddress.h"
#include "panelkit/Export.h"
#include "panelmfd/IInterface.h"

// The panel's I2C buses, reached as interface 2006000 of SystemSettings.
class PANEL_API II2C : public virtual IInterface {
public:
    static constexpr unsigned kInterfaceId = 2006000;
    virtual bool write(const std::string& bus, int device, int offset, const unsigned char* data, int length) = 0;
    virtual bool read(const std::string& bus, int device, int offset, unsigned char* data, int length, int flags) = 0;
};

// What a SystemSettings object does: the machine's network, clock, reboot and I2C.
class PANEL_API ISystemBackend {
public:
    virtual ~ISystemBackend();
    virtual void reboot(int flags) = 0;
    virtual void setIPAddressAndNetmask(const oskit::HostAddress& ip, const oskit::HostAddress& netmask, int index,
                                        const std::string& ifc) = 0;
    virtual void setIPAddress(const oskit::HostAddress& ip, int index, const std::string& ifc) = 0;
    virtual oskit::HostAddress getIPAddress(int index, const std::string& ifc) = 0;
    virtual void setNetmask(const oskit::HostAddress& netmask, int index, const std::string& ifc) = 0;
    virtual oskit::HostAddress getNetmask(int index, const std::string& ifc, const oskit::HostAddress& fallback) = 0;
    virtual void setGateway(const oskit::HostAddress& gateway, int index, const std::string& ifc) = 0;
    virtual oskit::HostAddress getGateway(int index, const std::string& ifc) = 0;
    virtual void setTime(uint8_t hour, uint8_t minute, uint8_t second) = 0;
    virtual void getTime(uint8_t& hour, uint8_t& minute, uint8_t& second) = 0;
    virtual void setDate(uint16_t year, uint8_t month, uint8_t day) = 0;
    virtual void getDate(uint16_t& year, uint8_t& month, uint8_t& day) = 0;
    virtual bool i2cWrite(const std::string& bus, int device, int offset, const unsigned char* data, int length) = 0;
    virtual bool i2cRead(const std::string& bus, int device, int offset, unsigned char* data, int length,
                         int flags) = 0;
};

// The process-wide choice of backend. The host installs a factory before it
// loads the module; without one, SystemSettings uses the Linux backend.
using SystemBackendFactory = std::function<std::shared_ptr<ISystemBackend>()>;
PANEL_API void setSystemBackendFactory(SystemBackendFactory factory);
// The Linux backend: reads the real interface, clock and /dev/i2c-*.
PANEL_API std::shared_ptr<ISystemBackend> makeLinuxSystemBackend();

class PANEL_API SystemSettings : public II2C {
public:
    enum ERebootFlags { REBOOT_OS = 128, REBOOT_HW = 256 };

    SystemSettings();
    explicit SystemSettings(std::shared_ptr<ISystemBackend> backend);
    ~SystemSettings() override;

    IInterface* queryInterface(unsigned int id) override;

    void reboot(int flags);
    void setIPAddressAndNetmask(const oskit::HostAddress& ip, const oskit::HostAddress& netmask, int index,
                                const std::string& ifc);
    void setIPAddress(const oskit::HostAddress& ip, int index, const std::string& ifc);
    oskit::HostAddress getIPAddress(int index, const std::string& ifc);
    void setNetmask(const oskit::HostAddress& netmask, int index, const std::string& ifc);
    oskit::HostAddress getNetmask(int index, const std::string& ifc, const oskit::HostAddress& fallback);
    void setGateway(const oskit::HostAddress& gateway, int index, const std::string& ifc);
    oskit::HostAddress getGateway(int index, const std::string& ifc);
    void setTime(uint8_t hour, uint8_t minute, uint8_t second);
    void getTime(uint8_t& hour, uint8_t& minute, uint8_t& second);
    void setDate(uint16_t year, uint8_t month, uint8_t day);
    void getDate(uint16_t& year, uint8_t& month, uint8_t& day);

    bool write(const std::string& bus, int device, int offset, const unsigned char* data, int length) override;
    bool read(const std::string& bus, int device, int offset, unsigned char* data, int length, int flags) override;

private:
    std::shared_ptr<ISystemBackend> m_backend;
};

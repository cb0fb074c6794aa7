#include "panelsys/SystemSettings.h"

#include <mutex>

namespace {

std::mutex& factoryMutex()
{
    static std::mutex mutex;
    return mutex;
}

SystemBackendFactory& installedFactory()
{
    static SystemBackendFactory* factory = new SystemBackendFactory();
    return *factory;
}

std::shared_ptr<ISystemBackend> defaultBackend()
{
    SystemBackendFactory factory;
    {
        std::lock_guard<std::mutex> lock(factoryMutex());
        factory = installedFactory();
    }
    std::shared_ptr<ISystemBackend> backend;
    if (factory) backend = factory();
    if (!backend) backend = makeLinuxSystemBackend();
    return backend;
}

} // namespace

ISystemBackend::~ISystemBackend() = default;

void setSystemBackendFactory(SystemBackendFactory factory)
{
    std::lock_guard<std::mutex> lock(factoryMutex());
    installedFactory() = std::move(factory);
}

SystemSettings::SystemSettings() : m_backend(defaultBackend()) {}

SystemSettings::SystemSettings(std::shared_ptr<ISystemBackend> backend)
    : m_backend(backend ? std::move(backend) : makeLinuxSystemBackend())
{
}

SystemSettings::~SystemSettings() = default;

IInterface* SystemSettings::queryInterface(unsigned int id)
{
    if (id == II2C::kInterfaceId) return static_cast<II2C*>(this);
    return nullptr;
}

void SystemSettings::reboot(int flags)
{
    m_backend->reboot(flags);
}

void SystemSettings::setIPAddressAndNetmask(const oskit::HostAddress& ip, const oskit::HostAddress& netmask, int index,
                                            const std::string& ifc)
{
    m_backend->setIPAddressAndNetmask(ip, netmask, index, ifc);
}

void SystemSettings::setIPAddress(const oskit::HostAddress& ip, int index, const std::string& ifc)
{
    m_backend->setIPAddress(ip, index, ifc);
}

oskit::HostAddress SystemSettings::getIPAddress(int index, const std::string& ifc)
{
    return m_backend->getIPAddress(index, ifc);
}

void SystemSettings::setNetmask(const oskit::HostAddress& netmask, int index, const std::string& ifc)
{
    m_backend->setNetmask(netmask, index, ifc);
}

oskit::HostAddress SystemSettings::getNetmask(int index, const std::string& ifc, const oskit::HostAddress& fallback)
{
    return m_backend->getNetmask(index, ifc, fallback);
}

void SystemSettings::setGateway(const oskit::HostAddress& gateway, int index, const std::string& ifc)
{
    m_backend->setGateway(gateway, index, ifc);
}

oskit::HostAddress SystemSettings::getGateway(int index, const std::string& ifc)
{
    return m_backend->getGateway(index, ifc);
}

void SystemSettings::setTime(uint8_t hour, uint8_t minute, uint8_t second)
{
    m_backend->setTime(hour, minute, second);
}

void SystemSettings::getTime(uint8_t& hour, uint8_t& minute, uint8_t& second)
{
    m_backend->getTime(hour, minute, second);
}

void SystemSettings::setDate(uint16_t year, uint8_t month, uint8_t day)
{
    m_backend->setDate(year, month, day);
}

void SystemSettings::getDate(uint16_t& year, uint8_t& month, uint8_t& day)
{
    m_backend->getDate(year, month, day);
}

bool SystemSettings::write(const std::string& bus, int device, int offset, const unsigned char* data, int length)
{
    return m_backend->i2cWrite(bus, device, offset, data, length);
}

bool SystemSettings::read(const std::string& bus, int device, int offset, unsigned char* data, int length, int flags)
{
    return m_backend->i2cRead(bus, device, offset, data, length, flags);
}

// SystemSettings: the backend choice, the I2C interface and the Linux getters.
// Nothing here changes the machine: only getters and failing paths of the
// Linux backend run.

#include <gtest/gtest.h>

#include <ctime>
#include <vector>

#include "panelsys/SystemSettings.h"

namespace {

// Records what reaches it; answers fixed values.
class RecordingBackend : public ISystemBackend {
public:
    void reboot(int flags) override { rebootFlags = flags; }
    void setIPAddressAndNetmask(const oskit::HostAddress& ip, const oskit::HostAddress& netmask, int,
                                const std::string& ifc) override
    {
        calls.push_back("setIPAddressAndNetmask " + std::string(ip.getAddressString()) + " " +
                        netmask.getAddressString() + " " + ifc);
    }
    void setIPAddress(const oskit::HostAddress& ip, int, const std::string& ifc) override
    {
        calls.push_back("setIPAddress " + std::string(ip.getAddressString()) + " " + ifc);
    }
    oskit::HostAddress getIPAddress(int, const std::string&) override { return oskit::HostAddress("10.1.2.3"); }
    void setNetmask(const oskit::HostAddress& netmask, int, const std::string&) override
    {
        calls.push_back("setNetmask " + std::string(netmask.getAddressString()));
    }
    oskit::HostAddress getNetmask(int, const std::string&, const oskit::HostAddress& fallback) override
    {
        return fallback;
    }
    void setGateway(const oskit::HostAddress& gateway, int, const std::string&) override
    {
        calls.push_back("setGateway " + std::string(gateway.getAddressString()));
    }
    oskit::HostAddress getGateway(int, const std::string&) override { return oskit::HostAddress("10.1.2.254"); }
    void setTime(uint8_t h, uint8_t m, uint8_t s) override
    {
        calls.push_back("setTime " + std::to_string(h) + ":" + std::to_string(m) + ":" + std::to_string(s));
    }
    void getTime(uint8_t& h, uint8_t& m, uint8_t& s) override
    {
        h = 12;
        m = 34;
        s = 56;
    }
    void setDate(uint16_t y, uint8_t m, uint8_t d) override
    {
        calls.push_back("setDate " + std::to_string(y) + "-" + std::to_string(m) + "-" + std::to_string(d));
    }
    void getDate(uint16_t& y, uint8_t& m, uint8_t& d) override
    {
        y = 2024;
        m = 2;
        d = 29;
    }
    bool i2cWrite(const std::string& bus, int device, int offset, const unsigned char* data, int length) override
    {
        calls.push_back("write " + bus + " " + std::to_string(device) + " " + std::to_string(offset) + " " +
                        std::to_string(length));
        written.assign(data, data + length);
        return true;
    }
    bool i2cRead(const std::string& bus, int device, int offset, unsigned char* data, int length, int flags) override
    {
        calls.push_back("read " + bus + " " + std::to_string(device) + " " + std::to_string(offset) + " " +
                        std::to_string(length) + " " + std::to_string(flags));
        for (int i = 0; i < length; ++i) data[i] = static_cast<unsigned char>(i);
        return false;
    }
    int rebootFlags = 0;
    std::vector<std::string> calls;
    std::vector<unsigned char> written;
};

// Installs a factory for one test and removes it afterwards.
class FactoryGuard {
public:
    explicit FactoryGuard(SystemBackendFactory factory) { setSystemBackendFactory(std::move(factory)); }
    ~FactoryGuard() { setSystemBackendFactory(nullptr); }
};

} // namespace

TEST(SystemSettings, DefaultConstructorUsesInstalledFactory)
{
    auto backend = std::make_shared<RecordingBackend>();
    FactoryGuard guard([backend] { return backend; });
    SystemSettings settings;
    settings.reboot(SystemSettings::REBOOT_HW);
    EXPECT_EQ(backend->rebootFlags, 256);
    EXPECT_STREQ(settings.getIPAddress(0, "eth0").getAddressString(), "10.1.2.3");
    EXPECT_STREQ(settings.getGateway(0, "eth0").getAddressString(), "10.1.2.254");
    EXPECT_STREQ(settings.getNetmask(0, "eth0", oskit::HostAddress("255.255.0.0")).getAddressString(), "255.255.0.0");
}

TEST(SystemSettings, ForwardsSettersToBackend)
{
    auto backend = std::make_shared<RecordingBackend>();
    SystemSettings settings(backend);
    settings.setIPAddressAndNetmask(oskit::HostAddress("1.2.3.4"), oskit::HostAddress("255.0.0.0"), 0, "eth0");
    settings.setIPAddress(oskit::HostAddress("1.2.3.5"), 0, "eth1");
    settings.setNetmask(oskit::HostAddress("255.255.0.0"), 0, "eth0");
    settings.setGateway(oskit::HostAddress("1.2.3.1"), 0, "eth0");
    settings.setTime(1, 2, 3);
    settings.setDate(2025, 12, 31);
    EXPECT_EQ(backend->calls, (std::vector<std::string>{"setIPAddressAndNetmask 1.2.3.4 255.0.0.0 eth0",
                                                        "setIPAddress 1.2.3.5 eth1", "setNetmask 255.255.0.0",
                                                        "setGateway 1.2.3.1", "setTime 1:2:3", "setDate 2025-12-31"}));
    uint8_t h = 0, m = 0, s = 0;
    settings.getTime(h, m, s);
    EXPECT_EQ(h, 12);
    EXPECT_EQ(m, 34);
    EXPECT_EQ(s, 56);
    uint16_t year = 0;
    uint8_t month = 0, day = 0;
    settings.getDate(year, month, day);
    EXPECT_EQ(year, 2024);
    EXPECT_EQ(month, 2);
    EXPECT_EQ(day, 29);
}

TEST(SystemSettings, InterfaceIdAnswersI2CPart)
{
    auto backend = std::make_shared<RecordingBackend>();
    SystemSettings settings(backend);
    IInterface* part = settings.queryInterface(2006000);
    ASSERT_NE(part, nullptr);
    auto* i2c = dynamic_cast<II2C*>(part);
    ASSERT_NE(i2c, nullptr);
    EXPECT_EQ(i2c, static_cast<II2C*>(&settings));
    EXPECT_EQ(settings.queryInterface(1100), nullptr);

    const unsigned char image[4] = {1, 2, 3, 4};
    EXPECT_TRUE(i2c->write("I2C_DDC", 160, 0, image, 4));
    unsigned char back[4] = {};
    EXPECT_FALSE(i2c->read("I2C_DDC", 160, 0, back, 4, 0));
    EXPECT_EQ(backend->calls, (std::vector<std::string>{"write I2C_DDC 160 0 4", "read I2C_DDC 160 0 4 0"}));
    EXPECT_EQ(backend->written, (std::vector<unsigned char>{1, 2, 3, 4}));
    EXPECT_EQ(back[3], 3);
}

TEST(SystemSettings, FactoryAnsweringNullFallsBackToLinux)
{
    FactoryGuard guard([] { return std::shared_ptr<ISystemBackend>(); });
    SystemSettings settings;
    EXPECT_STREQ(settings.getIPAddress(0, "lo").getAddressString(), "127.0.0.1");
}

TEST(LinuxSystemBackend, LoopbackAddressAndNetmask)
{
    auto backend = makeLinuxSystemBackend();
    EXPECT_STREQ(backend->getIPAddress(0, "lo").getAddressString(), "127.0.0.1");
    EXPECT_STREQ(backend->getNetmask(0, "lo", oskit::HostAddress("1.1.1.1")).getAddressString(), "255.0.0.0");
}

TEST(LinuxSystemBackend, MissingInterfaceAnswersEmptyOrFallback)
{
    auto backend = makeLinuxSystemBackend();
    EXPECT_STREQ(backend->getIPAddress(0, "nosuchif0").getAddressString(), "");
    EXPECT_STREQ(backend->getNetmask(0, "nosuchif0", oskit::HostAddress(oskit::HostAddress::SPECIAL_NETMASK_C))
                     .getAddressString(),
                 "255.255.255.0");
    EXPECT_STREQ(backend->getGateway(0, "nosuchif0").getAddressString(), "");
    EXPECT_STREQ(backend->getIPAddress(0, "").getAddressString(), "");
    EXPECT_STREQ(backend->getIPAddress(0, "a-name-much-too-long-for-an-interface").getAddressString(), "");
}

TEST(LinuxSystemBackend, LoopbackHasNoGateway)
{
    EXPECT_STREQ(makeLinuxSystemBackend()->getGateway(0, "lo").getAddressString(), "");
}

TEST(LinuxSystemBackend, ClockGettersReadLocalTime)
{
    auto backend = makeLinuxSystemBackend();
    uint16_t year = 0;
    uint8_t month = 0, day = 0, hour = 99, minute = 99, second = 99;
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    backend->getDate(year, month, day);
    backend->getTime(hour, minute, second);
    EXPECT_EQ(year, local.tm_year + 1900);
    EXPECT_GE(month, 1);
    EXPECT_LE(month, 12);
    EXPECT_GE(day, 1);
    EXPECT_LE(day, 31);
    EXPECT_LT(hour, 24);
    EXPECT_LT(minute, 60);
    EXPECT_LT(second, 61);
}

TEST(LinuxSystemBackend, MissingI2CBusAnswersFalse)
{
    auto backend = makeLinuxSystemBackend();
    unsigned char data[4] = {1, 2, 3, 4};
    EXPECT_FALSE(backend->i2cWrite("97", 0x50, 0, data, 4));
    EXPECT_FALSE(backend->i2cRead("/dev/i2c-97", 0x50, 0, data, 4, 0));
    EXPECT_FALSE(backend->i2cRead("I2C_DDC", 160, 0, data, 4, 0));
}

TEST(LinuxSystemBackend, BadTransferArgumentsAnswerFalse)
{
    auto backend = makeLinuxSystemBackend();
    unsigned char data[4] = {};
    EXPECT_FALSE(backend->i2cWrite("0", 0x50, -1, data, 4));
    EXPECT_FALSE(backend->i2cWrite("0", 0x50, 0, nullptr, 4));
    EXPECT_FALSE(backend->i2cRead("0", 0x50, 0, data, -1, 0));
    EXPECT_FALSE(backend->i2cRead("0", 0x50, 250, data, 10, 0));
    EXPECT_FALSE(backend->i2cRead("0", 300, 0, data, 4, 0));
}

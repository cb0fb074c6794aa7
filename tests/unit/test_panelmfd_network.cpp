// The network settings of the panel computer.

#include <gtest/gtest.h>

#include "support/panelmfdharness.h"

namespace {

class NetworkTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        h.start();
        h.state.clearChanges();
    }
    std::vector<std::string> calls()
    {
        std::lock_guard<std::mutex> lock(h.system.backend->mutex);
        return h.system.backend->networkCalls;
    }
    PanelMFDHarness h;
};

// Remembers the default the driver offers for the netmask.
class FallbackBackend : public FakeSystemBackend {
public:
    oskit::HostAddress getNetmask(int, const std::string&, const oskit::HostAddress& fallback) override
    {
        std::lock_guard<std::mutex> lock(mutex);
        fallbacks.push_back(fallback.getAddressString());
        return fallback;
    }
    std::vector<std::string> fallbacks;
};

// Takes every change and keeps the old values.
class StubbornBackend : public FakeSystemBackend {
public:
    void setIPAddress(const oskit::HostAddress& a, int, const std::string&) override
    {
        std::lock_guard<std::mutex> lock(mutex);
        networkCalls.push_back(std::string("ignored ") + a.getAddressString());
    }
};

const std::vector<std::string> kRepublished = {"set SYSTEM.NETWORK.IP=192.168.0.10",
                                               "set SYSTEM.NETWORK.NETMASK=255.255.255.0",
                                               "set SYSTEM.NETWORK.GATEWAY=192.168.0.1"};

} // namespace

TEST(NetworkState, InitialisationPublishesAddressMaskAndGatewayInOrder)
{
    PanelMFDHarness h;
    h.create();
    EXPECT_EQ(h.state.changesStartingWith("set SYSTEM.NETWORK."), kRepublished);
    // Network first, then the date, then the uptime.
    const auto all = h.state.changes();
    const auto gateway = std::find(all.begin(), all.end(), kRepublished[2]);
    const auto year = std::find(all.begin(), all.end(), "set SYSTEM.DATE.YEAR=2024");
    const auto uptime = std::find(all.begin(), all.end(), "set SYSTEM.REBOOT_INDICATION=00:00");
    EXPECT_LT(gateway, year);
    EXPECT_LT(year, uptime);
}

TEST(NetworkState, NetmaskDefaultIsTheClassCMask)
{
    auto backend = std::make_shared<FallbackBackend>();
    PanelMFDHarness h;
    setSystemBackendFactory([backend] { return std::static_pointer_cast<ISystemBackend>(backend); });
    h.create();
    setSystemBackendFactory(nullptr);
    EXPECT_EQ(backend->fallbacks, std::vector<std::string>{"255.255.255.0"});
    EXPECT_EQ(h.state.value("SYSTEM.NETWORK.NETMASK"), "255.255.255.0");
}

TEST_F(NetworkTest, NoParameterCallsNoSetterAndRepublishes)
{
    EXPECT_TRUE(h.fid("SYSTEM.NETWORK.SETTINGS.CHANGE"));
    EXPECT_TRUE(calls().empty());
    EXPECT_EQ(h.state.changes(), kRepublished);
}

TEST_F(NetworkTest, GatewayAloneSetsOnlyTheGateway)
{
    EXPECT_TRUE(h.fid("SYSTEM.NETWORK.SETTINGS.CHANGE", {{"GATEWAY", "10.0.0.254"}}));
    EXPECT_EQ(calls(), std::vector<std::string>{"setGateway 10.0.0.254 0 enp0s31f6"});
    EXPECT_EQ(h.state.value("SYSTEM.NETWORK.GATEWAY"), "10.0.0.254");
    EXPECT_EQ(h.state.value("SYSTEM.NETWORK.IP"), "192.168.0.10");
}

TEST_F(NetworkTest, AddressAndMaskTogetherGoInOneCall)
{
    EXPECT_TRUE(h.fid("SYSTEM.NETWORK.SETTINGS.CHANGE", {{"IP", "10.0.0.5"}, {"NETMASK", "255.0.0.0"}}));
    EXPECT_EQ(calls(), std::vector<std::string>{"setIPAddressAndNetmask 10.0.0.5 255.0.0.0 0 enp0s31f6"});
    EXPECT_EQ(h.state.value("SYSTEM.NETWORK.IP"), "10.0.0.5");
    EXPECT_EQ(h.state.value("SYSTEM.NETWORK.NETMASK"), "255.0.0.0");
}

TEST_F(NetworkTest, AddressAloneMakesNoMaskCall)
{
    EXPECT_TRUE(h.fid("SYSTEM.NETWORK.SETTINGS.CHANGE", {{"IP", "10.0.0.6"}, {"NETMASK", ""}}));
    EXPECT_EQ(calls(), std::vector<std::string>{"setIPAddress 10.0.0.6 0 enp0s31f6"});
}

TEST_F(NetworkTest, MaskAloneSetsTheMask)
{
    EXPECT_TRUE(h.fid("SYSTEM.NETWORK.SETTINGS.CHANGE", {{"NETMASK", "255.255.0.0"}}));
    EXPECT_EQ(calls(), std::vector<std::string>{"setNetmask 255.255.0.0 0 enp0s31f6"});
}

TEST_F(NetworkTest, AllThreeSetTheGatewayFirstThenAddressAndMask)
{
    EXPECT_TRUE(h.fid("SYSTEM.NETWORK.SETTINGS.CHANGE",
                      {{"IP", "172.16.0.2"}, {"NETMASK", "255.255.0.0"}, {"GATEWAY", "172.16.0.1"}}));
    EXPECT_EQ(calls(), (std::vector<std::string>{"setGateway 172.16.0.1 0 enp0s31f6",
                                                 "setIPAddressAndNetmask 172.16.0.2 255.255.0.0 0 enp0s31f6"}));
    EXPECT_EQ(h.state.changes(), (std::vector<std::string>{"set SYSTEM.NETWORK.IP=172.16.0.2",
                                                           "set SYSTEM.NETWORK.NETMASK=255.255.0.0",
                                                           "set SYSTEM.NETWORK.GATEWAY=172.16.0.1"}));
}

TEST_F(NetworkTest, TextThatIsNoAddressIsPassedAsItStands)
{
    EXPECT_TRUE(h.fid("SYSTEM.NETWORK.SETTINGS.CHANGE", {{"GATEWAY", "not an address"}}));
    EXPECT_EQ(calls(), std::vector<std::string>{"setGateway not an address 0 enp0s31f6"});
}

TEST(NetworkState, StateShowsWhatTheSystemReadsBack)
{
    auto backend = std::make_shared<StubbornBackend>();
    PanelMFDHarness h;
    setSystemBackendFactory([backend] { return std::static_pointer_cast<ISystemBackend>(backend); });
    h.start();
    setSystemBackendFactory(nullptr);
    EXPECT_TRUE(h.fid("SYSTEM.NETWORK.SETTINGS.CHANGE", {{"IP", "10.9.9.9"}}));
    EXPECT_EQ(h.state.value("SYSTEM.NETWORK.IP"), "192.168.0.10");
}

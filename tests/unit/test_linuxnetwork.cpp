// The Linux system backend's network setters on a real kernel interface: a
// veth pair named like the panel's interface, made in a network namespace of
// the test's own, so that the machine's network is never touched and nothing
// leaves the namespace. The addresses are from the documentation range.
// Where the machine doesn't allow a namespace, each test says why and is skipped.

#include <gtest/gtest.h>

#include <net/if.h>
#include <sched.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "panelsys/SystemSettings.h"

namespace {

// The interface the panel driver configures.
const char* const kInterface = "enp0s31f6";
const char* const kPeer = "pnlpeer0";

std::string s_unavailable = "the private network namespace was not set up";

std::vector<std::string> interfaceNames()
{
    std::vector<std::string> names;
    if (struct if_nameindex* list = ::if_nameindex()) {
        for (struct if_nameindex* entry = list; entry->if_index != 0; ++entry) names.push_back(entry->if_name);
        ::if_freenameindex(list);
    }
    return names;
}

bool run(const std::string& command)
{
    return std::system((command + " >/dev/null 2>&1").c_str()) == 0;
}

void writeSetting(const char* path, const char* value)
{
    std::ofstream out(path);
    out << value;
}

// Moves the process into a network namespace of its own and makes the pair
// there. Every step checks that the namespace is a fresh one first.
class PrivateNetwork : public ::testing::Environment {
public:
    void SetUp() override
    {
        if (::unshare(CLONE_NEWNET) != 0) {
            s_unavailable = std::string("unshare(CLONE_NEWNET): ") + std::strerror(errno) +
                            " (a private network namespace needs CAP_SYS_ADMIN, e.g. running as root)";
            return;
        }
        if (interfaceNames() != std::vector<std::string>{"lo"}) {
            s_unavailable = "the new network namespace is not empty; refusing to touch its interfaces";
            return;
        }
        // No IPv6 chatter on the pair, not even inside the namespace.
        writeSetting("/proc/sys/net/ipv6/conf/all/disable_ipv6", "1");
        writeSetting("/proc/sys/net/ipv6/conf/default/disable_ipv6", "1");
        const std::string add = std::string("ip link add ") + kInterface + " type veth peer name " + kPeer;
        if (!run(add) || !run(std::string("ip link set ") + kPeer + " up") ||
            !run(std::string("ip link set ") + kInterface + " up")) {
            s_unavailable = "'" + add + "' and bringing the pair up failed (is iproute2 installed?)";
            return;
        }
        s_unavailable.clear();
    }
};

[[maybe_unused]] ::testing::Environment* const s_privateNetwork =
    ::testing::AddGlobalTestEnvironment(new PrivateNetwork);

// The default routes of the namespace as "interface gateway-word" lines.
std::vector<std::string> defaultRoutes()
{
    std::vector<std::string> routes;
    std::ifstream in("/proc/net/route");
    std::string line;
    std::getline(in, line);
    while (std::getline(in, line)) {
        std::istringstream fields(line);
        std::string iface, destination, gateway;
        if (fields >> iface >> destination >> gateway && destination == "00000000")
            routes.push_back(iface + " " + gateway);
    }
    return routes;
}

class LinuxNetworkTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (!s_unavailable.empty()) GTEST_SKIP() << "no private network namespace: " << s_unavailable;
        ASSERT_EQ(interfaceNames(), (std::vector<std::string>{"lo", kPeer, kInterface}));
    }

    std::string address(int index = 0) { return backend->getIPAddress(index, kInterface).getAddressString(); }
    std::string netmask(int index = 0)
    {
        return backend->getNetmask(index, kInterface, oskit::HostAddress("0.0.0.1")).getAddressString();
    }
    std::string gateway() { return backend->getGateway(0, kInterface).getAddressString(); }

    std::shared_ptr<ISystemBackend> backend = makeLinuxSystemBackend();
};

} // namespace

TEST_F(LinuxNetworkTest, FreshInterfaceHasNoAddressAndAnswersTheFallbackMask)
{
    EXPECT_EQ(address(), "");
    EXPECT_EQ(netmask(), "0.0.0.1");
    EXPECT_EQ(gateway(), "");
}

TEST_F(LinuxNetworkTest, AddressAndNetmaskAreSetTogetherAndReadBack)
{
    backend->setIPAddressAndNetmask(oskit::HostAddress("192.0.2.10"), oskit::HostAddress("255.255.255.0"), 0,
                                    kInterface);
    EXPECT_EQ(address(), "192.0.2.10");
    EXPECT_EQ(netmask(), "255.255.255.0");
}

TEST_F(LinuxNetworkTest, AddressAndNetmaskAreSetOneByOneAndReadBack)
{
    backend->setIPAddress(oskit::HostAddress("198.51.100.7"), 0, kInterface);
    backend->setNetmask(oskit::HostAddress("255.255.0.0"), 0, kInterface);
    EXPECT_EQ(address(), "198.51.100.7");
    EXPECT_EQ(netmask(), "255.255.0.0");
    backend->setNetmask(oskit::HostAddress("255.255.255.128"), 0, kInterface);
    EXPECT_EQ(netmask(), "255.255.255.128");
    EXPECT_EQ(address(), "198.51.100.7");
}

TEST_F(LinuxNetworkTest, SecondIndexIsAnAliasWithAnAddressOfItsOwn)
{
    backend->setIPAddressAndNetmask(oskit::HostAddress("192.0.2.10"), oskit::HostAddress("255.255.255.0"), 0,
                                    kInterface);
    backend->setIPAddressAndNetmask(oskit::HostAddress("192.0.2.20"), oskit::HostAddress("255.255.255.0"), 1,
                                    kInterface);
    EXPECT_EQ(address(1), "192.0.2.20");
    EXPECT_EQ(netmask(1), "255.255.255.0");
    EXPECT_EQ(address(0), "192.0.2.10");
}

TEST_F(LinuxNetworkTest, GatewayIsTheInterfacesDefaultRouteAndASecondOneReplacesIt)
{
    backend->setIPAddressAndNetmask(oskit::HostAddress("192.0.2.10"), oskit::HostAddress("255.255.255.0"), 0,
                                    kInterface);
    backend->setGateway(oskit::HostAddress("192.0.2.1"), 0, kInterface);
    EXPECT_EQ(gateway(), "192.0.2.1");
    EXPECT_EQ(defaultRoutes(), std::vector<std::string>{std::string(kInterface) + " 010200C0"});
    backend->setGateway(oskit::HostAddress("192.0.2.254"), 0, kInterface);
    EXPECT_EQ(gateway(), "192.0.2.254");
    EXPECT_EQ(defaultRoutes(), std::vector<std::string>{std::string(kInterface) + " FE0200C0"});
}

TEST_F(LinuxNetworkTest, GatewayOutsideTheInterfacesNetworkIsRefusedAndTheOldOneStays)
{
    backend->setIPAddressAndNetmask(oskit::HostAddress("192.0.2.10"), oskit::HostAddress("255.255.255.0"), 0,
                                    kInterface);
    backend->setGateway(oskit::HostAddress("192.0.2.1"), 0, kInterface);
    backend->setGateway(oskit::HostAddress("203.0.113.1"), 0, kInterface);
    EXPECT_EQ(defaultRoutes(), std::vector<std::string>{std::string(kInterface) + " 010200C0"});
    EXPECT_EQ(gateway(), "192.0.2.1");
    backend->setGateway(oskit::HostAddress("192.0.2.1"), 0, kInterface);
    EXPECT_EQ(defaultRoutes(), std::vector<std::string>{std::string(kInterface) + " 010200C0"});
}

TEST_F(LinuxNetworkTest, SystemSettingsReachesTheInterfaceThroughTheLinuxBackend)
{
    SystemSettings settings(makeLinuxSystemBackend());
    settings.setIPAddressAndNetmask(oskit::HostAddress("192.0.2.33"), oskit::HostAddress("255.255.255.240"), 0,
                                    kInterface);
    settings.setGateway(oskit::HostAddress("192.0.2.46"), 0, kInterface);
    EXPECT_STREQ(settings.getIPAddress(0, kInterface).getAddressString(), "192.0.2.33");
    EXPECT_STREQ(settings.getNetmask(0, kInterface, oskit::HostAddress()).getAddressString(), "255.255.255.240");
    EXPECT_STREQ(settings.getGateway(0, kInterface).getAddressString(), "192.0.2.46");
}

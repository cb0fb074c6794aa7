// The panel computer's network interface: its settings as state, and changes.

#include <string>

#include "panelkit/Assert.h"
#include "panelmfd.h"
#include "panelsys/SystemSettings.h"

namespace {

// The one interface an operator configures.
const std::string kNetworkInterface = "enp0s31f6";

} // namespace

void PanelMFD::updateNetworkSettingsState()
{
    PANEL_ASSERT(m_pSystemSettings, "m_pSystemSettings");
    setStateValue("SYSTEM.NETWORK.IP", m_pSystemSettings->getIPAddress(0, kNetworkInterface).getAddressString());
    setStateValue("SYSTEM.NETWORK.NETMASK",
                  m_pSystemSettings
                      ->getNetmask(0, kNetworkInterface, oskit::HostAddress(oskit::HostAddress::SPECIAL_NETMASK_C))
                      .getAddressString());
    setStateValue("SYSTEM.NETWORK.GATEWAY", m_pSystemSettings->getGateway(0, kNetworkInterface).getAddressString());
}

bool PanelMFD::onFIDNetworkSettingsChange(const FunctionID&, const FIDParameterList* paraList)
{
    PANEL_ASSERT(paraList, "paraList");
    PANEL_ASSERT(m_pSystemSettings, "m_pSystemSettings");

    std::string ip;
    std::string netmask;
    std::string gateway;
    paraList->getValue("IP", ip);
    paraList->getValue("NETMASK", netmask);
    paraList->getValue("GATEWAY", gateway);

    // The gateway goes first; address and mask together go in one call.
    if (!gateway.empty()) m_pSystemSettings->setGateway(oskit::HostAddress(gateway), 0, kNetworkInterface);
    if (!ip.empty() && !netmask.empty())
        m_pSystemSettings->setIPAddressAndNetmask(oskit::HostAddress(ip), oskit::HostAddress(netmask), 0,
                                                  kNetworkInterface);
    else if (!netmask.empty())
        m_pSystemSettings->setNetmask(oskit::HostAddress(netmask), 0, kNetworkInterface);
    else if (!ip.empty())
        m_pSystemSettings->setIPAddress(oskit::HostAddress(ip), 0, kNetworkInterface);

    // The state shows what the system reads back, not what was asked for.
    updateNetworkSettingsState();
    return true;
}

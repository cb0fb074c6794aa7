#include "oskit/HostAddress.h"

#include <arpa/inet.h>

namespace oskit {

HostAddress::HostAddress() = default;

HostAddress::HostAddress(const std::string& text) : m_text(text) {}

HostAddress::HostAddress(ESpecialAddress special)
{
    switch (special) {
    case SPECIAL_ANY:
        m_text = "0.0.0.0";
        break;
    case SPECIAL_LOCALHOST:
        m_text = "127.0.0.1";
        break;
    case SPECIAL_BROADCAST:
        m_text = "255.255.255.255";
        break;
    case SPECIAL_NETMASK_C:
        m_text = "255.255.255.0";
        break;
    case SPECIAL_NULL:
    default:
        break;
    }
}

// True for a dotted IPv4 address.
bool HostAddress::isValid() const
{
    in_addr address{};
    return inet_pton(AF_INET, m_text.c_str(), &address) == 1;
}

} // namespace oskit

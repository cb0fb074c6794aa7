#include "oskit/NetworkAdapter.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <netinet/in.h>

#include <cstring>
#include <iostream>

namespace oskit {

NetworkAdapter::NetworkAdapter() = default;

NetworkAdapter::~NetworkAdapter() = default;

// One line per IPv4 address of an adapter: "name: address".
void NetworkAdapter::printMappingTable() const
{
    ifaddrs* list = nullptr;
    if (getifaddrs(&list) != 0) {
        std::cout << "No network adapters" << std::endl;
        return;
    }
    for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET || entry->ifa_name == nullptr) continue;
        sockaddr_in address{};
        std::memcpy(&address, entry->ifa_addr, sizeof address);
        char text[INET_ADDRSTRLEN] = {};
        if (inet_ntop(AF_INET, &address.sin_addr, text, sizeof text) == nullptr) continue;
        std::cout << entry->ifa_name << ": " << text << std::endl;
    }
    freeifaddrs(list);
}

} // namespace oskit

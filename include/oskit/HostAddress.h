#pragma once

#include <string>

#include "panelkit/Export.h"

namespace oskit {

// An address value. It keeps the text it was built from as it stands, whether
// or not that text is an address.
class PANEL_API HostAddress {
public:
    enum ESpecialAddress {
        SPECIAL_NULL = 0,       // ""
        SPECIAL_ANY = 1,        // "0.0.0.0"
        SPECIAL_LOCALHOST = 2,  // "127.0.0.1"
        SPECIAL_BROADCAST = 3,  // "255.255.255.255"
        SPECIAL_NETMASK_C = 4   // "255.255.255.0"
    };

    HostAddress();
    explicit HostAddress(const std::string& text);
    explicit HostAddress(ESpecialAddress special);

    const char* getAddressString() const { return m_text.c_str(); }
    bool isValid() const;

private:
    std::string m_text;
};

} // namespace oskit

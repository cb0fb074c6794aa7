#pragma once

#include "panelkit/Export.h"

namespace oskit {

class PANEL_API NetworkAdapter {
public:
    NetworkAdapter();
    ~NetworkAdapter();
    // Prints the machine's network adapters, one line each, on standard output.
    void printMappingTable() const;
};

} // namespace oskit

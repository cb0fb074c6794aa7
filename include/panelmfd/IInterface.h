#pragma once

#include "panelkit/Export.h"

// Root of every interface of the host contract. Objects are reached by
// numbered interface ids and cast down by the caller.
class PANEL_API IInterface {
public:
    virtual ~IInterface();
    virtual IInterface* queryInterface(unsigned int id) = 0;
};

// Interface ids.
enum EInterfaceId : unsigned int {
    kIdPanelSettings = 1012,
    kIdFunctionID = 1100,
    kIdMacroSystem = 1107,
    kIdPmemStorage = 1108,
    kIdPanelMFD = 1109,
    kIdMFDConfiguration = 1201,
};

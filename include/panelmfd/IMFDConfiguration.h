#pragma once

#include <string>

#include "panelmfd/HostInterfaces.h"
#include "panelmfd/IInterface.h"

// The configuration endpoint of a driver (id 1201).
class PANEL_API IMFDConfiguration : public virtual IInterface {
public:
    // driver number, state prefix, data directory, three texts kept unread,
    // configuration directory.
    virtual void setConfiguration(int driverNumber, const std::string& statePrefix, const std::string& dataDirectory,
                                  const std::string& text1, const std::string& text2, const std::string& text3,
                                  const std::string& configDirectory) = 0;
    virtual void setPanelStateInterface(IPanelState* state) = 0;
    virtual void setDistributorFIDInterface(IDistributorFID* distributor) = 0;
    virtual void setSystemInterface(ISystem* system) = 0;
    virtual void initializationCompleted() = 0;
    virtual void deinitialize() = 0;
    virtual void createFIDList() = 0;
};

#pragma once

#include <string>

#include "panelmfd/HostInterfaces.h"
#include "panelmfd/IInterface.h"

// The panel driver (id 1109): the host's remaining interfaces and the last phase.
class PANEL_API IPanelMFD : public virtual IInterface {
public:
    virtual void setEventManagerInterface(IEventManager* manager) = 0;
    virtual void setHwModuleManagerInterface(IHwModuleManager* manager) = 0;
    virtual void setPanelFeedbackInterface(IPanelFeedback* feedback) = 0;
    virtual void setBrightnessManagerInterface(IBrightnessManager* manager) = 0;
    virtual void setColorManagerInterface(IColorManager* manager) = 0;
    virtual void setWidgetManagerInterface(IWidgetManager* manager) = 0;
    virtual void setStateValue(const std::string& key, const std::string& value) = 0;
    virtual void setWorkplaceConfigFilename(const std::string& filename) = 0;
    virtual void interfaceInitializationDone() = 0;
};

#pragma once

#include <cstdint>

#include "panelmfd/HostInterfaces.h"
#include "panelmfd/IInterface.h"

// The host's read access to the panel settings (id 1012).
class PANEL_API IPanelSettings : public virtual IInterface {
public:
    virtual uint16_t getBrightnessButtonLow(int workplace) = 0;
    virtual uint16_t getBrightnessButtonHi(int workplace) = 0;
    virtual uint16_t getBrightnessDisplayText(int workplace) = 0;
    virtual uint16_t getBrightnessDisplayOled(int workplace) = 0;
    virtual uint16_t getBrightnessDisplayTft(int workplace) = 0;
    virtual uint16_t getJoystickSensitivity(int workplace) = 0;
    virtual bool getOLEDFontsResizable(int workplace) = 0;
    // 0 "SEPARATE", 1 "JOIN", 2 "JOIN_SH".
    virtual int32_t getOLEDMode(int workplace) = 0;
    virtual bool isOLEDOutlineEnabled(int workplace) = 0;
    virtual uint16_t getLeverArmTestStepSize(int workplace) = 0;
    virtual uint16_t getLeverArmTestStepCount(int workplace) = 0;
    virtual void setWidgetManagerInterface(IWidgetManager* manager) = 0;
};

#pragma once

#include <cstdint>

#include "panelmfd/IPanelSettings.h"

class FIDMapHandler;
class MFDConfigHandler;

// The panel's persistent settings, kept as replayable FIDs.
class PanelSettings : public IPanelSettings {
public:
    PanelSettings(FIDMapHandler* mapHandler, MFDConfigHandler* configHandler);
    ~PanelSettings() override;
    PanelSettings(const PanelSettings&) = delete;
    PanelSettings& operator=(const PanelSettings&) = delete;

    IInterface* queryInterface(unsigned int id) override;
    uint16_t getBrightnessButtonLow(int workplace) override;
    uint16_t getBrightnessButtonHi(int workplace) override;
    uint16_t getBrightnessDisplayText(int workplace) override;
    uint16_t getBrightnessDisplayOled(int workplace) override;
    uint16_t getBrightnessDisplayTft(int workplace) override;
    uint16_t getJoystickSensitivity(int workplace) override;
    bool getOLEDFontsResizable(int workplace) override;
    int32_t getOLEDMode(int workplace) override;
    bool isOLEDOutlineEnabled(int workplace) override;
    uint16_t getLeverArmTestStepSize(int workplace) override;
    uint16_t getLeverArmTestStepCount(int workplace) override;
    void setWidgetManagerInterface(IWidgetManager* manager) override;

    // Registers the settings FIDs and replays the stored ones.
    void init();

private:
    FIDMapHandler* m_pMapHandler;
    MFDConfigHandler* m_pConfigHandler;
    IWidgetManager* m_pIWidgetManager = nullptr;
};

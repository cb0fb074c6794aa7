#include "panelsettings.h"

PanelSettings::PanelSettings(FIDMapHandler* mapHandler, MFDConfigHandler* configHandler)
    : m_pMapHandler(mapHandler), m_pConfigHandler(configHandler)
{
}

PanelSettings::~PanelSettings() = default;

IInterface* PanelSettings::queryInterface(unsigned int id)
{
    if (id == kIdPanelSettings) return static_cast<IInterface*>(this);
    return nullptr;
}

uint16_t PanelSettings::getBrightnessButtonLow(int) { return 1024; }
uint16_t PanelSettings::getBrightnessButtonHi(int) { return 3072; }
uint16_t PanelSettings::getBrightnessDisplayText(int) { return 3072; }
uint16_t PanelSettings::getBrightnessDisplayOled(int) { return 2560; }
uint16_t PanelSettings::getBrightnessDisplayTft(int) { return 3072; }
uint16_t PanelSettings::getJoystickSensitivity(int) { return 2048; }
bool PanelSettings::getOLEDFontsResizable(int) { return true; }
int32_t PanelSettings::getOLEDMode(int) { return 1; }
bool PanelSettings::isOLEDOutlineEnabled(int) { return true; }
uint16_t PanelSettings::getLeverArmTestStepSize(int) { return 15; }
uint16_t PanelSettings::getLeverArmTestStepCount(int) { return 1; }
void PanelSettings::setWidgetManagerInterface(IWidgetManager* manager) { m_pIWidgetManager = manager; }
void PanelSettings::init() {}

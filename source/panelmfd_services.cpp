// Workplace file, background threads, date, network, port and driver
// configuration, module service, colours and the DDC EEPROM.

#include "panelmfd.h"

#include "fidmaphandler.h"
#include "panelsys/SystemSettings.h"

void PanelMFD::readWorkplaceConfig() {}
bool PanelMFD::updateWorkplaceFile() { return false; }
void PanelMFD::driveWorkplaceState() {}
void PanelMFD::updateRebootIndication() {}
void PanelMFD::updateDateState() {}
void PanelMFD::updateNetworkSettingsState() {}

void PanelMFD::updateHwThread()
{
    while (m_hwUpdateRunning) oskit::Thread::mssleep(500);
}

void PanelMFD::uptimeThread()
{
    m_uptimeSeconds = 0;
    while (m_uptimeRunning) {
        oskit::Thread::sleep(1);
        ++m_uptimeSeconds;
        if (m_uptimeSeconds % 10 == 0) updateRebootIndication();
    }
}

bool PanelMFD::onFIDModuleInfoRead(const FunctionID&, const FIDParameterList*) { return false; }
bool PanelMFD::onFIDModuleIDSet(const FunctionID&, const FIDParameterList*) { return false; }
bool PanelMFD::onFIDNetworkSettingsChange(const FunctionID&, const FIDParameterList*) { return false; }
bool PanelMFD::onFIDDateSet(const FunctionID&, const FIDParameterList*) { return false; }
bool PanelMFD::onFIDDateUpdate(const FunctionID&, const FIDParameterList*) { return false; }
bool PanelMFD::onFIDColorSet(const FunctionID&, const FIDParameterList*) { return false; }
bool PanelMFD::onFIDColorInc(const FunctionID&, const FIDParameterList*) { return false; }
bool PanelMFD::onFIDPortConfigSet(const FunctionID&, const FIDParameterList*) { return false; }
bool PanelMFD::onFIDPortConfigAssignWP(const FunctionID&, const FIDParameterList*) { return false; }
bool PanelMFD::onFIDPortConfigUnAssign(const FunctionID&, const FIDParameterList*) { return false; }
bool PanelMFD::onFIDMFDAdd(const FunctionID&, const FIDParameterList*) { return false; }
bool PanelMFD::onFIDMFDRemove(const FunctionID&, const FIDParameterList*) { return false; }
bool PanelMFD::onFIDMFDModify(const FunctionID&, const FIDParameterList*) { return false; }
bool PanelMFD::onFIDTFTCalibration(const FunctionID&, const FIDParameterList*) { return false; }
bool PanelMFD::onFIDJoystickCalibration(const FunctionID&, const FIDParameterList*) { return false; }
bool PanelMFD::onFIDFaderCalibration(const FunctionID&, const FIDParameterList*) { return false; }
bool PanelMFD::onFIDPortAssignment(const FunctionID&, const FIDParameterList*) { return false; }
bool PanelMFD::onFIDMenuDDCEEPROMWrite(const FunctionID&, const FIDParameterList*) { return false; }

// Service FIDs of the hardware modules: counters on and off, module ids,
// calibrations and port assignment.

#include <string>

#include "fidmaphandler.h"
#include "panelkit/Assert.h"
#include "panelmfd.h"

namespace {

const char* const kCounterKeyWords[] = {"TXCOUNT", "RXCOUNT", "CRCERRORS", "DBTXCOUNT", "DBRXCOUNT", "DBCRCERRORS"};

} // namespace

bool PanelMFD::onFIDModuleInfoRead(const FunctionID&, const FIDParameterList* paraList)
{
    PANEL_ASSERT(paraList, "paraList");
    std::string enable;
    if (!paraList->getValue("ENABLE", enable)) return false;

    // The module at which the FID originated.
    const UniqueModuleID module(paraList->sourceWidget);
    if (enable != "ON" && enable != "TRUE") {
        oskit::MutexLocker lock(m_moduleInfoLock);
        m_infoModules.erase(module);
        return true;
    }

    // The counters start at "0" until the hardware thread reads them. They are
    // published before the module joins the set, so that the thread's first
    // real counts come after them, and without the lock, since the host may
    // call straight back in.
    if (m_pMapHandler) {
        const std::string prefix = moduleKeyPrefix(module);
        for (const char* word : kCounterKeyWords) m_pMapHandler->setStateValue(prefix + word, "0");
    }
    oskit::MutexLocker lock(m_moduleInfoLock);
    m_infoModules.insert(module);
    return true;
}

bool PanelMFD::onFIDModuleIDSet(const FunctionID&, const FIDParameterList* paraList)
{
    PANEL_ASSERT(paraList, "paraList");
    IHwModuleManager* manager = m_pIHwModuleManager;
    PANEL_ASSERT(manager, "m_pIHwModuleManager");

    int workplace = 0;
    int group = 0;
    int moduleNumber = 0;
    std::string key;
    std::string index;
    std::string value;
    if (!paraList->getValue("WORKPLACE", workplace) || !paraList->getValue("GROUP", group) ||
        !paraList->getValue("MODULE", moduleNumber) || !paraList->getValue("KEY", key) ||
        !paraList->getValue("INDEX", index) || !paraList->getValue("VALUE", value))
        return false;

    if (workplace < 0 || workplace >= 8 || group < 0 || group >= 32 || moduleNumber < 0 || moduleNumber >= 256) {
        m_log.getErrorStream() << "MODULE.ID.SET refused: module " << workplace << "." << group << "."
                               << moduleNumber << " is out of range";
        return false;
    }
    const UniqueModuleID module(static_cast<uint16_t>(workplace), static_cast<uint16_t>(group),
                                static_cast<uint16_t>(moduleNumber));
    return manager->setModuleID(module, key, index, value);
}

bool PanelMFD::onFIDTFTCalibration(const FunctionID&, const FIDParameterList* paraList)
{
    PANEL_ASSERT(paraList, "paraList");
    IHwModuleManager* manager = m_pIHwModuleManager;
    PANEL_ASSERT(manager, "m_pIHwModuleManager");
    int workplace = 0;
    int group = 0;
    paraList->getValue("WP", workplace);
    paraList->getValue("GP", group);
    return manager->startTftCalibration(workplace, group);
}

bool PanelMFD::triggerWorkplaceEvent(const FIDParameterList* paraList, const char* word, const char* suffix)
{
    PANEL_ASSERT(paraList, "paraList");
    int workplace = 0;
    if (!paraList->getValue("WP", workplace)) return true;
    m_pMapHandler->triggerEvent(word + std::to_string(workplace) + suffix, "");
    return true;
}

bool PanelMFD::onFIDJoystickCalibration(const FunctionID&, const FIDParameterList* paraList)
{
    return triggerWorkplaceEvent(paraList, "CALIBRATION", ".JOYSTICK.START");
}

bool PanelMFD::onFIDFaderCalibration(const FunctionID&, const FIDParameterList* paraList)
{
    return triggerWorkplaceEvent(paraList, "CALIBRATION", ".FADER.START");
}

bool PanelMFD::onFIDPortAssignment(const FunctionID&, const FIDParameterList* paraList)
{
    return triggerWorkplaceEvent(paraList, "PORTASSIGNMENT", ".START");
}

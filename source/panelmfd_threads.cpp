// The background threads (module counters, uptime) and the date and time.

#include <cstdlib>
#include <string>
#include <vector>

#include "fidmaphandler.h"
#include "panelkit/Assert.h"
#include "panelmfd.h"
#include "panelsys/SystemSettings.h"

namespace {

struct ModuleCounter {
    const char* property;
    const char* keyWord;
};

const ModuleCounter kModuleCounters[] = {
    {"TXCount", "TXCOUNT"},     {"RXCount", "RXCOUNT"},     {"CRCErrors", "CRCERRORS"},
    {"DBTXCount", "DBTXCOUNT"}, {"DBRXCount", "DBRXCOUNT"}, {"DBCRCErrors", "DBCRCERRORS"},
};

// A date or time field given as text replaces the current value, cut to the field's width.
template <class T>
void takeField(const FIDParameterList& paraList, const char* name, T& field)
{
    std::string text;
    paraList.getValue(name, text);
    if (!text.empty()) field = static_cast<T>(std::strtol(text.c_str(), nullptr, 10));
}

} // namespace

std::string PanelMFD::moduleKeyPrefix(const UniqueModuleID& module)
{
    return "MODULE." + std::to_string(module.getWorkplaceID()) + "." + std::to_string(module.getGroupID()) + "." +
           std::to_string(module.getModuleID()) + ".";
}

bool PanelMFD::isInfoModule(const UniqueModuleID& module)
{
    oskit::MutexLocker lock(m_moduleInfoLock);
    return m_infoModules.count(module) != 0;
}

void PanelMFD::publishModuleCounters(IHwModuleManager* manager, const UniqueModuleID& module)
{
    for (const ModuleCounter& counter : kModuleCounters) {
        std::string value;
        if (manager->getModuleInfo(module, counter.property, value))
            m_pMapHandler->setStateValue(moduleKeyPrefix(module) + counter.keyWord, value);
    }
}

void PanelMFD::updateHwThread()
{
    while (m_hwUpdateRunning) {
        IHwModuleManager* manager = m_pIHwModuleManager;
        if (manager && m_pMapHandler) {
            // The host is called without the lock, since it may call straight
            // back in; a module switched off during the pass is passed over.
            std::vector<UniqueModuleID> modules;
            {
                oskit::MutexLocker lock(m_moduleInfoLock);
                modules.assign(m_infoModules.begin(), m_infoModules.end());
            }
            for (const UniqueModuleID& module : modules) {
                if (!m_hwUpdateRunning) break;
                if (isInfoModule(module)) publishModuleCounters(manager, module);
            }
        }
        oskit::Thread::mssleep(500);
    }
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

void PanelMFD::updateDateState()
{
    PANEL_ASSERT(m_pSystemSettings, "m_pSystemSettings");
    uint16_t year = 0;
    uint8_t month = 0;
    uint8_t day = 0;
    m_pSystemSettings->getDate(year, month, day);
    setStateValue("SYSTEM.DATE.YEAR", std::to_string(year));
    setStateValue("SYSTEM.DATE.MONTH", std::to_string(month));
    setStateValue("SYSTEM.DATE.DAY", std::to_string(day));

    uint8_t hour = 0;
    uint8_t minute = 0;
    uint8_t second = 0;
    m_pSystemSettings->getTime(hour, minute, second);
    setStateValue("SYSTEM.DATE.HOUR", std::to_string(hour));
    setStateValue("SYSTEM.DATE.MINUTE", std::to_string(minute));
    setStateValue("SYSTEM.DATE.SECOND", std::to_string(second));
}

bool PanelMFD::onFIDDateSet(const FunctionID&, const FIDParameterList* paraList)
{
    PANEL_ASSERT(paraList, "paraList");
    PANEL_ASSERT(m_pSystemSettings, "m_pSystemSettings");

    uint16_t year = 0;
    uint8_t month = 0;
    uint8_t day = 0;
    uint8_t hour = 0;
    uint8_t minute = 0;
    uint8_t second = 0;
    m_pSystemSettings->getDate(year, month, day);
    m_pSystemSettings->getTime(hour, minute, second);

    // No range test: the system takes the values as they come.
    takeField(*paraList, "YEAR", year);
    takeField(*paraList, "MONTH", month);
    takeField(*paraList, "DAY", day);
    takeField(*paraList, "HOUR", hour);
    takeField(*paraList, "MINUTE", minute);
    takeField(*paraList, "SECOND", second);

    m_pSystemSettings->setDate(year, month, day);
    m_pSystemSettings->setTime(hour, minute, second);
    updateDateState();
    return true;
}

bool PanelMFD::onFIDDateUpdate(const FunctionID&, const FIDParameterList*)
{
    updateDateState();
    return true;
}

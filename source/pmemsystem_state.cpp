// Define memos, published register state and the console command of PmemSystem.

#include <climits>
#include <cstdlib>
#include <iostream>
#include <sstream>

#include "fidmaphandler.h"
#include "panelkit/Assert.h"
#include "panelmfd/IPmemStorage.h"
#include "pmemsystem.h"

namespace {

const std::string kDefineMemoKeyPrefix = "DEFINE_MEMO_";

const char* const kTailDefAndWP = "\" expects parameters \"DEF\" and \"WP\"";
const char* const kTailDef = "\" expects parameter \"DEF\"";

void reportMissing(const FunctionID& name, const char* tail)
{
    std::cout << "PMEM Error! FID-> \"" << name << tail << std::endl;
}

std::string registerKey(int wp, int reg, const char* leaf)
{
    return "MEMORY" + std::to_string(wp) + ".REG" + std::to_string(reg) + "." + leaf;
}

} // namespace

// ---- define memo FIDs ----

bool PmemSystem::onFIDAddDefine(const FunctionID& name, const FIDParameterList* paraList)
{
    PANEL_ASSERT(paraList, "paraList");
    if (lockedOut()) return false;

    std::string memo;
    int wp = 0;
    if (!paraList->getValue("DEF", memo) || !paraList->getValue("WP", wp)) {
        reportMissing(name, kTailDefAndWP);
        return false;
    }

    Outputs out;
    {
        oskit::MutexLocker lock(m_dataLock);
        // A new name comes in disabled and is switched on; an enabled one is left alone.
        if (!m_workplaces[wp].defineMemos[memo]) doSetDefineMemo(out, wp, memo, true);
    }
    publish(out);
    return true;
}

bool PmemSystem::onFIDEnableDefine(const FunctionID& name, const FIDParameterList* paraList)
{
    return switchKnownDefineMemo(name, paraList, true);
}

bool PmemSystem::onFIDDIsableDefine(const FunctionID& name, const FIDParameterList* paraList)
{
    return switchKnownDefineMemo(name, paraList, false);
}

bool PmemSystem::switchKnownDefineMemo(const FunctionID& name, const FIDParameterList* paraList, bool enable)
{
    PANEL_ASSERT(paraList, "paraList");
    if (lockedOut()) return false;

    std::string memo;
    if (!paraList->getValue("DEF", memo)) {
        reportMissing(name, kTailDef);
        return false;
    }
    const int wp = static_cast<int>(paraList->sourceWidget.getWorkplaceID());

    Outputs out;
    bool result = false;
    {
        oskit::MutexLocker lock(m_dataLock);
        const auto& memos = m_workplaces[wp].defineMemos;
        if (memos.find(memo) != memos.end()) result = doSetDefineMemo(out, wp, memo, enable);
    }
    publish(out);
    return result;
}

// ---- define memo operations ----

bool PmemSystem::doSetDefineMemo(int wp, const std::string& name, bool enable)
{
    Outputs out;
    bool result;
    {
        oskit::MutexLocker lock(m_dataLock);
        result = doSetDefineMemo(out, wp, name, enable);
    }
    publish(out);
    return result;
}

bool PmemSystem::doSetDefineMemo(Outputs& out, int wp, const std::string& name, bool enable)
{
    m_workplaces[wp].defineMemos[name] = enable;
    PANEL_ASSERT(m_pMapHandler, "m_pMapHandler");
    out.push_back({Output::SET, "MEMORY.DEFINES." + std::to_string(wp) + "." + name, enable ? "ON" : "OFF", false});
    return true;
}

void PmemSystem::triggerDefineMemos(const std::string& prefix, int wp)
{
    Outputs out;
    {
        oskit::MutexLocker lock(m_dataLock);
        triggerDefineMemos(out, prefix, wp);
    }
    publish(out);
}

void PmemSystem::triggerDefineMemos(Outputs& out, const std::string& prefix, int wp)
{
    for (const auto& [name, enabled] : m_workplaces[wp].defineMemos) {
        if (enabled) out.push_back({Output::EVENT, prefix + std::to_string(wp) + "." + name, std::string(), false});
    }
}

bool PmemSystem::saveDefineMemos(int wp, int reg, int version)
{
    oskit::MutexLocker lock(m_dataLock);
    return saveDefineMemosLocked(wp, reg, version);
}

bool PmemSystem::saveDefineMemosLocked(int wp, int reg, int version)
{
    WORKPLACE_DATA& data = m_workplaces[wp];
    if (!data.pStorage) return false;

    // The register is merged with what is on disk, not started afresh.
    data.opened = data.pStorage->loadRegister(wp, reg, version);
    if (!data.opened) return true;

    if (data.currentRegister != -1) {
        for (const auto& [name, enabled] : data.defineMemos) {
            if (!data.pStorage->setRegisterValue(kDefineMemoKeyPrefix + name, enabled ? "ON" : "OFF")) return false;
        }
    }
    if (!data.opened) return true;
    data.opened = !data.pStorage->saveRegister(version);
    return true;
}

bool PmemSystem::loadDefineMemos(int wp, std::map<std::string, std::string>& values)
{
    Outputs out;
    bool result;
    {
        oskit::MutexLocker lock(m_dataLock);
        // A copy: the values may be those of this workplace's own storage.
        const std::map<std::string, std::string> copy = values;
        result = loadDefineMemos(out, wp, copy);
    }
    publish(out);
    return result;
}

bool PmemSystem::loadDefineMemos(Outputs& out, int wp, const std::map<std::string, std::string>& values)
{
    // All switches go off first, in the published state as well.
    for (const auto& entry : m_workplaces[wp].defineMemos) doSetDefineMemo(out, wp, entry.first, false);

    for (const auto& [key, value] : values) {
        if (key.compare(0, kDefineMemoKeyPrefix.size(), kDefineMemoKeyPrefix) != 0) continue;
        doSetDefineMemo(out, wp, key.substr(kDefineMemoKeyPrefix.size()), value == "ON");
    }
    return true;
}

// ---- register state ----

void PmemSystem::setCurrentRegister(int wp, int reg)
{
    Outputs out;
    {
        oskit::MutexLocker lock(m_dataLock);
        setCurrentRegister(out, wp, reg);
    }
    publish(out);
}

void PmemSystem::setCurrentRegister(Outputs& out, int wp, int reg)
{
    m_workplaces[wp].currentRegister = reg;
    out.push_back(
        {Output::SET, "MEMORY.LATEST." + std::to_string(wp), reg == -1 ? "INV" : std::to_string(reg), false});
}

void PmemSystem::updateRegisrerState(int wp, int reg)
{
    Outputs out;
    {
        oskit::MutexLocker lock(m_dataLock);
        updateRegisrerState(out, wp, reg);
    }
    publish(out);
}

void PmemSystem::updateRegisrerState(Outputs& out, int wp, int reg)
{
    PANEL_ASSERT(m_pMapHandler, "m_pMapHandler");
    IPmemStorage* storage = m_workplaces[wp].pStorage;
    // A workplace without storage has nothing to show.
    if (!storage) return;

    // Read from the file, not from the held register: a register is valid
    // when its name can be read, so one read answers both.
    std::string name;
    const bool valid = storage->getRegisterName(wp, reg, name);
    out.push_back({Output::SET_BOOL, registerKey(wp, reg, "EMPTY"), std::string(), !valid});
    out.push_back({Output::SET, registerKey(wp, reg, "NAME"), name, false});
}

void PmemSystem::updateNextValidRegisterState(int wp, int group, int module, int first, int last)
{
    Outputs out;
    {
        oskit::MutexLocker lock(m_dataLock);
        updateNextRegisterState(out, wp, group, module, first, last, true);
    }
    publish(out);
}

void PmemSystem::updateNextFreeRegisterState(int wp, int group, int module, int first, int last)
{
    Outputs out;
    {
        oskit::MutexLocker lock(m_dataLock);
        updateNextRegisterState(out, wp, group, module, first, last, false);
    }
    publish(out);
}

void PmemSystem::updateNextRegisterState(Outputs& out, int wp, int group, int module, int first, int last,
                                         bool valid)
{
    const std::string key =
        "MEMORY" + std::to_string(wp) + "." + getModuleString(group, module) + (valid ? ".NEXT.VALID" : ".NEXT.FREE");
    IPmemStorage* storage = m_workplaces[wp].pStorage;
    // Upward only, no wrap-around: the lowest match wins.
    for (long long reg = first; reg <= last; ++reg) {
        const bool isValid = storage && storage->registerIsValid(wp, static_cast<int>(reg));
        if (isValid == valid) {
            out.push_back({Output::SET, key, std::to_string(reg), false});
            return;
        }
    }
    out.push_back({Output::UNSET, key, std::string(), false});
}

std::string PmemSystem::getModuleString(int group, int module) const
{
    return std::to_string(group) + "_" + std::to_string(module);
}

// ---- console ----

bool PmemSystem::shellShowPmem(oskit::CmdParameters& parameters)
{
    long wp = 0;
    if (parameters.argumentCount() > 0) wp = std::strtol(parameters.argument(0).c_str(), nullptr, 10);
    if (parameters.argumentCount() < 1 || wp < 1 || wp > kWorkplaceCount - 1) {
        std::cout << "Usage: showPmem <workplace id>" << std::endl;
        return false;
    }

    std::ostringstream text;
    {
        oskit::MutexLocker lock(m_dataLock);
        WORKPLACE_DATA& data = m_workplaces[static_cast<int>(wp)];
        text << "PMEM state workplace " << wp << "\n";
        text << "  Lock:        " << (m_locked ? "TRUE" : "FALSE") << "\n";
        text << "  Last recall: " << data.currentRegister << "\n";
        text << "  Autorecall:  " << (data.autoRecall ? "ON" : "OFF") << "\n";
        text << "  Opend:       " << (data.opened ? "TRUE" : "FALSE") << "\n";
        text << "  define memos:" << "\n";
        for (const auto& [name, enabled] : data.defineMemos)
            text << "      " << name << " " << (enabled ? "ON" : "FALSE") << "\n";
        text << "  registers:   ";
        for (int reg = 0; reg < kRegisterCount; ++reg) {
            if (data.pStorage && data.pStorage->registerIsValid(static_cast<int>(wp), reg)) text << reg << " ";
        }
        text << "\n";
    }
    std::cout << text.str() << std::flush;
    return true;
}

#include "pmemsystem.h"

#include <iostream>

#include "fidmaphandler.h"
#include "mfdconfighandler.h"
#include "panelkit/Assert.h"
#include "pmemstoragetext.h"
#include "pmemstoragexml.h"

namespace {

const char* const kTailWP = "\" expects parameter \"WP\"";
const char* const kTailWPVersion = "\" expects parameter \"WP\" and parameter \"VERSION\"";
const char* const kTailReg = "\" expects parameter \"REG\"";
const char* const kTailVersion = "\" expects parameter \"VERSION\"";
const char* const kTailRegName = "\" expects parameter \"REG\" and \"NAME\"";

void reportMissing(const FunctionID& name, const char* tail)
{
    std::cout << "PMEM Error! FID-> \"" << name << tail << std::endl;
}

void reportInvalidRegister() { std::cout << "PMEM Error! Register is invalid!" << std::endl; }

int sourceWorkplace(const FIDParameterList& params) { return static_cast<int>(params.sourceWidget.getWorkplaceID()); }

std::string currentPrefix(int wp) { return "MEMORY.CURRENT." + std::to_string(wp) + "."; }

} // namespace

PmemSystem::PmemSystem(FIDMapHandler* pMapHandler, MFDConfigHandler* pConfigHandler, EPmemType type)
    : m_pMapHandler(pMapHandler), m_pConfigHandler(pConfigHandler), m_pmemType(type), m_locked(false)
{
    PANEL_ASSERT(m_pMapHandler, "m_pMapHandler");

    m_pMapHandler->registerFunction("MEMORY.DEFINE.ADD", this, &PmemSystem::onFIDAddDefine);
    m_pMapHandler->registerFunction("MEMORY.DEFINE.ENABLE", this, &PmemSystem::onFIDEnableDefine);
    m_pMapHandler->registerFunction("MEMORY.DEFINE.DISABLE", this, &PmemSystem::onFIDDIsableDefine);
    m_pMapHandler->registerFunction("MEMORY.BEGIN", this, &PmemSystem::onFIDLoadRegister);
    m_pMapHandler->registerFunction("MEMORY.END", this, &PmemSystem::onFIDSaveRegister);
    m_pMapHandler->registerFunction("MEMORY.LEARN", this, &PmemSystem::onFIDLearn);
    m_pMapHandler->registerFunction("MEMORY.RECALL", this, &PmemSystem::onFIDRecall);
    m_pMapHandler->registerFunction("MEMORY.DELETE", this, &PmemSystem::onFIDDelete);
    m_pMapHandler->registerFunction("MEMORY.DELETEALL", this, &PmemSystem::onFIDDeleteAll);
    m_pMapHandler->registerParamFunction("MEMORY.SAVE_VAR.*", this, &PmemSystem::onFIDSaveValue);
    m_pMapHandler->registerFunction("MEMORY.RENAME", this, &PmemSystem::onFIDRename);

    m_pMapHandler->setStateValue("COLOR.PMEM", "LIGHT_CYAN");

    for (int wp = 0; wp < kWorkplaceCount; ++wp) createWorkplace(wp);

    oskit::CmdProcessor::getInstance()->registerCmd(new oskit::CmdRegisterImpl<PmemSystem>(
        "showPmem", "showPmem <workplace id>\n\tShows current PMEM status", this, &PmemSystem::shellShowPmem));
}

PmemSystem::~PmemSystem()
{
    // The console must not reach a destroyed object.
    if (oskit::CmdProcessor::hasInstance()) oskit::CmdProcessor::getInstance()->unregisterObject(this);

    oskit::MutexLocker lock(m_dataLock);
    for (auto& entry : m_workplaces) {
        delete entry.second.pStorage;
        entry.second.pStorage = nullptr;
    }
    m_workplaces.clear();
    m_pMapHandler = nullptr;
    m_pConfigHandler = nullptr;
}

void PmemSystem::publish(const Outputs& out) const
{
    for (const Output& o : out) {
        switch (o.kind) {
        case Output::SET:
            m_pMapHandler->setStateValue(o.key, o.value);
            break;
        case Output::SET_BOOL:
            m_pMapHandler->setStateValueBool(o.key, o.flag);
            break;
        case Output::UNSET:
            m_pMapHandler->unsetStateValue(o.key);
            break;
        case Output::EVENT:
            m_pMapHandler->triggerEvent(o.key, o.value);
            break;
        }
    }
}

bool PmemSystem::lockedOut() const
{
    if (!m_locked) return false;
    std::cout << "PMEM Warning! Pmem locked during application load/save!" << std::endl;
    return true;
}

bool PmemSystem::workplaceInRange(const FunctionID& name, int wp) const
{
    if (wp >= 0 && wp < kWorkplaceCount) return true;
    std::cout << "PMEM Error! FID-> \"" << name << "\" parameter \"WP\" out of range: " << wp << std::endl;
    return false;
}

void PmemSystem::createWorkplace(int wp)
{
    Outputs out;
    {
        oskit::MutexLocker lock(m_dataLock);
        createWorkplace(out, wp);
    }
    publish(out);
}

void PmemSystem::createWorkplace(Outputs& out, int wp)
{
    const std::string dataDirectory = m_pConfigHandler ? m_pConfigHandler->m_dataDirectory : std::string();
    IPmemStorage* storage = nullptr;
    switch (m_pmemType) {
    case PMEM_TYPE_XML:
        storage = new PmemStorageXml(dataDirectory);
        break;
    case PMEM_TYPE_TEXT:
        storage = new PmemStorageText(dataDirectory);
        break;
    }
    PANEL_ASSERT(storage, "m_pmemType");

    setCurrentRegister(out, wp, -1);

    WORKPLACE_DATA& data = m_workplaces[wp];
    delete data.pStorage;
    data.pStorage = storage;
    data.currentRegister = -1;
    data.opened = false;
    data.defineMemos.clear();
    data.autoRecall = true;

    for (int reg = 0; reg < kRegisterCount; ++reg) updateRegisrerState(out, wp, reg);
}

void PmemSystem::prepareAppliLoad() { m_locked = true; }

void PmemSystem::prepareAppliSave() { m_locked = true; }

void PmemSystem::finishAppliSave() { m_locked = false; }

void PmemSystem::finishAppliLoad()
{
    // The application load may have replaced the files: publish all registers again.
    for (int wp = 0; wp < kWorkplaceCount; ++wp) {
        Outputs out;
        {
            oskit::MutexLocker lock(m_dataLock);
            for (int reg = 0; reg < kRegisterCount; ++reg) updateRegisrerState(out, wp, reg);
            setCurrentRegister(out, wp, -1);
        }
        publish(out);
    }
    m_locked = false;
}

bool PmemSystem::onFIDLearn(const FunctionID& name, const FIDParameterList* paraList)
{
    PANEL_ASSERT(paraList, "paraList");
    if (lockedOut()) return false;
    Outputs out;
    bool result;
    {
        oskit::MutexLocker lock(m_dataLock);
        result = learn(out, name, *paraList);
    }
    publish(out);
    return result;
}

bool PmemSystem::learn(Outputs& out, const FunctionID& name, const FIDParameterList& params)
{
    const int wp = sourceWorkplace(params);
    WORKPLACE_DATA& data = m_workplaces[wp];
    if (data.defineMemos.empty()) {
        setCurrentRegister(out, wp, -1);
        std::cout << "PMEM Warning! Receive FID-> \"" << name << "\" and no define memos present!" << std::endl;
        return true;
    }

    int reg = 0;
    if (!params.getValue("REG", reg)) {
        reportMissing(name, kTailReg);
        return false;
    }
    setCurrentRegister(out, wp, reg);
    // The recalled values of the workplace are void now.
    out.push_back({Output::UNSET, currentPrefix(wp) + "*", std::string(), false});

    int version = 0;
    if (!params.getValue("VERSION", version)) {
        reportMissing(name, kTailVersion);
        return false;
    }
    saveDefineMemosLocked(wp, reg, version);
    triggerDefineMemos(out, "MEMORY.LEARN.", wp);
    return true;
}

bool PmemSystem::onFIDLoadRegister(const FunctionID& name, const FIDParameterList* paraList)
{
    PANEL_ASSERT(paraList, "paraList");
    if (lockedOut()) return false;

    int wp = 0;
    if (!paraList->getValue("WP", wp)) {
        reportMissing(name, kTailWP);
        return false;
    }

    oskit::MutexLocker lock(m_dataLock);
    WORKPLACE_DATA& data = m_workplaces[wp];
    if (!data.opened && data.currentRegister != -1) {
        if (!workplaceInRange(name, wp)) return false;
        PANEL_ASSERT(data.pStorage, "pStorage");
        // Version 0: nothing is converted. Usually the storage answers from its cache.
        data.opened = data.pStorage->loadRegister(wp, data.currentRegister, 0);
        return data.opened;
    }
    reportInvalidRegister();
    return false;
}

bool PmemSystem::onFIDSaveValue(const FunctionID& name, const FIDParameterList* paraList,
                                const FIDPatternList& captures)
{
    PANEL_ASSERT(paraList, "paraList");
    if (lockedOut()) return false;

    int wp = 0;
    if (!paraList->getValue("WP", wp)) {
        reportMissing(name, kTailWP);
        return false;
    }

    oskit::MutexLocker lock(m_dataLock);
    WORKPLACE_DATA& data = m_workplaces[wp];
    if (!data.opened || data.currentRegister == -1) {
        reportInvalidRegister();
        return false;
    }
    std::string key;
    std::string value;
    if (!captures.getValue("*", key) || !paraList->getValue("VAL", value)) return false;
    if (!workplaceInRange(name, wp)) return false;
    PANEL_ASSERT(data.pStorage, "pStorage");
    return data.pStorage->setRegisterValue(key, value);
}

bool PmemSystem::onFIDSaveRegister(const FunctionID& name, const FIDParameterList* paraList)
{
    PANEL_ASSERT(paraList, "paraList");
    if (lockedOut()) return false;

    int wp = 0;
    int version = 0;
    if (!paraList->getValue("WP", wp) || !paraList->getValue("VERSION", version)) {
        reportMissing(name, kTailWPVersion);
        return false;
    }

    Outputs out;
    bool result;
    {
        oskit::MutexLocker lock(m_dataLock);
        WORKPLACE_DATA& data = m_workplaces[wp];
        data.opened = false;
        if (!workplaceInRange(name, wp)) return false;
        PANEL_ASSERT(data.pStorage, "pStorage");
        result = data.pStorage->saveRegister(version);
        // This is where a newly learned register shows up in the published state.
        if (data.currentRegister >= 0) updateRegisrerState(out, wp, data.currentRegister);
    }
    publish(out);
    return result;
}

bool PmemSystem::onFIDRecall(const FunctionID& name, const FIDParameterList* paraList)
{
    PANEL_ASSERT(paraList, "paraList");
    if (lockedOut()) return false;
    // Only one recall at a time; a second one in the same moment is dropped.
    if (m_recallGate.take(0) != 0) return false;

    Outputs out;
    bool result;
    {
        oskit::MutexLocker lock(m_dataLock);
        result = recall(out, name, *paraList);
    }
    publish(out);
    m_recallGate.give();
    return result;
}

bool PmemSystem::recall(Outputs& out, const FunctionID& name, const FIDParameterList& params)
{
    int wp = sourceWorkplace(params);
    params.getValue("WP", wp);

    WORKPLACE_DATA& data = m_workplaces[wp];
    if (data.defineMemos.empty() && !data.autoRecall) {
        setCurrentRegister(out, wp, -1);
        return true;
    }

    int reg = 0;
    if (!params.getValue("REG", reg)) {
        reportMissing(name, kTailReg);
        return false;
    }
    std::string regText;
    params.getValue("REG", regText);
    if (regText == "DEFAULT") reg = 0;

    int version = 0;
    params.getValue("VERSION", version);

    if (!workplaceInRange(name, wp)) return false;
    PANEL_ASSERT(data.pStorage, "pStorage");
    data.pStorage->loadRegister(wp, reg, version);
    if (data.pStorage->registerIsEmpty()) {
        setCurrentRegister(out, wp, -1);
        return true;
    }
    setCurrentRegister(out, wp, reg);

    std::map<std::string, std::string>& values = data.pStorage->getRegisterValues();
    if (data.autoRecall) loadDefineMemos(out, wp, values);

    const std::string prefix = currentPrefix(wp);
    out.push_back({Output::UNSET, prefix + "*", std::string(), false});
    for (const auto& [key, value] : values) out.push_back({Output::SET, prefix + key, value, false});

    triggerDefineMemos(out, "MEMORY.RECALL.", wp);
    return true;
}

bool PmemSystem::onFIDDelete(const FunctionID& name, const FIDParameterList* paraList)
{
    PANEL_ASSERT(paraList, "paraList");
    if (lockedOut()) return false;

    int reg = 0;
    if (!paraList->getValue("REG", reg)) {
        reportMissing(name, kTailReg);
        return false;
    }
    const int wp = sourceWorkplace(*paraList);

    Outputs out;
    {
        oskit::MutexLocker lock(m_dataLock);
        WORKPLACE_DATA& data = m_workplaces[wp];
        PANEL_ASSERT(data.pStorage, "pStorage");
        data.pStorage->deleteRegister(wp, reg);
        updateRegisrerState(out, wp, reg);
    }
    publish(out);
    return true;
}

bool PmemSystem::onFIDDeleteAll(const FunctionID& name, const FIDParameterList* paraList)
{
    PANEL_ASSERT(paraList, "paraList");
    if (lockedOut()) return false;

    int wp = sourceWorkplace(*paraList);
    paraList->getValue("WP", wp);

    Outputs out;
    {
        oskit::MutexLocker lock(m_dataLock);
        WORKPLACE_DATA& data = m_workplaces[wp];
        if (!workplaceInRange(name, wp)) return false;
        PANEL_ASSERT(data.pStorage, "pStorage");
        // Register 99 is spared; the shared default register 0 is not.
        for (int reg = 0; reg < kRegisterCount - 1; ++reg) {
            data.pStorage->deleteRegister(wp, reg);
            updateRegisrerState(out, wp, reg);
        }
    }
    publish(out);
    return true;
}

bool PmemSystem::onFIDRename(const FunctionID& name, const FIDParameterList* paraList)
{
    PANEL_ASSERT(paraList, "paraList");
    if (lockedOut()) return false;

    int wp = sourceWorkplace(*paraList);
    paraList->getValue("WP", wp);

    int reg = 0;
    std::string newName;
    if (!paraList->getValue("REG", reg) || !paraList->getValue("NAME", newName)) {
        reportMissing(name, kTailRegName);
        return false;
    }

    Outputs out;
    {
        oskit::MutexLocker lock(m_dataLock);
        WORKPLACE_DATA& data = m_workplaces[wp];
        if (!workplaceInRange(name, wp)) return false;
        PANEL_ASSERT(data.pStorage, "pStorage");
        data.pStorage->setRegisterName(wp, reg, newName);
        updateRegisrerState(out, wp, reg);
    }
    publish(out);
    return true;
}

PmemSystem::WORKPLACE_DATA PmemSystem::getWorkplaceData(int wp) const
{
    oskit::MutexLocker lock(m_dataLock);
    auto it = m_workplaces.find(wp);
    return it == m_workplaces.end() ? WORKPLACE_DATA() : it->second;
}

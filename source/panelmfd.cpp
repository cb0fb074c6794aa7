#include "panelmfd.h"

#include <cstdlib>
#include <iostream>

#include "fidmaphandler.h"
#include "mfdconfighandler.h"
#include "oskit/NetworkAdapter.h"
#include "panelkit/Assert.h"
#include "panelkit/UniqueWidgetID.h"
#include "panelsettings.h"
#include "panelsys/SystemSettings.h"

using Norvane::Utilities::Logging::LogCategory;
using Norvane::Utilities::Logging::LogLevel;
using Norvane::Utilities::Logging::LogManager;

const oskit::Path VORLANE_TYPE_PATH("/etc/vorlane");
const oskit::Path VORLANE_REV2_TYPE_PATH("/etc/vorlane_rev2");
const oskit::Path VORLANE_REV3_TYPE_PATH("/etc/vorlane_rev3");
const oskit::Path MIRL_TYPE_PATH("/etc/mirl");
const oskit::Path MIRL_REV2_TYPE_PATH("/etc/mirl_rev2");
const oskit::Path OSTRANEL_TYPE_PATH("/etc/ostranel");

const std::string PanelMFD::LOG_FID_NAME_PARAM = "LOG";
const std::string PanelMFD::LOG_FID_LEVEL_PARAM = "LEVEL";
const std::string PanelMFD::LOG_FID_MESSAGE_PARAM = "MESSAGE";

PanelMFD::PanelMFD() : m_log(LogManager::getInstance().getCategory("PanelDriver"))
{
    m_hwUpdateThread.setOwner(this);
    m_hwUpdateThread.start(oskit::Thread::PRIORITY_NORMAL);
    m_uptimeThread.setOwner(this);
    m_uptimeThread.start(oskit::Thread::PRIORITY_NORMAL);

    oskit::CmdProcessor* processor = oskit::CmdProcessor::getInstance();
    processor->registerCmd(new oskit::CmdRegisterImpl<PanelMFD>(
        "changePDL",
        "changePDL <workplace id> [<new PDL base name>]\n\treload all modules of specified workplace with new PDL "
        "base name, or restore to default when name is omitted",
        this, &PanelMFD::shellChangePDL));
    processor->registerCmd(new oskit::CmdRegisterImpl<PanelMFD>(
        "showEth", "showEth\n\tShows a list with available network adapters", this, &PanelMFD::shellShowEth));
}

PanelMFD::~PanelMFD()
{
    m_hwUpdateRunning = false;
    m_uptimeRunning = false;

    destroySubsystems();

    m_pIEventManager = nullptr;
    m_pIBrightnessManager = nullptr;
    m_pIColorManager = nullptr;
    m_pIWidgetManager = nullptr;
    m_pIHwModuleManager = nullptr;

    delete m_pSystemSettings;
    m_pSystemSettings = nullptr;

    m_uptimeThread.shutdown(-1);
    m_hwUpdateThread.shutdown(-1);

    m_pIPanelFeedback = nullptr;

    // The console must not reach a destroyed driver.
    if (oskit::CmdProcessor::hasInstance()) oskit::CmdProcessor::getInstance()->unregisterObject(this);
}

IInterface* PanelMFD::queryInterface(unsigned int id)
{
    switch (id) {
    case kIdMacroSystem:
        return macroSystemInterface();
    case kIdPanelMFD:
        return static_cast<IInterface*>(static_cast<IPanelMFD*>(this));
    case kIdPanelSettings:
        return m_pPanelSettings ? m_pPanelSettings->queryInterface(id) : nullptr;
    default:
        return MFDBase::queryInterface(id);
    }
}

void PanelMFD::init() { MFDBase::init(); }
void PanelMFD::showState() const {}
void PanelMFD::completeConfiguration() {}

void PanelMFD::completeInitialization()
{
    PANEL_ASSERT(m_pMapHandler, "m_pMapHandler");
    EPhase phase = EPhase::CREATED;
    if (!m_phase.compare_exchange_strong(phase, EPhase::INITIALIZING)) {
        m_log.getErrorStream() << "completeInitialization refused: the subsystems exist already";
        return;
    }
    createSubsystems();
    m_pSystemSettings = new SystemSettings();
    registerFIDs();
    m_startTime = oskit::Time::getCurrentTime().getSeconds();
    updateNetworkSettingsState();
    updateDateState();
    updateRebootIndication();
    m_phase = EPhase::INITIALIZED;
}

void PanelMFD::registerFIDs()
{
    FIDMapHandler* map = m_pMapHandler;
    map->registerFunction("SETVAR", this, &PanelMFD::onFIDSetvar);
    map->registerFunction("TRIGGER", this, &PanelMFD::onFIDTrigger);
    map->registerFunction("MODULE.INFO.READ", this, &PanelMFD::onFIDModuleInfoRead);
    map->registerFunction("MODULE.ID.SET", this, &PanelMFD::onFIDModuleIDSet);
    map->registerFunction("CHANGE.PDL", this, &PanelMFD::onFIDChangePDL);
    map->registerFunction("APPLICATION.LOAD.PREPARE", this, &PanelMFD::onFIDAppliLoadPrepare);
    map->registerFunction("APPLICATION.LOAD.FINISH", this, &PanelMFD::onFIDAppliLoadFinish);
    map->registerFunction("APPLICATION.SAVE.PREPARE", this, &PanelMFD::onFIDAppliSavePrepare);
    map->registerFunction("APPLICATION.SAVE.FINISH", this, &PanelMFD::onFIDAppliSaveFinish);
    map->registerFunction("SYSTEM.REBOOT", this, &PanelMFD::onFIDReboot);
    map->registerFunction("SYSTEM.NETWORK.SETTINGS.CHANGE", this, &PanelMFD::onFIDNetworkSettingsChange);
    map->registerFunction("SYSTEM.DATE.SET", this, &PanelMFD::onFIDDateSet);
    map->registerFunction("SYSTEM.DATE.UPDATE", this, &PanelMFD::onFIDDateUpdate);
    map->registerFunction("LOG.TIMESTAMP", this, &PanelMFD::onFIDLogTimestamp);
    map->registerFunction("COLOR.SET", this, &PanelMFD::onFIDColorSet);
    map->registerFunction("COLOR.INC", this, &PanelMFD::onFIDColorInc);
    map->registerFunction("PORT.CONFIG.SET", this, &PanelMFD::onFIDPortConfigSet);
    map->registerFunction("PORT.CONFIG.ASSIGN_WP", this, &PanelMFD::onFIDPortConfigAssignWP);
    map->registerFunction("PORT.CONFIG.UNASSIGN", this, &PanelMFD::onFIDPortConfigUnAssign);
    map->registerFunction("MFD.ADD", this, &PanelMFD::onFIDMFDAdd);
    map->registerFunction("MFD.REMOVE", this, &PanelMFD::onFIDMFDRemove);
    map->registerFunction("MFD.MODIFY", this, &PanelMFD::onFIDMFDModify);
    map->registerFunction("CALIBRATION.TFTDISPLAY.START", this, &PanelMFD::onFIDTFTCalibration);
    map->registerFunction("CALIBRATION.JOYSTICK.START", this, &PanelMFD::onFIDJoystickCalibration);
    map->registerFunction("CALIBRATION.FADER.START", this, &PanelMFD::onFIDFaderCalibration);
    map->registerFunction("PORTASSIGNMENT.START", this, &PanelMFD::onFIDPortAssignment);
    map->registerFunction("MENU.DDC_EEPROM.WRITE", this, &PanelMFD::onFIDMenuDDCEEPROMWrite);
    map->registerFunction("OLED.BITMAPS.RELOAD", this, &PanelMFD::onFIDOLEDBitmapsReload);
    map->registerFunction("COLORS.LOAD.PREPARE", this, &PanelMFD::onFIDColorsLoadPrepare);
    map->registerFunction("COLORS.LOAD.FINISH", this, &PanelMFD::onFIDColorsLoadFinish);
    map->registerFunction("COLORS.SAVE.PREPARE", this, &PanelMFD::onFIDColorsSavePrepare);
    map->registerFunction("COLORS.SAVE.FINISH", this, &PanelMFD::onFIDColorsSaveFinish);
    map->registerFunction("LOG", this, &PanelMFD::onFIDLogMessage);
}

void PanelMFD::setEventManagerInterface(IEventManager* manager) { m_pIEventManager = manager; }
void PanelMFD::setHwModuleManagerInterface(IHwModuleManager* manager) { m_pIHwModuleManager = manager; }
void PanelMFD::setPanelFeedbackInterface(IPanelFeedback* feedback) { m_pIPanelFeedback = feedback; }
void PanelMFD::setBrightnessManagerInterface(IBrightnessManager* manager) { m_pIBrightnessManager = manager; }
void PanelMFD::setColorManagerInterface(IColorManager* manager) { m_pIColorManager = manager; }
void PanelMFD::setWidgetManagerInterface(IWidgetManager* manager) { m_pIWidgetManager = manager; }
void PanelMFD::setWorkplaceConfigFilename(const std::string& filename)
{
    std::lock_guard<std::mutex> guard(m_workplaceLock);
    m_workplaceConfigFilename = filename;
}

void PanelMFD::setStateValue(const std::string& key, const std::string& value)
{
    PANEL_ASSERT(m_pMapHandler, "m_pMapHandler");
    m_pMapHandler->setStateValue(key, value);
}

void PanelMFD::interfaceInitializationDone()
{
    PANEL_ASSERT(m_pIWidgetManager, "m_pIWidgetManager");
    PANEL_ASSERT(m_pIHwModuleManager, "m_pIHwModuleManager");
    EPhase phase = EPhase::INITIALIZED;
    if (!m_phase.compare_exchange_strong(phase, EPhase::STARTING)) {
        if (phase == EPhase::CREATED || phase == EPhase::INITIALIZING)
            m_log.getErrorStream() << "interfaceInitializationDone refused: initializationCompleted has not run";
        else
            m_log.getErrorStream() << "interfaceInitializationDone refused: it has run already";
        return;
    }
    PANEL_ASSERT(m_pPanelSettings, "m_pPanelSettings");
    m_pPanelSettings->setWidgetManagerInterface(m_pIWidgetManager);
    m_pPanelSettings->init();
    readWorkplaceConfig();
    driveWorkplaceState();
    m_phase = EPhase::RUNNING;
}

bool PanelMFD::onFIDSetvar(const FunctionID&, const FIDParameterList* paraList)
{
    PANEL_ASSERT(paraList, "paraList");
    PANEL_ASSERT(m_pIEventManager, "m_pIEventManager");
    std::string name;
    std::string value;
    if (!paraList->getValue("NAME", name) || !paraList->getValue("VALUE", value)) return false;
    // The variable belongs to the module that sent the FID.
    m_pIEventManager->setVar(UniqueModuleID(paraList->sourceWidget), name, value);
    return true;
}

bool PanelMFD::onFIDTrigger(const FunctionID&, const FIDParameterList* paraList)
{
    PANEL_ASSERT(paraList, "paraList");
    const UniqueWidgetID& source = paraList->sourceWidget;
    int workplace = static_cast<int>(source.getWorkplaceID());
    int group = static_cast<int>(source.getGroupID());
    int module = static_cast<int>(source.getModuleID());
    int widget = static_cast<int>(source.getWidgetID());
    paraList->getValue("WORKPLACE", workplace);
    paraList->getValue("GROUP", group);
    paraList->getValue("MODULE", module);
    paraList->getValue("WIDGET", widget);
    const UniqueWidgetID widgetID(static_cast<unsigned>(workplace), static_cast<unsigned>(group),
                                  static_cast<unsigned>(module), static_cast<unsigned>(widget));
    std::string name;
    if (!paraList->getValue("NAME", name)) return false;
    std::string value;
    paraList->getValue("VALUE", value);
    if (m_pIPanelFeedback) m_pIPanelFeedback->trigger(widgetID, name, value);
    return true;
}

bool PanelMFD::onFIDChangePDL(const FunctionID&, const FIDParameterList* paraList)
{
    PANEL_ASSERT(paraList, "paraList");
    PANEL_ASSERT(m_pIEventManager, "m_pIEventManager");
    PANEL_ASSERT(m_pIHwModuleManager.load(), "m_pIHwModuleManager");
    int workplace = 0;
    if (!paraList->getValue("WPID", workplace)) return false;
    std::string pdl;
    if (!paraList->getValue("PDL", pdl) || static_cast<unsigned>(workplace) > 7u) return false;
    m_pIEventManager->changePDL(workplace, pdl);
    m_pIHwModuleManager.load()->reloadModules();
    return true;
}

bool PanelMFD::shellChangePDL(oskit::CmdParameters& parameters)
{
    PANEL_ASSERT(m_pIEventManager, "m_pIEventManager");
    PANEL_ASSERT(m_pIHwModuleManager.load(), "m_pIHwModuleManager");
    if (parameters.argumentCount() < 1) {
        std::cout << "Usage: changePDL <workplace id> [<new PDL base name>]" << std::endl;
        return false;
    }
    const std::string name = parameters.argumentCount() > 1 ? parameters.argument(1) : std::string();
    const std::string first = parameters.argument(0);
    const long workplace = std::strtol(first.c_str(), nullptr, 10);
    m_pIEventManager->changePDL(static_cast<int>(workplace), name);
    m_pIHwModuleManager.load()->reloadModules();
    return true;
}

bool PanelMFD::shellShowEth(oskit::CmdParameters&)
{
    oskit::NetworkAdapter adapter;
    adapter.printMappingTable();
    return true;
}

bool PanelMFD::onFIDAppliLoadPrepare(const FunctionID&, const FIDParameterList*)
{
    bracketSubsystems(EBracket::LoadPrepare);
    if (m_pIColorManager) m_pIColorManager->prepareLoad();
    return true;
}

bool PanelMFD::onFIDAppliLoadFinish(const FunctionID&, const FIDParameterList*)
{
    bracketSubsystems(EBracket::LoadFinish);
    if (m_pIColorManager) m_pIColorManager->finishLoad();
    return true;
}

bool PanelMFD::onFIDAppliSavePrepare(const FunctionID&, const FIDParameterList*)
{
    bracketSubsystems(EBracket::SavePrepare);
    if (m_pIColorManager) m_pIColorManager->prepareSave();
    return true;
}

bool PanelMFD::onFIDAppliSaveFinish(const FunctionID&, const FIDParameterList*)
{
    bracketSubsystems(EBracket::SaveFinish);
    if (m_pIColorManager) m_pIColorManager->finishSave();
    return true;
}

bool PanelMFD::onFIDColorsLoadPrepare(const FunctionID&, const FIDParameterList*)
{
    if (m_pIColorManager) m_pIColorManager->prepareLoad();
    return true;
}

bool PanelMFD::onFIDColorsLoadFinish(const FunctionID&, const FIDParameterList*)
{
    if (m_pIColorManager) m_pIColorManager->finishLoad();
    return true;
}

bool PanelMFD::onFIDColorsSavePrepare(const FunctionID&, const FIDParameterList*)
{
    if (m_pIColorManager) m_pIColorManager->prepareSave();
    return true;
}

bool PanelMFD::onFIDColorsSaveFinish(const FunctionID&, const FIDParameterList*)
{
    if (m_pIColorManager) m_pIColorManager->finishSave();
    return true;
}

bool PanelMFD::onFIDOLEDBitmapsReload(const FunctionID&, const FIDParameterList*)
{
    if (m_pIWidgetManager) m_pIWidgetManager->reloadOLEDBitmaps();
    return true;
}

bool PanelMFD::onFIDReboot(const FunctionID&, const FIDParameterList* paraList)
{
    PANEL_ASSERT(paraList, "paraList");
    PANEL_ASSERT(m_pSystemSettings, "m_pSystemSettings");
    std::string mode;
    if (!paraList->getValue("MODE", mode)) return false;
    if (mode == "HW") {
        m_pSystemSettings->reboot(SystemSettings::REBOOT_HW);
        return true;
    }
    if (mode == "OS") {
        m_pSystemSettings->reboot(SystemSettings::REBOOT_OS);
        return true;
    }
    return false;
}

bool PanelMFD::onFIDLogTimestamp(const FunctionID&, const FIDParameterList* paraList)
{
    PANEL_ASSERT(paraList, "paraList");
    std::string message;
    if (paraList->getValue("MESSAGE", message)) m_log.getAlertStream() << message;
    return true;
}

bool PanelMFD::onFIDLogMessage(const FunctionID&, const FIDParameterList* paraList)
{
    PANEL_ASSERT(paraList, "paraList");
    std::string name;
    std::string level;
    std::string message;
    paraList->getValue(LOG_FID_NAME_PARAM, name);
    paraList->getValue(LOG_FID_LEVEL_PARAM, level);
    paraList->getValue(LOG_FID_MESSAGE_PARAM, message);
    if (name.empty() || level.empty() || message.empty()) return false;
    if (level != "DEBUG" && level != "INFO" && level != "WARN" && level != "ERROR" && level != "ALERT" &&
        level != "FATAL")
        level = "DEBUG";
    LogCategory& category = LogManager::getInstance().getCategory(name);
    category.getStream(LogLevel::toLevel(level)) << message;
    return true;
}

#include "panelsettings.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <boost/date_time/posix_time/posix_time_types.hpp>

#include "PanelBrightnessObserver.h"
#include "fidmaphandler.h"
#include "mfdconfighandler.h"
#include "oskit/Path.h"
#include "panelkit/Assert.h"
#include "panelsys/Task.h"
#include "panelsys/WholeFileWriter.h"
#include "panelsys/XMLInput.h"

namespace {

constexpr uint16_t kJoystickDefault = 2048;
constexpr bool kOutlineDefault = true;
constexpr bool kFontsResizableDefault = true;
constexpr int32_t kOledModeDefault = 1;
constexpr uint16_t kStepSizeDefault = 15;
constexpr uint16_t kStepCountDefault = 1;

bool workplaceInRange(int workplace) { return static_cast<unsigned>(workplace) < 8U; }

} // namespace

const PanelSettings::BrightnessRule PanelSettings::s_brightnessRules[BRIGHTNESS_COUNT] = {
    {".BRIGHTNESS.BUTTON.LOW", "SETTINGS.BRIGHTNESS.BUTTON.LOW.SET", 1024, 0, true},
    {".BRIGHTNESS.BUTTON.HI", "SETTINGS.BRIGHTNESS.BUTTON.HI.SET", 3072, 0, true},
    {".BRIGHTNESS.DISPLAY.TEXT", "SETTINGS.BRIGHTNESS.DISPLAY.TEXT.SET", 3072, 500, false},
    {".BRIGHTNESS.DISPLAY.OLED", "SETTINGS.BRIGHTNESS.DISPLAY.OLED.SET", 2560, 0, false},
    {".BRIGHTNESS.DISPLAY.TFT", "SETTINGS.BRIGHTNESS.DISPLAY.TFT.SET", 3072, 0, false},
};

PanelSettings::PanelSettings(FIDMapHandler* mapHandler, MFDConfigHandler* configHandler)
    : m_pMapHandler(mapHandler), m_pConfigHandler(configHandler)
{
    for (int workplace = 0; workplace < kWorkplaces; ++workplace) fillDefaults(workplace);
    m_saveTimer.addCallback(new oskit::Callback<PanelSettings>(this, &PanelSettings::onSaveTimerEllapsed));
}

PanelSettings::~PanelSettings()
{
    // The observer goes first: a poll under way may still call the handlers.
    if (m_pBrightnessObserver) {
        SignalingEvent stopped(boost::posix_time::microseconds(3000000));
        m_pBrightnessObserver->stopTask(stopped);
        if (!stopped.waitForOperationToComplete())
            std::cout << "The driver is unable to close the brightness observer.\n" << std::flush;
        // Joins the task's thread while both events still exist.
        delete m_pBrightnessObserver;
        m_pBrightnessObserver = nullptr;
    }
    m_pObserverStarted.reset();

    // A change of the last second is written now rather than lost.
    m_saveTimer.stop();
    bool pending = false;
    {
        std::lock_guard<std::mutex> guard(m_documentLock);
        pending = m_savePending;
    }
    if (pending && m_pConfigHandler) writeDocument();

    m_pMapHandler = nullptr;
    m_pConfigHandler = nullptr;
    m_pIWidgetManager = nullptr;
}

IInterface* PanelSettings::queryInterface(unsigned int id)
{
    if (id == kIdPanelSettings) return static_cast<IInterface*>(this);
    return nullptr;
}

void PanelSettings::setWidgetManagerInterface(IWidgetManager* manager) { m_pIWidgetManager = manager; }

// ---- array access -------------------------------------------------------

uint16_t PanelSettings::brightnessEntry(EBrightness which, int workplace) const
{
    const long long index = static_cast<long long>(which) * kWorkplaces + workplace - 1;
    if (index < 0 || index >= static_cast<long long>(m_brightness.size()))
        return s_brightnessRules[which].defaultValue;
    return m_brightness[static_cast<size_t>(index)].load(std::memory_order_relaxed);
}

void PanelSettings::setBrightnessEntry(EBrightness which, int workplace, uint16_t value)
{
    const long long index = static_cast<long long>(which) * kWorkplaces + workplace - 1;
    if (index < 0 || index >= static_cast<long long>(m_brightness.size())) return;
    m_brightness[static_cast<size_t>(index)].store(value, std::memory_order_relaxed);
}

void PanelSettings::fillDefaults(int workplace)
{
    const auto entry = static_cast<size_t>(workplace);
    for (int which = 0; which < BRIGHTNESS_COUNT; ++which)
        m_brightness[static_cast<size_t>(which * kWorkplaces) + entry].store(s_brightnessRules[which].defaultValue);
    m_joystickSensitivity[entry].store(kJoystickDefault);
    m_oledOutlineEnabled[entry].store(kOutlineDefault);
    m_oledFontsResizable[entry].store(kFontsResizableDefault);
    m_oledMode[entry].store(kOledModeDefault);
    m_leverArmTestStepSize[entry].store(kStepSizeDefault);
    m_leverArmTestStepCount[entry].store(kStepCountDefault);
}

// ---- getters --------------------------------------------------------------

uint16_t PanelSettings::getBrightnessButtonLow(int workplace)
{
    if (!workplaceInRange(workplace)) return s_brightnessRules[BRIGHTNESS_BUTTON_LOW].defaultValue;
    return brightnessEntry(BRIGHTNESS_BUTTON_LOW, workplace);
}

uint16_t PanelSettings::getBrightnessButtonHi(int workplace)
{
    if (!workplaceInRange(workplace)) return s_brightnessRules[BRIGHTNESS_BUTTON_HI].defaultValue;
    return brightnessEntry(BRIGHTNESS_BUTTON_HI, workplace);
}

uint16_t PanelSettings::getBrightnessDisplayText(int workplace)
{
    if (!workplaceInRange(workplace)) return s_brightnessRules[BRIGHTNESS_DISPLAY_TEXT].defaultValue;
    return brightnessEntry(BRIGHTNESS_DISPLAY_TEXT, workplace);
}

uint16_t PanelSettings::getBrightnessDisplayOled(int workplace)
{
    if (!workplaceInRange(workplace)) return s_brightnessRules[BRIGHTNESS_DISPLAY_OLED].defaultValue;
    return brightnessEntry(BRIGHTNESS_DISPLAY_OLED, workplace);
}

uint16_t PanelSettings::getBrightnessDisplayTft(int workplace)
{
    if (!workplaceInRange(workplace)) return s_brightnessRules[BRIGHTNESS_DISPLAY_TFT].defaultValue;
    return brightnessEntry(BRIGHTNESS_DISPLAY_TFT, workplace);
}

uint16_t PanelSettings::getJoystickSensitivity(int workplace)
{
    if (!workplaceInRange(workplace)) return kJoystickDefault;
    const uint16_t value = m_joystickSensitivity[static_cast<size_t>(workplace)].load(std::memory_order_relaxed);
    return value >= 4096 ? kJoystickDefault : value;
}

bool PanelSettings::getOLEDFontsResizable(int workplace)
{
    if (!workplaceInRange(workplace)) return kFontsResizableDefault;
    return m_oledFontsResizable[static_cast<size_t>(workplace)].load(std::memory_order_relaxed);
}

int32_t PanelSettings::getOLEDMode(int workplace)
{
    if (!workplaceInRange(workplace)) return kOledModeDefault;
    return m_oledMode[static_cast<size_t>(workplace)].load(std::memory_order_relaxed);
}

bool PanelSettings::isOLEDOutlineEnabled(int workplace)
{
    // Indexed by the workplace minus 1; workplace 0 has no entry of its own.
    if (!workplaceInRange(workplace) || workplace == 0) return kOutlineDefault;
    return m_oledOutlineEnabled[static_cast<size_t>(workplace - 1)].load(std::memory_order_relaxed);
}

// The lever arm numbers are read without a workplace test; an index past the
// array answers the default.
uint16_t PanelSettings::getLeverArmTestStepSize(int workplace)
{
    if (!workplaceInRange(workplace)) return kStepSizeDefault;
    return m_leverArmTestStepSize[static_cast<size_t>(workplace)].load(std::memory_order_relaxed);
}

uint16_t PanelSettings::getLeverArmTestStepCount(int workplace)
{
    if (!workplaceInRange(workplace)) return kStepCountDefault;
    return m_leverArmTestStepCount[static_cast<size_t>(workplace)].load(std::memory_order_relaxed);
}

// ---- start ----------------------------------------------------------------

std::string PanelSettings::stateKey(int workplace, const char* suffix)
{
    return "SETTINGS" + std::to_string(workplace) + suffix;
}

PanelSettings::ENumber PanelSettings::readInteger(const FIDParameterList* list, const char* name, int& value)
{
    std::string text;
    if (!readText(list, name, text)) return ENumber::MISSING;
    errno = 0;
    char* end = nullptr;
    const long number = std::strtol(text.c_str(), &end, 10);
    if (end == text.c_str()) {
        value = 0;
        return ENumber::VALID;
    }
    if (errno == ERANGE || number < INT_MIN || number > INT_MAX) return ENumber::OUT_OF_RANGE;
    value = static_cast<int>(number);
    return ENumber::VALID;
}

bool PanelSettings::readText(const FIDParameterList* list, const char* name, std::string& text)
{
    return list && list->getValue(name, text);
}

void PanelSettings::publishDefaults(int workplace)
{
    m_pMapHandler->setStateValueInt(stateKey(workplace, ".BRIGHTNESS.DISPLAY.TFT"), 3072);
    m_pMapHandler->setStateValueInt(stateKey(workplace, ".BRIGHTNESS.DISPLAY.OLED"), 2560);
    m_pMapHandler->setStateValueInt(stateKey(workplace, ".BRIGHTNESS.DISPLAY.TEXT"), 3072);
    m_pMapHandler->setStateValueInt(stateKey(workplace, ".BRIGHTNESS.BUTTON.LOW"), 1024);
    m_pMapHandler->setStateValueInt(stateKey(workplace, ".BRIGHTNESS.BUTTON.HI"), 3072);
    m_pMapHandler->setStateValueInt(stateKey(workplace, ".JOYSTICK.SENSITIVITY"), kJoystickDefault);
    m_pMapHandler->setStateValue(stateKey(workplace, ".OLED.FONTRESIZE"), "TRUE");
    m_pMapHandler->setStateValue(stateKey(workplace, ".OLED.MODE"), "JOIN");
    m_pMapHandler->setStateValue(stateKey(workplace, ".OLED.OUTLINE.ENABLED"), "TRUE");
    m_pMapHandler->setStateValueInt(stateKey(workplace, ".TESTS.LEVERARM.STEPSIZE"), kStepSizeDefault);
    m_pMapHandler->setStateValueInt(stateKey(workplace, ".TESTS.LEVERARM.STEPCOUNT"), kStepCountDefault);
}

template <PanelSettings::Handler handler>
bool PanelSettings::onFIDChecked(const FunctionID& name, const FIDParameterList* paraList)
{
    const oskit::InputFile::EResult why = FIDMapHandler::checkStorableText(name, paraList);
    if (why != oskit::InputFile::RESULT_OK) {
        std::cout << "PS: FID refused (" + oskit::InputFile::describe(why) + "): " + name + "\n" << std::flush;
        return false;
    }
    return (this->*handler)(name, paraList);
}

void PanelSettings::registerFunctions()
{
    FIDMapHandler* map = m_pMapHandler;
    map->registerFunction("SETTINGS.POWERSAVER.BYPASS.SET", this,
                          &PanelSettings::onFIDChecked<&PanelSettings::onFIDPowerSaverEnableBypass>);
    map->registerFunction("SETTINGS.POWERSAVER.TIME.SET", this,
                          &PanelSettings::onFIDChecked<&PanelSettings::onFIDPowerSaverSetTime>);
    map->registerFunction("SETTINGS.POWERSAVER.TYPE.SET", this,
                          &PanelSettings::onFIDChecked<&PanelSettings::onFIDPowerSaverSetType>);
    map->registerFunction("SETTINGS.BRIGHTNESS.DISPLAY.TFT.SET", this,
                          &PanelSettings::onFIDChecked<&PanelSettings::onFIDBrightnessDisplayTftSet>);
    map->registerFunction("SETTINGS.BRIGHTNESS.DISPLAY.OLED.SET", this,
                          &PanelSettings::onFIDChecked<&PanelSettings::onFIDBrightnessDisplayOledSet>);
    map->registerFunction("SETTINGS.BRIGHTNESS.DISPLAY.TEXT.SET", this,
                          &PanelSettings::onFIDChecked<&PanelSettings::onFIDBrightnessDisplayTextSet>);
    map->registerFunction("SETTINGS.BRIGHTNESS.BUTTON.LOW.SET", this,
                          &PanelSettings::onFIDChecked<&PanelSettings::onFIDBrightnessButtonLowSet>);
    map->registerFunction("SETTINGS.BRIGHTNESS.BUTTON.HI.SET", this,
                          &PanelSettings::onFIDChecked<&PanelSettings::onFIDBrightnessButtonHiSet>);
    map->registerFunction("SETTINGS.BRIGHTNESS.DISPLAY.TFT.INC", this,
                          &PanelSettings::onFIDChecked<&PanelSettings::onFIDBrightnessDisplayTftInc>);
    map->registerFunction("SETTINGS.BRIGHTNESS.DISPLAY.OLED.INC", this,
                          &PanelSettings::onFIDChecked<&PanelSettings::onFIDBrightnessDisplayOledInc>);
    map->registerFunction("SETTINGS.BRIGHTNESS.DISPLAY.TEXT.INC", this,
                          &PanelSettings::onFIDChecked<&PanelSettings::onFIDBrightnessDisplayTextInc>);
    map->registerFunction("SETTINGS.BRIGHTNESS.BUTTON.LOW.INC", this,
                          &PanelSettings::onFIDChecked<&PanelSettings::onFIDBrightnessButtonLowInc>);
    map->registerFunction("SETTINGS.BRIGHTNESS.BUTTON.HI.INC", this,
                          &PanelSettings::onFIDChecked<&PanelSettings::onFIDBrightnessButtonHiInc>);
    map->registerFunction("SETTINGS.JOYSTICK.SENSITIVITY.SET", this,
                          &PanelSettings::onFIDChecked<&PanelSettings::onFIDJoystickSensitivitySet>);
    map->registerFunction("SETTINGS.JOYSTICK.SENSITIVITY.INC", this,
                          &PanelSettings::onFIDChecked<&PanelSettings::onFIDJoystickSensitivityInc>);
    map->registerFunction("SETTINGS.OLED.FONTRESIZE.SET", this,
                          &PanelSettings::onFIDChecked<&PanelSettings::onFIDOLEDFontResizeSet>);
    map->registerFunction("SETTINGS.OLED.MODE.SET", this,
                          &PanelSettings::onFIDChecked<&PanelSettings::onFIDOLEDModeSet>);
    map->registerFunction("SETTINGS.OLED.OUTLINE.ENABLE", this,
                          &PanelSettings::onFIDChecked<&PanelSettings::onFIDOLEDOutlineEnable>);
    map->registerFunction("SETTINGS.SHIFT.LATCHMODE.SET", this,
                          &PanelSettings::onFIDChecked<&PanelSettings::onFIDLatchmodeSetType>);
    map->registerFunction("SETTINGS.SHIFT.HIDDEN_SOURCE_BLINKING.SET", this,
                          &PanelSettings::onFIDChecked<&PanelSettings::onFIDHiddenSourceBlinkingSet>);
    map->registerFunction("SETTINGS.COLOR.MACRO.SET", this,
                          &PanelSettings::onFIDChecked<&PanelSettings::onFIDColorMacroSet>);
    map->registerFunction("SETTINGS.COLOR.PMEM.SET", this,
                          &PanelSettings::onFIDChecked<&PanelSettings::onFIDColorPmemSet>);
    map->registerFunction("SETTINGS.TESTS.LEVERARM.STEPSIZE.SET", this,
                          &PanelSettings::onFIDChecked<&PanelSettings::onFIDLeverArmTestStepSizeSet>);
    map->registerFunction("SETTINGS.TESTS.LEVERARM.STEPCOUNT.SET", this,
                          &PanelSettings::onFIDChecked<&PanelSettings::onFIDLeverArmTestStepCountSet>);
}

void PanelSettings::init()
{
    PANEL_ASSERT(m_pMapHandler, "m_pMapHandler");
    PANEL_ASSERT(m_pConfigHandler, "m_pConfigHandler");

    for (int workplace = 0; workplace < kWorkplaces; ++workplace) {
        m_pMapHandler->setStateValue(stateKey(workplace, ".SHIFT.LATCHMODE"), "STANDARD");
        m_pMapHandler->setStateValue(stateKey(workplace, ".SHIFT.HIDDEN_SOURCE_BLINKING"), "ON");
        fillDefaults(workplace);
        m_pMapHandler->setStateValue(stateKey(workplace, ".COLOR.MACRO"), "YELLOW");
        m_pMapHandler->setStateValue(stateKey(workplace, ".COLOR.PMEM"), "CYAN");
        publishDefaults(workplace);
    }
    registerFunctions();

    load(settingsFilePath());
    saveBrightnessSettingsToFile();
    m_isLoading = false;

    startBrightnessObserver();
}

void PanelSettings::startBrightnessObserver()
{
    if (!m_observerWanted) return;
    m_pBrightnessObserver = new PanelBrightnessObserver("Task", boost::posix_time::microseconds(1000000));
    m_pBrightnessObserver->setParent(this);
    m_pObserverStarted = std::make_unique<SignalingEvent>(boost::posix_time::microseconds(60000));
    m_pBrightnessObserver->startTask(*m_pObserverStarted);
}

// ---- PanelSettings.xml ------------------------------------------------------

std::string PanelSettings::settingsFilePath() const { return m_pConfigHandler->m_dataDirectory + "/PanelSettings.xml"; }

std::string PanelSettings::brightnessExchangePath()
{
    oskit::Path path = oskit::Path::getCurrentWorkingDirPath();
    path.expand("data/PANEL");
    path.expand(SETTINGS_FILE_NAME);
    return path.getPath();
}

bool PanelSettings::load(const std::string& path)
{
    // The stored FIDs are collected under the lock and replayed outside it:
    // the handlers come back in through saveFidToFile.
    std::vector<std::pair<FunctionID, FIDParameterList>> replay;
    {
        std::lock_guard<std::mutex> guard(m_documentLock);
        if (!loadDocument(path)) return false;
        for (const TiXmlNode* node = m_document.FirstChild(); node; node = node->NextSibling()) {
            const TiXmlElement* fid = node->ToElement();
            if (!fid || fid->ValueStr() != "fid") continue;
            const char* name = fid->Attribute("name");
            FIDParameterList params;
            for (const TiXmlNode* child = fid->FirstChild(); child; child = child->NextSibling()) {
                const TiXmlElement* param = child->ToElement();
                if (!param || param->ValueStr() != "param") continue;
                const char* paramName = param->Attribute("name");
                const char* paramValue = param->Attribute("value");
                params.add(paramName ? paramName : "", paramValue ? paramValue : "");
            }
            replay.emplace_back(name ? name : "", std::move(params));
        }
    }
    for (const auto& entry : replay) m_pMapHandler->sendFID(entry.first, entry.second);
    return true;
}

// Only a regular file is read, through the input checks: a folder or a pipe
// in its place, or a file too big or too deep to hold, fails like a missing
// one, with its own line.
bool PanelSettings::loadDocument(const std::string& path)
{
    oskit::InputFile::EResult why = oskit::InputFile::RESULT_OK;
    bool loaded = false;
    try {
        loaded = XMLInput::load(m_document, path, TIXML_ENCODING_UNKNOWN, &why);
    } catch (const std::exception&) {
        loaded = false;
    }
    if (oskit::InputFile::isRefusal(why))
        std::cout << "PS: File refused (" + oskit::InputFile::describe(why) + "): " + path + "\n" << std::flush;
    return loaded;
}

bool PanelSettings::saveFidToFile(const FunctionID& name, const FIDParameterList* params)
{
    if (m_isLoading) return true;

    int workplace = -1;
    if (!params || !params->getValue("WP", workplace)) workplace = -1;

    {
        std::lock_guard<std::mutex> guard(m_documentLock);
        TiXmlElement* target = nullptr;
        for (TiXmlNode* node = m_document.FirstChild(); node && !target; node = node->NextSibling()) {
            TiXmlElement* fid = node->ToElement();
            if (!fid || fid->ValueStr() != "fid") continue;
            const char* fidName = fid->Attribute("name");
            if (!fidName || name != fidName) continue;
            int stored = 0;
            if (workplace == -1 ||
                (fid->QueryIntAttribute("workplace", &stored) == TIXML_SUCCESS && stored == workplace))
                target = fid;
        }

        if (target) {
            target->Clear();
        } else {
            TiXmlElement element("fid");
            element.SetAttribute("name", name);
            if (workplace != -1) element.SetAttribute("workplace", workplace);
            TiXmlNode* added = m_document.InsertEndChild(element);
            if (!added || !added->ToElement()) return false;
            target = added->ToElement();
        }
        if (params) {
            for (const FIDParameter& parameter : params->parameters()) {
                TiXmlElement param("param");
                param.SetAttribute("name", parameter.name);
                param.SetAttribute("value", parameter.value);
                target->InsertEndChild(param);
            }
        }
        m_savePending = true;
    }
    // Outside the lock: stopping the timer waits for a save in progress.
    virtualSave();
    return true;
}

void PanelSettings::virtualSave()
{
    if (m_saveTimer.isRunning()) m_saveTimer.stop();
    m_saveTimer.startMilliSec(1000, true);
}

void PanelSettings::onSaveTimerEllapsed()
{
    if (!m_pConfigHandler) return;
    writeDocument();
}

// Written to a temporary file beside the target and renamed over it, so that
// the file is never left half written.
bool PanelSettings::writeDocument()
{
    std::lock_guard<std::mutex> guard(m_documentLock);
    m_savePending = false;
    const std::string path = settingsFilePath();
    if (!WholeFileWriter::writeDocument(path, m_document)) {
        std::cout << "PS: File did NOT save: " + path + "\n" << std::flush;
        return false;
    }
    return true;
}

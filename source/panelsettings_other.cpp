// PanelSettings handlers apart from brightness: power saver, shift latch mode,
// hidden source blinking, colours, joystick, OLED and lever arm test numbers.

#include <cstdint>
#include <string>

#include "fidmaphandler.h"
#include "panelkit/Assert.h"
#include "panelsettings.h"

namespace {

// The OLED modes; the position gives the mode number.
const char* const g_OLEDModeNames[] = {"SEPARATE", "JOIN", "JOIN_SH"};

const char* const kLatchModes[] = {"AUTO", "MANUAL", "STANDARD", nullptr};
const char* const kBlinkingModes[] = {"ON", "OFF", nullptr};

constexpr int kWorkplaceCount = 8;
constexpr int kJoystickMax = 4095;

bool workplaceTested(int workplace) { return static_cast<unsigned>(workplace) < static_cast<unsigned>(kWorkplaceCount); }

bool isAccepted(const std::string& text, const char* const* accepted)
{
    if (!accepted) return true;
    for (; *accepted; ++accepted)
        if (text == *accepted) return true;
    return false;
}

} // namespace

// ---- power saver: handed on to the widget manager --------------------------

bool PanelSettings::onFIDPowerSaverEnableBypass(const FunctionID& name, const FIDParameterList* paraList)
{
    std::string enable;
    int workplace = 0;
    const bool present = readText(paraList, "ENABLE", enable);
    const ENumber wp = readInteger(paraList, "WP", workplace);
    if (!present || wp == ENumber::MISSING) return false;
    if (wp == ENumber::OUT_OF_RANGE) return false;
    requireWidgetManager();
    m_pIWidgetManager->setPowerSaverBypass(workplace, enable == "ON");
    saveFidToFile(name, paraList);
    return true;
}

bool PanelSettings::onFIDPowerSaverSetTime(const FunctionID& name, const FIDParameterList* paraList)
{
    int time = 0;
    int workplace = 0;
    const ENumber first = readInteger(paraList, "TIME", time);
    const ENumber wp = readInteger(paraList, "WP", workplace);
    if (first == ENumber::MISSING || wp == ENumber::MISSING) return false;
    if (first == ENumber::OUT_OF_RANGE || wp == ENumber::OUT_OF_RANGE) return false;
    requireWidgetManager();
    m_pIWidgetManager->setPowerSaverTime(workplace, time);
    saveFidToFile(name, paraList);
    return true;
}

bool PanelSettings::onFIDPowerSaverSetType(const FunctionID& name, const FIDParameterList* paraList)
{
    std::string type;
    int workplace = 0;
    const bool present = readText(paraList, "TYPE", type);
    const ENumber wp = readInteger(paraList, "WP", workplace);
    if (!present || wp == ENumber::MISSING) return false;
    if (wp == ENumber::OUT_OF_RANGE) return false;
    int number = 0;
    if (type == "75")
        number = 0;
    else if (type == "90")
        number = 1;
    else if (type == "FULL")
        number = 2;
    else
        return false;
    requireWidgetManager();
    m_pIWidgetManager->setPowerSaverType(workplace, number);
    saveFidToFile(name, paraList);
    return true;
}

// ---- settings that live only in the state table and the file ---------------

bool PanelSettings::textStateSet(const char* valueName, const char* suffix, const char* const* accepted,
                                 const FunctionID& name, const FIDParameterList* paraList)
{
    std::string text;
    int workplace = 0;
    const bool present = readText(paraList, valueName, text);
    const ENumber wp = readInteger(paraList, "WP", workplace);
    if (!present || wp != ENumber::VALID) return false;
    if (!workplaceTested(workplace)) return false;
    if (!isAccepted(text, accepted)) return false;
    m_pMapHandler->setStateValue(stateKey(workplace, suffix), text);
    saveFidToFile(name, paraList);
    return true;
}

bool PanelSettings::onFIDLatchmodeSetType(const FunctionID& name, const FIDParameterList* paraList)
{
    return textStateSet("MODE", ".SHIFT.LATCHMODE", kLatchModes, name, paraList);
}

bool PanelSettings::onFIDHiddenSourceBlinkingSet(const FunctionID& name, const FIDParameterList* paraList)
{
    return textStateSet("MODE", ".SHIFT.HIDDEN_SOURCE_BLINKING", kBlinkingModes, name, paraList);
}

bool PanelSettings::onFIDColorMacroSet(const FunctionID& name, const FIDParameterList* paraList)
{
    return textStateSet("VAL", ".COLOR.MACRO", nullptr, name, paraList);
}

bool PanelSettings::onFIDColorPmemSet(const FunctionID& name, const FIDParameterList* paraList)
{
    return textStateSet("VAL", ".COLOR.PMEM", nullptr, name, paraList);
}

// ---- joystick ----------------------------------------------------------------

bool PanelSettings::onFIDJoystickSensitivitySet(const FunctionID& name, const FIDParameterList* paraList)
{
    int value = 0;
    int workplace = 0;
    const ENumber first = readInteger(paraList, "VALUE", value);
    const ENumber wp = readInteger(paraList, "WP", workplace);
    if (first == ENumber::MISSING || wp == ENumber::MISSING) return false;
    if (first == ENumber::OUT_OF_RANGE || wp == ENumber::OUT_OF_RANGE) return false;
    if (!workplaceTested(workplace)) return false;
    if (static_cast<unsigned>(value) > static_cast<unsigned>(kJoystickMax)) return false;
    m_joystickSensitivity[static_cast<size_t>(workplace)].store(static_cast<uint16_t>(value));
    m_pMapHandler->setStateValueInt(stateKey(workplace, ".JOYSTICK.SENSITIVITY"), value);
    saveFidToFile(name, paraList);
    return true;
}

bool PanelSettings::onFIDJoystickSensitivityInc(const FunctionID&, const FIDParameterList* paraList)
{
    int step = 0;
    int workplace = 0;
    const ENumber first = readInteger(paraList, "VALUE", step);
    const ENumber wp = readInteger(paraList, "WP", workplace);
    if (first == ENumber::MISSING || wp == ENumber::MISSING) return false;
    if (first == ENumber::OUT_OF_RANGE || wp == ENumber::OUT_OF_RANGE) return false;
    if (!workplaceTested(workplace)) return false;

    // Through the getter, so that a stored value of 4096 or more counts as the default.
    long long next = static_cast<long long>(getJoystickSensitivity(workplace)) + step;
    if (next < 0) next = 0;
    if (next > kJoystickMax) next = kJoystickMax;
    const int value = static_cast<int>(next);
    auto& entry = m_joystickSensitivity[static_cast<size_t>(workplace)];
    if (value == entry.load()) return false;

    entry.store(static_cast<uint16_t>(value));
    m_pMapHandler->setStateValueInt(stateKey(workplace, ".JOYSTICK.SENSITIVITY"), value);
    FIDParameterList absolute;
    absolute.add("WP", std::to_string(workplace));
    absolute.add("VALUE", std::to_string(value));
    saveFidToFile("SETTINGS.JOYSTICK.SENSITIVITY.SET", &absolute);
    return true;
}

// ---- OLED ------------------------------------------------------------------------

bool PanelSettings::onFIDOLEDFontResizeSet(const FunctionID& name, const FIDParameterList* paraList)
{
    std::string text;
    int workplace = 0;
    const bool present = readText(paraList, "VALUE", text);
    const ENumber wp = readInteger(paraList, "WP", workplace);
    if (!present || wp == ENumber::MISSING) return true;
    if (wp == ENumber::OUT_OF_RANGE) return false;
    if (!workplaceTested(workplace)) return false;
    const bool resizable = text == "ON" || text == "TRUE";
    auto& entry = m_oledFontsResizable[static_cast<size_t>(workplace)];
    if (entry.load() == resizable) return true;

    entry.store(resizable);
    m_pMapHandler->setStateValue(stateKey(workplace, ".OLED.FONTRESIZE"), text);
    FIDParameterList stored;
    stored.add("WP", std::to_string(workplace));
    stored.add("VALUE", text);
    saveFidToFile(name, &stored);
    if (m_pIWidgetManager) m_pIWidgetManager->refreshSettings();
    return true;
}

bool PanelSettings::onFIDOLEDModeSet(const FunctionID& name, const FIDParameterList* paraList)
{
    std::string text;
    int workplace = 0;
    const bool present = readText(paraList, "VALUE", text);
    const ENumber wp = readInteger(paraList, "WP", workplace);
    if (!present || wp == ENumber::MISSING) return true;
    if (wp == ENumber::OUT_OF_RANGE) return false;
    if (!workplaceTested(workplace)) return false;
    int32_t mode = -1;
    for (int32_t index = 0; index < 3; ++index)
        if (text == g_OLEDModeNames[index]) mode = index;
    if (mode < 0) return false;
    auto& entry = m_oledMode[static_cast<size_t>(workplace)];
    if (entry.load() == mode) return true;

    entry.store(mode);
    m_pMapHandler->setStateValue(stateKey(workplace, ".OLED.MODE"), text);
    FIDParameterList stored;
    stored.add("WP", std::to_string(workplace));
    stored.add("VALUE", text);
    saveFidToFile(name, &stored);
    return true;
}

bool PanelSettings::onFIDOLEDOutlineEnable(const FunctionID& name, const FIDParameterList* paraList)
{
    std::string text;
    int workplace = 0;
    const bool present = readText(paraList, "ENABLE", text);
    const ENumber wp = readInteger(paraList, "WP", workplace);
    if (!present || wp == ENumber::MISSING) return true;
    if (wp == ENumber::OUT_OF_RANGE) return false;
    if (!workplaceTested(workplace)) return false;
    // Indexed by the workplace minus 1: workplace 0 has no entry, its write is dropped.
    if (workplace > 0) m_oledOutlineEnabled[static_cast<size_t>(workplace - 1)].store(text == "TRUE");
    m_pMapHandler->setStateValue(stateKey(workplace, ".OLED.OUTLINE.ENABLED"), text);
    saveFidToFile(name, paraList);
    if (m_pIWidgetManager) m_pIWidgetManager->refreshSettings();
    return true;
}

// ---- lever arm test ---------------------------------------------------------------

bool PanelSettings::leverArmSet(std::array<std::atomic<uint16_t>, kWorkplaces>& field, const char* suffix,
                                const FunctionID& name, const FIDParameterList* paraList)
{
    int value = 0;
    int workplace = 0;
    const ENumber first = readInteger(paraList, "VAL", value);
    const ENumber wp = readInteger(paraList, "WP", workplace);
    if (first == ENumber::MISSING || wp == ENumber::MISSING) return false;
    if (first == ENumber::OUT_OF_RANGE || wp == ENumber::OUT_OF_RANGE) return false;
    // No workplace test: the entry is written where there is one.
    if (workplaceTested(workplace)) field[static_cast<size_t>(workplace)].store(static_cast<uint16_t>(value));
    m_pMapHandler->setStateValueInt(stateKey(workplace, suffix), value);
    saveFidToFile(name, paraList);
    return true;
}

bool PanelSettings::onFIDLeverArmTestStepSizeSet(const FunctionID& name, const FIDParameterList* paraList)
{
    return leverArmSet(m_leverArmTestStepSize, ".TESTS.LEVERARM.STEPSIZE", name, paraList);
}

bool PanelSettings::onFIDLeverArmTestStepCountSet(const FunctionID& name, const FIDParameterList* paraList)
{
    return leverArmSet(m_leverArmTestStepCount, ".TESTS.LEVERARM.STEPCOUNT", name, paraList);
}

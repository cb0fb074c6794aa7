// Brightness handlers of PanelSettings and the brightness exchange file.

#include <cstdint>
#include <iostream>
#include <string>

#include <sys/file.h>
#include <unistd.h>

#include "fidmaphandler.h"
#include "oskit/InPlaceFile.h"
#include "panelkit/Assert.h"
#include "panelsettings.h"

namespace {

constexpr unsigned kBrightnessMax = 4095;

} // namespace

void PanelSettings::requireWidgetManager() const { PANEL_ASSERT(m_pIWidgetManager, "m_pIWidgetManager"); }

bool PanelSettings::brightnessSet(EBrightness which, const FunctionID& name, const FIDParameterList* paraList)
{
    const BrightnessRule& rule = s_brightnessRules[which];
    int value = 0;
    int workplace = 0;
    const ENumber first = readInteger(paraList, "VALUE", value);
    const ENumber wp = readInteger(paraList, "WP", workplace);
    if (first == ENumber::MISSING || wp == ENumber::MISSING) return false;
    if (first == ENumber::OUT_OF_RANGE || wp == ENumber::OUT_OF_RANGE) return false;
    if (rule.setTestsWorkplace && static_cast<unsigned>(workplace) >= static_cast<unsigned>(kWorkplaces))
        return false;
    const auto candidate = static_cast<unsigned>(value);
    if (candidate < rule.floor || candidate > kBrightnessMax) return false;
    if (candidate == brightnessEntry(which, workplace)) return true;

    setBrightnessEntry(which, workplace, static_cast<uint16_t>(candidate));
    requireWidgetManager();
    m_pIWidgetManager->refreshSettings();
    m_pMapHandler->setStateValueInt(stateKey(workplace, rule.suffix), value);
    saveFidToFile(name, paraList);
    if (workplace == 1) saveBrightnessSettingsToFile();
    return true;
}

bool PanelSettings::brightnessInc(EBrightness which, const FIDParameterList* paraList)
{
    const BrightnessRule& rule = s_brightnessRules[which];
    int step = 0;
    int workplace = 0;
    const ENumber first = readInteger(paraList, "VALUE", step);
    const ENumber wp = readInteger(paraList, "WP", workplace);
    if (first == ENumber::MISSING || wp == ENumber::MISSING) return false;
    if (first == ENumber::OUT_OF_RANGE || wp == ENumber::OUT_OF_RANGE) return false;
    if (static_cast<unsigned>(workplace) >= static_cast<unsigned>(kWorkplaces)) return false;

    long long next = static_cast<long long>(brightnessEntry(which, workplace)) + step;
    if (next < static_cast<long long>(rule.floor)) next = rule.floor;
    if (next > static_cast<long long>(kBrightnessMax)) next = kBrightnessMax;
    const int value = static_cast<int>(next);

    // No test for an unchanged value: a clamp that keeps the value still
    // refreshes, publishes and saves.
    setBrightnessEntry(which, workplace, static_cast<uint16_t>(value));
    requireWidgetManager();
    m_pIWidgetManager->refreshSettings();
    m_pMapHandler->setStateValueInt(stateKey(workplace, rule.suffix), value);

    FIDParameterList absolute;
    absolute.add("WP", std::to_string(workplace));
    absolute.add("VALUE", std::to_string(value));
    saveFidToFile(rule.setFid, &absolute);
    if (workplace == 1) saveBrightnessSettingsToFile();
    return true;
}

bool PanelSettings::onFIDBrightnessDisplayTftSet(const FunctionID& name, const FIDParameterList* paraList)
{
    return brightnessSet(BRIGHTNESS_DISPLAY_TFT, name, paraList);
}

bool PanelSettings::onFIDBrightnessDisplayOledSet(const FunctionID& name, const FIDParameterList* paraList)
{
    return brightnessSet(BRIGHTNESS_DISPLAY_OLED, name, paraList);
}

bool PanelSettings::onFIDBrightnessDisplayTextSet(const FunctionID& name, const FIDParameterList* paraList)
{
    return brightnessSet(BRIGHTNESS_DISPLAY_TEXT, name, paraList);
}

bool PanelSettings::onFIDBrightnessButtonLowSet(const FunctionID& name, const FIDParameterList* paraList)
{
    return brightnessSet(BRIGHTNESS_BUTTON_LOW, name, paraList);
}

bool PanelSettings::onFIDBrightnessButtonHiSet(const FunctionID& name, const FIDParameterList* paraList)
{
    return brightnessSet(BRIGHTNESS_BUTTON_HI, name, paraList);
}

bool PanelSettings::onFIDBrightnessDisplayTftInc(const FunctionID&, const FIDParameterList* paraList)
{
    return brightnessInc(BRIGHTNESS_DISPLAY_TFT, paraList);
}

bool PanelSettings::onFIDBrightnessDisplayOledInc(const FunctionID&, const FIDParameterList* paraList)
{
    return brightnessInc(BRIGHTNESS_DISPLAY_OLED, paraList);
}

bool PanelSettings::onFIDBrightnessDisplayTextInc(const FunctionID&, const FIDParameterList* paraList)
{
    return brightnessInc(BRIGHTNESS_DISPLAY_TEXT, paraList);
}

bool PanelSettings::onFIDBrightnessButtonLowInc(const FunctionID&, const FIDParameterList* paraList)
{
    return brightnessInc(BRIGHTNESS_BUTTON_LOW, paraList);
}

bool PanelSettings::onFIDBrightnessButtonHiInc(const FunctionID&, const FIDParameterList* paraList)
{
    return brightnessInc(BRIGHTNESS_BUTTON_HI, paraList);
}

// The file is shared with outside programs and written in place: a shared
// lock (the observer holds its own shared lock while it calls the Set
// handlers that end up here), one write at offset 0, no truncation. Only a
// regular file is written.
bool PanelSettings::saveBrightnessSettingsToFile()
{
    std::lock_guard<std::mutex> guard(m_exchangeFileLock);

    std::string text = "Workplace OLEDBrightness TextBrightness HighTally LowTally TFT\n";
    text += "WP1";
    for (EBrightness which : {BRIGHTNESS_DISPLAY_OLED, BRIGHTNESS_DISPLAY_TEXT, BRIGHTNESS_BUTTON_HI,
                              BRIGHTNESS_BUTTON_LOW, BRIGHTNESS_DISPLAY_TFT}) {
        text += ' ';
        text += std::to_string(static_cast<int16_t>(brightnessEntry(which, 1)));
    }
    text += '\n';

    const std::string path = brightnessExchangePath();
    // Read and write, created where nothing stands, never truncated.
    oskit::InPlaceFile file(path, oskit::InPlaceFile::CREATE);
    // A named pipe, device, socket or folder in the file's place is not
    // written; the refusal is told once until something else stands there.
    const bool refusedBefore = m_exchangeFileRefused;
    m_exchangeFileRefused = file.result() == oskit::InPlaceFile::RESULT_NOT_REGULAR;
    if (file.result() == oskit::InPlaceFile::RESULT_NOT_REGULAR) {
        if (!refusedBefore) std::cout << "PS: File refused (not a regular file): " + path + "\n" << std::flush;
        return false;
    }
    if (file.result() != oskit::InPlaceFile::RESULT_OK) {
        std::cout << "PS: File did NOT open: " + path + "\n" << std::flush;
        return false;
    }
    const int fd = file.descriptor();
    if (::flock(fd, LOCK_SH) != 0) {
        std::cout << "PS: File did NOT lock\n" << std::flush;
        return false;
    }
    const bool written = file.write(text);
    (void)written;
    ::flock(fd, LOCK_UN);
    ::fsync(fd);
    return true;
}

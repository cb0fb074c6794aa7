// Colour FIDs: named colours of the host's colour manager.

#include <cstdlib>
#include <string>

#include "panelkit/Assert.h"
#include "panelkit/ColorRgb.h"
#include "panelmfd.h"

namespace {

enum EColorLevel { LEVEL_HI = 0, LEVEL_LOW = 1, LEVEL_OFF = 2 };

// 0 red, 1 green, 2 blue; -1 for any other name.
int channelNumber(const std::string& name)
{
    if (name == "RED") return 0;
    if (name == "GREEN") return 1;
    if (name == "BLUE") return 2;
    return -1;
}

} // namespace

bool PanelMFD::onFIDColorSet(const FunctionID&, const FIDParameterList* paraList)
{
    PANEL_ASSERT(paraList, "paraList");
    PANEL_ASSERT(m_pIColorManager, "m_pIColorManager");
    PANEL_ASSERT(m_pIWidgetManager, "m_pIWidgetManager");

    std::string name;
    if (!paraList->getValue("NAME", name)) return false;

    std::string color = "0x000000";
    if (paraList->getValue("HI", color)) m_pIColorManager->setColorHi(name, ColorRgb(color));
    color = "0x000000";
    if (paraList->getValue("LOW", color)) m_pIColorManager->setColorLow(name, ColorRgb(color));
    color = "0x000000";
    if (paraList->getValue("OFF", color)) m_pIColorManager->setColorOff(name, ColorRgb(color));

    m_pIWidgetManager->refreshSettings();
    return true;
}

bool PanelMFD::onFIDColorInc(const FunctionID&, const FIDParameterList* paraList)
{
    PANEL_ASSERT(paraList, "paraList");
    PANEL_ASSERT(m_pIColorManager, "m_pIColorManager");
    PANEL_ASSERT(m_pIWidgetManager, "m_pIWidgetManager");

    std::string name;
    std::string channelName;
    if (!paraList->getValue("NAME", name) || !paraList->getValue("CHANNEL", channelName)) return false;
    const int channel = channelNumber(channelName);
    if (channel < 0) return false;

    // LOW wins over HI, HI over OFF.
    std::string step;
    int level = 0;
    if (paraList->getValue("LOW", step))
        level = LEVEL_LOW;
    else if (paraList->getValue("HI", step))
        level = LEVEL_HI;
    else if (paraList->getValue("OFF", step))
        level = LEVEL_OFF;
    else
        return false;

    std::string adapt;
    const bool adaptOthers = paraList->getValue("ADAPT_OTHERS", adapt) && (adapt == "TRUE" || adapt == "ON");

    m_pIColorManager->incColorChannel(name, channel, level,
                                      static_cast<int>(std::strtol(step.c_str(), nullptr, 10)), adaptOthers);
    m_pIWidgetManager->refreshSettings();
    return true;
}

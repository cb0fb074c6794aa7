// MacroRecorder: the attributes that a replace macro puts on its button and the
// button's text displays (layer "REPL"), and the look-ups that feed them.
//
// The picture is taken under the data lock; the widget control is called
// after it has been let go.
#include "macrorecorder.h"

namespace {

const char* const kReplaceLayer = "REPL";

bool isSet(const UniqueWidgetID& id)
{
    return id.getID() != 0;
}

} // namespace

std::string MacroRecorder::getReplaceMacroName(const UniqueWidgetID& id)
{
    std::lock_guard<std::mutex> guard(m_dataLock);
    const int replace = widgetMacroLocked(id, Widget::REPLACE);
    if (replace < kMacroMin || replace > kMacroMax) return std::string();
    auto driver = m_moduleDriverIDs.find(UniqueModuleID(id));
    if (driver != m_moduleDriverIDs.end()) {
        auto names = m_macroNames.find(driver->second);
        return names == m_macroNames.end() ? std::string() : names->second[static_cast<size_t>(replace)];
    }
    const Macro* pMacro = m_macros[static_cast<size_t>(replace)];
    return pMacro ? pMacro->name : std::string();
}

void MacroRecorder::showReplaceMacroAttribs(const UniqueWidgetID& id, bool force)
{
    std::string driverID;
    int pre = 0, replace = 0, post = 0, latest = 0;
    std::string preStatus, replaceStatus, postStatus;
    bool replaceInForce = false;
    std::string colour;
    UniqueWidgetID primary, secondary, tertiary;
    {
        std::lock_guard<std::mutex> guard(m_dataLock);
        Widget& widget = m_widgets[id];
        if (!m_pWidgetControl.load()) return;
        if (!force && (!m_attachmentsActive.load() || !widget.hasAttachments())) return;
        // Only buttons with a driver show these attributes: statuses come only from drivers.
        auto driver = m_moduleDriverIDs.find(UniqueModuleID(id));
        if (driver == m_moduleDriverIDs.end()) return;
        driverID = driver->second;

        pre = widget.getMacro(Widget::PRE);
        replace = widget.getMacro(Widget::REPLACE);
        post = widget.getMacro(Widget::POST);
        auto latestReg = m_latestRegs.find(driverID);
        latest = latestReg == m_latestRegs.end() ? 0 : latestReg->second;
        // Without a table (no valid status came yet) nothing plays or pauses.
        auto table = m_macroStatus.find(driverID);
        auto statusOf = [&](int number) {
            if (table == m_macroStatus.end() || number < 0 || number >= kMacroSlots) return std::string();
            return table->second[static_cast<size_t>(number)];
        };
        preStatus = statusOf(pre);
        replaceStatus = statusOf(replace);
        postStatus = statusOf(post);
        auto flag = widget.m_hasReplace.find(widget.m_level);
        replaceInForce = flag != widget.m_hasReplace.end() && flag->second;
        auto macroColour = m_macroColors.find(driverID);
        colour = macroColour == m_macroColors.end() ? std::string() : macroColour->second;
        primary = widget.m_primaryDisplay;
        secondary = widget.m_secondaryDisplay;
        tertiary = widget.m_tertiaryDisplay;
    }
    IWidgetControl* control = m_pWidgetControl.load();
    if (!control) return;

    control->setAttribute(kReplaceLayer, id, "ACTIVE", "TRUE");
    const bool isLatest = latest == pre || latest == replace || latest == post;
    auto any = [&](const char* status) {
        return preStatus == status || replaceStatus == status || postStatus == status;
    };
    if (any("PAUSE")) {
        control->setAttribute(kReplaceLayer, id, "COLOR", "PURPLE");
        control->setAttribute(kReplaceLayer, id, "LAMP", isLatest ? "ON" : "OFF");
    } else if (any("PLAY")) {
        control->setAttribute(kReplaceLayer, id, "COLOR", "ORANGE");
        control->setAttribute(kReplaceLayer, id, "LAMP", "ON");
    } else if (replaceInForce) {
        control->setAttribute(kReplaceLayer, id, "COLOR", colour);
        control->setAttribute(kReplaceLayer, id, "LAMP", latest == replace ? "ON" : "OFF");
    } else {
        control->clearAttribute(kReplaceLayer, id, "COLOR");
        control->clearAttribute(kReplaceLayer, id, "LAMP");
        control->clearAttribute(kReplaceLayer, id, "ACTIVE");
    }

    // The displays belong to the replace macro alone.
    if (!isSet(primary) || !replaceInForce) return;
    const std::string name = getReplaceMacroName(id);
    if (!name.empty()) {
        control->setAttribute(kReplaceLayer, primary, "TEXT", name);
        control->setAttribute(kReplaceLayer, primary, "TEXTLN1", name);
    }
    control->setAttribute(kReplaceLayer, primary, "TYPE", "SINGLE");
    control->setAttribute(kReplaceLayer, primary, "BLINK", "OFF");
    control->setAttribute(kReplaceLayer, primary, "INVERT", "OFF");
    if (!isSet(secondary)) return;
    if (!isSet(tertiary)) {
        const std::string type = control->getAttribute(secondary, "TYPE");
        if (type == "HALF" || type == "SINGLE") control->setAttribute(kReplaceLayer, secondary, "TYPE", "SINGLE");
        return;
    }
    for (const UniqueWidgetID& display : {primary, secondary, tertiary})
        control->setAttribute(kReplaceLayer, display, "TYPE", "THIRDSPLIT");
    // The text line follows the order of the widget numbers.
    const char* line = tertiary.getWidgetID() < primary.getWidgetID() ? "TEXTLN1" : "TEXTLN2";
    for (const UniqueWidgetID& display : {primary, secondary, tertiary})
        control->setAttribute(kReplaceLayer, display, line, name);
}

void MacroRecorder::hideReplaceMacroAttribs(const UniqueWidgetID& id)
{
    UniqueWidgetID primary, secondary, tertiary;
    {
        std::lock_guard<std::mutex> guard(m_dataLock);
        Widget& widget = m_widgets[id];
        if (!m_pWidgetControl.load() || !m_attachmentsActive.load()) return;
        if (!widget.hasAttachments()) return;
        primary = widget.m_primaryDisplay;
        secondary = widget.m_secondaryDisplay;
        tertiary = widget.m_tertiaryDisplay;
    }
    IWidgetControl* control = m_pWidgetControl.load();
    if (!control) return;

    // Whatever the layer holds goes, driver or none.
    control->clearAttribute(kReplaceLayer, id, "COLOR");
    control->clearAttribute(kReplaceLayer, id, "ACTIVE");
    control->clearAttribute(kReplaceLayer, id, "LAMP");
    if (!isSet(primary)) return;
    for (const char* attribute : {"TEXT", "TEXTLN1", "TYPE", "BLINK", "INVERT"})
        control->clearAttribute(kReplaceLayer, primary, attribute);
    if (!isSet(secondary)) return;
    if (!isSet(tertiary)) {
        control->clearAttribute(kReplaceLayer, secondary, "TYPE");
        return;
    }
    control->clearAttribute(kReplaceLayer, secondary, "TYPE");
    control->clearAttribute(kReplaceLayer, tertiary, "TYPE");
    const char* line = tertiary.getWidgetID() < primary.getWidgetID() ? "TEXTLN1" : "TEXTLN2";
    for (const UniqueWidgetID& display : {primary, secondary, tertiary})
        control->clearAttribute(kReplaceLayer, display, line);
}

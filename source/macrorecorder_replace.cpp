// MacroRecorder: the attributes that a replace macro puts on its button and the
// button's text displays (layer "REPL"), the look-ups that feed them, and the
// queue through which every attribute of the buttons is painted.
//
// A picture is decided under the data lock and queued in the same hold; the
// widget control is called after the lock has been let go, by one thread at a
// time, in the order the pictures were decided.
#include "macrorecorder.h"

namespace {

const char* const kReplaceLayer = "REPL";

bool isSet(const UniqueWidgetID& id)
{
    return id.getID() != 0;
}

} // namespace

// ---- the paint queue -------------------------------------------------------------------------

uint64_t MacroRecorder::queuePaintLocked(AttributeCalls&& calls)
{
    if (calls.empty()) return 0;
    const uint64_t ticket = ++m_paintTickets;
    m_paintQueue.emplace_back(ticket, std::move(calls));
    return ticket;
}

void MacroRecorder::paintUpTo(uint64_t ticket)
{
    if (ticket == 0) return;
    {
        std::unique_lock<std::mutex> lock(m_dataLock);
        if (!m_paintTurn.take(lock, ticket)) return;
    }
    // Paints until nothing waits; what is queued meanwhile, here (the host
    // calling back in) or on another thread, is taken by a later pass.
    PublishTurn::Holder holder(m_paintTurn, m_dataLock);
    for (;;) {
        uint64_t number = 0;
        AttributeCalls calls;
        {
            std::lock_guard<std::mutex> guard(m_dataLock);
            if (m_paintQueue.empty()) {
                m_paintTurn.release();
                holder.released();
                return;
            }
            number = m_paintQueue.front().first;
            calls = std::move(m_paintQueue.front().second);
            m_paintQueue.pop_front();
        }
        if (IWidgetControl* control = m_pWidgetControl.load()) {
            for (const AttributeCall& call : calls) {
                switch (call.kind) {
                case AttributeCall::SET:
                    control->setAttribute(call.layer, call.widget, call.attribute, call.value);
                    break;
                case AttributeCall::CLEAR: control->clearAttribute(call.layer, call.widget, call.attribute); break;
                case AttributeCall::SINGLE_IF_HALF_OR_SINGLE: {
                    const std::string type = control->getAttribute(call.widget, call.attribute);
                    if (type == "HALF" || type == "SINGLE")
                        control->setAttribute(call.layer, call.widget, call.attribute, "SINGLE");
                    break;
                }
                }
            }
        }
        std::lock_guard<std::mutex> guard(m_dataLock);
        m_paintTurn.published(number);
    }
}

// ---- the replace macro's attributes ----------------------------------------------------------

std::string MacroRecorder::getReplaceMacroName(const UniqueWidgetID& id)
{
    std::lock_guard<std::mutex> guard(m_dataLock);
    return replaceMacroNameLocked(id);
}

std::string MacroRecorder::replaceMacroNameLocked(const UniqueWidgetID& id) const
{
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
    paintDecided([&](AttributeCalls& calls) { decideShowReplaceLocked(id, force, calls); });
}

void MacroRecorder::hideReplaceMacroAttribs(const UniqueWidgetID& id)
{
    paintDecided([&](AttributeCalls& calls) { decideHideReplaceLocked(id, calls); });
}

void MacroRecorder::decideShowReplaceLocked(const UniqueWidgetID& id, bool force, AttributeCalls& calls)
{
    Widget& widget = m_widgets[id];
    if (!m_pWidgetControl.load()) return;
    if (!force && (!m_attachmentsActive.load() || !widget.hasAttachments())) return;
    // Only buttons with a driver show these attributes: statuses come only from drivers.
    auto driver = m_moduleDriverIDs.find(UniqueModuleID(id));
    if (driver == m_moduleDriverIDs.end()) return;
    const std::string& driverID = driver->second;

    const int pre = widget.getMacro(Widget::PRE);
    const int replace = widget.getMacro(Widget::REPLACE);
    const int post = widget.getMacro(Widget::POST);
    auto latestReg = m_latestRegs.find(driverID);
    const int latest = latestReg == m_latestRegs.end() ? 0 : latestReg->second;
    // Without a table (no valid status came yet) nothing plays or pauses.
    auto table = m_macroStatus.find(driverID);
    auto statusOf = [&](int number) {
        if (table == m_macroStatus.end() || number < 0 || number >= kMacroSlots) return std::string();
        return table->second[static_cast<size_t>(number)];
    };
    const std::string preStatus = statusOf(pre);
    const std::string replaceStatus = statusOf(replace);
    const std::string postStatus = statusOf(post);
    auto flag = widget.m_hasReplace.find(widget.m_level);
    const bool replaceInForce = flag != widget.m_hasReplace.end() && flag->second;
    auto macroColour = m_macroColors.find(driverID);
    const std::string colour = macroColour == m_macroColors.end() ? std::string() : macroColour->second;
    const UniqueWidgetID primary = widget.m_primaryDisplay;
    const UniqueWidgetID secondary = widget.m_secondaryDisplay;
    const UniqueWidgetID tertiary = widget.m_tertiaryDisplay;

    auto set = [&](const UniqueWidgetID& w, const char* attribute, const std::string& value) {
        calls.push_back({AttributeCall::SET, kReplaceLayer, w, attribute, value});
    };
    auto clear = [&](const UniqueWidgetID& w, const char* attribute) {
        calls.push_back({AttributeCall::CLEAR, kReplaceLayer, w, attribute, std::string()});
    };

    set(id, "ACTIVE", "TRUE");
    const bool isLatest = latest == pre || latest == replace || latest == post;
    auto any = [&](const char* status) {
        return preStatus == status || replaceStatus == status || postStatus == status;
    };
    if (any("PAUSE")) {
        set(id, "COLOR", "PURPLE");
        set(id, "LAMP", isLatest ? "ON" : "OFF");
    } else if (any("PLAY")) {
        set(id, "COLOR", "ORANGE");
        set(id, "LAMP", "ON");
    } else if (replaceInForce) {
        set(id, "COLOR", colour);
        set(id, "LAMP", latest == replace ? "ON" : "OFF");
    } else {
        clear(id, "COLOR");
        clear(id, "LAMP");
        clear(id, "ACTIVE");
    }

    // The displays belong to the replace macro alone.
    if (!isSet(primary) || !replaceInForce) return;
    const std::string name = replaceMacroNameLocked(id);
    if (!name.empty()) {
        set(primary, "TEXT", name);
        set(primary, "TEXTLN1", name);
    }
    set(primary, "TYPE", "SINGLE");
    set(primary, "BLINK", "OFF");
    set(primary, "INVERT", "OFF");
    if (!isSet(secondary)) return;
    if (!isSet(tertiary)) {
        // The secondary's own type is asked when its turn comes.
        calls.push_back({AttributeCall::SINGLE_IF_HALF_OR_SINGLE, kReplaceLayer, secondary, "TYPE", std::string()});
        return;
    }
    for (const UniqueWidgetID& display : {primary, secondary, tertiary}) set(display, "TYPE", "THIRDSPLIT");
    // The text line follows the order of the widget numbers.
    const char* line = tertiary.getWidgetID() < primary.getWidgetID() ? "TEXTLN1" : "TEXTLN2";
    for (const UniqueWidgetID& display : {primary, secondary, tertiary}) set(display, line, name);
}

void MacroRecorder::decideHideReplaceLocked(const UniqueWidgetID& id, AttributeCalls& calls)
{
    Widget& widget = m_widgets[id];
    if (!m_pWidgetControl.load() || !m_attachmentsActive.load()) return;
    if (!widget.hasAttachments()) return;
    const UniqueWidgetID primary = widget.m_primaryDisplay;
    const UniqueWidgetID secondary = widget.m_secondaryDisplay;
    const UniqueWidgetID tertiary = widget.m_tertiaryDisplay;

    auto clear = [&](const UniqueWidgetID& w, const char* attribute) {
        calls.push_back({AttributeCall::CLEAR, kReplaceLayer, w, attribute, std::string()});
    };
    // Whatever the layer holds goes, driver or none.
    clear(id, "COLOR");
    clear(id, "ACTIVE");
    clear(id, "LAMP");
    if (!isSet(primary)) return;
    for (const char* attribute : {"TEXT", "TEXTLN1", "TYPE", "BLINK", "INVERT"}) clear(primary, attribute);
    if (!isSet(secondary)) return;
    if (!isSet(tertiary)) {
        clear(secondary, "TYPE");
        return;
    }
    clear(secondary, "TYPE");
    clear(tertiary, "TYPE");
    const char* line = tertiary.getWidgetID() < primary.getWidgetID() ? "TEXTLN1" : "TEXTLN2";
    for (const UniqueWidgetID& display : {primary, secondary, tertiary}) clear(display, line);
}

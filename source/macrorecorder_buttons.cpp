// MacroRecorder: button events (the attach and detach gestures), the execution
// of attached macros around a button's own function, and macro levels.
#include <algorithm>
#include <climits>
#include <cstdlib>

#include "fidmaphandler.h"
#include "macrorecorder.h"
#include "panelkit/Assert.h"

namespace {
// strtol's answer kept inside an int.
int registerNumber(const std::string& text)
{
    const long value = std::strtol(text.c_str(), nullptr, 10);
    return static_cast<int>(std::clamp<long>(value, INT_MIN, INT_MAX));
}
} // namespace

// ---- gesture FIDs ----------------------------------------------------------------------------

bool MacroRecorder::onFIDAttachButtonDown(const FunctionID&, const FIDParameterList* paraList)
{
    PANEL_ASSERT(paraList, "paraList");
    std::string macro;
    const bool present = paraList->getValue("MACRO", macro);
    std::lock_guard<std::mutex> guard(m_dataLock);
    m_attachButton = paraList->sourceWidget;
    if (present) {
        const int number = registerNumber(macro);
        m_attachMacro = number;
        m_modeMacro = number;
        m_simpleMacro = number;
    }
    return present;
}

bool MacroRecorder::onFIDDetachButtonDown(const FunctionID&, const FIDParameterList* paraList)
{
    PANEL_ASSERT(paraList, "paraList");
    std::lock_guard<std::mutex> guard(m_dataLock);
    m_detachButton = paraList->sourceWidget;
    return true;
}

bool MacroRecorder::onFIDDetachAllOn1ButtonSet(const FunctionID&, const FIDParameterList* paraList)
{
    PANEL_ASSERT(paraList, "paraList");
    std::string mode;
    m_detachAllOn1Button = paraList->getValue("MODE", mode) && mode == "ON";
    return true;
}

// ---- button events ---------------------------------------------------------------------------

void MacroRecorder::onButtonDown(const UniqueWidgetID& id)
{
    bool isAttachButton = false;
    int simpleMacro = -1;
    {
        std::lock_guard<std::mutex> guard(m_dataLock);
        isAttachButton = id == m_attachButton;
        if (!isAttachButton && m_replaceMode.load() == REPLACE_SIMPLE && m_simpleMacro >= 0 &&
            !m_disabledWidgets.count(id))
            simpleMacro = m_simpleMacro;
    }

    if (!isAttachButton) {
        // Simple attach: every press attaches, until the mode is set again.
        if (simpleMacro >= 0) attachDetachMacro(id, simpleMacro, Widget::REPLACE, false);

        // Mode attach: one press takes the macro.
        int modeMacro = -1;
        int mode = ATTACH_NONE;
        {
            std::lock_guard<std::mutex> guard(m_dataLock);
            mode = m_attachMode.load();
            if (mode != ATTACH_NONE && m_modeMacro != -1 && !m_disabledWidgets.count(id)) {
                modeMacro = m_modeMacro;
                // A replace attachment leaves the mode where it is.
                if (mode != ATTACH_REPLACE) m_attachMode = ATTACH_NONE;
                m_replaceMode = REPLACE_OFF;
                m_modeMacro = -1;
            } else {
                mode = ATTACH_NONE;
            }
        }
        if (mode != ATTACH_NONE) {
            const Widget::EMacroType kind =
                mode == ATTACH_PRE ? Widget::PRE : (mode == ATTACH_REPLACE ? Widget::REPLACE : Widget::POST);
            attachDetachMacro(id, modeMacro, kind, false);
            driveAttachmentsMode();
        }
    }

    m_pMapHandler->triggerEvent("BUTTON." + std::to_string(id.getWorkplaceID()) + "." +
                                    std::to_string(id.getGroupID()) + "." + std::to_string(id.getModuleID()) +
                                    ".DOWN",
                                std::to_string(id.getWidgetID()));
}

void MacroRecorder::onButtonHold(const UniqueWidgetID& id)
{
    UniqueWidgetID first, second, attachButton, detachButton;
    UniqueWidgetID target;
    bool detach = false;
    bool detachAll = false;
    bool modeChanged = false;
    int attachMacro = -1;
    Widget::EMacroType kind = Widget::PRE;
    enum { NONE, ATTACH, NOTHING } action = NONE;
    {
        std::lock_guard<std::mutex> guard(m_dataLock);
        m_heldButtons.push_back(id);
        // The action runs once, on the step from one to two held buttons.
        if (m_heldButtons.size() != 2) return;
        first = m_heldButtons.front();
        second = m_heldButtons.back();
        attachButton = m_attachButton;
        detachButton = m_detachButton;
        attachMacro = m_attachMacro;

        const int replaceMode = m_replaceMode.load();
        auto enabled = [this](const UniqueWidgetID& w) { return m_disabledWidgets.count(w) == 0; };
        // The first finger decides: attach button first gives PRE, target first gives POST.
        bool firstIsTarget = false;
        if (first == attachButton && enabled(second)) {
            target = second;
        } else if (second == attachButton && enabled(first)) {
            target = first;
            firstIsTarget = true;
        } else if (first == detachButton) {
            target = second;
            detach = true;
        } else if (second == detachButton) {
            target = first;
            firstIsTarget = true;
            detach = true;
        } else {
            action = NOTHING;
        }

        if (action != NOTHING) {
            if (replaceMode == REPLACE_SIMPLE && !detach) {
                action = NOTHING;
            } else if (detach && m_detachAllOn1Button.load()) {
                detachAll = true;
                action = ATTACH;
            } else {
                action = ATTACH;
                if (replaceMode == REPLACE_OFF) {
                    kind = firstIsTarget ? Widget::POST : Widget::PRE;
                } else {
                    kind = Widget::REPLACE;
                    if (replaceMode == REPLACE_SECURE) {
                        m_replaceMode = REPLACE_OFF;
                        modeChanged = true;
                    }
                }
            }
        }
    }

    s_pLog->level(oskit::LOG_INFO) << "macro btn hold: f=" << first << " s=" << second << " held=" << attachButton
                                   << " det=" << detachButton << std::endl;
    if (action != ATTACH) return;

    if (detachAll) {
        for (int k = 0; k < Widget::kMacroTypeCount; ++k)
            attachDetachMacro(target, attachMacro, static_cast<Widget::EMacroType>(k), true);
        return;
    }
    if (modeChanged) driveReplaceMode();
    s_pLog->level(oskit::LOG_INFO) << "macro btn hold: attach=" << target << " type=" << static_cast<int>(kind)
                                   << " detach=" << (detach ? "true" : "false") << std::endl;
    attachDetachMacro(target, attachMacro, kind, detach);
}

void MacroRecorder::onButtonRelease(const UniqueWidgetID& id)
{
    std::lock_guard<std::mutex> guard(m_dataLock);
    m_heldButtons.remove(id);
    if (id == m_attachButton) {
        m_attachButton = UniqueWidgetID();
        m_attachMacro = -1;
        return;
    }
    if (id == m_detachButton) {
        m_detachButton = UniqueWidgetID();
        return;
    }
    // A detachment by hold, or an attachment made while attachments were off, reaches the flag here.
    m_widgets[id].updateReplaceMacro();
}

// ---- execution of attached macros ------------------------------------------------------------

int MacroRecorder::widgetMacroLocked(const UniqueWidgetID& id, Widget::EMacroType type) const
{
    auto it = m_widgets.find(id);
    return it == m_widgets.end() ? 0 : it->second.getMacro(type);
}

bool MacroRecorder::execPreMacro(const UniqueWidgetID& id)
{
    int macro = 0;
    {
        std::lock_guard<std::mutex> guard(m_dataLock);
        if (!m_attachmentsActive.load()) return false;
        macro = widgetMacroLocked(id, Widget::PRE);
        if (macro < 1 || m_replaceMode.load() == REPLACE_SIMPLE || m_disabledWidgets.count(id)) return false;
    }
    if (!startMacroPlayer(macro, Widget::PRE, id, "PREMACROFINISHED")) {
        s_pLog->level(oskit::LOG_ERROR) << "failed to start pre-macro " << macro << std::endl;
        return false;
    }
    return true;
}

void MacroRecorder::completePreMacro(const UniqueWidgetID& id)
{
    {
        std::lock_guard<std::mutex> guard(m_dataLock);
        if (!m_attachmentsActive.load()) return;
        if (widgetMacroLocked(id, Widget::PRE) < 1 || m_replaceMode.load() == REPLACE_SIMPLE ||
            m_disabledWidgets.count(id) || widgetMacroLocked(id, Widget::POST) != 0)
            return;
    }
    // The marker: a driver still gets its closing ".POST" recall.
    startMacroPlayer(kMacroMarker, Widget::POST, id, std::string());
}

bool MacroRecorder::execReplaceMacro(const UniqueWidgetID& id)
{
    int macro = 0;
    {
        std::lock_guard<std::mutex> guard(m_dataLock);
        if (!m_attachmentsActive.load()) return false;
        macro = widgetMacroLocked(id, Widget::REPLACE);
        // The button's enabling is not asked here.
        if (macro < 1 || m_replaceMode.load() == REPLACE_SIMPLE) return false;
    }
    if (!startMacroPlayer(macro, Widget::REPLACE, id, "REPLACEMACROFINISHED")) {
        s_pLog->level(oskit::LOG_ERROR) << "failed to start replace-macro " << macro << std::endl;
        return false;
    }
    return true;
}

void MacroRecorder::execPostMacro(const UniqueWidgetID& id)
{
    int macro = 0;
    {
        std::lock_guard<std::mutex> guard(m_dataLock);
        if (!m_attachmentsActive.load()) return;
        macro = widgetMacroLocked(id, Widget::POST);
        if (macro < 1 || m_replaceMode.load() == REPLACE_SIMPLE || m_disabledWidgets.count(id)) return;
    }
    if (!startMacroPlayer(macro, Widget::POST, id, std::string()))
        s_pLog->level(oskit::LOG_ERROR) << "failed to start post-macro " << macro << std::endl;
}

bool MacroRecorder::hasReplaceMacro(const UniqueWidgetID& id)
{
    if (!m_attachmentsActive.load()) return false;
    std::lock_guard<std::mutex> guard(m_dataLock);
    Widget& widget = m_widgets[id];
    auto it = widget.m_hasReplace.find(widget.m_level);
    return it != widget.m_hasReplace.end() && it->second;
}

bool MacroRecorder::isInReplaceMode(const UniqueWidgetID& id)
{
    if (m_replaceMode.load() != REPLACE_SIMPLE && m_attachMode.load() != ATTACH_REPLACE) return false;
    std::lock_guard<std::mutex> guard(m_dataLock);
    return m_disabledWidgets.count(id) == 0;
}

// ---- levels ----------------------------------------------------------------------------------

void MacroRecorder::setMacroLevel(const UniqueWidgetID& id, const std::string& level)
{
    // The level names the widget's attachments in the attachments file.
    const oskit::InputFile::EResult why = oskit::InputFile::checkText(level);
    if (why != oskit::InputFile::RESULT_OK) {
        s_pLog->level(oskit::LOG_WARN) << "macro level refused for widget " << id << ": "
                                       << oskit::InputFile::describe(why) << std::endl;
        return;
    }
    // The old level's attributes go first: hiding needs the old state. Both
    // pictures are decided in one hold with the change of level.
    uint64_t ticket = 0;
    {
        std::lock_guard<std::mutex> guard(m_dataLock);
        AttributeCalls calls;
        decideHideReplaceLocked(id, calls);
        decideUpdateAttachBlinkLocked(id, calls);
        m_widgets[id].m_level = level;
        decideShowReplaceLocked(id, false, calls);
        decideUpdateAttachBlinkLocked(id, calls);
        ticket = queuePaintLocked(std::move(calls));
    }
    paintUpTo(ticket);
}

std::string MacroRecorder::getMacroLevel(const UniqueWidgetID& id)
{
    std::lock_guard<std::mutex> guard(m_dataLock);
    return m_widgets[id].m_level;
}

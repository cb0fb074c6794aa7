// MacroRecorder: published state and the state it subscribes to.
#include <cstdlib>

#include "fidmaphandler.h"
#include "macrorecorder.h"
#include "panelkit/Assert.h"

namespace {
const char* onOff(bool on)
{
    return on ? "ON" : "OFF";
}

bool startsWith(const std::string& text, const std::string& start)
{
    return text.compare(0, start.size(), start) == 0;
}

bool endsWith(const std::string& text, const std::string& end)
{
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}
} // namespace

// ---- published keys --------------------------------------------------------------------------

void MacroRecorder::driveAttachViewOn()
{
    driveKey(EStateKey::ATTACH_VIEW);
}

void MacroRecorder::driveAttachmentsActive()
{
    driveKey(EStateKey::ATTACHMENTS_ACTIVE);
}

void MacroRecorder::driveAttachmentsMode()
{
    driveKey(EStateKey::ATTACH_MODE);
    driveReplaceMode();
}

void MacroRecorder::driveReplaceMode()
{
    driveKey(EStateKey::REPLACE_MODE);
}

void MacroRecorder::driveRecordingReg()
{
    driveKey(EStateKey::RECORDING_REG);
}

void MacroRecorder::driveRecallActive()
{
    driveKey(EStateKey::RECALL_ACTIVE);
}

void MacroRecorder::driveLatestRegNumber()
{
    driveKey(EStateKey::LATEST_REG);
}

void MacroRecorder::driveMacroName(int number)
{
    if (number < 0 || number >= kMacroSlots) return;
    driveKey(EStateKey::NAME, number);
}

void MacroRecorder::driveMacroEmptyFlag(int number)
{
    if (number < 0 || number >= kMacroSlots) return;
    driveKey(EStateKey::EMPTY, number);
}

void MacroRecorder::stateOfKey(EStateKey key, int number, std::string& name, std::string& value,
                               std::vector<UniqueWidgetID>& repaint) const
{
    static const char* const kModeNames[] = {"PRE", "REPLACE", "POST", "NONE"};
    static const char* const kReplaceNames[] = {"OFF", "SIMPLE", "SECURE"};
    const std::string prefix = keyPrefix();
    switch (key) {
    case EStateKey::NAME: {
        name = prefix + ".REG" + std::to_string(number) + ".NAME";
        if (const Macro* pMacro = m_macros[static_cast<size_t>(number)]) value = pMacro->name;
        for (const auto& [id, widget] : m_widgets)
            if (widget.getMacro(Widget::REPLACE) == number && !m_moduleDriverIDs.count(UniqueModuleID(id)))
                repaint.push_back(id);
        break;
    }
    case EStateKey::EMPTY:
        name = prefix + ".REG" + std::to_string(number) + ".EMPTY";
        value = m_macros[static_cast<size_t>(number)] ? "FALSE" : "TRUE";
        break;
    case EStateKey::ATTACH_VIEW:
        name = prefix + ".ATTACH.VIEW";
        value = onOff(m_attachViewOn.load());
        break;
    case EStateKey::ATTACHMENTS_ACTIVE:
        name = prefix + ".ATTACHMENTS.ACTIVE";
        value = onOff(m_attachmentsActive.load());
        break;
    case EStateKey::ATTACH_MODE: {
        const int mode = m_attachMode.load();
        name = prefix + ".ATTACH.MODE";
        value = kModeNames[(mode >= 0 && mode <= 3) ? mode : 3];
        break;
    }
    case EStateKey::REPLACE_MODE: {
        const int mode = m_replaceMode.load();
        name = prefix + ".ATTACH.REPLACEMODE";
        value = kReplaceNames[(mode >= 0 && mode <= 2) ? mode : 0];
        break;
    }
    case EStateKey::RECORDING_REG:
        name = prefix + ".RECORDING.REG";
        value = m_recording.load() ? std::to_string(m_recordingReg.load()) : std::string("INV");
        break;
    case EStateKey::RECALL_ACTIVE:
        name = prefix + ".LATEST.ACTIVE";
        value = onOff(m_macroPlaying.load());
        break;
    case EStateKey::LATEST_REG: {
        const int latest = m_latestReg.load();
        name = prefix + ".LATEST.REG";
        value = latest < 0 ? std::string("INV") : std::to_string(latest);
        break;
    }
    }
}

void MacroRecorder::driveKey(EStateKey key, int number)
{
    {
        std::unique_lock<std::mutex> lock(m_dataLock);
        // A key that waits already keeps its place: it is published from the
        // table as it stands when its turn comes. Keys go out in the order they
        // were queued, so a key is out once as many passes as keys queued
        // before it, and it, have gone.
        auto [queued, added] = m_stateQueued.try_emplace({key, number}, m_stateTickets);
        if (added) {
            m_stateQueue.emplace_back(key, number);
            ++m_stateTickets;
        }
        if (!m_stateTurn.take(lock, queued->second + 1)) return;
    }
    // Publishes until nothing waits; what is queued meanwhile, here (the host
    // calling back in) or on another thread, is taken by a later pass.
    PublishTurn::Holder holder(m_stateTurn, m_dataLock);
    for (;;) {
        std::string name;
        std::string value;
        std::vector<UniqueWidgetID> repaint;
        uint64_t ticket = 0;
        {
            std::lock_guard<std::mutex> guard(m_dataLock);
            if (m_stateQueue.empty()) {
                m_stateTurn.release();
                holder.released();
                return;
            }
            const auto [what, reg] = m_stateQueue.front();
            m_stateQueue.pop_front();
            const auto queued = m_stateQueued.find({what, reg});
            ticket = queued->second;
            m_stateQueued.erase(queued);
            stateOfKey(what, reg, name, value, repaint);
        }
        m_pMapHandler->setStateValue(name, value);
        refreshWidgets(repaint);
        std::lock_guard<std::mutex> guard(m_dataLock);
        m_stateTurn.published(ticket + 1);
    }
}

void MacroRecorder::driveAllMacroNames()
{
    for (int n = kMacroMin; n <= kMacroMax; ++n) driveMacroName(n);
}

void MacroRecorder::driveAllMacroEmptyFlags()
{
    for (int n = kMacroMin; n <= kMacroMax; ++n) driveMacroEmptyFlag(n);
}

// ---- subscriptions ---------------------------------------------------------------------------

bool MacroRecorder::useEventManager() const
{
    return false;
}

std::string MacroRecorder::getDescription(int) const
{
    return "MACROREC" + std::to_string(m_workplace);
}

void MacroRecorder::subscribeKey(const std::string& key)
{
    IPSPublisher* publisher = m_pPSPublisher.load();
    if (!publisher) return;
    publisher->subscribe(key, m_subscriberHandle);
    const std::string value = publisher->getValue(key);
    updateDirect(key, value);
}

void MacroRecorder::setPSPublisherInterface(IPSPublisher* publisher)
{
    m_pPSPublisher = publisher;
    if (publisher) subscribeKey("PANEL.SETTINGS" + std::to_string(m_workplace) + ".COLOR.MACRO");
}

bool MacroRecorder::onFIDMFDIDSet(const FunctionID&, const FIDParameterList* paraList)
{
    PANEL_ASSERT(paraList, "paraList");
    std::string driverID;
    if (!paraList->getValue("ID", driverID)) return false;
    const UniqueModuleID module(paraList->sourceWidget);
    {
        std::lock_guard<std::mutex> guard(m_dataLock);
        if (driverID.empty()) {
            // Subscriptions stay; the module's attributes stay until the next repaint.
            m_moduleDriverIDs.erase(module);
            return true;
        }
        m_moduleDriverIDs[module] = driverID;
        if (!m_pPSPublisher.load()) return true;
        if (!m_subscribedDriverIDs.insert(driverID).second) return true;
    }

    subscribeKey(driverID + ".COLOR.MACRO");
    for (int n = 0; n < kMacroSlots; ++n) {
        const std::string reg = driverID + ".MACRO.REG" + std::to_string(n);
        subscribeKey(reg + ".NAME");
        subscribeKey(reg + ".STATUS");
    }
    subscribeKey(driverID + ".MACRO.CURRENT.REG");
    return true;
}

std::vector<UniqueWidgetID> MacroRecorder::widgetsOfDriver(const std::string& driverID, bool withUndriven) const
{
    std::vector<UniqueWidgetID> ids;
    for (const auto& entry : m_widgets) {
        auto driver = m_moduleDriverIDs.find(UniqueModuleID(entry.first));
        if (driver == m_moduleDriverIDs.end() ? withUndriven : driver->second == driverID) ids.push_back(entry.first);
    }
    return ids;
}

void MacroRecorder::refreshWidgets(const std::vector<UniqueWidgetID>& ids)
{
    for (const auto& id : ids) showReplaceMacroAttribs(id, false);
}

void MacroRecorder::updateDirect(const std::string& key, const std::string& value)
{
    const size_t dot = key.find('.');
    if (dot == std::string::npos) return;
    const std::string driverID = key.substr(0, dot);
    const std::string rest = key.substr(dot + 1);

    std::vector<UniqueWidgetID> repaint;
    if (rest == "MACRO.CURRENT.REG") {
        long number = -1;
        if (value != "INV") number = std::strtol(value.c_str(), nullptr, 10);
        std::lock_guard<std::mutex> guard(m_dataLock);
        if (number >= kMacroMin && number <= kMacroMax) m_latestRegs[driverID] = static_cast<int>(number);
        repaint = widgetsOfDriver(driverID, true);
    } else if (startsWith(rest, "MACRO.REG") && (endsWith(rest, "STATUS") || endsWith(rest, "NAME"))) {
        const bool status = endsWith(rest, "STATUS");
        const long number = std::strtol(rest.c_str() + 9, nullptr, 10);
        if (number < kMacroMin || number > kMacroMax) return;
        std::lock_guard<std::mutex> guard(m_dataLock);
        auto& tables = status ? m_macroStatus : m_macroNames;
        auto& table = tables[driverID];
        if (table.empty()) table.resize(kMacroSlots);
        table[static_cast<size_t>(number)] = value;
        for (const auto& [id, widget] : m_widgets) {
            const bool attached = status ? (widget.getMacro(Widget::PRE) == number ||
                                            widget.getMacro(Widget::REPLACE) == number ||
                                            widget.getMacro(Widget::POST) == number)
                                         : widget.getMacro(Widget::REPLACE) == number;
            if (!attached) continue;
            auto driver = m_moduleDriverIDs.find(UniqueModuleID(id));
            if (driver != m_moduleDriverIDs.end() && driver->second == driverID) repaint.push_back(id);
        }
    } else if (rest == "COLOR.MACRO" || rest == "SETTINGS" + std::to_string(m_workplace) + ".COLOR.MACRO") {
        std::lock_guard<std::mutex> guard(m_dataLock);
        // A colour that has not arrived reads as empty, so an empty value changes nothing.
        auto colour = m_macroColors.find(driverID);
        const std::string stored = colour == m_macroColors.end() ? std::string() : colour->second;
        if (stored == value) return;
        m_macroColors[driverID] = value;
        repaint = widgetsOfDriver(driverID, true);
    } else {
        return;
    }
    refreshWidgets(repaint);
}

// ---- look-ups of the mainframe state of a button ---------------------------------------------

std::string MacroRecorder::getMacroStatus(const UniqueWidgetID& id, int macroNumber)
{
    std::string driverID;
    if (macroNumber < kMacroMin || macroNumber > kMacroMax || !findDriverID(id, driverID)) return "STOP";
    std::lock_guard<std::mutex> guard(m_dataLock);
    auto table = m_macroStatus.find(driverID);
    if (table == m_macroStatus.end()) return "STOP";
    return table->second[static_cast<size_t>(macroNumber)];
}

std::string MacroRecorder::getMacroColor(const UniqueWidgetID& id)
{
    std::string driverID;
    const bool driven = findDriverID(id, driverID);
    std::lock_guard<std::mutex> guard(m_dataLock);
    auto colour = m_macroColors.find(driven ? driverID : std::string("PANEL"));
    return colour == m_macroColors.end() ? std::string() : colour->second;
}

int MacroRecorder::getLatestMacro(const UniqueWidgetID& id)
{
    std::string driverID;
    if (!findDriverID(id, driverID)) return 0;
    std::lock_guard<std::mutex> guard(m_dataLock);
    if (!m_macroStatus.count(driverID)) return 0;
    auto latest = m_latestRegs.find(driverID);
    return latest == m_latestRegs.end() ? 0 : latest->second;
}

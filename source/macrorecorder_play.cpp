// MacroRecorder: the play queue, its two threads, the player and the mainframe recall.
#include <algorithm>
#include <cstdint>
#include <cstring>

#include "macrorecorder.h"
#include "mfdconfighandler.h"
#include "panelkit/Assert.h"

namespace {
constexpr int kMacroCmdSize = 100;
constexpr uint16_t kMacroCmdQueueLength = 100;

// The delay of a delay command in milliseconds, in the 32-bit arithmetic of
// the player: "TSECS" tenths of a second, "FIELDS" fields at 55 per second.
// A negative value stands; the wait takes it as unsigned.
int delayOf(const FIDParameterList& params)
{
    int value = 0;
    if (params.getValue("TSECS", value)) return static_cast<int>(static_cast<uint32_t>(value) * 100u);
    if (params.getValue("FIELDS", value)) return static_cast<int>(static_cast<uint32_t>(value) * 1000u) / 55;
    return 0;
}
} // namespace

// ---- ControlThread ---------------------------------------------------------------------------

MacroRecorder::ControlThread::ControlThread(unsigned int workplace)
    : oskit::Thread("MacroControl" + std::to_string(workplace)), m_queueName("macroCmdQ" + std::to_string(workplace))
{
}

void MacroRecorder::ControlThread::init(MacroRecorder* pRecorder)
{
    m_pMacroRecorder = pRecorder;
    m_player.init(pRecorder);
    m_queue.create(m_queueName, kMacroCmdQueueLength, kMacroCmdSize, 0);
    m_running = true;
    start(PRIORITY_HIGH);
}

bool MacroRecorder::ControlThread::startMacro(int macro, const UniqueWidgetID& widget, const std::string& notifyEvent)
{
    PANEL_ASSERT(notifyEvent.length() < 90, "notifyEvent.length() < 90");
    MacroCmd cmd;
    std::memset(&cmd, 0, sizeof(cmd));
    cmd.macro = macro;
    cmd.widget = widget.getID();
    std::memcpy(cmd.notifyEvent, notifyEvent.c_str(), notifyEvent.length() + 1);
    return m_queue.send(&cmd, kMacroCmdSize, 0) > 0;
}

void MacroRecorder::ControlThread::run()
{
    if (!m_running.load()) return;
    for (;;) {
        MacroCmd cmd;
        std::memset(&cmd, 0, sizeof(cmd));
        if (m_queue.receive(&cmd, kMacroCmdSize, -1) < 0) return;

        // A new request pre-empts the macro in progress.
        const int state = m_player.getState();
        if (state == STATE_STARTING || state == STATE_RUNNING) m_player.shutdown(-1);

        if (cmd.macro >= 0) {
            const std::string notifyEvent(cmd.notifyEvent, strnlen(cmd.notifyEvent, sizeof(cmd.notifyEvent)));
            m_player.play(cmd.macro, UniqueWidgetID(cmd.widget), notifyEvent);
        }
        if (!m_running.load()) return;
    }
}

bool MacroRecorder::ControlThread::shutdownCallback()
{
    m_running = false;
    MacroCmd cmd;
    std::memset(&cmd, 0, sizeof(cmd));
    cmd.macro = -1;
    m_queue.send(&cmd, kMacroCmdSize, 0);
    return true;
}

// ---- PlayThread ------------------------------------------------------------------------------

MacroRecorder::ControlThread::PlayThread::PlayThread() : oskit::Thread("MacroPlay") {}

void MacroRecorder::ControlThread::PlayThread::init(MacroRecorder* pRecorder)
{
    m_pMacroRecorder = pRecorder;
}

void MacroRecorder::ControlThread::PlayThread::play(int macro, const UniqueWidgetID& widget,
                                                    const std::string& notifyEvent)
{
    m_macro = macro;
    m_widget = widget;
    m_notifyEvent = notifyEvent;
    if (m_pMacroRecorder) m_pMacroRecorder->m_playerStopRequest = false;
    start(PRIORITY_HIGH);
}

void MacroRecorder::ControlThread::PlayThread::run()
{
    PANEL_ASSERT(m_pMacroRecorder, "m_pMacroRecorder");
    m_pMacroRecorder->playMacro(m_macro, m_widget, m_notifyEvent);
}

bool MacroRecorder::ControlThread::PlayThread::shutdownCallback()
{
    if (m_pMacroRecorder) {
        // Also reaches a macro that has not yet begun to play.
        m_pMacroRecorder->m_playerStopRequest = true;
        m_pMacroRecorder->stopMacro();
    }
    return true;
}

// ---- player ----------------------------------------------------------------------------------

void MacroRecorder::playMacro(int macroNumber, const UniqueWidgetID& widget, const std::string& notifyEvent)
{
    IFunctionID* receiver = m_pFIDReceiver.load();
    IPanelEvent* panelEvent = m_pPanelEvent.load();
    PANEL_ASSERT(receiver, "m_pFIDReceiver");
    PANEL_ASSERT(panelEvent, "m_pPanelEvent");

    if (macroNumber < kMacroMin || macroNumber > kMacroMax) {
        s_pLog->level(oskit::LOG_WARN) << "trying to play illegal macro # " << macroNumber << std::endl;
        return;
    }
    s_pLog->level(oskit::LOG_INFO) << "playing macro # " << macroNumber << std::endl;

    // The player walks its own copy, so that the register may change or go meanwhile.
    std::unique_ptr<Macro> pMacro = copyMacro(macroNumber);
    if (pMacro) {
        m_stopSemaphore.take(0); // clears a stale stop signal
        if (m_playerStopRequest.load()) m_stopSemaphore.give();
        m_latestReg = macroNumber;
        m_macroPlaying = true;
        driveLatestRegNumber();
        driveRecallActive();

        const std::string delayName = delayFIDName();
        for (const auto& command : pMacro->commands) {
            int delay = 0;
            if (command.fid == delayName) {
                delay = delayOf(command.params);
                s_pLog->level(oskit::LOG_DEBUG) << "macro play: delay " << delay << " ms" << std::endl;
            }
            // Below the active level the stream takes nothing: the line isn't put together at all.
            if (std::ostream& debug = s_pLog->level(oskit::LOG_DEBUG))
                debug << "macro play: send fid " << command.fid << " params: " << command.params << " from widget "
                      << command.params.sourceWidget << std::endl;
            receiver->sendFID(command.fid, command.params);
            if (m_stopSemaphore.take(static_cast<unsigned>(delay)) != 1) {
                s_pLog->level(oskit::LOG_INFO) << "macro play: stopped prematurely" << std::endl;
                break;
            }
        }
    }

    // A deletion of this register while it played is finished here.
    if (m_deleteAfterPlay.exchange(false)) removeMacro(macroNumber);
    m_macroPlaying = false;
    driveRecallActive();
    if (!notifyEvent.empty()) panelEvent->notifyEvent(widget, notifyEvent);
    s_pLog->level(oskit::LOG_INFO) << "playing macro # " << macroNumber << " done." << std::endl;
}

void MacroRecorder::stopMacro()
{
    // Only while playing, so that no stale signal builds up.
    if (m_macroPlaying.load()) m_stopSemaphore.give();
}

bool MacroRecorder::onFIDStop(const FunctionID&, const FIDParameterList*)
{
    stopMacro();
    return true;
}

bool MacroRecorder::onFIDRecall(const FunctionID&, const FIDParameterList* paraList)
{
    PANEL_ASSERT(paraList, "paraList");
    int number = 0;
    if (!paraList->getValue("REG", number)) {
        s_pLog->level(oskit::LOG_WARN) << "recall macro: missing REG parameter" << std::endl;
        return false;
    }
    if (m_recording.load() && m_recordingReg.load() == number) {
        s_pLog->level(oskit::LOG_ERROR) << "recall: failed to start macro " << number << " (same macro is recording)"
                                        << std::endl;
        return true;
    }
    if (startMacroPlayer(number, Widget::REPLACE, paraList->sourceWidget, std::string()))
        s_pLog->level(oskit::LOG_INFO) << "recall: started macro " << number << std::endl;
    else
        s_pLog->level(oskit::LOG_ERROR) << "recall: failed to start macro " << number << " (other macro is running)"
                                        << std::endl;
    return true;
}

// ---- choice between the local player and a mainframe driver ----------------------------------

bool MacroRecorder::findDriverID(const UniqueWidgetID& id, std::string& driverID) const
{
    std::lock_guard<std::mutex> guard(m_dataLock);
    auto it = m_moduleDriverIDs.find(UniqueModuleID(id));
    if (it == m_moduleDriverIDs.end()) return false;
    driverID = it->second;
    return true;
}

bool MacroRecorder::startMacroPlayer(int macroNumber, const Widget::EMacroType& type, const UniqueWidgetID& widget,
                                     const std::string& notifyEvent)
{
    int attachedKinds = 0;
    {
        std::lock_guard<std::mutex> guard(m_dataLock);
        for (Widget::EMacroType kind : {Widget::PRE, Widget::REPLACE, Widget::POST})
            if (widgetMacroLocked(widget, kind) != 0) ++attachedKinds;
    }

    std::string suffix;
    FIDParameterList params;
    switch (type) {
    case Widget::PRE:
        suffix = ".PRE";
        params.add("RECORD", hasReplaceMacro(widget) ? "FALSE" : "TRUE");
        params.add("QUEUE", "TRUE");
        break;
    case Widget::REPLACE:
        suffix = ".REPLACE";
        params.add("QUEUE", attachedKinds < 2 ? "FALSE" : "TRUE");
        break;
    case Widget::POST:
        suffix = ".POST";
        params.add("QUEUE", (macroNumber == kMacroMarker || attachedKinds >= 2) ? "TRUE" : "FALSE");
        break;
    case Widget::PRE_COMPLETE:
        break;
    }

    std::string driverID;
    if (!findDriverID(widget, driverID)) return m_controlThread.startMacro(macroNumber, widget, notifyEvent);

    IFunctionID* receiver = m_pFIDReceiver.load();
    IPanelEvent* panelEvent = m_pPanelEvent.load();
    PANEL_ASSERT(receiver, "m_pFIDReceiver");
    PANEL_ASSERT(panelEvent, "m_pPanelEvent");

    int number = 0;
    Widget::EMacroType kind = Widget::PRE;
    if (hasRunningMacro(widget, number, kind, driverID)) {
        if (kind == type) {
            FIDParameterList stop;
            stop.add("REG", std::to_string(number));
            receiver->sendFID(driverID + ".MACRO.STOP", stop);
        }
    } else if (hasPausedMacro(widget, number, kind, driverID)) {
        if (kind == type) {
            FIDParameterList resume;
            resume.add("REG", std::to_string(number));
            receiver->sendFID(driverID + ".MACRO.RESUME", resume);
        }
    } else {
        params.add("REG", std::to_string(macroNumber));
        params.add("BUTTON", std::to_string(widget.getID()));
        receiver->sendFID(driverID + suffix + ".MACRO.RECALL", params);
    }

    // The mainframe path does not wait for the macro: its end shows in the published status.
    if (!notifyEvent.empty()) panelEvent->notifyEvent(widget, notifyEvent);
    return true;
}

bool MacroRecorder::hasMacroInStatus(const UniqueWidgetID& id, int& number, Widget::EMacroType& kind,
                                     const std::string& driverID, const char* status)
{
    std::lock_guard<std::mutex> guard(m_dataLock);
    auto table = m_macroStatus.find(driverID);
    for (Widget::EMacroType candidate : {Widget::PRE, Widget::REPLACE, Widget::POST}) {
        number = widgetMacroLocked(id, candidate);
        if (table == m_macroStatus.end() || number < 0 || number >= kMacroSlots) continue;
        if (table->second[static_cast<size_t>(number)] == status) {
            kind = candidate;
            return true;
        }
    }
    return false;
}

bool MacroRecorder::hasRunningMacro(const UniqueWidgetID& id, int& number, Widget::EMacroType& kind,
                                    std::string driverID)
{
    return hasMacroInStatus(id, number, kind, driverID, "PLAY");
}

bool MacroRecorder::hasPausedMacro(const UniqueWidgetID& id, int& number, Widget::EMacroType& kind,
                                   std::string driverID)
{
    return hasMacroInStatus(id, number, kind, driverID, "PAUSE");
}

// MacroRecorder: the object, its FID table and its lifecycle.
#include "macrorecorder.h"

#include <iostream>

#include "fidmaphandler.h"
#include "mfdconfighandler.h"
#include "moduleconstants.h"
#include "oskit/Directory.h"
#include "panelkit/Assert.h"

oskit::LogOutput* MacroRecorder::s_pLog = nullptr;

const char* const MacroRecorder::s_sidMacroTypeNames[Widget::kMacroTypeCount] = {"PRE", "PRE_COMPLETE", "REPLACE",
                                                                                   "POST"};
const char* const MacroRecorder::s_xmlMacroTypeNames[Widget::kMacroTypeCount] = {"pre", "pre_complete", "replace",
                                                                                   "post"};

namespace {
std::mutex s_logLookupLock;
}

void MacroRecorder::initLog()
{
    std::lock_guard<std::mutex> guard(s_logLookupLock);
    if (!s_pLog) s_pLog = oskit::LogManager::getInstance()->getLogOutput("Macro");
    PANEL_ASSERT(s_pLog, "s_pLog");
}

// ---- Widget ----------------------------------------------------------------------------------

int MacroRecorder::Widget::getMacro(EMacroType type) const
{
    const auto& attached = m_attached[static_cast<size_t>(type)];
    auto it = attached.find(m_level);
    return it == attached.end() ? 0 : it->second;
}

void MacroRecorder::Widget::updateReplaceMacro()
{
    m_hasReplace[m_level] = getMacro(REPLACE) > 0;
}

bool MacroRecorder::Widget::hasAttachments() const
{
    for (const auto& attached : m_attached)
        if (!attached.empty()) return true;
    return false;
}

// ---- construction ----------------------------------------------------------------------------

MacroRecorder::MacroRecorder(unsigned int workplace, FIDMapHandler* pMapHandler, MFDConfigHandler* pConfigHandler)
    : MacroRecorder(workplace, pMapHandler, pConfigHandler, StartInterfaces())
{
}

MacroRecorder::MacroRecorder(unsigned int workplace, FIDMapHandler* pMapHandler, MFDConfigHandler* pConfigHandler,
                             const StartInterfaces& interfaces)
    : m_pMapHandler(pMapHandler),
      m_pConfigHandler(pConfigHandler),
      m_controlThread(workplace),
      m_workplace(workplace),
      m_subscriberHandle(this, [](PDLStateSubscriber*) {})
{
    initLog();
    PANEL_ASSERT(m_pMapHandler, "m_pMapHandler");
    PANEL_ASSERT(m_pConfigHandler, "m_pConfigHandler");

    m_macroColors["PANEL"] = "YELLOW";

    driveAttachViewOn();
    driveAttachmentsActive();
    driveAttachmentsMode();
    driveReplaceMode();
    driveRecordingReg();
    driveRecallActive();
    driveLatestRegNumber();

    m_macros.fill(nullptr);
    m_controlThread.init(this);

    m_path = oskit::Path::getCurrentWorkingDirPath();
    m_path.fixNotFullQualified();
    m_path.expand("nvram");
    m_path.expand("PANEL");
    m_path.expand(kMacroDirectoryName);
    m_path.expand("workplace" + std::to_string(workplace));
    oskit::Directory(m_path).createDirectory();

    loadMacros();
    loadAttachments();
    driveAllMacroNames();
    driveAllMacroEmptyFlags();

    if (interfaces.receiver) setFIDReceiverInterface(interfaces.receiver);
    if (interfaces.widgetControl) setWidgetControlInterface(interfaces.widgetControl);
    if (interfaces.panelEvent) setPanelEventInterface(interfaces.panelEvent);
    if (interfaces.publisher) setPSPublisherInterface(interfaces.publisher);

    // Last, since play threads of other workplaces reach the recorder through
    // these names as soon as they are in the registry.
    registerFIDs();
}

MacroRecorder::~MacroRecorder()
{
    m_controlThread.shutdown(-1);
    // A request taken just before the end may have started the player after all.
    m_controlThread.stopPlayer();

    if (IPSPublisher* publisher = m_pPSPublisher.load()) {
        std::set<std::string> drivers;
        {
            std::lock_guard<std::mutex> guard(m_dataLock);
            drivers = m_subscribedDriverIDs;
        }
        for (const auto& driver : drivers) {
            publisher->unsubscribe(driver + ".COLOR.MACRO", m_subscriberHandle);
            for (int n = 0; n < kMacroSlots; ++n) {
                const std::string reg = driver + ".MACRO.REG" + std::to_string(n);
                publisher->unsubscribe(reg + ".NAME", m_subscriberHandle);
                publisher->unsubscribe(reg + ".STATUS", m_subscriberHandle);
            }
            publisher->unsubscribe(driver + ".MACRO.CURRENT.REG", m_subscriberHandle);
        }
        publisher->unsubscribe("PANEL.SETTINGS" + std::to_string(m_workplace) + ".COLOR.MACRO", m_subscriberHandle);
    }

    m_pMapHandler->unregisterObject(this);

    m_pMapHandler = nullptr;
    m_pConfigHandler = nullptr;
    m_pWidgetControl = nullptr;
    m_pFIDReceiver = nullptr;
    m_pPanelEvent = nullptr;
    m_pPSPublisher = nullptr;

    for (auto& pMacro : m_macros) {
        delete pMacro;
        pMacro = nullptr;
    }
}

void MacroRecorder::registerFIDs()
{
    const std::string p = keyPrefix();
    FIDMapHandler& map = *m_pMapHandler;
    map.registerFunction(p + ".ATTACH.BUTTON.DOWN", this, &MacroRecorder::onFIDAttachButtonDown);
    map.registerFunction(p + ".DETACH.BUTTON.DOWN", this, &MacroRecorder::onFIDDetachButtonDown);
    map.registerFunction(p + ".ATTACH.ENABLE", this, &MacroRecorder::onFIDAttachEnable);
    map.registerFunction(p + ".ATTACH.DISABLE", this, &MacroRecorder::onFIDAttachDisable);
    map.registerFunction(p + ".ATTACH.VIEW.SET", this, &MacroRecorder::onFIDAttachViewSet);
    map.registerFunction(p + ".ATTACHMENTS.ACTIVE.SET", this, &MacroRecorder::onFIDAttachmentsActiveSet);
    map.registerFunction(p + ".ATTACH.MODE.SET", this, &MacroRecorder::onFIDAttachmentModeSet);
    map.registerFunction(p + ".ATTACH.REPLACEMODE.SET", this, &MacroRecorder::onFIDAttachReplacemodeSet);
    map.registerFunction(p + ".ATTACH", this, &MacroRecorder::onFIDAttach);
    map.registerFunction(p + ".DETACH", this, &MacroRecorder::onFIDDetach);
    map.registerFunction(p + ".DETACHALL", this, &MacroRecorder::onFIDDetachAll);
    map.registerFunction(p + ".DETACH.ALL.SET", this, &MacroRecorder::onFIDDetachAllOn1ButtonSet);
    map.registerFunction(p + ".ASSOCIATE.DISPLAY", this, &MacroRecorder::onFIDAssociateDisplay);
    map.registerFunction(p + ".RECORDING.START", this, &MacroRecorder::onFIDRecordingStart);
    map.registerFunction(p + ".RECORDING.STOP", this, &MacroRecorder::onFIDRecordingStop);
    map.registerFunction(p + ".RECORDFID", this, &MacroRecorder::onFIDRecordFID);
    map.registerFunction(p + ".RECALL", this, &MacroRecorder::onFIDRecall);
    map.registerFunction(p + ".DELETE", this, &MacroRecorder::onFIDDelete);
    map.registerFunction(p + ".DELETEALL", this, &MacroRecorder::onFIDDeleteAll);
    map.registerFunction(p + ".STOP", this, &MacroRecorder::onFIDStop);
    map.registerFunction(p + ".EXPORT", this, &MacroRecorder::onFIDExport);
    map.registerFunction(p + ".NAME.SET", this, &MacroRecorder::onFIDNameSet);
    map.registerFunction(p + ".MFDID.SET", this, &MacroRecorder::onFIDMFDIDSet);
}

std::string MacroRecorder::keyPrefix() const
{
    return "MACRO" + std::to_string(m_workplace);
}

std::string MacroRecorder::delayFIDName() const
{
    return m_pConfigHandler->m_statePrefix + ".MACRO" + std::to_string(m_workplace) + ".RECORDING.INSERT_DELAY";
}

// ---- host interfaces -------------------------------------------------------------------------

void MacroRecorder::setWidgetControlInterface(IWidgetControl* control)
{
    m_pWidgetControl = control;
}

void MacroRecorder::setFIDReceiverInterface(IFunctionID* receiver)
{
    m_pFIDReceiver = receiver;
}

void MacroRecorder::setPanelEventInterface(IPanelEvent* panelEvent)
{
    m_pPanelEvent = panelEvent;
}

// ---- lifecycle -------------------------------------------------------------------------------

void MacroRecorder::reinit()
{
    if (m_macroPlaying.load()) stopMacro();

    {
        // The table is emptied and filled from the files in one step, so that
        // no register change of another thread falls in between.
        std::lock_guard<std::mutex> files(m_fileLock);
        {
            std::lock_guard<std::mutex> guard(m_dataLock);
            // Slot 0 lies outside the register range and is left as it is.
            for (int n = kMacroMin; n <= kMacroMax; ++n) {
                delete m_macros[static_cast<size_t>(n)];
                m_macros[static_cast<size_t>(n)] = nullptr;
            }
            m_attachMacro = -1;
            m_simpleMacro = -1;
            m_modeMacro = -1;
        }
        m_recording = false;
        m_macroPlaying = false;
        m_deleteAfterPlay = false;
        loadMacros();
    }

    driveRecordingReg();
    driveRecallActive();
    driveLatestRegNumber();

    loadAttachments();
    driveAllMacroNames();
    driveAllMacroEmptyFlags();
}

void MacroRecorder::prepareAppliLoad()
{
    m_loadSaveInProgress = true;
}

void MacroRecorder::finishAppliLoad()
{
    m_loadSaveInProgress = false;
}

void MacroRecorder::prepareAppliSave()
{
    m_loadSaveInProgress = true;
}

void MacroRecorder::finishAppliSave()
{
    m_loadSaveInProgress = false;
}

bool MacroRecorder::isControlThreadRunning() const
{
    return m_controlThread.getState() == oskit::Thread::STATE_RUNNING;
}

void MacroRecorder::show()
{
    std::cout << "Macro recorder " << m_workplace << " status:" << std::endl;
    std::cout << "Path: " << m_path.getPath() << std::endl;
    std::cout << "Load/Save in progress: " << (m_loadSaveInProgress.load() ? "true" : "false") << std::endl;
    std::cout << "Player thread: " << (isControlThreadRunning() ? "running" : "not running") << ", "
              << "macro: " << m_controlThread.getMacroInProgress() << std::endl;
}

#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <deque>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "oskit/LogManager.h"
#include "oskit/MessageQueue.h"
#include "oskit/Path.h"
#include "oskit/Semaphore.h"
#include "oskit/Thread.h"
#include "panelkit/FIDParameter.h"
#include "panelkit/FunctionID.h"
#include "panelkit/UniqueModuleID.h"
#include "panelkit/UniqueWidgetID.h"
#include "panelmfd/HostInterfaces.h"
#include "panelmfd/IFunctionID.h"
#include "panelmfd/PDLStateSubscriber.h"
#include "publishturn.h"

class FIDMapHandler;
class MFDConfigHandler;
class TiXmlDocument;
class TiXmlElement;
class TiXmlNode;

// Recorder, player and attachment store of one workplace's macros.
//
// Locking: m_dataLock guards the macro table (pointers and contents), the
// widget table and the tables fed by subscriptions. It is never held while
// the host is called (state, FID receiver, panel events, publisher, widget
// control), since the host may call straight back in. Flags shared with the
// play thread are atomics. m_fileLock, taken before m_dataLock, puts a
// register's change and its file in step: a save copies the register under
// it, so that the last save holds the last change. A register's name and
// empty flag and the recorder's own keys are published from the table and
// the flags as they stand when the host is called; a thread that finds
// another one publishing leaves its key to that one, so the last value
// published is the last value set, and waits until its key is out. No
// thread waits for that while it holds m_fileLock. The attributes of the
// buttons and their displays go the same way: each picture is decided under
// m_dataLock and queued in the same hold, and one thread at a time paints the
// queue in that order, so the last picture decided is the last one painted.
class MacroRecorder : public PDLStateSubscriber {
public:
    static constexpr int kMacroMin = 1;
    static constexpr int kMacroMax = 999;
    static constexpr int kMacroSlots = 1000;
    // Handed to the player by completePreMacro; outside the register range on purpose.
    static constexpr int kMacroMarker = 1000;

    enum EReplaceMode { REPLACE_OFF = 0, REPLACE_SIMPLE = 1, REPLACE_SECURE = 2 };
    enum EAttachMode { ATTACH_PRE = 0, ATTACH_REPLACE = 1, ATTACH_POST = 2, ATTACH_NONE = 3 };

    // One step of a macro: the FID's full name and its parameters (with the source widget).
    class FIDCommand {
    public:
        FIDCommand() = default;
        FIDCommand(FunctionID name, FIDParameterList parameters) : fid(std::move(name)), params(std::move(parameters))
        {
        }
        FunctionID fid;
        FIDParameterList params;
    };

    // A numbered list of FIDs.
    class Macro {
    public:
        explicit Macro(std::string macroName = std::string()) : name(std::move(macroName)) {}

        // A new macro read from the file, or null (the reason is logged).
        static Macro* load(const oskit::Path& path, unsigned int workplace);
        // A new macro from a parsed file, or null when it is malformed (logged if reportErrors).
        static Macro* fromDocument(const TiXmlDocument& doc, const oskit::Path& path, unsigned int workplace,
                                   bool reportErrors);
        // Writes the file whole (temporary file, signed, renamed over the target).
        bool save(const oskit::Path& path) const;

        std::string name;
        std::string version = "0.1";
        std::list<FIDCommand> commands;
    };

    // The attachments of one button.
    class Widget {
    public:
        enum EMacroType { PRE = 0, PRE_COMPLETE = 1, REPLACE = 2, POST = 3 };
        static constexpr int kMacroTypeCount = 4;

        // The register at the current level for this kind; 0 if none. Creates no entry.
        int getMacro(EMacroType type) const;
        void updateReplaceMacro();
        bool hasAttachments() const;
        // The element's children into this object: the number of attachments read, or -1.
        int xmlRead(TiXmlNode* node, const UniqueWidgetID& id, FIDMapHandler* handler);
        // This object into the element: the number of attachments written.
        int xmlWrite(TiXmlElement& element) const;
        // Unsets the state key of every attachment and empties the maps; level and displays stay.
        void detachAllMacros(const UniqueWidgetID& id, FIDMapHandler* handler);

        std::string m_level;
        std::map<std::string, bool> m_hasReplace;
        std::array<std::map<std::string, int>, kMacroTypeCount> m_attached;
        UniqueWidgetID m_primaryDisplay;
        UniqueWidgetID m_secondaryDisplay;
        UniqueWidgetID m_tertiaryDisplay;
    };

    static const char* const s_sidMacroTypeNames[Widget::kMacroTypeCount];
    static const char* const s_xmlMacroTypeNames[Widget::kMacroTypeCount];

    // The log output "Macro", shared by all recorders.
    static oskit::LogOutput* s_pLog;
    // Looks the log output up once per process.
    static void initLog();

    // The host interfaces a recorder made while the module runs starts with, so
    // that they are in place before its FIDs can be reached.
    struct StartInterfaces {
        IFunctionID* receiver = nullptr;
        IWidgetControl* widgetControl = nullptr;
        IPanelEvent* panelEvent = nullptr;
        IPSPublisher* publisher = nullptr;
    };

    MacroRecorder(unsigned int workplace, FIDMapHandler* pMapHandler, MFDConfigHandler* pConfigHandler);
    MacroRecorder(unsigned int workplace, FIDMapHandler* pMapHandler, MFDConfigHandler* pConfigHandler,
                  const StartInterfaces& interfaces);
    ~MacroRecorder() override;
    MacroRecorder(const MacroRecorder&) = delete;
    MacroRecorder& operator=(const MacroRecorder&) = delete;

    // Host interfaces.
    void setWidgetControlInterface(IWidgetControl* control);
    void setFIDReceiverInterface(IFunctionID* receiver);
    void setPanelEventInterface(IPanelEvent* panelEvent);
    void setPSPublisherInterface(IPSPublisher* publisher);

    // Lifecycle.
    void reinit();
    void prepareAppliLoad();
    void finishAppliLoad();
    void prepareAppliSave();
    void finishAppliSave();
    void show();

    // Buttons.
    void onButtonDown(const UniqueWidgetID& id);
    void onButtonHold(const UniqueWidgetID& id);
    void onButtonRelease(const UniqueWidgetID& id);
    bool execPreMacro(const UniqueWidgetID& id);
    bool execReplaceMacro(const UniqueWidgetID& id);
    void execPostMacro(const UniqueWidgetID& id);
    void completePreMacro(const UniqueWidgetID& id);
    bool hasReplaceMacro(const UniqueWidgetID& id);
    bool isInReplaceMode(const UniqueWidgetID& id);
    void setMacroLevel(const UniqueWidgetID& id, const std::string& level);
    std::string getMacroLevel(const UniqueWidgetID& id);

    // Attachments.
    void attachDetachMacro(const UniqueWidgetID& id, int macroNumber, Widget::EMacroType type, bool detach);
    void detachAllMacros();
    void loadAttachments();
    void saveAttachments();
    // The state key of one attachment: MACRO<wp>.ATTACH.<widget>.[<level>.]<kind>.
    static std::string attachKey(unsigned int workplace, const UniqueWidgetID& id, const std::string& level,
                                 Widget::EMacroType type);

    // Recording. False when the FID was refused: its name or a parameter is a
    // text that the macro file could not keep.
    bool recordFID(const FunctionID& name, const FIDParameterList& params);

    // PDLStateSubscriber
    bool useEventManager() const override;
    void updateDirect(const std::string& key, const std::string& value) override;
    std::string getDescription(int id) const override;

    // Files.
    oskit::Path getMacroFilePath(int number) const;
    Macro* createMacro(int number) const;
    void saveMacro(const Macro* pMacro, int number) const;
    void deleteMacro(int number);

    // Playback.
    bool startMacroPlayer(int macroNumber, const Widget::EMacroType& type, const UniqueWidgetID& widget,
                          const std::string& notifyEvent);
    void playMacro(int macroNumber, const UniqueWidgetID& widget, const std::string& notifyEvent);
    void stopMacro();

    // Export.
    void exportMacro(int macroNumber, const std::string& driverID);

    // Read access for the console, tests and the button logic.
    unsigned int getWorkplace() const { return m_workplace; }
    const oskit::Path& getPath() const { return m_path; }
    bool isRecording() const { return m_recording.load(); }
    int getRecordingReg() const { return m_recordingReg.load(); }
    bool isMacroPlaying() const { return m_macroPlaying.load(); }
    int getLatestReg() const { return m_latestReg.load(); }
    bool isLoadSaveInProgress() const { return m_loadSaveInProgress.load(); }
    bool hasMacro(int number) const;
    // A copy of the macro in the register, null if the register is empty.
    std::unique_ptr<Macro> copyMacro(int number) const;
    std::string getMacroStatus(const UniqueWidgetID& id, int macroNumber);
    std::string getMacroColor(const UniqueWidgetID& id);
    int getLatestMacro(const UniqueWidgetID& id);
    std::string getReplaceMacroName(const UniqueWidgetID& id);
    // A copy of a button's attachments; false if the button has no entry.
    bool findWidget(const UniqueWidgetID& id, Widget& copy) const;
    bool isControlThreadRunning() const;

private:
    // The message of the play queue: a block of 100 bytes.
    struct MacroCmd {
        int32_t macro;
        uint32_t widget;
        char notifyEvent[92];
    };
    static_assert(sizeof(MacroCmd) == 100, "the play queue carries 100-byte messages");

public:
    // Takes play requests from the queue and runs them one at a time.
    class ControlThread : public oskit::Thread {
    public:
        // Walks one macro.
        class PlayThread : public oskit::Thread {
        public:
            PlayThread();
            void init(MacroRecorder* pRecorder);
            void play(int macro, const UniqueWidgetID& widget, const std::string& notifyEvent);
            bool shutdownCallback() override;

        protected:
            void run() override;

        private:
            MacroRecorder* m_pMacroRecorder = nullptr;
            int m_macro = -1;
            UniqueWidgetID m_widget;
            std::string m_notifyEvent;
        };

        explicit ControlThread(unsigned int workplace);
        void init(MacroRecorder* pRecorder);
        bool startMacro(int macro, const UniqueWidgetID& widget, const std::string& notifyEvent);
        bool shutdownCallback() override;
        int getMacroInProgress() const { return m_macroInProgress; }
        // Stops and joins the player; for the end, once this thread has ended and can start no other.
        void stopPlayer() { m_player.shutdown(-1); }

    protected:
        void run() override;

    private:
        oskit::MessageQueue m_queue;
        std::string m_queueName;
        MacroRecorder* m_pMacroRecorder = nullptr;
        int m_macroInProgress = -1;
        PlayThread m_player;
        std::atomic<bool> m_running{false};
    };

private:
    // FID handlers.
    bool onFIDAttachButtonDown(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDDetachButtonDown(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDAttachEnable(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDAttachDisable(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDAttachViewSet(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDAttachmentsActiveSet(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDAttachmentModeSet(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDAttachReplacemodeSet(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDAttach(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDDetach(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDDetachAll(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDDetachAllOn1ButtonSet(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDAssociateDisplay(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDRecordingStart(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDRecordingStop(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDRecordFID(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDRecall(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDDelete(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDDeleteAll(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDStop(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDExport(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDNameSet(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDMFDIDSet(const FunctionID& name, const FIDParameterList* paraList);

    void registerFIDs();
    std::string keyPrefix() const;
    std::string delayFIDName() const;

    // Files.
    void loadMacros();
    // Puts a macro into a register; the one it replaces is freed.
    void storeMacro(int number, Macro* pMacro);
    // Empties a register, removes its file and publishes it.
    void removeMacro(int number);
    // Saves a copy of the register's macro, if any.
    void saveRegister(int number);

    // A published key of the recorder (the register's number counts for the
    // name and the empty flag only). Queued, then published from the table and
    // the flags as they stand when its turn comes.
    enum class EStateKey {
        NAME,
        EMPTY,
        ATTACH_VIEW,
        ATTACHMENTS_ACTIVE,
        ATTACH_MODE,
        REPLACE_MODE,
        RECORDING_REG,
        RECALL_ACTIVE,
        LATEST_REG
    };
    void driveKey(EStateKey key, int number = 0);
    // The key's name and text (data lock held); widgets to repaint for a name.
    void stateOfKey(EStateKey key, int number, std::string& name, std::string& value,
                    std::vector<UniqueWidgetID>& repaint) const;

    // Published state.
    void driveAttachViewOn();
    void driveAttachmentsActive();
    void driveAttachmentsMode();
    void driveReplaceMode();
    void driveRecordingReg();
    void driveRecallActive();
    void driveLatestRegNumber();
    void driveMacroName(int number);
    void driveMacroEmptyFlag(int number);
    void driveAllMacroNames();
    void driveAllMacroEmptyFlags();

    // Subscriptions.
    void subscribeKey(const std::string& key);
    // Buttons in m_widgets served by this driver id (or by none, when withUndriven).
    std::vector<UniqueWidgetID> widgetsOfDriver(const std::string& driverID, bool withUndriven) const;
    void refreshWidgets(const std::vector<UniqueWidgetID>& ids);

    // attachDetachMacro; with replaceFlag, the button's replace flag is brought
    // up to date together with the change of the store, as the FIDs do.
    void attachDetachMacroAndFlag(const UniqueWidgetID& id, int macroNumber, Widget::EMacroType type, bool detach,
                                  bool replaceFlag);

    // One call of the widget control, decided under the data lock and made without it.
    struct AttributeCall {
        enum EKind { SET, CLEAR, SINGLE_IF_HALF_OR_SINGLE };
        EKind kind;
        const char* layer;
        UniqueWidgetID widget;
        const char* attribute;
        std::string value;
    };
    using AttributeCalls = std::vector<AttributeCall>;
    // Queues a decided picture (data lock held): the ticket to wait for, 0 if nothing is to be painted.
    uint64_t queuePaintLocked(AttributeCalls&& calls);
    // Paints the queue up to the ticket, or, when another thread paints, leaves
    // the picture to it and waits until it is painted (never while this thread
    // holds a turn itself, such as the host calling back in while it paints).
    void paintUpTo(uint64_t ticket);
    // Decides a picture under the data lock, queues it in the same hold and
    // paints up to it.
    template <typename Decide>
    void paintDecided(Decide&& decide)
    {
        uint64_t ticket = 0;
        {
            std::lock_guard<std::mutex> guard(m_dataLock);
            AttributeCalls calls;
            decide(calls);
            ticket = queuePaintLocked(std::move(calls));
        }
        paintUpTo(ticket);
    }

    // Blinking of attached buttons on the layer "ATBL".
    void setAttachBlinkOn(const UniqueWidgetID& id);
    void setAttachBlinkOff(const UniqueWidgetID& id);
    void updateAttachBlink(const UniqueWidgetID& id);
    // The pictures of the above (data lock held).
    void decideAttachBlinkLocked(const UniqueWidgetID& id, bool on, AttributeCalls& calls) const;
    void decideUpdateAttachBlinkLocked(const UniqueWidgetID& id, AttributeCalls& calls) const;

    // Button attributes.
    void showReplaceMacroAttribs(const UniqueWidgetID& id, bool force);
    void hideReplaceMacroAttribs(const UniqueWidgetID& id);
    // Their pictures, from the tables as they stand (data lock held).
    void decideShowReplaceLocked(const UniqueWidgetID& id, bool force, AttributeCalls& calls);
    void decideHideReplaceLocked(const UniqueWidgetID& id, AttributeCalls& calls);
    std::string replaceMacroNameLocked(const UniqueWidgetID& id) const;

    // Mainframe macro state of a button (kind's macro "PLAY" or "PAUSE").
    bool hasRunningMacro(const UniqueWidgetID& id, int& number, Widget::EMacroType& kind, std::string driverID);
    bool hasPausedMacro(const UniqueWidgetID& id, int& number, Widget::EMacroType& kind, std::string driverID);
    bool hasMacroInStatus(const UniqueWidgetID& id, int& number, Widget::EMacroType& kind,
                          const std::string& driverID, const char* status);

    // The driver id of the module that holds the widget; empty if none.
    bool findDriverID(const UniqueWidgetID& id, std::string& driverID) const;
    // The macro of a kind at the button's current level, 0 if none (data lock held by caller).
    int widgetMacroLocked(const UniqueWidgetID& id, Widget::EMacroType type) const;

    FIDMapHandler* m_pMapHandler;
    MFDConfigHandler* m_pConfigHandler;
    std::atomic<IWidgetControl*> m_pWidgetControl{nullptr};
    std::atomic<IFunctionID*> m_pFIDReceiver{nullptr};
    std::atomic<IPanelEvent*> m_pPanelEvent{nullptr};
    std::atomic<IPSPublisher*> m_pPSPublisher{nullptr};
    ControlThread m_controlThread;
    oskit::Path m_path;
    unsigned int m_workplace;
    std::atomic<bool> m_loadSaveInProgress{false};
    oskit::BinarySemaphore m_stopSemaphore;

    std::mutex m_fileLock;
    mutable std::mutex m_dataLock;
    // Guarded by m_dataLock: what waits to be published, in order, with the
    // place each key took in that order, and the turn at publishing it.
    std::deque<std::pair<EStateKey, int>> m_stateQueue;
    std::map<std::pair<EStateKey, int>, uint64_t> m_stateQueued;
    uint64_t m_stateTickets = 0;
    PublishTurn m_stateTurn;
    // Guarded by m_dataLock: pictures that wait to be painted, each with its
    // ticket (the count of pictures queued up to it), and the turn at painting.
    std::deque<std::pair<uint64_t, AttributeCalls>> m_paintQueue;
    uint64_t m_paintTickets = 0;
    PublishTurn m_paintTurn;
    std::list<UniqueWidgetID> m_heldButtons;
    std::set<UniqueWidgetID> m_disabledWidgets;
    std::map<UniqueWidgetID, Widget> m_widgets;
    std::map<UniqueModuleID, std::string> m_moduleDriverIDs;
    std::set<std::string> m_subscribedDriverIDs;
    std::array<Macro*, kMacroSlots> m_macros{};

    UniqueWidgetID m_attachButton;
    UniqueWidgetID m_detachButton;
    int m_attachMacro = -1;
    int m_simpleMacro = -1;
    int m_modeMacro = -1;
    std::atomic<bool> m_detachAllOn1Button{false};
    std::atomic<bool> m_attachViewOn{false};
    std::atomic<bool> m_attachmentsActive{false};
    std::atomic<int> m_replaceMode{REPLACE_OFF};
    std::atomic<int> m_attachMode{ATTACH_NONE};
    std::atomic<bool> m_recording{false};
    std::atomic<int> m_recordingReg{-1};
    std::atomic<bool> m_macroPlaying{false};
    std::atomic<int> m_latestReg{-1};
    std::atomic<bool> m_deleteAfterPlay{false};
    // Set when the player is shut down, so that a macro about to begin stops too.
    std::atomic<bool> m_playerStopRequest{false};
    std::map<std::string, std::string> m_macroColors;
    std::map<std::string, int> m_latestRegs;
    std::map<std::string, std::vector<std::string>> m_macroNames;
    std::map<std::string, std::vector<std::string>> m_macroStatus;

    // The handle under which this recorder subscribes; it owns nothing.
    std::shared_ptr<PDLStateSubscriber> m_subscriberHandle;
};

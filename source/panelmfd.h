#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <list>
#include <mutex>
#include <set>
#include <string>

#include "mfdbase.h"
#include "oskit/CmdProcessor.h"
#include "oskit/Path.h"
#include "oskit/Semaphore.h"
#include "oskit/Thread.h"
#include "oskit/Time.h"
#include "panelkit/FIDParameter.h"
#include "panelkit/FunctionID.h"
#include "panelkit/UniqueModuleID.h"
#include "panelmfd/IPanelMFD.h"
#include "panelsys/Logging.h"
#include "publishturn.h"

class MacroSystem;
class PmemSystem;
class PanelSettings;
class SystemSettings;
class TiXmlDocument;
class TiXmlElement;

// Marker files by which the system tells panel types apart. Nothing reads them.
extern const oskit::Path VORLANE_TYPE_PATH;
extern const oskit::Path VORLANE_REV2_TYPE_PATH;
extern const oskit::Path VORLANE_REV3_TYPE_PATH;
extern const oskit::Path MIRL_TYPE_PATH;
extern const oskit::Path MIRL_REV2_TYPE_PATH;
extern const oskit::Path OSTRANEL_TYPE_PATH;

// The panel driver: owns the subsystems, keeps the host interfaces of the
// driver side and carries out the panel-level FIDs.
class PanelMFD : public MFDBase, public IPanelMFD {
public:
    static const std::string LOG_FID_NAME_PARAM;
    static const std::string LOG_FID_LEVEL_PARAM;
    static const std::string LOG_FID_MESSAGE_PARAM;
    static constexpr int kWorkplaceCount = 8;

    PanelMFD();
    ~PanelMFD() override;

    // IInterface
    IInterface* queryInterface(unsigned int id) override;

    // MFDBase / IMFDFramework
    void init() override;
    void showState() const override;
    void completeConfiguration() override;
    void completeInitialization() override;

    // IPanelMFD
    void setEventManagerInterface(IEventManager* manager) override;
    void setHwModuleManagerInterface(IHwModuleManager* manager) override;
    void setPanelFeedbackInterface(IPanelFeedback* feedback) override;
    void setBrightnessManagerInterface(IBrightnessManager* manager) override;
    void setColorManagerInterface(IColorManager* manager) override;
    void setWidgetManagerInterface(IWidgetManager* manager) override;
    void setStateValue(const std::string& key, const std::string& value) override;
    void setWorkplaceConfigFilename(const std::string& filename) override;
    void interfaceInitializationDone() override;

    // Panel-level FIDs, in registration order.
    bool onFIDSetvar(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDTrigger(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDModuleInfoRead(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDModuleIDSet(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDChangePDL(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDAppliLoadPrepare(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDAppliLoadFinish(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDAppliSavePrepare(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDAppliSaveFinish(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDReboot(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDNetworkSettingsChange(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDDateSet(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDDateUpdate(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDLogTimestamp(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDColorSet(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDColorInc(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDPortConfigSet(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDPortConfigAssignWP(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDPortConfigUnAssign(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDMFDAdd(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDMFDRemove(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDMFDModify(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDTFTCalibration(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDJoystickCalibration(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDFaderCalibration(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDPortAssignment(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDMenuDDCEEPROMWrite(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDOLEDBitmapsReload(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDColorsLoadPrepare(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDColorsLoadFinish(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDColorsSavePrepare(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDColorsSaveFinish(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDLogMessage(const FunctionID& name, const FIDParameterList* paraList);

    // Console commands.
    bool shellChangePDL(oskit::CmdParameters& parameters);
    bool shellShowEth(oskit::CmdParameters& parameters);

    // Workplace file and state.
    void readWorkplaceConfig();
    // Clears the workplace tables and takes the workplaces of a loaded
    // document into them; what stands before the first unexpected node counts.
    void readWorkplaceDocument(const TiXmlDocument& document);
    bool updateWorkplaceFile();
    std::string getWorkplaceConfigFilename() const;
    // Publishes the workplace tables as they stand; when another thread is
    // publishing them already, that thread publishes this state too, and this
    // one returns once it has.
    void driveWorkplaceState();
    void updateRebootIndication();
    // Hours (wrapping at 24) and minutes of a time since start: "%02lu:%02lu".
    static std::string formatRebootIndication(double elapsedSeconds);

    // Background threads and date.
    void updateHwThread();
    void uptimeThread();
    void updateDateState();
    void updateNetworkSettingsState();

    MacroSystem* getMacroSystem() const { return m_pMacroSystem; }
    PmemSystem* getPmemSystem() const { return m_pPmemSystem; }
    PanelSettings* getPanelSettings() const { return m_pPanelSettings; }

private:
    class HwUpdateThread : public oskit::Thread {
    public:
        HwUpdateThread() : oskit::Thread("HwUpdateThread") {}
        void setOwner(PanelMFD* owner) { m_pOwner = owner; }
        void run() override
        {
            if (m_pOwner) m_pOwner->updateHwThread();
        }

    private:
        PanelMFD* m_pOwner = nullptr;
    };

    class UptimeThread : public oskit::Thread {
    public:
        UptimeThread() : oskit::Thread("UptimeThread") {}
        void setOwner(PanelMFD* owner) { m_pOwner = owner; }
        void run() override
        {
            if (m_pOwner) m_pOwner->uptimeThread();
        }

    private:
        PanelMFD* m_pOwner = nullptr;
    };

    enum class EBracket { LoadPrepare, LoadFinish, SavePrepare, SaveFinish };

    // How far the host has walked the driver through its phases. Each of
    // completeInitialization and interfaceInitializationDone runs once, in
    // this order; a call out of it is refused, so that no subsystem is built
    // over a live one.
    enum class EPhase { CREATED, INITIALIZING, INITIALIZED, STARTING, RUNNING };

    // A copy of the workplace tables, published without the lock.
    struct WorkplaceTables {
        std::array<std::string, kWorkplaceCount> ports;
        std::array<std::list<std::string>, kWorkplaceCount> ids;
        std::array<std::list<std::string>, kWorkplaceCount> types;
        std::array<std::list<std::string>, kWorkplaceCount> versions;
        std::array<std::list<std::string>, kWorkplaceCount> workDirs;
        std::array<std::list<std::string>, kWorkplaceCount> ipAddresses;
        std::array<std::list<std::string>, kWorkplaceCount> adapters;
        std::array<std::list<std::string>, kWorkplaceCount> interfaceTypes;
    };

    // Workplace tables (workplace lock held): clearing, one document element,
    // the file's elements, a copy.
    void clearWorkplaces();
    bool readWorkplaceElement(const TiXmlElement& workplace);
    TiXmlElement* buildWorkplacesElement() const;
    WorkplaceTables copyWorkplaces() const;
    void publishWorkplaceTables(const WorkplaceTables& tables);
    // Publishes the workplace state and saves the file after a change.
    void workplaceChanged();
    // Writes the document to a signed temporary file beside the target and
    // renames it over the target.
    bool saveWorkplaceDocument(TiXmlDocument& document, const std::string& target);
    // Publishes the six counters of one module, as the host reports them.
    void publishModuleCounters(IHwModuleManager* manager, const UniqueModuleID& module);
    bool isInfoModule(const UniqueModuleID& module);
    // "MODULE.<workplace>.<group>.<module>."
    static std::string moduleKeyPrefix(const UniqueModuleID& module);
    // The calibration and port assignment events: word, workplace, suffix.
    bool triggerWorkplaceEvent(const FIDParameterList* paraList, const char* word, const char* suffix);

    void registerFIDs();
    // The owned subsystems: created in completeInitialization in the order
    // MacroSystem, PmemSystem, PanelSettings; deleted in the same order.
    void createSubsystems();
    void destroySubsystems();
    IInterface* macroSystemInterface();
    // The application bracket's calls on MacroSystem and PmemSystem, where they exist.
    void bracketSubsystems(EBracket step);

    std::atomic<EPhase> m_phase{EPhase::CREATED};
    MacroSystem* m_pMacroSystem = nullptr;
    PmemSystem* m_pPmemSystem = nullptr;
    PanelSettings* m_pPanelSettings = nullptr;
    std::atomic<IHwModuleManager*> m_pIHwModuleManager{nullptr};
    IEventManager* m_pIEventManager = nullptr;
    IPanelFeedback* m_pIPanelFeedback = nullptr;
    IBrightnessManager* m_pIBrightnessManager = nullptr;
    IColorManager* m_pIColorManager = nullptr;
    IWidgetManager* m_pIWidgetManager = nullptr;
    SystemSettings* m_pSystemSettings = nullptr;
    std::atomic<double> m_startTime{0.0};
    HwUpdateThread m_hwUpdateThread;
    oskit::MutexSemaphore m_moduleInfoLock;
    std::atomic<bool> m_hwUpdateRunning{true};
    UptimeThread m_uptimeThread;
    std::atomic<bool> m_uptimeRunning{true};
    std::atomic<uint32_t> m_uptimeSeconds{0};

    // Workplace data, one slot per workplace; the seven lists of one workplace
    // always have the same length. m_workplaceLock guards the tables, the file
    // name and the publishing marks; handlers run on the host's FID thread and
    // on the macro play threads at once. It is never held while the host is
    // called: the tables are published from a copy, and a thread that finds
    // another one publishing leaves its change to that one, which publishes
    // until it has published the latest revision.
    mutable std::mutex m_workplaceLock;
    uint64_t m_workplaceRevision = 0;
    uint64_t m_workplacePublishedRevision = 0;
    PublishTurn m_workplaceTurn;
    std::array<std::string, kWorkplaceCount> m_ports;
    std::array<std::list<std::string>, kWorkplaceCount> m_mfdIDs;
    std::array<std::list<std::string>, kWorkplaceCount> m_mfdTypes;
    std::array<std::list<std::string>, kWorkplaceCount> m_mfdVersions;
    std::array<std::list<std::string>, kWorkplaceCount> m_mfdWorkDirs;
    std::array<std::list<std::string>, kWorkplaceCount> m_mfdIPAddresses;
    std::array<std::list<std::string>, kWorkplaceCount> m_mfdNetworkAdapters;
    std::array<std::list<std::string>, kWorkplaceCount> m_mfdInterfaceTypes;

    std::set<UniqueModuleID> m_infoModules;
    std::string m_workplaceConfigFilename;
    Norvane::Utilities::Logging::LogCategory m_log;
};

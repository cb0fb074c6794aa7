#pragma once

#include <atomic>
#include <map>
#include <string>
#include <vector>

#include "oskit/CmdProcessor.h"
#include "oskit/Semaphore.h"
#include "panelkit/FIDParameter.h"
#include "panelkit/FunctionID.h"

class FIDMapHandler;
class IPmemStorage;
class MFDConfigHandler;

// The panel memory: one register storage per workplace (0 to 7), the "MEMORY."
// FIDs, learn and recall as a conversation with the application, define memos
// and the published register state.
//
// Handlers may come in on the host's FID thread and on macro play threads. The
// workplace data is guarded by m_dataLock; what goes out to the host (state
// values, events) is collected while the lock is held and sent after it has
// been released, in the same order, so the host may call straight back in.
class PmemSystem {
public:
    enum EPmemType { PMEM_TYPE_XML = 0, PMEM_TYPE_TEXT = 1 };

    struct WORKPLACE_DATA {
        IPmemStorage* pStorage = nullptr;
        int currentRegister = 0;
        bool opened = false;
        std::map<std::string, bool> defineMemos;
        bool autoRecall = false;
    };

    static constexpr int kWorkplaceCount = 8;
    static constexpr int kRegisterCount = 100;

    PmemSystem(FIDMapHandler* pMapHandler, MFDConfigHandler* pConfigHandler, EPmemType type);
    virtual ~PmemSystem();
    PmemSystem(const PmemSystem&) = delete;
    PmemSystem& operator=(const PmemSystem&) = delete;

    // FID handlers.
    bool onFIDAddDefine(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDEnableDefine(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDDIsableDefine(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDLoadRegister(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDSaveRegister(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDLearn(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDRecall(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDDelete(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDDeleteAll(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDSaveValue(const FunctionID& name, const FIDParameterList* paraList, const FIDPatternList& captures);
    bool onFIDRename(const FunctionID& name, const FIDParameterList* paraList);

    // The application load and save bracket.
    void prepareAppliLoad();
    void finishAppliLoad();
    void prepareAppliSave();
    void finishAppliSave();

    // Console command "showPmem <workplace id>".
    bool shellShowPmem(oskit::CmdParameters& parameters);

    void createWorkplace(int wp);

    // Define memos.
    bool doSetDefineMemo(int wp, const std::string& name, bool enable);
    void triggerDefineMemos(const std::string& prefix, int wp);
    bool saveDefineMemos(int wp, int reg, int version);
    bool loadDefineMemos(int wp, std::map<std::string, std::string>& values);

    // Register state publication.
    void setCurrentRegister(int wp, int reg);
    void updateRegisrerState(int wp, int reg);
    void updateNextValidRegisterState(int wp, int group, int module, int first, int last);
    void updateNextFreeRegisterState(int wp, int group, int module, int first, int last);
    std::string getModuleString(int group, int module) const;

    // A copy of a workplace's data (for inspection); an unknown id gives the empty entry.
    WORKPLACE_DATA getWorkplaceData(int wp) const;
    bool isLocked() const { return m_locked; }

private:
    // One call to the host, held back until the data lock is released.
    struct Output {
        enum EKind { SET, SET_BOOL, UNSET, EVENT } kind;
        std::string key;
        std::string value;
        bool flag;
    };
    using Outputs = std::vector<Output>;

    void publish(const Outputs& out) const;
    bool lockedOut() const;
    // A workplace outside 0 to 7 has no register storage: a handler that would
    // reach one refuses with a line instead.
    bool workplaceInRange(const FunctionID& name, int wp) const;

    // ENABLE and DISABLE of a memo the workplace knows already.
    bool switchKnownDefineMemo(const FunctionID& name, const FIDParameterList* paraList, bool enable);

    // The operations proper, run with m_dataLock held.
    void createWorkplace(Outputs& out, int wp);
    bool learn(Outputs& out, const FunctionID& name, const FIDParameterList& params);
    bool recall(Outputs& out, const FunctionID& name, const FIDParameterList& params);
    bool doSetDefineMemo(Outputs& out, int wp, const std::string& name, bool enable);
    void triggerDefineMemos(Outputs& out, const std::string& prefix, int wp);
    bool saveDefineMemosLocked(int wp, int reg, int version);
    bool loadDefineMemos(Outputs& out, int wp, const std::map<std::string, std::string>& values);
    void setCurrentRegister(Outputs& out, int wp, int reg);
    void updateRegisrerState(Outputs& out, int wp, int reg);
    void updateNextRegisterState(Outputs& out, int wp, int group, int module, int first, int last, bool valid);

    FIDMapHandler* m_pMapHandler;
    MFDConfigHandler* m_pConfigHandler;
    std::map<int, WORKPLACE_DATA> m_workplaces;
    EPmemType m_pmemType;
    std::atomic<bool> m_locked;
    oskit::BinarySemaphore m_recallGate;
    mutable oskit::MutexSemaphore m_dataLock;
};

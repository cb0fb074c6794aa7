#pragma once

#include <condition_variable>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "oskit/CmdProcessor.h"
#include "panelmfd/IMacroSystem.h"

class FIDMapHandler;
class MFDConfigHandler;
class MacroRecorder;

// The root of the macro subsystem (id 1107): one MacroRecorder per workplace,
// made on demand, and the published macro assignment tables.
class MacroSystem : public IMacroSystem {
public:
    MacroSystem(FIDMapHandler* pMapHandler, MFDConfigHandler* pConfigHandler);
    ~MacroSystem() override;
    MacroSystem(const MacroSystem&) = delete;
    MacroSystem& operator=(const MacroSystem&) = delete;

    // IInterface
    IInterface* queryInterface(unsigned int id) override;

    // IMacroSystem, routed by the workplace of the widget.
    bool isInReplaceMode(const UniqueWidgetID& widget) override;
    bool execPreMacro(const UniqueWidgetID& widget) override;
    bool execReplaceMacro(const UniqueWidgetID& widget) override;
    void execPostMacro(const UniqueWidgetID& widget) override;
    void completePreMacro(const UniqueWidgetID& widget) override;
    bool hasReplaceMacro(const UniqueWidgetID& widget) override;
    void setMacroLevel(const UniqueWidgetID& widget, const std::string& level) override;
    std::string getMacroLevel(const UniqueWidgetID& widget) override;
    void onButtonDown(const UniqueWidgetID& widget) override;
    void onButtonHold(const UniqueWidgetID& widget) override;
    void onButtonRelease(const UniqueWidgetID& widget) override;
    // Handed to every recorder.
    void setWidgetControlInterface(IWidgetControl* control) override;
    void setFIDReceiverInterface(IFunctionID* receiver) override;
    void setPanelEventInterface(IPanelEvent* panelEvent) override;
    void setPSPublisherInterface(IPSPublisher* publisher) override;
    // Routed by the workplace of the list's source widget.
    void recordFID(const FunctionID& name, const FIDParameterList& params) override;

    // The recorder of a workplace, made if missing. A recorder is made without
    // the lock (it publishes its state and subscribes); another thread asking
    // for it meanwhile waits until it is made. Null only when the thread that
    // is making it asks again from inside the host (the request is refused
    // with a line).
    MacroRecorder* getRecorder(unsigned int workplace);
    // The recorder of a workplace if it exists, else null.
    MacroRecorder* findRecorder(unsigned int workplace) const;
    size_t recorderSlots() const;

    // Application bracket.
    void prepareAppliLoad();
    void finishAppliLoad();
    void prepareAppliSave();
    void finishAppliSave();

    bool shellCmdMacroShow(oskit::CmdParameters& params);

private:
    void init();
    bool onFIDAssignmentChange(const FunctionID& name, const FIDParameterList* paraList);
    // The recorders made so far; waits for those that other threads are making.
    std::vector<MacroRecorder*> recorders() const;
    // True while another thread makes a recorder (lock held).
    bool othersMaking() const;

    FIDMapHandler* m_pMapHandler;
    MFDConfigHandler* m_pConfigHandler;
    IWidgetControl* m_pWidgetControl = nullptr;
    IFunctionID* m_pFIDReceiver = nullptr;
    IPanelEvent* m_pPanelEvent = nullptr;
    IPSPublisher* m_pPSPublisher = nullptr;
    std::vector<MacroRecorder*> m_recorders;
    // The workplaces whose recorder is being made, by the thread making it.
    std::map<unsigned int, std::thread::id> m_making;

    // Guards the recorder table, the recorders in the making and the interface
    // pointers; never held while the host is called.
    mutable std::mutex m_lock;
    mutable std::condition_variable m_made;
};

#pragma once

// Loading of the module library and the walk through its phases:
//  1 load the library          2 onCreateModule            3 query 1201 and 1100
//  4 hand in IPanelState, IDistributorFID, ISystem         5 setConfiguration
//  6 initializationCompleted   7 query 1107, 1012, 1109 and hand in the rest
//  8 interfaceInitializationDone                           9 running
// 10 deinitialize             11 destroy the module object

#include <set>
#include <string>

#include "panelmfd/host.h"

namespace panelhost {

class Narrator;
class Recorder;

// The host interfaces handed in; a null pointer is withheld.
struct HostInterfaces {
    IPanelState* panelState = nullptr;
    IDistributorFID* distributor = nullptr;
    ISystem* system = nullptr;
    IEventManager* eventManager = nullptr;
    IHwModuleManager* hwModuleManager = nullptr;
    IPanelFeedback* panelFeedback = nullptr;
    IBrightnessManager* brightnessManager = nullptr;
    IColorManager* colorManager = nullptr;
    IWidgetManager* widgetManager = nullptr;
    IWidgetControl* widgetControl = nullptr;
    IFunctionID* fidReceiver = nullptr;
    IPanelEvent* panelEvent = nullptr;
    IPSPublisher* publisher = nullptr;
};

struct ModuleConfiguration {
    std::string prefix = "PANEL";
    std::string dataDirectory;
    std::string configDirectory;
    // Handed in through setWorkplaceConfigFilename unless empty.
    std::string workplaceFile = "config/Workplaces.xml";
    // Phases left out: 5, 6 or 8 (narrated as skipped).
    std::set<int> skipPhases;
};

class HostModule {
public:
    // Each phase and each interface query is recorded in the calls stream as
    // "Host.phase N" and "Host.queryInterface ID present|null", so that a
    // script can check what the module answered before and after a phase.
    HostModule(Narrator& narrator, Recorder& recorder) : m_narrator(narrator), m_recorder(recorder) {}
    ~HostModule();
    HostModule(const HostModule&) = delete;
    HostModule& operator=(const HostModule&) = delete;

    // Phase 1; the library stays loaded until this object goes. False with a
    // message if the library or its entry point can't be found.
    bool load(const std::string& path, std::string& error);
    bool loaded() const { return m_library != nullptr; }

    // Phases 2 to 8. Answers false with a message if the module object or one
    // of its required interfaces is missing.
    bool start(const HostInterfaces& host, const ModuleConfiguration& config, std::string& error);
    // Phases 10 and 11; nothing if there is no module object.
    void stop();
    bool running() const { return m_module != nullptr; }

    oskit::Module* moduleObject() const { return m_module; }
    IMFDConfiguration* configuration() const { return m_configuration; }
    IFunctionID* functionID() const { return m_functionID; }
    IPanelMFD* panelMFD() const { return m_panelMFD; }
    // Null until the module has a macro system / settings (after phase 6).
    IMacroSystem* macroSystem() const;
    IPanelSettings* panelSettings() const;

private:
    void phase(int number, const std::string& text);
    IInterface* query(unsigned int id);

    Narrator& m_narrator;
    Recorder& m_recorder;
    void* m_library = nullptr;
    OnCreateModuleFunction m_create = nullptr;
    oskit::Module* m_module = nullptr;
    IMFDConfiguration* m_configuration = nullptr;
    IFunctionID* m_functionID = nullptr;
    IPanelMFD* m_panelMFD = nullptr;
};

} // namespace panelhost

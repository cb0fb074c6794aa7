#include "hostmodule.h"

#include <dlfcn.h>

#include "hostcall.h"
#include "narrator.h"

namespace panelhost {

HostModule::~HostModule()
{
    stop();
    if (m_library) dlclose(m_library);
}

void HostModule::phase(int number, const std::string& text)
{
    m_narrator.flushSummary();
    recordHostCall(m_recorder, "Host.phase", {std::to_string(number)}, false);
    m_narrator.line("phase", std::to_string(number) + (number < 10 ? "   " : "  ") + text);
}

IInterface* HostModule::query(unsigned int id)
{
    IInterface* answer = m_module ? m_module->queryInterface(id) : nullptr;
    recordHostCall(m_recorder, "Host.queryInterface", {std::to_string(id), answer ? "present" : "null"}, false);
    return answer;
}

bool HostModule::load(const std::string& path, std::string& error)
{
    if (m_library) return true;
    phase(1, "load the module library " + path);
    m_library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!m_library) {
        const char* why = dlerror();
        error = "cannot load the module " + path + ": " + (why ? why : "unknown reason");
        return false;
    }
    m_create = reinterpret_cast<OnCreateModuleFunction>(dlsym(m_library, "onCreateModule"));
    if (!m_create) {
        error = "the module " + path + " has no entry point onCreateModule";
        dlclose(m_library);
        m_library = nullptr;
        return false;
    }
    return true;
}

bool HostModule::start(const HostInterfaces& host, const ModuleConfiguration& config, std::string& error)
{
    if (m_module) return true;
    if (!m_create) {
        error = "no module library is loaded";
        return false;
    }
    phase(2, "onCreateModule: the module object is made, its two background threads start and it registers "
             "its shell commands");
    m_module = m_create();
    if (!m_module) {
        m_narrator.flushSummary();
        error = "onCreateModule answered null";
        return false;
    }
    phase(3, "ask for interface 1201 (IMFDConfiguration) and 1100 (IFunctionID, where FIDs go in)");
    m_configuration = dynamic_cast<IMFDConfiguration*>(query(kIdMFDConfiguration));
    m_functionID = dynamic_cast<IFunctionID*>(query(kIdFunctionID));
    // Not there yet: the macro system and the settings come in phase 6.
    query(kIdMacroSystem);
    query(kIdPanelSettings);
    if (!m_configuration || !m_functionID) {
        error = std::string("the module doesn't answer ") + (m_configuration ? "1100 (IFunctionID)" : "1201 (IMFDConfiguration)");
        stop();
        return false;
    }
    std::string handed;
    std::string withheld;
    auto note = [&](bool present, const char* name) {
        std::string& list = present ? handed : withheld;
        if (!list.empty()) list += ", ";
        list += name;
    };
    if (host.panelState) m_configuration->setPanelStateInterface(host.panelState);
    note(host.panelState, "IPanelState");
    if (host.distributor) m_configuration->setDistributorFIDInterface(host.distributor);
    note(host.distributor, "IDistributorFID");
    if (host.system) m_configuration->setSystemInterface(host.system);
    note(host.system, "ISystem");
    phase(4, "hand in " + handed + (withheld.empty() ? "" : "; withheld: " + withheld));

    const auto skipped = [&](int number) { return config.skipPhases.count(number) != 0; };
    if (skipped(5)) {
        phase(5, "skipped: no setConfiguration");
    } else {
        phase(5, "setConfiguration(0, \"" + config.prefix + "\", " + config.dataDirectory + ", \"\", \"\", \"\", " +
                     config.configDirectory + "): the prefix of the module's state and the folders of its data");
        m_configuration->setConfiguration(0, config.prefix, config.dataDirectory, "", "", "", config.configDirectory);
    }

    if (skipped(6)) {
        phase(6, "skipped: no initializationCompleted");
    } else {
        phase(6, "initializationCompleted: the macro system, panel memory, settings and system settings are built, "
                 "the FIDs are registered, then LOADED is published");
        m_configuration->initializationCompleted();
    }

    phase(7, "ask for 1107 (IMacroSystem), 1012 (IPanelSettings), 1109 (IPanelMFD) and hand in the rest");
    query(kIdPanelSettings);
    m_panelMFD = dynamic_cast<IPanelMFD*>(query(kIdPanelMFD));
    if (!m_panelMFD) {
        error = "the module doesn't answer 1109 (IPanelMFD)";
        stop();
        return false;
    }
    handed.clear();
    withheld.clear();
    if (host.eventManager) m_panelMFD->setEventManagerInterface(host.eventManager);
    note(host.eventManager, "IEventManager");
    if (host.hwModuleManager) m_panelMFD->setHwModuleManagerInterface(host.hwModuleManager);
    note(host.hwModuleManager, "IHwModuleManager");
    if (host.panelFeedback) m_panelMFD->setPanelFeedbackInterface(host.panelFeedback);
    note(host.panelFeedback, "IPanelFeedback");
    if (host.brightnessManager) m_panelMFD->setBrightnessManagerInterface(host.brightnessManager);
    note(host.brightnessManager, "IBrightnessManager");
    if (host.colorManager) m_panelMFD->setColorManagerInterface(host.colorManager);
    note(host.colorManager, "IColorManager");
    if (host.widgetManager) m_panelMFD->setWidgetManagerInterface(host.widgetManager);
    note(host.widgetManager, "IWidgetManager");
    m_narrator.line("", "through IPanelMFD: " + handed + (withheld.empty() ? "" : "; withheld: " + withheld));
    if (!config.workplaceFile.empty()) {
        m_panelMFD->setWorkplaceConfigFilename(config.workplaceFile);
        m_narrator.line("", "the workplace file: " + config.workplaceFile);
    } else {
        m_narrator.line("", "no workplace file is named");
    }
    IMacroSystem* macros = dynamic_cast<IMacroSystem*>(query(kIdMacroSystem));
    if (macros) {
        handed.clear();
        withheld.clear();
        if (host.widgetControl) macros->setWidgetControlInterface(host.widgetControl);
        note(host.widgetControl, "IWidgetControl");
        if (host.fidReceiver) macros->setFIDReceiverInterface(host.fidReceiver);
        note(host.fidReceiver, "IFunctionID (the FID receiver)");
        if (host.panelEvent) macros->setPanelEventInterface(host.panelEvent);
        note(host.panelEvent, "IPanelEvent");
        if (host.publisher) macros->setPSPublisherInterface(host.publisher);
        note(host.publisher, "IPSPublisher");
        m_narrator.line("", "through IMacroSystem: " + handed + (withheld.empty() ? "" : "; withheld: " + withheld));
    } else {
        m_narrator.line("", "1107 answers null: the module has no macro system, so IWidgetControl, the FID receiver, "
                            "IPanelEvent and IPSPublisher are not handed in");
    }

    if (skipped(8)) {
        phase(8, "skipped: no interfaceInitializationDone");
    } else {
        phase(8, "interfaceInitializationDone: the stored settings are replayed, the workplace file is read and its "
                 "state published");
        m_panelMFD->interfaceInitializationDone();
    }
    m_narrator.flushSummary();
    phase(9, "running: FIDs go in through IFunctionID::sendFID");
    return true;
}

void HostModule::stop()
{
    m_narrator.flushSummary();
    if (!m_module) return;
    if (m_configuration) {
        phase(10, "deinitialize");
        m_configuration->deinitialize();
    }
    phase(11, "the module object is destroyed: its subsystems go first, then its threads stop");
    oskit::Module* module = m_module;
    m_configuration = nullptr;
    m_functionID = nullptr;
    m_panelMFD = nullptr;
    m_module = nullptr;
    delete module;
}

IMacroSystem* HostModule::macroSystem() const
{
    if (!m_module) return nullptr;
    return dynamic_cast<IMacroSystem*>(m_module->queryInterface(kIdMacroSystem));
}

IPanelSettings* HostModule::panelSettings() const
{
    if (!m_module) return nullptr;
    return dynamic_cast<IPanelSettings*>(m_module->queryInterface(kIdPanelSettings));
}

} // namespace panelhost

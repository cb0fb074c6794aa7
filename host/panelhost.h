#pragma once

// The reference host as one object: every host interface, the simulated
// system and mainframe drivers, the recorded streams and the module walked
// through its phases. panelhost's scripts and console drive it; tests may use
// it directly:
//
//   panelhost::HostOptions options;
//   options.modulePath = PANELMFD_MODULE_PATH;
//   options.runDir = "/tmp/some-empty-dir";
//   panelhost::Host host(options);
//   std::string error;
//   ASSERT_TRUE(host.start({}, error)) << error;
//   host.sendFID("SETVAR", params);
//   host.state().text("PANEL.LOADED");
//   host.recorder().waitFor(panelhost::Stream::Calls, 0, match, 1000);
//
// Start creates DIR/nvram/PANEL, DIR/config and DIR/data/PANEL and changes the
// process's working directory into the run directory.

#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>

#include "capture.h"
#include "fidreceiver.h"
#include "hostifaces.h"
#include "hostmodule.h"
#include "knobs.h"
#include "narrator.h"
#include "publisher.h"
#include "recorder.h"
#include "simmainframe.h"
#include "simsystem.h"
#include "statetable.h"
#include "widgetcontrol.h"

namespace panelhost {

struct HostOptions {
    std::string modulePath; // the module library
    std::string runDir;     // absolute; made if missing
    std::string prefix = "PANEL";
    bool narrate = false;        // narration on the original standard output
    bool captureStdout = false;  // the module's standard output (fd 1) into the "stdout" stream
    bool captureLog = true;      // log entries into the "log" stream, every level
};

struct StartOptions {
    // Host interfaces withheld, by interface name (IColorManager, IPanelFeedback, ...).
    std::set<std::string> without;
    // Overrides "config/Workplaces.xml"; the empty text names none.
    std::optional<std::string> workplaceFile;
    // Phases the host leaves out (5 setConfiguration, 6 initializationCompleted,
    // 8 interfaceInitializationDone), so that a test can make those calls
    // late, early or not at all.
    std::set<int> skipPhases;
};

// The names `without` accepts.
const std::set<std::string>& withholdableInterfaces();

class Host {
public:
    explicit Host(HostOptions options);
    ~Host();
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    // Loads the module (once) and walks phases 2 to 8.
    bool start(const StartOptions& options, std::string& error);
    // Phases 10 and 11, then a fresh start with the last options, a fresh
    // state table and fresh recorded streams (the stop's phases 10 and 11 are
    // their first entries); files and knobs stay.
    bool restart(std::string& error);
    // Phases 10 and 11.
    void stop();
    bool running() const { return m_module.running(); }
    const StartOptions& lastStart() const { return m_lastStart; }

    // The module's FID entry (local names). False if no module runs.
    bool sendFID(const std::string& name, const FIDParameterList& params);

    // Sim knobs: date, time and i2c.eeprom belong to the simulated system,
    // the rest are plain knobs (see README). False with a message for a bad one.
    bool setKnob(const std::string& name, const std::string& value, std::string& error);
    std::optional<std::string> knob(const std::string& name) const;

    // Waits until the module's standard output written so far is recorded.
    void syncStdout();

    const HostOptions& options() const { return m_options; }
    const std::string& runDir() const { return m_options.runDir; }

    Narrator& narrator() { return m_narrator; }
    Recorder& recorder() { return m_recorder; }
    Knobs& knobs() { return m_knobs; }
    StateTable& state() { return m_state; }
    Publisher& publisher() { return m_publisher; }
    WidgetControl& widgets() { return m_widgetControl; }
    SimSystem& system() { return m_system; }
    SimMainframe& mainframe() { return m_mainframe; }
    FidReceiver& fidReceiver() { return m_fidReceiver; }
    HostModule& module() { return m_module; }

    // Held while one command runs (a script line, a console line, a line or
    // a button of the live panel), so that they take turns.
    std::mutex& commandMutex() { return m_commands; }

private:
    HostOptions m_options;
    Narrator m_narrator;
    Recorder m_recorder;
    StdoutCapture m_stdout;
    LogCapture m_log;
    Knobs m_knobs;
    StateTable m_state;
    Publisher m_publisher;
    SimSystem m_system;
    SimMainframe m_mainframe;
    FidReceiver m_fidReceiver;
    DistributorFID m_distributor;
    SystemInterface m_systemInterface;
    EventManager m_eventManager;
    HwModuleManager m_hwModuleManager;
    PanelFeedback m_panelFeedback;
    BrightnessManager m_brightnessManager;
    ColorManager m_colorManager;
    WidgetManager m_widgetManager;
    WidgetControl m_widgetControl;
    PanelEvent m_panelEvent;
    StartOptions m_lastStart;
    std::mutex m_commands;
    // Declared last: the module goes first.
    HostModule m_module;
};

} // namespace panelhost

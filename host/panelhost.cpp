#include "panelhost.h"

#include <unistd.h>

#include <filesystem>

#include "oskit/CmdProcessor.h"
#include "oskit/LogManager.h"
#include "panelsys/WholeFileWriter.h"
#include "textutil.h"

namespace panelhost {

const std::set<std::string>& withholdableInterfaces()
{
    static const std::set<std::string> kNames = {
        "IPanelState",   "IDistributorFID", "ISystem",       "IEventManager",     "IHwModuleManager",
        "IPanelFeedback", "IBrightnessManager", "IColorManager", "IWidgetManager", "IWidgetControl",
        "IFunctionID",   "IPanelEvent",     "IPSPublisher"};
    return kNames;
}

Host::Host(HostOptions options)
    : m_options(std::move(options)),
      m_narrator(-1),
      m_recorder(&m_narrator),
      m_stdout(m_recorder, m_narrator),
      m_log(m_recorder, m_narrator),
      m_state(m_recorder),
      m_publisher(m_recorder, m_state),
      m_system(m_recorder, m_knobs),
      m_mainframe(m_state, m_knobs),
      m_fidReceiver(m_recorder, m_mainframe),
      m_distributor(m_recorder),
      m_eventManager(m_recorder),
      m_hwModuleManager(m_recorder, m_knobs),
      m_panelFeedback(m_recorder),
      m_colorManager(m_recorder),
      m_widgetManager(m_recorder),
      m_widgetControl(m_recorder),
      m_panelEvent(m_recorder),
      m_module(m_narrator, m_recorder)
{
    m_state.setPrefix(m_options.prefix);
    m_state.setPublisher(&m_publisher);
    m_fidReceiver.setPrefix(m_options.prefix);
    if (m_options.captureStdout && m_stdout.start()) m_narrator.setFd(m_stdout.originalFd());
    else m_narrator.setFd(STDOUT_FILENO);
    m_narrator.setEnabled(m_options.narrate);
    if (m_options.captureLog) m_log.start();
    // The singletons that host and module share exist before the module.
    oskit::CmdProcessor::createInstance();
    oskit::LogManager::createInstance();
    SimSystem* system = &m_system;
    setSystemBackendFactory([system]() { return std::shared_ptr<ISystemBackend>(std::shared_ptr<void>(), system); });
}

Host::~Host()
{
    stop();
    m_narrator.flushSummary();
    setSystemBackendFactory(nullptr);
    m_log.stop();
    m_stdout.stop();
}

bool Host::start(const StartOptions& options, std::string& error)
{
    if (m_module.running()) return true;
    for (const auto& name : options.without) {
        if (!withholdableInterfaces().count(name)) {
            error = "no host interface is named " + name;
            return false;
        }
    }
    for (int phase : options.skipPhases) {
        if (phase != 5 && phase != 6 && phase != 8) {
            error = "phase " + std::to_string(phase) + " can't be skipped (5, 6 or 8 can)";
            return false;
        }
    }
    m_lastStart = options;
    namespace fs = std::filesystem;
    const fs::path dir(m_options.runDir);
    std::error_code ec;
    fs::create_directories(dir / "nvram" / m_options.prefix, ec);
    fs::create_directories(dir / "config", ec);
    fs::create_directories(dir / "data" / m_options.prefix, ec);
    if (ec || ::chdir(m_options.runDir.c_str()) != 0) {
        error = "cannot prepare the run directory " + m_options.runDir;
        return false;
    }
    if (!m_module.load(m_options.modulePath, error)) return false;

    auto give = [&](const char* name) { return options.without.count(name) == 0; };
    HostInterfaces host;
    if (give("IPanelState")) host.panelState = &m_state;
    if (give("IDistributorFID")) host.distributor = &m_distributor;
    if (give("ISystem")) host.system = &m_systemInterface;
    if (give("IEventManager")) host.eventManager = &m_eventManager;
    if (give("IHwModuleManager")) host.hwModuleManager = &m_hwModuleManager;
    if (give("IPanelFeedback")) host.panelFeedback = &m_panelFeedback;
    if (give("IBrightnessManager")) host.brightnessManager = &m_brightnessManager;
    if (give("IColorManager")) host.colorManager = &m_colorManager;
    if (give("IWidgetManager")) host.widgetManager = &m_widgetManager;
    if (give("IWidgetControl")) host.widgetControl = &m_widgetControl;
    if (give("IFunctionID")) host.fidReceiver = &m_fidReceiver;
    if (give("IPanelEvent")) host.panelEvent = &m_panelEvent;
    if (give("IPSPublisher")) host.publisher = &m_publisher;

    ModuleConfiguration config;
    config.prefix = m_options.prefix;
    config.dataDirectory = (dir / "nvram" / m_options.prefix).string();
    config.configDirectory = (dir / "config").string();
    if (options.workplaceFile) config.workplaceFile = *options.workplaceFile;
    config.skipPhases = options.skipPhases;
    if (!m_module.start(host, config, error)) return false;
    m_fidReceiver.setModule(m_module.functionID());
    return true;
}

void Host::stop()
{
    if (!m_module.running()) return;
    m_fidReceiver.setModule(nullptr);
    m_mainframe.cancelPending();
    m_module.stop();
    syncStdout();
}

bool Host::restart(std::string& error)
{
    // The streams start afresh with the stop: what the module did before the
    // restart can no longer be expected, and a host restarted any number of
    // times keeps only what its last run recorded.
    m_recorder.clear();
    stop();
    m_state.clear();
    m_publisher.clear();
    m_widgetControl.clearLayers();
    return start(m_lastStart, error);
}

bool Host::sendFID(const std::string& name, const FIDParameterList& params)
{
    IFunctionID* fid = m_module.functionID();
    if (!fid) return false;
    fid->sendFID(name, params);
    return true;
}

bool Host::setKnob(const std::string& name, const std::string& value, std::string& error)
{
    if (m_system.setKnob(name, value, error)) return true;
    if (!error.empty()) return false;
    auto oneOf = [&](std::initializer_list<const char*> words) {
        for (const char* w : words)
            if (value == w) return true;
        error = "one of";
        for (const char* w : words) error += std::string(" ") + w;
        error += " for " + name;
        return false;
    };
    if (name == "i2c.write" || name == "i2c.read") {
        if (!oneOf({"ok", "fail"})) return false;
    } else if (name == "write.fail") {
        // Every whole-file write of the process fails at this step until set to none.
        using EStep = WholeFileWriter::EStep;
        bool known = false;
        for (EStep step : {EStep::kNone, EStep::kPrint, EStep::kCheck, EStep::kCreate, EStep::kWrite, EStep::kSync,
                           EStep::kClose, EStep::kSign, EStep::kVerify, EStep::kRename, EStep::kSyncDirectory}) {
            if (value != WholeFileWriter::stepName(step)) continue;
            WholeFileWriter::failStepForTesting(step);
            known = true;
        }
        if (!known) {
            error = "one of none print check create write sync close sign verify rename syncDirectory for write.fail";
            return false;
        }
    } else if (name == "i2c.readback") {
        if (!oneOf({"ok", "corrupt"})) return false;
    } else if (name == "setModuleID" || name == "startTftCalibration") {
        if (!oneOf({"true", "false"})) return false;
    } else if (startsWith(name, "mfd.") && name.find('.', 4) == std::string::npos) {
        if (name.size() == 4 || !oneOf({"passive", "active"})) {
            if (error.empty()) error = "a driver id after mfd.";
            return false;
        }
    } else if (startsWith(name, "mfd.") && endsWith(name, ".playms")) {
        auto ms = parseInteger(value);
        if (!ms || *ms < 0) {
            error = "a number of milliseconds for " + name;
            return false;
        }
    } else if (startsWith(name, "module.")) {
        // module.W.G.M.PROPERTY
        const auto last = name.rfind('.');
        if (last == std::string::npos || last <= 7 || !parseModule(name.substr(7, last - 7)) ||
            last + 1 >= name.size()) {
            error = "module.W.G.M.PROPERTY";
            return false;
        }
    } else if (name != "network.ip" && name != "network.netmask" && name != "network.gateway") {
        error = "a known knob (module.W.G.M.PROP, setModuleID, startTftCalibration, network.ip|netmask|gateway, date, "
                "time, i2c.write, i2c.read, i2c.readback, i2c.eeprom, mfd.ID, mfd.ID.playms, write.fail), not " + name;
        return false;
    }
    m_knobs.set(name, value);
    return true;
}

std::optional<std::string> Host::knob(const std::string& name) const
{
    if (auto v = m_system.knob(name)) return v;
    if (auto v = m_knobs.get(name)) return v;
    if (name == "i2c.write" || name == "i2c.read" || name == "i2c.readback") return std::string("ok");
    if (name == "setModuleID" || name == "startTftCalibration") return std::string("true");
    if (name == "write.fail") return std::string("none");
    if (startsWith(name, "mfd.") && name.find('.', 4) == std::string::npos) return std::string("passive");
    return std::nullopt;
}

void Host::syncStdout()
{
    m_stdout.sync();
}

} // namespace panelhost

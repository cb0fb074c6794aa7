// Drives the loaded module through the reference host with a sequence of
// operations decoded from the input: FIDs of the module's registry with
// parameters from a dictionary of names and hostile values, button events and
// the host's press chain, recorded FIDs, application brackets, lifecycle calls
// in and out of their phases, state published by other drivers, console
// commands and restarts. Every input starts the module in an empty run
// directory (on a memory file system where there is one) and stops it at the
// end; it waits for nothing, and the operations per input are bounded.

#include <fcntl.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <fuzzer/FuzzedDataProvider.h>

#include "fidnames.h"
#include "fuzzsupport.h"
#include "oskit/CmdProcessor.h"
#include "oskit/LogBackend.h"
#include "panelhost.h"

namespace {

constexpr int kMaxOperations = 32;
constexpr int kMaxRestarts = 1;
constexpr size_t kLongValue = 4096;

const char* const kParameterNames[] = {
    "ADAPT_OTHERS", "CHANNEL", "COMPONENT", "DAY",      "DEF",      "ENABLE",  "FIELDS",  "FILENAME", "GATEWAY",
    "GP",           "GROUP",   "HI",        "HOUR",     "ID",       "IFCTYPE", "INDEX",   "IP",       "IPADDR",
    "KEY",          "LOW",     "MACRO",     "MESSAGE",  "MFD",      "MFDID",   "MINUTE",  "MODE",     "MODULE",
    "MONTH",        "NAME",    "NETMASK",   "NETWORKIFC", "OFF",    "OFFSET",  "PDL",     "PORT",     "PRIMARY",
    "RECFID",       "REG",     "SECOND",    "SECONDARY", "SHOW",    "SWAP1",   "SWAP2",   "TERTIARY", "TIME",
    "TSECS",        "TYPE",    "VAL",       "VALUE",    "VERSION",  "WIDGET",  "WORKDIR", "WORKPLACE", "WP",
    "WPID",         "YEAR",    "LOG",       "LEVEL",    "",
};

// Numbers at and around every edge the module has, words it knows, and text
// that no file or key should take as it is.
const char* const kValues[] = {
    "0", "1", "2", "3", "7", "8", "9", "-1", "-2", "10", "15", "99", "100", "255", "256", "499", "500", "999",
    "1000", "1023", "1024", "4095", "4096", "32767", "32768", "65535", "65536", "2147483647", "2147483648",
    "-2147483648", "-2147483649", "4294967295", "4294967296", "9223372036854775807", "9223372036854775808",
    "-9223372036854775808", "99999999999999999999999", "1e9", "0x10", " 3", "3 ", "+5", "07", "3.5", "-0",
    "TRUE", "FALSE", "true", "ON", "OFF", "AUTO", "MANUAL", "STANDARD", "RED", "GREEN", "YELLOW", "CYAN",
    "WHITE", "HW", "OS", "DEBUG", "INFO", "WARN", "ERROR", "ALERT", "FATAL", "JOIN", "JOIN_SH", "MFD1", "MFD2",
    "MAINFRAME", "TCP", "SIMPLE", "THIRDSPLIT", "PLAY", "STOP", "PAUSE", "PRE", "POST", "REPLACE", "LOW", "HI",
    "192.168.1.1", "255.255.255.0", "0.0.0.0", "999.1.1.1", "1.2.3", "eth0", "", " ", "/", ".", "..",
    "../../x", "a/b", "macro001.mac", "attach.xml", "*", "%s%n%x", "\xff\xfe", "\xc3", "\xe2\x82", "\xed\xa0\x80",
    "\xf4\x90\x80\x80", "<x>", "&amp;", "\"", "'", "\t", "\r\n", "x\ny",
};

const char* const kWorkplaceFiles[] = {"config/Workplaces.xml", "", "config/Other.xml", "config", "nvram/PANEL",
                                       "config/missing/Workplaces.xml"};

const char* const kShellCommands[] = {"macroShow", "showPmem", "changePDL", "showEth", "help"};

const char* const kFidPrefixes[] = {"PANEL.", "MFD1.", "", "PANEL", "PANEL..", "MFD2.PRE."};

const char* const kBrackets[] = {"APPLICATION.LOAD.PREPARE", "APPLICATION.LOAD.FINISH", "APPLICATION.SAVE.PREPARE",
                                 "APPLICATION.SAVE.FINISH"};

template <class T, size_t N>
const T& pick(FuzzedDataProvider& in, const T (&table)[N])
{
    return table[in.ConsumeIntegralInRange<size_t>(0, N - 1)];
}

std::string value(FuzzedDataProvider& in)
{
    switch (in.ConsumeIntegralInRange<int>(0, 4)) {
    case 0:
    case 1:
        return pick(in, kValues);
    case 2:
        return in.ConsumeRandomLengthString(48);
    case 3: {
        // Very long: a value repeated, or one character many times.
        const std::string unit = pick(in, kValues);
        const size_t length = in.ConsumeIntegralInRange<size_t>(256, kLongValue);
        std::string text;
        if (unit.empty()) return std::string(length, 'A');
        while (text.size() < length) text += unit;
        return text;
    }
    default:
        return std::to_string(in.ConsumeIntegral<int64_t>());
    }
}

// One of a few widgets per workplace, so that operations meet on them; mostly
// of workplaces 0 and 1, since every workplace's first use builds its recorder.
UniqueWidgetID nearWidget(FuzzedDataProvider& in)
{
    const unsigned wp = in.ConsumeBool() ? in.ConsumeIntegralInRange<unsigned>(0, 1)
                                         : in.ConsumeIntegralInRange<unsigned>(0, 7);
    return UniqueWidgetID(wp, in.ConsumeIntegralInRange<unsigned>(0, 2), in.ConsumeIntegralInRange<unsigned>(0, 3),
                          in.ConsumeIntegralInRange<unsigned>(0, 4));
}

UniqueWidgetID widget(FuzzedDataProvider& in)
{
    if (in.ConsumeIntegralInRange<int>(0, 3) != 0) return nearWidget(in);
    return UniqueWidgetID(in.ConsumeIntegral<uint32_t>());
}

std::string workplaceText(FuzzedDataProvider& in)
{
    static const char* const kWorkplaces[] = {"0", "1", "2", "3", "4", "5", "6", "7", "8", "9", "-1"};
    return pick(in, kWorkplaces);
}

// A name of the module's registry, now and then bent: another workplace in a
// macro name, a tail added, a pattern's star filled in, or text of its own.
std::string fidName(FuzzedDataProvider& in)
{
    const std::vector<std::string>& names = panelhost::moduleFIDNames();
    std::string name = names[in.ConsumeIntegralInRange<size_t>(0, names.size() - 1)];
    switch (in.ConsumeIntegralInRange<int>(0, 7)) {
    case 0:
        if (name.compare(0, 5, "MACRO") == 0 && name.size() > 6) {
            const size_t dot = name.find('.');
            if (dot != std::string::npos) name = "MACRO" + workplaceText(in) + name.substr(dot);
        }
        break;
    case 1:
        name += "." + value(in);
        break;
    case 2:
        return in.ConsumeRandomLengthString(40);
    default:
        break;
    }
    const size_t star = name.find('*');
    if (star != std::string::npos) name.replace(star, 1, in.ConsumeBool() ? value(in) : std::string("X"));
    return name;
}

FIDParameterList parameters(FuzzedDataProvider& in)
{
    FIDParameterList list;
    const int count = in.ConsumeIntegralInRange<int>(0, 6);
    for (int i = 0; i < count; ++i) {
        std::string name = in.ConsumeIntegralInRange<int>(0, 9) == 0 ? in.ConsumeRandomLengthString(12)
                                                                       : std::string(pick(in, kParameterNames));
        std::string text = (name == "WP" || name == "WPID" || name == "WORKPLACE") && in.ConsumeBool()
                               ? workplaceText(in)
                               : value(in);
        list.add(name, text);
    }
    list.sourceWidget = widget(in);
    return list;
}

class Harness {
public:
    Harness() : m_dir("module-fuzz")
    {
        // The module's own printing goes nowhere; libFuzzer reports on standard error.
        const int null = ::open("/dev/null", O_WRONLY);
        if (null < 0 || ::dup2(null, STDOUT_FILENO) < 0) std::abort();
        ::close(null);

        panelhost::HostOptions options;
        options.modulePath = PANELMFD_MODULE_PATH;
        options.runDir = m_dir.path.string();
        options.captureLog = false;
        m_host = new panelhost::Host(options);
        // Every statement formats its line; nothing is written.
        oskit::logbackend::useNone();
        oskit::logbackend::setLevel(oskit::logbackend::Level::Debug);
        std::string error;
        if (!m_host->module().load(options.modulePath, error)) std::abort();
    }

    panelhost::Host& host() { return *m_host; }
    const std::filesystem::path& runDirectory() const { return m_dir.path; }

    // Starts the module in an empty run directory with the simulated system
    // at its defaults.
    void start()
    {
        std::error_code ec;
        for (const auto& entry : std::filesystem::directory_iterator(m_dir.path, ec))
            std::filesystem::remove_all(entry.path(), ec);
        std::string error;
        for (const char* knob : {"i2c.write", "i2c.read", "i2c.readback"}) m_host->setKnob(knob, "ok", error);
        m_host->setKnob("mfd.MFD1", "passive", error);
        if (!m_host->start({}, error)) std::abort();
    }

    // Stops the module and forgets what the host kept of the run, so that an
    // input leaves nothing allocated behind it (what is left is a leak).
    void stop()
    {
        m_host->stop();
        m_host->recorder().clear();
        m_host->state().clear();
        m_host->publisher().clear();
        m_host->widgets().clearLayers();
    }

private:
    fuzzsupport::ScratchDirectory m_dir;
    // Lives to the end of the process: the module's threads stop with it.
    panelhost::Host* m_host = nullptr;
};

// The harness itself is never destroyed (the module's threads end with the process), so its run
// directory is removed at exit on its own.
std::filesystem::path s_runDirectory;

void removeRunDirectory()
{
    std::error_code ec;
    std::filesystem::remove_all(s_runDirectory, ec);
}

Harness& harness()
{
    static Harness* instance = [] {
        auto* created = new Harness();
        s_runDirectory = created->runDirectory();
        std::atexit(removeRunDirectory);
        return created;
    }();
    return *instance;
}

void lifecycleCall(panelhost::Host& host, FuzzedDataProvider& in)
{
    panelhost::HostModule& module = host.module();
    switch (in.ConsumeIntegralInRange<int>(0, 8)) {
    case 0:
        if (module.configuration()) module.configuration()->initializationCompleted();
        break;
    case 1:
        if (module.panelMFD()) module.panelMFD()->interfaceInitializationDone();
        break;
    case 2:
        if (module.configuration())
            module.configuration()->setConfiguration(in.ConsumeIntegral<int>(), value(in), value(in), value(in),
                                                     value(in), value(in), value(in));
        break;
    case 3:
        if (module.configuration()) module.configuration()->deinitialize();
        break;
    case 4:
        if (module.configuration()) module.configuration()->createFIDList();
        break;
    case 5:
        if (module.panelMFD()) module.panelMFD()->setWorkplaceConfigFilename(pick(in, kWorkplaceFiles));
        break;
    case 6:
        if (module.functionID()) module.functionID()->subscribe(fidName(in));
        break;
    case 7:
        if (module.functionID()) module.functionID()->showState();
        break;
    default:
        if (oskit::Module* object = module.moduleObject()) object->queryInterface(in.ConsumeIntegral<unsigned>());
        break;
    }
}

void buttonCall(panelhost::Host& host, FuzzedDataProvider& in)
{
    IMacroSystem* macros = host.module().macroSystem();
    if (!macros) return;
    const UniqueWidgetID id = widget(in);
    switch (in.ConsumeIntegralInRange<int>(0, 7)) {
    case 0:
        macros->onButtonDown(id);
        break;
    case 1:
        macros->onButtonHold(id);
        break;
    case 2:
        macros->onButtonRelease(id);
        break;
    case 3:
        // The host's press chain, without the waits for the notifications.
        macros->onButtonDown(id);
        macros->execPreMacro(id);
        if (macros->hasReplaceMacro(id)) macros->execReplaceMacro(id);
        macros->completePreMacro(id);
        macros->execPostMacro(id);
        macros->onButtonRelease(id);
        break;
    case 4:
        macros->setMacroLevel(id, value(in));
        break;
    case 5:
        macros->getMacroLevel(id);
        macros->isInReplaceMode(id);
        break;
    case 6:
        macros->execReplaceMacro(id);
        break;
    default:
        macros->completePreMacro(id);
        break;
    }
}

void otherDriverState(panelhost::Host& host, FuzzedDataProvider& in)
{
    std::string key;
    switch (in.ConsumeIntegralInRange<int>(0, 4)) {
    case 0:
        key = "PANEL.SETTINGS" + workplaceText(in) + ".COLOR.MACRO";
        break;
    case 1:
        key = "MFD1.MACRO.REG" + value(in) + ".STATUS";
        break;
    case 2:
        key = "MFD1.MACRO.REG" + std::to_string(in.ConsumeIntegralInRange<int>(0, 20)) + ".NAME";
        break;
    case 3:
        key = "MFD1.MACRO.CURRENT.REG";
        break;
    default:
        key = "MFD1.COLOR.MACRO";
        break;
    }
    host.state().publish(key, value(in));
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    harness();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Harness& h = harness();
    h.start();
    panelhost::Host& host = h.host();
    FuzzedDataProvider in(data, size);
    int restarts = 0;
    for (int op = 0; op < kMaxOperations && in.remaining_bytes() > 0; ++op) {
        switch (in.ConsumeIntegralInRange<int>(0, 15)) {
        case 0:
        case 1:
        case 2:
        case 3:
        case 4: {
            const std::string name = fidName(in);
            host.sendFID(name, parameters(in));
            break;
        }
        case 5:
        case 6: {
            IMacroSystem* macros = host.module().macroSystem();
            const std::string name = std::string(pick(in, kFidPrefixes)) + fidName(in);
            const FIDParameterList list = parameters(in);
            if (macros) macros->recordFID(name, list);
            break;
        }
        case 7:
        case 8:
            buttonCall(host, in);
            break;
        case 9: {
            // An application load or save bracket around what follows.
            const bool load = in.ConsumeBool();
            host.sendFID(kBrackets[load ? 0 : 2], FIDParameterList());
            if (in.ConsumeBool()) host.sendFID(kBrackets[load ? 1 : 3], FIDParameterList());
            break;
        }
        case 10:
            lifecycleCall(host, in);
            break;
        case 11:
            otherDriverState(host, in);
            break;
        case 12: {
            std::string command = pick(in, kShellCommands);
            if (in.ConsumeBool()) command += " " + workplaceText(in);
            if (in.ConsumeBool()) command += " " + value(in);
            oskit::CmdProcessor::getInstance()->execute(command);
            break;
        }
        case 13:
            host.widgets().setOwnAttribute(nearWidget(in), "TYPE", value(in));
            break;
        case 14: {
            // Faults of the simulated system, and a mainframe driver that answers.
            std::string error;
            if (in.ConsumeBool()) host.setKnob("i2c.write", in.ConsumeBool() ? "fail" : "ok", error);
            if (in.ConsumeBool()) host.setKnob("i2c.readback", in.ConsumeBool() ? "corrupt" : "ok", error);
            if (in.ConsumeBool()) host.setKnob("mfd.MFD1", in.ConsumeBool() ? "active" : "passive", error);
            break;
        }
        default: {
            if (restarts >= kMaxRestarts || in.ConsumeIntegralInRange<int>(0, 3) != 0) break;
            ++restarts;
            std::string error;
            if (!host.restart(error)) std::abort();
            break;
        }
        }
    }
    h.stop();
    return 0;
}

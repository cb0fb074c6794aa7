// The module coming up with full data, from onCreateModule through
// interfaceInitializationDone (phases 2 to 8 of the reference host, narration
// off), against its floor in the same run.
//
// The data, made once per process in a temporary run directory and outside
// the timed region: 8 workplaces x 999 signed macro files of 16 commands, an
// attach.xml of 200 attachments per workplace, 8 x 100 panel memory registers,
// a PanelSettings.xml holding every setting for 8 workplaces (written by the
// module itself) and a signed workplace file of 8 workplaces with 4 drivers
// and 8 ports each.
//
// The floor: reading each of those files once, parsing each XML file once with
// the XML library, verifying each signature of a file the module verifies
// once (the SHA-256 of the bytes without the attribute), and publishing the
// same state keys, with the same values, into a fresh state table of the same
// host.
//
// Counters: ratio (start-up over floor), floor_us, keys (state keys the start
// published), publications (state calls it made), files, settings (entries of
// PanelSettings.xml), rss_mib (resident
// memory of the process with the module up on full data).
//
//   build/default/bin/bench_startup --benchmark_repetitions=5 --benchmark_report_aggregates_only=true

#include <benchmark/benchmark.h>

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <tinyxml.h>

#include "benchdata.h"
#include "benchfloor.h"
#include "benchratio.h"
#include "macrorecorder.h"
#include "panelhost.h"
#include "panelsys/XMLVerify.h"

namespace {

namespace fs = std::filesystem;

constexpr int kWorkplaces = 8;
constexpr int kAttachments = 200;
constexpr int kRegisters = 100;

struct StartupData {
    fs::path root;
    std::vector<std::string> files;       // every file the start reads
    std::vector<bool> isXml;              // parsed as XML
    std::vector<bool> isVerified;         // its signature is verified
    std::vector<std::pair<std::string, std::string>> keys; // what a start published (key without the prefix, value)
    long publications = 0;
    long settingsStored = 0;
    std::unique_ptr<panelhost::Host> host;

    StartupData();
    ~StartupData()
    {
        host.reset();
        std::error_code ec;
        fs::remove_all(root, ec);
    }
    void add(const fs::path& path, bool xml, bool verified)
    {
        files.push_back(path.string());
        isXml.push_back(xml);
        isVerified.push_back(verified);
    }
    void makeMacros();
    void makeAttachments();
    void makeRegisters();
    void makeWorkplaceFile();
    void makeSettings();
};

void saveSigned(TiXmlDocument& doc, const fs::path& path)
{
    if (!doc.SaveFile(path.c_str())) std::abort();
    if (!XMLVerify().insertSignature(oskit::Path(path.string()))) std::abort();
    if (!XMLVerify().verifySignature(oskit::Path(path.string()))) std::abort();
}

fs::path macroDir(const fs::path& root, int wp)
{
    return root / "nvram" / "PANEL" / "macro" / ("workplace" + std::to_string(wp));
}

// One macro file per workplace written by the module's own writer, then copied
// to every register (the signature covers the bytes, not the name).
void StartupData::makeMacros()
{
    MacroRecorder::initLog();
    for (int wp = 0; wp < kWorkplaces; ++wp) {
        fs::create_directories(macroDir(root, wp));
        MacroRecorder::Macro macro("Macro" + std::to_string(wp));
        for (int i = 0; i < 16; ++i) {
            FIDParameterList list;
            list.add("REG", std::to_string(i));
            list.add("WP", std::to_string(wp));
            list.sourceWidget = UniqueWidgetID(static_cast<unsigned>(wp), 1, 2, static_cast<unsigned>(i));
            macro.commands.emplace_back("PANEL.MEMORY.RECALL", list);
        }
        const fs::path first = macroDir(root, wp) / "macro001.mac";
        if (!macro.save(oskit::Path(first.string()))) std::abort();
        add(first, true, true);
        for (int reg = 2; reg <= MacroRecorder::kMacroMax; ++reg) {
            char name[32];
            std::snprintf(name, sizeof(name), "macro%03d.mac", reg);
            fs::copy_file(first, macroDir(root, wp) / name);
            add(macroDir(root, wp) / name, true, true);
        }
    }
}

void StartupData::makeAttachments()
{
    static const char* const kinds[] = {"pre", "replace", "post"};
    for (int wp = 0; wp < kWorkplaces; ++wp) {
        TiXmlDocument doc;
        doc.LinkEndChild(new TiXmlDeclaration("1.0", "UTF-8", ""));
        auto* top = new TiXmlElement("attachments");
        top->SetAttribute("version", "0.1");
        doc.LinkEndChild(top);
        for (int i = 0; i < kAttachments; ++i) {
            auto* widget = new TiXmlElement("widget");
            widget->SetAttribute("workplace", wp);
            widget->SetAttribute("group", 1 + i / 64);
            widget->SetAttribute("module", (i / 16) % 4);
            widget->SetAttribute("widget", i % 16);
            auto* attached = new TiXmlElement(kinds[i % 3]);
            attached->SetAttribute("level", "");
            attached->SetAttribute("macro", 1 + i);
            widget->LinkEndChild(attached);
            top->LinkEndChild(widget);
        }
        const fs::path path = macroDir(root, wp) / "attach.xml";
        saveSigned(doc, path);
        add(path, true, true);
    }
}

void StartupData::makeRegisters()
{
    auto write = [&](const fs::path& path, int reg) {
        benchdata::writeRegisterFile(path, reg);
        add(path, false, false);
    };
    const fs::path pmem = root / "nvram" / "PANEL" / "pmem";
    write(pmem / "default.pmem", 0);
    for (int wp = 0; wp < kWorkplaces; ++wp)
        for (int reg = 1; reg < kRegisters; ++reg)
            write(pmem / ("workplace" + std::to_string(wp)) / (std::to_string(reg) + ".pmem"), reg);
}

void StartupData::makeWorkplaceFile()
{
    TiXmlDocument doc;
    doc.LinkEndChild(new TiXmlDeclaration("1.0", "UTF-8", ""));
    auto* top = new TiXmlElement("workplaces");
    top->SetAttribute("description", "Workplace configuration");
    top->SetAttribute("version", "0.1");
    doc.LinkEndChild(top);
    for (int wp = 0; wp < kWorkplaces; ++wp) {
        auto* workplace = new TiXmlElement("workplace");
        workplace->SetAttribute("id", wp);
        std::string ports;
        for (int p = 0; p < 8; ++p) ports += (p ? " " : "") + std::to_string(wp * 8 + p + 1);
        auto* portList = new TiXmlElement("ports");
        portList->LinkEndChild(new TiXmlText(ports));
        workplace->LinkEndChild(portList);
        for (int d = 0; d < 4; ++d) {
            auto* driver = new TiXmlElement("mainframeDriver");
            driver->SetAttribute("driverID", "MFD" + std::to_string(wp) + std::to_string(d));
            driver->SetAttribute("driverType", "MAINFRAME");
            driver->SetAttribute("version", "1.0");
            driver->SetAttribute("workingDirectory", "/tmp");
            driver->SetAttribute("ipAddress", "127.0.0." + std::to_string(wp * 4 + d + 1));
            driver->SetAttribute("networkAdapter", "eth0");
            driver->SetAttribute("interfaceType", "ETHERNET");
            workplace->LinkEndChild(driver);
        }
        top->LinkEndChild(workplace);
    }
    fs::create_directories(root / "config");
    const fs::path path = root / "config" / "Workplaces.xml";
    saveSigned(doc, path);
    add(path, true, false);
}

// Every setting of every workplace, sent to the module, which keeps it in
// PanelSettings.xml and writes the file when it goes.
void StartupData::makeSettings()
{
    std::string error;
    if (!host->start({}, error)) {
        std::fprintf(stderr, "bench_startup: %s\n", error.c_str());
        std::abort();
    }
    struct Setting {
        const char* fid;
        const char* param;
        const char* value;
    };
    static const Setting settings[] = {
        {"SETTINGS.POWERSAVER.BYPASS.SET", "ENABLE", "TRUE"},
        {"SETTINGS.POWERSAVER.TIME.SET", "TIME", "600"},
        {"SETTINGS.POWERSAVER.TYPE.SET", "TYPE", "90"},
        {"SETTINGS.BRIGHTNESS.DISPLAY.TFT.SET", "VALUE", "800"},
        {"SETTINGS.BRIGHTNESS.DISPLAY.OLED.SET", "VALUE", "700"},
        {"SETTINGS.BRIGHTNESS.DISPLAY.TEXT.SET", "VALUE", "600"},
        {"SETTINGS.BRIGHTNESS.BUTTON.LOW.SET", "VALUE", "300"},
        {"SETTINGS.BRIGHTNESS.BUTTON.HI.SET", "VALUE", "900"},
        {"SETTINGS.JOYSTICK.SENSITIVITY.SET", "VALUE", "5"},
        {"SETTINGS.OLED.FONTRESIZE.SET", "VALUE", "OFF"},
        {"SETTINGS.OLED.MODE.SET", "VALUE", "JOIN_SH"},
        {"SETTINGS.OLED.OUTLINE.ENABLE", "ENABLE", "TRUE"},
        {"SETTINGS.SHIFT.LATCHMODE.SET", "MODE", "AUTO"},
        {"SETTINGS.SHIFT.HIDDEN_SOURCE_BLINKING.SET", "MODE", "ON"},
        {"SETTINGS.COLOR.MACRO.SET", "VAL", "GREEN"},
        {"SETTINGS.COLOR.PMEM.SET", "VAL", "WHITE"},
        {"SETTINGS.TESTS.LEVERARM.STEPSIZE.SET", "VAL", "10"},
        {"SETTINGS.TESTS.LEVERARM.STEPCOUNT.SET", "VAL", "20"},
    };
    // Display brightness and power saver count workplaces from 1, the rest from 0.
    for (int i = 0; i < kWorkplaces; ++i) {
        for (const Setting& setting : settings) {
            const std::string fid = setting.fid;
            const bool fromOne = fid.find("BRIGHTNESS.DISPLAY") != std::string::npos || fid.find("POWERSAVER") != std::string::npos;
            FIDParameterList params;
            params.add("WP", std::to_string(fromOne ? i + 1 : i));
            params.add(setting.param, setting.value);
            host->sendFID(setting.fid, params);
        }
    }
    host->stop();
    const fs::path path = root / "nvram" / "PANEL" / "PanelSettings.xml";
    const std::string bytes = benchfloor::readWhole(path.string());
    for (size_t at = bytes.find("<fid "); at != std::string::npos; at = bytes.find("<fid ", at + 1)) ++settingsStored;
    if (settingsStored != static_cast<long>(kWorkplaces * (sizeof(settings) / sizeof(settings[0])))) {
        std::fprintf(stderr, "bench_startup: the module kept %ld settings\n", settingsStored);
        std::abort();
    }
    add(path, true, false);
}

StartupData::StartupData()
{
    std::string templ = (fs::temp_directory_path() / "bench-startup-XXXXXX").string();
    if (!::mkdtemp(templ.data())) std::abort();
    root = templ;
    panelhost::HostOptions options;
    options.modulePath = PANELMFD_MODULE_PATH;
    options.runDir = root.string();
    options.narrate = false;
    options.captureLog = false;
    host = std::make_unique<panelhost::Host>(options);

    makeMacros();
    makeAttachments();
    makeRegisters();
    makeWorkplaceFile();
    makeSettings();
}

StartupData& data()
{
    static StartupData s_data;
    return s_data;
}

// A fresh state table for the next start; the library stays loaded.
void freshHost(panelhost::Host& host)
{
    host.stop();
    host.state().clear();
    host.publisher().clear();
    host.widgets().clearLayers();
    host.recorder().clear();
}

long publicationCalls(panelhost::Host& host)
{
    long calls = 0;
    for (const auto& entry : host.recorder().entries(panelhost::Stream::Calls))
        if (!entry.fields.empty() && entry.fields[0].rfind("IPanelState.set", 0) == 0) ++calls;
    return calls;
}

// Reads, parses and verifies each file once, then publishes the start's keys
// into a fresh state table of the same host.
void floorOnce(StartupData& d, panelhost::StateTable& table)
{
    long good = 0;
    for (size_t i = 0; i < d.files.size(); ++i) {
        const std::string bytes = benchfloor::readWhole(d.files[i]);
        if (d.isXml[i]) {
            TiXmlDocument doc;
            doc.Parse(bytes.c_str());
            if (!doc.Error()) ++good;
        }
        if (d.isVerified[i] && benchfloor::signatureHolds(bytes)) ++good;
    }
    benchmark::DoNotOptimize(good);
    IPanelState* state = benchratio::opaque<IPanelState>(&table);
    for (const auto& [key, value] : d.keys) state->setStateValue(key, value);
}

void BM_Startup(benchmark::State& state)
{
    StartupData& d = data();
    panelhost::Host& host = *d.host;
    std::string error;
    double startSeconds = 0;
    double floorSeconds = 0;
    double rss = 0;
    size_t keys = 0;
    for (auto _ : state) {
        freshHost(host);
        const auto start = benchratio::Clock::now();
        if (!host.start({}, error)) {
            state.SkipWithError(error.c_str());
            return;
        }
        const double seconds = benchratio::secondsSince(start);
        state.SetIterationTime(seconds);
        startSeconds += seconds;
        rss = benchratio::residentMiB();
        const auto snapshot = host.state().snapshot();
        keys = snapshot.size();
        if (d.keys.empty()) {
            // Published without the prefix, as the module does.
            const size_t prefix = std::string("PANEL.").size();
            for (const auto& [key, value] : snapshot) d.keys.emplace_back(key.substr(prefix), value.text);
            d.publications = publicationCalls(host);
        }

        // The floor, right after, into a fresh table of the same host.
        panelhost::Recorder recorder;
        panelhost::StateTable table(recorder);
        panelhost::Publisher publisher(recorder, table);
        table.setPrefix("PANEL");
        table.setPublisher(&publisher);
        floorSeconds += benchratio::timeFloor(1, [&] { floorOnce(d, table); });
    }
    freshHost(host);
    benchratio::report(state, startSeconds, floorSeconds);
    state.counters["keys"] = static_cast<double>(keys);
    state.counters["publications"] = static_cast<double>(d.publications);
    state.counters["files"] = static_cast<double>(d.files.size());
    state.counters["settings"] = static_cast<double>(d.settingsStored);
    state.counters["rss_mib"] = rss;
}
BENCHMARK(BM_Startup)->Name("Startup/full-data")->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);

} // namespace

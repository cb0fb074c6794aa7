// The macro player and the macro files, each case against its floor, timed
// right after it in the same run (counters ratio and floor_us):
//
// - PlaybackDelay/FIELDS=1: each 18 ms delay of a playing macro, from sending
//   the delay command to sending the next one (overshoot_us: what it took
//   beyond 18 ms). Floor: bare semaphore waits of the same length on the same
//   clock, as many as the macro has delays.
// - PlaybackThroughput/1000: a macro of 1000 zero-delay commands played into a
//   no-op receiver. Floor: what the player must do at the least: copy the
//   macro, start a thread, and hand each command to the receiver through its
//   interface.
// - RecorderConstruction/999x16: a recorder made (and destroyed) over a
//   directory of 999 macro files of 16 commands each. Floor: reading each file
//   once, parsing it once with the XML library, verifying its signature once
//   and publishing the recorder's 1998 register keys once. read_ratio is the
//   time over reading the files' bytes alone.
//
//   build/default/bin/bench_macro --benchmark_repetitions=5 --benchmark_report_aggregates_only=true

#include <benchmark/benchmark.h>

#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <list>
#include <mutex>
#include <thread>
#include <string>
#include <vector>

#include <tinyxml.h>

#include "benchfloor.h"
#include "benchratio.h"
#include "fidmaphandler.h"
#include "macrorecorder.h"
#include "mfdconfighandler.h"
#include "oskit/CmdProcessor.h"
#include "oskit/LogBackend.h"
#include "oskit/LogManager.h"
#include "oskit/Semaphore.h"

namespace {

using Clock = std::chrono::steady_clock;
const std::string kDelay = "PANEL.MACRO0.RECORDING.INSERT_DELAY";
constexpr int kDelayMs = 18; // FIELDS=1
constexpr int kDelaysPerMacro = 20;
constexpr int kThroughputCommands = 1000;

// Keeps the moment of each FID it gets.
class TimingReceiver : public IFunctionID {
public:
    IInterface* queryInterface(unsigned int) override { return nullptr; }
    void sendFID(const FunctionID&, const FIDParameterList&) const override
    {
        if (m_times.size() < m_times.capacity()) m_times.push_back(Clock::now());
    }
    void subscribe(const FunctionID&) const override {}
    void showState() const override {}
    void reset(size_t expected) const
    {
        m_times.clear();
        m_times.reserve(expected);
    }
    mutable std::vector<Clock::time_point> m_times;
};

// Does nothing with the FIDs it gets.
class NullReceiver : public IFunctionID {
public:
    IInterface* queryInterface(unsigned int) override { return nullptr; }
    void sendFID(const FunctionID& name, const FIDParameterList& params) const override
    {
        benchmark::DoNotOptimize(name.data());
        benchmark::DoNotOptimize(&params);
    }
    void subscribe(const FunctionID&) const override {}
    void showState() const override {}
};

// Signals the end of each macro.
class EndSignal : public IPanelEvent {
public:
    IInterface* queryInterface(unsigned int) override { return nullptr; }
    void notifyEvent(const UniqueWidgetID&, const std::string&) override
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        ++m_count;
        m_cond.notify_all();
    }
    void waitFor(int count)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_cond.wait(lock, [&] { return m_count >= count; });
    }
    int count()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_count;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_cond;
    int m_count = 0;
};

// A state table that takes every call and keeps a count.
class CountingPanelState : public IPanelState {
public:
    IInterface* queryInterface(unsigned int) override { return nullptr; }
    void setStateValue(const std::string& key, const std::string& value) override { count(key, value); }
    void setStateValueFloat(const std::string& key, float) override { count(key, key); }
    void setStateValueInt(const std::string& key, int) override { count(key, key); }
    void setStateValueBool(const std::string& key, bool) override { count(key, key); }
    void unsetStateValue(const std::string& key) override { count(key, key); }
    void triggerEvent(const std::string& key, const std::string& value) override { count(key, value); }
    long calls = 0;

private:
    void count(const std::string& key, const std::string& value)
    {
        benchmark::DoNotOptimize(key.data());
        benchmark::DoNotOptimize(value.data());
        ++calls;
    }
};

// A run directory as the working directory, and the module objects a recorder needs.
struct Ground {
    std::filesystem::path dir;
    MFDConfigHandler config;
    FIDMapHandler map;
    CountingPanelState state;

    Ground()
    {
        oskit::CmdProcessor::createInstance();
        oskit::LogManager::createInstance();
        oskit::logbackend::useNone();
        oskit::logbackend::setLevel(oskit::logbackend::Level::Off);
        std::string templ = (std::filesystem::temp_directory_path() / "bench-macro-XXXXXX").string();
        if (!::mkdtemp(templ.data())) std::abort();
        dir = templ;
        std::filesystem::current_path(dir);
        config.m_statePrefix = "PANEL";
        config.m_dataDirectory = (dir / "nvram" / "PANEL").string();
        map.setPanelStateInterface(&state);
        MacroRecorder::initLog();
    }
    ~Ground()
    {
        std::error_code ec;
        std::filesystem::remove_all(dir, ec);
    }
    std::filesystem::path macroDir(unsigned workplace) const
    {
        return dir / "nvram" / "PANEL" / "macro" / ("workplace" + std::to_string(workplace));
    }
};

Ground& ground()
{
    static Ground g;
    return g;
}

FIDParameterList fields(const char* value)
{
    FIDParameterList list;
    list.add("FIELDS", value);
    return list;
}

void record(MacroRecorder& recorder, FIDMapHandler& map, unsigned workplace, int reg,
            const std::vector<std::pair<std::string, FIDParameterList>>& commands)
{
    const std::string p = "MACRO" + std::to_string(workplace);
    FIDParameterList start;
    start.add("REG", std::to_string(reg));
    map.sendFID(p + ".RECORDING.START", start);
    for (const auto& c : commands) recorder.recordFID(c.first, c.second);
    map.sendFID(p + ".RECORDING.STOP", FIDParameterList());
}

// kDelaysPerMacro bare waits of kDelayMs on a semaphore; their summed overshoot in microseconds.
double bareWaits()
{
    oskit::BinarySemaphore semaphore;
    semaphore.take(0);
    double overshoot = 0;
    for (int i = 0; i < kDelaysPerMacro; ++i) {
        const auto start = Clock::now();
        semaphore.take(kDelayMs);
        overshoot += std::chrono::duration<double, std::micro>(Clock::now() - start).count() - kDelayMs * 1000.0;
    }
    return overshoot;
}

void BM_PlaybackDelay(benchmark::State& state)
{
    Ground& g = ground();
    TimingReceiver receiver;
    EndSignal end;
    MacroRecorder recorder(0, &g.map, &g.config);
    recorder.setFIDReceiverInterface(&receiver);
    recorder.setPanelEventInterface(&end);
    std::vector<std::pair<std::string, FIDParameterList>> commands;
    for (int i = 0; i < kDelaysPerMacro; ++i) commands.push_back({kDelay, fields("1")});
    commands.push_back({"PANEL.END", FIDParameterList()});
    record(recorder, g.map, 0, 1, commands);

    double overshootUs = 0;
    double caseSeconds = 0;
    long delays = 0;
    for (auto _ : state) {
        receiver.reset(commands.size());
        const int before = end.count();
        recorder.startMacroPlayer(1, MacroRecorder::Widget::REPLACE, UniqueWidgetID(), "REPLACEMACROFINISHED");
        end.waitFor(before + 1);
        double iteration = 0;
        for (size_t i = 1; i < receiver.m_times.size(); ++i) {
            const double us =
                std::chrono::duration<double, std::micro>(receiver.m_times[i] - receiver.m_times[i - 1]).count();
            iteration += us - kDelayMs * 1000.0;
            ++delays;
        }
        overshootUs += iteration;
        state.SetIterationTime(iteration / 1e6 / kDelaysPerMacro + kDelayMs / 1000.0);
        caseSeconds += iteration / 1e6 + kDelaysPerMacro * (kDelayMs / 1000.0);
    }
    state.counters["overshoot_us"] = delays ? overshootUs / static_cast<double>(delays) : 0.0;
    double bareUs = 0;
    const double floorSeconds = benchratio::timeFloor(state.iterations(), [&] { bareUs += bareWaits(); });
    state.counters["bare_overshoot_us"] = bareUs / static_cast<double>(state.iterations() * kDelaysPerMacro);
    benchratio::report(state, caseSeconds, floorSeconds);
}
BENCHMARK(BM_PlaybackDelay)->Name("PlaybackDelay/FIELDS=1")->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(10);

std::vector<std::pair<std::string, FIDParameterList>> throughputCommands()
{
    std::vector<std::pair<std::string, FIDParameterList>> commands;
    for (int i = 0; i < kThroughputCommands; ++i) {
        FIDParameterList list;
        list.add("REG", std::to_string(i));
        list.add("WP", "0");
        commands.push_back({"PANEL.MEMORY.RECALL", list});
    }
    return commands;
}

void BM_PlaybackThroughput(benchmark::State& state)
{
    Ground& g = ground();
    NullReceiver receiver;
    EndSignal end;
    MacroRecorder recorder(1, &g.map, &g.config);
    recorder.setFIDReceiverInterface(&receiver);
    recorder.setPanelEventInterface(&end);
    record(recorder, g.map, 1, 2, throughputCommands());
    const auto start = Clock::now();
    for (auto _ : state) {
        const int before = end.count();
        recorder.startMacroPlayer(2, MacroRecorder::Widget::REPLACE, UniqueWidgetID(1, 0, 0, 0),
                                  "REPLACEMACROFINISHED");
        end.waitFor(before + 1);
    }
    const double caseSeconds = benchratio::secondsSince(start);
    state.SetItemsProcessed(state.iterations() * kThroughputCommands);

    // The floor: the copy, the thread and the calls through the interface.
    const std::unique_ptr<MacroRecorder::Macro> stored = recorder.copyMacro(2);
    IFunctionID* target = benchratio::opaque<IFunctionID>(&receiver);
    const double floorSeconds = benchratio::timeFloor(state.iterations(), [&] {
        std::thread player([&] {
            const MacroRecorder::Macro copy(*benchratio::opaque(stored.get()));
            for (const auto& command : copy.commands) target->sendFID(command.fid, command.params);
        });
        player.join();
    });
    benchratio::report(state, caseSeconds, floorSeconds);
}
BENCHMARK(BM_PlaybackThroughput)->Name("PlaybackThroughput/1000")->Unit(benchmark::kMicrosecond)->UseRealTime();

// 999 files of 16 commands in workplace 2, written once.
void prepareMacroFiles()
{
    static bool done = false;
    if (done) return;
    done = true;
    Ground& g = ground();
    std::filesystem::create_directories(g.macroDir(2));
    MacroRecorder::Macro macro("Bench");
    for (int i = 0; i < 16; ++i) {
        FIDParameterList list;
        list.add("REG", std::to_string(i));
        list.add("NAME", "value" + std::to_string(i));
        list.sourceWidget = UniqueWidgetID(2, 1, 2, static_cast<unsigned>(i));
        macro.commands.emplace_back("PANEL.MEMORY.RECALL", list);
    }
    for (int reg = MacroRecorder::kMacroMin; reg <= MacroRecorder::kMacroMax; ++reg) {
        char name[32];
        std::snprintf(name, sizeof(name), "macro%03d.mac", reg);
        macro.save(oskit::Path((g.macroDir(2) / name).string()));
    }
}

// The register keys a recorder publishes at its start, with their values.
std::vector<std::pair<std::string, std::string>> registerKeys()
{
    std::vector<std::pair<std::string, std::string>> keys;
    for (int reg = MacroRecorder::kMacroMin; reg <= MacroRecorder::kMacroMax; ++reg)
        keys.emplace_back("MACRO2.REG" + std::to_string(reg) + ".NAME", "Bench");
    for (int reg = MacroRecorder::kMacroMin; reg <= MacroRecorder::kMacroMax; ++reg)
        keys.emplace_back("MACRO2.REG" + std::to_string(reg) + ".EMPTY", "FALSE");
    return keys;
}

std::vector<std::string> macroPaths()
{
    std::vector<std::string> paths;
    for (const auto& entry : std::filesystem::directory_iterator(ground().macroDir(2)))
        if (entry.path().extension() == ".mac") paths.push_back(entry.path());
    return paths;
}

void BM_RecorderConstruction(benchmark::State& state)
{
    prepareMacroFiles();
    Ground& g = ground();
    const long before = g.state.calls;
    const auto start = Clock::now();
    for (auto _ : state) {
        MacroRecorder recorder(2, &g.map, &g.config);
        benchmark::DoNotOptimize(recorder.hasMacro(999));
    }
    const double caseSeconds = benchratio::secondsSince(start);
    const long publications = (g.state.calls - before) / static_cast<long>(state.iterations());
    state.SetItemsProcessed(state.iterations() * MacroRecorder::kMacroMax);

    // The floor: each file read, parsed and verified once, each register key published once.
    const std::vector<std::string> paths = macroPaths();
    const auto keys = registerKeys();
    IPanelState* table = benchratio::opaque<IPanelState>(&g.state);
    const double floorSeconds = benchratio::timeFloor(state.iterations(), [&] {
        long good = 0;
        for (const auto& path : paths) {
            const std::string bytes = benchfloor::readWhole(path);
            TiXmlDocument doc;
            doc.Parse(bytes.c_str());
            if (!doc.Error() && benchfloor::signatureHolds(bytes)) ++good;
        }
        for (const auto& [key, value] : keys) table->setStateValue(key, value);
        benchmark::DoNotOptimize(good);
    });
    const double readSeconds = benchratio::timeFloor(state.iterations(), [&] {
        size_t bytes = 0;
        for (const auto& path : paths) bytes += benchfloor::readWhole(path).size();
        benchmark::DoNotOptimize(bytes);
    });
    benchratio::report(state, caseSeconds, floorSeconds);
    state.counters["read_ratio"] = readSeconds > 0 ? caseSeconds / readSeconds : 0.0;
    state.counters["publications"] = static_cast<double>(publications);
    state.counters["files"] = static_cast<double>(paths.size());
}
BENCHMARK(BM_RecorderConstruction)->Name("RecorderConstruction/999x16")->Unit(benchmark::kMillisecond);

} // namespace

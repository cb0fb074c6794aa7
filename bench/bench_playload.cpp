// Macro timing under load: the module loaded and walked through its phases by
// the reference host's library, eight workplaces each playing a macro of
// delays (TSECS 1, FIELDS 1, FIELDS 3, then a marker) in a loop, while another
// thread sends 10,000 FIDs a second into the module and the brightness
// observer runs.
//
// Each delay's overshoot is the time from sending the delay command to sending
// the next command, less the delay. Its floor, in the same run and under the
// same load: eight threads doing bare waits of the same lengths on the same
// clock (oskit::BinarySemaphore, as the player waits).
//
// Counters: p50_overshoot_us, p99_overshoot_us (the player), bare_p50_us,
// bare_p99_us (the bare waits), ratio (p99 overshoot over the bare wait's p99
// overshoot), delays (samples of the player), fids_per_s (the load achieved).
//
//   build/default/bin/bench_playload --benchmark_repetitions=3 --benchmark_report_aggregates_only=true

#include <benchmark/benchmark.h>

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "benchratio.h"
#include "hostifaces.h"
#include "hostmodule.h"
#include "knobs.h"
#include "macrorecorder.h"
#include "narrator.h"
#include "oskit/CmdProcessor.h"
#include "oskit/LogManager.h"
#include "oskit/Semaphore.h"
#include "panelsys/SystemSettings.h"
#include "publisher.h"
#include "recorder.h"
#include "simsystem.h"
#include "statetable.h"
#include "widgetcontrol.h"

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr int kWorkplaces = 8;
constexpr unsigned kDelaysMs[] = {100, 1000 / 55, 3000 / 55}; // TSECS 1, FIELDS 1, FIELDS 3
constexpr int kDelayCount = 3;
constexpr int kFidsPerSecond = 10000;
constexpr auto kRunTime = std::chrono::seconds(6);
const char* const kMarker = "BENCH.MARK";

double percentile(std::vector<double> values, double fraction)
{
    if (values.empty()) return 0.0;
    std::sort(values.begin(), values.end());
    const size_t index = std::min(values.size() - 1, static_cast<size_t>(fraction * static_cast<double>(values.size())));
    return values[index];
}

// The module's FID receiver: keeps the moment of each command a player sends
// and the overshoot of each delay once the marker ends a play.
class TimingReceiver : public IFunctionID {
public:
    IInterface* queryInterface(unsigned int) override { return nullptr; }
    void subscribe(const FunctionID&) const override {}
    void showState() const override {}

    void sendFID(const FunctionID& name, const FIDParameterList& params) const override
    {
        const auto now = Clock::now();
        const unsigned wp = params.sourceWidget.getWorkplaceID();
        if (wp >= kWorkplaces) return;
        std::lock_guard<std::mutex> lock(m_mutex);
        Play& play = m_plays[wp];
        play.times.push_back(now);
        if (name != kMarker) return;
        if (m_measuring && play.times.size() == kDelayCount + 1) {
            for (int i = 0; i < kDelayCount; ++i) {
                const double us = std::chrono::duration<double, std::micro>(play.times[static_cast<size_t>(i) + 1] -
                                                                             play.times[static_cast<size_t>(i)])
                                      .count();
                m_overshoots.push_back(us - kDelaysMs[i] * 1000.0);
            }
        }
        play.times.clear();
        ++play.ended;
        m_cond.notify_all();
    }

    // Waits until workplace wp has ended more than `ended` plays; false on time-out.
    bool waitEnded(unsigned wp, long ended, std::chrono::milliseconds timeout)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_cond.wait_for(lock, timeout, [&] { return m_plays[wp].ended > ended; });
    }
    long ended(unsigned wp)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_plays[wp].ended;
    }
    void measure(bool on)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_measuring = on;
        if (on) m_overshoots.clear();
    }
    std::vector<double> overshoots()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_overshoots;
    }

private:
    struct Play {
        std::vector<Clock::time_point> times;
        long ended = 0;
    };
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_cond;
    mutable Play m_plays[kWorkplaces];
    mutable std::vector<double> m_overshoots;
    bool m_measuring = false;
};

// The reference host's parts, with the timing receiver as the FID receiver.
struct LoadHost {
    fs::path dir;
    panelhost::Narrator narrator{-1};
    panelhost::Recorder recorder{&narrator};
    panelhost::Knobs knobs;
    panelhost::StateTable state{recorder};
    panelhost::Publisher publisher{recorder, state};
    panelhost::SimSystem system{recorder, knobs};
    panelhost::DistributorFID distributor{recorder};
    panelhost::SystemInterface systemInterface;
    panelhost::EventManager eventManager{recorder};
    panelhost::HwModuleManager hwModuleManager{recorder, knobs};
    panelhost::PanelFeedback panelFeedback{recorder};
    panelhost::BrightnessManager brightnessManager;
    panelhost::ColorManager colorManager{recorder};
    panelhost::WidgetManager widgetManager{recorder};
    panelhost::WidgetControl widgetControl{recorder};
    panelhost::PanelEvent panelEvent{recorder};
    TimingReceiver receiver;
    panelhost::HostModule module{narrator, recorder};

    LoadHost()
    {
        oskit::CmdProcessor::createInstance();
        oskit::LogManager::createInstance();
        state.setPublisher(&publisher);
        panelhost::SimSystem* sim = &system;
        setSystemBackendFactory([sim]() { return std::shared_ptr<ISystemBackend>(std::shared_ptr<void>(), sim); });

        std::string templ = (fs::temp_directory_path() / "bench-playload-XXXXXX").string();
        if (!::mkdtemp(templ.data())) std::abort();
        dir = templ;
        fs::create_directories(dir / "nvram" / "PANEL");
        fs::create_directories(dir / "config");
        fs::create_directories(dir / "data" / "PANEL");
        if (::chdir(dir.c_str()) != 0) std::abort();
        writeMacros();

        std::string error;
        if (!module.load(PANELMFD_MODULE_PATH, error)) fail(error);
        panelhost::HostInterfaces host;
        host.panelState = &state;
        host.distributor = &distributor;
        host.system = &systemInterface;
        host.eventManager = &eventManager;
        host.hwModuleManager = &hwModuleManager;
        host.panelFeedback = &panelFeedback;
        host.brightnessManager = &brightnessManager;
        host.colorManager = &colorManager;
        host.widgetManager = &widgetManager;
        host.widgetControl = &widgetControl;
        host.fidReceiver = &receiver;
        host.panelEvent = &panelEvent;
        host.publisher = &publisher;
        panelhost::ModuleConfiguration config;
        config.dataDirectory = (dir / "nvram" / "PANEL").string();
        config.configDirectory = (dir / "config").string();
        config.workplaceFile = "";
        if (!module.start(host, config, error)) fail(error);
    }
    ~LoadHost()
    {
        module.stop();
        setSystemBackendFactory(nullptr);
        std::error_code ec;
        fs::remove_all(dir, ec);
    }
    [[noreturn]] static void fail(const std::string& error)
    {
        std::fprintf(stderr, "bench_playload: %s\n", error.c_str());
        std::abort();
    }

    // Register 1 of each workplace: the three delays, then the marker.
    void writeMacros()
    {
        MacroRecorder::initLog();
        for (unsigned wp = 0; wp < kWorkplaces; ++wp) {
            const fs::path folder = dir / "nvram" / "PANEL" / "macro" / ("workplace" + std::to_string(wp));
            fs::create_directories(folder);
            MacroRecorder::Macro macro("Delays");
            const std::string delay = "PANEL.MACRO" + std::to_string(wp) + ".RECORDING.INSERT_DELAY";
            const std::pair<const char*, const char*> delays[] = {{"TSECS", "1"}, {"FIELDS", "1"}, {"FIELDS", "3"}};
            for (const auto& [name, value] : delays) {
                FIDParameterList list;
                list.add(name, value);
                list.sourceWidget = UniqueWidgetID(wp, 0, 0, 0);
                macro.commands.emplace_back(delay, list);
            }
            FIDParameterList mark;
            mark.sourceWidget = UniqueWidgetID(wp, 0, 0, 0);
            macro.commands.emplace_back(kMarker, mark);
            if (!macro.save(oskit::Path((folder / "macro001.mac").string()))) fail("cannot write a macro");
        }
    }

    IFunctionID* fidEntry() const { return module.functionID(); }
};

// Sends kFidsPerSecond FIDs into the module, in bursts every millisecond, until stopped.
long sendLoad(IFunctionID* entry, const std::atomic<bool>& stop)
{
    constexpr int kPerMillisecond = kFidsPerSecond / 1000;
    FIDParameterList params;
    params.add("NAME", "SPEED");
    params.add("VALUE", "0");
    params.sourceWidget = UniqueWidgetID(1, 4, 12, 300);
    long sent = 0;
    auto next = Clock::now();
    while (!stop.load()) {
        for (int i = 0; i < kPerMillisecond; ++i) {
            entry->sendFID("SETVAR", params);
            ++sent;
        }
        next += std::chrono::milliseconds(1);
        std::this_thread::sleep_until(next);
    }
    return sent;
}

// One workplace's player, restarted as soon as it ends, until stopped.
void playLoop(IFunctionID* entry, TimingReceiver& receiver, unsigned wp, const std::atomic<bool>& stop)
{
    FIDParameterList recall;
    recall.add("REG", "1");
    recall.sourceWidget = UniqueWidgetID(wp, 0, 0, 0);
    const std::string name = "MACRO" + std::to_string(wp) + ".RECALL";
    while (!stop.load()) {
        const long ended = receiver.ended(wp);
        entry->sendFID(name, recall);
        receiver.waitEnded(wp, ended, std::chrono::milliseconds(2000));
    }
}

// Bare waits of the same lengths on the same clock, until stopped.
void bareLoop(std::vector<double>& overshoots, const std::atomic<bool>& stop)
{
    oskit::BinarySemaphore semaphore;
    semaphore.take(0);
    while (!stop.load()) {
        for (unsigned ms : kDelaysMs) {
            const auto start = Clock::now();
            semaphore.take(ms);
            overshoots.push_back(std::chrono::duration<double, std::micro>(Clock::now() - start).count() - ms * 1000.0);
        }
    }
}

void BM_PlayUnderLoad(benchmark::State& state)
{
    LoadHost host;
    IFunctionID* entry = host.fidEntry();
    std::vector<double> player;
    std::vector<double> bare;
    long fids = 0;
    double seconds = 0;
    for (auto _ : state) {
        std::atomic<bool> stop{false};
        std::vector<std::vector<double>> bareSamples(kWorkplaces);
        host.receiver.measure(true);
        const auto start = Clock::now();
        long sent = 0;
        std::thread load([&] { sent = sendLoad(entry, stop); });
        std::vector<std::thread> threads;
        for (unsigned wp = 0; wp < kWorkplaces; ++wp) {
            threads.emplace_back(playLoop, entry, std::ref(host.receiver), wp, std::cref(stop));
            threads.emplace_back(bareLoop, std::ref(bareSamples[wp]), std::cref(stop));
        }
        std::this_thread::sleep_for(kRunTime);
        stop = true;
        for (auto& thread : threads) thread.join();
        load.join();
        const double elapsed = benchratio::secondsSince(start);
        host.receiver.measure(false);
        state.SetIterationTime(elapsed);
        seconds += elapsed;
        fids += sent;
        const auto samples = host.receiver.overshoots();
        player.insert(player.end(), samples.begin(), samples.end());
        for (const auto& s : bareSamples) bare.insert(bare.end(), s.begin(), s.end());
    }
    const double p99 = percentile(player, 0.99);
    const double bareP99 = percentile(bare, 0.99);
    state.counters["p50_overshoot_us"] = percentile(player, 0.50);
    state.counters["p99_overshoot_us"] = p99;
    state.counters["bare_p50_us"] = percentile(bare, 0.50);
    state.counters["bare_p99_us"] = bareP99;
    state.counters["ratio"] = bareP99 > 0 ? p99 / bareP99 : 0.0;
    state.counters["delays"] = static_cast<double>(player.size());
    state.counters["fids_per_s"] = seconds > 0 ? static_cast<double>(fids) / seconds : 0.0;
}
BENCHMARK(BM_PlayUnderLoad)->Name("PlayUnderLoad/8wp-10kFIDs")->UseManualTime()->Unit(benchmark::kSecond)->Iterations(1);

} // namespace

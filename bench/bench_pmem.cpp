// Start-up cost of the panel memory: constructing PmemSystem over a data
// directory holding a register file for every register 0 to 99 of all eight
// workplaces (the default register 0 is one shared file, so 793 files), which
// publishes 800 registers (two keys each), against its floor timed right after
// it in the same run: reading each of those files once and publishing the
// same number of keys into the same state table (counters ratio, floor_us).
//
//   build/default/bin/bench_pmem --benchmark_repetitions=5 --benchmark_report_aggregates_only=true

#include <benchmark/benchmark.h>

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "benchdata.h"
#include "benchfloor.h"
#include "benchratio.h"
#include "fidmaphandler.h"
#include "mfdconfighandler.h"
#include "oskit/CmdProcessor.h"
#include "panelmfd/HostInterfaces.h"
#include "pmemsystem.h"

namespace {

namespace fs = std::filesystem;

// A state table that takes every call and keeps a count.
class CountingPanelState : public IPanelState {
public:
    IInterface* queryInterface(unsigned int) override { return nullptr; }
    void setStateValue(const std::string&, const std::string&) override { ++calls; }
    void setStateValueFloat(const std::string&, float) override { ++calls; }
    void setStateValueInt(const std::string&, int) override { ++calls; }
    void setStateValueBool(const std::string&, bool) override { ++calls; }
    void unsetStateValue(const std::string&) override { ++calls; }
    void triggerEvent(const std::string&, const std::string&) override { ++calls; }
    long calls = 0;
};

// The data directory with all registers present, made once per process.
struct RegisterTree {
    fs::path root;
    std::vector<std::string> files;

    RegisterTree()
    {
        std::string templ = (fs::temp_directory_path() / "pmem-bench-XXXXXX").string();
        if (!::mkdtemp(templ.data())) std::abort();
        root = templ;
        add(root / "pmem" / "default.pmem", 0);
        for (int wp = 0; wp < 8; ++wp)
            for (int reg = 1; reg < 100; ++reg)
                add(root / "pmem" / ("workplace" + std::to_string(wp)) / (std::to_string(reg) + ".pmem"), reg);
    }
    ~RegisterTree()
    {
        std::error_code ec;
        fs::remove_all(root, ec);
    }

    void add(const fs::path& path, int reg)
    {
        benchdata::writeRegisterFile(path, reg);
        files.push_back(path.string());
    }
};

RegisterTree& tree()
{
    static RegisterTree s_tree;
    return s_tree;
}

void BM_PmemSystemConstruction(benchmark::State& st)
{
    oskit::CmdProcessor::createInstance();
    MFDConfigHandler config;
    config.m_dataDirectory = tree().root.string();
    CountingPanelState state;
    const auto start = std::chrono::steady_clock::now();
    for (auto _ : st) {
        FIDMapHandler map;
        map.setPanelStateInterface(&state);
        PmemSystem pmem(&map, &config, PmemSystem::PMEM_TYPE_TEXT);
        benchmark::DoNotOptimize(&pmem);
    }
    const double caseSeconds = benchratio::secondsSince(start);
    const long publications = state.calls / static_cast<long>(st.iterations());

    // The floor: each file read once, as many keys published.
    std::vector<std::string> keys;
    for (int wp = 0; wp < 8; ++wp)
        for (int reg = 0; reg < 100; ++reg)
            for (const char* suffix : {".EMPTY", ".NAME"})
                keys.push_back("MEMORY." + std::to_string(wp) + ".REG" + std::to_string(reg) + suffix);
    const std::vector<std::string>& files = tree().files;
    IPanelState* table = benchratio::opaque<IPanelState>(&state);
    const double floorSeconds = benchratio::timeFloor(st.iterations(), [&] {
        size_t total = 0;
        for (const std::string& path : files) total += benchfloor::readWhole(path).size();
        benchmark::DoNotOptimize(total);
        for (long i = 0; i < publications; ++i) table->setStateValue(keys[static_cast<size_t>(i) % keys.size()], "Register");
    });
    benchratio::report(st, caseSeconds, floorSeconds);
    st.counters["publications"] = static_cast<double>(publications);
    st.counters["files"] = static_cast<double>(files.size());
}
BENCHMARK(BM_PmemSystemConstruction)->Unit(benchmark::kMillisecond);

} // namespace

// Start-up cost of the panel memory: constructing PmemSystem over a data
// directory holding a register file for every register 0 to 99 of all eight
// workplaces (the default register 0 is one shared file, so 793 files), which
// publishes 800 registers, against its floor: opening and reading each of
// those files once.
//
//   build/default/bin/bench_pmem --benchmark_min_time=0.5
//
// The construction opens each valid register twice (the validity test and
// the name) and publishes two keys per register, so it can't come below about
// twice the floor; on a busy two-core machine it measured 2.5 to 3.3 times.

#include <benchmark/benchmark.h>

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

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
        fs::create_directories(path.parent_path());
        std::string name = "Register " + std::to_string(reg);
        name.resize(30, ' ');
        std::string bytes = name + "\nversion-2\nDEFINE_MEMO_CAM ON\nDEFINE_MEMO_AUDIO OFF\n";
        for (int i = 0; i < 20; ++i) bytes += "VALUE_" + std::to_string(i) + " " + std::to_string(i * reg) + "\n";
        std::FILE* file = std::fopen(path.c_str(), "w");
        if (!file) std::abort();
        std::fwrite(bytes.data(), 1, bytes.size(), file);
        std::fclose(file);
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
    for (auto _ : st) {
        FIDMapHandler map;
        map.setPanelStateInterface(&state);
        PmemSystem pmem(&map, &config, PmemSystem::PMEM_TYPE_TEXT);
        benchmark::DoNotOptimize(&pmem);
    }
    st.counters["publications"] = benchmark::Counter(static_cast<double>(state.calls) / static_cast<double>(st.iterations()));
}
BENCHMARK(BM_PmemSystemConstruction)->Unit(benchmark::kMillisecond);

void BM_ReadRegisterFilesOnceFloor(benchmark::State& st)
{
    const std::vector<std::string>& files = tree().files;
    char buffer[4096];
    for (auto _ : st) {
        std::size_t total = 0;
        for (const std::string& path : files) {
            std::FILE* file = std::fopen(path.c_str(), "r");
            if (!file) continue;
            std::size_t count;
            while ((count = std::fread(buffer, 1, sizeof(buffer), file)) > 0) total += count;
            std::fclose(file);
        }
        benchmark::DoNotOptimize(total);
    }
    st.counters["files"] = static_cast<double>(files.size());
}
BENCHMARK(BM_ReadRegisterFilesOnceFloor)->Unit(benchmark::kMillisecond);

} // namespace

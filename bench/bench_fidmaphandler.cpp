// Dispatch cost of FIDMapHandler::sendFID against its floor, a bare
// std::map<std::string, ...>::find over the same keys.
//
//   build/default/bin/bench_fidmaphandler --benchmark_min_time=0.2
//
// The registry holds the names a fully built panel registers: the panel
// FIDs, eight workplaces of macro FIDs and the one panel memory pattern.

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

#include "fidmaphandler.h"

namespace {

struct Sink {
    long calls = 0;
    bool onFID(const FunctionID&, const FIDParameterList*)
    {
        ++calls;
        return true;
    }
    bool onPattern(const FunctionID&, const FIDParameterList*, const FIDPatternList&)
    {
        ++calls;
        return true;
    }
};

std::vector<std::string> registeredNames()
{
    std::vector<std::string> names = {"SETVAR", "TRIGGER", "MODULE.INFO.READ", "MODULE.ID.SET", "CHANGE.PDL",
                                      "APPLICATION.LOAD.PREPARE", "APPLICATION.LOAD.FINISH", "SYSTEM.REBOOT",
                                      "LOG.TIMESTAMP", "COLOR.SET", "COLOR.INC", "PORT.CONFIG.SET", "MFD.ADD", "LOG",
                                      "MEMORY.LEARN", "MEMORY.RECALL", "MEMORY.BEGIN", "MEMORY.END"};
    const char* suffixes[] = {".RECORDING.START", ".RECORDING.STOP", ".RECALL", ".STOP", ".DELETE", ".ATTACH",
                              ".DETACH", ".NAME.SET", ".EXPORT", ".ATTACH.ENABLE"};
    for (int wp = 0; wp < 8; ++wp)
        for (const char* suffix : suffixes) names.push_back("MACRO" + std::to_string(wp) + suffix);
    return names;
}

struct Registry {
    Registry()
    {
        for (const auto& name : registeredNames()) {
            map.registerFunction(name, &sink, &Sink::onFID);
            bare.emplace(name, &sink);
        }
        map.registerParamFunction("MEMORY.SAVE_VAR.*", &sink, &Sink::onPattern);
    }
    FIDMapHandler map;
    std::map<std::string, Sink*> bare;
    Sink sink;
};

Registry& registry()
{
    static Registry r;
    return r;
}

void BM_BareMapFind(benchmark::State& state)
{
    Registry& r = registry();
    const std::string name = "MACRO5.RECALL";
    for (auto _ : state) {
        auto it = r.bare.find(name);
        benchmark::DoNotOptimize(it);
    }
}
BENCHMARK(BM_BareMapFind);

void BM_SendFIDExactHit(benchmark::State& state)
{
    Registry& r = registry();
    const std::string name = "MACRO5.RECALL";
    const FIDParameterList params;
    for (auto _ : state) r.map.sendFID(name, params);
    benchmark::DoNotOptimize(r.sink.calls);
}
BENCHMARK(BM_SendFIDExactHit);

void BM_SendFIDPatternHit(benchmark::State& state)
{
    Registry& r = registry();
    const std::string name = "MEMORY.SAVE_VAR.KEY1";
    const FIDParameterList params;
    for (auto _ : state) r.map.sendFID(name, params);
    benchmark::DoNotOptimize(r.sink.calls);
}
BENCHMARK(BM_SendFIDPatternHit);

void BM_SendFIDUnknown(benchmark::State& state)
{
    Registry& r = registry();
    const std::string name = "NO.SUCH.FID";
    const FIDParameterList params;
    for (auto _ : state) r.map.sendFID(name, params);
    benchmark::DoNotOptimize(r.sink.calls);
}
BENCHMARK(BM_SendFIDUnknown);

void BM_BareMapFindUnknown(benchmark::State& state)
{
    Registry& r = registry();
    const std::string name = "NO.SUCH.FID";
    for (auto _ : state) {
        auto it = r.bare.find(name);
        benchmark::DoNotOptimize(it);
    }
}
BENCHMARK(BM_BareMapFindUnknown);

} // namespace

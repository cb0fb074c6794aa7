// Dispatch cost of FIDMapHandler::sendFID against its floor, measured right
// after it in the same run: a bare std::map<std::string, ...>::find over the
// same keys and, for a hit, the call of the handler through a pointer the
// compiler can't see through; for a miss, the one pattern's prefix compared
// and its capture taken. Every case reports ratio and floor_us.
//
//   build/default/bin/bench_fidmaphandler --benchmark_repetitions=5 --benchmark_report_aggregates_only=true
//
// The registry holds the names a fully built panel registers: the panel
// FIDs, eight workplaces of macro FIDs and the one panel memory pattern.

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

#include "benchratio.h"
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

// The floor of a look-up: the bare map's find, and for a hit the handler's
// call; for a miss, the one pattern's prefix compared and the last word taken
// as its capture.
void bareDispatch(Registry& r, const std::string& name, const FIDParameterList& params)
{
    static const std::string kPatternPrefix = "MEMORY.SAVE_VAR.";
    auto it = benchratio::opaque(&r.bare)->find(name);
    if (it != r.bare.end()) {
        benchratio::opaque(it->second)->onFID(name, &params);
    } else if (name.compare(0, kPatternPrefix.size(), kPatternPrefix) == 0) {
        FIDPatternList captures;
        captures.add("*", name.substr(kPatternPrefix.size()));
        benchratio::opaque(&r.sink)->onPattern(name, &params, captures);
    }
    benchmark::DoNotOptimize(it);
}

void dispatchCase(benchmark::State& state, const std::string& name)
{
    Registry& r = registry();
    const FIDParameterList params;
    IFunctionID* map = benchratio::opaque<IFunctionID>(&r.map);
    const auto start = benchratio::Clock::now();
    for (auto _ : state) map->sendFID(name, params);
    const double caseSeconds = benchratio::secondsSince(start);
    const double floorSeconds = benchratio::timeFloor(state.iterations(), [&] { bareDispatch(r, name, params); });
    benchmark::DoNotOptimize(r.sink.calls);
    benchratio::report(state, caseSeconds, floorSeconds);
}

void BM_SendFIDExactHit(benchmark::State& state)
{
    dispatchCase(state, "MACRO5.RECALL");
}
BENCHMARK(BM_SendFIDExactHit);

void BM_SendFIDPatternHit(benchmark::State& state)
{
    dispatchCase(state, "MEMORY.SAVE_VAR.KEY1");
}
BENCHMARK(BM_SendFIDPatternHit);

void BM_SendFIDUnknown(benchmark::State& state)
{
    dispatchCase(state, "NO.SUCH.FID");
}
BENCHMARK(BM_SendFIDUnknown);

} // namespace

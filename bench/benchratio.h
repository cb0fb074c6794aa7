#pragma once

// What every benchmark case shares: its floor timed in the same run, right
// after the case's own loop and for as many iterations, and the counters that
// come of it:
//   ratio     the case's time over its floor's
//   floor_us  the floor's time per iteration, in microseconds
//
// A floor must do the work it names, so that the compiler can't see through
// it: calls go through a pointer laundered by opaque() (it can't be
// devirtualised), and results go into benchmark::DoNotOptimize.

#include <benchmark/benchmark.h>

#include <unistd.h>

#include <chrono>
#include <cstdio>

namespace benchratio {

using Clock = std::chrono::steady_clock;

// The same pointer, but the compiler no longer knows where it points.
template <class T>
T* opaque(T* pointer)
{
    asm volatile("" : "+r"(pointer));
    return pointer;
}

inline double secondsSince(Clock::time_point start)
{
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// Runs `body` `iterations` times; the seconds it took.
template <class Body>
double timeFloor(benchmark::IterationCount iterations, Body&& body)
{
    const auto start = Clock::now();
    for (benchmark::IterationCount i = 0; i < iterations; ++i) body();
    return secondsSince(start);
}

// Sets ratio and floor_us from the seconds the case and its floor took over
// the case's iterations.
inline void report(benchmark::State& state, double caseSeconds, double floorSeconds)
{
    const double iterations = static_cast<double>(state.iterations() > 0 ? state.iterations() : 1);
    state.counters["ratio"] = floorSeconds > 0 ? caseSeconds / floorSeconds : 0.0;
    state.counters["floor_us"] = floorSeconds / iterations * 1e6;
}

// The resident set of this process, in MiB.
inline double residentMiB()
{
    std::FILE* file = std::fopen("/proc/self/statm", "r");
    if (!file) return 0.0;
    long pages = 0;
    long resident = 0;
    const int read = std::fscanf(file, "%ld %ld", &pages, &resident);
    std::fclose(file);
    if (read != 2) return 0.0;
    return static_cast<double>(resident) * static_cast<double>(::sysconf(_SC_PAGESIZE)) / (1024.0 * 1024.0);
}

} // namespace benchratio

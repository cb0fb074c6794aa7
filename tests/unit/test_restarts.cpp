// The module restarted many times inside one host process: the memory in use
// after 200 restarts is the memory in use after the first one.

#include <gtest/gtest.h>

#include <malloc.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "panelhost.h"
#include "support/moduletestenv.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define PANELMFD_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define PANELMFD_SANITIZED 1
#endif
#endif

namespace {

struct MemoryUse {
    size_t heapBytes = 0;     // allocated from the heap and still in use
    size_t residentBytes = 0; // resident set of the process
};

MemoryUse memoryUse()
{
    MemoryUse use;
    // Returns freed memory at the top of the heap, so that the resident set
    // follows what is in use rather than what the heap once reached.
    malloc_trim(0);
    const struct mallinfo2 info = mallinfo2();
    use.heapBytes = info.uordblks + info.hblkhd;
    std::ifstream statm("/proc/self/statm");
    size_t pages = 0;
    size_t resident = 0;
    statm >> pages >> resident;
    use.residentBytes = resident * static_cast<size_t>(::sysconf(_SC_PAGESIZE));
    return use;
}

FIDParameterList params(std::initializer_list<std::pair<const char*, std::string>> values,
                        UniqueWidgetID source = UniqueWidgetID())
{
    FIDParameterList list;
    for (const auto& [name, value] : values) list.add(name, value);
    list.sourceWidget = source;
    return list;
}

// What one run of the module does: a macro recorded and played in one
// workplace, a setting, a panel memory register, a driver added and removed.
void exercise(panelhost::Host& host, unsigned run)
{
    const unsigned wp = run % 8;
    const std::string w = std::to_string(wp);
    const UniqueWidgetID widget(wp, 0, 0, 1);
    host.sendFID("MACRO" + w + ".RECORDING.START", params({{"REG", "1"}}));
    if (IMacroSystem* macros = host.module().macroSystem())
        macros->recordFID("PANEL.STEP", params({{"N", std::to_string(run)}}, widget));
    host.sendFID("MACRO" + w + ".RECORDING.STOP", params({}));
    host.sendFID("MACRO" + w + ".RECALL", params({{"REG", "1"}}, widget));
    host.sendFID("SETTINGS.COLOR.MACRO.SET", params({{"VAL", run % 2 ? "RED" : "GREEN"}, {"WP", w}}));
    host.sendFID("MEMORY.LEARN", params({{"REG", "3"}, {"VERSION", "1"}}, widget));
    host.sendFID("MEMORY.BEGIN", params({{"WP", w}}));
    host.sendFID("MEMORY.SAVE_VAR.LEVEL", params({{"WP", w}, {"VAL", std::to_string(run)}}));
    host.sendFID("MEMORY.END", params({{"WP", w}}));
    host.sendFID("MFD.ADD", params({{"WPID", w}, {"MFDID", "MFD1"}, {"TYPE", "T"}}));
    host.sendFID("MFD.REMOVE", params({{"WPID", w}, {"MFDID", "MFD1"}}));
}

} // namespace

TEST(Restarts, MemoryInUseAfterTwoHundredRestartsIsThatAfterTheFirst)
{
    testenv::TempDir dir;
    panelhost::HostOptions options;
    options.modulePath = PANELMFD_MODULE_PATH;
    options.runDir = dir.str();
    for (int wp = 0; wp < 8; ++wp)
        std::filesystem::create_directories(dir.path() / "nvram" / "PANEL" / "macro" / ("workplace" + std::to_string(wp)));

#ifdef PANELMFD_SANITIZED
    // The sanitizers keep freed memory in quarantine and count the heap their
    // own way; here the restarts only show that nothing breaks or leaks.
    const unsigned kRestarts = 5;
#else
    const unsigned kRestarts = 200;
#endif
    MemoryUse first;
    {
        panelhost::Host host(options);
        std::string error;
        ASSERT_TRUE(host.start({}, error)) << error;
        exercise(host, 0);
        for (unsigned run = 1; run <= kRestarts; ++run) {
            ASSERT_TRUE(host.restart(error)) << "restart " << run << ": " << error;
            exercise(host, run);
            if (run == 1) first = memoryUse();
        }
        const MemoryUse last = memoryUse();
        std::printf("after 1 restart: heap in use %zu KiB, resident %zu KiB\n", first.heapBytes / 1024,
                    first.residentBytes / 1024);
        std::printf("after %u restarts: heap in use %zu KiB, resident %zu KiB\n", kRestarts, last.heapBytes / 1024,
                    last.residentBytes / 1024);
#ifndef PANELMFD_SANITIZED
        // A few pages of slack for the allocator's own bookkeeping; a restart
        // that kept even 4 KiB would add 800 KiB.
        EXPECT_LT(last.heapBytes, first.heapBytes + 256 * 1024);
        EXPECT_LT(last.residentBytes, first.residentBytes + 2 * 1024 * 1024);
#endif
    }
}

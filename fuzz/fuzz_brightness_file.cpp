// Feeds the input as the brightness exchange file to one observer poll, which
// reads it, splits the fields after "WP1" and calls the Set handlers of a
// running settings store for workplaces 1 to 8.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include <unistd.h>

#include <boost/date_time/posix_time/posix_time_types.hpp>

#include "PanelBrightnessObserver.h"
#include "fidmaphandler.h"
#include "mfdconfighandler.h"
#include "panelmfd/host.h"
#include "panelsettings.h"
#include "settingsfuzz.h"

namespace {

struct Bench {
    settingsfuzz::RunDirectory run{"brightness-fuzz"};
    FIDMapHandler map;
    MFDConfigHandler config;
    settingsfuzz::SilentWidgetManager widgets;
    settingsfuzz::QuietSettings* settings = nullptr;

    Bench()
    {
        config.m_dataDirectory = (run.path / "nvram").string();
        settings = new settingsfuzz::QuietSettings(&map, &config);
        settings->setWidgetManagerInterface(&widgets);
        settings->init();
    }
    ~Bench() { delete settings; }
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static Bench bench;
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    {
        std::ofstream out(PanelSettings::brightnessExchangePath(), std::ios::binary | std::ios::trunc);
        out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    }

    PanelBrightnessObserver observer("Task", boost::posix_time::microseconds(1000000));
    observer.setParent(bench.settings);
    observer.poll();

    // The split alone, on the whole input including any NUL bytes.
    PanelBrightnessObserver::Tokens tokens;
    if (PanelBrightnessObserver::splitFields(bytes, tokens)) {
        size_t total = 0;
        for (const std::string& token : tokens) total += token.size();
        if (total > 5 * bytes.size()) std::abort();
    }
    return 0;
}

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

namespace {

class SilentWidgetManager : public IWidgetManager {
public:
    IInterface* queryInterface(unsigned int) override { return nullptr; }
    void refreshSettings() override {}
    void setPowerSaverTime(int, int) override {}
    void setPowerSaverBypass(int, bool) override {}
    void setPowerSaverType(int, int) override {}
    void reloadOLEDBitmaps() override {}
};

// The polls are driven here, one per input, instead of by the task.
class PolledSettings : public PanelSettings {
public:
    using PanelSettings::PanelSettings;

protected:
    void startBrightnessObserver() override {}
};

struct Bench {
    std::filesystem::path path;
    bool linked = false;
    FIDMapHandler map;
    MFDConfigHandler config;
    SilentWidgetManager widgets;
    PolledSettings* settings = nullptr;

    Bench()
    {
        const std::filesystem::path base =
            std::filesystem::is_directory("/dev/shm") ? "/dev/shm" : std::filesystem::temp_directory_path();
        std::string templ = (base / "brightness-fuzz-XXXXXX").string();
        if (!::mkdtemp(templ.data())) std::abort();
        path = templ;
        std::filesystem::create_directories(path / "nvram");
        // The exchange file lies under the working directory, which stays
        // where libFuzzer was started (its corpus and artifacts are relative);
        // "data" there links to the memory file system, so that the many
        // fsync calls stay cheap.
        if (!std::filesystem::exists("data")) {
            std::filesystem::create_directories(path / "data" / "PANEL");
            std::filesystem::create_directory_symlink(path / "data", "data");
            linked = true;
        }
        std::filesystem::create_directories("data/PANEL");
        config.m_dataDirectory = (path / "nvram").string();
        settings = new PolledSettings(&map, &config);
        settings->setWidgetManagerInterface(&widgets);
        settings->init();
    }
    ~Bench()
    {
        delete settings;
        std::error_code error;
        if (linked) std::filesystem::remove("data", error);
        std::filesystem::remove_all(path, error);
    }
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

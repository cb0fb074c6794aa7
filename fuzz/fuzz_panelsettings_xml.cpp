// Feeds the input as PanelSettings.xml to a settings start: the file is
// loaded, every stored FID replayed through its handler, then one change is
// made and the document written back on the way down.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include <unistd.h>

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

// Settings without the observer task: the replay is what is fuzzed here.
class FuzzedSettings : public PanelSettings {
public:
    using PanelSettings::PanelSettings;

protected:
    void startBrightnessObserver() override {}
};

// The data directory on a memory file system where there is one.
struct RunDirectory {
    std::filesystem::path path;
    bool linked = false;
    RunDirectory()
    {
        const std::filesystem::path base =
            std::filesystem::is_directory("/dev/shm") ? "/dev/shm" : std::filesystem::temp_directory_path();
        std::string templ = (base / "panelsettings-fuzz-XXXXXX").string();
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
    }
    ~RunDirectory()
    {
        std::error_code error;
        if (linked) std::filesystem::remove("data", error);
        std::filesystem::remove_all(path, error);
    }
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static RunDirectory run;
    static SilentWidgetManager widgets;
    const std::filesystem::path dataDirectory = run.path / "nvram";
    {
        std::ofstream out(dataDirectory / "PanelSettings.xml", std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    }

    FIDMapHandler map;
    MFDConfigHandler config;
    config.m_dataDirectory = dataDirectory.string();
    {
        FuzzedSettings settings(&map, &config);
        settings.setWidgetManagerInterface(&widgets);
        settings.init();
        FIDParameterList change;
        change.add("VAL", "FUZZ");
        change.add("WP", "1");
        map.sendFID("SETTINGS.COLOR.MACRO.SET", change);
    }
    return 0;
}

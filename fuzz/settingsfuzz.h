#pragma once

// Shared ground of the settings fuzz targets: a widget manager that ignores
// everything, settings without the observer task, and a run directory whose
// exchange folder lies on a memory file system.

#include <filesystem>

#include "fuzzsupport.h"
#include "panelmfd/host.h"
#include "panelsettings.h"

namespace settingsfuzz {

class SilentWidgetManager : public IWidgetManager {
public:
    IInterface* queryInterface(unsigned int) override { return nullptr; }
    void refreshSettings() override {}
    void setPowerSaverTime(int, int) override {}
    void widgetManagerReserved() override {}
    void setPowerSaverBypass(int, bool) override {}
    void setPowerSaverType(int, int) override {}
    void reloadOLEDBitmaps() override {}
};

// The observer's polls, where wanted, are driven by the target itself.
class QuietSettings : public PanelSettings {
public:
    QuietSettings(FIDMapHandler* mapHandler, MFDConfigHandler* configHandler) : PanelSettings(mapHandler, configHandler)
    {
        m_observerWanted = false;
    }
};

// The data directory is path/nvram. The exchange file lies under the working
// directory, which stays where libFuzzer was started (its corpus and
// artifacts are relative); "data" there links to the memory file system, so
// that the many fsync calls stay cheap.
class RunDirectory : public fuzzsupport::ScratchDirectory {
public:
    explicit RunDirectory(const std::string& prefix) : fuzzsupport::ScratchDirectory(prefix)
    {
        std::filesystem::create_directories(path / "nvram");
        if (!std::filesystem::exists("data")) {
            std::filesystem::create_directories(path / "data" / "PANEL");
            std::filesystem::create_directory_symlink(path / "data", "data");
            m_linked = true;
        }
        std::filesystem::create_directories("data/PANEL");
    }
    ~RunDirectory()
    {
        std::error_code error;
        if (m_linked) std::filesystem::remove("data", error);
    }
    RunDirectory(const RunDirectory&) = delete;
    RunDirectory& operator=(const RunDirectory&) = delete;

private:
    bool m_linked = false;
};

} // namespace settingsfuzz

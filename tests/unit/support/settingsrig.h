#pragma once

// A bench for PanelSettings: a run directory with data/PANEL (the brightness
// exchange directory, relative to the working directory) and nvram/PANEL (the
// data directory), a recording state table, a recording widget manager, and a
// settings object that can be started, stopped and started again.

#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "PanelBrightnessObserver.h"
#include "fidmaphandler.h"
#include "mfdconfighandler.h"
#include "panelmfd/host.h"
#include "panelsettings.h"
#include "support/hostmocks.h"
#include "support/moduletestenv.h"

namespace settingsrig {

// The file's bytes (empty when it cannot be read).
inline std::string readFile(const std::filesystem::path& path)
{
    std::string bytes;
    if (FILE* file = std::fopen(path.c_str(), "rb")) {
        char buffer[4096];
        size_t count = 0;
        while ((count = std::fread(buffer, 1, sizeof buffer, file)) > 0) bytes.append(buffer, count);
        std::fclose(file);
    }
    return bytes;
}

// Polls the condition every 10 ms until it holds or the time runs out.
inline bool waitUntil(const std::function<bool()>& condition, int timeoutMs = 5000)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= deadline) return condition();
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}

// The host's state table as the module sees it: keys without the prefix.
class RecordingPanelState : public IPanelState {
public:
    struct Change {
        std::string key;
        std::string value;
        char type; // 't' text, 'i' int, 'b' bool, 'f' float, 'u' unset
    };

    IInterface* queryInterface(unsigned int) override { return nullptr; }
    void setStateValue(const std::string& key, const std::string& value) override { record(key, value, 't'); }
    void setStateValueFloat(const std::string& key, float value) override
    {
        record(key, std::to_string(value), 'f');
    }
    void setStateValueInt(const std::string& key, int value) override { record(key, std::to_string(value), 'i'); }
    void setStateValueBool(const std::string& key, bool value) override
    {
        record(key, value ? "TRUE" : "FALSE", 'b');
    }
    void unsetStateValue(const std::string& key) override
    {
        std::lock_guard<std::mutex> guard(m_mutex);
        m_values.erase(key);
        m_changes.push_back({key, "", 'u'});
    }
    void triggerEvent(const std::string&, const std::string&) override {}

    bool has(const std::string& key) const
    {
        std::lock_guard<std::mutex> guard(m_mutex);
        return m_values.count(key) != 0;
    }
    std::string value(const std::string& key) const
    {
        std::lock_guard<std::mutex> guard(m_mutex);
        auto it = m_values.find(key);
        return it == m_values.end() ? "<unset>" : it->second.first;
    }
    char type(const std::string& key) const
    {
        std::lock_guard<std::mutex> guard(m_mutex);
        auto it = m_values.find(key);
        return it == m_values.end() ? '-' : it->second.second;
    }
    std::vector<Change> changes() const
    {
        std::lock_guard<std::mutex> guard(m_mutex);
        return m_changes;
    }
    size_t changeCount() const
    {
        std::lock_guard<std::mutex> guard(m_mutex);
        return m_changes.size();
    }
    // How often the key was set since the given change index.
    size_t timesSet(const std::string& key, size_t from = 0) const
    {
        std::lock_guard<std::mutex> guard(m_mutex);
        size_t count = 0;
        for (size_t i = from; i < m_changes.size(); ++i)
            if (m_changes[i].key == key) ++count;
        return count;
    }
    bool waitFor(const std::string& key, const std::string& expected, int timeoutMs = 5000) const
    {
        return waitUntil([&] { return value(key) == expected; }, timeoutMs);
    }

private:
    void record(const std::string& key, const std::string& value, char type)
    {
        std::lock_guard<std::mutex> guard(m_mutex);
        m_values[key] = {value, type};
        m_changes.push_back({key, value, type});
    }

    mutable std::mutex m_mutex;
    std::map<std::string, std::pair<std::string, char>> m_values;
    std::vector<Change> m_changes;
};

// The widget manager, recording what it is told.
class RecordingWidgetManager : public IWidgetManager {
public:
    IInterface* queryInterface(unsigned int) override { return nullptr; }
    void refreshSettings() override { ++refreshes; }
    void setPowerSaverTime(int workplace, int time) override { record("time", workplace, time); }
    void widgetManagerReserved() override { record("reserved", 0, 0); }
    void setPowerSaverBypass(int workplace, bool bypass) override { record("bypass", workplace, bypass ? 1 : 0); }
    void setPowerSaverType(int workplace, int type) override { record("type", workplace, type); }
    void reloadOLEDBitmaps() override {}

    std::vector<std::string> calls() const
    {
        std::lock_guard<std::mutex> guard(m_mutex);
        return m_calls;
    }

    std::atomic<int> refreshes{0};

private:
    void record(const char* what, int workplace, int value)
    {
        std::lock_guard<std::mutex> guard(m_mutex);
        m_calls.push_back(std::string(what) + " " + std::to_string(workplace) + " " + std::to_string(value));
    }

    mutable std::mutex m_mutex;
    std::vector<std::string> m_calls;
};

// Settings without the observer task, for handler tests that must not see a poll.
class QuietPanelSettings : public PanelSettings {
public:
    QuietPanelSettings(FIDMapHandler* mapHandler, MFDConfigHandler* configHandler)
        : PanelSettings(mapHandler, configHandler)
    {
        m_observerWanted = false;
    }
};

// One module start: a fresh registry, state table and settings object.
struct Start {
    FIDMapHandler map;
    MFDConfigHandler config;
    RecordingPanelState state;
    RecordingWidgetManager widgets;
    std::unique_ptr<PanelSettings> settings;

    Start(const std::string& dataDirectory, bool withObserver)
    {
        config.m_dataDirectory = dataDirectory;
        config.m_statePrefix = "PANEL";
        map.setPanelStateInterface(&state);
        if (withObserver)
            settings = std::make_unique<PanelSettings>(&map, &config);
        else
            settings = std::make_unique<QuietPanelSettings>(&map, &config);
        settings->setWidgetManagerInterface(&widgets);
        settings->init();
    }
    ~Start() { settings.reset(); }

    // Runs the registered handler and answers its result.
    bool fid(const std::string& name, std::initializer_list<std::pair<std::string, std::string>> pairs)
    {
        StaticFIDFunctionBase* entry = map.findStaticFIDFunction(name);
        if (!entry) {
            ADD_FAILURE() << "no handler for " << name;
            return false;
        }
        const FIDParameterList params = makeParams(pairs);
        return entry->call(name, &params);
    }
};

// A run directory that is the working directory for the test's length.
class SettingsTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        testenv::ensurePlatformSingletons();
        m_oldDir = std::filesystem::current_path();
        std::filesystem::create_directories(m_dir.path() / "data" / "PANEL");
        std::filesystem::create_directories(m_dir.path() / "nvram" / "PANEL");
        std::filesystem::current_path(m_dir.path());
    }
    void TearDown() override
    {
        m_start.reset();
        std::filesystem::current_path(m_oldDir);
    }

    Start& start(bool withObserver = false)
    {
        m_start.reset();
        m_start = std::make_unique<Start>(dataDir(), withObserver);
        return *m_start;
    }
    void stop() { m_start.reset(); }
    Start& current() { return *m_start; }

    std::string dataDir() const { return (m_dir.path() / "nvram" / "PANEL").string(); }
    std::filesystem::path settingsFile() const { return m_dir.path() / "nvram" / "PANEL" / "PanelSettings.xml"; }
    std::filesystem::path exchangeFile() const { return m_dir.path() / "data" / "PANEL" / "brightnessSettings.txt"; }
    const std::filesystem::path& runDir() const { return m_dir.path(); }

    static std::string exchangeText(int oled, int text, int hi, int low, int tft)
    {
        return "Workplace OLEDBrightness TextBrightness HighTally LowTally TFT\nWP1 " + std::to_string(oled) + " " +
               std::to_string(text) + " " + std::to_string(hi) + " " + std::to_string(low) + " " +
               std::to_string(tft) + "\n";
    }

    testenv::TempDir m_dir;
    std::filesystem::path m_oldDir;
    std::unique_ptr<Start> m_start;
};

} // namespace settingsrig

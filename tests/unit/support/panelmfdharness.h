#pragma once

// A PanelMFD driven through its phases as the host drives it, with a state
// table that records every change, GoogleMock host interfaces and a fake
// system backend. Used by the tests of the panel driver's services.

#include <gmock/gmock.h>

#include <chrono>
#include <cstdio>
#include <condition_variable>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "fidmaphandler.h"
#include "mfdconfighandler.h"
#include "panelmfd.h"
#include "support/fakesystembackend.h"
#include "support/hostmocks.h"
#include "support/moduletestenv.h"

// The host's state table as the module sees it: current values, and every
// change and event in order ("set K=V", "int K=V", "unset K", "event K=V").
class RecordingPanelState : public IPanelState {
public:
    IInterface* queryInterface(unsigned int) override { return nullptr; }

    void setStateValue(const std::string& key, const std::string& value) override { record("set", key, value); }
    void setStateValueFloat(const std::string& key, float value) override
    {
        record("float", key, std::to_string(value));
    }
    void setStateValueInt(const std::string& key, int value) override { record("int", key, std::to_string(value)); }
    void setStateValueBool(const std::string& key, bool value) override
    {
        record("bool", key, value ? "TRUE" : "FALSE");
    }
    void unsetStateValue(const std::string& key) override
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_values.erase(key);
        m_changes.push_back("unset " + key);
        m_changed.notify_all();
    }
    void triggerEvent(const std::string& event, const std::string& value) override
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_changes.push_back("event " + event + "=" + value);
        m_changed.notify_all();
    }

    bool has(const std::string& key) const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_values.count(key) != 0;
    }
    // The value as text; empty for a missing key.
    std::string value(const std::string& key) const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        auto it = m_values.find(key);
        return it == m_values.end() ? std::string() : it->second;
    }
    std::vector<std::string> changes() const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_changes;
    }
    // The changes whose text begins with the given one.
    std::vector<std::string> changesStartingWith(const std::string& start) const
    {
        std::vector<std::string> found;
        for (const std::string& change : changes())
            if (change.compare(0, start.size(), start) == 0) found.push_back(change);
        return found;
    }
    size_t changeCount() const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_changes.size();
    }
    void clearChanges()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_changes.clear();
    }
    // Waits until the key holds the value, up to the time-out.
    bool waitFor(const std::string& key, const std::string& expected,
                 std::chrono::milliseconds timeout = std::chrono::milliseconds(5000))
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_changed.wait_for(lock, timeout, [&] {
            auto it = m_values.find(key);
            return it != m_values.end() && it->second == expected;
        });
    }
    // Waits until a change with exactly this text has been recorded.
    bool waitForChange(const std::string& change, std::chrono::milliseconds timeout = std::chrono::milliseconds(5000))
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_changed.wait_for(lock, timeout, [&] {
            for (const std::string& c : m_changes)
                if (c == change) return true;
            return false;
        });
    }

    // Called with the key before a value is recorded, on the module's thread;
    // set it before the module starts.
    std::function<void(const std::string&)> beforeSet;

private:
    void record(const char* kind, const std::string& key, const std::string& value)
    {
        if (beforeSet) beforeSet(key);
        std::lock_guard<std::mutex> lock(m_mutex);
        m_values[key] = value;
        m_changes.push_back(std::string(kind) + " " + key + "=" + value);
        m_changed.notify_all();
    }

    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::map<std::string, std::string> m_values;
    std::vector<std::string> m_changes;
};

// The driver in a fresh run directory: data directory DIR/nvram/PANEL,
// configuration directory DIR/config.
class PanelMFDHarness {
public:
    PanelMFDHarness()
    {
        testenv::ensurePlatformSingletons();
        std::filesystem::create_directories(dataDir());
        std::filesystem::create_directories(configDir());
    }
    ~PanelMFDHarness() { mfd.reset(); }
    PanelMFDHarness(const PanelMFDHarness&) = delete;
    PanelMFDHarness& operator=(const PanelMFDHarness&) = delete;

    std::filesystem::path dataDir() const { return dir.path() / "nvram" / "PANEL"; }
    std::filesystem::path configDir() const { return dir.path() / "config"; }

    // Construction, configuration and completeInitialization.
    void create(const std::string& configDirectory)
    {
        mfd = std::make_unique<PanelMFD>();
        MFDConfigHandler* config = mfd->getConfigHandler();
        config->setPanelStateInterface(&state);
        config->setConfiguration(0, "PANEL", dataDir().string(), "", "", "", configDirectory);
        config->initializationCompleted();
    }
    void create() { create(configDir().string()); }

    // The remaining interfaces and interfaceInitializationDone.
    void finish(const std::string& workplaceFile)
    {
        mfd->setEventManagerInterface(&eventManager);
        mfd->setHwModuleManagerInterface(&hwModules);
        mfd->setColorManagerInterface(&colors);
        mfd->setWidgetManagerInterface(&widgets);
        mfd->setWorkplaceConfigFilename(workplaceFile);
        mfd->interfaceInitializationDone();
    }

    void start(const std::string& workplaceFile = "")
    {
        create();
        finish(workplaceFile);
    }

    // Runs a registered FID and answers the handler's result.
    bool fid(const std::string& name, std::initializer_list<std::pair<std::string, std::string>> params = {},
             UniqueWidgetID source = UniqueWidgetID())
    {
        const FIDParameterList list = makeParams(params, source);
        StaticFIDFunctionBase* entry = mfd->getMapHandler()->findStaticFIDFunction(name);
        EXPECT_NE(entry, nullptr) << name << " is not registered";
        return entry ? entry->call(name, &list) : false;
    }

    // The workplace file written to the configuration directory.
    std::filesystem::path savedFile(const std::string& name = "Workplaces.xml") const { return configDir() / name; }

    testenv::TempDir dir;
    FakeSystemScope system;
    RecordingPanelState state;
    ::testing::NiceMock<MockEventManager> eventManager;
    ::testing::NiceMock<MockHwModuleManager> hwModules;
    ::testing::NiceMock<MockColorManager> colors;
    ::testing::NiceMock<MockWidgetManager> widgets;
    std::unique_ptr<PanelMFD> mfd;
};

// A file's bytes; empty if it can't be read.
inline std::string readBytes(const std::filesystem::path& path)
{
    std::string bytes;
    if (std::FILE* file = std::fopen(path.c_str(), "rb")) {
        char buffer[4096];
        size_t count = 0;
        while ((count = std::fread(buffer, 1, sizeof(buffer), file)) > 0) bytes.append(buffer, count);
        std::fclose(file);
    }
    return bytes;
}

// The file's bytes with the signature attribute taken out.
inline std::string withoutSignature(const std::string& text)
{
    return std::regex_replace(text, std::regex(" signature=\"[0-9a-fA-F]*\""), "");
}

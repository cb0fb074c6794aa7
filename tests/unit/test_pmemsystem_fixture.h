#pragma once

// Common ground of the PmemSystem tests: a recording state table behind a real
// FIDMapHandler, a data directory of its own, and helpers to send FIDs and read
// register files.

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "fidmaphandler.h"
#include "mfdconfighandler.h"
#include "pmemsystem.h"
#include "support/moduletestenv.h"

namespace pmemtest {

namespace fs = std::filesystem;

// The host's state table, with every call kept in order.
class RecordingPanelState : public IPanelState {
public:
    struct Call {
        std::string op; // set, bool, int, float, unset, event
        std::string key;
        std::string value;
        bool operator==(const Call& other) const = default;
    };

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
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_calls.push_back({"unset", key, ""});
            if (key.size() >= 2 && key.compare(key.size() - 2, 2, ".*") == 0) {
                const std::string prefix = key.substr(0, key.size() - 1);
                for (auto it = m_table.lower_bound(prefix); it != m_table.end() && it->first.rfind(prefix, 0) == 0;)
                    it = m_table.erase(it);
            } else {
                m_table.erase(key);
            }
        }
    }
    void triggerEvent(const std::string& event, const std::string& value) override
    {
        std::function<void(const std::string&)> hook;
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_calls.push_back({"event", event, value});
            hook = m_onEvent;
        }
        if (hook) hook(event);
    }

    // Runs on every event, outside the table's lock (the host may call back in).
    void onEvent(std::function<void(const std::string&)> hook)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_onEvent = std::move(hook);
    }

    bool has(const std::string& key) const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_table.count(key) != 0;
    }
    std::string value(const std::string& key) const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        auto it = m_table.find(key);
        return it == m_table.end() ? "<unset>" : it->second;
    }
    std::size_t mark() const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_calls.size();
    }
    std::vector<Call> callsSince(std::size_t from) const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return std::vector<Call>(m_calls.begin() + static_cast<long>(from), m_calls.end());
    }
    std::vector<std::string> eventsSince(std::size_t from) const
    {
        std::vector<std::string> events;
        for (const Call& call : callsSince(from))
            if (call.op == "event") events.push_back(call.key);
        return events;
    }
    std::size_t countKeysWithPrefix(const std::string& prefix, const std::string& suffix) const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        std::size_t count = 0;
        for (const auto& entry : m_table) {
            const std::string& key = entry.first;
            if (key.rfind(prefix, 0) == 0 && key.size() >= suffix.size() &&
                key.compare(key.size() - suffix.size(), suffix.size(), suffix) == 0)
                ++count;
        }
        return count;
    }

private:
    void record(const std::string& op, const std::string& key, const std::string& value)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_calls.push_back({op, key, value});
        m_table[key] = value;
    }

    mutable std::mutex m_mutex;
    std::vector<Call> m_calls;
    std::map<std::string, std::string> m_table;
    std::function<void(const std::string&)> m_onEvent;
};

inline std::string readBytes(const fs::path& path)
{
    std::string bytes;
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (!file) return bytes;
    char chunk[4096];
    std::size_t count;
    while ((count = std::fread(chunk, 1, sizeof(chunk), file)) > 0) bytes.append(chunk, count);
    std::fclose(file);
    return bytes;
}

// Line 1 of a text register: the name in 30 bytes and a line feed.
inline std::string nameLine(const std::string& name)
{
    std::string line = name.substr(0, 30);
    line.resize(30, ' ');
    return line + "\n";
}

inline UniqueWidgetID widgetOf(int workplace) { return UniqueWidgetID(static_cast<unsigned>(workplace), 1, 2, 3); }

using Params = std::initializer_list<std::pair<std::string, std::string>>;

class PmemSystemTestBase : public ::testing::Test {
protected:
    explicit PmemSystemTestBase(PmemSystem::EPmemType type = PmemSystem::PMEM_TYPE_TEXT) : m_type(type) {}

    void SetUp() override
    {
        testenv::ensurePlatformSingletons();
        config.m_dataDirectory = dir.str();
        map.setPanelStateInterface(&state);
    }

    // Creates the system; files a test wants present at start are written before.
    void start() { pmem = std::make_unique<PmemSystem>(&map, &config, m_type); }

    // Sends a FID the way FIDMapHandler does and answers the handler's result
    // (false also for a name that nothing handles).
    bool send(const std::string& name, Params params, UniqueWidgetID source = UniqueWidgetID())
    {
        FIDParameterList list;
        for (const auto& p : params) list.add(p.first, p.second);
        list.sourceWidget = source;
        if (StaticFIDFunctionBase* entry = map.findStaticFIDFunction(name)) return entry->call(name, &list);
        FIDParameterList captures;
        if (ParamFIDFunctionBase* entry = map.findParamFIDFunction(name, captures))
            return entry->call(name, &list, captures);
        ADD_FAILURE() << "no handler for " << name;
        return false;
    }

    // Runs a call with standard output captured and answers what was printed.
    template <class F>
    std::string printed(F&& call)
    {
        testing::internal::CaptureStdout();
        call();
        return testing::internal::GetCapturedStdout();
    }

    fs::path registerFile(int wp, int reg) const
    {
        if (reg == 0) return dir.path() / "pmem" / "default.pmem";
        return dir.path() / "pmem" / ("workplace" + std::to_string(wp)) / (std::to_string(reg) + ".pmem");
    }
    void writeRegister(int wp, int reg, const std::string& bytes) const
    {
        testenv::writeFile(registerFile(wp, reg), bytes);
    }

    // A full learn conversation of one register with the values given.
    void learn(int wp, int reg, int version, const std::map<std::string, std::string>& values)
    {
        ASSERT_TRUE(send("MEMORY.LEARN", {{"REG", std::to_string(reg)}, {"VERSION", std::to_string(version)}},
                         widgetOf(wp)));
        ASSERT_TRUE(send("MEMORY.BEGIN", {{"WP", std::to_string(wp)}}));
        for (const auto& [key, value] : values)
            ASSERT_TRUE(send("MEMORY.SAVE_VAR." + key, {{"WP", std::to_string(wp)}, {"VAL", value}}));
        ASSERT_TRUE(send("MEMORY.END", {{"WP", std::to_string(wp)}, {"VERSION", std::to_string(version)}}));
    }

    testenv::TempDir dir;
    MFDConfigHandler config;
    RecordingPanelState state;
    FIDMapHandler map;
    std::unique_ptr<PmemSystem> pmem;

private:
    PmemSystem::EPmemType m_type;
};

} // namespace pmemtest

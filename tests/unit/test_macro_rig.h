#pragma once

// A macro recorder (or the whole macro system) in a fresh run directory, with
// a recording state table, a FID receiver and panel event that keep what they
// got with the moment it came, a publisher fake and the captured log.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>
#include <vector>

#include "fidmaphandler.h"
#include "macrorecorder.h"
#include "macrosystem.h"
#include "mfdconfighandler.h"
#include "support/hostmocks.h"
#include "support/logcapture.h"
#include "support/recordingwidgetcontrol.h"
#include "support/moduletestenv.h"
#include "support/panelmfdharness.h"
#include "panelsys/XMLVerify.h"

namespace macrotest {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

// One FID that reached the host's FID receiver.
struct SentFID {
    std::string name;
    FIDParameterList params;
    Clock::time_point at;

    // NAME K=V K=V (parameters in list order).
    std::string text() const
    {
        std::string t = name;
        for (const auto& p : params.parameters()) t += " " + p.name + "=" + p.value;
        return t;
    }
};

// The host's FID receiver: keeps every FID; may route names with the module's
// prefix back into the module, as the host does.
class FakeFIDReceiver : public IFunctionID {
public:
    IInterface* queryInterface(unsigned int) override { return nullptr; }
    void sendFID(const FunctionID& name, const FIDParameterList& params) const override
    {
        IFunctionID* module = nullptr;
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_sent.push_back({name, params, Clock::now()});
            module = m_routeTo;
            m_changed.notify_all();
        }
        if (module && name.compare(0, 6, "PANEL.") == 0) module->sendFID(name.substr(6), params);
    }
    void subscribe(const FunctionID&) const override {}
    void showState() const override {}

    void routeInto(IFunctionID* module)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_routeTo = module;
    }
    std::vector<SentFID> sent() const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_sent;
    }
    std::vector<std::string> texts() const
    {
        std::vector<std::string> t;
        for (const auto& s : sent()) t.push_back(s.text());
        return t;
    }
    bool waitForName(const std::string& name, std::chrono::milliseconds timeout = 5000ms) const
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_changed.wait_for(lock, timeout, [&] {
            return std::any_of(m_sent.begin(), m_sent.end(), [&](const SentFID& s) { return s.name == name; });
        });
    }
    // The moment the first FID of this name came; fails the test if none did.
    Clock::time_point timeOf(const std::string& name) const
    {
        for (const auto& s : sent())
            if (s.name == name) return s.at;
        ADD_FAILURE() << name << " was not sent";
        return Clock::now();
    }

private:
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    mutable std::vector<SentFID> m_sent;
    IFunctionID* m_routeTo = nullptr;
};

class FakePanelEvent : public IPanelEvent {
public:
    IInterface* queryInterface(unsigned int) override { return nullptr; }
    void notifyEvent(const UniqueWidgetID& widget, const std::string& word) override
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        std::ostringstream os;
        os << widget << " " << word;
        m_notes.push_back(os.str());
        m_times.push_back(Clock::now());
        m_changed.notify_all();
    }
    std::vector<std::string> notes() const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_notes;
    }
    bool waitFor(const std::string& note, std::chrono::milliseconds timeout = 5000ms)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_changed.wait_for(lock, timeout,
                                  [&] { return std::find(m_notes.begin(), m_notes.end(), note) != m_notes.end(); });
    }
    Clock::time_point timeOf(const std::string& note) const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        for (size_t i = 0; i < m_notes.size(); ++i)
            if (m_notes[i] == note) return m_times[i];
        ADD_FAILURE() << note << " was not notified";
        return Clock::now();
    }

private:
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<std::string> m_notes;
    std::vector<Clock::time_point> m_times;
};

// A publisher that answers from a table and keeps the subscription calls.
class FakePublisher : public IPSPublisher {
public:
    IInterface* queryInterface(unsigned int) override { return nullptr; }
    void subscribe(const std::string& key, std::shared_ptr<PDLStateSubscriber> subscriber) override
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_subscribed.push_back(key);
        m_subscriber = subscriber.get();
    }
    void unsubscribe(const std::string& key, std::shared_ptr<PDLStateSubscriber>) override
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_unsubscribed.push_back(key);
    }
    std::string getValue(const std::string& key) override
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        auto it = m_values.find(key);
        return it == m_values.end() ? std::string() : it->second;
    }
    void set(const std::string& key, const std::string& value)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_values[key] = value;
    }
    std::vector<std::string> subscribed() const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_subscribed;
    }
    std::vector<std::string> unsubscribed() const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_unsubscribed;
    }

private:
    mutable std::mutex m_mutex;
    std::map<std::string, std::string> m_values;
    std::vector<std::string> m_subscribed;
    std::vector<std::string> m_unsubscribed;
    PDLStateSubscriber* m_subscriber = nullptr;
};

// A run directory that is the working directory for the life of the rig.
class MacroRig {
public:
    MacroRig()
    {
        testenv::ensurePlatformSingletons();
        m_oldCwd = std::filesystem::current_path();
        std::filesystem::current_path(dir.path());
        std::filesystem::create_directories(dataDir());
        config.m_statePrefix = "PANEL";
        config.m_dataDirectory = dataDir().string();
        map.setPanelStateInterface(&state);
    }
    ~MacroRig()
    {
        recorder.reset();
        system.reset();
        std::filesystem::current_path(m_oldCwd);
    }
    MacroRig(const MacroRig&) = delete;
    MacroRig& operator=(const MacroRig&) = delete;

    std::filesystem::path dataDir() const { return dir.path() / "nvram" / "PANEL"; }
    std::filesystem::path macroDir(unsigned workplace = 0) const
    {
        return dataDir() / "macro" / ("workplace" + std::to_string(workplace));
    }
    std::filesystem::path macroFile(int reg, unsigned workplace = 0) const
    {
        char name[32];
        std::snprintf(name, sizeof(name), "macro%03d.mac", reg);
        return macroDir(workplace) / name;
    }

    MacroRecorder& make(unsigned workplace = 0)
    {
        recorder = std::make_unique<MacroRecorder>(workplace, &map, &config);
        recorder->setFIDReceiverInterface(&receiver);
        recorder->setPanelEventInterface(&events);
        return *recorder;
    }
    MacroSystem& makeSystem()
    {
        system = std::make_unique<MacroSystem>(&map, &config);
        return *system;
    }

    // Runs a registered FID and answers the handler's result.
    bool fid(const std::string& name, std::initializer_list<std::pair<std::string, std::string>> params = {},
             UniqueWidgetID source = UniqueWidgetID())
    {
        const FIDParameterList list = makeParams(params, source);
        StaticFIDFunctionBase* entry = map.findStaticFIDFunction(name);
        EXPECT_NE(entry, nullptr) << name << " is not registered";
        return entry ? entry->call(name, &list) : false;
    }

    // Records a list of FIDs into a register and stops the recording.
    void recordMacro(int reg, const std::vector<std::pair<std::string, FIDParameterList>>& commands,
                     unsigned workplace = 0)
    {
        const std::string p = "MACRO" + std::to_string(workplace);
        ASSERT_TRUE(fid(p + ".RECORDING.START", {{"REG", std::to_string(reg)}}));
        for (const auto& c : commands) recorder->recordFID(c.first, c.second);
        ASSERT_TRUE(fid(p + ".RECORDING.STOP"));
    }

    bool logged(const std::string& text) const
    {
        for (const auto& line : log.lines())
            if (line.find(text) != std::string::npos) return true;
        return false;
    }
    // Index of the first log line holding the text, -1 if none.
    int logIndex(const std::string& text) const
    {
        const auto lines = log.lines();
        for (size_t i = 0; i < lines.size(); ++i)
            if (lines[i].find(text) != std::string::npos) return static_cast<int>(i);
        return -1;
    }
    bool waitForLog(const std::string& text, std::chrono::milliseconds timeout = 5000ms) const
    {
        const auto end = Clock::now() + timeout;
        while (Clock::now() < end) {
            if (logged(text)) return true;
            std::unique_lock<std::mutex> lock(m_waitMutex);
            m_wait.wait_for(lock, 5ms);
        }
        return logged(text);
    }

    LogCapture log;
    testenv::TempDir dir;
    MFDConfigHandler config;
    RecordingPanelState state;
    FIDMapHandler map;
    FakeFIDReceiver receiver;
    FakePanelEvent events;
    std::unique_ptr<MacroRecorder> recorder;
    std::unique_ptr<MacroSystem> system;

private:
    std::filesystem::path m_oldCwd;
    mutable std::mutex m_waitMutex;
    mutable std::condition_variable m_wait;
};

inline FIDParameterList params(std::initializer_list<std::pair<std::string, std::string>> pairs,
                               UniqueWidgetID source = UniqueWidgetID())
{
    return makeParams(pairs, source);
}

// The bytes of a file, empty if it cannot be read.
inline std::string readText(const std::filesystem::path& path)
{
    std::error_code ec;
    const auto size = std::filesystem::file_size(path, ec);
    if (ec) return std::string();
    std::string bytes(static_cast<size_t>(size), '\0');
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (!file) return std::string();
    const size_t got = std::fread(bytes.data(), 1, bytes.size(), file);
    std::fclose(file);
    bytes.resize(got);
    return bytes;
}

// File text with the signature and the date of saving taken out.
// (Plain text search: the regular expression library trips the sanitizer build's warnings.)
inline std::string replaceAttribute(std::string text, const std::string& attribute, const std::string& value,
                                    bool remove)
{
    const std::string start = " " + attribute + "=\"";
    const size_t at = text.find(start);
    if (at == std::string::npos) return text;
    const size_t end = text.find('"', at + start.size());
    if (end == std::string::npos) return text;
    text.replace(at, end + 1 - at, remove ? std::string() : start + value + "\"");
    return text;
}

inline std::string stable(const std::string& text)
{
    return replaceAttribute(replaceAttribute(text, "signature", "", true), "date", "D", false);
}

// The date attribute's text, empty if there is none.
inline std::string dateOf(const std::string& text)
{
    const size_t at = text.find(" date=\"");
    if (at == std::string::npos) return std::string();
    const size_t end = text.find('"', at + 7);
    return end == std::string::npos ? std::string() : text.substr(at + 7, end - at - 7);
}

inline std::string macroFileText(const std::string& name, const std::string& body)
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<macro name=\"" + name + "\" version=\"0.1\">\n" + body +
           "</macro>\n";
}

// A recorder of workplace 0 whose widget control records every call, with
// the attach and detach FIDs at hand.
class AttachRigTest : public ::testing::Test {
protected:
    MacroRecorder& make()
    {
        MacroRecorder& r = rig.make(0);
        r.setWidgetControlInterface(&control);
        return r;
    }
    bool attach(const UniqueWidgetID& w, const std::string& type, int reg)
    {
        return rig.fid("MACRO0.ATTACH", {{"WORKPLACE", std::to_string(w.getWorkplaceID())},
                                         {"GROUP", std::to_string(w.getGroupID())},
                                         {"MODULE", std::to_string(w.getModuleID())},
                                         {"WIDGET", std::to_string(w.getWidgetID())},
                                         {"TYPE", type},
                                         {"REG", std::to_string(reg)}});
    }
    bool detach(const UniqueWidgetID& w, const std::string& type)
    {
        return rig.fid("MACRO0.DETACH", {{"WORKPLACE", std::to_string(w.getWorkplaceID())},
                                         {"GROUP", std::to_string(w.getGroupID())},
                                         {"MODULE", std::to_string(w.getModuleID())},
                                         {"WIDGET", std::to_string(w.getWidgetID())},
                                         {"TYPE", type}});
    }

    // Outlives the recorder, which may still paint while it goes.
    RecordingWidgetControl control;
    MacroRig rig;
};

} // namespace macrotest

// Concurrency soak of the loaded module: the macros of eight workplaces play
// configuration, panel memory, settings and macro FIDs in loops while the host
// sends the same on one thread per workplace, presses attached buttons (and
// buttons of workplaces that have no recorder yet), brackets application loads
// and, between rounds, restarts the module. After each round the workplace
// file, the published state and the macro files must agree, and the module
// started again on those files must publish the same.
//
// The length is PANELMFD_SOAK_SECONDS (default 60), the length of one round
// PANELMFD_SOAK_ROUND_SECONDS (default 6).

#include <gtest/gtest.h>
#include <tinyxml.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <map>
#include <mutex>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "oskit/Path.h"
#include "panelhost.h"
#include "panelsys/XMLVerify.h"
#include "support/moduletestenv.h"

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr int kWorkplaces = 8;
constexpr int kMacroRegisters = 3;

int settingFromEnvironment(const char* name, int fallback)
{
    const char* text = std::getenv(name);
    if (!text || !*text) return fallback;
    const int value = std::atoi(text);
    return value > 0 ? value : fallback;
}

// One step of a macro file.
struct Step {
    std::string fid;
    std::vector<std::pair<std::string, std::string>> params;
    unsigned workplace = 0;
};

FIDParameterList parameterList(const std::vector<std::pair<std::string, std::string>>& params, unsigned workplace)
{
    FIDParameterList list;
    for (const auto& p : params) list.add(p.first, p.second);
    list.sourceWidget = UniqueWidgetID(workplace, 0, 0, 0);
    return list;
}

// A signed macro file in the module's format.
void writeMacroFile(const fs::path& path, const std::string& name, const std::vector<Step>& steps)
{
    TiXmlDocument document;
    document.LinkEndChild(new TiXmlDeclaration("1.0", "UTF-8", ""));
    auto* root = new TiXmlElement("macro");
    root->SetAttribute("name", name);
    root->SetAttribute("version", "0.1");
    root->LinkEndChild(new TiXmlElement("configuration"));
    auto* data = new TiXmlElement("data");
    for (const Step& step : steps) {
        auto* cmd = new TiXmlElement("cmd");
        cmd->SetAttribute("fid", step.fid);
        cmd->SetAttribute("workplace", static_cast<int>(step.workplace));
        cmd->SetAttribute("group", 0);
        cmd->SetAttribute("module", 0);
        cmd->SetAttribute("widget", 0);
        for (const auto& p : step.params) {
            auto* param = new TiXmlElement("param");
            param->SetAttribute("name", p.first);
            param->SetAttribute("value", p.second);
            cmd->LinkEndChild(param);
        }
        data->LinkEndChild(cmd);
    }
    root->LinkEndChild(data);
    document.LinkEndChild(root);
    fs::create_directories(path.parent_path());
    ASSERT_TRUE(document.SaveFile(path.string()));
    (void)XMLVerify().insertSignature(oskit::Path(path.string()));
}

std::string wp(int w) { return std::to_string(w); }

// Register 1 walks the configuration, panel memory, settings and macro FIDs;
// register 2 stops itself half way, as a macro may.
std::vector<Step> configurationMacro(int w)
{
    const unsigned u = static_cast<unsigned>(w);
    const std::string next = wp((w + 1) % kWorkplaces);
    const std::string me = "PANEL.MACRO" + wp(w);
    return {
        {"PANEL.MFD.ADD",
         {{"WPID", wp(w)}, {"MFDID", "M" + wp(w) + "A"}, {"TYPE", "T1"}, {"VERSION", "1.0"}, {"WORKDIR", "/m"},
          {"IFCTYPE", "ETH"}, {"IPADDR", "10.0.0." + wp(w)}},
         u},
        {"PANEL.PORT.CONFIG.ASSIGN_WP", {{"WPID", wp(w)}, {"PORT", wp(w % 8 + 1)}}, u},
        {"PANEL.MEMORY.DEFINE.ADD", {{"DEF", "CAM"}, {"WP", wp(w)}}, u},
        {"PANEL.SETTINGS.BRIGHTNESS.DISPLAY.TFT.SET", {{"VALUE", "500"}, {"WP", wp(w)}}, u},
        {me + ".NAME.SET", {{"REG", "2"}, {"NAME", "Played" + wp(w)}}, u},
        {"PANEL.MFD.MODIFY", {{"WPID", wp(w)}, {"MFDID", "M" + wp(w) + "A"}, {"COMPONENT", "IPADDR"}, {"VALUE", "10.1.0.1"}},
         u},
        {"PANEL.MFD.ADD",
         {{"WPID", next}, {"MFDID", "M" + wp(w) + "B"}, {"TYPE", "T2"}, {"VERSION", "2.0"}, {"WORKDIR", "/n"},
          {"IFCTYPE", "SER"}},
         u},
        {me + ".RECORDING.INSERT_DELAY", {{"TSECS", "1"}}, u},
        {"PANEL.MEMORY.LEARN", {{"REG", "5"}, {"VERSION", "1"}}, u},
        {"PANEL.MEMORY.BEGIN", {{"WP", wp(w)}}, u},
        {"PANEL.MEMORY.SAVE_VAR.CAM_PAN", {{"WP", wp(w)}, {"VAL", "0.5"}}, u},
        {"PANEL.MEMORY.END", {{"WP", wp(w)}, {"VERSION", "1"}}, u},
        {"PANEL.MEMORY.RECALL", {{"REG", "5"}}, u},
        {"PANEL.SETTINGS.COLOR.MACRO.SET", {{"VAL", w % 2 ? "RED" : "GREEN"}, {"WP", wp(w)}}, u},
        {"PANEL.MFD.REMOVE", {{"WPID", next}, {"MFDID", "M" + wp(w) + "B"}}, u},
        {"PANEL.PORT.CONFIG.UNASSIGN", {{"PORT", wp(w % 8 + 1)}}, u},
        {"PANEL.MFD.REMOVE", {{"WPID", wp(w)}, {"MFDID", "M" + wp(w) + "A"}}, u},
        {me + ".RECORDING.INSERT_DELAY", {{"TSECS", "1"}}, u},
    };
}

std::vector<Step> selfStoppingMacro(int w)
{
    const unsigned u = static_cast<unsigned>(w);
    const std::string me = "PANEL.MACRO" + wp(w);
    return {
        {"PANEL.PORT.CONFIG.ASSIGN_WP", {{"WPID", wp(w)}, {"PORT", wp((w + 3) % 8 + 1)}}, u},
        {"PANEL.SETTINGS.JOYSTICK.SENSITIVITY.INC", {{"VALUE", "1"}, {"WP", wp(w)}}, u},
        {me + ".NAME.SET", {{"REG", "1"}, {"NAME", "Config" + wp(w)}}, u},
        {me + ".STOP", {}, u},
        {"PANEL.MFD.ADD",
         {{"WPID", wp(w)}, {"MFDID", "NEVER" + wp(w)}, {"TYPE", "T"}, {"VERSION", "1"}, {"WORKDIR", "/"},
          {"IFCTYPE", "ETH"}},
         u},
    };
}

// The published workplace state, or what a workplace file gives, as key -> text.
using StateMap = std::map<std::string, std::string>;

StateMap workplaceState(const std::map<std::string, panelhost::StateValue>& snapshot)
{
    StateMap out;
    for (int w = 0; w < kWorkplaces; ++w) {
        const std::string prefix = "PANEL.WP" + wp(w) + ".";
        for (int i = 0;; ++i) {
            auto it = snapshot.find(prefix + "PORTLIST" + std::to_string(i));
            if (it == snapshot.end()) break;
            out[prefix + "PORTLIST" + std::to_string(i)] = it->second.text;
        }
        auto count = snapshot.find(prefix + "MFDCOUNT");
        out[prefix + "MFDCOUNT"] = count == snapshot.end() ? "<none>" : count->second.text;
        const int drivers = count == snapshot.end() ? 0 : std::atoi(count->second.text.c_str());
        for (int d = 0; d < drivers; ++d) {
            const std::string key = prefix + "MFD" + std::to_string(d);
            for (const char* suffix : {"", ".TYPE", ".VERSION", ".WORKDIR", ".IPADDR", ".NETWORKIFC", ".IFCTYPE"}) {
                auto it = snapshot.find(key + suffix);
                out[key + suffix] = it == snapshot.end() ? "<none>" : it->second.text;
            }
        }
    }
    return out;
}

StateMap workplaceFileState(const fs::path& path)
{
    StateMap out;
    for (int w = 0; w < kWorkplaces; ++w) out["PANEL.WP" + wp(w) + ".MFDCOUNT"] = "0";
    TiXmlDocument document(path.string());
    if (!document.LoadFile()) {
        out["file"] = "unreadable";
        return out;
    }
    const TiXmlElement* root = document.RootElement();
    for (const TiXmlElement* workplace = root ? root->FirstChildElement("workplace") : nullptr; workplace;
         workplace = workplace->NextSiblingElement("workplace")) {
        const std::string prefix = "PANEL.WP" + std::string(workplace->Attribute("id")) + ".";
        const TiXmlElement* ports = workplace->FirstChildElement("ports");
        std::istringstream list(ports && ports->GetText() ? ports->GetText() : "");
        int port = 0;
        for (int i = 0; list >> port; ++i) out[prefix + "PORTLIST" + std::to_string(i)] = std::to_string(port);
        int d = 0;
        for (const TiXmlElement* driver = workplace->FirstChildElement("mainframeDriver"); driver;
             driver = driver->NextSiblingElement("mainframeDriver"), ++d) {
            const std::string key = prefix + "MFD" + std::to_string(d);
            auto attr = [&](const char* name) {
                const char* value = driver->Attribute(name);
                return std::string(value ? value : "");
            };
            out[key] = attr("driverID");
            out[key + ".TYPE"] = attr("driverType");
            out[key + ".VERSION"] = attr("version");
            out[key + ".WORKDIR"] = attr("workingDirectory");
            out[key + ".IPADDR"] = attr("ipAddress");
            out[key + ".NETWORKIFC"] = attr("networkAdapter");
            out[key + ".IFCTYPE"] = attr("interfaceType");
        }
        out[prefix + "MFDCOUNT"] = std::to_string(d);
    }
    return out;
}

// What the published state says of the macro registers, and what the files say.
StateMap macroState(const std::map<std::string, panelhost::StateValue>& snapshot)
{
    StateMap out;
    for (int w = 0; w < kWorkplaces; ++w)
        for (int r = 1; r <= kMacroRegisters; ++r) {
            const std::string key = "PANEL.MACRO" + wp(w) + ".REG" + std::to_string(r);
            auto empty = snapshot.find(key + ".EMPTY");
            auto name = snapshot.find(key + ".NAME");
            out[key] = (empty == snapshot.end() ? std::string("<none>") : empty->second.text) + " " +
                       (name == snapshot.end() ? std::string("<none>") : name->second.text);
        }
    return out;
}

StateMap macroFileState(const fs::path& runDir)
{
    StateMap out;
    for (int w = 0; w < kWorkplaces; ++w)
        for (int r = 1; r <= kMacroRegisters; ++r) {
            const std::string key = "PANEL.MACRO" + wp(w) + ".REG" + std::to_string(r);
            char file[32];
            std::snprintf(file, sizeof(file), "macro%03d.mac", r);
            const fs::path path = runDir / "nvram/PANEL/macro" / ("workplace" + wp(w)) / file;
            TiXmlDocument document(path.string());
            if (!fs::exists(path)) {
                out[key] = "TRUE ";
            } else if (!document.LoadFile() || !document.RootElement()) {
                out[key] = "unreadable";
            } else {
                const char* name = document.RootElement()->Attribute("name");
                out[key] = std::string("FALSE ") + (name ? name : "");
            }
        }
    return out;
}

std::string differences(const StateMap& expected, const StateMap& actual)
{
    std::string text;
    for (const auto& [key, value] : expected) {
        auto it = actual.find(key);
        if (it == actual.end())
            text += "  " + key + ": " + value + " / missing\n";
        else if (it->second != value)
            text += "  " + key + ": " + value + " / " + it->second + "\n";
    }
    for (const auto& [key, value] : actual)
        if (!expected.count(key)) text += "  " + key + ": missing / " + value + "\n";
    return text;
}

// Stops the load threads at the end of a round; a pause is a wait on it.
class RoundEnd {
public:
    void signal()
    {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_over = true;
        }
        m_changed.notify_all();
    }
    bool over()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_over;
    }
    // True when the round ended within the pause.
    bool pause(std::chrono::milliseconds length)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_changed.wait_for(lock, length, [this] { return m_over; });
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_over = false;
};

struct Counters {
    std::atomic<uint64_t> hostFIDs{0};
    std::atomic<uint64_t> recorded{0};
    std::atomic<uint64_t> presses{0};
    std::atomic<uint64_t> brackets{0};
    // FIDs the module sent to the host's receiver (each macro step among them);
    // a lower bound, since what arrives between counting and clearing is lost.
    std::atomic<uint64_t> moduleSent{0};
};

class Soak {
public:
    explicit Soak(panelhost::Host& host) : m_host(host) {}

    bool fid(const std::string& name, const std::vector<std::pair<std::string, std::string>>& params, int w)
    {
        ++m_counters.hostFIDs;
        return m_host.sendFID(name, parameterList(params, static_cast<unsigned>(w)));
    }

    void press(IMacroSystem& macros, const UniqueWidgetID& widget)
    {
        ++m_counters.presses;
        macros.onButtonDown(widget);
        macros.execPreMacro(widget);
        if (macros.hasReplaceMacro(widget)) macros.execReplaceMacro(widget);
        macros.completePreMacro(widget);
        macros.execPostMacro(widget);
        macros.onButtonRelease(widget);
    }

    // One workplace's host thread: the same kinds of FIDs as its macros, and more.
    void hostLoop(int w, unsigned seed, IMacroSystem& macros, RoundEnd& end)
    {
        std::mt19937 random(seed);
        auto pick = [&](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
        const std::string me = "MACRO" + wp(w);
        while (!end.over()) {
            const std::string driver = "H" + wp(w) + "_" + std::to_string(pick(4));
            switch (pick(18)) {
            case 0:
            case 1:
                fid("MFD.ADD",
                    {{"WPID", wp(w)}, {"MFDID", driver}, {"TYPE", "HT"}, {"VERSION", "3"}, {"WORKDIR", "/h"},
                     {"IFCTYPE", "ETH"}, {"IPADDR", "10.2.0.1"}, {"NETWORKIFC", "eth0"}},
                    w);
                break;
            case 2:
                fid("MFD.REMOVE", {{"WPID", wp(w)}, {"MFDID", driver}}, w);
                break;
            case 3:
                fid("MFD.ADD",
                    {{"WPID", wp(w)}, {"MFDID", "M" + wp(w) + "A"}, {"TYPE", "T1"}, {"VERSION", "1.0"},
                     {"WORKDIR", "/m"}, {"IFCTYPE", "ETH"}},
                    w);
                break;
            case 4:
                fid("MFD.REMOVE", {{"WPID", wp(w)}, {"MFDID", "M" + wp(w) + "A"}}, w);
                break;
            case 5:
                fid("MFD.MODIFY", {{"WPID", wp(w)}, {"MFDID", driver}, {"COMPONENT", "WORKDIR"}, {"VALUE", "/x"}}, w);
                break;
            case 6:
                fid("PORT.CONFIG.ASSIGN_WP", {{"WPID", wp(w)}, {"PORT", std::to_string(pick(8) + 1)}}, w);
                break;
            case 7:
                fid("PORT.CONFIG.UNASSIGN", {{"PORT", std::to_string(pick(8) + 1)}}, w);
                break;
            case 8:
                fid("PORT.CONFIG.SET",
                    {{"WPID", wp(w)}, {"SWAP1", std::to_string(pick(8) + 1)}, {"SWAP2", std::to_string(pick(8) + 1)}},
                    w);
                break;
            case 9:
                fid(me + ".RECALL", {{"REG", std::to_string(pick(2) + 1)}}, w);
                break;
            case 10:
                fid(me + ".NAME.SET", {{"REG", std::to_string(pick(kMacroRegisters) + 1)},
                                       {"NAME", "Host" + wp(w) + "_" + std::to_string(pick(100))}},
                    w);
                break;
            case 11:
                if (pick(2)) {
                    fid(me + ".DELETE", {{"REG", "3"}}, w);
                } else {
                    fid(me + ".RECORDING.START", {{"REG", "3"}}, w);
                    for (int i = 0; i < 2; ++i) {
                        ++m_counters.recorded;
                        FIDParameterList step = parameterList({{"NAME", "STEP"}, {"VALUE", std::to_string(i)}},
                                                              static_cast<unsigned>(w));
                        macros.recordFID("PANEL.TRIGGER", step);
                    }
                    fid(me + ".RECORDING.STOP", {}, w);
                }
                break;
            case 12:
                press(macros, UniqueWidgetID(static_cast<unsigned>(w), 1, 2, 3));
                break;
            case 13:
                // A workplace with no recorder yet: the press makes one.
                press(macros, UniqueWidgetID(static_cast<unsigned>(kWorkplaces + w), 1, 2, 3));
                break;
            case 14:
                fid("SETTINGS.BRIGHTNESS.DISPLAY.TFT.SET", {{"VALUE", std::to_string(100 + pick(900))}, {"WP", wp(w)}},
                    w);
                break;
            case 15:
                fid("SETTINGS.COLOR.MACRO.SET", {{"VAL", pick(2) ? "BLUE" : "RED"}, {"WP", wp(w)}}, w);
                break;
            case 16: {
                const std::string reg = std::to_string(pick(3) + 5);
                fid("MEMORY.DEFINE.ADD", {{"DEF", "AUDIO"}, {"WP", wp(w)}}, w);
                fid("MEMORY.LEARN", {{"REG", reg}, {"VERSION", "1"}}, w);
                fid("MEMORY.BEGIN", {{"WP", wp(w)}}, w);
                fid("MEMORY.SAVE_VAR.AUDIO_GAIN", {{"WP", wp(w)}, {"VAL", "-3"}}, w);
                fid("MEMORY.END", {{"WP", wp(w)}, {"VERSION", "1"}}, w);
                fid("MEMORY.RENAME", {{"REG", reg}, {"NAME", "Host" + wp(w)}}, w);
                fid("MEMORY.RECALL", {{"REG", reg}}, w);
                if (pick(4) == 0) fid("MEMORY.DELETE", {{"REG", reg}}, w);
                break;
            }
            default:
                fid(me + ".STOP", {}, w);
                break;
            }
        }
    }

    // The application bracket, over and over.
    void bracketLoop(RoundEnd& end)
    {
        while (!end.over()) {
            fid("APPLICATION.LOAD.PREPARE", {}, 0);
            end.pause(std::chrono::milliseconds(40));
            fid("APPLICATION.LOAD.FINISH", {}, 0);
            ++m_counters.brackets;
            if (end.pause(std::chrono::milliseconds(1000))) break;
        }
    }

    // The macros of one round: files written while the module is stopped, then
    // attachments and the first recalls.
    void prepareRound(IMacroSystem& macros)
    {
        for (int w = 0; w < kWorkplaces; ++w) {
            fid("MACRO" + wp(w) + ".ATTACH",
                {{"WORKPLACE", wp(w)}, {"GROUP", "1"}, {"MODULE", "2"}, {"WIDGET", "3"}, {"TYPE", "PRE"}, {"REG", "1"}},
                w);
            fid("MACRO" + wp(w) + ".ATTACH",
                {{"WORKPLACE", wp(w)}, {"GROUP", "1"}, {"MODULE", "2"}, {"WIDGET", "3"}, {"TYPE", "POST"}, {"REG", "2"}},
                w);
            fid("MACRO" + wp(w) + ".ATTACHMENTS.ACTIVE.SET", {{"VALUE", "ON"}}, w);
            fid("MACRO" + wp(w) + ".RECALL", {{"REG", "1"}}, w);
        }
        (void)macros;
    }

    void runRound(std::chrono::milliseconds length, unsigned seed)
    {
        IMacroSystem* macros = m_host.module().macroSystem();
        ASSERT_NE(macros, nullptr);
        prepareRound(*macros);

        RoundEnd end;
        std::vector<std::thread> threads;
        for (int w = 0; w < kWorkplaces; ++w)
            threads.emplace_back([this, w, seed, macros, &end] { hostLoop(w, seed * 31 + static_cast<unsigned>(w), *macros, end); });
        threads.emplace_back([this, &end] { bracketLoop(end); });
        // The host keeps every entry it records; they are counted and let go
        // once a second, so that a long run stays small.
        std::thread timer([this, &end, length] {
            RoundEnd tick;
            for (auto left = length; left.count() > 0; left -= std::chrono::milliseconds(1000)) {
                tick.pause(std::min(left, std::chrono::milliseconds(1000)));
                collect();
            }
            end.signal();
        });
        timer.join();
        for (auto& t : threads) t.join();
    }

    // Counts what the module sent since the last call and lets the host's records go.
    void collect()
    {
        m_counters.moduleSent += m_host.recorder().size(panelhost::Stream::Sent);
        m_host.recorder().clear();
    }

    Counters& counters() { return m_counters; }

private:
    panelhost::Host& m_host;
    Counters m_counters;
};

} // namespace

TEST(Soak, EightWorkplacesRaceTheHostAndAgreeWithTheirFiles)
{
    const int seconds = settingFromEnvironment("PANELMFD_SOAK_SECONDS", 60);
    const int roundSeconds = settingFromEnvironment("PANELMFD_SOAK_ROUND_SECONDS", 6);
    // A memory file system where there is one: the soak is about threads, not
    // about the disk's speed of syncing.
    std::error_code ec;
    if (!std::getenv("TMPDIR") && fs::is_directory("/dev/shm", ec)) ::setenv("TMPDIR", "/dev/shm", 1);
    testenv::TempDir dir;
    ASSERT_FALSE(dir.path().empty());

    // Register 1 and 2 of every workplace, before the first start.
    for (int w = 0; w < kWorkplaces; ++w) {
        const fs::path folder = dir.path() / "nvram/PANEL/macro" / ("workplace" + wp(w));
        writeMacroFile(folder / "macro001.mac", "Config" + wp(w), configurationMacro(w));
        writeMacroFile(folder / "macro002.mac", "Stop" + wp(w), selfStoppingMacro(w));
    }

    panelhost::HostOptions options;
    options.modulePath = PANELMFD_MODULE_PATH;
    options.runDir = dir.str();
    options.captureStdout = true;
    panelhost::Host host(options);
    std::string error;
    ASSERT_TRUE(host.start({}, error)) << error;

    Soak soak(host);
    int rounds = 0;
    const auto deadline = Clock::now() + std::chrono::seconds(seconds);
    while (Clock::now() < deadline) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
        const auto length = std::min(left, std::chrono::milliseconds(roundSeconds * 1000));
        soak.runRound(length, static_cast<unsigned>(rounds) + 1);
        ++rounds;

        // Stopped, every thread of the module has ended: what it published last
        // is what its files hold.
        host.stop();
        const auto before = host.state().snapshot();
        const StateMap workplaces = workplaceState(before);
        const StateMap registers = macroState(before);
        EXPECT_EQ(differences(workplaceFileState(dir.path() / "config/Workplaces.xml"), workplaces), "")
            << "round " << rounds << ": workplace file / published state";
        EXPECT_EQ(differences(macroFileState(dir.path()), registers), "")
            << "round " << rounds << ": macro files / published state";
        soak.collect();

        // The recorders of the extra workplaces are made by a button again.
        for (int w = kWorkplaces; w < 2 * kWorkplaces; ++w)
            fs::remove_all(dir.path() / "nvram/PANEL/macro" / ("workplace" + wp(w)));

        // Started again on those files, the module publishes the same.
        ASSERT_TRUE(host.restart(error)) << error;
        const auto after = host.state().snapshot();
        EXPECT_EQ(differences(workplaces, workplaceState(after)), "") << "round " << rounds << ": after the restart";
        EXPECT_EQ(differences(registers, macroState(after)), "") << "round " << rounds << ": after the restart";
        if (::testing::Test::HasFailure()) break;
    }
    host.stop();

    Counters& c = soak.counters();
    // Standard output belongs to the module while the host captures it.
    std::cerr << "soak: " << seconds << " s in " << rounds << " rounds; host FIDs " << c.hostFIDs.load()
              << ", FIDs the module sent (macro steps among them) at least " << c.moduleSent.load() << ", recorded FIDs "
              << c.recorded.load() << ", button presses " << c.presses.load() << ", application brackets "
              << c.brackets.load() << std::endl;
    EXPECT_GT(rounds, 0);
    EXPECT_GT(c.hostFIDs.load(), 0u);
}

// The host's narration: a burst of state keys under one prefix reads as one
// line with its count, a prefix with few keys shows them, other lines come
// after the burst, a paused burst shows by itself, and verbose shows every key.
// The module's own narration of a new macro recorder, plain and verbose.

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>

#include "console.h"
#include "narrator.h"
#include "panelhost.h"
#include "scriptparser.h"
#include "scriptrunner.h"

using namespace panelhost;

namespace {

// A narrator writing into a scratch file.
struct FileNarration {
    std::string path;
    int fd = -1;
    FileNarration()
    {
        char pattern[] = "/tmp/narration-XXXXXX";
        fd = mkstemp(pattern);
        path = pattern;
    }
    ~FileNarration()
    {
        if (fd >= 0) ::close(fd);
        std::remove(path.c_str());
    }
    std::string text() const
    {
        std::ifstream in(path, std::ios::binary);
        std::ostringstream os;
        os << in.rdbuf();
        return os.str();
    }
};

std::vector<std::string> lines(const std::string& text)
{
    std::vector<std::string> out;
    std::istringstream in(text);
    for (std::string l; std::getline(in, l);) out.push_back(l);
    return out;
}

void registerKeys(Narrator& n, const std::string& prefix, int registers)
{
    for (int r = 1; r <= registers; ++r) {
        n.line("state", prefix + ".REG" + std::to_string(r) + ".EMPTY = TRUE");
        n.line("state", prefix + ".REG" + std::to_string(r) + ".NAME = \"\"");
    }
}

size_t countStarting(const std::vector<std::string>& all, const std::string& start)
{
    size_t n = 0;
    for (const auto& l : all)
        if (l.rfind(start, 0) == 0) ++n;
    return n;
}

} // namespace

TEST(Narrator, ABurstUnderOnePrefixReadsAsOneLineBeforeTheNextLine)
{
    FileNarration out;
    {
        Narrator n(out.fd);
        registerKeys(n, "PANEL.MACRO3", 999);
        n.line("event", "LOADED");
        EXPECT_EQ(out.text(), "state  PANEL.MACRO3.*   (1998 keys published)\nevent  LOADED\n");
    }
}

TEST(Narrator, APrefixWithFewKeysShowsThem)
{
    FileNarration out;
    Narrator n(out.fd);
    n.line("state", "PANEL.MACRO0.RECORDING.REG = 4");
    n.line("state", "PANEL.MACRO0.REG4.EMPTY = FALSE");
    n.line("state", "PANEL.MACRO0.REG4.NAME = M004");
    n.line("state", "MFD1.MACRO.REG4.STATUS = PLAY");
    n.flushSummary();
    EXPECT_EQ(out.text(), "state  PANEL.MACRO0.RECORDING.REG = 4\n"
                          "state  PANEL.MACRO0.REG4.EMPTY = FALSE\n"
                          "state  PANEL.MACRO0.REG4.NAME = M004\n"
                          "state  MFD1.MACRO.REG4.STATUS = PLAY\n");
}

TEST(Narrator, EachRunOfAPrefixIsCountedInTurn)
{
    FileNarration out;
    Narrator n(out.fd);
    registerKeys(n, "PANEL.MACRO0", 3);
    registerKeys(n, "PANEL.MEMORY0", 2);
    registerKeys(n, "PANEL.MACRO0", 4);
    n.heading("next");
    EXPECT_EQ(out.text(), "state  PANEL.MACRO0.*   (6 keys published)\n"
                          "state  PANEL.MEMORY0.*   (4 keys published)\n"
                          "state  PANEL.MACRO0.*   (8 keys published)\n"
                          "\n== next\n");
}

TEST(Narrator, VerboseShowsEveryKeyAsItComes)
{
    FileNarration out;
    Narrator n(out.fd);
    n.setVerbose(true);
    EXPECT_TRUE(n.verbose());
    registerKeys(n, "PANEL.MACRO3", 999);
    const auto all = lines(out.text());
    ASSERT_EQ(all.size(), 1998u);
    EXPECT_EQ(all.front(), "state  PANEL.MACRO3.REG1.EMPTY = TRUE");
    EXPECT_EQ(all.back(), "state  PANEL.MACRO3.REG999.NAME = \"\"");
    // Switched off again, the next burst reads as one line.
    n.setVerbose(false);
    registerKeys(n, "PANEL.MACRO4", 999);
    n.flushSummary();
    EXPECT_EQ(lines(out.text()).back(), "state  PANEL.MACRO4.*   (1998 keys published)");
}

TEST(Narrator, APausedBurstShowsByItself)
{
    int fds[2];
    ASSERT_EQ(::pipe(fds), 0);
    {
        Narrator n(fds[1]);
        registerKeys(n, "PANEL.MACRO5", 10);
        pollfd p{fds[0], POLLIN, 0};
        ASSERT_EQ(::poll(&p, 1, 5000), 1) << "the held lines never showed";
        char buffer[256] = {};
        const ssize_t got = ::read(fds[0], buffer, sizeof buffer - 1);
        EXPECT_EQ(std::string(buffer, got > 0 ? static_cast<size_t>(got) : 0),
                  "state  PANEL.MACRO5.*   (20 keys published)\n");
        // A single key after the pause shows itself, alone.
        n.line("state", "PANEL.LOADED = \"\"");
        ASSERT_EQ(::poll(&p, 1, 5000), 1) << "the single key never showed";
        const ssize_t one = ::read(fds[0], buffer, sizeof buffer - 1);
        EXPECT_EQ(std::string(buffer, one > 0 ? static_cast<size_t>(one) : 0), "state  PANEL.LOADED = \"\"\n");
    }
    ::close(fds[0]);
    ::close(fds[1]);
}

TEST(Narrator, SilentNarrationHoldsNothing)
{
    FileNarration out;
    Narrator n(out.fd);
    n.setEnabled(false);
    registerKeys(n, "PANEL.MACRO3", 999);
    n.setEnabled(true);
    n.line("event", "X");
    EXPECT_EQ(out.text(), "event  X\n");
}

namespace {

// The narration of a host that makes the recorder of workplace 3.
std::vector<std::string> newRecorderNarration(bool verbose)
{
    FileNarration out;
    char pattern[] = "/tmp/narrator-host-XXXXXX";
    HostOptions options;
    options.runDir = mkdtemp(pattern);
    options.modulePath = PANELMFD_MODULE_PATH;
    options.narrate = true;
    options.captureLog = false;
    {
        Host host(options);
        host.narrator().setFd(out.fd);
        host.narrator().setVerbose(verbose);
        ScriptRunner runner(host, "test");
        Script s = parseScript("start\ncall IMacroSystem.getMacroLevel 3.0.0.1\nexpect state PANEL.MACRO3.REG999.EMPTY = TRUE");
        for (const auto& c : s.commands) EXPECT_TRUE(runner.execute(c).ok) << c.text;
        host.stop();
    }
    std::error_code ec;
    std::filesystem::remove_all(options.runDir, ec);
    return lines(out.text());
}

} // namespace

TEST(Narrator, ANewRecorderReadsAsOneLine)
{
    // Its 1998 register keys and the rest under its prefix: a count, not the
    // keys (a burst longer than the longest hold reads as a line per hold).
    const auto all = newRecorderNarration(false);
    size_t summaries = 0;
    long long keys = 0;
    for (const auto& l : all) {
        if (l.rfind("state  PANEL.MACRO3.", 0) != 0) continue;
        ASSERT_EQ(l.rfind("state  PANEL.MACRO3.*   (", 0), 0u) << l;
        ASSERT_NE(l.find(" keys published)"), std::string::npos) << l;
        keys += std::stoll(l.substr(l.find('(') + 1));
        ++summaries;
    }
    EXPECT_GE(summaries, 1u);
    EXPECT_LE(summaries, 3u);
    EXPECT_GE(keys, 1998);
}

TEST(Narrator, ANewRecorderVerboseShowsEveryKey)
{
    const auto all = newRecorderNarration(true);
    EXPECT_GE(countStarting(all, "state  PANEL.MACRO3.REG"), 1998u);
    EXPECT_EQ(countStarting(all, "state  PANEL.MACRO3.*"), 0u);
}

TEST(Narrator, TheConsoleSwitchesVerboseOnAndOff)
{
    FileNarration out;
    HostOptions options;
    options.runDir = "/tmp";
    options.captureLog = false;
    options.narrate = true;
    Host host(options);
    host.narrator().setFd(out.fd);
    Console console(host);
    EXPECT_TRUE(console.verbose("verbose on"));
    EXPECT_TRUE(host.narrator().verbose());
    registerKeys(host.narrator(), "PANEL.MACRO6", 5);
    EXPECT_EQ(countStarting(lines(out.text()), "state  PANEL.MACRO6.REG"), 10u);
    EXPECT_TRUE(console.verbose("verbose off"));
    EXPECT_FALSE(host.narrator().verbose());
    registerKeys(host.narrator(), "PANEL.MACRO7", 5);
    host.narrator().flushSummary();
    EXPECT_EQ(lines(out.text()).back(), "state  PANEL.MACRO7.*   (10 keys published)");
    EXPECT_TRUE(console.verbose("verbose maybe")); // answers with the usage, changes nothing
    EXPECT_FALSE(host.narrator().verbose());
    EXPECT_FALSE(console.verbose("fid SETVAR NAME=verbose VALUE=on"));
    EXPECT_TRUE(console.candidates("", "verb").count("verbose"));
    EXPECT_TRUE(console.candidates("verbose ", "o").count("on"));
}

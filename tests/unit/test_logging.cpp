// Both logging front ends through the one backend and its observer.

#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "oskit/LogBackend.h"
#include "oskit/LogManager.h"
#include "panelsys/Logging.h"

namespace lb = oskit::logbackend;
using Norvane::Utilities::Logging::LogCategory;
using Norvane::Utilities::Logging::LogLevel;
using Norvane::Utilities::Logging::LogStream;

namespace {

// Collects every entry as "LEVEL Category: message"; keeps the sink quiet.
class LoggingTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        m_oldLevel = lb::getLevel();
        lb::useNone();
        lb::setObserver([this](lb::Level level, std::string_view category, std::string_view message) {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_lines.push_back(std::string(lb::levelName(level)) + " " + std::string(category) + ": " +
                              std::string(message));
        });
        oskit::LogManager::createInstance();
    }
    void TearDown() override
    {
        lb::setObserver(nullptr);
        lb::useStderr();
        lb::setLevel(m_oldLevel);
    }
    std::vector<std::string> lines()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_lines;
    }
    lb::Level m_oldLevel = lb::Level::Info;
    std::mutex m_mutex;
    std::vector<std::string> m_lines;
};

// An object that counts how often it is formatted.
struct Probe {
    mutable int* formatted;
};

std::ostream& operator<<(std::ostream& os, const Probe& probe)
{
    ++*probe.formatted;
    return os << "probe";
}

} // namespace

TEST_F(LoggingTest, LevelNames)
{
    EXPECT_STREQ(lb::levelName(lb::Level::Debug), "DEBUG");
    EXPECT_STREQ(lb::levelName(lb::Level::Info), "INFO");
    EXPECT_STREQ(lb::levelName(lb::Level::Warn), "WARN");
    EXPECT_STREQ(lb::levelName(lb::Level::Error), "ERROR");
    EXPECT_STREQ(lb::levelName(lb::Level::Alert), "ALERT");
    EXPECT_STREQ(lb::levelName(lb::Level::Fatal), "FATAL");
    EXPECT_EQ(LogLevel::toLevel("WARN"), LogLevel::WARN);
    EXPECT_EQ(LogLevel::toLevel("FATAL"), LogLevel::FATAL);
    EXPECT_EQ(LogLevel::toLevel("ALERT"), LogLevel::ALERT);
    EXPECT_EQ(LogLevel::toLevel("ERROR"), LogLevel::ERROR);
    EXPECT_EQ(LogLevel::toLevel("INFO"), LogLevel::INFO);
    EXPECT_EQ(LogLevel::toLevel("whatever"), LogLevel::DEBUG);
    EXPECT_STREQ(LogLevel::toString(LogLevel::ERROR), "ERROR");
}

TEST_F(LoggingTest, CategoryStreamEmitsOneEntryOnDestruction)
{
    lb::setLevel(lb::Level::Debug);
    LogCategory& category = Norvane::Utilities::Logging::LogManager::getInstance().getCategory("PanelDriver");
    {
        LogStream stream = category.getErrorStream();
        stream << "Menu Panel DDC EEPROM write FAILED: failed to read " << 256 << " bytes";
        EXPECT_TRUE(lines().empty());
    }
    category.getInfoStream() << "ready";
    category.getStream(LogLevel::ALERT) << "alert " << 1.5;
    EXPECT_EQ(lines(), (std::vector<std::string>{
                           "ERROR PanelDriver: Menu Panel DDC EEPROM write FAILED: failed to read 256 bytes",
                           "INFO PanelDriver: ready", "ALERT PanelDriver: alert 1.5"}));
}

TEST_F(LoggingTest, CategoryCopiesShareTheName)
{
    lb::setLevel(lb::Level::Debug);
    LogCategory& original = Norvane::Utilities::Logging::LogManager::getInstance().getCategory("LOG");
    EXPECT_EQ(&original, &Norvane::Utilities::Logging::LogManager::getInstance().getCategory("LOG"));
    LogCategory copy(original);
    copy.getWarnStream() << "copied";
    EXPECT_EQ(copy.getName(), "LOG");
    EXPECT_EQ(lines(), (std::vector<std::string>{"WARN LOG: copied"}));
}

TEST_F(LoggingTest, CategoryBelowLevelFormatsNothing)
{
    lb::setLevel(lb::Level::Warn);
    const LogCategory category("PanelDriver");
    int formatted = 0;
    {
        LogStream stream = category.getInfoStream();
        EXPECT_FALSE(stream.isEnabled());
        stream << Probe{&formatted} << "text";
    }
    category.getDebugStream() << Probe{&formatted};
    EXPECT_EQ(formatted, 0);
    EXPECT_TRUE(lines().empty());
    category.getWarnStream() << Probe{&formatted};
    EXPECT_EQ(formatted, 1);
    EXPECT_EQ(lines(), (std::vector<std::string>{"WARN PanelDriver: probe"}));
}

TEST_F(LoggingTest, MovedFromStreamEmitsNothing)
{
    lb::setLevel(lb::Level::Debug);
    const LogCategory category("Cat");
    {
        LogStream first = category.getErrorStream();
        first << "one";
        LogStream second(std::move(first));
        second << " two";
        EXPECT_FALSE(first.isEnabled());
    }
    EXPECT_EQ(lines(), (std::vector<std::string>{"ERROR Cat: one two"}));
}

TEST_F(LoggingTest, OutputLevelsMapToNames)
{
    lb::setLevel(lb::Level::Debug);
    oskit::LogOutput* out = oskit::LogManager::getInstance()->getLogOutput("Macro");
    out->level(oskit::LOG_ERROR) << "e" << std::endl;
    out->level(oskit::LOG_WARN) << "w\n";
    out->level(oskit::LOG_INFO) << "i " << 5 << "\n";
    out->level(oskit::LOG_DEBUG) << "d" << std::endl;
    out->level(oskit::LOG_NOTICE) << "n" << std::endl;
    out->level(oskit::LOG_ALERT) << "a" << std::endl;
    out->level(oskit::LOG_FATAL) << "f" << std::endl;
    EXPECT_EQ(lines(), (std::vector<std::string>{"ERROR Macro: e", "WARN Macro: w", "INFO Macro: i 5",
                                                 "DEBUG Macro: d", "INFO Macro: n", "ALERT Macro: a",
                                                 "FATAL Macro: f"}));
}

TEST_F(LoggingTest, OutputSplitsLinesIntoEntries)
{
    lb::setLevel(lb::Level::Debug);
    oskit::LogOutput* out = oskit::LogManager::getInstance()->getLogOutput("Macro");
    out->level(oskit::LOG_INFO) << "first\nsecond\n";
    EXPECT_EQ(lines(), (std::vector<std::string>{"INFO Macro: first", "INFO Macro: second"}));
}

TEST_F(LoggingTest, UnfinishedLineIsFlushedWhenLevelSwitches)
{
    lb::setLevel(lb::Level::Debug);
    oskit::LogOutput* out = oskit::LogManager::getInstance()->getLogOutput("Macro");
    out->level(oskit::LOG_WARN) << "no line end";
    EXPECT_TRUE(lines().empty());
    out->level(oskit::LOG_ERROR) << "next" << std::endl;
    EXPECT_EQ(lines(), (std::vector<std::string>{"WARN Macro: no line end", "ERROR Macro: next"}));
}

TEST_F(LoggingTest, OutputBelowLevelFormatsNothing)
{
    lb::setLevel(lb::Level::Info);
    oskit::LogOutput* out = oskit::LogManager::getInstance()->getLogOutput("Macro");
    int formatted = 0;
    std::ostream& os = out->level(oskit::LOG_DEBUG);
    EXPECT_TRUE(os.bad());
    os << Probe{&formatted} << 12 << std::endl;
    EXPECT_TRUE(lines().empty());
    out->level(oskit::LOG_INFO) << 12 << std::endl;
    EXPECT_EQ(lines(), (std::vector<std::string>{"INFO Macro: 12"}));
}

TEST_F(LoggingTest, OutputResetsFormattingForEachStatement)
{
    lb::setLevel(lb::Level::Debug);
    oskit::LogOutput* out = oskit::LogManager::getInstance()->getLogOutput("Macro");
    out->level(oskit::LOG_INFO) << std::hex << 255 << std::endl;
    out->level(oskit::LOG_INFO) << 255 << std::endl;
    EXPECT_EQ(lines(), (std::vector<std::string>{"INFO Macro: ff", "INFO Macro: 255"}));
}

TEST_F(LoggingTest, EntriesFromManyThreadsStayWhole)
{
    lb::setLevel(lb::Level::Debug);
    oskit::LogOutput* out = oskit::LogManager::getInstance()->getLogOutput("Macro");
    const LogCategory category("PanelDriver");
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([t, out, &category] {
            for (int i = 0; i < 50; ++i) {
                out->level(oskit::LOG_INFO) << "thread " << t << " line " << i << std::endl;
                category.getInfoStream() << "thread " << t << " entry " << i;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    const std::vector<std::string> all = lines();
    EXPECT_EQ(all.size(), 400u);
    for (const std::string& line : all) {
        EXPECT_TRUE(line.rfind("INFO Macro: thread ", 0) == 0 || line.rfind("INFO PanelDriver: thread ", 0) == 0)
            << line;
    }
}

TEST_F(LoggingTest, FileSinkWritesEntryLines)
{
    lb::setLevel(lb::Level::Debug);
    const std::string path =
        (std::filesystem::temp_directory_path() / ("panel-log-" + std::to_string(::getpid()) + ".txt")).string();
    std::filesystem::remove(path);
    ASSERT_TRUE(lb::useFile(path));
    lb::emit(lb::Level::Warn, "Category", "message");
    lb::useNone();
    std::ifstream in(path);
    std::string line;
    std::getline(in, line);
    EXPECT_EQ(line, "WARN Category: message");
    // A regular file where a directory would have to be: no sink, false.
    std::ofstream(path) << "plain";
    EXPECT_FALSE(lb::useFile(path + "/log.txt"));
    std::filesystem::remove(path);
}

TEST_F(LoggingTest, EnabledFollowsLevel)
{
    lb::setLevel(lb::Level::Error);
    EXPECT_EQ(lb::getLevel(), lb::Level::Error);
    EXPECT_FALSE(lb::enabled(lb::Level::Warn));
    EXPECT_TRUE(lb::enabled(lb::Level::Error));
    EXPECT_TRUE(lb::enabled(lb::Level::Fatal));
    lb::emit(lb::Level::Info, "C", "dropped");
    EXPECT_TRUE(lines().empty());
    lb::setLevel(lb::Level::Off);
    EXPECT_FALSE(lb::enabled(lb::Level::Fatal));
}

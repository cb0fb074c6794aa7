// The brightness observer: polls of the exchange file, and the task running.

#include <chrono>
#include <cstring>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>

#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "support/hostilepaths.h"
#include "support/settingsrig.h"

using settingsrig::readFile;
using settingsrig::SettingsTest;
using settingsrig::waitUntil;

namespace {

class ObserverTest : public SettingsTest {
protected:
    // A start without the task; the test drives the polls itself.
    settingsrig::Start& startQuiet()
    {
        auto& s = start(false);
        m_observer = std::make_unique<PanelBrightnessObserver>("Task", boost::posix_time::microseconds(1000000));
        m_observer->setParent(s.settings.get());
        return s;
    }
    void TearDown() override
    {
        m_observer.reset();
        SettingsTest::TearDown();
    }
    std::string pollCapturingStdout()
    {
        testing::internal::CaptureStdout();
        m_observer->poll();
        return testing::internal::GetCapturedStdout();
    }

    std::unique_ptr<PanelBrightnessObserver> m_observer;
};

std::string key(int wp, const char* suffix) { return "SETTINGS" + std::to_string(wp) + suffix; }

} // namespace

TEST_F(ObserverTest, OutsideOledEditTakesEffectForAllWorkplaces)
{
    auto& s = startQuiet();
    testenv::writeFile(exchangeFile(), exchangeText(1000, 3072, 3072, 1024, 3072));
    m_observer->poll();
    for (int wp = 1; wp <= 8; ++wp) EXPECT_EQ(s.state.value(key(wp, ".BRIGHTNESS.DISPLAY.OLED")), "1000") << wp;
    EXPECT_EQ(s.settings->getBrightnessDisplayOled(1), 1000);
    EXPECT_EQ(s.settings->getBrightnessDisplayOled(7), 1000);
    stop();
    std::string expected;
    for (int wp = 1; wp <= 8; ++wp)
        expected += "<fid name=\"SETTINGS.BRIGHTNESS.DISPLAY.OLED.SET\" workplace=\"" + std::to_string(wp) +
                    "\">\n    <param name=\"WP\" value=\"" + std::to_string(wp) +
                    "\" />\n    <param name=\"VALUE\" value=\"1000\" />\n</fid>\n";
    EXPECT_EQ(readFile(settingsFile()), expected);
}

TEST_F(ObserverTest, ButtonEditReachesWorkplaces1To7Only)
{
    auto& s = startQuiet();
    testenv::writeFile(exchangeFile(), exchangeText(2560, 3072, 2000, 500, 3072));
    m_observer->poll();
    for (int wp = 1; wp <= 7; ++wp) {
        EXPECT_EQ(s.state.value(key(wp, ".BRIGHTNESS.BUTTON.HI")), "2000") << wp;
        EXPECT_EQ(s.state.value(key(wp, ".BRIGHTNESS.BUTTON.LOW")), "500") << wp;
    }
    EXPECT_FALSE(s.state.has("SETTINGS8.BRIGHTNESS.BUTTON.HI"));
    EXPECT_EQ(s.settings->getBrightnessButtonHi(8), 3072);
    const size_t mark = s.state.changeCount();
    const int refreshes = s.widgets.refreshes.load();
    m_observer->poll(); // workplace 8 is offered again and refused again
    EXPECT_EQ(s.state.changeCount(), mark);
    EXPECT_EQ(s.widgets.refreshes.load(), refreshes);
}

TEST_F(ObserverTest, Workplace8DisplayIsSetOnceThenEqualsEntry7)
{
    auto& s = startQuiet();
    testenv::writeFile(exchangeFile(), exchangeText(2560, 3072, 3072, 1024, 1000));
    m_observer->poll();
    EXPECT_EQ(s.state.timesSet("SETTINGS8.BRIGHTNESS.DISPLAY.TFT"), 1U);
    EXPECT_EQ(s.state.value("SETTINGS8.BRIGHTNESS.DISPLAY.TFT"), "1000");
    EXPECT_EQ(s.settings->getBrightnessDisplayTft(8), 3072);
    const size_t mark = s.state.changeCount();
    m_observer->poll();
    EXPECT_EQ(s.state.changeCount(), mark);
}

TEST_F(ObserverTest, PerWorkplaceChangeIsSetBackByTheNextPoll)
{
    auto& s = startQuiet();
    ASSERT_TRUE(s.fid("SETTINGS.BRIGHTNESS.DISPLAY.OLED.SET", {{"VALUE", "1234"}, {"WP", "3"}}));
    EXPECT_EQ(s.settings->getBrightnessDisplayOled(3), 1234);
    m_observer->poll();
    EXPECT_EQ(s.settings->getBrightnessDisplayOled(3), 2560);
    EXPECT_EQ(s.state.value("SETTINGS3.BRIGHTNESS.DISPLAY.OLED"), "2560");
}

TEST_F(ObserverTest, FifthValueCarriesTheLineFeedIntoTheSettingsFile)
{
    auto& s = startQuiet();
    testenv::writeFile(exchangeFile(), exchangeText(2560, 3072, 3072, 1024, 1000));
    m_observer->poll();
    EXPECT_EQ(s.settings->getBrightnessDisplayTft(1), 1000);
    EXPECT_EQ(s.state.value("SETTINGS1.BRIGHTNESS.DISPLAY.TFT"), "1000");
    stop();
    const std::string written = readFile(settingsFile());
    EXPECT_NE(written.find("<param name=\"VALUE\" value=\"1000&#x0A;\" />"), std::string::npos) << written;
}

TEST_F(ObserverTest, EqualValuesCauseNoCallNoWriteAndNoStateChange)
{
    auto& s = startQuiet();
    const std::string before = readFile(exchangeFile());
    const size_t mark = s.state.changeCount();
    EXPECT_EQ(pollCapturingStdout(), "");
    EXPECT_EQ(s.state.changeCount(), mark);
    EXPECT_EQ(s.widgets.refreshes.load(), 0);
    EXPECT_EQ(readFile(exchangeFile()), before);
    stop();
    EXPECT_FALSE(std::filesystem::exists(settingsFile()));
}

TEST_F(ObserverTest, Workplace1ChangeRewritesTheFileUnderTheSharedLock)
{
    auto& s = startQuiet();
    testenv::writeFile(exchangeFile(), exchangeText(2560, 3072, 3072, 1024, 900) + "tail");
    m_observer->poll();
    EXPECT_EQ(s.settings->getBrightnessDisplayTft(1), 900);
    EXPECT_EQ(readFile(exchangeFile()), exchangeText(2560, 3072, 3072, 1024, 900) + "tail");
}

TEST_F(ObserverTest, MissingFileIsReportedAndNothingChanges)
{
    auto& s = startQuiet();
    std::filesystem::remove(exchangeFile());
    const size_t mark = s.state.changeCount();
    EXPECT_EQ(pollCapturingStdout(), "PBO: File did Not open\n");
    EXPECT_EQ(s.state.changeCount(), mark);
}

TEST_F(ObserverTest, NamedPipeFolderOrLinkLoopIsRefusedWithItsLineAndReadsAsAMissingFile)
{
    auto& s = startQuiet();
    const std::filesystem::path file = exchangeFile();
    for (const auto& c : testenv::hostilePaths(file)) {
        std::filesystem::remove_all(file);
        c.make();
        const size_t mark = s.state.changeCount();
        EXPECT_EQ(pollCapturingStdout(),
                  "PBO: File refused (" + std::string(c.what) + "): " + file.string() + "\nPBO: File did Not open\n");
        EXPECT_EQ(s.state.changeCount(), mark);
    }
    std::filesystem::remove_all(file);
}

TEST_F(ObserverTest, TooShortFileIsRefusedWithoutAStop)
{
    auto& s = startQuiet();
    const size_t mark = s.state.changeCount();
    testenv::writeFile(exchangeFile(), "WP");
    EXPECT_EQ(pollCapturingStdout(), "PBO: File too short\n");
    testenv::writeFile(exchangeFile(), "");
    EXPECT_EQ(pollCapturingStdout(), "PBO: File too short\n");
    testenv::writeFile(exchangeFile(), "Workplace WP1");
    EXPECT_EQ(pollCapturingStdout(), "PBO: File too short\n");
    EXPECT_EQ(s.state.changeCount(), mark);
}

TEST_F(ObserverTest, HeaderOnlyFileSetsFourSettingsToZeroAndTextKeepsItsValue)
{
    auto& s = startQuiet();
    testenv::writeFile(exchangeFile(), "Workplace OLEDBrightness TextBrightness HighTally LowTally TFT\n");
    m_observer->poll();
    EXPECT_EQ(s.settings->getBrightnessDisplayOled(2), 0);
    EXPECT_EQ(s.settings->getBrightnessDisplayTft(2), 0);
    EXPECT_EQ(s.settings->getBrightnessButtonHi(2), 0);
    EXPECT_EQ(s.settings->getBrightnessButtonLow(2), 0);
    EXPECT_EQ(s.settings->getBrightnessDisplayText(2), 3072);
}

TEST_F(ObserverTest, LineWithTooFewFieldsReadsTheMissingOnesFromTheHeader)
{
    PanelBrightnessObserver::Tokens tokens;
    ASSERT_TRUE(PanelBrightnessObserver::splitFields(
        "Workplace OLEDBrightness TextBrightness HighTally LowTally TFT\nWP1 1000\n", tokens));
    EXPECT_EQ(tokens[0], "1000\n");
    EXPECT_EQ(tokens[1], "Workplace");
    EXPECT_EQ(tokens[2], "OLEDBrightness");
    EXPECT_EQ(tokens[4], "HighTally");

    auto& s = startQuiet();
    testenv::writeFile(exchangeFile(), "Workplace OLEDBrightness TextBrightness HighTally LowTally TFT\nWP1 1000\n");
    m_observer->poll();
    EXPECT_EQ(s.settings->getBrightnessDisplayOled(1), 1000);
    EXPECT_EQ(s.settings->getBrightnessDisplayText(1), 3072);
    EXPECT_EQ(s.settings->getBrightnessButtonHi(1), 0);
}

TEST_F(ObserverTest, ValuesOutsideTheLimitsAreRefusedByTheHandlers)
{
    auto& s = startQuiet();
    testenv::writeFile(exchangeFile(), exchangeText(5000, 499, -1, 4096, 3072));
    const size_t mark = s.state.changeCount();
    m_observer->poll();
    EXPECT_EQ(s.state.changeCount(), mark);
    EXPECT_EQ(s.settings->getBrightnessDisplayOled(1), 2560);
}

TEST_F(ObserverTest, WithoutAParentTheFileIsOnlyRead)
{
    auto& s = startQuiet();
    m_observer->setParent(nullptr);
    testenv::writeFile(exchangeFile(), exchangeText(1000, 3072, 3072, 1024, 3072));
    const size_t mark = s.state.changeCount();
    EXPECT_EQ(pollCapturingStdout(), "");
    EXPECT_EQ(s.state.changeCount(), mark);
}

TEST_F(ObserverTest, SplitFieldsWithoutWp1StartsAtByteThree)
{
    PanelBrightnessObserver::Tokens tokens;
    ASSERT_TRUE(PanelBrightnessObserver::splitFields("abc12 34 56 78 90", tokens));
    EXPECT_EQ(tokens[0], "12");
    EXPECT_EQ(tokens[4], "90");
    EXPECT_FALSE(PanelBrightnessObserver::splitFields("ab", tokens));
    EXPECT_TRUE(PanelBrightnessObserver::splitFields("abc", tokens));
}

TEST_F(ObserverTest, RunningTaskTakesUpAnOutsideEditWithinTwoPolls)
{
    auto& s = start(true);
    testenv::writeFile(exchangeFile(), exchangeText(1500, 3072, 3072, 1024, 3072));
    for (int wp = 1; wp <= 8; ++wp)
        EXPECT_TRUE(s.state.waitFor(key(wp, ".BRIGHTNESS.DISPLAY.OLED"), "1500", 10000)) << wp;
}

// A second process edits the file under an exclusive lock, as an outside
// program must; the running observer waits for the lock and takes up the
// whole edit, never the half-written file.
TEST_F(ObserverTest, OutsideProcessEditUnderExclusiveLockIsTakenUp)
{
    auto& s = start(true);
    const std::string path = exchangeFile().string();
    const std::string half = "Workplace OLEDBrightness TextBrightness HighTally LowTally TFT\nWP1 0";
    const std::string whole = exchangeText(1700, 3072, 3072, 1024, 3072);
    int ready[2];
    ASSERT_EQ(::pipe(ready), 0);

    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        // Only async-signal-safe calls from here on.
        const int fd = ::open(path.c_str(), O_RDWR);
        if (fd < 0 || ::flock(fd, LOCK_EX) != 0) ::_exit(2);
        if (::ftruncate(fd, 0) != 0) ::_exit(3);
        if (::pwrite(fd, half.data(), half.size(), 0) < 0) ::_exit(4);
        const char byte = 'x';
        if (::write(ready[1], &byte, 1) != 1) ::_exit(5);
        const struct timespec pause = {2, 500000000}; // longer than a poll period
        ::nanosleep(&pause, nullptr);
        if (::pwrite(fd, whole.data(), whole.size(), 0) < 0) ::_exit(6);
        ::fsync(fd);
        ::flock(fd, LOCK_UN);
        ::close(fd);
        ::_exit(0);
    }
    ::close(ready[1]);
    char byte = 0;
    ASSERT_EQ(::read(ready[0], &byte, 1), 1);
    ::close(ready[0]);

    for (int wp = 1; wp <= 8; ++wp)
        EXPECT_TRUE(s.state.waitFor(key(wp, ".BRIGHTNESS.DISPLAY.OLED"), "1700", 15000)) << wp;
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
    for (const auto& change : s.state.changes()) {
        EXPECT_FALSE(change.key == "SETTINGS1.BRIGHTNESS.DISPLAY.OLED" && change.value == "0")
            << "the half-written file was read";
    }
    EXPECT_EQ(s.settings->getBrightnessDisplayOled(1), 1700);
}

// Brightness Set and Inc handlers and the exchange file.

#include <atomic>
#include <chrono>
#include <filesystem>
#include <future>
#include <string>
#include <thread>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "support/settingsrig.h"

using settingsrig::readFile;
using settingsrig::SettingsTest;
using settingsrig::waitUntil;

namespace {

const char* const kSetFids[] = {"SETTINGS.BRIGHTNESS.DISPLAY.OLED.SET", "SETTINGS.BRIGHTNESS.DISPLAY.TFT.SET",
                                "SETTINGS.BRIGHTNESS.DISPLAY.TEXT.SET", "SETTINGS.BRIGHTNESS.BUTTON.LOW.SET",
                                "SETTINGS.BRIGHTNESS.BUTTON.HI.SET"};
const char* const kIncFids[] = {"SETTINGS.BRIGHTNESS.DISPLAY.OLED.INC", "SETTINGS.BRIGHTNESS.DISPLAY.TFT.INC",
                                "SETTINGS.BRIGHTNESS.DISPLAY.TEXT.INC", "SETTINGS.BRIGHTNESS.BUTTON.LOW.INC",
                                "SETTINGS.BRIGHTNESS.BUTTON.HI.INC"};
const char* const kKeys[] = {".BRIGHTNESS.DISPLAY.OLED", ".BRIGHTNESS.DISPLAY.TFT", ".BRIGHTNESS.DISPLAY.TEXT",
                             ".BRIGHTNESS.BUTTON.LOW", ".BRIGHTNESS.BUTTON.HI"};

} // namespace

TEST_F(SettingsTest, TextFloorRefuses499AndAccepts500)
{
    auto& s = start();
    EXPECT_FALSE(s.fid("SETTINGS.BRIGHTNESS.DISPLAY.TEXT.SET", {{"VALUE", "499"}, {"WP", "2"}}));
    EXPECT_EQ(s.settings->getBrightnessDisplayText(2), 3072);
    EXPECT_TRUE(s.fid("SETTINGS.BRIGHTNESS.DISPLAY.TEXT.SET", {{"VALUE", "500"}, {"WP", "2"}}));
    EXPECT_EQ(s.settings->getBrightnessDisplayText(2), 500);
    EXPECT_EQ(s.state.value("SETTINGS2.BRIGHTNESS.DISPLAY.TEXT"), "500");
}

TEST_F(SettingsTest, OledAcceptsZeroAndRefuses4096AndMinusOne)
{
    auto& s = start();
    EXPECT_TRUE(s.fid("SETTINGS.BRIGHTNESS.DISPLAY.OLED.SET", {{"VALUE", "0"}, {"WP", "2"}}));
    EXPECT_EQ(s.settings->getBrightnessDisplayOled(2), 0);
    const size_t mark = s.state.changeCount();
    EXPECT_FALSE(s.fid("SETTINGS.BRIGHTNESS.DISPLAY.OLED.SET", {{"VALUE", "4096"}, {"WP", "2"}}));
    EXPECT_FALSE(s.fid("SETTINGS.BRIGHTNESS.DISPLAY.OLED.SET", {{"VALUE", "-1"}, {"WP", "2"}}));
    EXPECT_EQ(s.settings->getBrightnessDisplayOled(2), 0);
    EXPECT_EQ(s.state.changeCount(), mark);
}

TEST_F(SettingsTest, EverySetRefusesValuesOutsideItsRange)
{
    auto& s = start();
    const size_t mark = s.state.changeCount();
    for (const char* fid : kSetFids) {
        EXPECT_FALSE(s.fid(fid, {{"VALUE", "4096"}, {"WP", "3"}})) << fid;
        EXPECT_FALSE(s.fid(fid, {{"VALUE", "-5"}, {"WP", "3"}})) << fid;
        EXPECT_FALSE(s.fid(fid, {{"VALUE", "99999999999"}, {"WP", "3"}})) << fid;
        EXPECT_FALSE(s.fid(fid, {{"VALUE", "100"}, {"WP", "4294967297"}})) << fid;
    }
    EXPECT_EQ(s.state.changeCount(), mark);
    EXPECT_EQ(s.widgets.refreshes.load(), 0);
}

TEST_F(SettingsTest, MissingParametersAreRefused)
{
    auto& s = start();
    for (const char* fid : kSetFids) {
        EXPECT_FALSE(s.fid(fid, {{"VALUE", "100"}})) << fid;
        EXPECT_FALSE(s.fid(fid, {{"WP", "2"}})) << fid;
    }
    for (const char* fid : kIncFids) {
        EXPECT_FALSE(s.fid(fid, {{"VALUE", "100"}})) << fid;
        EXPECT_FALSE(s.fid(fid, {{"WP", "2"}})) << fid;
    }
    EXPECT_EQ(s.widgets.refreshes.load(), 0);
}

TEST_F(SettingsTest, IncClampsToFloorsAndCeiling)
{
    auto& s = start();
    EXPECT_TRUE(s.fid("SETTINGS.BRIGHTNESS.DISPLAY.TEXT.INC", {{"VALUE", "-10000"}, {"WP", "3"}}));
    EXPECT_EQ(s.settings->getBrightnessDisplayText(3), 500);
    EXPECT_EQ(s.state.value("SETTINGS3.BRIGHTNESS.DISPLAY.TEXT"), "500");
    EXPECT_TRUE(s.fid("SETTINGS.BRIGHTNESS.DISPLAY.OLED.INC", {{"VALUE", "-10000"}, {"WP", "3"}}));
    EXPECT_EQ(s.settings->getBrightnessDisplayOled(3), 0);
    for (size_t i = 0; i < 5; ++i) {
        EXPECT_TRUE(s.fid(kIncFids[i], {{"VALUE", "10000"}, {"WP", "4"}}));
        EXPECT_EQ(s.state.value(std::string("SETTINGS4") + kKeys[i]), "4095") << kIncFids[i];
    }
    EXPECT_EQ(s.settings->getBrightnessDisplayOled(4), 4095);
    EXPECT_EQ(s.settings->getBrightnessDisplayTft(4), 4095);
    EXPECT_EQ(s.settings->getBrightnessDisplayText(4), 4095);
    EXPECT_EQ(s.settings->getBrightnessButtonLow(4), 4095);
    EXPECT_EQ(s.settings->getBrightnessButtonHi(4), 4095);
    EXPECT_TRUE(s.fid("SETTINGS.BRIGHTNESS.BUTTON.LOW.INC", {{"VALUE", "2147483647"}, {"WP", "5"}}));
    EXPECT_EQ(s.settings->getBrightnessButtonLow(5), 4095);
}

TEST_F(SettingsTest, IncThatChangesNothingStillRefreshesPublishesSavesAndWritesTheExchangeFile)
{
    auto& s = start();
    ASSERT_TRUE(s.fid("SETTINGS.BRIGHTNESS.DISPLAY.TFT.SET", {{"VALUE", "4095"}, {"WP", "1"}}));
    const int refreshes = s.widgets.refreshes.load();
    const size_t mark = s.state.changeCount();
    testenv::writeFile(exchangeFile(), "stale");
    EXPECT_TRUE(s.fid("SETTINGS.BRIGHTNESS.DISPLAY.TFT.INC", {{"VALUE", "1"}, {"WP", "1"}}));
    EXPECT_EQ(s.widgets.refreshes.load(), refreshes + 1);
    EXPECT_EQ(s.state.timesSet("SETTINGS1.BRIGHTNESS.DISPLAY.TFT", mark), 1U);
    EXPECT_EQ(readFile(exchangeFile()), exchangeText(2560, 3072, 3072, 1024, 4095));
    stop();
    EXPECT_NE(readFile(settingsFile()).find("<param name=\"VALUE\" value=\"4095\" />"), std::string::npos);
}

TEST_F(SettingsTest, SetThatChangesNothingDoesNothing)
{
    auto& s = start();
    const size_t mark = s.state.changeCount();
    testenv::writeFile(exchangeFile(), "stale");
    EXPECT_TRUE(s.fid("SETTINGS.BRIGHTNESS.DISPLAY.OLED.SET", {{"VALUE", "2560"}, {"WP", "1"}}));
    EXPECT_EQ(s.widgets.refreshes.load(), 0);
    EXPECT_EQ(s.state.changeCount(), mark);
    EXPECT_EQ(readFile(exchangeFile()), "stale");
    stop();
    EXPECT_FALSE(std::filesystem::exists(settingsFile()));
}

TEST_F(SettingsTest, SetThatChangesRefreshesPublishesAndSaves)
{
    auto& s = start();
    EXPECT_TRUE(s.fid("SETTINGS.BRIGHTNESS.BUTTON.LOW.SET", {{"VALUE", "300"}, {"WP", "5"}}));
    EXPECT_EQ(s.widgets.refreshes.load(), 1);
    EXPECT_EQ(s.state.value("SETTINGS5.BRIGHTNESS.BUTTON.LOW"), "300");
    EXPECT_EQ(s.state.type("SETTINGS5.BRIGHTNESS.BUTTON.LOW"), 'i');
    EXPECT_EQ(s.settings->getBrightnessButtonLow(5), 300);
}

TEST_F(SettingsTest, ButtonHiRefusesWorkplace8WhileOledStoresEntry7)
{
    auto& s = start();
    EXPECT_FALSE(s.fid("SETTINGS.BRIGHTNESS.BUTTON.HI.SET", {{"VALUE", "100"}, {"WP", "8"}}));
    EXPECT_FALSE(s.fid("SETTINGS.BRIGHTNESS.BUTTON.LOW.SET", {{"VALUE", "100"}, {"WP", "8"}}));
    EXPECT_FALSE(s.state.has("SETTINGS8.BRIGHTNESS.BUTTON.HI"));
    EXPECT_TRUE(s.fid("SETTINGS.BRIGHTNESS.DISPLAY.OLED.SET", {{"VALUE", "100"}, {"WP", "8"}}));
    EXPECT_EQ(s.state.value("SETTINGS8.BRIGHTNESS.DISPLAY.OLED"), "100");
    EXPECT_EQ(s.settings->getBrightnessDisplayOled(8), 2560);
    EXPECT_EQ(s.settings->getBrightnessDisplayTft(0), 100); // entry 7 stands before the TFT array
}

TEST_F(SettingsTest, EveryIncRefusesWorkplace8AndNegative)
{
    auto& s = start();
    const size_t mark = s.state.changeCount();
    for (const char* fid : kIncFids) {
        EXPECT_FALSE(s.fid(fid, {{"VALUE", "99999999999"}, {"WP", "2"}})) << fid;
        EXPECT_FALSE(s.fid(fid, {{"VALUE", "1"}, {"WP", "-4294967295"}})) << fid;
        EXPECT_FALSE(s.fid(fid, {{"VALUE", "1"}, {"WP", "8"}})) << fid;
        EXPECT_FALSE(s.fid(fid, {{"VALUE", "1"}, {"WP", "-1"}})) << fid;
    }
    EXPECT_EQ(s.state.changeCount(), mark);
}

TEST_F(SettingsTest, DisplayHandlersAtWorkplaceZeroWriteTheEntryBeforeTheArray)
{
    auto& s = start();
    EXPECT_TRUE(s.fid("SETTINGS.BRIGHTNESS.DISPLAY.TFT.SET", {{"VALUE", "11"}, {"WP", "0"}}));
    EXPECT_EQ(s.state.value("SETTINGS0.BRIGHTNESS.DISPLAY.TFT"), "11");
    EXPECT_EQ(s.settings->getBrightnessDisplayTft(0), 11);
    // The same entry is the last one of the OLED array, workplace 8.
    EXPECT_EQ(s.settings->getBrightnessDisplayOled(8), 2560);
    EXPECT_TRUE(s.fid("SETTINGS.BRIGHTNESS.DISPLAY.OLED.SET", {{"VALUE", "11"}, {"WP", "8"}}));
    EXPECT_TRUE(s.fid("SETTINGS.BRIGHTNESS.BUTTON.HI.SET", {{"VALUE", "12"}, {"WP", "0"}}));
    EXPECT_EQ(s.state.value("SETTINGS0.BRIGHTNESS.BUTTON.HI"), "12");
    EXPECT_TRUE(s.fid("SETTINGS.BRIGHTNESS.BUTTON.LOW.SET", {{"VALUE", "13"}, {"WP", "0"}}));
    EXPECT_EQ(s.state.value("SETTINGS0.BRIGHTNESS.BUTTON.LOW"), "13");
}

TEST_F(SettingsTest, Workplace2LeavesTheExchangeFileAlone)
{
    auto& s = start();
    testenv::writeFile(exchangeFile(), "untouched");
    for (const char* fid : kSetFids) EXPECT_TRUE(s.fid(fid, {{"VALUE", "700"}, {"WP", "2"}}));
    for (const char* fid : kIncFids) EXPECT_TRUE(s.fid(fid, {{"VALUE", "7"}, {"WP", "2"}}));
    EXPECT_EQ(readFile(exchangeFile()), "untouched");
}

TEST_F(SettingsTest, Workplace1RewritesTheExchangeFileWithAllFiveValues)
{
    auto& s = start();
    EXPECT_TRUE(s.fid("SETTINGS.BRIGHTNESS.DISPLAY.OLED.SET", {{"VALUE", "4000"}, {"WP", "1"}}));
    EXPECT_TRUE(s.fid("SETTINGS.BRIGHTNESS.DISPLAY.TEXT.SET", {{"VALUE", "3999"}, {"WP", "1"}}));
    EXPECT_TRUE(s.fid("SETTINGS.BRIGHTNESS.BUTTON.HI.SET", {{"VALUE", "3998"}, {"WP", "1"}}));
    EXPECT_TRUE(s.fid("SETTINGS.BRIGHTNESS.BUTTON.LOW.SET", {{"VALUE", "3997"}, {"WP", "1"}}));
    EXPECT_TRUE(s.fid("SETTINGS.BRIGHTNESS.DISPLAY.TFT.INC", {{"VALUE", "924"}, {"WP", "1"}}));
    EXPECT_EQ(readFile(exchangeFile()),
              "Workplace OLEDBrightness TextBrightness HighTally LowTally TFT\nWP1 4000 3999 3998 3997 3996\n");
}

TEST_F(SettingsTest, ShrinkingLineLeavesTheOldLastBytesBehind)
{
    auto& s = start();
    EXPECT_TRUE(s.fid("SETTINGS.BRIGHTNESS.DISPLAY.OLED.SET", {{"VALUE", "900"}, {"WP", "1"}}));
    EXPECT_EQ(readFile(exchangeFile()), exchangeText(900, 3072, 3072, 1024, 3072) + "\n");
    EXPECT_TRUE(s.fid("SETTINGS.BRIGHTNESS.BUTTON.LOW.SET", {{"VALUE", "5"}, {"WP", "1"}}));
    EXPECT_EQ(readFile(exchangeFile()), exchangeText(900, 3072, 3072, 5, 3072) + "72\n\n");
}

TEST_F(SettingsTest, ExchangeFileWithoutItsFolderPrintsTheOpenFailure)
{
    auto& s = start();
    std::filesystem::remove_all(runDir() / "data");
    testing::internal::CaptureStdout();
    EXPECT_TRUE(s.fid("SETTINGS.BRIGHTNESS.DISPLAY.OLED.SET", {{"VALUE", "901"}, {"WP", "1"}}));
    EXPECT_FALSE(s.settings->saveBrightnessSettingsToFile());
    const std::string out = testing::internal::GetCapturedStdout();
    const std::string line = "PS: File did NOT open: " + PanelSettings::brightnessExchangePath() + "\n";
    EXPECT_EQ(out, line + line);
    EXPECT_FALSE(std::filesystem::exists(runDir() / "data"));
    EXPECT_EQ(s.state.value("SETTINGS1.BRIGHTNESS.DISPLAY.OLED"), "901");
}

TEST_F(SettingsTest, ExchangePathIsDataPanelUnderTheWorkingDirectory)
{
    EXPECT_EQ(PanelSettings::brightnessExchangePath(),
              (std::filesystem::current_path() / "data" / "PANEL" / "brightnessSettings.txt").string());
    EXPECT_STREQ(PanelSettings::SETTINGS_FILE_NAME, "brightnessSettings.txt");
}

TEST_F(SettingsTest, ExchangeWriteGoesThroughWhileAnotherSharedLockIsHeld)
{
    auto& s = start();
    const int fd = ::open(exchangeFile().c_str(), O_RDONLY);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(::flock(fd, LOCK_SH), 0);
    EXPECT_TRUE(s.fid("SETTINGS.BRIGHTNESS.DISPLAY.TFT.SET", {{"VALUE", "1111"}, {"WP", "1"}}));
    EXPECT_EQ(readFile(exchangeFile()), exchangeText(2560, 3072, 3072, 1024, 1111));
    ::flock(fd, LOCK_UN);
    ::close(fd);
}

TEST_F(SettingsTest, ExchangeWriteWaitsForAnOutsideExclusiveLock)
{
    auto& s = start();
    const int fd = ::open(exchangeFile().c_str(), O_RDWR);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(::flock(fd, LOCK_EX), 0);
    std::atomic<bool> done{false};
    std::thread writer([&] {
        s.fid("SETTINGS.BRIGHTNESS.DISPLAY.TFT.SET", {{"VALUE", "2222"}, {"WP", "1"}});
        done = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    EXPECT_FALSE(done.load());
    EXPECT_EQ(readFile(exchangeFile()), exchangeText(2560, 3072, 3072, 1024, 3072));
    ::flock(fd, LOCK_UN);
    writer.join();
    ::close(fd);
    EXPECT_EQ(readFile(exchangeFile()), exchangeText(2560, 3072, 3072, 1024, 2222));
}

TEST_F(SettingsTest, ReplayedWorkplace1BrightnessWritesTheExchangeFileAndDefaultsDriveNothing)
{
    testenv::writeFile(settingsFile(),
                       "<fid name=\"SETTINGS.BRIGHTNESS.DISPLAY.OLED.SET\" workplace=\"1\">\n"
                       "    <param name=\"VALUE\" value=\"2560\" />\n    <param name=\"WP\" value=\"1\" />\n</fid>\n"
                       "<fid name=\"SETTINGS.BRIGHTNESS.DISPLAY.TEXT.SET\" workplace=\"1\">\n"
                       "    <param name=\"VALUE\" value=\"700\" />\n    <param name=\"WP\" value=\"1\" />\n</fid>\n");
    auto& s = start();
    EXPECT_EQ(s.widgets.refreshes.load(), 1);
    EXPECT_EQ(s.state.timesSet("SETTINGS1.BRIGHTNESS.DISPLAY.OLED"), 1U);
    EXPECT_EQ(s.state.value("SETTINGS1.BRIGHTNESS.DISPLAY.TEXT"), "700");
    EXPECT_EQ(readFile(exchangeFile()), exchangeText(2560, 700, 3072, 1024, 3072));
}

TEST(SettingsDeathTest, BrightnessChangeWithoutWidgetManagerStops)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            testenv::ensurePlatformSingletons();
            FIDMapHandler map;
            MFDConfigHandler config;
            config.m_dataDirectory = "/nonexistent";
            settingsrig::QuietPanelSettings settings(&map, &config);
            settings.init();
            const FIDParameterList params = makeParams({{"VALUE", "5"}, {"WP", "3"}});
            map.findStaticFIDFunction("SETTINGS.BRIGHTNESS.DISPLAY.OLED.SET")->call("X", &params);
        },
        "m_pIWidgetManager");
}

// ---- what stands at the exchange file's path ---------------------------------------------------

TEST_F(SettingsTest, ExchangeFileOnANamedPipeIsRefusedOnceAndNeverWaitedOn)
{
    auto& s = start();
    ASSERT_TRUE(std::filesystem::remove(exchangeFile()));
    ASSERT_EQ(::mkfifo(exchangeFile().c_str(), 0600), 0);

    // Far more saves than the pipe's buffer takes, first with nobody at the
    // other end, then while an outside program holds it open and never reads.
    // On a thread, so that a write that waits cannot hold the test up: the
    // pipe is drained then.
    int reader = -1;
    std::atomic<bool> readerOpen{false};
    testing::internal::CaptureStdout();
    auto saves = std::async(std::launch::async, [&] {
        int written = 0;
        for (int i = 0; i < 2000; ++i) {
            if (i == 1000) {
                reader = ::open(exchangeFile().c_str(), O_RDONLY | O_NONBLOCK);
                readerOpen = true;
            }
            if (s.settings->saveBrightnessSettingsToFile()) ++written;
        }
        return written;
    });
    const bool finished = saves.wait_for(std::chrono::seconds(10)) == std::future_status::ready;
    if (!finished && readerOpen.load()) {
        char sink[4096];
        while (saves.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready)
            while (::read(reader, sink, sizeof sink) > 0) {
            }
    }
    const int written = saves.get();
    EXPECT_GE(reader, 0);
    if (reader >= 0) ::close(reader);
    EXPECT_TRUE(s.fid("SETTINGS.BRIGHTNESS.DISPLAY.OLED.SET", {{"VALUE", "902"}, {"WP", "1"}}));
    const std::string out = testing::internal::GetCapturedStdout();

    EXPECT_TRUE(finished) << "the saves waited on the pipe";
    EXPECT_EQ(written, 0);
    const std::string line = "PS: File refused (not a regular file): " + PanelSettings::brightnessExchangePath() + "\n";
    EXPECT_EQ(out, line);
    EXPECT_EQ(s.state.value("SETTINGS1.BRIGHTNESS.DISPLAY.OLED"), "902");
    struct stat info {};
    ASSERT_EQ(::stat(exchangeFile().c_str(), &info), 0);
    EXPECT_TRUE(S_ISFIFO(info.st_mode));
}

TEST_F(SettingsTest, ExchangeFileOnAFolderIsRefusedOnceUntilARegularFileIsWrittenAgain)
{
    auto& s = start();
    ASSERT_TRUE(std::filesystem::remove(exchangeFile()));
    ASSERT_TRUE(std::filesystem::create_directory(exchangeFile()));
    const std::string line = "PS: File refused (not a regular file): " + PanelSettings::brightnessExchangePath() + "\n";

    testing::internal::CaptureStdout();
    EXPECT_TRUE(s.fid("SETTINGS.BRIGHTNESS.DISPLAY.OLED.SET", {{"VALUE", "903"}, {"WP", "1"}}));
    EXPECT_FALSE(s.settings->saveBrightnessSettingsToFile());
    EXPECT_EQ(testing::internal::GetCapturedStdout(), line);
    EXPECT_TRUE(std::filesystem::is_directory(exchangeFile()));
    EXPECT_TRUE(std::filesystem::is_empty(exchangeFile()));

    // A regular file again: written in place as ever, and a folder after it is told again.
    ASSERT_TRUE(std::filesystem::remove(exchangeFile()));
    testing::internal::CaptureStdout();
    EXPECT_TRUE(s.settings->saveBrightnessSettingsToFile());
    EXPECT_EQ(readFile(exchangeFile()), exchangeText(903, 3072, 3072, 1024, 3072));
    ASSERT_TRUE(std::filesystem::remove(exchangeFile()));
    ASSERT_TRUE(std::filesystem::create_directory(exchangeFile()));
    EXPECT_FALSE(s.settings->saveBrightnessSettingsToFile());
    EXPECT_FALSE(s.settings->saveBrightnessSettingsToFile());
    EXPECT_EQ(testing::internal::GetCapturedStdout(), line);
}

TEST_F(SettingsTest, ExchangeFileOnADeviceIsRefused)
{
    auto& s = start();
    ASSERT_TRUE(std::filesystem::remove(exchangeFile()));
    // A symbolic link to a device: what stands there is looked at through it.
    std::filesystem::create_symlink("/dev/null", exchangeFile());
    testing::internal::CaptureStdout();
    EXPECT_FALSE(s.settings->saveBrightnessSettingsToFile());
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "PS: File refused (not a regular file): " + PanelSettings::brightnessExchangePath() + "\n");
}

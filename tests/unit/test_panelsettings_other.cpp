// Power saver, latch mode, blinking, colours, joystick, OLED and lever arm handlers.

#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/settingsrig.h"

using settingsrig::readFile;
using settingsrig::SettingsTest;

TEST_F(SettingsTest, OledModeOffIsRefusedAndStateAndFileStay)
{
    auto& s = start();
    const size_t mark = s.state.changeCount();
    EXPECT_FALSE(s.fid("SETTINGS.OLED.MODE.SET", {{"VALUE", "OFF"}, {"WP", "2"}}));
    EXPECT_EQ(s.state.changeCount(), mark);
    EXPECT_EQ(s.settings->getOLEDMode(2), 1);
    stop();
    EXPECT_FALSE(std::filesystem::exists(settingsFile()));
}

TEST_F(SettingsTest, OledModeChangeStoresTheNumberAndANewList)
{
    auto& s = start();
    EXPECT_TRUE(s.fid("SETTINGS.OLED.MODE.SET", {{"X", "1"}, {"VALUE", "SEPARATE"}, {"WP", "2"}}));
    EXPECT_EQ(s.settings->getOLEDMode(2), 0);
    EXPECT_EQ(s.state.value("SETTINGS2.OLED.MODE"), "SEPARATE");
    EXPECT_EQ(s.widgets.refreshes.load(), 0);
    const size_t mark = s.state.changeCount();
    EXPECT_TRUE(s.fid("SETTINGS.OLED.MODE.SET", {{"VALUE", "SEPARATE"}, {"WP", "2"}}));
    EXPECT_EQ(s.state.changeCount(), mark);
    EXPECT_FALSE(s.fid("SETTINGS.OLED.MODE.SET", {{"VALUE", "JOIN"}, {"WP", "8"}}));
    EXPECT_TRUE(s.fid("SETTINGS.OLED.MODE.SET", {{"WP", "2"}}));
    stop();
    EXPECT_EQ(readFile(settingsFile()), "<fid name=\"SETTINGS.OLED.MODE.SET\" workplace=\"2\">\n"
                                        "    <param name=\"WP\" value=\"2\" />\n"
                                        "    <param name=\"VALUE\" value=\"SEPARATE\" />\n</fid>\n");
}

TEST_F(SettingsTest, OutlineEnableOnStoresFalseWhileTheStateReadsOn)
{
    auto& s = start();
    EXPECT_TRUE(s.fid("SETTINGS.OLED.OUTLINE.ENABLE", {{"ENABLE", "ON"}, {"WP", "3"}}));
    EXPECT_FALSE(s.settings->isOLEDOutlineEnabled(3));
    EXPECT_EQ(s.state.value("SETTINGS3.OLED.OUTLINE.ENABLED"), "ON");
    EXPECT_EQ(s.widgets.refreshes.load(), 1);
    EXPECT_TRUE(s.fid("SETTINGS.OLED.OUTLINE.ENABLE", {{"ENABLE", "TRUE"}, {"WP", "3"}}));
    EXPECT_TRUE(s.settings->isOLEDOutlineEnabled(3));
    EXPECT_TRUE(s.fid("SETTINGS.OLED.OUTLINE.ENABLE", {{"ENABLE", "TRUE"}, {"WP", "3"}}));
    EXPECT_EQ(s.widgets.refreshes.load(), 3); // no test for an unchanged value
    EXPECT_FALSE(s.fid("SETTINGS.OLED.OUTLINE.ENABLE", {{"ENABLE", "TRUE"}, {"WP", "8"}}));
    EXPECT_TRUE(s.fid("SETTINGS.OLED.OUTLINE.ENABLE", {{"WP", "3"}}));
    EXPECT_EQ(s.widgets.refreshes.load(), 3);
}

TEST_F(SettingsTest, FontResizeOnWhenAlreadyTrueDoesNothing)
{
    auto& s = start();
    const size_t mark = s.state.changeCount();
    EXPECT_TRUE(s.fid("SETTINGS.OLED.FONTRESIZE.SET", {{"VALUE", "ON"}, {"WP", "4"}}));
    EXPECT_EQ(s.state.changeCount(), mark);
    EXPECT_EQ(s.state.value("SETTINGS4.OLED.FONTRESIZE"), "TRUE");
    EXPECT_EQ(s.widgets.refreshes.load(), 0);

    EXPECT_TRUE(s.fid("SETTINGS.OLED.FONTRESIZE.SET", {{"VALUE", "no"}, {"WP", "4"}}));
    EXPECT_FALSE(s.settings->getOLEDFontsResizable(4));
    EXPECT_EQ(s.state.value("SETTINGS4.OLED.FONTRESIZE"), "no");
    EXPECT_TRUE(s.fid("SETTINGS.OLED.FONTRESIZE.SET", {{"VALUE", "ON"}, {"WP", "4"}}));
    EXPECT_TRUE(s.settings->getOLEDFontsResizable(4));
    EXPECT_EQ(s.state.value("SETTINGS4.OLED.FONTRESIZE"), "ON");
    EXPECT_EQ(s.widgets.refreshes.load(), 2);
    EXPECT_FALSE(s.fid("SETTINGS.OLED.FONTRESIZE.SET", {{"VALUE", "ON"}, {"WP", "8"}}));
    EXPECT_TRUE(s.fid("SETTINGS.OLED.FONTRESIZE.SET", {{"WP", "4"}}));
}

TEST_F(SettingsTest, LatchModeAtWorkplace8IsRefusedAndNeverPublished)
{
    auto& s = start();
    EXPECT_FALSE(s.fid("SETTINGS.SHIFT.LATCHMODE.SET", {{"MODE", "AUTO"}, {"WP", "8"}}));
    EXPECT_FALSE(s.state.has("SETTINGS8.SHIFT.LATCHMODE"));
    EXPECT_FALSE(s.fid("SETTINGS.SHIFT.LATCHMODE.SET", {{"MODE", "SOMETIMES"}, {"WP", "1"}}));
    EXPECT_FALSE(s.fid("SETTINGS.SHIFT.LATCHMODE.SET", {{"WP", "1"}}));
    for (const char* mode : {"AUTO", "MANUAL", "STANDARD"}) {
        EXPECT_TRUE(s.fid("SETTINGS.SHIFT.LATCHMODE.SET", {{"MODE", mode}, {"WP", "1"}}));
        EXPECT_EQ(s.state.value("SETTINGS1.SHIFT.LATCHMODE"), mode);
    }
}

TEST_F(SettingsTest, HiddenSourceBlinkingTakesOnOrOff)
{
    auto& s = start();
    EXPECT_TRUE(s.fid("SETTINGS.SHIFT.HIDDEN_SOURCE_BLINKING.SET", {{"MODE", "OFF"}, {"WP", "0"}}));
    EXPECT_EQ(s.state.value("SETTINGS0.SHIFT.HIDDEN_SOURCE_BLINKING"), "OFF");
    EXPECT_FALSE(s.fid("SETTINGS.SHIFT.HIDDEN_SOURCE_BLINKING.SET", {{"MODE", "off"}, {"WP", "0"}}));
    EXPECT_FALSE(s.fid("SETTINGS.SHIFT.HIDDEN_SOURCE_BLINKING.SET", {{"MODE", "ON"}, {"WP", "-1"}}));
    EXPECT_EQ(s.state.value("SETTINGS0.SHIFT.HIDDEN_SOURCE_BLINKING"), "OFF");
}

TEST_F(SettingsTest, ColoursTakeAnyTextAndUseVal)
{
    auto& s = start();
    EXPECT_TRUE(s.fid("SETTINGS.COLOR.MACRO.SET", {{"VAL", "any colour"}, {"WP", "7"}}));
    EXPECT_TRUE(s.fid("SETTINGS.COLOR.PMEM.SET", {{"VAL", ""}, {"WP", "7"}}));
    EXPECT_EQ(s.state.value("SETTINGS7.COLOR.MACRO"), "any colour");
    EXPECT_EQ(s.state.value("SETTINGS7.COLOR.PMEM"), "");
    EXPECT_FALSE(s.fid("SETTINGS.COLOR.MACRO.SET", {{"VALUE", "RED"}, {"WP", "7"}}));
    EXPECT_FALSE(s.fid("SETTINGS.COLOR.PMEM.SET", {{"VAL", "RED"}, {"WP", "8"}}));
}

TEST_F(SettingsTest, LeverArmStepSizeHasNoWorkplaceBoundAndKeepsSixteenBits)
{
    auto& s = start();
    EXPECT_TRUE(s.fid("SETTINGS.TESTS.LEVERARM.STEPSIZE.SET", {{"VAL", "70000"}, {"WP", "2"}}));
    EXPECT_EQ(s.settings->getLeverArmTestStepSize(2), 70000 - 65536);
    EXPECT_EQ(s.state.value("SETTINGS2.TESTS.LEVERARM.STEPSIZE"), "70000");
    EXPECT_EQ(s.state.type("SETTINGS2.TESTS.LEVERARM.STEPSIZE"), 'i');
    EXPECT_TRUE(s.fid("SETTINGS.TESTS.LEVERARM.STEPSIZE.SET", {{"VAL", "33"}, {"WP", "9"}}));
    EXPECT_EQ(s.state.value("SETTINGS9.TESTS.LEVERARM.STEPSIZE"), "33");
    EXPECT_EQ(s.settings->getLeverArmTestStepSize(9), 15);
    EXPECT_TRUE(s.fid("SETTINGS.TESTS.LEVERARM.STEPCOUNT.SET", {{"VAL", "4"}, {"WP", "0"}}));
    EXPECT_EQ(s.settings->getLeverArmTestStepCount(0), 4);
    EXPECT_FALSE(s.fid("SETTINGS.TESTS.LEVERARM.STEPCOUNT.SET", {{"VALUE", "4"}, {"WP", "0"}}));
}

TEST_F(SettingsTest, JoystickIncAtTheTopChangesNothingAndSavesNothing)
{
    auto& s = start();
    ASSERT_TRUE(s.fid("SETTINGS.JOYSTICK.SENSITIVITY.SET", {{"VALUE", "4095"}, {"WP", "3"}}));
    ASSERT_TRUE(settingsrig::waitUntil([&] { return std::filesystem::exists(settingsFile()); }, 10000));
    const std::string saved = readFile(settingsFile());
    const size_t mark = s.state.changeCount();
    EXPECT_FALSE(s.fid("SETTINGS.JOYSTICK.SENSITIVITY.INC", {{"VALUE", "10"}, {"WP", "3"}}));
    EXPECT_EQ(s.state.changeCount(), mark);
    EXPECT_EQ(s.settings->getJoystickSensitivity(3), 4095);
    stop();
    EXPECT_EQ(readFile(settingsFile()), saved);
}

TEST_F(SettingsTest, JoystickIncClampsAndIsStoredAsTheSetFid)
{
    auto& s = start();
    EXPECT_TRUE(s.fid("SETTINGS.JOYSTICK.SENSITIVITY.INC", {{"VALUE", "-5000"}, {"WP", "1"}}));
    EXPECT_EQ(s.settings->getJoystickSensitivity(1), 0);
    EXPECT_EQ(s.state.value("SETTINGS1.JOYSTICK.SENSITIVITY"), "0");
    EXPECT_FALSE(s.fid("SETTINGS.JOYSTICK.SENSITIVITY.INC", {{"VALUE", "-1"}, {"WP", "1"}}));
    EXPECT_FALSE(s.fid("SETTINGS.JOYSTICK.SENSITIVITY.INC", {{"VALUE", "1"}, {"WP", "8"}}));
    EXPECT_FALSE(s.fid("SETTINGS.JOYSTICK.SENSITIVITY.INC", {{"WP", "1"}}));
    EXPECT_EQ(s.widgets.refreshes.load(), 0);
    stop();
    EXPECT_EQ(readFile(settingsFile()), "<fid name=\"SETTINGS.JOYSTICK.SENSITIVITY.SET\" workplace=\"1\">\n"
                                        "    <param name=\"WP\" value=\"1\" />\n"
                                        "    <param name=\"VALUE\" value=\"0\" />\n</fid>\n");
}

TEST_F(SettingsTest, JoystickSetRangeAndWorkplace)
{
    auto& s = start();
    EXPECT_TRUE(s.fid("SETTINGS.JOYSTICK.SENSITIVITY.SET", {{"VALUE", "2048"}, {"WP", "6"}}));
    EXPECT_EQ(s.state.timesSet("SETTINGS6.JOYSTICK.SENSITIVITY"), 2U); // no test for an unchanged value
    EXPECT_FALSE(s.fid("SETTINGS.JOYSTICK.SENSITIVITY.SET", {{"VALUE", "4096"}, {"WP", "6"}}));
    EXPECT_FALSE(s.fid("SETTINGS.JOYSTICK.SENSITIVITY.SET", {{"VALUE", "-1"}, {"WP", "6"}}));
    EXPECT_FALSE(s.fid("SETTINGS.JOYSTICK.SENSITIVITY.SET", {{"VALUE", "1"}, {"WP", "8"}}));
    EXPECT_TRUE(s.fid("SETTINGS.JOYSTICK.SENSITIVITY.SET", {{"VALUE", "0"}, {"WP", "6"}}));
    EXPECT_EQ(s.settings->getJoystickSensitivity(6), 0);
    EXPECT_EQ(s.widgets.refreshes.load(), 0);
}

TEST_F(SettingsTest, PowerSaverIsHandedToTheWidgetManager)
{
    auto& s = start();
    EXPECT_TRUE(s.fid("SETTINGS.POWERSAVER.BYPASS.SET", {{"ENABLE", "ON"}, {"WP", "2"}}));
    EXPECT_TRUE(s.fid("SETTINGS.POWERSAVER.BYPASS.SET", {{"ENABLE", "TRUE"}, {"WP", "12"}}));
    EXPECT_TRUE(s.fid("SETTINGS.POWERSAVER.TIME.SET", {{"TIME", "-30"}, {"WP", "3"}}));
    EXPECT_TRUE(s.fid("SETTINGS.POWERSAVER.TYPE.SET", {{"TYPE", "75"}, {"WP", "1"}}));
    EXPECT_TRUE(s.fid("SETTINGS.POWERSAVER.TYPE.SET", {{"TYPE", "90"}, {"WP", "1"}}));
    EXPECT_TRUE(s.fid("SETTINGS.POWERSAVER.TYPE.SET", {{"TYPE", "FULL"}, {"WP", "1"}}));
    EXPECT_FALSE(s.fid("SETTINGS.POWERSAVER.TYPE.SET", {{"TYPE", "80"}, {"WP", "1"}}));
    EXPECT_FALSE(s.fid("SETTINGS.POWERSAVER.TIME.SET", {{"WP", "1"}}));
    EXPECT_FALSE(s.fid("SETTINGS.POWERSAVER.BYPASS.SET", {{"ENABLE", "ON"}}));
    EXPECT_EQ(s.widgets.calls(),
              (std::vector<std::string>{"bypass 2 1", "bypass 12 0", "time 3 -30", "type 1 0", "type 1 1", "type 1 2"}));
    EXPECT_FALSE(s.state.has("SETTINGS2.POWERSAVER"));
}

TEST_F(SettingsTest, NumbersBeyondAnIntAreRefusedNotReadAsZero)
{
    auto& s = start();
    const size_t mark = s.state.changeCount();
    EXPECT_FALSE(s.fid("SETTINGS.JOYSTICK.SENSITIVITY.SET", {{"VALUE", "99999999999"}, {"WP", "1"}}));
    EXPECT_FALSE(s.fid("SETTINGS.JOYSTICK.SENSITIVITY.INC", {{"VALUE", "-99999999999"}, {"WP", "1"}}));
    EXPECT_FALSE(s.fid("SETTINGS.SHIFT.LATCHMODE.SET", {{"MODE", "AUTO"}, {"WP", "4294967296"}}));
    EXPECT_FALSE(s.fid("SETTINGS.OLED.MODE.SET", {{"VALUE", "SEPARATE"}, {"WP", "4294967296"}}));
    EXPECT_FALSE(s.fid("SETTINGS.TESTS.LEVERARM.STEPSIZE.SET", {{"VAL", "4294967296"}, {"WP", "1"}}));
    EXPECT_FALSE(s.fid("SETTINGS.POWERSAVER.TIME.SET", {{"TIME", "1"}, {"WP", "99999999999"}}));
    EXPECT_EQ(s.state.changeCount(), mark);
    EXPECT_TRUE(s.widgets.calls().empty());
    EXPECT_EQ(s.settings->getOLEDMode(0), 1);
    // Text without digits reads as 0, as everywhere else.
    EXPECT_TRUE(s.fid("SETTINGS.JOYSTICK.SENSITIVITY.SET", {{"VALUE", "none"}, {"WP", "1"}}));
    EXPECT_EQ(s.settings->getJoystickSensitivity(1), 0);
}

TEST_F(SettingsTest, ReplayedPowerSaverReachesTheWidgetManagerAndColourSetsTheState)
{
    auto& s = start();
    ASSERT_TRUE(s.fid("SETTINGS.POWERSAVER.TIME.SET", {{"TIME", "600"}, {"WP", "2"}}));
    ASSERT_TRUE(s.fid("SETTINGS.COLOR.PMEM.SET", {{"VAL", "MAGENTA"}, {"WP", "4"}}));
    stop();
    auto& again = start();
    EXPECT_EQ(again.widgets.calls(), std::vector<std::string>{"time 2 600"});
    EXPECT_EQ(again.state.value("SETTINGS4.COLOR.PMEM"), "MAGENTA");
}

TEST(SettingsDeathTest, PowerSaverWithoutWidgetManagerStops)
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
            const FIDParameterList params = makeParams({{"ENABLE", "ON"}, {"WP", "3"}});
            map.findStaticFIDFunction("SETTINGS.POWERSAVER.BYPASS.SET")->call("X", &params);
        },
        "m_pIWidgetManager");
}

// ---- texts PanelSettings.xml could not keep ----------------------------------------------------

// Any settings FID with a parameter that is no well-formed UTF-8 is refused
// before its handler runs: no state changes, and the file written before
// stays byte for byte and loads again.
TEST_F(SettingsTest, MalformedUtf8InAnyParameterIsRefusedAndTheFileStays)
{
    auto& s = start();
    ASSERT_TRUE(s.fid("SETTINGS.COLOR.MACRO.SET", {{"VAL", "R\xc3\xa9" "D"}, {"WP", "2"}}));
    stop();
    const std::string stored = readFile(settingsFile());
    ASSERT_FALSE(stored.empty());

    auto& again = start();
    const size_t mark = again.state.changeCount();
    ::testing::internal::CaptureStdout();
    EXPECT_FALSE(again.fid("SETTINGS.COLOR.MACRO.SET", {{"VAL", "BLUE\xc3"}, {"WP", "2"}}));
    EXPECT_FALSE(again.fid("SETTINGS.COLOR.PMEM.SET", {{"VAL", "\xff"}, {"WP", "3"}}));
    EXPECT_FALSE(again.fid("SETTINGS.JOYSTICK.SENSITIVITY.SET", {{"VALUE", "100"}, {"WP", "1"}, {"X", "\xed\xa0\x80"}}));
    EXPECT_FALSE(again.fid("SETTINGS.BRIGHTNESS.DISPLAY.TFT.INC", {{"WP", "1"}, {"\xc0\xaf", "1"}}));
    EXPECT_FALSE(again.fid("SETTINGS.POWERSAVER.TIME.SET", {{"TIME", "5"}, {"WP", "1"}, {"N", std::string("a\0b", 3)}}));
    const std::string printed = ::testing::internal::GetCapturedStdout();
    EXPECT_NE(printed.find("PS: FID refused (UTF-8 sequence cut at the end): SETTINGS.COLOR.MACRO.SET\n"),
              std::string::npos)
        << printed;
    EXPECT_NE(printed.find("PS: FID refused (malformed UTF-8): SETTINGS.COLOR.PMEM.SET\n"), std::string::npos);
    EXPECT_NE(printed.find("PS: FID refused (malformed UTF-8): SETTINGS.JOYSTICK.SENSITIVITY.SET\n"),
              std::string::npos);
    EXPECT_NE(printed.find("PS: FID refused (malformed UTF-8): SETTINGS.BRIGHTNESS.DISPLAY.TFT.INC\n"),
              std::string::npos);
    EXPECT_NE(printed.find("PS: FID refused (NUL byte): SETTINGS.POWERSAVER.TIME.SET\n"), std::string::npos);
    EXPECT_EQ(again.state.changeCount(), mark);
    EXPECT_EQ(again.state.value("SETTINGS2.COLOR.MACRO"), "R\xc3\xa9" "D");
    EXPECT_EQ(again.state.value("SETTINGS3.COLOR.PMEM"), "CYAN");
    EXPECT_EQ(again.settings->getJoystickSensitivity(1), 2048);
    EXPECT_TRUE(again.widgets.calls().empty());
    stop();
    EXPECT_EQ(readFile(settingsFile()), stored);

    auto& third = start();
    EXPECT_EQ(third.state.value("SETTINGS2.COLOR.MACRO"), "R\xc3\xa9" "D");
    stop();
    EXPECT_EQ(readFile(settingsFile()), stored);
}

// The settings store: defaults, registration, PanelSettings.xml, replay, getters.

#include <sys/stat.h>

#include <chrono>
#include <functional>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "support/hostilepaths.h"
#include "support/settingsrig.h"

using settingsrig::SettingsTest;
using settingsrig::readFile;
using settingsrig::waitUntil;

namespace {

const char* const kSuffixes[] = {
    ".SHIFT.LATCHMODE",        ".SHIFT.HIDDEN_SOURCE_BLINKING", ".COLOR.MACRO",
    ".COLOR.PMEM",             ".BRIGHTNESS.DISPLAY.TFT",       ".BRIGHTNESS.DISPLAY.OLED",
    ".BRIGHTNESS.DISPLAY.TEXT", ".BRIGHTNESS.BUTTON.LOW",       ".BRIGHTNESS.BUTTON.HI",
    ".JOYSTICK.SENSITIVITY",   ".OLED.FONTRESIZE",              ".OLED.MODE",
    ".OLED.OUTLINE.ENABLED",   ".TESTS.LEVERARM.STEPSIZE",      ".TESTS.LEVERARM.STEPCOUNT",
};
const char* const kDefaults[] = {"STANDARD", "ON",   "YELLOW", "CYAN", "3072", "2560", "3072", "1024",
                                 "3072",     "2048", "TRUE",   "JOIN", "TRUE", "15",   "1"};
const char kTypes[] = {'t', 't', 't', 't', 'i', 'i', 'i', 'i', 'i', 'i', 't', 't', 't', 'i', 'i'};

std::string fidElement(const std::string& name, int workplace, const std::vector<std::pair<std::string, std::string>>& params)
{
    std::string text = "<fid name=\"" + name + "\"";
    if (workplace >= 0) text += " workplace=\"" + std::to_string(workplace) + "\"";
    text += ">\n";
    for (const auto& p : params) text += "    <param name=\"" + p.first + "\" value=\"" + p.second + "\" />\n";
    text += "</fid>\n";
    return text;
}

} // namespace

TEST_F(SettingsTest, FirstStartPublishesFifteenDefaultsPerWorkplaceInOrder)
{
    auto& s = start();
    const auto changes = s.state.changes();
    ASSERT_EQ(changes.size(), 8U * 15U);
    for (int wp = 0; wp < 8; ++wp) {
        for (int row = 0; row < 15; ++row) {
            const auto& change = changes[static_cast<size_t>(wp * 15 + row)];
            EXPECT_EQ(change.key, "SETTINGS" + std::to_string(wp) + kSuffixes[row]);
            EXPECT_EQ(change.value, kDefaults[row]);
            EXPECT_EQ(change.type, kTypes[row]) << change.key;
        }
    }
    EXPECT_FALSE(s.state.has("SETTINGS8.OLED.MODE"));
}

TEST_F(SettingsTest, FirstStartWritesExchangeFileAndNoSettingsFile)
{
    start();
    EXPECT_EQ(readFile(exchangeFile()), exchangeText(2560, 3072, 3072, 1024, 3072));
    EXPECT_FALSE(std::filesystem::exists(settingsFile()));
}

TEST_F(SettingsTest, SettingsFileAppearsAboutASecondAfterTheFirstChange)
{
    auto& s = start();
    const auto before = std::chrono::steady_clock::now();
    ASSERT_TRUE(s.fid("SETTINGS.COLOR.MACRO.SET", {{"VAL", "RED"}, {"WP", "2"}}));
    ASSERT_TRUE(waitUntil([&] { return std::filesystem::exists(settingsFile()); }, 10000));
    const auto elapsed = std::chrono::steady_clock::now() - before;
    EXPECT_GE(elapsed, std::chrono::milliseconds(950));
    EXPECT_EQ(readFile(settingsFile()), fidElement("SETTINGS.COLOR.MACRO.SET", 2, {{"VAL", "RED"}, {"WP", "2"}}));
    EXPECT_FALSE(std::filesystem::exists(settingsFile().string() + ".tmp"));
}

TEST_F(SettingsTest, RegistersTheTwentyFourSettingsFids)
{
    auto& s = start();
    const std::vector<std::string> expected = {
        "SETTINGS.POWERSAVER.BYPASS.SET",      "SETTINGS.POWERSAVER.TIME.SET",
        "SETTINGS.POWERSAVER.TYPE.SET",        "SETTINGS.BRIGHTNESS.DISPLAY.TFT.SET",
        "SETTINGS.BRIGHTNESS.DISPLAY.OLED.SET", "SETTINGS.BRIGHTNESS.DISPLAY.TEXT.SET",
        "SETTINGS.BRIGHTNESS.BUTTON.LOW.SET",  "SETTINGS.BRIGHTNESS.BUTTON.HI.SET",
        "SETTINGS.BRIGHTNESS.DISPLAY.TFT.INC", "SETTINGS.BRIGHTNESS.DISPLAY.OLED.INC",
        "SETTINGS.BRIGHTNESS.DISPLAY.TEXT.INC", "SETTINGS.BRIGHTNESS.BUTTON.LOW.INC",
        "SETTINGS.BRIGHTNESS.BUTTON.HI.INC",   "SETTINGS.JOYSTICK.SENSITIVITY.SET",
        "SETTINGS.JOYSTICK.SENSITIVITY.INC",   "SETTINGS.OLED.FONTRESIZE.SET",
        "SETTINGS.OLED.MODE.SET",              "SETTINGS.OLED.OUTLINE.ENABLE",
        "SETTINGS.SHIFT.LATCHMODE.SET",        "SETTINGS.SHIFT.HIDDEN_SOURCE_BLINKING.SET",
        "SETTINGS.COLOR.MACRO.SET",            "SETTINGS.COLOR.PMEM.SET",
        "SETTINGS.TESTS.LEVERARM.STEPSIZE.SET", "SETTINGS.TESTS.LEVERARM.STEPCOUNT.SET"};
    EXPECT_EQ(s.map.registeredNames().size(), expected.size());
    for (const auto& name : expected) EXPECT_NE(s.map.findStaticFIDFunction(name), nullptr) << name;
}

TEST_F(SettingsTest, QueryInterfaceAnswersOnlyThePanelSettingsId)
{
    auto& s = start();
    EXPECT_EQ(s.settings->queryInterface(1012), static_cast<IInterface*>(s.settings.get()));
    EXPECT_EQ(s.settings->queryInterface(1100), nullptr);
}

TEST_F(SettingsTest, SameFidAndWorkplaceTwiceKeepsOneElementAtItsFirstPlace)
{
    auto& s = start();
    ASSERT_TRUE(s.fid("SETTINGS.BRIGHTNESS.DISPLAY.OLED.SET", {{"VALUE", "100"}, {"WP", "2"}}));
    ASSERT_TRUE(s.fid("SETTINGS.COLOR.PMEM.SET", {{"VAL", "RED"}, {"WP", "2"}}));
    ASSERT_TRUE(s.fid("SETTINGS.BRIGHTNESS.DISPLAY.OLED.SET", {{"WP", "2"}, {"VALUE", "200"}}));
    ASSERT_TRUE(s.fid("SETTINGS.BRIGHTNESS.DISPLAY.OLED.SET", {{"VALUE", "300"}, {"WP", "3"}}));
    stop(); // the pending save is written on the way down
    EXPECT_EQ(readFile(settingsFile()),
              fidElement("SETTINGS.BRIGHTNESS.DISPLAY.OLED.SET", 2, {{"WP", "2"}, {"VALUE", "200"}}) +
                  fidElement("SETTINGS.COLOR.PMEM.SET", 2, {{"VAL", "RED"}, {"WP", "2"}}) +
                  fidElement("SETTINGS.BRIGHTNESS.DISPLAY.OLED.SET", 3, {{"VALUE", "300"}, {"WP", "3"}}));
}

TEST_F(SettingsTest, OledIncIsStoredAsTheSetFidWithTheAbsoluteValue)
{
    auto& s = start();
    ASSERT_TRUE(s.fid("SETTINGS.BRIGHTNESS.DISPLAY.OLED.INC", {{"VALUE", "-60"}, {"WP", "4"}}));
    stop();
    EXPECT_EQ(readFile(settingsFile()),
              fidElement("SETTINGS.BRIGHTNESS.DISPLAY.OLED.SET", 4, {{"WP", "4"}, {"VALUE", "2500"}}));
}

TEST_F(SettingsTest, UnknownFidIsIgnoredAtLoadAndKeptByLaterSaves)
{
    const std::string unknown = fidElement("SETTINGS.NO.SUCH.THING", 1, {{"WP", "1"}, {"X", "y"}});
    testenv::writeFile(settingsFile(), unknown + fidElement("SETTINGS.COLOR.MACRO.SET", 3, {{"VAL", "BLUE"}, {"WP", "3"}}));
    auto& s = start();
    EXPECT_EQ(s.state.value("SETTINGS3.COLOR.MACRO"), "BLUE");
    ASSERT_TRUE(s.fid("SETTINGS.COLOR.MACRO.SET", {{"VAL", "GREEN"}, {"WP", "3"}}));
    ASSERT_TRUE(s.fid("SETTINGS.COLOR.PMEM.SET", {{"VAL", "RED"}, {"WP", "0"}}));
    stop();
    EXPECT_EQ(readFile(settingsFile()),
              unknown + fidElement("SETTINGS.COLOR.MACRO.SET", 3, {{"VAL", "GREEN"}, {"WP", "3"}}) +
                  fidElement("SETTINGS.COLOR.PMEM.SET", 0, {{"VAL", "RED"}, {"WP", "0"}}));
}

TEST_F(SettingsTest, OtherTopLevelNodesAndChildrenSurviveASave)
{
    testenv::writeFile(settingsFile(), "<!-- kept -->\n<other a=\"1\" />\n<fid name=\"SETTINGS.COLOR.PMEM.SET\" "
                                       "workplace=\"1\">\n    <note />\n    <param name=\"VAL\" value=\"RED\" />\n"
                                       "    <param name=\"WP\" value=\"1\" />\n</fid>\n");
    auto& s = start();
    EXPECT_EQ(s.state.value("SETTINGS1.COLOR.PMEM"), "RED");
    ASSERT_TRUE(s.fid("SETTINGS.COLOR.MACRO.SET", {{"VAL", "RED"}, {"WP", "1"}}));
    stop();
    EXPECT_EQ(readFile(settingsFile()),
              "<!-- kept -->\n<other a=\"1\" />\n<fid name=\"SETTINGS.COLOR.PMEM.SET\" workplace=\"1\">\n"
              "    <note />\n    <param name=\"VAL\" value=\"RED\" />\n    <param name=\"WP\" value=\"1\" />\n</fid>\n" +
                  fidElement("SETTINGS.COLOR.MACRO.SET", 1, {{"VAL", "RED"}, {"WP", "1"}}));
}

TEST_F(SettingsTest, RefusedElementIsKeptAndRefusedAgainAtEachStart)
{
    const std::string bad = fidElement("SETTINGS.OLED.MODE.SET", 2, {{"WP", "2"}, {"VALUE", "OFF"}});
    testenv::writeFile(settingsFile(), bad);
    auto& s = start();
    EXPECT_EQ(s.state.value("SETTINGS2.OLED.MODE"), "JOIN");
    ASSERT_TRUE(s.fid("SETTINGS.COLOR.PMEM.SET", {{"VAL", "RED"}, {"WP", "0"}}));
    stop();
    EXPECT_EQ(readFile(settingsFile()), bad + fidElement("SETTINGS.COLOR.PMEM.SET", 0, {{"VAL", "RED"}, {"WP", "0"}}));
    auto& again = start();
    EXPECT_EQ(again.state.value("SETTINGS2.OLED.MODE"), "JOIN");
    EXPECT_EQ(again.settings->getOLEDMode(2), 1);
}

TEST_F(SettingsTest, SaveWithoutWorkplaceFitsAnyElementOfTheName)
{
    auto& s = start();
    ASSERT_TRUE(s.fid("SETTINGS.COLOR.PMEM.SET", {{"VAL", "RED"}, {"WP", "5"}}));
    const FIDParameterList noWorkplace = makeParams({{"VAL", "PLAIN"}});
    ASSERT_TRUE(s.settings->saveFidToFile("SETTINGS.COLOR.PMEM.SET", &noWorkplace));
    ASSERT_TRUE(s.settings->saveFidToFile("SETTINGS.OTHER", &noWorkplace));
    stop();
    EXPECT_EQ(readFile(settingsFile()), fidElement("SETTINGS.COLOR.PMEM.SET", 5, {{"VAL", "PLAIN"}}) +
                                                     fidElement("SETTINGS.OTHER", -1, {{"VAL", "PLAIN"}}));
}

TEST_F(SettingsTest, ReplayRestoresEverySettingAfterRestart)
{
    auto& s = start();
    ASSERT_TRUE(s.fid("SETTINGS.BRIGHTNESS.DISPLAY.TFT.SET", {{"VALUE", "1000"}, {"WP", "1"}}));
    ASSERT_TRUE(s.fid("SETTINGS.BRIGHTNESS.BUTTON.HI.INC", {{"VALUE", "5"}, {"WP", "6"}}));
    ASSERT_TRUE(s.fid("SETTINGS.JOYSTICK.SENSITIVITY.SET", {{"VALUE", "100"}, {"WP", "2"}}));
    ASSERT_TRUE(s.fid("SETTINGS.OLED.MODE.SET", {{"VALUE", "JOIN_SH"}, {"WP", "3"}}));
    ASSERT_TRUE(s.fid("SETTINGS.OLED.FONTRESIZE.SET", {{"VALUE", "FALSE"}, {"WP", "4"}}));
    ASSERT_TRUE(s.fid("SETTINGS.SHIFT.LATCHMODE.SET", {{"MODE", "AUTO"}, {"WP", "5"}}));
    ASSERT_TRUE(s.fid("SETTINGS.TESTS.LEVERARM.STEPCOUNT.SET", {{"VAL", "9"}, {"WP", "7"}}));
    ASSERT_TRUE(waitUntil([&] { return std::filesystem::exists(settingsFile()); }, 10000));
    stop();

    auto& again = start();
    EXPECT_EQ(again.state.value("SETTINGS1.BRIGHTNESS.DISPLAY.TFT"), "1000");
    EXPECT_EQ(again.settings->getBrightnessDisplayTft(1), 1000);
    EXPECT_EQ(again.settings->getBrightnessButtonHi(6), 3077);
    EXPECT_EQ(again.settings->getJoystickSensitivity(2), 100);
    EXPECT_EQ(again.settings->getOLEDMode(3), 2);
    EXPECT_FALSE(again.settings->getOLEDFontsResizable(4));
    EXPECT_EQ(again.state.value("SETTINGS5.SHIFT.LATCHMODE"), "AUTO");
    EXPECT_EQ(again.settings->getLeverArmTestStepCount(7), 9);
    EXPECT_EQ(readFile(exchangeFile()), exchangeText(2560, 3072, 3072, 1024, 1000));
}

TEST_F(SettingsTest, RestartWithinASecondOfAChangeKeepsTheChange)
{
    auto& s = start();
    ASSERT_TRUE(s.fid("SETTINGS.COLOR.MACRO.SET", {{"VAL", "WHITE"}, {"WP", "6"}}));
    ASSERT_TRUE(s.fid("SETTINGS.BRIGHTNESS.DISPLAY.OLED.SET", {{"VALUE", "900"}, {"WP", "1"}}));
    auto& again = start(); // the first start is destroyed well within the second
    EXPECT_EQ(again.state.value("SETTINGS6.COLOR.MACRO"), "WHITE");
    EXPECT_EQ(again.state.value("SETTINGS1.BRIGHTNESS.DISPLAY.OLED"), "900");
    EXPECT_EQ(readFile(exchangeFile()).substr(0, 91), exchangeText(900, 3072, 3072, 1024, 3072));
}

TEST_F(SettingsTest, ExchangeFileIsRewrittenFromTheStoreAtStart)
{
    testenv::writeFile(exchangeFile(), exchangeText(11, 22, 33, 44, 55));
    start();
    EXPECT_EQ(readFile(exchangeFile()), exchangeText(2560, 3072, 3072, 1024, 3072));
}

TEST_F(SettingsTest, MalformedFileLeavesDefaultsAndIsReplacedAtNextChange)
{
    testenv::writeFile(settingsFile(), "<fid name=\"SETTINGS.COLOR.MACRO.SET\" workplace=\"1\"><param name=\"VAL\" "
                                       "value=\"RED\"/><param name=\"WP\" value=\"1\"/></fid><fid <<<");
    auto& s = start();
    EXPECT_EQ(s.state.value("SETTINGS1.COLOR.MACRO"), "YELLOW");
    ASSERT_TRUE(s.fid("SETTINGS.COLOR.PMEM.SET", {{"VAL", "RED"}, {"WP", "2"}}));
    stop();
    const std::string written = readFile(settingsFile());
    EXPECT_NE(written.find(fidElement("SETTINGS.COLOR.PMEM.SET", 2, {{"VAL", "RED"}, {"WP", "2"}})), std::string::npos)
        << written;
    EXPECT_EQ(written.find("<<<"), std::string::npos);
    TiXmlDocument reread;
    EXPECT_TRUE(reread.LoadFile(settingsFile().string().c_str()));
}

TEST_F(SettingsTest, RefusedFileLeavesDefaultsWithItsLine)
{
    const std::filesystem::path file = settingsFile();
    for (const auto& c : testenv::hostilePaths(file, "", "fid")) {
        std::filesystem::create_directories(file.parent_path());
        c.make();
        testing::internal::CaptureStdout();
        auto& s = start();
        const std::string out = testing::internal::GetCapturedStdout();
        EXPECT_EQ(s.state.value("SETTINGS1.COLOR.MACRO"), "YELLOW") << c.what;
        EXPECT_NE(out.find("PS: File refused (" + std::string(c.what) + "): " + file.string() + "\n"),
                  std::string::npos)
            << out;
        stop();
        std::filesystem::remove_all(file);
    }
}

TEST_F(SettingsTest, DeeplyNestedForeignElementsAreRefusedAndNotCarriedIntoTheNextSave)
{
    std::string deep;
    for (int i = 0; i < 20000; ++i) deep += "<foreign>";
    for (int i = 0; i < 20000; ++i) deep += "</foreign>";
    testenv::writeFile(settingsFile(), deep);
    testing::internal::CaptureStdout();
    auto& s = start();
    ASSERT_TRUE(s.fid("SETTINGS.COLOR.PMEM.SET", {{"VAL", "RED"}, {"WP", "2"}}));
    stop();
    testing::internal::GetCapturedStdout();
    const std::string written = readFile(settingsFile());
    EXPECT_EQ(written, fidElement("SETTINGS.COLOR.PMEM.SET", 2, {{"VAL", "RED"}, {"WP", "2"}}));
}

TEST_F(SettingsTest, LoadReplaysWithoutWritingTheSettingsFile)
{
    const std::string stored = fidElement("SETTINGS.COLOR.MACRO.SET", 1, {{"VAL", "RED"}, {"WP", "1"}});
    testenv::writeFile(settingsFile(), stored);
    auto& s = start();
    EXPECT_EQ(s.state.value("SETTINGS1.COLOR.MACRO"), "RED");
    stop();
    EXPECT_EQ(readFile(settingsFile()), stored);
}

TEST_F(SettingsTest, FailedWriteIsSilentAndRetriedAtTheNextChange)
{
    std::filesystem::create_directories(settingsFile()); // a folder where the file belongs
    auto& s = start();
    ASSERT_TRUE(s.fid("SETTINGS.COLOR.MACRO.SET", {{"VAL", "RED"}, {"WP", "1"}}));
    std::this_thread::sleep_for(std::chrono::milliseconds(1300));
    ASSERT_TRUE(std::filesystem::is_directory(settingsFile()));
    std::filesystem::remove(settingsFile());
    ASSERT_TRUE(s.fid("SETTINGS.COLOR.PMEM.SET", {{"VAL", "RED"}, {"WP", "1"}}));
    ASSERT_TRUE(waitUntil([&] { return std::filesystem::is_regular_file(settingsFile()); }, 10000));
    EXPECT_EQ(readFile(settingsFile()), fidElement("SETTINGS.COLOR.MACRO.SET", 1, {{"VAL", "RED"}, {"WP", "1"}}) +
                                                     fidElement("SETTINGS.COLOR.PMEM.SET", 1, {{"VAL", "RED"}, {"WP", "1"}}));
}

TEST_F(SettingsTest, GettersAnswerDefaultsOutsideTheWorkplaces)
{
    auto& s = start();
    EXPECT_EQ(s.settings->getJoystickSensitivity(8), 2048);
    EXPECT_EQ(s.settings->getOLEDMode(8), 1);
    EXPECT_EQ(s.settings->getBrightnessButtonLow(-1), 1024);
    EXPECT_EQ(s.settings->getBrightnessDisplayTft(-5), 3072);
    EXPECT_TRUE(s.settings->getOLEDFontsResizable(100));
    EXPECT_TRUE(s.settings->isOLEDOutlineEnabled(8));
}

TEST_F(SettingsTest, BrightnessGettersReadTheWorkplaceMinusOne)
{
    auto& s = start();
    ASSERT_TRUE(s.fid("SETTINGS.BRIGHTNESS.DISPLAY.OLED.SET", {{"VALUE", "101"}, {"WP", "1"}}));
    ASSERT_TRUE(s.fid("SETTINGS.BRIGHTNESS.DISPLAY.OLED.SET", {{"VALUE", "107"}, {"WP", "7"}}));
    ASSERT_TRUE(s.fid("SETTINGS.BRIGHTNESS.DISPLAY.OLED.SET", {{"VALUE", "108"}, {"WP", "8"}}));
    EXPECT_EQ(s.settings->getBrightnessDisplayOled(1), 101);
    EXPECT_EQ(s.settings->getBrightnessDisplayOled(7), 107);
    EXPECT_EQ(s.settings->getBrightnessDisplayOled(8), 2560);
    EXPECT_EQ(s.settings->getBrightnessDisplayOled(2), 2560);
}

TEST_F(SettingsTest, WorkplaceZeroReadsTheLastEntryOfTheArrayBefore)
{
    auto& s = start();
    // Entry 7 of the text array is workplace 8, the entry before the OLED array.
    ASSERT_TRUE(s.fid("SETTINGS.BRIGHTNESS.DISPLAY.TEXT.SET", {{"VALUE", "1234"}, {"WP", "8"}}));
    EXPECT_EQ(s.settings->getBrightnessDisplayOled(0), 1234);
    // Entry 7 of the OLED array stands before the TFT array.
    EXPECT_EQ(s.settings->getBrightnessDisplayTft(0), 2560);
    ASSERT_TRUE(s.fid("SETTINGS.BRIGHTNESS.DISPLAY.OLED.SET", {{"VALUE", "999"}, {"WP", "8"}}));
    EXPECT_EQ(s.settings->getBrightnessDisplayTft(0), 999);
    // Button high at workplace 0 is the last entry of button low, which no
    // other workplace reaches; text at workplace 0 is the last of button high.
    ASSERT_TRUE(s.fid("SETTINGS.BRIGHTNESS.BUTTON.HI.SET", {{"VALUE", "777"}, {"WP", "0"}}));
    EXPECT_EQ(s.settings->getBrightnessButtonHi(0), 777);
    EXPECT_EQ(s.settings->getBrightnessButtonLow(8), 1024);
    ASSERT_TRUE(s.fid("SETTINGS.BRIGHTNESS.DISPLAY.TEXT.SET", {{"VALUE", "600"}, {"WP", "0"}}));
    EXPECT_EQ(s.settings->getBrightnessDisplayText(0), 600);
    EXPECT_EQ(s.settings->getBrightnessButtonHi(7), 3072);
}

TEST_F(SettingsTest, WorkplaceZeroWithNoArrayBeforeReadsDefaultAndDropsWrites)
{
    auto& s = start();
    EXPECT_EQ(s.settings->getBrightnessButtonLow(0), 1024);
    EXPECT_TRUE(s.fid("SETTINGS.BRIGHTNESS.BUTTON.LOW.SET", {{"VALUE", "5"}, {"WP", "0"}}));
    EXPECT_EQ(s.state.value("SETTINGS0.BRIGHTNESS.BUTTON.LOW"), "5");
    EXPECT_EQ(s.settings->getBrightnessButtonLow(0), 1024);
    for (int wp = 1; wp < 8; ++wp) EXPECT_EQ(s.settings->getBrightnessButtonLow(wp), 1024);

    EXPECT_TRUE(s.settings->isOLEDOutlineEnabled(0));
    EXPECT_TRUE(s.fid("SETTINGS.OLED.OUTLINE.ENABLE", {{"ENABLE", "FALSE"}, {"WP", "0"}}));
    EXPECT_EQ(s.state.value("SETTINGS0.OLED.OUTLINE.ENABLED"), "FALSE");
    EXPECT_TRUE(s.settings->isOLEDOutlineEnabled(0));
    for (int wp = 1; wp < 8; ++wp) EXPECT_TRUE(s.settings->isOLEDOutlineEnabled(wp));
}

TEST_F(SettingsTest, DisplayWorkplaceFarOutsideTheBlockIsDropped)
{
    auto& s = start();
    EXPECT_TRUE(s.fid("SETTINGS.BRIGHTNESS.DISPLAY.TFT.SET", {{"VALUE", "10"}, {"WP", "9"}}));
    EXPECT_TRUE(s.fid("SETTINGS.BRIGHTNESS.DISPLAY.OLED.SET", {{"VALUE", "10"}, {"WP", "-2000000000"}}));
    EXPECT_EQ(s.state.value("SETTINGS9.BRIGHTNESS.DISPLAY.TFT"), "10");
    for (int wp = 0; wp < 8; ++wp) {
        EXPECT_EQ(s.settings->getBrightnessDisplayTft(wp), wp == 0 ? 2560 : 3072);
        EXPECT_EQ(s.settings->getJoystickSensitivity(wp), 2048);
    }
}

TEST_F(SettingsTest, ObserverStopsQuietlyWhenTheStoreIsDestroyed)
{
    testing::internal::CaptureStdout();
    start(true);
    stop();
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(out.find("unable to close"), std::string::npos) << out;
}

// FIDs from two threads, the save timer and the observer all at once.
TEST_F(SettingsTest, FidThreadsTimerAndObserverRunTogether)
{
    auto& s = start(true);
    auto worker = [&s](int wp) {
        for (int i = 0; i < 200; ++i) {
            s.fid("SETTINGS.BRIGHTNESS.DISPLAY.OLED.INC", {{"VALUE", i % 2 ? "3" : "-1"}, {"WP", std::to_string(wp)}});
            s.fid("SETTINGS.COLOR.MACRO.SET", {{"VAL", "C" + std::to_string(i)}, {"WP", std::to_string(wp)}});
            s.fid("SETTINGS.JOYSTICK.SENSITIVITY.INC", {{"VALUE", "1"}, {"WP", std::to_string(wp)}});
            (void)s.settings->getBrightnessDisplayOled(wp);
            if (i % 50 == 0) std::this_thread::sleep_for(std::chrono::milliseconds(300));
        }
    };
    std::thread first(worker, 1);
    std::thread second(worker, 2);
    first.join();
    second.join();
    EXPECT_EQ(s.state.value("SETTINGS1.COLOR.MACRO"), "C199");
    EXPECT_EQ(s.state.value("SETTINGS2.JOYSTICK.SENSITIVITY"), "2248");
    stop();
    const std::string written = readFile(settingsFile());
    EXPECT_NE(written.find("value=\"C199\""), std::string::npos);
}

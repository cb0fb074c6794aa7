// The panel driver: lifecycle, the panel-level FIDs and the console commands.

#include <gtest/gtest.h>

#include <algorithm>

#include "panelsettings.h"
#include "pmemsystem.h"
#include "support/panelmfdfixture.h"

using ::testing::_;
using ::testing::InSequence;
using ::testing::Return;
using ::testing::StrictMock;

namespace {

bool contains(const std::vector<std::string>& lines, const std::string& line)
{
    return std::find(lines.begin(), lines.end(), line) != lines.end();
}

} // namespace

class PanelMFDTest : public PanelMFDFixture {};

TEST_F(PanelMFDTest, RegistersTheThirtyThreePanelFids)
{
    config()->initializationCompleted();
    const char* names[] = {"SETVAR",
                           "TRIGGER",
                           "MODULE.INFO.READ",
                           "MODULE.ID.SET",
                           "CHANGE.PDL",
                           "APPLICATION.LOAD.PREPARE",
                           "APPLICATION.LOAD.FINISH",
                           "APPLICATION.SAVE.PREPARE",
                           "APPLICATION.SAVE.FINISH",
                           "SYSTEM.REBOOT",
                           "SYSTEM.NETWORK.SETTINGS.CHANGE",
                           "SYSTEM.DATE.SET",
                           "SYSTEM.DATE.UPDATE",
                           "LOG.TIMESTAMP",
                           "COLOR.SET",
                           "COLOR.INC",
                           "PORT.CONFIG.SET",
                           "PORT.CONFIG.ASSIGN_WP",
                           "PORT.CONFIG.UNASSIGN",
                           "MFD.ADD",
                           "MFD.REMOVE",
                           "MFD.MODIFY",
                           "CALIBRATION.TFTDISPLAY.START",
                           "CALIBRATION.JOYSTICK.START",
                           "CALIBRATION.FADER.START",
                           "PORTASSIGNMENT.START",
                           "MENU.DDC_EEPROM.WRITE",
                           "OLED.BITMAPS.RELOAD",
                           "COLORS.LOAD.PREPARE",
                           "COLORS.LOAD.FINISH",
                           "COLORS.SAVE.PREPARE",
                           "COLORS.SAVE.FINISH",
                           "LOG"};
    EXPECT_EQ(std::size(names), 33u);
    for (const char* name : names) EXPECT_NE(map()->findStaticFIDFunction(name), nullptr) << name;
}

TEST_F(PanelMFDTest, NoPanelFidExistsBeforeInitialization)
{
    EXPECT_EQ(map()->findStaticFIDFunction("SETVAR"), nullptr);
    EXPECT_EQ(map()->findStaticFIDFunction("LOG"), nullptr);
}

TEST_F(PanelMFDTest, LoadedIsTheLastKeyOfInitialization)
{
    std::vector<std::string> keys;
    ON_CALL(state, setStateValue(_, _)).WillByDefault([&](const std::string& key, const std::string&) {
        keys.push_back(key);
    });
    config()->initializationCompleted();
    ASSERT_FALSE(keys.empty());
    EXPECT_EQ(keys.back(), "LOADED");
    EXPECT_EQ(std::count(keys.begin(), keys.end(), "LOADED"), 1);
}

TEST_F(PanelMFDTest, QueryInterfaceAnswersDriverSettingsAndTheBaseIds)
{
    EXPECT_EQ(driver->queryInterface(1012), nullptr);
    EXPECT_EQ(dynamic_cast<IPanelMFD*>(driver->queryInterface(1109)), static_cast<IPanelMFD*>(driver.get()));
    config()->initializationCompleted();
    EXPECT_EQ(dynamic_cast<IPanelSettings*>(driver->queryInterface(1012)),
              static_cast<IPanelSettings*>(driver->getPanelSettings()));
    EXPECT_EQ(dynamic_cast<IFunctionID*>(driver->queryInterface(1100)), map());
    EXPECT_EQ(dynamic_cast<IMFDConfiguration*>(driver->queryInterface(1201)), config());
    EXPECT_EQ(driver->queryInterface(1), nullptr);
    EXPECT_EQ(driver->queryInterface(1108), nullptr);
}

TEST_F(PanelMFDTest, SetStateValueForwardsToTheStateTable)
{
    EXPECT_CALL(state, setStateValue("SOME.KEY", "v"));
    driver->setStateValue("SOME.KEY", "v");
}

TEST_F(PanelMFDTest, SetvarWithoutValueIsRefusedAndDoesNotReachTheEventManager)
{
    startFully();
    EXPECT_CALL(events, setVar(_, _, _)).Times(0);
    EXPECT_FALSE(call("SETVAR", makeParams({{"NAME", "x"}})));
    EXPECT_FALSE(call("SETVAR", makeParams({{"VALUE", "x"}})));
}

TEST_F(PanelMFDTest, SetvarSetsTheVariableInTheScopeOfTheSendingModule)
{
    startFully();
    EXPECT_CALL(events, setVar(UniqueModuleID(1, 4, 12), "SPEED", "3"));
    EXPECT_TRUE(call("SETVAR", makeParams({{"NAME", "SPEED"}, {"VALUE", "3"}}, UniqueWidgetID(1, 4, 12, 300))));
}

TEST_F(PanelMFDTest, SetvarAcceptsAnEmptyValue)
{
    startFully();
    EXPECT_CALL(events, setVar(UniqueModuleID(0, 0, 0), "A", ""));
    EXPECT_TRUE(call("SETVAR", makeParams({{"NAME", "A"}, {"VALUE", ""}})));
}

TEST_F(PanelMFDTest, TriggerWithOnlyNameUsesTheSourceWidgetAndAnEmptyValue)
{
    startFully();
    EXPECT_CALL(feedback, trigger(UniqueWidgetID(2, 5, 7, 11), "FLASH", ""));
    EXPECT_TRUE(call("TRIGGER", makeParams({{"NAME", "FLASH"}}, UniqueWidgetID(2, 5, 7, 11))));
}

TEST_F(PanelMFDTest, TriggerTakesEachGivenCoordinateOverTheSourceWidget)
{
    startFully();
    EXPECT_CALL(feedback, trigger(UniqueWidgetID(2, 9, 7, 100), "FLASH", "ON"));
    EXPECT_TRUE(call("TRIGGER", makeParams({{"GROUP", "9"}, {"WIDGET", "100"}, {"NAME", "FLASH"}, {"VALUE", "ON"}},
                                           UniqueWidgetID(2, 5, 7, 11))));
}

TEST_F(PanelMFDTest, TriggerWithoutNameIsRefused)
{
    startFully();
    EXPECT_CALL(feedback, trigger(_, _, _)).Times(0);
    EXPECT_FALSE(call("TRIGGER", makeParams({{"VALUE", "x"}})));
}

TEST_F(PanelMFDTest, TriggerWithoutPanelFeedbackStillAnswersTrue)
{
    config()->initializationCompleted();
    EXPECT_TRUE(call("TRIGGER", makeParams({{"NAME", "FLASH"}})));
}

TEST_F(PanelMFDTest, ChangePdlRefusesWorkplaceEightAndMinusOne)
{
    startFully();
    EXPECT_CALL(events, changePDL(_, _)).Times(0);
    EXPECT_CALL(modules, reloadModules()).Times(0);
    EXPECT_FALSE(call("CHANGE.PDL", makeParams({{"WPID", "8"}, {"PDL", "x"}})));
    EXPECT_FALSE(call("CHANGE.PDL", makeParams({{"WPID", "-1"}, {"PDL", "x"}})));
}

TEST_F(PanelMFDTest, ChangePdlWithoutWorkplaceOrNameIsRefused)
{
    startFully();
    EXPECT_CALL(events, changePDL(_, _)).Times(0);
    EXPECT_FALSE(call("CHANGE.PDL", makeParams({{"PDL", "x"}})));
    EXPECT_FALSE(call("CHANGE.PDL", makeParams({{"WPID", "2"}})));
}

TEST_F(PanelMFDTest, ChangePdlOfWorkplaceSevenWithEmptyNameRestoresTheDefaultAndReloads)
{
    startFully();
    {
        InSequence order;
        EXPECT_CALL(events, changePDL(7, ""));
        EXPECT_CALL(modules, reloadModules());
    }
    EXPECT_TRUE(call("CHANGE.PDL", makeParams({{"WPID", "7"}, {"PDL", ""}})));
}

TEST_F(PanelMFDTest, ApplicationBracketWithoutColorManagerStillAnswersTrue)
{
    config()->initializationCompleted();
    driver->setWidgetManagerInterface(&widgets);
    driver->setHwModuleManagerInterface(&modules);
    driver->interfaceInitializationDone();
    EXPECT_TRUE(call("APPLICATION.LOAD.PREPARE"));
    EXPECT_TRUE(call("APPLICATION.LOAD.FINISH"));
    EXPECT_TRUE(call("APPLICATION.SAVE.PREPARE"));
    EXPECT_TRUE(call("APPLICATION.SAVE.FINISH"));
}

TEST_F(PanelMFDTest, ApplicationBracketWithoutColorManagerStillLocksAndUnlocksPanelMemory)
{
    config()->initializationCompleted();
    ASSERT_NE(driver->getPmemSystem(), nullptr);
    ASSERT_NE(driver->getMacroSystem(), nullptr);
    EXPECT_TRUE(call("APPLICATION.LOAD.PREPARE"));
    EXPECT_TRUE(driver->getPmemSystem()->isLocked());
    EXPECT_TRUE(call("APPLICATION.LOAD.FINISH"));
    EXPECT_FALSE(driver->getPmemSystem()->isLocked());
    EXPECT_TRUE(call("APPLICATION.SAVE.PREPARE"));
    EXPECT_TRUE(driver->getPmemSystem()->isLocked());
    EXPECT_TRUE(call("APPLICATION.SAVE.FINISH"));
    EXPECT_FALSE(driver->getPmemSystem()->isLocked());
}

TEST_F(PanelMFDTest, ColourBracketLeavesPanelMemoryOutOfTheBracket)
{
    config()->initializationCompleted();
    EXPECT_TRUE(call("COLORS.LOAD.PREPARE"));
    EXPECT_FALSE(driver->getPmemSystem()->isLocked());
    EXPECT_TRUE(call("COLORS.SAVE.PREPARE"));
    EXPECT_FALSE(driver->getPmemSystem()->isLocked());
}

TEST_F(PanelMFDTest, SubsystemsAreCreatedByInitializationAndTheMacroSystemAnswers1107)
{
    EXPECT_EQ(driver->queryInterface(1107), nullptr);
    config()->initializationCompleted();
    ASSERT_NE(driver->getMacroSystem(), nullptr);
    EXPECT_NE(dynamic_cast<IMacroSystem*>(driver->queryInterface(1107)), nullptr);
}

TEST_F(PanelMFDTest, ApplicationBracketReachesTheColorManager)
{
    startFully();
    {
        InSequence order;
        EXPECT_CALL(colors, prepareLoad());
        EXPECT_CALL(colors, finishLoad());
        EXPECT_CALL(colors, prepareSave());
        EXPECT_CALL(colors, finishSave());
    }
    EXPECT_TRUE(call("APPLICATION.LOAD.PREPARE"));
    EXPECT_TRUE(call("APPLICATION.LOAD.FINISH"));
    EXPECT_TRUE(call("APPLICATION.SAVE.PREPARE"));
    EXPECT_TRUE(call("APPLICATION.SAVE.FINISH"));
}

TEST_F(PanelMFDTest, ColourBracketCallsOnlyTheMatchingColorManagerOperation)
{
    startFully();
    {
        InSequence order;
        EXPECT_CALL(colors, prepareLoad());
        EXPECT_CALL(colors, finishLoad());
        EXPECT_CALL(colors, prepareSave());
        EXPECT_CALL(colors, finishSave());
    }
    EXPECT_TRUE(call("COLORS.LOAD.PREPARE"));
    EXPECT_TRUE(call("COLORS.LOAD.FINISH"));
    EXPECT_TRUE(call("COLORS.SAVE.PREPARE"));
    EXPECT_TRUE(call("COLORS.SAVE.FINISH"));
}

TEST_F(PanelMFDTest, ColourBracketWithoutColorManagerAnswersTrue)
{
    config()->initializationCompleted();
    EXPECT_TRUE(call("COLORS.LOAD.PREPARE"));
    EXPECT_TRUE(call("COLORS.SAVE.FINISH"));
}

TEST_F(PanelMFDTest, OledBitmapsReloadReachesTheWidgetManager)
{
    startFully();
    EXPECT_CALL(widgets, reloadOLEDBitmaps());
    EXPECT_TRUE(call("OLED.BITMAPS.RELOAD"));
}

TEST_F(PanelMFDTest, OledBitmapsReloadWithoutWidgetManagerAnswersTrue)
{
    config()->initializationCompleted();
    EXPECT_TRUE(call("OLED.BITMAPS.RELOAD"));
}

TEST_F(PanelMFDTest, RebootHwAndOsRestartHardwareAndOperatingSystem)
{
    config()->initializationCompleted();
    EXPECT_TRUE(call("SYSTEM.REBOOT", makeParams({{"MODE", "HW"}})));
    EXPECT_TRUE(call("SYSTEM.REBOOT", makeParams({{"MODE", "OS"}})));
    const std::vector<int> expected{256, 128};
    EXPECT_EQ(system.backend->reboots, expected);
}

TEST_F(PanelMFDTest, RebootWithLowerCaseModeOrNoModeIsRefused)
{
    config()->initializationCompleted();
    EXPECT_FALSE(call("SYSTEM.REBOOT", makeParams({{"MODE", "hw"}})));
    EXPECT_FALSE(call("SYSTEM.REBOOT", makeParams({{"MODE", "os"}})));
    EXPECT_FALSE(call("SYSTEM.REBOOT"));
    EXPECT_TRUE(system.backend->reboots.empty());
}

TEST_F(PanelMFDTest, LogWithUnknownLevelLogsAtDebug)
{
    config()->initializationCompleted();
    LogCapture log;
    EXPECT_TRUE(call("LOG", makeParams({{"LOG", "Tests"}, {"LEVEL", "LOUD"}, {"MESSAGE", "hello there"}})));
    EXPECT_TRUE(contains(log.lines(), "DEBUG Tests: hello there"));
}

TEST_F(PanelMFDTest, LogWritesAtTheNamedLevelToTheNamedCategory)
{
    config()->initializationCompleted();
    LogCapture log;
    EXPECT_TRUE(call("LOG", makeParams({{"LOG", "Tests"}, {"LEVEL", "ERROR"}, {"MESSAGE", "broken"}})));
    EXPECT_TRUE(call("LOG", makeParams({{"LOG", "Other"}, {"LEVEL", "WARN"}, {"MESSAGE", "careful"}})));
    EXPECT_TRUE(contains(log.lines(), "ERROR Tests: broken"));
    EXPECT_TRUE(contains(log.lines(), "WARN Other: careful"));
}

TEST_F(PanelMFDTest, LogWithEmptyMessageOrNameOrLevelLogsNothing)
{
    config()->initializationCompleted();
    LogCapture log;
    EXPECT_FALSE(call("LOG", makeParams({{"LOG", "Tests"}, {"LEVEL", "INFO"}, {"MESSAGE", ""}})));
    EXPECT_FALSE(call("LOG", makeParams({{"LOG", ""}, {"LEVEL", "INFO"}, {"MESSAGE", "x"}})));
    EXPECT_FALSE(call("LOG", makeParams({{"LOG", "Tests"}, {"MESSAGE", "x"}})));
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(PanelMFDTest, LogTimestampWithoutMessageAnswersTrueAndLogsNothing)
{
    config()->initializationCompleted();
    LogCapture log;
    EXPECT_TRUE(call("LOG.TIMESTAMP"));
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(PanelMFDTest, LogTimestampWritesTheMessageAsItStandsAtAlert)
{
    config()->initializationCompleted();
    LogCapture log;
    EXPECT_TRUE(call("LOG.TIMESTAMP", makeParams({{"MESSAGE", "  cue 12 "}})));
    const std::vector<std::string> expected{"ALERT PanelDriver:   cue 12 "};
    EXPECT_EQ(log.lines(), expected);
}

TEST_F(PanelMFDTest, ShellChangePdlWithoutArgumentPrintsUsage)
{
    startFully();
    EXPECT_CALL(events, changePDL(_, _)).Times(0);
    testing::internal::CaptureStdout();
    const bool result = oskit::CmdProcessor::getInstance()->execute("changePDL");
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_FALSE(result);
    EXPECT_EQ(out, "Usage: changePDL <workplace id> [<new PDL base name>]\n");
}

TEST_F(PanelMFDTest, ShellChangePdlNeedsNoNameAndChecksNoRange)
{
    startFully();
    {
        InSequence order;
        EXPECT_CALL(events, changePDL(12, ""));
        EXPECT_CALL(modules, reloadModules());
        EXPECT_CALL(events, changePDL(3, "studio"));
        EXPECT_CALL(modules, reloadModules());
    }
    EXPECT_TRUE(oskit::CmdProcessor::getInstance()->execute("changePDL 12"));
    EXPECT_TRUE(oskit::CmdProcessor::getInstance()->execute("changePDL 3 studio"));
}

TEST_F(PanelMFDTest, ShellShowEthListsTheAdapters)
{
    testing::internal::CaptureStdout();
    const bool result = oskit::CmdProcessor::getInstance()->execute("showEth");
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_TRUE(result);
    EXPECT_NE(out.find("lo"), std::string::npos);
}

TEST_F(PanelMFDTest, ShellCommandsAreGoneWithTheDriver)
{
    driver.reset();
    testing::internal::CaptureStdout();
    EXPECT_FALSE(oskit::CmdProcessor::getInstance()->execute("showEth"));
    testing::internal::GetCapturedStdout();
}

TEST_F(PanelMFDTest, InterfaceInitializationDoneHandsTheWidgetManagerToTheSettings)
{
    startFully();
    ASSERT_NE(driver->getPanelSettings(), nullptr);
}

TEST_F(PanelMFDTest, SetvarWithoutEventManagerStopsAtItsAssertion)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    config()->initializationCompleted();
    EXPECT_DEATH(call("SETVAR", makeParams({{"NAME", "a"}, {"VALUE", "b"}})), "m_pIEventManager");
}

TEST_F(PanelMFDTest, ChangePdlWithoutHwModuleManagerStopsAtItsAssertion)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    config()->initializationCompleted();
    driver->setEventManagerInterface(&events);
    EXPECT_DEATH(call("CHANGE.PDL", makeParams({{"WPID", "1"}, {"PDL", "a"}})), "m_pIHwModuleManager");
}

TEST_F(PanelMFDTest, DestroyingARunningDriverStopsItsThreadsPromptly)
{
    startFully();
    const auto before = std::chrono::steady_clock::now();
    driver.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(30));
}

// MacroRecorder: playback on its threads, the mainframe recall, and export.
#include <thread>

#include "test_macro_rig.h"

using namespace macrotest;
namespace fs = std::filesystem;

namespace {

const std::string kDelay = "PANEL.MACRO0.RECORDING.INSERT_DELAY";
const UniqueWidgetID kButton(0, 1, 2, 3);

class MacroPlaybackTest : public ::testing::Test {
protected:
    void SetUp() override { rig.make(0); }

    // Plays a register as a replace macro of kButton and waits for its end.
    void playToEnd(int reg)
    {
        ASSERT_TRUE(rig.recorder->startMacroPlayer(reg, MacroRecorder::Widget::REPLACE, kButton,
                                                   "REPLACEMACROFINISHED"));
        ASSERT_TRUE(rig.events.waitFor("0.1.2.3 REPLACEMACROFINISHED", 10000ms));
    }

    // Milliseconds from the delay command to the FID behind it.
    long long delayOf(const std::string& after)
    {
        return std::chrono::duration_cast<std::chrono::milliseconds>(rig.receiver.timeOf(after) -
                                                                     rig.receiver.timeOf(kDelay))
            .count();
    }

    // Plays a register whose delay holds it, then stops it: the command behind
    // the delay never goes out.
    void expectWaitUntilStopped(int reg, const std::string& delayLine)
    {
        ASSERT_TRUE(rig.recorder->startMacroPlayer(reg, MacroRecorder::Widget::REPLACE, kButton,
                                                   "REPLACEMACROFINISHED"));
        ASSERT_TRUE(rig.receiver.waitForName(kDelay));
        EXPECT_TRUE(rig.waitForLog("DEBUG Macro: " + delayLine));
        // The time-out is unsigned, far longer than this wait.
        EXPECT_FALSE(rig.receiver.waitForName("PANEL.AFTER", 700ms));
        EXPECT_TRUE(rig.fid("MACRO0.STOP"));
        ASSERT_TRUE(rig.events.waitFor("0.1.2.3 REPLACEMACROFINISHED", 10000ms));
        EXPECT_TRUE(rig.logged("INFO Macro: macro play: stopped prematurely"));
        EXPECT_FALSE(rig.receiver.waitForName("PANEL.AFTER", 100ms));
    }

    MacroRig rig;
};

} // namespace

TEST_F(MacroPlaybackTest, PlaysTheCommandsInOrderThroughTheReceiver)
{
    rig.recordMacro(1, {{"PANEL.A", params({{"X", "1"}}, UniqueWidgetID(0, 0, 1, 1))}, {"MFD1.B", params({})}});
    EXPECT_TRUE(rig.fid("MACRO0.RECALL", {{"REG", "1"}}));
    ASSERT_TRUE(rig.waitForLog("playing macro # 1 done."));
    EXPECT_EQ(rig.receiver.texts(), (std::vector<std::string>{"PANEL.A X=1", "MFD1.B"}));
    EXPECT_EQ(rig.receiver.sent().front().params.sourceWidget, UniqueWidgetID(0, 0, 1, 1));
    EXPECT_TRUE(rig.logged("INFO Macro: recall: started macro 1"));
    EXPECT_TRUE(rig.logged("INFO Macro: playing macro # 1"));
    EXPECT_TRUE(rig.logged("DEBUG Macro: macro play: send fid PANEL.A params: "));
    EXPECT_TRUE(rig.state.waitForChange("set MACRO0.LATEST.ACTIVE=ON"));
    EXPECT_TRUE(rig.state.waitFor("MACRO0.LATEST.ACTIVE", "OFF"));
    EXPECT_EQ(rig.state.value("MACRO0.LATEST.REG"), "1");
    EXPECT_TRUE(rig.events.notes().empty());
}

TEST_F(MacroPlaybackTest, TsecsFifteenWaitsFifteenHundredMilliseconds)
{
    rig.recordMacro(2, {{kDelay, params({{"TSECS", "15"}})}, {"PANEL.AFTER", params({})}});
    playToEnd(2);
    const long long waited = delayOf("PANEL.AFTER");
    EXPECT_GE(waited, 1500);
    EXPECT_LT(waited, 4500);
    EXPECT_TRUE(rig.logged("DEBUG Macro: macro play: delay 1500 ms"));
}

TEST_F(MacroPlaybackTest, FieldsFiftyFiveWaitsOneSecond)
{
    rig.recordMacro(2, {{kDelay, params({{"FIELDS", "55"}})}, {"PANEL.AFTER", params({})}});
    playToEnd(2);
    const long long waited = delayOf("PANEL.AFTER");
    EXPECT_GE(waited, 1000);
    EXPECT_LT(waited, 4000);
    EXPECT_TRUE(rig.logged("macro play: delay 1000 ms"));
}

TEST_F(MacroPlaybackTest, FieldsOneWaitsEighteenMilliseconds)
{
    rig.recordMacro(2, {{kDelay, params({{"FIELDS", "1"}})}, {"PANEL.AFTER", params({})}});
    playToEnd(2);
    const long long waited = delayOf("PANEL.AFTER");
    EXPECT_GE(waited, 18);
    EXPECT_LT(waited, 3000);
    EXPECT_TRUE(rig.logged("macro play: delay 18 ms"));
}

TEST_F(MacroPlaybackTest, DelayWithBothParametersTakesTsecs)
{
    rig.recordMacro(2, {{kDelay, params({{"FIELDS", "55"}, {"TSECS", "2"}})}, {"PANEL.AFTER", params({})}});
    playToEnd(2);
    EXPECT_GE(delayOf("PANEL.AFTER"), 200);
    EXPECT_TRUE(rig.logged("macro play: delay 200 ms"));
}

TEST_F(MacroPlaybackTest, DelayWithoutParametersDoesNotWait)
{
    rig.recordMacro(2, {{kDelay, params({})}, {"PANEL.AFTER", params({})}});
    playToEnd(2);
    EXPECT_EQ(rig.receiver.texts(), (std::vector<std::string>{kDelay, "PANEL.AFTER"}));
    EXPECT_TRUE(rig.logged("macro play: delay 0 ms"));
}

TEST_F(MacroPlaybackTest, NegativeTsecsWaitsUntilTheMacroIsStopped)
{
    rig.recordMacro(2, {{kDelay, params({{"TSECS", "-5"}})}, {"PANEL.AFTER", params({})}});
    expectWaitUntilStopped(2, "macro play: delay -500 ms");
}

TEST_F(MacroPlaybackTest, NegativeFieldsWaitUntilTheMacroIsStopped)
{
    rig.recordMacro(2, {{kDelay, params({{"FIELDS", "-1"}})}, {"PANEL.AFTER", params({})}});
    expectWaitUntilStopped(2, "macro play: delay -18 ms");
}

TEST_F(MacroPlaybackTest, DelayCommandOfAnotherWorkplaceIsSentWithoutADelay)
{
    rig.recordMacro(2, {{"PANEL.MACRO1.RECORDING.INSERT_DELAY", params({{"TSECS", "100"}})},
                        {"PANEL.AFTER", params({})}});
    playToEnd(2);
    EXPECT_TRUE(rig.receiver.waitForName("PANEL.AFTER"));
    EXPECT_FALSE(rig.logged("macro play: delay"));
}

TEST_F(MacroPlaybackTest, StopDuringADelayEndsTheWaitAndStillNotifies)
{
    rig.recordMacro(3, {{kDelay, params({{"TSECS", "600"}})}, {"PANEL.AFTER", params({})}});
    ASSERT_TRUE(rig.recorder->startMacroPlayer(3, MacroRecorder::Widget::REPLACE, kButton, "REPLACEMACROFINISHED"));
    ASSERT_TRUE(rig.receiver.waitForName(kDelay));
    ASSERT_TRUE(rig.state.waitFor("MACRO0.LATEST.ACTIVE", "ON"));
    EXPECT_TRUE(rig.fid("MACRO0.STOP"));
    ASSERT_TRUE(rig.events.waitFor("0.1.2.3 REPLACEMACROFINISHED", 10000ms));
    EXPECT_TRUE(rig.logged("INFO Macro: macro play: stopped prematurely"));
    EXPECT_TRUE(rig.state.waitFor("MACRO0.LATEST.ACTIVE", "OFF"));
    EXPECT_FALSE(rig.receiver.waitForName("PANEL.AFTER", 100ms));
}

TEST_F(MacroPlaybackTest, StopWhileIdleLeavesNoStaleSignalForTheNextMacro)
{
    rig.recordMacro(3, {{kDelay, params({{"TSECS", "1"}})}, {"PANEL.AFTER", params({})}});
    EXPECT_TRUE(rig.fid("MACRO0.STOP"));
    EXPECT_TRUE(rig.fid("MACRO0.STOP"));
    playToEnd(3);
    EXPECT_TRUE(rig.receiver.waitForName("PANEL.AFTER"));
    EXPECT_FALSE(rig.logged("stopped prematurely"));
}

TEST_F(MacroPlaybackTest, PlayedStopRoutedBackStopsTheMacro)
{
    rig.receiver.routeInto(&rig.map);
    // Recording would drop the stop, so the macro comes from a file.
    testenv::writeFile(rig.macroFile(4), "<macro name=\"N\"><configuration/><data>"
                                         "<cmd fid=\"PANEL.MACRO0.STOP\"/>"
                                         "<cmd fid=\"" + kDelay + "\"><param name=\"TSECS\" value=\"600\"/></cmd>"
                                         "<cmd fid=\"PANEL.AFTER\"/></data></macro>");
    rig.recorder->reinit();
    playToEnd(4);
    EXPECT_TRUE(rig.logged("macro play: stopped prematurely"));
    EXPECT_FALSE(rig.receiver.waitForName(kDelay, 50ms));
    EXPECT_FALSE(rig.receiver.waitForName("PANEL.AFTER", 50ms));
}

TEST_F(MacroPlaybackTest, NewRecallDuringAPlayStopsItAndStartsTheNewOneInQueueOrder)
{
    rig.recordMacro(5, {{kDelay, params({{"TSECS", "600"}})}, {"PANEL.A.AFTER", params({})}});
    rig.recordMacro(6, {{"PANEL.B", params({})}});
    EXPECT_TRUE(rig.fid("MACRO0.RECALL", {{"REG", "5"}}));
    ASSERT_TRUE(rig.receiver.waitForName(kDelay));
    EXPECT_TRUE(rig.fid("MACRO0.RECALL", {{"REG", "6"}}));
    ASSERT_TRUE(rig.receiver.waitForName("PANEL.B", 10000ms));
    ASSERT_TRUE(rig.waitForLog("playing macro # 6 done."));
    EXPECT_FALSE(rig.receiver.waitForName("PANEL.A.AFTER", 50ms));
    const int endFirst = rig.logIndex("playing macro # 5 done.");
    const int startSecond = rig.logIndex("playing macro # 6");
    ASSERT_GE(endFirst, 0);
    EXPECT_LT(endFirst, startSecond);
    EXPECT_EQ(rig.state.value("MACRO0.LATEST.REG"), "6");
}

TEST_F(MacroPlaybackTest, RecallOfAnEmptyRegisterNotifiesAtOnceAndKeepsTheLatestRegister)
{
    rig.recordMacro(1, {});
    playToEnd(1);
    ASSERT_EQ(rig.state.value("MACRO0.LATEST.REG"), "1");
    ASSERT_TRUE(rig.recorder->startMacroPlayer(77, MacroRecorder::Widget::PRE, kButton, "PREMACROFINISHED"));
    ASSERT_TRUE(rig.events.waitFor("0.1.2.3 PREMACROFINISHED"));
    EXPECT_EQ(rig.recorder->getLatestReg(), 1);
    EXPECT_EQ(rig.state.value("MACRO0.LATEST.REG"), "1");
}

TEST_F(MacroPlaybackTest, MacroWithNoCommandsPlaysToItsEndAtOnce)
{
    testenv::writeFile(rig.macroFile(6), "<macro name=\"N\"><configuration/><data></data></macro>");
    rig.recorder->reinit();
    playToEnd(6);
    EXPECT_EQ(rig.state.value("MACRO0.LATEST.REG"), "6");
    EXPECT_TRUE(rig.receiver.sent().empty());
}

TEST_F(MacroPlaybackTest, RecallOfTheRegisterBeingRecordedIsRefused)
{
    ASSERT_TRUE(rig.fid("MACRO0.RECORDING.START", {{"REG", "9"}}));
    EXPECT_TRUE(rig.fid("MACRO0.RECALL", {{"REG", "9"}}));
    EXPECT_TRUE(rig.logged("ERROR Macro: recall: failed to start macro 9 (same macro is recording)"));
    EXPECT_FALSE(rig.waitForLog("playing macro # 9", 100ms));
}

TEST_F(MacroPlaybackTest, RecallWithoutRegLogsAndIsFalse)
{
    EXPECT_FALSE(rig.fid("MACRO0.RECALL"));
    EXPECT_TRUE(rig.logged("WARN Macro: recall macro: missing REG parameter"));
}

TEST_F(MacroPlaybackTest, MarkerOnALocalButtonIsAnIllegalMacroWithoutNotification)
{
    ASSERT_TRUE(rig.recorder->startMacroPlayer(1000, MacroRecorder::Widget::POST, kButton, "PREMACROFINISHED"));
    ASSERT_TRUE(rig.waitForLog("WARN Macro: trying to play illegal macro # 1000"));
    EXPECT_FALSE(rig.events.waitFor("0.1.2.3 PREMACROFINISHED", 100ms));
}

TEST_F(MacroPlaybackTest, DeletingThePlayingRegisterStopsItAndTheFileGoesAfterTheEnd)
{
    rig.recordMacro(7, {{kDelay, params({{"TSECS", "600"}})}, {"PANEL.AFTER", params({})}});
    ASSERT_TRUE(rig.recorder->startMacroPlayer(7, MacroRecorder::Widget::REPLACE, kButton, "REPLACEMACROFINISHED"));
    ASSERT_TRUE(rig.receiver.waitForName(kDelay));
    ASSERT_TRUE(rig.state.waitFor("MACRO0.LATEST.ACTIVE", "ON"));
    EXPECT_TRUE(rig.fid("MACRO0.DELETE", {{"REG", "7"}}));
    ASSERT_TRUE(rig.events.waitFor("0.1.2.3 REPLACEMACROFINISHED", 10000ms));
    EXPECT_FALSE(rig.recorder->hasMacro(7));
    EXPECT_FALSE(fs::exists(rig.macroFile(7)));
    EXPECT_EQ(rig.state.value("MACRO0.LATEST.REG"), "INV");
    EXPECT_EQ(rig.state.value("MACRO0.REG7.EMPTY"), "TRUE");
    EXPECT_FALSE(rig.receiver.waitForName("PANEL.AFTER", 50ms));
}

TEST_F(MacroPlaybackTest, RacingOperationsWhilePlayingStayConsistent)
{
    rig.receiver.routeInto(&rig.map);
    std::vector<std::pair<std::string, FIDParameterList>> commands;
    for (int i = 0; i < 50; ++i) commands.push_back({"PANEL.STEP", params({{"I", std::to_string(i)}})});
    rig.recordMacro(10, commands);
    rig.recordMacro(11, commands);
    std::thread player([&] {
        for (int i = 0; i < 20; ++i) rig.fid("MACRO0.RECALL", {{"REG", i % 2 ? "10" : "11"}});
    });
    std::thread editor([&] {
        for (int i = 0; i < 20; ++i) {
            rig.fid("MACRO0.NAME.SET", {{"REG", "10"}, {"NAME", "N" + std::to_string(i)}});
            rig.fid("MACRO0.RECORDING.START", {{"REG", "12"}});
            rig.recorder->recordFID("PANEL.REC", params({}));
            rig.fid("MACRO0.RECORDING.STOP");
            rig.fid("MACRO0.DELETE", {{"REG", "11"}});
            rig.fid("MACRO0.STOP");
            rig.recorder->updateDirect("MFD1.MACRO.REG5.STATUS", "PLAY");
        }
    });
    player.join();
    editor.join();
    ASSERT_TRUE(rig.fid("MACRO0.RECALL", {{"REG", "12"}}));
    ASSERT_TRUE(rig.receiver.waitForName("PANEL.REC", 10000ms));
    EXPECT_FALSE(rig.recorder->hasMacro(11));
}

// ---- mainframe drivers -----------------------------------------------------------------------

TEST_F(MacroPlaybackTest, RecallOnAModuleWithADriverSendsTheReplaceRecall)
{
    EXPECT_TRUE(rig.fid("MACRO0.MFDID.SET", {{"ID", "MFD1"}}, UniqueWidgetID(0, 1, 2, 0)));
    EXPECT_TRUE(rig.fid("MACRO0.RECALL", {{"REG", "7"}}, kButton));
    ASSERT_EQ(rig.receiver.texts().size(), 1u);
    EXPECT_EQ(rig.receiver.texts().front(),
              "MFD1.REPLACE.MACRO.RECALL QUEUE=FALSE REG=7 BUTTON=" + std::to_string(kButton.getID()));
    EXPECT_TRUE(rig.logged("recall: started macro 7"));
}

TEST_F(MacroPlaybackTest, MainframeRecallsCarryTheirKindsParameters)
{
    rig.fid("MACRO0.MFDID.SET", {{"ID", "MFD1"}}, UniqueWidgetID(0, 1, 2, 0));
    const std::string button = std::to_string(kButton.getID());
    using W = MacroRecorder::Widget;
    EXPECT_TRUE(rig.recorder->startMacroPlayer(4, W::PRE, kButton, "PREMACROFINISHED"));
    EXPECT_TRUE(rig.recorder->startMacroPlayer(5, W::POST, kButton, ""));
    EXPECT_TRUE(rig.recorder->startMacroPlayer(1000, W::POST, kButton, ""));
    EXPECT_TRUE(rig.recorder->startMacroPlayer(6, W::PRE_COMPLETE, kButton, ""));
    EXPECT_EQ(rig.receiver.texts(),
              (std::vector<std::string>{"MFD1.PRE.MACRO.RECALL RECORD=TRUE QUEUE=TRUE REG=4 BUTTON=" + button,
                                        "MFD1.POST.MACRO.RECALL QUEUE=FALSE REG=5 BUTTON=" + button,
                                        "MFD1.POST.MACRO.RECALL QUEUE=TRUE REG=1000 BUTTON=" + button,
                                        "MFD1.MACRO.RECALL REG=6 BUTTON=" + button}));
    // The mainframe path notifies at once.
    EXPECT_EQ(rig.events.notes(), (std::vector<std::string>{"0.1.2.3 PREMACROFINISHED"}));
}

TEST_F(MacroPlaybackTest, EmptyDriverIdUnmapsTheModule)
{
    rig.fid("MACRO0.MFDID.SET", {{"ID", "MFD1"}}, UniqueWidgetID(0, 1, 2, 0));
    EXPECT_TRUE(rig.fid("MACRO0.MFDID.SET", {{"ID", ""}}, UniqueWidgetID(0, 1, 2, 9)));
    EXPECT_FALSE(rig.fid("MACRO0.MFDID.SET", {}, UniqueWidgetID(0, 1, 2, 9)));
    EXPECT_TRUE(rig.fid("MACRO0.RECALL", {{"REG", "7"}}, kButton));
    ASSERT_TRUE(rig.waitForLog("playing macro # 7 done."));
    EXPECT_TRUE(rig.receiver.sent().empty());
}

// ---- export ----------------------------------------------------------------------------------

TEST_F(MacroPlaybackTest, ExportSendsTheDriversCommandsBetweenTheBrackets)
{
    rig.recordMacro(3, {{"MFD1.A", params({{"K", "1"}})}, {"MFD2.B", params({})}, {"MFD1.C", params({})},
                        {"PANEL.D", params({})}, {"MFD10.E", params({})}});
    EXPECT_TRUE(rig.fid("MACRO0.EXPORT", {{"REG", "3"}, {"MFD", "MFD1"}, {"TARGET", "12"}}));
    EXPECT_EQ(rig.receiver.texts(),
              (std::vector<std::string>{"MFD1.MACROEXPORT.START TARGET=12", "MFD1.A K=1", "MFD1.C", "MFD10.E",
                                        "MFD1.MACROEXPORT.STOP TARGET=12"}));
    EXPECT_TRUE(rig.logged("INFO Macro: exporting macro # 3 to driverID MFD1"));
    EXPECT_TRUE(rig.logged("DEBUG Macro: macro export: send fid MFD1.A params: "));
    EXPECT_TRUE(rig.logged("INFO Macro: exporting macro # 3 done."));
}

TEST_F(MacroPlaybackTest, ExportTurnsADelayIntoInsertDelayWithoutWaiting)
{
    rig.recordMacro(3, {{kDelay, params({{"TSECS", "600"}})}, {"MFD1.A", params({})}});
    const auto before = Clock::now();
    EXPECT_TRUE(rig.fid("MACRO0.EXPORT", {{"REG", "3"}, {"MFD", "MFD1"}}));
    EXPECT_LT(Clock::now() - before, 60s);
    EXPECT_EQ(rig.receiver.texts(),
              (std::vector<std::string>{"MFD1.MACROEXPORT.START", "MFD1.MACROEXPORT.INSERT_DELAY TSECS=600", "MFD1.A",
                                        "MFD1.MACROEXPORT.STOP"}));
    EXPECT_TRUE(rig.logged("DEBUG Macro: macro export: insert delay"));
}

TEST_F(MacroPlaybackTest, ExportRefusesRegistersOutOfRangeAndAMissingDriver)
{
    EXPECT_FALSE(rig.fid("MACRO0.EXPORT", {{"REG", "0"}, {"MFD", "MFD1"}}));
    EXPECT_FALSE(rig.fid("MACRO0.EXPORT", {{"REG", "1000"}, {"MFD", "MFD1"}}));
    EXPECT_FALSE(rig.fid("MACRO0.EXPORT", {{"REG", "5"}}));
    EXPECT_FALSE(rig.fid("MACRO0.EXPORT", {{"MFD", "MFD1"}}));
    EXPECT_TRUE(rig.receiver.sent().empty());
}

TEST_F(MacroPlaybackTest, ExportOfAnEmptyRegisterSendsTheBracketOnly)
{
    EXPECT_TRUE(rig.fid("MACRO0.EXPORT", {{"REG", "44"}, {"MFD", "MFD1"}}));
    EXPECT_EQ(rig.receiver.texts(), (std::vector<std::string>{"MFD1.MACROEXPORT.START", "MFD1.MACROEXPORT.STOP"}));
}

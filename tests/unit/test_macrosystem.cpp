// MacroSystem: recorders on demand, routing, assignment keys, the bracket and
// the console; the recorder's subscriptions.
#include "test_macro_rig.h"

#include <atomic>
#include <future>

using namespace macrotest;
namespace fs = std::filesystem;

namespace {

class MacroSystemTest : public ::testing::Test {
protected:
    MacroRig rig;
};

// A state table that runs a hook, once, at the first key of a workplace's
// recorder, as a host may do when it is called.
class HookedState : public RecordingPanelState {
public:
    explicit HookedState(std::string prefix) : m_prefix(std::move(prefix)) {}
    void setStateValue(const std::string& key, const std::string& value) override
    {
        if (key.compare(0, m_prefix.size(), m_prefix) == 0 && !m_fired.exchange(true)) answer = hook();
        RecordingPanelState::setStateValue(key, value);
    }
    std::function<bool()> hook;
    std::atomic<bool> answer{false};

private:
    std::string m_prefix;
    std::atomic<bool> m_fired{false};
};

// Notes whether a recorder's FIDs were reachable when it subscribed to its colour.
class WatchingPublisher : public FakePublisher {
public:
    WatchingPublisher(FIDMapHandler& map, unsigned workplace) : m_map(map), m_workplace(workplace) {}
    void subscribe(const std::string& key, std::shared_ptr<PDLStateSubscriber> subscriber) override
    {
        const std::string wp = std::to_string(m_workplace);
        if (key == "PANEL.SETTINGS" + wp + ".COLOR.MACRO")
            registeredAtSubscribe = m_map.findStaticFIDFunction("MACRO" + wp + ".RECALL") != nullptr ? 1 : 0;
        FakePublisher::subscribe(key, subscriber);
    }
    std::atomic<int> registeredAtSubscribe{-1};

private:
    FIDMapHandler& m_map;
    unsigned m_workplace;
};

std::string showOutput(const std::string& line)
{
    ::testing::internal::CaptureStdout();
    oskit::CmdProcessor::getInstance()->execute(line);
    return ::testing::internal::GetCapturedStdout();
}

} // namespace

TEST_F(MacroSystemTest, AnswersItsInterfaceIdOnly)
{
    MacroSystem& s = rig.makeSystem();
    EXPECT_EQ(s.queryInterface(1107), static_cast<IInterface*>(&s));
    EXPECT_EQ(s.queryInterface(1100), nullptr);
    EXPECT_EQ(s.queryInterface(1), nullptr);
}

TEST_F(MacroSystemTest, ScanMakesRecordersForTheMacroDirectoriesOnDisk)
{
    fs::create_directories(rig.dataDir() / "macro" / "workplace1");
    fs::create_directories(rig.dataDir() / "macro" / "workplace5x");
    fs::create_directories(rig.dataDir() / "macro" / "workplacex");
    fs::create_directories(rig.dataDir() / "macro" / "other");
    MacroSystem& s = rig.makeSystem();
    EXPECT_EQ(s.recorderSlots(), 6u);
    EXPECT_NE(s.findRecorder(1), nullptr);
    EXPECT_NE(s.findRecorder(5), nullptr);
    for (unsigned wp : {0u, 2u, 3u, 4u}) EXPECT_EQ(s.findRecorder(wp), nullptr) << wp;
    EXPECT_NE(rig.map.findStaticFIDFunction("MACRO5.RECALL"), nullptr);
}

TEST_F(MacroSystemTest, WorkplaceIdBeyondTheLimitIsSkipped)
{
    fs::create_directories(rig.dataDir() / "macro" / "workplace99999999999");
    fs::create_directories(rig.dataDir() / "macro" / "workplace-1");
    MacroSystem& s = rig.makeSystem();
    EXPECT_EQ(s.recorderSlots(), 0u);
    EXPECT_TRUE(rig.logged("WARN Macro: Skipping macro directory workplace99999999999"));
}

TEST_F(MacroSystemTest, ButtonEventOfWorkplaceThreeGrowsTheTableAndMacroShowAnswers)
{
    fs::create_directories(rig.dataDir() / "macro" / "workplace1");
    MacroSystem& s = rig.makeSystem();
    s.onButtonDown(UniqueWidgetID(3, 0, 1, 2));
    EXPECT_EQ(s.recorderSlots(), 4u);
    int made = 0;
    for (unsigned wp = 0; wp < 4; ++wp) made += s.findRecorder(wp) ? 1 : 0;
    EXPECT_EQ(made, 2);
    EXPECT_EQ(showOutput("macroShow 2"), "no macro recorder active for workplace 2\n");
    const std::string shown = showOutput("macroShow 3");
    EXPECT_EQ(shown.rfind("Macro recorder 3 status:\nPath: ", 0), 0u) << shown;
}

TEST_F(MacroSystemTest, MacroShowWithoutArgumentPrintsTheUsage)
{
    rig.makeSystem();
    EXPECT_EQ(showOutput("macroShow"), "Usage: macroShow <workplace id>\n");
    EXPECT_EQ(showOutput("macroShow 40"), "no macro recorder active for workplace 40\n");
    EXPECT_EQ(showOutput("macroShow -2"), "no macro recorder active for workplace -2\n");
}

TEST_F(MacroSystemTest, DestructorUnregistersTheShellCommand)
{
    rig.makeSystem();
    rig.system.reset();
    EXPECT_EQ(showOutput("macroShow 0"), "Unknown command: macroShow\n");
}

TEST_F(MacroSystemTest, RecordersGetTheInterfacesBeforeAndAfterTheyAreMade)
{
    fs::create_directories(rig.dataDir() / "macro" / "workplace0");
    MacroSystem& s = rig.makeSystem();
    FakePublisher publisher;
    s.setFIDReceiverInterface(&rig.receiver);
    s.setPanelEventInterface(&rig.events);
    s.setPSPublisherInterface(&publisher);
    EXPECT_EQ(publisher.subscribed(), (std::vector<std::string>{"PANEL.SETTINGS0.COLOR.MACRO"}));
    s.getRecorder(2);
    EXPECT_EQ(publisher.subscribed(),
              (std::vector<std::string>{"PANEL.SETTINGS0.COLOR.MACRO", "PANEL.SETTINGS2.COLOR.MACRO"}));
    // Both recorders reach the receiver: a recall on a driver's module goes out at once.
    rig.fid("MACRO2.MFDID.SET", {{"ID", "MFD1"}}, UniqueWidgetID(2, 0, 1, 0));
    rig.fid("MACRO2.RECALL", {{"REG", "3"}}, UniqueWidgetID(2, 0, 1, 5));
    EXPECT_TRUE(rig.receiver.waitForName("MFD1.REPLACE.MACRO.RECALL"));
    rig.system.reset();
    const auto gone = publisher.unsubscribed();
    EXPECT_NE(std::find(gone.begin(), gone.end(), "PANEL.SETTINGS2.COLOR.MACRO"), gone.end());
    EXPECT_NE(std::find(gone.begin(), gone.end(), "MFD1.MACRO.REG999.STATUS"), gone.end());
}

TEST_F(MacroSystemTest, WhileARecorderIsMadeTheHostMayAskForAnotherOnItsOwnThread)
{
    MacroSystem& s = rig.makeSystem();
    HookedState state("MACRO2.");
    rig.map.setPanelStateInterface(&state);
    state.hook = [&] {
        // The host waits for its other thread, as a lock of its own would make it.
        auto asked = std::async(std::launch::async, [&] { return s.getRecorder(5) != nullptr; });
        return asked.wait_for(10s) == std::future_status::ready && asked.get() && s.findRecorder(2) == nullptr;
    };
    s.onButtonDown(UniqueWidgetID(2, 0, 1, 2));
    EXPECT_TRUE(state.answer.load());
    EXPECT_NE(s.findRecorder(2), nullptr);
    EXPECT_NE(s.findRecorder(5), nullptr);
    EXPECT_NE(rig.map.findStaticFIDFunction("MACRO2.RECALL"), nullptr);
    EXPECT_NE(rig.map.findStaticFIDFunction("MACRO5.RECALL"), nullptr);
    rig.map.setPanelStateInterface(&rig.state);
}

TEST_F(MacroSystemTest, ARecorderAskedForAgainOnTheThreadMakingItIsRefusedWithALine)
{
    MacroSystem& s = rig.makeSystem();
    HookedState state("MACRO3.");
    rig.map.setPanelStateInterface(&state);
    state.hook = [&] {
        s.onButtonDown(UniqueWidgetID(3, 0, 1, 2));
        return s.getRecorder(3) == nullptr;
    };
    MacroRecorder* made = s.getRecorder(3);
    EXPECT_TRUE(state.answer.load());
    EXPECT_NE(made, nullptr);
    EXPECT_EQ(s.findRecorder(3), made);
    EXPECT_TRUE(rig.logged("WARN Macro: macro recorder of workplace 3 asked for while it is being made"));
    rig.map.setPanelStateInterface(&rig.state);
}

TEST_F(MacroSystemTest, RecorderFIDsAreRegisteredOnlyOnceTheRecorderIsMade)
{
    MacroSystem& s = rig.makeSystem();
    HookedState state("MACRO4.");
    rig.map.setPanelStateInterface(&state);
    state.hook = [&] { return rig.map.findStaticFIDFunction("MACRO4.RECALL") == nullptr; };
    s.getRecorder(4);
    EXPECT_TRUE(state.answer.load());
    EXPECT_NE(rig.map.findStaticFIDFunction("MACRO4.RECALL"), nullptr);
    rig.map.setPanelStateInterface(&rig.state);
}

TEST_F(MacroSystemTest, ARecorderMadeWhileRunningHasTheHostInterfacesBeforeItsFIDsCanBeReached)
{
    MacroSystem& s = rig.makeSystem();
    WatchingPublisher publisher(rig.map, 6);
    s.setFIDReceiverInterface(&rig.receiver);
    s.setPanelEventInterface(&rig.events);
    s.setPSPublisherInterface(&publisher);
    s.getRecorder(6);
    EXPECT_EQ(publisher.registeredAtSubscribe.load(), 0);
    EXPECT_NE(rig.map.findStaticFIDFunction("MACRO6.RECALL"), nullptr);
    EXPECT_EQ(publisher.subscribed(), std::vector<std::string>{"PANEL.SETTINGS6.COLOR.MACRO"});
    rig.system.reset();
}

TEST_F(MacroSystemTest, RecordFIDIsRoutedByTheSourceWorkplace)
{
    MacroSystem& s = rig.makeSystem();
    MacroRecorder* r1 = s.getRecorder(1);
    ASSERT_TRUE(rig.fid("MACRO1.RECORDING.START", {{"REG", "2"}}));
    s.recordFID("PANEL.A", params({}, UniqueWidgetID(1, 0, 0, 1)));
    s.recordFID("PANEL.B", params({}, UniqueWidgetID(0, 0, 0, 1)));
    auto m = r1->copyMacro(2);
    ASSERT_EQ(m->commands.size(), 1u);
    EXPECT_EQ(m->commands.front().fid, "PANEL.A");
    EXPECT_NE(s.findRecorder(0), nullptr);
}

TEST_F(MacroSystemTest, ButtonOperationsWithoutAttachmentsStartNothing)
{
    MacroSystem& s = rig.makeSystem();
    s.setFIDReceiverInterface(&rig.receiver);
    s.setPanelEventInterface(&rig.events);
    const UniqueWidgetID button(0, 1, 2, 3);
    EXPECT_FALSE(s.execPreMacro(button));
    EXPECT_FALSE(s.execReplaceMacro(button));
    s.execPostMacro(button);
    s.completePreMacro(button);
    EXPECT_FALSE(s.hasReplaceMacro(button));
    EXPECT_FALSE(s.isInReplaceMode(button));
    // A marker request behind them shows that the play queue took nothing before it.
    MacroRecorder* recorder = s.findRecorder(0);
    ASSERT_NE(recorder, nullptr);
    ASSERT_TRUE(recorder->startMacroPlayer(2000, MacroRecorder::Widget::POST, button, std::string()));
    ASSERT_TRUE(rig.waitForLog("trying to play illegal macro # 2000"));
    EXPECT_FALSE(rig.logged("macro # 1000"));
    EXPECT_FALSE(rig.logged("playing macro"));
    s.setMacroLevel(button, "A");
    EXPECT_EQ(s.getMacroLevel(button), "A");
    EXPECT_EQ(s.getMacroLevel(UniqueWidgetID(0, 1, 2, 4)), "");
}

TEST_F(MacroSystemTest, AssignmentDefaultsArePublished)
{
    rig.makeSystem();
    EXPECT_EQ(rig.state.value("ASSIGNMENT.SET3.MACRO.OFFSET.PANELME4.ROW4.4TH"), "481");
    for (int set = 1; set <= 3; ++set) {
        const std::string s = "ASSIGNMENT.SET" + std::to_string(set) + ".MACRO.";
        EXPECT_EQ(rig.state.value(s + "OFFSET.PANELME1.ROW1.1ST"), "1");
        EXPECT_EQ(rig.state.value(s + "OFFSET.AUXPANEL.ROW1.1ST"), "1");
        EXPECT_EQ(rig.state.value(s + "BUTTON.4TH"), "INV");
    }
    EXPECT_EQ(rig.state.value("ASSIGNMENT.SET1.MACRO.OFFSET.PANELME2.ROW1.2ND"), "13");
    EXPECT_EQ(rig.state.value("ASSIGNMENT.SET2.MACRO.OFFSET.AUXPANEL.ROW1.4TH"), "67");
    EXPECT_EQ(rig.state.value("ASSIGNMENT.SET3.MACRO.OFFSET.PANELME3.ROW2.1ST"), "129");
    EXPECT_EQ(rig.state.value("ASSIGNMENT.SET2.MACRO.OFFSET.PANELME1.ROW3.3RD"), "221");
    EXPECT_EQ(rig.state.value("ASSIGNMENT.SET1.MACRO.BUTTON.3RD"), "13");
    EXPECT_EQ(rig.state.value("ASSIGNMENT.SET1.MACRO.BUTTON.2ND"), "14");
    EXPECT_EQ(rig.state.value("ASSIGNMENT.SET1.MACRO.BUTTON.RDEL"), "15");
    EXPECT_EQ(rig.state.changesStartingWith("int ASSIGNMENT.").size(), 3u * 83u);
    EXPECT_EQ(rig.state.changesStartingWith("set ASSIGNMENT.").size(), 3u);
    int fids = 0;
    for (const auto& name : rig.map.registeredNames())
        if (name.rfind("ASSIGNMENT.", 0) == 0) ++fids;
    EXPECT_EQ(fids, 252);
    // Grid before its FIDs, row by row.
    const auto changes = rig.state.changesStartingWith("int ASSIGNMENT.SET1.MACRO.OFFSET.PANELME1.");
    ASSERT_EQ(changes.size(), 16u);
    EXPECT_EQ(changes.front(), "int ASSIGNMENT.SET1.MACRO.OFFSET.PANELME1.ROW1.1ST=1");
    EXPECT_EQ(changes[4], "int ASSIGNMENT.SET1.MACRO.OFFSET.PANELME1.ROW2.1ST=49");
    EXPECT_EQ(changes.back(), "int ASSIGNMENT.SET1.MACRO.OFFSET.PANELME1.ROW4.4TH=181");
}

TEST_F(MacroSystemTest, AssignmentChangeWritesTextUntilTheNextApplicationLoad)
{
    MacroSystem& s = rig.makeSystem();
    EXPECT_TRUE(rig.fid("ASSIGNMENT.SET1.MACRO.BUTTON.3RD.SET", {{"OFFSET", "40"}}));
    EXPECT_EQ(rig.state.changes().back(), "set ASSIGNMENT.SET1.MACRO.BUTTON.3RD=40");
    s.prepareAppliLoad();
    s.finishAppliLoad();
    EXPECT_EQ(rig.state.value("ASSIGNMENT.SET1.MACRO.BUTTON.3RD"), "13");
    const auto changes = rig.state.changesStartingWith("int ASSIGNMENT.SET1.MACRO.BUTTON.3RD");
    EXPECT_EQ(changes.back(), "int ASSIGNMENT.SET1.MACRO.BUTTON.3RD=13");
}

TEST_F(MacroSystemTest, AssignmentChangeWithoutOffsetIsTrueAndChangesNothing)
{
    rig.makeSystem();
    rig.state.clearChanges();
    EXPECT_TRUE(rig.fid("ASSIGNMENT.SET2.MACRO.OFFSET.AUXPANEL.ROW3.1ST.SET"));
    EXPECT_TRUE(rig.state.changes().empty());
}

TEST_F(MacroSystemTest, FinishLoadReinitialisesEveryRecorderFromItsFiles)
{
    MacroSystem& s = rig.makeSystem();
    MacroRecorder* r = s.getRecorder(0);
    r->setFIDReceiverInterface(&rig.receiver);
    r->setPanelEventInterface(&rig.events);
    ASSERT_TRUE(rig.fid("MACRO0.RECORDING.START", {{"REG", "3"}}));
    s.prepareAppliLoad();
    EXPECT_TRUE(r->isLoadSaveInProgress());
    testenv::writeFile(rig.macroFile(4), "<macro name=\"Loaded\"><configuration/><data/></macro>");
    s.finishAppliLoad();
    EXPECT_FALSE(r->isLoadSaveInProgress());
    EXPECT_FALSE(r->isRecording());
    EXPECT_FALSE(r->hasMacro(3));
    EXPECT_TRUE(r->hasMacro(4));
    EXPECT_EQ(rig.state.value("MACRO0.REG4.NAME"), "Loaded");
    s.prepareAppliSave();
    EXPECT_TRUE(r->isLoadSaveInProgress());
    s.finishAppliSave();
    EXPECT_FALSE(r->isLoadSaveInProgress());
}

// ---- subscriptions of a recorder -------------------------------------------------------------

class MacroStateTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        publisher.set("PANEL.SETTINGS0.COLOR.MACRO", "RED");
        rig.make(0).setPSPublisherInterface(&publisher);
    }
    FakePublisher publisher; // outlives the recorder, which unsubscribes at its end
    MacroRig rig;
    const UniqueWidgetID button{0, 1, 2, 3};
};

TEST_F(MacroStateTest, PanelColourIsSubscribedAndReadAtOnce)
{
    EXPECT_EQ(publisher.subscribed(), (std::vector<std::string>{"PANEL.SETTINGS0.COLOR.MACRO"}));
    EXPECT_EQ(rig.recorder->getMacroColor(button), "RED");
    rig.recorder->updateDirect("PANEL.SETTINGS0.COLOR.MACRO", "BLUE");
    EXPECT_EQ(rig.recorder->getMacroColor(button), "BLUE");
    rig.recorder->updateDirect("PANEL.SETTINGS1.COLOR.MACRO", "GREEN");
    EXPECT_EQ(rig.recorder->getMacroColor(button), "BLUE");
}

TEST_F(MacroStateTest, DriverIdSubscribesItsKeysOnceInOrder)
{
    publisher.set("MFD1.MACRO.REG5.STATUS", "PAUSE");
    publisher.set("MFD1.COLOR.MACRO", "CYAN");
    EXPECT_TRUE(rig.fid("MACRO0.MFDID.SET", {{"ID", "MFD1"}}, button));
    const auto keys = publisher.subscribed();
    ASSERT_EQ(keys.size(), 1u + 2002u);
    EXPECT_EQ(keys[1], "MFD1.COLOR.MACRO");
    EXPECT_EQ(keys[2], "MFD1.MACRO.REG0.NAME");
    EXPECT_EQ(keys[3], "MFD1.MACRO.REG0.STATUS");
    EXPECT_EQ(keys[2001], "MFD1.MACRO.REG999.STATUS");
    EXPECT_EQ(keys[2002], "MFD1.MACRO.CURRENT.REG");
    EXPECT_EQ(rig.recorder->getMacroStatus(button, 5), "PAUSE");
    EXPECT_EQ(rig.recorder->getMacroColor(button), "CYAN");
    EXPECT_EQ(rig.recorder->getMacroColor(UniqueWidgetID(0, 1, 3, 3)), "RED");

    EXPECT_TRUE(rig.fid("MACRO0.MFDID.SET", {{"ID", "MFD1"}}, UniqueWidgetID(0, 1, 9, 0)));
    EXPECT_EQ(publisher.subscribed().size(), keys.size());
}

TEST_F(MacroStateTest, DriverIdBeforeThePublisherIsNeverSubscribed)
{
    MacroRecorder other(1, &rig.map, &rig.config);
    EXPECT_TRUE(rig.fid("MACRO1.MFDID.SET", {{"ID", "MFD2"}}, UniqueWidgetID(1, 0, 0, 0)));
    other.setPSPublisherInterface(&publisher);
    for (const auto& key : publisher.subscribed()) EXPECT_EQ(key.rfind("MFD2.", 0), std::string::npos) << key;
}

TEST_F(MacroStateTest, StatusIsStoredPerDriverAndRegisterZeroIsDropped)
{
    rig.fid("MACRO0.MFDID.SET", {{"ID", "MFD1"}}, button);
    rig.recorder->updateDirect("MFD1.MACRO.REG5.STATUS", "PLAY");
    EXPECT_EQ(rig.recorder->getMacroStatus(button, 5), "PLAY");
    EXPECT_EQ(rig.recorder->getMacroStatus(button, 6), "");
    EXPECT_EQ(rig.recorder->getMacroStatus(button, 0), "STOP");
    EXPECT_EQ(rig.recorder->getMacroStatus(UniqueWidgetID(0, 7, 7, 7), 5), "STOP");
    // A recorder without a publisher: only what is delivered here arrives.
    MacroRecorder other(1, &rig.map, &rig.config);
    rig.fid("MACRO1.MFDID.SET", {{"ID", "MFD2"}}, UniqueWidgetID(1, 2, 2, 0));
    other.updateDirect("MFD2.MACRO.REG0.STATUS", "PLAY");
    other.updateDirect("MFD2.MACRO.CURRENT.REG", "4");
    // No valid status of MFD2 has come, so it has no table and no latest register.
    EXPECT_EQ(other.getLatestMacro(UniqueWidgetID(1, 2, 2, 1)), 0);
    other.updateDirect("MFD2.MACRO.REG1.STATUS", "STOP");
    EXPECT_EQ(other.getLatestMacro(UniqueWidgetID(1, 2, 2, 1)), 4);
}

TEST_F(MacroStateTest, CurrentRegisterInvKeepsTheLastOne)
{
    rig.fid("MACRO0.MFDID.SET", {{"ID", "MFD1"}}, button);
    rig.recorder->updateDirect("MFD1.MACRO.REG1.STATUS", "STOP");
    rig.recorder->updateDirect("MFD1.MACRO.CURRENT.REG", "4");
    EXPECT_EQ(rig.recorder->getLatestMacro(button), 4);
    rig.recorder->updateDirect("MFD1.MACRO.CURRENT.REG", "INV");
    EXPECT_EQ(rig.recorder->getLatestMacro(button), 4);
    rig.recorder->updateDirect("MFD1.MACRO.CURRENT.REG", "1000");
    EXPECT_EQ(rig.recorder->getLatestMacro(button), 4);
    rig.recorder->updateDirect("MFD1.MACRO.CURRENT.REG", "9");
    EXPECT_EQ(rig.recorder->getLatestMacro(button), 9);
}

TEST_F(MacroStateTest, MalformedKeysAreIgnored)
{
    rig.fid("MACRO0.MFDID.SET", {{"ID", "MFD1"}}, button);
    for (const char* key : {"", "MFD1", "MFD1.", "MFD1.MACRO.REG", "MFD1.MACRO.REGx.STATUS", "MFD1.MACRO.REG-4.STATUS",
                            "MFD1.MACRO.REG99999999999999999999.STATUS", "MFD1.OTHER"})
        rig.recorder->updateDirect(key, "PLAY");
    for (int n = 1; n <= 999; ++n) ASSERT_NE(rig.recorder->getMacroStatus(button, n), "PLAY") << n;
}

TEST_F(MacroStateTest, DestructorUnsubscribesEverything)
{
    rig.fid("MACRO0.MFDID.SET", {{"ID", "MFD1"}}, button);
    rig.recorder.reset();
    const auto gone = publisher.unsubscribed();
    EXPECT_EQ(gone.size(), 2003u);
    EXPECT_EQ(gone.back(), "PANEL.SETTINGS0.COLOR.MACRO");
}

TEST_F(MacroStateTest, RecordingRegisterIsInvAtStart)
{
    EXPECT_EQ(rig.state.changesStartingWith("set MACRO0.RECORDING.REG").front(), "set MACRO0.RECORDING.REG=INV");
}

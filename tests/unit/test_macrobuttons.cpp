// MacroRecorder: the attach and detach gestures of the buttons, the execution of
// attached macros around a button's function (local and on a mainframe driver), levels.
#include <algorithm>
#include <atomic>
#include <thread>

#include "support/recordingwidgetcontrol.h"
#include "test_macro_rig.h"

using namespace macrotest;

namespace {

const UniqueWidgetID kA(0, 1, 2, 90); // the attach button
const UniqueWidgetID kT(0, 1, 2, 91); // the detach button
const UniqueWidgetID kX(0, 1, 2, 3);
const UniqueWidgetID kY(0, 1, 2, 4);
const std::string kXWord = std::to_string(kX.getID());

class MacroButtonsTest : public AttachRigTest {
protected:
    void attachButtonDown(int macro) { ASSERT_TRUE(rig.fid("MACRO0.ATTACH.BUTTON.DOWN", {{"MACRO", std::to_string(macro)}}, kA)); }
    void replaceMode(const std::string& word) { ASSERT_TRUE(rig.fid("MACRO0.ATTACH.REPLACEMODE.SET", {{"VALUE", word}})); }
    void active(bool on) { ASSERT_TRUE(rig.fid("MACRO0.ATTACHMENTS.ACTIVE.SET", {{"VALUE", on ? "ON" : "OFF"}})); }
    void driver(const UniqueWidgetID& w, const std::string& id)
    {
        ASSERT_TRUE(rig.fid("MACRO0.MFDID.SET", {{"ID", id}}, w));
    }
    // The attachment of a kind at the empty level, "-" if none.
    std::string key(const UniqueWidgetID& w, const std::string& kind)
    {
        std::ostringstream os;
        os << "MACRO0.ATTACH." << w << "." << kind;
        return rig.state.has(os.str()) ? rig.state.value(os.str()) : "-";
    }
    bool hasReplaceFlag(const UniqueWidgetID& w)
    {
        MacroRecorder::Widget copy;
        if (!rig.recorder->findWidget(w, copy)) return false;
        auto it = copy.m_hasReplace.find(copy.m_level);
        return it != copy.m_hasReplace.end() && it->second;
    }
    void recordLocalMacro(int reg)
    {
        rig.recordMacro(reg, {{"PANEL.STEP", params({{"REG", std::to_string(reg)}})}});
    }
    std::vector<std::string> sentTexts() const { return rig.receiver.texts(); }
    // Waits until the play queue has taken every request made so far: a marker
    // request behind them is logged as illegal once the earlier ones are through.
    void drainPlayQueue()
    {
        ASSERT_TRUE(rig.recorder->startMacroPlayer(2000, MacroRecorder::Widget::POST, kY, std::string()));
        ASSERT_TRUE(rig.waitForLog("trying to play illegal macro # 2000"));
    }

};

// ---- the hold table --------------------------------------------------------------------------

enum class Fingers { AttachFirst, AttachSecond, DetachFirst, DetachSecond, NeitherButton, AttachFirstDisabled };

struct HoldRow {
    const char* name;
    Fingers fingers;
    const char* mode;     // replace mode before
    const char* kind;     // the kind that changes, "" for none
    const char* modeAfter;
};

class MacroHoldTableTest : public MacroButtonsTest, public ::testing::WithParamInterface<HoldRow> {};

TEST_P(MacroHoldTableTest, HoldPairActsAsTheTableSays)
{
    const HoldRow& row = GetParam();
    make();
    replaceMode(row.mode);
    const bool detachRow = row.fingers == Fingers::DetachFirst || row.fingers == Fingers::DetachSecond;
    for (const char* kind : {"PRE", "REPLACE", "POST"})
        if (detachRow) {
            ASSERT_TRUE(attach(kX, kind, 1));
        }
    if (detachRow) {
        ASSERT_TRUE(rig.fid("MACRO0.DETACH.BUTTON.DOWN", {}, kT));
    } else {
        attachButtonDown(7);
    }
    if (row.fingers == Fingers::AttachFirstDisabled) {
        ASSERT_TRUE(rig.fid("MACRO0.ATTACH.DISABLE", {}, kX));
    }

    std::pair<UniqueWidgetID, UniqueWidgetID> pair;
    switch (row.fingers) {
    case Fingers::AttachFirst: pair = {kA, kX}; break;
    case Fingers::AttachSecond: pair = {kX, kA}; break;
    case Fingers::DetachFirst: pair = {kT, kX}; break;
    case Fingers::DetachSecond: pair = {kX, kT}; break;
    case Fingers::NeitherButton: pair = {kX, kY}; break;
    case Fingers::AttachFirstDisabled: pair = {kA, kX}; break;
    }
    rig.recorder->onButtonHold(pair.first);
    rig.recorder->onButtonHold(pair.second);

    for (const char* kind : {"PRE", "REPLACE", "POST"}) {
        const bool changed = std::string(row.kind) == kind;
        const std::string before = detachRow ? "1" : "-";
        const std::string after = changed ? (detachRow ? "-" : "7") : before;
        EXPECT_EQ(key(kX, kind), after) << kind;
    }
    EXPECT_EQ(key(kY, "PRE"), "-");
    EXPECT_EQ(rig.state.value("MACRO0.ATTACH.REPLACEMODE"), row.modeAfter);
    EXPECT_TRUE(rig.logged("INFO Macro: macro btn hold: f="));
    EXPECT_EQ(rig.logged("INFO Macro: macro btn hold: attach=0.1.2.3 type="), std::string(row.kind).size() > 0);
}

const HoldRow kHoldRows[] = {
    {"AttachFirstOff", Fingers::AttachFirst, "OFF", "PRE", "OFF"},
    {"AttachFirstSimple", Fingers::AttachFirst, "SIMPLE", "", "SIMPLE"},
    {"AttachFirstSecure", Fingers::AttachFirst, "SECURE", "REPLACE", "OFF"},
    {"AttachSecondOff", Fingers::AttachSecond, "OFF", "POST", "OFF"},
    {"AttachSecondSimple", Fingers::AttachSecond, "SIMPLE", "", "SIMPLE"},
    {"AttachSecondSecure", Fingers::AttachSecond, "SECURE", "REPLACE", "OFF"},
    {"DetachFirstOff", Fingers::DetachFirst, "OFF", "PRE", "OFF"},
    {"DetachFirstSimple", Fingers::DetachFirst, "SIMPLE", "REPLACE", "SIMPLE"},
    {"DetachFirstSecure", Fingers::DetachFirst, "SECURE", "REPLACE", "OFF"},
    {"DetachSecondOff", Fingers::DetachSecond, "OFF", "POST", "OFF"},
    {"DetachSecondSimple", Fingers::DetachSecond, "SIMPLE", "REPLACE", "SIMPLE"},
    {"DetachSecondSecure", Fingers::DetachSecond, "SECURE", "REPLACE", "OFF"},
    {"NeitherOff", Fingers::NeitherButton, "OFF", "", "OFF"},
    {"NeitherSimple", Fingers::NeitherButton, "SIMPLE", "", "SIMPLE"},
    {"NeitherSecure", Fingers::NeitherButton, "SECURE", "", "SECURE"},
    {"AttachFirstOnDisabledOff", Fingers::AttachFirstDisabled, "OFF", "", "OFF"},
    {"AttachFirstOnDisabledSecure", Fingers::AttachFirstDisabled, "SECURE", "", "SECURE"},
};

INSTANTIATE_TEST_SUITE_P(Rows, MacroHoldTableTest, ::testing::ValuesIn(kHoldRows),
                         [](const ::testing::TestParamInfo<HoldRow>& row) { return std::string(row.param.name); });

} // namespace

// ---- gestures --------------------------------------------------------------------------------

TEST_F(MacroButtonsTest, HoldLogsThePairAndTheAction)
{
    make();
    attachButtonDown(7);
    rig.recorder->onButtonHold(kA);
    rig.recorder->onButtonHold(kX);
    EXPECT_TRUE(rig.logged("INFO Macro: macro btn hold: f=0.1.2.90 s=0.1.2.3 held=0.1.2.90 det=0.0.0.0"));
    EXPECT_TRUE(rig.logged("INFO Macro: macro btn hold: attach=0.1.2.3 type=0 detach=false"));
    EXPECT_EQ(key(kX, "PRE"), "7");
}

TEST_F(MacroButtonsTest, HoldingThreeButtonsOnlyTheFirstTwoCountOnce)
{
    make();
    attachButtonDown(7);
    rig.recorder->onButtonHold(kA);
    rig.recorder->onButtonHold(kX);
    rig.recorder->onButtonHold(kY);
    EXPECT_EQ(key(kX, "PRE"), "7");
    EXPECT_EQ(key(kY, "PRE"), "-");
    EXPECT_EQ(key(kY, "POST"), "-");
    int pairs = 0;
    for (const auto& line : rig.log.lines())
        if (line.find("macro btn hold: f=") != std::string::npos) ++pairs;
    EXPECT_EQ(pairs, 1);
}

TEST_F(MacroButtonsTest, TheSameButtonReportedTwiceMakesAPairWithItselfAndItsReleaseRemovesBoth)
{
    make();
    attachButtonDown(7);
    rig.recorder->onButtonHold(kX);
    rig.recorder->onButtonHold(kX);
    EXPECT_TRUE(rig.logged("macro btn hold: f=0.1.2.3 s=0.1.2.3"));
    rig.recorder->onButtonRelease(kX);
    // The list is empty again: A then Y is a fresh pair.
    rig.recorder->onButtonHold(kA);
    rig.recorder->onButtonHold(kY);
    EXPECT_EQ(key(kY, "PRE"), "7");
}

TEST_F(MacroButtonsTest, AttachButtonHeldTwiceAttachesToItself)
{
    make();
    attachButtonDown(7);
    rig.recorder->onButtonHold(kA);
    rig.recorder->onButtonHold(kA);
    EXPECT_EQ(key(kA, "PRE"), "7");
}

TEST_F(MacroButtonsTest, DetachAllOnOneButtonDetachesAllFourKindsAndLeavesSecure)
{
    make();
    for (const char* kind : {"PRE", "REPLACE", "POST"}) ASSERT_TRUE(attach(kX, kind, 1));
    replaceMode("SECURE");
    ASSERT_TRUE(rig.fid("MACRO0.DETACH.ALL.SET", {{"MODE", "ON"}}));
    ASSERT_TRUE(rig.fid("MACRO0.DETACH.BUTTON.DOWN", {}, kT));
    rig.state.clearChanges();
    rig.recorder->onButtonHold(kT);
    rig.recorder->onButtonHold(kX);
    EXPECT_EQ(rig.state.changesStartingWith("event MACRO0.DETACH.COMPLETE"),
              std::vector<std::string>(4, "event MACRO0.DETACH.COMPLETE=3"));
    EXPECT_EQ(rig.state.changesStartingWith("unset "),
              (std::vector<std::string>{"unset MACRO0.ATTACH.0.1.2.3.PRE", "unset MACRO0.ATTACH.0.1.2.3.PRE_COMPLETE",
                                        "unset MACRO0.ATTACH.0.1.2.3.REPLACE", "unset MACRO0.ATTACH.0.1.2.3.POST"}));
    EXPECT_EQ(rig.state.value("MACRO0.ATTACH.REPLACEMODE"), "SECURE");
    EXPECT_FALSE(rig.logged("macro btn hold: attach="));
}

TEST_F(MacroButtonsTest, DetachAllOnOneButtonIsOffForAnyOtherWord)
{
    make();
    ASSERT_TRUE(attach(kX, "PRE", 1));
    ASSERT_TRUE(attach(kX, "POST", 2));
    ASSERT_TRUE(rig.fid("MACRO0.DETACH.ALL.SET", {{"MODE", "ON"}}));
    ASSERT_TRUE(rig.fid("MACRO0.DETACH.ALL.SET", {{"MODE", "on"}}));
    ASSERT_TRUE(rig.fid("MACRO0.DETACH.BUTTON.DOWN", {}, kT));
    rig.recorder->onButtonHold(kT);
    rig.recorder->onButtonHold(kX);
    EXPECT_EQ(key(kX, "PRE"), "-");
    EXPECT_EQ(key(kX, "POST"), "2");
}

TEST_F(MacroButtonsTest, UnderSimpleEveryPressAttachesTheSameReplaceMacro)
{
    MacroRecorder& r = make();
    replaceMode("SIMPLE");
    attachButtonDown(7);
    r.onButtonRelease(kA);
    r.onButtonDown(kX);
    r.onButtonDown(kY);
    r.onButtonDown(kX);
    EXPECT_EQ(key(kX, "REPLACE"), "7");
    EXPECT_EQ(key(kY, "REPLACE"), "7");
    EXPECT_EQ(rig.state.changesStartingWith("int MACRO0.ATTACH.0.1.2.3.REPLACE").size(), 2u);
}

TEST_F(MacroButtonsTest, PressOfTheAttachButtonAttachesNothingButTriggersItsEvent)
{
    MacroRecorder& r = make();
    replaceMode("SIMPLE");
    attachButtonDown(7);
    r.onButtonDown(kA);
    EXPECT_EQ(key(kA, "REPLACE"), "-");
    EXPECT_EQ(rig.state.changesStartingWith("event BUTTON."), std::vector<std::string>{"event BUTTON.0.1.2.DOWN=90"});
}

TEST_F(MacroButtonsTest, EveryPressTriggersTheButtonEventWithTheWidgetNumber)
{
    MacroRecorder& r = make();
    r.onButtonDown(UniqueWidgetID(0, 31, 255, 65535));
    r.onButtonDown(kX);
    EXPECT_EQ(rig.state.changesStartingWith("event BUTTON."),
              (std::vector<std::string>{"event BUTTON.0.31.255.DOWN=65535", "event BUTTON.0.1.2.DOWN=3"}));
}

TEST_F(MacroButtonsTest, DisabledButtonGetsNothingByPressButItsEvent)
{
    MacroRecorder& r = make();
    ASSERT_TRUE(rig.fid("MACRO0.ATTACH.DISABLE", {}, kX));
    replaceMode("SIMPLE");
    attachButtonDown(7);
    ASSERT_TRUE(rig.fid("MACRO0.ATTACH.MODE.SET", {{"MODE", "PRE"}}));
    rig.state.clearChanges();
    r.onButtonDown(kX);
    EXPECT_EQ(rig.state.changes(), std::vector<std::string>{"event BUTTON.0.1.2.DOWN=3"});
}

TEST_F(MacroButtonsTest, ModeAttachPreTakesTheMacroOnceAndFallsBackToNone)
{
    MacroRecorder& r = make();
    attachButtonDown(5);
    ASSERT_TRUE(rig.fid("MACRO0.ATTACH.MODE.SET", {{"MODE", "PRE"}}));
    replaceMode("SECURE");
    rig.state.clearChanges();
    r.onButtonDown(kX);
    EXPECT_EQ(key(kX, "PRE"), "5");
    const auto changes = rig.state.changes();
    const auto mode = std::find(changes.begin(), changes.end(), "set MACRO0.ATTACH.MODE=NONE");
    ASSERT_NE(mode, changes.end());
    EXPECT_EQ(*(mode + 1), "set MACRO0.ATTACH.REPLACEMODE=OFF");
    r.onButtonDown(kY);
    EXPECT_EQ(key(kY, "PRE"), "-");
}

TEST_F(MacroButtonsTest, ModeAttachPostFallsBackToNone)
{
    MacroRecorder& r = make();
    attachButtonDown(5);
    ASSERT_TRUE(rig.fid("MACRO0.ATTACH.MODE.SET", {{"MODE", "POST"}}));
    r.onButtonDown(kX);
    EXPECT_EQ(key(kX, "POST"), "5");
    EXPECT_EQ(rig.state.value("MACRO0.ATTACH.MODE"), "NONE");
}

TEST_F(MacroButtonsTest, ModeAttachReplaceKeepsTheModeAndTheNextPressDoesNothing)
{
    MacroRecorder& r = make();
    attachButtonDown(5);
    ASSERT_TRUE(rig.fid("MACRO0.ATTACH.MODE.SET", {{"MODE", "REPLACE"}}));
    r.onButtonDown(kX);
    EXPECT_EQ(key(kX, "REPLACE"), "5");
    EXPECT_EQ(rig.state.value("MACRO0.ATTACH.MODE"), "REPLACE");
    r.onButtonDown(kY);
    EXPECT_EQ(key(kY, "REPLACE"), "-");
    EXPECT_TRUE(r.isInReplaceMode(kY));
}

TEST_F(MacroButtonsTest, ReleaseOfTheAttachButtonKeepsTheSimpleAndModeMacros)
{
    MacroRecorder& r = make();
    attachButtonDown(5);
    r.onButtonRelease(kA);
    ASSERT_TRUE(rig.fid("MACRO0.ATTACH.MODE.SET", {{"MODE", "POST"}}));
    r.onButtonDown(kX);
    EXPECT_EQ(key(kX, "POST"), "5");
    // The hold register is gone with the release: a new pair with A no longer reaches it.
    r.onButtonHold(kA);
    r.onButtonHold(kY);
    EXPECT_EQ(key(kY, "PRE"), "-");
}

TEST_F(MacroButtonsTest, AttachButtonDownWithoutMacroIsFalseButSetsTheButton)
{
    MacroRecorder& r = make();
    EXPECT_FALSE(rig.fid("MACRO0.ATTACH.BUTTON.DOWN", {}, kA));
    r.onButtonHold(kA);
    r.onButtonHold(kX);
    EXPECT_EQ(key(kX, "PRE"), "-1");
}

TEST_F(MacroButtonsTest, ModeAttachDuringTheBracketIsRefusedButUsesUpTheMacro)
{
    MacroRecorder& r = make();
    attachButtonDown(5);
    ASSERT_TRUE(rig.fid("MACRO0.ATTACH.MODE.SET", {{"MODE", "REPLACE"}}));
    r.prepareAppliLoad();
    r.onButtonDown(kX);
    r.finishAppliLoad();
    EXPECT_TRUE(rig.logged("Ignoring macro attach/detach request: application load/save in progress"));
    r.onButtonDown(kY);
    EXPECT_EQ(key(kX, "REPLACE"), "-");
    EXPECT_EQ(key(kY, "REPLACE"), "-");
}

TEST_F(MacroButtonsTest, IsInReplaceModeUnderSimpleOrAttachModeReplaceForEnabledButtons)
{
    MacroRecorder& r = make();
    EXPECT_FALSE(r.isInReplaceMode(kX));
    replaceMode("SIMPLE");
    EXPECT_TRUE(r.isInReplaceMode(kX));
    ASSERT_TRUE(rig.fid("MACRO0.ATTACH.DISABLE", {}, kX));
    EXPECT_FALSE(r.isInReplaceMode(kX));
    replaceMode("SECURE");
    EXPECT_FALSE(r.isInReplaceMode(kY));
    ASSERT_TRUE(rig.fid("MACRO0.ATTACH.MODE.SET", {{"MODE", "REPLACE"}}));
    EXPECT_TRUE(r.isInReplaceMode(kY));
}

// ---- the replace flag against the store ------------------------------------------------------

TEST_F(MacroButtonsTest, AttachmentWhileActiveSetsTheReplaceFlagAtOnce)
{
    MacroRecorder& r = make();
    active(true);
    replaceMode("SECURE");
    attachButtonDown(6);
    r.onButtonHold(kA);
    r.onButtonHold(kX);
    EXPECT_TRUE(r.hasReplaceMacro(kX));
}

TEST_F(MacroButtonsTest, AttachmentByHoldWhileInactiveReachesTheFlagAtTheRelease)
{
    MacroRecorder& r = make();
    replaceMode("SECURE");
    attachButtonDown(6);
    r.onButtonHold(kA);
    r.onButtonHold(kX);
    EXPECT_EQ(key(kX, "REPLACE"), "6");
    EXPECT_FALSE(hasReplaceFlag(kX));
    r.onButtonRelease(kA);
    EXPECT_FALSE(hasReplaceFlag(kX));
    r.onButtonRelease(kX);
    EXPECT_TRUE(hasReplaceFlag(kX));
}

TEST_F(MacroButtonsTest, AttachmentByPressWhileInactiveReachesTheFlagAtTheRelease)
{
    MacroRecorder& r = make();
    replaceMode("SIMPLE");
    attachButtonDown(6);
    r.onButtonDown(kX);
    EXPECT_FALSE(hasReplaceFlag(kX));
    active(true);
    EXPECT_FALSE(r.hasReplaceMacro(kX));
    r.onButtonRelease(kX);
    EXPECT_TRUE(r.hasReplaceMacro(kX));
}

TEST_F(MacroButtonsTest, AttachByFIDWhileInactiveSetsTheFlagAtOnce)
{
    make();
    ASSERT_TRUE(attach(kX, "REPLACE", 6));
    EXPECT_TRUE(hasReplaceFlag(kX));
}

TEST_F(MacroButtonsTest, DetachmentByHoldLeavesTheFlagUntilTheRelease)
{
    MacroRecorder& r = make();
    active(true);
    ASSERT_TRUE(attach(kX, "REPLACE", 6));
    ASSERT_TRUE(rig.fid("MACRO0.DETACH.BUTTON.DOWN", {}, kT));
    replaceMode("SIMPLE");
    r.onButtonHold(kT);
    r.onButtonHold(kX);
    EXPECT_EQ(key(kX, "REPLACE"), "-");
    EXPECT_TRUE(r.hasReplaceMacro(kX));
    r.onButtonRelease(kT);
    EXPECT_TRUE(r.hasReplaceMacro(kX));
    r.onButtonRelease(kX);
    EXPECT_FALSE(r.hasReplaceMacro(kX));
}

TEST_F(MacroButtonsTest, DetachByFIDClearsTheFlagAtOnce)
{
    MacroRecorder& r = make();
    active(true);
    ASSERT_TRUE(attach(kX, "REPLACE", 6));
    EXPECT_TRUE(r.hasReplaceMacro(kX));
    ASSERT_TRUE(detach(kX, "REPLACE"));
    EXPECT_FALSE(r.hasReplaceMacro(kX));
}

TEST_F(MacroButtonsTest, HasReplaceMacroIsFalseWhileAttachmentsAreInactive)
{
    MacroRecorder& r = make();
    ASSERT_TRUE(attach(kX, "REPLACE", 6));
    EXPECT_FALSE(r.hasReplaceMacro(kX));
    active(true);
    EXPECT_TRUE(r.hasReplaceMacro(kX));
    EXPECT_FALSE(r.hasReplaceMacro(kY));
}

// ---- execution guards, local buttons ---------------------------------------------------------

TEST_F(MacroButtonsTest, LocalChainPlaysPreReplaceAndPostWithTheirNotifications)
{
    MacroRecorder& r = make();
    recordLocalMacro(1);
    recordLocalMacro(2);
    recordLocalMacro(3);
    ASSERT_TRUE(attach(kX, "PRE", 1));
    ASSERT_TRUE(attach(kX, "REPLACE", 2));
    ASSERT_TRUE(attach(kX, "POST", 3));
    active(true);

    EXPECT_TRUE(r.execPreMacro(kX));
    ASSERT_TRUE(rig.events.waitFor("0.1.2.3 PREMACROFINISHED"));
    EXPECT_TRUE(r.hasReplaceMacro(kX));
    EXPECT_TRUE(r.execReplaceMacro(kX));
    ASSERT_TRUE(rig.events.waitFor("0.1.2.3 REPLACEMACROFINISHED"));
    r.completePreMacro(kX); // a post-macro is attached: nothing
    r.execPostMacro(kX);
    ASSERT_TRUE(rig.waitForLog("playing macro # 3 done."));
    EXPECT_FALSE(rig.logged("illegal macro # 1000"));
    EXPECT_EQ(sentTexts(), (std::vector<std::string>{"PANEL.STEP REG=1", "PANEL.STEP REG=2", "PANEL.STEP REG=3"}));
    EXPECT_EQ(rig.events.notes(),
              (std::vector<std::string>{"0.1.2.3 PREMACROFINISHED", "0.1.2.3 REPLACEMACROFINISHED"}));
}

TEST_F(MacroButtonsTest, CompletePreMacroOnALocalButtonPlaysTheIllegalMarker)
{
    MacroRecorder& r = make();
    ASSERT_TRUE(attach(kX, "PRE", 1));
    active(true);
    r.completePreMacro(kX);
    EXPECT_TRUE(rig.waitForLog("WARN Macro: trying to play illegal macro # 1000"));
    EXPECT_EQ(rig.events.notes(), std::vector<std::string>{});
}

TEST_F(MacroButtonsTest, NothingRunsWhileAttachmentsAreInactive)
{
    MacroRecorder& r = make();
    for (const char* kind : {"PRE", "REPLACE", "POST"}) ASSERT_TRUE(attach(kX, kind, 1));
    EXPECT_FALSE(r.execPreMacro(kX));
    EXPECT_FALSE(r.execReplaceMacro(kX));
    r.execPostMacro(kX);
    ASSERT_TRUE(detach(kX, "POST"));
    r.completePreMacro(kX);
    drainPlayQueue();
    EXPECT_FALSE(rig.logged("playing macro"));
    EXPECT_FALSE(rig.logged("illegal macro # 1000"));
}

TEST_F(MacroButtonsTest, NothingRunsUnderSimple)
{
    MacroRecorder& r = make();
    ASSERT_TRUE(attach(kX, "PRE", 1));
    ASSERT_TRUE(attach(kX, "REPLACE", 1));
    ASSERT_TRUE(attach(kY, "POST", 1));
    active(true);
    replaceMode("SIMPLE");
    EXPECT_FALSE(r.execPreMacro(kX));
    EXPECT_FALSE(r.execReplaceMacro(kX));
    r.completePreMacro(kX);
    r.execPostMacro(kY);
    drainPlayQueue();
    EXPECT_FALSE(rig.logged("playing macro"));
    EXPECT_FALSE(rig.logged("illegal macro # 1000"));
}

TEST_F(MacroButtonsTest, AKindWithoutAMacroOfOneOrMoreDoesNotRun)
{
    MacroRecorder& r = make();
    ASSERT_TRUE(attach(kX, "PRE", 0));
    ASSERT_TRUE(attach(kX, "REPLACE", -4));
    active(true);
    EXPECT_FALSE(r.execPreMacro(kX));
    EXPECT_FALSE(r.execReplaceMacro(kX));
    r.execPostMacro(kX);
    r.completePreMacro(kX);
    EXPECT_FALSE(r.execPreMacro(kY));
    drainPlayQueue();
    EXPECT_FALSE(rig.logged("playing macro"));
    EXPECT_FALSE(rig.logged("illegal macro # 1000"));
}

TEST_F(MacroButtonsTest, ReplaceRunsOnADisabledButtonWhilePreAndPostDoNot)
{
    MacroRecorder& r = make();
    for (const char* kind : {"PRE", "REPLACE", "POST"}) ASSERT_TRUE(attach(kX, kind, 1));
    active(true);
    ASSERT_TRUE(rig.fid("MACRO0.ATTACH.DISABLE", {}, kX));
    EXPECT_FALSE(r.execPreMacro(kX));
    r.execPostMacro(kX);
    EXPECT_TRUE(r.execReplaceMacro(kX));
    ASSERT_TRUE(rig.events.waitFor("0.1.2.3 REPLACEMACROFINISHED"));
    ASSERT_TRUE(detach(kX, "POST"));
    r.completePreMacro(kX);
    drainPlayQueue();
    // Only the replace macro played.
    const auto lines = rig.log.lines();
    EXPECT_EQ(std::count_if(lines.begin(), lines.end(),
                            [](const std::string& line) { return line.find("playing macro # 1 done.") != std::string::npos; }),
              1);
    EXPECT_FALSE(rig.logged("illegal macro # 1000"));
}

// ---- the mainframe chain ---------------------------------------------------------------------

TEST_F(MacroButtonsTest, MainframePreMacroSendsTheRecallAndNotifiesAtOnce)
{
    MacroRecorder& r = make();
    driver(kX, "MFD1");
    ASSERT_TRUE(attach(kX, "PRE", 11));
    active(true);
    EXPECT_TRUE(r.execPreMacro(kX));
    EXPECT_EQ(sentTexts(),
              std::vector<std::string>{"MFD1.PRE.MACRO.RECALL RECORD=TRUE QUEUE=TRUE REG=11 BUTTON=" + kXWord});
    EXPECT_EQ(rig.events.notes(), std::vector<std::string>{"0.1.2.3 PREMACROFINISHED"});
    r.completePreMacro(kX);
    EXPECT_EQ(sentTexts().back(), "MFD1.POST.MACRO.RECALL QUEUE=TRUE REG=1000 BUTTON=" + kXWord);
    EXPECT_EQ(rig.events.notes().size(), 1u);
}

TEST_F(MacroButtonsTest, MainframeRecallParametersFollowTheAttachedKinds)
{
    MacroRecorder& r = make();
    driver(kX, "MFD1");
    active(true);
    ASSERT_TRUE(attach(kX, "REPLACE", 12));
    EXPECT_TRUE(r.execReplaceMacro(kX));
    ASSERT_TRUE(attach(kX, "PRE", 11));
    EXPECT_TRUE(r.execPreMacro(kX));
    EXPECT_TRUE(r.execReplaceMacro(kX));
    ASSERT_TRUE(detach(kX, "PRE"));
    ASSERT_TRUE(detach(kX, "REPLACE"));
    ASSERT_TRUE(attach(kX, "POST", 13));
    r.execPostMacro(kX);
    EXPECT_EQ(sentTexts(), (std::vector<std::string>{
                               "MFD1.REPLACE.MACRO.RECALL QUEUE=FALSE REG=12 BUTTON=" + kXWord,
                               "MFD1.PRE.MACRO.RECALL RECORD=FALSE QUEUE=TRUE REG=11 BUTTON=" + kXWord,
                               "MFD1.REPLACE.MACRO.RECALL QUEUE=TRUE REG=12 BUTTON=" + kXWord,
                               "MFD1.POST.MACRO.RECALL QUEUE=FALSE REG=13 BUTTON=" + kXWord,
                           }));
    EXPECT_EQ(rig.events.notes(), (std::vector<std::string>{"0.1.2.3 REPLACEMACROFINISHED", "0.1.2.3 PREMACROFINISHED",
                                                            "0.1.2.3 REPLACEMACROFINISHED"}));
}

TEST_F(MacroButtonsTest, MainframeStatusTableTurnsASecondPressIntoStopOrResume)
{
    MacroRecorder& r = make();
    driver(kX, "MFD1");
    ASSERT_TRUE(attach(kX, "PRE", 11));
    ASSERT_TRUE(attach(kX, "REPLACE", 12));
    active(true);
    // The statuses arrive on the publisher's thread.
    auto publish = [&](const std::string& k, const std::string& v) {
        std::thread([&] { r.updateDirect(k, v); }).join();
    };

    publish("MFD1.MACRO.REG12.STATUS", "PLAY");
    EXPECT_TRUE(r.execReplaceMacro(kX));
    publish("MFD1.MACRO.REG12.STATUS", "PAUSE");
    EXPECT_TRUE(r.execReplaceMacro(kX));
    // Another kind's macro playing: nothing is sent, the notification goes all the same.
    publish("MFD1.MACRO.REG12.STATUS", "STOP");
    publish("MFD1.MACRO.REG11.STATUS", "PLAY");
    EXPECT_TRUE(r.execReplaceMacro(kX));
    publish("MFD1.MACRO.REG11.STATUS", "PAUSE");
    EXPECT_TRUE(r.execReplaceMacro(kX));
    publish("MFD1.MACRO.REG11.STATUS", "STOP");
    EXPECT_TRUE(r.execReplaceMacro(kX));
    EXPECT_EQ(sentTexts(), (std::vector<std::string>{"MFD1.MACRO.STOP REG=12", "MFD1.MACRO.RESUME REG=12",
                                                     "MFD1.REPLACE.MACRO.RECALL QUEUE=TRUE REG=12 BUTTON=" + kXWord}));
    EXPECT_EQ(rig.events.notes(), std::vector<std::string>(5, "0.1.2.3 REPLACEMACROFINISHED"));
}

TEST_F(MacroButtonsTest, AButtonWithNothingAttachedLooksAtNumberZeroWhichNoStatusFills)
{
    MacroRecorder& r = make();
    driver(kX, "MFD1");
    r.updateDirect("MFD1.MACRO.REG1.STATUS", "STOP");
    r.updateDirect("MFD1.MACRO.REG0.STATUS", "PLAY");
    ASSERT_TRUE(rig.fid("MACRO0.RECALL", {{"REG", "4"}}, kX));
    EXPECT_EQ(sentTexts(), std::vector<std::string>{"MFD1.REPLACE.MACRO.RECALL QUEUE=FALSE REG=4 BUTTON=" + kXWord});
    EXPECT_EQ(r.getMacroStatus(kX, 0), "STOP");
}

// ---- levels ----------------------------------------------------------------------------------

TEST_F(MacroButtonsTest, LevelIsEmptyByDefaultAndSelectsTheAttachments)
{
    MacroRecorder& r = make();
    EXPECT_EQ(r.getMacroLevel(kX), "");
    ASSERT_TRUE(attach(kX, "PRE", 1));
    r.setMacroLevel(kX, "SHIFT");
    EXPECT_EQ(r.getMacroLevel(kX), "SHIFT");
    active(true);
    EXPECT_FALSE(r.execPreMacro(kX));
    r.setMacroLevel(kX, "");
    EXPECT_TRUE(r.execPreMacro(kX));
}

TEST_F(MacroButtonsTest, LevelChangeUpdatesTheBlinking)
{
    MacroRecorder& r = make();
    ASSERT_TRUE(attach(kX, "PRE", 1));
    ASSERT_TRUE(rig.fid("MACRO0.ATTACH.VIEW.SET", {{"SHOW", "ON"}}));
    control.clearCalls();
    r.setMacroLevel(kX, "A");
    EXPECT_EQ(control.calls(), (std::vector<std::string>{"set ATBL 0.1.2.3 ACTIVE=TRUE", "set ATBL 0.1.2.3 BLINK=FAST",
                                                         "clear ATBL 0.1.2.3 ACTIVE", "clear ATBL 0.1.2.3 BLINK"}));
}

// ---- threads ---------------------------------------------------------------------------------

TEST_F(MacroButtonsTest, ButtonCallsStatusUpdatesAndFIDsMeetAPlayingMacroWithoutHarm)
{
    MacroRecorder& r = make();
    std::vector<std::pair<std::string, FIDParameterList>> steps;
    for (int i = 0; i < 30; ++i) steps.push_back({"PANEL.STEP", params({{"N", std::to_string(i)}})});
    rig.recordMacro(1, steps);
    ASSERT_TRUE(attach(kX, "REPLACE", 1));
    ASSERT_TRUE(attach(kX, "PRE", 1));
    driver(kY, "MFD1");
    ASSERT_TRUE(attach(kY, "REPLACE", 2));
    ASSERT_TRUE(rig.fid("MACRO0.ASSOCIATE.DISPLAY", {{"PRIMARY", "9"}, {"SECONDARY", "10"}}, kY));
    active(true);
    ASSERT_TRUE(rig.fid("MACRO0.ATTACH.VIEW.SET", {{"SHOW", "ON"}}));

    std::atomic<bool> stop{false};
    std::thread publisher([&] {
        for (int i = 0; !stop.load(); ++i) {
            r.updateDirect("MFD1.MACRO.REG2.STATUS", i % 2 ? "PLAY" : "PAUSE");
            r.updateDirect("MFD1.MACRO.CURRENT.REG", std::to_string(1 + i % 3));
            r.updateDirect("MFD1.MACRO.REG2.NAME", "N" + std::to_string(i));
            r.updateDirect("MFD1.COLOR.MACRO", i % 2 ? "RED" : "BLUE");
        }
    });
    std::thread fids([&] {
        for (int i = 0; !stop.load(); ++i) {
            attach(UniqueWidgetID(0, 1, 2, 50), "POST", i);
            rig.fid("MACRO0.ATTACHMENTS.ACTIVE.SET", {{"VALUE", "ON"}});
            detach(UniqueWidgetID(0, 1, 2, 50), "POST");
        }
    });
    for (int i = 0; i < 40; ++i) {
        r.onButtonDown(kX);
        r.execPreMacro(kX);
        r.hasReplaceMacro(kX);
        r.execReplaceMacro(kX);
        r.execReplaceMacro(kY);
        r.onButtonHold(kX);
        r.onButtonHold(kY);
        r.onButtonRelease(kX);
        r.onButtonRelease(kY);
        r.setMacroLevel(kY, i % 2 ? "A" : "");
    }
    stop = true;
    publisher.join();
    fids.join();
    r.setMacroLevel(kY, "");
    EXPECT_EQ(key(kX, "REPLACE"), "1");
    EXPECT_EQ(key(kY, "REPLACE"), "2");
    EXPECT_TRUE(rig.events.waitFor("0.1.2.3 REPLACEMACROFINISHED"));
}

namespace {
// A FID receiver that holds the first FID until it is let go, so that the
// player stays busy and the play queue fills up.
class BlockingReceiver : public IFunctionID {
public:
    IInterface* queryInterface(unsigned int) override { return nullptr; }
    void sendFID(const FunctionID&, const FIDParameterList&) const override
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_entered = true;
        m_changed.notify_all();
        m_changed.wait(lock, [this] { return m_released; });
    }
    void subscribe(const FunctionID&) const override {}
    void showState() const override {}
    bool waitEntered()
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_changed.wait_for(lock, 5000ms, [this] { return m_entered; });
    }
    void release()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_released = true;
        m_changed.notify_all();
    }

private:
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    mutable bool m_entered = false;
    bool m_released = false;
};
} // namespace

TEST_F(MacroButtonsTest, AFullPlayQueueIsLoggedAsAFailedStartOfEachKind)
{
    MacroRecorder& r = make();
    recordLocalMacro(1);
    for (const char* kind : {"PRE", "REPLACE", "POST"}) ASSERT_TRUE(attach(kX, kind, 1));
    active(true);
    BlockingReceiver blocking;
    r.setFIDReceiverInterface(&blocking);
    ASSERT_TRUE(r.execPreMacro(kX));
    ASSERT_TRUE(blocking.waitEntered());

    // The control thread takes one more request and then waits for the busy player for good; the rest
    // queue up. It takes that request whenever it gets to run, which may be after the queue first filled,
    // so the queue is filled again after each pause until a pause frees no room.
    size_t accepted = 1;
    const auto fill = [&] {
        size_t added = 0;
        while (added < 500 && r.execPreMacro(kX)) ++added;
        accepted += added;
        return added;
    };
    EXPECT_LT(fill(), 500u);
    for (int i = 0; i < 20; ++i) {
        std::this_thread::sleep_for(50ms);
        if (fill() == 0) break;
    }
    EXPECT_FALSE(r.execReplaceMacro(kX));
    r.execPostMacro(kX);
    EXPECT_TRUE(rig.logged("ERROR Macro: failed to start pre-macro 1"));
    EXPECT_TRUE(rig.logged("ERROR Macro: failed to start replace-macro 1"));
    EXPECT_TRUE(rig.logged("ERROR Macro: failed to start post-macro 1"));

    // Every accepted request still plays and tells its end.
    blocking.release();
    const auto end = Clock::now() + 20s;
    while (rig.events.notes().size() < accepted && Clock::now() < end) rig.events.waitFor("(none)", 10ms);
    EXPECT_EQ(rig.events.notes().size(), accepted);
}

// MacroRecorder: the attachment store, attach.xml, the attach FIDs and the blinking of attached buttons.
#include <sys/resource.h>

#include <csignal>

#include "support/recordingwidgetcontrol.h"
#include "test_macro_rig.h"

using namespace macrotest;
namespace fs = std::filesystem;

namespace {

const UniqueWidgetID kButton(0, 1, 2, 3);
const UniqueWidgetID kOther(0, 1, 2, 4);

class MacroAttachTest : public AttachRigTest {
protected:
    fs::path attachFile() const { return rig.macroDir(0) / "attach.xml"; }
    void writeAttach(const std::string& text)
    {
        fs::create_directories(rig.macroDir(0));
        testenv::writeFile(attachFile(), text);
    }
    MacroRecorder::Widget widget(const UniqueWidgetID& id)
    {
        MacroRecorder::Widget copy;
        EXPECT_TRUE(rig.recorder->findWidget(id, copy));
        return copy;
    }
    std::vector<std::string> blinkCalls() const
    {
        std::vector<std::string> calls;
        for (const auto& c : control.calls())
            if (c.find(" ATBL ") != std::string::npos) calls.push_back(c);
        return calls;
    }
    // Names of the files in the macro directory.
    std::vector<std::string> directoryNames() const
    {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(rig.macroDir(0))) names.push_back(entry.path().filename());
        std::sort(names.begin(), names.end());
        return names;
    }

};

const std::string kHead = "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n";
const std::string kRootOpen = "<attachments xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
                              "xsi:noNamespaceSchemaLocation=\"../attach.xsd\" version=\"0.1\" date=\"D\">\n";

} // namespace

// ---- the store and its keys ------------------------------------------------------------------

TEST_F(MacroAttachTest, AttachByFIDPublishesTheKeyTheCountAndWritesTheFile)
{
    make();
    ASSERT_TRUE(attach(kButton, "PRE", 5));
    EXPECT_EQ(rig.state.value("MACRO0.ATTACH.0.1.2.3.PRE"), "5");
    EXPECT_EQ(rig.state.changesStartingWith("int MACRO0.ATTACH.0.1.2.3.PRE"),
              std::vector<std::string>{"int MACRO0.ATTACH.0.1.2.3.PRE=5"});
    EXPECT_EQ(rig.state.value("MACRO0.ATTACHCOUNT"), "1");
    EXPECT_EQ(stable(readText(attachFile())), kHead + kRootOpen +
                                                  "    <widget workplace=\"0\" group=\"1\" module=\"2\" widget=\"3\">\n"
                                                  "        <pre level=\"\" macro=\"5\" />\n"
                                                  "    </widget>\n"
                                                  "</attachments>\n");
    EXPECT_TRUE(XMLVerify().verifySignature(oskit::Path(attachFile().string())));
    EXPECT_EQ(widget(kButton).getMacro(MacroRecorder::Widget::PRE), 5);
}

TEST_F(MacroAttachTest, FileListsButtonsInIdOrderKindByKindAndLevelsInOrder)
{
    MacroRecorder& r = make();
    ASSERT_TRUE(attach(kOther, "POST", 9));
    ASSERT_TRUE(attach(kButton, "POST", 4));
    ASSERT_TRUE(attach(kButton, "REPLACE", 3));
    r.setMacroLevel(kButton, "B");
    ASSERT_TRUE(attach(kButton, "PRE", 2));
    r.setMacroLevel(kButton, "A");
    ASSERT_TRUE(attach(kButton, "PRE", 1));
    EXPECT_EQ(stable(readText(attachFile())), kHead + kRootOpen +
                                                  "    <widget workplace=\"0\" group=\"1\" module=\"2\" widget=\"3\">\n"
                                                  "        <pre level=\"A\" macro=\"1\" />\n"
                                                  "        <pre level=\"B\" macro=\"2\" />\n"
                                                  "        <replace level=\"\" macro=\"3\" />\n"
                                                  "        <post level=\"\" macro=\"4\" />\n"
                                                  "    </widget>\n"
                                                  "    <widget workplace=\"0\" group=\"1\" module=\"2\" widget=\"4\">\n"
                                                  "        <post level=\"\" macro=\"9\" />\n"
                                                  "    </widget>\n"
                                                  "</attachments>\n");
}

TEST_F(MacroAttachTest, ChangingTheLevelAndAttachingMakesASecondKeyAndTheFirstStays)
{
    MacroRecorder& r = make();
    ASSERT_TRUE(attach(kButton, "PRE", 7));
    r.setMacroLevel(kButton, "A");
    ASSERT_TRUE(attach(kButton, "PRE", 8));
    EXPECT_EQ(rig.state.value("MACRO0.ATTACH.0.1.2.3.PRE"), "7");
    EXPECT_EQ(rig.state.value("MACRO0.ATTACH.0.1.2.3.A.PRE"), "8");
    EXPECT_EQ(rig.state.value("MACRO0.ATTACHCOUNT"), "2");
    EXPECT_EQ(widget(kButton).getMacro(MacroRecorder::Widget::PRE), 8);
    r.setMacroLevel(kButton, "");
    EXPECT_EQ(widget(kButton).getMacro(MacroRecorder::Widget::PRE), 7);
}

TEST_F(MacroAttachTest, AttachRefusesAMissingParameterAnUnknownTypeAndPreComplete)
{
    make();
    EXPECT_FALSE(rig.fid("MACRO0.ATTACH", {{"WORKPLACE", "0"}, {"GROUP", "1"}, {"MODULE", "2"}, {"WIDGET", "3"},
                                           {"TYPE", "PRE"}}));
    EXPECT_FALSE(rig.fid("MACRO0.ATTACH", {{"GROUP", "1"}, {"MODULE", "2"}, {"WIDGET", "3"}, {"TYPE", "PRE"},
                                           {"REG", "1"}}));
    EXPECT_FALSE(attach(kButton, "PRE_COMPLETE", 5));
    EXPECT_FALSE(attach(kButton, "pre", 5));
    EXPECT_FALSE(rig.state.has("MACRO0.ATTACH.0.1.2.3.PRE_COMPLETE"));
    EXPECT_FALSE(fs::exists(attachFile()));
    EXPECT_FALSE(detach(kButton, "PRE_COMPLETE"));
    EXPECT_FALSE(rig.fid("MACRO0.DETACH", {{"WORKPLACE", "0"}, {"GROUP", "1"}, {"MODULE", "2"}, {"WIDGET", "3"}}));
}

TEST_F(MacroAttachTest, AttachTakesAnyNumberAndAMacroThatDoesNotExist)
{
    make();
    ASSERT_TRUE(attach(kButton, "POST", 0));
    ASSERT_TRUE(attach(kOther, "POST", 4711));
    EXPECT_EQ(rig.state.value("MACRO0.ATTACH.0.1.2.3.POST"), "0");
    EXPECT_EQ(rig.state.value("MACRO0.ATTACH.0.1.2.4.POST"), "4711");
    EXPECT_EQ(rig.state.value("MACRO0.ATTACHCOUNT"), "2");
}

TEST_F(MacroAttachTest, DetachUnsetsTheKeyTriggersDetachCompleteAndRewritesTheFile)
{
    make();
    ASSERT_TRUE(attach(kButton, "PRE", 5));
    ASSERT_TRUE(detach(kButton, "PRE"));
    EXPECT_FALSE(rig.state.has("MACRO0.ATTACH.0.1.2.3.PRE"));
    const auto changes = rig.state.changes();
    const auto unset = std::find(changes.begin(), changes.end(), "unset MACRO0.ATTACH.0.1.2.3.PRE");
    ASSERT_NE(unset, changes.end());
    EXPECT_EQ(*(unset + 1), "event MACRO0.DETACH.COMPLETE=3");
    EXPECT_EQ(rig.state.value("MACRO0.ATTACHCOUNT"), "0");
    EXPECT_EQ(stable(readText(attachFile())), kHead + kRootOpen.substr(0, kRootOpen.size() - 2) + " />\n");
}

TEST_F(MacroAttachTest, DetachingAKindThatIsNotAttachedStillTriggersDetachCompleteAndRewritesTheFile)
{
    make();
    ASSERT_TRUE(attach(kButton, "PRE", 5));
    fs::remove(attachFile());
    rig.state.clearChanges();
    ASSERT_TRUE(detach(kButton, "POST"));
    EXPECT_EQ(rig.state.changes(),
              (std::vector<std::string>{"unset MACRO0.ATTACH.0.1.2.3.POST", "event MACRO0.DETACH.COMPLETE=3",
                                        "int MACRO0.ATTACHCOUNT=1"}));
    EXPECT_TRUE(fs::exists(attachFile()));
    EXPECT_EQ(rig.state.value("MACRO0.ATTACH.0.1.2.3.PRE"), "5");
}

TEST_F(MacroAttachTest, AttachAndDetachAreRefusedDuringTheApplicationBracket)
{
    MacroRecorder& r = make();
    ASSERT_TRUE(attach(kButton, "PRE", 5));
    const std::string before = readText(attachFile());
    r.prepareAppliSave();
    rig.state.clearChanges();
    EXPECT_TRUE(attach(kButton, "POST", 6));
    EXPECT_TRUE(detach(kButton, "PRE"));
    EXPECT_TRUE(rig.logged("ERROR Macro: Ignoring macro attach/detach request: application load/save in progress"));
    EXPECT_EQ(rig.state.changes(), std::vector<std::string>{});
    EXPECT_EQ(readText(attachFile()), before);
    EXPECT_EQ(widget(kButton).getMacro(MacroRecorder::Widget::PRE), 5);
    EXPECT_EQ(widget(kButton).getMacro(MacroRecorder::Widget::POST), 0);
    r.finishAppliSave();
}

TEST_F(MacroAttachTest, DetachAllUnsetsEveryKeyEvenDuringTheBracketAndSavesAnEmptyFile)
{
    MacroRecorder& r = make();
    ASSERT_TRUE(attach(kButton, "PRE", 5));
    r.setMacroLevel(kButton, "A");
    ASSERT_TRUE(attach(kButton, "REPLACE", 6));
    ASSERT_TRUE(attach(kOther, "POST", 7));
    r.prepareAppliLoad();
    ASSERT_TRUE(rig.fid("MACRO0.DETACHALL"));
    for (const char* key : {"MACRO0.ATTACH.0.1.2.3.PRE", "MACRO0.ATTACH.0.1.2.3.A.REPLACE", "MACRO0.ATTACH.0.1.2.4.POST"})
        EXPECT_FALSE(rig.state.has(key)) << key;
    EXPECT_EQ(rig.state.value("MACRO0.ATTACHCOUNT"), "0");
    EXPECT_EQ(stable(readText(attachFile())), kHead + kRootOpen.substr(0, kRootOpen.size() - 2) + " />\n");
    // The level and the displays stay.
    EXPECT_EQ(widget(kButton).m_level, "A");
    EXPECT_TRUE(widget(kButton).m_hasReplace.empty());
    r.finishAppliLoad();
}

TEST_F(MacroAttachTest, FailedSaveIsLoggedLeavesNoTemporaryFileAndStillSetsTheCount)
{
    make();
    fs::create_directories(attachFile() / "occupied");
    ASSERT_TRUE(attach(kButton, "PRE", 5));
    EXPECT_TRUE(rig.logged("ERROR Macro: Failed to save macro attachments file " +
                           (fs::canonical(rig.macroDir(0)) / "attach.xml").string()));
    EXPECT_EQ(rig.state.value("MACRO0.ATTACHCOUNT"), "1");
    EXPECT_EQ(directoryNames(), std::vector<std::string>{"attach.xml"});
    EXPECT_EQ(widget(kButton).getMacro(MacroRecorder::Widget::PRE), 5);
}

TEST_F(MacroAttachTest, SaveReplacesTheFileWholeAndLeavesNoTemporaryFile)
{
    make();
    for (int i = 1; i <= 20; ++i) ASSERT_TRUE(attach(UniqueWidgetID(0, 1, 2, static_cast<unsigned>(i)), "PRE", i));
    EXPECT_EQ(directoryNames(), std::vector<std::string>{"attach.xml"});
    EXPECT_TRUE(XMLVerify().verifySignature(oskit::Path(attachFile().string())));
    EXPECT_EQ(rig.state.value("MACRO0.ATTACHCOUNT"), "20");
}

// ---- loading ---------------------------------------------------------------------------------

TEST_F(MacroAttachTest, LoadReadsEveryKindLevelAndButtonAndPublishesTheirKeys)
{
    writeAttach(kHead +
                "<attachments version=\"0.1\">\n"
                "  <widget workplace=\"0\" group=\"1\" module=\"2\" widget=\"3\">\n"
                "    <pre macro=\"5\"/>\n"
                "    <pre_complete level=\"A\" macro=\"6\"/>\n"
                "    <replace level=\"A\" macro=\"7\"/>\n"
                "    <post level=\"B\" macro=\"8\"/>\n"
                "  </widget>\n"
                "  <widget group=\"1\" module=\"2\" widget=\"4\"><post/></widget>\n"
                "</attachments>\n");
    make();
    EXPECT_EQ(rig.state.value("MACRO0.ATTACH.0.1.2.3.PRE"), "5");
    EXPECT_EQ(rig.state.value("MACRO0.ATTACH.0.1.2.3.A.PRE_COMPLETE"), "6");
    EXPECT_EQ(rig.state.value("MACRO0.ATTACH.0.1.2.3.A.REPLACE"), "7");
    EXPECT_EQ(rig.state.value("MACRO0.ATTACH.0.1.2.3.B.POST"), "8");
    EXPECT_EQ(rig.state.value("MACRO0.ATTACH.0.1.2.4.POST"), "0");
    EXPECT_EQ(rig.state.value("MACRO0.ATTACHCOUNT"), "5");
    EXPECT_TRUE(rig.logged("WARN Macro: Macro attachments file " +
                           (fs::canonical(rig.macroDir(0)) / "attach.xml").string() + " has invalid signature"));
    const MacroRecorder::Widget w = widget(kButton);
    EXPECT_EQ(w.m_hasReplace.at("A"), true);
    EXPECT_EQ(w.m_hasReplace.count(""), 0u);
}

TEST_F(MacroAttachTest, ReplaceElementWithMacroZeroSetsHasReplaceWhileGetMacroReadsZero)
{
    writeAttach(kHead + "<attachments><widget group=\"1\" module=\"2\" widget=\"3\"><replace macro=\"0\"/></widget>"
                        "</attachments>\n");
    make();
    const MacroRecorder::Widget w = widget(kButton);
    EXPECT_EQ(w.getMacro(MacroRecorder::Widget::REPLACE), 0);
    EXPECT_TRUE(w.m_hasReplace.at(""));
    ASSERT_TRUE(rig.fid("MACRO0.ATTACHMENTS.ACTIVE.SET", {{"VALUE", "ON"}}));
    EXPECT_TRUE(rig.recorder->hasReplaceMacro(kButton));
}

TEST_F(MacroAttachTest, SignedFileLoadsWithoutWarning)
{
    make();
    ASSERT_TRUE(attach(kButton, "POST", 2));
    rig.recorder.reset();
    rig.log.clear();
    make();
    EXPECT_EQ(rig.state.value("MACRO0.ATTACH.0.1.2.3.POST"), "2");
    EXPECT_FALSE(rig.logged("has invalid signature"));
}

TEST_F(MacroAttachTest, CommentInsideAWidgetFailsTheLoadThereAndEarlierWidgetsStay)
{
    writeAttach(kHead + "<attachments>\n"
                        "<widget group=\"1\" module=\"2\" widget=\"4\"><post macro=\"9\"/></widget>\n"
                        "<widget group=\"1\" module=\"2\" widget=\"3\">\n"
                        "  <pre macro=\"5\"/>\n"
                        "  <!-- a remark -->\n"
                        "  <post macro=\"6\"/>\n"
                        "</widget>\n"
                        "<widget group=\"1\" module=\"2\" widget=\"5\"><post macro=\"1\"/></widget>\n"
                        "</attachments>\n");
    make();
    EXPECT_TRUE(rig.logged("ERROR Macro: Macro attachments file " +
                           (fs::canonical(rig.macroDir(0)) / "attach.xml").string() +
                           " has invalid format in line 2"));
    EXPECT_EQ(rig.state.value("MACRO0.ATTACH.0.1.2.4.POST"), "9");
    EXPECT_EQ(rig.state.value("MACRO0.ATTACH.0.1.2.3.PRE"), "5");
    EXPECT_FALSE(rig.state.has("MACRO0.ATTACH.0.1.2.3.POST"));
    EXPECT_FALSE(rig.state.has("MACRO0.ATTACH.0.1.2.5.POST"));
    // The count keeps the 0 of the detach-all that opens every load.
    EXPECT_EQ(rig.state.value("MACRO0.ATTACHCOUNT"), "0");
}

TEST_F(MacroAttachTest, UnknownChildOfAWidgetIsSkippedAndNotCounted)
{
    writeAttach(kHead + "<attachments><widget group=\"1\" module=\"2\" widget=\"3\">"
                        "<later macro=\"4\"/><pre macro=\"5\"/></widget></attachments>\n");
    make();
    EXPECT_EQ(rig.state.value("MACRO0.ATTACHCOUNT"), "1");
    EXPECT_EQ(rig.state.value("MACRO0.ATTACH.0.1.2.3.PRE"), "5");
    EXPECT_FALSE(rig.logged("invalid format"));
}

TEST_F(MacroAttachTest, DisabledButtonsEntryIsDroppedOnLoadAndVanishesFromTheFileAtTheNextSave)
{
    writeAttach(kHead + "<attachments>"
                        "<widget group=\"1\" module=\"2\" widget=\"3\"><pre macro=\"5\"/></widget>"
                        "<widget group=\"1\" module=\"2\" widget=\"4\"><pre macro=\"6\"/></widget>"
                        "</attachments>\n");
    MacroRecorder& r = make();
    ASSERT_TRUE(rig.fid("MACRO0.ATTACH.DISABLE", {}, kButton));
    r.reinit();
    EXPECT_FALSE(rig.state.has("MACRO0.ATTACH.0.1.2.3.PRE"));
    EXPECT_EQ(rig.state.value("MACRO0.ATTACH.0.1.2.4.PRE"), "6");
    EXPECT_EQ(rig.state.value("MACRO0.ATTACHCOUNT"), "1");
    ASSERT_TRUE(attach(kOther, "POST", 2));
    const std::string text = readText(attachFile());
    EXPECT_EQ(text.find("widget=\"3\""), std::string::npos);
    EXPECT_NE(text.find("widget=\"4\""), std::string::npos);
}

TEST_F(MacroAttachTest, MissingFileLoadsSilentlyWithCountZero)
{
    make();
    EXPECT_EQ(rig.state.value("MACRO0.ATTACHCOUNT"), "0");
    EXPECT_FALSE(rig.logged("attachments file"));
}

TEST_F(MacroAttachTest, UnparsableFileIsIgnoredSilently)
{
    writeAttach("<attachments><widget");
    make();
    EXPECT_EQ(rig.state.value("MACRO0.ATTACHCOUNT"), "0");
    EXPECT_FALSE(rig.logged("attachments file"));
}

TEST_F(MacroAttachTest, WrongRootIsReportedWithItsRow)
{
    writeAttach(kHead + "\n<macros/>\n");
    make();
    EXPECT_TRUE(rig.logged(" has invalid format (no attachments element) in line 3"));
}

TEST_F(MacroAttachTest, DocumentWithoutElementIsReportedWithRowMinusOne)
{
    writeAttach(kHead + "<!-- nothing here -->\n");
    make();
    EXPECT_TRUE(rig.logged(" has invalid format (no attachments element) in line -1"));
}

TEST_F(MacroAttachTest, NonWidgetChildOfTheRootEndsTheLoadWithTheRootsRow)
{
    writeAttach(kHead + "\n<attachments>\n"
                        "<widget group=\"1\" module=\"2\" widget=\"3\"><pre macro=\"5\"/></widget>\n"
                        "<!-- remark -->\n"
                        "<widget group=\"1\" module=\"2\" widget=\"4\"><pre macro=\"6\"/></widget>\n"
                        "</attachments>\n");
    make();
    EXPECT_TRUE(rig.logged(" has invalid format (widget element missing) in line 3"));
    EXPECT_EQ(rig.state.value("MACRO0.ATTACH.0.1.2.3.PRE"), "5");
    EXPECT_FALSE(rig.state.has("MACRO0.ATTACH.0.1.2.4.PRE"));
    EXPECT_EQ(rig.state.value("MACRO0.ATTACHCOUNT"), "0");
}

TEST_F(MacroAttachTest, WidgetWithoutAttributesIsButtonZero)
{
    writeAttach(kHead + "<attachments><widget><post macro=\"3\"/></widget></attachments>\n");
    make();
    EXPECT_EQ(rig.state.value("MACRO0.ATTACH.0.0.0.0.POST"), "3");
}

TEST_F(MacroAttachTest, OutlandishNumbersLoadWithoutHarm)
{
    writeAttach(kHead + "<attachments><widget workplace=\"99999999999\" group=\"-7\" module=\"x\" "
                        "widget=\"70000\"><post macro=\"99999999999\"/><pre macro=\"-3\"/></widget>"
                        "</attachments>\n");
    make();
    EXPECT_EQ(rig.state.value("MACRO0.ATTACHCOUNT"), "2");
}

TEST_F(MacroAttachTest, LoadReplacesEverythingThatWasAttached)
{
    MacroRecorder& r = make();
    ASSERT_TRUE(attach(kButton, "PRE", 5));
    writeAttach(kHead + "<attachments><widget group=\"1\" module=\"2\" widget=\"4\"><post macro=\"6\"/></widget>"
                        "</attachments>\n");
    r.reinit();
    EXPECT_FALSE(rig.state.has("MACRO0.ATTACH.0.1.2.3.PRE"));
    EXPECT_EQ(rig.state.value("MACRO0.ATTACH.0.1.2.4.POST"), "6");
    EXPECT_EQ(widget(kButton).getMacro(MacroRecorder::Widget::PRE), 0);
}

TEST_F(MacroAttachTest, FileSurvivesANewRecorder)
{
    MacroRecorder& r = make();
    r.setMacroLevel(kButton, "A");
    ASSERT_TRUE(attach(kButton, "REPLACE", 12));
    ASSERT_TRUE(attach(kOther, "PRE", 13));
    rig.recorder.reset();
    rig.state.clearChanges();
    make();
    EXPECT_EQ(rig.state.value("MACRO0.ATTACH.0.1.2.3.A.REPLACE"), "12");
    EXPECT_EQ(rig.state.value("MACRO0.ATTACH.0.1.2.4.PRE"), "13");
    EXPECT_EQ(rig.state.value("MACRO0.ATTACHCOUNT"), "2");
}

// A level is written into the file with each attachment made at it: one the
// file could not keep is refused and the button stays at its level.
TEST_F(MacroAttachTest, LevelWithMalformedUtf8IsRefusedAndTheFileStays)
{
    MacroRecorder& r = make();
    r.setMacroLevel(kButton, "A");
    ASSERT_TRUE(attach(kButton, "REPLACE", 12));
    const std::string stored = readText(attachFile());
    const size_t calls = control.calls().size();

    r.setMacroLevel(kButton, "B\xff");
    EXPECT_TRUE(rig.logged("WARN Macro: macro level refused for widget 0.1.2.3: malformed UTF-8"));
    r.setMacroLevel(kButton, "\xc3");
    EXPECT_TRUE(rig.logged("WARN Macro: macro level refused for widget 0.1.2.3: UTF-8 sequence cut at the end"));
    EXPECT_EQ(r.getMacroLevel(kButton), "A");
    EXPECT_EQ(control.calls().size(), calls);
    ASSERT_TRUE(attach(kButton, "PRE", 13));
    EXPECT_EQ(rig.state.value("MACRO0.ATTACH.0.1.2.3.A.PRE"), "13");
    EXPECT_NE(readText(attachFile()), stored);

    rig.recorder.reset();
    rig.state.clearChanges();
    make();
    EXPECT_EQ(rig.state.value("MACRO0.ATTACH.0.1.2.3.A.REPLACE"), "12");
    EXPECT_EQ(rig.state.value("MACRO0.ATTACH.0.1.2.3.A.PRE"), "13");
    EXPECT_EQ(rig.state.value("MACRO0.ATTACHCOUNT"), "2");
}

// ---- enable, view, activity and modes --------------------------------------------------------

TEST_F(MacroAttachTest, EnableAndDisableAnswerTrueAndKeepTheStoredAttachments)
{
    make();
    ASSERT_TRUE(attach(kButton, "PRE", 5));
    EXPECT_TRUE(rig.fid("MACRO0.ATTACH.DISABLE", {}, kButton));
    EXPECT_EQ(widget(kButton).getMacro(MacroRecorder::Widget::PRE), 5);
    EXPECT_TRUE(rig.fid("MACRO0.ATTACH.ENABLE", {}, kButton));
    EXPECT_TRUE(rig.fid("MACRO0.ATTACH.ENABLE", {}, kOther));
}

TEST_F(MacroAttachTest, AttachViewOnBlinksButtonsWithAMacroAtTheirLevel)
{
    MacroRecorder& r = make();
    ASSERT_TRUE(attach(kButton, "PRE", 5));
    r.setMacroLevel(kOther, "A");
    ASSERT_TRUE(attach(kOther, "PRE", 0)); // number 0 does not blink
    control.clearCalls();
    ASSERT_TRUE(rig.fid("MACRO0.ATTACH.VIEW.SET", {{"SHOW", "ON"}}));
    EXPECT_EQ(blinkCalls(), (std::vector<std::string>{"set ATBL 0.1.2.3 ACTIVE=TRUE", "set ATBL 0.1.2.3 BLINK=FAST"}));
    EXPECT_EQ(rig.state.value("MACRO0.ATTACH.VIEW"), "ON");
    control.clearCalls();
    ASSERT_TRUE(rig.fid("MACRO0.ATTACH.VIEW.SET", {{"SHOW", "OFF"}}));
    EXPECT_EQ(blinkCalls(), (std::vector<std::string>{"clear ATBL 0.1.2.3 ACTIVE", "clear ATBL 0.1.2.3 BLINK"}));
    EXPECT_EQ(rig.state.value("MACRO0.ATTACH.VIEW"), "OFF");
}

TEST_F(MacroAttachTest, AttachViewRefusesOtherWords)
{
    make();
    EXPECT_FALSE(rig.fid("MACRO0.ATTACH.VIEW.SET", {{"SHOW", "on"}}));
    EXPECT_FALSE(rig.fid("MACRO0.ATTACH.VIEW.SET"));
    EXPECT_EQ(rig.state.value("MACRO0.ATTACH.VIEW"), "OFF");
}

TEST_F(MacroAttachTest, WithTheViewOnAnAttachedMacroBlinksAtOnceAndTheLastDetachStopsIt)
{
    make();
    ASSERT_TRUE(rig.fid("MACRO0.ATTACH.VIEW.SET", {{"SHOW", "ON"}}));
    ASSERT_TRUE(attach(kButton, "PRE", 5));
    EXPECT_EQ(control.layer("ATBL", "0.1.2.3", "ACTIVE"), "TRUE");
    EXPECT_EQ(control.layer("ATBL", "0.1.2.3", "BLINK"), "FAST");
    ASSERT_TRUE(attach(kButton, "POST", 6));
    ASSERT_TRUE(detach(kButton, "PRE"));
    EXPECT_EQ(control.layer("ATBL", "0.1.2.3", "BLINK"), "FAST");
    ASSERT_TRUE(detach(kButton, "POST"));
    EXPECT_EQ(control.layer("ATBL", "0.1.2.3", "ACTIVE"), "-");
    EXPECT_EQ(control.layer("ATBL", "0.1.2.3", "BLINK"), "-");
}

TEST_F(MacroAttachTest, WithTheViewOffNothingBlinks)
{
    make();
    ASSERT_TRUE(attach(kButton, "PRE", 5));
    ASSERT_TRUE(detach(kButton, "PRE"));
    EXPECT_EQ(blinkCalls(), std::vector<std::string>{});
}

TEST_F(MacroAttachTest, LoadWithTheViewOnBlinksEachReadButton)
{
    writeAttach(kHead + "<attachments><widget group=\"1\" module=\"2\" widget=\"3\"><pre macro=\"5\"/></widget>"
                        "<widget group=\"1\" module=\"2\" widget=\"4\"><pre level=\"X\" macro=\"5\"/></widget>"
                        "</attachments>\n");
    MacroRecorder& r = make();
    ASSERT_TRUE(rig.fid("MACRO0.ATTACH.VIEW.SET", {{"SHOW", "ON"}}));
    control.clearCalls();
    r.reinit();
    // Off for the detach-all of the load, on as read, and then as the level says.
    EXPECT_EQ(blinkCalls(), (std::vector<std::string>{
                                "clear ATBL 0.1.2.3 ACTIVE", "clear ATBL 0.1.2.3 BLINK", "clear ATBL 0.1.2.4 ACTIVE",
                                "clear ATBL 0.1.2.4 BLINK", "set ATBL 0.1.2.3 ACTIVE=TRUE", "set ATBL 0.1.2.3 BLINK=FAST",
                                "set ATBL 0.1.2.3 ACTIVE=TRUE", "set ATBL 0.1.2.3 BLINK=FAST",
                                "set ATBL 0.1.2.4 ACTIVE=TRUE", "set ATBL 0.1.2.4 BLINK=FAST",
                                "clear ATBL 0.1.2.4 ACTIVE", "clear ATBL 0.1.2.4 BLINK"}));
}

TEST_F(MacroAttachTest, AttachmentsActiveSetsTheFlagAndRefusesOtherWords)
{
    make();
    ASSERT_TRUE(rig.fid("MACRO0.ATTACHMENTS.ACTIVE.SET", {{"VALUE", "ON"}}));
    EXPECT_EQ(rig.state.value("MACRO0.ATTACHMENTS.ACTIVE"), "ON");
    EXPECT_FALSE(rig.fid("MACRO0.ATTACHMENTS.ACTIVE.SET", {{"VALUE", "MAYBE"}}));
    EXPECT_FALSE(rig.fid("MACRO0.ATTACHMENTS.ACTIVE.SET"));
    EXPECT_EQ(rig.state.value("MACRO0.ATTACHMENTS.ACTIVE"), "ON");
    ASSERT_TRUE(rig.fid("MACRO0.ATTACHMENTS.ACTIVE.SET", {{"VALUE", "OFF"}}));
    EXPECT_EQ(rig.state.value("MACRO0.ATTACHMENTS.ACTIVE"), "OFF");
}

TEST_F(MacroAttachTest, AttachmentModeSetTakesThreeWordsAndAnyOtherMeansNone)
{
    make();
    for (const auto& [word, published] : std::vector<std::pair<std::string, std::string>>{
             {"PRE", "PRE"}, {"REPLACE", "REPLACE"}, {"POST", "POST"}, {"pre", "NONE"}, {"", "NONE"}}) {
        rig.state.clearChanges();
        EXPECT_TRUE(rig.fid("MACRO0.ATTACH.MODE.SET", {{"MODE", word}}));
        EXPECT_EQ(rig.state.changes(), (std::vector<std::string>{"set MACRO0.ATTACH.MODE=" + published,
                                                                 "set MACRO0.ATTACH.REPLACEMODE=OFF"}))
            << word;
    }
    rig.state.clearChanges();
    EXPECT_FALSE(rig.fid("MACRO0.ATTACH.MODE.SET"));
    EXPECT_EQ(rig.state.changes(), std::vector<std::string>{});
}

TEST_F(MacroAttachTest, ReplaceModeSetTakesSimpleSecureAndOff)
{
    make();
    EXPECT_TRUE(rig.fid("MACRO0.ATTACH.REPLACEMODE.SET", {{"VALUE", "SIMPLE"}}));
    EXPECT_EQ(rig.state.value("MACRO0.ATTACH.REPLACEMODE"), "SIMPLE");
    EXPECT_TRUE(rig.fid("MACRO0.ATTACH.REPLACEMODE.SET", {{"VALUE", "SECURE"}}));
    EXPECT_EQ(rig.state.value("MACRO0.ATTACH.REPLACEMODE"), "SECURE");
    EXPECT_FALSE(rig.fid("MACRO0.ATTACH.REPLACEMODE.SET", {{"VALUE", "ON"}}));
    EXPECT_FALSE(rig.fid("MACRO0.ATTACH.REPLACEMODE.SET"));
    EXPECT_EQ(rig.state.value("MACRO0.ATTACH.REPLACEMODE"), "SECURE");
    EXPECT_TRUE(rig.fid("MACRO0.ATTACH.REPLACEMODE.SET", {{"VALUE", "OFF"}}));
    EXPECT_EQ(rig.state.value("MACRO0.ATTACH.REPLACEMODE"), "OFF");
}

TEST_F(MacroAttachTest, SimpleForgetsTheSimpleMacroUntilTheAttachButtonArmsItAgain)
{
    MacroRecorder& r = make();
    const UniqueWidgetID attachButton(0, 1, 2, 90);
    ASSERT_TRUE(rig.fid("MACRO0.ATTACH.BUTTON.DOWN", {{"MACRO", "7"}}, attachButton));
    ASSERT_TRUE(rig.fid("MACRO0.ATTACH.REPLACEMODE.SET", {{"VALUE", "SIMPLE"}}));
    r.onButtonDown(kButton);
    EXPECT_FALSE(rig.state.has("MACRO0.ATTACH.0.1.2.3.REPLACE"));

    ASSERT_TRUE(rig.fid("MACRO0.ATTACH.BUTTON.DOWN", {{"MACRO", "9"}}, attachButton));
    r.onButtonDown(kButton);
    EXPECT_EQ(rig.state.value("MACRO0.ATTACH.0.1.2.3.REPLACE"), "9");
}

// ---- displays --------------------------------------------------------------------------------

TEST_F(MacroAttachTest, AssociateDisplayForAButtonWithoutEntryIsFalse)
{
    make();
    EXPECT_FALSE(rig.fid("MACRO0.ASSOCIATE.DISPLAY", {{"PRIMARY", "9"}}, kButton));
    MacroRecorder::Widget copy;
    EXPECT_FALSE(rig.recorder->findWidget(kButton, copy));
}

TEST_F(MacroAttachTest, AssociateDisplayNeedsPrimary)
{
    MacroRecorder& r = make();
    r.getMacroLevel(kButton);
    EXPECT_FALSE(rig.fid("MACRO0.ASSOCIATE.DISPLAY", {{"SECONDARY", "9"}}, kButton));
}

TEST_F(MacroAttachTest, AssociateDisplayTakesWidgetNumbersOnTheButtonsModule)
{
    make();
    ASSERT_TRUE(attach(kButton, "PRE", 1));
    EXPECT_TRUE(rig.fid("MACRO0.ASSOCIATE.DISPLAY", {{"PRIMARY", "9"}, {"SECONDARY", "10"}, {"TERTIARY", "65547"}},
                        kButton));
    MacroRecorder::Widget w = widget(kButton);
    EXPECT_EQ(w.m_primaryDisplay, UniqueWidgetID(0, 1, 2, 9));
    EXPECT_EQ(w.m_secondaryDisplay, UniqueWidgetID(0, 1, 2, 10));
    EXPECT_EQ(w.m_tertiaryDisplay, UniqueWidgetID(0, 1, 2, 11));

    // Negative secondary and tertiary store none; the primary is combined without a mask.
    EXPECT_TRUE(rig.fid("MACRO0.ASSOCIATE.DISPLAY", {{"PRIMARY", "65545"}, {"SECONDARY", "-1"}}, kButton));
    w = widget(kButton);
    EXPECT_EQ(w.m_primaryDisplay, UniqueWidgetID(0, 1, 3, 9));
    EXPECT_EQ(w.m_secondaryDisplay.getID(), 0u);
    EXPECT_EQ(w.m_tertiaryDisplay.getID(), 0u);
}

TEST_F(MacroAttachTest, DisplaysAndLevelStayThroughDetachAll)
{
    MacroRecorder& r = make();
    ASSERT_TRUE(attach(kButton, "PRE", 1));
    ASSERT_TRUE(rig.fid("MACRO0.ASSOCIATE.DISPLAY", {{"PRIMARY", "9"}}, kButton));
    r.setMacroLevel(kButton, "L");
    r.detachAllMacros();
    EXPECT_EQ(widget(kButton).m_primaryDisplay, UniqueWidgetID(0, 1, 2, 9));
    EXPECT_EQ(widget(kButton).m_level, "L");
}

TEST_F(MacroAttachTest, FolderInPlaceOfTheFileLoadsAsNoFileWithItsLine)
{
    fs::create_directories(attachFile());
    make();
    EXPECT_EQ(rig.state.value("MACRO0.ATTACHCOUNT"), "0");
    EXPECT_TRUE(rig.logged("ERROR Macro: Refused macro attachments file " + attachFile().string() +
                           ": not a regular file"));
    EXPECT_FALSE(rig.logged("invalid format"));
}

namespace {
// Limits the size of files this process may write, as a full disk would; lifted at the end.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes)
    {
        m_oldHandler = std::signal(SIGXFSZ, SIG_IGN);
        ::getrlimit(RLIMIT_FSIZE, &m_old);
        rlimit limit = m_old;
        limit.rlim_cur = bytes;
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit()
    {
        ::setrlimit(RLIMIT_FSIZE, &m_old);
        std::signal(SIGXFSZ, m_oldHandler);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

private:
    rlimit m_old{};
    void (*m_oldHandler)(int) = nullptr;
};
} // namespace

TEST_F(MacroAttachTest, SaveThatCannotBeWrittenWholeLeavesThePreviousFileWhole)
{
    make();
    ASSERT_TRUE(attach(kButton, "PRE", 5));
    const std::string before = readText(attachFile());
    ASSERT_GT(before.size(), 300u);
    {
        FileSizeLimit limit(300);
        ASSERT_TRUE(attach(kOther, "POST", 6));
    }
    EXPECT_TRUE(rig.logged("ERROR Macro: Failed to save macro attachments file "));
    EXPECT_EQ(readText(attachFile()), before);
    EXPECT_EQ(directoryNames(), std::vector<std::string>{"attach.xml"});
    EXPECT_EQ(rig.state.value("MACRO0.ATTACHCOUNT"), "2");
}

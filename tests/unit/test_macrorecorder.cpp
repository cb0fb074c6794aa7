// MacroRecorder: object and lifecycle, macro files, recording.
#include "test_macro_rig.h"

#include <sys/stat.h>

#include <thread>

#include "support/hostgate.h"

using namespace macrotest;
namespace fs = std::filesystem;

namespace {

class MacroRecorderTest : public ::testing::Test {
protected:
    MacroRig rig;
};

const char* kSignedGood =
    "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n"
    "<macro name=\"Intro\" version=\"0.1\">\n"
    "    <configuration />\n"
    "    <data>\n"
    "        <cmd fid=\"PANEL.MEMORY.RECALL\" workplace=\"0\" group=\"1\" module=\"2\" widget=\"3\">\n"
    "            <param name=\"REG\" value=\"4\" />\n"
    "        </cmd>\n"
    "    </data>\n"
    "</macro>\n";

} // namespace

// ---- object and lifecycle --------------------------------------------------------------------

TEST_F(MacroRecorderTest, RecorderOfWorkplaceThreeRegistersStopAndMakesItsDirectory)
{
    MacroRecorder& r = rig.make(3);
    EXPECT_NE(rig.map.findStaticFIDFunction("MACRO3.STOP"), nullptr);
    EXPECT_EQ(rig.map.findStaticFIDFunction("MACRO0.STOP"), nullptr);
    const std::string path = r.getPath().getPath();
    EXPECT_EQ(path, (fs::canonical(rig.dir.path()) / "nvram" / "PANEL" / "macro" / "workplace3").string());
    EXPECT_TRUE(fs::is_directory(rig.macroDir(3)));
}

TEST_F(MacroRecorderTest, RegistersTheTwentyThreeFIDsOfItsWorkplace)
{
    rig.make(2);
    int count = 0;
    for (const auto& name : rig.map.registeredNames())
        if (name.rfind("MACRO2.", 0) == 0) ++count;
    EXPECT_EQ(count, 23);
    for (const char* suffix : {".ATTACH.BUTTON.DOWN", ".RECORDING.START", ".RECORDFID", ".RECALL", ".EXPORT",
                               ".NAME.SET", ".MFDID.SET", ".DELETEALL"})
        EXPECT_NE(rig.map.findStaticFIDFunction(std::string("MACRO2") + suffix), nullptr) << suffix;
    EXPECT_EQ(rig.map.findStaticFIDFunction("MACRO2.RECORDING.INSERT_DELAY"), nullptr);
}

TEST_F(MacroRecorderTest, SecondRecorderSharesTheLogOutput)
{
    rig.make(0);
    oskit::LogOutput* first = MacroRecorder::s_pLog;
    ASSERT_NE(first, nullptr);
    MacroRecorder second(1, &rig.map, &rig.config);
    EXPECT_EQ(MacroRecorder::s_pLog, first);
    EXPECT_EQ(first->getName(), "Macro");
}

TEST_F(MacroRecorderTest, ConstructorPublishesItsInitialState)
{
    rig.make(0);
    EXPECT_EQ(rig.state.value("MACRO0.RECORDING.REG"), "INV");
    EXPECT_EQ(rig.state.value("MACRO0.LATEST.REG"), "INV");
    EXPECT_EQ(rig.state.value("MACRO0.LATEST.ACTIVE"), "OFF");
    EXPECT_EQ(rig.state.value("MACRO0.ATTACH.VIEW"), "OFF");
    EXPECT_EQ(rig.state.value("MACRO0.ATTACHMENTS.ACTIVE"), "OFF");
    EXPECT_EQ(rig.state.value("MACRO0.ATTACH.MODE"), "NONE");
    EXPECT_EQ(rig.state.value("MACRO0.ATTACH.REPLACEMODE"), "OFF");
    EXPECT_EQ(rig.state.value("MACRO0.REG1.EMPTY"), "TRUE");
    EXPECT_EQ(rig.state.value("MACRO0.REG999.EMPTY"), "TRUE");
    EXPECT_TRUE(rig.state.has("MACRO0.REG999.NAME"));
    EXPECT_EQ(rig.state.value("MACRO0.REG999.NAME"), "");
    EXPECT_FALSE(rig.state.has("MACRO0.REG0.EMPTY"));
}

TEST_F(MacroRecorderTest, SaveBracketIsEndedByFinishLoadJustAsByFinishSave)
{
    MacroRecorder& r = rig.make(0);
    r.prepareAppliSave();
    EXPECT_TRUE(r.isLoadSaveInProgress());
    r.finishAppliLoad();
    EXPECT_FALSE(r.isLoadSaveInProgress());
    r.prepareAppliLoad();
    EXPECT_TRUE(r.isLoadSaveInProgress());
    r.finishAppliSave();
    EXPECT_FALSE(r.isLoadSaveInProgress());
}

TEST_F(MacroRecorderTest, RecordingStopDuringBracketKeepsTheMacroInMemoryOnlyUntilReinit)
{
    MacroRecorder& r = rig.make(0);
    r.prepareAppliLoad();
    rig.recordMacro(5, {{"PANEL.MEMORY.RECALL", params({{"REG", "1"}})}});
    EXPECT_EQ(rig.state.value("MACRO0.RECORDING.REG"), "INV");
    EXPECT_TRUE(r.hasMacro(5));
    EXPECT_FALSE(fs::exists(rig.macroFile(5)));
    EXPECT_TRUE(rig.logged("ERROR Macro: Ignoring macro save request: application load/save in progress"));
    r.finishAppliLoad();
    r.reinit();
    EXPECT_FALSE(r.hasMacro(5));
    EXPECT_EQ(rig.state.value("MACRO0.REG5.EMPTY"), "TRUE");
}

TEST_F(MacroRecorderTest, ReinitEndsAnUnfinishedRecordingWithoutSavingIt)
{
    MacroRecorder& r = rig.make(0);
    ASSERT_TRUE(rig.fid("MACRO0.RECORDING.START", {{"REG", "9"}}));
    r.recordFID("PANEL.X", params({}));
    r.reinit();
    EXPECT_FALSE(r.isRecording());
    EXPECT_EQ(r.getRecordingReg(), 9);
    EXPECT_EQ(rig.state.value("MACRO0.RECORDING.REG"), "INV");
    EXPECT_FALSE(r.hasMacro(9));
    EXPECT_FALSE(fs::exists(rig.macroFile(9)));
}

TEST_F(MacroRecorderTest, ReinitLeavesSlotZeroAndTheReloadReplacesIt)
{
    testenv::writeFile(rig.macroFile(0), kSignedGood);
    MacroRecorder& r = rig.make(0);
    EXPECT_TRUE(r.hasMacro(0));
    r.reinit();
    ASSERT_TRUE(r.hasMacro(0));
    EXPECT_EQ(r.copyMacro(0)->name, "Intro");
}

TEST_F(MacroRecorderTest, DestructorUnregistersTheFIDs)
{
    rig.make(0);
    rig.recorder.reset();
    EXPECT_EQ(rig.map.findStaticFIDFunction("MACRO0.STOP"), nullptr);
    EXPECT_EQ(rig.map.findStaticFIDFunction("MACRO0.RECALL"), nullptr);
}

TEST_F(MacroRecorderTest, ShowWritesTheStatusLines)
{
    MacroRecorder& r = rig.make(1);
    r.prepareAppliSave();
    ::testing::internal::CaptureStdout();
    r.show();
    const std::string out = ::testing::internal::GetCapturedStdout();
    EXPECT_EQ(out, "Macro recorder 1 status:\nPath: " + r.getPath().getPath() +
                       "\nLoad/Save in progress: true\nPlayer thread: running, macro: -1\n");
}

TEST_F(MacroRecorderTest, DescriptionAndDirectDelivery)
{
    MacroRecorder& r = rig.make(4);
    EXPECT_EQ(r.getDescription(17), "MACROREC4");
    EXPECT_FALSE(r.useEventManager());
}

// ---- macro files -----------------------------------------------------------------------------

TEST_F(MacroRecorderTest, RecordingWritesTheSignedFileByteForByte)
{
    rig.make(0);
    rig.recordMacro(5, {{"PANEL.MEMORY.RECALL", params({{"REG", "4"}, {"WP", "0"}}, UniqueWidgetID(0, 1, 2, 3))},
                        {"PANEL.TRIGGER", params({{"NAME", "a b&c"}}, UniqueWidgetID(7, 31, 255, 65535))}});
    const std::string text = readText(rig.macroFile(5));
    EXPECT_NE(text.find(" signature=\""), std::string::npos);
    EXPECT_TRUE(XMLVerify().verifySignature(oskit::Path(rig.macroFile(5).string())));
    EXPECT_EQ(stable(text),
              "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n"
              "<macro xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
              "xsi:noNamespaceSchemaLocation=\"../macro.xsd\" name=\"M005\" version=\"0.1\" date=\"D\">\n"
              "    <configuration />\n"
              "    <data>\n"
              "        <cmd fid=\"PANEL.MEMORY.RECALL\" workplace=\"0\" group=\"1\" module=\"2\" widget=\"3\">\n"
              "            <param name=\"REG\" value=\"4\" />\n"
              "            <param name=\"WP\" value=\"0\" />\n"
              "        </cmd>\n"
              "        <cmd fid=\"PANEL.TRIGGER\" workplace=\"7\" group=\"31\" module=\"255\" widget=\"65535\">\n"
              "            <param name=\"NAME\" value=\"a b&amp;c\" />\n"
              "        </cmd>\n"
              "    </data>\n"
              "</macro>\n");
    const std::string date = dateOf(text);
    ASSERT_EQ(date.size(), 19u) << date;
    for (size_t i = 0; i < date.size(); ++i) {
        const char expected = i == 4 || i == 7 ? '-' : i == 10 ? 'T' : i == 13 || i == 16 ? ':' : '0';
        if (expected == '0')
            EXPECT_TRUE(date[i] >= '0' && date[i] <= '9') << date;
        else
            EXPECT_EQ(date[i], expected) << date;
    }
    // No temporary file stays behind.
    int files = 0;
    for (const auto& entry : fs::directory_iterator(rig.macroDir(0))) files += entry.is_regular_file() ? 1 : 0;
    EXPECT_EQ(files, 1);
}

TEST_F(MacroRecorderTest, SavedMacroLoadsBackWithCommandsParametersAndSources)
{
    MacroRecorder& r = rig.make(0);
    rig.recordMacro(12, {{"PANEL.MEMORY.RECALL", params({{"REG", "4"}}, UniqueWidgetID(0, 1, 2, 3))}});
    r.reinit();
    auto m = r.copyMacro(12);
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(m->name, "M012");
    EXPECT_EQ(m->version, "0.1");
    ASSERT_EQ(m->commands.size(), 1u);
    EXPECT_EQ(m->commands.front().fid, "PANEL.MEMORY.RECALL");
    std::string value;
    EXPECT_TRUE(m->commands.front().params.getValue("REG", value));
    EXPECT_EQ(value, "4");
    EXPECT_EQ(m->commands.front().params.sourceWidget, UniqueWidgetID(0, 1, 2, 3));
    EXPECT_FALSE(rig.logged("invalid signature"));
}

TEST_F(MacroRecorderTest, FileWithWrongSignatureLoadsWithAWarning)
{
    testenv::writeFile(rig.macroFile(3), kSignedGood);
    MacroRecorder& r = rig.make(0);
    ASSERT_TRUE(r.hasMacro(3));
    EXPECT_EQ(r.copyMacro(3)->name, "Intro");
    EXPECT_TRUE(rig.logged("WARN Macro: Macro file " + r.getMacroFilePath(3).getPath() + " has invalid signature"));
    EXPECT_EQ(rig.state.value("MACRO0.REG3.NAME"), "Intro");
    EXPECT_EQ(rig.state.value("MACRO0.REG3.EMPTY"), "FALSE");
}

TEST_F(MacroRecorderTest, EmptyNameLeavesTheRegisterEmpty)
{
    testenv::writeFile(rig.macroFile(4),
                       "<?xml version=\"1.0\" ?>\n<macro name=\"\">\n<configuration/>\n<data/>\n</macro>\n");
    MacroRecorder& r = rig.make(0);
    EXPECT_FALSE(r.hasMacro(4));
    EXPECT_EQ(rig.state.value("MACRO0.REG4.EMPTY"), "TRUE");
    EXPECT_TRUE(rig.logged("ERROR Macro: Macro file " + r.getMacroFilePath(4).getPath() +
                           " has invalid format (no macro name) in line 2"));
}

TEST_F(MacroRecorderTest, DataWithoutCmdGivesAMacroWithNoCommands)
{
    testenv::writeFile(rig.macroFile(6), "<macro name=\"N\"><configuration/><data></data></macro>");
    MacroRecorder& r = rig.make(0);
    ASSERT_TRUE(r.hasMacro(6));
    EXPECT_TRUE(r.copyMacro(6)->commands.empty());
}

TEST_F(MacroRecorderTest, CommentAmongCmdChildrenFailsWithTheRowOfData)
{
    testenv::writeFile(rig.macroFile(7), "<macro name=\"N\">\n"
                                         "<configuration/>\n"
                                         "<data>\n"
                                         "<cmd fid=\"PANEL.X\">\n"
                                         "<!-- a note -->\n"
                                         "</cmd>\n"
                                         "</data>\n"
                                         "</macro>\n");
    MacroRecorder& r = rig.make(0);
    EXPECT_FALSE(r.hasMacro(7));
    EXPECT_TRUE(rig.logged("ERROR Macro: Macro file " + r.getMacroFilePath(7).getPath() +
                           " has invalid format (param element missing) in line 3"));
}

TEST_F(MacroRecorderTest, OtherElementInDataFailsWithTheRowOfData)
{
    testenv::writeFile(rig.macroFile(7), "<macro name=\"N\">\n<configuration/>\n\n<data>\n<cmd/>\n<cmx/>\n</data>\n"
                                         "</macro>\n");
    MacroRecorder& r = rig.make(0);
    EXPECT_FALSE(r.hasMacro(7));
    EXPECT_TRUE(rig.logged(" has invalid format (cmd element missing) in line 4"));
}

TEST_F(MacroRecorderTest, FormatErrorsOfTheRootAndItsChildrenNameTheirRows)
{
    testenv::writeFile(rig.macroFile(1), "<?xml version=\"1.0\" ?>\n<!-- c -->\n<macros name=\"N\"/>\n");
    testenv::writeFile(rig.macroFile(2), "<macro name=\"N\">\n<data/>\n<configuration/>\n</macro>\n");
    testenv::writeFile(rig.macroFile(3), "<macro name=\"N\">\n<configuration/>\n<!-- c -->\n</macro>\n");
    testenv::writeFile(rig.macroFile(4), "<macro name=\"N\"/>\n");
    testenv::writeFile(rig.macroFile(5), "<macro name=\"N\"><configuration/></macro>\n");
    testenv::writeFile(rig.macroFile(8), "");
    MacroRecorder& r = rig.make(0);
    for (int n : {1, 2, 3, 4, 5, 8}) EXPECT_FALSE(r.hasMacro(n)) << n;
    auto path = [&](int n) { return "Macro file " + r.getMacroFilePath(n).getPath(); };
    EXPECT_TRUE(rig.logged(path(1) + " has invalid format (no macro element) in line 3"));
    EXPECT_TRUE(rig.logged(path(2) + " has invalid format (configuration element missing) in line 2"));
    EXPECT_TRUE(rig.logged(path(3) + " has invalid format (data element missing) in line 3"));
    EXPECT_TRUE(rig.logged(path(4) + " has invalid format (configuration element missing) in line -1"));
    EXPECT_TRUE(rig.logged(path(5) + " has invalid format (data element missing) in line -1"));
    EXPECT_TRUE(rig.logged("ERROR Macro: Failed to load macro file " + r.getMacroFilePath(8).getPath()));
}

TEST_F(MacroRecorderTest, CmdWithoutAttributesGetsTheLoadingWorkplaceAndZeros)
{
    testenv::writeFile(rig.macroFile(9, 5), "<macro name=\"N\"><configuration/><data><cmd/></data></macro>");
    MacroRecorder& r = rig.make(5);
    auto m = r.copyMacro(9);
    ASSERT_NE(m, nullptr);
    ASSERT_EQ(m->commands.size(), 1u);
    EXPECT_EQ(m->commands.front().fid, "");
    EXPECT_EQ(m->commands.front().params.sourceWidget, UniqueWidgetID(5, 0, 0, 0));
    EXPECT_EQ(m->version, "");
}

TEST_F(MacroRecorderTest, ParamWithoutNameTakesTheNameBeforeIt)
{
    testenv::writeFile(rig.macroFile(10), "<macro name=\"Mac\"><configuration/><data>"
                                          "<cmd fid=\"A\"><param value=\"1\"/><param name=\"P\" value=\"2\"/>"
                                          "<param value=\"3\"/></cmd></data></macro>");
    MacroRecorder& r = rig.make(0);
    auto m = r.copyMacro(10);
    ASSERT_NE(m, nullptr);
    std::vector<std::string> got;
    for (const auto& p : m->commands.front().params.parameters()) got.push_back(p.name + "=" + p.value);
    EXPECT_EQ(got, (std::vector<std::string>{"Mac=1", "P=2", "P=3"}));
}

TEST_F(MacroRecorderTest, NumbersOfAttributesWrapIntoTheirFields)
{
    testenv::writeFile(rig.macroFile(11), "<macro name=\"N\"><configuration/><data><cmd fid=\"A\" workplace=\"9\" "
                                          "group=\"99999999999999999999\" module=\"-1\" widget=\"x\"/></data></macro>");
    MacroRecorder& r = rig.make(0);
    auto m = r.copyMacro(11);
    ASSERT_NE(m, nullptr);
    const UniqueWidgetID source = m->commands.front().params.sourceWidget;
    EXPECT_EQ(source.getWorkplaceID(), 1u);
    EXPECT_EQ(source.getModuleID(), 255u);
    EXPECT_EQ(source.getWidgetID(), 0u);
}

TEST_F(MacroRecorderTest, FileIsReadByItsNumberAndShortNamesAreSkipped)
{
    testenv::writeFile(rig.macroFile(21), kSignedGood);
    testenv::writeFile(rig.macroDir(0) / "macro021-copy.mac", "not xml");
    testenv::writeFile(rig.macroDir(0) / ".mac", "x");
    testenv::writeFile(rig.macroDir(0) / "macro-12.mac", kSignedGood);
    MacroRecorder& r = rig.make(0);
    EXPECT_TRUE(r.hasMacro(21));
    EXPECT_FALSE(r.hasMacro(0));
    EXPECT_TRUE(rig.logged("WARN Macro: Skipping macro file macro-12.mac"));
}

TEST_F(MacroRecorderTest, NameWithoutNumberCountsAsRegisterZero)
{
    testenv::writeFile(rig.macroDir(0) / "xyzzyabc.mac", kSignedGood);
    MacroRecorder& r = rig.make(0);
    EXPECT_TRUE(r.hasMacro(0));
    EXPECT_FALSE(rig.state.has("MACRO0.REG0.NAME"));
}

TEST_F(MacroRecorderTest, LoaderReadsTheFileTheListingNamed)
{
    // macro002a.mac is listed; macro002.mac is a folder, macro003.mac a pipe
    // beside the listed macro003x.mac: neither is opened.
    testenv::writeFile(rig.macroDir(0) / "macro002a.mac", kSignedGood);
    fs::create_directories(rig.macroFile(2));
    testenv::writeFile(rig.macroDir(0) / "macro003x.mac", kSignedGood);
    ASSERT_EQ(::mkfifo(rig.macroFile(3).c_str(), 0600), 0);
    MacroRecorder& r = rig.make(0);
    EXPECT_TRUE(r.hasMacro(2));
    EXPECT_TRUE(r.hasMacro(3));
    EXPECT_FALSE(rig.logged("Failed to load macro file"));
}

TEST_F(MacroRecorderTest, DeeplyNestedFileLoadsAsADamagedOneWithItsLine)
{
    std::string text = "<macro name=\"M\"><configuration/><data>";
    for (int i = 0; i < 40000; ++i) text += "<cmd>";
    testenv::writeFile(rig.macroFile(4), text);
    testenv::writeFile(rig.macroFile(5), kSignedGood);
    MacroRecorder& r = rig.make(0);
    EXPECT_FALSE(r.hasMacro(4));
    EXPECT_TRUE(r.hasMacro(5));
    const std::string file = rig.macroFile(4).string();
    EXPECT_TRUE(rig.logged("ERROR Macro: Refused macro file " + file + ": elements nested deeper than 64 levels"));
    EXPECT_TRUE(rig.logged("ERROR Macro: Failed to load macro file " + file));
}

TEST_F(MacroRecorderTest, FileEndingInsideAUtf8SequenceLoadsAsADamagedOneWithItsLine)
{
    testenv::writeFile(rig.macroFile(6), "<macro name=\"M\"><configuration/><data><cmd fid=\"P\xd5");
    MacroRecorder& r = rig.make(0);
    EXPECT_FALSE(r.hasMacro(6));
    const std::string file = rig.macroFile(6).string();
    EXPECT_TRUE(rig.logged("ERROR Macro: Refused macro file " + file + ": UTF-8 sequence cut at the end"));
    EXPECT_TRUE(rig.logged("ERROR Macro: Failed to load macro file " + file));
}

TEST_F(MacroRecorderTest, DeleteRemovesMacroAndFileAndPublishes)
{
    MacroRecorder& r = rig.make(0);
    rig.recordMacro(5, {{"PANEL.X", params({})}});
    ASSERT_TRUE(fs::exists(rig.macroFile(5)));
    EXPECT_TRUE(rig.fid("MACRO0.DELETE", {{"REG", "5"}}));
    EXPECT_FALSE(r.hasMacro(5));
    EXPECT_FALSE(fs::exists(rig.macroFile(5)));
    EXPECT_EQ(rig.state.value("MACRO0.REG5.EMPTY"), "TRUE");
    EXPECT_EQ(rig.state.value("MACRO0.REG5.NAME"), "");
}

TEST_F(MacroRecorderTest, DeleteWithoutRegIsFalseAndOutOfTableIsRefused)
{
    rig.make(0);
    EXPECT_FALSE(rig.fid("MACRO0.DELETE"));
    EXPECT_FALSE(rig.fid("MACRO0.DELETE", {{"REG", "1000"}}));
    EXPECT_FALSE(rig.fid("MACRO0.DELETE", {{"REG", "-1"}}));
    EXPECT_TRUE(rig.logged("WARN Macro: delete macro: illegal macro # 1000"));
}

TEST_F(MacroRecorderTest, DeleteAllKeepsTheFileOfARegisterThatFailedToLoad)
{
    testenv::writeFile(rig.macroFile(2), "broken");
    MacroRecorder& r = rig.make(0);
    rig.recordMacro(3, {});
    rig.recordMacro(998, {});
    EXPECT_TRUE(rig.fid("MACRO0.DELETEALL"));
    EXPECT_FALSE(r.hasMacro(3));
    EXPECT_FALSE(r.hasMacro(998));
    EXPECT_FALSE(fs::exists(rig.macroFile(3)));
    EXPECT_FALSE(fs::exists(rig.macroFile(998)));
    EXPECT_TRUE(fs::exists(rig.macroFile(2)));
}

TEST_F(MacroRecorderTest, SaveIntoAMissingDirectoryFailsWithItsMessage)
{
    MacroRecorder& r = rig.make(0);
    fs::remove_all(rig.macroDir(0));
    fs::create_directories(rig.macroDir(0).parent_path());
    testenv::writeFile(rig.macroDir(0), "a file where the folder should be");
    rig.recordMacro(5, {});
    EXPECT_TRUE(r.hasMacro(5));
    EXPECT_TRUE(rig.logged("ERROR Macro: Failed to save macro file " + r.getMacroFilePath(5).getPath()));
}

// ---- recording -------------------------------------------------------------------------------

TEST_F(MacroRecorderTest, RecordingFilterKeepsPanelCommandsAndTheDelayMarker)
{
    MacroRecorder& r = rig.make(0);
    ASSERT_TRUE(rig.fid("MACRO0.RECORDING.START", {{"REG", "1"}}));
    r.recordFID("PANEL.MACRO0.RECALL", params({{"REG", "2"}}));
    r.recordFID("PANEL.MACRO0.RECORDING.INSERT_DELAY", params({{"TSECS", "5"}}));
    r.recordFID("PANEL.MACRO1.RECORDING.INSERT_DELAY", params({{"TSECS", "5"}}));
    r.recordFID("PANEL.MACROEXPORT.START", params({}));
    r.recordFID("PANEL.SETVAR", params({{"NAME", "A"}}));
    r.recordFID("PANEL.SETVARX", params({}));
    r.recordFID("PANEL.MEMORY.RECALL", params({{"REG", "3"}}, UniqueWidgetID(0, 1, 2, 3)));
    r.recordFID("PANEL.MAC", params({}));
    r.recordFID("MFD1.MACRO.RECALL", params({}));
    auto m = r.copyMacro(1);
    ASSERT_NE(m, nullptr);
    std::vector<std::string> names;
    for (const auto& c : m->commands) names.push_back(c.fid);
    EXPECT_EQ(names, (std::vector<std::string>{"PANEL.MACRO0.RECORDING.INSERT_DELAY", "PANEL.SETVARX",
                                               "PANEL.MEMORY.RECALL", "PANEL.MAC", "MFD1.MACRO.RECALL"}));
    EXPECT_EQ(m->commands.back().params.sourceWidget, UniqueWidgetID());
    const auto& recall = *std::next(m->commands.begin(), 2);
    EXPECT_EQ(recall.params.sourceWidget, UniqueWidgetID(0, 1, 2, 3));
    EXPECT_TRUE(rig.logged("INFO Macro: MACRO RECORD PANEL.MEMORY.RECALL params: "));
    EXPECT_TRUE(rig.logged(" from widget 0.1.2.3"));
}

TEST_F(MacroRecorderTest, DelayMarkerOfWorkplaceZeroIsDroppedOnWorkplaceOne)
{
    MacroRecorder& r = rig.make(1);
    ASSERT_TRUE(rig.fid("MACRO1.RECORDING.START", {{"REG", "1"}}));
    r.recordFID("PANEL.MACRO0.RECORDING.INSERT_DELAY", params({{"TSECS", "5"}}));
    r.recordFID("PANEL.MACRO1.RECORDING.INSERT_DELAY", params({{"TSECS", "5"}}));
    auto m = r.copyMacro(1);
    ASSERT_EQ(m->commands.size(), 1u);
    EXPECT_EQ(m->commands.front().fid, "PANEL.MACRO1.RECORDING.INSERT_DELAY");
}

TEST_F(MacroRecorderTest, RecordingStartPublishesTheDefaultNameAndNotEmpty)
{
    rig.make(0);
    ASSERT_TRUE(rig.fid("MACRO0.RECORDING.START", {{"REG", "5"}}));
    EXPECT_EQ(rig.state.value("MACRO0.RECORDING.REG"), "5");
    EXPECT_EQ(rig.state.value("MACRO0.REG5.NAME"), "M005");
    EXPECT_EQ(rig.state.value("MACRO0.REG5.EMPTY"), "FALSE");
    EXPECT_TRUE(rig.fid("MACRO0.RECORDING.STOP"));
    EXPECT_EQ(rig.state.value("MACRO0.RECORDING.REG"), "INV");
}

TEST_F(MacroRecorderTest, RecordingWithNoFIDSavesAnEmptyData)
{
    rig.make(0);
    rig.recordMacro(7, {});
    EXPECT_EQ(stable(readText(rig.macroFile(7))),
              "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n"
              "<macro xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
              "xsi:noNamespaceSchemaLocation=\"../macro.xsd\" name=\"M007\" version=\"0.1\" date=\"D\">\n"
              "    <configuration />\n"
              "    <data />\n"
              "</macro>\n");
}

TEST_F(MacroRecorderTest, RecordingStartOnAFullRegisterDiscardsTheOldCommandsAtOnce)
{
    MacroRecorder& r = rig.make(0);
    rig.recordMacro(4, {{"PANEL.A", params({})}, {"PANEL.B", params({})}});
    ASSERT_TRUE(rig.fid("MACRO0.RECORDING.START", {{"REG", "4"}}));
    EXPECT_TRUE(r.copyMacro(4)->commands.empty());
    EXPECT_NE(readText(rig.macroFile(4)).find("PANEL.A"), std::string::npos);
    ASSERT_TRUE(rig.fid("MACRO0.RECORDING.STOP"));
    EXPECT_TRUE(r.copyMacro(4)->commands.empty());
    EXPECT_EQ(readText(rig.macroFile(4)).find("PANEL.A"), std::string::npos);
}

TEST_F(MacroRecorderTest, RecordingStartDuringARecordingMovesOnWithoutSaving)
{
    MacroRecorder& r = rig.make(0);
    ASSERT_TRUE(rig.fid("MACRO0.RECORDING.START", {{"REG", "1"}}));
    r.recordFID("PANEL.A", params({}));
    ASSERT_TRUE(rig.fid("MACRO0.RECORDING.START", {{"REG", "2"}}));
    r.recordFID("PANEL.B", params({}));
    ASSERT_TRUE(rig.fid("MACRO0.RECORDING.STOP"));
    EXPECT_EQ(r.copyMacro(1)->commands.size(), 1u);
    EXPECT_FALSE(fs::exists(rig.macroFile(1)));
    EXPECT_TRUE(fs::exists(rig.macroFile(2)));
}

TEST_F(MacroRecorderTest, RecordingStopWhileIdleIsTrueAndDoesNothing)
{
    rig.make(0);
    rig.state.clearChanges();
    EXPECT_TRUE(rig.fid("MACRO0.RECORDING.STOP"));
    EXPECT_TRUE(rig.state.changes().empty());
}

TEST_F(MacroRecorderTest, RecordingStartWithoutRegOrOutOfTableIsFalse)
{
    MacroRecorder& r = rig.make(0);
    EXPECT_FALSE(rig.fid("MACRO0.RECORDING.START"));
    EXPECT_FALSE(rig.fid("MACRO0.RECORDING.START", {{"REG", "1000"}}));
    EXPECT_FALSE(rig.fid("MACRO0.RECORDING.START", {{"REG", "-3"}}));
    EXPECT_FALSE(r.isRecording());
    EXPECT_EQ(rig.state.value("MACRO0.RECORDING.REG"), "INV");
}

TEST_F(MacroRecorderTest, IdleRecorderIgnoresOfferedFIDs)
{
    MacroRecorder& r = rig.make(0);
    r.recordFID("PANEL.X", params({}));
    EXPECT_FALSE(rig.logged("MACRO RECORD"));
}

TEST_F(MacroRecorderTest, RecordFIDInjectsTheFIDWithoutRecfid)
{
    MacroRecorder& r = rig.make(0);
    ASSERT_TRUE(rig.fid("MACRO0.RECORDING.START", {{"REG", "3"}}));
    EXPECT_TRUE(rig.fid("MACRO0.RECORDFID", {{"RECFID", "PANEL.MEMORY.LEARN"}, {"REG", "2"}},
                        UniqueWidgetID(0, 0, 1, 2)));
    auto m = r.copyMacro(3);
    ASSERT_EQ(m->commands.size(), 1u);
    EXPECT_EQ(m->commands.front().fid, "PANEL.MEMORY.LEARN");
    ASSERT_EQ(m->commands.front().params.size(), 1u);
    EXPECT_EQ(m->commands.front().params.parameters().front().name, "REG");
    EXPECT_EQ(m->commands.front().params.sourceWidget, UniqueWidgetID(0, 0, 1, 2));
}

TEST_F(MacroRecorderTest, RecordFIDWithoutRecfidLogsAndIsFalse)
{
    rig.make(0);
    EXPECT_FALSE(rig.fid("MACRO0.RECORDFID", {{"REG", "2"}}));
    EXPECT_TRUE(rig.logged("WARN Macro: RecordFID: missing RECFID parameter"));
}

TEST_F(MacroRecorderTest, NameSetRenamesSavesAndPublishes)
{
    MacroRecorder& r = rig.make(0);
    rig.recordMacro(8, {});
    EXPECT_TRUE(rig.fid("MACRO0.NAME.SET", {{"REG", "8"}, {"NAME", "Opening"}}));
    EXPECT_EQ(r.copyMacro(8)->name, "Opening");
    EXPECT_EQ(rig.state.value("MACRO0.REG8.NAME"), "Opening");
    EXPECT_NE(readText(rig.macroFile(8)).find("name=\"Opening\""), std::string::npos);
}

TEST_F(MacroRecorderTest, NameSetRefusesMissingParametersRangeAndEmptyRegisters)
{
    rig.make(0);
    rig.recordMacro(8, {});
    EXPECT_FALSE(rig.fid("MACRO0.NAME.SET", {{"REG", "8"}}));
    EXPECT_FALSE(rig.fid("MACRO0.NAME.SET", {{"NAME", "x"}}));
    EXPECT_FALSE(rig.fid("MACRO0.NAME.SET", {{"REG", "0"}, {"NAME", "x"}}));
    EXPECT_FALSE(rig.fid("MACRO0.NAME.SET", {{"REG", "1000"}, {"NAME", "x"}}));
    EXPECT_FALSE(rig.fid("MACRO0.NAME.SET", {{"REG", "9"}, {"NAME", "x"}}));
}

TEST_F(MacroRecorderTest, EmptyNameIsWrittenAndRefusedAtTheNextLoad)
{
    MacroRecorder& r = rig.make(0);
    rig.recordMacro(8, {});
    EXPECT_TRUE(rig.fid("MACRO0.NAME.SET", {{"REG", "8"}, {"NAME", ""}}));
    r.reinit();
    EXPECT_FALSE(r.hasMacro(8));
    EXPECT_TRUE(rig.logged("has invalid format (no macro name)"));
}

TEST_F(MacroRecorderTest, NameSetDuringTheBracketRenamesInMemoryOnly)
{
    MacroRecorder& r = rig.make(0);
    rig.recordMacro(8, {});
    r.prepareAppliSave();
    EXPECT_TRUE(rig.fid("MACRO0.NAME.SET", {{"REG", "8"}, {"NAME", "Later"}}));
    EXPECT_EQ(r.copyMacro(8)->name, "Later");
    EXPECT_EQ(readText(rig.macroFile(8)).find("Later"), std::string::npos);
}

TEST_F(MacroRecorderTest, MissingVersionIsWrittenBackEmpty)
{
    testenv::writeFile(rig.macroFile(5), "<macro name=\"N\"><configuration/><data/></macro>");
    rig.make(0);
    EXPECT_TRUE(rig.fid("MACRO0.NAME.SET", {{"REG", "5"}, {"NAME", "N2"}}));
    EXPECT_NE(readText(rig.macroFile(5)).find("name=\"N2\" version=\"\""), std::string::npos);
}

// ---- state published on several threads ------------------------------------------------------

TEST_F(MacroRecorderTest, AKeyChangedWhileAnotherThreadPublishesIsOutWhenItsFIDReturns)
{
    HostGate gate;
    rig.state.beforeSet = [&gate](const std::string& key) { gate.atKey(key, "MACRO0.ATTACH.VIEW"); };
    rig.make(0);
    gate.armed = true;

    std::thread first([this] { rig.fid("MACRO0.ATTACH.VIEW.SET", {{"SHOW", "ON"}}); });
    EXPECT_TRUE(gate.waitInside());
    std::string seenOnReturn;
    std::thread second([&] {
        rig.fid("MACRO0.ATTACHMENTS.ACTIVE.SET", {{"VALUE", "ON"}});
        seenOnReturn = rig.state.value("MACRO0.ATTACHMENTS.ACTIVE");
        gate.otherReturns();
    });
    gate.openAfterOtherOrTimeout();
    first.join();
    second.join();
    EXPECT_EQ(seenOnReturn, "ON");
    EXPECT_EQ(rig.state.value("MACRO0.ATTACH.VIEW"), "ON");
}

// ---- texts a macro file could not keep -------------------------------------------------------

TEST_F(MacroRecorderTest, NameSetWithMalformedUtf8IsRefusedAndTheStoredMacroStays)
{
    MacroRecorder& r = rig.make(0);
    rig.recordMacro(8, {{"PANEL.TRIGGER", params({{"NAME", "x"}})}});
    ASSERT_TRUE(rig.fid("MACRO0.NAME.SET", {{"REG", "8"}, {"NAME", "Opening \xc3\xa4"}}));
    const std::string stored = readText(rig.macroFile(8));
    ASSERT_FALSE(stored.empty());

    EXPECT_FALSE(rig.fid("MACRO0.NAME.SET", {{"REG", "8"}, {"NAME", "\xff\xfe"}}));
    EXPECT_TRUE(rig.logged("WARN Macro: set macro name: refused name for macro # 8: malformed UTF-8"));
    EXPECT_FALSE(rig.fid("MACRO0.NAME.SET", {{"REG", "8"}, {"NAME", "Opening\xc3"}}));
    EXPECT_TRUE(rig.logged("WARN Macro: set macro name: refused name for macro # 8: UTF-8 sequence cut at the end"));
    EXPECT_FALSE(rig.fid("MACRO0.NAME.SET", {{"REG", "8"}, {"NAME", std::string("A\0B", 3)}}));
    EXPECT_TRUE(rig.logged("WARN Macro: set macro name: refused name for macro # 8: NUL byte"));
    EXPECT_EQ(r.copyMacro(8)->name, "Opening \xc3\xa4");
    EXPECT_EQ(rig.state.value("MACRO0.REG8.NAME"), "Opening \xc3\xa4");
    EXPECT_EQ(readText(rig.macroFile(8)), stored);

    r.reinit();
    ASSERT_TRUE(r.hasMacro(8));
    EXPECT_EQ(r.copyMacro(8)->name, "Opening \xc3\xa4");
    EXPECT_EQ(r.copyMacro(8)->commands.size(), 1u);
    EXPECT_EQ(readText(rig.macroFile(8)), stored);
}

TEST_F(MacroRecorderTest, RecordingLeavesOutAFIDWithMalformedTextAndKeepsTheOthers)
{
    MacroRecorder& r = rig.make(0);
    ASSERT_TRUE(rig.fid("MACRO0.RECORDING.START", {{"REG", "6"}}));
    EXPECT_TRUE(r.recordFID("PANEL.MEMORY.RECALL", params({{"REG", "4"}}, UniqueWidgetID(0, 1, 2, 3))));
    EXPECT_FALSE(r.recordFID("PANEL.TRIGGER", params({{"NAME", "a\xc3"}})));
    EXPECT_TRUE(rig.logged("WARN Macro: MACRO RECORD refused PANEL.TRIGGER: UTF-8 sequence cut at the end in its "
                           "name or parameters"));
    EXPECT_FALSE(r.recordFID("PANEL.\xff\xfe", params({{"NAME", "x"}})));
    EXPECT_TRUE(rig.logged("WARN Macro: MACRO RECORD refused FID: malformed UTF-8 in its name or parameters"));
    EXPECT_FALSE(r.recordFID("PANEL.TRIGGER", params({{"NAME", "ok"}, {"\xef\xbf\xbe", "x"}})));
    EXPECT_FALSE(rig.fid("MACRO0.RECORDFID", {{"RECFID", "PANEL.TRIGGER"}, {"NAME", "\x80"}}));
    EXPECT_TRUE(rig.fid("MACRO0.RECORDFID", {{"RECFID", "PANEL.TRIGGER"}, {"NAME", "caf\xc3\xa9\x01"}}));
    ASSERT_TRUE(rig.fid("MACRO0.RECORDING.STOP"));
    EXPECT_FALSE(rig.logged("Failed to save macro file"));

    r.reinit();
    ASSERT_TRUE(r.hasMacro(6));
    const auto m = r.copyMacro(6);
    ASSERT_EQ(m->commands.size(), 2u);
    EXPECT_EQ(m->commands.front().fid, "PANEL.MEMORY.RECALL");
    EXPECT_EQ(m->commands.front().params.sourceWidget, UniqueWidgetID(0, 1, 2, 3));
    EXPECT_EQ(m->commands.back().fid, "PANEL.TRIGGER");
    std::string value;
    EXPECT_TRUE(m->commands.back().params.getValue("NAME", value));
    EXPECT_EQ(value, "caf\xc3\xa9\x01");
}


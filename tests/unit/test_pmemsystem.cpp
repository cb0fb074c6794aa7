#include "test_pmemsystem_fixture.h"

#include <thread>

#include "oskit/CmdProcessor.h"

using namespace pmemtest;
using Call = RecordingPanelState::Call;

namespace {

class PmemSystemTest : public PmemSystemTestBase {
protected:
    void SetUp() override
    {
        PmemSystemTestBase::SetUp();
        start();
    }
};

const char* const kLockWarning = "PMEM Warning! Pmem locked during application load/save!\n";

} // namespace

TEST_F(PmemSystemTest, ConstructionPublishesColourLatestAndEveryRegisterOfEveryWorkplace)
{
    EXPECT_EQ(state.value("COLOR.PMEM"), "LIGHT_CYAN");
    for (int wp = 0; wp < 8; ++wp) EXPECT_EQ(state.value("MEMORY.LATEST." + std::to_string(wp)), "INV");
    EXPECT_EQ(state.countKeysWithPrefix("MEMORY", ".EMPTY"), 800u);
    EXPECT_EQ(state.countKeysWithPrefix("MEMORY", ".NAME"), 800u);
    EXPECT_EQ(state.value("MEMORY7.REG99.EMPTY"), "TRUE");
    EXPECT_EQ(state.value("MEMORY7.REG99.NAME"), "");
    EXPECT_FALSE(state.has("MEMORY7.REG100.EMPTY"));
    const auto calls = state.callsSince(0);
    ASSERT_GE(calls.size(), 4u);
    EXPECT_EQ(calls[0], (Call{"set", "COLOR.PMEM", "LIGHT_CYAN"}));
    EXPECT_EQ(calls[1], (Call{"set", "MEMORY.LATEST.0", "INV"}));
    EXPECT_EQ(calls[2], (Call{"bool", "MEMORY0.REG0.EMPTY", "TRUE"}));
    EXPECT_EQ(calls[3], (Call{"set", "MEMORY0.REG0.NAME", ""}));
}

TEST(PmemSystemStart, RegistersFoundAtStartArePublishedWithTheirNames)
{
    testenv::ensurePlatformSingletons();
    testenv::TempDir dir;
    testenv::writeFile(dir.path() / "pmem" / "workplace3" / "17.pmem", nameLine("Stage left") + "version-2\nA 1\n");
    testenv::writeFile(dir.path() / "pmem" / "default.pmem", nameLine("Default") + "version-2\n");
    MFDConfigHandler config;
    config.m_dataDirectory = dir.str();
    RecordingPanelState state;
    FIDMapHandler map;
    map.setPanelStateInterface(&state);
    {
        PmemSystem pmem(&map, &config, PmemSystem::PMEM_TYPE_TEXT);
        EXPECT_EQ(state.value("MEMORY3.REG17.EMPTY"), "FALSE");
        EXPECT_EQ(state.value("MEMORY3.REG17.NAME"), "Stage left");
        EXPECT_EQ(state.value("MEMORY2.REG17.EMPTY"), "TRUE");
        // The default register is shared by every workplace.
        for (int wp = 0; wp < 8; ++wp) {
            EXPECT_EQ(state.value("MEMORY" + std::to_string(wp) + ".REG0.EMPTY"), "FALSE");
            EXPECT_EQ(state.value("MEMORY" + std::to_string(wp) + ".REG0.NAME"), "Default");
        }
    }
}

TEST_F(PmemSystemTest, RegistersEveryMemoryFid)
{
    for (const char* name : {"MEMORY.DEFINE.ADD", "MEMORY.DEFINE.ENABLE", "MEMORY.DEFINE.DISABLE", "MEMORY.BEGIN",
                             "MEMORY.END", "MEMORY.LEARN", "MEMORY.RECALL", "MEMORY.DELETE", "MEMORY.DELETEALL",
                             "MEMORY.RENAME"})
        EXPECT_NE(map.findStaticFIDFunction(name), nullptr) << name;
    FIDParameterList captures;
    EXPECT_NE(map.findParamFIDFunction("MEMORY.SAVE_VAR.GAIN", captures), nullptr);
    std::string key;
    EXPECT_TRUE(captures.getValue("*", key));
    EXPECT_EQ(key, "GAIN");
}

TEST_F(PmemSystemTest, ShowPmemIsAConsoleCommandUntilTheSystemIsGone)
{
    oskit::CmdProcessor* console = oskit::CmdProcessor::getInstance();
    EXPECT_EQ(console->help("showPmem"), "showPmem <workplace id>\n\tShows current PMEM status");
    pmem.reset();
    std::string out = printed([&] { EXPECT_FALSE(console->execute("showPmem 1")); });
    EXPECT_EQ(out, "Unknown command: showPmem\n");
}

// ---- learn ----

TEST_F(PmemSystemTest, LearnWithoutDefineMemosWarnsEachTimeAndLeavesLatestInvalid)
{
    for (int i = 0; i < 2; ++i) {
        bool result = false;
        std::string out = printed([&] { result = send("MEMORY.LEARN", {{"REG", "5"}, {"VERSION", "2"}}, widgetOf(1)); });
        EXPECT_TRUE(result);
        EXPECT_EQ(out, "PMEM Warning! Receive FID-> \"MEMORY.LEARN\" and no define memos present!\n");
        EXPECT_EQ(state.value("MEMORY.LATEST.1"), "INV");
    }
    EXPECT_FALSE(fs::exists(registerFile(1, 5)));
}

TEST_F(PmemSystemTest, LearnWithVersionMissingMovesTheCurrentRegisterButWritesNothing)
{
    send("MEMORY.DEFINE.ADD", {{"DEF", "CAM"}, {"WP", "1"}});
    state.setStateValue("MEMORY.CURRENT.1.OLD", "x");
    bool result = true;
    std::string out = printed([&] { result = send("MEMORY.LEARN", {{"REG", "5"}}, widgetOf(1)); });
    EXPECT_FALSE(result);
    EXPECT_EQ(out, "PMEM Error! FID-> \"MEMORY.LEARN\" expects parameter \"VERSION\"\n");
    EXPECT_EQ(state.value("MEMORY.LATEST.1"), "5");
    EXPECT_FALSE(state.has("MEMORY.CURRENT.1.OLD"));
    EXPECT_FALSE(fs::exists(registerFile(1, 5)));
}

TEST_F(PmemSystemTest, LearnWithRegisterMissingReportsAndKeepsTheCurrentRegister)
{
    send("MEMORY.DEFINE.ADD", {{"DEF", "CAM"}, {"WP", "1"}});
    state.setStateValue("MEMORY.CURRENT.1.OLD", "x");
    bool result = true;
    std::string out = printed([&] { result = send("MEMORY.LEARN", {{"VERSION", "2"}}, widgetOf(1)); });
    EXPECT_FALSE(result);
    EXPECT_EQ(out, "PMEM Error! FID-> \"MEMORY.LEARN\" expects parameter \"REG\"\n");
    EXPECT_EQ(state.value("MEMORY.LATEST.1"), "INV");
    EXPECT_TRUE(state.has("MEMORY.CURRENT.1.OLD"));
}

TEST_F(PmemSystemTest, LearnConversationWritesTheRegisterFileAndPublishesItAtTheEnd)
{
    send("MEMORY.DEFINE.ADD", {{"DEF", "CAM"}, {"WP", "2"}});
    send("MEMORY.DEFINE.ADD", {{"DEF", "AUDIO"}, {"WP", "2"}});
    std::size_t mark = state.mark();
    ASSERT_TRUE(send("MEMORY.LEARN", {{"REG", "12"}, {"VERSION", "2"}}, widgetOf(2)));
    EXPECT_EQ(state.callsSince(mark),
              (std::vector<Call>{{"set", "MEMORY.LATEST.2", "12"},
                                 {"unset", "MEMORY.CURRENT.2.*", ""},
                                 {"event", "MEMORY.LEARN.2.AUDIO", ""},
                                 {"event", "MEMORY.LEARN.2.CAM", ""}}));
    // The define memos are on disk from the learn on; the register shows at END.
    EXPECT_EQ(readBytes(registerFile(2, 12)),
              nameLine("pmem12") + "version-2\nDEFINE_MEMO_AUDIO ON\nDEFINE_MEMO_CAM ON\n");
    EXPECT_EQ(state.value("MEMORY2.REG12.EMPTY"), "TRUE");

    ASSERT_TRUE(send("MEMORY.BEGIN", {{"WP", "2"}}));
    ASSERT_TRUE(send("MEMORY.SAVE_VAR.CAM_PAN", {{"WP", "2"}, {"VAL", "0.25"}}));
    ASSERT_TRUE(send("MEMORY.SAVE_VAR.AUDIO_GAIN", {{"WP", "2"}, {"VAL", "-6"}}));
    mark = state.mark();
    ASSERT_TRUE(send("MEMORY.END", {{"WP", "2"}, {"VERSION", "2"}}));
    EXPECT_EQ(state.callsSince(mark), (std::vector<Call>{{"bool", "MEMORY2.REG12.EMPTY", "FALSE"},
                                                         {"set", "MEMORY2.REG12.NAME", "pmem12"}}));
    EXPECT_EQ(readBytes(registerFile(2, 12)), nameLine("pmem12") +
                                                  "version-2\nAUDIO_GAIN -6\nCAM_PAN 0.25\nDEFINE_MEMO_AUDIO ON\n"
                                                  "DEFINE_MEMO_CAM ON\n");
}

TEST_F(PmemSystemTest, LearnOverAnExistingRegisterMergesAndConverts)
{
    writeRegister(1, 5, nameLine("Kept") + "version-0\nOLD UTIL1\nOTHER x\n");
    send("MEMORY.DEFINE.ADD", {{"DEF", "M"}, {"WP", "1"}});
    ASSERT_TRUE(send("MEMORY.LEARN", {{"REG", "5"}, {"VERSION", "1"}}, widgetOf(1)));
    EXPECT_EQ(readBytes(registerFile(1, 5)), nameLine("Kept") + "version-1\nDEFINE_MEMO_M ON\nOLD BGDC\nOTHER x\n");
}

TEST_F(PmemSystemTest, SecondBeginWithoutEndIsRefused)
{
    send("MEMORY.DEFINE.ADD", {{"DEF", "M"}, {"WP", "1"}});
    send("MEMORY.LEARN", {{"REG", "5"}, {"VERSION", "0"}}, widgetOf(1));
    EXPECT_TRUE(send("MEMORY.BEGIN", {{"WP", "1"}}));
    bool result = true;
    std::string out = printed([&] { result = send("MEMORY.BEGIN", {{"WP", "1"}}); });
    EXPECT_FALSE(result);
    EXPECT_EQ(out, "PMEM Error! Register is invalid!\n");
}

TEST_F(PmemSystemTest, BeginWithoutCurrentRegisterIsRefused)
{
    bool result = true;
    std::string out = printed([&] { result = send("MEMORY.BEGIN", {{"WP", "1"}}); });
    EXPECT_FALSE(result);
    EXPECT_EQ(out, "PMEM Error! Register is invalid!\n");
    out = printed([&] { result = send("MEMORY.BEGIN", {}); });
    EXPECT_FALSE(result);
    EXPECT_EQ(out, "PMEM Error! FID-> \"MEMORY.BEGIN\" expects parameter \"WP\"\n");
}

TEST_F(PmemSystemTest, SaveValueOutsideBeginAndEndIsRefused)
{
    bool result = true;
    std::string out = printed([&] { result = send("MEMORY.SAVE_VAR.X", {{"WP", "1"}, {"VAL", "1"}}); });
    EXPECT_FALSE(result);
    EXPECT_EQ(out, "PMEM Error! Register is invalid!\n");
    out = printed([&] { result = send("MEMORY.SAVE_VAR.X", {{"VAL", "1"}}); });
    EXPECT_FALSE(result);
    EXPECT_EQ(out, "PMEM Error! FID-> \"MEMORY.SAVE_VAR.X\" expects parameter \"WP\"\n");
}

TEST_F(PmemSystemTest, SaveValueWithoutValIsRefusedSilently)
{
    send("MEMORY.DEFINE.ADD", {{"DEF", "M"}, {"WP", "1"}});
    send("MEMORY.LEARN", {{"REG", "5"}, {"VERSION", "0"}}, widgetOf(1));
    send("MEMORY.BEGIN", {{"WP", "1"}});
    bool result = true;
    std::string out = printed([&] { result = send("MEMORY.SAVE_VAR.X", {{"WP", "1"}}); });
    EXPECT_FALSE(result);
    EXPECT_EQ(out, "");
}

TEST_F(PmemSystemTest, EndWithoutVersionReportsAndLeavesTheRegisterOpen)
{
    send("MEMORY.DEFINE.ADD", {{"DEF", "M"}, {"WP", "1"}});
    send("MEMORY.LEARN", {{"REG", "5"}, {"VERSION", "0"}}, widgetOf(1));
    send("MEMORY.BEGIN", {{"WP", "1"}});
    bool result = true;
    std::string out = printed([&] { result = send("MEMORY.END", {{"WP", "1"}}); });
    EXPECT_FALSE(result);
    EXPECT_EQ(out, "PMEM Error! FID-> \"MEMORY.END\" expects parameter \"WP\" and parameter \"VERSION\"\n");
    EXPECT_TRUE(pmem->getWorkplaceData(1).opened);
    EXPECT_TRUE(send("MEMORY.SAVE_VAR.X", {{"WP", "1"}, {"VAL", "1"}}));
}

TEST_F(PmemSystemTest, FailedSaveDuringLearnLeavesTheRegisterOpen)
{
    send("MEMORY.DEFINE.ADD", {{"DEF", "M"}, {"WP", "1"}});
    fs::create_directories(registerFile(1, 5));
    bool result = false;
    std::string out = printed([&] { result = send("MEMORY.LEARN", {{"REG", "5"}, {"VERSION", "0"}}, widgetOf(1)); });
    EXPECT_TRUE(result);
    EXPECT_EQ(out, "PMEM Error! Refused file \"" + registerFile(1, 5).string() + "\": not a regular file\n"
                   "PMEM Error! Can't save file \"" + registerFile(1, 5).string() + "\"\n");
    EXPECT_TRUE(pmem->getWorkplaceData(1).opened);
    out = printed([&] { result = send("MEMORY.END", {{"WP", "1"}, {"VERSION", "0"}}); });
    EXPECT_FALSE(result);
    EXPECT_FALSE(pmem->getWorkplaceData(1).opened);
}

// ---- recall ----

TEST_F(PmemSystemTest, RecallPublishesTheValuesAndRaisesTheMemoEvents)
{
    writeRegister(1, 5, nameLine("R") + "version-2\nDEFINE_MEMO_CAM ON\nGAIN 3\nPAN 1\n");
    state.setStateValue("MEMORY.CURRENT.1.STALE", "x");
    std::size_t mark = state.mark();
    ASSERT_TRUE(send("MEMORY.RECALL", {{"REG", "5"}}, widgetOf(1)));
    EXPECT_EQ(state.callsSince(mark), (std::vector<Call>{{"set", "MEMORY.LATEST.1", "5"},
                                                         {"set", "MEMORY.DEFINES.1.CAM", "ON"},
                                                         {"unset", "MEMORY.CURRENT.1.*", ""},
                                                         {"set", "MEMORY.CURRENT.1.DEFINE_MEMO_CAM", "ON"},
                                                         {"set", "MEMORY.CURRENT.1.GAIN", "3"},
                                                         {"set", "MEMORY.CURRENT.1.PAN", "1"},
                                                         {"event", "MEMORY.RECALL.1.CAM", ""}}));
    EXPECT_FALSE(state.has("MEMORY.CURRENT.1.STALE"));
}

TEST_F(PmemSystemTest, RecallNamesItsWorkplaceWithWpOrTakesTheWidgets)
{
    writeRegister(4, 5, nameLine("R") + "version-2\nGAIN 3\n");
    ASSERT_TRUE(send("MEMORY.RECALL", {{"WP", "4"}, {"REG", "5"}}, widgetOf(1)));
    EXPECT_EQ(state.value("MEMORY.CURRENT.4.GAIN"), "3");
    EXPECT_EQ(state.value("MEMORY.LATEST.1"), "INV");
}

TEST_F(PmemSystemTest, RecallOfDefaultRecallsRegisterZero)
{
    writeRegister(0, 0, nameLine("Default") + "version-2\nGAIN 0\n");
    ASSERT_TRUE(send("MEMORY.RECALL", {{"REG", "DEFAULT"}}, widgetOf(3)));
    EXPECT_EQ(state.value("MEMORY.LATEST.3"), "0");
    EXPECT_EQ(state.value("MEMORY.CURRENT.3.GAIN"), "0");
}

TEST_F(PmemSystemTest, RecallConvertsByTheGivenVersion)
{
    writeRegister(1, 5, nameLine("R") + "version-0\nSRC KEY6\n");
    ASSERT_TRUE(send("MEMORY.RECALL", {{"REG", "5"}, {"VERSION", "2"}}, widgetOf(1)));
    EXPECT_EQ(state.value("MEMORY.CURRENT.1.SRC"), "KEY1");
}

TEST_F(PmemSystemTest, RecallOfARegisterWithoutFileOnlySetsLatestInvalid)
{
    writeRegister(1, 5, nameLine("R") + "version-2\nDEFINE_MEMO_CAM ON\nGAIN 3\n");
    ASSERT_TRUE(send("MEMORY.RECALL", {{"REG", "5"}}, widgetOf(1)));
    std::size_t mark = state.mark();
    ASSERT_TRUE(send("MEMORY.RECALL", {{"REG", "6"}}, widgetOf(1)));
    EXPECT_EQ(state.callsSince(mark), (std::vector<Call>{{"set", "MEMORY.LATEST.1", "INV"}}));
    EXPECT_EQ(state.value("MEMORY.CURRENT.1.GAIN"), "3");
}

TEST_F(PmemSystemTest, RecallWithoutRegisterReportsAndReleasesTheGate)
{
    bool result = true;
    std::string out = printed([&] { result = send("MEMORY.RECALL", {}, widgetOf(1)); });
    EXPECT_FALSE(result);
    EXPECT_EQ(out, "PMEM Error! FID-> \"MEMORY.RECALL\" expects parameter \"REG\"\n");
    writeRegister(1, 5, nameLine("R") + "version-2\nGAIN 3\n");
    EXPECT_TRUE(send("MEMORY.RECALL", {{"REG", "5"}}, widgetOf(1)));
    EXPECT_EQ(state.value("MEMORY.LATEST.1"), "5");
}

TEST_F(PmemSystemTest, RecallOfARegisterDeletedWhileHeldAnswersFromMemory)
{
    writeRegister(1, 5, nameLine("R") + "version-2\nGAIN 3\n");
    ASSERT_TRUE(send("MEMORY.RECALL", {{"REG", "5"}}, widgetOf(1)));
    ASSERT_TRUE(send("MEMORY.DELETE", {{"REG", "5"}}, widgetOf(1)));
    EXPECT_FALSE(fs::exists(registerFile(1, 5)));
    state.unsetStateValue("MEMORY.CURRENT.1.*");
    ASSERT_TRUE(send("MEMORY.RECALL", {{"REG", "5"}}, widgetOf(1)));
    EXPECT_EQ(state.value("MEMORY.LATEST.1"), "5");
    EXPECT_EQ(state.value("MEMORY.CURRENT.1.GAIN"), "3");
}

TEST_F(PmemSystemTest, RecallInWorkplaceZeroEndsInvalid)
{
    writeRegister(0, 5, nameLine("R") + "version-2\nGAIN 3\n");
    writeRegister(0, 0, nameLine("D") + "version-2\nGAIN 3\n");
    ASSERT_TRUE(send("MEMORY.RECALL", {{"REG", "5"}}, widgetOf(0)));
    EXPECT_EQ(state.value("MEMORY.LATEST.0"), "INV");
    ASSERT_TRUE(send("MEMORY.RECALL", {{"REG", "DEFAULT"}}, widgetOf(0)));
    EXPECT_EQ(state.value("MEMORY.LATEST.0"), "INV");
    EXPECT_FALSE(state.has("MEMORY.CURRENT.0.GAIN"));
}

TEST_F(PmemSystemTest, RecallArrivingDuringARecallIsDroppedWithoutMessage)
{
    writeRegister(1, 5, nameLine("R") + "version-2\nDEFINE_MEMO_CAM ON\n");
    writeRegister(1, 6, nameLine("R") + "version-2\nGAIN 3\n");
    bool inner = true;
    state.onEvent([&](const std::string& event) {
        if (event == "MEMORY.RECALL.1.CAM") inner = send("MEMORY.RECALL", {{"REG", "6"}}, widgetOf(1));
    });
    std::string out = printed([&] { EXPECT_TRUE(send("MEMORY.RECALL", {{"REG", "5"}}, widgetOf(1))); });
    state.onEvent(nullptr);
    EXPECT_FALSE(inner);
    EXPECT_EQ(out, "");
    EXPECT_EQ(state.value("MEMORY.LATEST.1"), "5");
    // The gate is free again afterwards.
    EXPECT_TRUE(send("MEMORY.RECALL", {{"REG", "6"}}, widgetOf(1)));
    EXPECT_EQ(state.value("MEMORY.LATEST.1"), "6");
}

TEST_F(PmemSystemTest, HostMayCallBackInFromAnEventOfALearn)
{
    send("MEMORY.DEFINE.ADD", {{"DEF", "CAM"}, {"WP", "1"}});
    state.onEvent([&](const std::string& event) {
        if (event != "MEMORY.LEARN.1.CAM") return;
        send("MEMORY.BEGIN", {{"WP", "1"}});
        send("MEMORY.SAVE_VAR.PAN", {{"WP", "1"}, {"VAL", "7"}});
        send("MEMORY.END", {{"WP", "1"}, {"VERSION", "2"}});
    });
    ASSERT_TRUE(send("MEMORY.LEARN", {{"REG", "8"}, {"VERSION", "2"}}, widgetOf(1)));
    state.onEvent(nullptr);
    EXPECT_EQ(readBytes(registerFile(1, 8)), nameLine("pmem8") + "version-2\nDEFINE_MEMO_CAM ON\nPAN 7\n");
    EXPECT_EQ(state.value("MEMORY1.REG8.EMPTY"), "FALSE");
}

TEST_F(PmemSystemTest, RecallBetweenBeginAndEndMovesTheOpenRegister)
{
    writeRegister(1, 6, nameLine("Six") + "version-2\nGAIN 3\n");
    send("MEMORY.DEFINE.ADD", {{"DEF", "M"}, {"WP", "1"}});
    send("MEMORY.LEARN", {{"REG", "5"}, {"VERSION", "2"}}, widgetOf(1));
    send("MEMORY.BEGIN", {{"WP", "1"}});
    send("MEMORY.RECALL", {{"REG", "6"}}, widgetOf(1));
    send("MEMORY.SAVE_VAR.PAN", {{"WP", "1"}, {"VAL", "9"}});
    send("MEMORY.END", {{"WP", "1"}, {"VERSION", "2"}});
    EXPECT_EQ(readBytes(registerFile(1, 6)), nameLine("Six") + "version-2\nGAIN 3\nPAN 9\n");
}

// ---- delete and rename ----

TEST_F(PmemSystemTest, DeleteAllSparesRegister99AndRemovesTheSharedDefault)
{
    writeRegister(0, 0, nameLine("Default") + "version-2\n");
    for (int reg : {1, 50, 98, 99}) writeRegister(2, reg, nameLine("R") + "version-2\nA 1\n");
    writeRegister(3, 1, nameLine("Other") + "version-2\nA 1\n");
    pmem->updateRegisrerState(2, 99);
    pmem->updateRegisrerState(3, 0);
    EXPECT_EQ(state.value("MEMORY2.REG99.EMPTY"), "FALSE");
    ASSERT_TRUE(send("MEMORY.DELETEALL", {{"WP", "2"}}, widgetOf(5)));
    for (int reg : {0, 1, 50, 98}) {
        EXPECT_FALSE(fs::exists(registerFile(2, reg))) << reg;
        EXPECT_EQ(state.value("MEMORY2.REG" + std::to_string(reg) + ".EMPTY"), "TRUE");
    }
    EXPECT_TRUE(fs::exists(registerFile(2, 99)));
    EXPECT_EQ(state.value("MEMORY2.REG99.EMPTY"), "FALSE");
    EXPECT_TRUE(fs::exists(registerFile(3, 1)));
    // The default register of the other workplaces is gone from disk; their keys follow at the next update.
    EXPECT_EQ(state.value("MEMORY3.REG0.EMPTY"), "FALSE");
}

TEST_F(PmemSystemTest, DeleteAllWithoutWpTakesTheWidgetsWorkplace)
{
    writeRegister(4, 3, nameLine("R") + "version-2\nA 1\n");
    ASSERT_TRUE(send("MEMORY.DELETEALL", {}, widgetOf(4)));
    EXPECT_FALSE(fs::exists(registerFile(4, 3)));
}

TEST_F(PmemSystemTest, DeleteReportsAMissingRegister)
{
    bool result = true;
    std::string out = printed([&] { result = send("MEMORY.DELETE", {}, widgetOf(1)); });
    EXPECT_FALSE(result);
    EXPECT_EQ(out, "PMEM Error! FID-> \"MEMORY.DELETE\" expects parameter \"REG\"\n");
}

TEST_F(PmemSystemTest, RenameRewritesTheFirstLineAndPublishesTheName)
{
    writeRegister(1, 5, nameLine("Before") + "version-2\nA 1\n");
    bool result = false;
    std::string out = printed([&] { result = send("MEMORY.RENAME", {{"REG", "5"}, {"NAME", "After"}}, widgetOf(1)); });
    EXPECT_TRUE(result);
    EXPECT_EQ(out, registerFile(1, 5).string());
    EXPECT_EQ(readBytes(registerFile(1, 5)), nameLine("After") + "version-2\nA 1\n");
    EXPECT_EQ(state.value("MEMORY1.REG5.NAME"), "After");
}

TEST_F(PmemSystemTest, RenameOfAMissingRegisterCreatesNothing)
{
    bool result = false;
    printed([&] { result = send("MEMORY.RENAME", {{"WP", "3"}, {"REG", "5"}, {"NAME", "New"}}, widgetOf(1)); });
    EXPECT_TRUE(result);
    EXPECT_FALSE(fs::exists(registerFile(3, 5)));
    EXPECT_EQ(state.value("MEMORY3.REG5.EMPTY"), "TRUE");
}

TEST_F(PmemSystemTest, RenameReportsMissingParameters)
{
    bool result = true;
    std::string out = printed([&] { result = send("MEMORY.RENAME", {{"REG", "5"}}, widgetOf(1)); });
    EXPECT_FALSE(result);
    EXPECT_EQ(out, "PMEM Error! FID-> \"MEMORY.RENAME\" expects parameter \"REG\" and \"NAME\"\n");
}

// ---- the lock ----

TEST_F(PmemSystemTest, WhileLockedEveryMemoryFidWarnsAndDoesNothing)
{
    writeRegister(1, 5, nameLine("R") + "version-2\nA 1\n");
    pmem->prepareAppliLoad();
    EXPECT_TRUE(pmem->isLocked());
    const std::size_t mark = state.mark();
    const std::vector<std::pair<std::string, std::vector<std::pair<std::string, std::string>>>> fids = {
        {"MEMORY.DEFINE.ADD", {{"DEF", "CAM"}, {"WP", "1"}}},
        {"MEMORY.DEFINE.ENABLE", {{"DEF", "CAM"}}},
        {"MEMORY.DEFINE.DISABLE", {{"DEF", "CAM"}}},
        {"MEMORY.BEGIN", {{"WP", "1"}}},
        {"MEMORY.END", {{"WP", "1"}, {"VERSION", "2"}}},
        {"MEMORY.LEARN", {{"REG", "5"}, {"VERSION", "2"}}},
        {"MEMORY.RECALL", {{"REG", "5"}}},
        {"MEMORY.DELETE", {{"REG", "5"}}},
        {"MEMORY.DELETEALL", {{"WP", "1"}}},
        {"MEMORY.SAVE_VAR.A", {{"WP", "1"}, {"VAL", "2"}}},
        {"MEMORY.RENAME", {{"REG", "5"}, {"NAME", "N"}}},
    };
    for (const auto& [name, params] : fids) {
        FIDParameterList list;
        for (const auto& p : params) list.add(p.first, p.second);
        list.sourceWidget = widgetOf(1);
        bool result = true;
        std::string out = printed([&, &fid = name] {
            if (StaticFIDFunctionBase* entry = map.findStaticFIDFunction(fid)) {
                result = entry->call(fid, &list);
            } else {
                FIDParameterList captures;
                result = map.findParamFIDFunction(fid, captures)->call(fid, &list, captures);
            }
        });
        EXPECT_FALSE(result) << name;
        EXPECT_EQ(out, kLockWarning) << name;
    }
    EXPECT_TRUE(state.callsSince(mark).empty());
    EXPECT_EQ(readBytes(registerFile(1, 5)), nameLine("R") + "version-2\nA 1\n");
    EXPECT_TRUE(pmem->getWorkplaceData(1).defineMemos.empty());
}

TEST_F(PmemSystemTest, FinishOfAnApplicationLoadRepublishesEveryRegisterAndUnlocks)
{
    pmem->prepareAppliLoad();
    writeRegister(6, 40, nameLine("Loaded") + "version-2\nA 1\n");
    const std::size_t mark = state.mark();
    pmem->finishAppliLoad();
    EXPECT_FALSE(pmem->isLocked());
    const auto calls = state.callsSince(mark);
    EXPECT_EQ(calls.size(), 8u * (200u + 1u));
    EXPECT_EQ(calls[200], (Call{"set", "MEMORY.LATEST.0", "INV"}));
    EXPECT_EQ(state.value("MEMORY6.REG40.EMPTY"), "FALSE");
    EXPECT_EQ(state.value("MEMORY6.REG40.NAME"), "Loaded");
    EXPECT_TRUE(send("MEMORY.DEFINE.ADD", {{"DEF", "CAM"}, {"WP", "1"}}));
}

TEST_F(PmemSystemTest, ApplicationSaveLocksUntilItsFinish)
{
    pmem->prepareAppliSave();
    std::string out = printed([&] { EXPECT_FALSE(send("MEMORY.DEFINE.ADD", {{"DEF", "CAM"}, {"WP", "1"}})); });
    EXPECT_EQ(out, kLockWarning);
    pmem->finishAppliSave();
    EXPECT_TRUE(send("MEMORY.DEFINE.ADD", {{"DEF", "CAM"}, {"WP", "1"}}));
}

TEST_F(PmemSystemTest, FinishOfALoadForgetsTheCurrentRegister)
{
    send("MEMORY.DEFINE.ADD", {{"DEF", "M"}, {"WP", "1"}});
    send("MEMORY.LEARN", {{"REG", "5"}, {"VERSION", "2"}}, widgetOf(1));
    pmem->prepareAppliLoad();
    pmem->finishAppliLoad();
    EXPECT_EQ(state.value("MEMORY.LATEST.1"), "INV");
    EXPECT_EQ(pmem->getWorkplaceData(1).currentRegister, -1);
}

// ---- workplace out of range ----

namespace {

// Sends a memory FID with the given parameters; the pattern entry takes SAVE_VAR.
bool sendAny(FIDMapHandler& map, const std::string& fid, const std::vector<std::pair<std::string, std::string>>& params)
{
    FIDParameterList list;
    for (const auto& p : params) list.add(p.first, p.second);
    if (StaticFIDFunctionBase* entry = map.findStaticFIDFunction(fid)) return entry->call(fid, &list);
    FIDParameterList captures;
    return map.findParamFIDFunction(fid, captures)->call(fid, &list, captures);
}

} // namespace

TEST_F(PmemSystemTest, WorkplaceOutsideZeroToSevenIsRefusedWhereItWouldReachARegisterStorage)
{
    const std::size_t mark = state.mark();
    const std::vector<std::pair<std::string, std::vector<std::pair<std::string, std::string>>>> fids = {
        {"MEMORY.BEGIN", {{"WP", "-1"}}},
        {"MEMORY.END", {{"WP", "9"}, {"VERSION", "2"}}},
        {"MEMORY.DELETEALL", {{"WP", "8"}}},
        {"MEMORY.RENAME", {{"WP", "8"}, {"REG", "5"}, {"NAME", "N"}}},
    };
    for (const auto& [name, params] : fids) {
        bool result = true;
        std::string out = printed([&, &fid = name, &list = params] { result = sendAny(map, fid, list); });
        EXPECT_FALSE(result) << name;
        EXPECT_EQ(out.rfind("PMEM Error! FID-> \"" + name + "\" parameter \"WP\" out of range: ", 0), 0u) << out;
    }
    EXPECT_TRUE(state.callsSince(mark).empty());
}

TEST_F(PmemSystemTest, DefineAddForWorkplaceEightSwitchesTheMemoOnSilently)
{
    bool result = false;
    std::string out = printed([&] { result = send("MEMORY.DEFINE.ADD", {{"DEF", "CAM"}, {"WP", "8"}}); });
    EXPECT_TRUE(result);
    EXPECT_EQ(out, "");
    EXPECT_EQ(state.value("MEMORY.DEFINES.8.CAM"), "ON");
    EXPECT_TRUE(pmem->getWorkplaceData(8).defineMemos.at("CAM"));
}

TEST_F(PmemSystemTest, RecallForWorkplaceEightOrMinusOneWithoutMemosPublishesLatestInvalid)
{
    for (const char* wp : {"8", "-1"}) {
        bool result = false;
        std::string out = printed([&] { result = send("MEMORY.RECALL", {{"WP", wp}, {"REG", "5"}}); });
        EXPECT_TRUE(result) << wp;
        EXPECT_EQ(out, "") << wp;
        EXPECT_EQ(state.value(std::string("MEMORY.LATEST.") + wp), "INV") << wp;
    }
    // With a memo, the recall would reach a storage and is refused; the gate is given back.
    send("MEMORY.DEFINE.ADD", {{"DEF", "CAM"}, {"WP", "8"}});
    bool result = true;
    std::string out = printed([&] { result = send("MEMORY.RECALL", {{"WP", "8"}, {"REG", "5"}}); });
    EXPECT_FALSE(result);
    EXPECT_EQ(out, "PMEM Error! FID-> \"MEMORY.RECALL\" parameter \"WP\" out of range: 8\n");
    writeRegister(1, 5, nameLine("R") + "version-2\nA 1\n");
    EXPECT_TRUE(send("MEMORY.RECALL", {{"REG", "5"}}, widgetOf(1)));
    EXPECT_EQ(state.value("MEMORY.LATEST.1"), "5");
}

TEST_F(PmemSystemTest, SaveValueForWorkplaceEightFindsNoOpenRegister)
{
    bool result = true;
    std::string out = printed([&] { result = sendAny(map, "MEMORY.SAVE_VAR.A", {{"WP", "8"}, {"VAL", "2"}}); });
    EXPECT_FALSE(result);
    EXPECT_EQ(out, "PMEM Error! Register is invalid!\n");
}

TEST_F(PmemSystemTest, RenameReportsMissingParametersBeforeLookingAtTheWorkplace)
{
    for (const std::vector<std::pair<std::string, std::string>>& params :
         {std::vector<std::pair<std::string, std::string>>{{"WP", "8"}, {"REG", "5"}},
          std::vector<std::pair<std::string, std::string>>{{"WP", "-3"}, {"NAME", "N"}}}) {
        bool result = true;
        std::string out = printed([&] { result = sendAny(map, "MEMORY.RENAME", params); });
        EXPECT_FALSE(result);
        EXPECT_EQ(out, "PMEM Error! FID-> \"MEMORY.RENAME\" expects parameter \"REG\" and \"NAME\"\n");
    }
}

// ---- console ----

TEST_F(PmemSystemTest, ShowPmemPrintsTheWorkplaceState)
{
    writeRegister(1, 3, nameLine("R") + "version-2\nA 1\n");
    writeRegister(1, 0, nameLine("D") + "version-2\n");
    send("MEMORY.RECALL", {{"REG", "3"}}, widgetOf(1));
    send("MEMORY.DEFINE.ADD", {{"DEF", "CAM"}, {"WP", "1"}});
    send("MEMORY.DEFINE.ADD", {{"DEF", "AUDIO"}, {"WP", "1"}});
    send("MEMORY.DEFINE.DISABLE", {{"DEF", "AUDIO"}}, widgetOf(1));
    bool result = false;
    std::string out = printed([&] { result = oskit::CmdProcessor::getInstance()->execute("showPmem 1"); });
    EXPECT_TRUE(result);
    EXPECT_EQ(out, "PMEM state workplace 1\n"
                   "  Lock:        FALSE\n"
                   "  Last recall: 3\n"
                   "  Autorecall:  ON\n"
                   "  Opend:       FALSE\n"
                   "  define memos:\n"
                   "      AUDIO FALSE\n"
                   "      CAM ON\n"
                   "  registers:   0 3 \n");
}

TEST_F(PmemSystemTest, ShowPmemOfAFreshWorkplace)
{
    pmem->prepareAppliSave();
    std::string out = printed([&] { oskit::CmdProcessor::getInstance()->execute("showPmem 7"); });
    EXPECT_EQ(out, "PMEM state workplace 7\n"
                   "  Lock:        TRUE\n"
                   "  Last recall: -1\n"
                   "  Autorecall:  ON\n"
                   "  Opend:       FALSE\n"
                   "  define memos:\n"
                   "  registers:   \n");
}

TEST_F(PmemSystemTest, ShowPmemOutsideOneToSevenPrintsTheUsage)
{
    for (const char* line : {"showPmem 0", "showPmem 8", "showPmem", "showPmem x", "showPmem -3"}) {
        bool result = true;
        std::string out = printed([&] { result = oskit::CmdProcessor::getInstance()->execute(line); });
        EXPECT_FALSE(result) << line;
        EXPECT_EQ(out, "Usage: showPmem <workplace id>\n") << line;
    }
}

// ---- threads ----

TEST_F(PmemSystemTest, FidsFromTwoThreadsAtOnceKeepTheDataWhole)
{
    send("MEMORY.DEFINE.ADD", {{"DEF", "M"}, {"WP", "1"}});
    send("MEMORY.DEFINE.ADD", {{"DEF", "M"}, {"WP", "2"}});
    auto worker = [this](int wp) {
        for (int i = 0; i < 20; ++i) {
            send("MEMORY.LEARN", {{"REG", std::to_string(10 + i)}, {"VERSION", "2"}}, widgetOf(wp));
            send("MEMORY.BEGIN", {{"WP", std::to_string(wp)}});
            send("MEMORY.SAVE_VAR.I", {{"WP", std::to_string(wp)}, {"VAL", std::to_string(i)}});
            send("MEMORY.END", {{"WP", std::to_string(wp)}, {"VERSION", "2"}});
            send("MEMORY.RECALL", {{"REG", std::to_string(10 + i)}}, widgetOf(wp));
        }
    };
    printed([&] {
        std::thread a(worker, 1);
        std::thread b(worker, 2);
        a.join();
        b.join();
    });
    for (int wp : {1, 2})
        for (int i = 0; i < 20; ++i)
            EXPECT_EQ(readBytes(registerFile(wp, 10 + i)),
                      nameLine("pmem" + std::to_string(10 + i)) + "version-2\nDEFINE_MEMO_M ON\nI " +
                          std::to_string(i) + "\n");
}

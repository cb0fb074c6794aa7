#include "test_pmemsystem_fixture.h"

using namespace pmemtest;
using Call = RecordingPanelState::Call;

namespace {

class PmemStateTest : public PmemSystemTestBase {
protected:
    void SetUp() override
    {
        PmemSystemTestBase::SetUp();
        start();
    }
};

} // namespace

TEST_F(PmemStateTest, RegisterWhoseFileHoldsNoValuesIsNotEmpty)
{
    writeRegister(2, 17, "");
    pmem->updateRegisrerState(2, 17);
    EXPECT_EQ(state.value("MEMORY2.REG17.EMPTY"), "FALSE");
    EXPECT_EQ(state.value("MEMORY2.REG17.NAME"), "");
}

TEST_F(PmemStateTest, DeletedRegisterIsEmptyWithAnEmptyName)
{
    writeRegister(2, 17, nameLine("Gone") + "version-2\nA 1\n");
    pmem->updateRegisrerState(2, 17);
    EXPECT_EQ(state.value("MEMORY2.REG17.NAME"), "Gone");
    const std::size_t mark = state.mark();
    ASSERT_TRUE(send("MEMORY.DELETE", {{"REG", "17"}}, widgetOf(2)));
    EXPECT_EQ(state.callsSince(mark), (std::vector<Call>{{"bool", "MEMORY2.REG17.EMPTY", "TRUE"},
                                                         {"set", "MEMORY2.REG17.NAME", ""}}));
}

TEST_F(PmemStateTest, LatestKeepsShowingADeletedRegister)
{
    writeRegister(2, 17, nameLine("R") + "version-2\nA 1\n");
    ASSERT_TRUE(send("MEMORY.RECALL", {{"REG", "17"}}, widgetOf(2)));
    ASSERT_TRUE(send("MEMORY.DELETE", {{"REG", "17"}}, widgetOf(2)));
    EXPECT_EQ(state.value("MEMORY.LATEST.2"), "17");
    EXPECT_EQ(pmem->getWorkplaceData(2).currentRegister, 17);
}

TEST_F(PmemStateTest, RegistersOutsideTheRangeArePublishedWhenNamedByDeleteOrRename)
{
    EXPECT_FALSE(state.has("MEMORY1.REG150.EMPTY"));
    ASSERT_TRUE(send("MEMORY.DELETE", {{"REG", "150"}}, widgetOf(1)));
    EXPECT_EQ(state.value("MEMORY1.REG150.EMPTY"), "TRUE");
    writeRegister(1, 151, nameLine("Far") + "version-2\n");
    printed([&] { send("MEMORY.RENAME", {{"REG", "151"}, {"NAME", "Farther"}}, widgetOf(1)); });
    EXPECT_EQ(state.value("MEMORY1.REG151.NAME"), "Farther");
}

TEST_F(PmemStateTest, CurrentRegisterAcceptsAnyNumber)
{
    pmem->setCurrentRegister(3, 4711);
    EXPECT_EQ(state.value("MEMORY.LATEST.3"), "4711");
    pmem->setCurrentRegister(3, -2);
    EXPECT_EQ(state.value("MEMORY.LATEST.3"), "-2");
    pmem->setCurrentRegister(3, -1);
    EXPECT_EQ(state.value("MEMORY.LATEST.3"), "INV");
}

TEST_F(PmemStateTest, NextValidSearchFindsTheLowestValidRegister)
{
    writeRegister(1, 7, nameLine("A") + "version-2\n");
    writeRegister(1, 9, nameLine("B") + "version-2\n");
    pmem->updateNextValidRegisterState(1, 2, 12, 1, 99);
    EXPECT_EQ(state.value("MEMORY1.2_12.NEXT.VALID"), "7");
    pmem->updateNextValidRegisterState(1, 2, 12, 8, 99);
    EXPECT_EQ(state.value("MEMORY1.2_12.NEXT.VALID"), "9");
    pmem->updateNextValidRegisterState(1, 2, 12, 10, 99);
    EXPECT_FALSE(state.has("MEMORY1.2_12.NEXT.VALID"));
}

TEST_F(PmemStateTest, NextFreeSearchFindsTheLowestFreeRegister)
{
    writeRegister(1, 1, nameLine("A") + "version-2\n");
    writeRegister(1, 2, nameLine("B") + "version-2\n");
    pmem->updateNextFreeRegisterState(1, 0, 3, 1, 99);
    EXPECT_EQ(state.value("MEMORY1.0_3.NEXT.FREE"), "3");
}

TEST_F(PmemStateTest, FreeSearchWithEveryRegisterUsedRemovesTheKey)
{
    for (int reg = 1; reg <= 99; ++reg) writeRegister(4, reg, nameLine("R") + "version-2\n");
    state.setStateValue("MEMORY4.1_1.NEXT.FREE", "5");
    const std::size_t mark = state.mark();
    pmem->updateNextFreeRegisterState(4, 1, 1, 1, 99);
    EXPECT_EQ(state.callsSince(mark), (std::vector<Call>{{"unset", "MEMORY4.1_1.NEXT.FREE", ""}}));
}

TEST_F(PmemStateTest, SearchWithFirstAboveLastRemovesTheKeyAtOnce)
{
    std::size_t mark = state.mark();
    pmem->updateNextFreeRegisterState(1, 0, 0, 10, 9);
    pmem->updateNextValidRegisterState(1, 0, 0, 10, 9);
    EXPECT_EQ(state.callsSince(mark), (std::vector<Call>{{"unset", "MEMORY1.0_0.NEXT.FREE", ""},
                                                         {"unset", "MEMORY1.0_0.NEXT.VALID", ""}}));
}

TEST_F(PmemStateTest, ModuleStringJoinsGroupAndModule)
{
    EXPECT_EQ(pmem->getModuleString(0, 0), "0_0");
    EXPECT_EQ(pmem->getModuleString(2, 12), "2_12");
}

TEST_F(PmemStateTest, UnknownWorkplaceHasNoStorageAndPublishesNoRegister)
{
    const std::size_t mark = state.mark();
    pmem->updateRegisrerState(9, 1);
    EXPECT_TRUE(state.callsSince(mark).empty());
    pmem->updateNextFreeRegisterState(9, 0, 0, 1, 5);
    EXPECT_EQ(state.value("MEMORY9.0_0.NEXT.FREE"), "1");
}

// ---- the XML storage behind the same system ----

namespace {

class PmemXmlSystemTest : public PmemSystemTestBase {
protected:
    PmemXmlSystemTest() : PmemSystemTestBase(PmemSystem::PMEM_TYPE_XML) {}
    void SetUp() override
    {
        PmemSystemTestBase::SetUp();
        start();
    }
};

} // namespace

TEST_F(PmemXmlSystemTest, RegistersAreNeverValidSoAllArePublishedEmpty)
{
    EXPECT_EQ(state.value("MEMORY1.REG5.EMPTY"), "TRUE");
    EXPECT_EQ(state.value("MEMORY1.REG5.NAME"), "");
    EXPECT_FALSE(fs::exists(dir.path() / "pmem"));
}

TEST_F(PmemXmlSystemTest, LearnConversationWritesAnXmlRegister)
{
    send("MEMORY.DEFINE.ADD", {{"DEF", "CAM"}, {"WP", "1"}});
    learn(1, 5, 2, {{"PAN", "0.5"}, {"TILT", "two words"}});
    EXPECT_EQ(readBytes(registerFile(1, 5)), "<register name=\"\">\n"
                                             "    <data name=\"DEFINE_MEMO_CAM\" value=\"ON\" />\n"
                                             "    <data name=\"PAN\" value=\"0.5\" />\n"
                                             "    <data name=\"TILT\" value=\"two words\" />\n"
                                             "</register>\n");
    EXPECT_EQ(state.value("MEMORY1.REG5.EMPTY"), "TRUE");
}

TEST_F(PmemXmlSystemTest, RecallPublishesTheXmlValues)
{
    send("MEMORY.DEFINE.ADD", {{"DEF", "CAM"}, {"WP", "1"}});
    learn(1, 5, 2, {{"PAN", "0.5"}});
    const std::size_t mark = state.mark();
    ASSERT_TRUE(send("MEMORY.RECALL", {{"REG", "5"}}, widgetOf(1)));
    EXPECT_EQ(state.value("MEMORY.LATEST.1"), "5");
    EXPECT_EQ(state.value("MEMORY.CURRENT.1.PAN"), "0.5");
    EXPECT_EQ(state.eventsSince(mark), (std::vector<std::string>{"MEMORY.RECALL.1.CAM"}));
}

TEST_F(PmemXmlSystemTest, RecallOfAMissingRegisterMakesItsFileAndEndsInvalid)
{
    ASSERT_TRUE(send("MEMORY.RECALL", {{"REG", "7"}}, widgetOf(3)));
    EXPECT_EQ(state.value("MEMORY.LATEST.3"), "INV");
    EXPECT_EQ(readBytes(registerFile(3, 7)), "<register name=\"\" />\n");
}

TEST_F(PmemXmlSystemTest, WorkplaceZeroWorksWithTheXmlStorage)
{
    send("MEMORY.DEFINE.ADD", {{"DEF", "CAM"}, {"WP", "0"}});
    learn(0, 0, 2, {{"PAN", "1"}});
    EXPECT_TRUE(fs::exists(dir.path() / "pmem" / "workplace0" / "0.pmem"));
    ASSERT_TRUE(send("MEMORY.RECALL", {{"REG", "DEFAULT"}}, widgetOf(0)));
    EXPECT_EQ(state.value("MEMORY.LATEST.0"), "0");
    EXPECT_EQ(state.value("MEMORY.CURRENT.0.PAN"), "1");
}

TEST_F(PmemXmlSystemTest, DeleteAndRenameChangeNothingOnDisk)
{
    send("MEMORY.DEFINE.ADD", {{"DEF", "CAM"}, {"WP", "1"}});
    learn(1, 5, 2, {{"PAN", "1"}});
    const std::string bytes = readBytes(registerFile(1, 5));
    std::string out = printed([&] {
        EXPECT_TRUE(send("MEMORY.DELETE", {{"REG", "5"}}, widgetOf(1)));
        EXPECT_TRUE(send("MEMORY.RENAME", {{"REG", "5"}, {"NAME", "N"}}, widgetOf(1)));
    });
    EXPECT_EQ(out, "");
    EXPECT_EQ(readBytes(registerFile(1, 5)), bytes);
}

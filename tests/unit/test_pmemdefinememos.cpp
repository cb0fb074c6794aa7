#include "test_pmemsystem_fixture.h"

using namespace pmemtest;
using Call = RecordingPanelState::Call;

namespace {

class PmemDefineMemoTest : public PmemSystemTestBase {
protected:
    void SetUp() override
    {
        PmemSystemTestBase::SetUp();
        start();
    }
};

} // namespace

TEST_F(PmemDefineMemoTest, AddingANameTwiceWritesTheStateOnce)
{
    const std::size_t mark = state.mark();
    EXPECT_TRUE(send("MEMORY.DEFINE.ADD", {{"DEF", "CAM"}, {"WP", "1"}}));
    EXPECT_TRUE(send("MEMORY.DEFINE.ADD", {{"DEF", "CAM"}, {"WP", "1"}}));
    EXPECT_EQ(state.callsSince(mark), (std::vector<Call>{{"set", "MEMORY.DEFINES.1.CAM", "ON"}}));
}

TEST_F(PmemDefineMemoTest, AddingADisabledNameEnablesIt)
{
    send("MEMORY.DEFINE.ADD", {{"DEF", "CAM"}, {"WP", "1"}});
    send("MEMORY.DEFINE.DISABLE", {{"DEF", "CAM"}}, widgetOf(1));
    EXPECT_EQ(state.value("MEMORY.DEFINES.1.CAM"), "OFF");
    EXPECT_TRUE(send("MEMORY.DEFINE.ADD", {{"DEF", "CAM"}, {"WP", "1"}}));
    EXPECT_EQ(state.value("MEMORY.DEFINES.1.CAM"), "ON");
}

TEST_F(PmemDefineMemoTest, EnablingAnUnknownNameFailsQuietly)
{
    const std::size_t mark = state.mark();
    bool result = true;
    std::string out = printed([&] { result = send("MEMORY.DEFINE.ENABLE", {{"DEF", "NEVER"}}, widgetOf(1)); });
    EXPECT_FALSE(result);
    EXPECT_EQ(out, "");
    out = printed([&] { result = send("MEMORY.DEFINE.DISABLE", {{"DEF", "NEVER"}}, widgetOf(1)); });
    EXPECT_FALSE(result);
    EXPECT_EQ(out, "");
    EXPECT_TRUE(state.callsSince(mark).empty());
}

TEST_F(PmemDefineMemoTest, EnableAndDisableWriteTheStateEachTime)
{
    send("MEMORY.DEFINE.ADD", {{"DEF", "CAM"}, {"WP", "3"}});
    const std::size_t mark = state.mark();
    EXPECT_TRUE(send("MEMORY.DEFINE.ENABLE", {{"DEF", "CAM"}}, widgetOf(3)));
    EXPECT_TRUE(send("MEMORY.DEFINE.DISABLE", {{"DEF", "CAM"}}, widgetOf(3)));
    EXPECT_TRUE(send("MEMORY.DEFINE.DISABLE", {{"DEF", "CAM"}}, widgetOf(3)));
    EXPECT_EQ(state.callsSince(mark), (std::vector<Call>{{"set", "MEMORY.DEFINES.3.CAM", "ON"},
                                                         {"set", "MEMORY.DEFINES.3.CAM", "OFF"},
                                                         {"set", "MEMORY.DEFINES.3.CAM", "OFF"}}));
}

TEST_F(PmemDefineMemoTest, AddNamesItsWorkplaceButDisableTakesTheWidgets)
{
    EXPECT_TRUE(send("MEMORY.DEFINE.ADD", {{"DEF", "CAM"}, {"WP", "2"}}, widgetOf(1)));
    EXPECT_EQ(state.value("MEMORY.DEFINES.2.CAM"), "ON");
    EXPECT_FALSE(state.has("MEMORY.DEFINES.1.CAM"));
    // Workplace 1 doesn't know the name.
    EXPECT_FALSE(send("MEMORY.DEFINE.DISABLE", {{"DEF", "CAM"}}, widgetOf(1)));
    send("MEMORY.DEFINE.ADD", {{"DEF", "CAM"}, {"WP", "1"}}, widgetOf(1));
    EXPECT_TRUE(send("MEMORY.DEFINE.DISABLE", {{"DEF", "CAM"}}, widgetOf(1)));
    EXPECT_EQ(state.value("MEMORY.DEFINES.1.CAM"), "OFF");
    EXPECT_EQ(state.value("MEMORY.DEFINES.2.CAM"), "ON");
}

TEST_F(PmemDefineMemoTest, MissingParametersAreReported)
{
    bool result = true;
    std::string out = printed([&] { result = send("MEMORY.DEFINE.ADD", {{"DEF", "CAM"}}); });
    EXPECT_FALSE(result);
    EXPECT_EQ(out, "PMEM Error! FID-> \"MEMORY.DEFINE.ADD\" expects parameters \"DEF\" and \"WP\"\n");
    out = printed([&] { result = send("MEMORY.DEFINE.ADD", {{"WP", "1"}}); });
    EXPECT_FALSE(result);
    EXPECT_EQ(out, "PMEM Error! FID-> \"MEMORY.DEFINE.ADD\" expects parameters \"DEF\" and \"WP\"\n");
    out = printed([&] { result = send("MEMORY.DEFINE.ENABLE", {}); });
    EXPECT_FALSE(result);
    EXPECT_EQ(out, "PMEM Error! FID-> \"MEMORY.DEFINE.ENABLE\" expects parameter \"DEF\"\n");
    out = printed([&] { result = send("MEMORY.DEFINE.DISABLE", {}); });
    EXPECT_FALSE(result);
    EXPECT_EQ(out, "PMEM Error! FID-> \"MEMORY.DEFINE.DISABLE\" expects parameter \"DEF\"\n");
}

TEST_F(PmemDefineMemoTest, DisabledMemoIsLearnedOffGetsNoEventAndIsOffAfterRecall)
{
    send("MEMORY.DEFINE.ADD", {{"DEF", "X"}, {"WP", "1"}});
    send("MEMORY.DEFINE.ADD", {{"DEF", "Y"}, {"WP", "1"}});
    send("MEMORY.DEFINE.DISABLE", {{"DEF", "X"}}, widgetOf(1));
    std::size_t mark = state.mark();
    ASSERT_TRUE(send("MEMORY.LEARN", {{"REG", "4"}, {"VERSION", "2"}}, widgetOf(1)));
    EXPECT_EQ(state.eventsSince(mark), (std::vector<std::string>{"MEMORY.LEARN.1.Y"}));
    EXPECT_EQ(readBytes(registerFile(1, 4)), nameLine("pmem4") + "version-2\nDEFINE_MEMO_X OFF\nDEFINE_MEMO_Y ON\n");

    send("MEMORY.DEFINE.ENABLE", {{"DEF", "X"}}, widgetOf(1));
    mark = state.mark();
    ASSERT_TRUE(send("MEMORY.RECALL", {{"REG", "4"}}, widgetOf(1)));
    EXPECT_EQ(state.value("MEMORY.DEFINES.1.X"), "OFF");
    EXPECT_EQ(state.value("MEMORY.DEFINES.1.Y"), "ON");
    EXPECT_EQ(state.eventsSince(mark), (std::vector<std::string>{"MEMORY.RECALL.1.Y"}));
}

TEST_F(PmemDefineMemoTest, RecallSwitchesEveryMemoOffFirstThenTakesTheRegisters)
{
    writeRegister(1, 4, nameLine("R") + "version-2\nDEFINE_MEMO_A ON\n");
    send("MEMORY.DEFINE.ADD", {{"DEF", "A"}, {"WP", "1"}});
    send("MEMORY.DEFINE.ADD", {{"DEF", "B"}, {"WP", "1"}});
    const std::size_t mark = state.mark();
    ASSERT_TRUE(send("MEMORY.RECALL", {{"REG", "4"}}, widgetOf(1)));
    const auto calls = state.callsSince(mark);
    ASSERT_GE(calls.size(), 4u);
    EXPECT_EQ(calls[1], (Call{"set", "MEMORY.DEFINES.1.A", "OFF"}));
    EXPECT_EQ(calls[2], (Call{"set", "MEMORY.DEFINES.1.B", "OFF"}));
    EXPECT_EQ(calls[3], (Call{"set", "MEMORY.DEFINES.1.A", "ON"}));
    // B, declared after the register was learned, stays off.
    EXPECT_EQ(state.value("MEMORY.DEFINES.1.B"), "OFF");
}

TEST_F(PmemDefineMemoTest, LowerCaseOnIsReadAsOff)
{
    writeRegister(1, 4, nameLine("R") + "version-2\nDEFINE_MEMO_X on\n");
    ASSERT_TRUE(send("MEMORY.RECALL", {{"REG", "4"}}, widgetOf(1)));
    EXPECT_EQ(state.value("MEMORY.DEFINES.1.X"), "OFF");
}

TEST_F(PmemDefineMemoTest, NameNeverDeclaredComesIntoBeingAtRecallAndTakesPart)
{
    writeRegister(1, 4, nameLine("R") + "version-2\nDEFINE_MEMO_NEW ON\n");
    const std::size_t mark = state.mark();
    ASSERT_TRUE(send("MEMORY.RECALL", {{"REG", "4"}}, widgetOf(1)));
    EXPECT_EQ(state.value("MEMORY.DEFINES.1.NEW"), "ON");
    EXPECT_EQ(state.eventsSince(mark), (std::vector<std::string>{"MEMORY.RECALL.1.NEW"}));
    EXPECT_EQ(pmem->getWorkplaceData(1).defineMemos, (std::map<std::string, bool>{{"NEW", true}}));
}

TEST_F(PmemDefineMemoTest, KeyOfOnlyThePrefixMakesAMemoWithAnEmptyName)
{
    writeRegister(1, 4, nameLine("R") + "version-2\nDEFINE_MEMO_ ON\n");
    const std::size_t mark = state.mark();
    ASSERT_TRUE(send("MEMORY.RECALL", {{"REG", "4"}}, widgetOf(1)));
    EXPECT_EQ(state.value("MEMORY.DEFINES.1."), "ON");
    EXPECT_EQ(state.eventsSince(mark), (std::vector<std::string>{"MEMORY.RECALL.1."}));
}

TEST_F(PmemDefineMemoTest, MemoKeysAlsoAppearAmongTheCurrentValues)
{
    writeRegister(1, 4, nameLine("R") + "version-2\nDEFINE_MEMO_X ON\nV 1\n");
    ASSERT_TRUE(send("MEMORY.RECALL", {{"REG", "4"}}, widgetOf(1)));
    EXPECT_EQ(state.value("MEMORY.CURRENT.1.DEFINE_MEMO_X"), "ON");
    EXPECT_EQ(state.value("MEMORY.CURRENT.1.V"), "1");
}

TEST_F(PmemDefineMemoTest, RegisterLearnedWithoutMemoValuesLeavesAllOffAndSendsNoEvent)
{
    writeRegister(1, 4, nameLine("R") + "version-2\nV 1\n");
    send("MEMORY.DEFINE.ADD", {{"DEF", "X"}, {"WP", "1"}});
    const std::size_t mark = state.mark();
    ASSERT_TRUE(send("MEMORY.RECALL", {{"REG", "4"}}, widgetOf(1)));
    EXPECT_EQ(state.value("MEMORY.DEFINES.1.X"), "OFF");
    EXPECT_TRUE(state.eventsSince(mark).empty());
}

TEST_F(PmemDefineMemoTest, LearnDoesNotChangeTheSwitches)
{
    send("MEMORY.DEFINE.ADD", {{"DEF", "X"}, {"WP", "1"}});
    const std::size_t mark = state.mark();
    ASSERT_TRUE(send("MEMORY.LEARN", {{"REG", "4"}, {"VERSION", "2"}}, widgetOf(1)));
    for (const Call& call : state.callsSince(mark)) EXPECT_EQ(call.key.rfind("MEMORY.DEFINES.", 0), std::string::npos);
}

TEST_F(PmemDefineMemoTest, SaveDefineMemosInWorkplaceZeroPassesThroughQuietly)
{
    send("MEMORY.DEFINE.ADD", {{"DEF", "X"}, {"WP", "0"}});
    EXPECT_TRUE(pmem->saveDefineMemos(0, 4, 2));
    EXPECT_FALSE(pmem->getWorkplaceData(0).opened);
    EXPECT_FALSE(fs::exists(registerFile(0, 4)));
    const std::size_t mark = state.mark();
    ASSERT_TRUE(send("MEMORY.LEARN", {{"REG", "4"}, {"VERSION", "2"}}, widgetOf(0)));
    EXPECT_EQ(state.eventsSince(mark), (std::vector<std::string>{"MEMORY.LEARN.0.X"}));
}

TEST_F(PmemDefineMemoTest, DirectOperationsPublishLikeTheFids)
{
    std::size_t mark = state.mark();
    EXPECT_TRUE(pmem->doSetDefineMemo(5, "M", true));
    pmem->triggerDefineMemos("MEMORY.LEARN.", 5);
    std::map<std::string, std::string> values{{"DEFINE_MEMO_M", "OFF"}, {"DEFINE_MEMO_N", "ON"}};
    EXPECT_TRUE(pmem->loadDefineMemos(5, values));
    EXPECT_EQ(state.callsSince(mark), (std::vector<Call>{{"set", "MEMORY.DEFINES.5.M", "ON"},
                                                         {"event", "MEMORY.LEARN.5.M", ""},
                                                         {"set", "MEMORY.DEFINES.5.M", "OFF"},
                                                         {"set", "MEMORY.DEFINES.5.M", "OFF"},
                                                         {"set", "MEMORY.DEFINES.5.N", "ON"}}));
}

// Module service FIDs: counters on and off, module ids, calibrations, port assignment.

#include <gtest/gtest.h>

#include "support/logcapture.h"
#include "support/panelmfdharness.h"

using ::testing::_;
using ::testing::Return;

namespace {

class ModuleTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ON_CALL(h.hwModules, getModuleInfo(_, _, _)).WillByDefault(Return(false));
        h.start();
        h.state.clearChanges();
    }
    PanelMFDHarness h;
};

const std::vector<std::string> kZeros = {
    "set MODULE.1.4.12.TXCOUNT=0",   "set MODULE.1.4.12.RXCOUNT=0",   "set MODULE.1.4.12.CRCERRORS=0",
    "set MODULE.1.4.12.DBTXCOUNT=0", "set MODULE.1.4.12.DBRXCOUNT=0", "set MODULE.1.4.12.DBCRCERRORS=0"};

MATCHER_P3(IsModule, workplace, group, module, "")
{
    return arg.getWorkplaceID() == static_cast<unsigned>(workplace) &&
           arg.getGroupID() == static_cast<unsigned>(group) && arg.getModuleID() == static_cast<unsigned>(module);
}

} // namespace

TEST_F(ModuleTest, InfoReadPublishesSixZerosForTheSourceModuleInTableOrder)
{
    EXPECT_TRUE(h.fid("MODULE.INFO.READ", {{"ENABLE", "ON"}}, UniqueWidgetID(1, 4, 12, 77)));
    EXPECT_EQ(h.state.changes(), kZeros);
}

TEST_F(ModuleTest, InfoReadEnabledTwiceKeepsOneEntryAndReadsZeroAgain)
{
    ON_CALL(h.hwModules, getModuleInfo(_, std::string("TXCount"), _))
        .WillByDefault(::testing::DoAll(::testing::SetArgReferee<2>("42"), Return(true)));
    EXPECT_TRUE(h.fid("MODULE.INFO.READ", {{"ENABLE", "TRUE"}}, UniqueWidgetID(1, 4, 12, 0)));
    ASSERT_TRUE(h.state.waitFor("MODULE.1.4.12.TXCOUNT", "42"));
    EXPECT_TRUE(h.fid("MODULE.INFO.READ", {{"ENABLE", "TRUE"}}, UniqueWidgetID(1, 4, 12, 5)));
    EXPECT_EQ(h.state.value("MODULE.1.4.12.TXCOUNT"), "0");
    // One entry: one TXCount query per pass.
    h.state.clearChanges();
    ASSERT_TRUE(h.state.waitForChange("set MODULE.1.4.12.TXCOUNT=42"));
    ASSERT_TRUE(h.fid("MODULE.INFO.READ", {{"ENABLE", "OFF"}}, UniqueWidgetID(1, 4, 12, 0)));
    h.state.clearChanges();
    EXPECT_FALSE(h.state.waitForChange("set MODULE.1.4.12.TXCOUNT=42", std::chrono::milliseconds(1200)));
}

TEST_F(ModuleTest, InfoReadWithAnyOtherWordSwitchesOffAndKeepsTheKeys)
{
    EXPECT_TRUE(h.fid("MODULE.INFO.READ", {{"ENABLE", "ON"}}, UniqueWidgetID(1, 4, 12, 0)));
    EXPECT_TRUE(h.fid("MODULE.INFO.READ", {{"ENABLE", "on"}}, UniqueWidgetID(1, 4, 12, 0)));
    EXPECT_EQ(h.state.changes(), kZeros);
    EXPECT_TRUE(h.state.has("MODULE.1.4.12.DBCRCERRORS"));
    EXPECT_CALL(h.hwModules, getModuleInfo(_, _, _)).Times(0);
    EXPECT_FALSE(h.state.waitForChange("set MODULE.1.4.12.TXCOUNT=1", std::chrono::milliseconds(1200)));
}

TEST_F(ModuleTest, SwitchingOffAModuleNotWatchedIsNoError)
{
    EXPECT_TRUE(h.fid("MODULE.INFO.READ", {{"ENABLE", "OFF"}}, UniqueWidgetID(3, 3, 3, 3)));
    EXPECT_TRUE(h.state.changes().empty());
}

TEST_F(ModuleTest, InfoReadWithoutEnableIsFalse)
{
    EXPECT_FALSE(h.fid("MODULE.INFO.READ", {}, UniqueWidgetID(1, 4, 12, 0)));
    EXPECT_TRUE(h.state.changes().empty());
}

TEST_F(ModuleTest, ModuleIDSetReachesTheHostAndAnswersItsResult)
{
    EXPECT_CALL(h.hwModules, setModuleID(IsModule(2, 5, 200), "SERIAL", "3", "A-17")).WillOnce(Return(true));
    EXPECT_TRUE(h.fid("MODULE.ID.SET", {{"WORKPLACE", "2"},
                                        {"GROUP", "5"},
                                        {"MODULE", "200"},
                                        {"KEY", "SERIAL"},
                                        {"INDEX", "3"},
                                        {"VALUE", "A-17"}}));
    EXPECT_CALL(h.hwModules, setModuleID(IsModule(7, 31, 255), "K", "", "")).WillOnce(Return(false));
    EXPECT_FALSE(h.fid("MODULE.ID.SET", {{"WORKPLACE", "7"},
                                         {"GROUP", "31"},
                                         {"MODULE", "255"},
                                         {"KEY", "K"},
                                         {"INDEX", ""},
                                         {"VALUE", ""}}));
}

TEST_F(ModuleTest, ModuleIDSetWithAMissingParameterIsFalseWithoutHostCall)
{
    EXPECT_CALL(h.hwModules, setModuleID(_, _, _, _)).Times(0);
    const std::vector<std::string> names = {"WORKPLACE", "GROUP", "MODULE", "KEY", "INDEX", "VALUE"};
    for (const std::string& missing : names) {
        FIDParameterList list;
        for (const std::string& name : names)
            if (name != missing) list.add(name, "1");
        EXPECT_FALSE(h.mfd->onFIDModuleIDSet("MODULE.ID.SET", &list)) << missing;
    }
}

TEST_F(ModuleTest, ModuleIDSetWithIdsOutOfRangeIsRefusedWithoutHostCall)
{
    LogCapture log;
    EXPECT_CALL(h.hwModules, setModuleID(_, _, _, _)).Times(0);
    const std::vector<std::array<const char*, 3>> ids = {
        {"8", "0", "0"}, {"0", "32", "0"}, {"0", "0", "256"}, {"-1", "0", "0"}, {"0", "-1", "0"}, {"0", "0", "-5"}};
    for (const auto& id : ids) {
        EXPECT_FALSE(h.fid("MODULE.ID.SET", {{"WORKPLACE", id[0]},
                                             {"GROUP", id[1]},
                                             {"MODULE", id[2]},
                                             {"KEY", "K"},
                                             {"INDEX", "0"},
                                             {"VALUE", "V"}}));
    }
    const auto lines = log.lines();
    ASSERT_EQ(lines.size(), ids.size());
    EXPECT_EQ(lines[0], "ERROR PanelDriver: MODULE.ID.SET refused: module 8.0.0 is out of range");
}

TEST_F(ModuleTest, TFTCalibrationWithoutParametersStartsWorkplaceZeroGroupZero)
{
    EXPECT_CALL(h.hwModules, startTftCalibration(0, 0)).WillOnce(Return(true));
    EXPECT_TRUE(h.fid("CALIBRATION.TFTDISPLAY.START"));
}

TEST_F(ModuleTest, TFTCalibrationPassesWorkplaceAndGroupAndTheResultWithoutATest)
{
    EXPECT_CALL(h.hwModules, startTftCalibration(12, -3)).WillOnce(Return(false));
    EXPECT_FALSE(h.fid("CALIBRATION.TFTDISPLAY.START", {{"WP", "12"}, {"GP", "-3"}}));
}

TEST_F(ModuleTest, FaderCalibrationWithWorkplaceTwoTriggersItsEvent)
{
    EXPECT_TRUE(h.fid("CALIBRATION.FADER.START", {{"WP", "2"}}));
    EXPECT_EQ(h.state.changes(), std::vector<std::string>{"event CALIBRATION2.FADER.START="});
}

TEST_F(ModuleTest, JoystickCalibrationTriggersItsEvent)
{
    EXPECT_TRUE(h.fid("CALIBRATION.JOYSTICK.START", {{"WP", "0"}}));
    EXPECT_EQ(h.state.changes(), std::vector<std::string>{"event CALIBRATION0.JOYSTICK.START="});
}

TEST_F(ModuleTest, PortAssignmentTriggersItsEvent)
{
    EXPECT_TRUE(h.fid("PORTASSIGNMENT.START", {{"WP", "7"}}));
    EXPECT_EQ(h.state.changes(), std::vector<std::string>{"event PORTASSIGNMENT7.START="});
}

TEST_F(ModuleTest, EventFIDsWithoutWorkplaceDoNothingAndAreTrue)
{
    EXPECT_TRUE(h.fid("CALIBRATION.FADER.START"));
    EXPECT_TRUE(h.fid("CALIBRATION.JOYSTICK.START"));
    EXPECT_TRUE(h.fid("PORTASSIGNMENT.START", {{"GP", "1"}}));
    EXPECT_TRUE(h.state.changes().empty());
}

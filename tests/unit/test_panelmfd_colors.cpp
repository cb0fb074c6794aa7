// Colour FIDs.

#include <gtest/gtest.h>

#include "support/panelmfdharness.h"

using ::testing::_;
using ::testing::InSequence;
using ::testing::Property;

namespace {

class ColorTest : public ::testing::Test {
protected:
    void SetUp() override { h.start(); }
    // Strict: any call not expected fails. They outlive the driver.
    ::testing::StrictMock<MockColorManager> colors;
    ::testing::StrictMock<MockWidgetManager> widgets;
    PanelMFDHarness h;
    void useStrictMocks()
    {
        h.mfd->setColorManagerInterface(&colors);
        h.mfd->setWidgetManagerInterface(&widgets);
    }
};

auto colorText(const std::string& text) { return Property(&ColorRgb::toString, text); }

} // namespace

TEST_F(ColorTest, SetWithNameAndOffOnlyCallsSetColorOffAndRefreshesOnce)
{
    useStrictMocks();
    InSequence order;
    EXPECT_CALL(colors, setColorOff("BUTTON", colorText("0x102030")));
    EXPECT_CALL(widgets, refreshSettings());
    EXPECT_TRUE(h.fid("COLOR.SET", {{"NAME", "BUTTON"}, {"OFF", "0x102030"}}));
}

TEST_F(ColorTest, SetWithAllThreeLevelsCallsHiLowOffInOrder)
{
    useStrictMocks();
    InSequence order;
    EXPECT_CALL(colors, setColorHi("KEY", colorText("0xFF0000")));
    EXPECT_CALL(colors, setColorLow("KEY", colorText("0x00FF00")));
    EXPECT_CALL(colors, setColorOff("KEY", colorText("0x0000FF")));
    EXPECT_CALL(widgets, refreshSettings());
    EXPECT_TRUE(h.fid("COLOR.SET", {{"OFF", "0x0000FF"}, {"NAME", "KEY"}, {"LOW", "0x00ff00"}, {"HI", "0xFF0000"}}));
}

TEST_F(ColorTest, SetWithNameAloneOnlyRefreshes)
{
    useStrictMocks();
    EXPECT_CALL(widgets, refreshSettings());
    EXPECT_TRUE(h.fid("COLOR.SET", {{"NAME", "KEY"}}));
}

TEST_F(ColorTest, SetWithoutNameIsFalseAndCallsNothing)
{
    useStrictMocks();
    EXPECT_FALSE(h.fid("COLOR.SET", {{"HI", "0x000001"}}));
}

TEST_F(ColorTest, IncWithAChannelOtherThanTheThreeNamesIsFalseAndCallsNothing)
{
    useStrictMocks();
    EXPECT_FALSE(h.fid("COLOR.INC", {{"NAME", "KEY"}, {"CHANNEL", "red"}, {"HI", "1"}}));
    EXPECT_FALSE(h.fid("COLOR.INC", {{"NAME", "KEY"}, {"CHANNEL", "ALPHA"}, {"HI", "1"}}));
    EXPECT_FALSE(h.fid("COLOR.INC", {{"NAME", "KEY"}, {"CHANNEL", ""}, {"HI", "1"}}));
}

TEST_F(ColorTest, IncMapsTheChannelNames)
{
    useStrictMocks();
    InSequence order;
    EXPECT_CALL(colors, incColorChannel("KEY", 0, 0, 1, false));
    EXPECT_CALL(widgets, refreshSettings());
    EXPECT_CALL(colors, incColorChannel("KEY", 1, 0, 1, false));
    EXPECT_CALL(widgets, refreshSettings());
    EXPECT_CALL(colors, incColorChannel("KEY", 2, 0, 1, false));
    EXPECT_CALL(widgets, refreshSettings());
    EXPECT_TRUE(h.fid("COLOR.INC", {{"NAME", "KEY"}, {"CHANNEL", "RED"}, {"HI", "1"}}));
    EXPECT_TRUE(h.fid("COLOR.INC", {{"NAME", "KEY"}, {"CHANNEL", "GREEN"}, {"HI", "1"}}));
    EXPECT_TRUE(h.fid("COLOR.INC", {{"NAME", "KEY"}, {"CHANNEL", "BLUE"}, {"HI", "1"}}));
}

TEST_F(ColorTest, IncWithLowAndHiTakesLowLevelOneStepFive)
{
    useStrictMocks();
    EXPECT_CALL(colors, incColorChannel("KEY", 2, 1, 5, false));
    EXPECT_CALL(widgets, refreshSettings());
    EXPECT_TRUE(h.fid("COLOR.INC", {{"NAME", "KEY"}, {"CHANNEL", "BLUE"}, {"HI", "9"}, {"LOW", "5"}}));
}

TEST_F(ColorTest, IncTakesHiBeforeOff)
{
    useStrictMocks();
    EXPECT_CALL(colors, incColorChannel("KEY", 0, 0, -3, false));
    EXPECT_CALL(widgets, refreshSettings());
    EXPECT_TRUE(h.fid("COLOR.INC", {{"NAME", "KEY"}, {"CHANNEL", "RED"}, {"OFF", "7"}, {"HI", "-3"}}));
}

TEST_F(ColorTest, IncWithOffAloneIsLevelTwoAndANonNumberStepIsZero)
{
    useStrictMocks();
    EXPECT_CALL(colors, incColorChannel("KEY", 1, 2, 0, false));
    EXPECT_CALL(widgets, refreshSettings());
    EXPECT_TRUE(h.fid("COLOR.INC", {{"NAME", "KEY"}, {"CHANNEL", "GREEN"}, {"OFF", "up"}}));
}

TEST_F(ColorTest, IncWithoutLevelOrNameOrChannelIsFalse)
{
    useStrictMocks();
    EXPECT_FALSE(h.fid("COLOR.INC", {{"NAME", "KEY"}, {"CHANNEL", "GREEN"}}));
    EXPECT_FALSE(h.fid("COLOR.INC", {{"CHANNEL", "GREEN"}, {"HI", "1"}}));
    EXPECT_FALSE(h.fid("COLOR.INC", {{"NAME", "KEY"}, {"HI", "1"}}));
}

TEST_F(ColorTest, IncAdaptOthersIsTrueOnlyForOnOrTrue)
{
    useStrictMocks();
    InSequence order;
    EXPECT_CALL(colors, incColorChannel("KEY", 0, 0, 1, true));
    EXPECT_CALL(widgets, refreshSettings());
    EXPECT_CALL(colors, incColorChannel("KEY", 0, 0, 1, true));
    EXPECT_CALL(widgets, refreshSettings());
    EXPECT_CALL(colors, incColorChannel("KEY", 0, 0, 1, false));
    EXPECT_CALL(widgets, refreshSettings());
    EXPECT_CALL(colors, incColorChannel("KEY", 0, 0, 1, false));
    EXPECT_CALL(widgets, refreshSettings());
    EXPECT_CALL(colors, incColorChannel("KEY", 0, 0, 1, false));
    EXPECT_CALL(widgets, refreshSettings());
    EXPECT_TRUE(h.fid("COLOR.INC", {{"NAME", "KEY"}, {"CHANNEL", "RED"}, {"HI", "1"}, {"ADAPT_OTHERS", "ON"}}));
    EXPECT_TRUE(h.fid("COLOR.INC", {{"NAME", "KEY"}, {"CHANNEL", "RED"}, {"HI", "1"}, {"ADAPT_OTHERS", "TRUE"}}));
    EXPECT_TRUE(h.fid("COLOR.INC", {{"NAME", "KEY"}, {"CHANNEL", "RED"}, {"HI", "1"}, {"ADAPT_OTHERS", "on"}}));
    EXPECT_TRUE(h.fid("COLOR.INC", {{"NAME", "KEY"}, {"CHANNEL", "RED"}, {"HI", "1"}, {"ADAPT_OTHERS", "YES"}}));
    EXPECT_TRUE(h.fid("COLOR.INC", {{"NAME", "KEY"}, {"CHANNEL", "RED"}, {"HI", "1"}}));
}

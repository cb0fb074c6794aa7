// The shared value types: parameters, pattern helper, packed identifiers, colour.

#include <gtest/gtest.h>

#include <set>
#include <sstream>

#include "panelkit/Assert.h"
#include "panelkit/ColorRgb.h"
#include "panelkit/FIDHelper.h"
#include "panelkit/FIDParameter.h"
#include "panelkit/UniqueModuleID.h"
#include "panelkit/UniqueWidgetID.h"
#include "panelmfd/PDLStateSubscriber.h"

namespace {

template <class T>
std::string text(const T& value)
{
    std::ostringstream os;
    os << value;
    return os.str();
}

} // namespace

TEST(FIDParameterList, DefaultListAnswersFalseToEveryGetValue)
{
    const FIDParameterList list;
    std::string s = "untouched";
    int i = 42;
    EXPECT_FALSE(list.getValue("WP", s));
    EXPECT_FALSE(list.getValue("WP", i));
    EXPECT_FALSE(list.getValue("", s));
    EXPECT_FALSE(list.getValue("*", i));
    EXPECT_EQ(s, "untouched");
    EXPECT_EQ(i, 42);
    EXPECT_TRUE(list.empty());
    EXPECT_EQ(list.size(), 0u);
}

TEST(FIDParameterList, DefaultSourceWidgetIsZeroAndWritesAllZeros)
{
    const FIDParameterList list;
    EXPECT_EQ(list.sourceWidget.getID(), 0u);
    EXPECT_EQ(text(list.sourceWidget), "0.0.0.0");
}

TEST(FIDParameterList, IntGetValueOnAbsentNameLeavesVariable)
{
    FIDParameterList list;
    list.add("REG", "5");
    int value = -7;
    EXPECT_FALSE(list.getValue("WP", value));
    EXPECT_EQ(value, -7);
}

TEST(FIDParameterList, PresentNonNumberAnswersTrue)
{
    FIDParameterList list;
    list.add("REG", "DEFAULT");
    int value = 99;
    EXPECT_TRUE(list.getValue("REG", value));
    EXPECT_EQ(value, 0);
}

TEST(FIDParameterList, IntGetValueReadsDecimal)
{
    FIDParameterList list;
    list.add("A", "123");
    list.add("B", "-45");
    list.add("C", "007");
    int a = 0;
    int b = 0;
    int c = 0;
    EXPECT_TRUE(list.getValue("A", a));
    EXPECT_TRUE(list.getValue("B", b));
    EXPECT_TRUE(list.getValue("C", c));
    EXPECT_EQ(a, 123);
    EXPECT_EQ(b, -45);
    EXPECT_EQ(c, 7);
}

TEST(FIDParameterList, OutOfRangeNumberGivesZeroAndTrue)
{
    FIDParameterList list;
    list.add("BIG", "99999999999999999999");
    int value = 3;
    EXPECT_TRUE(list.getValue("BIG", value));
    EXPECT_EQ(value, 0);
}

TEST(FIDParameterList, KeepsOrderOfAdding)
{
    FIDParameterList list;
    list.add("Z", "1");
    list.add(FIDParameter("A", "2"));
    list.add("M", "3");
    std::string names;
    for (const FIDParameter& p : list.parameters()) names += p.name;
    EXPECT_EQ(names, "ZAM");
}

TEST(FIDParameterList, RemoveThenAddOverwrites)
{
    FIDParameterList list;
    list.add("NAME", "old");
    list.removeParameter("NAME");
    list.removeParameter("ABSENT");
    list.add("NAME", "new");
    std::string value;
    EXPECT_TRUE(list.getValue("NAME", value));
    EXPECT_EQ(value, "new");
    EXPECT_EQ(list.size(), 1u);
}

TEST(FIDParameterList, CopyCopiesParametersAndSourceWidget)
{
    FIDParameterList list;
    list.add("WP", "3");
    list.sourceWidget = UniqueWidgetID(1, 2, 3, 4);
    const FIDParameterList copy(list);
    FIDParameterList assigned;
    assigned.add("OTHER", "x");
    assigned = list;
    for (const FIDParameterList* l : {&copy, static_cast<const FIDParameterList*>(&assigned)}) {
        std::string value;
        EXPECT_TRUE(l->getValue("WP", value));
        EXPECT_EQ(value, "3");
        EXPECT_EQ(l->size(), 1u);
        EXPECT_EQ(l->sourceWidget, UniqueWidgetID(1, 2, 3, 4));
    }
}

TEST(FIDParameterList, StreamOutputListsPairsAndWidget)
{
    FIDParameterList list;
    list.add("WP", "1");
    list.add("NAME", "A B");
    list.sourceWidget = UniqueWidgetID(1, 4, 12, 300);
    EXPECT_EQ(text(list), "WP=1 NAME=A B @1.4.12.300");
    EXPECT_EQ(text(FIDParameterList()), "@0.0.0.0");
}

TEST(FIDPatternHelper, MatchCapturesTextInStarPlace)
{
    const FIDPatternHelper pattern("MEMORY.SAVE_VAR.*");
    EXPECT_TRUE(pattern.matches(FIDHelper("MEMORY.SAVE_VAR.GAIN")));
    ASSERT_EQ(pattern.getCaptures().size(), 1u);
    std::string value;
    EXPECT_TRUE(pattern.getCaptures().getValue("*", value));
    EXPECT_EQ(value, "GAIN");
    EXPECT_EQ(pattern.getCaptures().parameters().front().name, "*");
}

TEST(FIDPatternHelper, NameWithoutTextInStarPlaceDoesNotMatch)
{
    const FIDPatternHelper pattern("MEMORY.SAVE_VAR.*");
    EXPECT_FALSE(pattern.matches(FIDHelper("MEMORY.SAVE_VAR.")));
    EXPECT_FALSE(pattern.matches(FIDHelper("MEMORY.SAVE_VAR")));
    EXPECT_FALSE(pattern.matches(FIDHelper("")));
}

TEST(FIDPatternHelper, PrefixMustMatchExactlyAndCaseSensitive)
{
    const FIDPatternHelper pattern("MEMORY.SAVE_VAR.*");
    EXPECT_FALSE(pattern.matches(FIDHelper("memory.save_var.X")));
    EXPECT_FALSE(pattern.matches(FIDHelper("MEMORY.SAVE_VARX")));
    EXPECT_FALSE(pattern.matches(FIDHelper("XMEMORY.SAVE_VAR.X")));
    EXPECT_FALSE(pattern.matches(FIDHelper("MEMORY.LEARN")));
}

TEST(FIDPatternHelper, StarMayHoldFullStops)
{
    const FIDPatternHelper pattern("MEMORY.SAVE_VAR.*");
    EXPECT_TRUE(pattern.matches(FIDHelper("MEMORY.SAVE_VAR.A.B")));
    std::string value;
    EXPECT_TRUE(pattern.getCaptures().getValue("*", value));
    EXPECT_EQ(value, "A.B");
}

TEST(FIDPatternHelper, CapturesAreClearedOnEachCall)
{
    const FIDPatternHelper pattern("MEMORY.SAVE_VAR.*");
    EXPECT_TRUE(pattern.matches(FIDHelper("MEMORY.SAVE_VAR.ONE")));
    EXPECT_TRUE(pattern.matches(FIDHelper("MEMORY.SAVE_VAR.TWO")));
    ASSERT_EQ(pattern.getCaptures().size(), 1u);
    std::string value;
    EXPECT_TRUE(pattern.getCaptures().getValue("*", value));
    EXPECT_EQ(value, "TWO");
    EXPECT_FALSE(pattern.matches(FIDHelper("OTHER")));
    EXPECT_TRUE(pattern.getCaptures().empty());
}

TEST(FIDPatternHelper, PatternWithoutStarWordMatchesNothing)
{
    EXPECT_FALSE(FIDPatternHelper("MEMORY.SAVE_VAR").matches(FIDHelper("MEMORY.SAVE_VAR")));
    EXPECT_FALSE(FIDPatternHelper("MEMORY.SAVE_VAR*").matches(FIDHelper("MEMORY.SAVE_VARX")));
    EXPECT_FALSE(FIDPatternHelper("").matches(FIDHelper("X")));
}

TEST(FIDPatternHelper, LoneStarMatchesAnyNonEmptyName)
{
    const FIDPatternHelper pattern("*");
    EXPECT_TRUE(pattern.matches(FIDHelper("SETVAR")));
    std::string value;
    EXPECT_TRUE(pattern.getCaptures().getValue("*", value));
    EXPECT_EQ(value, "SETVAR");
    EXPECT_FALSE(pattern.matches(FIDHelper("")));
}

TEST(UniqueWidgetID, PacksFieldsAndWritesDecimals)
{
    const UniqueWidgetID id(1, 4, 12, 300);
    EXPECT_EQ(id.getID(), (1u << 29) | (4u << 24) | (12u << 16) | 300u);
    EXPECT_EQ(id.getWorkplaceID(), 1u);
    EXPECT_EQ(id.getGroupID(), 4u);
    EXPECT_EQ(id.getModuleID(), 12u);
    EXPECT_EQ(id.getWidgetID(), 300u);
    EXPECT_EQ(text(id), "1.4.12.300");
}

TEST(UniqueWidgetID, FieldsAreMaskedAndWorkplaceBitsFallOff)
{
    const UniqueWidgetID id(9, 33, 257, 65537);
    EXPECT_EQ(id.getWorkplaceID(), 1u);
    EXPECT_EQ(id.getGroupID(), 1u);
    EXPECT_EQ(id.getModuleID(), 1u);
    EXPECT_EQ(id.getWidgetID(), 1u);
}

TEST(UniqueWidgetID, LargestSortsAfterEveryOther)
{
    const UniqueWidgetID largest(7, 31, 255, 65535);
    EXPECT_EQ(largest.getID(), 0xFFFFFFFFu);
    EXPECT_EQ(largest.getWorkplaceID(), 7u);
    EXPECT_EQ(text(largest), "7.31.255.65535");
    const UniqueWidgetID others[] = {UniqueWidgetID(), UniqueWidgetID(0, 0, 0, 1), UniqueWidgetID(3, 31, 255, 65535),
                                     UniqueWidgetID(7, 31, 255, 65534), UniqueWidgetID(7, 0, 0, 0),
                                     UniqueWidgetID(6, 31, 255, 65535)};
    for (const UniqueWidgetID& other : others) {
        EXPECT_TRUE(other < largest) << other;
        EXPECT_FALSE(largest < other) << other;
    }
    std::set<UniqueWidgetID> ordered(std::begin(others), std::end(others));
    ordered.insert(largest);
    EXPECT_EQ(*ordered.rbegin(), largest);
}

TEST(UniqueWidgetID, WorkplaceSevenDoesNotTurnNegative)
{
    const UniqueWidgetID high(7, 0, 0, 0);
    const UniqueWidgetID low(3, 31, 255, 65535);
    EXPECT_LT(low, high);
    EXPECT_GT(high.getID(), 0x7FFFFFFFu);
}

TEST(UniqueModuleID, NeighbouringWidgetsShareModule)
{
    const UniqueModuleID a(UniqueWidgetID(1, 2, 3, 4));
    const UniqueModuleID b(UniqueWidgetID(1, 2, 3, 5));
    EXPECT_EQ(a, b);
    EXPECT_EQ(a.getWorkplaceID(), 1u);
    EXPECT_EQ(a.getGroupID(), 2u);
    EXPECT_EQ(a.getModuleID(), 3u);
    EXPECT_EQ(a, UniqueModuleID(1, 2, 3));
    EXPECT_EQ(text(a), "1.2.3");
}

TEST(UniqueModuleID, PacksIntoSixteenBitsAndOrdersByWord)
{
    const UniqueModuleID id(7, 31, 255);
    EXPECT_EQ(id.getID(), 0xFFFFu);
    EXPECT_LT(UniqueModuleID(6, 31, 255), id);
    EXPECT_LT(UniqueModuleID(1, 2, 3), UniqueModuleID(1, 2, 4));
    EXPECT_EQ(UniqueModuleID::fromWord(0x2203), UniqueModuleID(1, 2, 3));
    EXPECT_NE(UniqueModuleID(1, 2, 3), UniqueModuleID(1, 3, 3));
}

TEST(UniqueModuleIDDeathTest, OutOfRangeFieldsStopAtAssertion)
{
    EXPECT_DEATH(UniqueModuleID(8, 0, 0), "Assertion failed: workplaceID < 8 && groupID < 32 && moduleID < 256");
    EXPECT_DEATH(UniqueModuleID(0, 32, 0), "workplaceID < 8 && groupID < 32 && moduleID < 256");
    EXPECT_DEATH(UniqueModuleID(0, 0, 256), "workplaceID < 8 && groupID < 32 && moduleID < 256");
}

TEST(PanelAssertDeathTest, PrintsTextFileAndLine)
{
    EXPECT_DEATH(PANEL_ASSERT(false, "m_pMapHandler"), "Assertion failed: m_pMapHandler \\(.*test_panelkit.cpp:[0-9]+\\)");
}

TEST(ColorRgb, ParsesHexText)
{
    const ColorRgb color("0x1F2E3D");
    EXPECT_EQ(color.red(), 0x1F);
    EXPECT_EQ(color.green(), 0x2E);
    EXPECT_EQ(color.blue(), 0x3D);
    EXPECT_EQ(color.toString(), "0x1F2E3D");
    EXPECT_EQ(ColorRgb("0xa0b0c0").toString(), "0xA0B0C0");
}

TEST(ColorRgb, TextThatIsNoColourGivesBlack)
{
    for (const char* bad : {"", "0x", "0x12345", "0x1234567", "0xGG0000", "red"}) {
        EXPECT_EQ(ColorRgb(bad).toString(), "0x000000") << bad;
    }
    EXPECT_EQ(ColorRgb().toString(), "0x000000");
}

TEST(PDLStateSubscriber, BaseBehaviour)
{
    PDLStateSubscriber subscriber;
    EXPECT_TRUE(subscriber.useEventManager());
    EXPECT_EQ(subscriber.makeEvent(1), nullptr);
    EXPECT_EQ(subscriber.makeTriggerEvent(1, "x"), nullptr);
    EXPECT_EQ(subscriber.getDescription(3), "");
    subscriber.updateDirect("KEY", "VALUE");
    subscriber.update();
    subscriber.triggerMFDriverEvent("E");
    subscriber.checkNewStateEntry("KEY");
}

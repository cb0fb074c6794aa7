#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "fidmaphandler.h"
#include "support/hostmocks.h"
#include "support/logcapture.h"

using ::testing::_;
using ::testing::StrictMock;

namespace {

// A subsystem with handlers that remember how they were called.
struct Target {
    int exactCalls = 0;
    int otherCalls = 0;
    int patternCalls = 0;
    std::string lastName;
    std::string lastCapture;
    FIDParameterList lastParams;

    bool onExact(const FunctionID& name, const FIDParameterList* params)
    {
        ++exactCalls;
        lastName = name;
        lastParams = *params;
        return true;
    }
    bool onOther(const FunctionID&, const FIDParameterList*)
    {
        ++otherCalls;
        return true;
    }
    bool onPattern(const FunctionID& name, const FIDParameterList* params, const FIDPatternList& captures)
    {
        ++patternCalls;
        lastName = name;
        lastParams = *params;
        lastCapture.clear();
        captures.getValue("*", lastCapture);
        return true;
    }
};

struct SecondTarget {
    int calls = 0;
    bool onPattern(const FunctionID&, const FIDParameterList*, const FIDPatternList&)
    {
        ++calls;
        return true;
    }
};

} // namespace

TEST(FIDMapHandler, SecondRegistrationOfANameIsRefusedAndTheFirstStays)
{
    FIDMapHandler map;
    Target target;
    EXPECT_TRUE(map.registerFunction("SETVAR", &target, &Target::onExact));
    EXPECT_FALSE(map.registerFunction("SETVAR", &target, &Target::onOther));
    map.sendFID("SETVAR", FIDParameterList());
    EXPECT_EQ(target.exactCalls, 1);
    EXPECT_EQ(target.otherCalls, 0);
}

TEST(FIDMapHandler, ExactHandlerReceivesNameAndParameters)
{
    FIDMapHandler map;
    Target target;
    map.registerFunction("SETVAR", &target, &Target::onExact);
    map.sendFID("SETVAR", makeParams({{"NAME", "a"}, {"VALUE", "b"}}, UniqueWidgetID(1, 2, 3, 4)));
    ASSERT_EQ(target.exactCalls, 1);
    EXPECT_EQ(target.lastName, "SETVAR");
    std::string value;
    EXPECT_TRUE(target.lastParams.getValue("VALUE", value));
    EXPECT_EQ(value, "b");
    EXPECT_EQ(target.lastParams.sourceWidget, UniqueWidgetID(1, 2, 3, 4));
}

TEST(FIDMapHandler, PatternHandlerGetsTheWordInTheStarsPlace)
{
    FIDMapHandler map;
    Target target;
    map.registerParamFunction("MEMORY.SAVE_VAR.*", &target, &Target::onPattern);
    map.sendFID("MEMORY.SAVE_VAR.KEY1", makeParams({{"VALUE", "7"}}));
    ASSERT_EQ(target.patternCalls, 1);
    EXPECT_EQ(target.lastName, "MEMORY.SAVE_VAR.KEY1");
    EXPECT_EQ(target.lastCapture, "KEY1");
    std::string value;
    EXPECT_TRUE(target.lastParams.getValue("VALUE", value));
    EXPECT_EQ(value, "7");
}

TEST(FIDMapHandler, ExactRegistrationBeatsAPattern)
{
    FIDMapHandler map;
    Target target;
    map.registerParamFunction("MEMORY.SAVE_VAR.*", &target, &Target::onPattern);
    map.registerFunction("MEMORY.SAVE_VAR.KEY1", &target, &Target::onExact);
    map.sendFID("MEMORY.SAVE_VAR.KEY1", FIDParameterList());
    EXPECT_EQ(target.exactCalls, 1);
    EXPECT_EQ(target.patternCalls, 0);
    map.sendFID("MEMORY.SAVE_VAR.KEY2", FIDParameterList());
    EXPECT_EQ(target.patternCalls, 1);
}

TEST(FIDMapHandler, PatternNeedsTextInTheStarsPlace)
{
    FIDMapHandler map;
    Target target;
    map.registerParamFunction("MEMORY.SAVE_VAR.*", &target, &Target::onPattern);
    map.sendFID("MEMORY.SAVE_VAR.", FIDParameterList());
    map.sendFID("MEMORY.SAVE_VAR", FIDParameterList());
    map.sendFID("MEMORY.SAVE_VA.X", FIDParameterList());
    EXPECT_EQ(target.patternCalls, 0);
}

TEST(FIDMapHandler, EarliestMatchingPatternWins)
{
    FIDMapHandler map;
    Target first;
    SecondTarget second;
    map.registerParamFunction("MEMORY.SAVE_VAR.*", &first, &Target::onPattern);
    map.registerParamFunction("MEMORY.SAVE_VAR.*", &second, &SecondTarget::onPattern);
    map.sendFID("MEMORY.SAVE_VAR.X", FIDParameterList());
    EXPECT_EQ(first.patternCalls, 1);
    EXPECT_EQ(second.calls, 0);
}

TEST(FIDMapHandler, UnknownNameIsDroppedWithoutEffectOrLogLine)
{
    LogCapture log;
    FIDMapHandler map;
    Target target;
    StrictMock<MockPanelState> state;
    map.setPanelStateInterface(&state);
    map.registerFunction("SETVAR", &target, &Target::onExact);
    map.registerParamFunction("MEMORY.SAVE_VAR.*", &target, &Target::onPattern);
    map.sendFID("NO.SUCH.FID", FIDParameterList());
    map.sendFID("setvar", FIDParameterList());
    map.sendFID("SETVAR ", FIDParameterList());
    EXPECT_EQ(target.exactCalls, 0);
    EXPECT_EQ(target.patternCalls, 0);
    EXPECT_TRUE(log.lines().empty());
}

TEST(FIDMapHandler, StateForwardsDoNothingBeforeTheHostHandsInItsInterfaces)
{
    FIDMapHandler map;
    map.setStateValue("KEY", "value");
    map.setStateValueInt("KEY", 1);
    map.setStateValueBool("KEY", true);
    map.setStateValueFloat("KEY", 1.5f);
    map.unsetStateValue("KEY.*");
    map.triggerEvent("EVENT", "1");
    map.dispatchFID("FID", FIDParameterList());
    SUCCEED();
}

TEST(FIDMapHandler, ForwardsReachTheHostInterfaces)
{
    FIDMapHandler map;
    StrictMock<MockPanelState> state;
    StrictMock<MockDistributorFID> distributor;
    map.setPanelStateInterface(&state);
    map.setDistributorFIDInterface(&distributor);
    EXPECT_CALL(state, setStateValue("A", "text"));
    EXPECT_CALL(state, setStateValueInt("B", 42));
    EXPECT_CALL(state, setStateValueBool("C", false));
    EXPECT_CALL(state, setStateValueFloat("D", 2.5f));
    EXPECT_CALL(state, unsetStateValue("E.*"));
    EXPECT_CALL(state, triggerEvent("EVENT", "v"));
    EXPECT_CALL(distributor, dispatchFID("X.Y", _));
    map.setStateValue("A", "text");
    map.setStateValueInt("B", 42);
    map.setStateValueBool("C", false);
    map.setStateValueFloat("D", 2.5f);
    map.unsetStateValue("E.*");
    map.triggerEvent("EVENT", "v");
    map.dispatchFID("X.Y", FIDParameterList());
}

TEST(FIDMapHandler, UnregisterFunctionOfAPatternOnlyNameIsFalseAndThePatternStays)
{
    FIDMapHandler map;
    Target target;
    map.registerParamFunction("MEMORY.SAVE_VAR.*", &target, &Target::onPattern);
    EXPECT_FALSE(map.unregisterFunction("MEMORY.SAVE_VAR.*"));
    map.sendFID("MEMORY.SAVE_VAR.K", FIDParameterList());
    EXPECT_EQ(target.patternCalls, 1);
}

TEST(FIDMapHandler, UnregisterFunctionRemovesAnExactName)
{
    FIDMapHandler map;
    Target target;
    map.registerFunction("SETVAR", &target, &Target::onExact);
    EXPECT_TRUE(map.unregisterFunction("SETVAR"));
    EXPECT_FALSE(map.unregisterFunction("SETVAR"));
    map.sendFID("SETVAR", FIDParameterList());
    EXPECT_EQ(target.exactCalls, 0);
    // The name is free again.
    EXPECT_TRUE(map.registerFunction("SETVAR", &target, &Target::onOther));
}

TEST(FIDMapHandler, AfterUnregisterObjectItsNamesAreUnknown)
{
    FIDMapHandler map;
    Target gone;
    Target stays;
    map.registerFunction("MACRO0.STOP", &gone, &Target::onExact);
    map.registerFunction("MACRO0.RECALL", &gone, &Target::onOther);
    map.registerParamFunction("MEMORY.SAVE_VAR.*", &gone, &Target::onPattern);
    map.registerFunction("MACRO1.STOP", &stays, &Target::onExact);
    map.unregisterObject(&gone);

    map.sendFID("MACRO0.STOP", FIDParameterList());
    map.sendFID("MACRO0.RECALL", FIDParameterList());
    map.sendFID("MEMORY.SAVE_VAR.X", FIDParameterList());
    map.sendFID("MACRO1.STOP", FIDParameterList());
    EXPECT_EQ(gone.exactCalls + gone.otherCalls + gone.patternCalls, 0);
    EXPECT_EQ(stays.exactCalls, 1);
    EXPECT_EQ(map.findStaticFIDFunction("MACRO0.STOP"), nullptr);
}

TEST(FIDMapHandler, UnregisterObjectLeavesOtherTypesBoundToTheSameAddress)
{
    FIDMapHandler map;
    Target target;
    map.registerFunction("SETVAR", &target, &Target::onExact);
    // Another type's entries are not matched by the cast.
    map.unregisterObject(reinterpret_cast<SecondTarget*>(&target));
    map.sendFID("SETVAR", FIDParameterList());
    EXPECT_EQ(target.exactCalls, 1);
}

TEST(FIDMapHandler, QueryInterfaceAnswersOnlyTheFunctionIdInterface)
{
    FIDMapHandler map;
    IInterface* answer = map.queryInterface(1100);
    ASSERT_NE(answer, nullptr);
    EXPECT_EQ(dynamic_cast<IFunctionID*>(answer), static_cast<IFunctionID*>(&map));
    EXPECT_EQ(map.queryInterface(1), nullptr);
    EXPECT_EQ(map.queryInterface(1201), nullptr);
}

TEST(FIDMapHandler, RegisteredNamesListsExactNamesInByteOrder)
{
    FIDMapHandler map;
    Target target;
    map.registerFunction("SETVAR", &target, &Target::onExact);
    map.registerFunction("LOG", &target, &Target::onExact);
    map.registerFunction("LOG.TIMESTAMP", &target, &Target::onExact);
    map.registerParamFunction("MEMORY.SAVE_VAR.*", &target, &Target::onPattern);
    const std::list<FunctionID> expected{"LOG", "LOG.TIMESTAMP", "SETVAR"};
    EXPECT_EQ(map.registeredNames(), expected);
}

TEST(FIDMapHandler, SubscribeAndShowStateDoNothing)
{
    FIDMapHandler map;
    StrictMock<MockPanelState> state;
    map.setPanelStateInterface(&state);
    map.subscribe("SETVAR");
    map.showState();
    SUCCEED();
}

TEST(FIDMapHandler, AHandlerMaySendThroughTheRegistryWhileItRuns)
{
    FIDMapHandler map;
    Target target;
    struct Forwarder {
        FIDMapHandler* map;
        bool onOuter(const FunctionID&, const FIDParameterList* params)
        {
            map->sendFID("INNER", *params);
            return true;
        }
    } forwarder{&map};
    map.registerFunction("OUTER", &forwarder, &Forwarder::onOuter);
    map.registerFunction("INNER", &target, &Target::onExact);
    map.sendFID("OUTER", FIDParameterList());
    EXPECT_EQ(target.exactCalls, 1);
    EXPECT_EQ(target.lastName, "INNER");
}

TEST(FIDMapHandler, NamesRegisteredWhileOtherThreadsLookUpAreAllFound)
{
    FIDMapHandler map;
    Target target;
    map.registerParamFunction("MEMORY.SAVE_VAR.*", &target, &Target::onPattern);
    constexpr int kNames = 400;
    constexpr int kLookups = 300;
    std::atomic<int> patternHits{0};
    std::vector<std::thread> readers;
    for (int t = 0; t < 3; ++t)
        readers.emplace_back([&] {
            for (int i = 0; i < kLookups; ++i) {
                map.findStaticFIDFunction("NAME." + std::to_string(i));
                FIDParameterList captures;
                if (map.findParamFIDFunction("MEMORY.SAVE_VAR.X", captures)) ++patternHits;
                map.registeredNames();
            }
        });
    for (int n = 0; n < kNames; ++n) {
        map.registerFunction("NAME." + std::to_string(n), &target, &Target::onExact);
        if (n % 100 == 0) map.registerParamFunction("OTHER.*", &target, &Target::onPattern);
    }
    for (auto& reader : readers) reader.join();
    for (int n = 0; n < kNames; ++n) EXPECT_NE(map.findStaticFIDFunction("NAME." + std::to_string(n)), nullptr) << n;
    EXPECT_EQ(map.registeredNames().size(), static_cast<size_t>(kNames));
    EXPECT_EQ(patternHits.load(), 3 * kLookups);
}

// The console command table and the process-wide singletons.

#include <gtest/gtest.h>

#include <algorithm>
#include <iostream>
#include <sstream>

#include "oskit/CmdProcessor.h"
#include "oskit/LogManager.h"

namespace {

// A singleton type of the test's own, never created.
class FreshSingleton : public oskit::SingletonDll<FreshSingleton> {
};

} // namespace

template <>
FreshSingleton* oskit::SingletonDll<FreshSingleton>::s_pInstance = nullptr;

namespace {

class Recorder {
public:
    bool shellShow(oskit::CmdParameters& parameters)
    {
        ++calls;
        count = parameters.argumentCount();
        for (int i = 0; i < parameters.argumentCount(); ++i) arguments.push_back(parameters.argument(i));
        past = parameters.argument(static_cast<unsigned>(parameters.argumentCount()));
        return result;
    }
    bool shellOther(oskit::CmdParameters&)
    {
        ++otherCalls;
        return true;
    }
    int calls = 0;
    int otherCalls = 0;
    int count = -1;
    bool result = true;
    std::vector<std::string> arguments;
    std::string past = "unset";
};

class CmdProcessorTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        oskit::CmdProcessor::createInstance();
        m_processor = oskit::CmdProcessor::getInstance();
    }
    void TearDown() override
    {
        m_processor->unregisterObject(&m_recorder);
        m_processor->unregisterObject(&m_other);
    }
    void add(Recorder& recorder, const std::string& name, bool (Recorder::*function)(oskit::CmdParameters&))
    {
        m_processor->registerCmd(
            new oskit::CmdRegisterImpl<Recorder>(name, "help of " + name, &recorder, function));
    }
    std::string run(const std::string& line, bool& result)
    {
        std::ostringstream captured;
        std::streambuf* old = std::cout.rdbuf(captured.rdbuf());
        result = m_processor->execute(line);
        std::cout.rdbuf(old);
        return captured.str();
    }
    oskit::CmdProcessor* m_processor = nullptr;
    Recorder m_recorder;
    Recorder m_other;
};

} // namespace

TEST_F(CmdProcessorTest, DispatchesByFirstWordWithArguments)
{
    add(m_recorder, "macroShow", &Recorder::shellShow);
    bool result = false;
    EXPECT_EQ(run("macroShow 3  x", result), "");
    EXPECT_TRUE(result);
    EXPECT_EQ(m_recorder.calls, 1);
    EXPECT_EQ(m_recorder.count, 2);
    EXPECT_EQ(m_recorder.arguments, (std::vector<std::string>{"3", "x"}));
    EXPECT_EQ(m_recorder.past, "");
}

TEST_F(CmdProcessorTest, DoubleQuotesGroupWords)
{
    add(m_recorder, "changePDL", &Recorder::shellShow);
    bool result = false;
    run("changePDL 1 \"my panel\" \"\"", result);
    EXPECT_EQ(m_recorder.arguments, (std::vector<std::string>{"1", "my panel", ""}));
}

TEST_F(CmdProcessorTest, CommandResultIsAnswered)
{
    add(m_recorder, "showPmem", &Recorder::shellShow);
    m_recorder.result = false;
    bool result = true;
    run("showPmem 0", result);
    EXPECT_FALSE(result);
    EXPECT_EQ(m_recorder.calls, 1);
}

TEST_F(CmdProcessorTest, UnknownCommandPrintsLineAndAnswersFalse)
{
    bool result = true;
    EXPECT_EQ(run("noSuchCommand 1 2", result), "Unknown command: noSuchCommand\n");
    EXPECT_FALSE(result);
}

TEST_F(CmdProcessorTest, BlankLineRunsNothing)
{
    bool result = true;
    EXPECT_EQ(run("   ", result), "");
    EXPECT_FALSE(result);
}

TEST_F(CmdProcessorTest, LaterRegistrationReplacesEarlier)
{
    add(m_recorder, "showEth", &Recorder::shellShow);
    add(m_other, "showEth", &Recorder::shellOther);
    bool result = false;
    run("showEth", result);
    EXPECT_EQ(m_recorder.calls, 0);
    EXPECT_EQ(m_other.otherCalls, 1);
}

TEST_F(CmdProcessorTest, UnregisterObjectRemovesItsCommandsOnly)
{
    add(m_recorder, "a", &Recorder::shellShow);
    add(m_recorder, "b", &Recorder::shellShow);
    add(m_other, "c", &Recorder::shellOther);
    m_processor->unregisterObject(&m_recorder);
    const std::vector<std::string> names = m_processor->commandNames();
    EXPECT_EQ(std::count(names.begin(), names.end(), "a"), 0);
    EXPECT_EQ(std::count(names.begin(), names.end(), "b"), 0);
    EXPECT_EQ(std::count(names.begin(), names.end(), "c"), 1);
    EXPECT_EQ(m_processor->help("c"), "help of c");
    EXPECT_EQ(m_processor->help("a"), "");
    bool result = true;
    EXPECT_EQ(run("a", result), "Unknown command: a\n");
}

TEST(CmdParameters, ArgumentPastEndIsEmpty)
{
    oskit::CmdParameters none;
    EXPECT_EQ(none.argumentCount(), 0);
    EXPECT_EQ(none.argument(0), "");
    oskit::CmdParameters two({"x", "y"});
    EXPECT_EQ(two.argument(1), "y");
    EXPECT_EQ(two.argument(2), "");
}

TEST(SingletonDllDeathTest, MissingInstanceStopsAtAssertion)
{
    EXPECT_FALSE(FreshSingleton::hasInstance());
    EXPECT_DEATH(FreshSingleton::getInstance(), "Assertion failed: s_pInstance");
}

TEST(SingletonDllDeathTest, DestroyedProcessorStopsAtAssertion)
{
    oskit::CmdProcessor::createInstance();
    oskit::CmdProcessor::destroyInstance();
    EXPECT_FALSE(oskit::CmdProcessor::hasInstance());
    EXPECT_DEATH(oskit::CmdProcessor::getInstance(), "s_pInstance");
    oskit::CmdProcessor::createInstance();
    EXPECT_TRUE(oskit::CmdProcessor::hasInstance());
}

TEST(SingletonDll, CreateInstanceKeepsTheOneObject)
{
    oskit::LogManager::createInstance();
    oskit::LogManager* first = oskit::LogManager::getInstance();
    oskit::LogManager::createInstance();
    EXPECT_EQ(oskit::LogManager::getInstance(), first);
    EXPECT_EQ(first->getLogOutput("Macro"), first->getLogOutput("Macro"));
    EXPECT_EQ(first->getLogOutput("Macro")->getName(), "Macro");
}

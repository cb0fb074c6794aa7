// The module object, the driver base and the configuration endpoint.

#include <gtest/gtest.h>

#include <dlfcn.h>

#include "macrosystem.h"
#include "mfdbase.h"
#include "mfdconfighandler.h"
#include "panelmfddll.h"
#include "panelsettings.h"
#include "pmemsystem.h"
#include "support/logcapture.h"
#include "support/panelmfdfixture.h"

using ::testing::_;
using ::testing::InSequence;
using ::testing::StrictMock;

namespace {

class RecordingFramework : public IMFDFramework {
public:
    IInterface* queryInterface(unsigned int) override { return nullptr; }
    void completeConfiguration() override { ++configurations; }
    void completeInitialization() override { ++initializations; }
    void deinitialize() override { ++deinitializations; }
    void subscribePanelState(const std::string&) const override {}
    int configurations = 0;
    int initializations = 0;
    int deinitializations = 0;
};

} // namespace

TEST(MFDConfigHandler, SetConfigurationStoresTheArgumentsInTheirFieldsAndCompletesConfiguration)
{
    MFDConfigHandler handler;
    RecordingFramework framework;
    handler.m_pFramework = &framework;
    handler.setConfiguration(3, "PANEL", "/data", "four", "five", "six", "/config");
    EXPECT_EQ(handler.m_driverNumber, 3);
    EXPECT_EQ(handler.m_statePrefix, "PANEL");
    EXPECT_EQ(handler.m_dataDirectory, "/data");
    EXPECT_EQ(handler.m_configText1, "four");
    EXPECT_EQ(handler.m_configText2, "five");
    EXPECT_EQ(handler.m_configText3, "six");
    EXPECT_EQ(handler.m_configDirectory, "/config");
    EXPECT_EQ(framework.configurations, 1);
}

TEST(MFDConfigHandler, ToleratesAMissingMapHandlerAndFramework)
{
    MFDConfigHandler handler;
    MockPanelState state;
    handler.setPanelStateInterface(&state);
    handler.setDistributorFIDInterface(nullptr);
    handler.setConfiguration(0, "P", "", "", "", "", "");
    handler.initializationCompleted();
    handler.deinitialize();
    handler.createFIDList();
    handler.changeConfiguration();
    SUCCEED();
}

TEST(MFDConfigHandler, InitializationCompletedPublishesLoadedAfterTheFramework)
{
    MFDConfigHandler handler;
    FIDMapHandler map;
    StrictMock<MockPanelState> state;
    struct Framework : RecordingFramework {
        StrictMock<MockPanelState>* state = nullptr;
        void completeInitialization() override
        {
            RecordingFramework::completeInitialization();
            state->setStateValue("DURING", "");
        }
    } framework;
    framework.state = &state;
    handler.m_pMapHandler = &map;
    handler.m_pFramework = &framework;
    handler.setPanelStateInterface(&state);
    handler.setConfiguration(0, "PANEL", "/data", "", "", "", "/config");
    {
        InSequence order;
        EXPECT_CALL(state, setStateValue("DURING", ""));
        EXPECT_CALL(state, setStateValue("LOADED", ""));
    }
    handler.initializationCompleted();
    EXPECT_EQ(framework.initializations, 1);
}

TEST(MFDConfigHandler, InitializationCompletedWithoutFrameworkPublishesNothing)
{
    MFDConfigHandler handler;
    FIDMapHandler map;
    StrictMock<MockPanelState> state;
    handler.m_pMapHandler = &map;
    handler.setPanelStateInterface(&state);
    handler.initializationCompleted();
}

// ---- lifecycle calls repeated or out of their phase -------------------------------------------

namespace {

bool logged(const LogCapture& log, const std::string& line)
{
    for (const std::string& l : log.lines())
        if (l == line) return true;
    return false;
}

size_t countLogged(const LogCapture& log, const std::string& start)
{
    size_t n = 0;
    for (const std::string& l : log.lines())
        if (l.compare(0, start.size(), start) == 0) ++n;
    return n;
}

} // namespace

TEST(MFDConfigHandler, SetConfigurationAgainBeforeInitializationTakesTheNewValues)
{
    LogCapture log;
    MFDConfigHandler handler;
    RecordingFramework framework;
    handler.m_pFramework = &framework;
    handler.setConfiguration(1, "FIRST", "/data1", "a", "b", "c", "/config1");
    handler.setConfiguration(2, "PANEL", "/data2", "d", "e", "f", "/config2");
    EXPECT_EQ(handler.m_driverNumber, 2);
    EXPECT_EQ(handler.m_statePrefix, "PANEL");
    EXPECT_EQ(handler.m_dataDirectory, "/data2");
    EXPECT_EQ(handler.m_configDirectory, "/config2");
    EXPECT_EQ(framework.configurations, 2);
    EXPECT_EQ(countLogged(log, "ERROR PanelDriver:"), 0u);
}

TEST(MFDConfigHandler, SetConfigurationAfterInitializationIsRefusedAndTheConfigurationStays)
{
    LogCapture log;
    MFDConfigHandler handler;
    RecordingFramework framework;
    handler.m_pFramework = &framework;
    handler.setConfiguration(0, "PANEL", "/data", "four", "five", "six", "/config");
    handler.initializationCompleted();
    handler.setConfiguration(7, "OTHER", "/elsewhere", "x", "y", "z", "/other");
    EXPECT_EQ(handler.m_driverNumber, 0);
    EXPECT_EQ(handler.m_statePrefix, "PANEL");
    EXPECT_EQ(handler.m_dataDirectory, "/data");
    EXPECT_EQ(handler.m_configText1, "four");
    EXPECT_EQ(handler.m_configText2, "five");
    EXPECT_EQ(handler.m_configText3, "six");
    EXPECT_EQ(handler.m_configDirectory, "/config");
    EXPECT_EQ(framework.configurations, 1);
    EXPECT_TRUE(logged(log, "ERROR PanelDriver: setConfiguration refused: the driver is initialized already and "
                            "keeps its configuration"));
}

TEST(MFDConfigHandler, InitializationCompletedBeforeSetConfigurationIsRefusedAndPublishesNothing)
{
    LogCapture log;
    MFDConfigHandler handler;
    FIDMapHandler map;
    StrictMock<MockPanelState> state;
    RecordingFramework framework;
    handler.m_pMapHandler = &map;
    handler.m_pFramework = &framework;
    handler.setPanelStateInterface(&state);
    handler.initializationCompleted();
    EXPECT_EQ(framework.initializations, 0);
    EXPECT_TRUE(logged(log, "ERROR PanelDriver: initializationCompleted refused: no configuration yet "
                            "(setConfiguration comes first)"));
    ::testing::Mock::VerifyAndClearExpectations(&state);

    // The phases then go on as usual.
    handler.setConfiguration(0, "PANEL", "/data", "", "", "", "/config");
    EXPECT_CALL(state, setStateValue("LOADED", ""));
    handler.initializationCompleted();
    EXPECT_EQ(framework.initializations, 1);
}

TEST(MFDConfigHandler, SecondInitializationCompletedIsRefusedAndPublishesLoadedOnce)
{
    LogCapture log;
    MFDConfigHandler handler;
    FIDMapHandler map;
    StrictMock<MockPanelState> state;
    RecordingFramework framework;
    handler.m_pMapHandler = &map;
    handler.m_pFramework = &framework;
    handler.setPanelStateInterface(&state);
    handler.setConfiguration(0, "PANEL", "/data", "", "", "", "/config");
    EXPECT_CALL(state, setStateValue("LOADED", "")).Times(1);
    handler.initializationCompleted();
    handler.initializationCompleted();
    handler.initializationCompleted();
    EXPECT_EQ(framework.initializations, 1);
    EXPECT_EQ(countLogged(log, "ERROR PanelDriver: initializationCompleted refused: the driver is initialized already"),
              2u);
}

TEST(MFDConfigHandler, DeinitializeRepeatedOrBeforeInitializationOnlyForwards)
{
    LogCapture log;
    MFDConfigHandler handler;
    RecordingFramework framework;
    handler.m_pFramework = &framework;
    handler.deinitialize();
    handler.setConfiguration(0, "PANEL", "/data", "", "", "", "/config");
    handler.deinitialize();
    handler.initializationCompleted();
    handler.deinitialize();
    handler.deinitialize();
    EXPECT_EQ(framework.deinitializations, 4);
    EXPECT_EQ(framework.initializations, 1);
    EXPECT_EQ(handler.m_dataDirectory, "/data");
    EXPECT_EQ(countLogged(log, "ERROR PanelDriver:"), 0u);
}

TEST(MFDConfigHandler, QueryInterfaceAnswersOnlyItsOwnId)
{
    MFDConfigHandler handler;
    ASSERT_NE(handler.queryInterface(1201), nullptr);
    EXPECT_EQ(dynamic_cast<IMFDConfiguration*>(handler.queryInterface(1201)), &handler);
    EXPECT_EQ(handler.queryInterface(1100), nullptr);
}

TEST(MFDBase, CreateWiresTheConfigurationHandlerToTheMapHandlerAndTheFramework)
{
    MFDBase base;
    ASSERT_NE(base.getConfigHandler(), nullptr);
    ASSERT_NE(base.getMapHandler(), nullptr);
    EXPECT_EQ(base.getConfigHandler()->m_pMapHandler, base.getMapHandler());
    EXPECT_EQ(base.getConfigHandler()->m_pFramework, static_cast<IMFDFramework*>(&base));
    MockPanelState state;
    base.setMFDStatusInterface(nullptr);
    base.init();
    base.showState();
    base.completeConfiguration();
    base.completeInitialization();
    base.deinitialize();
}

TEST(MFDBase, QueryInterfaceAnswersTheMapAndConfigurationHandlers)
{
    MFDBase base;
    EXPECT_EQ(dynamic_cast<IFunctionID*>(base.queryInterface(1100)), base.getMapHandler());
    EXPECT_EQ(dynamic_cast<IMFDConfiguration*>(base.queryInterface(1201)), base.getConfigHandler());
    EXPECT_EQ(base.queryInterface(1), nullptr);
    EXPECT_EQ(base.queryInterface(1109), nullptr);
}

TEST(MFDBase, SetMFDStatusInterfaceIsKeptByTheConfigurationHandler)
{
    MFDBase base;
    struct Status : IMFDStatus {
        IInterface* queryInterface(unsigned int) override { return nullptr; }
    } status;
    base.setMFDStatusInterface(&status);
    EXPECT_EQ(base.getConfigHandler()->m_pIMFDStatus, &status);
}

class PanelMFDModuleTest : public ::testing::Test {
protected:
    void SetUp() override { testenv::ensurePlatformSingletons(); }
    FakeSystemScope system;
};

TEST_F(PanelMFDModuleTest, OnCreateModuleBuildsTheDriverAndAnswersTheFirstInterfaces)
{
    std::unique_ptr<oskit::Module> module(onCreateModule());
    ASSERT_NE(module, nullptr);
    EXPECT_NE(dynamic_cast<IMFDConfiguration*>(module->queryInterface(1201)), nullptr);
    EXPECT_NE(dynamic_cast<IFunctionID*>(module->queryInterface(1100)), nullptr);
    EXPECT_NE(dynamic_cast<IPanelMFD*>(module->queryInterface(1109)), nullptr);
    // Before initializationCompleted neither the macro system nor the settings exist.
    EXPECT_EQ(module->queryInterface(1107), nullptr);
    EXPECT_EQ(module->queryInterface(1012), nullptr);
    EXPECT_EQ(module->queryInterface(1), nullptr);
    module->onLoad();
    module->onUnload();
}

TEST_F(PanelMFDModuleTest, QueryInterfaceWithoutADriverAnswersNull)
{
    PanelMFDModule module;
    EXPECT_EQ(module.queryInterface(1201), nullptr);
}

TEST_F(PanelMFDModuleTest, SettingsInterfaceAppearsWithInitializationAndId1StaysNull)
{
    testenv::TempDir dir;
    std::unique_ptr<oskit::Module> module(onCreateModule());
    auto* config = dynamic_cast<IMFDConfiguration*>(module->queryInterface(1201));
    ASSERT_NE(config, nullptr);
    EXPECT_EQ(module->queryInterface(1012), nullptr);
    config->setConfiguration(0, "PANEL", dir.str(), "", "", "", dir.str());
    EXPECT_EQ(module->queryInterface(1012), nullptr);
    config->initializationCompleted();
    EXPECT_NE(dynamic_cast<IPanelSettings*>(module->queryInterface(1012)), nullptr);
    EXPECT_EQ(module->queryInterface(1), nullptr);
    EXPECT_EQ(module->queryInterface(1108), nullptr);
}

TEST_F(PanelMFDModuleTest, InitializationCompletedWithoutPanelStatePublishesNothingAndDoesNotFail)
{
    testenv::TempDir dir;
    std::unique_ptr<oskit::Module> module(onCreateModule());
    auto* config = dynamic_cast<IMFDConfiguration*>(module->queryInterface(1201));
    ASSERT_NE(config, nullptr);
    config->setConfiguration(0, "PANEL", dir.str(), "", "", "", dir.str());
    config->initializationCompleted();
    EXPECT_NE(module->queryInterface(1107), nullptr);
}

TEST_F(PanelMFDModuleTest, InitializationCompletedBeforeSetConfigurationBuildsNothingUntilTheConfigurationCame)
{
    LogCapture log;
    testenv::TempDir dir;
    std::unique_ptr<oskit::Module> module(onCreateModule());
    auto* config = dynamic_cast<IMFDConfiguration*>(module->queryInterface(1201));
    ASSERT_NE(config, nullptr);
    config->initializationCompleted();
    EXPECT_EQ(module->queryInterface(1107), nullptr);
    EXPECT_EQ(module->queryInterface(1012), nullptr);
    EXPECT_TRUE(logged(log, "ERROR PanelDriver: initializationCompleted refused: no configuration yet "
                            "(setConfiguration comes first)"));
    config->setConfiguration(0, "PANEL", dir.str(), "", "", "", dir.str());
    config->initializationCompleted();
    EXPECT_NE(module->queryInterface(1107), nullptr);
    EXPECT_NE(module->queryInterface(1012), nullptr);
}

TEST_F(PanelMFDModuleTest, InterfaceInitializationDoneBeforeInitializationCompletedIsRefusedAndTheLaterPhasesWork)
{
    LogCapture log;
    testenv::TempDir dir;
    std::unique_ptr<oskit::Module> module(onCreateModule());
    auto* config = dynamic_cast<IMFDConfiguration*>(module->queryInterface(1201));
    auto* driver = dynamic_cast<IPanelMFD*>(module->queryInterface(1109));
    ASSERT_NE(config, nullptr);
    ASSERT_NE(driver, nullptr);
    ::testing::NiceMock<MockPanelState> state;
    ::testing::NiceMock<MockWidgetManager> widgets;
    ::testing::NiceMock<MockHwModuleManager> modules;
    config->setPanelStateInterface(&state);
    driver->setWidgetManagerInterface(&widgets);
    driver->setHwModuleManagerInterface(&modules);
    driver->setWorkplaceConfigFilename("");
    config->setConfiguration(0, "PANEL", dir.str(), "", "", "", dir.str());

    EXPECT_CALL(state, setStateValue(_, _)).Times(0);
    driver->interfaceInitializationDone();
    EXPECT_TRUE(logged(log, "ERROR PanelDriver: interfaceInitializationDone refused: initializationCompleted has "
                            "not run"));
    ::testing::Mock::VerifyAndClearExpectations(&state);

    // In their order the phases do all they do: the settings publish their
    // defaults and register their FIDs.
    config->initializationCompleted();
    EXPECT_CALL(state, setStateValue(_, _)).Times(::testing::AnyNumber());
    EXPECT_CALL(state, setStateValue("SETTINGS1.SHIFT.LATCHMODE", "STANDARD"));
    driver->interfaceInitializationDone();
    auto* fids = dynamic_cast<IFunctionID*>(module->queryInterface(1100));
    ASSERT_NE(fids, nullptr);
    EXPECT_CALL(state, setStateValue("SETTINGS1.SHIFT.LATCHMODE", "MANUAL"));
    fids->sendFID("SETTINGS.SHIFT.LATCHMODE.SET", makeParams({{"MODE", "MANUAL"}, {"WP", "1"}}));
    EXPECT_EQ(countLogged(log, "ERROR PanelDriver: interfaceInitializationDone refused"), 1u);
}

TEST_F(PanelMFDModuleTest, InterfaceInitializationDoneAssertsTheWidgetManagerFirst)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            std::unique_ptr<oskit::Module> module(onCreateModule());
            auto* driver = dynamic_cast<IPanelMFD*>(module->queryInterface(1109));
            driver->interfaceInitializationDone();
        },
        "m_pIWidgetManager");
}

TEST(PanelTypeMarkers, NameTheMarkerFilesOnly)
{
    EXPECT_EQ(VORLANE_TYPE_PATH.getPath(), "/etc/vorlane");
    EXPECT_EQ(VORLANE_REV2_TYPE_PATH.getPath(), "/etc/vorlane_rev2");
    EXPECT_EQ(VORLANE_REV3_TYPE_PATH.getPath(), "/etc/vorlane_rev3");
    EXPECT_EQ(MIRL_TYPE_PATH.getPath(), "/etc/mirl");
    EXPECT_EQ(MIRL_REV2_TYPE_PATH.getPath(), "/etc/mirl_rev2");
    EXPECT_EQ(OSTRANEL_TYPE_PATH.getPath(), "/etc/ostranel");
}

// The shared module, loaded as a host loads it, walks its phases.
TEST_F(PanelMFDModuleTest, LoadedModuleWalksThePhasesAndIsDestroyedCleanly)
{
    void* handle = dlopen(PANELMFD_MODULE_PATH, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(handle, nullptr) << dlerror();
    auto create = reinterpret_cast<OnCreateModuleFunction>(dlsym(handle, "onCreateModule"));
    ASSERT_NE(create, nullptr);
    // The module's own classes stay hidden.
    EXPECT_EQ(dlsym(handle, "_ZN8PanelMFDC1Ev"), nullptr);

    testenv::TempDir dir;
    oskit::Module* module = create();
    ASSERT_NE(module, nullptr);
    auto* config = dynamic_cast<IMFDConfiguration*>(module->queryInterface(1201));
    auto* fids = dynamic_cast<IFunctionID*>(module->queryInterface(1100));
    ASSERT_NE(config, nullptr);
    ASSERT_NE(fids, nullptr);

    ::testing::NiceMock<MockPanelState> state;
    EXPECT_CALL(state, setStateValue(_, _)).Times(::testing::AnyNumber());
    EXPECT_CALL(state, setStateValue("LOADED", "")).Times(1);
    config->setPanelStateInterface(&state);
    config->setConfiguration(0, "PANEL", dir.str(), "", "", "", dir.str());
    config->initializationCompleted();

    auto* driver = dynamic_cast<IPanelMFD*>(module->queryInterface(1109));
    ASSERT_NE(driver, nullptr);
    ::testing::NiceMock<MockWidgetManager> widgets;
    ::testing::NiceMock<MockHwModuleManager> modules;
    StrictMock<MockEventManager> events;
    driver->setWidgetManagerInterface(&widgets);
    driver->setHwModuleManagerInterface(&modules);
    driver->setEventManagerInterface(&events);
    driver->setWorkplaceConfigFilename("");
    driver->interfaceInitializationDone();

    EXPECT_CALL(events, setVar(UniqueModuleID(1, 2, 3), "A", "B"));
    fids->sendFID("SETVAR", makeParams({{"NAME", "A"}, {"VALUE", "B"}}, UniqueWidgetID(1, 2, 3, 9)));

    config->deinitialize();
    delete module;
    dlclose(handle);
}

// ---- the driver under repeated and early lifecycle calls ---------------------------------------

class PanelMFDLifecycle : public PanelMFDFixture {
protected:
    LogCapture log;
};

TEST_F(PanelMFDLifecycle, SecondInitializationCompletedKeepsTheLiveSubsystemsAndPublishesNothing)
{
    startFully();
    MacroSystem* macros = driver->getMacroSystem();
    PmemSystem* memory = driver->getPmemSystem();
    PanelSettings* settings = driver->getPanelSettings();
    EXPECT_CALL(state, setStateValue(_, _)).Times(0);
    EXPECT_CALL(state, setStateValueInt(_, _)).Times(0);
    EXPECT_CALL(state, setStateValueBool(_, _)).Times(0);
    config()->initializationCompleted();
    config()->initializationCompleted();
    ::testing::Mock::VerifyAndClearExpectations(&state);
    EXPECT_EQ(driver->getMacroSystem(), macros);
    EXPECT_EQ(driver->getPmemSystem(), memory);
    EXPECT_EQ(driver->getPanelSettings(), settings);
    EXPECT_EQ(countLogged(log, "ERROR PanelDriver: initializationCompleted refused: the driver is initialized already"),
              2u);
    // The live subsystems still answer their FIDs.
    EXPECT_CALL(state, setStateValue(_, _)).Times(::testing::AnyNumber());
    EXPECT_CALL(state, setStateValue("SETTINGS2.SHIFT.LATCHMODE", "AUTO"));
    send("SETTINGS.SHIFT.LATCHMODE.SET", makeParams({{"MODE", "AUTO"}, {"WP", "2"}}));
}

TEST_F(PanelMFDLifecycle, CompleteInitializationRunsOnce)
{
    config()->initializationCompleted();
    MacroSystem* macros = driver->getMacroSystem();
    ASSERT_NE(macros, nullptr);
    driver->completeInitialization();
    EXPECT_EQ(driver->getMacroSystem(), macros);
    EXPECT_TRUE(logged(log, "ERROR PanelDriver: completeInitialization refused: the subsystems exist already"));
}

TEST_F(PanelMFDLifecycle, SecondInterfaceInitializationDoneIsRefusedAndReplaysNothing)
{
    startFully();
    send("SETTINGS.SHIFT.LATCHMODE.SET", makeParams({{"MODE", "AUTO"}, {"WP", "2"}}));
    EXPECT_CALL(state, setStateValue(_, _)).Times(0);
    EXPECT_CALL(state, setStateValueInt(_, _)).Times(0);
    EXPECT_CALL(state, setStateValueBool(_, _)).Times(0);
    EXPECT_CALL(state, unsetStateValue(_)).Times(0);
    EXPECT_CALL(widgets, refreshSettings()).Times(0);
    driver->interfaceInitializationDone();
    driver->interfaceInitializationDone();
    ::testing::Mock::VerifyAndClearExpectations(&state);
    ::testing::Mock::VerifyAndClearExpectations(&widgets);
    EXPECT_EQ(countLogged(log, "ERROR PanelDriver: interfaceInitializationDone refused: it has run already"), 2u);
    // The settings and their observer stay the ones of the first call.
    EXPECT_CALL(state, setStateValue(_, _)).Times(::testing::AnyNumber());
    EXPECT_CALL(state, setStateValue("SETTINGS2.SHIFT.LATCHMODE", "MANUAL"));
    send("SETTINGS.SHIFT.LATCHMODE.SET", makeParams({{"MODE", "MANUAL"}, {"WP", "2"}}));
}

TEST_F(PanelMFDLifecycle, SetConfigurationAfterInitializationKeepsTheDirectoriesTheSubsystemsUse)
{
    startFully();
    const std::string data = config()->m_dataDirectory;
    config()->setConfiguration(5, "OTHER", (dir.path() / "elsewhere").string(), "", "", "", "/nowhere");
    EXPECT_EQ(config()->m_statePrefix, "PANEL");
    EXPECT_EQ(config()->m_dataDirectory, data);
    EXPECT_EQ(config()->m_configDirectory, (dir.path() / "config").string());
    EXPECT_TRUE(logged(log, "ERROR PanelDriver: setConfiguration refused: the driver is initialized already and "
                            "keeps its configuration"));
    // A settings change is saved where the subsystems were built to save it.
    send("SETTINGS.SHIFT.LATCHMODE.SET", makeParams({{"MODE", "AUTO"}, {"WP", "2"}}));
    driver.reset();
    EXPECT_TRUE(std::filesystem::exists(std::filesystem::path(data) / "PanelSettings.xml"));
    EXPECT_FALSE(std::filesystem::exists(dir.path() / "elsewhere"));
}

TEST_F(PanelMFDLifecycle, DeinitializeEarlyOrRepeatedChangesNothing)
{
    config()->deinitialize();
    startFully();
    config()->deinitialize();
    config()->deinitialize();
    EXPECT_NE(driver->getMacroSystem(), nullptr);
    EXPECT_NE(driver->getPanelSettings(), nullptr);
    EXPECT_CALL(events, setVar(UniqueModuleID(1, 2, 3), "A", "B"));
    send("SETVAR", makeParams({{"NAME", "A"}, {"VALUE", "B"}}, UniqueWidgetID(1, 2, 3, 9)));
    EXPECT_EQ(countLogged(log, "ERROR PanelDriver:"), 0u);
}

// The module object, the driver base and the configuration endpoint.

#include <gtest/gtest.h>

#include <dlfcn.h>

#include "mfdbase.h"
#include "mfdconfighandler.h"
#include "panelmfddll.h"
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
    std::unique_ptr<oskit::Module> module(onCreateModule());
    auto* config = dynamic_cast<IMFDConfiguration*>(module->queryInterface(1201));
    ASSERT_NE(config, nullptr);
    EXPECT_EQ(module->queryInterface(1012), nullptr);
    config->initializationCompleted();
    EXPECT_NE(dynamic_cast<IPanelSettings*>(module->queryInterface(1012)), nullptr);
    EXPECT_EQ(module->queryInterface(1), nullptr);
    EXPECT_EQ(module->queryInterface(1108), nullptr);
}

TEST_F(PanelMFDModuleTest, InitializationCompletedWithoutPanelStatePublishesNothingAndDoesNotFail)
{
    std::unique_ptr<oskit::Module> module(onCreateModule());
    auto* config = dynamic_cast<IMFDConfiguration*>(module->queryInterface(1201));
    ASSERT_NE(config, nullptr);
    config->initializationCompleted();
    SUCCEED();
}

TEST_F(PanelMFDModuleTest, InterfaceInitializationDoneBeforeInitializationStopsAtThePanelSettingsAssertion)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            std::unique_ptr<oskit::Module> module(onCreateModule());
            auto* driver = dynamic_cast<IPanelMFD*>(module->queryInterface(1109));
            MockWidgetManager widgets;
            MockHwModuleManager modules;
            driver->setWidgetManagerInterface(&widgets);
            driver->setHwModuleManagerInterface(&modules);
            driver->interfaceInitializationDone();
        },
        "m_pPanelSettings");
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

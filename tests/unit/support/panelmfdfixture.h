#pragma once

// A PanelMFD built the way the host builds it: singletons present, the
// configuration handed in, host interfaces as GoogleMock objects.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

#include "fidmaphandler.h"
#include "mfdconfighandler.h"
#include "panelmfd.h"
#include "support/fakesystembackend.h"
#include "support/hostmocks.h"
#include "support/logcapture.h"
#include "support/moduletestenv.h"

class PanelMFDFixture : public ::testing::Test {
protected:
    void SetUp() override
    {
        testenv::ensurePlatformSingletons();
        std::filesystem::create_directories(dir.path() / "nvram" / "PANEL");
        std::filesystem::create_directories(dir.path() / "config");
        driver = std::make_unique<PanelMFD>();
        config()->setPanelStateInterface(&state);
        config()->setDistributorFIDInterface(&distributor);
        config()->setConfiguration(0, "PANEL", (dir.path() / "nvram" / "PANEL").string(), "", "", "",
                                   (dir.path() / "config").string());
    }
    void TearDown() override { driver.reset(); }

    MFDConfigHandler* config() { return driver->getConfigHandler(); }
    FIDMapHandler* map() { return driver->getMapHandler(); }

    // Phases 6 to 8 with every host interface of the driver side.
    void startFully()
    {
        config()->initializationCompleted();
        driver->setEventManagerInterface(&events);
        driver->setHwModuleManagerInterface(&modules);
        driver->setPanelFeedbackInterface(&feedback);
        driver->setBrightnessManagerInterface(&brightness);
        driver->setColorManagerInterface(&colors);
        driver->setWidgetManagerInterface(&widgets);
        driver->setWorkplaceConfigFilename("");
        driver->interfaceInitializationDone();
    }

    void send(const FunctionID& name, const FIDParameterList& params = FIDParameterList())
    {
        map()->sendFID(name, params);
    }
    bool call(const FunctionID& name, const FIDParameterList& params = FIDParameterList())
    {
        StaticFIDFunctionBase* entry = map()->findStaticFIDFunction(name);
        EXPECT_NE(entry, nullptr) << name << " is not registered";
        return entry ? entry->call(name, &params) : false;
    }

    testenv::TempDir dir;
    FakeSystemScope system;
    ::testing::NiceMock<MockPanelState> state;
    ::testing::NiceMock<MockDistributorFID> distributor;
    ::testing::NiceMock<MockEventManager> events;
    ::testing::NiceMock<MockHwModuleManager> modules;
    ::testing::NiceMock<MockPanelFeedback> feedback;
    MockBrightnessManager brightness;
    ::testing::NiceMock<MockColorManager> colors;
    ::testing::NiceMock<MockWidgetManager> widgets;
    std::unique_ptr<PanelMFD> driver;
};

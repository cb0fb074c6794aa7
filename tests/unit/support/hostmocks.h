#pragma once

// GoogleMock versions of every host interface the module calls.

#include <gmock/gmock.h>

#include "panelmfd/host.h"

class MockPanelState : public IPanelState {
public:
    IInterface* queryInterface(unsigned int) override { return nullptr; }
    MOCK_METHOD(void, setStateValue, (const std::string&, const std::string&), (override));
    MOCK_METHOD(void, setStateValueFloat, (const std::string&, float), (override));
    MOCK_METHOD(void, setStateValueInt, (const std::string&, int), (override));
    MOCK_METHOD(void, setStateValueBool, (const std::string&, bool), (override));
    MOCK_METHOD(void, unsetStateValue, (const std::string&), (override));
    MOCK_METHOD(void, triggerEvent, (const std::string&, const std::string&), (override));
};

class MockDistributorFID : public IDistributorFID {
public:
    IInterface* queryInterface(unsigned int) override { return nullptr; }
    MOCK_METHOD(void, dispatchFID, (const FunctionID&, const FIDParameterList&), (override));
};

class MockEventManager : public IEventManager {
public:
    IInterface* queryInterface(unsigned int) override { return nullptr; }
    MOCK_METHOD(void, setVar, (const UniqueModuleID&, const std::string&, const std::string&), (override));
    MOCK_METHOD(void, changePDL, (int, const std::string&), (override));
};

class MockHwModuleManager : public IHwModuleManager {
public:
    IInterface* queryInterface(unsigned int) override { return nullptr; }
    MOCK_METHOD(bool, getModuleInfo, (const UniqueModuleID&, const std::string&, std::string&), (override));
    MOCK_METHOD(bool, setModuleID,
                (const UniqueModuleID&, const std::string&, const std::string&, const std::string&), (override));
    MOCK_METHOD(void, reloadModules, (), (override));
    MOCK_METHOD(bool, startTftCalibration, (int, int), (override));
};

class MockPanelFeedback : public IPanelFeedback {
public:
    IInterface* queryInterface(unsigned int) override { return nullptr; }
    MOCK_METHOD(void, trigger, (const UniqueWidgetID&, const std::string&, const std::string&), (override));
};

class MockBrightnessManager : public IBrightnessManager {
public:
    IInterface* queryInterface(unsigned int) override { return nullptr; }
};

class MockColorManager : public IColorManager {
public:
    IInterface* queryInterface(unsigned int) override { return nullptr; }
    MOCK_METHOD(void, setColorHi, (const std::string&, const ColorRgb&), (override));
    MOCK_METHOD(void, setColorLow, (const std::string&, const ColorRgb&), (override));
    MOCK_METHOD(void, setColorOff, (const std::string&, const ColorRgb&), (override));
    MOCK_METHOD(void, colorManagerReserved, (), (override));
    MOCK_METHOD(void, incColorChannel, (const std::string&, int, int, int, bool), (override));
    MOCK_METHOD(void, prepareLoad, (), (override));
    MOCK_METHOD(void, finishLoad, (), (override));
    MOCK_METHOD(void, prepareSave, (), (override));
    MOCK_METHOD(void, finishSave, (), (override));
};

class MockWidgetManager : public IWidgetManager {
public:
    IInterface* queryInterface(unsigned int) override { return nullptr; }
    MOCK_METHOD(void, refreshSettings, (), (override));
    MOCK_METHOD(void, setPowerSaverTime, (int, int), (override));
    MOCK_METHOD(void, widgetManagerReserved, (), (override));
    MOCK_METHOD(void, setPowerSaverBypass, (int, bool), (override));
    MOCK_METHOD(void, setPowerSaverType, (int, int), (override));
    MOCK_METHOD(void, reloadOLEDBitmaps, (), (override));
};

class MockWidgetControl : public IWidgetControl {
public:
    IInterface* queryInterface(unsigned int) override { return nullptr; }
    MOCK_METHOD(std::string, getAttribute, (const UniqueWidgetID&, const std::string&), (override));
    MOCK_METHOD(void, setAttribute,
                (const std::string&, const UniqueWidgetID&, const std::string&, const std::string&), (override));
    MOCK_METHOD(void, clearAttribute, (const std::string&, const UniqueWidgetID&, const std::string&), (override));
};

class MockFIDReceiver : public IFunctionID {
public:
    IInterface* queryInterface(unsigned int) override { return nullptr; }
    MOCK_METHOD(void, sendFID, (const FunctionID&, const FIDParameterList&), (const, override));
    MOCK_METHOD(void, subscribe, (const FunctionID&), (const, override));
    MOCK_METHOD(void, showState, (), (const, override));
};

class MockPanelEvent : public IPanelEvent {
public:
    IInterface* queryInterface(unsigned int) override { return nullptr; }
    MOCK_METHOD(void, notifyEvent, (const UniqueWidgetID&, const std::string&), (override));
};

class MockPSPublisher : public IPSPublisher {
public:
    IInterface* queryInterface(unsigned int) override { return nullptr; }
    MOCK_METHOD(void, subscribe, (const std::string&, std::shared_ptr<PDLStateSubscriber>), (override));
    MOCK_METHOD(void, unsubscribe, (const std::string&, std::shared_ptr<PDLStateSubscriber>), (override));
    MOCK_METHOD(std::string, getValue, (const std::string&), (override));
};

// Parameter list from name/value pairs, with an optional source widget.
inline FIDParameterList makeParams(std::initializer_list<std::pair<std::string, std::string>> pairs,
                                   UniqueWidgetID source = UniqueWidgetID())
{
    FIDParameterList list;
    for (const auto& p : pairs) list.add(p.first, p.second);
    list.sourceWidget = source;
    return list;
}

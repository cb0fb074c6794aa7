#pragma once

// The host's small interfaces: each records every call it receives in the
// calls stream and answers from the sim knobs where it must answer at all.

#include <string>

#include "panelmfd/HostInterfaces.h"

namespace panelhost {

class Recorder;
class Knobs;

class DistributorFID : public IDistributorFID {
public:
    explicit DistributorFID(Recorder& recorder) : m_recorder(recorder) {}
    IInterface* queryInterface(unsigned int) override { return nullptr; }
    void dispatchFID(const FunctionID& name, const FIDParameterList& params) override;

private:
    Recorder& m_recorder;
};

// Stored by the module, never called.
class SystemInterface : public ISystem {
public:
    IInterface* queryInterface(unsigned int) override { return nullptr; }
};
class MFDStatus : public IMFDStatus {
public:
    IInterface* queryInterface(unsigned int) override { return nullptr; }
};
class BrightnessManager : public IBrightnessManager {
public:
    IInterface* queryInterface(unsigned int) override { return nullptr; }
};

class EventManager : public IEventManager {
public:
    explicit EventManager(Recorder& recorder) : m_recorder(recorder) {}
    IInterface* queryInterface(unsigned int) override { return nullptr; }
    void setVar(const UniqueModuleID& module, const std::string& name, const std::string& value) override;
    void changePDL(int workplace, const std::string& pdlBaseName) override;

private:
    Recorder& m_recorder;
};

// getModuleInfo answers the knob module.W.G.M.<property> (false when unset);
// setModuleID and startTftCalibration answer the knobs of their names (true
// when unset).
class HwModuleManager : public IHwModuleManager {
public:
    HwModuleManager(Recorder& recorder, Knobs& knobs) : m_recorder(recorder), m_knobs(knobs) {}
    IInterface* queryInterface(unsigned int) override { return nullptr; }
    bool getModuleInfo(const UniqueModuleID& module, const std::string& property, std::string& value) override;
    bool setModuleID(const UniqueModuleID& module, const std::string& key, const std::string& index,
                     const std::string& value) override;
    void reloadModules() override;
    bool startTftCalibration(int workplace, int group) override;

private:
    Recorder& m_recorder;
    Knobs& m_knobs;
};

class PanelFeedback : public IPanelFeedback {
public:
    explicit PanelFeedback(Recorder& recorder) : m_recorder(recorder) {}
    IInterface* queryInterface(unsigned int) override { return nullptr; }
    void trigger(const UniqueWidgetID& widget, const std::string& name, const std::string& value) override;

private:
    Recorder& m_recorder;
};

class ColorManager : public IColorManager {
public:
    explicit ColorManager(Recorder& recorder) : m_recorder(recorder) {}
    IInterface* queryInterface(unsigned int) override { return nullptr; }
    void setColorHi(const std::string& name, const ColorRgb& color) override;
    void setColorLow(const std::string& name, const ColorRgb& color) override;
    void setColorOff(const std::string& name, const ColorRgb& color) override;
    void colorManagerReserved() override;
    void incColorChannel(const std::string& name, int channel, int level, int step, bool adapt) override;
    void prepareLoad() override;
    void finishLoad() override;
    void prepareSave() override;
    void finishSave() override;

private:
    Recorder& m_recorder;
};

class WidgetManager : public IWidgetManager {
public:
    explicit WidgetManager(Recorder& recorder) : m_recorder(recorder) {}
    IInterface* queryInterface(unsigned int) override { return nullptr; }
    void refreshSettings() override;
    void setPowerSaverTime(int workplace, int time) override;
    void widgetManagerReserved() override;
    void setPowerSaverBypass(int workplace, bool bypass) override;
    void setPowerSaverType(int workplace, int type) override;
    void reloadOLEDBitmaps() override;

private:
    Recorder& m_recorder;
};

// Notifications also go to their own stream.
class PanelEvent : public IPanelEvent {
public:
    explicit PanelEvent(Recorder& recorder) : m_recorder(recorder) {}
    IInterface* queryInterface(unsigned int) override { return nullptr; }
    void notifyEvent(const UniqueWidgetID& widget, const std::string& word) override;

private:
    Recorder& m_recorder;
};

} // namespace panelhost

#pragma once

// The interfaces of the host application that the module calls. The host owns
// every object behind them; the module only keeps the pointers it is handed.

#include <memory>
#include <string>

#include "panelkit/ColorRgb.h"
#include "panelkit/FIDParameter.h"
#include "panelkit/FunctionID.h"
#include "panelkit/UniqueModuleID.h"
#include "panelkit/UniqueWidgetID.h"
#include "panelmfd/IInterface.h"

// The table of published panel state. Must accept calls from several threads.
class PANEL_API IPanelState : public virtual IInterface {
public:
    virtual void setStateValue(const std::string& key, const std::string& value) = 0;
    virtual void setStateValueFloat(const std::string& key, float value) = 0;
    virtual void setStateValueInt(const std::string& key, int value) = 0;
    virtual void setStateValueBool(const std::string& key, bool value) = 0;
    // A key ending in ".*" removes every key below that prefix.
    virtual void unsetStateValue(const std::string& key) = 0;
    virtual void triggerEvent(const std::string& event, const std::string& value) = 0;
};

class PANEL_API IDistributorFID : public virtual IInterface {
public:
    virtual void dispatchFID(const FunctionID& name, const FIDParameterList& params) = 0;
};

// Stored by the module, never called.
class PANEL_API ISystem : public virtual IInterface {};
class PANEL_API IMFDStatus : public virtual IInterface {};
class PANEL_API IBrightnessManager : public virtual IInterface {};

class PANEL_API IEventManager : public virtual IInterface {
public:
    virtual void setVar(const UniqueModuleID& module, const std::string& name, const std::string& value) = 0;
    // The empty name selects the default PDL.
    virtual void changePDL(int workplace, const std::string& pdlBaseName) = 0;
};

class PANEL_API IHwModuleManager : public virtual IInterface {
public:
    virtual bool getModuleInfo(const UniqueModuleID& module, const std::string& property, std::string& value) = 0;
    virtual bool setModuleID(const UniqueModuleID& module, const std::string& key, const std::string& index,
                             const std::string& value) = 0;
    virtual void reloadModules() = 0;
    virtual bool startTftCalibration(int workplace, int group) = 0;
};

class PANEL_API IPanelFeedback : public virtual IInterface {
public:
    virtual void trigger(const UniqueWidgetID& widget, const std::string& name, const std::string& value) = 0;
};

class PANEL_API IColorManager : public virtual IInterface {
public:
    virtual void setColorHi(const std::string& name, const ColorRgb& color) = 0;
    virtual void setColorLow(const std::string& name, const ColorRgb& color) = 0;
    virtual void setColorOff(const std::string& name, const ColorRgb& color) = 0;
    // A slot of the host's table that the module never calls; it keeps the
    // operations behind it where a host expects them.
    virtual void colorManagerReserved() = 0;
    // channel 0 red, 1 green, 2 blue; level 0 hi, 1 low, 2 off.
    virtual void incColorChannel(const std::string& name, int channel, int level, int step, bool adapt) = 0;
    virtual void prepareLoad() = 0;
    virtual void finishLoad() = 0;
    virtual void prepareSave() = 0;
    virtual void finishSave() = 0;
};

class PANEL_API IWidgetManager : public virtual IInterface {
public:
    // Read the settings again through IPanelSettings.
    virtual void refreshSettings() = 0;
    virtual void setPowerSaverTime(int workplace, int time) = 0;
    // A slot of the host's table that the module never calls; it keeps the
    // operations behind it where a host expects them.
    virtual void widgetManagerReserved() = 0;
    virtual void setPowerSaverBypass(int workplace, bool bypass) = 0;
    // type 0, 1 or 2.
    virtual void setPowerSaverType(int workplace, int type) = 0;
    virtual void reloadOLEDBitmaps() = 0;
};

// Widget attributes on named layers ("REPL", "ATBL").
class PANEL_API IWidgetControl : public virtual IInterface {
public:
    virtual std::string getAttribute(const UniqueWidgetID& widget, const std::string& attribute) = 0;
    virtual void setAttribute(const std::string& layer, const UniqueWidgetID& widget, const std::string& attribute,
                              const std::string& value) = 0;
    virtual void clearAttribute(const std::string& layer, const UniqueWidgetID& widget,
                                const std::string& attribute) = 0;
};

// "PREMACROFINISHED", "REPLACEMACROFINISHED".
class PANEL_API IPanelEvent : public virtual IInterface {
public:
    virtual void notifyEvent(const UniqueWidgetID& widget, const std::string& word) = 0;
};

class PDLStateSubscriber;

// Publishes state to subscribers.
class PANEL_API IPSPublisher : public virtual IInterface {
public:
    // From now on updateDirect(key, value) on each change of the key, when the
    // subscriber's useEventManager() answers false.
    virtual void subscribe(const std::string& key, std::shared_ptr<PDLStateSubscriber> subscriber) = 0;
    virtual void unsubscribe(const std::string& key, std::shared_ptr<PDLStateSubscriber> subscriber) = 0;
    // Present value of the key, empty if there is none.
    virtual std::string getValue(const std::string& key) = 0;
};

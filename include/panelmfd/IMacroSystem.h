#pragma once

#include <string>

#include "panelkit/FIDParameter.h"
#include "panelkit/FunctionID.h"
#include "panelkit/UniqueWidgetID.h"
#include "panelmfd/HostInterfaces.h"
#include "panelmfd/IFunctionID.h"
#include "panelmfd/IInterface.h"

// The macro system (id 1107): button events, the macro chain around a button's
// own function, recording, and the host interfaces the recorders use.
class PANEL_API IMacroSystem : public virtual IInterface {
public:
    virtual bool isInReplaceMode(const UniqueWidgetID& widget) = 0;
    virtual bool execPreMacro(const UniqueWidgetID& widget) = 0;
    virtual bool execReplaceMacro(const UniqueWidgetID& widget) = 0;
    virtual void execPostMacro(const UniqueWidgetID& widget) = 0;
    virtual void completePreMacro(const UniqueWidgetID& widget) = 0;
    virtual bool hasReplaceMacro(const UniqueWidgetID& widget) = 0;
    virtual void setMacroLevel(const UniqueWidgetID& widget, const std::string& level) = 0;
    virtual std::string getMacroLevel(const UniqueWidgetID& widget) = 0;
    virtual void onButtonDown(const UniqueWidgetID& widget) = 0;
    virtual void onButtonHold(const UniqueWidgetID& widget) = 0;
    virtual void onButtonRelease(const UniqueWidgetID& widget) = 0;
    virtual void setWidgetControlInterface(IWidgetControl* control) = 0;
    virtual void setFIDReceiverInterface(IFunctionID* receiver) = 0;
    virtual void setPanelEventInterface(IPanelEvent* panelEvent) = 0;
    virtual void setPSPublisherInterface(IPSPublisher* publisher) = 0;
    virtual void recordFID(const FunctionID& name, const FIDParameterList& params) = 0;
};

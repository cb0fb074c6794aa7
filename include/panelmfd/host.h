#pragma once

// Everything a host needs to load and drive the panel module.

#include "oskit/Module.h"
#include "panelkit/ColorRgb.h"
#include "panelkit/FIDHelper.h"
#include "panelkit/FIDParameter.h"
#include "panelkit/FunctionID.h"
#include "panelkit/UniqueModuleID.h"
#include "panelkit/UniqueWidgetID.h"
#include "panelmfd/HostInterfaces.h"
#include "panelmfd/IFunctionID.h"
#include "panelmfd/IInterface.h"
#include "panelmfd/IMFDConfiguration.h"
#include "panelmfd/IMacroSystem.h"
#include "panelmfd/IPanelMFD.h"
#include "panelmfd/IPanelSettings.h"
#include "panelmfd/IPmemStorage.h"
#include "panelmfd/PDLStateSubscriber.h"

// The module's one exported entry point.
extern "C" PANEL_API oskit::Module* onCreateModule();
using OnCreateModuleFunction = oskit::Module* (*)();

#pragma once

// Operations of the module's interfaces called by name with plain arguments
// (`call Iface.op ARGS`, `expect get Iface.op ARGS = VALUE`). Arguments are
// texts: widgets W.G.M.N, numbers in decimal, booleans true/false; a FID is
// NAME K=V ... [@W.G.M.N]. Answers are texts: booleans true/false, numbers in
// decimal, nothing for operations without a result.
//
//   IMacroSystem.isInReplaceMode|execPreMacro|execReplaceMacro|execPostMacro|
//       completePreMacro|hasReplaceMacro|onButtonDown|onButtonHold|
//       onButtonRelease|getMacroLevel W.G.M.N
//   IMacroSystem.setMacroLevel W.G.M.N LEVEL
//   IMacroSystem.recordFID NAME K=V ... [@W.G.M.N]
//   IPanelSettings.getBrightnessButtonLow|getBrightnessButtonHi|
//       getBrightnessDisplayText|getBrightnessDisplayOled|getBrightnessDisplayTft|
//       getJoystickSensitivity|getOLEDFontsResizable|getOLEDMode|
//       isOLEDOutlineEnabled|getLeverArmTestStepSize|getLeverArmTestStepCount WP
//   IPanelMFD.setStateValue KEY VALUE | setWorkplaceConfigFilename NAME |
//       interfaceInitializationDone
//   IMFDConfiguration.initializationCompleted | deinitialize | createFIDList |
//       setConfiguration N PREFIX DATA T1 T2 T3 CONFIG
//   IFunctionID.sendFID NAME K=V ... [@W.G.M.N] | showState | subscribe NAME

#include <string>
#include <vector>

#include "panelkit/FIDParameter.h"

namespace panelhost {

class HostModule;

struct CallResult {
    bool ok = false;     // the operation ran
    std::string value;   // its answer
    std::string error;   // why it didn't run
};

CallResult callModule(HostModule& module, const std::string& operation, const std::vector<std::string>& args);

// Every operation name callModule knows ("IMacroSystem.execPreMacro", ...).
std::vector<std::string> moduleOperations();

// NAME=VALUE words and an optional @W.G.M.N, in order. False with a message
// for a word that is neither.
bool buildParams(const std::vector<std::string>& words, FIDParameterList& params, std::string& error);

} // namespace panelhost

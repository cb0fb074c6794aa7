#include "hostcall.h"

#include <map>

#include "recorder.h"
#include "textutil.h"

namespace panelhost {

std::string describeHostCall(const std::string& op)
{
    static const std::map<std::string, std::string> kWords = {
        {"IEventManager.setVar", "sets a PDL variable in the scope of a module"},
        {"IEventManager.changePDL", "selects the PDL of a workplace (empty name: the default)"},
        {"IHwModuleManager.reloadModules", "reloads all hardware modules"},
        {"IHwModuleManager.setModuleID", "writes a module's identifier"},
        {"IHwModuleManager.startTftCalibration", "starts the TFT calibration of a group"},
        {"IPanelFeedback.trigger", "delivers a trigger to a widget"},
        {"IColorManager.setColorHi", "sets the colour a widget shows when lit"},
        {"IColorManager.setColorLow", "sets the colour a widget shows when dimmed"},
        {"IColorManager.setColorOff", "sets the colour a widget shows when off"},
        {"IColorManager.colorManagerReserved", "a slot of the colour manager that the module never calls"},
        {"IColorManager.incColorChannel", "steps one colour channel"},
        {"IColorManager.prepareLoad", "the colour manager gets ready for a load"},
        {"IColorManager.finishLoad", "the colour manager ends a load"},
        {"IColorManager.prepareSave", "the colour manager gets ready for a save"},
        {"IColorManager.finishSave", "the colour manager ends a save"},
        {"IWidgetManager.refreshSettings", "widgets read the panel settings again"},
        {"IWidgetManager.setPowerSaverTime", "sets the power saver time of a workplace"},
        {"IWidgetManager.widgetManagerReserved", "a slot of the widget manager that the module never calls"},
        {"IWidgetManager.setPowerSaverBypass", "switches the power saver bypass of a workplace"},
        {"IWidgetManager.setPowerSaverType", "sets the power saver type of a workplace"},
        {"IWidgetManager.reloadOLEDBitmaps", "OLED displays load their bitmaps again"},
        {"IWidgetControl.setAttribute", "puts an attribute on a widget layer"},
        {"IWidgetControl.clearAttribute", "takes an attribute off a widget layer"},
        {"IWidgetControl.getAttribute", "asks a widget for its own attribute"},
        {"IPanelEvent.notifyEvent", "tells the host it may go on with the button"},
        {"IDistributorFID.dispatchFID", "hands a FID to the distributor"},
        {"IFunctionID.subscribe", "asks for a FID name"},
        {"ISystemBackend.reboot", "asks the machine to restart (256 hardware, 128 operating system)"},
        {"ISystemBackend.setIPAddressAndNetmask", "changes the network address and mask"},
        {"ISystemBackend.setIPAddress", "changes the network address"},
        {"ISystemBackend.setNetmask", "changes the network mask"},
        {"ISystemBackend.setGateway", "changes the gateway"},
        {"ISystemBackend.setDate", "sets the date of the machine"},
        {"ISystemBackend.setTime", "sets the time of the machine"},
        {"ISystemBackend.i2cWrite", "writes bytes over I2C"},
        {"ISystemBackend.i2cRead", "reads bytes over I2C"},
        {"Host.buttonFunction", "the button's own function runs"},
    };
    auto it = kWords.find(op);
    return it == kWords.end() ? std::string() : it->second;
}

void recordHostCall(Recorder& recorder, const std::string& op, const std::vector<std::string>& args, bool narrate)
{
    Entry e;
    e.fields.reserve(args.size() + 1);
    e.fields.push_back(op);
    e.text = op;
    for (const auto& a : args) {
        e.fields.push_back(a);
        e.text += ' ';
        e.text += quoteWord(a);
    }
    if (!narrate) {
        recorder.append(Stream::Calls, std::move(e));
        return;
    }
    recorder.append(Stream::Calls, std::move(e), "host", describeHostCall(op));
}

} // namespace panelhost

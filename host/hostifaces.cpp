#include "hostifaces.h"

#include "hostcall.h"
#include "knobs.h"
#include "recorder.h"
#include "textutil.h"

namespace panelhost {

namespace {
const char* boolText(bool b)
{
    return b ? "true" : "false";
}
} // namespace

void DistributorFID::dispatchFID(const FunctionID& name, const FIDParameterList& params)
{
    std::vector<std::string> args{name};
    for (const auto& p : params.parameters()) args.push_back(p.name + "=" + p.value);
    args.push_back("@" + widgetText(params.sourceWidget));
    recordHostCall(m_recorder, "IDistributorFID.dispatchFID", args);
}

void EventManager::setVar(const UniqueModuleID& module, const std::string& name, const std::string& value)
{
    recordHostCall(m_recorder, "IEventManager.setVar", {moduleText(module), name, value});
}

void EventManager::changePDL(int workplace, const std::string& pdlBaseName)
{
    recordHostCall(m_recorder, "IEventManager.changePDL", {std::to_string(workplace), pdlBaseName});
}

bool HwModuleManager::getModuleInfo(const UniqueModuleID& module, const std::string& property, std::string& value)
{
    recordHostCall(m_recorder, "IHwModuleManager.getModuleInfo", {moduleText(module), property}, false);
    auto v = m_knobs.get("module." + moduleText(module) + "." + property);
    if (!v) return false;
    value = *v;
    return true;
}

bool HwModuleManager::setModuleID(const UniqueModuleID& module, const std::string& key, const std::string& index,
                                  const std::string& value)
{
    recordHostCall(m_recorder, "IHwModuleManager.setModuleID", {moduleText(module), key, index, value});
    return m_knobs.flag("setModuleID", true);
}

void HwModuleManager::reloadModules()
{
    recordHostCall(m_recorder, "IHwModuleManager.reloadModules", {});
}

bool HwModuleManager::startTftCalibration(int workplace, int group)
{
    recordHostCall(m_recorder, "IHwModuleManager.startTftCalibration",
                   {std::to_string(workplace), std::to_string(group)});
    return m_knobs.flag("startTftCalibration", true);
}

void PanelFeedback::trigger(const UniqueWidgetID& widget, const std::string& name, const std::string& value)
{
    recordHostCall(m_recorder, "IPanelFeedback.trigger", {widgetText(widget), name, value});
}

void ColorManager::setColorHi(const std::string& name, const ColorRgb& color)
{
    recordHostCall(m_recorder, "IColorManager.setColorHi", {name, color.toString()});
}

void ColorManager::setColorLow(const std::string& name, const ColorRgb& color)
{
    recordHostCall(m_recorder, "IColorManager.setColorLow", {name, color.toString()});
}

void ColorManager::setColorOff(const std::string& name, const ColorRgb& color)
{
    recordHostCall(m_recorder, "IColorManager.setColorOff", {name, color.toString()});
}

void ColorManager::colorManagerReserved()
{
    recordHostCall(m_recorder, "IColorManager.colorManagerReserved", {});
}

void ColorManager::incColorChannel(const std::string& name, int channel, int level, int step, bool adapt)
{
    recordHostCall(m_recorder, "IColorManager.incColorChannel",
                   {name, std::to_string(channel), std::to_string(level), std::to_string(step), boolText(adapt)});
}

void ColorManager::prepareLoad()
{
    recordHostCall(m_recorder, "IColorManager.prepareLoad", {});
}

void ColorManager::finishLoad()
{
    recordHostCall(m_recorder, "IColorManager.finishLoad", {});
}

void ColorManager::prepareSave()
{
    recordHostCall(m_recorder, "IColorManager.prepareSave", {});
}

void ColorManager::finishSave()
{
    recordHostCall(m_recorder, "IColorManager.finishSave", {});
}

void WidgetManager::refreshSettings()
{
    recordHostCall(m_recorder, "IWidgetManager.refreshSettings", {});
}

void WidgetManager::setPowerSaverTime(int workplace, int time)
{
    recordHostCall(m_recorder, "IWidgetManager.setPowerSaverTime", {std::to_string(workplace), std::to_string(time)});
}

void WidgetManager::widgetManagerReserved()
{
    recordHostCall(m_recorder, "IWidgetManager.widgetManagerReserved", {});
}

void WidgetManager::setPowerSaverBypass(int workplace, bool bypass)
{
    recordHostCall(m_recorder, "IWidgetManager.setPowerSaverBypass", {std::to_string(workplace), boolText(bypass)});
}

void WidgetManager::setPowerSaverType(int workplace, int type)
{
    recordHostCall(m_recorder, "IWidgetManager.setPowerSaverType", {std::to_string(workplace), std::to_string(type)});
}

void WidgetManager::reloadOLEDBitmaps()
{
    recordHostCall(m_recorder, "IWidgetManager.reloadOLEDBitmaps", {});
}

void PanelEvent::notifyEvent(const UniqueWidgetID& widget, const std::string& word)
{
    recordHostCall(m_recorder, "IPanelEvent.notifyEvent", {widgetText(widget), word}, false);
    Entry e;
    e.fields = {widgetText(widget), word};
    e.text = widgetText(widget) + " " + quoteWord(word);
    m_recorder.append(Stream::Notify, std::move(e), "notify");
}

} // namespace panelhost

#include "widgetcontrol.h"

#include "hostcall.h"
#include "recorder.h"
#include "textutil.h"

namespace panelhost {

std::string WidgetControl::getAttribute(const UniqueWidgetID& widget, const std::string& attribute)
{
    recordHostCall(m_recorder, "IWidgetControl.getAttribute", {widgetText(widget), attribute}, false);
    std::lock_guard<std::mutex> lock(m_mutex);
    auto w = m_own.find(widget.getID());
    if (w == m_own.end()) return std::string();
    auto a = w->second.find(attribute);
    return a == w->second.end() ? std::string() : a->second;
}

void WidgetControl::setAttribute(const std::string& layer, const UniqueWidgetID& widget, const std::string& attribute,
                                 const std::string& value)
{
    recordHostCall(m_recorder, "IWidgetControl.setAttribute", {layer, widgetText(widget), attribute, value});
    std::lock_guard<std::mutex> lock(m_mutex);
    m_layers[layer][widget.getID()][attribute] = value;
}

void WidgetControl::clearAttribute(const std::string& layer, const UniqueWidgetID& widget, const std::string& attribute)
{
    recordHostCall(m_recorder, "IWidgetControl.clearAttribute", {layer, widgetText(widget), attribute});
    std::lock_guard<std::mutex> lock(m_mutex);
    auto l = m_layers.find(layer);
    if (l == m_layers.end()) return;
    auto w = l->second.find(widget.getID());
    if (w == l->second.end()) return;
    w->second.erase(attribute);
}

void WidgetControl::setOwnAttribute(const UniqueWidgetID& widget, const std::string& attribute,
                                    const std::string& value)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_own[widget.getID()][attribute] = value;
}

std::optional<std::string> WidgetControl::layerValue(const std::string& layer, const UniqueWidgetID& widget,
                                                     const std::string& attribute) const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    auto l = m_layers.find(layer);
    if (l == m_layers.end()) return std::nullopt;
    auto w = l->second.find(widget.getID());
    if (w == l->second.end()) return std::nullopt;
    auto a = w->second.find(attribute);
    if (a == w->second.end()) return std::nullopt;
    return a->second;
}

std::map<uint32_t, std::map<std::string, WidgetControl::Attributes>> WidgetControl::looks() const
{
    std::map<uint32_t, std::map<std::string, Attributes>> out;
    std::lock_guard<std::mutex> lock(m_mutex);
    for (const auto& [widget, attributes] : m_own)
        if (!attributes.empty()) out[widget][""] = attributes;
    for (const auto& [layer, widgets] : m_layers)
        for (const auto& [widget, attributes] : widgets)
            if (!attributes.empty()) out[widget][layer] = attributes;
    return out;
}

void WidgetControl::clearLayers()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_layers.clear();
}

} // namespace panelhost

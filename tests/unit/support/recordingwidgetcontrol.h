#pragma once

// The host's widget control as a test sees it: every call in order
// ("set REPL 0.1.2.3 COLOR=ORANGE", "clear ATBL 0.1.2.3 BLINK",
// "get 0.1.2.9 TYPE"), the contents of each layer, and the widgets' own
// attributes, which getAttribute answers.

#include <map>
#include <mutex>
#include <sstream>
#include <string>
#include <vector>

#include "panelmfd/HostInterfaces.h"

class RecordingWidgetControl : public IWidgetControl {
public:
    IInterface* queryInterface(unsigned int) override { return nullptr; }

    std::string getAttribute(const UniqueWidgetID& widget, const std::string& attribute) override
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_calls.push_back("get " + text(widget) + " " + attribute);
        auto it = m_own.find(text(widget) + " " + attribute);
        return it == m_own.end() ? std::string() : it->second;
    }
    void setAttribute(const std::string& layer, const UniqueWidgetID& widget, const std::string& attribute,
                      const std::string& value) override
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_calls.push_back("set " + layer + " " + text(widget) + " " + attribute + "=" + value);
        m_layers[layer][text(widget) + " " + attribute] = value;
    }
    void clearAttribute(const std::string& layer, const UniqueWidgetID& widget, const std::string& attribute) override
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_calls.push_back("clear " + layer + " " + text(widget) + " " + attribute);
        m_layers[layer].erase(text(widget) + " " + attribute);
    }

    // A widget's own attribute.
    void setOwn(const std::string& widget, const std::string& attribute, const std::string& value)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_own[widget + " " + attribute] = value;
    }
    // The value on a layer; "-" if the layer holds none.
    std::string layer(const std::string& layerName, const std::string& widget, const std::string& attribute) const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        auto l = m_layers.find(layerName);
        if (l == m_layers.end()) return "-";
        auto it = l->second.find(widget + " " + attribute);
        return it == l->second.end() ? "-" : it->second;
    }
    // Everything a layer holds, as "W.G.M.N NAME=VALUE" in key order.
    std::vector<std::string> layerContents(const std::string& layerName) const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        std::vector<std::string> contents;
        auto l = m_layers.find(layerName);
        if (l != m_layers.end())
            for (const auto& [key, value] : l->second) contents.push_back(key + "=" + value);
        return contents;
    }
    std::vector<std::string> calls() const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_calls;
    }
    void clearCalls()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_calls.clear();
    }

private:
    static std::string text(const UniqueWidgetID& widget)
    {
        std::ostringstream os;
        os << widget;
        return os.str();
    }

    mutable std::mutex m_mutex;
    std::vector<std::string> m_calls;
    std::map<std::string, std::map<std::string, std::string>> m_layers;
    std::map<std::string, std::string> m_own;
};

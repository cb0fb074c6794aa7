#pragma once

// The host's widget control: attributes that the module puts on named layers
// ("REPL", "ATBL"), over each widget's own attributes (set by scripts with
// `attr`), which getAttribute answers.

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "panelmfd/HostInterfaces.h"

namespace panelhost {

class Recorder;

class WidgetControl : public IWidgetControl {
public:
    explicit WidgetControl(Recorder& recorder) : m_recorder(recorder) {}

    IInterface* queryInterface(unsigned int) override { return nullptr; }
    std::string getAttribute(const UniqueWidgetID& widget, const std::string& attribute) override;
    void setAttribute(const std::string& layer, const UniqueWidgetID& widget, const std::string& attribute,
                      const std::string& value) override;
    void clearAttribute(const std::string& layer, const UniqueWidgetID& widget, const std::string& attribute) override;

    // A widget's own attribute (what getAttribute answers).
    void setOwnAttribute(const UniqueWidgetID& widget, const std::string& attribute, const std::string& value);
    std::optional<std::string> layerValue(const std::string& layer, const UniqueWidgetID& widget,
                                          const std::string& attribute) const;
    // Forgets the layers (a fresh start); own attributes stay.
    void clearLayers();

    using Attributes = std::map<std::string, std::string>;
    // Every widget that has attributes: by widget word, then by layer (the
    // empty name for the widget's own), the attributes.
    std::map<uint32_t, std::map<std::string, Attributes>> looks() const;

private:
    Recorder& m_recorder;
    mutable std::mutex m_mutex;
    std::map<std::string, std::map<uint32_t, Attributes>> m_layers;
    std::map<uint32_t, Attributes> m_own;
};

} // namespace panelhost

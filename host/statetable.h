#pragma once

// The host's table of published panel state. The module publishes keys
// without its prefix; the table stores full keys (prefix "." key). Every change
// goes to the "changes" stream and to the publisher's subscribers; events go
// to the "events" stream.

#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "panelmfd/HostInterfaces.h"

namespace panelhost {

class Recorder;
class Publisher;

struct StateValue {
    std::string text; // ints in decimal, bools TRUE/FALSE
    std::string type; // "text", "int", "bool", "float"
};

class StateTable : public IPanelState {
public:
    explicit StateTable(Recorder& recorder, Publisher* publisher = nullptr);

    void setPrefix(const std::string& prefix);
    std::string prefix() const;
    void setPublisher(Publisher* publisher);

    IInterface* queryInterface(unsigned int id) override;
    void setStateValue(const std::string& key, const std::string& value) override;
    void setStateValueFloat(const std::string& key, float value) override;
    void setStateValueInt(const std::string& key, int value) override;
    void setStateValueBool(const std::string& key, bool value) override;
    void unsetStateValue(const std::string& key) override;
    void triggerEvent(const std::string& event, const std::string& value) override;

    // A full key set by someone other than the module (a script, another driver).
    void publish(const std::string& fullKey, const std::string& value);

    std::optional<StateValue> value(const std::string& fullKey) const;
    // The text of a full key, empty if there is none.
    std::string text(const std::string& fullKey) const;
    std::map<std::string, StateValue> snapshot() const;
    // Forgets every key (a fresh table); records nothing.
    void clear();

private:
    void store(const std::string& fullKey, const std::string& text, const std::string& type);
    void recordCall(const std::string& op, const std::string& args);

    Recorder& m_recorder;
    Publisher* m_publisher;
    mutable std::mutex m_mutex;
    std::string m_prefix = "PANEL";
    std::map<std::string, StateValue> m_values;
};

} // namespace panelhost

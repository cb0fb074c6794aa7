#pragma once

// The knobs of the simulated host: plain named texts that scripts set with
// `sim KNOB = VALUE` and read back with `expect sim`. Some knobs are owned by
// the simulated system (date, time, the EEPROM) and are routed there.

#include <map>
#include <mutex>
#include <optional>
#include <string>

namespace panelhost {

class Knobs {
public:
    void set(const std::string& name, const std::string& value);
    std::optional<std::string> get(const std::string& name) const;
    std::string get(const std::string& name, const std::string& fallback) const;
    // "true"/"false" (also 1/0, yes/no, ok); fallback when unset or another word.
    bool flag(const std::string& name, bool fallback) const;

private:
    mutable std::mutex m_mutex;
    std::map<std::string, std::string> m_values;
};

} // namespace panelhost

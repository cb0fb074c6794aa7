#include "knobs.h"

namespace panelhost {

void Knobs::set(const std::string& name, const std::string& value)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_values[name] = value;
}

std::optional<std::string> Knobs::get(const std::string& name) const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    auto it = m_values.find(name);
    if (it == m_values.end()) return std::nullopt;
    return it->second;
}

std::string Knobs::get(const std::string& name, const std::string& fallback) const
{
    auto v = get(name);
    return v ? *v : fallback;
}

bool Knobs::flag(const std::string& name, bool fallback) const
{
    auto v = get(name);
    if (!v) return fallback;
    if (*v == "true" || *v == "1" || *v == "yes" || *v == "ok" || *v == "TRUE") return true;
    if (*v == "false" || *v == "0" || *v == "no" || *v == "fail" || *v == "FALSE") return false;
    return fallback;
}

} // namespace panelhost

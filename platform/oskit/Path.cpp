#include "oskit/Path.h"

#include <filesystem>
#include <system_error>

namespace oskit {

Path::Path() = default;

Path::Path(std::string text) : m_text(std::move(text)) {}

Path::~Path() = default;

bool Path::expand(const std::string& component)
{
    if (m_text.empty() || component.empty()) return false;
    std::string part = component;
    for (char& c : part) {
        if (m_alternateSeparators.find(c) != std::string::npos) c = m_separator;
    }
    size_t first = 0;
    while (first < part.size() && part[first] == m_separator) ++first;
    std::string base = m_text;
    while (!base.empty() && base.back() == m_separator) base.pop_back();
    m_text = base + m_separator + part.substr(first);
    return true;
}

void Path::fixNotFullQualified()
{
    if (!m_text.empty() && m_text.front() == m_separator) return;
    Path absolute = getCurrentWorkingDirPath();
    if (absolute.isEmpty()) return;
    if (!m_text.empty()) absolute.expand(m_text);
    m_text = absolute.m_text;
}

Path Path::getCurrentWorkingDirPath()
{
    std::error_code error;
    const std::filesystem::path cwd = std::filesystem::current_path(error);
    if (error) return Path();
    return Path(cwd.string());
}

} // namespace oskit

#include "narrator.h"

#include <unistd.h>

namespace panelhost {

void Narrator::setFd(int fd)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_fd = fd;
}

void Narrator::setEnabled(bool on)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_enabled = on;
}

bool Narrator::enabled() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_enabled;
}

void Narrator::setLogLevel(oskit::logbackend::Level level)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_logLevel = level;
}

oskit::logbackend::Level Narrator::logLevel() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_logLevel;
}

void Narrator::setSummarising(bool on)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    if (!on) flushLocked();
    m_summarising = on;
}

void Narrator::flushSummary()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    flushLocked();
}

void Narrator::flushLocked()
{
    for (const auto& [group, lines] : m_groups) {
        if (!m_enabled) break;
        if (lines.size() == 1) write("state  " + lines[0] + "\n");
        else write("state  " + group + ".*   (" + std::to_string(lines.size()) + " keys published)\n");
    }
    m_groups.clear();
}

void Narrator::line(const std::string& tag, const std::string& text)
{
    if (tag == "state") {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_summarising) {
            size_t cut = text.find('.');
            if (cut != std::string::npos) cut = text.find_first_of(". ", cut + 1);
            const std::string group = text.substr(0, cut == std::string::npos ? text.size() : cut);
            if (m_groups.empty() || m_groups.back().first != group) m_groups.emplace_back(group, std::vector<std::string>());
            m_groups.back().second.push_back(text);
            return;
        }
    }
    std::string out = tag;
    if (out.size() < 6) out.append(6 - out.size(), ' ');
    out += ' ';
    out += text;
    out += '\n';
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_enabled) write(out);
}

void Narrator::heading(const std::string& text)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_enabled) write("\n== " + text + "\n");
}

void Narrator::note(const std::string& text)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_enabled) write("   " + text + "\n");
}

void Narrator::echo(const std::string& where, const std::string& text)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_enabled) write(where + "> " + text + "\n");
}

void Narrator::always(const std::string& text)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    write(text + "\n");
}

void Narrator::write(const std::string& text)
{
    if (m_fd < 0) return;
    size_t done = 0;
    while (done < text.size()) {
        const ssize_t n = ::write(m_fd, text.data() + done, text.size() - done);
        if (n <= 0) return;
        done += static_cast<size_t>(n);
    }
}

} // namespace panelhost

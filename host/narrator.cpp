#include "narrator.h"

#include <unistd.h>

#include <algorithm>

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

Narrator::~Narrator()
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_ending = true;
    }
    m_held.notify_all();
    if (m_flusher.joinable()) m_flusher.join();
}

void Narrator::setVerbose(bool on)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    flushLocked();
    m_verbose = on;
}

bool Narrator::verbose() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_verbose;
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
        if (lines.size() <= kShownKeys) {
            for (const auto& l : lines) write("state  " + l + "\n");
        } else {
            write("state  " + group + ".*   (" + std::to_string(lines.size()) + " keys published)\n");
        }
    }
    m_groups.clear();
}

// Under the lock: holds a state line in its prefix's group until the burst
// ends.
void Narrator::gather(const std::string& text)
{
    size_t cut = text.find('.');
    if (cut != std::string::npos) cut = text.find_first_of(". ", cut + 1);
    const std::string group = text.substr(0, cut == std::string::npos ? text.size() : cut);
    const auto now = std::chrono::steady_clock::now();
    if (m_groups.empty()) m_firstHeld = now;
    m_lastHeld = now;
    if (m_groups.empty() || m_groups.back().first != group) m_groups.emplace_back(group, std::vector<std::string>());
    m_groups.back().second.push_back(text);
    if (!m_flusher.joinable()) m_flusher = std::thread([this] { flusher(); });
    m_held.notify_all();
}

// Shows held lines once their burst has paused for kQuietMs, or after
// kHoldMs at most.
void Narrator::flusher()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    while (!m_ending) {
        if (m_groups.empty()) {
            m_held.wait(lock);
            continue;
        }
        const auto due = std::min(m_lastHeld + std::chrono::milliseconds(kQuietMs),
                                  m_firstHeld + std::chrono::milliseconds(kHoldMs));
        if (std::chrono::steady_clock::now() >= due) flushLocked();
        else m_held.wait_until(lock, due);
    }
}

void Narrator::line(const std::string& tag, const std::string& text)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    if (tag == "state" && !m_verbose) {
        if (m_enabled) gather(text);
        return;
    }
    flushLocked();
    std::string out = tag;
    if (out.size() < 6) out.append(6 - out.size(), ' ');
    out += ' ';
    out += text;
    out += '\n';
    if (m_enabled) write(out);
}

void Narrator::heading(const std::string& text)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    flushLocked();
    if (m_enabled) write("\n== " + text + "\n");
}

void Narrator::note(const std::string& text)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    flushLocked();
    if (m_enabled) write("   " + text + "\n");
}

void Narrator::echo(const std::string& where, const std::string& text)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    flushLocked();
    if (m_enabled) write(where + "> " + text + "\n");
}

void Narrator::always(const std::string& text)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    flushLocked();
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

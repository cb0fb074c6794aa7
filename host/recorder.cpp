#include "recorder.h"

#include <chrono>

#include "narrator.h"

namespace panelhost {

const char* streamName(Stream stream)
{
    switch (stream) {
    case Stream::Calls: return "call";
    case Stream::Changes: return "change";
    case Stream::Events: return "event";
    case Stream::Sent: return "sent";
    case Stream::Notify: return "notify";
    case Stream::Stdout: return "stdout";
    case Stream::Log: return "log";
    }
    return "?";
}

void Recorder::append(Stream stream, Entry entry, const std::string& tag, const std::string& note)
{
    if (!tag.empty() && m_narrator) m_narrator->line(tag, note.empty() ? entry.text : entry.text + "   (" + note + ")");
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_streams[static_cast<size_t>(stream)].push_back(std::move(entry));
    }
    m_changed.notify_all();
}

size_t Recorder::size(Stream stream) const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_streams[static_cast<size_t>(stream)].size();
}

std::vector<Entry> Recorder::entries(Stream stream, size_t from) const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    const auto& s = m_streams[static_cast<size_t>(stream)];
    if (from >= s.size()) return {};
    return std::vector<Entry>(s.begin() + static_cast<std::ptrdiff_t>(from), s.end());
}

std::optional<size_t> Recorder::waitFor(Stream stream, size_t from, const Match& match, int timeoutMs) const
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs < 0 ? 0 : timeoutMs);
    std::unique_lock<std::mutex> lock(m_mutex);
    const auto& s = m_streams[static_cast<size_t>(stream)];
    size_t next = from;
    for (;;) {
        for (; next < s.size(); ++next)
            if (match(s[next])) return next;
        if (m_changed.wait_until(lock, deadline) == std::cv_status::timeout) {
            for (; next < s.size(); ++next)
                if (match(s[next])) return next;
            return std::nullopt;
        }
    }
}

size_t Recorder::cursor(Stream stream) const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_cursors[static_cast<size_t>(stream)];
}

void Recorder::setCursor(Stream stream, size_t position)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_cursors[static_cast<size_t>(stream)] = position;
}

void Recorder::clear()
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        for (auto& s : m_streams) s.clear();
        m_cursors.fill(0);
    }
    m_changed.notify_all();
}

} // namespace panelhost

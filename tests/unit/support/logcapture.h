#pragma once

// Captures the log entries of both logging front ends as "LEVEL Category: message".

#include <mutex>
#include <string>
#include <vector>

#include "oskit/LogBackend.h"

class LogCapture {
public:
    LogCapture()
    {
        m_previousLevel = oskit::logbackend::getLevel();
        oskit::logbackend::setLevel(oskit::logbackend::Level::Debug);
        oskit::logbackend::setObserver(
            [this](oskit::logbackend::Level level, std::string_view category, std::string_view message) {
                std::lock_guard<std::mutex> lock(m_mutex);
                m_lines.push_back(std::string(oskit::logbackend::levelName(level)) + " " + std::string(category) +
                                  ": " + std::string(message));
            });
    }
    ~LogCapture()
    {
        oskit::logbackend::setObserver(nullptr);
        oskit::logbackend::setLevel(m_previousLevel);
    }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    std::vector<std::string> lines() const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_lines;
    }
    void clear()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_lines.clear();
    }

private:
    mutable std::mutex m_mutex;
    std::vector<std::string> m_lines;
    oskit::logbackend::Level m_previousLevel = oskit::logbackend::Level::Info;
};

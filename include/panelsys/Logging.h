#pragma once

#include <memory>
#include <mutex>
#include <map>
#include <optional>
#include <sstream>
#include <string>

#include "oskit/LogBackend.h"
#include "panelkit/Export.h"

namespace Norvane::Utilities::Logging {

class PANEL_API LogLevel {
public:
    enum Level { DEBUG = 0, INFO = 1, WARN = 2, ERROR = 3, ALERT = 4, FATAL = 5 };
    // "DEBUG", "INFO", "WARN", "ERROR", "ALERT", "FATAL"; any other text is DEBUG.
    static Level toLevel(const std::string& text);
    static const char* toString(Level level);
};

// One log entry in the making: the text written to it is emitted when the
// stream is destroyed. Below the active level it formats nothing and
// allocates nothing.
class PANEL_API LogStream {
public:
    LogStream(const std::string* category, LogLevel::Level level);
    LogStream(LogStream&& other) noexcept;
    LogStream(const LogStream&) = delete;
    LogStream& operator=(const LogStream&) = delete;
    LogStream& operator=(LogStream&&) = delete;
    ~LogStream();

    bool isEnabled() const { return m_buffer.has_value(); }

    template <class V>
    LogStream& operator<<(const V& value)
    {
        if (m_buffer) *m_buffer << value;
        return *this;
    }
    LogStream& operator<<(std::ostream& (*manip)(std::ostream&))
    {
        if (m_buffer) *m_buffer << manip;
        return *this;
    }

private:
    const std::string* m_category;
    LogLevel::Level m_level;
    std::optional<std::ostringstream> m_buffer;
};

// A named category. Copies share the name.
class PANEL_API LogCategory {
public:
    LogCategory();
    explicit LogCategory(const std::string& name);
    LogCategory(const LogCategory&);
    LogCategory& operator=(const LogCategory&);
    ~LogCategory();

    const std::string& getName() const { return *m_name; }
    LogStream getStream(const LogLevel::Level& level) const;
    LogStream getDebugStream() const { return getStream(LogLevel::DEBUG); }
    LogStream getInfoStream() const { return getStream(LogLevel::INFO); }
    LogStream getWarnStream() const { return getStream(LogLevel::WARN); }
    LogStream getErrorStream() const { return getStream(LogLevel::ERROR); }
    LogStream getAlertStream() const { return getStream(LogLevel::ALERT); }
    LogStream getFatalStream() const { return getStream(LogLevel::FATAL); }

private:
    std::shared_ptr<const std::string> m_name;
};

class PANEL_API LogManager {
public:
    static LogManager& getInstance();
    // The category of this name, made on first use.
    LogCategory& getCategory(const std::string& name);

private:
    LogManager() = default;
    std::mutex m_mutex;
    std::map<std::string, std::unique_ptr<LogCategory>> m_categories;
};

} // namespace Norvane::Utilities::Logging

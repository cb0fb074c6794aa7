#include "panelsys/Logging.h"

namespace Norvane::Utilities::Logging {

namespace {

oskit::logbackend::Level toBackend(LogLevel::Level level)
{
    return static_cast<oskit::logbackend::Level>(static_cast<int>(level));
}

} // namespace

LogLevel::Level LogLevel::toLevel(const std::string& text)
{
    if (text == "INFO") return INFO;
    if (text == "WARN") return WARN;
    if (text == "ERROR") return ERROR;
    if (text == "ALERT") return ALERT;
    if (text == "FATAL") return FATAL;
    return DEBUG;
}

const char* LogLevel::toString(Level level)
{
    return oskit::logbackend::levelName(toBackend(level));
}

LogStream::LogStream(const std::string* category, LogLevel::Level level) : m_category(category), m_level(level)
{
    if (oskit::logbackend::enabled(toBackend(level))) m_buffer.emplace();
}

LogStream::LogStream(LogStream&& other) noexcept
    : m_category(other.m_category), m_level(other.m_level), m_buffer(std::move(other.m_buffer))
{
    other.m_buffer.reset();
}

LogStream::~LogStream()
{
    if (!m_buffer) return;
    try {
        const std::string text = m_buffer->str();
        oskit::logbackend::emit(toBackend(m_level), m_category ? std::string_view(*m_category) : std::string_view(),
                                text);
    } catch (...) {
        // A log entry never takes the program down.
    }
}

LogCategory::LogCategory() : m_name(std::make_shared<const std::string>()) {}

LogCategory::LogCategory(const std::string& name) : m_name(std::make_shared<const std::string>(name)) {}

LogCategory::LogCategory(const LogCategory&) = default;

LogCategory& LogCategory::operator=(const LogCategory&) = default;

LogCategory::~LogCategory() = default;

LogStream LogCategory::getStream(const LogLevel::Level& level) const
{
    return LogStream(m_name.get(), level);
}

LogManager& LogManager::getInstance()
{
    static LogManager* instance = new LogManager();
    return *instance;
}

LogCategory& LogManager::getCategory(const std::string& name)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    std::unique_ptr<LogCategory>& category = m_categories[name];
    if (!category) category = std::make_unique<LogCategory>(name);
    return *category;
}

} // namespace Norvane::Utilities::Logging

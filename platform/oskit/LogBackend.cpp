#include "oskit/LogBackend.h"

#include <spdlog/logger.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <spdlog/sinks/syslog_sink.h>
#include <syslog.h>

#include <atomic>
#include <memory>
#include <mutex>

namespace oskit::logbackend {

namespace {

std::atomic<int> g_level{static_cast<int>(Level::Info)};

// The sink and the observer are swapped as a whole under their mutex; an
// entry in flight keeps the one it picked up alive.
struct Shared {
    std::mutex mutex;
    std::shared_ptr<spdlog::logger> logger;
    std::shared_ptr<const Observer> observer;
};

std::shared_ptr<spdlog::logger> makeLogger(spdlog::sink_ptr sink)
{
    auto logger = std::make_shared<spdlog::logger>("panel", std::move(sink));
    logger->set_pattern("%v");
    logger->set_level(spdlog::level::trace);
    logger->flush_on(spdlog::level::trace);
    return logger;
}

Shared& shared()
{
    // Never destroyed, so that threads still logging at exit find it intact.
    static Shared* instance = [] {
        auto* s = new Shared;
        s->logger = makeLogger(std::make_shared<spdlog::sinks::stderr_sink_mt>());
        return s;
    }();
    return *instance;
}

void setLogger(std::shared_ptr<spdlog::logger> logger)
{
    Shared& s = shared();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.logger.swap(logger);
}

spdlog::level::level_enum toSpdlog(Level level)
{
    switch (level) {
    case Level::Debug:
        return spdlog::level::debug;
    case Level::Info:
        return spdlog::level::info;
    case Level::Warn:
        return spdlog::level::warn;
    case Level::Error:
        return spdlog::level::err;
    case Level::Alert:
    case Level::Fatal:
        return spdlog::level::critical;
    case Level::Off:
        break;
    }
    return spdlog::level::off;
}

} // namespace

const char* levelName(Level level)
{
    switch (level) {
    case Level::Debug:
        return "DEBUG";
    case Level::Info:
        return "INFO";
    case Level::Warn:
        return "WARN";
    case Level::Error:
        return "ERROR";
    case Level::Alert:
        return "ALERT";
    case Level::Fatal:
        return "FATAL";
    case Level::Off:
        break;
    }
    return "OFF";
}

bool enabled(Level level)
{
    return static_cast<int>(level) >= g_level.load(std::memory_order_relaxed) && level != Level::Off;
}

void setLevel(Level level)
{
    g_level.store(static_cast<int>(level), std::memory_order_relaxed);
}

Level getLevel()
{
    return static_cast<Level>(g_level.load(std::memory_order_relaxed));
}

void emit(Level level, std::string_view category, std::string_view message)
{
    if (!enabled(level)) return;
    std::shared_ptr<spdlog::logger> logger;
    std::shared_ptr<const Observer> observer;
    {
        Shared& s = shared();
        std::lock_guard<std::mutex> lock(s.mutex);
        logger = s.logger;
        observer = s.observer;
    }
    if (logger) {
        std::string line;
        line.reserve(category.size() + message.size() + 10);
        line.append(levelName(level)).append(" ").append(category).append(": ").append(message);
        logger->log(toSpdlog(level), spdlog::string_view_t(line.data(), line.size()));
    }
    if (observer && *observer) (*observer)(level, category, message);
}

void useStderr()
{
    setLogger(makeLogger(std::make_shared<spdlog::sinks::stderr_sink_mt>()));
}

bool useFile(const std::string& path)
{
    try {
        setLogger(makeLogger(std::make_shared<spdlog::sinks::basic_file_sink_mt>(path, false)));
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

void useSyslog(const std::string& ident)
{
    setLogger(makeLogger(std::make_shared<spdlog::sinks::syslog_sink_mt>(ident, LOG_PID, LOG_USER, true)));
}

void useNone()
{
    setLogger(nullptr);
}

void setObserver(Observer observer)
{
    std::shared_ptr<const Observer> next;
    if (observer) next = std::make_shared<const Observer>(std::move(observer));
    Shared& s = shared();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.observer.swap(next);
}

} // namespace oskit::logbackend

#include "oskit/LogManager.h"

#include <cstring>
#include <streambuf>

#include "oskit/LogBackend.h"

namespace oskit {

template <>
LogManager* SingletonDll<LogManager>::s_pInstance = nullptr;

namespace {

using logbackend::Level;

Level toBackendLevel(int logLevel)
{
    switch (logLevel) {
    case LOG_FATAL:
        return Level::Fatal;
    case LOG_ALERT:
        return Level::Alert;
    case LOG_ERROR:
        return Level::Error;
    case LOG_WARN:
        return Level::Warn;
    case LOG_NOTICE:
    case LOG_INFO:
        return Level::Info;
    case LOG_DEBUG:
        return Level::Debug;
    default:
        return logLevel < LOG_FATAL ? Level::Fatal : Level::Debug;
    }
}

// Collects the text of one line and hands it to the backend as one entry
// when the line ends ('\n') or the stream is flushed.
class LineBuffer : public std::streambuf {
public:
    ~LineBuffer() override { emitLine(); }

    // Starts the entries of an output at a level; an unfinished line of
    // another output or level goes out first.
    void select(const std::string& name, Level level)
    {
        if (!m_line.empty() && (name != m_name || level != m_level)) emitLine();
        if (name != m_name) m_name = name;
        m_level = level;
    }

protected:
    int_type overflow(int_type ch) override
    {
        if (traits_type::eq_int_type(ch, traits_type::eof())) return traits_type::not_eof(ch);
        const char c = traits_type::to_char_type(ch);
        if (c == '\n') {
            emitLine();
        } else {
            m_line += c;
        }
        return ch;
    }

    std::streamsize xsputn(const char* data, std::streamsize count) override
    {
        std::streamsize done = 0;
        while (done < count) {
            const char* begin = data + done;
            const auto rest = static_cast<size_t>(count - done);
            const void* found = std::memchr(begin, '\n', rest);
            if (found == nullptr) {
                m_line.append(begin, rest);
                break;
            }
            const auto length = static_cast<size_t>(static_cast<const char*>(found) - begin);
            m_line.append(begin, length);
            emitLine();
            done += static_cast<std::streamsize>(length + 1);
        }
        return count;
    }

    int sync() override
    {
        emitLine();
        return 0;
    }

private:
    void emitLine()
    {
        if (m_line.empty()) return;
        logbackend::emit(m_level, m_name, m_line);
        m_line.clear();
    }

    std::string m_name;
    Level m_level = Level::Info;
    std::string m_line;
};

struct ThreadStreams {
    LineBuffer buffer;
    std::ostream active{&buffer};
    std::ostream disabled{nullptr}; // badbit set: formats nothing
};

ThreadStreams& threadStreams()
{
    thread_local ThreadStreams streams;
    return streams;
}

} // namespace

LogOutput::LogOutput(std::string name) : m_name(std::move(name)) {}

LogOutput::~LogOutput() = default;

std::ostream& LogOutput::level(int logLevel)
{
    const Level level = toBackendLevel(logLevel);
    ThreadStreams& streams = threadStreams();
    if (!logbackend::enabled(level)) return streams.disabled;
    streams.buffer.select(m_name, level);
    std::ostream& os = streams.active;
    os.clear();
    os.flags(std::ios_base::dec | std::ios_base::skipws);
    os.width(0);
    os.precision(6);
    os.fill(' ');
    return os;
}

LogManager::LogManager() = default;

LogManager::~LogManager() = default;

LogOutput* LogManager::getLogOutput(const std::string& name)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    std::unique_ptr<LogOutput>& output = m_outputs[name];
    if (!output) output = std::make_unique<LogOutput>(name);
    return output.get();
}

} // namespace oskit

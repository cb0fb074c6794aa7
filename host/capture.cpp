#include "capture.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <iostream>

#include "narrator.h"
#include "oskit/LogBackend.h"
#include "recorder.h"

namespace panelhost {

StdoutCapture::StdoutCapture(Recorder& recorder, Narrator& narrator) : m_recorder(recorder), m_narrator(narrator) {}

StdoutCapture::~StdoutCapture()
{
    stop();
    if (m_originalFd >= 0) ::close(m_originalFd);
}

bool StdoutCapture::start()
{
    if (m_running) return true;
    std::cout.flush();
    std::fflush(stdout);
    int fds[2];
    if (::pipe(fds) != 0) return false;
    if (m_originalFd < 0) m_originalFd = ::dup(1);
    if (m_originalFd < 0 || ::dup2(fds[1], 1) < 0) {
        ::close(fds[0]);
        ::close(fds[1]);
        return false;
    }
    ::close(fds[1]);
    m_readFd = fds[0];
    // Lines reach the pipe as they are ended, not when a buffer fills.
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    m_running = true;
    m_thread = std::thread([this] { run(); });
    return true;
}

void StdoutCapture::stop()
{
    if (!m_running) return;
    std::cout.flush();
    std::fflush(stdout);
    // The last write end goes away with this: the reader sees the end.
    ::dup2(m_originalFd, 1);
    if (m_thread.joinable()) m_thread.join();
    ::close(m_readFd);
    m_readFd = -1;
    m_running = false;
}

void StdoutCapture::sync()
{
    std::cout.flush();
    std::fflush(stdout);
    if (!m_running) return;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(2);
    while (std::chrono::steady_clock::now() < deadline) {
        int waiting = 0;
        if (::ioctl(m_readFd, FIONREAD, &waiting) != 0) return;
        if (waiting == 0 && !m_busy.load()) return;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

void StdoutCapture::run()
{
    char buffer[4096];
    for (;;) {
        pollfd p{m_readFd, POLLIN, 0};
        const int r = ::poll(&p, 1, -1);
        if (r < 0) continue;
        m_busy.store(true);
        const ssize_t n = ::read(m_readFd, buffer, sizeof buffer);
        if (n <= 0) {
            if (!m_partial.empty()) take("\n", 1);
            m_busy.store(false);
            return;
        }
        take(buffer, static_cast<size_t>(n));
        m_busy.store(false);
    }
}

void StdoutCapture::take(const char* data, size_t length)
{
    for (size_t i = 0; i < length; ++i) {
        if (data[i] != '\n') {
            m_partial += data[i];
            continue;
        }
        Entry e;
        e.fields = {m_partial};
        e.text = m_partial;
        m_partial.clear();
        m_recorder.append(Stream::Stdout, std::move(e), "stdout");
    }
}

LogCapture::LogCapture(Recorder& recorder, Narrator& narrator) : m_recorder(recorder), m_narrator(narrator) {}

LogCapture::~LogCapture()
{
    stop();
}

void LogCapture::start()
{
    using namespace oskit::logbackend;
    Recorder* recorder = &m_recorder;
    Narrator* narrator = &m_narrator;
    setObserver([recorder, narrator](Level level, std::string_view category, std::string_view message) {
        Entry e;
        e.text = std::string(levelName(level)) + " " + std::string(category) + ": " + std::string(message);
        e.fields = {e.text, levelName(level)};
        const bool shown = static_cast<int>(level) >= static_cast<int>(narrator->logLevel());
        recorder->append(Stream::Log, std::move(e), shown ? "log" : "");
    });
    useNone();
    setLevel(Level::Debug);
    m_running = true;
}

void LogCapture::stop()
{
    if (!m_running) return;
    oskit::logbackend::setObserver(nullptr);
    m_running = false;
}

} // namespace panelhost

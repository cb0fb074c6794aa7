#pragma once

// The host's narration: what happens, one line each, written for someone who
// meets the module for the first time. It goes to the terminal (a copy of the
// original standard output, since the module's own standard output is
// captured), never into the recorded streams.

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "oskit/LogBackend.h"

namespace panelhost {

class Narrator {
public:
    // fd: where to write; -1 writes nothing.
    explicit Narrator(int fd = -1) : m_fd(fd) {}

    void setFd(int fd);
    int fd() const { return m_fd; }
    void setEnabled(bool on);
    bool enabled() const;
    // The lowest log level shown; captured log lines below it are not shown.
    void setLogLevel(oskit::logbackend::Level level);
    oskit::logbackend::Level logLevel() const;

    // "tag    text", the tag padded to six places.
    void line(const std::string& tag, const std::string& text);
    // A heading from a script comment, set off by a blank line.
    void heading(const std::string& text);
    // A further comment line under a heading, indented.
    void note(const std::string& text);
    // A script line as it is about to run.
    void echo(const std::string& where, const std::string& text);
    // Always written, narration on or off (results, failures, the run dir).
    void always(const std::string& text);

    // A burst of state lines (a new recorder's register keys, the start-up
    // phases, a reload's republication) reads as one line per key prefix
    // (its first two words, as PANEL.MACRO0) with its count; a prefix with
    // few keys shows them. Gathered lines are shown before any other line, at
    // flushSummary(), and when no further state line came for a moment.
    // Verbose: every state line as it comes.
    void setVerbose(bool on);
    bool verbose() const;
    void flushSummary();

    // Keys a prefix shows one by one before a burst of them reads as a count.
    static constexpr size_t kShownKeys = 3;
    // How long a burst may pause before its lines are shown, and how long
    // lines are held at most.
    static constexpr int kQuietMs = 100;
    static constexpr int kHoldMs = 1000;

    ~Narrator();
    Narrator(const Narrator&) = delete;
    Narrator& operator=(const Narrator&) = delete;

private:
    void write(const std::string& text);
    void flushLocked();
    void gather(const std::string& text);
    void flusher();
    mutable std::mutex m_mutex;
    int m_fd;
    bool m_enabled = true;
    oskit::logbackend::Level m_logLevel = oskit::logbackend::Level::Info;
    bool m_verbose = false;
    std::vector<std::pair<std::string, std::vector<std::string>>> m_groups;
    std::chrono::steady_clock::time_point m_firstHeld;
    std::chrono::steady_clock::time_point m_lastHeld;
    std::condition_variable m_held; // a state line was gathered, or the narrator ends
    bool m_ending = false;
    std::thread m_flusher; // started with the first gathered line
};

} // namespace panelhost

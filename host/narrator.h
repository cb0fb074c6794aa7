#pragma once

// The host's narration: what happens, one line each, written for someone who
// meets the module for the first time. It goes to the terminal (a copy of the
// original standard output, since the module's own standard output is
// captured), never into the recorded streams.

#include <mutex>
#include <string>
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

    // While summarising (the start-up phases publish thousands of keys), state
    // lines are gathered by their first two words and shown as one line per
    // group at the next flush; a group of one key shows the key itself.
    void setSummarising(bool on);
    void flushSummary();

private:
    void write(const std::string& text);
    void flushLocked();
    mutable std::mutex m_mutex;
    int m_fd;
    bool m_enabled = true;
    oskit::logbackend::Level m_logLevel = oskit::logbackend::Level::Info;
    bool m_summarising = false;
    std::vector<std::pair<std::string, std::vector<std::string>>> m_groups;
};

} // namespace panelhost

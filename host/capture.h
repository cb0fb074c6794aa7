#pragma once

// Capture of the module's output: its standard output (file descriptor 1 goes
// to a pipe that a reader thread splits into lines of the "stdout" stream) and
// its log entries (through the log backend's observer, as lines "LEVEL
// Category: message" in the "log" stream).

#include <atomic>
#include <string>
#include <thread>

namespace panelhost {

class Recorder;
class Narrator;

class StdoutCapture {
public:
    StdoutCapture(Recorder& recorder, Narrator& narrator);
    ~StdoutCapture();
    StdoutCapture(const StdoutCapture&) = delete;
    StdoutCapture& operator=(const StdoutCapture&) = delete;

    // Redirects file descriptor 1. Answers false (and captures nothing) if a
    // pipe can't be made.
    bool start();
    // Puts file descriptor 1 back and takes what is left.
    void stop();
    bool running() const { return m_running; }
    // A copy of the standard output as it was before start (-1 before start).
    int originalFd() const { return m_originalFd; }
    // Flushes the process's buffered standard output and waits until the
    // reader has taken every complete line written so far.
    void sync();

private:
    void run();
    void take(const char* data, size_t length);

    Recorder& m_recorder;
    Narrator& m_narrator;
    int m_originalFd = -1;
    int m_readFd = -1;
    bool m_running = false;
    std::atomic<bool> m_busy{false};
    std::string m_partial;
    std::thread m_thread;
};

// Installs the log observer (and the level) for the run; removes it when done.
class LogCapture {
public:
    LogCapture(Recorder& recorder, Narrator& narrator);
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    // Captures every level; the sink shows nothing (the narration does).
    void start();
    void stop();

private:
    Recorder& m_recorder;
    Narrator& m_narrator;
    bool m_running = false;
};

} // namespace panelhost

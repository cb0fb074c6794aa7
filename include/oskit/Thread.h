#pragma once

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

#include "panelkit/Export.h"

namespace oskit {

// A named thread whose body is run(). It can be started again after run()
// has returned. sleep() and mssleep() called on an oskit::Thread end early
// once shutdown() of that thread has begun.
class PANEL_API Thread {
public:
    enum EPriority { PRIORITY_LOW = 256, PRIORITY_NORMAL = 257, PRIORITY_HIGH = 259 };
    enum EState { STATE_CREATED = 0, STATE_STARTING = 1, STATE_RUNNING = 2, STATE_TERMINATED = 3 };

    Thread();
    explicit Thread(std::string name);
    virtual ~Thread();

    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;

    // Starts run() on a new thread. A thread still running is left alone
    // (false); one whose run() has returned is joined and started again.
    bool start(int priority = PRIORITY_NORMAL);
    // Calls shutdownCallback(), then waits for run() to end; timeoutMs < 0
    // waits without limit. Answers false if the thread is still running
    // when the time ran out. Never joins the calling thread itself.
    bool shutdown(int timeoutMs = -1);
    virtual bool shutdownCallback();

    // 2 (STATE_RUNNING) while run() executes.
    int getState() const { return m_state.load(); }
    bool isRunning() const { return m_state.load() == STATE_RUNNING; }
    const std::string& getName() const { return m_name; }

    static void sleep(unsigned seconds);
    static void mssleep(unsigned milliseconds);

protected:
    virtual void run() = 0;

private:
    void body();

    std::string m_name;
    std::thread m_thread;
    std::atomic<int> m_state{STATE_CREATED};
    std::mutex m_mutex;
    std::mutex m_controlMutex; // serialises start() and the join of shutdown()
    std::condition_variable m_finished;
    std::condition_variable m_wake;
    std::atomic<bool> m_shutdownRequested{false};
    friend struct ThreadSleep;
};

} // namespace oskit

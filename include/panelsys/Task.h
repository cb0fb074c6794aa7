#pragma once

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

#include <boost/date_time/posix_time/posix_time_duration.hpp>

#include "panelkit/Export.h"

// A completion signal with a time limit.
class PANEL_API SignalingEvent {
public:
    explicit SignalingEvent(const boost::posix_time::time_duration& timeout);
    ~SignalingEvent();
    SignalingEvent(const SignalingEvent&) = delete;
    SignalingEvent& operator=(const SignalingEvent&) = delete;

    // True once operationIsComplete was called; false when the time limit ran out first.
    bool waitForOperationToComplete();
    void operationIsComplete();

private:
    boost::posix_time::time_duration m_timeout;
    std::mutex m_mutex;
    std::condition_variable m_cond;
    bool m_complete = false;
};

// A task on a thread of its own. run() reads m_running before each step and
// calls operationIsComplete on m_pStopEvent (when set) as it leaves.
class PANEL_API Task {
public:
    Task(std::string name, const boost::posix_time::time_duration& period);
    virtual ~Task();
    Task(const Task&) = delete;
    Task& operator=(const Task&) = delete;

    // Sets the running flag, starts the thread (which calls run()) and
    // signals the event once the thread is up.
    void startTask(SignalingEvent& started);
    // Clears the running flag and stores the event for run() to signal. Joins
    // the thread when it has ended.
    void stopTask(SignalingEvent& stopped);

    virtual void run() = 0;
    virtual void stop();

    const std::string& getName() const { return m_name; }
    const boost::posix_time::time_duration& getPeriod() const { return m_period; }

    // Sleeps up to the duration; returns early (false) once stopTask was called.
    bool waitFor(const boost::posix_time::time_duration& duration);

protected:
    std::atomic<bool> m_running{false};
    std::atomic<SignalingEvent*> m_pStopEvent{nullptr};

private:
    std::string m_name;
    boost::posix_time::time_duration m_period;
    std::thread m_thread;
    std::mutex m_mutex;
    std::condition_variable m_wake;
};

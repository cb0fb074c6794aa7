#include "panelsys/Task.h"

#include <chrono>

namespace {

// Waits on the condition for the predicate up to a Boost duration; infinity
// waits without limit, a negative or invalid duration not at all.
template <class Predicate>
bool waitDuration(std::condition_variable& cond, std::unique_lock<std::mutex>& lock,
                  const boost::posix_time::time_duration& duration, Predicate ready)
{
    if (duration.is_pos_infinity()) {
        cond.wait(lock, ready);
        return true;
    }
    if (duration.is_special() || duration.is_negative()) return ready();
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::microseconds(duration.total_microseconds());
    return cond.wait_until(lock, deadline, ready);
}

} // namespace

SignalingEvent::SignalingEvent(const boost::posix_time::time_duration& timeout) : m_timeout(timeout) {}

SignalingEvent::~SignalingEvent() = default;

bool SignalingEvent::waitForOperationToComplete()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    return waitDuration(m_cond, lock, m_timeout, [this] { return m_complete; });
}

// Notifies under the lock: a waiter may destroy the event as soon as it returns.
void SignalingEvent::operationIsComplete()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_complete = true;
    m_cond.notify_all();
}

Task::Task(std::string name, const boost::posix_time::time_duration& period)
    : m_name(std::move(name)), m_period(period)
{
}

Task::~Task()
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_running = false;
    }
    m_wake.notify_all();
    if (m_thread.joinable()) {
        if (m_thread.get_id() == std::this_thread::get_id()) {
            m_thread.detach();
        } else {
            m_thread.join();
        }
    }
}

void Task::startTask(SignalingEvent& started)
{
    if (m_running.load()) {
        started.operationIsComplete();
        return;
    }
    if (m_thread.joinable() && m_thread.get_id() != std::this_thread::get_id()) m_thread.join();
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_pStopEvent = nullptr;
        m_running = true;
    }
    m_thread = std::thread([this, &started] {
        started.operationIsComplete();
        run();
    });
}

void Task::stopTask(SignalingEvent& stopped)
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_pStopEvent = &stopped;
        m_running = false;
    }
    m_wake.notify_all();
}

void Task::stop()
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_running = false;
    }
    m_wake.notify_all();
}

bool Task::waitFor(const boost::posix_time::time_duration& duration)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    waitDuration(m_wake, lock, duration, [this] { return !m_running.load(); });
    return m_running.load();
}

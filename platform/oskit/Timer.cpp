#include "oskit/Timer.h"

#include <vector>

namespace oskit {

ICallback::~ICallback() = default;

Timer::Timer() = default;

Timer::~Timer()
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_quit = true;
        m_running = false;
        ++m_generation;
    }
    m_cond.notify_all();
    if (m_thread.joinable()) {
        if (m_thread.get_id() == std::this_thread::get_id()) {
            m_thread.detach();
        } else {
            m_thread.join();
        }
    }
    for (ICallback* callback : m_callbacks) delete callback;
}

void Timer::addCallback(ICallback* callback)
{
    if (callback == nullptr) return;
    std::lock_guard<std::mutex> lock(m_mutex);
    m_callbacks.push_back(callback);
}

void Timer::startMilliSec(unsigned ms, bool singleShot)
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_quit) return;
        m_periodMs = ms;
        m_singleShot = singleShot;
        m_deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
        ++m_generation;
        m_running = true;
        if (!m_thread.joinable()) {
            m_thread = std::thread(&Timer::worker, this);
            m_workerId = m_thread.get_id();
        }
    }
    m_cond.notify_all();
}

void Timer::stop()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    m_running = false;
    ++m_generation;
    m_cond.notify_all();
    if (std::this_thread::get_id() != m_workerId) {
        m_callbackDone.wait(lock, [this] { return !m_inCallback; });
    }
}

// Waits for the deadline of the current start; a start or stop in between
// (a new generation) begins the wait anew. The callbacks run unlocked.
void Timer::worker()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    while (!m_quit) {
        if (!m_running.load()) {
            m_cond.wait(lock, [this] { return m_quit || m_running.load(); });
            continue;
        }
        const unsigned long generation = m_generation;
        if (m_cond.wait_until(lock, m_deadline, [this, generation] { return m_quit || m_generation != generation; })) {
            continue;
        }
        if (m_singleShot) {
            m_running = false;
        } else {
            const auto period = std::chrono::milliseconds(m_periodMs > 0 ? m_periodMs : 1);
            m_deadline += period;
            const auto now = std::chrono::steady_clock::now();
            if (m_deadline < now) m_deadline = now + period;
        }
        const std::vector<ICallback*> callbacks(m_callbacks.begin(), m_callbacks.end());
        m_inCallback = true;
        lock.unlock();
        for (ICallback* callback : callbacks) callback->call();
        lock.lock();
        m_inCallback = false;
        m_callbackDone.notify_all();
    }
}

} // namespace oskit

#include "oskit/Thread.h"

#include <pthread.h>

#include <chrono>

namespace oskit {

namespace {
// The oskit::Thread whose run() executes on this thread, if any.
thread_local Thread* t_currentThread = nullptr;
} // namespace

// Sleeps of the current thread; they end early once its shutdown() has begun.
struct ThreadSleep {
    static void sleepFor(std::chrono::milliseconds duration)
    {
        Thread* self = t_currentThread;
        if (self == nullptr) {
            std::this_thread::sleep_for(duration);
            return;
        }
        std::unique_lock<std::mutex> lock(self->m_mutex);
        self->m_wake.wait_for(lock, duration, [self] { return self->m_shutdownRequested.load(); });
    }
};

Thread::Thread() : m_name("oskit") {}

Thread::Thread(std::string name) : m_name(std::move(name)) {}

Thread::~Thread()
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_shutdownRequested = true;
    }
    m_wake.notify_all();
    std::lock_guard<std::mutex> control(m_controlMutex);
    if (m_thread.joinable()) {
        if (m_thread.get_id() == std::this_thread::get_id()) {
            m_thread.detach();
        } else {
            m_thread.join();
        }
    }
}

// Priorities are accepted and not mapped to the scheduler: every thread runs
// with the default policy.
bool Thread::start(int /*priority*/)
{
    std::lock_guard<std::mutex> control(m_controlMutex);
    const int state = m_state.load();
    if (state == STATE_STARTING || state == STATE_RUNNING) return false;
    if (m_thread.joinable()) {
        if (m_thread.get_id() == std::this_thread::get_id()) return false;
        m_thread.join();
    }
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_shutdownRequested = false;
        m_state = STATE_RUNNING;
    }
    try {
        m_thread = std::thread(&Thread::body, this);
    } catch (...) {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_state = STATE_TERMINATED;
        return false;
    }
    return true;
}

void Thread::body()
{
    t_currentThread = this;
    const std::string shortName = m_name.substr(0, 15);
    pthread_setname_np(pthread_self(), shortName.c_str());
    run();
    t_currentThread = nullptr;
    std::lock_guard<std::mutex> lock(m_mutex);
    m_state = STATE_TERMINATED;
    m_finished.notify_all();
}

bool Thread::shutdown(int timeoutMs)
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_shutdownRequested = true;
    }
    shutdownCallback();
    m_wake.notify_all();
    if (t_currentThread == this) return false;

    auto stopped = [this] {
        const int state = m_state.load();
        return state != STATE_STARTING && state != STATE_RUNNING;
    };
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        if (timeoutMs < 0) {
            m_finished.wait(lock, stopped);
        } else if (!m_finished.wait_for(lock, std::chrono::milliseconds(timeoutMs), stopped)) {
            return false;
        }
    }
    std::lock_guard<std::mutex> control(m_controlMutex);
    if (m_thread.joinable() && stopped()) m_thread.join();
    return true;
}

bool Thread::shutdownCallback()
{
    return true;
}

void Thread::sleep(unsigned seconds)
{
    ThreadSleep::sleepFor(std::chrono::milliseconds(static_cast<long long>(seconds) * 1000));
}

void Thread::mssleep(unsigned milliseconds)
{
    ThreadSleep::sleepFor(std::chrono::milliseconds(milliseconds));
}

} // namespace oskit

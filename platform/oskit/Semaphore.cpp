#include "oskit/Semaphore.h"

#include <chrono>

namespace oskit {

MutexSemaphore::MutexSemaphore() = default;

MutexSemaphore::~MutexSemaphore() = default;

void MutexSemaphore::take()
{
    m_mutex.lock();
}

void MutexSemaphore::give()
{
    m_mutex.unlock();
}

BinarySemaphore::BinarySemaphore() = default;

BinarySemaphore::~BinarySemaphore() = default;

int BinarySemaphore::take(unsigned timeoutMs)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    if (timeoutMs == WAIT_FOREVER) {
        m_cond.wait(lock, [this] { return m_free; });
    } else if (timeoutMs > 0) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
        m_cond.wait_until(lock, deadline, [this] { return m_free; });
    }
    if (!m_free) return 1;
    m_free = false;
    return 0;
}

void BinarySemaphore::give()
{
    // Notifies under the lock: the taker may destroy the semaphore once it has it.
    std::lock_guard<std::mutex> lock(m_mutex);
    m_free = true;
    m_cond.notify_one();
}

} // namespace oskit

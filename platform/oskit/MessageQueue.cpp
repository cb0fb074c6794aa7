#include "oskit/MessageQueue.h"

#include <algorithm>
#include <chrono>
#include <cstring>

namespace oskit {

namespace {

// Waits on the condition for the predicate: -1 (any negative) without limit,
// 0 not at all, otherwise up to timeoutMs on the steady clock.
template <class Predicate>
bool waitFor(std::condition_variable& cond, std::unique_lock<std::mutex>& lock, int timeoutMs, Predicate ready)
{
    if (timeoutMs < 0) {
        cond.wait(lock, ready);
        return true;
    }
    if (timeoutMs == 0) return ready();
    return cond.wait_for(lock, std::chrono::milliseconds(timeoutMs), ready);
}

} // namespace

MessageQueue::MessageQueue() = default;

MessageQueue::~MessageQueue() = default;

void MessageQueue::create(const std::string& name, uint16_t capacity, int messageSize, int /*flags*/)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_name = name;
    m_capacity = capacity > 0 ? capacity : 1;
    m_messageSize = std::max(messageSize, 0);
    m_messages.clear();
    m_created = true;
}

int MessageQueue::send(const void* data, int size, int timeoutMs)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    if (!m_created || size < 0 || (data == nullptr && size > 0)) return -1;
    if (!waitFor(m_notFull, lock, timeoutMs, [this] { return m_messages.size() < m_capacity; })) return -1;
    const int length = std::min(size, m_messageSize);
    std::vector<unsigned char> message(static_cast<size_t>(m_messageSize), 0);
    if (length > 0) std::memcpy(message.data(), data, static_cast<size_t>(length));
    m_messages.push_back(std::move(message));
    lock.unlock();
    m_notEmpty.notify_one();
    return length;
}

int MessageQueue::receive(void* data, int size, int timeoutMs)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    if (!m_created || size < 0 || (data == nullptr && size > 0)) return -1;
    if (!waitFor(m_notEmpty, lock, timeoutMs, [this] { return !m_messages.empty(); })) return -1;
    std::vector<unsigned char> message = std::move(m_messages.front());
    m_messages.pop_front();
    lock.unlock();
    m_notFull.notify_one();
    const int length = std::min(size, static_cast<int>(message.size()));
    if (length > 0) std::memcpy(data, message.data(), static_cast<size_t>(length));
    return length;
}

size_t MessageQueue::count() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_messages.size();
}

} // namespace oskit

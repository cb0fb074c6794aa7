#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

#include "panelkit/Export.h"

namespace oskit {

// An in-process bounded queue of fixed-size messages. The name serves logs only.
class PANEL_API MessageQueue {
public:
    MessageQueue();
    ~MessageQueue();

    void create(const std::string& name, uint16_t capacity, int messageSize, int flags = 0);
    // Copies min(size, messageSize) bytes, the rest of the message zeroed.
    // Waits up to timeoutMs for room (-1: no limit, 0: not at all).
    // Answers the bytes queued, or -1 when full after the time-out or not created.
    int send(const void* data, int size, int timeoutMs);
    // Copies the oldest message into data (min(size, messageSize) bytes).
    // Waits up to timeoutMs (-1: no limit, 0: not at all). Answers the bytes
    // copied, or -1 on time-out or when not created.
    int receive(void* data, int size, int timeoutMs);

    const std::string& getName() const { return m_name; }
    size_t count() const;

private:
    std::string m_name;
    uint16_t m_capacity = 0;
    int m_messageSize = 0;
    bool m_created = false;
    mutable std::mutex m_mutex;
    std::condition_variable m_notEmpty;
    std::condition_variable m_notFull;
    std::deque<std::vector<unsigned char>> m_messages;
};

} // namespace oskit

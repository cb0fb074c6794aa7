#pragma once

#include <condition_variable>
#include <mutex>

#include "panelkit/Export.h"

namespace oskit {

// Mutual exclusion. Not recursive.
class PANEL_API MutexSemaphore {
public:
    MutexSemaphore();
    ~MutexSemaphore();
    void take();
    void give();

private:
    std::mutex m_mutex;
};

// Takes a MutexSemaphore for the life of a scope.
class MutexLocker {
public:
    explicit MutexLocker(MutexSemaphore& sem) : m_sem(sem) { m_sem.take(); }
    ~MutexLocker() { m_sem.give(); }
    MutexLocker(const MutexLocker&) = delete;
    MutexLocker& operator=(const MutexLocker&) = delete;

private:
    MutexSemaphore& m_sem;
};

// A binary semaphore on the steady clock. It starts free: the first take succeeds.
class PANEL_API BinarySemaphore {
public:
    static constexpr unsigned WAIT_FOREVER = 0xFFFFFFFFu;

    BinarySemaphore();
    ~BinarySemaphore();
    // 0 when taken, 1 when the time ran out. take(0) never waits.
    int take(unsigned timeoutMs = WAIT_FOREVER);
    void give();

private:
    std::mutex m_mutex;
    std::condition_variable m_cond;
    bool m_free = true;
};

} // namespace oskit

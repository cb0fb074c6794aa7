#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <list>
#include <mutex>
#include <thread>

#include "panelkit/Export.h"

namespace oskit {

class PANEL_API ICallback {
public:
    virtual ~ICallback();
    virtual void call() = 0;
};

// Binds an object and a member function without arguments.
template <class T>
class Callback : public ICallback {
public:
    Callback(T* object, void (T::*function)()) : m_object(object), m_function(function) {}
    void call() override { (m_object->*m_function)(); }

private:
    T* m_object;
    void (T::*m_function)();
};

// A timer with one worker thread. Started with singleShot true it fires once;
// otherwise every period. Callbacks run on the worker, outside any lock of the
// timer; stop() waits for a callback in progress unless called from one.
class PANEL_API Timer {
public:
    Timer();
    ~Timer();
    Timer(const Timer&) = delete;
    Timer& operator=(const Timer&) = delete;

    // The timer owns the callbacks it is given.
    void addCallback(ICallback* callback);
    // Starts (or restarts) the timer: the first expiry is ms from now.
    void startMilliSec(unsigned ms, bool singleShot);
    void stop();
    bool isRunning() const { return m_running.load(); }

private:
    void worker();

    std::list<ICallback*> m_callbacks;
    std::atomic<bool> m_running{false};
    std::mutex m_mutex;
    std::condition_variable m_cond;
    std::thread m_thread;
    std::thread::id m_workerId;
    unsigned m_periodMs = 0;
    bool m_singleShot = true;
    bool m_quit = false;
    unsigned long m_generation = 0;
    std::chrono::steady_clock::time_point m_deadline;
    bool m_inCallback = false;
    std::condition_variable m_callbackDone;
};

} // namespace oskit

#pragma once

// Holds a module thread inside the host, at the first publication of one key
// after it is armed, until the test opens the gate; meanwhile another thread
// makes a change of its own.

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>

struct HostGate {
    std::mutex mutex;
    std::condition_variable changed;
    std::atomic<bool> armed{false};
    bool inside = false;
    bool open = false;
    bool otherReturned = false;

    // From the state table's hook: holds the thread at the gated key.
    void atKey(const std::string& key, const std::string& gated)
    {
        if (key != gated || !armed.exchange(false)) return;
        std::unique_lock<std::mutex> lock(mutex);
        inside = true;
        changed.notify_all();
        changed.wait(lock, [&] { return open; });
    }
    // Waits until a thread is held at the gate.
    bool waitInside()
    {
        std::unique_lock<std::mutex> lock(mutex);
        return changed.wait_for(lock, std::chrono::seconds(10), [&] { return inside; });
    }
    // The other thread's FID has come back.
    void otherReturns()
    {
        std::lock_guard<std::mutex> lock(mutex);
        otherReturned = true;
        changed.notify_all();
    }
    // The other change is left to the held thread: a FID that did not wait for
    // it would come back within this time. Then the held thread goes on.
    void openAfterOtherOrTimeout()
    {
        std::unique_lock<std::mutex> lock(mutex);
        changed.wait_for(lock, std::chrono::milliseconds(500), [&] { return otherReturned; });
        open = true;
        changed.notify_all();
    }
};

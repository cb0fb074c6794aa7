#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>

// The turn at publishing one table of state. A change is published by the
// thread that makes it; when another thread is publishing that table already,
// the change is left to that thread, which publishes until nothing is left,
// and the changing thread waits until its change has gone out, so that a FID
// returns only once its state is published, on whichever thread it runs.
//
// A thread that holds a turn itself never waits: the host may call straight
// back in while a thread publishes (then the change goes out in that thread's
// next pass), and two publishing threads each calling back into the other's
// table would otherwise wait for each other.
//
// Every call is made with the owner's lock held, the lock that guards the
// table; waiting releases it.
class PublishTurn {
public:
    // A change that is out once `need` passes' worth of it are published (see
    // published()). True when the caller is to publish now: it holds the turn
    // until release(). False when another thread holds the turn; the caller has
    // waited for it unless it holds a turn itself.
    bool take(std::unique_lock<std::mutex>& lock, uint64_t need);
    // The holder has published everything up to `count`.
    void published(uint64_t count);
    // The holder has nothing left to publish: the turn ends.
    void release();

    // Ends the holder's turn when it leaves a pass by an exception.
    class Holder {
    public:
        Holder(PublishTurn& turn, std::mutex& lock) : m_turn(turn), m_lock(lock) {}
        ~Holder();
        void released() { m_held = false; }
        Holder(const Holder&) = delete;
        Holder& operator=(const Holder&) = delete;

    private:
        PublishTurn& m_turn;
        std::mutex& m_lock;
        bool m_held = true;
    };

private:
    bool m_held = false;
    uint64_t m_done = 0;
    std::condition_variable m_changeOut;
};

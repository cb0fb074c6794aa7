// The turn at publishing a table: who publishes, who waits, and who never waits.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "publishturn.h"

namespace {

using namespace std::chrono_literals;

// Threads that report when they are done, to a test that waits with a time-out.
struct Finish {
    std::mutex mutex;
    std::condition_variable changed;
    int done = 0;
    int ready = 0;

    void arrive()
    {
        std::unique_lock<std::mutex> lock(mutex);
        ++ready;
        changed.notify_all();
        changed.wait(lock, [&] { return ready >= 2; });
    }
    void finished()
    {
        std::lock_guard<std::mutex> lock(mutex);
        ++done;
        changed.notify_all();
    }
    bool waitDone(int count, std::chrono::milliseconds timeout)
    {
        std::unique_lock<std::mutex> lock(mutex);
        return changed.wait_for(lock, timeout, [&] { return done >= count; });
    }
};

} // namespace

TEST(PublishTurn, TheFirstThreadTakesTheTurnAndTheNextOneAfterItEnds)
{
    std::mutex lock;
    PublishTurn turn;
    std::unique_lock<std::mutex> held(lock);
    EXPECT_TRUE(turn.take(held, 1));
    turn.published(1);
    turn.release();
    EXPECT_TRUE(turn.take(held, 2));
    turn.release();
}

TEST(PublishTurn, AThreadWaitsUntilTheHolderHasPublishedItsChange)
{
    std::mutex lock;
    PublishTurn turn;
    {
        std::unique_lock<std::mutex> held(lock);
        ASSERT_TRUE(turn.take(held, 1));
    }
    std::atomic<bool> returned{false};
    Finish finish;
    std::thread other([&] {
        std::unique_lock<std::mutex> held(lock);
        EXPECT_FALSE(turn.take(held, 3));
        returned = true;
        held.unlock();
        finish.finished();
    });
    EXPECT_FALSE(finish.waitDone(1, 200ms));
    {
        std::lock_guard<std::mutex> held(lock);
        turn.published(2);
    }
    EXPECT_FALSE(finish.waitDone(1, 200ms));
    {
        std::lock_guard<std::mutex> held(lock);
        turn.published(3);
    }
    EXPECT_TRUE(finish.waitDone(1, 10s));
    other.join();
    EXPECT_TRUE(returned);
    std::lock_guard<std::mutex> held(lock);
    turn.release();
}

TEST(PublishTurn, ThreadsHoldingTurnsOfTwoTablesNeverWaitForEachOther)
{
    // Each thread publishes one table and, called back by the host meanwhile,
    // changes the other's: waiting for each other would never end.
    std::mutex lockA, lockB;
    PublishTurn turnA, turnB;
    Finish finish;
    auto publisher = [&finish](std::mutex& mine, PublishTurn& myTurn, std::mutex& theirs, PublishTurn& theirTurn) {
        {
            std::unique_lock<std::mutex> held(mine);
            EXPECT_TRUE(myTurn.take(held, 1));
        }
        finish.arrive();
        {
            std::unique_lock<std::mutex> held(theirs);
            EXPECT_FALSE(theirTurn.take(held, 5));
        }
        finish.finished();
    };
    std::thread a(publisher, std::ref(lockA), std::ref(turnA), std::ref(lockB), std::ref(turnB));
    std::thread b(publisher, std::ref(lockB), std::ref(turnB), std::ref(lockA), std::ref(turnA));
    EXPECT_TRUE(finish.waitDone(2, 10s));
    // Whatever happened, both threads go free.
    for (auto [mutex, turn] : {std::pair{&lockA, &turnA}, std::pair{&lockB, &turnB}}) {
        std::lock_guard<std::mutex> held(*mutex);
        turn->published(5);
    }
    a.join();
    b.join();
    std::scoped_lock held(lockA, lockB);
    turnA.release();
    turnB.release();
}

TEST(PublishTurn, AHolderLeavingByAnExceptionEndsItsTurn)
{
    std::mutex lock;
    PublishTurn turn;
    try {
        {
            std::unique_lock<std::mutex> held(lock);
            ASSERT_TRUE(turn.take(held, 1));
        }
        PublishTurn::Holder holder(turn, lock);
        throw 1;
    } catch (int) {
    }
    std::unique_lock<std::mutex> held(lock);
    EXPECT_TRUE(turn.take(held, 2));
    turn.release();
}

// Semaphores, the message queue and the timer.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>

#include "oskit/MessageQueue.h"
#include "oskit/Semaphore.h"
#include "oskit/Timer.h"

namespace {

using Clock = std::chrono::steady_clock;

template <class Predicate>
bool waitUntil(Predicate ready, std::chrono::milliseconds timeout = std::chrono::seconds(5))
{
    const auto deadline = Clock::now() + timeout;
    while (!ready()) {
        if (Clock::now() > deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

struct Counter {
    std::atomic<int> calls{0};
    void tick() { ++calls; }
};

} // namespace

TEST(MutexSemaphore, LockerExcludesOtherThreads)
{
    oskit::MutexSemaphore mutex;
    int shared = 0;
    auto work = [&] {
        for (int i = 0; i < 10000; ++i) {
            oskit::MutexLocker lock(mutex);
            ++shared;
        }
    };
    std::thread a(work);
    std::thread b(work);
    a.join();
    b.join();
    EXPECT_EQ(shared, 20000);
}

TEST(BinarySemaphore, StartsFreeFirstTakeSucceeds)
{
    oskit::BinarySemaphore sem;
    EXPECT_EQ(sem.take(0), 0);
}

TEST(BinarySemaphore, TakeZeroNeverWaits)
{
    oskit::BinarySemaphore sem;
    ASSERT_EQ(sem.take(0), 0);
    const auto before = Clock::now();
    EXPECT_EQ(sem.take(0), 1);
    EXPECT_LT(Clock::now() - before, std::chrono::seconds(1));
    sem.give();
    EXPECT_EQ(sem.take(0), 0);
}

TEST(BinarySemaphore, TakeTimesOutAfterDelay)
{
    oskit::BinarySemaphore sem;
    ASSERT_EQ(sem.take(), 0);
    const auto before = Clock::now();
    EXPECT_EQ(sem.take(50), 1);
    EXPECT_GE(Clock::now() - before, std::chrono::milliseconds(50));
}

TEST(BinarySemaphore, GiveFromOtherThreadReleasesWaiter)
{
    oskit::BinarySemaphore sem;
    ASSERT_EQ(sem.take(), 0);
    std::thread giver([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        sem.give();
    });
    EXPECT_EQ(sem.take(10000), 0);
    giver.join();
}

TEST(BinarySemaphore, GivesDoNotCount)
{
    oskit::BinarySemaphore sem;
    sem.give();
    sem.give();
    EXPECT_EQ(sem.take(0), 0);
    EXPECT_EQ(sem.take(0), 1);
}

TEST(MessageQueue, DeliversInOrderWithFixedSize)
{
    oskit::MessageQueue queue;
    queue.create("macroCmdQ", 100, 8, 0);
    EXPECT_EQ(queue.getName(), "macroCmdQ");
    EXPECT_EQ(queue.send("abc", 3, 0), 3);
    EXPECT_EQ(queue.send("0123456789", 10, 0), 8);
    EXPECT_EQ(queue.count(), 2u);
    char out[16];
    std::memset(out, 'x', sizeof out);
    EXPECT_EQ(queue.receive(out, 16, 0), 8);
    EXPECT_EQ(std::memcmp(out, "abc\0\0\0\0\0", 8), 0);
    EXPECT_EQ(out[8], 'x');
    EXPECT_EQ(queue.receive(out, 4, 0), 4);
    EXPECT_EQ(std::memcmp(out, "0123", 4), 0);
    EXPECT_EQ(queue.count(), 0u);
}

TEST(MessageQueue, FullQueueRefusesAfterTimeout)
{
    oskit::MessageQueue queue;
    queue.create("q", 2, 4);
    int value = 1;
    EXPECT_EQ(queue.send(&value, sizeof value, 0), 4);
    EXPECT_EQ(queue.send(&value, sizeof value, 0), 4);
    EXPECT_EQ(queue.send(&value, sizeof value, 0), -1);
    const auto before = Clock::now();
    EXPECT_EQ(queue.send(&value, sizeof value, 30), -1);
    EXPECT_GE(Clock::now() - before, std::chrono::milliseconds(30));
    EXPECT_EQ(queue.count(), 2u);
}

TEST(MessageQueue, EmptyQueueReceiveTimesOut)
{
    oskit::MessageQueue queue;
    queue.create("q", 4, 4);
    int value = 0;
    EXPECT_EQ(queue.receive(&value, sizeof value, 0), -1);
    const auto before = Clock::now();
    EXPECT_EQ(queue.receive(&value, sizeof value, 30), -1);
    EXPECT_GE(Clock::now() - before, std::chrono::milliseconds(30));
}

TEST(MessageQueue, BlockingReceiveWaitsForSend)
{
    oskit::MessageQueue queue;
    queue.create("q", 4, 4);
    std::atomic<int> received{0};
    std::thread receiver([&] {
        int value = 0;
        if (queue.receive(&value, sizeof value, -1) == 4) received = value;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    int value = 77;
    EXPECT_EQ(queue.send(&value, sizeof value, 100), 4);
    receiver.join();
    EXPECT_EQ(received.load(), 77);
}

TEST(MessageQueue, BlockedSendProceedsWhenRoomAppears)
{
    oskit::MessageQueue queue;
    queue.create("q", 1, 4);
    int value = 1;
    ASSERT_EQ(queue.send(&value, sizeof value, 0), 4);
    std::atomic<int> result{0};
    std::thread sender([&] {
        int second = 2;
        result = queue.send(&second, sizeof second, -1);
    });
    int out = 0;
    EXPECT_EQ(queue.receive(&out, sizeof out, 1000), 4);
    EXPECT_EQ(out, 1);
    EXPECT_EQ(queue.receive(&out, sizeof out, 5000), 4);
    EXPECT_EQ(out, 2);
    sender.join();
    EXPECT_EQ(result.load(), 4);
}

TEST(MessageQueue, NotCreatedAnswersMinusOne)
{
    oskit::MessageQueue queue;
    int value = 0;
    EXPECT_EQ(queue.send(&value, sizeof value, 0), -1);
    EXPECT_EQ(queue.receive(&value, sizeof value, 0), -1);
}

TEST(Timer, SingleShotFiresOnceAfterDelay)
{
    Counter counter;
    oskit::Timer timer;
    timer.addCallback(new oskit::Callback<Counter>(&counter, &Counter::tick));
    const auto before = Clock::now();
    timer.startMilliSec(30, true);
    EXPECT_TRUE(timer.isRunning());
    ASSERT_TRUE(waitUntil([&] { return counter.calls.load() == 1; }));
    EXPECT_GE(Clock::now() - before, std::chrono::milliseconds(30));
    EXPECT_TRUE(waitUntil([&] { return !timer.isRunning(); }));
    std::this_thread::sleep_for(std::chrono::milliseconds(80));
    EXPECT_EQ(counter.calls.load(), 1);
}

TEST(Timer, SingleShotRestartedByStopAndStartFiresOnce)
{
    Counter counter;
    oskit::Timer timer;
    timer.addCallback(new oskit::Callback<Counter>(&counter, &Counter::tick));
    timer.startMilliSec(200, true);
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    timer.stop();
    EXPECT_FALSE(timer.isRunning());
    const auto restarted = Clock::now();
    timer.startMilliSec(200, true);
    ASSERT_TRUE(waitUntil([&] { return counter.calls.load() == 1; }));
    EXPECT_GE(Clock::now() - restarted, std::chrono::milliseconds(200));
    std::this_thread::sleep_for(std::chrono::milliseconds(250));
    EXPECT_EQ(counter.calls.load(), 1);
}

TEST(Timer, StartAgainRearmsFromNow)
{
    Counter counter;
    oskit::Timer timer;
    timer.addCallback(new oskit::Callback<Counter>(&counter, &Counter::tick));
    timer.startMilliSec(150, true);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    const auto restarted = Clock::now();
    timer.startMilliSec(150, true);
    ASSERT_TRUE(waitUntil([&] { return counter.calls.load() == 1; }));
    EXPECT_GE(Clock::now() - restarted, std::chrono::milliseconds(150));
}

TEST(Timer, StoppedTimerDoesNotFire)
{
    Counter counter;
    oskit::Timer timer;
    timer.addCallback(new oskit::Callback<Counter>(&counter, &Counter::tick));
    // A period far above any scheduling delay between the start and the stop: a loaded machine that
    // holds this thread past the period would make the timer fire before stop() is reached.
    timer.startMilliSec(400, true);
    timer.stop();
    std::this_thread::sleep_for(std::chrono::milliseconds(600));
    EXPECT_EQ(counter.calls.load(), 0);
}

TEST(Timer, PeriodicFiresRepeatedlyUntilStopped)
{
    Counter counter;
    oskit::Timer timer;
    timer.addCallback(new oskit::Callback<Counter>(&counter, &Counter::tick));
    timer.startMilliSec(5, false);
    ASSERT_TRUE(waitUntil([&] { return counter.calls.load() >= 3; }));
    timer.stop();
    const int after = counter.calls.load();
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(counter.calls.load(), after);
}

namespace {

// Stops its own timer from inside the callback.
struct SelfStopper {
    oskit::Timer* timer = nullptr;
    std::atomic<int> calls{0};
    void tick()
    {
        ++calls;
        timer->stop();
    }
};

} // namespace

TEST(Timer, StopFromInsideCallbackDoesNotDeadlock)
{
    SelfStopper stopper;
    oskit::Timer timer;
    stopper.timer = &timer;
    timer.addCallback(new oskit::Callback<SelfStopper>(&stopper, &SelfStopper::tick));
    timer.startMilliSec(5, false);
    ASSERT_TRUE(waitUntil([&] { return stopper.calls.load() >= 1 && !timer.isRunning(); }));
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_EQ(stopper.calls.load(), 1);
}

TEST(Timer, AllCallbacksOfListAreCalled)
{
    Counter a;
    Counter b;
    oskit::Timer timer;
    timer.addCallback(new oskit::Callback<Counter>(&a, &Counter::tick));
    timer.addCallback(new oskit::Callback<Counter>(&b, &Counter::tick));
    timer.startMilliSec(1, true);
    EXPECT_TRUE(waitUntil([&] { return a.calls.load() == 1 && b.calls.load() == 1; }));
}

TEST(Timer, DestructorStopsRunningTimer)
{
    Counter counter;
    {
        oskit::Timer timer;
        timer.addCallback(new oskit::Callback<Counter>(&counter, &Counter::tick));
        timer.startMilliSec(10000, true);
    }
    EXPECT_EQ(counter.calls.load(), 0);
}

// oskit::Thread: start, restart after run() returned, shutdown, early-ending sleeps.

#include <gtest/gtest.h>

#include <pthread.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>

#include "oskit/Thread.h"

namespace {

using Clock = std::chrono::steady_clock;

// Waits up to a time-out for the predicate; answers whether it came true.
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

class CountingThread : public oskit::Thread {
public:
    CountingThread() : oskit::Thread("CountingThread") {}
    ~CountingThread() override { shutdown(); }
    std::atomic<int> runs{0};

protected:
    void run() override { ++runs; }
};

// Runs until shutdown() releases it; sleeps in between.
class SleepingThread : public oskit::Thread {
public:
    explicit SleepingThread(unsigned sleepMs) : oskit::Thread("SleepingThreadWithALongName"), m_sleepMs(sleepMs) {}
    ~SleepingThread() override { shutdown(); }
    std::atomic<bool> entered{false};
    std::atomic<int> callbacks{0};
    std::atomic<bool> stop{false};
    std::string name;

    bool shutdownCallback() override
    {
        ++callbacks;
        stop = true;
        return true;
    }

protected:
    void run() override
    {
        char buffer[32] = {};
        pthread_getname_np(pthread_self(), buffer, sizeof buffer);
        name = buffer;
        entered = true;
        while (!stop) mssleep(m_sleepMs);
    }

private:
    unsigned m_sleepMs;
};

// Blocks in run() until released, to see the running state.
class GateThread : public oskit::Thread {
public:
    GateThread() : oskit::Thread("GateThread") {}
    ~GateThread() override
    {
        release();
        shutdown();
    }
    void release()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_open = true;
        m_cond.notify_all();
    }

protected:
    void run() override
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_cond.wait(lock, [this] { return m_open; });
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_cond;
    bool m_open = false;
};

class SelfStoppingThread : public oskit::Thread {
public:
    SelfStoppingThread() : oskit::Thread("SelfStopping") {}
    ~SelfStoppingThread() override { shutdown(); }
    std::atomic<int> selfResult{-1};

protected:
    void run() override { selfResult = shutdown(100) ? 1 : 0; }
};

class SecondsSleeper : public oskit::Thread {
public:
    SecondsSleeper() : oskit::Thread("SecondsSleeper") {}
    ~SecondsSleeper() override { shutdown(); }
    std::atomic<bool> entered{false};
    std::atomic<bool> woke{false};

protected:
    void run() override
    {
        entered = true;
        sleep(30);
        woke = true;
    }
};

} // namespace

TEST(Thread, RunsBodyAndTerminates)
{
    CountingThread thread;
    EXPECT_EQ(thread.getState(), oskit::Thread::STATE_CREATED);
    EXPECT_TRUE(thread.start(oskit::Thread::PRIORITY_NORMAL));
    EXPECT_TRUE(thread.shutdown(5000));
    EXPECT_EQ(thread.runs.load(), 1);
    EXPECT_EQ(thread.getState(), oskit::Thread::STATE_TERMINATED);
    EXPECT_FALSE(thread.isRunning());
}

TEST(Thread, RestartsAfterRunReturned)
{
    CountingThread thread;
    for (int i = 1; i <= 3; ++i) {
        EXPECT_TRUE(thread.start(oskit::Thread::PRIORITY_HIGH));
        ASSERT_TRUE(waitUntil([&] { return thread.runs.load() == i && !thread.isRunning(); }));
    }
    EXPECT_EQ(thread.runs.load(), 3);
}

TEST(Thread, RunningThreadIsNotStartedTwiceAndReportsStateTwo)
{
    GateThread thread;
    EXPECT_TRUE(thread.start());
    EXPECT_EQ(thread.getState(), 2);
    EXPECT_TRUE(thread.isRunning());
    EXPECT_FALSE(thread.start());
    thread.release();
    EXPECT_TRUE(thread.shutdown(5000));
    EXPECT_FALSE(thread.isRunning());
}

TEST(Thread, ShutdownCallsCallbackAndEndsSleep)
{
    SleepingThread thread(60000);
    ASSERT_TRUE(thread.start());
    ASSERT_TRUE(waitUntil([&] { return thread.entered.load(); }));
    const auto before = Clock::now();
    EXPECT_TRUE(thread.shutdown(-1));
    EXPECT_LT(Clock::now() - before, std::chrono::seconds(30));
    EXPECT_EQ(thread.callbacks.load(), 1);
    EXPECT_EQ(thread.getState(), oskit::Thread::STATE_TERMINATED);
}

TEST(Thread, NameIsCutToFifteenCharacters)
{
    SleepingThread thread(10);
    ASSERT_TRUE(thread.start());
    ASSERT_TRUE(waitUntil([&] { return thread.entered.load(); }));
    EXPECT_TRUE(thread.shutdown(5000));
    EXPECT_EQ(thread.name, "SleepingThreadW");
    EXPECT_EQ(thread.getName(), "SleepingThreadWithALongName");
}

TEST(Thread, ShutdownTimesOutWhileRunContinues)
{
    GateThread thread;
    ASSERT_TRUE(thread.start());
    const auto before = Clock::now();
    EXPECT_FALSE(thread.shutdown(50));
    EXPECT_GE(Clock::now() - before, std::chrono::milliseconds(50));
    EXPECT_TRUE(thread.isRunning());
    thread.release();
    EXPECT_TRUE(thread.shutdown(5000));
}

TEST(Thread, ShutdownFromOwnThreadDoesNotJoinItself)
{
    SelfStoppingThread thread;
    ASSERT_TRUE(thread.start());
    ASSERT_TRUE(waitUntil([&] { return thread.selfResult.load() != -1; }));
    EXPECT_EQ(thread.selfResult.load(), 0);
    EXPECT_TRUE(thread.shutdown(5000));
}

TEST(Thread, SecondsSleepEndsEarlyOnShutdown)
{
    SecondsSleeper thread;
    ASSERT_TRUE(thread.start());
    ASSERT_TRUE(waitUntil([&] { return thread.entered.load(); }));
    EXPECT_TRUE(thread.shutdown(10000));
    EXPECT_TRUE(thread.woke.load());
}

TEST(Thread, ShutdownOfThreadNeverStartedAnswersTrue)
{
    CountingThread thread;
    EXPECT_TRUE(thread.shutdown(0));
    EXPECT_EQ(thread.runs.load(), 0);
}

TEST(Thread, MssleepOutsideOskitThreadSleepsFullTime)
{
    const auto before = Clock::now();
    oskit::Thread::mssleep(20);
    EXPECT_GE(Clock::now() - before, std::chrono::milliseconds(20));
}

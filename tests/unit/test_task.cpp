// Task and SignalingEvent.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "panelsys/Task.h"

namespace {

using Clock = std::chrono::steady_clock;
using boost::posix_time::microseconds;
using boost::posix_time::milliseconds;

template <class Predicate>
bool waitUntil(Predicate ready)
{
    const auto deadline = Clock::now() + std::chrono::seconds(5);
    while (!ready()) {
        if (Clock::now() > deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

// Steps every period until stopped, then signals the stop event.
class StepTask : public Task {
public:
    StepTask() : Task("Task", microseconds(1000000)) {}
    std::atomic<int> steps{0};
    std::atomic<bool> signalled{false};

    void run() override
    {
        while (m_running) {
            ++steps;
            waitFor(getPeriod());
        }
        if (SignalingEvent* event = m_pStopEvent.load()) {
            signalled = true;
            event->operationIsComplete();
        }
    }
};

} // namespace

TEST(SignalingEvent, CompletedBeforeWaitAnswersTrue)
{
    SignalingEvent event(microseconds(60000));
    event.operationIsComplete();
    EXPECT_TRUE(event.waitForOperationToComplete());
}

TEST(SignalingEvent, TimesOutAnswersFalse)
{
    SignalingEvent event(milliseconds(40));
    const auto before = Clock::now();
    EXPECT_FALSE(event.waitForOperationToComplete());
    EXPECT_GE(Clock::now() - before, std::chrono::milliseconds(40));
}

TEST(SignalingEvent, CompletionFromOtherThreadEndsWait)
{
    SignalingEvent event(microseconds(3000000));
    std::thread other([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        event.operationIsComplete();
    });
    EXPECT_TRUE(event.waitForOperationToComplete());
    other.join();
}

TEST(Task, StartSignalsAndRunsStopSignalsAndEndsWaitEarly)
{
    StepTask task;
    EXPECT_EQ(task.getName(), "Task");
    EXPECT_EQ(task.getPeriod(), microseconds(1000000));
    SignalingEvent started(microseconds(3000000));
    task.startTask(started);
    EXPECT_TRUE(started.waitForOperationToComplete());
    ASSERT_TRUE(waitUntil([&] { return task.steps.load() >= 1; }));
    SignalingEvent stopped(microseconds(3000000));
    const auto before = Clock::now();
    task.stopTask(stopped);
    EXPECT_TRUE(stopped.waitForOperationToComplete());
    EXPECT_LT(Clock::now() - before, std::chrono::milliseconds(2900));
    EXPECT_TRUE(task.signalled.load());
    EXPECT_GE(task.steps.load(), 1);
}

TEST(Task, CanBeStartedAgainAfterStop)
{
    StepTask task;
    for (int round = 0; round < 2; ++round) {
        SignalingEvent started(microseconds(3000000));
        task.startTask(started);
        EXPECT_TRUE(started.waitForOperationToComplete());
        ASSERT_TRUE(waitUntil([&] { return task.steps.load() >= round + 1; }));
        SignalingEvent stopped(microseconds(3000000));
        task.stopTask(stopped);
        EXPECT_TRUE(stopped.waitForOperationToComplete());
    }
    EXPECT_GE(task.steps.load(), 2);
}

TEST(Task, WaitForRunsFullDurationWhileRunning)
{
    class Waiter : public Task {
    public:
        Waiter() : Task("Waiter", milliseconds(30)) {}
        std::atomic<int> result{-1};
        std::atomic<long long> elapsedMs{0};
        void run() override
        {
            const auto before = Clock::now();
            result = waitFor(milliseconds(30)) ? 1 : 0;
            elapsedMs = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - before).count();
            while (m_running) waitFor(milliseconds(100));
            if (SignalingEvent* event = m_pStopEvent.load()) event->operationIsComplete();
        }
    } task;
    SignalingEvent started(microseconds(3000000));
    task.startTask(started);
    ASSERT_TRUE(started.waitForOperationToComplete());
    ASSERT_TRUE(waitUntil([&] { return task.result.load() != -1; }));
    SignalingEvent stopped(microseconds(3000000));
    task.stopTask(stopped);
    EXPECT_TRUE(stopped.waitForOperationToComplete());
    EXPECT_EQ(task.result.load(), 1);
    EXPECT_GE(task.elapsedMs.load(), 30);
}

TEST(Task, DestructorJoinsStoppedTask)
{
    auto task = std::make_unique<StepTask>();
    SignalingEvent started(microseconds(3000000));
    task->startTask(started);
    EXPECT_TRUE(started.waitForOperationToComplete());
    SignalingEvent stopped(microseconds(3000000));
    task->stopTask(stopped);
    EXPECT_TRUE(stopped.waitForOperationToComplete());
    const auto before = Clock::now();
    task.reset();
    EXPECT_LT(Clock::now() - before, std::chrono::seconds(3));
}

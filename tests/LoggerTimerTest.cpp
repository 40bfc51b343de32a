// LoggerTimer: the retriggerable timer thread behind the write cache's quiet period.

#include "LoggerTimer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <ctime>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// A wait that ends early may come back a little before its nominal time on a busy machine;
// the lower bounds below leave this much room.
constexpr milliseconds kEarlyTolerance{20};
// Room for a loaded machine (and the sanitizer build) on every upper bound.
constexpr milliseconds kLateMargin{500};

milliseconds since(Clock::time_point start)
{
    return std::chrono::duration_cast<milliseconds>(Clock::now() - start);
}

// Polls predicate every millisecond until it holds or the deadline has passed.
bool waitUntil(const std::function<bool()>& predicate, milliseconds deadline)
{
    const Clock::time_point end = Clock::now() + deadline;
    while (!predicate()) {
        if (Clock::now() >= end) {
            return false;
        }
        std::this_thread::sleep_for(milliseconds(1));
    }
    return true;
}

// Starts the timer, then again every `every` until `duration` has passed since the first start.
struct Retriggered {
    Clock::time_point lastStart;
    milliseconds longestGap{0}; // the longest time between two starts
};

Retriggered retrigger(LoggerTimer& timer, milliseconds every, milliseconds duration)
{
    const Clock::time_point start = Clock::now();
    Retriggered result{start};
    timer.startTimer();
    while (since(start) < duration) {
        std::this_thread::sleep_for(every);
        const Clock::time_point now = Clock::now();
        result.longestGap =
            std::max(result.longestGap, std::chrono::duration_cast<milliseconds>(now - result.lastStart));
        result.lastStart = now;
        timer.startTimer();
    }
    return result;
}

// A timer that records when it fired and tells a waiting test at once.
class SignallingTimer : public LoggerTimer {
public:
    explicit SignallingTimer(bool stopOnFire = false) : mStopOnFire(stopOnFire) {}
    SignallingTimer(const SignallingTimer& other) : LoggerTimer(other), mStopOnFire(other.mStopOnFire) {}
    // The thread calls timerElapsed(), which uses the members below: it has to end first.
    ~SignallingTimer() override { closeTimer(); }

    void timerElapsed() override
    {
        if (mStopOnFire) {
            stopTimer();
        }
        std::lock_guard<std::mutex> lock(mMutex);
        mFireTimes.push_back(Clock::now());
        mFired.notify_all();
    }

    // True once the timer has fired at least count times, false when the deadline came first.
    bool waitForFires(size_t count, milliseconds deadline)
    {
        std::unique_lock<std::mutex> lock(mMutex);
        return mFired.wait_for(lock, deadline, [&] { return mFireTimes.size() >= count; });
    }

    std::vector<Clock::time_point> fireTimes()
    {
        std::lock_guard<std::mutex> lock(mMutex);
        return mFireTimes;
    }

private:
    const bool mStopOnFire;
    std::mutex mMutex; // guards mFireTimes
    std::condition_variable mFired;
    std::vector<Clock::time_point> mFireTimes;
};

TEST(LoggerTimerTest, ObjectNameIsQzloggerTimer)
{
    LoggerTimer timer;
    EXPECT_EQ(timer.objectName(), QStringLiteral("qzlogger:Timer"));
}

TEST(LoggerTimerTest, NewTimerIsStoppedWithTimeoutZeroAndNoThread)
{
    LoggerTimer timer;
    EXPECT_EQ(timer.getTimeout(), 0);
    EXPECT_FALSE(timer.getRunning());
    EXPECT_FALSE(timer.getEnabled());
    EXPECT_FALSE(timer.getStarting());
    EXPECT_FALSE(timer.isRunning());
}

TEST(LoggerTimerTest, StartTimerWithTimeoutZeroDoesNothingAndStartsNoThread)
{
    SignallingTimer timer;
    timer.startTimer();

    EXPECT_FALSE(timer.getRunning());
    EXPECT_FALSE(timer.getStarting());
    EXPECT_FALSE(timer.isRunning());
    EXPECT_FALSE(timer.isFinished());
    EXPECT_TRUE(timer.fireTimes().empty());
}

TEST(LoggerTimerTest, StartedTimerFiresOnceAfterItsTimeoutWhenStoppedOnFire)
{
    constexpr int kTimeout = 200;
    SignallingTimer timer(true);
    timer.setTimeout(kTimeout);

    const Clock::time_point start = Clock::now();
    timer.startTimer();
    EXPECT_TRUE(timer.getRunning());
    EXPECT_TRUE(timer.isRunning());

    // The first delay of a new thread is one time-out; the bound leaves a loaded machine a second.
    ASSERT_TRUE(timer.waitForFires(1, milliseconds(2 * kTimeout) + kLateMargin));
    const std::vector<Clock::time_point> fires = timer.fireTimes();
    const auto elapsed = std::chrono::duration_cast<milliseconds>(fires.front() - start);
    EXPECT_GE(elapsed, milliseconds(kTimeout) - kEarlyTolerance);
    EXPECT_LE(elapsed, milliseconds(2 * kTimeout) + kLateMargin);

    // Stopped by its own callback: no second shot, and the thread stays and polls.
    EXPECT_FALSE(timer.waitForFires(2, milliseconds(2 * kTimeout) + milliseconds(100)));
    EXPECT_FALSE(timer.getRunning());
    EXPECT_TRUE(timer.isRunning());
}

TEST(LoggerTimerTest, RunningTimerFiresOncePerTimeout)
{
    constexpr int kTimeout = 100;
    SignallingTimer timer;
    timer.setTimeout(kTimeout);
    timer.startTimer();

    ASSERT_TRUE(timer.waitForFires(3, milliseconds(4 * kTimeout) + 2 * kLateMargin));
    timer.stopTimer();
    const std::vector<Clock::time_point> fires = timer.fireTimes();
    for (size_t i = 1; i < fires.size(); ++i) {
        EXPECT_GE(std::chrono::duration_cast<milliseconds>(fires[i] - fires[i - 1]),
                  milliseconds(kTimeout) - kEarlyTolerance)
            << "between fire " << i - 1 << " and fire " << i;
    }
}

TEST(LoggerTimerTest, RepeatedStartTimerShorterThanTimeoutNeverFires)
{
    constexpr int kTimeout = 400;
    constexpr milliseconds kRetrigger{50};
    constexpr milliseconds kRetriggerFor{800};
    SignallingTimer timer(true);
    timer.setTimeout(kTimeout);

    const auto [lastStart, longestGap] = retrigger(timer, kRetrigger, kRetriggerFor);
    // Only a retrigger that came later than the time-out would let the timer fire.
    ASSERT_LT(longestGap, milliseconds(kTimeout)) << "the machine was too busy to retrigger in time";
    EXPECT_TRUE(timer.fireTimes().empty());

    // Left alone, it fires a full time-out after the last start.
    ASSERT_TRUE(timer.waitForFires(1, milliseconds(2 * kTimeout) + kLateMargin));
    const auto elapsed = std::chrono::duration_cast<milliseconds>(timer.fireTimes().front() - lastStart);
    EXPECT_GE(elapsed, milliseconds(kTimeout) - kEarlyTolerance);
}

// A cache restarts its timer with every item. A source that delivers items back to back, a
// million of them each far inside the time-out, must never see the timer fire: each restart
// moves the quiet period on, and none may be taken for its end.
TEST(LoggerTimerTest, ASteadyStreamOfStartsFasterThanTheTimeoutNeverFires)
{
    constexpr int kTimeout = 2000;
    constexpr int kStarts = 1000000;
    SignallingTimer timer;
    timer.setTimeout(kTimeout);

    Clock::time_point lastStart = Clock::now();
    Clock::duration longestGap{0};
    for (int start = 0; start < kStarts; ++start) {
        timer.startTimer();
        const Clock::time_point now = Clock::now();
        longestGap = std::max(longestGap, now - lastStart);
        lastStart = now;
    }
    timer.stopTimer();
    longestGap = std::max(longestGap, Clock::now() - lastStart);

    // Only a pause longer than the time-out would let the timer fire rightly.
    ASSERT_LT(longestGap, milliseconds(kTimeout)) << "the machine was too busy to start in time";
    EXPECT_EQ(timer.fireTimes().size(), 0u);
}

// A start does not wake the timer's thread: the thread finds it when it next looks, which it
// does every eighth of a time-out. The quiet period then ends a full time-out after the last
// start at the earliest and an eighth of a time-out later at most, however the starts fell
// against the thread's looks.
TEST(LoggerTimerTest, AQuietPeriodEndsWithinAnEighthOfTheTimeoutAfterItsFullLength)
{
    constexpr int kTimeout = 1600;
    constexpr milliseconds kRetrigger{20};
    SignallingTimer timer(true);
    timer.setTimeout(kTimeout);

    // Starts for more than a time-out, so that the thread has looked several times meanwhile.
    const auto [lastStart, longestGap] = retrigger(timer, kRetrigger, milliseconds(kTimeout + kTimeout / 2));
    ASSERT_LT(longestGap, milliseconds(kTimeout)) << "the machine was too busy to retrigger in time";
    ASSERT_TRUE(timer.fireTimes().empty());

    ASSERT_TRUE(timer.waitForFires(1, milliseconds(2 * kTimeout) + kLateMargin));
    const auto elapsed = std::chrono::duration_cast<milliseconds>(timer.fireTimes().front() - lastStart);
    EXPECT_GE(elapsed, milliseconds(kTimeout) - kEarlyTolerance);
    EXPECT_LE(elapsed, milliseconds(kTimeout + kTimeout / 8) + kLateMargin);
}

// A thread that waits by a long time-out would look for starts only every eighth of it; a time-out
// set shorter wakes it, so that the next quiet period is the short one.
TEST(LoggerTimerTest, AShorterTimeoutCountsFromTheNextStartAtOnce)
{
    constexpr int kLongTimeout = 60000;
    constexpr int kShortTimeout = 100;
    SignallingTimer timer(true);
    timer.setTimeout(kLongTimeout);
    timer.startTimer();
    ASSERT_TRUE(waitUntil([&] { return timer.getEnabled(); }, milliseconds(1000)));
    // Long enough for the thread to have dated the start and to wait by the long time-out.
    std::this_thread::sleep_for(milliseconds(50));

    timer.setTimeout(kShortTimeout);
    const Clock::time_point restart = Clock::now();
    timer.startTimer();
    ASSERT_TRUE(timer.waitForFires(1, milliseconds(kShortTimeout) + kLateMargin))
        << "the thread still waited by the long time-out";
    const auto elapsed = std::chrono::duration_cast<milliseconds>(timer.fireTimes().front() - restart);
    EXPECT_GE(elapsed, milliseconds(kShortTimeout) - kEarlyTolerance);
}

TEST(LoggerTimerTest, StopTimerPreventsFiringAndStartTimerArmsItAgain)
{
    constexpr int kTimeout = 200;
    SignallingTimer timer(true);
    timer.setTimeout(kTimeout);
    timer.startTimer();
    timer.stopTimer();

    EXPECT_FALSE(timer.getRunning());
    EXPECT_FALSE(timer.waitForFires(1, milliseconds(2 * kTimeout) + milliseconds(200)));
    EXPECT_TRUE(timer.isRunning());

    timer.startTimer();
    EXPECT_TRUE(timer.waitForFires(1, milliseconds(2 * kTimeout) + kLateMargin));
}

TEST(LoggerTimerTest, CloseTimerEndsTheThread)
{
    SignallingTimer timer;
    timer.setTimeout(200);
    timer.startTimer();
    ASSERT_TRUE(waitUntil([&] { return timer.getEnabled(); }, milliseconds(1000)));

    timer.closeTimer();
    EXPECT_FALSE(timer.isRunning());
    EXPECT_TRUE(timer.isFinished());
    EXPECT_FALSE(timer.getEnabled());
    EXPECT_FALSE(timer.getRunning());
    EXPECT_TRUE(timer.fireTimes().empty());
}

TEST(LoggerTimerTest, CloseTimerRightAfterStartEndsTheThread)
{
    // The thread may begin only after closeTimer() cleared mEnabled, and then sets it again.
    for (int round = 0; round < 20; ++round) {
        SignallingTimer timer;
        timer.setTimeout(200);
        timer.startTimer();
        timer.closeTimer();
        EXPECT_FALSE(timer.isRunning()) << "round " << round;
        EXPECT_FALSE(timer.getEnabled()) << "round " << round;
    }
}

TEST(LoggerTimerTest, CloseTimerOnATimerWhoseThreadNeverRanReturnsAfterAMillisecond)
{
    LoggerTimer timer;
    timer.setTimeout(200);

    const Clock::time_point start = Clock::now();
    timer.closeTimer();
    const auto elapsed = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start);

    EXPECT_GE(elapsed, std::chrono::microseconds(1000));
    EXPECT_LT(elapsed, std::chrono::microseconds(100000));
    EXPECT_FALSE(timer.isRunning());
    EXPECT_FALSE(timer.isFinished());
}

TEST(LoggerTimerTest, CopyOfAStoppedTimerHasTheSameStateValues)
{
    LoggerTimer timer;
    timer.setTimeout(250);
    timer.setStarting(true);

    LoggerTimer copy(timer);
    EXPECT_EQ(copy.getTimeout(), 250);
    EXPECT_TRUE(copy.getStarting());
    EXPECT_FALSE(copy.getRunning());
    EXPECT_FALSE(copy.getEnabled());
    EXPECT_EQ(copy.objectName(), QStringLiteral("qzlogger:Timer"));
}

TEST(LoggerTimerTest, CopyOfARunningTimerCopiesTheFlagsButNotTheThread)
{
    constexpr int kTimeout = 300;
    SignallingTimer timer(true);
    timer.setTimeout(kTimeout);
    timer.startTimer();
    ASSERT_TRUE(waitUntil([&] { return timer.getEnabled(); }, milliseconds(1000)));

    SignallingTimer copy(timer);
    EXPECT_EQ(copy.getTimeout(), kTimeout);
    EXPECT_TRUE(copy.getRunning());
    EXPECT_TRUE(copy.getEnabled());
    EXPECT_FALSE(copy.isRunning());
    EXPECT_FALSE(copy.isFinished());

    // The original fires on its own thread; the copy, having none, never does.
    ASSERT_TRUE(timer.waitForFires(1, milliseconds(2 * kTimeout) + kLateMargin));
    EXPECT_TRUE(copy.fireTimes().empty());
    EXPECT_FALSE(copy.isRunning());
}

TEST(LoggerTimerTest, SetNextTimeAndTimerTickLeaveTheTimerAsItIs)
{
    LoggerTimer timer;
    timer.setTimeout(100);
    timer.setNextTime();
    timer.timerTick(timespec{1700000000, 0});

    EXPECT_EQ(timer.getTimeout(), 100);
    EXPECT_FALSE(timer.getRunning());
    EXPECT_FALSE(timer.getEnabled());
    EXPECT_FALSE(timer.isRunning());
}

} // namespace

// SPDX-License-Identifier: Apache-2.0

// The hand-over between the caller of Start or Stop and the service's worker: its locks, its one
// wait, and what nothing catches. The time limit is tested in HandOverLimitTest.cpp.

#include <atomic>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <stdexcept>
#include <thread>

#include "BlockedThread.h"
#include "Caller.h"
#include "DeathTest.h"
#include "Dlog.h"
#include "LogCapture.h"
#include "TestService.h"

namespace {

using marrow::ser::Service;

struct StateMutex : PrivateMember<StateMutex, marrow::base::Mutex Service::*> {};
struct Started : PrivateMember<Started, std::atomic<bool> Service::*> {};

} // namespace

template struct ExposeMember<StateMutex, &Service::m_stateMutex>;
template struct ExposeMember<Started, &Service::m_started>;

namespace {

// A service whose OnStart, or OnStop, stands still until the test lets it go.
class HeldService : public TestService {
public:
    using TestService::TestService;

    Gate inside;
    Gate finish;
    bool result = true;
    std::atomic<pid_t> thread{0}; // the worker's

    std::function<bool()> Hold() {
        return [this] {
            thread = ThisThread();
            inside.Open();
            finish.Wait();
            return result;
        };
    }
};

// One wait decides, with no predicate: a wake-up for no reason counts as the worker's signal, and
// the result is read as it stands, which is false ahead of the first OnStart's end.
TEST(ServiceHandOver, TakesASpuriousWakeUpForTheEndOfOnStart) {
    HeldService service("SpuriousStart");
    service.onStart = service.Hold();
    LogCapture::Clear();
    Caller starting([&] { return service.Start(); });
    ASSERT_TRUE(service.inside.Wait());
    WakeForNoReason(service);
    EXPECT_FALSE(starting.Join());
    EXPECT_FALSE(service.IsStarted());
    EXPECT_EQ(LogCapture::CountBeginning(DLOG_ERROR, ""), 0); // it isn't a time-out
    // OnStart goes on and ends as ever.
    service.finish.Open();
    ASSERT_TRUE(RunOn(service.GetWorker()));
    EXPECT_TRUE(service.IsStarted());
    EXPECT_TRUE(service.Start());
    EXPECT_EQ(service.starts, 1);
}

TEST(ServiceHandOver, ReadsTheFormerResultAfterASpuriousWakeUp) {
    HeldService service("SpuriousStop");
    ASSERT_TRUE(service.Start()); // leaves true
    service.onStop = service.Hold();
    service.result = false;
    Caller stopping([&] { return service.Stop(); });
    ASSERT_TRUE(service.inside.Wait());
    WakeForNoReason(service);
    EXPECT_TRUE(stopping.Join());
    service.finish.Open();
    ASSERT_TRUE(RunOn(service.GetWorker()));
    EXPECT_TRUE(service.IsStarted()); // OnStop has failed after all
}

// The worker can't signal before the caller waits: a signal that was lost would cost ten seconds.
TEST(ServiceHandOver, LosesNoSignalOfAnOnStartThatEndsAtOnce) {
    TestService service("Quick");
    for (int i = 0; i < 500; ++i) {
        ASSERT_TRUE(service.Start());
        ASSERT_TRUE(service.Stop());
    }
    EXPECT_EQ(service.starts, 500);
    EXPECT_EQ(service.stops, 500);
    EXPECT_EQ(LogCapture::CountBeginning(DLOG_ERROR, "Timeout"), 0);
}

TEST(ServiceHandOver, HoldsTheMutexWhileItQueuesTheJob) {
    TestService service("Ordered");
    GMutex& mutex = service.*MemberOf(HandOverMutex());
    ASSERT_TRUE(RunOn(service.GetWorker()));
    g_mutex_lock(&mutex);
    Caller starting([&] { return service.Start(); });
    EXPECT_TRUE(starting.IsBlockedBy(mutex));
    EXPECT_TRUE(RunOn(service.GetWorker())); // behind a job that isn't there yet
    EXPECT_EQ(service.starts, 0);
    g_mutex_unlock(&mutex);
    EXPECT_TRUE(starting.Join());
}

// The worker changes the flag with the mutex in hand, and the caller hears of it behind that.
void ExpectNoChangeWithoutTheMutex(HeldService& service, bool isStarted) {
    GMutex& mutex = service.*MemberOf(HandOverMutex());
    Caller calling([&] { return isStarted ? service.Stop() : service.Start(); });
    ASSERT_TRUE(service.inside.Wait());
    g_mutex_lock(&mutex); // free once the caller waits
    service.finish.Open();
    EXPECT_TRUE(WaitUntilBlockedIn(service.thread, mutex));
    EXPECT_EQ(service.*MemberOf(Started()), isStarted);
    EXPECT_FALSE(calling.IsDone());
    g_mutex_unlock(&mutex);
    EXPECT_TRUE(calling.Join());
    EXPECT_EQ(service.IsStarted(), !isStarted);
}

TEST(ServiceHandOver, TakesTheMutexAheadOfTheFlagBehindOnStart) {
    HeldService service("StartGuarded");
    service.onStart = service.Hold();
    ExpectNoChangeWithoutTheMutex(service, false);
}

TEST(ServiceHandOver, TakesTheMutexAheadOfTheFlagBehindOnStop) {
    HeldService service("StopGuarded");
    ASSERT_TRUE(service.Start());
    service.onStop = service.Hold();
    ExpectNoChangeWithoutTheMutex(service, true);
}

TEST(ServiceHandOver, RunsOnStartWithNoneOfItsOwnLocksOnTheWorker) {
    HeldService service("Unlocked");
    bool handOverFree = false;
    service.onStart = [&] {
        GMutex& mutex = service.*MemberOf(HandOverMutex());
        g_mutex_lock(&mutex); // free once the caller waits
        handOverFree = true;
        g_mutex_unlock(&mutex);
        return true;
    };
    EXPECT_TRUE(service.Start());
    EXPECT_TRUE(handOverFree);
}

TEST(ServiceHandOver, MakesIsStartedWaitForAStart) {
    HeldService service("Watched");
    service.onStart = service.Hold();
    Caller starting([&] { return service.Start(); });
    ASSERT_TRUE(service.inside.Wait());
    Caller asking([&] { return service.IsStarted(); });
    EXPECT_TRUE(asking.IsBlockedBy(service.*MemberOf(StateMutex())));
    EXPECT_FALSE(asking.IsDone());
    service.finish.Open();
    EXPECT_TRUE(starting.Join());
    EXPECT_TRUE(asking.Join());
}

TEST(ServiceHandOver, MakesASecondStartAndAStopWaitForAStart) {
    HeldService service("Serialised");
    service.onStart = service.Hold();
    Caller starting([&] { return service.Start(); });
    ASSERT_TRUE(service.inside.Wait());
    Caller again([&] { return service.Start(); });
    EXPECT_TRUE(again.IsBlockedBy(service.*MemberOf(StateMutex())));
    Caller stopping([&] { return service.Stop(); });
    EXPECT_TRUE(stopping.IsBlockedBy(service.*MemberOf(StateMutex())));
    EXPECT_EQ(service.stops, 0);
    service.finish.Open();
    EXPECT_TRUE(starting.Join());
    EXPECT_TRUE(again.Join());
    EXPECT_TRUE(stopping.Join());
    EXPECT_EQ(service.stops, 1);
}

TEST(ServiceHandOver, LetsGetWorkerThroughDuringAStart) {
    HeldService service("Open");
    service.onStart = service.Hold();
    Caller starting([&] { return service.Start(); });
    ASSERT_TRUE(service.inside.Wait());
    EXPECT_NE(service.GetWorker(), nullptr);
    EXPECT_FALSE(starting.IsDone());
    service.finish.Open();
    EXPECT_TRUE(starting.Join());
}

// The state lock isn't recursive. On the direct way a service that asks for itself waits for
// itself.
TEST(ServiceHandOverDeathTest, WaitsForItselfForEverOnTheDirectWay) {
    if (UNDER_THREAD_SANITIZER) {
        GTEST_SKIP() << "the sanitizer ends the program at a thread's second lock of a mutex";
    }
    UseFreshProcesses();
    EXPECT_EXIT(
        {
            static TestService service("Narcissist");
            static std::atomic<pid_t> id{0};
            service.onStart = [] {
                id = ThisThread();
                return service.IsStarted();
            };
            Post(service.GetWorker(), [] { service.Start(); });
            const auto& mutex = service.*MemberOf(StateMutex());
            const bool blocked =
                WaitUntil([&] { return id != 0 && IsBlockedIn(id, &mutex, sizeof(mutex)); });
            _exit(blocked ? 7 : 1);
        },
        testing::ExitedWithCode(7), "");
}

TEST(ServiceHandOverDeathTest, DiesOfAnExceptionThatLeavesOnStart) {
    UseFreshProcesses();
    EXPECT_EXIT(
        {
            TestService service("ThrowingStart");
            service.onStart = []() -> bool { throw std::runtime_error("start has failed"); };
            service.Start();
        },
        DiedOfTerminate, "start has failed");
}

TEST(ServiceHandOverDeathTest, DiesOfAnExceptionThatLeavesOnStop) {
    UseFreshProcesses();
    EXPECT_EXIT(
        {
            TestService service("ThrowingStop");
            service.onStop = []() -> bool { throw std::runtime_error("stop has failed"); };
            service.Start();
            service.Stop();
        },
        DiedOfTerminate, "stop has failed");
}

} // namespace

// SPDX-License-Identifier: Apache-2.0

// How a worker ends: its last user lets go of it, and the cleaner does the rest. The two lines on
// standard output tell who does what, and hold up whoever writes them.

#include <atomic>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <thread>

#include "Caller.h"
#include "CoutCapture.h"
#include "DeathTest.h"
#include "Dlog.h"
#include "LogCapture.h"
#include "Text.h"
#include "WaitUntil.h"
#include "WorkerFactory.h"
#include "WorkerTools.h"

namespace {

using marrow::ser::Worker;
using marrow::ser::WorkerFactory;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

constexpr const char* CLEANER_THREAD = "WFCleaner_threa"; // as far as the kernel keeps it

std::shared_ptr<Worker> GetWorker(const std::string& name) {
    return WorkerFactory::Get().GetWorker(name);
}

std::string Deleting(const void* worker, const std::string& name) {
    return "DeleteWorker[" + Pointer(worker) + "][" + name + "]";
}

std::string Cleaning(const void* worker) {
    return "cleaning Worker = [" + Pointer(worker) + "]";
}

bool WaitForEnd(const std::string& name) {
    return LogCapture::WaitFor(DLOG_INFO, "~Worker[" + name + "]");
}

// The thread that wrote this line.
std::string WriterOf(const std::string& text) {
    for (const CoutCapture::Line& line : CoutCapture::Get().Lines()) {
        if (line.text == text) {
            return line.thread;
        }
    }
    return "nobody";
}

class WorkerEnd : public testing::Test {
protected:
    WorkerEnd() {
        m_output.Clear(); // an address may come again
        LogCapture::Clear();
    }

    CoutCapture& m_output = CoutCapture::Get();
};

TEST_F(WorkerEnd, IsWrittenToStandardOutputInTwoFlushedLines) {
    auto worker = GetWorker("Traced");
    ASSERT_TRUE(RunOn(worker));
    const void* const address = worker.get();
    worker.reset();
    ASSERT_TRUE(WaitForEnd("Traced"));
    EXPECT_EQ(m_output.Count(Deleting(address, "Traced")), 1);
    EXPECT_EQ(m_output.Count(Cleaning(address)), 1);
    EXPECT_GE(m_output.Flushes(), 2);
    EXPECT_EQ(LogCapture::CountBeginning(DLOG_INFO, "cleaning"), 0);
}

TEST_F(WorkerEnd, IsCarriedOutByTheCleaner) {
    auto worker = GetWorker("Cleaned");
    const void* const address = worker.get();
    m_output.Hold(Cleaning(address));
    std::thread([&] {
        pthread_setname_np(pthread_self(), "dropping");
        worker.reset();
    }).join();
    ASSERT_TRUE(m_output.WaitForHeld());
    EXPECT_EQ(WriterOf(Deleting(address, "Cleaned")), "dropping");
    EXPECT_EQ(WriterOf(Cleaning(address)), CLEANER_THREAD);
    // While the cleaner stands still nobody else ends the worker.
    EXPECT_TRUE(WaitUntil([] { return CountThreads("Cleaned_thread") == 1; }));
    EXPECT_EQ(LogCapture::Count(DLOG_INFO, "~Worker[Cleaned]"), 0);
    m_output.Release();
    EXPECT_TRUE(WaitForEnd("Cleaned"));
    EXPECT_TRUE(WaitUntil([] { return CountThreads("Cleaned_thread") == 0; }));
}

TEST_F(WorkerEnd, IsCarriedOutByTheCleanerWhereTheLastUserStoodOnTheWorkersOwnThread) {
    auto worker = GetWorker("Selfish");
    const void* const address = worker.get();
    m_output.Hold(Cleaning(address));
    Gate othersAreGone;
    Post(worker, [&, own = worker]() mutable {
        othersAreGone.Wait();
        own.reset();
    });
    worker.reset();
    othersAreGone.Open();
    ASSERT_TRUE(m_output.WaitForHeld());
    EXPECT_EQ(WriterOf(Deleting(address, "Selfish")), "Selfish_thread");
    EXPECT_EQ(WriterOf(Cleaning(address)), CLEANER_THREAD);
    EXPECT_EQ(LogCapture::Count(DLOG_INFO, "~Worker[Selfish]"), 0);
    m_output.Release();
    EXPECT_TRUE(WaitForEnd("Selfish"));
}

TEST_F(WorkerEnd, DoesNotKeepTheLastUserWaiting) {
    auto worker = GetWorker("Busy");
    Gate started;
    Gate finish;
    Post(worker, [&] {
        started.Open();
        finish.Wait();
    });
    ASSERT_TRUE(started.Wait());
    worker.reset(); // comes back although the job runs
    EXPECT_EQ(LogCapture::Count(DLOG_INFO, "~Worker[Busy]"), 0);
    finish.Open();
    EXPECT_TRUE(WaitForEnd("Busy"));
}

TEST_F(WorkerEnd, ComesAfterAllJobsThatWereQueued) {
    constexpr int JOBS = 50;
    auto worker = GetWorker("Queued");
    Gate finish;
    std::atomic<int> ran{0};
    Post(worker, [&] { finish.Wait(); });
    for (int i = 0; i < JOBS; ++i) {
        Post(worker, [&] { ++ran; });
    }
    worker.reset();
    EXPECT_EQ(ran, 0);
    finish.Open();
    ASSERT_TRUE(WaitForEnd("Queued"));
    EXPECT_EQ(ran, JOBS);
}

TEST_F(WorkerEnd, OfASlowWorkerDelaysTheEndsBehindItAndNothingElse) {
    auto slow = GetWorker("Slow");
    auto quick = GetWorker("Quick");
    const void* const quickAddress = quick.get();
    const std::string cleaningSlow = Cleaning(slow.get());
    Gate finish;
    Post(slow, [&] { finish.Wait(); });
    slow.reset();
    quick.reset();
    ASSERT_TRUE(m_output.WaitFor(cleaningSlow));
    EXPECT_EQ(m_output.Count(Deleting(quickAddress, "Quick")), 1);
    EXPECT_EQ(m_output.Count(Cleaning(quickAddress)), 0);
    ASSERT_TRUE(RunOn(GetWorker("Meanwhile")));
    EXPECT_EQ(m_output.Count(Cleaning(quickAddress)), 0);
    finish.Open();
    EXPECT_TRUE(WaitForEnd("Slow"));
    EXPECT_TRUE(WaitForEnd("Quick"));
}

TEST_F(WorkerEnd, FreesTheNameForANewWorkerBesideTheOneThatIsEnding) {
    auto ending = GetWorker("Again");
    const Worker* const address = ending.get();
    Gate finish;
    Post(ending, [&] { finish.Wait(); });
    ending.reset();
    ASSERT_TRUE(m_output.WaitFor(Cleaning(address)));
    const auto renewed = GetWorker("Again");
    EXPECT_NE(renewed.get(), address);
    EXPECT_TRUE(RunOn(renewed));
    EXPECT_TRUE(WaitUntil([] { return CountThreads("Again_thread") == 2; }));
    finish.Open();
    EXPECT_TRUE(WaitForEnd("Again"));
    EXPECT_TRUE(RunOn(renewed));
    EXPECT_EQ(WorkerFactory::Get().FindWorker("Again"), renewed.get());
}

// The entry stays on the list from the last reference's end until DeleteWorker has the lock.
TEST_F(WorkerEnd, ThrowsBadWeakPtrAtWhoeverAsksForADyingWorker) {
    auto worker = GetWorker("Dying");
    const Worker* const address = worker.get();
    m_output.Hold(Deleting(address, "Dying"));
    std::thread dropping([&] { worker.reset(); });
    ASSERT_TRUE(m_output.WaitForHeld());
    EXPECT_EQ(WorkerFactory::Get().FindWorker("Dying"), address);
    EXPECT_THROW(GetWorker("Dying"), std::bad_weak_ptr);
    EXPECT_THROW(GetWorker("Dying"), std::bad_weak_ptr); // the lock was let go, nothing changed
    EXPECT_NE(GetWorker("Other"), nullptr);
    m_output.Release();
    dropping.join();
    EXPECT_NE(GetWorker("Dying"), nullptr);
}

TEST_F(WorkerEnd, FreesTheNameAndTheLockBeforeItAsksTheCleaner) {
    HoldPoint& atLine = LogCapture::AtLine();
    auto worker = GetWorker("Leaving");
    const Worker* const address = worker.get();
    atLine.Hold("[WFCleaner] adds to queue");
    std::thread dropping([&] { worker.reset(); });
    const bool isHeld = atLine.WaitForHeld();
    const bool isListed = WorkerFactory::Get().FindWorker("Leaving") != nullptr;
    if (isHeld && !isListed) {
        Caller asking([] { return GetWorker("Leaving"); });
        EXPECT_TRUE(WaitUntil([&] { return asking.IsDone(); }));
        atLine.Release();
        EXPECT_NE(asking.Join().get(), address);
    }
    atLine.Release();
    dropping.join();
    EXPECT_TRUE(isHeld);
    EXPECT_FALSE(isListed);
    EXPECT_TRUE(WaitForEnd("Leaving"));
}

TEST_F(WorkerEnd, WaitsForTheLastOfSeveralUsers) {
    auto first = GetWorker("Several");
    auto second = GetWorker("Several");
    const void* const address = first.get();
    first.reset();
    EXPECT_EQ(m_output.Count(Deleting(address, "Several")), 0);
    EXPECT_TRUE(RunOn(second));
    second.reset();
    EXPECT_TRUE(WaitForEnd("Several"));
}

TEST_F(WorkerEnd, AtProcessExitIsTheCleanersAloneAndNotThatOfWorkersInUse) {
    UseFreshProcesses();
    EXPECT_EXIT(
        {
            setenv("HEARTHD_TEST_LOG", "1", 1);
            static auto* const kept = new std::shared_ptr<Worker>(GetWorker("Kept"));
            static Gate started;
            Post(*kept, [] {
                started.Open();
                Gate().Wait(std::chrono::hours(1)); // an end would wait for this
            });
            started.Wait();
            std::exit(0);
        },
        testing::ExitedWithCode(0),
        AllOf(HasSubstr("~Worker[WFCleaner]"), Not(HasSubstr("~Worker[Kept]"))));
}

} // namespace

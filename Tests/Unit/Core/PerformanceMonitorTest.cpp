// SPDX-License-Identifier: Apache-2.0
#include "PerformanceMonitor.h"

#include <atomic>
#include <gtest/gtest.h>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "BlockedThread.h"
#include "Gate.h"
#include "LogCapture.h"
#include "PrivateMember.h"

namespace {

using Clock = std::chrono::steady_clock;

struct Records : PrivateMember<Records, std::map<std::string, record_t> PerformanceMonitor::*> {};
struct RecordsMutex : PrivateMember<RecordsMutex, marrow::base::Mutex PerformanceMonitor::*> {};
struct HandlersMutex : PrivateMember<HandlersMutex, marrow::base::Mutex PerformanceMonitor::*> {};

} // namespace

template struct ExposeMember<Records, &PerformanceMonitor::m_records>;
template struct ExposeMember<RecordsMutex, &PerformanceMonitor::m_recordsMutex>;
template struct ExposeMember<HandlersMutex, &PerformanceMonitor::m_handlersMutex>;

namespace {

// Keeps what it is handed. The monitor makes one call at a time.
class KeepingHandler : public RecordHandler {
public:
    std::vector<record_t> records;
    void handle(record_t record) override { records.push_back(std::move(record)); }
};

constexpr record_t::time_point ZERO{};

TEST(PerformanceMonitor, IsOneObjectForTheProcess) {
    EXPECT_EQ(&PerformanceMonitor::Get(), &PerformanceMonitor::Get());
}

TEST(PerformanceMonitor, HandsOverTheTagAndTheTimesOfStartAndStop) {
    PerformanceMonitor monitor;
    KeepingHandler handler;
    monitor.AddRecordHandler(&handler);
    const auto before = Clock::now();
    monitor.Start("stage");
    const auto between = Clock::now();
    EXPECT_TRUE(handler.records.empty());
    monitor.Stop("stage");
    const auto after = Clock::now();
    ASSERT_EQ(handler.records.size(), 1U);
    const record_t& record = handler.records[0];
    EXPECT_EQ(record.tag, "stage");
    EXPECT_TRUE(before <= record.start && record.start <= between);
    EXPECT_TRUE(between <= record.stop && record.stop <= after);
}

TEST(PerformanceMonitor, CountsNanosecondsOfTheSteadyClock) {
    EXPECT_TRUE((std::is_same_v<decltype(record_t::start), decltype(record_t::stop)>));
    EXPECT_TRUE((std::is_same_v<decltype(record_t::start)::clock, std::chrono::steady_clock>));
    EXPECT_TRUE((std::is_same_v<decltype(record_t::start)::period, std::nano>));
    EXPECT_EQ(sizeof(decltype(record_t::start)::rep), 8U);
    EXPECT_EQ(record_t().start, ZERO);
    EXPECT_EQ(record_t().stop, ZERO);
}

TEST(PerformanceMonitor, KeepsAnOpenRecordWithoutAStop) {
    PerformanceMonitor monitor;
    monitor.Start("stage");
    const auto& records = monitor.*MemberOf(Records());
    ASSERT_EQ(records.count("stage"), 1U);
    EXPECT_EQ(records.at("stage").tag, "stage");
    EXPECT_EQ(records.at("stage").stop, ZERO);
    monitor.Stop("stage");
    EXPECT_TRUE(records.empty());
}

TEST(PerformanceMonitor, StopOfAnUnknownTagHandsOverAnEmptyTagAndAStartOfZero) {
    PerformanceMonitor monitor;
    KeepingHandler handler;
    monitor.AddRecordHandler(&handler);
    monitor.Start("other");
    const auto before = Clock::now();
    monitor.Stop("unknown");
    const auto after = Clock::now();
    ASSERT_EQ(handler.records.size(), 1U);
    EXPECT_EQ(handler.records[0].tag, "");
    EXPECT_EQ(handler.records[0].start, ZERO);
    EXPECT_TRUE(before <= handler.records[0].stop && handler.records[0].stop <= after);
}

TEST(PerformanceMonitor, StopOfAnUnknownTagLeavesNoEntryBehindAndLogsNothing) {
    PerformanceMonitor monitor;
    monitor.Start("other");
    LogCapture::Clear();
    monitor.Stop("unknown");
    const auto& records = monitor.*MemberOf(Records());
    EXPECT_EQ(records.size(), 1U);
    EXPECT_EQ(records.count("other"), 1U);
    EXPECT_TRUE(LogCapture::Lines().empty());
}

TEST(PerformanceMonitor, ASecondStartOfATagBeginsItAnew) {
    PerformanceMonitor monitor;
    KeepingHandler handler;
    monitor.AddRecordHandler(&handler);
    monitor.Start("stage");
    const auto second = Clock::now();
    monitor.Start("stage");
    monitor.Stop("stage");
    ASSERT_EQ(handler.records.size(), 1U);
    EXPECT_GE(handler.records[0].start, second);
    monitor.Stop("stage");
    ASSERT_EQ(handler.records.size(), 2U);
    EXPECT_EQ(handler.records[1].tag, "");
    EXPECT_EQ(handler.records[1].start, ZERO);
}

TEST(PerformanceMonitor, KeepsTheRecordsOfSeveralTagsApart) {
    PerformanceMonitor monitor;
    KeepingHandler handler;
    monitor.AddRecordHandler(&handler);
    monitor.Start("outer");
    const auto between = Clock::now();
    monitor.Start("inner");
    monitor.Stop("outer");
    monitor.Stop("inner");
    ASSERT_EQ(handler.records.size(), 2U);
    EXPECT_EQ(handler.records[0].tag, "outer");
    EXPECT_LE(handler.records[0].start, between);
    EXPECT_EQ(handler.records[1].tag, "inner");
    EXPECT_GE(handler.records[1].start, between);
}

TEST(PerformanceMonitor, CallsEveryHandlerInTheOrderOfAddingEachWithACopy) {
    static std::vector<std::string> calls;
    class NamedHandler : public RecordHandler {
    public:
        explicit NamedHandler(std::string name) : m_name(std::move(name)) {}
        void handle(record_t record) override {
            calls.push_back(m_name + record.tag);
            record.tag = "changed"; // its own
        }

    private:
        std::string m_name;
    };
    calls.clear();
    NamedHandler first("first ");
    NamedHandler second("second ");
    PerformanceMonitor monitor;
    monitor.AddRecordHandler(&second);
    monitor.AddRecordHandler(&first);
    monitor.AddRecordHandler(&second);
    monitor.Start("stage");
    monitor.Stop("stage");
    EXPECT_EQ(calls, (std::vector<std::string>{"second stage", "first stage", "second stage"}));
}

TEST(PerformanceMonitor, ClosesTheRecordWhereThereIsNoHandler) {
    PerformanceMonitor monitor;
    monitor.Start("stage");
    monitor.Stop("stage");
    KeepingHandler handler;
    monitor.AddRecordHandler(&handler);
    monitor.Stop("stage");
    ASSERT_EQ(handler.records.size(), 1U);
    EXPECT_EQ(handler.records[0].tag, "");
}

TEST(PerformanceMonitor, DoesNotOwnItsHandlers) {
    static bool destroyed;
    class DyingHandler : public RecordHandler {
    public:
        ~DyingHandler() override { destroyed = true; }
        void handle(record_t /*record*/) override {}
    };
    destroyed = false;
    const auto handler = std::make_unique<DyingHandler>();
    {
        PerformanceMonitor monitor;
        monitor.AddRecordHandler(handler.get());
    }
    EXPECT_FALSE(destroyed);
}

TEST(PerformanceMonitor, RunsOneHandlerAtATime) {
    class ExclusiveHandler : public RecordHandler {
    public:
        std::atomic<int> inside{0};
        std::atomic<bool> overlapped{false};
        int calls = 0;
        void handle(record_t /*record*/) override {
            overlapped = overlapped || ++inside != 1;
            ++calls;
            std::this_thread::yield();
            --inside;
        }
    };
    constexpr int THREADS = 8;
    constexpr int STAGES = 200;
    PerformanceMonitor monitor;
    ExclusiveHandler handler;
    monitor.AddRecordHandler(&handler);
    std::vector<std::thread> threads;
    for (int i = 0; i < THREADS; ++i) {
        threads.emplace_back([&, tag = std::to_string(i)] {
            for (int stage = 0; stage < STAGES; ++stage) {
                monitor.Start(tag);
                monitor.Stop(tag);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_FALSE(handler.overlapped);
    EXPECT_EQ(handler.calls, THREADS * STAGES);
}

// Runs `work` on a thread of its own while this one holds `mutex`; true when the thread was seen
// waiting for it. `released` is the time at which it could go on.
template <typename Work>
bool RunWhileHeld(marrow::base::Mutex& mutex, Clock::time_point& released, Work work) {
    std::atomic<pid_t> id{0};
    mutex.lock();
    std::thread thread([&] {
        id = ThisThread();
        work();
    });
    const bool waited =
        WaitUntil([&] { return id != 0 && IsBlockedIn(id, &mutex, sizeof(mutex)); });
    released = Clock::now();
    mutex.unlock();
    thread.join();
    return waited;
}

TEST(PerformanceMonitor, StartReadsTheClockAheadOfItsLock) {
    PerformanceMonitor monitor;
    KeepingHandler handler;
    monitor.AddRecordHandler(&handler);
    Clock::time_point released;
    ASSERT_TRUE(
        RunWhileHeld(monitor.*MemberOf(RecordsMutex()), released, [&] { monitor.Start("stage"); }));
    monitor.Stop("stage");
    ASSERT_EQ(handler.records.size(), 1U);
    EXPECT_LT(handler.records[0].start, released);
}

TEST(PerformanceMonitor, StopReadsTheClockAheadOfBothLocks) {
    PerformanceMonitor monitor;
    KeepingHandler handler;
    monitor.AddRecordHandler(&handler);
    Clock::time_point released;
    monitor.Start("stage");
    ASSERT_TRUE(
        RunWhileHeld(monitor.*MemberOf(RecordsMutex()), released, [&] { monitor.Stop("stage"); }));
    ASSERT_EQ(handler.records.size(), 1U);
    EXPECT_LT(handler.records[0].stop, released);
    monitor.Start("stage");
    ASSERT_TRUE(
        RunWhileHeld(monitor.*MemberOf(HandlersMutex()), released, [&] { monitor.Stop("stage"); }));
    ASSERT_EQ(handler.records.size(), 2U);
    EXPECT_LT(handler.records[1].stop, released);
}

// The lock of the records isn't held while handlers run: other stages go on.
TEST(PerformanceMonitor, LetsStagesStartWhileAHandlerRuns) {
    class WaitingHandler : public RecordHandler {
    public:
        Gate inside;
        Gate finish;
        void handle(record_t /*record*/) override {
            inside.Open();
            finish.Wait();
        }
    };
    PerformanceMonitor monitor;
    WaitingHandler handler;
    monitor.AddRecordHandler(&handler);
    std::thread stopping([&] { monitor.Stop("slow"); });
    ASSERT_TRUE(handler.inside.Wait());
    marrow::base::Mutex& recordsMutex = monitor.*MemberOf(RecordsMutex());
    const bool free = recordsMutex.try_lock();
    EXPECT_TRUE(free);
    if (free) {
        recordsMutex.unlock();
        monitor.Start("other");
    }
    handler.finish.Open();
    stopping.join();
}

} // namespace

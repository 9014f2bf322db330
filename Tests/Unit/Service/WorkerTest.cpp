// SPDX-License-Identifier: Apache-2.0
#include "Worker.h"

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <pthread.h>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "DeathTest.h"
#include "Dlog.h"
#include "LogCapture.h"
#include "TCEvent.h"
#include "Text.h"
#include "WaitUntil.h"
#include "WorkerFactory.h"
#include "WorkerTools.h"

namespace {

using marrow::ser::Job;
using marrow::ser::Worker;
using marrow::ser::WorkerFactory;

std::shared_ptr<Worker> GetWorker(const char* name) {
    return WorkerFactory::Get().GetWorker(name);
}

// A worker of the test's own, outside the factory.
class PlainWorker : public Worker {
public:
    using Worker::QueueName;
    using Worker::Worker;
    ~PlainWorker() override { Destroy(); }
};

// Where in the log the line with this beginning stands; the end of the log where it doesn't.
std::size_t PlaceOf(const std::vector<LogCapture::Line>& lines, const std::string& beginning) {
    const auto found = std::find_if(lines.begin(), lines.end(), [&](const LogCapture::Line& line) {
        return line.priority == DLOG_INFO && line.tag == "HEARTHD" &&
               line.text.starts_with(beginning);
    });
    return static_cast<std::size_t>(found - lines.begin());
}

TEST(Worker, BearsItsNameWithoutASuffix) {
    PlainWorker worker("Plain");
    EXPECT_EQ(worker.GetName(), "Plain");
    worker.InitWorker("Other");
    EXPECT_EQ(worker.GetName(), "Plain");
}

TEST(Worker, NamesItsQueueAfterItself) {
    EXPECT_STREQ(PlainWorker("Plain").QueueName(), "Plain_tceventio");
    EXPECT_STREQ(PlainWorker("").QueueName(), "_tceventio");
}

TEST(Worker, NamesItsThreadAsItIsToldToWithinTheKernelsLimit) {
    PlainWorker shortName("a");
    PlainWorker longName("b");
    std::string names[2];
    shortName.InitWorker("named");
    longName.InitWorker("a name of many letters");
    Job* first = new Job([&] { names[0] = ThreadName(); });
    Job* second = new Job([&] { names[1] = ThreadName(); });
    shortName.Do(first);
    longName.Do(second);
    shortName.Destroy();
    longName.Destroy();
    EXPECT_EQ(names[0], "named");
    EXPECT_EQ(names[1], "a name of many ");
}

// Hosted code counts on it, whatever the process's own limit is.
TEST(Worker, HasAStackOfFourMebibytes) {
    const auto worker = GetWorker("Stack");
    std::size_t size = 0;
    ASSERT_TRUE(RunOn(worker, [&] {
        pthread_attr_t attributes;
        pthread_getattr_np(pthread_self(), &attributes);
        pthread_attr_getstacksize(&attributes, &size);
        pthread_attr_destroy(&attributes);
    }));
    EXPECT_EQ(size, std::size_t{4} << 20U);
}

TEST(Worker, HasNoThreadUntilInitWorker) {
    const auto threads = std::filesystem::hard_link_count("/proc/self/task");
    PlainWorker worker("Late");
    EXPECT_LE(std::filesystem::hard_link_count("/proc/self/task"), threads);
    worker.InitWorker("Late_thread");
    EXPECT_TRUE(WaitUntil([] { return CountThreads("Late_thread") == 1; }));
}

TEST(Worker, SaysWhichWorkerItIsInTheFirstJobOfItsQueue) {
    LogCapture::Clear();
    PlainWorker worker("First");
    worker.InitWorker("First_thread");
    worker.Destroy();
    const auto lines = LogCapture::Lines();
    const std::string adding = "Worker[" + Pointer(&worker) + "][First] adds to queue new job[";
    const std::size_t queued = PlaceOf(lines, adding);
    ASSERT_LT(queued, lines.size());
    const std::string job = lines[queued].text.substr(adding.size());
    const std::size_t executed = PlaceOf(lines, "Executing job[" + job);
    const std::size_t set = PlaceOf(lines, "SetLocalWorker = " + Pointer(&worker));
    EXPECT_LT(queued, executed);
    EXPECT_LT(executed, set);
    ASSERT_LT(set, lines.size());
    EXPECT_EQ(LogCapture::CountBeginning(DLOG_INFO, adding), 1);
}

TEST(Worker, SetLocalWorkerStoresWhatItIsGivenOnTheCallingThread) {
    const auto worker = GetWorker("SetLocal");
    std::thread([&] {
        EXPECT_FALSE(Worker::IsCurrentWorker(worker));
        worker->SetLocalWorker(worker.get());
        EXPECT_TRUE(Worker::IsCurrentWorker(worker));
        worker->SetLocalWorker(nullptr);
        EXPECT_FALSE(Worker::IsCurrentWorker(worker));
    }).join();
    EXPECT_EQ(LogCapture::Count(DLOG_INFO, "SetLocalWorker = (nil)"), 1);
}

TEST(Worker, IsNotCurrentOnAThreadThatIsNoWorkers) {
    EXPECT_FALSE(Worker::IsCurrentWorker(GetWorker("Elsewhere")));
}

TEST(Worker, IsCurrentOnItsOwnThreadFromTheFirstJobOn) {
    const auto worker = GetWorker("Own");
    bool current = false;
    ASSERT_TRUE(RunOn(worker, [&] { current = Worker::IsCurrentWorker(worker); }));
    EXPECT_TRUE(current);
}

TEST(Worker, IsNotCurrentOnAnotherWorkersThread) {
    const auto worker = GetWorker("One");
    bool current = true;
    ASSERT_TRUE(RunOn(GetWorker("Another"), [&] { current = Worker::IsCurrentWorker(worker); }));
    EXPECT_FALSE(current);
}

// Null equals null. Nobody passes an empty pointer.
TEST(Worker, CountsAnEmptyPointerAsCurrentWhereThereIsNoWorker) {
    EXPECT_TRUE(Worker::IsCurrentWorker(nullptr));
    bool current = true;
    ASSERT_TRUE(RunOn(GetWorker("Empty"), [&] { current = Worker::IsCurrentWorker(nullptr); }));
    EXPECT_FALSE(current);
}

TEST(Worker, TakesTheJobOverAndClearsTheCallersPointer) {
    const auto worker = GetWorker("Taking");
    Gate held;
    Post(worker, [&] { held.Wait(); });
    Job* job = new Job([] {});
    worker->Do(job);
    EXPECT_EQ(job, nullptr);
    held.Open();
    EXPECT_TRUE(RunOn(worker));
}

TEST(Worker, LogsAndOwnsTheJobThatItTakes) {
    const auto worker = GetWorker("Owning");
    ASSERT_TRUE(RunOn(worker));
    const Job* address = nullptr;
    const Quill::TCEventIO* owner = nullptr;
    Job* job = new Job([&] { owner = address->owner; });
    address = job;
    LogCapture::Clear();
    worker->Do(job);
    ASSERT_TRUE(RunOn(worker));
    EXPECT_EQ(owner, worker.get());
    EXPECT_EQ(LogCapture::Count(DLOG_INFO, "Worker[" + Pointer(worker.get()) +
                                               "][Owning] adds to queue new job[" +
                                               Pointer(address) + "]"),
              1);
}

TEST(Worker, SendsAJobInAnEventThatSaysNothingElse) {
    class NotingJob : public Job {
    public:
        explicit NotingJob(Quill::TCEvent& event) : Job([] {}), m_event(event) {}
        bool t_OnEvent(const Quill::TCEvent* event) override {
            m_event = *event;
            return Job::t_OnEvent(event);
        }

    private:
        Quill::TCEvent& m_event;
    };
    const auto worker = GetWorker("Sending");
    Quill::TCEvent event;
    event.word = 1;
    event.byte = 1;
    Job* job = new NotingJob(event);
    const Job* const address = job;
    worker->Do(job);
    ASSERT_TRUE(RunOn(worker));
    EXPECT_EQ(event.handler, address);
    EXPECT_EQ(event.word, 0U);
    EXPECT_EQ(event.byte, 0);
}

TEST(Worker, RunsJobsInTheOrderOfDo) {
    const auto worker = GetWorker("Order");
    std::vector<int> order;
    for (int i = 0; i < 100; ++i) {
        Post(worker, [&order, i] { order.push_back(i); });
    }
    ASSERT_TRUE(RunOn(worker));
    ASSERT_EQ(order.size(), 100U);
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
}

// A job that is queued on the worker's own thread goes behind what is waiting, and never runs on
// the spot.
TEST(Worker, QueuesAJobOfItsOwnThreadBehindWhatIsWaiting) {
    const auto worker = GetWorker("Behind");
    Gate queued;
    std::vector<std::string> order;
    Post(worker, [&] {
        queued.Wait();
        Post(worker, [&] { order.emplace_back("inner"); });
        order.emplace_back("outer");
    });
    Post(worker, [&] { order.emplace_back("waiting"); });
    queued.Open();
    ASSERT_TRUE(RunOn(worker)); // queued behind "waiting", perhaps ahead of "inner"
    ASSERT_TRUE(RunOn(worker));
    EXPECT_EQ(order, (std::vector<std::string>{"outer", "waiting", "inner"}));
}

TEST(Worker, DoReturnsBeforeTheJobHasRun) {
    const auto worker = GetWorker("Returning");
    Gate held;
    std::atomic<bool> ran{false};
    Post(worker, [&] { held.Wait(); });
    Post(worker, [&] { ran = true; });
    EXPECT_FALSE(ran);
    held.Open();
    ASSERT_TRUE(RunOn(worker));
    EXPECT_TRUE(ran);
}

TEST(Worker, NeverRunsTwoJobsAtATime) {
    constexpr int THREADS = 4;
    constexpr int JOBS = 250;
    const auto worker = GetWorker("Serial");
    int inside = 0; // without a lock: the worker's jobs alone touch it
    int ran = 0;
    bool overlapped = false;
    std::vector<std::thread> threads;
    for (int i = 0; i < THREADS; ++i) {
        threads.emplace_back([&] {
            for (int job = 0; job < JOBS; ++job) {
                Post(worker, [&] {
                    overlapped = overlapped || ++inside != 1;
                    ++ran;
                    --inside;
                });
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    ASSERT_TRUE(RunOn(worker));
    EXPECT_EQ(ran, THREADS * JOBS);
    EXPECT_FALSE(overlapped);
}

TEST(Worker, DeletesAJobBehindItsRunOnItsOwnThread) {
    class Argument {
    public:
        explicit Argument(std::string& thread) : m_thread(thread) {}
        ~Argument() { m_thread = ThreadName(); }
        Argument(const Argument&) = delete;
        Argument& operator=(const Argument&) = delete;

    private:
        std::string& m_thread;
    };
    const auto worker = GetWorker("Del");
    std::string thread;
    Post(worker, [argument = std::make_shared<Argument>(thread)] {});
    ASSERT_TRUE(RunOn(worker));
    EXPECT_EQ(thread, "Del_thread");
}

TEST(Worker, LogsItsEnd) {
    LogCapture::Clear();
    { PlainWorker worker("Ending"); }
    EXPECT_EQ(LogCapture::Count(DLOG_INFO, "~Worker[Ending]"), 1);
}

TEST(WorkerDeathTest, DiesAtOnceOnANullJob) {
    UseFreshProcesses();
    EXPECT_EXIT(
        {
            const auto worker = GetWorker("Null");
            Job* job = nullptr;
            worker->Do(job);
        },
        [](int status) { return UNDER_SANITIZER ? status != 0 : DiedOfAFault(status); }, "");
}

TEST(WorkerDeathTest, DiesOfAJobWithoutWork) {
    UseFreshProcesses();
    EXPECT_EXIT(
        {
            Post(GetWorker("Workless"), std::function<void()>());
            Gate().Wait();
        },
        DiedOfTerminate, "bad_function_call");
}

TEST(WorkerDeathTest, DiesOfAnExceptionThatLeavesAJob) {
    UseFreshProcesses();
    EXPECT_EXIT(
        {
            Post(GetWorker("Throwing"), [] { throw std::runtime_error("nobody catches this"); });
            Gate().Wait();
        },
        DiedOfTerminate, "nobody catches this");
}

} // namespace

// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <functional>
#include <limits>
#include <list>
#include <memory>
#include <pthread.h>
#include <string>
#include <thread>
#include <unistd.h>

#include "AllocationCount.h"
#include "DeathTest.h"
#include "Dlog.h"
#include "Gate.h"
#include "LogCapture.h"
#include "ProcessUse.h"
#include "TCEvent.h"
#include "TCTask.h"
#include "WaitUntil.h"

namespace {

using Quill::TCEvent;
using Quill::TCEventIO;
using Quill::TCHandler;
using Quill::TCTask;

// Runs a function and deletes itself, as jobs do.
class Call : public TCHandler {
public:
    Call(TCEventIO& queue, std::function<void()> work) : m_work(std::move(work)) { owner = &queue; }

    bool t_OnEvent(const TCEvent* /*event*/) override {
        m_work();
        return true;
    }
    void t_Clear(TCEvent* /*event*/) override { delete this; }

private:
    std::function<void()> m_work;
};

bool Post(TCEventIO& queue, std::function<void()> work) {
    TCEvent event;
    event.handler = new Call(queue, std::move(work));
    return TCEventIO::SendEvent(&event);
}

std::string ThreadName() {
    std::array<char, 32> name{};
    pthread_getname_np(pthread_self(), name.data(), name.size());
    return name.data();
}

class TaskTest : public testing::Test {
protected:
    TCTask task{"task_tceventio"};

    void Create() { ASSERT_TRUE(task.Create("task_thread", true, 4096)); }
    ~TaskTest() override { task.Destroy(); }
};

TEST_F(TaskTest, ServesEventsInTheOrderOfSendEventOnItsOwnThread) {
    Create();
    std::vector<int> order;
    std::thread::id thread;
    Gate done;
    for (int i = 0; i < 1000; ++i) {
        Post(task, [&, i] { order.push_back(i); });
    }
    Post(task, [&] {
        thread = std::this_thread::get_id();
        done.Open();
    });
    ASSERT_TRUE(done.Wait());
    ASSERT_EQ(order.size(), 1000U);
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
    EXPECT_NE(thread, std::this_thread::get_id());
}

TEST_F(TaskTest, PutsAnEventFromItsOwnThreadBehindThoseThatWait) {
    Create();
    std::string order;
    Gate queued;
    Gate done;
    Post(task, [&] {
        queued.Wait();
        Post(task, [&] {
            order += 'c';
            done.Open();
        });
        order += 'a';
    });
    Post(task, [&] { order += 'b'; });
    queued.Open();
    ASSERT_TRUE(done.Wait());
    EXPECT_EQ(order, "abc");
}

TEST_F(TaskTest, TakesACopyOfTheEventAndReturnsBeforeTheHandlerHasRun) {
    struct Handler : TCHandler {
        Gate mayRun;
        Gate cleared;
        const TCEvent* seen = nullptr;
        std::uint32_t word = 0;
        bool t_OnEvent(const TCEvent* event) override {
            mayRun.Wait();
            seen = event;
            word = event->word;
            return true;
        }
        void t_Clear(TCEvent* /*event*/) override { cleared.Open(); }
    };
    Create();
    Handler handler;
    handler.owner = &task;
    const TCEvent* sent = nullptr;
    {
        TCEvent event;
        event.handler = &handler;
        event.word = 7;
        sent = &event;
        ASSERT_TRUE(TCEventIO::SendEvent(&event)); // would not return if the handler ran here
    }
    handler.mayRun.Open();
    ASSERT_TRUE(handler.cleared.Wait());
    EXPECT_NE(handler.seen, sent);
    EXPECT_EQ(handler.word, 7U);
}

TEST_F(TaskTest, ClearsEachEventOnceAfterItHasRunOnTheTasksThread) {
    struct Handler : TCHandler {
        std::string calls;
        Gate twice;
        bool t_OnEvent(const TCEvent* /*event*/) override {
            calls += "run ";
            return false;
        }
        void t_Clear(TCEvent* event) override {
            calls += event->handler == this ? "clear " : "wrong ";
            if (calls.size() == std::string("run clear run clear ").size()) {
                twice.Open();
            }
        }
    };
    Create();
    Handler handler;
    handler.owner = &task;
    TCEvent event;
    event.handler = &handler;
    TCEventIO::SendEvent(&event);
    TCEventIO::SendEvent(&event);
    ASSERT_TRUE(handler.twice.Wait());
    EXPECT_EQ(handler.calls, "run clear run clear ");
}

TEST_F(TaskTest, ServesWhatWasQueuedBeforeItsThreadStarted) {
    Gate ran;
    ASSERT_TRUE(Post(task, [&] { ran.Open(); }));
    Create();
    EXPECT_TRUE(ran.Wait());
}

TEST_F(TaskTest, DestroyFinishesTheRunningEventAndServesThoseQueuedBefore) {
    Create();
    Gate started;
    Gate goOn;
    int served = 0;
    Post(task, [&] {
        started.Open();
        goOn.Wait();
        ++served;
    });
    for (int i = 0; i < 100; ++i) {
        Post(task, [&] { ++served; });
    }
    ASSERT_TRUE(started.Wait());
    std::thread release([&] { goOn.Open(); });
    task.Destroy();
    release.join();
    EXPECT_EQ(served, 101);
}

TEST_F(TaskTest, RefusesAndClearsWhatComesAfterItsEnd) {
    Create();
    task.Destroy();
    auto kept = std::make_shared<int>(0);
    EXPECT_FALSE(Post(task, [kept] { ++*kept; }));
    EXPECT_EQ(*kept, 0);
    EXPECT_EQ(kept.use_count(), 1) << "the handler leaked";
}

TEST_F(TaskTest, ClearsWhatATaskThatNeverRanHasInItsQueue) {
    auto kept = std::make_shared<int>(0);
    {
        TCTask idle("idle");
        ASSERT_TRUE(Post(idle, [kept] { ++*kept; }));
    }
    EXPECT_EQ(*kept, 0);
    EXPECT_EQ(kept.use_count(), 1) << "the handler leaked";
}

TEST_F(TaskTest, RefusesEventsThatNameNobody) {
    EXPECT_FALSE(TCEventIO::SendEvent(nullptr));
    TCEvent event;
    EXPECT_FALSE(TCEventIO::SendEvent(&event));
    TCHandler orphan;
    event.handler = &orphan;
    EXPECT_FALSE(TCEventIO::SendEvent(&event));
}

TEST_F(TaskTest, CutsAThreadNameThatIsTooLongForTheKernel) {
    ASSERT_TRUE(task.Create("a_name_of_more_than_fifteen_bytes", true, 0));
    std::string name;
    Gate done;
    Post(task, [&] {
        name = ThreadName();
        done.Open();
    });
    ASSERT_TRUE(done.Wait());
    EXPECT_EQ(name, "a_name_of_more_");
}

TEST_F(TaskTest, RefusesASecondThreadAndOneThatNobodyJoins) {
    Create();
    EXPECT_FALSE(task.Create("again", true, 0));
    TCTask other("other");
    EXPECT_FALSE(other.Create("detached", false, 0));
}

TEST_F(TaskTest, SaysSoWhenTheSystemHasNoThreadToGive) {
    constexpr unsigned long MORE_THAN_THERE_IS = std::numeric_limits<unsigned long>::max() / 1024;
    EXPECT_FALSE(task.Create("huge", true, MORE_THAN_THERE_IS));
    EXPECT_EQ(LogCapture::CountBeginning(DLOG_ERROR, "task task_tceventio: "), 1);
}

TEST_F(TaskTest, RefusesToWaitForItsOwnThread) {
    Create();
    Gate done;
    Post(task, [&] {
        task.Destroy();
        done.Open();
    });
    ASSERT_TRUE(done.Wait());
    EXPECT_EQ(LogCapture::Count(DLOG_ERROR,
                                "task task_tceventio cannot wait for the end of its own thread"),
              1);
    EXPECT_TRUE(Post(task, [] {})) << "it goes on working";
}

TEST_F(TaskTest, CallsItsHooksAroundTheEvents) {
    class Hooked : public TCTask {
    public:
        Hooked() : TCTask("hooked") {}
        ~Hooked() override { Destroy(); }
        bool t_Create() override { return Note("create"); }
        bool t_Init() override { return Note("init"); }
        void t_AddIO() override { Note("io"); }
        void t_Final() override { Note("final"); }
        void t_Destroy() override { Note("destroy"); }
        bool Note(const char* step) {
            steps += std::string(step) + " ";
            return true;
        }
        std::string steps;
    };
    Hooked hooked;
    hooked.Create("hooked", true, 0);
    Post(hooked, [&] { hooked.Note("event"); });
    hooked.Destroy();
    EXPECT_EQ(hooked.steps, "create init io event final destroy ");
}

TEST_F(TaskTest, TakesEventsOfManyThreadsAtOnceAndLosesNone) {
    Create();
    constexpr int THREADS = 8;
    constexpr int EVENTS = 2000;
    int served = 0; // the task's thread alone counts
    Gate done;
    std::vector<std::thread> senders;
    for (int t = 0; t < THREADS; ++t) {
        senders.emplace_back([&] {
            for (int i = 0; i < EVENTS; ++i) {
                Post(task, [&] {
                    if (++served == THREADS * EVENTS) {
                        done.Open();
                    }
                });
            }
        });
    }
    for (std::thread& sender : senders) {
        sender.join();
    }
    EXPECT_TRUE(done.Wait());
}

TEST_F(TaskTest, GivesTheSystemItsMemoryBackWhenItGetsQuiet) {
    if (UNDER_SANITIZER) {
        GTEST_SKIP() << "the sanitizer keeps what is freed";
    }
    constexpr std::size_t MEBIBYTE = 1U << 20;
    Create();
    std::unique_ptr<std::string> last; // behind all others, so that none is given back as it goes
    std::size_t taken = 0;
    Gate done;
    Post(task, [&] {
        std::list<std::string> many;
        for (std::size_t size = 0; size < 32 * MEBIBYTE; size += 1024) {
            many.emplace_back(1024, 'x');
        }
        last = std::make_unique<std::string>(1024, 'x');
        many.clear();
        taken = AnonymousMemory(getpid());
        done.Open();
    });
    ASSERT_TRUE(done.Wait());
    EXPECT_TRUE(WaitUntil([&] { return AnonymousMemory(getpid()) + 24 * MEBIBYTE < taken; }));
}

TEST_F(TaskTest, AllocatesNothingPerEventOnceItIsWarm) {
    struct Handler : TCHandler {
        std::atomic<int> served{0};
        bool t_OnEvent(const TCEvent* /*event*/) override {
            ++served;
            return true;
        }
    };
    Create();
    Handler handler;
    handler.owner = &task;
    TCEvent event;
    event.handler = &handler;
    const auto send = [&](int count) {
        const int target = handler.served + count;
        for (int i = 0; i < count; ++i) {
            TCEventIO::SendEvent(&event);
        }
        while (handler.served < target) {
            std::this_thread::yield();
        }
    };
    // Warm: the task is held up while one of the queue's two buffers grows. Which of them it is
    // depends on the number of turns before, so an extra event comes every other time.
    for (int turn = 0; turn < 20; ++turn) {
        if (turn % 2 == 0) {
            Gate extra;
            Post(task, [&] { extra.Open(); });
            extra.Wait();
        }
        Gate goOn;
        Gate held;
        Post(task, [&] {
            held.Open();
            goOn.Wait();
        });
        held.Wait();
        for (int i = 0; i < 256; ++i) {
            TCEventIO::SendEvent(&event);
        }
        goOn.Open();
        Gate idle;
        Post(task, [&] { idle.Open(); });
        idle.Wait();
    }
    const long before = AllocationCount();
    for (int round = 0; round < 50; ++round) {
        send(100);
    }
    EXPECT_EQ(AllocationCount() - before, 0);
}

} // namespace

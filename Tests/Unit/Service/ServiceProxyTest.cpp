// SPDX-License-Identifier: Apache-2.0

// API calls through a proxy. The time limit is tested in HandOverLimitTest.cpp.

#include <atomic>
#include <gtest/gtest.h>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "Caller.h"
#include "DeathTest.h"
#include "Dlog.h"
#include "LogCapture.h"
#include "NullServiceProxy.h"
#include "TestProxy.h"
#include "Text.h"
#include "WorkerFactory.h"

namespace {

using marrow::ser::NullServiceProxy;
using marrow::ser::ServiceProxy;
using marrow::ser::Worker;
using marrow::ser::WorkerFactory;
using Quill::TCMessage;

int CountJobs(const std::shared_ptr<Worker>& worker) {
    return LogCapture::CountBeginning(DLOG_INFO, "Worker[" + Pointer(worker.get()) + "][" +
                                                     worker->GetName() + "] adds to queue");
}

TEST(ServiceProxy, SharesTheWorkerOfItsName) {
    TestProxy proxy("Api");
    TestProxy twin("Api");
    TestProxy other("Other");
    EXPECT_EQ(WorkerOf(proxy), WorkerFactory::Get().GetWorker("Api"));
    EXPECT_EQ(WorkerOf(proxy), WorkerOf(twin));
    EXPECT_NE(WorkerOf(proxy), WorkerOf(other));
}

TEST(ServiceProxy, QueuesNothingWhenItIsMade) {
    const auto worker = WorkerFactory::Get().GetWorker("Unasked");
    ASSERT_TRUE(RunOn(worker));
    LogCapture::Clear();
    {
        class PlainProxy : public ServiceProxy {
        public:
            using ServiceProxy::ServiceProxy;

        protected:
            TCMessage OnCallAPI(TCMessage& message) override { return message; }
        };
        const PlainProxy proxy("Unasked");
    }
    EXPECT_EQ(CountJobs(worker), 0);
}

TEST(ServiceProxy, CarriesACallFromAnotherThreadOverToItsWorkerInOneJob) {
    TestProxy proxy("Carried");
    std::string thread;
    proxy.onCall = [&](TCMessage& message) {
        thread = ThreadName();
        return Message("reply to " + TextOf(message) + ", " + message.subject);
    };
    ASSERT_TRUE(RunOn(WorkerOf(proxy)));
    LogCapture::Clear();
    const TCMessage reply = proxy.CallAPI(Message("call"));
    EXPECT_EQ(TextOf(reply), "reply to call, subject of call");
    EXPECT_EQ(thread, "Carried_thread");
    EXPECT_EQ(CountJobs(WorkerOf(proxy)), 1);
}

TEST(ServiceProxy, ServesACallOnItsOwnWorkerOnTheCallersStackWithoutAJob) {
    TestProxy proxy("Direct");
    std::vector<std::string> steps;
    proxy.onCall = [&](TCMessage& message) {
        steps.emplace_back("OnCallAPI");
        return message;
    };
    std::string text;
    int jobs = -1;
    ASSERT_TRUE(RunOn(WorkerOf(proxy), [&] {
        LogCapture::Clear();
        text = TextOf(proxy.CallAPI(Message("direct")));
        steps.emplace_back("returned");
        jobs = CountJobs(WorkerOf(proxy));
    }));
    EXPECT_EQ(text, "direct");
    EXPECT_EQ(steps, (std::vector<std::string>{"OnCallAPI", "returned"}));
    EXPECT_EQ(jobs, 0);
}

TEST(ServiceProxy, LogsNothingOfItsOwn) {
    TestProxy proxy("Silent");
    ASSERT_TRUE(RunOn(WorkerOf(proxy)));
    LogCapture::Clear();
    proxy.CallAPI(Message("call"));
    ASSERT_TRUE(RunOn(WorkerOf(proxy), [&] { proxy.CallAPI(Message("direct")); }));
    for (const LogCapture::Line& line : LogCapture::Lines()) {
        // Of workers, and of the cleaner's first job.
        EXPECT_TRUE(line.text.starts_with("Worker[") || line.text.starts_with("~Worker[") ||
                    line.text.starts_with("Executing job[") ||
                    line.text.starts_with("SetLocalWorker = "))
            << line.text;
    }
}

TEST(ServiceProxy, LeavesTheCallersMessageAsItIs) {
    TestProxy proxy("Changing");
    proxy.onCall = [](TCMessage& message) {
        message.payload["text"] = "changed";
        message.subject = "changed";
        return message;
    };
    const TCMessage message = Message("original");
    EXPECT_EQ(TextOf(proxy.CallAPI(message)), "changed");
    EXPECT_EQ(TextOf(message), "original");
    EXPECT_EQ(message.subject, "subject of original");
    ASSERT_TRUE(RunOn(WorkerOf(proxy), [&] { proxy.CallAPI(message); }));
    EXPECT_EQ(TextOf(message), "original");
    EXPECT_EQ(message.subject, "subject of original");
}

TEST(ServiceProxy, GivesEachCallerAReplyOfItsOwn) {
    TestProxy proxy("Copied");
    TCMessage first = proxy.CallAPI(Message("first"));
    const TCMessage second = proxy.CallAPI(Message("second"));
    EXPECT_EQ(TextOf(first), "first");
    first.payload["text"] = "scribbled on";
    EXPECT_EQ(TextOf(second), "second");
    EXPECT_EQ(TextOf(proxy.CallAPI(Message("third"))), "third");
}

TEST(ServiceProxy, PassesAnEmptyReplyOn) {
    TestProxy proxy("Mute");
    proxy.onCall = [](TCMessage&) { return TCMessage(); };
    EXPECT_TRUE(proxy.CallAPI(Message("call")).payload.empty());
}

TEST(ServiceProxy, LetsOneCallAtATimeThrough) {
    TestProxy proxy("Serial");
    Gate inside;
    Gate finish;
    std::vector<std::string> order;
    proxy.onCall = [&](TCMessage& message) {
        order.push_back("begin " + TextOf(message));
        if (TextOf(message) == "first") {
            inside.Open();
            finish.Wait();
        }
        order.push_back("end " + TextOf(message));
        return message;
    };
    Caller first([&] { return TextOf(proxy.CallAPI(Message("first"))); });
    ASSERT_TRUE(inside.Wait());
    Caller second([&] { return TextOf(proxy.CallAPI(Message("second"))); });
    EXPECT_TRUE(second.IsBlockedBy(proxy.*MemberOf(ProxyCallMutex())));
    EXPECT_EQ(proxy.calls, 1);
    finish.Open();
    EXPECT_EQ(first.Join(), "first");
    EXPECT_EQ(second.Join(), "second");
    EXPECT_EQ(order,
              (std::vector<std::string>{"begin first", "end first", "begin second", "end second"}));
}

TEST(ServiceProxy, GivesManyCallersTheirOwnReplies) {
    constexpr int CALLERS = 6;
    constexpr int CALLS = 100;
    TestProxy proxy("Crowd");
    std::atomic<int> wrong{0};
    std::vector<std::thread> callers;
    for (int i = 0; i < CALLERS; ++i) {
        callers.emplace_back([&, i] {
            for (int call = 0; call < CALLS; ++call) {
                const std::string text = std::to_string(i) + "." + std::to_string(call);
                wrong += TextOf(proxy.CallAPI(Message(text))) == text ? 0 : 1;
            }
        });
    }
    for (std::thread& caller : callers) {
        caller.join();
    }
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(proxy.calls, CALLERS * CALLS);
}

TEST(ServiceProxy, HoldsTheMutexWhileItQueuesTheJob) {
    TestProxy proxy("Ordered");
    GMutex& mutex = proxy.*MemberOf(ProxyHandOverMutex());
    g_mutex_lock(&mutex);
    Caller calling([&] { return TextOf(proxy.CallAPI(Message("call"))); });
    EXPECT_TRUE(calling.IsBlockedBy(mutex));
    EXPECT_TRUE(RunOn(WorkerOf(proxy))); // behind a job that isn't there yet
    EXPECT_EQ(proxy.calls, 0);
    g_mutex_unlock(&mutex);
    EXPECT_EQ(calling.Join(), "call");
}

TEST(ServiceProxy, TakesTheMutexAheadOfTheSignalBehindTheCall) {
    TestProxy proxy("Guarded");
    Gate inside;
    Gate finish;
    std::atomic<pid_t> worker{0};
    proxy.onCall = [&](TCMessage& message) {
        worker = ThisThread();
        inside.Open();
        finish.Wait();
        return message;
    };
    GMutex& mutex = proxy.*MemberOf(ProxyHandOverMutex());
    Caller calling([&] { return TextOf(proxy.CallAPI(Message("call"))); });
    ASSERT_TRUE(inside.Wait());
    g_mutex_lock(&mutex); // free once the caller waits
    finish.Open();
    EXPECT_TRUE(WaitUntilBlockedIn(worker, mutex));
    EXPECT_FALSE(calling.IsDone());
    g_mutex_unlock(&mutex);
    EXPECT_EQ(calling.Join(), "call");
}

// One wait decides, with no predicate: a wake-up for no reason counts as the worker's signal, and
// the reply is the one that stands there, of the call before.
TEST(ServiceProxy, TakesASpuriousWakeUpForTheReply) {
    TestProxy proxy("Spurious");
    Gate inside;
    Gate finish;
    ASSERT_EQ(TextOf(proxy.CallAPI(Message("former"))), "former");
    proxy.onCall = [&](TCMessage& message) {
        inside.Open();
        finish.Wait();
        return message;
    };
    Caller calling([&] { return TextOf(proxy.CallAPI(Message("present"))); });
    ASSERT_TRUE(inside.Wait());
    WakeForNoReason(proxy);
    EXPECT_EQ(calling.Join(), "former");
    finish.Open();
}

// A reply doesn't know its call. Here the first caller has been woken too early; what a time-out
// does is tested with the limit.
TEST(ServiceProxy, GivesALateReplyToANewerCall) {
    TestProxy proxy("Late");
    Gate insideFirst;
    Gate finishFirst;
    Gate secondHasReturned;
    proxy.onCall = [&](TCMessage& message) {
        if (TextOf(message) == "first") {
            insideFirst.Open();
            finishFirst.Wait();
        } else {
            secondHasReturned.Wait();
        }
        return message;
    };
    Caller first([&] { return proxy.CallAPI(Message("first")).payload.empty(); });
    ASSERT_TRUE(insideFirst.Wait());
    WakeForNoReason(proxy);
    EXPECT_TRUE(first.Join()); // no reply stood there
    Caller second([&] { return TextOf(proxy.CallAPI(Message("second"))); });
    EXPECT_TRUE(second.IsBlockedBy(proxy.*MemberOf(ProxyHandOverCondition())));
    finishFirst.Open();
    EXPECT_EQ(second.Join(), "first");
    secondHasReturned.Open();
}

TEST(ServiceProxy, MayEndOnItsOwnWorker) {
    auto* const proxy = new TestProxy("Suicidal");
    Post(WorkerOf(*proxy), [proxy] { delete proxy; });
    EXPECT_TRUE(LogCapture::WaitFor(DLOG_INFO, "~Worker[Suicidal]"));
}

TEST(NullServiceProxy, AnswersWithAnEmptyMessage) {
    NullServiceProxy proxy;
    const TCMessage reply = proxy.CallAPI(Message("call"));
    EXPECT_TRUE(reply.payload.empty());
    EXPECT_EQ(reply.subject, "");
    bool empty = false;
    ASSERT_TRUE(
        RunOn(WorkerOf(proxy), [&] { empty = proxy.CallAPI(Message("direct")).payload.empty(); }));
    EXPECT_TRUE(empty);
}

TEST(NullServiceProxy, SharesOneWorkerWithoutANameWithAllOthers) {
    NullServiceProxy first;
    NullServiceProxy second;
    EXPECT_EQ(WorkerOf(first), WorkerOf(second));
    EXPECT_EQ(WorkerOf(first)->GetName(), "");
    EXPECT_EQ(WorkerOf(first), WorkerFactory::Get().GetWorker(""));
}

// The call lock isn't recursive. On the direct way a service that calls itself waits for itself.
TEST(ServiceProxyDeathTest, WaitsForItselfForEverOnTheDirectWay) {
    if (UNDER_THREAD_SANITIZER) {
        GTEST_SKIP() << "the sanitizer ends the program at a thread's second lock of a mutex";
    }
    UseFreshProcesses();
    EXPECT_EXIT(
        {
            static TestProxy proxy("Narcissist");
            static std::atomic<pid_t> id{0};
            proxy.onCall = [](TCMessage& message) {
                id = ThisThread();
                return proxy.CallAPI(message);
            };
            Post(WorkerOf(proxy), [] { proxy.CallAPI(Message("self")); });
            const auto& mutex = proxy.*MemberOf(ProxyCallMutex());
            const bool blocked =
                WaitUntil([&] { return id != 0 && IsBlockedIn(id, &mutex, sizeof(mutex)); });
            _exit(blocked && proxy.calls == 1 ? 7 : 1);
        },
        testing::ExitedWithCode(7), "");
}

TEST(ServiceProxyDeathTest, DiesOfAnExceptionThatLeavesOnCallAPI) {
    UseFreshProcesses();
    EXPECT_EXIT(
        {
            TestProxy proxy("Throwing");
            proxy.onCall = [](TCMessage&) -> TCMessage {
                throw std::runtime_error("the call has failed");
            };
            proxy.CallAPI(Message("call"));
        },
        DiedOfTerminate, "the call has failed");
}

} // namespace

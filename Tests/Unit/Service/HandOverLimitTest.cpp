// SPDX-License-Identifier: Apache-2.0

// The limit of ten seconds, at its full length. Each test waits for one of them, some for two.

#include <chrono>
#include <gtest/gtest.h>
#include <string>

#include "Caller.h"
#include "Dlog.h"
#include "LogCapture.h"
#include "TestProxy.h"
#include "TestService.h"

namespace {

// The latest wait of this thread: when it began, and its end that was asked for.
thread_local gint64 waitBegan = 0;
thread_local gint64 waitEnd = 0;

} // namespace

// The linker has the code under test call this one, which leaves the work to the other.
extern "C" gboolean __real_g_cond_wait_until(GCond* condition, GMutex* mutex, gint64 end);
extern "C" gboolean __wrap_g_cond_wait_until(GCond* condition, GMutex* mutex, gint64 end) {
    waitBegan = g_get_monotonic_time();
    waitEnd = end;
    return __real_g_cond_wait_until(condition, mutex, end);
}

namespace {

using Clock = std::chrono::steady_clock;
using Quill::TCMessage;
using std::chrono::milliseconds;

constexpr const char* TIMEOUT_LINE = "Timeout 10 seconds occured!";

// How long a call takes and what it yields.
template <typename Result>
struct Timed {
    Result result;
    milliseconds took;
    gint64 from; // of the clock of GLib
};

template <typename Call>
auto Time(Call call) {
    const gint64 from = g_get_monotonic_time();
    const auto before = Clock::now();
    auto result = call();
    return Timed<decltype(result)>{
        result, std::chrono::duration_cast<milliseconds>(Clock::now() - before), from};
}

// Neither before the limit, which is counted from somewhere within the call, nor much later: a busy
// machine is late.
template <typename Result>
void ExpectTenSeconds(const Timed<Result>& call) {
    constexpr gint64 LIMIT = 10 * G_USEC_PER_SEC;
    EXPECT_GE(call.took, milliseconds(10000));
    EXPECT_LT(call.took, milliseconds(20000));
    EXPECT_GE(waitEnd, call.from + LIMIT);
    EXPECT_LE(waitEnd, waitBegan + LIMIT);
}

TEST(HandOverLimit, EndsAStartWhichTheServiceOutlasts) {
    TestService service("SlowStart");
    Gate finish;
    service.onStart = [&] {
        finish.Wait(std::chrono::seconds(60));
        return true;
    };
    LogCapture::Clear();
    const auto start = Time([&] { return service.Start(); });
    EXPECT_FALSE(start.result);
    ExpectTenSeconds(start);
    EXPECT_EQ(LogCapture::Count(DLOG_ERROR, TIMEOUT_LINE), 1);
    EXPECT_FALSE(service.IsStarted());
    // The job wasn't withdrawn: OnStart ends as ever, with nobody waiting.
    finish.Open();
    EXPECT_TRUE(WaitUntil([&] { return service.IsStarted(); }));
    EXPECT_TRUE(service.Start());
    EXPECT_EQ(service.starts, 1);
    EXPECT_EQ(LogCapture::CountBeginning(DLOG_ERROR, ""), 1);
}

TEST(HandOverLimit, EndsAStopWhichTheServiceOutlasts) {
    TestService service("SlowStop");
    Gate finish;
    service.onStop = [&] {
        finish.Wait(std::chrono::seconds(60));
        return true;
    };
    ASSERT_TRUE(service.Start());
    LogCapture::Clear();
    const auto stop = Time([&] { return service.Stop(); });
    EXPECT_FALSE(stop.result);
    ExpectTenSeconds(stop);
    EXPECT_EQ(LogCapture::Count(DLOG_ERROR, TIMEOUT_LINE), 1);
    EXPECT_TRUE(service.IsStarted());
    finish.Open();
    EXPECT_TRUE(WaitUntil([&] { return !service.IsStarted(); }));
}

TEST(HandOverLimit, EndsAStartThatNeverCameToItsTurn) {
    TestService service("Crowded");
    Gate finish;
    Post(service.GetWorker(), [&] { finish.Wait(std::chrono::seconds(60)); });
    const auto start = Time([&] { return service.Start(); });
    EXPECT_FALSE(start.result);
    ExpectTenSeconds(start);
    EXPECT_EQ(service.starts, 0);
    finish.Open(); // the job is still queued
    EXPECT_TRUE(WaitUntil([&] { return service.IsStarted(); }));
    EXPECT_EQ(service.starts, 1);
}

TEST(HandOverLimit, LeavesTheServiceStoppedWhereALateOnStartFails) {
    TestService service("LateFailure");
    Gate finish;
    service.onStart = [&] {
        finish.Wait(std::chrono::seconds(60));
        return false;
    };
    EXPECT_FALSE(service.Start());
    finish.Open();
    ASSERT_TRUE(RunOn(service.GetWorker()));
    EXPECT_FALSE(service.IsStarted());
}

TEST(HandOverLimit, DoesNotApplyToTheDirectWay) {
    TestService service("Unlimited");
    service.onStart = [] {
        Gate().Wait(std::chrono::seconds(11)); // nobody opens it
        return true;
    };
    LogCapture::Clear();
    bool started = false;
    ASSERT_TRUE(RunOn(service.GetWorker(), [&] { started = service.Start(); }));
    EXPECT_TRUE(started);
    EXPECT_EQ(LogCapture::CountBeginning(DLOG_ERROR, ""), 0);
}

// The caller of Start holds the state lock: a service that asks for itself meanwhile is stuck until
// that caller gives up.
TEST(HandOverLimit, FreesAnOnStartThatAsksForItsOwnState) {
    TestService service("Asking");
    milliseconds asked{0};
    service.onStart = [&] {
        asked = Time([&] { return service.IsStarted(); }).took;
        return true;
    };
    LogCapture::Clear();
    EXPECT_FALSE(service.Start());
    EXPECT_EQ(LogCapture::Count(DLOG_ERROR, TIMEOUT_LINE), 1);
    ASSERT_TRUE(RunOn(service.GetWorker()));
    EXPECT_GE(asked, milliseconds(9000));
    EXPECT_TRUE(service.IsStarted());
}

TEST(HandOverLimit, FreesAnOnStopThatStartsItsOwnService) {
    TestService service("Reviving");
    bool started = false;
    milliseconds asked{0};
    service.onStop = [&] {
        const auto start = Time([&] { return service.Start(); });
        started = start.result; // it is started still
        asked = start.took;
        return true;
    };
    ASSERT_TRUE(service.Start());
    EXPECT_FALSE(service.Stop());
    ASSERT_TRUE(RunOn(service.GetWorker()));
    EXPECT_TRUE(started);
    EXPECT_GE(asked, milliseconds(9000));
    EXPECT_EQ(service.starts, 1);
    EXPECT_FALSE(service.IsStarted());
}

TEST(HandOverLimit, MakesIsStartedWaitForItsFullLength) {
    TestService service("Watched");
    Gate inside;
    Gate finish;
    service.onStart = [&] {
        inside.Open();
        finish.Wait(std::chrono::seconds(60));
        return true;
    };
    Caller starting([&] { return service.Start(); });
    ASSERT_TRUE(inside.Wait());
    const auto asked = Time([&] { return service.IsStarted(); });
    EXPECT_FALSE(asked.result);
    EXPECT_GE(asked.took, milliseconds(9000));
    EXPECT_FALSE(starting.Join());
    finish.Open();
}

TEST(HandOverLimit, EndsACallWithAnEmptyMessageAndNoWord) {
    TestProxy proxy("SlowApi");
    Gate finish;
    EXPECT_EQ(TextOf(proxy.CallAPI(Message("former"))), "former");
    proxy.onCall = [&](TCMessage& message) {
        finish.Wait(std::chrono::seconds(60));
        return message;
    };
    LogCapture::Clear();
    const auto call = Time([&] { return proxy.CallAPI(Message("slow")); });
    EXPECT_TRUE(call.result.payload.empty());
    EXPECT_EQ(call.result.subject, "");
    ExpectTenSeconds(call);
    for (const LogCapture::Line& line : LogCapture::Lines()) { // the worker's, and no other
        EXPECT_TRUE(line.text.starts_with("Worker[") || line.text.starts_with("Executing job[") ||
                    line.text.starts_with("SetLocalWorker = "))
            << line.text;
    }
    finish.Open();
}

TEST(HandOverLimit, DoesNotApplyToACallOnTheProxysOwnWorker) {
    TestProxy proxy("UnlimitedApi");
    proxy.onCall = [](TCMessage& message) {
        Gate().Wait(std::chrono::seconds(11)); // nobody opens it
        return message;
    };
    std::string text;
    ASSERT_TRUE(RunOn(WorkerOf(proxy), [&] { text = TextOf(proxy.CallAPI(Message("direct"))); }));
    EXPECT_EQ(text, "direct");
}

// Replies carry no call's identity: the signal of a call that was given up wakes the newer caller.
TEST(HandOverLimit, LetsANewerCallReceiveTheReplyOfOneThatWasGivenUp) {
    TestProxy proxy("LateApi");
    Gate finishFirst;
    Gate secondHasReturned;
    proxy.onCall = [&](TCMessage& message) {
        (TextOf(message) == "first" ? finishFirst : secondHasReturned)
            .Wait(std::chrono::seconds(60));
        return message;
    };
    EXPECT_TRUE(proxy.CallAPI(Message("first")).payload.empty());
    Caller second([&] { return TextOf(proxy.CallAPI(Message("second"))); });
    EXPECT_TRUE(second.IsBlockedBy(proxy.*MemberOf(ProxyHandOverCondition())));
    finishFirst.Open();
    EXPECT_EQ(second.Join(), "first");
    secondHasReturned.Open();
    ASSERT_TRUE(RunOn(WorkerOf(proxy)));
    EXPECT_EQ(proxy.calls, 2);
}

// A caller waits for the lock as long as the calls ahead of it last, and then has ten seconds of
// its own.
TEST(HandOverLimit, BeginsForEachCallerWhenItsTurnHasCome) {
    TestProxy proxy("Turns");
    Gate inside;
    Gate finish;
    proxy.onCall = [&](TCMessage& message) {
        inside.Open();
        finish.Wait(std::chrono::seconds(60));
        return message;
    };
    Caller first([&] { return proxy.CallAPI(Message("first")).payload.empty(); });
    ASSERT_TRUE(inside.Wait());
    const auto second = Time([&] { return proxy.CallAPI(Message("second")); });
    EXPECT_TRUE(second.result.payload.empty());
    EXPECT_GE(second.took, milliseconds(19000));
    EXPECT_TRUE(first.Join());
    finish.Open();
    ASSERT_TRUE(RunOn(WorkerOf(proxy))); // the second call is still to come, and looks at the gates
}

// A service that calls itself over the hand-over waits for the call lock until the caller outside
// has given up; its own call then runs on the spot.
TEST(HandOverLimit, FreesAnOnCallAPIThatCallsItself) {
    TestProxy proxy("Recursive");
    milliseconds blocked{0};
    std::string inner;
    proxy.onCall = [&](TCMessage& message) {
        if (TextOf(message) == "outer") {
            const auto call = Time([&] { return TextOf(proxy.CallAPI(Message("inner"))); });
            inner = call.result;
            blocked = call.took;
        }
        return message;
    };
    EXPECT_TRUE(proxy.CallAPI(Message("outer")).payload.empty());
    ASSERT_TRUE(RunOn(WorkerOf(proxy)));
    EXPECT_EQ(inner, "inner");
    EXPECT_GE(blocked, milliseconds(9000));
}

} // namespace

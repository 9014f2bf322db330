// SPDX-License-Identifier: Apache-2.0

// How a service's notifications leave through its proxy: to the message handler, on the proxy's
// worker.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <mutex>
#include <string>
#include <vector>

#include "BlockedThread.h"
#include "Caller.h"
#include "DeathTest.h"
#include "Dlog.h"
#include "IMessageHandler.h"
#include "LogCapture.h"
#include "ModuleAccessor.h"
#include "ModuleClass.h"
#include "TestProxy.h"
#include "Text.h"

namespace {

using marrow::msg::IMessageHandler;
using Quill::TCMessage;

// In the router's place.
class FakeHandler : public IMessageHandler {
public:
    struct Sent {
        std::string text;
        std::string subject;
        std::string thread;
        bool operator==(const Sent&) const = default;
    };

    void Init() override {}
    TCMessage OnMessage(const TCMessage& message, bool /*blocking*/) override { return message; }
    void SendNotification(TCMessage message) override {
        const std::scoped_lock lock(m_mutex);
        m_sent.push_back({TextOf(message), message.subject, ThreadName()});
        message.payload["text"] = "changed"; // its own
    }

    std::vector<Sent> Take() {
        const std::scoped_lock lock(m_mutex);
        return std::exchange(m_sent, {});
    }

private:
    std::mutex m_mutex;
    std::vector<Sent> m_sent;
};

void PrintTo(const FakeHandler::Sent& sent, std::ostream* out) {
    *out << sent.text << " / " << sent.subject << " on " << sent.thread;
}

class ProxyNotification : public testing::Test {
protected:
    ProxyNotification() { m_handler.Take(); }

    static FakeHandler& GetHandler() {
        static ModuleClass<FakeHandler> handlerClass("FakeHandler");
        static const bool registered = [] {
            ModuleInterface<IMessageHandler>::AddImpl(&handlerClass);
            return true;
        }();
        EXPECT_TRUE(registered);
        return dynamic_cast<FakeHandler&>(*ModuleAccessor<IMessageHandler>::Get());
    }

    FakeHandler& m_handler = GetHandler();
};

using Sent = std::vector<FakeHandler::Sent>;

TEST_F(ProxyNotification, GoesToTheHandlerOnTheProxysWorkerAndDoesNotWait) {
    TestProxy proxy("Notifying");
    Gate finish;
    Post(WorkerOf(proxy), [&] { finish.Wait(); });
    proxy.SendNotification(Message("news")); // comes back although the worker is busy
    EXPECT_EQ(m_handler.Take(), Sent{});
    finish.Open();
    ASSERT_TRUE(RunOn(WorkerOf(proxy)));
    EXPECT_EQ(m_handler.Take(), (Sent{{"news", "subject of news", "Notifying_threa"}}));
}

TEST_F(ProxyNotification, TravelsAsACopy) {
    TestProxy proxy("Copying");
    Gate finish;
    Post(WorkerOf(proxy), [&] { finish.Wait(); });
    TCMessage message = Message("news");
    proxy.SendNotification(message);
    message.payload["text"] = "scribbled on";
    finish.Open();
    ASSERT_TRUE(RunOn(WorkerOf(proxy)));
    EXPECT_THAT(m_handler.Take(),
                testing::ElementsAre(testing::Field(&FakeHandler::Sent::text, "news")));
}

TEST_F(ProxyNotification, IsSentAtOnceOnTheProxysOwnWorkerWithoutAJob) {
    TestProxy proxy("Immediate");
    Sent sent;
    const TCMessage message = Message("news");
    int jobs = -1;
    ASSERT_TRUE(RunOn(WorkerOf(proxy), [&] {
        LogCapture::Clear();
        proxy.SendNotification(message);
        sent = m_handler.Take();
        jobs = LogCapture::CountBeginning(DLOG_INFO, "Worker[");
    }));
    EXPECT_EQ(sent, (Sent{{"news", "subject of news", "Immediate_threa"}}));
    EXPECT_EQ(jobs, 0);
    EXPECT_EQ(TextOf(message), "news"); // the handler has changed a copy
}

TEST_F(ProxyNotification, KeepsItsPlaceAmongTheWorkersJobs) {
    TestProxy proxy("Ordering");
    Gate finish;
    std::vector<std::size_t> sentBefore;
    Post(WorkerOf(proxy), [&] { finish.Wait(); });
    proxy.SendNotification(Message("first"));
    Post(WorkerOf(proxy), [&] { sentBefore.push_back(m_handler.Take().size()); });
    proxy.SendNotification(Message("second"));
    proxy.SendNotification(Message("third"));
    finish.Open();
    ASSERT_TRUE(RunOn(WorkerOf(proxy)));
    EXPECT_EQ(sentBefore, std::vector<std::size_t>{1});
    EXPECT_EQ(m_handler.Take(), (Sent{{"second", "subject of second", "Ordering_thread"},
                                      {"third", "subject of third", "Ordering_thread"}}));
}

TEST_F(ProxyNotification, LeavesDuringACallFromOutsideAndFromTheCallItself) {
    TestProxy proxy("Calling");
    Gate inside;
    Gate finish;
    proxy.onCall = [&](TCMessage& message) {
        proxy.SendNotification(Message("from inside"));
        inside.Open();
        finish.Wait();
        return message;
    };
    Caller calling([&] { return TextOf(proxy.CallAPI(Message("call"))); });
    ASSERT_TRUE(inside.Wait());
    proxy.SendNotification(Message("from outside")); // the call's lock isn't in its way
    EXPECT_FALSE(calling.IsDone());
    EXPECT_EQ(m_handler.Take(),
              (Sent{{"from inside", "subject of from inside", "Calling_thread"}}));
    finish.Open();
    EXPECT_EQ(calling.Join(), "call");
    ASSERT_TRUE(RunOn(WorkerOf(proxy)));
    EXPECT_EQ(m_handler.Take(),
              (Sent{{"from outside", "subject of from outside", "Calling_thread"}}));
}

// Nobody looks whether there is a handler: the router is there before any service.
TEST(ProxyNotificationDeathTest, DiesWhereThereIsNoHandler) {
    UseFreshProcesses();
    EXPECT_EXIT(
        {
            TestProxy proxy("Orphan");
            RunOn(WorkerOf(proxy), [&] { proxy.SendNotification(Message("news")); });
        },
        DiedOfAFault, "");
}

TEST(ProxyNotificationDeathTest, DiesOnTheWorkerWhereThereIsNoHandler) {
    UseFreshProcesses();
    EXPECT_EXIT(
        {
            TestProxy proxy("OrphanToo");
            proxy.SendNotification(Message("news"));
            RunOn(WorkerOf(proxy));
        },
        DiedOfAFault, "");
}

} // namespace

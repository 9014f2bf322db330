// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <new>

#include "BlockedThread.h"
#include "Caller.h"
#include "Dlog.h"
#include "Gate.h"
#include "IServiceControl.h"
#include "IServiceManager.h"
#include "KeepForEver.h"
#include "KeptWorker.h"
#include "LogCapture.h"
#include "MessageRouter.h"
#include "ModuleAccessor.h"
#include "PrivateBus.h"
#include "RawClient.h"
#include "RunMainLoop.h"
#include "ServerCalls.h"
#include "WaitUntil.h"
#include "Worker.h"
#include "WorkerFactory.h"

namespace {

using marrow::mgr::IServiceControl;
using marrow::msg::IMessageHandler;
using marrow::msg::IMessageRouter;
using marrow::msg::MessageRouter;
using Quill::TCEventIO;
using Quill::TCMessage;
using testing::ElementsAre;
using Texts = std::vector<std::string>;

constexpr const char* NOT_STARTED = "Service does not exist or is not started";

// A service as the router sees it.
struct FakeControl : IServiceControl {
    ServiceState state = ServiceState::STARTED;
    std::shared_ptr<marrow::ser::Worker> worker;
    std::function<TCMessage(const TCMessage&)> onCall = [](const TCMessage& m) { return m; };
    std::function<void()> onState = [] {};
    int calls = 0;

    std::string GetName() override { return "probe"; }
    bool IsAutostart() override { return true; }
    std::uint8_t GetPriority() override { return 0; }
    std::vector<std::string> GetDependencies() override { return {}; }
    bool Load() override { return true; }
    bool Unload() override { return true; }
    bool Start() override { return true; }
    bool Stop() override { return true; }
    ServiceState GetState() override {
        onState();
        return state;
    }
    std::shared_ptr<marrow::ser::Worker> GetWorker() override { return worker; }
    TCMessage CallAPI(const TCMessage& message) override {
        ++calls;
        return onCall(message);
    }
};

struct FakeManager : marrow::mgr::IServiceManager {
    static inline std::map<std::string, IServiceControl*> services;

    void Init() override {}
    std::vector<marrow::ser::service_info_t> GetServiceList() override { return {}; }
    IServiceControl* GetServiceByName(std::string name) override {
        const auto found = services.find(name);
        return found == services.end() ? nullptr : found->second;
    }
};

// What the router finds under the name "probe".
void Declare(FakeControl& control) {
    static ModuleClass<FakeManager> managerClass("FakeManager");
    ModuleInterface<marrow::mgr::IServiceManager>::AddImpl(&managerClass);
    FakeManager::services["probe"] = &control;
}

class MessageRouterTest : public testing::Test {
protected:
    MessageRouterTest() {
        Declare(control);
        message.subject = "probe";
        message.payload["a"] = 1;
        RunMainLoop();
    }

    // Whether the message counts as pending: the next one's line tells how many do.
    int Pending() {
        LogCapture::Clear();
        TCMessage probe;
        TCMessage answer;
        TCEventIO* queue = nullptr;
        router.IfTransferMessage("probe", &probe, queue);
        int pending = -1;
        for (const LogCapture::Line& line : LogCapture::Lines()) {
            std::sscanf(line.text.c_str(), "%d pending messages", &pending);
        }
        router.IfMessageReceived("probe", &probe, &answer, nullptr);
        return pending;
    }

    PrivateBus bus;
    FakeControl control;
    MessageRouter& router = KeepForEver<MessageRouter>();
    TCMessage message;
    TCMessage reply;
    TCEventIO* target = nullptr;
};

TEST_F(MessageRouterTest, HasItsPublicNames) {
    EXPECT_STREQ(MessageRouter::DBUS_PRIVATE_NAME, "marrow.ser.server.MessageRouter");
    EXPECT_EQ(MessageRouter::CLASS.GetName(), "NonBlocking_MessageRouter");
    RawClient client;
    EXPECT_TRUE(client.NameHasOwner("marrow.ser.server.MessageRouter"));
}

TEST_F(MessageRouterTest, NamesTheWorkerOfAStartedServiceAsTarget) {
    control.worker = marrow::ser::WorkerFactory::Get().GetWorker("probe");
    EXPECT_TRUE(router.IfTransferMessage("sender", &message, target));
    EXPECT_EQ(target, control.worker.get());
    EXPECT_EQ(control.worker.use_count(), 1) << "no reference is kept";
    router.IfMessageReceived("sender", &message, &reply, nullptr);
    control.worker.reset();
}

TEST_F(MessageRouterTest, TransfersNothingWithoutAWorker) {
    EXPECT_FALSE(router.IfTransferMessage("sender", &message, target));
    EXPECT_EQ(target, nullptr);
    EXPECT_EQ(LogCapture::Count(DLOG_WARN, NOT_STARTED), 0);
}

TEST_F(MessageRouterTest, LeavesTheTargetAsItIsForAServiceThatIsntStartedOrUnknown) {
    auto* const before = reinterpret_cast<TCEventIO*>(this);
    target = before;
    control.state = IServiceControl::ServiceState::LOADED;
    EXPECT_FALSE(router.IfTransferMessage("sender", &message, target));
    TCMessage unknown;
    unknown.subject = "nobody";
    EXPECT_FALSE(router.IfTransferMessage("sender", &unknown, target));
    EXPECT_EQ(target, before);
    EXPECT_EQ(LogCapture::Count(DLOG_WARN, NOT_STARTED), 2);
}

TEST_F(MessageRouterTest, EntersEveryMessageAsPendingUntilItHasBeenReceived) {
    TCMessage unknown;
    unknown.subject = "nobody";
    EXPECT_EQ(Pending(), 0);
    router.IfTransferMessage("same sender", &message, target);
    EXPECT_EQ(Pending(), 1);
    router.IfTransferMessage("same sender", &unknown, target);
    EXPECT_EQ(Pending(), 2) << "one by one message, not by one sender";
    router.IfTransferMessage("other sender", &unknown, target);
    EXPECT_EQ(Pending(), 2) << "the same message again is the same entry";
    router.IfMessageReceived("same sender", &message, &reply, nullptr);
    EXPECT_EQ(Pending(), 1);
    router.IfMessageReceived("same sender", &unknown, &reply, "some_signal");
    EXPECT_EQ(Pending(), 0);
}

// A service that is in the middle of a call tells its state only behind it.
TEST_F(MessageRouterTest, EntersAMessageOnlyOnceItsServiceHasToldItsState) {
    Gate asked;
    Gate goOn;
    control.onState = [&] {
        asked.Open();
        goOn.Wait();
    };
    Caller transferring([&] { return router.IfTransferMessage("sender", &message, target); });
    ASSERT_TRUE(asked.Wait());
    EXPECT_EQ(Pending(), 0);
    goOn.Open();
    transferring.Join();
    EXPECT_EQ(Pending(), 1);
}

TEST_F(MessageRouterTest, KeepsACallPendingToItsEndAndItsTableOpenMeanwhile) {
    Gate inside;
    Gate goOn;
    control.onCall = [&](const TCMessage& given) {
        inside.Open();
        goOn.Wait();
        return given;
    };
    router.IfTransferMessage("sender", &message, target);
    Caller receiving([&] { return router.IfMessageReceived("sender", &message, &reply, nullptr); });
    ASSERT_TRUE(inside.Wait());
    EXPECT_EQ(Pending(), 1);
    EXPECT_FALSE(receiving.IsDone());
    goOn.Open();
    receiving.Join();
    EXPECT_EQ(Pending(), 0);
}

TEST_F(MessageRouterTest, AnswersACallWithWhatTheServiceReturns) {
    control.onCall = [](const TCMessage& given) {
        TCMessage answer;
        answer.subject = "answer";
        answer.payload["b"] = given.payload["a"];
        return answer;
    };
    EXPECT_EQ(router.IfMessageReceived("sender", &message, &reply, nullptr), 1);
    EXPECT_EQ(reply.subject, "answer");
    EXPECT_EQ(reply.payload["b"], 1);
    EXPECT_FALSE(reply.payload.isMember("return_error"));
    EXPECT_EQ(LogCapture::Count(DLOG_INFO, "DBUS Message received from sender"), 1);
    EXPECT_EQ(
        LogCapture::Count(DLOG_INFO, "Calling [probe] API with data :\n{\n\t\"a\" : 1\n}\n\n"), 1);
}

TEST_F(MessageRouterTest, RendersNoMoreOfAPayloadThanTheLogWrites) {
    for (int i = 0; i < 1000; ++i) {
        message.payload["list"].append(i);
    }
    LogCapture::SetRoom(0);
    router.IfMessageReceived("sender", &message, &reply, nullptr);
    EXPECT_EQ(LogCapture::Count(DLOG_INFO, "Calling [probe] API with data :\n{\n}\n\n"), 1);
}

TEST_F(MessageRouterTest, MarksAnEmptyAnswerAsAFailedDelivery) {
    Json::Value failed;
    failed["return_error"] = "Delivery failed";
    for (const Json::ValueType empty : {Json::nullValue, Json::objectValue, Json::arrayValue}) {
        control.onCall = [empty](const TCMessage&) {
            TCMessage answer;
            answer.payload = empty;
            return answer;
        };
        router.IfMessageReceived("sender", &message, &reply, nullptr);
        EXPECT_EQ(reply.payload, failed) << empty;
    }
}

TEST_F(MessageRouterTest, TakesNothingButContainersForEmptyAnswers) {
    for (const Json::Value& value : {Json::Value(""), Json::Value(0), Json::Value(false)}) {
        control.onCall = [&value](const TCMessage&) {
            TCMessage answer;
            answer.payload = value;
            return answer;
        };
        router.IfMessageReceived("sender", &message, &reply, nullptr);
        EXPECT_EQ(reply.payload, value);
    }
}

TEST_F(MessageRouterTest, MarksACallToNobodyAsAFailedDelivery) {
    message.subject = "nobody";
    EXPECT_EQ(router.IfMessageReceived("sender", &message, &reply, nullptr), 1);
    EXPECT_EQ(reply.payload["return_error"], "Delivery failed");
    EXPECT_EQ(LogCapture::Count(DLOG_WARN, "Delivery error. No Service with name nobody"), 1);
}

TEST_F(MessageRouterTest, SaysOfAMessageToNobodyFirstThatItIsThere) {
    message.subject = "nobody";
    LogCapture::Clear();
    router.IfTransferMessage("sender", &message, target);
    router.IfMessageReceived("sender", &message, &reply, nullptr);
    const Texts expected = {NOT_STARTED, "0 pending messages", "DBUS Message received from sender",
                            "Delivery error. No Service with name nobody"};
    Texts said; // without what the watchdog may say meanwhile
    for (const LogCapture::Line& line : LogCapture::Lines()) {
        if (std::find(expected.begin(), expected.end(), line.text) != expected.end()) {
            said.push_back(line.text);
        }
    }
    EXPECT_EQ(said, expected);
}

TEST_F(MessageRouterTest, SaysThatAMessageIsThereAheadOfTheCallAndOfASignalThatItWasSentBehindIt) {
    int received = -1;
    int sent = -1;
    control.onCall = [&](const TCMessage& given) {
        received = LogCapture::Count(DLOG_INFO, "DBUS Message received from sender");
        sent = LogCapture::Count(DLOG_INFO, "Signal some_signal sent to router");
        return given;
    };
    LogCapture::Clear();
    router.IfMessageReceived("sender", &message, nullptr, "some_signal");
    EXPECT_EQ(received, 1);
    EXPECT_EQ(sent, 0);
    EXPECT_EQ(LogCapture::Count(DLOG_INFO, "Signal some_signal sent to router"), 1);
}

TEST_F(MessageRouterTest, CallsAServiceThatIsntStartedAndLetsItRefuse) {
    control.state = IServiceControl::ServiceState::LOADED;
    router.IfMessageReceived("sender", &message, &reply, nullptr);
    EXPECT_EQ(control.calls, 1);
}

TEST_F(MessageRouterTest, DeliversASignalAsACallAndDropsTheAnswer) {
    EXPECT_EQ(router.IfMessageReceived("sender", &message, &reply, "some_signal"), 1);
    EXPECT_EQ(control.calls, 1);
    EXPECT_TRUE(reply.payload.isNull()) << "a signal has no reply";
    EXPECT_EQ(LogCapture::Count(DLOG_INFO, "Signal some_signal sent to router"), 1);
    EXPECT_EQ(router.IfMessageReceived("sender", &message, nullptr, "some_signal"), 1);
}

TEST_F(MessageRouterTest, RoutesByTheGivenNameAndOnMessageByTheSubject) {
    IMessageRouter& routing = router;
    IMessageHandler& handling = router;
    message.subject = "nobody";
    EXPECT_EQ(routing.Route("probe", true, message).payload["a"], 1);
    EXPECT_EQ(routing.Route("probe", false, message).payload["a"], 1);
    EXPECT_TRUE(handling.OnMessage(message, true).payload.empty());
    message.subject = "probe";
    EXPECT_EQ(handling.OnMessage(message, false).payload["a"], 1);
}

TEST_F(MessageRouterTest, PublishesANotificationUnderItsSubject) {
    RawClient listener;
    listener.Match("type='signal',interface='quill.Endpoint1'");
    message.subject = "news";
    router.SendNotification(message);
    const auto signal = listener.Next();
    ASSERT_TRUE(signal.has_value());
    EXPECT_EQ(signal->arguments,
              (std::vector<std::string>{"marrow_ser_server_MRSignal__news", "news", R"({"a":1})"}));
    message.subject = "";
    router.SendNotification(message);
    const auto bare = listener.Next();
    ASSERT_TRUE(bare.has_value());
    EXPECT_EQ(bare->arguments.at(0), "marrow_ser_server_MRSignal__");
}

class RouterModule : public testing::Test {
protected:
    PrivateBus bus;
};

// One that is derived from, and has its own part in what becomes of a message.
class NotingRouter : public MessageRouter {
public:
    TCMessage OnMessage(const TCMessage& message, bool blocking) override {
        Note("OnMessage " + message.subject, blocking);
        return MessageRouter::OnMessage(message, blocking);
    }
    TCMessage Route(const std::string& serviceName, bool blocking,
                    const TCMessage& message) override {
        Note("Route " + serviceName, blocking);
        return MessageRouter::Route(serviceName, blocking, message);
    }

    Texts notes;

private:
    void Note(const std::string& note, bool blocking) {
        notes.push_back(note + (blocking ? " blocking" : " not blocking"));
    }
};

TEST_F(RouterModule, HandsAMessageThroughItsVirtualMembersWithWhetherSomebodyWaits) {
    FakeControl control;
    Declare(control);
    auto& router = KeepForEver<NotingRouter>();
    TCMessage message;
    TCMessage reply;
    message.subject = "probe";
    router.IfMessageReceived("sender", &message, &reply, nullptr);
    router.IfMessageReceived("sender", &message, &reply, "some_signal");
    EXPECT_THAT(router.notes,
                ElementsAre("OnMessage probe blocking", "Route probe blocking",
                            "OnMessage probe not blocking", "Route probe not blocking"));
}

// Destroyed where it stands: the watchdog's worker may still look at what it was.
TEST_F(RouterModule, AsksForItsSignalOnceItIsOnTheBusAndLeavesInReverse) {
    KeepWorker("APIWatchdog");
    alignas(MessageRouter) static std::array<std::byte, sizeof(MessageRouter)> memory;
    ServerCalls::Clear();
    auto* const router = new (memory.data()) MessageRouter;
    EXPECT_THAT(ServerCalls::All(),
                ElementsAre("TCServer marrow.ser.server.MessageRouter 0", "CreateDBusServer",
                            "SubscribeSignal null marrow_ser_server_MRSignal__ null null"));
    ServerCalls::Clear();
    router->~MessageRouter();
    EXPECT_THAT(
        ServerCalls::All(),
        ElementsAre("UnSubscribeSignal null marrow_ser_server_MRSignal__", "CloseDBusServer"));
}

// Destroyed where it stands, too.
TEST_F(RouterModule, LeavesTheBusWhenItIsDestroyed) {
    KeepWorker("APIWatchdog");
    RawClient client;
    alignas(MessageRouter) static std::array<std::byte, sizeof(MessageRouter)> memory;
    auto* const router = new (memory.data()) MessageRouter;
    EXPECT_TRUE(client.NameHasOwner(MessageRouter::DBUS_PRIVATE_NAME));
    router->~MessageRouter();
    EXPECT_TRUE(WaitUntil([&] { return !client.NameHasOwner(MessageRouter::DBUS_PRIVATE_NAME); }));
}

TEST_F(RouterModule, KeepsItsTableAndItsWatchdogWhileAMessageIsUnderWay) {
    constexpr const char* CLOSING = "Watchdog closing and release read() operation";
    KeepWorker("APIWatchdog");
    FakeControl control;
    Declare(control);
    control.state = IServiceControl::ServiceState::LOADED; // it stays on the dispatching thread
    Gate inside;
    Gate goOn;
    int closings = -1;
    control.onCall = [&](const TCMessage& given) {
        inside.Open();
        goOn.Wait();
        closings = LogCapture::Count(DLOG_INFO, CLOSING);
        return given;
    };
    alignas(MessageRouter) static std::array<std::byte, sizeof(MessageRouter)> memory;
    auto* const router = new (memory.data()) MessageRouter;
    RunMainLoop();
    RawClient client;
    client.Send(MessageRouter::DBUS_PRIVATE_NAME, "probe", "{}");
    ASSERT_TRUE(inside.Wait());
    std::atomic<pid_t> destroyer{0};
    Caller destroying([&] {
        destroyer = ThisThread();
        router->~MessageRouter();
        return true;
    });
    // It sleeps until the call has ended; it would go on to the watchdog otherwise.
    EXPECT_TRUE(WaitUntil([&] {
        return LogCapture::Count(DLOG_INFO, CLOSING) > 0 ||
               (destroyer != 0 && IsBlockedIn(destroyer, nullptr, SIZE_MAX));
    }));
    goOn.Open();
    destroying.Join();
    EXPECT_EQ(closings, 0);
    EXPECT_EQ(LogCapture::Count(DLOG_INFO, CLOSING), 1);
}

TEST_F(RouterModule, IsOneObjectBehindBothItsInterfaces) {
    EXPECT_EQ(ModuleAccessor<IMessageHandler>::Get(), nullptr) << "nothing is registered yet";
    ModuleInterface<IMessageHandler>::AddImpl(&MessageRouter::CLASS);
    ModuleInterface<IMessageRouter>::AddImpl(&MessageRouter::CLASS);
    IMessageRouter* const routing = ModuleAccessor<IMessageRouter>::Get();
    IMessageHandler* const handling = ModuleAccessor<IMessageHandler>::Get();
    ASSERT_NE(routing, nullptr);
    ASSERT_NE(handling, nullptr);
    EXPECT_EQ(static_cast<IModule*>(routing), static_cast<IModule*>(handling));
    EXPECT_EQ(MessageRouter::CLASS.Instance(), static_cast<IModule*>(routing));
}

} // namespace

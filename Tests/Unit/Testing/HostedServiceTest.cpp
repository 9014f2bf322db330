// SPDX-License-Identifier: Apache-2.0
#include <hearthd/HostedService.h>

#include <cerrno>
#include <chrono>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <thread>

#include <hearthd/IServiceManager.h>
#include <hearthd/ModuleAccessor.h>
#include <hearthd/TCServer.h>
#include <hearthd/WorkerFactory.h>

#include "Gate.h"
#include "LambdaService.h"
#include "WorkerTools.h"

namespace {

using hearthd::testing::Call;
using hearthd::testing::HostedService;
using hearthd::testing::Notification;
using hearthd::testing::Reply;
using testing::ElementsAre;
using State = HostedService::State;

constexpr const char* ROUTER = "marrow.ser.server.MessageRouter";
constexpr std::chrono::milliseconds SHORT{50};

Quill::TCMessage Message(const std::string& subject, const Json::Value& payload = {}) {
    Quill::TCMessage message;
    message.subject = subject;
    message.payload = payload;
    return message;
}

std::vector<std::string> SubjectsOf(const std::vector<Notification>& notifications) {
    std::vector<std::string> subjects;
    for (const Notification& notification : notifications) {
        subjects.push_back(notification.subject);
    }
    return subjects;
}

// --- life ---

TEST(HostedService, IsLoadedStartedAndStoppedAsTheDaemonDoesIt) {
    LambdaHost host("mine");
    EXPECT_EQ(host.service.GetState(), State::NOT_LOADED);
    EXPECT_TRUE(host.service.Start());
    EXPECT_EQ(host.service.GetState(), State::STARTED);
    EXPECT_FALSE(host.service.Start()) << "it is started already";
    EXPECT_TRUE(host.service.Stop());
    EXPECT_EQ(host.service.GetState(), State::LOADED);
    EXPECT_FALSE(host.service.Stop());
    EXPECT_TRUE(host.service.Start());
}

TEST(HostedService, RunsOnItsOwnWorker) {
    std::vector<std::string> threads;
    const auto note = [&] {
        threads.push_back(ThreadName());
        return true;
    };
    {
        LambdaHost host("mine", {.start = note, .stop = note, .call = [&](const Json::Value&) {
                                     note();
                                     return Object("done", true);
                                 }});
        ASSERT_TRUE(host.service.Start());
        host.service.Call({});
    }
    EXPECT_THAT(threads, ElementsAre("mine_thread", "mine_thread", "mine_thread"));
}

TEST(HostedService, IsLoadedAndNotStartedWhereItsStartFails) {
    LambdaHost host("mine", {.start = [] { return false; }});
    EXPECT_FALSE(host.service.Start());
    EXPECT_EQ(host.service.GetState(), State::LOADED);
}

TEST(HostedService, EndsItsProxyAheadOfItself) {
    std::vector<std::string> ended;
    const Work work{.ended = [&](const std::string& which) { ended.push_back(which); }};
    {
        LambdaHost host("mine", work);
        ASSERT_TRUE(host.service.Start());
    }
    EXPECT_THAT(ended, ElementsAre("proxy", "service"));
    { const LambdaHost host("mine", work); }
    EXPECT_THAT(ended, ElementsAre("proxy", "service", "proxy", "service")) << "never loaded";
}

TEST(HostedService, StaysInTheProcessWhereItDoesNotStop) {
    int ended = 0;
    {
        LambdaHost host(
            "mine", {.stop = [] { return false; }, .ended = [&](const std::string&) { ++ended; }});
        ASSERT_TRUE(host.service.Start());
        EXPECT_FALSE(host.service.Stop());
    }
    {
        LambdaHost next("mine");
        EXPECT_TRUE(next.service.Start()) << "its name is free";
    }
    EXPECT_EQ(ended, 0);
    EXPECT_TRUE(Call("mine", {}).IsDeliveryFailed()) << "the directory has it no more";
}

TEST(HostedService, IsNotLoadedWithoutAProxy) {
    HostedService service("mine", std::make_unique<LambdaService>("mine", Work()), nullptr);
    EXPECT_FALSE(service.Start());
    EXPECT_EQ(service.GetState(), State::NOT_LOADED);
}

TEST(HostedService, ComesFromALibraryAnewEachTime) {
    for (const char* text : {"one", "three"}) {
        HostedService echo("echo", ECHO_LIBRARY);
        ASSERT_TRUE(echo.Start());
        const Reply reply = echo.Call(Object("text", text));
        EXPECT_EQ(reply.payload["length"], Json::UInt64(std::string(text).size()));
    }
}

TEST(HostedService, IsNotLoadedFromALibraryThatIsNotThere) {
    HostedService service("mine", "/nowhere/libmine.so");
    EXPECT_FALSE(service.Start());
    EXPECT_EQ(service.GetState(), State::NOT_LOADED);
}

TEST(HostedService, IsInTheDirectoryThatServicesSee) {
    LambdaHost one("one");
    {
        LambdaHost two("two");
        EXPECT_EQ(ModuleAccessor<marrow::mgr::IServiceManager>::Get()->GetServiceList().size(), 2U);
    }
    const auto list = ModuleAccessor<marrow::mgr::IServiceManager>::Get()->GetServiceList();
    ASSERT_EQ(list.size(), 1U);
    EXPECT_EQ(list[0].service_name, "one");
}

// --- calls ---

TEST(HostedServiceCall, BringsWhatTheServiceAnswers) {
    LambdaHost host("mine", {.call = [](const Json::Value& payload) {
                        return Object("got", payload["sent"]);
                    }});
    ASSERT_TRUE(host.service.Start());
    const Reply reply = host.service.Call(Object("sent", 7));
    EXPECT_EQ(reply.result, 0);
    EXPECT_EQ(reply.payload, Object("got", 7));
    EXPECT_FALSE(reply.IsDeliveryFailed());
    EXPECT_EQ(Call("mine", Object("sent", 8)).payload, Object("got", 8));
}

TEST(HostedServiceCall, FailsWhereNothingAnswers) {
    LambdaHost host("mine", {.call = [](const Json::Value&) { return Json::Value(); }});
    EXPECT_TRUE(host.service.Call(Object("a", 1)).IsDeliveryFailed()) << "it isn't started";
    ASSERT_TRUE(host.service.Start());
    const Reply reply = host.service.Call(Object("a", 1));
    EXPECT_EQ(reply.payload, Object("return_error", "Delivery failed")) << "it has said nothing";
    EXPECT_TRUE(reply.IsDeliveryFailed());
    EXPECT_TRUE(Call("nobody", {}).IsDeliveryFailed());
}

TEST(HostedServiceCall, TakesAnObjectOrNothing) {
    int calls = 0;
    LambdaHost host("mine", {.call = [&](const Json::Value&) { return Object("calls", ++calls); }});
    ASSERT_TRUE(host.service.Start());
    for (const Json::Value& malformed :
         {Json::Value(1), Json::Value("a"), Json::Value(Json::arrayValue)}) {
        const Reply reply = host.service.Call(malformed);
        EXPECT_EQ(reply.result, -EREMOTEIO);
        EXPECT_TRUE(reply.payload.isNull());
    }
    EXPECT_EQ(host.service.Call({}).payload["calls"], 1);
}

TEST(HostedServiceCall, TimesOutAndGoesOn) {
    Gate release;
    int served = 0;
    LambdaHost host("mine", {.call = [&](const Json::Value&) {
                        release.Wait();
                        return Object("served", ++served);
                    }});
    ASSERT_TRUE(host.service.Start());
    const Reply late = host.service.Call({}, SHORT);
    EXPECT_EQ(late.result, -ETIMEDOUT);
    EXPECT_TRUE(late.payload.isNull());
    release.Open();
    EXPECT_EQ(host.service.Call({}).payload, Object("served", 2)) << "behind the late one";
}

// A stop ahead of a call that is queued would wait for it, and it for the stop.
TEST(HostedServiceCall, ThatNobodyWaitsForAnyMoreIsServedAheadOfTheEnd) {
    Gate release;
    int served = 0;
    int stopped = 0;
    std::thread opener;
    {
        LambdaHost host("mine",
                        {.stop = [&] { return ++stopped != 0; },
                         .call = [&](const Json::Value&) { return Object("served", ++served); }});
        ASSERT_TRUE(host.service.Start());
        const auto worker = marrow::ser::WorkerFactory::Get().GetWorker("mine");
        Post(worker, [&] { release.Wait(); });
        EXPECT_EQ(host.service.Call({}, SHORT).result, -ETIMEDOUT);
        opener = std::thread([&release] {
            std::this_thread::sleep_for(2 * SHORT); // the end is under way by then
            release.Open();
        });
    }
    opener.join();
    EXPECT_EQ(served, 1);
    EXPECT_EQ(stopped, 1);
}

TEST(HostedServiceCall, WaitsForOtherServicesBehindASecondOneForABusyService) {
    Gate begun;
    Gate release;
    LambdaHost busy("busy", {.call = [&](const Json::Value&) {
                        begun.Open();
                        release.Wait();
                        return Object("a", 1);
                    }});
    LambdaHost idle("idle");
    ASSERT_TRUE(busy.service.Start());
    ASSERT_TRUE(idle.service.Start());
    EXPECT_EQ(busy.service.Call({}, SHORT).result, -ETIMEDOUT);
    ASSERT_TRUE(begun.Wait());
    EXPECT_EQ(idle.service.Call(Object("b", 2)).payload, Object("b", 2));
    EXPECT_EQ(busy.service.Call({}, SHORT).result, -ETIMEDOUT);
    EXPECT_EQ(idle.service.Call(Object("b", 2), SHORT).result, -ETIMEDOUT);
    release.Open();
    EXPECT_EQ(idle.service.Call(Object("b", 3)).payload, Object("b", 3));
}

TEST(HostedServiceCall, IsThereForAServiceThatIsAClient) {
    LambdaHost server("server");
    Quill::TCServer client("marrow.ser.client.PID_1", Quill::TCServer::CLIENT);
    int result = 1;
    LambdaHost asking("asking", {.call = [&](const Json::Value& payload) {
                          const Quill::TCMessage message = Message("server", payload);
                          Quill::TCMessage reply;
                          result = client.SendMessage(ROUTER, &message, true, &reply);
                          return reply.payload;
                      }});
    ASSERT_TRUE(server.service.Start());
    ASSERT_TRUE(asking.service.Start());
    EXPECT_EQ(asking.service.Call(Object("a", 1)).payload, Object("a", 1));
    EXPECT_EQ(result, 0);
    EXPECT_EQ(client.SendMessage("org.example.Other", nullptr, true, nullptr), -EHOSTUNREACH);
}

// --- notifications ---

TEST(HostedServiceNotification, ComesInOrderWhicheverThreadSendsIt) {
    LambdaProxy* proxy = nullptr;
    LambdaHost host("mine", {.call = [&](const Json::Value& payload) {
                        proxy->SendNotification(Message("worker", payload));
                        proxy->SendNotification(Message("worker", Object("n", 2)));
                        return Object("done", true);
                    }});
    proxy = &host.proxy;
    ASSERT_TRUE(host.service.Start());
    host.service.Call(Object("n", 1));
    std::thread([&] { host.proxy.SendNotification(Message("elsewhere")); }).join();
    host.service.Call({}); // behind what that has queued
    const std::vector<Notification> all = host.service.TakeNotifications();
    EXPECT_THAT(SubjectsOf(all), ElementsAre("worker", "worker", "elsewhere", "worker", "worker"));
    EXPECT_EQ(all[0].payload["n"], 1);
    EXPECT_EQ(all[1].payload["n"], 2);
    EXPECT_THAT(host.service.TakeNotifications(), ElementsAre());
}

TEST(HostedServiceNotification, IsWaitedForByItsSubjectAndOthersStay) {
    LambdaHost host("mine");
    std::thread sender([&] {
        host.proxy.SendNotification(Message("other"));
        host.proxy.SendNotification(Message("wanted", Object("n", 1)));
        host.proxy.SendNotification(Message("wanted", Object("n", 2)));
    });
    for (const int n : {1, 2}) {
        const auto wanted = host.service.WaitForNotification("wanted");
        ASSERT_TRUE(wanted.has_value());
        EXPECT_EQ(wanted->subject, "wanted");
        EXPECT_EQ(wanted->payload["n"], n);
    }
    sender.join();
    EXPECT_FALSE(host.service.WaitForNotification("wanted", SHORT).has_value());
    EXPECT_THAT(SubjectsOf(host.service.TakeNotifications()), ElementsAre("other"));
}

TEST(HostedServiceNotification, IsForThoseWhoWereThere) {
    LambdaHost sender("sender");
    sender.proxy.SendNotification(Message("early"));
    ASSERT_TRUE(sender.service.WaitForNotification("early").has_value());
    LambdaHost later("later");
    sender.proxy.SendNotification(Message("late"));
    EXPECT_TRUE(later.service.WaitForNotification("late").has_value());
    EXPECT_THAT(later.service.TakeNotifications(), ElementsAre());
    EXPECT_TRUE(sender.service.WaitForNotification("late").has_value()) << "each has its own";
}

} // namespace

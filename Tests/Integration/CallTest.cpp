// SPDX-License-Identifier: Apache-2.0
#include "DaemonTest.h"

#include <json/json.h>
#include <thread>
#include <unistd.h>

namespace {

class Call : public DaemonTest {
protected:
    Call() {
        daemon.AddService("probe", {.library = "libprobe.so"});
        daemon.AddService("probe2", {.library = "libprobe2.so"});
        daemon.AddService("lazy", {.library = "libslow_start.so", .launchType = 1});
        daemon.AddService("failing", {.library = "libfailing_start.so"});
        daemon.SetEnvironment("DLOG_LEVEL", "debug");
        StartAndWait();
    }

    RawClient client;
};

TEST_F(Call, IsAnsweredByTheServiceThatItsSubjectNames) {
    EXPECT_EQ(client.Call(ROUTER, "probe", R"({"a":[1,"b",null]})").payload,
              R"({"a":[1,"b",null]})");
    EXPECT_TRUE(daemon.WaitForOutput("PERFORMANCE MONITOR - tag: probe_CALL_API execution_time: "));
    EXPECT_TRUE(daemon.WaitForLog("> Calling [probe] API with data :\n{\n\t\"a\" : \n\t["));
}

TEST_F(Call, RunsOnTheServicesOwnThread) {
    EXPECT_EQ(client.Call(ROUTER, "probe", R"({"do":"change"})").payload,
              R"({"do":"change","thread":"probe_thread"})");
    EXPECT_EQ(client.Call(ROUTER, "probe2", R"({"do":"change"})").payload,
              R"({"do":"change","thread":"probe2_thread"})");
}

TEST_F(Call, ForAServiceThatNoManifestHoldsFailsToBeDelivered) {
    EXPECT_EQ(client.Call(ROUTER, "nobody", "{}").payload, DELIVERY_FAILED);
    EXPECT_TRUE(daemon.WaitForLog("> Service does not exist or is not started"));
    EXPECT_TRUE(daemon.WaitForLog("> Delivery error. No Service with name nobody"));
}

TEST_F(Call, ForALazyServiceFailsToBeDelivered) {
    EXPECT_EQ(client.Call(ROUTER, "lazy", "{}").payload, DELIVERY_FAILED);
    EXPECT_TRUE(daemon.WaitForLog("> service['lazy'] service is not started"));
    EXPECT_EQ(CountOf(daemon.Log(), "name: lazy\nlib_path: "), 1) << "its control, and no more";
}

TEST_F(Call, ForAServiceThatIsLoadedButNotStartedFailsToBeDelivered) {
    EXPECT_EQ(client.Call(ROUTER, "failing", "{}").payload, DELIVERY_FAILED);
    EXPECT_TRUE(daemon.WaitForLog("> Service does not exist or is not started"));
    EXPECT_TRUE(daemon.WaitForLog("> service['failing'] service is not started"));
    EXPECT_EQ(CountOf(daemon.Output(), "failing_CALL_API"), 0);
}

TEST_F(Call, WithAnEmptySubjectFailsToBeDelivered) {
    EXPECT_EQ(client.Call(ROUTER, "", "{}").payload, DELIVERY_FAILED);
}

TEST_F(Call, ThatTheServiceAnswersWithNothingFailsToBeDelivered) {
    EXPECT_EQ(client.Call(ROUTER, "probe", R"({"do":"empty"})").payload, DELIVERY_FAILED);
    EXPECT_EQ(client.Call(ROUTER, "probe", "").payload, DELIVERY_FAILED)
        << "an empty object comes back as an empty one";
    EXPECT_EQ(client.Call(ROUTER, "probe", R"({"do":"list"})").payload, DELIVERY_FAILED);
    EXPECT_TRUE(daemon.IsRunning());
}

TEST_F(Call, TellsTheLogWhoCalls) {
    client.RequestName("marrow.ser.client.PID_" + std::to_string(getpid()));
    client.Call(ROUTER, "probe", "{}");
    EXPECT_TRUE(daemon.WaitForLog("> DBUS Message received from marrow.ser.client.PID_" +
                                  std::to_string(getpid()) + "\n"));
    RawClient nameless;
    nameless.Call(ROUTER, "probe", "{}");
    EXPECT_TRUE(daemon.WaitForLog("> DBUS Message received from " + nameless.UniqueName() + "\n"));
}

TEST_F(Call, AsASignalIsDeliveredAndNotAnswered) {
    client.SendSignal(ROUTER_SIGNAL, {ROUTER_SIGNAL, "probe", R"({"a":1})"});
    EXPECT_TRUE(daemon.WaitForLog(std::string("> Signal ") + ROUTER_SIGNAL + " sent to router"));
    EXPECT_TRUE(daemon.WaitForOutput("probe_CALL_API"));
}

TEST_F(Call, AsASignalToNobodyLeavesNothingBehind) {
    client.SendSignal(ROUTER_SIGNAL, {ROUTER_SIGNAL, "nobody", ""});
    ASSERT_TRUE(daemon.WaitForLog(std::string("> Signal ") + ROUTER_SIGNAL + " sent to router"));
    client.Call(ROUTER, "probe", "{}");
    EXPECT_TRUE(daemon.WaitForLog("> 0 pending messages", 2));
}

TEST_F(Call, OfSeveralClientsAtOnceIsEachAnsweredItsOwn) {
    std::vector<std::thread> clients;
    for (int i = 0; i < 4; ++i) {
        clients.emplace_back([i] {
            RawClient own;
            for (int n = 0; n < 50; ++n) {
                const std::string payload =
                    R"({"i":)" + std::to_string(i) + R"(,"n":)" + std::to_string(n) + "}";
                EXPECT_EQ(own.Call(ROUTER, n % 2 == 0 ? "probe" : "probe2", payload).payload,
                          payload);
            }
        });
    }
    for (std::thread& thread : clients) {
        thread.join();
    }
}

TEST_F(Call, ForABusyServiceWaitsAndIsPendingWhileItDoes) {
    RawClient busy;
    busy.Send(ROUTER, "probe", R"({"do":"sleep","ms":3000})");
    ASSERT_TRUE(daemon.WaitForLog("> Calling [probe] API"));
    EXPECT_EQ(client.Call(ROUTER, "probe2", R"({"a":1})").payload, R"({"a":1})");
    EXPECT_TRUE(daemon.WaitForLog("> 1 pending messages")) << "the busy one's";
}

// Asking a busy service for its state waits for it, on the thread that all messages come through.
TEST_F(Call, BehindOneForABusyServiceWaitsUntilThatServiceIsDone) {
    RawClient busy;
    busy.Send(ROUTER, "probe", R"({"do":"sleep","ms":700})");
    ASSERT_TRUE(daemon.WaitForLog("> Calling [probe] API"));
    client.Send(ROUTER, "probe", R"({"a":1})"); // one sender: the order is kept
    EXPECT_EQ(client.Call(ROUTER, "probe2", R"({"a":2})").payload, R"({"a":2})");
    EXPECT_GE(CountOf(daemon.Output(), "tag: probe_CALL_API "), 1) << "the busy call was over";
}

} // namespace

// SPDX-License-Identifier: Apache-2.0
#include "DaemonTest.h"

namespace {

class Notification : public DaemonTest {
protected:
    Notification() {
        daemon.AddService("probe", {.library = "libprobe.so"});
        StartAndWait();
        listener.Match("type='signal',interface='quill.Endpoint1'");
    }

    RawClient client;
    RawClient listener;
};

TEST_F(Notification, GoesOutAsTheSignalThatItsSubjectNames) {
    const std::string payload = R"({"do":"notify","subject":"news"})";
    EXPECT_EQ(client.Call(ROUTER, "probe", payload).payload, payload);
    const auto signal = listener.Next();
    ASSERT_TRUE(signal.has_value());
    EXPECT_EQ(signal->member, std::string(ROUTER_SIGNAL) + "news");
    EXPECT_EQ(signal->arguments,
              (std::vector<std::string>{std::string(ROUTER_SIGNAL) + "news", "news", payload}));
}

TEST_F(Notification, KeepsTheExactNameOfASubjectThatIsNoMemberName) {
    client.Call(ROUTER, "probe", R"({"do":"notify","subject":"a b/c"})");
    const auto signal = listener.Next();
    ASSERT_TRUE(signal.has_value());
    EXPECT_EQ(signal->member, std::string(ROUTER_SIGNAL) + "a_20b_2fc");
    EXPECT_EQ(signal->arguments.at(0), std::string(ROUTER_SIGNAL) + "a b/c");
}

TEST_F(Notification, WithoutASubjectComesBackToTheRouterItself) {
    client.Call(ROUTER, "probe", R"({"do":"notify","subject":""})");
    const auto signal = listener.Next();
    ASSERT_TRUE(signal.has_value());
    EXPECT_EQ(signal->member, ROUTER_SIGNAL);
    EXPECT_TRUE(daemon.WaitForLog(std::string("> DBUS Message received from ") + ROUTER));
    EXPECT_TRUE(daemon.WaitForLog("> Delivery error. No Service with name \n"));
}

} // namespace

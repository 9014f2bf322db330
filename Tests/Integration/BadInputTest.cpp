// SPDX-License-Identifier: Apache-2.0
#include "DaemonTest.h"

#include <functional>

#include <systemd/sd-bus.h>

namespace {

std::string Deep(std::size_t depth) {
    return R"({"a":)" + std::string(depth, '[') + std::string(depth, ']') + "}";
}

class BadInput : public DaemonTest {
protected:
    BadInput() {
        daemon.AddService("probe", {.library = "libprobe.so"});
        StartAndWait();
    }

    void ExpectInvalid(const std::string& payload) {
        EXPECT_EQ(client.Call(ROUTER, "probe", payload).error,
                  "org.freedesktop.DBus.Error.InvalidArgs")
            << payload.substr(0, 80);
    }

    // Refused by whoever notices first, the daemon or the bus.
    void ExpectError(const RawClient::Reply& reply) { EXPECT_NE(reply.error, ""); }

    RawClient::Reply CallMember(const char* path, const char* interface, const char* member,
                                const std::vector<std::string>& arguments) {
        return client.CallMember(ROUTER, path, interface, member, arguments);
    }

    RawClient client;
};

TEST_F(BadInput, OfTwentyKindsAThousandTimesLeavesAnOrdinaryCallAnswered) {
    constexpr const char* PATH = "/quill/endpoint";
    constexpr const char* INTERFACE = "quill.Endpoint1";
    const std::vector<std::function<void()>> kinds = {
        [&] { ExpectInvalid("{"); },
        [&] { ExpectInvalid("nonsense"); },
        [&] { ExpectInvalid("[1,2,3]"); },
        [&] { ExpectInvalid("null"); },
        [&] { ExpectInvalid("42"); },
        [&] { ExpectInvalid(R"({"a":1} trailing)"); },
        [&] { ExpectInvalid(R"({"a":1}{"b":2})"); },
        [&] { ExpectInvalid(R"({"a":1,"a":2})"); },
        [&] { ExpectInvalid(R"({"a":"\ud800"})"); },
        [&] { ExpectInvalid(R"({"a":")" + std::string(10000, '\\') + "\"}x"); },
        [&] { ExpectInvalid(Deep(1000)); },
        [&] { ExpectInvalid(Deep(100000)); },
        [&] { ExpectError(CallMember(PATH, INTERFACE, "Call", {})); },
        [&] { ExpectError(CallMember(PATH, INTERFACE, "Call", {"probe"})); },
        [&] {
            ExpectError(CallMember(PATH, INTERFACE, "Call", {"probe", "{}", "more"}));
        },
        [&] { ExpectError(client.CallWithNumber(ROUTER, 7)); },
        [&] {
            ExpectError(CallMember(PATH, INTERFACE, "Nothing", {"probe", "{}"}));
        },
        [&] {
            ExpectError(CallMember("/elsewhere", INTERFACE, "Call", {"probe", "{}"}));
        },
        [&] {
            ExpectError(CallMember(PATH, "some.Interface", "Call", {"probe", "{}"}));
        },
        [&] {
            client.SendSignal(ROUTER_SIGNAL, {ROUTER_SIGNAL, "probe", "{"});
        },
        [&] { client.SendSignal(ROUTER_SIGNAL, {ROUTER_SIGNAL}); },
        [&] { client.Send(ROUTER, "probe", "{", true); },
    };
    ASSERT_GE(kinds.size(), 20U);
    for (std::size_t i = 0; i < 1000; ++i) {
        kinds[i % kinds.size()]();
    }
    EXPECT_EQ(client.Call(ROUTER, "probe", R"({"a":1})").payload, R"({"a":1})");
    EXPECT_TRUE(daemon.IsRunning());
    ASSERT_TRUE(daemon.WaitForLog("> Calling [probe] API"));
    EXPECT_EQ(CountOf(daemon.Log(), "> Calling [probe] API"), 1) << "nothing else has come so far";
}

TEST_F(BadInput, InASubjectIsAnUnknownNameAndNothingElse) {
    for (const std::string& subject :
         {std::string("%s%n%s"), std::string(100000, 'x'), std::string("a\nb"),
          std::string("\xC3\xA4"), std::string("probe ")}) {
        EXPECT_EQ(client.Call(ROUTER, subject, "{}").payload, DELIVERY_FAILED);
    }
    EXPECT_EQ(client.Call(ROUTER, "probe", R"({"a":1})").payload, R"({"a":1})");
}

} // namespace

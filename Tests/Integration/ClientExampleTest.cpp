// SPDX-License-Identifier: Apache-2.0

// The examples for people who write clients, in three languages, against the installed daemon.

#include "ServiceTest.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include "HoldTest.h"
#include "Program.h"
#include "WaitUntil.h"

namespace {

using testing::AnyOf;
using testing::HasSubstr;
using testing::MatchesRegex;

using Words = std::vector<std::string>;

constexpr const char* CPP = HEARTHD_STAGE "/usr/apps/org.norvane.hearthd/bin/echo-client";
constexpr const char* PYTHON = HEARTHD_CLIENTS "/python/echo_client.py";
constexpr const char* SHELL = HEARTHD_CLIENTS "/shell/echo-client";

const auto EACH = testing::Values(CPP, PYTHON, SHELL);

std::string NameOfLanguage(const testing::TestParamInfo<const char*>& info) {
    return info.param == CPP ? "Cpp" : info.param == PYTHON ? "Python" : "Shell";
}

// What is expected of a client, whatever the bus allows.
void ExpectEchoAndClock(const Words& words) {
    Program client(words);
    EXPECT_EQ(client.Wait(), 0) << client.Errors();
    EXPECT_THAT(client.Output(),
                MatchesRegex("grün \"and\" 'quoted' \\\\\nclock: [0-9]+\nclock: [0-9]+\n"));
    EXPECT_EQ(client.Errors(), "");
}

constexpr const char* TEXT = "grün \"and\" 'quoted' \\";

class ClientExample : public DaemonTest, public testing::WithParamInterface<const char*> {
protected:
    explicit ClientExample(const PrivateBus::Settings& settings = {}) : DaemonTest(settings) {}

    void StartWithServices() {
        daemon.AddServices({{"echo", {.library = std::string(EXAMPLES) + "libecho.so"}},
                            {"clock", {.library = std::string(EXAMPLES) + "libclock.so"}}});
        StartAndWait();
    }

    static void ExpectFailure(int status, const std::string& text) {
        Program client({GetParam(), "hello", "1"});
        EXPECT_EQ(client.Wait(), status);
        EXPECT_EQ(client.Output(), "");
        EXPECT_THAT(client.Errors(), HasSubstr(text));
    }
};

TEST_P(ClientExample, PrintsTheTextThatComesBackAndAsManyNotificationsAsItIsAskedFor) {
    StartWithServices();
    ExpectEchoAndClock({GetParam(), TEXT, "2"});
    Program alone({GetParam(), "hello"});
    EXPECT_EQ(alone.Wait(), 0);
    EXPECT_EQ(alone.Output(), "hello\n");
}

TEST_P(ClientExample, FailsWhereItsCallIsNotDelivered) {
    daemon.AddService("probe", {.library = "libprobe.so"});
    StartAndWait();
    ExpectFailure(1, "the call to echo wasn't delivered");
}

TEST_P(ClientExample, EndsWithThreeWhereNoDaemonRuns) {
    ExpectFailure(3, "hearthd isn't on the bus");
}

TEST_P(ClientExample, EndsWithThreeWhereThereIsNoBus) {
    bus.Kill();
    ExpectFailure(3, "there is no message bus");
}

TEST_P(ClientExample, EndsWithTwoWhereItIsUsedWrongly) {
    for (const Words& words : {Words{}, Words{"a", "b"}, Words{"a", "-1"}, Words{"a", "1", "b"}}) {
        Words all{GetParam()};
        all.insert(all.end(), words.begin(), words.end());
        Program client(all);
        EXPECT_EQ(client.Wait(), 2);
        EXPECT_THAT(client.Errors(), HasSubstr("usage: "));
    }
}

INSTANTIATE_TEST_SUITE_P(Language, ClientExample, EACH, NameOfLanguage);

class ClientExampleInACall : public HoldTest, public testing::WithParamInterface<const char*> {};

TEST_P(ClientExampleInACall, FailsWhereTheDaemonDies) {
    daemon.AddService("echo", {.library = "libheld.so"});
    Hold("call");
    StartAndWait();
    Program program({GetParam(), "hello"});
    ASSERT_TRUE(IsHeldIn("call"));
    daemon.Kill();
    EXPECT_EQ(program.Wait(), 1);
    EXPECT_EQ(program.Output(), "");
    EXPECT_THAT(program.Errors(), AnyOf(HasSubstr("has left the bus ahead of its answer"),
                                        HasSubstr("the call to echo failed: ")));
}

INSTANTIATE_TEST_SUITE_P(Language, ClientExampleInACall, EACH, NameOfLanguage);

// Under the shipped policy.
class ClientExampleOfAUser : public ClientExample {
protected:
    ClientExampleOfAUser() : ClientExample({.policyFile = HEARTHD_BUS_POLICY, .limits = {}}) {}

    void SetUp() override {
        if (getuid() != 0) {
            GTEST_SKIP() << "only root can be two users";
        }
        Program look(AsNobody({"test", "-r", GetParam()}));
        if (look.Wait() != 0) {
            GTEST_SKIP() << "another user may not read this tree: " << look.Errors();
        }
    }

    static Words AsNobody(Words words) {
        words.insert(words.begin(),
                     {"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"});
        return words;
    }
};

TEST_P(ClientExampleOfAUser, NeedsNoMoreThanThePolicyGrants) {
    StartWithServices();
    ExpectEchoAndClock(AsNobody({GetParam(), TEXT, "2"}));
}

INSTANTIATE_TEST_SUITE_P(Language, ClientExampleOfAUser, EACH, NameOfLanguage);

} // namespace

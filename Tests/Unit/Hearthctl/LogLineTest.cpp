// SPDX-License-Identifier: Apache-2.0

#include "LogLine.h"

#include <gtest/gtest.h>

namespace {

using hearthctl::LogLine;
using hearthctl::Microseconds;
using hearthctl::ReadLogLine;
using Kind = LogLine::Kind;
using namespace std::chrono_literals;

constexpr const char* LOAD = "PERFORMANCE MONITOR - tag: echo_LOAD execution_time: 830 us";

// What is read of a timing line of "echo", with this ahead.
LogLine ReadBehind(const std::string& ahead) {
    const std::optional<LogLine> line = ReadLogLine(ahead + LOAD);
    EXPECT_TRUE(line) << ahead;
    return line.value_or(LogLine{});
}

// The time from one of two lines to the other.
Microseconds Between(const std::string& first, const std::string& second) {
    const LogLine a = ReadBehind(first);
    const LogLine b = ReadBehind(second);
    EXPECT_TRUE(a.time && b.time) << first;
    return b.time.value_or(0us) - a.time.value_or(0us);
}

TEST(LogLine, TellsTheStagesApart) {
    const auto read = [](const std::string& tag) {
        return ReadLogLine("PERFORMANCE MONITOR - tag: " + tag + " execution_time: 12 ms");
    };
    EXPECT_EQ(read("INIT")->kind, Kind::INIT);
    EXPECT_EQ(read("echo_LOAD")->kind, Kind::LOAD);
    EXPECT_EQ(read("echo_START")->kind, Kind::START);
    EXPECT_EQ(read("echo_CALL_API")->kind, Kind::CALL);
    EXPECT_EQ(read("echo_CALL_API")->service, "echo");
    EXPECT_EQ(read("echo_CALL_API")->took, 12ms);
    EXPECT_EQ(ReadLogLine(LOAD)->took, 830us);
    EXPECT_FALSE(read("a_service_of_its_own")) << "services may time what they like";
}

TEST(LogLine, TakesANameAsItStands) {
    const auto name = [](const std::string& tag) {
        return ReadLogLine("PERFORMANCE MONITOR - tag: " + tag + " execution_time: 1 us")->service;
    };
    EXPECT_EQ(name("_LOAD"), "");
    EXPECT_EQ(name("a_START_LOAD"), "a_START");
    EXPECT_EQ(name("a b <&> \"]: \xFF execution_time: 5 us_LOAD"),
              "a b <&> \"]: \xFF execution_time: 5 us");
}

TEST(LogLine, ReadsNothingFromALineThatIsCutOff) {
    const std::string line = LOAD;
    for (std::size_t length = 0; length < line.size(); ++length) {
        EXPECT_FALSE(ReadLogLine(line.substr(0, length))) << length;
    }
    EXPECT_TRUE(ReadLogLine(line + "\r")) << "a terminal's record";
    EXPECT_FALSE(ReadLogLine(line + " or so"));
}

TEST(LogLine, ReadsNoNumberThatIsNone) {
    for (const std::string time : {"", "x us", "-5 us", "99999999999999999999 us", "1e3 us",
                                   "9223372036854775807 ms", "2592000001 ms"}) {
        EXPECT_FALSE(ReadLogLine("PERFORMANCE MONITOR - tag: a_LOAD execution_time: " + time))
            << time;
    }
}

TEST(LogLine, FindsALineBehindOneThatWasCutOff) {
    EXPECT_EQ(ReadBehind("2026-11-22 05:33:56.703").service, "echo");
    EXPECT_EQ(ReadBehind("PERFORMANCE MONITOR - tag: cl").service, "echo");
}

TEST(LogLine, ReadsWhatTheJournalsToolsPutAhead) {
    for (const std::string ahead :
         {"Nov 22 05:33:56 box hearthd[77]: ", "Nov 22 05:33:56.703123 box hearthd[77]: ",
          "[ 1234.567890] box hearthd[77]: ", "1795325636.703123 box hearthd[77]: ",
          "2026-11-22T05:33:56+0100 box hearthd[77]: ",
          "2026-11-22T05:33:56.703123+01:00 box hearthd[77]: "}) {
        EXPECT_EQ(ReadBehind(ahead).process, "77") << ahead;
        EXPECT_EQ(ReadBehind(ahead).took, 830us) << ahead;
    }
    EXPECT_EQ(ReadBehind("").process, "");
    EXPECT_EQ(ReadBehind("[x]: ").process, "");
}

TEST(LogLine, ReadsTimesToTheMicrosecond) {
    EXPECT_EQ(Between("[   59.999999] h d[7]: ", "[12345.000001] h d[7]: "), 12285000002us);
    EXPECT_EQ(Between("1795325636.999999 h d[7]: ", "1795325637.000001 h d[7]: "), 2us);
    EXPECT_EQ(Between("2026-12-31T23:59:59.9+0000 ", "2027-01-01T00:00:00.100000+0000 "), 200ms);
    EXPECT_EQ(Between("2026-11-22 05:33:56.703123 ", "2026-11-22 05:33:57.703124456 "), 1000001us);
    EXPECT_EQ(Between("Feb 29 23:59:59.999999 h d[7]: ", "Mar  1 00:00:00.000000 h d[7]: "), 1us);
}

TEST(LogLine, HasNoTimeWhereItIsOnlyExactToTheSecond) {
    for (const std::string ahead :
         {"", "Nov 22 05:33:56 box hearthd[77]: ", "2026-11-22T05:33:56+0000 box hearthd[77]: ",
          "2026-13-40 05:33:56.703123 ", "Foo 22 05:33:56.703123 "}) {
        EXPECT_FALSE(ReadBehind(ahead).time) << ahead;
    }
}

TEST(LogLine, HasNoTimeThatNoClockShows) {
    EXPECT_TRUE(ReadBehind("[9999999999.999999] box hearthd[77]: ").time);
    EXPECT_FALSE(ReadBehind("[99999999999999.999999] box hearthd[77]: ").time);
    EXPECT_FALSE(ReadBehind("99999999999999.999999 box hearthd[77]: ").time);
}

TEST(LogLine, ReadsWhatThePlatformsLogSays) {
    const auto read = [](const std::string& text) {
        return ReadLogLine("2026-11-22 05:33:56.704720 I HEARTHD [2611] " + text);
    };
    const auto expect = [&read](const std::string& text, Kind kind, const std::string& service) {
        const std::optional<LogLine> line = read(text);
        ASSERT_TRUE(line) << text;
        EXPECT_EQ(line->kind, kind) << text;
        EXPECT_EQ(line->service, service) << text;
        EXPECT_TRUE(line->time) << text;
        EXPECT_EQ(line->process, "") << "a thread's id stands there";
    };
    expect("ServiceManager.cpp: ServiceManager(28) > init", Kind::MANAGER_BEGINS, "");
    expect("Service.cpp: Start(42) > Starting service['a b']", Kind::STARTING, "a b");
    expect("ServiceManager.cpp: StartService(90) > started a > b", Kind::STARTED, "a > b");
    expect("ServiceManager.cpp: StartService(80) > failed to load a service", Kind::LOAD_FAILED,
           "a");
    expect("ServiceManager.cpp: StartService(86) > failed to start a service", Kind::START_FAILED,
           "a");
    expect("Service.cpp: HandOver(87) > Timeout 10 seconds occured!", Kind::TIMED_OUT, "");
    expect("ServiceControl.cpp: CallAPI(126) > service['a'] service is not started", Kind::REFUSED,
           "a");
    expect("MessageRouter.cpp: Route(105) > Delivery error. No Service with name a",
           Kind::UNKNOWN_SERVICE, "a");
    EXPECT_FALSE(read("MyService.cpp: Start(42) > Starting service['a']")) << "a service's own";
    EXPECT_FALSE(read("Guide.cpp: Show(1) > started echo"));
    EXPECT_FALSE(read("ServiceManager.cpp: StartService(74) > a already started"));
    EXPECT_FALSE(read("ServiceManager.cpp: ServiceManager(30) > initial"));
}

TEST(LogLine, ReadsThePlatformsLogInTheJournalToo) {
    const std::optional<LogLine> line =
        ReadLogLine("[ 12.000005] box hearthd[77]: HEARTHD [78] ServiceManager.cpp: "
                    "StartService(90) > started echo");
    ASSERT_TRUE(line);
    EXPECT_EQ(line->service, "echo");
    EXPECT_EQ(line->process, "77");
    EXPECT_EQ(line->time, 12000005us);
}

TEST(LogLine, ReadsNothingFromOtherLines) {
    for (const std::string line :
         {"", ") > ", "7) > x", "-- Boot 4f --", "######## Service Loaded ########", "name: echo",
          "> started echo", "started echo",
          "Nov 22 05:33:56 box systemd[1]: Started hearthd.service - Host of services."}) {
        EXPECT_FALSE(ReadLogLine(line)) << line;
    }
}

} // namespace

// SPDX-License-Identifier: Apache-2.0

// The program make-stream.

#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "Media.h"
#include "PacketReader.h"
#include "Program.h"
#include "ReadFile.h"

using streammaker::Bytes;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsSupersetOf;

namespace {

constexpr const char* START = "2024-05-01T20:00:00Z"; // 60431 as Modified Julian Date

struct Ended {
    int status;
    std::string output;
    std::string errors;
};

Ended RunWith(const std::vector<std::string>& arguments) {
    std::vector<std::string> words{HEARTHD_MAKE_STREAM};
    words.insert(words.end(), arguments.begin(), arguments.end());
    Program program(words);
    const int status = program.Wait();
    return {status, program.Output(), program.Errors()};
}

PacketReader Read(const std::string& text) {
    return PacketReader(Bytes(text.begin(), text.end()));
}

void Fails(const std::vector<std::string>& arguments, int status, const std::string& why) {
    const Ended ended = RunWith(arguments);
    EXPECT_EQ(ended.status, status) << why;
    EXPECT_THAT(ended.errors, HasSubstr(why));
    EXPECT_EQ(ended.output, "");
}

// The event ids of the sections 0 of a service's guide as they come, without repetitions.
std::vector<int> PresentEvents(const PacketReader& reader, unsigned service) {
    std::vector<int> ids;
    for (const PacketReader::Unit& unit : reader.SectionsOf(0x12, 0x4E)) {
        const int id = unit.bytes.at(14) << 8 | unit.bytes.at(15);
        if (ExtensionOf(unit.bytes) == service && unit.bytes[6] == 0 &&
            (ids.empty() || ids.back() != id)) {
            ids.push_back(id);
        }
    }
    return ids;
}

} // namespace

TEST(MakeStream, WritesAStreamOfTwoServicesToAFile) {
    for (const std::string codec : {"mpeg2", "h264"}) {
        const TemporaryFile file;
        const Ended ended = RunWith({file.Path(), "--codec", codec, "--seconds", "10"});
        EXPECT_EQ(ended.status, 0);
        EXPECT_EQ(ended.output + ended.errors, "");
        EXPECT_THAT(
            Probe(file.Path(), {"-show_entries", "program=program_id:program_tags=service_name,"
                                                 "service_provider:program_stream=:stream_tags="}),
            IsSupersetOf({"101,Hearth One,Hearth", "102,Hearth Two,Hearth"}));
        EXPECT_THAT(Probe(file.Path(), {"-show_entries", "stream=codec_name"}),
                    Contains(codec == "h264" ? "h264" : "mpeg2video"));
        DecodeVideo(file.Path());
        EXPECT_THAT(CaptionTexts(file.Path()),
                    ElementsAre("The fire is lit.", "Come in and sit down,", "the kettle is on."));
    }
}

TEST(MakeStream, WritesToStandardOutput) {
    const Ended ended = RunWith({"-", "--seconds", "2", "--rate", "1000000"});
    EXPECT_EQ(ended.status, 0);
    EXPECT_NEAR(static_cast<double>(ended.output.size()), 250'000, 188);
    EXPECT_EQ(Read(ended.output).ContinuityBreak(), "");
}

TEST(MakeStream, GoesOnToTheFollowingEventInTheMiddle) {
    const PacketReader reader = Read(RunWith({"-", "--seconds", "6", "--start", START}).output);
    EXPECT_THAT(PresentEvents(reader, 101), ElementsAre(1, 2));
    EXPECT_THAT(PresentEvents(reader, 102), ElementsAre(11, 12));
    EXPECT_FALSE(reader.SectionsOf(0x12, 0x50).empty()) << "the schedule";
}

TEST(MakeStream, BeginsAtTheTimeThatItIsTold) {
    const PacketReader reader = Read(RunWith({"-", "--seconds", "1", "--start", START}).output);
    EXPECT_THAT(reader.SectionsOf(0x14).at(0).bytes,
                ElementsAre(0x70, 0x70, 5, 0xEC, 0x0F, 0x20, 0x00, 0x00));
}

TEST(MakeStream, MayBeginAtMidnight) {
    EXPECT_EQ(RunWith({"-", "--seconds", "2", "--start", "2024-05-01T00:00:00Z"}).errors, "");
}

// Which is beyond what a time of 32 bits counts.
TEST(MakeStream, MayBeginInTheLastWeekOfItsCalendar) {
    const PacketReader reader =
        Read(RunWith({"-", "--seconds", "1", "--start", "2038-04-14T12:00:00Z"}).output);
    EXPECT_THAT(reader.SectionsOf(0x14).at(0).bytes,
                ElementsAre(0x70, 0x70, 5, 0xFF, 0xF7, 0x12, 0x00, 0x00));
}

TEST(MakeStream, MakesTheSameStreamEachTime) {
    const std::vector<std::string> arguments{"-", "--seconds", "3", "--start", START};
    const std::string first = RunWith(arguments).output;
    EXPECT_FALSE(first.empty());
    EXPECT_EQ(RunWith(arguments).output, first);
}

TEST(MakeStream, CarriesSubtitlesOnTheSecondService) {
    const PacketReader reader = Read(RunWith({"-", "--seconds", "3"}).output);
    EXPECT_EQ(reader.PesOf(0x202).size(), 3U);
}

TEST(MakeStream, LeavesCaptionsOut) {
    const auto hasCaptions = [](const std::string& text) {
        return text.find("GA94") != std::string::npos;
    };
    EXPECT_TRUE(hasCaptions(RunWith({"-", "--seconds", "2"}).output));
    EXPECT_FALSE(hasCaptions(RunWith({"-", "--seconds", "2", "--no-captions"}).output));
}

TEST(MakeStream, SaysWhatIsWrongWithItsArguments) {
    const TemporaryFile file;
    Fails({}, 2, "OUT is required");
    Fails({file.Path(), "--seconds", "0"}, 2, "--seconds");
    Fails({file.Path(), "--codec", "theora"}, 2, "--codec");
    Fails({file.Path(), "--rate", "fast"}, 2, "--rate");
    Fails({file.Path(), "--start", "yesterday"}, 2, "not a time such as 2024-05-01T20:00:00Z");
    Fails({file.Path(), "--start", "2038-04-22T00:00:00Z"}, 2, "end in April 2038");
    Fails({file.Path(), "--seconds", "nan"}, 2, "not a number");
    Fails({file.Path(), "--start", "2024-04-31T00:00:00Z"}, 2, "not a time");
    Fails({file.Path(), "--start", "2024-05-01T20:00:60Z"}, 2, "not a time");
    Fails({file.Path(), "--start", "1969-12-31T23:59:59Z"}, 2, "not a time");
    Fails({file.Path(), "--start", "2024-05-01T20:00:00"}, 2, "not a time");
    Fails({file.Path(), "--loud"}, 2, "--loud");
    EXPECT_EQ(ReadFile(file.Path()), "");
}

TEST(MakeStream, SaysWhyAFileCannotBeWritten) {
    Fails({"/nonexistent/stream"}, 1,
          "make-stream: cannot open /nonexistent/stream: No such file or directory");
    Fails({"/dev/full"}, 1, "make-stream: cannot write /dev/full: No space left on device");
}

TEST(MakeStream, SaysThatARateIsTooLowAndLeavesTheFileAsItWas) {
    const TemporaryFile file;
    std::ofstream(file.Path()) << "a stream";
    for (const std::string& out : {std::string("-"), file.Path()}) {
        Fails({out, "--rate", "100000"}, 1, "a mux rate of 100000 bit/s is too low");
    }
    EXPECT_EQ(ReadFile(file.Path()), "a stream");
}

TEST(MakeStream, WritesNothingToATerminal) {
    Program program({HEARTHD_MAKE_STREAM, "-"}, Program::At::TERMINAL);
    EXPECT_EQ(program.Wait(), 1);
    EXPECT_EQ(program.Output(), "make-stream: a stream isn't for a terminal: name a file\n");
}

TEST(MakeStream, HelpsWithItsOptions) {
    const Ended ended = RunWith({"--help"});
    EXPECT_EQ(ended.status, 0);
    EXPECT_THAT(ended.output, AllOf(HasSubstr("OUT"), HasSubstr("--codec"), HasSubstr("--start"),
                                    HasSubstr("Exit status")));
}

// SPDX-License-Identifier: Apache-2.0

// What the pipe channel makes of the bytes that come through a real FIFO.

#include <gtest/gtest.h>
#include <mutex>

#include "Gate.h"
#include "Said.h"
#include "TestChannel.h"
#include "TestCommand.h"

namespace {

using Quill::TCMessage;
using Texts = std::vector<std::string>;

constexpr const char* SAYS_NOTHING = "Response from command execution: null\n";

class StreamIPCReading : public testing::Test {
protected:
    StreamIPCReading() {
        for (TestCommand* command : {&probe, &c}) {
            command->onMessage = [this](TCMessage& message) {
                const std::scoped_lock lock(m_mutex);
                m_handled.push_back(message.payload["command"].asString() + "/" +
                                    message.payload["function"].asString() + "/" +
                                    message.payload["service"].asString());
                return MessageWith("return", message.payload["function"]);
            };
        }
        channel.GetMessenger("probe")->Register(&probe);
        channel.GetMessenger("c")->Register(&c);
        LogCapture::Clear();
    }

    // The messages that have come to a command, in order.
    Texts Handled() {
        const std::scoped_lock lock(m_mutex);
        return m_handled;
    }

    // How long each read was.
    static std::vector<int> Reads() {
        std::vector<int> reads;
        for (const LogCapture::Line& line : LogCapture::Lines()) {
            int size = 0;
            if (std::sscanf(line.text.c_str(), "%d bytes successfully read", &size) == 1) {
                reads.push_back(size);
            }
        }
        return reads;
    }

    // Has the reader find all of it at its first read, however much that is. The pipe is too full
    // then to be made smaller.
    bool ReadAtOnce(const std::string& text) {
        const int both = open(ControlPipe::Path(), O_RDWR | O_CLOEXEC);
        const auto size = write(both, text.data(), text.size());
        channel.Start();
        const bool isOpen = LogCapture::WaitFor(
            DLOG_INFO, std::string("Pipe ") + ControlPipe::Path() + " opened read-only");
        close(both);
        return isOpen && size == static_cast<ssize_t>(text.size()) &&
               LogCapture::WaitFor(DLOG_INFO, "Preparing the next task for the reader thread");
    }

    ControlPipe pipe;
    TestCommand probe{"probe"};
    TestCommand c{"c"};

private:
    std::mutex m_mutex;
    Texts m_handled;

protected:
    TestChannel channel; // last: its reader uses the others
};

// Lines of ten bytes: "c 0000000\n", "c 0000001\n" and so on.
std::string Lines(int count) {
    std::string text;
    for (int i = 0; i < count; ++i) {
        const std::string number = std::to_string(i);
        text += "c " + std::string(7 - number.size(), '0') + number + "\n";
    }
    return text;
}

TEST_F(StreamIPCReading, TellsTheLogOfAWholeVisit) {
    const std::string path = ControlPipe::Path();
    channel.Start();
    ASSERT_TRUE(Visit("probe f s\n"));
    ASSERT_TRUE(LogCapture::WaitFor(DLOG_INFO, "Ready to open", 2));
    EXPECT_EQ(Said(),
              (Texts{"I Start reading from stream", "I Ready to open",
                     "I Pipe " + path + " opened read-only",
                     "I Buffer size of the " + path + " pipe changed successfully",
                     "I 10 bytes successfully read from pipe " + path, "I commandName: probe",
                     "I function: f", "I service: s", "I Registering messenger for command: probe",
                     "I Handle message",
                     "I Response from command execution: {\n\t\"return\" : \"f\"\n}\n",
                     "I No bytes read from the " + path + " pipe",
                     "I Preparing the next task for the reader thread", "I Ready to open"}));
}

TEST_F(StreamIPCReading, MakesOneMessageOfALineOfTwoFields) {
    channel.Start();
    ASSERT_TRUE(Visit("probe f\n"));
    EXPECT_EQ(Handled(), Texts{"probe/f/"});
}

TEST_F(StreamIPCReading, NeedsNoNewlineAtTheEnd) {
    channel.Start();
    ASSERT_TRUE(Visit("probe f s fourth"));
    EXPECT_EQ(Handled(), Texts{"probe/f/s"});
}

TEST_F(StreamIPCReading, HandlesTheLinesOfOneReadInOrder) {
    channel.Start();
    ASSERT_TRUE(Visit("probe 1\nc 2 x\nprobe 3\n\n\nc 4\n"));
    EXPECT_EQ(Reads(), std::vector<int>{28});
    EXPECT_EQ(Handled(), (Texts{"probe/1/", "c/2/x", "probe/3/", "c/4/"}));
    EXPECT_EQ(LogCapture::CountBeginning(DLOG_ERROR, ""), 0) << "empty lines are none";
}

TEST_F(StreamIPCReading, ReadsSeveralWritesOfOneVisit) {
    channel.Start();
    {
        const Writer writer;
        for (int i = 1; i <= 3; ++i) {
            ASSERT_TRUE(writer.Write("probe f\n"));
            ASSERT_TRUE(WaitUntil([&] { return Handled().size() == static_cast<size_t>(i); }));
        }
        EXPECT_EQ(LogCapture::Count(DLOG_INFO, "Ready to open"), 1);
    }
    EXPECT_EQ(Reads(), (std::vector<int>{8, 8, 8}));
}

TEST_F(StreamIPCReading, ServesAnyNumberOfVisits) {
    channel.Start();
    constexpr int COUNT = 50;
    for (int i = 0; i < COUNT; ++i) {
        ASSERT_TRUE(Visit("probe " + std::to_string(i) + "\n")) << i;
        ASSERT_EQ(Handled().back(), "probe/" + std::to_string(i) + "/");
    }
    EXPECT_EQ(Handled().size(), COUNT);
    ASSERT_TRUE(LogCapture::WaitFor(DLOG_INFO, "Ready to open", COUNT + 1)) << "a run each";
}

TEST_F(StreamIPCReading, IsNotPutOffByAVisitorWhoWritesNothing) {
    channel.Start();
    ASSERT_TRUE(Visit(""));
    ASSERT_TRUE(Visit("\n\n"));
    ASSERT_TRUE(Visit("probe f\n"));
    EXPECT_EQ(Handled(), Texts{"probe/f/"});
    EXPECT_EQ(LogCapture::CountBeginning(DLOG_ERROR, ""), 0);
}

class StreamIPCBlock : public StreamIPCReading, public testing::WithParamInterface<int> {};

// Whatever the sizes of the reads are, each byte of the text counts once.
TEST_P(StreamIPCBlock, IsReadWholeFromAWriterWhoWaitsForRoom) {
    const int size = GetParam();
    channel.Start();
    ASSERT_TRUE(Visit(Lines(500).substr(0, static_cast<std::size_t>(size))));
    int sum = 0;
    for (const int read : Reads()) {
        EXPECT_LE(read, 1000);
        sum += read;
    }
    EXPECT_EQ(sum, size);
    EXPECT_EQ(Handled().front(), "c/0000000/");
    EXPECT_GE(Handled().size(), 99U);
}

TEST_P(StreamIPCBlock, IsReadByAThousandBytes) {
    const int size = GetParam();
    ASSERT_TRUE(ReadAtOnce(Lines(501).substr(0, static_cast<std::size_t>(size))));
    std::vector<int> expected(static_cast<std::size_t>(size / 1000), 1000);
    if (size % 1000 != 0) {
        expected.push_back(size % 1000);
    }
    EXPECT_EQ(Reads(), expected);
    // A read ends at the end of a line, so that no line is cut; the last may lack its newline.
    const auto whole = static_cast<std::size_t>((size + 1) / 10);
    ASSERT_EQ(Handled().size(), whole);
    for (std::size_t i = 0; i < whole; ++i) {
        const std::string number = std::to_string(i);
        EXPECT_EQ(Handled()[i], "c/" + std::string(7 - number.size(), '0') + number + "/");
    }
}

INSTANTIATE_TEST_SUITE_P(Sizes, StreamIPCBlock, testing::Values(999, 1000, 1001, 5000));

TEST_F(StreamIPCReading, TakesALineThatARreadCutsForTwo) {
    const std::string text = Lines(99) + "c 7\n" + "c first second\n"; // 6 bytes before the border
    ASSERT_TRUE(ReadAtOnce(text));
    EXPECT_EQ(Reads(), (std::vector<int>{1000, 9}));
    ASSERT_EQ(Handled().size(), 101U);
    EXPECT_EQ(Handled()[99], "c/7/");
    EXPECT_EQ(Handled()[100], "c/firs/") << "what stands ahead of the border";
    // And behind it "t second": a command of its own, which nobody knows.
    EXPECT_EQ(LogCapture::Count(DLOG_INFO, "commandName: t"), 1);
    EXPECT_EQ(LogCapture::Count(DLOG_INFO, "function: second"), 1);
    EXPECT_EQ(LogCapture::Count(DLOG_WARN, "Can not handle message. There is no subscription"), 1);
}

TEST_F(StreamIPCReading, LosesWhatStandsBehindANulInARead) {
    channel.Start();
    {
        const Writer writer;
        ASSERT_TRUE(writer.Write(std::string("probe 1\nprobe 2\0 s\nprobe 3\n", 27)));
        ASSERT_TRUE(WaitUntil([&] { return Handled().size() == 2; }));
        ASSERT_TRUE(writer.Write("probe 4\n"));
        ASSERT_TRUE(WaitUntil([&] { return Handled().size() == 3; }));
    }
    EXPECT_EQ(Handled(), (Texts{"probe/1/", "probe/2/", "probe/4/"}));
    EXPECT_EQ(Reads(), (std::vector<int>{27, 8}));
}

// Nothing of a longer read may show in a shorter one.
TEST_F(StreamIPCReading, SeesNothingOfTheReadBefore) {
    channel.Start();
    const Writer writer;
    ASSERT_TRUE(writer.Write("probe a_long_function a_long_service\n"));
    ASSERT_TRUE(WaitUntil([&] { return Handled().size() == 1; }));
    ASSERT_TRUE(writer.Write("probe f"));
    ASSERT_TRUE(WaitUntil([&] { return Handled().size() == 2; }));
    EXPECT_EQ(Handled().back(), "probe/f/");
}

TEST_F(StreamIPCReading, PassesALineThatIsNoneOnAsAnEmptyMessageForTheEmptyTag) {
    channel.Start();
    for (const char* line : {"word\n", "   \n"}) {
        LogCapture::Clear();
        ASSERT_TRUE(Visit(line));
        EXPECT_EQ(LogCapture::CountBeginning(DLOG_ERROR, "Incorrect command: "), 1);
        EXPECT_EQ(LogCapture::Count(DLOG_INFO, "Registering messenger for command: "), 1);
        EXPECT_EQ(LogCapture::Count(DLOG_WARN, "Can not handle message. There is no subscription"),
                  1);
        EXPECT_EQ(LogCapture::Count(DLOG_INFO, SAYS_NOTHING), 1);
    }
    LogCapture::Clear();
    channel.GetMessenger("");
    EXPECT_EQ(LogCapture::Count(DLOG_INFO, "Messenger does not exist. Creating new"), 0);
}

TEST_F(StreamIPCReading, LeavesAMessengerForEachUnknownTagWhichALaterCommandFills) {
    channel.Start();
    ASSERT_TRUE(Visit("late f\nnobody f\nlate f\n"));
    EXPECT_EQ(LogCapture::Count(DLOG_INFO, "Messenger does not exist. Creating new"), 2);
    EXPECT_EQ(LogCapture::Count(DLOG_INFO, SAYS_NOTHING), 3);
    TestCommand late("late");
    LogCapture::Clear();
    EXPECT_TRUE(channel.GetMessenger("late")->Register(&late));
    EXPECT_EQ(LogCapture::Count(DLOG_INFO, "Messenger does not exist. Creating new"), 0);
    ASSERT_TRUE(Visit("late again\n"));
    EXPECT_EQ(LogCapture::Count(DLOG_INFO, SAYS_NOTHING), 0);
    EXPECT_EQ(LogCapture::Count(DLOG_INFO, "Response from command execution: {\n\t\"command\" : "
                                           "\"late\",\n\t\"function\" : \"again\",\n"
                                           "\t\"service\" : \"\"\n}\n"),
              1);
    channel.GetMessenger("late")->Unregister(nullptr);
}

// The pipe holds a page, and then whoever writes waits.
TEST_F(StreamIPCReading, IsHeldUpByASlowCommandAndHoldsUpItsWriters) {
    Gate inside;
    Gate finish;
    probe.onMessage = [&](TCMessage& message) {
        inside.Open();
        finish.Wait();
        return message;
    };
    channel.Start();
    {
        const Writer writer;
        ASSERT_TRUE(writer.Write("probe slow\n"));
        ASSERT_TRUE(inside.Wait());
        EXPECT_EQ(fcntl(writer.Descriptor(), F_GETPIPE_SZ), getpagesize());
        int written = 0;
        while (written < 100 && writer.WriteNow(Lines(100))) {
            ++written;
        }
        EXPECT_EQ(written, getpagesize() / 1000);
        EXPECT_EQ(Handled(), Texts{});
        finish.Open();
        EXPECT_TRUE(writer.Write("c last\n"));
    }
    EXPECT_TRUE(LogCapture::WaitFor(DLOG_INFO, "Preparing the next task for the reader thread"));
    EXPECT_EQ(Handled().back(), "c/last/");
}

} // namespace

// SPDX-License-Identifier: Apache-2.0

// The pipe channel's states: started, stopped, dead, and its end.

#include <array>
#include <gtest/gtest.h>
#include <optional>
#include <sys/syscall.h>

#include "Caller.h"
#include "Said.h"
#include "TestChannel.h"
#include "TestCommand.h"

namespace {

using marrow::dbg::StreamIPC;
using Quill::TCMessage;
using Texts = std::vector<std::string>;

constexpr const char* READY = "Ready to open";
constexpr const char* NEXT = "Preparing the next task for the reader thread";

std::string AboutPipe(const std::string& before, const std::string& behind) {
    return before + ControlPipe::Path() + behind;
}

// Which descriptor of this process leads to the pipe's path; -1 for none.
int DescriptorOfPipe() {
    std::error_code gone; // the iterator's own
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        if (std::filesystem::read_symlink(entry, gone) == ControlPipe::Path()) {
            return std::stoi(entry.path().filename());
        }
    }
    return -1;
}

// Deletes a channel on a thread of its own: that may have to wait.
auto Deleting(StreamIPC* channel) {
    return [channel] {
        delete channel;
        return true;
    };
}

class StreamIPCLife : public testing::Test {
protected:
    ControlPipe pipe;
    TestCommand command;
    std::optional<TestChannel> channel{std::in_place};
};

TEST_F(StreamIPCLife, ReadsNothingUntilItIsStarted) {
    EXPECT_TRUE(TestChannel::Settle());
    EXPECT_FALSE(ControlPipe::HasReader());
    channel->Start();
    EXPECT_TRUE(Visit("word\n"));
}

TEST_F(StreamIPCLife, RunsCommandsOnTheReadersThread) {
    std::string thread;
    command.onMessage = [&](TCMessage&) {
        thread = ThreadName();
        return TCMessage();
    };
    channel->GetMessenger("probe")->Register(&command);
    channel->Start();
    ASSERT_TRUE(Visit("probe f\n"));
    EXPECT_EQ(thread, "Reader_thread");
}

TEST_F(StreamIPCLife, HasOneReaderHoweverOftenItIsStarted) {
    channel->Start();
    ASSERT_TRUE(LogCapture::WaitFor(DLOG_INFO, READY));
    LogCapture::Clear();
    channel->Start();
    channel->Start();
    EXPECT_EQ(Said(),
              (Texts{"I Reading ... no need to change", "I Reading ... no need to change"}));
    EXPECT_EQ(LogCapture::CountBeginning(DLOG_INFO, "Worker["), 0) << "nothing is queued";
}

// A reader that waits for a writer learns of the stop behind that writer's visit.
TEST_F(StreamIPCLife, HandlesOneMoreVisitAfterAStop) {
    channel->GetMessenger("probe")->Register(&command);
    channel->Start();
    ASSERT_TRUE(LogCapture::WaitFor(DLOG_INFO, READY));
    LogCapture::Clear();
    channel->Stop();
    EXPECT_EQ(Said(), Texts{"I Stop reading from stream"});
    {
        const Writer writer;
        ASSERT_TRUE(writer.Write("probe one\n"));
        ASSERT_TRUE(LogCapture::WaitFor(DLOG_INFO, "function: one"));
        ASSERT_TRUE(writer.Write("probe two\n"));
        ASSERT_TRUE(LogCapture::WaitFor(DLOG_INFO, "function: two"));
    }
    ASSERT_TRUE(LogCapture::WaitFor(DLOG_INFO, NEXT));
    ASSERT_TRUE(TestChannel::Settle()); // the line comes ahead of the next run's place in the queue
    EXPECT_TRUE(TestChannel::Settle());
    EXPECT_FALSE(ControlPipe::HasReader());
    EXPECT_EQ(LogCapture::Count(DLOG_INFO, READY), 0);
}

TEST_F(StreamIPCLife, StartsAnewAfterAStop) {
    channel->Start();
    ASSERT_TRUE(Visit("word\n"));
    channel->Stop();
    ASSERT_TRUE(TestChannel::LetReaderEnd());
    LogCapture::Clear();
    channel->Start();
    ASSERT_TRUE(Visit("word again\n"));
    EXPECT_EQ(LogCapture::Count(DLOG_INFO, "Start reading from stream"), 1);
    EXPECT_EQ(LogCapture::Count(DLOG_INFO, "function: again"), 1);
}

TEST_F(StreamIPCLife, ChangesNothingInARunThatFindsItStopped) {
    LogCapture::Clear();
    channel->ReadFromPipe();
    EXPECT_EQ(Said(), Texts{});
    EXPECT_TRUE(TestChannel::Settle());
    EXPECT_FALSE(ControlPipe::HasReader()) << "no further run";
}

TEST_F(StreamIPCLife, IsDeadAfterAPipeThatCouldntBeOpened) {
    ControlPipe::Remove();
    LogCapture::Clear();
    channel->Start();
    ASSERT_TRUE(TestChannel::Settle());
    EXPECT_EQ(TakeSaid(),
              (Texts{"I Start reading from stream", "I Ready to open",
                     AboutPipe("E Cannot open the ", " pipe read-only [ret=-1, errno=2]")}));
    ASSERT_TRUE(ControlPipe::Make());
    channel->Start();
    ASSERT_TRUE(TestChannel::Settle());
    EXPECT_EQ(TakeSaid(), Texts{"I Reading ... no need to change"});
    EXPECT_FALSE(ControlPipe::HasReader());
}

TEST_F(StreamIPCLife, ComesBackFromAFailedOpenOnlyThroughAStop) {
    ControlPipe::Remove();
    channel->Start();
    ASSERT_TRUE(TestChannel::Settle());
    ASSERT_TRUE(ControlPipe::Make());
    channel->Stop();
    channel->Start();
    EXPECT_TRUE(Visit("word\n"));
}

TEST_F(StreamIPCLife, GoesOnWhereThePipeCannotBeMadeSmaller) {
    const int both = open(ControlPipe::Path(), O_RDWR | O_CLOEXEC);
    const std::string text(static_cast<std::size_t>(2 * getpagesize()), '\n');
    ASSERT_EQ(write(both, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    LogCapture::Clear();
    channel->Start();
    ASSERT_TRUE(
        LogCapture::WaitFor(DLOG_ERROR, AboutPipe("Cannot change buffer size of the ", " pipe")));
    close(both);
    ASSERT_TRUE(LogCapture::WaitFor(DLOG_INFO, NEXT));
    EXPECT_GE(LogCapture::CountBeginning(DLOG_INFO, "1000 bytes successfully read from pipe"), 8);
    EXPECT_EQ(LogCapture::CountBeginning(DLOG_INFO, "Buffer size of"), 0);
    LogCapture::Clear();
    ASSERT_TRUE(Visit("word\n"));
    EXPECT_EQ(LogCapture::Count(DLOG_INFO,
                                AboutPipe("Buffer size of the ", " pipe changed successfully")),
              1);
}

// A folder opens and can't be read. The reader gets hold of something else behind its back, or it
// would never end.
TEST_F(StreamIPCLife, ReadsAgainAndAgainWhereItFails) {
    ControlPipe::Remove();
    std::filesystem::create_directories(ControlPipe::Path());
    channel->Start();
    const std::string error = AboutPipe("Error while reading from the ", " pipe");
    EXPECT_TRUE(LogCapture::WaitFor(DLOG_ERROR, error, 50));
    EXPECT_EQ(LogCapture::Count(DLOG_INFO, READY), 1) << "by the same descriptor";
    EXPECT_EQ(LogCapture::CountBeginning(DLOG_INFO, "No bytes"), 0);
    channel->Stop();
    const int end = open("/dev/null", O_RDONLY | O_CLOEXEC);
    // Past the thread sanitizer, for which this is a race: here it is meant.
    ASSERT_NE(syscall(SYS_dup3, end, DescriptorOfPipe(), O_CLOEXEC), -1);
    close(end);
    EXPECT_TRUE(LogCapture::WaitFor(DLOG_INFO, AboutPipe("No bytes read from the ", " pipe")));
    EXPECT_TRUE(LogCapture::WaitFor(DLOG_INFO, NEXT));
}

TEST_F(StreamIPCLife, ClosesThePipeBehindEachVisit) {
    channel->Start();
    ASSERT_TRUE(Visit("word\n"));
    channel->Stop();
    ASSERT_TRUE(TestChannel::LetReaderEnd());
    EXPECT_EQ(*channel.*MemberOf(PipeFd()), -1);
    EXPECT_EQ(DescriptorOfPipe(), -1);
}

TEST_F(StreamIPCLife, WaitsAtItsEndUntilTheReaderHasSeenTheStop) {
    auto* const ending = new StreamIPC;
    const auto& mutex = ending->*MemberOf(ReaderMutex());
    ending->Start();
    ASSERT_TRUE(LogCapture::WaitFor(DLOG_INFO, READY));
    LogCapture::Clear();
    Caller deleting(Deleting(ending));
    EXPECT_TRUE(deleting.IsBlockedBy(mutex));
    EXPECT_FALSE(deleting.IsDone());
    EXPECT_EQ(Said(), Texts{"I Stop reading from stream"});
    EXPECT_TRUE(ControlPipe::HasReader()) << "a writer's visit";
    EXPECT_TRUE(deleting.Join());
    EXPECT_EQ(LogCapture::CountBeginning(DLOG_INFO, "Read-only descriptor"), 0);
}

TEST_F(StreamIPCLife, WaitsAtItsEndForARunEvenWhereItWasNeverStarted) {
    auto* const ending = new StreamIPC;
    const auto& mutex = ending->*MemberOf(ReaderMutex());
    Caller deleting(Deleting(ending));
    EXPECT_TRUE(deleting.IsBlockedBy(mutex));
    ending->ReadFromPipe();
    EXPECT_TRUE(deleting.Join());
}

TEST_F(StreamIPCLife, WaitsAtItsEndForAReaderThatIsDead) {
    ControlPipe::Remove();
    auto* const ending = new StreamIPC;
    const auto& mutex = ending->*MemberOf(ReaderMutex());
    ending->Start();
    ASSERT_TRUE(TestChannel::Settle());
    Caller deleting(Deleting(ending));
    EXPECT_TRUE(deleting.IsBlockedBy(mutex));
    EXPECT_FALSE(deleting.IsDone());
    ending->ReadFromPipe(); // what nothing else does
    EXPECT_TRUE(deleting.Join());
}

TEST_F(StreamIPCLife, LetsItsWorkerGoAtItsEnd) {
    channel->Start();
    ASSERT_TRUE(Visit("word\n"));
    EXPECT_EQ(CountThreads("Reader_thread"), 1);
    channel.reset();
    EXPECT_TRUE(LogCapture::WaitFor(DLOG_INFO, "~Worker[Reader]"));
    EXPECT_TRUE(WaitUntil([] { return CountThreads("Reader_thread") == 0; }));
}

// A descriptor is left over only where a reader has been started anew: the end doesn't wait for it.
TEST_F(StreamIPCLife, ClosesADescriptorThatIsLeftOver) {
    const std::string closed = AboutPipe("Read-only descriptor of the ", " pipe closed");
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
    *channel.*MemberOf(PipeFd()) = ends[0];
    channel.reset();
    EXPECT_EQ(LogCapture::Count(DLOG_INFO, closed), 1);
    EXPECT_EQ(fcntl(ends[0], F_GETFD), -1);
    close(ends[1]);
}

TEST_F(StreamIPCLife, SaysThatALeftOverDescriptorCouldntBeClosed) {
    *channel.*MemberOf(PipeFd()) = 1 << 20;
    channel.reset();
    EXPECT_EQ(
        LogCapture::Count(DLOG_ERROR, AboutPipe("Error while closing descriptor of the ", " pipe")),
        1);
}

TEST_F(StreamIPCLife, LeavesItsMessengersWhenItEnds) {
    auto* const ending = new StreamIPC;
    marrow::dbg::Messenger* const messenger = ending->GetMessenger("probe");
    messenger->Register(&command);
    ending->ReadFromPipe(); // its end needn't wait then
    delete ending;
    TCMessage message = MessageWith("a", 1);
    EXPECT_EQ(messenger->HandleMessage(message).payload["a"], 1);
    delete messenger;
}

} // namespace

// SPDX-License-Identifier: Apache-2.0

// The pipe channel's messengers and its grammar; nothing is read here.

#include <gtest/gtest.h>
#include <mutex>
#include <thread>

#include "Caller.h"
#include "Said.h"
#include "TestChannel.h"
#include "TestCommand.h"

namespace {

using marrow::dbg::Messenger;
using marrow::dbg::StreamIPC;
using Quill::TCMessage;
using Texts = std::vector<std::string>;

class StreamIPCTest : public testing::Test {
protected:
    StreamIPCTest() { LogCapture::Clear(); }

    // What becomes of a line: the message's three values, or nothing.
    Texts Fields(std::string line) {
        const TCMessage message = channel.ParseInput(line);
        Texts fields;
        for (const char* key : {"command", "function", "service"}) {
            if (message.payload.isMember(key)) {
                EXPECT_TRUE(message.payload[key].isString());
                fields.push_back(message.payload[key].asString());
            }
        }
        EXPECT_EQ(message.payload.size(), fields.size());
        EXPECT_EQ(message.subject, "");
        return fields;
    }

    TestChannel channel;
    TestCommand command;
};

TEST_F(StreamIPCTest, HasItsConstants) {
    EXPECT_STREQ(StreamIPC::FIFO_PATH, "/usr/apps/org.norvane.hearthd/api/control");
    static_assert(StreamIPC::FIFO_BUFFER_SIZE == 1000);
}

TEST_F(StreamIPCTest, MakesOneMessengerForEachTag) {
    Messenger* const messenger = channel.GetMessenger("probe");
    ASSERT_NE(messenger, nullptr);
    EXPECT_EQ(TakeSaid(), (Texts{"I Registering messenger for command: probe",
                                 "I Messenger does not exist. Creating new"}));
    EXPECT_EQ(channel.GetMessenger("probe"), messenger);
    EXPECT_EQ(TakeSaid(), Texts{"I Registering messenger for command: probe"});
    EXPECT_NE(channel.GetMessenger("other"), messenger);
    EXPECT_EQ(channel.Tags(), (Texts{"other", "probe"}));
}

TEST_F(StreamIPCTest, DeletesAMessengerWithItsCommandAndPassesUnknownTagsOver) {
    channel.GetMessenger("probe")->Register(&command);
    LogCapture::Clear();
    std::string tag = "nobody";
    channel.DeleteMessenger(tag);
    EXPECT_EQ(channel.Tags(), Texts{"probe"});
    tag = "probe";
    channel.DeleteMessenger(tag);
    EXPECT_EQ(channel.Tags(), Texts{});
    EXPECT_EQ(Said(), Texts{});
    EXPECT_TRUE(channel.GetMessenger("probe")->Register(&command)) << "a new one has no command";
}

TEST_F(StreamIPCTest, WaitsForItsLockWithAMessengerThatIsAskedForOrDeleted) {
    auto& mutex = channel.*MemberOf(MessengersMutex());
    {
        std::unique_lock lock(mutex);
        Caller getting([this] { return channel.GetMessenger("probe") != nullptr; });
        EXPECT_TRUE(getting.IsBlockedBy(mutex));
        EXPECT_EQ(Said(), Texts{"I Registering messenger for command: probe"}) << "ahead of it";
        lock.unlock();
        EXPECT_TRUE(getting.Join());
    }
    std::unique_lock lock(mutex);
    Caller deleting([this] {
        std::string tag = "probe";
        channel.DeleteMessenger(tag);
        return true;
    });
    EXPECT_TRUE(deleting.IsBlockedBy(mutex));
    EXPECT_EQ(channel.Tags(), Texts{"probe"});
    lock.unlock();
    EXPECT_TRUE(deleting.Join());
    EXPECT_EQ(channel.Tags(), Texts{});
}

// For the sanitizers too: the reader looks tags up while commands come and go.
TEST_F(StreamIPCTest, HandsMessengersOutToSeveralThreads) {
    constexpr int COUNT = 100;
    const auto get = [this](const std::string& prefix) {
        for (int i = 0; i < COUNT; ++i) {
            channel.GetMessenger(prefix + std::to_string(i));
            channel.GetMessenger("shared");
        }
    };
    std::thread one(get, "a");
    std::thread other(get, "b");
    one.join();
    other.join();
    EXPECT_EQ(channel.Tags().size(), 2 * COUNT + 1);
}

TEST_F(StreamIPCTest, SendsNothing) {
    std::string tag = "probe";
    TCMessage message = MessageWith("a", 1);
    const TCMessage answer = channel.SendSyncMessage(tag, message);
    EXPECT_TRUE(answer.payload.empty());
    EXPECT_EQ(message.payload, MessageWith("a", 1).payload);
    EXPECT_EQ(TakeSaid(), Texts{"E Attempt to call StreamIPC::SendSyncMessage"});
    EXPECT_TRUE(channel.SendSyncMessage(tag, message).payload.empty());
}

TEST_F(StreamIPCTest, DividesABlockIntoLinesAndLosesTheEmptyOnes) {
    EXPECT_EQ(channel.DivideIntoLines(""), Texts{});
    EXPECT_EQ(channel.DivideIntoLines("\n"), Texts{});
    EXPECT_EQ(channel.DivideIntoLines("\n\n\n"), Texts{});
    EXPECT_EQ(channel.DivideIntoLines("a"), Texts{"a"});
    EXPECT_EQ(channel.DivideIntoLines("a b\n"), Texts{"a b"});
    EXPECT_EQ(channel.DivideIntoLines("\n\na b\n\n\n c \n\r\nd"), (Texts{"a b", " c ", "\r", "d"}));
}

TEST_F(StreamIPCTest, LeavesTheTextThatItDivides) {
    std::string given = "a\nb";
    EXPECT_EQ(channel.DivideIntoLines(given), (Texts{"a", "b"}));
    EXPECT_EQ(given, "a\nb");
}

TEST_F(StreamIPCTest, MakesAMessageOfTwoOrThreeFields) {
    EXPECT_EQ(Fields("service-command list-services"),
              (Texts{"service-command", "list-services", ""}));
    EXPECT_EQ(TakeSaid(), (Texts{"I commandName: service-command", "I function: list-services",
                                 "I service: "}));
    EXPECT_EQ(Fields("c f s"), (Texts{"c", "f", "s"}));
    EXPECT_EQ(TakeSaid(), (Texts{"I commandName: c", "I function: f", "I service: s"}));
}

TEST_F(StreamIPCTest, IgnoresFurtherFields) {
    EXPECT_EQ(Fields("c f s fourth fifth"), (Texts{"c", "f", "s"}));
}

TEST_F(StreamIPCTest, TakesARunOfBlanksForOneAndSkipsLeadingOnes) {
    EXPECT_EQ(Fields("   c    f  s  "), (Texts{"c", "f", "s"}));
    EXPECT_EQ(Fields("c f   "), (Texts{"c", "f", ""}));
}

TEST_F(StreamIPCTest, KnowsNoOtherWhiteSpaceAndNoQuotes) {
    EXPECT_EQ(Fields("c\tx f\r 's\v1"), (Texts{"c\tx", "f\r", "'s\v1"}));
    EXPECT_EQ(Fields("c f \"a b\""), (Texts{"c", "f", "\"a"}));
    EXPECT_EQ(Fields("c f a\\ b"), (Texts{"c", "f", "a\\"}));
}

TEST_F(StreamIPCTest, CutsTheLineUpInItsPlace) {
    std::string line = "c f s more";
    channel.ParseInput(line);
    EXPECT_EQ(line, std::string("c\0f\0s\0more", 10));
}

TEST_F(StreamIPCTest, RefusesALineOfBlanksOrNothing) {
    EXPECT_EQ(Fields("   "), Texts{});
    EXPECT_EQ(TakeSaid(), Texts{"E Incorrect command:    "});
    EXPECT_EQ(Fields(""), Texts{});
    EXPECT_EQ(TakeSaid(), Texts{"E Incorrect command: "});
}

TEST_F(StreamIPCTest, RefusesALoneWordAndPrintsTheLineUpToTheBlankBehindIt) {
    EXPECT_EQ(Fields("word"), Texts{});
    EXPECT_EQ(TakeSaid(), (Texts{"I commandName: word", "E Incorrect command: word"}));
    EXPECT_EQ(Fields("word   "), Texts{});
    EXPECT_EQ(TakeSaid(), (Texts{"I commandName: word", "E Incorrect command: word"}));
    std::string line = "word  ";
    EXPECT_TRUE(channel.ParseInput(line).payload.isNull());
    EXPECT_STREQ(line.c_str(), "word");
}

TEST_F(StreamIPCTest, IsMadeAtTheFirstGetAlone) {
    StreamIPC* const only = StreamIPC::Get();
    EXPECT_EQ(TakeSaid(), (Texts{"I Get object instance", "I Create object"}));
    EXPECT_EQ(StreamIPC::Get(), only);
    EXPECT_EQ(TakeSaid(), Texts{"I Get object instance"});
}

} // namespace

// SPDX-License-Identifier: Apache-2.0

// How a command comes to its channels, and leaves them.

#include <algorithm>
#include <atomic>
#include <gtest/gtest.h>
#include <mutex>

#include "Caller.h"
#include "ControlPipe.h"
#include "DbusIPC.h"
#include "Gate.h"
#include "Messenger.h"
#include "PrivateBus.h"
#include "RawClient.h"
#include "Said.h"
#include "TestCommand.h"

namespace {

using marrow::dbg::DbusIPC;
using marrow::dbg::ICommand;
using marrow::dbg::StreamIPC;
using Quill::TCMessage;
using Texts = std::vector<std::string>;

constexpr const char* BUS_NAME = "quill.debugshell_C";
constexpr const char* TO_PROBE =
    R"({"org.norvane.services.debugshell.command.tag":"probe","function":"bus"})";

class CommandTest : public testing::Test {
protected:
    CommandTest() {
        const auto record = [this](const std::string& name) {
            return [this, name](TCMessage& message) {
                const std::scoped_lock lock(m_mutex);
                m_handled.push_back(name + " " + message.payload["function"].asString());
                return MessageWith("by", name);
            };
        };
        command.onMessage = record("first");
        other.onMessage = record("other");
    }

    Texts Handled() {
        const std::scoped_lock lock(m_mutex);
        return m_handled;
    }

    PrivateBus bus;
    ControlPipe pipe;
    TestCommand command{"probe"};
    TestCommand other{"probe"};

private:
    std::mutex m_mutex;
    Texts m_handled;
};

TEST_F(CommandTest, IsReachedThroughBothChannelsOnceItHasRegistered) {
    ICommand::Register(&command);
    EXPECT_TRUE(Visit("probe pipe\n"));
    RawClient client;
    EXPECT_EQ(client.Call(BUS_NAME, "", TO_PROBE).payload, R"({"by":"first"})");
    EXPECT_EQ(Handled(), (Texts{"first pipe", "first bus"}));
}

TEST_F(CommandTest, BringsThePipeUpAheadOfTheBusAndReadsWhenBothKnowIt) {
    LogCapture::Clear();
    ICommand::Register(&command);
    const Texts said = Said();
    const Texts wanted = {
        "D Registering message handle object and member function: probe",
        "I Create object",
        "I Registering messenger for command: probe",
        "I Registering callback",
        "D Create object",
        "D Registered dbus server: debugshell_C",
        "D Registering messenger for command: probe",
        "I Registering callback",
        "I Start reading from stream",
    };
    auto next = said.begin();
    for (const std::string& line : wanted) {
        next = std::find(next, said.end(), line);
        ASSERT_NE(next, said.end()) << line;
        ++next;
    }
}

TEST_F(CommandTest, DoesNotRegisterByItself) {
    LogCapture::Clear();
    { const TestCommand another("another"); }
    EXPECT_EQ(Said(), Texts{});
}

TEST_F(CommandTest, IsRefusedInSilenceWhereItsTagIsTaken) {
    ICommand::Register(&command);
    LogCapture::Clear();
    ICommand::Register(&other);
    EXPECT_EQ(LogCapture::Count(DLOG_WARN, "Only one callback can be registered. Can not register "
                                           "another one"),
              2)
        << "in each channel";
    EXPECT_EQ(LogCapture::Count(DLOG_INFO, "Reading ... no need to change"), 1);
    EXPECT_TRUE(Visit("probe pipe\n"));
    EXPECT_EQ(Handled(), Texts{"first pipe"});
}

// The warning is for the rightful owner, and costs nothing: its messenger goes all the same.
TEST_F(CommandTest, IsForgottenByBothChannelsWhenItUnregisters) {
    ICommand::Register(&command);
    LogCapture::Clear();
    ICommand::UnRegister(&command);
    EXPECT_EQ(LogCapture::Count(DLOG_DEBUG,
                                "Unregistering message handle object and member function: probe"),
              1);
    EXPECT_EQ(LogCapture::Count(DLOG_INFO, "Unregistering callback"), 2);
    EXPECT_EQ(
        LogCapture::Count(DLOG_WARN, "Attempt to unregister different object than registered"), 2);
    const Texts said = Said();
    EXPECT_LT(std::find(said.begin(), said.end(), "I Registering messenger for command: probe"),
              std::find(said.begin(), said.end(), "D Registering messenger for command: probe"))
        << "the pipe ahead of the bus";
    EXPECT_TRUE(Visit("probe pipe\n"));
    RawClient client;
    EXPECT_EQ(client.Call(BUS_NAME, "", TO_PROBE).payload, "");
    EXPECT_EQ(Handled(), Texts{});
    EXPECT_EQ(LogCapture::Count(DLOG_DEBUG, "There is no subscription for command tag: probe"), 1);
}

TEST_F(CommandTest, MayComeAgainAndMakesRoomForAnother) {
    ICommand::Register(&command);
    ICommand::UnRegister(&command);
    ICommand::Register(&other);
    EXPECT_TRUE(Visit("probe pipe\n"));
    ICommand::UnRegister(&other);
    ICommand::Register(&command);
    EXPECT_TRUE(Visit("probe again\n"));
    EXPECT_EQ(Handled(), (Texts{"other pipe", "first again"}));
}

TEST_F(CommandTest, MakesAMessengerToUnregisterFromWhereItWasNeverRegistered) {
    LogCapture::Clear();
    ICommand::UnRegister(&command);
    EXPECT_EQ(LogCapture::Count(DLOG_WARN, "Can not unregister. Handler in NULL"), 2);
    LogCapture::Clear();
    StreamIPC::Get()->GetMessenger("probe");
    DbusIPC::Get()->GetMessenger("probe");
    EXPECT_EQ(LogCapture::Count(DLOG_INFO, "Messenger does not exist. Creating new"), 1);
    EXPECT_EQ(LogCapture::Count(DLOG_DEBUG, "Messenger does not exist. Creating new"), 1);
}

// Each channel has a messenger of its own, and so a lock.
TEST_F(CommandTest, RunsForBothChannelsAtTheSameTime) {
    Gate fromPipe;
    Gate fromBus;
    std::atomic<bool> met{false};
    command.onMessage = [&](TCMessage& message) {
        const bool isBus = message.payload["function"] == "bus";
        (isBus ? fromBus : fromPipe).Open();
        met = (isBus ? fromPipe : fromBus).Wait();
        return message;
    };
    ICommand::Register(&command);
    const Writer writer;
    EXPECT_TRUE(writer.Write("probe pipe\n"));
    ASSERT_TRUE(fromPipe.Wait());
    RawClient().Call(BUS_NAME, "", TO_PROBE);
    EXPECT_TRUE(met);
    EXPECT_TRUE(WaitUntil(
        [] { return LogCapture::CountBeginning(DLOG_INFO, "Response from command") == 1; }));
}

} // namespace

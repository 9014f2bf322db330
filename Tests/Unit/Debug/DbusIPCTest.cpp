// SPDX-License-Identifier: Apache-2.0
#include "DbusIPC.h"

#include <atomic>
#include <gtest/gtest.h>
#include <optional>

#include "BlockedThread.h"
#include "DeathTest.h"
#include "Messenger.h"
#include "PrivateBus.h"
#include "RawClient.h"
#include "RunMainLoop.h"
#include "Said.h"
#include "ServerCalls.h"
#include "TestCommand.h"
#include "TestServer.h"
#include "WaitUntil.h"

namespace {

using marrow::dbg::DbusIPC;
using marrow::dbg::Messenger;
using Quill::TCMessage;
using Texts = std::vector<std::string>;

constexpr const char* BUS_NAME = "quill.debugshell_C";
constexpr const char* TO_PROBE = R"({"org.norvane.services.debugshell.command.tag":"probe","a":1})";

TCMessage Tagged(const Json::Value& tag) {
    return MessageWith(DbusIPC::COMMAND_TAG, tag);
}

class DbusIPCTest : public testing::Test {
protected:
    DbusIPCTest() { RunMainLoop(); }
    ~DbusIPCTest() override {
        if (channel) {
            for (std::string tag : {"probe", "other", "7", "true", ""}) {
                channel->DeleteMessenger(tag);
            }
        }
    }

    int Receive(const TCMessage& message) {
        return channel->IfMessageReceived("sender", &message, &reply, nullptr);
    }

    PrivateBus bus;
    TestCommand command;
    TCMessage reply = MessageWith("untouched", true);
    std::optional<DbusIPC> channel{std::in_place};
};

TEST_F(DbusIPCTest, HasItsPublicNames) {
    EXPECT_STREQ(DbusIPC::DBUS_SERVER_NAME, "debugshell_C");
    EXPECT_STREQ(DbusIPC::DBUS_DESTINATION_NAME, "marrow.ser.server.MessageRouter.debugshell_S");
    EXPECT_STREQ(DbusIPC::COMMAND_TAG, "org.norvane.services.debugshell.command.tag");
}

TEST_F(DbusIPCTest, IsOnTheBusForAsLongAsItLives) {
    RawClient client;
    EXPECT_FALSE(client.NameHasOwner("debugshell_C"));
    EXPECT_TRUE(client.NameHasOwner(BUS_NAME));
    channel.reset();
    EXPECT_TRUE(WaitUntil([&] { return !client.NameHasOwner(BUS_NAME); }));
    LogCapture::Clear();
    channel.emplace();
    EXPECT_EQ(TakeSaid(), Texts{"D Registered dbus server: debugshell_C"});
}

TEST_F(DbusIPCTest, GoesOnTheBusAsAClientWhenItIsMadeAndOffItAtItsEnd) {
    channel.reset();
    ServerCalls::Clear();
    LogCapture::Clear();
    Texts said;
    ServerCalls::InsideNextCreate([&] { said = Said(); });
    channel.emplace();
    EXPECT_EQ(ServerCalls::All(), (Texts{"TCServer debugshell_C 1", "CreateDBusServer"}));
    EXPECT_EQ(said, Texts{"D Registered dbus server: debugshell_C"}) << "ahead of it";
    ServerCalls::Clear();
    channel.reset();
    EXPECT_EQ(ServerCalls::All(), Texts{"CloseDBusServer"});
}

TEST_F(DbusIPCTest, MakesOneMessengerForEachTag) {
    LogCapture::Clear();
    Messenger* const messenger = channel->GetMessenger("probe");
    ASSERT_NE(messenger, nullptr);
    EXPECT_EQ(TakeSaid(), (Texts{"D Registering messenger for command: probe",
                                 "D Messenger does not exist. Creating new"}));
    EXPECT_EQ(channel->GetMessenger("probe"), messenger);
    EXPECT_EQ(TakeSaid(), Texts{"D Registering messenger for command: probe"});
    EXPECT_NE(channel->GetMessenger("other"), messenger);
}

TEST_F(DbusIPCTest, DeletesAMessengerWithItsCommand) {
    channel->GetMessenger("probe")->Register(&command);
    LogCapture::Clear();
    std::string tag = "probe";
    channel->DeleteMessenger(tag);
    EXPECT_EQ(Said(), Texts{});
    EXPECT_EQ(Receive(Tagged("probe")), 0);
    EXPECT_TRUE(channel->GetMessenger("probe")->Register(&command)) << "a new one has no command";
}

TEST_F(DbusIPCTest, PassesATagThatItDoesntKnowOverInSilence) {
    Messenger* const messenger = channel->GetMessenger("probe");
    LogCapture::Clear();
    std::string tag = "nobody";
    channel->DeleteMessenger(tag);
    EXPECT_EQ(Said(), Texts{});
    EXPECT_EQ(channel->GetMessenger("probe"), messenger);
}

TEST_F(DbusIPCTest, LeavesItsMessengersWhenItEnds) {
    Messenger* const messenger = channel->GetMessenger("probe");
    messenger->Register(&command);
    channel.reset();
    TCMessage message = MessageWith("a", 1);
    EXPECT_EQ(messenger->HandleMessage(message).payload["a"], 1);
    delete messenger;
}

TEST_F(DbusIPCTest, GivesAMessageToTheCommandOfItsTag) {
    channel->GetMessenger("probe")->Register(&command);
    LogCapture::Clear();
    EXPECT_EQ(Receive(Tagged("probe")), 1);
    EXPECT_EQ(reply.payload, Tagged("probe").payload) << "the command gives back what it got";
    EXPECT_EQ(TakeSaid(),
              (Texts{"D Message received", "D Received command tag: probe", "I Handle message"}));
}

TEST_F(DbusIPCTest, LooksNeitherAtTheSenderNorAtTheSignal) {
    channel->GetMessenger("probe")->Register(&command);
    const TCMessage message = Tagged("probe");
    EXPECT_EQ(channel->IfMessageReceived(nullptr, &message, &reply, "some_signal"), 1);
    EXPECT_EQ(reply.payload, message.payload);
}

TEST_F(DbusIPCTest, KeepsTheMessageFromWhatACommandDoesToIt) {
    command.onMessage = [](TCMessage& message) {
        message.payload["changed"] = true;
        message.subject = "changed";
        return message;
    };
    channel->GetMessenger("probe")->Register(&command);
    const TCMessage message = Tagged("probe");
    Receive(message);
    EXPECT_TRUE(reply.payload["changed"].asBool());
    EXPECT_FALSE(message.payload.isMember("changed"));
    EXPECT_EQ(message.subject, "");
}

TEST_F(DbusIPCTest, RefusesAMessageWithoutATag) {
    LogCapture::Clear();
    EXPECT_EQ(Receive(MessageWith("a", 1)), 0);
    EXPECT_EQ(Receive(TCMessage()), 0);
    EXPECT_EQ(reply.payload, MessageWith("untouched", true).payload);
    EXPECT_EQ(TakeSaid(), (Texts{"D Message received", "W Command tag is missing",
                                 "D Message received", "W Command tag is missing"}));
}

TEST_F(DbusIPCTest, RefusesATagThatItDoesntKnowAndMakesNoMessenger) {
    LogCapture::Clear();
    EXPECT_EQ(Receive(Tagged("probe")), 0);
    EXPECT_EQ(reply.payload, MessageWith("untouched", true).payload);
    EXPECT_EQ(TakeSaid(), (Texts{"D Message received", "D Received command tag: probe",
                                 "D There is no subscription for command tag: probe"}));
    channel->GetMessenger("probe");
    EXPECT_EQ(LogCapture::Count(DLOG_DEBUG, "Messenger does not exist. Creating new"), 1);
}

TEST_F(DbusIPCTest, TakesAMessageForAMessengerWithoutACommandAndRepliesWithNothing) {
    channel->GetMessenger("probe");
    EXPECT_EQ(Receive(Tagged("probe")), 1);
    EXPECT_TRUE(reply.payload.empty());
    EXPECT_EQ(LogCapture::Count(DLOG_WARN, "Can not handle message. There is no subscription"), 1);
}

TEST_F(DbusIPCTest, ReadsATagOfAnotherTypeAsText) {
    for (const char* tag : {"7", "true", ""}) {
        channel->GetMessenger(tag)->Register(&command);
    }
    EXPECT_EQ(Receive(Tagged(7)), 1);
    EXPECT_EQ(Receive(Tagged(true)), 1);
    EXPECT_EQ(Receive(Tagged(Json::nullValue)), 1) << "the empty tag";
    EXPECT_THROW(Receive(Tagged(Json::objectValue)), Json::LogicError);
    EXPECT_THROW(Receive(Tagged(Json::arrayValue)), Json::LogicError);
}

TEST_F(DbusIPCTest, AnswersACallOnTheBusOnItsOwnThread) {
    std::atomic<pid_t> thread{0};
    command.onMessage = [&](TCMessage& message) {
        thread = ThisThread();
        return MessageWith("b", message.payload["a"]);
    };
    channel->GetMessenger("probe")->Register(&command);
    RawClient client;
    const RawClient::Reply answer = client.Call(BUS_NAME, "any subject", TO_PROBE);
    EXPECT_EQ(answer.error, "");
    EXPECT_EQ(answer.payload, R"({"b":1})");
    EXPECT_NE(thread, 0);
    EXPECT_NE(thread, ThisThread());
}

TEST_F(DbusIPCTest, AnswersACallThatItRefusesWithNothing) {
    RawClient client;
    for (const char* payload : {"{}", TO_PROBE}) {
        const RawClient::Reply answer = client.Call(BUS_NAME, "", payload);
        EXPECT_EQ(answer.error, "");
        EXPECT_EQ(answer.payload, "");
    }
    EXPECT_EQ(LogCapture::Count(DLOG_WARN, "Command tag is missing"), 1);
    EXPECT_EQ(LogCapture::Count(DLOG_DEBUG, "There is no subscription for command tag: probe"), 1);
}

TEST_F(DbusIPCTest, KeepsTheFrameworksOtherCallbacks) {
    Quill::TCEventIO* target = nullptr;
    const TCMessage message = Tagged("probe");
    EXPECT_FALSE(channel->IfTransferMessage("sender", &message, target));
    EXPECT_EQ(target, nullptr);
    EXPECT_FALSE(channel->IfMessageReplied("sender", &message));
}

TEST_F(DbusIPCTest, SendsToThePeerWithTheTagAndWaitsForTheAnswer) {
    TestServer peer("marrow.ser.server.MessageRouter.debugshell_S");
    ASSERT_TRUE(peer.CreateDBusServer());
    TCMessage message = MessageWith("a", 1);
    std::string tag = "probe";
    LogCapture::Clear();
    const TCMessage answer = channel->SendSyncMessage(tag, message);
    EXPECT_EQ(answer.payload["a"], 1);
    EXPECT_EQ(answer.payload[DbusIPC::COMMAND_TAG], "probe");
    EXPECT_EQ(message.payload[DbusIPC::COMMAND_TAG], "probe") << "the caller's own message";
    EXPECT_EQ(TakeSaid(), (Texts{"D Message send command: probe, destination: "
                                 "marrow.ser.server.MessageRouter.debugshell_S",
                                 "D Message send result 0"}));
    tag = "other";
    EXPECT_EQ(channel->SendSyncMessage(tag, message).payload[DbusIPC::COMMAND_TAG], "other")
        << "a tag that was there is replaced";
}

TEST_F(DbusIPCTest, ReturnsAnEmptyMessageWhereThereIsNoPeer) {
    TCMessage message = MessageWith("a", 1);
    std::string tag = "probe";
    EXPECT_TRUE(channel->SendSyncMessage(tag, message).payload.empty());
    EXPECT_EQ(message.payload[DbusIPC::COMMAND_TAG], "probe");
    EXPECT_EQ(LogCapture::CountBeginning(DLOG_DEBUG, "Message send result -"), 1);
}

TEST_F(DbusIPCTest, IsMadeAtTheFirstGetAlone) {
    channel.reset();
    LogCapture::Clear();
    DbusIPC* const only = DbusIPC::Get();
    EXPECT_EQ(TakeSaid(), (Texts{"D Get object instance", "D Create object",
                                 "D Registered dbus server: debugshell_C"}));
    EXPECT_EQ(DbusIPC::Get(), only);
    EXPECT_EQ(TakeSaid(), Texts{"D Get object instance"});
}

// An exception of the JSON library, which nobody catches.
TEST(DbusIPCDeathTest, DiesOfATagThatIsAnObject) {
    UseFreshProcesses();
    std::optional<PrivateBus> bus; // the process that dies uses this one's, and leaves none behind
    if (!testing::internal::InDeathTestChild()) {
        bus.emplace();
    }
    EXPECT_EXIT(
        {
            DbusIPC channel;
            channel.GetMessenger("probe");
            RawClient().Call(BUS_NAME, "",
                             R"({"org.norvane.services.debugshell.command.tag":{"a":1}})");
        },
        DiedOfTerminate, "convertible to string");
}

} // namespace

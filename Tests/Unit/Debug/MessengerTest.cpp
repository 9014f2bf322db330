// SPDX-License-Identifier: Apache-2.0
#include "Messenger.h"

#include <atomic>
#include <gtest/gtest.h>

#include "Caller.h"
#include "Gate.h"
#include "IIPC.h"
#include "Said.h"
#include "TestCommand.h"

namespace {

using marrow::dbg::IIPC;
using marrow::dbg::Messenger;
using Quill::TCMessage;
using Texts = std::vector<std::string>;

// A channel that records what is sent, and answers it.
struct FakeChannel : IIPC {
    std::string tag;
    TCMessage* sent = nullptr;

    void DeleteMessenger(std::string& /*tag*/) override {}
    Messenger* GetMessenger(const std::string& /*tag*/) override { return nullptr; }
    TCMessage SendSyncMessage(std::string& given, TCMessage& message) override {
        tag = given;
        sent = &message;
        return MessageWith("from", "outside");
    }
};

class MessengerTest : public testing::Test {
protected:
    MessengerTest() {
        first.onMessage = [](TCMessage&) { return MessageWith("by", "first"); };
        second.onMessage = [](TCMessage&) { return MessageWith("by", "second"); };
    }

    // Empty for nobody.
    std::string WhoAnswers() {
        TCMessage message;
        return messenger.HandleMessage(message).payload.get("by", "").asString();
    }

    FakeChannel channel;
    Messenger messenger{"probe", &channel};
    TestCommand first;
    TestCommand second;
};

TEST_F(MessengerTest, AnswersWithAnEmptyMessageWhileItHasNoCommand) {
    TCMessage message = MessageWith("a", 1);
    const TCMessage answer = messenger.HandleMessage(message);
    EXPECT_TRUE(answer.payload.empty());
    EXPECT_TRUE(answer.payload.isNull());
    EXPECT_EQ(answer.subject, "");
    EXPECT_EQ(TakeSaid(),
              (Texts{"I Handle message", "W Can not handle message. There is no subscription"}));
}

TEST_F(MessengerTest, GivesAMessageToItsCommandAndReturnsTheAnswer) {
    EXPECT_TRUE(messenger.Register(&first));
    EXPECT_EQ(TakeSaid(), Texts{"I Registering callback"});
    EXPECT_EQ(WhoAnswers(), "first");
    EXPECT_EQ(TakeSaid(), Texts{"I Handle message"});
}

TEST_F(MessengerTest, HandsTheCallersOwnMessageOver) {
    TCMessage message;
    const TCMessage* given = nullptr;
    first.onMessage = [&](TCMessage& m) {
        given = &m;
        m.payload["changed"] = true;
        return TCMessage();
    };
    messenger.Register(&first);
    messenger.HandleMessage(message);
    EXPECT_EQ(given, &message);
    EXPECT_TRUE(message.payload["changed"].asBool());
}

TEST_F(MessengerTest, RefusesASecondCommandAndKeepsTheFirst) {
    messenger.Register(&first);
    LogCapture::Clear();
    EXPECT_FALSE(messenger.Register(&second));
    EXPECT_EQ(TakeSaid(),
              (Texts{"I Registering callback",
                     "W Only one callback can be registered. Can not register another one"}));
    EXPECT_FALSE(messenger.Register(&first)) << "nor the same one again";
    EXPECT_EQ(WhoAnswers(), "first");
}

TEST_F(MessengerTest, HasNothingToUnregisterWithoutACommand) {
    EXPECT_FALSE(messenger.Unregister(&first));
    EXPECT_EQ(TakeSaid(),
              (Texts{"I Unregistering callback", "W Can not unregister. Handler in NULL"}));
}

TEST_F(MessengerTest, RefusesToUnregisterTheVeryCommandThatIsRegistered) {
    messenger.Register(&first);
    LogCapture::Clear();
    EXPECT_FALSE(messenger.Unregister(&first));
    EXPECT_EQ(TakeSaid(), (Texts{"I Unregistering callback",
                                 "W Attempt to unregister different object than registered"}));
    EXPECT_EQ(WhoAnswers(), "first");
}

TEST_F(MessengerTest, LetsItsCommandGoForAnyOther) {
    messenger.Register(&first);
    LogCapture::Clear();
    EXPECT_TRUE(messenger.Unregister(&second));
    EXPECT_EQ(TakeSaid(), Texts{"I Unregistering callback"});
    EXPECT_EQ(WhoAnswers(), "");
    EXPECT_TRUE(messenger.Register(&second));
    EXPECT_EQ(WhoAnswers(), "second");
    EXPECT_TRUE(messenger.Unregister(nullptr)) << "nobody is another one, too";
    EXPECT_EQ(WhoAnswers(), "");
}

TEST_F(MessengerTest, SendsThroughItsChannelUnderItsTag) {
    TCMessage message;
    const TCMessage answer = messenger.SendSyncMessage(message);
    EXPECT_EQ(channel.tag, "probe");
    EXPECT_EQ(channel.sent, &message);
    EXPECT_EQ(answer.payload["from"], "outside");
    EXPECT_EQ(TakeSaid(), Texts{"I sending message for command: probe"});
}

TEST_F(MessengerTest, HandlesOneMessageAtATime) {
    Gate inside;
    Gate finish;
    std::atomic<int> runs{0};
    first.onMessage = [&](TCMessage& message) {
        ++runs;
        inside.Open();
        finish.Wait();
        return message;
    };
    messenger.Register(&first);
    LogCapture::Clear();
    const auto handle = [this] {
        TCMessage message;
        messenger.HandleMessage(message);
        return true;
    };
    Caller one(handle);
    ASSERT_TRUE(inside.Wait());
    Caller other(handle);
    EXPECT_TRUE(other.IsBlockedBy(messenger));
    EXPECT_EQ(runs, 1);
    EXPECT_EQ(LogCapture::Count(DLOG_INFO, "Handle message"), 2) << "said ahead of the lock";
    finish.Open();
    EXPECT_TRUE(one.Join());
    EXPECT_TRUE(other.Join());
    EXPECT_EQ(runs, 2);
}

TEST_F(MessengerTest, LetsNobodyRegisterOrUnregisterWhileTheCommandRuns) {
    Gate inside;
    Gate finish;
    first.onMessage = [&](TCMessage& message) {
        inside.Open();
        finish.Wait();
        return message;
    };
    messenger.Register(&first);
    Caller handling([this] {
        TCMessage message;
        messenger.HandleMessage(message);
        return true;
    });
    ASSERT_TRUE(inside.Wait());
    LogCapture::Clear();
    Caller unregistering([this] { return messenger.Unregister(&second); });
    EXPECT_TRUE(unregistering.IsBlockedBy(messenger));
    Caller registering([this] { return messenger.Register(nullptr); });
    EXPECT_TRUE(registering.IsBlockedBy(messenger));
    EXPECT_EQ(Said(), (Texts{"I Unregistering callback", "I Registering callback"}))
        << "ahead of the lock";
    finish.Open();
    EXPECT_TRUE(unregistering.Join());
}

} // namespace

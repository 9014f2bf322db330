// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

#include "SenderTurns.h"

namespace {

using Quill::Incoming;
using Quill::SenderTurns;

constexpr std::size_t HALF = 4UL << 20; // of the bytes for which there is room

class SenderTurnsTest : public testing::Test {
protected:
    void Add(const char* peer, const char* subject, std::size_t size = 0) {
        Incoming incoming;
        incoming.peer = peer;
        incoming.subject = subject;
        incoming.size = size;
        std::vector<Incoming> taken;
        taken.push_back(std::move(incoming));
        turns.Add(taken);
        EXPECT_TRUE(taken.empty());
    }

    std::string TakeNext() { return turns.TakeNext().subject; }

    std::string TakeAll() {
        std::string all;
        while (!turns.IsEmpty()) {
            all += (all.empty() ? "" : " ") + TakeNext();
        }
        return all;
    }

    SenderTurns turns;
};

TEST_F(SenderTurnsTest, KeepTheOrderOfEachSenderAndTakeOneOfEachInTurn) {
    for (const char* subject : {"a1", "a2", "a3", "a4"}) {
        Add(":1.1", subject);
    }
    for (const char* subject : {"b1", "b2", "b3"}) {
        Add(":1.2", subject);
    }
    EXPECT_EQ(TakeNext(), "a1");
    Add(":1.1", "a5");
    EXPECT_EQ(TakeAll(), "a2 b1 a3 b2 a4 b3 a5");
}

TEST_F(SenderTurnsTest, LetANewcomerGoAheadOfThoseThatHaveHadATurn) {
    for (const char* peer : {":1.1", ":1.2", ":1.3", ":1.4"}) {
        for (const char* subject : {"old", "old", "old"}) {
            Add(peer, subject);
        }
    }
    for (int count = 0; count < 7; ++count) { // the last of these was a newcomer
        TakeNext();
    }
    Add(":1.5", "new");
    EXPECT_EQ(TakeAll(), "old new old old old old");
    Add(":1.5", "is one again");
    EXPECT_EQ(TakeAll(), "is one again");
}

TEST_F(SenderTurnsTest, LetNoTwoNewcomersInARowGoAheadOfOthers) {
    Add(":1.1", "a1");
    Add(":1.1", "a2");
    Add(":1.1", "a3");
    EXPECT_EQ(TakeNext(), "a1");
    std::string all;
    for (const char* peer : {":1.2", ":1.3", ":1.4", ":1.5"}) {
        Add(peer, "new");
        all += TakeNext() + " ";
    }
    EXPECT_EQ(all, "a2 new a3 new ");
    EXPECT_EQ(TakeAll(), "new new");
}

TEST_F(SenderTurnsTest, TellWhetherSeveralHaveHadATurnAndHaveMoreToSay) {
    for (const char* peer : {":1.1", ":1.1", ":1.1", ":1.2", ":1.2"}) {
        EXPECT_FALSE(turns.AreManyInTurn());
        Add(peer, "");
    }
    TakeNext();
    EXPECT_FALSE(turns.AreManyInTurn()) << "the other one is new";
    TakeNext();
    TakeNext();
    EXPECT_TRUE(turns.AreManyInTurn());
    TakeNext();
    EXPECT_FALSE(turns.AreManyInTurn()) << "one has said all";
}

TEST_F(SenderTurnsTest, HaveRoomForFourThousandMessagesAndForEightMebibytes) {
    for (int count = 0; count < 4096; ++count) {
        EXPECT_TRUE(turns.HasRoom());
        Add(":1.1", "");
    }
    EXPECT_FALSE(turns.HasRoom());
    TakeNext();
    EXPECT_TRUE(turns.HasRoom());
    Add(":1.2", "", HALF);
    EXPECT_FALSE(turns.HasRoom());
    TakeAll();
    Add(":1.2", "", HALF);
    EXPECT_TRUE(turns.HasRoom());
    Add(":1.3", "", HALF);
    EXPECT_FALSE(turns.HasRoom());
    TakeNext();
    EXPECT_TRUE(turns.HasRoom());
}

TEST_F(SenderTurnsTest, ForgetEverythingWhenTheyAreCleared) {
    Add(":1.1", "a", 2 * HALF);
    turns.Clear();
    EXPECT_TRUE(turns.IsEmpty());
    EXPECT_TRUE(turns.HasRoom());
    Add(":1.1", "b");
    EXPECT_EQ(TakeAll(), "b");
}

} // namespace

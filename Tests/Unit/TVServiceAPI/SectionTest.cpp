// SPDX-License-Identifier: Apache-2.0
#include <future>
#include <gmock/gmock.h>
#include <thread>

#include "Gate.h"
#include "SectionBuilder.h"
#include "TestStream.h"
#include "TsWriter.h"

namespace {

using namespace std::chrono_literals;
using streammaker::Bytes;
using streammaker::SectionBuilder;
using streammaker::TsWriter;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint16_t PID = 0x345;

Bytes Long(std::uint16_t extension, std::uint8_t version, const Bytes& payload,
           std::uint8_t tableId = 0x80) {
    SectionBuilder builder;
    builder.tableId = tableId;
    builder.extension = extension;
    builder.version = version;
    builder.payload = payload;
    return builder.Build();
}

Bytes Short(const Bytes& payload) {
    SectionBuilder builder;
    builder.tableId = 0x81;
    builder.syntaxIndicator = false;
    builder.payload = payload;
    return builder.Build();
}

// Sections of one PID, each in packets of its own, in a stream that is long enough to be found.
Bytes StreamOf(const std::vector<Bytes>& sections, std::uint16_t pid = PID) {
    TsWriter writer;
    writer.WriteNull(3);
    for (const Bytes& section : sections) {
        writer.WriteSection(pid, section);
    }
    return writer.Take();
}

class SectionTest : public TestStream {
protected:
    SectionTest() { Signals().SubscribeSignal(SIGNAL_END_OF_FILE, this, PROFILE_MAIN, 0); }

    int Subscribe(const TCSectionCriteriaHelper& criteria, int id = 0) {
        int handle = -1;
        EXPECT_EQ(Sections().SubscribeSection(id, criteria, handle), 1);
        return handle;
    }

    std::vector<Bytes> BytesOf(int id) {
        std::vector<Bytes> bytes;
        for (const ReceivedSection& entry : sections.Now()) {
            if (entry.id == id) {
                bytes.push_back(entry.bytes);
            }
        }
        return bytes;
    }
};

TEST_F(SectionTest, BringsEverySectionOfItsPidWholeAndInOrder) {
    const Bytes small = Long(1, 0, {1, 2, 3});
    const Bytes large = Long(2, 0, Bytes(4000, 0xAB));
    const Bytes brief = Short({9});
    Subscribe(TCSectionCriteriaHelper(PID), 5);
    Play(StreamOf({small, large, brief, small}));
    WaitForEnd();
    EXPECT_THAT(BytesOf(5), ElementsAre(small, large, brief, small)) << "also what comes again";
    EXPECT_TRUE(sections.Now()[0].flag);
}

TEST_F(SectionTest, LetsThroughWhatMatchesInTheComparedBits) {
    const Bytes first = Long(0x0101, 0, {0xF0});
    const Bytes second = Long(0x0102, 0, {0x0F});
    const Bytes other = Long(0x0101, 0, {0xFF}, 0x90);
    Subscribe(TCSectionCriteriaHelper(PID, 0x80), 0);
    TCSectionCriteriaHelper extension(PID);
    extension.CompareExtension(0x0102);
    Subscribe(extension, 1);
    TCSectionCriteriaHelper bits(PID);
    EXPECT_TRUE(bits.Compare(8, 0xFF, 0xF0));
    Subscribe(bits, 2);
    TCSectionCriteriaHelper beyond(PID);
    EXPECT_TRUE(beyond.Compare(15, 0, 0xFF));
    Subscribe(beyond, 3);
    EXPECT_FALSE(beyond.Compare(16, 0));
    Subscribe(TCSectionCriteriaHelper(PID + 1), 4);
    Play(StreamOf({first, second, other}));
    WaitForEnd();
    EXPECT_THAT(BytesOf(0), ElementsAre(first, second));
    EXPECT_THAT(BytesOf(1), ElementsAre(second));
    EXPECT_THAT(BytesOf(2), ElementsAre(first, other));
    EXPECT_THAT(BytesOf(3), IsEmpty()) << "sections that end ahead of the compared byte";
    EXPECT_THAT(BytesOf(4), IsEmpty());
}

TEST_F(SectionTest, DropsAWrongCrcUnlessTheFilterWantsIt) {
    Bytes wrong = Long(1, 0, {1, 2, 3});
    wrong[9] ^= 1;
    const Bytes right = Long(2, 0, {1});
    Subscribe(TCSectionCriteriaHelper(PID), 0);
    TCSectionCriteriaHelper unchecked(PID);
    unchecked.SetCrcCheck(false);
    Subscribe(unchecked, 1);
    Play(StreamOf({wrong, right}));
    WaitForEnd();
    EXPECT_THAT(BytesOf(0), ElementsAre(right));
    EXPECT_THAT(BytesOf(1), ElementsAre(wrong, right));
    for (const ReceivedSection& entry : sections.Now()) {
        EXPECT_EQ(entry.flag, entry.bytes == right);
    }
}

TEST_F(SectionTest, BringsOnlyWhatIsNewWhereThatIsWanted) {
    TCSectionCriteriaHelper changes(PID);
    changes.SetOnChangeOnly(true);
    Subscribe(changes);
    const Bytes one = Long(1, 0, {1});
    const Bytes other = Long(2, 0, {1});
    const Bytes next = Long(1, 1, {2});
    const Bytes brief = Short({1});
    const Bytes changed = Short({2});
    Play(StreamOf({one, one, other, one, next, next, brief, brief, changed, brief, one}));
    WaitForEnd();
    EXPECT_THAT(BytesOf(0), ElementsAre(one, other, next, brief, changed, brief, one));
}

// A time offset table is short and has a CRC_32 all the same.
TEST_F(SectionTest, TellsTimeOffsetTablesApart) {
    constexpr std::uint16_t TIME_PID = 0x14;
    const auto makeTable = [](std::uint8_t second) {
        Bytes bytes{0x73, 0x70, 0x0B, 0xE0, 0x00, 0x12, 0x00, second, 0xF0, 0x00, 0, 0, 0, 0};
        const std::uint32_t crc = streammaker::Crc32(std::span(bytes).first(bytes.size() - 4));
        for (unsigned at = 0; at < 4; ++at) {
            bytes[bytes.size() - 4 + at] = static_cast<std::uint8_t>(crc >> (24 - 8 * at));
        }
        return bytes;
    };
    TCSectionCriteriaHelper changes(TIME_PID);
    changes.SetOnChangeOnly(true);
    Subscribe(changes);
    Play(StreamOf({makeTable(1), makeTable(1), makeTable(2)}, TIME_PID));
    WaitForEnd();
    EXPECT_THAT(BytesOf(0), ElementsAre(makeTable(1), makeTable(2)));
}

TEST_F(SectionTest, GivesARunningFilterOtherCriteria) {
    const int handle = Subscribe(TCSectionCriteriaHelper(PID), 7);
    EXPECT_EQ(Sections().ChangeSection(handle, TCSectionCriteriaHelper(PID, 0x90)), 1);
    EXPECT_EQ(Sections().ChangeSection(handle + 1, TCSectionCriteriaHelper(PID)), 0);
    EXPECT_EQ(Sections().ChangeSection(handle, TCSectionCriteriaHelper(0x2000)), 0);
    const Bytes wanted = Long(1, 0, {1}, 0x90);
    Play(StreamOf({Long(1, 0, {1}), wanted}));
    WaitForEnd();
    EXPECT_THAT(BytesOf(7), ElementsAre(wanted));
}

TEST_F(SectionTest, RefusesAPidOutOfRange) {
    int handle = 42;
    EXPECT_EQ(Sections().SubscribeSection(0, TCSectionCriteriaHelper(0x2000), handle), 0);
    EXPECT_EQ(handle, 42);
    EXPECT_EQ(Sections().UnsubscribeSection(1), 0);
}

TEST_F(SectionTest, BringsNothingAfterItsEnd) {
    const int handle = Subscribe(TCSectionCriteriaHelper(PID));
    EXPECT_EQ(Sections().UnsubscribeSection(handle), 1);
    EXPECT_EQ(Sections().UnsubscribeSection(handle), 0);
    Play(StreamOf({Long(1, 0, {1})}));
    WaitForEnd();
    EXPECT_THAT(sections.Now(), IsEmpty());
}

TEST_F(SectionTest, MayBeEndedInsideOfItsCallback) {
    const int handle = Subscribe(TCSectionCriteriaHelper(PID));
    int result = -1;
    onSection = [&](const ReceivedSection&) { result = Sections().UnsubscribeSection(handle); };
    Play(StreamOf({Long(1, 0, {1}), Long(2, 0, {1})}));
    WaitForEnd();
    EXPECT_EQ(result, 1);
    EXPECT_EQ(sections.Now().size(), 1U);
}

// What a caller meets that holds the lock which the callback waits for.
TEST_F(SectionTest, RefusesItsEndWhileACallbackDoesntReturn) {
    const int handle = Subscribe(TCSectionCriteriaHelper(PID));
    Gate entered;
    Gate leave;
    onSection = [&](const ReceivedSection&) {
        entered.Open();
        leave.Wait();
    };
    Play(StreamOf({Long(1, 0, {1}), Long(2, 0, {1})}));
    ASSERT_TRUE(entered.Wait());
    EXPECT_EQ(Sections().UnsubscribeSection(handle), 0);
    leave.Open();
    sections.WaitFor(2); // it goes on
    WaitForEnd();
    EXPECT_EQ(Sections().UnsubscribeSection(handle), 1) << "a second try";
}

TEST_F(SectionTest, WaitsForACallbackThatIsAboutToReturn) {
    const int handle = Subscribe(TCSectionCriteriaHelper(PID));
    Gate entered;
    Gate asked;
    onSection = [&](const ReceivedSection&) {
        entered.Open();
        asked.Wait();
    };
    Play(StreamOf({Long(1, 0, {1}), Long(2, 0, {1})}));
    ASSERT_TRUE(entered.Wait());
    std::thread helper([&] { asked.Open(); });
    int result = 0;
    while (result == 0) { // on a machine that is busy the 20 ms may pass
        result = Sections().UnsubscribeSection(handle);
    }
    const std::size_t count = sections.Now().size();
    helper.join();
    WaitForEnd();
    EXPECT_EQ(sections.Now().size(), count) << "nothing comes once it has succeeded";
}

TEST_F(SectionTest, WaitsAtTheEndOfAllForACallbackThatIsUnderWay) {
    Subscribe(TCSectionCriteriaHelper(PID));
    Gate entered;
    Gate leave;
    std::atomic<bool> left = false;
    onSection = [&](const ReceivedSection&) {
        entered.Open();
        leave.Wait();
        left = true;
    };
    Play(StreamOf({Long(1, 0, {1}), Long(2, 0, {1})}));
    ASSERT_TRUE(entered.Wait());
    std::future<void> destroyed =
        std::async(std::launch::async, [] { TVServiceAPI::DestroySectionSubscriber(); });
    EXPECT_EQ(destroyed.wait_for(100ms), std::future_status::timeout);
    leave.Open();
    destroyed.get();
    EXPECT_TRUE(left);
    const std::size_t count = sections.Now().size();
    WaitForEnd();
    EXPECT_EQ(sections.Now().size(), count) << "nothing comes afterwards";
}

// The caller's lock is held around each call, and each callback takes it.
TEST_F(SectionTest, TakesSubscriptionsWhoseCallerHoldsACallbacksLock) {
    std::mutex lock;
    onSection = [&](const ReceivedSection&) { const std::scoped_lock held(lock); };
    Play(StreamOf({Long(1, 0, {1}), Long(2, 0, {1})}), "pace = fast\nloop = yes\n");
    for (int round = 0; round < 200; ++round) {
        int handle = 0;
        {
            const std::scoped_lock held(lock);
            ASSERT_EQ(Sections().SubscribeSection(round, TCSectionCriteriaHelper(PID), handle), 1);
        }
        int result = 0;
        while (result == 0) {
            const std::scoped_lock held(lock);
            result = Sections().UnsubscribeSection(handle);
        }
    }
}

} // namespace

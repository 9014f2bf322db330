// SPDX-License-Identifier: Apache-2.0
#include "PacketSync.h"

#include <algorithm>
#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using tvservice::PACKET_BYTES;
using tvservice::PacketSync;

using Stream = std::vector<std::uint8_t>;

// Packets that tell who they are, without another sync byte in them.
Stream Packets(std::uint8_t first, std::uint8_t count) {
    Stream stream;
    for (std::uint8_t number = first; number < first + count; ++number) {
        stream.push_back(tvservice::SYNC_BYTE);
        stream.insert(stream.end(), PACKET_BYTES - 1, number);
    }
    return stream;
}

void Append(Stream& stream, const Stream& more) {
    stream.insert(stream.end(), more.begin(), more.end());
}

class PacketSyncTest : public testing::Test {
protected:
    void Fill(const Stream& bytes) {
        const std::span<std::uint8_t> room = sync.Room(bytes.size());
        ASSERT_GE(room.size(), bytes.size());
        std::copy(bytes.begin(), bytes.end(), room.begin());
        sync.Filled(bytes.size());
    }
    // The second bytes of the packets that are there.
    std::vector<int> Take() {
        std::vector<int> numbers;
        while (const auto packet = sync.Next()) {
            numbers.push_back((*packet)[1]);
        }
        return numbers;
    }

    PacketSync sync;
};

TEST_F(PacketSyncTest, FindsTheStepWithThreeSyncBytes) {
    Stream stream = Packets(1, 3);
    const Stream rest(stream.begin() + 2 * PACKET_BYTES + 1, stream.end());
    stream.resize(2 * PACKET_BYTES); // the third one's is missing
    Fill(stream);
    EXPECT_THAT(Take(), IsEmpty());
    EXPECT_FALSE(sync.InStep());
    Fill({tvservice::SYNC_BYTE});
    EXPECT_THAT(Take(), ElementsAre(1, 2));
    EXPECT_TRUE(sync.InStep());
    Fill(rest);
    EXPECT_THAT(Take(), ElementsAre(3));
    EXPECT_EQ(sync.SkippedBytes(), 0U);
}

TEST_F(PacketSyncTest, SkipsAndCountsWhatStandsAheadOfTheStep) {
    Stream stream(100, tvservice::SYNC_BYTE); // none of them has another one a packet later
    stream.resize(150, 0);
    Append(stream, Packets(1, 4));
    Fill(stream);
    EXPECT_THAT(Take(), ElementsAre(1, 2, 3, 4));
    EXPECT_EQ(sync.SkippedBytes(), 150U);
}

TEST_F(PacketSyncTest, IsNotFooledByTwoSyncBytesAPacketApart) {
    Stream stream(PACKET_BYTES + 50, 0);
    stream[20] = stream[20 + PACKET_BYTES] = tvservice::SYNC_BYTE;
    Append(stream, Packets(1, 3));
    Fill(stream);
    EXPECT_THAT(Take(), ElementsAre(1, 2, 3));
    EXPECT_EQ(sync.SkippedBytes(), PACKET_BYTES + 50);
}

TEST_F(PacketSyncTest, KeepsLittleOfBytesThatAreNoStream) {
    const Stream noise(65536, 0);
    for (int round = 0; round < 50; ++round) {
        Fill(noise);
        EXPECT_THAT(Take(), IsEmpty());
    }
    EXPECT_LT(sync.Room(1).size(), std::size_t{2} * 65536) << "it doesn't grow";
    EXPECT_EQ(sync.SkippedBytes(), 50U * 65536 - 2 * PACKET_BYTES);
}

TEST_F(PacketSyncTest, SkipsAPacketWhoseSyncByteIsWrong) {
    Stream stream = Packets(1, 5);
    stream[3 * PACKET_BYTES] = 0;
    Fill(stream);
    EXPECT_THAT(Take(), ElementsAre(1, 2, 3, 5));
    EXPECT_TRUE(sync.InStep());
    EXPECT_EQ(sync.SkippedBytes(), PACKET_BYTES);
}

TEST_F(PacketSyncTest, WaitsForTheNextSyncByteWhereOneIsWrong) {
    Stream stream = Packets(1, 4);
    stream[3 * PACKET_BYTES] = 0;
    Fill(stream);
    EXPECT_THAT(Take(), ElementsAre(1, 2, 3));
    EXPECT_TRUE(sync.InStep()) << "the packet behind it will tell";
    EXPECT_EQ(sync.SkippedBytes(), 0U);
    Fill(Packets(5, 1));
    EXPECT_THAT(Take(), ElementsAre(5));
}

TEST_F(PacketSyncTest, SearchesAnewWhereBytesAreMissing) {
    Stream stream = Packets(1, 4);
    stream.resize(stream.size() - 10);
    Append(stream, Packets(5, 4));
    Fill(stream);
    // The fourth one takes the first bytes of the fifth, which is lost with it.
    EXPECT_THAT(Take(), ElementsAre(1, 2, 3, 4, 6, 7, 8));
    EXPECT_EQ(sync.SkippedBytes(), PACKET_BYTES - 10);
}

TEST_F(PacketSyncTest, ForgetsWhatIsThere) {
    Stream stream = Packets(1, 4);
    stream.resize(stream.size() - 1);
    Fill(stream);
    EXPECT_THAT(Take(), ElementsAre(1, 2, 3));
    sync.Clear();
    EXPECT_FALSE(sync.InStep());
    Fill({4});
    EXPECT_THAT(Take(), IsEmpty()) << "the end of the one that was forgotten";
    Fill(Packets(7, 3));
    EXPECT_THAT(Take(), ElementsAre(7, 8, 9));
    EXPECT_EQ(sync.SkippedBytes(), 1U);
}

} // namespace

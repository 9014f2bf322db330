// SPDX-License-Identifier: Apache-2.0
#include "PesAssembler.h"

#include <gmock/gmock.h>

#include "PesBuilder.h"

namespace {

using streammaker::Bytes;
using testing::ElementsAre;
using testing::FieldsAre;
using testing::IsEmpty;
using tvservice::PesAssembler;

constexpr std::size_t LIMIT = 1000;
constexpr bool WHOLE = false;
constexpr bool DAMAGED = true;

Bytes PesOf(std::size_t size, bool unbounded = false, std::uint8_t content = 0x55) {
    streammaker::PesBuilder builder;
    builder.unbounded = unbounded;
    builder.payload = Bytes(size - 9, content);
    return builder.Build();
}

Bytes operator+(Bytes one, const Bytes& other) {
    one.insert(one.end(), other.begin(), other.end());
    return one;
}

class PesAssemblerTest : public testing::Test, protected tvservice::PesSink {
protected:
    struct Pes {
        Bytes bytes;
        bool damaged;
    };

    void OnPes(std::vector<std::uint8_t>& bytes, bool damaged) override {
        packets.push_back({bytes, damaged});
    }

    void Push(const Bytes& payload, bool start) { PushAs(m_next, payload, start); }
    void PushAs(unsigned number, const Bytes& payload, bool start, bool discontinuity = false) {
        m_next = number + 1;
        tvservice::TsPacket packet;
        packet.continuity = number & 0x0F;
        packet.unitStart = start;
        packet.discontinuity = discontinuity;
        packet.payload = payload;
        assembler.Push(packet);
    }
    void PushWhole(const Bytes& pes) {
        for (std::size_t at = 0; at < pes.size(); at += 184) {
            const std::size_t end = std::min(at + 184, pes.size());
            Push({pes.begin() + static_cast<std::ptrdiff_t>(at),
                  pes.begin() + static_cast<std::ptrdiff_t>(end)},
                 at == 0);
        }
    }

    std::vector<Pes> packets;
    tvservice::Counters counters;
    PesAssembler assembler{*this, counters, LIMIT};

private:
    unsigned m_next = 0;
};

TEST_F(PesAssemblerTest, EndsABoundedPacketWithItsLastByte) {
    const Bytes pes = PesOf(300);
    PushWhole(pes);
    EXPECT_THAT(packets, ElementsAre(FieldsAre(pes, WHOLE)));
    Push(Bytes(184, 0xFF), false); // belongs to nothing
    assembler.Flush();
    EXPECT_EQ(packets.size(), 1U);
    EXPECT_EQ(counters.badPes, 0U);
}

TEST_F(PesAssemblerTest, CutsOffWhatFollowsABoundedPacket) {
    const Bytes pes = PesOf(100);
    Push(pes + Bytes(84, 0xFF), true);
    EXPECT_THAT(packets, ElementsAre(FieldsAre(pes, WHOLE)));
}

TEST_F(PesAssemblerTest, EndsAnOpenPacketWithTheNextOne) {
    const Bytes one = PesOf(500, true, 1);
    const Bytes two = PesOf(200, true, 2);
    PushWhole(one);
    EXPECT_THAT(packets, IsEmpty());
    PushWhole(two);
    EXPECT_THAT(packets, ElementsAre(FieldsAre(one, WHOLE)));
    assembler.Flush();
    EXPECT_THAT(packets, ElementsAre(FieldsAre(one, WHOLE), FieldsAre(two, WHOLE)));
    assembler.Flush();
    EXPECT_EQ(packets.size(), 2U) << "once";
}

TEST_F(PesAssemblerTest, MarksABoundedPacketThatIsCut) {
    const Bytes cut = PesOf(500);
    const Bytes good = PesOf(100);
    Push({cut.begin(), cut.begin() + 184}, true);
    PushWhole(good);
    EXPECT_THAT(packets, ElementsAre(FieldsAre(Bytes(cut.begin(), cut.begin() + 184), DAMAGED),
                                     FieldsAre(good, WHOLE)));
    EXPECT_EQ(counters.badPes, 1U);
    Push({cut.begin(), cut.begin() + 184}, true);
    assembler.Flush();
    EXPECT_EQ(packets.back().damaged, DAMAGED) << "at the stream's end, too";
}

TEST_F(PesAssemblerTest, MarksAPacketInWhichSomeIsMissing) {
    Push(PesOf(184, true), true);
    PushAs(2, Bytes(184, 0x55), false);
    PushAs(3, PesOf(184, true), true);
    ASSERT_EQ(packets.size(), 1U);
    EXPECT_EQ(packets[0].damaged, DAMAGED);
    EXPECT_EQ(packets[0].bytes.size(), 368U);
    assembler.Flush();
    EXPECT_EQ(packets[1].damaged, WHOLE) << "the next one is right again";
    EXPECT_EQ(counters.gaps, 1U);
}

TEST_F(PesAssemblerTest, MarksTheOneThatEndsWhereSomeIsMissing) {
    Push(PesOf(184, true), true);
    PushAs(2, PesOf(184, true), true);
    assembler.Flush();
    ASSERT_EQ(packets.size(), 2U);
    EXPECT_EQ(packets[0].damaged, DAMAGED) << "its end may be what is missing";
    EXPECT_EQ(packets[1].damaged, WHOLE);
}

TEST_F(PesAssemblerTest, MarksAPacketOverWhichTheStreamJumps) {
    Push(PesOf(184, true), true);
    PushAs(9, Bytes(184, 0x55), false, true);
    assembler.Flush();
    ASSERT_EQ(packets.size(), 1U);
    EXPECT_EQ(packets[0].damaged, DAMAGED);
    EXPECT_EQ(counters.gaps, 0U);
}

TEST_F(PesAssemblerTest, TakesATransportPacketThatComesTwiceOnce) {
    const Bytes pes = PesOf(184 + 50);
    const Bytes first(pes.begin(), pes.begin() + 184);
    const Bytes second(pes.begin() + 184, pes.end());
    PushAs(0, first, true);
    PushAs(0, first, true);
    PushAs(1, second, false);
    PushAs(1, second, false);
    EXPECT_THAT(packets, ElementsAre(FieldsAre(pes, WHOLE)));
}

TEST_F(PesAssemblerTest, CutsAnOpenPacketAtTheLimit) {
    const Bytes huge = PesOf(LIMIT + 500, true);
    PushWhole(huge);
    ASSERT_EQ(packets.size(), 1U);
    EXPECT_EQ(packets[0].bytes, Bytes(huge.begin(), huge.begin() + LIMIT));
    EXPECT_EQ(packets[0].damaged, DAMAGED);
    assembler.Flush();
    EXPECT_EQ(packets.size(), 1U) << "the rest of it is no packet";
}

TEST_F(PesAssemblerTest, CutsABoundedPacketAtTheLimit) {
    PushWhole(PesOf(LIMIT + 1));
    ASSERT_EQ(packets.size(), 1U);
    EXPECT_EQ(packets[0].bytes.size(), LIMIT);
    EXPECT_EQ(packets[0].damaged, DAMAGED);
    PushWhole(PesOf(LIMIT));
    EXPECT_EQ(packets.back().damaged, WHOLE) << "one that just fits";
    EXPECT_EQ(packets.back().bytes.size(), LIMIT);
}

TEST_F(PesAssemblerTest, CountsAStartWithoutStartCode) {
    Push(Bytes(184, 0), true);
    Push(Bytes(184, 0), false);
    assembler.Flush();
    EXPECT_THAT(packets, IsEmpty());
    EXPECT_EQ(counters.badPes, 1U);
}

TEST_F(PesAssemblerTest, BeginsWithAStart) {
    Push(Bytes(184, 0x55), false);
    assembler.Flush();
    EXPECT_THAT(packets, IsEmpty());
    EXPECT_EQ(counters.badPes, 0U);
}

TEST_F(PesAssemblerTest, ForgetsWhatIsUnderWayAtReset) {
    Push(PesOf(184, true), true);
    assembler.Reset();
    assembler.Flush();
    PushAs(9, Bytes(184, 0x55), false);
    assembler.Flush();
    EXPECT_THAT(packets, IsEmpty());
    EXPECT_EQ(counters.gaps, 0U);
}

// The sink of captions takes the bytes along for the time of its call.
class SwappingSink final : public tvservice::PesSink {
public:
    void OnPes(std::vector<std::uint8_t>& bytes, bool /*damaged*/) override {
        taken.emplace_back();
        taken.back().swap(bytes);
    }
    std::vector<Bytes> taken;
};

TEST(PesAssemblerSink, MayKeepTheBytes) {
    SwappingSink sink;
    tvservice::Counters counters;
    PesAssembler assembler(sink, counters);
    const Bytes pes = PesOf(100);
    for (std::uint8_t number = 0; number < 2; ++number) {
        tvservice::TsPacket packet;
        packet.continuity = number;
        packet.unitStart = true;
        packet.payload = pes;
        assembler.Push(packet);
    }
    EXPECT_THAT(sink.taken, ElementsAre(pes, pes));
}

} // namespace

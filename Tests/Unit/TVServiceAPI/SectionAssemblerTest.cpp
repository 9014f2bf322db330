// SPDX-License-Identifier: Apache-2.0
#include "SectionAssembler.h"

#include <gmock/gmock.h>

#include "SectionBuilder.h"

namespace {

using streammaker::Bytes;
using testing::ElementsAre;
using testing::IsEmpty;
using tvservice::SectionAssembler;

constexpr std::size_t PAYLOAD_BYTES = 184;

Bytes SectionOf(std::size_t size, std::uint8_t number = 1) {
    streammaker::SectionBuilder builder;
    builder.tableId = 0x80;
    builder.number = number;
    builder.payload = Bytes(size - 12, number);
    return builder.Build();
}

// One that has only its first three bytes.
const Bytes LEAST_SECTION{0x81, 0x70, 0x00};

class SectionAssemblerTest : public testing::Test, protected tvservice::SectionSink {
protected:
    void OnSection(const tvservice::Section& section) override {
        sections.emplace_back(section.Whole().begin(), section.Whole().end());
    }

    void Push(const Bytes& payload, bool start) { PushAs(m_next++, payload, start); }
    // With `pointer` bytes of what is under way, and filled up with 0xFF.
    void PushStart(Bytes bytes, std::uint8_t pointer = 0) {
        bytes.insert(bytes.begin(), pointer);
        bytes.resize(PAYLOAD_BYTES, 0xFF);
        Push(bytes, true);
    }
    void PushAs(unsigned number, const Bytes& payload, bool start, bool discontinuity = false) {
        m_next = number + 1;
        tvservice::TsPacket packet;
        packet.continuity = number & 0x0F;
        packet.unitStart = start;
        packet.discontinuity = discontinuity;
        packet.payload = payload;
        assembler.Push(packet);
    }

    std::vector<Bytes> sections;
    tvservice::Counters counters;
    SectionAssembler assembler{*this, counters};

private:
    unsigned m_next = 0;
};

Bytes Part(const Bytes& bytes, std::size_t begin, std::size_t end) {
    return {bytes.begin() + static_cast<std::ptrdiff_t>(begin),
            bytes.begin() + static_cast<std::ptrdiff_t>(end)};
}

Bytes operator+(Bytes one, const Bytes& other) {
    one.insert(one.end(), other.begin(), other.end());
    return one;
}

TEST_F(SectionAssemblerTest, FindsAllSectionsOfOnePacket) {
    const Bytes one = SectionOf(50, 1);
    const Bytes two = SectionOf(60, 2);
    PushStart(one + LEAST_SECTION + two);
    EXPECT_THAT(sections, ElementsAre(one, LEAST_SECTION, two));
}

TEST_F(SectionAssemblerTest, FindsSectionsThatFillTheirPacketsToTheLastByte) {
    const Bytes full = SectionOf(PAYLOAD_BYTES - 1);
    PushStart(full);
    EXPECT_THAT(sections, ElementsAre(full));
    const Bytes two = SectionOf(2 * PAYLOAD_BYTES - 1);
    PushStart(Part(two, 0, PAYLOAD_BYTES - 1));
    Push(Part(two, PAYLOAD_BYTES - 1, two.size()), false);
    EXPECT_THAT(sections, ElementsAre(full, two));
    PushStart(full);
    EXPECT_EQ(sections.size(), 3U) << "nothing of the one before is under way";
    EXPECT_EQ(counters.badSections, 0U);
}

TEST_F(SectionAssemblerTest, PutsASectionTogetherWhereverItIsCut) {
    const Bytes first = SectionOf(80, 1);
    const Bytes second = SectionOf(80, 2);
    for (std::uint8_t size = 1; size < 80; ++size) { // of the second one in the first packet
        sections.clear();
        // Ended by the pointer field's bytes, and another one behind them.
        Bytes payload = Bytes{0} + first + Part(second, 0, size);
        Push(payload, true);
        PushStart(Part(second, size, 80) + first, 80 - size);
        EXPECT_THAT(sections, ElementsAre(first, second, first)) << int{size};
    }
    EXPECT_EQ(counters.badSections, 0U);
    EXPECT_EQ(counters.badCrcs, 0U);
}

TEST_F(SectionAssemblerTest, PutsTheLongestSectionTogether) {
    const Bytes longest = SectionOf(4096);
    PushStart(Part(longest, 0, PAYLOAD_BYTES - 1));
    for (std::size_t at = PAYLOAD_BYTES - 1; at < longest.size(); at += PAYLOAD_BYTES) {
        Push(Part(longest, at, std::min(at + PAYLOAD_BYTES, longest.size())), false);
    }
    EXPECT_THAT(sections, ElementsAre(longest));
}

TEST_F(SectionAssemblerTest, DropsASectionThatIsTooLong) {
    const Bytes good = SectionOf(20);
    for (std::size_t size = 4097; size <= 4098; ++size) {
        sections.clear();
        Bytes large{0x80, 0x7F, static_cast<std::uint8_t>(size - 3)};
        large.resize(size);
        PushStart(Part(large, 0, PAYLOAD_BYTES - 1));
        for (std::size_t at = PAYLOAD_BYTES - 1; at < large.size(); at += PAYLOAD_BYTES) {
            Push(Part(large, at, std::min(at + PAYLOAD_BYTES, large.size())), false);
        }
        PushStart(good);
        EXPECT_THAT(sections, ElementsAre(good)) << size;
    }
    EXPECT_EQ(counters.badSections, 2U);
}

TEST_F(SectionAssemblerTest, DropsASectionThatEndsAheadOfItsLength) {
    const Bytes cut = SectionOf(300, 1);
    const Bytes good = SectionOf(20, 2);
    PushStart(Part(cut, 0, PAYLOAD_BYTES - 1));
    PushStart(Part(cut, PAYLOAD_BYTES - 1, 200) + good, 200 - (PAYLOAD_BYTES - 1));
    EXPECT_THAT(sections, ElementsAre(good));
    EXPECT_EQ(counters.badSections, 1U);
    Push(Part(cut, 200, 300), false);
    EXPECT_THAT(sections, ElementsAre(good)) << "and doesn't wait for the rest";
}

TEST_F(SectionAssemblerTest, PassesOverStuffingAndTheMiddleOfASection) {
    const Bytes good = SectionOf(20);
    Push(Bytes(PAYLOAD_BYTES, 0x80), false);
    PushStart(Bytes(5, 0x80) + good, 5);
    PushStart({0xFF, 0x70, 0x00});
    EXPECT_THAT(sections, ElementsAre(good));
    EXPECT_EQ(counters.badSections, 0U);
}

TEST_F(SectionAssemblerTest, CountsAPointerThatLeadsOutOfThePacket) {
    const Bytes cut = SectionOf(300);
    PushStart(Part(cut, 0, PAYLOAD_BYTES - 1));
    PushStart(Part(cut, PAYLOAD_BYTES - 1, 300), 184);
    EXPECT_THAT(sections, IsEmpty());
    EXPECT_EQ(counters.badSections, 1U);
    const Bytes good = SectionOf(20);
    PushStart({}, 183); // no section begins in it
    PushStart(good);
    EXPECT_THAT(sections, ElementsAre(good));
    EXPECT_EQ(counters.badSections, 1U);
}

TEST_F(SectionAssemblerTest, DropsWhatIsUnderWayWhereAPacketIsMissing) {
    const Bytes cut = SectionOf(300);
    const Bytes good = SectionOf(20);
    PushStart(Part(cut, 0, PAYLOAD_BYTES - 1));
    PushAs(2, Part(cut, PAYLOAD_BYTES - 1, 300), false);
    EXPECT_THAT(sections, IsEmpty());
    EXPECT_EQ(counters.gaps, 1U);
    EXPECT_EQ(counters.badSections, 1U);
    PushStart(good);
    EXPECT_THAT(sections, ElementsAre(good));
}

TEST_F(SectionAssemblerTest, DropsWhatIsUnderWayWhereTheStreamJumps) {
    const Bytes cut = SectionOf(300);
    PushStart(Part(cut, 0, PAYLOAD_BYTES - 1));
    PushAs(9, Part(cut, PAYLOAD_BYTES - 1, 300), false, true);
    EXPECT_THAT(sections, IsEmpty());
    EXPECT_EQ(counters.gaps, 0U) << "it has been told";
}

TEST_F(SectionAssemblerTest, TakesAPacketThatComesTwiceOnce) {
    const Bytes good = SectionOf(300);
    const Bytes first = Bytes{0} + Part(good, 0, PAYLOAD_BYTES - 1);
    PushAs(0, first, true);
    PushAs(0, first, true);
    PushAs(1, Part(good, PAYLOAD_BYTES - 1, 300), false);
    PushAs(1, Part(good, PAYLOAD_BYTES - 1, 300), false);
    EXPECT_THAT(sections, ElementsAre(good));
    EXPECT_EQ(counters.gaps, 0U);
}

TEST_F(SectionAssemblerTest, IsLeftAloneByPacketsWithoutPayload) {
    const Bytes good = SectionOf(300);
    PushAs(0, Bytes{0} + Part(good, 0, PAYLOAD_BYTES - 1), true);
    PushAs(0, {}, false); // their counter stands still
    PushAs(1, Part(good, PAYLOAD_BYTES - 1, 300), false);
    EXPECT_THAT(sections, ElementsAre(good));
}

TEST_F(SectionAssemblerTest, ForgetsWhatIsUnderWayAtABreak) {
    const Bytes cut = SectionOf(300);
    PushAs(0, Bytes{0} + Part(cut, 0, PAYLOAD_BYTES - 1), true);
    assembler.Reset();
    PushAs(9, Part(cut, PAYLOAD_BYTES - 1, 300), false);
    EXPECT_THAT(sections, IsEmpty());
    EXPECT_EQ(counters.gaps, 0U);
}

TEST_F(SectionAssemblerTest, CountsWrongCrcsAndPassesThemOn) {
    Bytes wrong = SectionOf(20);
    wrong[10] ^= 1;
    PushStart(wrong + SectionOf(20));
    EXPECT_EQ(sections.size(), 2U);
    EXPECT_EQ(counters.badCrcs, 1U);
}

} // namespace

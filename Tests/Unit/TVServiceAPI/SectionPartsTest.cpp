// SPDX-License-Identifier: Apache-2.0

// Section and SectionMatcher.

#include <gtest/gtest.h>

#include "Section.h"
#include "SectionBuilder.h"
#include "SectionMatcher.h"

namespace {

using streammaker::Bytes;
using tvservice::Section;
using tvservice::SectionMatcher;

streammaker::SectionBuilder Builder() {
    streammaker::SectionBuilder builder;
    builder.tableId = 0x42;
    builder.extension = 0x1234;
    builder.version = 21;
    builder.number = 5;
    builder.lastNumber = 6;
    builder.payload = {1, 2, 3};
    return builder;
}

// A short section with a CRC_32, as a time offset table is one.
Bytes TimeOffsetSection(std::uint8_t seconds) {
    Bytes bytes{0x73, 0x70, 11, 0xC0, 0x79, 0x12, 0x45, seconds, 0xF0, 0x00, 0, 0, 0, 0};
    streammaker::RenewCrc(bytes);
    return bytes;
}

TEST(Section, HasTheFieldsOfTheLongForm) {
    streammaker::SectionBuilder builder = Builder();
    const Bytes bytes = builder.Build();
    const Section section{bytes};
    EXPECT_TRUE(section.IsLong());
    EXPECT_TRUE(section.IsIntact());
    EXPECT_EQ(section.TableId(), 0x42);
    EXPECT_EQ(section.Extension(), 0x1234);
    EXPECT_EQ(section.Version(), 21);
    EXPECT_TRUE(section.IsCurrent());
    EXPECT_EQ(section.Number(), 5);
    EXPECT_EQ(section.LastNumber(), 6);
    builder.currentNext = false;
    const Bytes next = builder.Build();
    EXPECT_FALSE(Section(next).IsCurrent());
    EXPECT_EQ(Section(next).Version(), 21);
}

TEST(Section, IsNotLongWhereItIsTooShortForThat) {
    streammaker::SectionBuilder builder = Builder();
    builder.payload.clear();
    const Bytes least = builder.Build();
    EXPECT_EQ(least.size(), 12U);
    EXPECT_TRUE(Section(least).IsLong());
    Bytes shorter(least.begin(), least.end() - 1);
    shorter[2] = 8;
    streammaker::RenewCrc(shorter);
    EXPECT_FALSE(Section(shorter).IsLong());
    EXPECT_TRUE(Section(shorter).IsIntact());
    EXPECT_FALSE(Section(Bytes{0x42, 0x80, 0x00}).IsIntact()) << "no room for the CRC it has";
}

TEST(Section, IsIntactWithoutACrcInTheShortForm) {
    EXPECT_TRUE(Section(Bytes{0x70, 0x70, 0x02, 1, 2}).IsIntact());
    EXPECT_FALSE(Section(Bytes{0x70, 0x70, 0x02, 1, 2}).IsLong());
}

TEST(Section, HasACrcInTheTimeOffsetTableToo) {
    Bytes bytes = TimeOffsetSection(0);
    EXPECT_TRUE(Section(bytes).IsIntact());
    EXPECT_FALSE(Section(bytes).IsLong());
    bytes[7] ^= 1;
    EXPECT_FALSE(Section(bytes).IsIntact());
}

TEST(Section, IsWrongWithAnyBitTurned) {
    const Bytes right = Builder().Build();
    for (std::size_t bit = 24; bit < right.size() * 8; ++bit) {
        Bytes wrong = right;
        wrong[bit / 8] ^= static_cast<std::uint8_t>(1U << bit % 8);
        EXPECT_FALSE(Section(wrong).IsIntact()) << bit;
    }
}

TEST(Section, HasItsLengthInTwelveBits) {
    EXPECT_EQ(Section::LengthOf(Bytes{0, 0xFF, 0xFF}), 4098U);
    EXPECT_EQ(Section::LengthOf(Bytes{0, 0xF0, 0x00}), 3U);
    EXPECT_EQ(Section::LengthOf(Bytes{0, 0xF1, 0x02}), 0x105U);
}

TEST(Section, HasAFingerprintThatTellsContentsApart) {
    streammaker::SectionBuilder builder = Builder();
    const Bytes one = builder.Build();
    builder.payload[0] = 9;
    const Bytes other = builder.Build();
    EXPECT_NE(Section(one).Fingerprint(), Section(other).Fingerprint());
    EXPECT_EQ(Section(one).Fingerprint(), Section(Bytes(one)).Fingerprint());
    EXPECT_NE(Section(Bytes{0x70, 0x70, 1, 1}).Fingerprint(),
              Section(Bytes{0x70, 0x70, 1, 2}).Fingerprint());
}

TEST(SectionMatcher, ComparesTheBytesWithTheirMasks) {
    TCSectionCriteriaHelper criteria(0x100);
    criteria.Compare(0, 0x4F, 0xF0);
    criteria.Compare(15, 0x07, 0x0F);
    streammaker::SectionBuilder builder = Builder();
    builder.payload = Bytes(8, 0x37);
    SectionMatcher matcher(criteria);
    EXPECT_TRUE(matcher.Matches(Section(builder.Build())));
    builder.tableId = 0x52;
    EXPECT_FALSE(matcher.Matches(Section(builder.Build())));
    builder.tableId = 0x49;
    EXPECT_TRUE(matcher.Matches(Section(builder.Build())));
    builder.payload[7] = 0x36;
    EXPECT_FALSE(matcher.Matches(Section(builder.Build())));
}

TEST(SectionMatcher, WantsEveryComparedByteToBeThere) {
    TCSectionCriteriaHelper criteria(0x100);
    criteria.Compare(4, 0);
    SectionMatcher matcher(criteria);
    EXPECT_FALSE(matcher.Matches(Section(Bytes{0x70, 0x70, 1, 0})));
    EXPECT_TRUE(matcher.Matches(Section(Bytes{0x70, 0x70, 2, 0, 0})));
    criteria.Compare(4, 0, 0); // not compared after all
    SectionMatcher loose(criteria);
    EXPECT_TRUE(loose.Matches(Section(Bytes{0x70, 0x70, 1, 0})));
}

class OnChange : public testing::Test {
protected:
    static SectionMatcher Make(bool crcCheck = true) {
        TCSectionCriteriaHelper criteria(0x100);
        criteria.SetOnChangeOnly(true);
        criteria.SetCrcCheck(crcCheck);
        return SectionMatcher(criteria);
    }
    bool Matches(const streammaker::SectionBuilder& builder) {
        return matcher.Matches(Section(builder.Build()));
    }

    SectionMatcher matcher = Make();
};

TEST_F(OnChange, TellsTablesExtensionsAndNumbersApart) {
    streammaker::SectionBuilder builder = Builder();
    EXPECT_TRUE(Matches(builder));
    EXPECT_FALSE(Matches(builder));
    builder.tableId = 0x46;
    EXPECT_TRUE(Matches(builder));
    builder.extension = 0x1334;
    EXPECT_TRUE(Matches(builder));
    builder.extension = 0x1335;
    EXPECT_TRUE(Matches(builder));
    builder.number = 6;
    EXPECT_TRUE(Matches(builder));
    EXPECT_FALSE(Matches(builder));
    builder.extension = 0x0001;
    builder.number = 0;
    EXPECT_TRUE(Matches(builder));
    builder.extension = 0x0000;
    for (unsigned bit = 0; bit < 8; ++bit) {
        builder.number = static_cast<std::uint8_t>(1U << bit);
        EXPECT_TRUE(Matches(builder)) << bit;
    }
    EXPECT_FALSE(Matches(Builder())) << "the first one is still known";
}

TEST_F(OnChange, GoesByTheVersionInTheLongForm) {
    streammaker::SectionBuilder builder = Builder();
    EXPECT_TRUE(Matches(builder));
    builder.payload = {9};
    EXPECT_FALSE(Matches(builder));
    builder.version = 22;
    EXPECT_TRUE(Matches(builder));
    builder.version = 21;
    EXPECT_TRUE(Matches(builder)) << "back is a change, too";
}

TEST_F(OnChange, GoesByTheBytesInTheShortForm) {
    EXPECT_TRUE(matcher.Matches(Section(Bytes{0x70, 0x70, 1, 1})));
    EXPECT_FALSE(matcher.Matches(Section(Bytes{0x70, 0x70, 1, 1})));
    EXPECT_TRUE(matcher.Matches(Section(Bytes{0x70, 0x70, 1, 2})));
    EXPECT_TRUE(matcher.Matches(Section(Bytes{0x70, 0x70, 1, 1})));
}

TEST_F(OnChange, DoesntCountWhatTheFilterDropsAsSeen) {
    const Bytes right = Builder().Build();
    Bytes wrong = right;
    wrong[9] ^= 1;
    EXPECT_FALSE(matcher.Matches(Section(wrong)));
    EXPECT_TRUE(matcher.Matches(Section(right)));
    SectionMatcher unchecked = Make(false);
    EXPECT_TRUE(unchecked.Matches(Section(wrong)));
    EXPECT_TRUE(unchecked.Matches(Section(wrong))) << "a damaged one counts as new";
    EXPECT_TRUE(unchecked.Matches(Section(right))) << "and isn't taken for this one";
    EXPECT_FALSE(unchecked.Matches(Section(right)));
}

TEST_F(OnChange, TellsWhatIsAnnouncedFromWhatHolds) {
    streammaker::SectionBuilder holds = Builder();
    streammaker::SectionBuilder announced = Builder();
    announced.version = 22;
    announced.currentNext = false;
    EXPECT_TRUE(Matches(holds));
    EXPECT_TRUE(Matches(announced));
    EXPECT_FALSE(Matches(holds));
    EXPECT_FALSE(Matches(announced));
    announced.currentNext = true;
    EXPECT_TRUE(Matches(announced)) << "it comes into force";
}

TEST_F(OnChange, RemembersWithoutEnd) {
    streammaker::SectionBuilder builder = Builder();
    EXPECT_TRUE(Matches(builder));
    // More than anybody has; it begins to forget somewhere, but each one is told.
    builder.number = 0;
    for (unsigned extension = 0; extension < 0x10000; ++extension) {
        builder.extension = static_cast<std::uint16_t>(extension);
        ASSERT_TRUE(Matches(builder)) << extension;
    }
    EXPECT_FALSE(Matches(builder));
}

} // namespace

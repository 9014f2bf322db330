// SPDX-License-Identifier: Apache-2.0

// What sections, PES packets and descriptors are made of.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string_view>

#include "CcUserData.h"
#include "Descriptors.h"
#include "H264Coder.h"
#include "PesBuilder.h"
#include "SectionBuilder.h"
#include "SiText.h"
#include "SiTime.h"

using namespace streammaker;
using testing::ElementsAre;

TEST(Crc32, IsThatOfTransportStreams) {
    const std::string_view text = "123456789";
    EXPECT_EQ(Crc32(Bytes(text.begin(), text.end())), 0x0376E6E7U);
}

TEST(SectionBuilder, WritesTheLongFormWithItsCrc) {
    SectionBuilder section;
    section.tableId = 0x42;
    section.extension = 0x1234;
    section.version = 33; // five bits
    section.number = 2;
    section.lastNumber = 3;
    section.payload = {0xAA};
    const Bytes bytes = section.Build();
    EXPECT_THAT(Bytes(bytes.begin(), bytes.end() - 4),
                ElementsAre(0x42, 0xF0, 10, 0x12, 0x34, 0xC3, 2, 3, 0xAA));
    EXPECT_EQ(Crc32(bytes), 0U);
    section.currentNext = false;
    EXPECT_EQ(section.Build()[5], 0xC2);
    section.tableId = 0x02;
    EXPECT_EQ(section.Build()[1], 0xB0) << "the zero of a table of ISO/IEC 13818-1";
}

TEST(SectionBuilder, WritesTheShortFormWithNothingOfItsOwn) {
    SectionBuilder section;
    section.tableId = 0x70;
    section.syntaxIndicator = false;
    section.payload = {1, 2};
    EXPECT_THAT(section.Build(), ElementsAre(0x70, 0x70, 2, 1, 2));
}

TEST(SectionBuilder, RefusesMoreThan4096Bytes) {
    SectionBuilder section;
    section.payload.resize(4096 - 12);
    EXPECT_EQ(section.Build().size(), 4096U);
    section.payload.push_back(0);
    EXPECT_THROW(section.Build(), std::length_error);
}

TEST(PesBuilder, WritesTimesOf33Bits) {
    PesBuilder pes;
    pes.streamId = STREAM_ID_VIDEO;
    pes.unbounded = true;
    pes.pts = 0x1FFFFFFFFULL + 2; // 1 behind the wrap
    pes.dts = 0x1FFFFFFFFULL;
    pes.payload = {0xAA};
    EXPECT_THAT(pes.Build(), ElementsAre(0, 0, 1, 0xE0, 0, 0, 0x80, 0xC0, 10, 0x31, 0, 1, 0, 3,
                                         0x1F, 0xFF, 0xFF, 0xFF, 0xFF, 0xAA));
    pes.dts.reset();
    pes.pts = (5ULL << 30) | (0x1234ULL << 15) | 0x2345;
    EXPECT_THAT(pes.Build(), ElementsAre(0, 0, 1, 0xE0, 0, 0, 0x80, 0x80, 5, 0x2B, 0x24, 0x69, 0x46,
                                         0x8B, 0xAA));
}

TEST(PesBuilder, WritesTheLengthOfABoundedPacket) {
    PesBuilder pes;
    pes.payload.resize(0xFFFF - 3);
    const Bytes longest = pes.Build();
    EXPECT_EQ(longest[4], 0xFF);
    EXPECT_EQ(longest[5], 0xFF);
    EXPECT_EQ(longest.size(), 0xFFFFU + 6);
    pes.payload.push_back(0);
    EXPECT_THROW(pes.Build(), std::length_error);
}

TEST(PesBuilder, GivesPrivateStream2NoHeader) {
    PesBuilder pes;
    pes.streamId = 0xBF;
    pes.pts = 1;
    pes.payload = {7};
    EXPECT_THAT(pes.Build(), ElementsAre(0, 0, 1, 0xBF, 0, 1, 7));
}

TEST(PesBuilder, RefusesADtsAlone) {
    PesBuilder pes;
    pes.dts = 1;
    EXPECT_THROW(pes.Build(), std::invalid_argument);
}

TEST(CcUserData, CountsItsTriplets) {
    EXPECT_THAT(
        CcUserData(CcTriplets({{0x94, 0x20}, {0x80, 0x80}})),
        ElementsAre('G', 'A', '9', '4', 3, 0xC2, 0xFF, 0xFC, 0x94, 0x20, 0xFC, 0x80, 0x80, 0xFF));
    EXPECT_THROW(CcUserData(Bytes(2)), std::invalid_argument);
    EXPECT_THROW(CcUserData(Bytes(32 * 3)), std::invalid_argument);
}

TEST(NalUnit, HasNothingThatLooksLikeAStartCode) {
    EXPECT_THAT(NalUnit(0x06, {0, 0, 1, 0, 0, 0, 0, 3, 0, 0, 4}),
                ElementsAre(0, 0, 0, 1, 0x06, 0, 0, 3, 1, 0, 0, 3, 0, 0, 3, 3, 0, 0, 4));
}

TEST(SiText, SelectsUtf8UnlessItHasSelectedATable) {
    EXPECT_THAT(SiText("A").Written(), ElementsAre(0x15, 'A'));
    EXPECT_THAT(SiText("\x05"
                       "A")
                    .Written(),
                ElementsAre(5, 'A'));
    EXPECT_THAT(SiText::Raw("A").Written(), ElementsAre('A'));
    EXPECT_TRUE(SiText("").Written().empty());
}

// The examples of EN 300 468, annex C and 5.2.4.
TEST(SiTime, IsADateAndDigits) {
    EXPECT_EQ(SiTime(750516300), 0xC079124500ULL);
    EXPECT_EQ(SiTime(-1), 0xFFFFFFFFFFULL);
    EXPECT_EQ(SiDuration(3600 + 45 * 60 + 30), 0x014530U);
}

TEST(Descriptors, HoldLanguagesAndTexts) {
    EXPECT_THAT(ServiceDescriptor(1, SiText::Raw("P"), SiText::Raw("NM")).data,
                ElementsAre(1, 1, 'P', 2, 'N', 'M'));
    EXPECT_THAT(ShortEventDescriptor("deu", SiText::Raw("N"), SiText()).data,
                ElementsAre('d', 'e', 'u', 1, 'N', 0));
    EXPECT_THAT(SubtitlingDescriptor("eng", 0x0102, 0x0304).data,
                ElementsAre('e', 'n', 'g', 0x10, 1, 2, 3, 4));
    EXPECT_THAT(TeletextDescriptor("eng", 2, 8, 0x88).data, ElementsAre('e', 'n', 'g', 0x10, 0x88));
    EXPECT_THAT(TeletextDescriptor("eng", 5, 7, 0x01).data, ElementsAre('e', 'n', 'g', 0x2F, 0x01));
    EXPECT_THROW(LanguageDescriptor("english"), std::invalid_argument);
    EXPECT_THROW(ServiceDescriptor(1, "P", std::string(250, 'x')), std::length_error);
}

// SPDX-License-Identifier: Apache-2.0

// Captions as pairs of line 21.

#include <bit>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>

#include "Cea608.h"

using namespace streammaker;
using Pairs = std::vector<CaptionPair>;
using testing::ElementsAreArray;

namespace {

constexpr CaptionPair RESUME_LOADING{0x94, 0x20};
constexpr CaptionPair ERASE_LOADED{0x94, 0xAE};
constexpr CaptionPair ROW_15{0x94, 0xE0};
constexpr CaptionPair ROW_14{0x94, 0x40};
constexpr CaptionPair SHOW{0x94, 0x2F};

} // namespace

TEST(CaptionPairs, PopACaptionOn) {
    EXPECT_THAT(CaptionPairs("Hi!", CaptionStyle::POP_ON), ElementsAreArray(Pairs{RESUME_LOADING,
                                                                                  RESUME_LOADING,
                                                                                  ERASE_LOADED,
                                                                                  ERASE_LOADED,
                                                                                  ROW_15,
                                                                                  ROW_15,
                                                                                  {0xC8, 0xE9},
                                                                                  {0xA1, 0x80},
                                                                                  SHOW,
                                                                                  SHOW}));
}

TEST(CaptionPairs, RollACaptionUp) {
    EXPECT_THAT(
        CaptionPairs("Hi", CaptionStyle::ROLL_UP),
        ElementsAreArray(Pairs{
            {0x94, 0x25}, {0x94, 0x25}, {0x94, 0xAD}, {0x94, 0xAD}, ROW_15, ROW_15, {0xC8, 0xE9}}));
}

TEST(CaptionPairs, PaintTheLastLineIntoTheLowestRow) {
    EXPECT_THAT(CaptionPairs("A\nB", CaptionStyle::PAINT_ON),
                ElementsAreArray(Pairs{{0x94, 0x29},
                                       {0x94, 0x29},
                                       ROW_14,
                                       ROW_14,
                                       {0xC1, 0x80},
                                       ROW_15,
                                       ROW_15,
                                       {0xC2, 0x80}}));
}

TEST(CaptionPairs, SendSpecialCharactersTwiceAndOnTheirOwn) {
    const Pairs pairs = CaptionPairs("a♪é", CaptionStyle::PAINT_ON);
    EXPECT_THAT(Pairs(pairs.begin() + 4, pairs.end()),
                ElementsAreArray(Pairs{{0x61, 0x80}, {0x91, 0x37}, {0x91, 0x37}, {0xDC, 0x80}}));
}

TEST(CaptionPairs, TakeTheCaptionAway) {
    EXPECT_THAT(CaptionErasure(), ElementsAreArray(Pairs{{0x94, 0x2C}, {0x94, 0x2C}}));
}

TEST(CaptionPairs, HaveOddParity) {
    for (unsigned byte = 0; byte < 0x100; ++byte) {
        const CaptionPair pair = WithParity(static_cast<std::uint8_t>(byte), 0x2F);
        EXPECT_EQ(std::popcount(pair[0]) % 2, 1) << byte;
        EXPECT_EQ(pair[0] & 0x7FU, byte & 0x7FU);
        EXPECT_EQ(pair[1], 0x2F);
    }
}

TEST(CaptionPairs, RefuseWhatALineCannotHold) {
    const auto refuses = [](const std::string& text, CaptionStyle style = CaptionStyle::POP_ON) {
        EXPECT_THROW(CaptionPairs(text, style), std::invalid_argument) << text;
    };
    EXPECT_NO_THROW(CaptionPairs(std::string(32, 'x'), CaptionStyle::POP_ON));
    refuses(std::string(33, 'x'));
    refuses("");
    refuses("a\n\nb");
    refuses("1\n2\n3\n4\n5");
    refuses("1\n2", CaptionStyle::ROLL_UP);
    refuses("a*b");
    refuses("Ж");
    refuses("\xC3");
    refuses("\xC3x");
    refuses("\x80");
}

// SPDX-License-Identifier: Apache-2.0
#include "DvbText.h"

#include <gtest/gtest.h>
#include <vector>

namespace {

using tvservice::TextOf;
using Text = std::vector<std::uint8_t>;

TEST(DvbText, IsEmptyWhereThereIsNone) {
    EXPECT_EQ(TextOf({}), "");
    EXPECT_EQ(TextOf(Text{0x05}), "");
    EXPECT_EQ(TextOf(Text{0x10, 0x00, 0x02}), "");
    EXPECT_EQ(TextOf(Text{0x11}), "");
}

TEST(DvbText, HasTheDefaultTableWhereNoneIsSelected) {
    EXPECT_EQ(TextOf(Text{'A', ' ', 'z'}), "A z");
    EXPECT_EQ(TextOf(Text{0x20, 0xC8, 'u', 0xF1}), " üæ");
    EXPECT_EQ(TextOf(Text{'5', 0xA4}), "5€");
}

TEST(DvbText, HasTheTableOfItsFirstByte) {
    // In each, what only that table has at this place.
    EXPECT_EQ(TextOf(Text{0x01, 0xB0}), "А");
    EXPECT_EQ(TextOf(Text{0x02, 0xC7}), "ا");
    EXPECT_EQ(TextOf(Text{0x03, 0xC1}), "Α");
    EXPECT_EQ(TextOf(Text{0x04, 0xE0}), "א");
    EXPECT_EQ(TextOf(Text{0x05, 0xD0}), "Ğ");
    EXPECT_EQ(TextOf(Text{0x06, 0xA1}), "Ą");
    EXPECT_EQ(TextOf(Text{0x07, 0xA1}), "ก");
    EXPECT_EQ(TextOf(Text{0x09, 0xA8}), "Ø");
    EXPECT_EQ(TextOf(Text{0x0A, 0xA1}), "Ḃ");
    EXPECT_EQ(TextOf(Text{0x0B, 0xA4}), "€");
}

TEST(DvbText, HasTheTableOfThreeBytes) {
    EXPECT_EQ(TextOf(Text{0x10, 0x00, 0x01, 0xA4}), "¤");
    EXPECT_EQ(TextOf(Text{0x10, 0x00, 0x02, 0xA1}), "Ą");
    EXPECT_EQ(TextOf(Text{0x10, 0x00, 0x03, 0xA1}), "Ħ");
    EXPECT_EQ(TextOf(Text{0x10, 0x00, 0x04, 0xA2}), "ĸ");
    EXPECT_EQ(TextOf(Text{0x10, 0x00, 0x05, 0xB0}), "А");
    EXPECT_EQ(TextOf(Text{0x10, 0x00, 0x0B, 0xA1}), "ก");
    EXPECT_EQ(TextOf(Text{0x10, 0x00, 0x0F, 0xA4}), "€");
}

TEST(DvbText, HasTablesOfMoreBytes) {
    EXPECT_EQ(TextOf(Text{0x11, 0x00, 'A', 0x04, 0x16}), "AЖ");
    EXPECT_EQ(TextOf(Text{0x12, 0xB0, 0xA1}), "가");
    EXPECT_EQ(TextOf(Text{0x13, 0xD6, 0xD0}), "中");
    EXPECT_EQ(TextOf(Text{0x14, 0xA4, 0xA4}), "中");
    EXPECT_EQ(TextOf(Text{0x15, 0xE4, 0xB8, 0xAD, 'x'}), "中x");
}

TEST(DvbText, ReplacesWhatNoTableHas) {
    EXPECT_EQ(TextOf(Text{0x08, 'A', 0xC0}), "A\uFFFD") << "a table that doesn't exist";
    EXPECT_EQ(TextOf(Text{0x10, 0x00, 0x0C, 'A', 0xC0}), "A\uFFFD");
    EXPECT_EQ(TextOf(Text{0x10, 0x01, 0x02, 'A', 0xA1}), "A\uFFFD");
    EXPECT_EQ(TextOf(Text{0x10, 0x00}), "") << "cut in its selection";
    EXPECT_EQ(TextOf(Text{0x1F, 0x01, 'A'}), "A");
    EXPECT_EQ(TextOf(Text{0x02, 'A', 0xFF, 'B'}), "A\uFFFD"
                                                  "B");
    EXPECT_EQ(TextOf(Text{0x15, 'A', 0xC3, 'B', 0xFF}), "A\uFFFD"
                                                        "B\uFFFD");
    EXPECT_EQ(TextOf(Text{'A', 0xC8}), "A\uFFFD") << "half a letter";
    EXPECT_EQ(TextOf(Text{0x11, 0x00, 'A', 0x00}), "A\uFFFD");
}

TEST(DvbText, LosesControlCodesButTheLineBreak) {
    EXPECT_EQ(TextOf(Text{'A', 0x86, 'B', 0x87, 0x8A, 'C', 0x9F, 0x7F, 0x0A}), "AB\nC");
    EXPECT_EQ(TextOf(Text{0x01, 0xB0, 0x8A, 0x80, 0xB1}), "А\nБ");
    EXPECT_EQ(TextOf(Text{0x11, 0x00, 'A', 0xE0, 0x86, 0xE0, 0x8A, 0x00, 'B', 0xE0, 0x9F}), "A\nB");
    EXPECT_EQ(TextOf(Text{0x15, 'A', 0xEE, 0x82, 0x8A, 0xEE, 0x82, 0x87, 'B', 0x0A, 0x07}),
              "A\nB\n");
    EXPECT_EQ(TextOf(Text{0x11, 0xE0, 0x7F, 0xE0, 0xA0}), "\uE07F\uE0A0") << "those beside them";
}

TEST(DvbText, MayBeLongerThanTheRoomOfOneStep) {
    Text text{0x01};
    std::string expected;
    for (int letter = 0; letter < 1000; ++letter) {
        text.push_back(0xB0);
        expected += "А";
    }
    EXPECT_EQ(TextOf(text), expected);
}

} // namespace

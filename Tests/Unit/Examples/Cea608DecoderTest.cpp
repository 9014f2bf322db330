// SPDX-License-Identifier: Apache-2.0

// The pairs themselves: who has the word, where characters go, and what bad input does.

#include "DecodedCaptions.h"

#include <array>
#include <gmock/gmock.h>
#include <random>
#include <string>
#include <vector>

#include "CcUserData.h"

namespace {

using streammaker::CaptionPair;
using streammaker::CaptionPairs;
using streammaker::CaptionStyle;
using testing::IsEmpty;

class Cea608Pairs : public DecodedCaptions {
protected:
    Cea608Pairs() { Command(RESUME_LOADING); }

    // What is loaded, as a caption. The next one begins in the first column of row 15.
    Lines Show() {
        m_captions.clear();
        Command(END_OF_CAPTION);
        Command(RESUME_LOADING);
        Command(ERASE_LOADED);
        SendTwice(0x14, 0x60);
        return m_captions.size() == 1 ? m_captions[0] : Lines();
    }
};

// --- control codes ---

TEST_F(Cea608Pairs, SentTwiceInARowAreTakenOnce) {
    Type("abc");
    Command(BACKSPACE);
    EXPECT_EQ(Show(), Lines{"ab"});
    Type("abc");
    Command(BACKSPACE);
    Command(BACKSPACE);
    EXPECT_EQ(Show(), Lines{"a"}) << "the third is a new one";
    Type("abc");
    Send(0x14, BACKSPACE);
    Push({streammaker::CAPTION_PADDING});
    Send(0x14, BACKSPACE);
    EXPECT_EQ(Show(), Lines{"a"}) << "they don't follow one another";
}

TEST_F(Cea608Pairs, SentOnceAreTakenToo) {
    Type("abc");
    Send(0x14, BACKSPACE);
    EXPECT_EQ(Show(), Lines{"ab"});
}

TEST_F(Cea608Pairs, OfCharactersAreTakenEachTime) {
    Type("abab");
    EXPECT_EQ(Show(), Lines{"abab"});
}

TEST_F(Cea608Pairs, MayHoldPaddingAheadOfACharacter) {
    Send(0, 'a');
    Send('b', 0);
    EXPECT_EQ(Show(), Lines{"ab"});
}

TEST_F(Cea608Pairs, AddressEachOfTheFifteenRows) {
    // The first byte of the preamble address code, and the second for the first column, in white.
    static constexpr std::array<CaptionPair, 15> PREAMBLES{{{0x11, 0x40},
                                                            {0x11, 0x60},
                                                            {0x12, 0x40},
                                                            {0x12, 0x60},
                                                            {0x15, 0x40},
                                                            {0x15, 0x60},
                                                            {0x16, 0x40},
                                                            {0x16, 0x60},
                                                            {0x17, 0x40},
                                                            {0x17, 0x60},
                                                            {0x10, 0x40},
                                                            {0x13, 0x40},
                                                            {0x13, 0x60},
                                                            {0x14, 0x40},
                                                            {0x14, 0x60}}};
    Lines expected;
    for (std::size_t row = PREAMBLES.size(); row-- > 0;) {
        const std::string text(1, static_cast<char>('A' + row));
        SendTwice(PREAMBLES[row][0], PREAMBLES[row][1]);
        Type(text.c_str());
        expected.insert(expected.begin(), text);
    }
    EXPECT_EQ(Show(), expected);
}

TEST_F(Cea608Pairs, IndentByFourAndTabByOne) {
    Type("0123456789");
    SendTwice(0x14, 0x74); // row 15, column 9
    Type("x");
    SendTwice(0x14, 0x72); // row 15, column 5
    SendTwice(0x17, 0x21);
    Type("y");
    SendTwice(0x14, 0x70); // row 15, column 1
    SendTwice(0x17, 0x23);
    Type("z");
    SendTwice(0x14, 0x66); // row 15 in another colour: column 1
    Type("w");
    EXPECT_EQ(Show(), Lines{"w12z4y67x9"});
}

TEST_F(Cea608Pairs, LeaveBlanksWhereNothingWasWritten) {
    SendTwice(0x14, 0x72); // row 15, column 5
    Type("a");
    SendTwice(0x17, 0x22);
    Type("b ");
    EXPECT_EQ(Show(), Lines{"a  b"}) << "and none at the ends";
}

TEST_F(Cea608Pairs, OfColourTakeACell) {
    Type("a");
    SendTwice(0x11, 0x2E); // italics
    Type("b");
    Command(0x28); // flash
    Type("c");
    EXPECT_EQ(Show(), Lines{"a b c"});
}

TEST_F(Cea608Pairs, BehindTheLastColumnReplaceTheLastCharacter) {
    Type((std::string(32, 'x') + "yz").c_str());
    EXPECT_EQ(Show(), Lines{std::string(31, 'x') + "z"});
    Type(std::string(32, 'x').c_str());
    Command(BACKSPACE);
    EXPECT_EQ(Show(), Lines{std::string(31, 'x')});
    SendTwice(0x14, 0x7E); // row 15, column 29
    SendTwice(0x17, 0x23);
    SendTwice(0x17, 0x22);
    Type("ab");
    EXPECT_EQ(Show(), Lines{"b"}) << "a tab stops there";
    Type(std::string(32, 'x').c_str());
    SendTwice(0x14, 0x7E);
    SendTwice(0x17, 0x23);
    SendTwice(0x17, 0x22);
    Command(BACKSPACE);
    EXPECT_EQ(Show(), Lines{std::string(30, 'x') + " x"}) << "and ahead of what is there";
}

TEST_F(Cea608Pairs, DeleteToTheEndOfTheRow) {
    Type("abcdef");
    SendTwice(0x14, 0x70); // row 15, column 1
    SendTwice(0x17, 0x22);
    Command(DELETE_TO_END_OF_ROW);
    EXPECT_EQ(Show(), Lines{"ab"});
}

TEST_F(Cea608Pairs, BackspaceStopsAtTheFirstColumn) {
    Command(BACKSPACE);
    Type("a");
    EXPECT_EQ(Show(), Lines{"a"});
}

// --- who has the word ---

TEST_F(Cea608Pairs, OfChannel2BelongToSomebodyElse) {
    Type("ours");
    SendTwice(0x1C, RESUME_LOADING);
    Type("not");
    SendTwice(0x1C, ERASE_LOADED);
    SendTwice(0x1C, END_OF_CAPTION);
    EXPECT_THAT(m_captions, IsEmpty());
    EXPECT_EQ(Show(), Lines{"ours"});
}

TEST_F(Cea608Pairs, OfTheTextServiceAreNoCaptions) {
    Type("ours");
    Command(RESUME_TEXT);
    Type("not");
    SendTwice(0x14, 0x40); // row 14
    Command(BACKSPACE);
    Command(CARRIAGE_RETURN);
    Command(RESUME_LOADING);
    Type(" again");
    EXPECT_EQ(Show(), Lines{"ours again"});
}

TEST_F(Cea608Pairs, OfTheDataServicesAreNoCaptions) {
    Type("ours");
    Send(0x01, 'x');
    Send(0x0F, 'x');
    Type(" again");
    EXPECT_EQ(Show(), Lines{"ours again"});
}

TEST_F(DecodedCaptions, BeginWithTheFirstWordOfAStyle) {
    Type("joined late");
    SendTwice(0x14, 0x60);
    Type("still");
    Command(END_OF_CAPTION);
    EXPECT_THAT(m_captions, IsEmpty());
    Push(CaptionPairs("in time", CaptionStyle::POP_ON));
    EXPECT_EQ(m_captions, Captions({{"in time"}}));
}

// --- bad input ---

std::uint8_t Spoilt(std::uint8_t byte) {
    return byte ^ 0x80U;
}

TEST_F(Cea608Pairs, WithWrongParityShowAsBlocks) {
    const CaptionPair pair = streammaker::WithParity('a', 'b');
    Push({{pair[0], Spoilt(pair[1])}, {Spoilt(pair[0]), pair[1]}});
    EXPECT_EQ(Show(), Lines{"a██b"});
}

TEST_F(Cea608Pairs, OfControlCodesCountBySecondTransmissionWhereTheFirstIsWrong) {
    const CaptionPair backspace = streammaker::WithParity(0x14, BACKSPACE);
    for (const CaptionPair& wrong : {CaptionPair{Spoilt(backspace[0]), backspace[1]},
                                     CaptionPair{backspace[0], Spoilt(backspace[1])}}) {
        Type("abc");
        Push({wrong});
        EXPECT_EQ(Show(), Lines{"abc"});
        Type("abc");
        Push({wrong, backspace});
        EXPECT_EQ(Show(), Lines{"ab"});
        Type("abc");
        Push({backspace, wrong});
        EXPECT_EQ(Show(), Lines{"ab"});
    }
}

TEST_F(Cea608Pairs, ThatAreUndefinedChangeNothing) {
    Type("abc");
    for (const std::uint8_t first : {0x10, 0x14, 0x15, 0x16, 0x17}) {
        SendTwice(first, 0x3F);
        SendTwice(first, 0x00);
        SendTwice(first, 0x1F);
    }
    for (const std::uint8_t first : {0x11, 0x12, 0x13}) {
        SendTwice(first, 0x00);
        SendTwice(first, 0x1F);
    }
    SendTwice(0x10, 0x60); // would be a row 16
    SendTwice(0x17, 0x24);
    Command(CARRIAGE_RETURN); // which is roll-up's
    Type("d");
    EXPECT_EQ(Show(), Lines{"abcd"});
}

// Any pair may follow any other one: the sanitizers watch.
TEST_F(Cea608Pairs, InAnyOrderDoNoHarm) {
    std::mt19937 random(608); // NOLINT(bugprone-random-generator-seed): the same each time
    for (int i = 0; i < 300'000; ++i) {
        const bool isControl = random() % 2 == 0;
        Send(static_cast<std::uint8_t>(isControl ? 0x10 + random() % 8 : random()),
             static_cast<std::uint8_t>(random()));
    }
    EXPECT_FALSE(m_captions.empty());
    for (const Lines& lines : m_captions) {
        ASSERT_FALSE(lines.empty());
        ASSERT_LE(lines.size(), 15U);
    }
    Command(RESUME_LOADING);
    Show();
    Type("and on");
    EXPECT_EQ(Show(), Lines{"and on"});
}

// --- cc_data ---

TEST_F(Cea608Pairs, OfCcDataAreThoseOfField1ThatAreValid) {
    const auto triplet = [this](std::uint8_t head, std::uint8_t first, std::uint8_t second) {
        const CaptionPair pair = streammaker::WithParity(first, second);
        m_decoder.PushCcData(std::vector<unsigned char>{head, pair[0], pair[1]});
    };
    triplet(0xFC, 'o', 'u'); // marker_bits, cc_valid, field 1
    triplet(0xFD, 'n', 'o'); // field 2
    triplet(0xFE, 'n', 'o'); // CEA-708
    triplet(0xFF, 'n', 'o');
    triplet(0xF8, 'n', 'o'); // not valid
    triplet(0x04, 'r', 's'); // marker_bits say nothing
    EXPECT_EQ(Show(), Lines{"ours"});
}

TEST_F(Cea608Pairs, OfCcDataComeManyAtOnce) {
    streammaker::Bytes ccData =
        streammaker::CcTriplets(CaptionPairs("At once.", CaptionStyle::POP_ON));
    m_decoder.PushCcData(ccData);
    EXPECT_EQ(m_captions, Captions({{"At once."}}));
    ccData.resize(ccData.size() - 7); // a part of a triplet, and END_OF_CAPTION isn't there
    m_decoder.PushCcData(ccData);
    m_decoder.PushCcData({});
    EXPECT_EQ(m_captions.size(), 1U);
}

} // namespace

// SPDX-License-Identifier: Apache-2.0

// How captions come onto the screen, and when they are complete there.

#include "DecodedCaptions.h"

#include <gmock/gmock.h>

namespace {

using streammaker::CaptionErasure;
using streammaker::CaptionPairs;
using streammaker::CaptionStyle;
using testing::IsEmpty;

class Cea608Styles : public DecodedCaptions {};

// --- pop-on ---

TEST_F(Cea608Styles, PopOnIsToldWhenItIsShown) {
    auto pairs = CaptionPairs("The fire\nis lit.", CaptionStyle::POP_ON);
    const auto last = pairs.back(); // END_OF_CAPTION's second transmission, and its first
    pairs.resize(pairs.size() - 2);
    Push(pairs);
    EXPECT_THAT(m_captions, IsEmpty());
    Push({last});
    EXPECT_EQ(m_captions, Captions({{"The fire", "is lit."}}));
    Push({last});
    Push(CaptionErasure());
    EXPECT_EQ(m_captions.size(), 1U);
}

TEST_F(Cea608Styles, PopOnShowsWhatWasLoadedLast) {
    Push(CaptionPairs("one", CaptionStyle::POP_ON));
    Push(CaptionPairs("two", CaptionStyle::POP_ON));
    EXPECT_EQ(m_captions, Captions({{"one"}, {"two"}}));
}

TEST_F(Cea608Styles, PopOnChangesTheTwoMemories) {
    Push(CaptionPairs("one", CaptionStyle::POP_ON));
    Command(RESUME_LOADING);
    SendTwice(0x14, 0x60);
    Type("two");
    Command(END_OF_CAPTION);
    Command(END_OF_CAPTION);
    EXPECT_EQ(m_captions, Captions({{"one"}, {"two"}, {"one"}}))
        << "nobody has erased what was shown first";
    Command(ERASE_LOADED);
    Command(END_OF_CAPTION);
    EXPECT_EQ(m_captions.size(), 3U) << "nothing is no caption";
}

// --- roll-up ---

TEST_F(Cea608Styles, RollUpIsToldLineByLineWhenItRolls) {
    Push(CaptionPairs("one", CaptionStyle::ROLL_UP));
    EXPECT_THAT(m_captions, IsEmpty());
    Push(CaptionPairs("two", CaptionStyle::ROLL_UP));
    EXPECT_EQ(m_captions, Captions({{"one"}}));
    Push(CaptionErasure());
    EXPECT_EQ(m_captions, Captions({{"one"}, {"two"}}));
    Command(CARRIAGE_RETURN);
    EXPECT_EQ(m_captions.size(), 2U) << "nothing was written since";
}

TEST_F(Cea608Styles, RollUpIsCompleteWhenAnotherStyleBegins) {
    Push(CaptionPairs("one", CaptionStyle::ROLL_UP));
    Command(RESUME_LOADING);
    EXPECT_EQ(m_captions, Captions({{"one"}}));
}

// What scrolls out of its rows is gone: the last of them come back as a paint-on caption's.
TEST_F(Cea608Styles, RollUpKeepsAsManyRowsAsItsCodeSays) {
    Command(ROLL_UP_3);
    for (const char* line : {"one", "two", "three", "four"}) {
        Command(CARRIAGE_RETURN);
        Type(line);
    }
    Command(RESUME_DIRECT);
    m_captions.clear();
    Type("!");
    Command(ERASE_SHOWN);
    EXPECT_EQ(m_captions, Captions({{"two", "three", "four!"}}));
}

TEST_F(Cea608Styles, RollUpKeepsFewerRowsAfterACodeForFewer) {
    Command(ROLL_UP_3);
    for (const char* line : {"one", "two", "three"}) {
        Command(CARRIAGE_RETURN);
        Type(line);
    }
    Command(ROLL_UP_2);
    Command(RESUME_DIRECT);
    m_captions.clear();
    Type("!");
    Command(ERASE_SHOWN);
    EXPECT_EQ(m_captions, Captions({{"two", "three!"}}));
}

TEST_F(Cea608Styles, RollUpGoesOnWhereTheTextServiceHasInterruptedIt) {
    Command(ROLL_UP_2);
    Type("one");
    Command(RESUME_TEXT);
    Command(CARRIAGE_RETURN);
    Command(ROLL_UP_2);
    Type("!");
    Command(CARRIAGE_RETURN);
    EXPECT_EQ(m_captions, Captions({{"one!"}}));
}

TEST_F(Cea608Styles, RollUpMovesWithItsLowestRow) {
    Command(ROLL_UP_2);
    Type("one");
    Command(CARRIAGE_RETURN);
    Type("two");
    SendTwice(0x11, 0x40); // row 1: there is no room for two
    Type("2");
    Command(RESUME_DIRECT);
    m_captions.clear();
    SendTwice(0x11, 0x40); // row 1
    Type("1");
    SendTwice(0x11, 0x60); // row 2
    Type("t");
    Command(ERASE_SHOWN);
    EXPECT_EQ(m_captions, Captions({{"1ne", "two"}}));
}

TEST_F(Cea608Styles, RollUpErasesWhatOtherStylesHaveLeft) {
    Push(CaptionPairs("popped on", CaptionStyle::POP_ON));
    Command(RESUME_LOADING);
    Type("loaded");
    m_captions.clear();
    Command(ROLL_UP_2);
    Type("one");
    Command(END_OF_CAPTION);
    EXPECT_EQ(m_captions, Captions({{"one"}})) << "nothing was loaded any more";
    Command(END_OF_CAPTION);
    EXPECT_EQ(m_captions, Captions({{"one"}, {"one"}})) << "the one line was all there was";
}

// --- paint-on ---

TEST_F(Cea608Styles, PaintOnIsToldWhenItIsErased) {
    Push(CaptionPairs("one\ntwo", CaptionStyle::PAINT_ON));
    EXPECT_THAT(m_captions, IsEmpty());
    Push(CaptionErasure());
    EXPECT_EQ(m_captions, Captions({{"one", "two"}}));
    Push(CaptionPairs("three", CaptionStyle::PAINT_ON));
    Push(CaptionErasure());
    EXPECT_EQ(m_captions, Captions({{"one", "two"}, {"three"}}));
}

TEST_F(Cea608Styles, PaintOnIsCompleteWhenTheNextOneBegins) {
    Push(CaptionPairs("one", CaptionStyle::PAINT_ON));
    Push(CaptionPairs("TWO", CaptionStyle::PAINT_ON));
    EXPECT_EQ(m_captions, Captions({{"one"}}));
    Push(CaptionPairs("three", CaptionStyle::POP_ON));
    EXPECT_EQ(m_captions, Captions({{"one"}, {"TWO"}, {"three"}}));
}

TEST_F(Cea608Styles, PaintOnAddsToWhatIsShown) {
    Push(CaptionPairs("one", CaptionStyle::POP_ON));
    Command(RESUME_DIRECT);
    SendTwice(0x14, 0x40); // row 14
    Type("two");
    Command(ERASE_SHOWN);
    EXPECT_EQ(m_captions, Captions({{"one"}, {"two", "one"}}));
}

TEST_F(Cea608Styles, ErasingAnEmptyScreenTellsNothing) {
    Command(RESUME_DIRECT);
    Type("a");
    Command(BACKSPACE);
    Command(ERASE_SHOWN);
    EXPECT_THAT(m_captions, IsEmpty());
}

} // namespace

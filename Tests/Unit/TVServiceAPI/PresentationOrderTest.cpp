// SPDX-License-Identifier: Apache-2.0
#include "PresentationOrder.h"

#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using tvservice::CodedPicture;
using tvservice::PresentationOrder;
using tvservice::TimeStamp;

constexpr TimeStamp WRAP = TimeStamp{1} << 33;

class PresentationOrderTest : public testing::Test {
protected:
    // Pictures are told apart by their caption byte.
    void PushTimed(std::uint8_t name, TimeStamp pts, std::optional<TimeStamp> dts = {}) {
        byTime.Push({pts % WRAP, dts ? std::optional(*dts % WRAP) : std::nullopt, true, {name}});
    }
    void PushKind(std::uint8_t name, bool isReference) { PushField(name, isReference, name); }
    void PushField(std::uint8_t name, bool isReference, unsigned frame) {
        byKind.Push({std::nullopt, std::nullopt, isReference, {name}, frame});
    }

    std::vector<int> shown;
    PresentationOrder::Show show = [this](const CodedPicture& picture) {
        shown.push_back(picture.ccData[0]);
    };
    PresentationOrder byTime{PresentationOrder::Rule::ByTime, show};
    PresentationOrder byKind{PresentationOrder::Rule::ByKind, show};
};

TEST_F(PresentationOrderTest, ShowsAReferenceBehindThePicturesThatPrecedeIt) {
    PushKind(1, true);
    EXPECT_THAT(shown, IsEmpty());
    PushKind(4, true);
    EXPECT_THAT(shown, ElementsAre(1));
    PushKind(2, false);
    PushKind(3, false);
    EXPECT_THAT(shown, ElementsAre(1, 2, 3));
    PushKind(5, true);
    EXPECT_THAT(shown, ElementsAre(1, 2, 3, 4));
    byKind.Flush();
    EXPECT_THAT(shown, ElementsAre(1, 2, 3, 4, 5));
    byKind.Flush();
    EXPECT_EQ(shown.size(), 5U);
}

TEST_F(PresentationOrderTest, GoesByTheTimesWhateverTheKind) {
    PushTimed(1, 200, 100);
    PushTimed(5, 600, 200); // what is shown at 200 cannot be overtaken now
    EXPECT_THAT(shown, ElementsAre(1));
    PushTimed(3, 400, 300);
    PushTimed(2, 300, 310);
    EXPECT_THAT(shown, ElementsAre(1, 2));
    PushTimed(4, 500, 400);
    EXPECT_THAT(shown, ElementsAre(1, 2, 3));
    byTime.Flush();
    EXPECT_THAT(shown, ElementsAre(1, 2, 3, 4, 5));
}

TEST_F(PresentationOrderTest, ShowsAtOnceWhatIsDueWhenItIsDecoded) {
    PushTimed(1, 100);
    EXPECT_THAT(shown, ElementsAre(1)) << "without a decoding time it is the same";
    PushTimed(2, 200, 200);
    EXPECT_THAT(shown, ElementsAre(1, 2));
    PushTimed(3, 301, 300);
    EXPECT_THAT(shown, ElementsAre(1, 2));
}

TEST_F(PresentationOrderTest, GoesOnOverTheWrapOfTheClock) {
    PushTimed(1, WRAP - 100, WRAP - 200);
    PushTimed(4, WRAP + 200, WRAP - 190);
    PushTimed(2, WRAP - 50, WRAP - 180);
    PushTimed(3, WRAP + 10, WRAP - 170);
    EXPECT_THAT(shown, IsEmpty());
    PushTimed(5, WRAP + 400, WRAP + 20);
    EXPECT_THAT(shown, ElementsAre(1, 2, 3));
    byTime.Flush();
    EXPECT_THAT(shown, ElementsAre(1, 2, 3, 4, 5));
}

TEST_F(PresentationOrderTest, KeepsTheOrderOfPicturesOfOneTime) {
    PushTimed(1, 200, 100);
    PushTimed(2, 200, 101);
    PushTimed(3, 200, 102);
    byTime.Flush();
    EXPECT_THAT(shown, ElementsAre(1, 2, 3));
}

TEST_F(PresentationOrderTest, LetsGoOfAnotherClocksPictures) {
    PushTimed(1, 1100, 1000);
    PushTimed(2, 5'000'100, 5'000'000); // ten seconds later and more
    EXPECT_THAT(shown, ElementsAre(1));
    PushTimed(3, 900, 800); // and back
    EXPECT_THAT(shown, ElementsAre(1, 2));
    PushTimed(4, 900'790, 900'780); // not quite ten seconds: nothing special
    EXPECT_THAT(shown, ElementsAre(1, 2, 3));
    byTime.Flush();
    EXPECT_THAT(shown, ElementsAre(1, 2, 3, 4));
}

TEST_F(PresentationOrderTest, HoldsNoMoreThanCanBe) {
    for (std::uint8_t name = 0; name < 100; ++name) {
        PushTimed(name, TimeStamp{1'000'000} + name, name); // of a far future
    }
    EXPECT_EQ(shown.size(), 100U - 32U);
    EXPECT_EQ(shown[0], 0);
}

TEST_F(PresentationOrderTest, ForgetsWhatWaitsWhenItIsCleared) {
    PushTimed(1, 200, 100);
    byTime.Clear();
    byTime.Flush();
    EXPECT_THAT(shown, IsEmpty());
    PushTimed(2, 300, 300);
    EXPECT_THAT(shown, ElementsAre(2));
}

} // namespace

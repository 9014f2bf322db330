// SPDX-License-Identifier: Apache-2.0
#include "StartCodeScanner.h"

#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using tvservice::StartCodeScanner;
using Unit = std::vector<std::uint8_t>;

class StartCodeScannerTest : public testing::Test, protected tvservice::UnitSink {
protected:
    std::size_t OnUnitStart(std::uint8_t firstByte) override {
        starts.push_back(firstByte);
        return wanted;
    }
    void OnUnit(tvservice::Bytes unit) override { units.emplace_back(unit.begin(), unit.end()); }

    void Push(const Unit& bytes) { scanner.Push(bytes); }

    std::size_t wanted = 100;
    std::vector<int> starts;
    std::vector<Unit> units;
    StartCodeScanner scanner{*this};
};

// Without zeros ahead of a start code, which may or may not be part of the unit.
Unit Trimmed(Unit unit) {
    while (!unit.empty() && unit.back() == 0) {
        unit.pop_back();
    }
    return unit;
}

const Unit STREAM{9, 1, 0, 0, 1, 0xB2, 0,    1, 2,    0, 0, 2, 0, 1, 0, 0, 0, 1,
                  3, 4, 0, 0, 1, 0x01, 0x01, 1, 0xE0, 0, 0, 1, 5, 6, 0, 0, 1, 7};

TEST_F(StartCodeScannerTest, CutsAtStartCodesAndNowhereElse) {
    Push(STREAM);
    EXPECT_THAT(starts, ElementsAre(0xB2, 3, 1, 5, 7));
    ASSERT_EQ(units.size(), 4U) << "the last one hasn't ended";
    EXPECT_THAT(Trimmed(units[0]), ElementsAre(0xB2, 0, 1, 2, 0, 0, 2, 0, 1));
    EXPECT_THAT(units[1], ElementsAre(3, 4));
    EXPECT_THAT(units[2], ElementsAre(1, 1, 1, 0xE0));
    EXPECT_THAT(units[3], ElementsAre(5, 6));
}

TEST_F(StartCodeScannerTest, FindsTheSameWhereverTheBytesAreCut) {
    for (std::size_t first = 0; first <= STREAM.size(); ++first) {
        for (std::size_t second = first; second <= STREAM.size(); ++second) {
            starts.clear();
            units.clear();
            scanner.Reset();
            const auto one = STREAM.begin() + static_cast<std::ptrdiff_t>(first);
            const auto two = STREAM.begin() + static_cast<std::ptrdiff_t>(second);
            Push({STREAM.begin(), one});
            Push({one, two});
            Push({two, STREAM.end()});
            ASSERT_THAT(starts, ElementsAre(0xB2, 3, 1, 5, 7)) << first << " " << second;
            ASSERT_EQ(units.size(), 4U);
            ASSERT_THAT(Trimmed(units[0]), ElementsAre(0xB2, 0, 1, 2, 0, 0, 2, 0, 1));
            ASSERT_THAT(Trimmed(units[1]), ElementsAre(3, 4));
            ASSERT_THAT(Trimmed(units[2]), ElementsAre(1, 1, 1, 0xE0));
            ASSERT_THAT(Trimmed(units[3]), ElementsAre(5, 6));
        }
    }
}

TEST_F(StartCodeScannerTest, FindsTheSameInSingleBytes) {
    for (const std::uint8_t byte : STREAM) {
        Push({byte});
        Push({});
    }
    EXPECT_THAT(starts, ElementsAre(0xB2, 3, 1, 5, 7));
    EXPECT_EQ(units.size(), 4U);
}

TEST_F(StartCodeScannerTest, CopiesNoMoreThanIsWanted) {
    wanted = 3;
    Push({0, 0, 1, 10, 11});
    Push({12, 13, 14, 15});
    Push({16, 0, 0, 1, 20, 0, 0, 1, 30});
    EXPECT_THAT(units, ElementsAre(ElementsAre(10, 11, 12), ElementsAre(20)));
}

TEST_F(StartCodeScannerTest, PassesOverWhatIsntWanted) {
    wanted = 0;
    Push(STREAM);
    EXPECT_EQ(starts.size(), 5U);
    EXPECT_THAT(units, IsEmpty());
}

TEST_F(StartCodeScannerTest, DropsTheUnitUnderWayAtReset) {
    Push({0, 0, 1, 10, 11});
    scanner.Reset();
    Push({12, 0, 0, 1, 20});
    EXPECT_THAT(units, IsEmpty());
    EXPECT_THAT(starts, ElementsAre(10, 20));
}

TEST_F(StartCodeScannerTest, ForgetsHalfAStartCodeAtReset) {
    Push({5, 0, 0});
    scanner.Reset();
    Push({1, 10});
    EXPECT_THAT(starts, IsEmpty());
    Push({0, 0, 1});
    scanner.Reset();
    Push({10});
    EXPECT_THAT(starts, IsEmpty());
}

} // namespace

// SPDX-License-Identifier: Apache-2.0
#include "TableCollector.h"

#include <gmock/gmock.h>

#include "SectionBuilder.h"

namespace {

using streammaker::Bytes;
using testing::ElementsAre;
using testing::IsNull;
using testing::Pointee;
using tvservice::TableCollector;

class TableCollectorTest : public testing::Test {
protected:
    static Bytes Make(std::uint8_t version, std::uint8_t number, std::uint8_t last,
                      std::uint8_t content = 0, bool current = true) {
        streammaker::SectionBuilder builder;
        builder.version = version;
        builder.number = number;
        builder.lastNumber = last;
        builder.currentNext = current;
        builder.payload = {content};
        return builder.Build();
    }
    const std::vector<Bytes>* Add(const Bytes& bytes) {
        return collector.Add(tvservice::Section(bytes));
    }

    TableCollector collector;
};

TEST_F(TableCollectorTest, ReturnsAVersionOnceItIsWholeInItsOrder) {
    const Bytes zero = Make(1, 0, 2);
    const Bytes one = Make(1, 1, 2);
    const Bytes two = Make(1, 2, 2);
    EXPECT_THAT(Add(two), IsNull());
    EXPECT_THAT(Add(zero), IsNull());
    EXPECT_THAT(Add(zero), IsNull()) << "once more isn't another one";
    EXPECT_THAT(Add(one), Pointee(ElementsAre(zero, one, two)));
    EXPECT_THAT(Add(one), IsNull()) << "it has been returned";
    EXPECT_THAT(Add(two), IsNull());
}

TEST_F(TableCollectorTest, BeginsAnewWithAnotherVersion) {
    EXPECT_THAT(Add(Make(1, 0, 1)), IsNull());
    const Bytes zero = Make(2, 0, 1);
    const Bytes one = Make(2, 1, 1);
    EXPECT_THAT(Add(one), IsNull()) << "nothing of version 1 is left";
    EXPECT_THAT(Add(zero), Pointee(ElementsAre(zero, one)));
    EXPECT_THAT(Add(Make(1, 0, 1)), IsNull());
    EXPECT_THAT(Add(Make(1, 1, 1)), testing::NotNull()) << "back is another one, too";
}

TEST_F(TableCollectorTest, BeginsAnewWithAnotherNumberOfSections) {
    EXPECT_THAT(Add(Make(1, 0, 1)), IsNull());
    const Bytes alone = Make(1, 0, 0);
    EXPECT_THAT(Add(alone), Pointee(ElementsAre(alone)));
}

TEST_F(TableCollectorTest, SeesAChangeWhoseVersionWasForgotten) {
    EXPECT_THAT(Add(Make(1, 0, 1)), IsNull());
    EXPECT_THAT(Add(Make(1, 1, 1)), testing::NotNull());
    const Bytes zero = Make(1, 0, 1, 9);
    const Bytes one = Make(1, 1, 1);
    EXPECT_THAT(Add(zero), IsNull());
    EXPECT_THAT(Add(one), Pointee(ElementsAre(zero, one)));
}

TEST_F(TableCollectorTest, PassesOverWhatIsntCurrentOrWrong) {
    EXPECT_THAT(Add(Make(2, 0, 0, 0, false)), IsNull());
    Bytes wrong = Make(2, 0, 0);
    wrong[8] ^= 1;
    EXPECT_THAT(Add(wrong), IsNull());
    EXPECT_THAT(Add(Make(2, 1, 0)), IsNull()) << "a number above the last one";
    EXPECT_THAT(Add({0x00, 0x30, 0x02, 0, 0}), IsNull());
    EXPECT_THAT(Add(Make(2, 0, 0)), testing::NotNull());
}

TEST_F(TableCollectorTest, ForgetsWhatItHasReturnedWhenItIsCleared) {
    const Bytes alone = Make(1, 0, 0);
    EXPECT_THAT(Add(alone), testing::NotNull());
    collector.Clear();
    EXPECT_THAT(Add(alone), testing::NotNull());
}

TEST_F(TableCollectorTest, TakesAsManySectionsAsATableCanHave) {
    for (unsigned number = 0; number < 255; ++number) {
        ASSERT_THAT(Add(Make(1, static_cast<std::uint8_t>(number), 255)), IsNull());
    }
    EXPECT_THAT(Add(Make(1, 255, 255)), Pointee(testing::SizeIs(256)));
}

} // namespace

// SPDX-License-Identifier: Apache-2.0
#include "SinkList.h"

#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;
using List = tvservice::SinkList<int>;

class SinkListTest : public testing::Test {
protected:
    std::vector<int> All() {
        std::vector<int> all;
        list.ForEach([&all](int& sink) { all.push_back(sink); });
        return all;
    }

    int one = 1;
    int two = 2;
    int three = 3;
    List list;
};

TEST_F(SinkListTest, CallsEachInTheOrderOfItsAdding) {
    EXPECT_TRUE(list.IsEmpty());
    list.Add(two);
    list.Add(one);
    EXPECT_FALSE(list.IsEmpty());
    EXPECT_THAT(All(), ElementsAre(2, 1));
    list.Remove(two);
    list.Remove(three); // was never there
    EXPECT_THAT(All(), ElementsAre(1));
    list.Remove(one);
    EXPECT_TRUE(list.IsEmpty());
}

TEST_F(SinkListTest, CallsNobodyWhoWasRemovedMeanwhile) {
    list.Add(one);
    list.Add(two);
    list.Add(three);
    std::vector<int> called;
    list.ForEach([&](int& sink) {
        called.push_back(sink);
        list.Remove(one);
        list.Remove(two);
    });
    EXPECT_THAT(called, ElementsAre(1, 3));
    EXPECT_THAT(All(), ElementsAre(3));
}

TEST_F(SinkListTest, IsEmptyOnceAllAreRemovedMeanwhile) {
    list.Add(one);
    list.ForEach([&](int& sink) {
        list.Remove(sink);
        EXPECT_TRUE(list.IsEmpty());
    });
    EXPECT_TRUE(list.IsEmpty());
}

TEST_F(SinkListTest, CallsWhoWasAddedMeanwhileFromTheNextTimeOn) {
    list.Add(one);
    std::vector<int> called;
    std::vector<int> others(100); // so many that the list has to grow
    list.ForEach([&](int& sink) {
        called.push_back(sink);
        for (int& other : others) {
            list.Add(other);
        }
    });
    EXPECT_THAT(called, ElementsAre(1));
    EXPECT_EQ(All().size(), 101U);
}

TEST_F(SinkListTest, CallsWhoIsRemovedAndAddedAgainOnceATime) {
    list.Add(one);
    list.Add(two);
    std::vector<int> called;
    list.ForEach([&](int& sink) {
        called.push_back(sink);
        list.Remove(sink);
        list.Add(sink);
    });
    EXPECT_THAT(called, ElementsAre(1, 2));
    EXPECT_THAT(All(), ElementsAre(1, 2));
}

} // namespace

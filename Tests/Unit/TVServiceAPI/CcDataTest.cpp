// SPDX-License-Identifier: Apache-2.0
#include "CcData.h"

#include <gmock/gmock.h>

#include "CcUserData.h"

namespace {

using streammaker::Bytes;
using testing::ElementsAre;
using testing::ElementsAreArray;
using tvservice::CcDataOfT35;
using tvservice::CcDataOfUserData;

const Bytes TRIPLES{0xFC, 1, 2, 0xFD, 3, 4};

TEST(CcData, IsFoundInUserData) {
    const Bytes data = streammaker::CcUserData(TRIPLES);
    ASSERT_TRUE(CcDataOfUserData(data));
    EXPECT_THAT(*CcDataOfUserData(data), ElementsAreArray(TRIPLES));
}

TEST(CcData, MayBeAsManyTriplesAsTheCountCanSay) {
    const Bytes data = streammaker::CcUserData(Bytes(31 * 3, 0xFC));
    EXPECT_EQ(CcDataOfUserData(data)->size(), 93U);
}

TEST(CcData, IsNoneInOtherUserData) {
    const Bytes right = streammaker::CcUserData(TRIPLES);
    for (std::size_t at = 0; at < 5; ++at) { // the identifier and the type
        Bytes data = right;
        data[at] ^= 1;
        EXPECT_FALSE(CcDataOfUserData(data)) << at;
    }
}

TEST(CcData, IsNoneWhereItIsCut) {
    const Bytes right = streammaker::CcUserData(TRIPLES);
    const std::size_t needed = 7 + TRIPLES.size();
    for (std::size_t size = 0; size < needed; ++size) {
        EXPECT_FALSE(CcDataOfUserData(tvservice::Bytes(right).first(size))) << size;
    }
    EXPECT_TRUE(CcDataOfUserData(tvservice::Bytes(right).first(needed)));
}

TEST(CcData, IsNoneWhereItSaysSo) {
    Bytes data = streammaker::CcUserData(TRIPLES);
    data[5] &= 0xBF; // process_cc_data_flag
    EXPECT_FALSE(CcDataOfUserData(data));
    data[5] = 0x40; // no triple
    EXPECT_FALSE(CcDataOfUserData(data));
    data[5] = 0x41; // without the flags that say nothing here
    EXPECT_THAT(*CcDataOfUserData(data), ElementsAre(0xFC, 1, 2));
}

TEST(CcData, IsFoundInARegisteredMessageOfTheRightProvider) {
    const Bytes data = streammaker::CcUserData(TRIPLES);
    Bytes message{0xB5, 0x00, 0x31};
    message.insert(message.end(), data.begin(), data.end());
    ASSERT_TRUE(CcDataOfT35(message));
    EXPECT_THAT(*CcDataOfT35(message), ElementsAreArray(TRIPLES));
    for (std::size_t at = 0; at < 3; ++at) {
        Bytes other = message;
        other[at] ^= 1;
        EXPECT_FALSE(CcDataOfT35(other)) << at;
    }
    EXPECT_FALSE(CcDataOfT35(tvservice::Bytes(message).first(2)));
}

} // namespace

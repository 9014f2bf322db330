// SPDX-License-Identifier: Apache-2.0

// The order of coding against that of presentation.

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "PictureOrder.h"
#include "VideoCoder.h"

using namespace streammaker;

namespace {

// Reads what BitWriter puts.
class BitReader {
public:
    explicit BitReader(Bytes bytes) : m_bytes(std::move(bytes)) {}

    unsigned Take(unsigned count) {
        unsigned value = 0;
        for (; count > 0; --count, ++m_at) {
            value = value << 1 | (m_bytes.at(m_at / 8) >> (7 - m_at % 8) & 1U);
        }
        return value;
    }
    unsigned TakeUnsigned() {
        unsigned zeros = 0;
        while (Take(1) == 0) {
            ++zeros;
        }
        return (1U << zeros) - 1 + Take(zeros);
    }

private:
    const Bytes m_bytes;
    std::size_t m_at = 0;
};

struct SliceHeader {
    unsigned frame = 0;      // frame_num
    unsigned idrPicture = 0; // idr_pic_id
};

// Of an access unit whose NAL units have long start codes, and whose slice is the last of them.
SliceHeader ReadSliceHeader(const Bytes& unit) {
    const Bytes startCode{0, 0, 0, 1};
    const auto slice = std::find_end(unit.begin(), unit.end(), startCode.begin(), startCode.end());
    BitReader bits(Bytes(slice + 5, unit.end()));
    bits.TakeUnsigned(); // first_mb_in_slice
    const unsigned type = bits.TakeUnsigned();
    bits.TakeUnsigned(); // pic_parameter_set_id
    SliceHeader header;
    header.frame = bits.Take(4);
    header.idrPicture = type == 7 ? bits.TakeUnsigned() : 0;
    return header;
}

} // namespace

TEST(GroupOfPictures, IsCodedOutOfItsOrderOfPresentation) {
    std::string order;
    for (const CodedPicture& picture : GroupOfPictures(GROUP_LENGTH)) {
        order += std::string(1, " IPB"[static_cast<int>(picture.type)]) +
                 std::to_string(picture.shownAs) + " ";
    }
    EXPECT_EQ(order, "I0 P3 B1 B2 P6 B4 B5 P9 B7 B8 ");
}

TEST(GroupOfPictures, ShowsEachPictureOfAnyLength) {
    for (unsigned length = 0; length < 12; ++length) {
        std::set<unsigned> shown;
        std::set<unsigned> references;
        unsigned coded = 0;
        for (const CodedPicture& picture : GroupOfPictures(length)) {
            if (picture.type == PictureType::B) {
                EXPECT_NE(references.lower_bound(picture.shownAs), references.end());
            } else {
                references.insert(picture.shownAs);
            }
            EXPECT_TRUE(shown.insert(picture.shownAs).second);
            EXPECT_LT(picture.shownAs, length);
            EXPECT_LE(coded++, picture.shownAs + 1) << "shown ahead of its decoding";
        }
        EXPECT_EQ(shown.size(), length);
    }
}

TEST(Mpeg2Coder, TellsOfEachPictureItsTypeAndPlaceInTheGroup) {
    const std::unique_ptr<VideoCoder> coder = MakeVideoCoder(VideoCodec::MPEG2);
    for (int group = 0; group < 2; ++group) {
        for (const CodedPicture& picture : GroupOfPictures(GROUP_LENGTH)) {
            const Bytes unit = coder->Code(picture, {});
            const Bytes startCode{0, 0, 1, 0};
            const auto found =
                std::search(unit.begin(), unit.end(), startCode.begin(), startCode.end());
            ASSERT_GT(unit.end() - found, 6);
            EXPECT_EQ(found[4] << 2U | found[5] >> 6U, static_cast<int>(picture.shownAs));
            EXPECT_EQ(found[5] >> 3U & 7U, static_cast<unsigned>(picture.type));
        }
    }
}

TEST(H264Coder, NumbersTheFramesThatOthersReferTo) {
    const std::unique_ptr<VideoCoder> coder = MakeVideoCoder(VideoCodec::H264);
    std::vector<unsigned> frames;
    std::vector<unsigned> idrPictures;
    for (int group = 0; group < 3; ++group) {
        for (const CodedPicture& picture : GroupOfPictures(GROUP_LENGTH)) {
            const SliceHeader header = ReadSliceHeader(coder->Code(picture, {}));
            frames.push_back(header.frame);
            if (picture.type == PictureType::I) {
                idrPictures.push_back(header.idrPicture);
            }
        }
    }
    EXPECT_THAT(std::vector<unsigned>(frames.begin(), frames.begin() + 11),
                testing::ElementsAre(0, 1, 2, 2, 2, 3, 3, 3, 4, 4, 0));
    EXPECT_THAT(idrPictures, testing::ElementsAre(0, 1, 0)) << "neighbours differ";
}

TEST(MakeVideoCoder, KnowsNothingOfOtherCodecs) {
    EXPECT_THROW(MakeVideoCoder(VideoCodec::NONE), std::invalid_argument);
    EXPECT_EQ(StreamTypeOf(VideoCodec::MPEG2), 0x02);
    EXPECT_EQ(StreamTypeOf(VideoCodec::H264), 0x1B);
}

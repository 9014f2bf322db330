// SPDX-License-Identifier: Apache-2.0

// Captions in video that is put together unit by unit. Each picture's caption is one triple with
// the picture's name.

#include "VideoCaptions.h"

#include <gmock/gmock.h>

#include "CcUserData.h"
#include "H264Coder.h"
#include "PesBuilder.h"

namespace {

using streammaker::Bytes;
using testing::ElementsAre;
using testing::Pair;
using tvservice::VideoCaptions;

constexpr std::uint8_t MPEG2 = 0x02;
constexpr std::uint8_t H264 = 0x1B;
constexpr int NO_TIME = -1;

Bytes operator+(Bytes one, const Bytes& other) {
    one.insert(one.end(), other.begin(), other.end());
    return one;
}

Bytes UserDataOf(std::uint8_t name) {
    return streammaker::CcUserData({0xFC, name, 0x80});
}

class VideoCaptionsTest : public testing::Test {
protected:
    void Begin(std::uint8_t streamType) {
        captions = std::make_unique<VideoCaptions>(
            streamType,
            [this](const tvservice::CodedPicture& picture) {
                ASSERT_GE(picture.ccData.size(), 3U);
                for (std::size_t at = 1; at < picture.ccData.size(); at += 3) {
                    shown.emplace_back(picture.ccData[at],
                                       picture.pts ? static_cast<int>(*picture.pts) : NO_TIME);
                }
            },
            counters);
    }
    // One transport packet, of any length here.
    void Push(const Bytes& payload, bool start) {
        tvservice::TsPacket packet;
        packet.continuity = m_next++ & 0x0F;
        packet.unitStart = start;
        packet.payload = payload;
        captions->Push(packet);
    }
    void PushPes(const Bytes& video, std::optional<std::uint64_t> pts = {},
                 std::optional<std::uint64_t> dts = {}) {
        Push(PesOf(video, pts, dts), true);
    }
    static Bytes PesOf(const Bytes& video, std::optional<std::uint64_t> pts = {},
                       std::optional<std::uint64_t> dts = {}) {
        streammaker::PesBuilder builder;
        builder.streamId = streammaker::STREAM_ID_VIDEO;
        builder.unbounded = true;
        builder.pts = pts;
        builder.dts = dts;
        builder.payload = video;
        return builder.Build();
    }
    void Lose() { ++m_next; }

    std::vector<std::pair<int, int>> shown; // name and time
    tvservice::Counters counters;
    std::unique_ptr<VideoCaptions> captions;

private:
    unsigned m_next = 0;
};

// --- MPEG-2 ---

Bytes PictureHeader(unsigned type, unsigned temporalReference = 0) {
    return {0,
            0,
            1,
            0x00,
            static_cast<std::uint8_t>(temporalReference >> 2),
            static_cast<std::uint8_t>(temporalReference << 6 | type << 3),
            0xFF,
            0xF8};
}
Bytes UserData(std::uint8_t name) {
    return Bytes{0, 0, 1, 0xB2} + UserDataOf(name);
}
const Bytes SLICES{0, 0, 1, 0x01, 0x22, 0x33, 0, 0, 1, 0xAF, 0x22};
const Bytes SEQUENCE{0, 0, 1, 0xB3, 1, 2, 3};

Bytes Mpeg2Picture(unsigned type, std::uint8_t name) {
    return PictureHeader(type, name) + UserData(name) + SLICES;
}

class Mpeg2Captions : public VideoCaptionsTest {
protected:
    Mpeg2Captions() { Begin(MPEG2); }
};

TEST_F(Mpeg2Captions, ComeWithTheTimeOfTheirPacketForItsFirstPicture) {
    PushPes(Mpeg2Picture(3, 1) + Mpeg2Picture(3, 2), 1000);
    PushPes(Mpeg2Picture(3, 3), 3000, 2000);
    PushPes(Mpeg2Picture(3, 4));
    captions->Flush();
    EXPECT_THAT(shown,
                ElementsAre(Pair(1, 1000), Pair(2, NO_TIME), Pair(3, 3000), Pair(4, NO_TIME)));
}

TEST_F(Mpeg2Captions, ComeInTheOrderOfThePicturesTypes) {
    PushPes(Mpeg2Picture(1, 1) + Mpeg2Picture(2, 4) + Mpeg2Picture(3, 2) + Mpeg2Picture(3, 3));
    captions->Flush();
    EXPECT_THAT(
        shown, ElementsAre(Pair(1, NO_TIME), Pair(2, NO_TIME), Pair(3, NO_TIME), Pair(4, NO_TIME)));
}

TEST_F(Mpeg2Captions, AreAPicturesOnlyBetweenItsHeaderAndItsSlices) {
    PushPes(SEQUENCE + UserData(9) + PictureHeader(3) + UserData(1) + UserData(2) + SLICES +
            UserData(8) + SEQUENCE + UserData(7) + Mpeg2Picture(3, 3));
    captions->Flush();
    EXPECT_THAT(shown, ElementsAre(Pair(1, NO_TIME), Pair(2, NO_TIME), Pair(3, NO_TIME)));
}

TEST_F(Mpeg2Captions, AreFoundWhereverThePacketsAreCut) {
    const Bytes pes = PesOf(SEQUENCE + Mpeg2Picture(3, 1) + Mpeg2Picture(3, 2), 500);
    for (std::size_t cut = 6; cut < pes.size(); ++cut) {
        shown.clear();
        Begin(MPEG2);
        Push({pes.begin(), pes.begin() + static_cast<std::ptrdiff_t>(cut)}, true);
        Push({pes.begin() + static_cast<std::ptrdiff_t>(cut), pes.end()}, false);
        captions->Flush();
        ASSERT_THAT(shown, ElementsAre(Pair(1, 500), Pair(2, NO_TIME))) << cut;
    }
}

TEST_F(Mpeg2Captions, AreFoundOverTheBorderOfTwoPesPackets) {
    const Bytes video = Mpeg2Picture(3, 1);
    for (std::size_t cut = 5; cut < video.size(); ++cut) {
        shown.clear();
        Begin(MPEG2);
        PushPes({video.begin(), video.begin() + static_cast<std::ptrdiff_t>(cut)}, 500);
        PushPes({video.begin() + static_cast<std::ptrdiff_t>(cut), video.end()});
        captions->Flush();
        ASSERT_THAT(shown, ElementsAre(Pair(1, 500))) << cut;
    }
}

TEST_F(Mpeg2Captions, AreNotPutTogetherFromTwoPictures) {
    const Bytes one = UserData(1);
    const Bytes two = UserData(2);
    PushPes(PictureHeader(3) + Bytes(one.begin(), one.end() - 4));
    Lose();
    Push(Bytes(two.end() - 4, two.end()) + SLICES + Mpeg2Picture(3, 3), false);
    PushPes(Mpeg2Picture(3, 4));
    captions->Flush();
    EXPECT_THAT(shown, ElementsAre(Pair(4, NO_TIME))) << "up to the next PES packet";
    EXPECT_EQ(counters.gaps, 1U);
}

TEST_F(Mpeg2Captions, AreNotPutTogetherFromTwoPesPackets) {
    const Bytes one = UserData(1);
    const Bytes two = UserData(2);
    PushPes(PictureHeader(3) + Bytes(one.begin(), one.end() - 4));
    Lose();
    PushPes(Bytes(two.end() - 4, two.end()) + SLICES + Mpeg2Picture(3, 3));
    captions->Flush();
    EXPECT_THAT(shown, ElementsAre(Pair(3, NO_TIME)));
}

TEST_F(Mpeg2Captions, AreTakenOnceFromAPacketThatComesTwice) {
    tvservice::TsPacket packet;
    const Bytes pes = PesOf(Mpeg2Picture(3, 1));
    packet.unitStart = true;
    packet.payload = pes;
    captions->Push(packet);
    captions->Push(packet);
    captions->Flush();
    EXPECT_THAT(shown, ElementsAre(Pair(1, NO_TIME)));
}

TEST_F(Mpeg2Captions, WaitForThePesPacketThatIsOne) {
    Push(Mpeg2Picture(3, 1), false);
    Push(Bytes(8, 0xFF) + Mpeg2Picture(3, 2), true);
    Push(Mpeg2Picture(3, 3), false);
    PushPes(Mpeg2Picture(3, 4));
    captions->Flush();
    EXPECT_THAT(shown, ElementsAre(Pair(4, NO_TIME)));
    EXPECT_EQ(counters.badPes, 1U);
}

TEST_F(Mpeg2Captions, AreForgottenAtReset) {
    PushPes(Mpeg2Picture(1, 1) + PictureHeader(1) + UserData(2));
    captions->Reset();
    Push(SLICES, false);
    captions->Flush();
    EXPECT_TRUE(shown.empty());
    EXPECT_EQ(counters.gaps, 0U);
}

// --- H.264 ---

const Bytes DELIMITER = streammaker::NalUnit(0x09, {0xF0});
const Bytes PARAMETERS = streammaker::NalUnit(0x67, {77, 0, 10}) + streammaker::NalUnit(0x68, {1});
// first_mb_in_slice 0, and one above.
const Bytes FIRST_SLICE = streammaker::NalUnit(0x61, {0x88, 1, 2});
const Bytes OTHER_SLICE = streammaker::NalUnit(0x61, {0x48, 1, 2});
const Bytes TRAILING{0x80};

Bytes T35(const Bytes& userData) {
    const Bytes data = Bytes{0xB5, 0x00, 0x31} + userData;
    return Bytes{4, static_cast<std::uint8_t>(data.size())} + data;
}
Bytes Sei(std::uint8_t name) {
    return streammaker::NalUnit(0x06, T35(UserDataOf(name)) + TRAILING);
}

class H264Captions : public VideoCaptionsTest {
protected:
    H264Captions() { Begin(H264); }
};

TEST_F(H264Captions, ComeInTheOrderOfTheirTimes) {
    PushPes(DELIMITER + PARAMETERS + Sei(1) + FIRST_SLICE, 2000, 1000);
    PushPes(DELIMITER + Sei(3) + FIRST_SLICE + OTHER_SLICE, 4000, 2000);
    PushPes(DELIMITER + Sei(2) + FIRST_SLICE, 3000);
    captions->Flush();
    EXPECT_THAT(shown, ElementsAre(Pair(1, 2000), Pair(2, 3000), Pair(3, 4000)));
}

TEST_F(H264Captions, AreThoseOfTheirAccessUnitWithoutDelimiters) {
    PushPes(Sei(1) + FIRST_SLICE + OTHER_SLICE + Sei(2) + FIRST_SLICE + PARAMETERS + Sei(3) +
            FIRST_SLICE);
    captions->Flush();
    EXPECT_THAT(shown, ElementsAre(Pair(1, NO_TIME), Pair(2, NO_TIME), Pair(3, NO_TIME)));
}

TEST_F(H264Captions, AreThoseOfTheNextPictureBehindOneWithoutAny) {
    PushPes(Sei(1) + FIRST_SLICE, 1000, 1000);
    // A picture begins by its first slice, too: the time of the packet is its own.
    PushPes(FIRST_SLICE + OTHER_SLICE + Sei(3) + FIRST_SLICE, 2000, 2000);
    captions->Flush();
    EXPECT_THAT(shown, ElementsAre(Pair(1, 1000), Pair(3, NO_TIME)));
}

TEST_F(H264Captions, AreFoundAmongOtherMessages) {
    const Bytes timing{1, 2, 0x55, 0x66};
    const Bytes large = Bytes{0xFF, 5, 0xFF, 45} + Bytes(300, 0x77); // type 260, 300 bytes
    const Bytes empty{6, 0};
    PushPes(DELIMITER +
            streammaker::NalUnit(0x06, timing + large + empty + T35(UserDataOf(1)) +
                                           T35(UserDataOf(2)) + TRAILING) +
            FIRST_SLICE);
    captions->Flush();
    EXPECT_THAT(shown, ElementsAre(Pair(1, NO_TIME), Pair(2, NO_TIME)));
}

TEST_F(H264Captions, AreFreedFromEmulationPrevention) {
    const Bytes triples{0xFC, 1, 0, 0, 0, 0, 1, 2, 0, 0, 3, 0xFF};
    const Bytes unit = streammaker::NalUnit(0x06, T35(streammaker::CcUserData(triples)) + TRAILING);
    const Bytes plain = T35(streammaker::CcUserData(triples));
    ASSERT_GT(unit.size(), 5 + plain.size() + 1) << "there is something to remove";
    PushPes(DELIMITER + unit + FIRST_SLICE);
    captions->Flush();
    EXPECT_THAT(
        shown, ElementsAre(Pair(1, NO_TIME), Pair(0, NO_TIME), Pair(2, NO_TIME), Pair(3, NO_TIME)));
}

TEST_F(H264Captions, EndWithAMessageThatIsLongerThanItsUnit) {
    PushPes(DELIMITER +
            streammaker::NalUnit(0x06, T35(UserDataOf(1)) + Bytes{4, 200, 0xB5} + TRAILING) +
            FIRST_SLICE);
    captions->Flush();
    EXPECT_THAT(shown, ElementsAre(Pair(1, NO_TIME)));
}

TEST_F(H264Captions, EndWithANumberThatNeverEnds) {
    for (const Bytes& endless : {Bytes{0xFF, 0xFF, 0xFF}, Bytes{4, 0xFF, 0xFF}}) {
        shown.clear();
        Begin(H264);
        PushPes(DELIMITER + streammaker::NalUnit(0x06, T35(UserDataOf(1)) + endless) + FIRST_SLICE +
                DELIMITER + Sei(2) + FIRST_SLICE);
        captions->Flush();
        EXPECT_THAT(shown, ElementsAre(Pair(1, NO_TIME), Pair(2, NO_TIME)));
    }
}

TEST_F(H264Captions, AreFoundWhereverThePacketsAreCut) {
    const Bytes pes = PesOf(
        DELIMITER + PARAMETERS + Sei(1) + FIRST_SLICE + DELIMITER + Sei(2) + FIRST_SLICE, 500);
    for (std::size_t cut = 6; cut < pes.size(); ++cut) {
        shown.clear();
        Begin(H264);
        Push({pes.begin(), pes.begin() + static_cast<std::ptrdiff_t>(cut)}, true);
        Push({pes.begin() + static_cast<std::ptrdiff_t>(cut), pes.end()}, false);
        captions->Flush();
        ASSERT_THAT(shown, ElementsAre(Pair(1, 500), Pair(2, NO_TIME))) << cut;
    }
}

TEST_F(H264Captions, AreNoMoreThanAPictureCanHave) {
    Bytes video = DELIMITER;
    for (int message = 0; message < 2000; ++message) {
        video = video + Sei(1);
    }
    PushPes(video + FIRST_SLICE);
    captions->Flush();
    EXPECT_EQ(shown.size(), 4096U / 3);
}

TEST(VideoCaptions, AreReadFromTheKindsOfVideoThatCarryThem) {
    for (const std::uint8_t type : {0x01, 0x02, 0x1B}) {
        EXPECT_TRUE(VideoCaptions::CanRead(type)) << int{type};
    }
    for (const std::uint8_t type : {0x00, 0x03, 0x06, 0x10, 0x24}) {
        EXPECT_FALSE(VideoCaptions::CanRead(type)) << int{type};
    }
}

} // namespace

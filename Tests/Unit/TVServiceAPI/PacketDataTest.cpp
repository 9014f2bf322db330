// SPDX-License-Identifier: Apache-2.0

// Captions and PES packets.

#include <gmock/gmock.h>

#include "PesBuilder.h"
#include "TestStream.h"
#include "TsWriter.h"

namespace {

using namespace std::chrono_literals;
using streammaker::Bytes;
using streammaker::Multiplex;
using streammaker::PesBuilder;
using streammaker::Service;
using streammaker::StreamMaker;
using streammaker::TsWriter;
using streammaker::VideoCodec;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint16_t PID = 0x345;

class PacketDataTest : public TestStream {
protected:
    PacketDataTest() { Signals().SubscribeSignal(SIGNAL_END_OF_FILE, this, PROFILE_MAIN, 0); }

    int SubscribeCaptions() {
        int id = -1;
        EXPECT_EQ(Captions().SubscribeData(AddCaption, static_cast<TestStream*>(this), id), 1);
        return id;
    }
    int SubscribePes() {
        int id = -1;
        EXPECT_EQ(Pes().SubscribePESData(AddPes, static_cast<TestStream*>(this), id), 1);
        return id;
    }
    std::vector<Bytes> CaptionBytes(ECaptionFormat format) {
        std::vector<Bytes> bytes;
        for (const TSCaption& caption : captions.Now()) {
            if (caption.word_a == format) {
                bytes.push_back(caption.bytes);
            }
        }
        return bytes;
    }
};

Bytes PesOf(const Bytes& payload, std::optional<std::uint64_t> pts = std::nullopt) {
    PesBuilder builder;
    builder.payload = payload;
    builder.pts = pts;
    builder.dataAlignment = pts.has_value(); // as StreamMaker has it
    return builder.Build();
}

class CaptionsOfCodec : public PacketDataTest, public testing::WithParamInterface<VideoCodec> {};

INSTANTIATE_TEST_SUITE_P(, CaptionsOfCodec, testing::Values(VideoCodec::MPEG2, VideoCodec::H264),
                         [](const auto& parameter) {
                             return parameter.param == VideoCodec::H264 ? "H264" : "Mpeg2";
                         });

TEST_P(CaptionsOfCodec, ComeInTheOrderInWhichTheirPicturesAreShown) {
    constexpr unsigned FIRST = 5; // the map of the program is known by then
    constexpr unsigned PICTURES = 40;
    Service service = TestService(1, "One");
    service.codec = GetParam();
    StreamMaker maker(TestMultiplex({service}));
    for (unsigned picture = FIRST; picture < PICTURES; ++picture) {
        if (picture % 7 != 6) { // some have none
            // Zeros that the coding has to protect, and a second pair of the newer kind.
            maker.AddCcData(1, picture,
                            {0xFC, static_cast<std::uint8_t>(picture), 0x80, 0xFE, 0, 0});
        }
    }
    SubscribeCaptions();
    Play(maker.Make(3s));
    WaitForEnd();
    const std::vector<TSCaption> entries = captions.Now();
    std::size_t next = 0;
    for (unsigned picture = FIRST; picture < PICTURES; ++picture) {
        if (picture % 7 == 6) {
            continue;
        }
        ASSERT_LT(next, entries.size());
        const TSCaption& caption = entries[next++];
        EXPECT_EQ(caption.word_a, static_cast<std::uint32_t>(CAPTION_CC_DATA));
        EXPECT_THAT(caption.bytes, ElementsAre(0xFC, picture, 0x80, 0xFE, 0, 0));
        EXPECT_EQ(caption.byte_b, 1);
        EXPECT_EQ(caption.word_c, maker.PtsOfPicture(picture) / 2) << picture;
    }
    EXPECT_EQ(next, entries.size());
}

TEST_F(PacketDataTest, BringsSubtitlesAndTeletextOfTheProgramAsTheyAre) {
    Service one = TestService(1, "One");
    one.components.push_back({0x301, 6, {streammaker::SubtitlingDescriptor("eng")}});
    one.components.push_back({0x302, 6, {streammaker::TeletextDescriptor("eng")}});
    Service two = TestService(2, "Two");
    two.components.push_back({0x303, 6, {streammaker::SubtitlingDescriptor("eng")}});
    StreamMaker maker(TestMultiplex({one, two}));
    const Bytes subtitle(300, 0x20);
    const Bytes teletext(46, 0x10);
    maker.AddPes(500ms, 0x301, subtitle);
    maker.AddPes(600ms, 0x302, teletext);
    maker.AddPes(700ms, 0x303, Bytes(10, 0x20));
    SubscribeCaptions();
    Play(maker.Make(2s));
    WaitForEnd();
    EXPECT_THAT(CaptionBytes(CAPTION_DVB_SUBTITLE),
                ElementsAre(PesOf(subtitle, maker.PtsAt(500ms))));
    EXPECT_THAT(CaptionBytes(CAPTION_TELETEXT), ElementsAre(PesOf(teletext, maker.PtsAt(600ms))));
    EXPECT_EQ(captions.Now()[0].word_c, maker.PtsAt(500ms) / 2);
    EXPECT_EQ(captions.Now().size(), 2U) << "none of a program that isn't shown";
}

TEST_F(PacketDataTest, FollowsItsProgramToOtherPids) {
    Service one = TestService(1, "One");
    one.components.push_back({0x301, 6, {streammaker::SubtitlingDescriptor("eng")}});
    StreamMaker maker(TestMultiplex({one}));
    maker.At(1s, [](Multiplex& multiplex) { multiplex.services[0].components[0].pid = 0x302; });
    maker.AddPes(500ms, 0x301, {0x20, 1});
    maker.AddPes(600ms, 0x302, {0x20, 2});
    maker.AddPes(1500ms, 0x301, {0x20, 3});
    maker.AddPes(1600ms, 0x302, {0x20, 4});
    SubscribeCaptions();
    Play(maker.Make(2s));
    WaitForEnd();
    EXPECT_THAT(
        CaptionBytes(CAPTION_DVB_SUBTITLE),
        ElementsAre(PesOf({0x20, 1}, maker.PtsAt(500ms)), PesOf({0x20, 4}, maker.PtsAt(1600ms))));
}

TEST_F(PacketDataTest, BringsNothingOfAScreenThatTheSettingsDontName) {
    Service one = TestService(1, "One");
    one.components.push_back({0x301, 6, {streammaker::SubtitlingDescriptor("eng")}});
    StreamMaker maker(TestMultiplex({one}));
    maker.AddPes(500ms, 0x301, {0x20, 1});
    int id = -1;
    EXPECT_EQ(
        Captions(PROFILE_PIP, 3).SubscribeData(AddCaption, static_cast<TestStream*>(this), id), 1);
    Play(maker.Make(1s));
    WaitForEnd();
    EXPECT_THAT(captions.Now(), IsEmpty());
}

TEST_F(PacketDataTest, BringsWholePacketsOfTheSettingsPids) {
    TsWriter writer;
    writer.WriteNull(3);
    const Bytes large = PesOf(Bytes(5000, 0x55), 0x1FFFFFFFE);
    const Bytes small = PesOf({1});
    writer.WritePes(PID, large);
    writer.WritePes(PID + 1, small);
    writer.WritePes(PID + 2, small);
    const int id = SubscribePes();
    Play(writer.Take(), ONCE, "[screen 1 0]\npes = 0x345; 838\n");
    WaitForEnd();
    const std::vector<TSPESData> packets = pes.Now();
    ASSERT_EQ(packets.size(), 2U);
    EXPECT_EQ(packets[0].bytes, large);
    EXPECT_EQ(packets[0].profile, PROFILE_MAIN);
    EXPECT_EQ(packets[0].screen, 0U);
    EXPECT_EQ(packets[0].subscription, id);
    EXPECT_EQ(packets[0].short_b, PID);
    EXPECT_EQ(packets[0].word_a, 0xFFFFFFFFU);
    EXPECT_EQ(packets[0].word_c, 0xBDU | PES_HAS_PTS);
    EXPECT_EQ(packets[1].bytes, small);
    EXPECT_EQ(packets[1].short_b, PID + 1);
    EXPECT_EQ(packets[1].word_c, 0xBDU);
}

TEST_F(PacketDataTest, BringsThePidThatASubscriptionSelects) {
    TsWriter writer;
    writer.WriteNull(3);
    writer.WritePes(PID, PesOf({1}));
    writer.WritePes(PID + 1, PesOf({2}));
    const int first = SubscribePes();
    const int second = SubscribePes();
    EXPECT_EQ(Pes().SelectPES(second, PID + 1), 1);
    EXPECT_EQ(Pes().SelectPES(second, 0x2000), 0);
    EXPECT_EQ(Pes().SelectPES(second + 1, PID), 0);
    Play(writer.Take(), ONCE, "[screen 1 0]\npes = 0x345\n");
    WaitForEnd();
    const std::vector<TSPESData> packets = pes.Now();
    ASSERT_EQ(packets.size(), 2U);
    EXPECT_EQ(packets[0].subscription, first);
    EXPECT_EQ(packets[0].bytes, PesOf({1}));
    EXPECT_EQ(packets[1].subscription, second);
    EXPECT_EQ(packets[1].bytes, PesOf({2}));
}

TEST_F(PacketDataTest, MarksAPacketOfWhichSomeIsMissing) {
    TsWriter writer;
    writer.WriteNull(3);
    std::vector<streammaker::TsPacket> packets =
        streammaker::PesPackets(PID, PesOf(Bytes(1000, 0x55)));
    writer.Write(packets[0]);
    writer.Skip(PID);
    writer.Write(packets[2]);
    writer.WritePes(PID, PesOf({1})); // begins ahead of the other's end
    const int id = SubscribePes();
    EXPECT_EQ(Pes().SelectPES(id, PID), 1);
    Play(writer.Take());
    WaitForEnd();
    const std::vector<TSPESData> received = pes.Now();
    ASSERT_EQ(received.size(), 2U);
    EXPECT_NE(received[0].word_c & PES_DAMAGED, 0U);
    EXPECT_EQ(received[1].word_c & PES_DAMAGED, 0U);
}

TEST_F(PacketDataTest, StopsWhatIsUnsubscribed) {
    Service one = TestService(1, "One");
    one.components.push_back({0x301, 6, {streammaker::SubtitlingDescriptor("eng")}});
    StreamMaker maker(TestMultiplex({one}));
    maker.AddPes(500ms, 0x301, {0x20, 1});
    const int captionsId = SubscribeCaptions();
    const int pesId = SubscribePes();
    EXPECT_EQ(Captions().UnsubscribeData(captionsId), 1);
    EXPECT_EQ(Captions().UnsubscribeData(captionsId), 0);
    EXPECT_EQ(Pes().UnsubscribePESData(pesId), 1);
    EXPECT_EQ(Pes().UnsubscribePESData(pesId), 0);
    int id = 42;
    EXPECT_EQ(Captions().SubscribeData(nullptr, nullptr, id), 0);
    EXPECT_EQ(Pes().SubscribePESData(nullptr, nullptr, id), 0);
    EXPECT_EQ(id, 42);
    Play(maker.Make(1s), ONCE, "[screen 1 0]\npes = 0x301\n");
    WaitForEnd();
    EXPECT_THAT(captions.Now(), IsEmpty());
    EXPECT_THAT(pes.Now(), IsEmpty());
}

} // namespace

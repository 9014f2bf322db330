// SPDX-License-Identifier: Apache-2.0

// What stands between the stream and a subscriber's callbacks, and the settings file.

#include <fstream>
#include <gmock/gmock.h>

#include "CaptionDelivery.h"
#include "PesBuilder.h"
#include "PesDelivery.h"
#include "ProgramSubscriber.h"
#include "SettingsFile.h"
#include "TemporaryFolder.h"
#include "TsWriter.h"

namespace {

using streammaker::Bytes;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint16_t PID = 0x301;

Bytes PesOf(std::size_t size, bool unbounded = false) {
    streammaker::PesBuilder builder;
    builder.unbounded = unbounded;
    builder.payload = Bytes(size, 0x20);
    return builder.Build();
}

class DeliveryTest : public testing::Test {
protected:
    void Push(const streammaker::TsPacket& packet) {
        writer.Write(packet);
        const Bytes bytes = writer.Take();
        demuxer.Push(std::span<const std::uint8_t, tvservice::PACKET_BYTES>(bytes.data(), 188));
    }

    std::vector<Bytes> received;
    streammaker::TsWriter writer;
    tvservice::Demuxer demuxer;
};

class CaptionDeliveryTest : public DeliveryTest {
protected:
    CaptionDeliveryTest() {
        int id = 0;
        const auto add = [](TSCaption& caption, void* user) {
            static_cast<std::vector<Bytes>*>(user)->push_back(caption.bytes);
        };
        EXPECT_EQ(subscriber->SubscribeData(add, &received, id), 1);
        delivery.Sync();
        pmt.streams = {{{PID, 6, "eng"}, tvservice::Pmt::Captions::DvbSubtitles}};
        delivery.Show(&pmt);
    }

    std::shared_ptr<tvservice::DataSubscriber> subscriber =
        std::make_shared<tvservice::DataSubscriber>(tvservice::ScreenKey{PROFILE_MAIN, 0}, [] {});
    tvservice::CaptionDelivery delivery{demuxer, subscriber};
    tvservice::Pmt pmt;
};

TEST_F(CaptionDeliveryTest, BringsNoPacketOfWhichSomeIsMissing) {
    const Bytes pes = PesOf(500);
    const std::vector<streammaker::TsPacket> packets = streammaker::PesPackets(PID, pes);
    ASSERT_EQ(packets.size(), 3U);
    Push(packets[0]);
    writer.Skip(PID);
    Push(packets[2]);
    for (const streammaker::TsPacket& packet : packets) {
        Push(packet);
    }
    EXPECT_THAT(received, ElementsAre(pes));
}

TEST_F(CaptionDeliveryTest, GoesOnWithAStreamThatStaysWhenTheProgramsMapChanges) {
    const Bytes pes = PesOf(300);
    const std::vector<streammaker::TsPacket> packets = streammaker::PesPackets(PID, pes);
    ASSERT_EQ(packets.size(), 2U);
    Push(packets[0]);
    pmt.streams.push_back({{PID + 1, 3, ""}, tvservice::Pmt::Captions::None});
    delivery.Show(&pmt);
    Push(packets[1]);
    EXPECT_THAT(received, ElementsAre(pes));
    delivery.Show(nullptr);
    Push(packets[0]);
    Push(packets[1]);
    EXPECT_EQ(received.size(), 1U) << "no program, no captions";
}

class PesDeliveryTest : public DeliveryTest {};

TEST_F(PesDeliveryTest, BringsAnOpenPacketWhereTheStreamEnds) {
    const auto subscriber = std::make_shared<tvservice::PESDataSubscriber>(
        tvservice::ScreenKey{PROFILE_MAIN, 0}, [] {});
    tvservice::PesDelivery delivery(demuxer, subscriber);
    int id = 0;
    const auto add = [](TSPESData& data, void* user) {
        EXPECT_EQ(data.word_c & PES_DAMAGED, 0U);
        static_cast<std::vector<Bytes>*>(user)->push_back(data.bytes);
    };
    EXPECT_EQ(subscriber->SubscribePESData(add, &received, id), 1);
    delivery.SetPids({PID});
    delivery.Sync();
    const Bytes pes = PesOf(100, true);
    Push(streammaker::PesPackets(PID, pes)[0]);
    EXPECT_THAT(received, IsEmpty());
    demuxer.Break();
    EXPECT_THAT(received, ElementsAre(pes));
}

// --- programs ---

std::vector<int> s_changes;

class ProgramSubscriberTest : public testing::Test {
protected:
    ProgramSubscriberTest() { s_changes.clear(); }

    static void Add(EProgramChangeType type, TCProgramData* /*data*/, int /*param*/, int /*id*/) {
        s_changes.push_back(type);
    }

    tvservice::ProgramSubscriber subscriber{Add, [] {}};
    tvservice::ProgramGuide guide{[](EProgramChangeType, const TCProgramData&) {}};
    int id = 0;
};

TEST_F(ProgramSubscriberTest, TellsNothingAfterAListThatIsWantedOnce) {
    EXPECT_EQ(subscriber.SubscribeProgramListPF(0, 0, SUBSCRIBE_ONCE, id), 1);
    subscriber.Sync(guide);
    subscriber.Deliver(PROGRAM_PRESENT_CHANGED, TCProgramData());
    EXPECT_THAT(s_changes, ElementsAre(PROGRAM_LIST_END));
}

TEST_F(ProgramSubscriberTest, TellsChangesOfListsOnlyToThoseWhoHaveThem) {
    EXPECT_EQ(subscriber.SubscribeProgram(TCProgramFilteringItem(), id), 1);
    subscriber.Sync(guide);
    subscriber.Deliver(PROGRAM_SCHEDULE_CHANGED, TCProgramData());
    subscriber.Deliver(PROGRAM_FOLLOWING_CHANGED, TCProgramData());
    EXPECT_THAT(s_changes, ElementsAre(PROGRAM_FOLLOWING_CHANGED));
}

// --- settings ---

TEST(SettingsFile, HasTheDefaultsWhileThereIsNone) {
    using namespace std::chrono_literals;
    const TemporaryFolder folder;
    const std::filesystem::path path = folder.Path() / "settings";
    const auto begin = tvservice::SettingsFile::Clock::now();
    tvservice::SettingsFile file(path);
    EXPECT_EQ(file.Poll(begin).value().source.address, "");
    std::ofstream(path) << "[source]\naddress = /a\n";
    EXPECT_FALSE(file.Poll(begin + 499ms)) << "not yet";
    const std::optional<tvservice::Settings> settings = file.Poll(begin + 500ms);
    ASSERT_TRUE(settings);
    EXPECT_EQ(settings->source.address, "/a");
    EXPECT_FALSE(file.Poll(begin + 1s)) << "it hasn't changed";
    std::filesystem::remove(path);
    EXPECT_EQ(file.Poll(begin + 1500ms).value().source.address, "");
}

} // namespace

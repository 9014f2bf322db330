// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include "Dlog.h"
#include "LogCapture.h"
#include "TestStream.h"
#include "WaitUntil.h"

namespace {

using namespace std::chrono_literals;
using streammaker::StreamMaker;
using testing::ElementsAre;

constexpr std::int64_t START = 1714593600; // 2024-05-01 20:00:00 UTC

class SignalTest : public TestStream {
protected:
    void SubscribeAll(EProfile profile, unsigned short screen) {
        for (int signal = SIGNAL_STREAM_FOUND; signal <= SIGNAL_END_OF_FILE; ++signal) {
            EXPECT_EQ(
                Signals().SubscribeSignal(static_cast<ESignalType>(signal), this, profile, screen),
                1);
        }
    }

    // Those of one kind, in their order.
    std::vector<TSSignalData> DataOf(ESignalType signal, EProfile profile = PROFILE_MAIN) {
        std::vector<TSSignalData> data;
        for (const ReceivedSignal& entry : signals.Now()) {
            if (entry.signal == signal && entry.profile == profile) {
                data.push_back(entry.data);
            }
        }
        return data;
    }
};

MATCHER_P2(HasData, value, extra, "") {
    return arg.value == static_cast<std::uint32_t>(value) &&
           arg.extra == static_cast<std::uint32_t>(extra);
}

TEST_F(SignalTest, TellsWhatHappensToTheStreamInItsOrder) {
    SubscribeAll(PROFILE_MAIN, 0);
    StreamMaker maker(TestMultiplex({TestService(1, "One")}));
    maker.At(1s, [](streammaker::Multiplex& multiplex) {
        multiplex.services[0].components.push_back({0x333, 6, {}});
    });
    Play(maker.Make(3s));
    WaitForEnd();
    const auto entries = signals.Now();
    EXPECT_EQ(entries.front().signal, SIGNAL_STREAM_FOUND);
    EXPECT_EQ(entries.back().signal, SIGNAL_END_OF_FILE);
    for (const ReceivedSignal& entry : entries) {
        EXPECT_EQ(entry.profile, PROFILE_MAIN);
        EXPECT_EQ(entry.screen, 0);
        EXPECT_EQ(entry.user, this);
    }
    EXPECT_THAT(DataOf(SIGNAL_STREAM_FOUND), ElementsAre(HasData(1, 0)));
    EXPECT_THAT(DataOf(SIGNAL_PAT_CHANGED), ElementsAre(HasData(0x11, 0)));
    EXPECT_THAT(DataOf(SIGNAL_PMT_CHANGED),
                ElementsAre(HasData(1, 0x1001), HasData(1, 0x1001 | 1 << 16)));
    EXPECT_THAT(DataOf(SIGNAL_TIME),
                ElementsAre(HasData(START, 0), HasData(START + 1, 0), HasData(START + 2, 0)));
    EXPECT_THAT(DataOf(SIGNAL_END_OF_FILE), ElementsAre(HasData(1, 0)));
}

TEST_F(SignalTest, TellsThatNothingComesAnyMore) {
    SubscribeAll(PROFILE_MAIN, 0);
    Play(StreamMaker(TestMultiplex({TestService(1, "One")})).Make(1s));
    signals.Wait([](const auto& entries) {
        return !entries.empty() && entries.back().signal == SIGNAL_STREAM_LOST;
    });
    EXPECT_THAT(DataOf(SIGNAL_STREAM_LOST), ElementsAre(HasData(0, 0)));
}

TEST_F(SignalTest, TellsAMapOnlyToTheScreensThatShowTheProgram) {
    SubscribeAll(PROFILE_MAIN, 0);
    SubscribeAll(PROFILE_PIP, 0);
    SubscribeAll(PROFILE_RECORD, 0);
    Play(StreamMaker(TestMultiplex({TestService(1, "One"), TestService(2, "Two")})).Make(1s), ONCE,
         "[screen 1 0]\nprogram = 2\n[screen 2 0]\n");
    WaitForEnd();
    EXPECT_THAT(DataOf(SIGNAL_PMT_CHANGED, PROFILE_MAIN), ElementsAre(HasData(2, 0x1002)));
    EXPECT_THAT(DataOf(SIGNAL_PMT_CHANGED, PROFILE_PIP), ElementsAre(HasData(1, 0x1001)))
        << "the first program where none is named";
    EXPECT_THAT(DataOf(SIGNAL_PAT_CHANGED, PROFILE_PIP).size(), 1U);
    EXPECT_THAT(DataOf(SIGNAL_STREAM_FOUND, PROFILE_RECORD).size(), 0U)
        << "a screen that the settings don't name";
}

TEST_F(SignalTest, BeginsAFileAgainWhereTheSettingsSaySo) {
    SubscribeAll(PROFILE_MAIN, 0);
    Play(StreamMaker(TestMultiplex({TestService(1, "One")})).Make(1s), "pace = fast\nloop = yes\n");
    const auto isThirdTime = [](const auto& entries) {
        return std::any_of(entries.begin(), entries.end(), [](const ReceivedSignal& entry) {
            return entry.signal == SIGNAL_END_OF_FILE && entry.data.value == 3;
        });
    };
    signals.Wait(isThirdTime);
    EXPECT_THAT(DataOf(SIGNAL_END_OF_FILE)[0], HasData(1, 1));
    EXPECT_THAT(DataOf(SIGNAL_PAT_CHANGED).size(), 1U) << "it is the same stream";
}

TEST_F(SignalTest, PlaysAnEmptyFileOnce) {
    SubscribeAll(PROFILE_MAIN, 0);
    Play({}, "pace = fast\nloop = yes\n");
    WaitForEnd();
    EXPECT_THAT(DataOf(SIGNAL_END_OF_FILE), ElementsAre(HasData(1, 0)));
    EXPECT_THAT(DataOf(SIGNAL_STREAM_FOUND).size(), 0U);
}

TEST_F(SignalTest, ReadsItsSettingsAgainWhenTheyChange) {
    SubscribeAll(PROFILE_MAIN, 0);
    StreamMaker first(TestMultiplex({TestService(1, "One")}));
    Play(first.Make(1s));
    WaitForEnd();
    streammaker::Multiplex other = TestMultiplex({TestService(7, "Seven")});
    other.transportStreamId = 0x77;
    Play(StreamMaker(other).Make(1s));
    signals.Wait([](const auto& entries) {
        return std::count_if(entries.begin(), entries.end(), [](const ReceivedSignal& entry) {
                   return entry.signal == SIGNAL_END_OF_FILE;
               }) == 2;
    });
    EXPECT_THAT(DataOf(SIGNAL_STREAM_FOUND), ElementsAre(HasData(1, 0), HasData(2, 0)));
    EXPECT_THAT(DataOf(SIGNAL_STREAM_LOST).size(), 1U) << "the first one went";
    EXPECT_THAT(DataOf(SIGNAL_PAT_CHANGED), ElementsAre(HasData(0x11, 0), HasData(0x77, 0)));
    EXPECT_THAT(DataOf(SIGNAL_END_OF_FILE), ElementsAre(HasData(1, 0), HasData(1, 0)));
}

TEST_F(SignalTest, KeepsItsSettingsWhereTheNewOnesDontParse) {
    SubscribeAll(PROFILE_MAIN, 0);
    Play(StreamMaker(TestMultiplex({TestService(1, "One")})).Make(1s), "pace = fast\nloop = yes\n");
    WaitForEnd();
    WriteSettings("[source]\npace = slow\n");
    const std::string words = (Folder() / "settings").string() +
                              ": [source] pace is 'slow', and is to be clock or fast; the settings "
                              "stay as they are";
    EXPECT_TRUE(LogCapture::WaitFor(DLOG_WARN, words));
    const std::size_t ends = DataOf(SIGNAL_END_OF_FILE).size();
    EXPECT_TRUE(WaitUntil([&] { return DataOf(SIGNAL_END_OF_FILE).size() > ends; }));
    EXPECT_THAT(DataOf(SIGNAL_STREAM_LOST).size(), 0U);
}

TEST_F(SignalTest, DeliversUnderTheLatestUserAndNothingAfterwards) {
    int other = 0;
    Signals().SubscribeSignal(SIGNAL_TIME, this, PROFILE_MAIN, 0);
    Signals().SubscribeSignal(SIGNAL_TIME, &other, PROFILE_MAIN, 0);
    Signals().SubscribeSignal(SIGNAL_PAT_CHANGED, this, PROFILE_MAIN, 0);
    EXPECT_EQ(Signals().UnsubscribeSignal(SIGNAL_PAT_CHANGED, PROFILE_MAIN, 0), 1);
    EXPECT_EQ(Signals().UnsubscribeSignal(SIGNAL_PAT_CHANGED, PROFILE_MAIN, 0), 0);
    EXPECT_EQ(Signals().UnsubscribeSignal(SIGNAL_PAT_CHANGED, PROFILE_MAIN, 1), 0);
    Signals().SubscribeSignal(SIGNAL_END_OF_FILE, this, PROFILE_MAIN, 0);
    Play(StreamMaker(TestMultiplex({TestService(1, "One")})).Make(1s));
    WaitForEnd();
    const auto entries = signals.Now();
    ASSERT_EQ(entries.size(), 2U);
    EXPECT_EQ(entries[0].signal, SIGNAL_TIME);
    EXPECT_EQ(entries[0].user, &other);
}

TEST_F(SignalTest, RefusesWhatIsNoSignalOrNoProfile) {
    EXPECT_EQ(Signals().SubscribeSignal(static_cast<ESignalType>(0), this, PROFILE_MAIN, 0), 0);
    EXPECT_EQ(Signals().SubscribeSignal(static_cast<ESignalType>(7), this, PROFILE_MAIN, 0), 0);
    EXPECT_EQ(Signals().SubscribeSignal(SIGNAL_TIME, this, static_cast<EProfile>(4), 0), 0);
    EXPECT_EQ(Signals().SubscribeSignal(SIGNAL_TIME, this, static_cast<EProfile>(-1), 0), 0);
}

} // namespace

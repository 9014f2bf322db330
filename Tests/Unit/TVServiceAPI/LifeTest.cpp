// SPDX-License-Identifier: Apache-2.0

// Subscribers and the library's thread: from Create to Destroy, from any thread.

#include <atomic>
#include <future>
#include <gmock/gmock.h>
#include <thread>

#include "CountThreads.h"
#include "Gate.h"
#include "PesBuilder.h"
#include "SectionBuilder.h"
#include "TestStream.h"
#include "TsWriter.h"
#include "WaitUntil.h"

namespace {

using namespace std::chrono_literals;
using streammaker::Bytes;
using streammaker::TsWriter;

constexpr std::uint16_t PID = 0x345;
constexpr const char* FOR_EVER = "pace = fast\nloop = yes\n";

class LifeTest : public TestStream {
protected:
    // Sections and PES packets of one PID each, for ever.
    void PlayForEver() {
        streammaker::SectionBuilder section;
        section.tableId = 0x80;
        section.payload = {1, 2, 3};
        streammaker::PesBuilder packet;
        packet.payload = {1};
        TsWriter writer;
        writer.WriteNull(3);
        writer.WriteSection(PID, section.Build());
        writer.WritePes(PID + 1, packet.Build());
        Play(writer.Take(), FOR_EVER, "[screen 1 0]\npes = 0x346\n");
    }

    int SubscribeSections() {
        int handle = 0;
        EXPECT_EQ(Sections().SubscribeSection(1, TCSectionCriteriaHelper(PID), handle), 1);
        return handle;
    }
};

TEST_F(LifeTest, HasOneThreadWhileAnySubscriberExists) {
    EXPECT_EQ(CountThreads("tv-stream"), 0);
    Signals();
    EXPECT_TRUE(WaitUntil([] { return CountThreads("tv-stream") == 1; }));
    ISectionSubscriber& sectionSubscriber = Sections();
    EXPECT_EQ(&Sections(), &sectionSubscriber) << "the same one again";
    TVServiceAPI::DestroySignalSubscriber();
    EXPECT_EQ(CountThreads("tv-stream"), 1);
    TVServiceAPI::DestroySectionSubscriber();
    EXPECT_EQ(CountThreads("tv-stream"), 0);
    TVServiceAPI::DestroySectionSubscriber(); // there is none
}

TEST_F(LifeTest, RefusesNullPointers) {
    ISignalSubscriber* signalSubscriber = nullptr;
    ISectionSubscriber* sectionSubscriber = nullptr;
    IProgramSubscriber* programSubscriber = nullptr;
    EXPECT_EQ(TVServiceAPI::CreateSignalSubscriber(nullptr, &signalSubscriber), 0);
    EXPECT_EQ(TVServiceAPI::CreateSectionSubscriber(nullptr, PROFILE_MAIN, 0, &sectionSubscriber),
              0);
    EXPECT_EQ(TVServiceAPI::CreateProgramSubscriber(nullptr, &programSubscriber), 0);
    EXPECT_EQ(TVServiceAPI::CreateDataSubscriber(PROFILE_MAIN, 0, nullptr), 0);
    EXPECT_EQ(TVServiceAPI::CreatePESDataSubscriber(PROFILE_MAIN, 0, nullptr), 0);
    EXPECT_EQ(CountThreads("tv-stream"), 0);
}

TEST_F(LifeTest, EndsItsThreadWhenTheLastSubscriberGoesInsideOfACallback) {
    SubscribeSections();
    std::atomic<bool> isFirst = true;
    onSection = [&](const ReceivedSection&) {
        if (isFirst.exchange(false)) {
            TVServiceAPI::DestroySectionSubscriber();
        }
    };
    PlayForEver();
    sections.WaitFor(1);
    EXPECT_TRUE(WaitUntil([] { return CountThreads("tv-stream") == 0; }));
    EXPECT_EQ(sections.Now().size(), 1U);
    // And everything begins anew.
    SubscribeSections();
    sections.WaitFor(2);
    TVServiceAPI::DestroySectionSubscriber(); // while what its callback uses is there
}

TEST_F(LifeTest, WaitsAtTheEndForACallbackOfWhatHasBeenUnsubscribed) {
    struct State {
        Gate entered;
        Gate leave;
        std::atomic<bool> left = false;
    } state;
    Signals(); // another subscriber, so that the thread goes on
    int id = 0;
    EXPECT_EQ(Pes().SubscribePESData(
                  [](TSPESData&, void* user) {
                      auto& theState = *static_cast<State*>(user);
                      theState.entered.Open();
                      theState.leave.Wait();
                      theState.left = true;
                  },
                  &state, id),
              1);
    PlayForEver();
    ASSERT_TRUE(state.entered.Wait());
    EXPECT_EQ(Pes().UnsubscribePESData(id), 1) << "at once";
    std::future<void> destroyed =
        std::async(std::launch::async, [] { TVServiceAPI::DestroyPESDataSubscriber(); });
    EXPECT_EQ(destroyed.wait_for(100ms), std::future_status::timeout);
    state.leave.Open();
    destroyed.get();
    EXPECT_TRUE(state.left);
}

TEST_F(LifeTest, WaitsAtTheEndForACallbackOfWhatHasBeenReplaced) {
    Signals();
    const int handle = SubscribeSections();
    Gate entered;
    Gate leave;
    std::atomic<bool> left = false;
    onSection = [&](const ReceivedSection&) {
        entered.Open();
        leave.Wait();
        left = true;
    };
    PlayForEver();
    ASSERT_TRUE(entered.Wait());
    EXPECT_EQ(Sections().ChangeSection(handle, TCSectionCriteriaHelper(PID, 0x99)), 1);
    std::future<void> destroyed =
        std::async(std::launch::async, [] { TVServiceAPI::DestroySectionSubscriber(); });
    EXPECT_EQ(destroyed.wait_for(100ms), std::future_status::timeout);
    leave.Open();
    destroyed.get();
    EXPECT_TRUE(left);
}

TEST_F(LifeTest, UnsubscribesNoSectionsWithACallbackOfWhatHasBeenReplacedUnderWay) {
    Signals();
    const int handle = SubscribeSections();
    Gate entered;
    Gate leave;
    onSection = [&](const ReceivedSection&) {
        entered.Open();
        leave.Wait();
    };
    PlayForEver();
    ASSERT_TRUE(entered.Wait());
    for (unsigned char table : {0x98, 0x99}) {
        EXPECT_EQ(Sections().ChangeSection(handle, TCSectionCriteriaHelper(PID, table)), 1);
    }
    EXPECT_EQ(Sections().UnsubscribeSection(handle), 0);
    leave.Open();
    EXPECT_TRUE(WaitUntil([&] { return Sections().UnsubscribeSection(handle) == 1; }));
}

// The callback's thread is on its way to its end, and nobody who begins anew waits for that.
TEST_F(LifeTest, BeginsAnewWhileTheOldThreadIsStillInItsLastCallback) {
    SubscribeSections();
    Gate entered;
    Gate leave;
    std::atomic<bool> isFirst = true;
    onSection = [&](const ReceivedSection&) {
        if (isFirst.exchange(false)) {
            TVServiceAPI::DestroySectionSubscriber();
            entered.Open();
            leave.Wait();
        }
    };
    PlayForEver();
    ASSERT_TRUE(entered.Wait());
    EXPECT_EQ(SubscribeSections(), 1) << "the first filter of a new subscriber";
    sections.WaitFor(2);
    leave.Open();
    EXPECT_TRUE(WaitUntil([] { return CountThreads("tv-stream") == 1; }));
    TVServiceAPI::DestroySectionSubscriber(); // while what its callback uses is there
}

} // namespace

// SPDX-License-Identifier: Apache-2.0
#include "TVSPESEventProxy.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <type_traits>

#include "DeathTest.h"
#include "PrivateMember.h"
#include "ProxyTools.h"
#include "RecordingListener.h"

namespace {

using marrow::evt::tvs_pes_event_arg_t;
using marrow::evt::TVSPESEventProxy;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

using Listener = RecordingListener<tvs_pes_event_arg_t>;
using Table = std::vector<TVSPESEventProxy::IListener*>;

struct Listeners : PrivateMember<Listeners, Table TVSPESEventProxy::*> {};

} // namespace

template struct ExposeMember<Listeners, &TVSPESEventProxy::m_listeners>;

namespace {

class TVSPESEventProxyTest : public testing::Test {
protected:
    TVSPESEventProxyTest() {
        fake.Reset();
        Table().clear();
        LogCapture::Clear();
        packet.word_a = 0x81828384;
        packet.short_b = 0xFEDC;
        packet.word_c = 0x91929394;
        packet.bytes = {5, 6, 7};
    }
    ~TVSPESEventProxyTest() override { Table().clear(); }

    ::Table& Table() { return proxy.*MemberOf(Listeners()); }

    FakeTVService& fake = FakeTVService::Get();
    TVSPESEventProxy& proxy = TVSPESEventProxy::Get();
    TSPESData packet;
    Listener one{"one"};
    Listener two{"two"};
    Listener three{"three"};
};

TEST_F(TVSPESEventProxyTest, IsOneObjectForTheProcess) {
    EXPECT_EQ(&TVSPESEventProxy::Get(), &proxy);
    EXPECT_FALSE(std::is_default_constructible_v<TVSPESEventProxy>);
}

TEST_F(TVSPESEventProxyTest, StartsTheDeliveryForTheFirstListenerAndStopsItForTheLast) {
    fake.WriteFrom(31);
    proxy.Subscribe(&one);
    EXPECT_EQ(fake.User(), &proxy);
    proxy.Subscribe(&two);
    EXPECT_THAT(fake.Calls(), ElementsAre("SubscribePESData"));
    proxy.Unsubscribe(&one);
    EXPECT_THAT(fake.Calls(), ElementsAre("SubscribePESData"));
    proxy.Unsubscribe(&two);
    EXPECT_THAT(fake.Calls(), ElementsAre("SubscribePESData", "UnsubscribePESData 31"));
    EXPECT_THAT(Table(), IsEmpty());
    proxy.Subscribe(&two);
    proxy.Unsubscribe(&two);
    EXPECT_THAT(fake.Calls(), ElementsAre("SubscribePESData", "UnsubscribePESData 31",
                                          "SubscribePESData", "UnsubscribePESData 32"));
}

TEST_F(TVSPESEventProxyTest, StopsTheDeliveryOfItsOneListenerForAForeignOne) {
    proxy.Subscribe(&one);
    proxy.Unsubscribe(&two);
    EXPECT_THAT(fake.Calls(), ElementsAre("SubscribePESData", "UnsubscribePESData 100"));
    EXPECT_THAT(Table(), ElementsAre(&one));
    proxy.Subscribe(&two);
    EXPECT_THAT(Table(), ElementsAre(&one, &two));
    EXPECT_THAT(fake.Calls(), SizeIs(2)) << "nothing starts it again";
}

TEST_F(TVSPESEventProxyTest, IgnoresAForeignListenerAmongSeveral) {
    proxy.Subscribe(&one);
    proxy.Subscribe(&two);
    proxy.Unsubscribe(&three);
    EXPECT_THAT(Table(), ElementsAre(&one, &two));
    EXPECT_THAT(fake.Calls(), ElementsAre("SubscribePESData"));
}

TEST_F(TVSPESEventProxyTest, StopsNothingWhereNobodyIsSubscribed) {
    proxy.Unsubscribe(&one);
    EXPECT_THAT(fake.Calls(), IsEmpty());
    EXPECT_THAT(Table(), IsEmpty());
}

TEST_F(TVSPESEventProxyTest, AsksThePlatformAheadOfChangingTheListeners) {
    std::size_t atStart = 7;
    fake.InsideNextCall([&] { atStart = Table().size(); });
    proxy.Subscribe(&one);
    EXPECT_EQ(atStart, 0U);
    std::size_t atStop = 7;
    fake.InsideNextCall([&] { atStop = Table().size(); });
    proxy.Unsubscribe(&one);
    EXPECT_EQ(atStop, 1U);
}

TEST_F(TVSPESEventProxyTest, LooksAtNoAnswerOfThePlatform) {
    fake.Answer("SubscribePESData", 0);
    fake.Answer("UnsubscribePESData", 0);
    proxy.Subscribe(&one);
    EXPECT_THAT(Table(), ElementsAre(&one));
    proxy.Unsubscribe(&one);
    EXPECT_THAT(Table(), IsEmpty());
}

TEST_F(TVSPESEventProxyTest, RemovesTheFirstOfAListenersEntriesAndKeepsTheOrder) {
    proxy.Subscribe(&one);
    proxy.Subscribe(&two);
    proxy.Subscribe(&one);
    proxy.Subscribe(&three);
    proxy.Unsubscribe(&one);
    EXPECT_THAT(Table(), ElementsAre(&two, &one, &three));
}

TEST_F(TVSPESEventProxyTest, HandsAPacketTwiceToWhoSubscribedTwice) {
    proxy.Subscribe(&one);
    proxy.Subscribe(&one);
    fake.Pes(packet);
    EXPECT_THAT(one.Events(), SizeIs(2));
    EXPECT_THAT(fake.Calls(), ElementsAre("SubscribePESData"));
}

TEST_F(TVSPESEventProxyTest, HandsAPacketToEachListenerOnItsOwnWorker) {
    proxy.Subscribe(&one);
    proxy.Subscribe(&two);
    pid_t thread = 0;
    std::thread([&] {
        thread = ThisThread();
        fake.Pes(packet);
    }).join();
    for (Listener* listener : {&one, &two}) {
        ASSERT_THAT(listener->Events(), SizeIs(1));
        const tvs_pes_event_arg_t& event = listener->Events()[0];
        EXPECT_EQ(event.word_a, 0x81828384U);
        EXPECT_EQ(event.short_b, 0xFEDC);
        EXPECT_EQ(event.word_c, 0x91929394U);
        EXPECT_EQ(event.size, 3);
        EXPECT_THAT(std::vector(event.data.get(), event.data.get() + 3), ElementsAre(5, 6, 7));
        EXPECT_THAT(listener->asked, ElementsAre(thread));
    }
    EXPECT_THAT(one.Threads(), ElementsAre("one_thread"));
    EXPECT_THAT(two.Threads(), ElementsAre("two_thread"));
}

TEST_F(TVSPESEventProxyTest, AsksListenersInTheOrderOfTheirSubscription) {
    std::vector<std::string> order;
    one.onAsked = [&] { order.emplace_back("one"); };
    two.onAsked = [&] { order.emplace_back("two"); };
    proxy.Subscribe(&two);
    proxy.Subscribe(&one);
    fake.Pes(packet);
    EXPECT_THAT(order, ElementsAre("two", "one"));
}

TEST_F(TVSPESEventProxyTest, SharesOneCopyOfTheBytesAmongAllListeners) {
    proxy.Subscribe(&one);
    proxy.Subscribe(&two);
    fake.Pes(packet);
    ASSERT_THAT(one.Events(), SizeIs(1));
    ASSERT_THAT(two.Events(), SizeIs(1));
    const std::shared_ptr<unsigned char>& data = one.Events()[0].data;
    EXPECT_EQ(data, two.Events()[0].data);
    EXPECT_NE(data.get(), packet.bytes.data());
    EXPECT_NE(std::get_deleter<std::default_delete<unsigned char[]>>(data), nullptr);
    EXPECT_EQ(data.use_count(), 2) << "the jobs' own have gone";
    packet.bytes.assign(3, 0);
    EXPECT_THAT(std::vector(data.get(), data.get() + 3), ElementsAre(5, 6, 7));
}

TEST_F(TVSPESEventProxyTest, HandsOverNoDataForAPacketWithoutBytes) {
    packet.bytes.clear();
    packet.bytes.reserve(100); // memory isn't bytes
    proxy.Subscribe(&one);
    fake.Pes(packet);
    ASSERT_THAT(one.Events(), SizeIs(1));
    EXPECT_EQ(one.Events()[0].data, nullptr);
    EXPECT_EQ(one.Events()[0].size, 0);
    EXPECT_EQ(one.Events()[0].word_a, 0x81828384U);
}

TEST_F(TVSPESEventProxyTest, CountsMoreBytesThanAShortNumberHolds) {
    packet.bytes.assign(70000, 3);
    proxy.Subscribe(&one);
    fake.Pes(packet);
    ASSERT_THAT(one.Events(), SizeIs(1));
    EXPECT_EQ(one.Events()[0].size, 70000);
    EXPECT_EQ(one.Events()[0].data.get()[69999], 3);
}

TEST_F(TVSPESEventProxyTest, DropsAPacketThatNobodyWants) {
    proxy.Subscribe(&one);
    proxy.Unsubscribe(&one);
    LogCapture::Clear();
    fake.Pes(packet);
    EXPECT_THAT(LinesWithoutTheWorkers(), IsEmpty());
    EXPECT_THAT(one.asked, IsEmpty());
}

TEST_F(TVSPESEventProxyTest, LetsAnUnsubscribeWaitForTheDelivery) {
    proxy.Subscribe(&one);
    OtherThread other;
    bool waited = false;
    one.onAsked = [&] { waited = other.WaitsFor(proxy, [this] { proxy.Unsubscribe(&one); }); };
    fake.Pes(packet);
    EXPECT_TRUE(waited);
    EXPECT_THAT(one.Events(), SizeIs(1));
}

TEST_F(TVSPESEventProxyTest, HoldsItsLockWhileThePlatformIsAsked) {
    OtherThread atStart;
    bool waitedAtStart = false;
    fake.InsideNextCall(
        [&] { waitedAtStart = atStart.WaitsFor(proxy, [this] { fake.Pes(packet); }); });
    proxy.Subscribe(&one);
    OtherThread atStop;
    bool waitedAtStop = false;
    fake.InsideNextCall(
        [&] { waitedAtStop = atStop.WaitsFor(proxy, [this] { fake.Pes(packet); }); });
    proxy.Unsubscribe(&one);
    EXPECT_TRUE(waitedAtStart);
    EXPECT_TRUE(waitedAtStop);
}

TEST_F(TVSPESEventProxyTest, AsksThePlatformOnTheCallersThread) {
    pid_t caller = 0;
    pid_t asked = 0;
    fake.InsideNextCall([&] { asked = ThisThread(); });
    std::thread([&] {
        caller = ThisThread();
        proxy.Subscribe(&one);
    }).join();
    EXPECT_EQ(asked, caller);
}

TEST_F(TVSPESEventProxyTest, WaitsForNoListener) {
    const auto gate = std::make_shared<Gate>();
    one.onEvent = [gate] { gate->Wait(); };
    proxy.Subscribe(&one);
    proxy.Subscribe(&two);
    fake.Pes(packet);
    fake.Pes(packet);
    EXPECT_THAT(two.Events(), SizeIs(2)) << "while the other is still at its first";
    gate->Open();
    EXPECT_THAT(one.Events(), SizeIs(2));
}

TEST_F(TVSPESEventProxyTest, LogsNothing) {
    proxy.Unsubscribe(&one);
    proxy.Subscribe(&one);
    proxy.Unsubscribe(&two);
    proxy.Unsubscribe(&one);
    EXPECT_THAT(LinesWithoutTheWorkers(), IsEmpty());
}

TEST(TVSPESEventProxyLife, MakesTheSubscriberWithTheProxyAndReturnsItAtExit) {
    UseFreshProcesses();
    EXPECT_EXIT(
        {
            TellCallsAtExit();
            TVSPESEventProxy::Get().Subscribe(nullptr);
            std::exit(0);
        },
        testing::ExitedWithCode(0),
        HasSubstr("asked: CreatePESDataSubscriber 1 0, SubscribePESData, "
                  "DestroyPESDataSubscriber."));
}

TEST(TVSPESEventProxyLife, FallsOverTheSubscriberThatThePlatformDidNotMake) {
    UseFreshProcesses();
    EXPECT_EXIT(
        {
            FakeTVService::Get().Answer("CreatePESDataSubscriber", 0);
            TVSPESEventProxy& proxy = TVSPESEventProxy::Get();
            std::fprintf(stderr, "made\n");
            proxy.Subscribe(nullptr);
            std::exit(0);
        },
        DiedOfAFault, HasSubstr("made"));
}

} // namespace

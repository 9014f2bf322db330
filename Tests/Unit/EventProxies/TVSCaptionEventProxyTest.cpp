// SPDX-License-Identifier: Apache-2.0
#include "TVSCaptionEventProxy.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <type_traits>

#include "DeathTest.h"
#include "PrivateMember.h"
#include "ProxyTools.h"
#include "RecordingListener.h"

namespace {

using marrow::evt::TVSCaptionEventProxy;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

using Listener = RecordingListener<TSCaption>;
using Table = std::vector<TVSCaptionEventProxy::IListener*>;

struct Listeners : PrivateMember<Listeners, Table TVSCaptionEventProxy::*> {};
struct Subscriber : PrivateMember<Subscriber, IDataSubscriber * TVSCaptionEventProxy::*> {};

} // namespace

template struct ExposeMember<Listeners, &TVSCaptionEventProxy::m_listeners>;
template struct ExposeMember<Subscriber, &TVSCaptionEventProxy::m_subscriber>;

namespace {

class TVSCaptionEventProxyTest : public testing::Test {
protected:
    TVSCaptionEventProxyTest() {
        fake.Reset();
        Table().clear();
        LogCapture::Clear();
        caption.word_a = 0x81828384;
        caption.byte_b = 0xFE;
        caption.word_c = 0x91929394;
        caption.bytes = {5, 6, 7};
    }
    ~TVSCaptionEventProxyTest() override { Table().clear(); }

    ::Table& Table() { return proxy.*MemberOf(Listeners()); }

    FakeTVService& fake = FakeTVService::Get();
    TVSCaptionEventProxy& proxy = TVSCaptionEventProxy::Get();
    TSCaption caption;
    Listener one{"one"};
    Listener two{"two"};
};

TEST_F(TVSCaptionEventProxyTest, IsOneObjectForTheProcess) {
    EXPECT_EQ(&TVSCaptionEventProxy::Get(), &proxy);
    EXPECT_FALSE(std::is_default_constructible_v<TVSCaptionEventProxy>);
}

TEST_F(TVSCaptionEventProxyTest, StartsAndStopsTheDeliveryWithItsListener) {
    fake.WriteFrom(31);
    EXPECT_TRUE(proxy.Subscribe(&one));
    EXPECT_EQ(fake.User(), &proxy);
    EXPECT_THAT(Table(), ElementsAre(&one));
    EXPECT_TRUE(proxy.Unsubscribe(&one));
    EXPECT_THAT(Table(), IsEmpty());
    EXPECT_TRUE(proxy.Subscribe(&two));
    EXPECT_TRUE(proxy.Unsubscribe(&two));
    EXPECT_THAT(fake.Calls(), ElementsAre("SubscribeData", "UnsubscribeData 31", "SubscribeData",
                                          "UnsubscribeData 32"));
}

TEST_F(TVSCaptionEventProxyTest, RefusesASecondListenerAndGoesOnWithTheFirst) {
    EXPECT_TRUE(proxy.Subscribe(&one));
    EXPECT_FALSE(proxy.Subscribe(&two));
    EXPECT_FALSE(proxy.Subscribe(&one));
    EXPECT_THAT(fake.Calls(), ElementsAre("SubscribeData"));
    fake.Caption(caption);
    EXPECT_THAT(one.Events(), SizeIs(1));
    EXPECT_THAT(two.Events(), IsEmpty());
}

TEST_F(TVSCaptionEventProxyTest, StopsNothingWhereNobodyIsSubscribed) {
    EXPECT_FALSE(proxy.Unsubscribe(&one));
    EXPECT_THAT(fake.Calls(), IsEmpty());
}

TEST_F(TVSCaptionEventProxyTest, StopsTheDeliveryForAForeignListenerAndKeepsItsOwn) {
    EXPECT_TRUE(proxy.Subscribe(&one));
    EXPECT_TRUE(proxy.Unsubscribe(&two));
    EXPECT_THAT(fake.Calls(), ElementsAre("SubscribeData", "UnsubscribeData 100"));
    EXPECT_THAT(Table(), ElementsAre(&one));
    EXPECT_FALSE(proxy.Subscribe(&two)) << "its place is taken";
    EXPECT_FALSE(proxy.Subscribe(&one));
    EXPECT_TRUE(proxy.Unsubscribe(&one)) << "which stops it once more";
    EXPECT_THAT(fake.Calls(),
                ElementsAre("SubscribeData", "UnsubscribeData 100", "UnsubscribeData 100"));
    EXPECT_THAT(Table(), IsEmpty());
    EXPECT_TRUE(proxy.Subscribe(&two));
}

TEST_F(TVSCaptionEventProxyTest, StopsTheDeliveryAheadOfLettingGoOfItsListener) {
    EXPECT_TRUE(proxy.Subscribe(&one));
    std::size_t listeners = 0;
    fake.InsideNextCall([&] { listeners = Table().size(); });
    EXPECT_TRUE(proxy.Unsubscribe(&one));
    EXPECT_EQ(listeners, 1U);
}

TEST_F(TVSCaptionEventProxyTest, StartsTheDeliveryAheadOfKeepingItsListener) {
    std::size_t listeners = 7;
    fake.InsideNextCall([&] { listeners = Table().size(); });
    EXPECT_TRUE(proxy.Subscribe(&one));
    EXPECT_EQ(listeners, 0U);
}

TEST_F(TVSCaptionEventProxyTest, LooksAtNoAnswerOfThePlatform) {
    fake.Answer("SubscribeData", 0);
    fake.Answer("UnsubscribeData", 0);
    EXPECT_TRUE(proxy.Subscribe(&one));
    EXPECT_THAT(Table(), ElementsAre(&one));
    EXPECT_TRUE(proxy.Unsubscribe(&one));
    EXPECT_THAT(Table(), IsEmpty());
}

TEST_F(TVSCaptionEventProxyTest, RefusesEverythingWithoutThePlatformsSubscriber) {
    IDataSubscriber*& subscriber = proxy.*MemberOf(Subscriber());
    IDataSubscriber* const kept = std::exchange(subscriber, nullptr);
    EXPECT_FALSE(proxy.Subscribe(&one));
    EXPECT_THAT(Table(), IsEmpty());
    Table().push_back(&one);
    EXPECT_FALSE(proxy.Unsubscribe(&one));
    EXPECT_THAT(Table(), ElementsAre(&one));
    EXPECT_THAT(fake.Calls(), IsEmpty());
    subscriber = kept;
}

TEST_F(TVSCaptionEventProxyTest, HandsOverACopyOfTheWholeCaption) {
    EXPECT_TRUE(proxy.Subscribe(&one));
    pid_t thread = 0;
    std::thread([&] {
        thread = ThisThread();
        fake.Caption(caption);
    }).join();
    caption.bytes[0] = 99;
    caption.word_a = 0;
    ASSERT_THAT(one.Events(), SizeIs(1));
    const TSCaption& event = one.Events()[0];
    EXPECT_EQ(event.word_a, 0x81828384U);
    EXPECT_EQ(event.byte_b, 0xFE);
    EXPECT_EQ(event.word_c, 0x91929394U);
    EXPECT_THAT(event.bytes, ElementsAre(5, 6, 7));
    EXPECT_THAT(one.Threads(), ElementsAre("one_thread"));
    EXPECT_THAT(one.asked, ElementsAre(thread));
    EXPECT_EQ(caption.byte_b, 0xFE) << "the platform's is left as it was";
}

TEST_F(TVSCaptionEventProxyTest, HandsOverACaptionWithoutBytes) {
    caption.bytes.clear();
    EXPECT_TRUE(proxy.Subscribe(&one));
    fake.Caption(caption);
    ASSERT_THAT(one.Events(), SizeIs(1));
    EXPECT_THAT(one.Events()[0].bytes, IsEmpty());
    EXPECT_EQ(one.Events()[0].word_a, 0x81828384U);
}

TEST_F(TVSCaptionEventProxyTest, DropsACaptionThatNobodyWants) {
    EXPECT_TRUE(proxy.Subscribe(&one));
    EXPECT_TRUE(proxy.Unsubscribe(&one));
    LogCapture::Clear();
    fake.Caption(caption);
    EXPECT_THAT(LinesWithoutTheWorkers(), IsEmpty());
    EXPECT_THAT(one.asked, IsEmpty());
}

TEST_F(TVSCaptionEventProxyTest, LetsAnUnsubscribeWaitForTheDelivery) {
    EXPECT_TRUE(proxy.Subscribe(&one));
    OtherThread other;
    bool waited = false;
    one.onAsked = [&] { waited = other.WaitsFor(proxy, [this] { proxy.Unsubscribe(&one); }); };
    fake.Caption(caption);
    EXPECT_TRUE(waited);
    EXPECT_THAT(one.Events(), SizeIs(1));
}

TEST_F(TVSCaptionEventProxyTest, HoldsItsLockWhileThePlatformIsAsked) {
    OtherThread atStart;
    bool waitedAtStart = false;
    fake.InsideNextCall(
        [&] { waitedAtStart = atStart.WaitsFor(proxy, [this] { fake.Caption(caption); }); });
    EXPECT_TRUE(proxy.Subscribe(&one));
    OtherThread atStop;
    bool waitedAtStop = false;
    fake.InsideNextCall(
        [&] { waitedAtStop = atStop.WaitsFor(proxy, [this] { fake.Caption(caption); }); });
    EXPECT_TRUE(proxy.Unsubscribe(&one));
    EXPECT_TRUE(waitedAtStart);
    EXPECT_TRUE(waitedAtStop);
}

TEST_F(TVSCaptionEventProxyTest, AsksThePlatformOnTheCallersThread) {
    pid_t caller = 0;
    pid_t asked = 0;
    fake.InsideNextCall([&] { asked = ThisThread(); });
    std::thread([&] {
        caller = ThisThread();
        proxy.Subscribe(&one);
    }).join();
    EXPECT_EQ(asked, caller);
}

TEST_F(TVSCaptionEventProxyTest, WaitsForNoListener) {
    const auto gate = std::make_shared<Gate>();
    one.onEvent = [gate] { gate->Wait(); };
    EXPECT_TRUE(proxy.Subscribe(&one));
    fake.Caption(caption);
    caption.bytes = {8};
    fake.Caption(caption);
    EXPECT_TRUE(proxy.Unsubscribe(&one)) << "while the listener is still at its first";
    gate->Open();
    ASSERT_THAT(one.Events(), SizeIs(2));
    EXPECT_THAT(one.Events()[0].bytes, ElementsAre(5, 6, 7));
    EXPECT_THAT(one.Events()[1].bytes, ElementsAre(8));
}

TEST_F(TVSCaptionEventProxyTest, LogsNothing) {
    EXPECT_FALSE(proxy.Unsubscribe(&one));
    EXPECT_TRUE(proxy.Subscribe(&one));
    EXPECT_FALSE(proxy.Subscribe(&two));
    EXPECT_TRUE(proxy.Unsubscribe(&two));
    EXPECT_THAT(LinesWithoutTheWorkers(), IsEmpty());
}

TEST(TVSCaptionEventProxyLife, LetsGoOfTheSubscriberAheadOfReturningIt) {
    UseFreshProcesses();
    EXPECT_EXIT(
        {
            TellCallsAtExit();
            static TVSCaptionEventProxy& proxy = TVSCaptionEventProxy::Get();
            proxy.Subscribe(nullptr);
            FakeTVService::Get().InsideNextCall([] {
                const bool held = proxy.*MemberOf(Subscriber()) != nullptr;
                std::fprintf(stderr, "held: %d.\n", static_cast<int>(held));
            });
            std::exit(0);
        },
        testing::ExitedWithCode(0),
        testing::AllOf(HasSubstr("asked: CreateDataSubscriber 1 0, SubscribeData, "
                                 "DestroyDataSubscriber."),
                       HasSubstr("held: 0.")));
}

TEST(TVSCaptionEventProxyLife, RefusesWhereThePlatformMadeNoSubscriber) {
    UseFreshProcesses();
    EXPECT_EXIT(
        {
            FakeTVService::Get().Answer("CreateDataSubscriber", 0);
            std::exit(TVSCaptionEventProxy::Get().Subscribe(nullptr) ? 1 : 3);
        },
        testing::ExitedWithCode(3), "");
}

} // namespace

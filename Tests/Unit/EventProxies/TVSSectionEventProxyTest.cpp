// SPDX-License-Identifier: Apache-2.0
#include "TVSSectionEventProxy.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <numeric>
#include <type_traits>

#include "DeathTest.h"
#include "PrivateMember.h"
#include "ProxyTools.h"
#include "RecordingListener.h"

namespace {

using marrow::evt::tvs_section_event_arg_t;
using marrow::evt::TVSSectionEventProxy;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

using Listener = RecordingListener<tvs_section_event_arg_t>;

struct NextId : PrivateMember<NextId, int TVSSectionEventProxy::*> {};

} // namespace

template struct ExposeMember<NextId, &TVSSectionEventProxy::m_next_id>;

namespace {

class TVSSectionEventProxyTest : public testing::Test {
protected:
    TVSSectionEventProxyTest() {
        fake.Reset();
        LogCapture::Clear();
    }
    // As if the proxy were new: the next test finds no filter, and its first id is 0.
    ~TVSSectionEventProxyTest() override {
        fake.Reset();
        for (int id = 0; id < 10; ++id) {
            proxy.Unsubscribe(id);
        }
        proxy.*MemberOf(NextId()) = 0;
    }

    int Subscribe(Listener& listener) {
        int id = -2;
        EXPECT_TRUE(proxy.Subscribe(criteria, &listener, id));
        return id;
    }

    FakeTVService& fake = FakeTVService::Get();
    TVSSectionEventProxy& proxy = TVSSectionEventProxy::Get();
    const TCSectionCriteriaHelper criteria{0x12};
    Listener one{"one"};
    Listener two{"two"};
    std::vector<unsigned char> bytes = {1, 2, 3, 4};
};

TEST_F(TVSSectionEventProxyTest, IsOneObjectForTheProcess) {
    EXPECT_EQ(&TVSSectionEventProxy::Get(), &proxy);
    EXPECT_FALSE(std::is_default_constructible_v<TVSSectionEventProxy>);
}

TEST_F(TVSSectionEventProxyTest, CountsItsIdsFromZeroAndStartsAFilterForEach) {
    EXPECT_EQ(Subscribe(one), 0);
    EXPECT_EQ(Subscribe(one), 1);
    EXPECT_EQ(Subscribe(two), 2);
    EXPECT_THAT(fake.Calls(), ElementsAre("SubscribeSection 0 18", "SubscribeSection 1 18",
                                          "SubscribeSection 2 18"));
}

TEST_F(TVSSectionEventProxyTest, GivesTheIdOfARefusedFilterToTheNext) {
    EXPECT_EQ(Subscribe(one), 0);
    for (const int refusal : {0, -5}) {
        fake.Answer("SubscribeSection", refusal);
        int id = 77;
        EXPECT_FALSE(proxy.Subscribe(criteria, &one, id));
        EXPECT_EQ(id, -1);
    }
    fake.Answer("SubscribeSection", 3); // any number above 0 will do
    EXPECT_EQ(Subscribe(one), 1);
    EXPECT_THAT(fake.Calls(), ElementsAre("SubscribeSection 0 18", "SubscribeSection 1 18",
                                          "SubscribeSection 1 18", "SubscribeSection 1 18"));
}

TEST_F(TVSSectionEventProxyTest, GivesTheHighestIdAgainAfterItsEnd) {
    Subscribe(one);
    Subscribe(one);
    EXPECT_TRUE(proxy.Unsubscribe(1));
    EXPECT_EQ(Subscribe(one), 1);
    EXPECT_TRUE(proxy.Unsubscribe(1));
    EXPECT_EQ(Subscribe(one), 1);
    EXPECT_EQ(Subscribe(one), 2);
}

TEST_F(TVSSectionEventProxyTest, NeverGivesALowerIdAgain) {
    Subscribe(one);
    Subscribe(one);
    EXPECT_TRUE(proxy.Unsubscribe(0));
    EXPECT_EQ(Subscribe(one), 2);
    EXPECT_TRUE(proxy.Unsubscribe(1));
    EXPECT_EQ(Subscribe(one), 3);
}

// The highest that was given stays free where nobody asked in between: the next id stands on it.
TEST_F(TVSSectionEventProxyTest, MovesOnOnlyWhenTheNextCallFindsTheIdTaken) {
    Subscribe(one);
    EXPECT_EQ(proxy.*MemberOf(NextId()), 0);
    EXPECT_TRUE(proxy.Unsubscribe(0));
    EXPECT_EQ(Subscribe(one), 0);
    EXPECT_EQ(proxy.GetNextSubscriberId(), 1);
    EXPECT_EQ(proxy.GetNextSubscriberId(), 1) << "it isn't taken by being told";
}

TEST_F(TVSSectionEventProxyTest, StopsAFilterByThePlatformsHandle) {
    fake.WriteFrom(500);
    Subscribe(one);
    Subscribe(one);
    EXPECT_TRUE(proxy.Unsubscribe(1));
    fake.Answer("UnsubscribeSection", 9); // any number above 0 will do
    EXPECT_TRUE(proxy.Unsubscribe(0));
    EXPECT_THAT(fake.Calls(), ElementsAre("SubscribeSection 0 18", "SubscribeSection 1 18",
                                          "UnsubscribeSection 501", "UnsubscribeSection 500"));
}

TEST_F(TVSSectionEventProxyTest, AsksNothingForAnIdThatItDoesNotKnow) {
    EXPECT_FALSE(proxy.Unsubscribe(0));
    EXPECT_FALSE(proxy.Unsubscribe(-1));
    EXPECT_THAT(fake.Calls(), IsEmpty());
    Subscribe(one);
    EXPECT_TRUE(proxy.Unsubscribe(0));
    EXPECT_FALSE(proxy.Unsubscribe(0)) << "it has gone";
}

TEST_F(TVSSectionEventProxyTest, KeepsAFilterThatThePlatformDoesNotStop) {
    Subscribe(one);
    for (const int refusal : {0, -5}) {
        fake.Answer("UnsubscribeSection", refusal);
        EXPECT_FALSE(proxy.Unsubscribe(0));
    }
    fake.Section(true, 4, bytes.data(), 0);
    EXPECT_THAT(one.Events(), SizeIs(1));
    fake.Answer("UnsubscribeSection", 1);
    EXPECT_TRUE(proxy.Unsubscribe(0));
    EXPECT_THAT(fake.Calls(), ElementsAre("SubscribeSection 0 18", "UnsubscribeSection 100",
                                          "UnsubscribeSection 100", "UnsubscribeSection 100"));
}

TEST_F(TVSSectionEventProxyTest, TakesAListenerAsItIs) {
    int id = -2;
    EXPECT_TRUE(proxy.Subscribe(criteria, nullptr, id));
    EXPECT_EQ(id, 0);
}

TEST_F(TVSSectionEventProxyTest, HandsASectionToTheListenerOfItsId) {
    Subscribe(one);
    Subscribe(two);
    Subscribe(one);
    pid_t thread = 0;
    std::thread([&] {
        thread = ThisThread();
        fake.Section(true, 4, bytes.data(), 2);
    }).join();
    ASSERT_THAT(one.Events(), SizeIs(1));
    const tvs_section_event_arg_t& event = one.Events()[0];
    EXPECT_EQ(event.size, 4);
    EXPECT_EQ(event.subscriber_id, 2);
    EXPECT_THAT(std::vector(event.data.get(), event.data.get() + 4), ElementsAre(1, 2, 3, 4));
    EXPECT_THAT(one.Threads(), ElementsAre("one_thread"));
    EXPECT_THAT(one.asked, ElementsAre(thread));
    EXPECT_THAT(two.Events(), IsEmpty());
    fake.Section(true, 4, bytes.data(), 0);
    ASSERT_THAT(one.Events(), SizeIs(2));
    EXPECT_EQ(one.Events()[1].subscriber_id, 0);
}

TEST_F(TVSSectionEventProxyTest, PassesTheFlagOn) {
    Subscribe(one);
    fake.Section(true, 4, bytes.data(), 0);
    fake.Section(false, 4, bytes.data(), 0);
    ASSERT_THAT(one.Events(), SizeIs(2));
    EXPECT_TRUE(one.Events()[0].flag);
    EXPECT_FALSE(one.Events()[1].flag);
}

TEST_F(TVSSectionEventProxyTest, CopiesTheBytes) {
    std::vector<unsigned char> section(65535);
    std::iota(section.begin(), section.end(), 0);
    const std::vector<unsigned char> before = section;
    Subscribe(one);
    fake.Section(true, 65535, section.data(), 0);
    std::fill(section.begin(), section.end(), 0);
    ASSERT_THAT(one.Events(), SizeIs(1));
    const tvs_section_event_arg_t& event = one.Events()[0];
    EXPECT_EQ(event.size, 65535);
    EXPECT_NE(event.data.get(), section.data());
    EXPECT_TRUE(std::equal(before.begin(), before.end(), event.data.get()));
    EXPECT_NE(std::get_deleter<std::default_delete<unsigned char[]>>(event.data), nullptr);
}

TEST_F(TVSSectionEventProxyTest, LeavesTheBytesToTheListenerWhenTheJobIsDone) {
    Subscribe(one);
    fake.Section(true, 4, bytes.data(), 0);
    ASSERT_THAT(one.Events(), SizeIs(1));
    const std::weak_ptr<unsigned char> data = one.Events()[0].data;
    EXPECT_EQ(data.use_count(), 1);
    one.Events().clear();
    EXPECT_TRUE(data.expired());
}

TEST_F(TVSSectionEventProxyTest, HandsOverNoDataWhereThePlatformGivesNoBytes) {
    Subscribe(one);
    fake.Section(true, 0, bytes.data(), 0);
    fake.Section(true, 100, nullptr, 0);
    ASSERT_THAT(one.Events(), SizeIs(2));
    EXPECT_EQ(one.Events()[0].data, nullptr);
    EXPECT_EQ(one.Events()[0].size, 0);
    EXPECT_EQ(one.Events()[1].data, nullptr);
    EXPECT_EQ(one.Events()[1].size, 100);
}

TEST_F(TVSSectionEventProxyTest, HoldsNoLockWhileASectionIsDelivered) {
    Subscribe(one);
    OtherThread other;
    bool finished = false;
    bool stopped = false;
    one.onAsked = [&] { finished = other.Finishes([&] { stopped = proxy.Unsubscribe(0); }); };
    fake.Section(true, 4, bytes.data(), 0);
    ASSERT_TRUE(finished);
    EXPECT_TRUE(stopped);
    EXPECT_THAT(one.Events(), SizeIs(1)) << "one more, after its end";
}

TEST_F(TVSSectionEventProxyTest, HoldsItsLockWhileThePlatformStartsAFilter) {
    Subscribe(one);
    OtherThread other;
    bool waited = false;
    fake.InsideNextCall([&] {
        waited = other.WaitsFor(proxy, [this] { fake.Section(true, 4, bytes.data(), 0); });
    });
    Subscribe(two);
    EXPECT_TRUE(waited);
}

TEST_F(TVSSectionEventProxyTest, HoldsItsLockWhileThePlatformStopsAFilter) {
    Subscribe(one);
    Subscribe(two);
    OtherThread other;
    bool waited = false;
    fake.InsideNextCall([&] {
        waited = other.WaitsFor(proxy, [this] { fake.Section(true, 4, bytes.data(), 0); });
    });
    EXPECT_TRUE(proxy.Unsubscribe(1));
    EXPECT_TRUE(waited);
}

TEST_F(TVSSectionEventProxyTest, WaitsForNoListener) {
    const auto gate = std::make_shared<Gate>();
    one.onEvent = [gate] { gate->Wait(); };
    Subscribe(one);
    Subscribe(two);
    fake.Section(true, 4, bytes.data(), 0);
    fake.Section(true, 4, bytes.data(), 0);
    fake.Section(true, 4, bytes.data(), 1);
    EXPECT_THAT(two.Events(), SizeIs(1)) << "while the other is still at its first";
    gate->Open();
    EXPECT_THAT(one.Events(), SizeIs(2));
}

TEST_F(TVSSectionEventProxyTest, LogsNothing) {
    int id = 0;
    Subscribe(one);
    fake.Answer("SubscribeSection", 0);
    EXPECT_FALSE(proxy.Subscribe(criteria, &one, id));
    fake.Answer("UnsubscribeSection", 0);
    EXPECT_FALSE(proxy.Unsubscribe(0));
    EXPECT_FALSE(proxy.Unsubscribe(5));
    fake.Reset();
    EXPECT_TRUE(proxy.Unsubscribe(0));
    EXPECT_THAT(LinesWithoutTheWorkers(), IsEmpty());
}

TEST(TVSSectionEventProxyLife, MakesTheSubscriberWithTheProxyAndStopsNoFilterAtExit) {
    UseFreshProcesses();
    EXPECT_EXIT(
        {
            TellCallsAtExit();
            TVSSectionEventProxy& proxy = TVSSectionEventProxy::Get();
            int id = 0;
            proxy.Subscribe(TCSectionCriteriaHelper(1), nullptr, id);
            std::exit(0);
        },
        testing::ExitedWithCode(0),
        HasSubstr("asked: CreateSectionSubscriber 1 0, SubscribeSection 0 1, "
                  "DestroySectionSubscriber."));
}

TEST(TVSSectionEventProxyLife, FallsOverTheSubscriberThatThePlatformDidNotMake) {
    UseFreshProcesses();
    EXPECT_EXIT(
        {
            FakeTVService::Get().Answer("CreateSectionSubscriber", 0);
            TVSSectionEventProxy& proxy = TVSSectionEventProxy::Get();
            std::fprintf(stderr, "made\n");
            int id = 0;
            proxy.Subscribe(TCSectionCriteriaHelper(1), nullptr, id);
            std::exit(0);
        },
        DiedOfAFault, HasSubstr("made"));
}

// Nothing but the platform's promise keeps such a callback away.
TEST(TVSSectionEventProxyLife, FallsOverAnIdThatNobodyHas) {
    UseFreshProcesses();
    EXPECT_EXIT(
        {
            TVSSectionEventProxy::Get();
            std::fprintf(stderr, "made\n");
            unsigned char byte = 1;
            FakeTVService::Get().Section(true, 1, &byte, 3);
            std::exit(0);
        },
        DiedOfAFault, HasSubstr("made"));
}

} // namespace

// SPDX-License-Identifier: Apache-2.0
#include "TVSProgramEventProxy.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <type_traits>

#include "DeathTest.h"
#include "PrivateMember.h"
#include "ProxyTools.h"
#include "RecordingListener.h"

namespace {

using marrow::evt::tvs_program_event_arg_t;
using marrow::evt::TVSProgramEventProxy;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;

using Listener = RecordingListener<tvs_program_event_arg_t>;
using Table = std::map<int, TVSProgramEventProxy::IListener*>;

struct Subscribers : PrivateMember<Subscribers, Table TVSProgramEventProxy::*> {};

} // namespace

template struct ExposeMember<Subscribers, &TVSProgramEventProxy::m_subscribers>;

namespace {

class TVSProgramEventProxyTest : public testing::Test {
protected:
    TVSProgramEventProxyTest() {
        fake.Reset();
        Table().clear();
        LogCapture::Clear();
        filter.SetService(42);
        data.service_name = "a service whose name is too long to lie inside of its string";
        data.service_id = 7;
    }
    ~TVSProgramEventProxyTest() override { Table().clear(); }

    ::Table& Table() { return proxy.*MemberOf(Subscribers()); }
    int Subscribe(Listener& listener) {
        int id = -2;
        EXPECT_TRUE(proxy.Subscribe(&listener, filter, id));
        return id;
    }
    void Change(int id, int param = 0) { fake.Program(PROGRAM_CHANGED, &data, param, id); }

    FakeTVService& fake = FakeTVService::Get();
    TVSProgramEventProxy& proxy = TVSProgramEventProxy::Get();
    TCProgramFilteringItem filter;
    TCProgramData data;
    Listener one{"one"};
    Listener two{"two"};
};

TEST_F(TVSProgramEventProxyTest, IsOneObjectForTheProcess) {
    EXPECT_EQ(&TVSProgramEventProxy::Get(), &proxy);
    EXPECT_FALSE(std::is_default_constructible_v<TVSProgramEventProxy>);
}

TEST_F(TVSProgramEventProxyTest, TakesTheIdsFromThePlatform) {
    fake.WriteFrom(1000);
    int first = 0;
    int second = 0;
    int third = 0;
    EXPECT_TRUE(proxy.Subscribe(&one, filter, first));
    fake.Answer("SubscribeProgramListPF", 8); // any number above 0 will do
    EXPECT_TRUE(proxy.SubscribeListPF(&two, 0x123456789ABULL, SUBSCRIBE_CHANGES, -3, second));
    EXPECT_TRUE(proxy.SubscribeList(&one, 0xBA987654321ULL, 4000000000U, 4000000001U,
                                    SUBSCRIBE_BOTH, 5, third));
    EXPECT_EQ(first, 1000);
    EXPECT_EQ(second, 1001);
    EXPECT_EQ(third, 1002);
    EXPECT_THAT(fake.Calls(),
                ElementsAre("SubscribeProgram 42", "SubscribeProgramListPF -3 1250999896491 1",
                            "SubscribeProgramList 5 12822748939041 4000000000 4000000001 2"));
    EXPECT_THAT(Table(), ElementsAre(Pair(1000, &one), Pair(1001, &two), Pair(1002, &one)));
}

TEST_F(TVSProgramEventProxyTest, WritesMinusOneWhereThePlatformRefuses) {
    for (const int refusal : {0, -5}) {
        for (const char* operation :
             {"SubscribeProgram", "SubscribeProgramListPF", "SubscribeProgramList"}) {
            fake.Answer(operation, refusal);
        }
        int id = 77;
        EXPECT_FALSE(proxy.Subscribe(&one, filter, id));
        EXPECT_EQ(id, -1);
        id = 77;
        EXPECT_FALSE(proxy.SubscribeListPF(&one, 1, SUBSCRIBE_ONCE, 0, id));
        EXPECT_EQ(id, -1);
        id = 77;
        EXPECT_FALSE(proxy.SubscribeList(&one, 1, 2, 3, SUBSCRIBE_ONCE, 0, id));
        EXPECT_EQ(id, -1);
    }
    EXPECT_THAT(Table(), IsEmpty());
}

TEST_F(TVSProgramEventProxyTest, GivesAnIdThatComesTwiceToTheLaterListener) {
    fake.WriteFrom(5);
    EXPECT_EQ(Subscribe(one), 5);
    fake.WriteFrom(5);
    EXPECT_EQ(Subscribe(two), 5);
    Change(5);
    EXPECT_THAT(one.Events(), IsEmpty());
    EXPECT_THAT(two.Events(), SizeIs(1));
}

TEST_F(TVSProgramEventProxyTest, HandsAChangeToTheListenerOfItsId) {
    Subscribe(one);
    const int id = Subscribe(two);
    pid_t thread = 0;
    std::thread([&] {
        thread = ThisThread();
        fake.Program(PROGRAM_SCHEDULE_CHANGED, &data, -9, id);
    }).join();
    ASSERT_THAT(two.Events(), SizeIs(1));
    const tvs_program_event_arg_t& event = two.Events()[0];
    EXPECT_EQ(event.change_type, PROGRAM_SCHEDULE_CHANGED);
    EXPECT_TRUE(*event.program == data);
    EXPECT_EQ(event.param, -9);
    EXPECT_EQ(event.subscriber_id, id);
    EXPECT_THAT(two.Threads(), ElementsAre("two_thread"));
    EXPECT_THAT(two.asked, ElementsAre(thread));
    EXPECT_THAT(one.Events(), IsEmpty());
}

TEST_F(TVSProgramEventProxyTest, NamesInEachEventWhichOfAListenersSubscriptionsItIsFor) {
    const int first = Subscribe(one);
    const int second = Subscribe(one);
    ASSERT_NE(first, second);
    Change(second);
    Change(first);
    ASSERT_THAT(one.Events(), SizeIs(2));
    EXPECT_EQ(one.Events()[0].subscriber_id, second);
    EXPECT_EQ(one.Events()[1].subscriber_id, first);
}

TEST_F(TVSProgramEventProxyTest, CopiesTheData) {
    const int id = Subscribe(one);
    const TCProgramData before = data;
    {
        TCProgramData passing = data;
        fake.Program(PROGRAM_CHANGED, &passing, 0, id);
        passing.service_name = "another";
        passing.service_id = 8;
    }
    ASSERT_THAT(one.Events(), SizeIs(1));
    EXPECT_TRUE(*one.Events()[0].program == before);
}

TEST_F(TVSProgramEventProxyTest, LeavesTheDataToTheListenerWhenTheJobIsDone) {
    const int id = Subscribe(one);
    Change(id);
    ASSERT_THAT(one.Events(), SizeIs(1));
    const std::weak_ptr<TCProgramData> program = one.Events()[0].program;
    EXPECT_EQ(program.use_count(), 1);
    one.Events().clear();
    EXPECT_TRUE(program.expired());
}

TEST_F(TVSProgramEventProxyTest, DropsAChangeForAnIdThatNobodyHas) {
    Subscribe(one);
    LogCapture::Clear();
    Change(99);
    fake.Program(PROGRAM_CHANGED, nullptr, 0, 99); // the data isn't looked at
    EXPECT_THAT(LinesWithoutTheWorkers(), IsEmpty());
    EXPECT_THAT(one.asked, IsEmpty());
    EXPECT_THAT(Table(), ElementsAre(Pair(100, &one))) << "no entry is made";
}

TEST_F(TVSProgramEventProxyTest, KeepsAnUnsubscribeToItself) {
    const int id = Subscribe(one);
    proxy.Unsubscribe(id);
    EXPECT_THAT(fake.Calls(), ElementsAre("SubscribeProgram 42")) << "the platform isn't told";
    EXPECT_THAT(Table(), IsEmpty());
    Change(id);
    EXPECT_THAT(one.Events(), IsEmpty());
    EXPECT_THAT(Table(), IsEmpty());
}

TEST_F(TVSProgramEventProxyTest, UnsubscribesTheOneIdOnly) {
    const int first = Subscribe(one);
    const int second = Subscribe(one);
    proxy.Unsubscribe(first);
    proxy.Unsubscribe(first);
    proxy.Unsubscribe(-1);
    EXPECT_THAT(Table(), ElementsAre(Pair(second, &one)));
}

TEST_F(TVSProgramEventProxyTest, LetsAnUnsubscribeWaitForTheDelivery) {
    const int id = Subscribe(one);
    OtherThread other;
    bool waited = false;
    one.onAsked = [&] { waited = other.WaitsFor(proxy, [this, id] { proxy.Unsubscribe(id); }); };
    Change(id);
    EXPECT_TRUE(waited);
    EXPECT_THAT(one.Events(), SizeIs(1)) << "what was queued before still comes";
}

TEST_F(TVSProgramEventProxyTest, HoldsItsLockWhileThePlatformIsAsked) {
    const auto callsBack = [this](OtherThread& other, bool& waited) {
        fake.InsideNextCall(
            [this, &other, &waited] { waited = other.WaitsFor(proxy, [this] { Change(99); }); });
    };
    std::array<OtherThread, 3> others;
    std::array<bool, 3> waited{};
    int id = 0;
    callsBack(others[0], waited[0]);
    EXPECT_TRUE(proxy.Subscribe(&one, filter, id));
    callsBack(others[1], waited[1]);
    EXPECT_TRUE(proxy.SubscribeListPF(&one, 1, SUBSCRIBE_ONCE, 0, id));
    callsBack(others[2], waited[2]);
    EXPECT_TRUE(proxy.SubscribeList(&one, 1, 2, 3, SUBSCRIBE_ONCE, 0, id));
    EXPECT_THAT(waited, ElementsAre(true, true, true));
}

TEST_F(TVSProgramEventProxyTest, WaitsForNoListener) {
    const auto gate = std::make_shared<Gate>();
    one.onEvent = [gate] { gate->Wait(); };
    const int first = Subscribe(one);
    const int second = Subscribe(two);
    Change(first);
    Change(first);
    Change(second);
    EXPECT_THAT(two.Events(), SizeIs(1)) << "while the other is still at its first";
    proxy.Unsubscribe(first);
    gate->Open();
    EXPECT_THAT(one.Events(), SizeIs(2));
}

TEST_F(TVSProgramEventProxyTest, LogsNothing) {
    const int id = Subscribe(one);
    proxy.Unsubscribe(id);
    proxy.Unsubscribe(id);
    fake.Answer("SubscribeProgram", 0);
    int refused = 0;
    EXPECT_FALSE(proxy.Subscribe(&one, filter, refused));
    EXPECT_THAT(LinesWithoutTheWorkers(), IsEmpty());
}

TEST(TVSProgramEventProxyLife, MakesTheSubscriberWithTheProxyAndReturnsItAtExit) {
    UseFreshProcesses();
    EXPECT_EXIT(
        {
            TellCallsAtExit();
            TVSProgramEventProxy& proxy = TVSProgramEventProxy::Get();
            int id = 0;
            proxy.Subscribe(nullptr, TCProgramFilteringItem(), id);
            std::exit(0);
        },
        testing::ExitedWithCode(0),
        HasSubstr("asked: CreateProgramSubscriber, SubscribeProgram 0, "
                  "DestroyProgramSubscriber."));
}

TEST(TVSProgramEventProxyLife, FallsOverTheSubscriberThatThePlatformDidNotMake) {
    UseFreshProcesses();
    EXPECT_EXIT(
        {
            FakeTVService::Get().Answer("CreateProgramSubscriber", 0);
            TVSProgramEventProxy& proxy = TVSProgramEventProxy::Get();
            std::fprintf(stderr, "made\n");
            int id = 0;
            proxy.Subscribe(nullptr, TCProgramFilteringItem(), id);
            std::exit(0);
        },
        DiedOfAFault, HasSubstr("made"));
}

TEST(TVSProgramEventProxyLife, FallsOverAChangeWithoutData) {
    UseFreshProcesses();
    EXPECT_EXIT(
        {
            TVSProgramEventProxy& proxy = TVSProgramEventProxy::Get();
            Listener listener("listener");
            int id = 0;
            proxy.Subscribe(&listener, TCProgramFilteringItem(), id);
            std::fprintf(stderr, "made\n");
            FakeTVService::Get().Program(PROGRAM_CHANGED, nullptr, 0, id);
            std::exit(0);
        },
        DiedOfAFault, HasSubstr("made"));
}

} // namespace

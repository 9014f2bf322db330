// SPDX-License-Identifier: Apache-2.0

// How often the proxies copy what they deliver, and what is left where that fails. An allocation of
// the payload's own size is a copy of it: with FailingNew the first one, or one too many, throws.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <new>

#include "FailingNew.h"
#include "FakeTVService.h"
#include "Job.h"
#include "RecordingListener.h"
#include "TVSCaptionEventProxy.h"
#include "TVSEventProxy.h"
#include "TVSPESEventProxy.h"
#include "TVSProgramEventProxy.h"
#include "TVSSectionEventProxy.h"

namespace {

using marrow::ser::Job;
using testing::IsEmpty;
using testing::SizeIs;
using namespace marrow::evt;

constexpr std::size_t SIZE = 3989; // of a payload; nothing else is as long as that
const std::string NAME(SIZE, 'n');
constexpr std::size_t NAME_MEMORY = SIZE + 1;

FakeTVService& Fake() {
    return FakeTVService::Get();
}

class SectionPayload : public testing::Test {
protected:
    SectionPayload() {
        EXPECT_TRUE(
            TVSSectionEventProxy::Get().Subscribe(TCSectionCriteriaHelper(1), &listener, id));
    }
    ~SectionPayload() override { EXPECT_TRUE(TVSSectionEventProxy::Get().Unsubscribe(id)); }

    void Section() { Fake().Section(true, SIZE, bytes.data(), id); }

    int id = -1;
    std::vector<unsigned char> bytes = std::vector<unsigned char>(SIZE);
    RecordingListener<tvs_section_event_arg_t> listener{"listener"};
};

TEST_F(SectionPayload, IsCopiedOnce) {
    {
        const FailingNew second(SIZE, 1);
        EXPECT_NO_THROW(Section());
    }
    EXPECT_THAT(listener.Events(), SizeIs(1));
    const FailingNew first(SIZE);
    EXPECT_THROW(Section(), std::bad_alloc);
}

TEST_F(SectionPayload, LeavesTheLockFreeWhereItsJobCannotBeMade) {
    {
        const FailingNew noJob(sizeof(Job));
        EXPECT_THROW(Section(), std::bad_alloc);
    }
    EXPECT_THAT(listener.Events(), IsEmpty());
    Section();
    EXPECT_THAT(listener.Events(), SizeIs(1));
}

class ProgramPayload : public testing::Test {
protected:
    ProgramPayload() {
        data.service_name = NAME;
        EXPECT_TRUE(TVSProgramEventProxy::Get().Subscribe(&listener, TCProgramFilteringItem(), id));
    }
    ~ProgramPayload() override { TVSProgramEventProxy::Get().Unsubscribe(id); }

    void Change(int forId) { Fake().Program(PROGRAM_CHANGED, &data, 0, forId); }

    int id = -1;
    TCProgramData data;
    RecordingListener<tvs_program_event_arg_t> listener{"listener"};
};

TEST_F(ProgramPayload, IsCopiedOnceIntoMemoryOfItsOwn) {
    {
        const FailingNew second(NAME_MEMORY, 1);
        EXPECT_NO_THROW(Change(id));
    }
    EXPECT_THAT(listener.Events(), SizeIs(1));
    {
        const FailingNew first(NAME_MEMORY);
        EXPECT_THROW(Change(id), std::bad_alloc);
    }
    {
        const FailingNew secondObject(sizeof(TCProgramData), 1);
        EXPECT_NO_THROW(Change(id));
    }
    const FailingNew firstObject(sizeof(TCProgramData));
    EXPECT_THROW(Change(id), std::bad_alloc);
}

TEST_F(ProgramPayload, IsNotCopiedForAnIdThatNobodyHas) {
    const FailingNew first(NAME_MEMORY);
    EXPECT_NO_THROW(Change(id + 1));
}

TEST_F(ProgramPayload, LeavesTheLockFreeWhereItsJobCannotBeMade) {
    {
        const FailingNew noJob(sizeof(Job));
        EXPECT_THROW(Change(id), std::bad_alloc);
    }
    Change(id);
    EXPECT_THAT(listener.Events(), SizeIs(1));
}

class PESPayload : public testing::Test {
protected:
    PESPayload() {
        packet.bytes.resize(SIZE);
        proxy.Subscribe(&one); // also tells the fake whom to call back
        proxy.Subscribe(&two);
    }
    ~PESPayload() override {
        proxy.Unsubscribe(&one);
        proxy.Unsubscribe(&two);
    }

    TVSPESEventProxy& proxy = TVSPESEventProxy::Get();
    TSPESData packet;
    RecordingListener<tvs_pes_event_arg_t> one{"one"};
    RecordingListener<tvs_pes_event_arg_t> two{"two"};
};

TEST_F(PESPayload, IsCopiedOnceForAllListeners) {
    {
        const FailingNew second(SIZE, 1);
        EXPECT_NO_THROW(Fake().Pes(packet));
    }
    EXPECT_THAT(one.Events(), SizeIs(1));
    EXPECT_THAT(two.Events(), SizeIs(1));
    const FailingNew first(SIZE);
    EXPECT_THROW(Fake().Pes(packet), std::bad_alloc);
}

TEST_F(PESPayload, IsCopiedForNobodyToo) {
    proxy.Unsubscribe(&one);
    proxy.Unsubscribe(&two);
    const FailingNew first(SIZE);
    EXPECT_THROW(Fake().Pes(packet), std::bad_alloc);
}

TEST_F(PESPayload, LeavesTheLockFreeWhereItsJobCannotBeMade) {
    {
        const FailingNew noJob(sizeof(Job));
        EXPECT_THROW(Fake().Pes(packet), std::bad_alloc);
    }
    EXPECT_THAT(one.Events(), IsEmpty());
    EXPECT_THAT(two.Events(), IsEmpty());
    Fake().Pes(packet);
    EXPECT_THAT(two.Events(), SizeIs(1));
}

TEST(CaptionPayload, IsCopiedWithItsBytesForItsListenerAndNotForNobody) {
    TVSCaptionEventProxy& proxy = TVSCaptionEventProxy::Get();
    RecordingListener<TSCaption> listener("listener");
    TSCaption caption;
    caption.bytes.resize(SIZE);
    ASSERT_TRUE(proxy.Subscribe(&listener));
    {
        const FailingNew first(SIZE);
        EXPECT_THROW(Fake().Caption(caption), std::bad_alloc);
    }
    {
        const FailingNew noJob(sizeof(Job));
        EXPECT_THROW(Fake().Caption(caption), std::bad_alloc);
    }
    Fake().Caption(caption); // the lock is free
    EXPECT_THAT(listener.Events(), SizeIs(1));
    EXPECT_TRUE(proxy.Unsubscribe(&listener));
    const FailingNew first(SIZE);
    EXPECT_NO_THROW(Fake().Caption(caption));
}

TEST(SignalPayload, LeavesTheLockFreeWhereItsJobCannotBeMade) {
    TVSEventProxy& proxy = TVSEventProxy::Get();
    RecordingListener<tvs_event_args_t> listener("listener");
    proxy.Subscribe(SIGNAL_TIME, PROFILE_MAIN, 0, &listener);
    {
        const FailingNew noJob(sizeof(Job));
        EXPECT_THROW(Fake().Signal(SIGNAL_TIME, PROFILE_MAIN, 0, {}), std::bad_alloc);
    }
    EXPECT_THAT(listener.asked, IsEmpty()) << "the job is made first";
    EXPECT_EQ(Fake().Signal(SIGNAL_TIME, PROFILE_MAIN, 0, {}), 0);
    EXPECT_THAT(listener.Events(), SizeIs(1));
    proxy.Unsubscribe(SIGNAL_TIME, PROFILE_MAIN, 0, &listener);
}

} // namespace

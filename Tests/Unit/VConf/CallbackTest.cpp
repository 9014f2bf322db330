// SPDX-License-Identifier: Apache-2.0

// What callbacks and those who add and remove them may do.

#include <atomic>
#include <memory>
#include <thread>

#include "Dlog.h"
#include "Gate.h"
#include "VConfFixture.h"
#include "WaitUntil.h"

namespace {

using testing::ElementsAre;

using CallbackTest = VConfTest;

void AddAlso(struct _keynode_t* node, void* user) {
    ChangeList::Add(node, user);
}

TEST_F(CallbackTest, TwoOnAKeyAreBothTold) {
    auto& first = Keep<ChangeList>();
    auto& second = Keep<ChangeList>();
    ASSERT_EQ(Notify("db/a", ChangeList::Add, &first), 0);
    ASSERT_EQ(Notify("db/a", AddAlso, &second), 0);
    ASSERT_EQ(vconf_set_int("db/a", 1), 0);
    ASSERT_TRUE(first.WaitFor(1));
    ASSERT_TRUE(second.WaitFor(1));
    ASSERT_EQ(vconf_ignore_key_changed("db/a", ChangeList::Add), 0);
    ASSERT_EQ(vconf_set_int("db/a", 2), 0);
    ASSERT_TRUE(second.WaitFor(2));
    EXPECT_THAT(first.Texts(), ElementsAre("db/a=1"));
}

TEST_F(CallbackTest, OneOnTwoKeysIsToldOfBoth) {
    auto& list = Keep<ChangeList>();
    ASSERT_EQ(Watch("db/a", list), 0);
    ASSERT_EQ(Watch("db/b", list), 0);
    ASSERT_EQ(vconf_set_int("db/a", 1), 0);
    ASSERT_EQ(vconf_set_int("db/b", 1), 0);
    ASSERT_TRUE(list.WaitFor(2));
    ASSERT_EQ(vconf_ignore_key_changed("db/a", ChangeList::Add), 0);
    ASSERT_EQ(vconf_set_int("db/a", 2), 0);
    ASSERT_EQ(vconf_set_int("db/b", 2), 0);
    ASSERT_TRUE(list.WaitFor(3));
    EXPECT_THAT(list.Texts(), ElementsAre("db/a=1", "db/b=1", "db/b=2"));
}

TEST_F(CallbackTest, TheSameOnAKeyASecondTimeIsAFailure) {
    auto& list = Keep<ChangeList>();
    auto& other = Keep<ChangeList>();
    ASSERT_EQ(Watch("db/a", list), 0);
    EXPECT_EQ(vconf_notify_key_changed("db/a", ChangeList::Add, &other), -1);
    EXPECT_EQ(
        LogCapture::Count(DLOG_WARN, "vconf_notify_key_changed: db/a has this callback already"),
        1);
    ASSERT_EQ(vconf_set_int("db/a", 1), 0);
    ASSERT_TRUE(list.WaitFor(1));
    EXPECT_THAT(other.Texts(), ElementsAre());
}

TEST_F(CallbackTest, OneThatIsntThereCantBeIgnored) {
    auto& list = Keep<ChangeList>();
    EXPECT_EQ(vconf_ignore_key_changed("db/a", ChangeList::Add), -1);
    ASSERT_EQ(Watch("db/a", list), 0);
    EXPECT_EQ(vconf_ignore_key_changed("db/a", AddAlso), -1);
    EXPECT_EQ(vconf_ignore_key_changed("db/b", ChangeList::Add), -1);
    EXPECT_EQ(vconf_ignore_key_changed("db/a", ChangeList::Add), 0);
    EXPECT_EQ(vconf_ignore_key_changed("db/a", ChangeList::Add), -1);
    EXPECT_EQ(LogCapture::Count(DLOG_WARN, "vconf_ignore_key_changed: no such callback"), 4);
}

TEST_F(CallbackTest, AKeyThatWasIgnoredCanBeWatchedAgain) {
    auto& list = Keep<ChangeList>();
    ASSERT_EQ(Watch("db/a", list), 0);
    ASSERT_EQ(vconf_ignore_key_changed("db/a", ChangeList::Add), 0);
    ASSERT_EQ(vconf_set_int("db/a", 1), 0);
    ASSERT_EQ(vconf_notify_key_changed("db/a", ChangeList::Add, &list), 0);
    ASSERT_EQ(vconf_set_int("db/a", 2), 0);
    ASSERT_TRUE(list.WaitFor(1));
    EXPECT_THAT(list.Texts(), ElementsAre("db/a=2"));
}

struct Chain {
    std::atomic<int> last{0};

    static void SetNext(struct _keynode_t* node, void* user) {
        auto& chain = *static_cast<Chain*>(user);
        chain.last = vconf_keynode_get_int(node);
        if (chain.last < 50) {
            vconf_set_int("db/a", chain.last + 1);
            int value = 0;
            vconf_get_int("db/a", &value);
            vconf_sync_key("db/a");
        }
    }
};

TEST_F(CallbackTest, OneMaySetGetAndSync) {
    auto& chain = Keep<Chain>();
    ASSERT_EQ(Notify("db/a", Chain::SetNext, &chain), 0);
    ASSERT_EQ(vconf_set_int("db/a", 1), 0);
    EXPECT_TRUE(WaitUntil([&] { return chain.last == 50; }));
}

struct Once {
    std::atomic<int> calls{0};
    std::atomic<int> result{-2};

    static void IgnoreItself(struct _keynode_t* node, void* user) {
        auto& once = *static_cast<Once*>(user);
        ++once.calls;
        once.result = vconf_ignore_key_changed(vconf_keynode_get_name(node), IgnoreItself);
    }
};

TEST_F(CallbackTest, OneMayIgnoreItself) {
    auto& once = Keep<Once>();
    auto& list = Keep<ChangeList>();
    ASSERT_EQ(Notify("db/a", Once::IgnoreItself, &once), 0);
    ASSERT_EQ(Watch("db/a", list), 0); // comes behind it
    ASSERT_EQ(vconf_set_int("db/a", 1), 0);
    ASSERT_TRUE(list.WaitFor(1));
    EXPECT_EQ(once.result, 0);
    ASSERT_EQ(vconf_set_int("db/a", 2), 0);
    ASSERT_TRUE(list.WaitFor(2));
    EXPECT_EQ(once.calls, 1);
}

void IgnoreTheNext(struct _keynode_t* node, void* user) {
    *static_cast<std::atomic<int>*>(user) =
        vconf_ignore_key_changed(vconf_keynode_get_name(node), ChangeList::Add);
}

TEST_F(CallbackTest, OneThatIsIgnoredByTheOneBeforeIsntCalled) {
    auto& result = Keep<std::atomic<int>>(-2);
    auto& ignored = Keep<ChangeList>();
    auto& list = Keep<ChangeList>();
    ASSERT_EQ(Notify("db/a", IgnoreTheNext, &result), 0);
    ASSERT_EQ(Watch("db/a", ignored), 0);
    ASSERT_EQ(Notify("db/a", AddAlso, &list), 0);
    ASSERT_EQ(vconf_set_int("db/a", 1), 0);
    ASSERT_TRUE(list.WaitFor(1));
    EXPECT_EQ(result, 0);
    EXPECT_THAT(ignored.Texts(), ElementsAre());
}

void WatchAnother(struct _keynode_t* /*node*/, void* user) {
    if (vconf_notify_key_changed("db/b", ChangeList::Add, user) == 0) {
        vconf_set_int("db/b", 1);
    }
}

TEST_F(CallbackTest, OneMayAddAnother) {
    auto& list = Keep<ChangeList>();
    ASSERT_EQ(Notify("db/a", WatchAnother, &list), 0);
    ASSERT_EQ(vconf_set_int("db/a", 1), 0);
    ASSERT_TRUE(list.WaitFor(1));
    EXPECT_THAT(list.Texts(), ElementsAre("db/b=1"));
    EXPECT_EQ(vconf_ignore_key_changed("db/b", ChangeList::Add), 0);
}

struct LockTaker {
    std::mutex mutex;
    Gate in;
    Gate out;

    static void Take(struct _keynode_t* /*node*/, void* user) {
        auto& taker = *static_cast<LockTaker*>(user);
        taker.in.Open();
        const std::scoped_lock lock(taker.mutex);
        taker.out.Open();
    }
};

TEST_F(CallbackTest, IgnoreReturnsWhileOneWaitsForALockOfItsCaller) {
    auto& taker = Keep<LockTaker>();
    ASSERT_EQ(Notify("db/a", LockTaker::Take, &taker), 0);
    {
        const std::scoped_lock lock(taker.mutex);
        ASSERT_EQ(vconf_set_int("db/a", 1), 0);
        ASSERT_TRUE(taker.in.Wait());
        EXPECT_EQ(vconf_ignore_key_changed("db/a", LockTaker::Take), 0);
        int value = 0;
        EXPECT_EQ(vconf_get_int("db/a", &value), 0); // nothing else waits for it either
        EXPECT_EQ(vconf_notify_key_changed("db/b", LockTaker::Take, &taker), 0);
        EXPECT_EQ(vconf_ignore_key_changed("db/b", LockTaker::Take), 0);
        EXPECT_FALSE(taker.out.IsOpen());
    }
    EXPECT_TRUE(taker.out.Wait());
}

struct Depth {
    std::atomic<int> now{0};
    std::atomic<int> most{0};
    std::atomic<int> calls{0};
    std::atomic<bool> isElsewhere{true};
    const std::thread::id caller = std::this_thread::get_id();

    static void Count(struct _keynode_t* /*node*/, void* user) {
        auto& depth = *static_cast<Depth*>(user);
        depth.most = std::max(depth.most.load(), ++depth.now);
        depth.isElsewhere = depth.isElsewhere && std::this_thread::get_id() != depth.caller;
        vconf_set_int("db/inner", 1);
        std::this_thread::yield();
        --depth.now;
        ++depth.calls;
    }
};

TEST_F(CallbackTest, TheyComeOneAtATimeOnAThreadOfTheLibrary) {
    auto& depth = Keep<Depth>();
    for (const char* key : {"db/a", "db/b", "db/inner"}) {
        ASSERT_EQ(Notify(key, Depth::Count, &depth), 0);
    }
    ASSERT_EQ(vconf_set_int("db/a", 1), 0);
    ASSERT_EQ(vconf_set_int("db/b", 1), 0);
    EXPECT_TRUE(WaitUntil([&] { return depth.calls >= 10; }));
    EXPECT_EQ(depth.most, 1);
    EXPECT_TRUE(depth.isElsewhere);
    EXPECT_EQ(vconf_ignore_key_changed("db/inner", Depth::Count), 0);
}

void KeepValue(struct _keynode_t* node, void* user) {
    *static_cast<std::atomic<int>*>(user) = vconf_keynode_get_int(node);
}

TEST_F(CallbackTest, NothingIsMissedFromWhenNotifyHasReturned) {
    auto& last = Keep<std::atomic<int>>(0);
    std::atomic<bool> isEnough{false};
    std::thread setter([&] {
        while (!isEnough) {
            vconf_set_int("db/noise", 1);
        }
    });
    auto& noise = Keep<ChangeList>();
    EXPECT_EQ(Watch("db/noise", noise), 0);
    for (int round = 1; round <= 200; ++round) {
        EXPECT_EQ(vconf_notify_key_changed("db/a", KeepValue, &last), 0);
        EXPECT_EQ(vconf_set_int("db/a", round), 0);
        EXPECT_TRUE(WaitUntil([&] { return last == round; }));
        EXPECT_EQ(vconf_ignore_key_changed("db/a", KeepValue), 0);
    }
    isEnough = true;
    setter.join();
}

} // namespace

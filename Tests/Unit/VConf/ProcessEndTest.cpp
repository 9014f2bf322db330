// SPDX-License-Identifier: Apache-2.0

// The end of a process that watches keys.

#include "StorePeer.h"
#include "VConfFixture.h"

namespace {

using ProcessEndTest = VConfTest;

TEST_F(ProcessEndTest, TheThreadEndsWithIt) {
    StorePeer peer;
    ASSERT_EQ(peer.Ask("watch db/a"), "0");
    EXPECT_EQ(peer.End(), 0);
}

TEST_F(ProcessEndTest, ACallbackThatStandsStillDoesntKeepItAlive) {
    StorePeer peer;
    ASSERT_EQ(peer.Ask("stay_in_callback db/a"), "0");
    ASSERT_EQ(vconf_set_int("db/a", 1), 0);
    ASSERT_EQ(peer.Answer(), "in a callback");
    EXPECT_EQ(peer.End(), 0);
}

TEST_F(ProcessEndTest, ACallbackMayEndIt) {
    StorePeer peer;
    ASSERT_EQ(peer.Ask("exit_in_callback db/a"), "0");
    ASSERT_EQ(vconf_set_int("db/a", 1), 0);
    EXPECT_EQ(peer.Answer(), ""); // it has gone
    EXPECT_EQ(peer.End(), 7);     // another where it has waited for itself
}

TEST_F(ProcessEndTest, NoCallbackBeginsBehindTheLibrarysEnd) {
    StorePeer peer;
    ASSERT_EQ(peer.Ask("set_at_exit db/a"), "0");
    EXPECT_EQ(peer.End(), 0);
    EXPECT_EQ(peer.Answer(), "set 0, add -1, threads 0"); // at the exit, behind the library's end
}

TEST_F(ProcessEndTest, AForkedChildEndsAtOnce) {
    StorePeer peer;
    ASSERT_EQ(peer.Ask("watch db/a"), "0");
    EXPECT_EQ(peer.Ask("fork_and_exit"), "at once");
    ASSERT_EQ(peer.Ask("exit_in_callback db/b"), "0"); // and the parent has its thread
    ASSERT_EQ(vconf_set_int("db/b", 1), 0);
    EXPECT_EQ(peer.Answer(), ""); // it has gone
    EXPECT_EQ(peer.End(), 7);
}

TEST_F(ProcessEndTest, NoDescriptorReachesWhatTheProcessStarts) {
    StorePeer peer;
    ASSERT_EQ(peer.Ask("watch db/a"), "0");
    ASSERT_EQ(peer.Ask("set_int db/a 1"), "0");
    ASSERT_EQ(peer.Ask("sync db/a"), "0");
    EXPECT_EQ(peer.Ask("inherited"), "");
    EXPECT_EQ(peer.Ask("get_int db/a"), "1"); // it was an answer
}

} // namespace

// SPDX-License-Identifier: Apache-2.0

// The end of a process that watches keys.

#include "StorePeer.h"
#include "VConfFixture.h"

namespace {

using ProcessEndTest = VConfTest;

TEST_F(ProcessEndTest, TheThreadEndsWithIt) {
    StorePeer peer;
    ASSERT_EQ(peer.Ask("watch db/a"), "0");
    EXPECT_EQ(peer.End(std::chrono::seconds(1)), 0); // no callback is waited for
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
    EXPECT_EQ(peer.End(), 7);
}

} // namespace

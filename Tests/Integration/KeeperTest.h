// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ServiceTest.h"

#include "TemporaryFolder.h"
#include "WaitUntil.h"

/// A configuration of the test's own, in which the service "keeper" keeps a number.
class KeeperTest : public ServiceTest {
protected:
    KeeperTest() { daemon.SetEnvironment("VCONF_DATABASE", Database()); }

    std::string Database() const { return folder.Path() / "vconf.db"; }

    static std::string Kept(int number) { return R"({"kept":)" + std::to_string(number) + "}"; }
    std::string Set(int number) {
        return Call("keeper", R"({"set":)" + std::to_string(number) + "}");
    }

    // The subscription is made a moment after the service's start.
    void ExpectChangesToBeHeard(int number) {
        EXPECT_TRUE(WaitUntil([&] {
            ++number;
            EXPECT_EQ(Set(number), Kept(number));
            return listener.Next(std::chrono::seconds(1)).has_value();
        }));
    }

    // What was notified before may still be on its way.
    void ExpectToHear(int number) {
        EXPECT_TRUE(WaitUntil([&] { return NextOf("kept")["kept"] == number; }));
    }

    const TemporaryFolder folder;
};

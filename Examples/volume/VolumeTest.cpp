// SPDX-License-Identifier: Apache-2.0
#include <cstdlib>
#include <gtest/gtest.h>
#include <hearthd/HostedService.h>
#include <hearthd/TestDevice.h>

namespace {

using hearthd::testing::HostedService;
using hearthd::testing::PressKey;
using hearthd::testing::SetConfiguration;

class VolumeService : public testing::Test {
protected:
    // What earlier tests of the process have set stays in the configuration.
    VolumeService() {
        EXPECT_TRUE(SetConfiguration("db/audio/volume", 20));
        EXPECT_TRUE(SetConfiguration("db/audio/mute", false));
    }

    // Notifications tell the state, and one may tell two changes: until one tells this.
    bool IsTold(int level, bool isMuted) {
        while (const auto told = volume.WaitForNotification("volume")) {
            if (told->payload["level"] == level && told->payload["muted"] == isMuted) {
                return true;
            }
        }
        return false;
    }

    HostedService volume{"volume", VOLUME_LIBRARY};
};

TEST_F(VolumeService, FollowsTheKeys) {
    ASSERT_TRUE(volume.Start());
    EXPECT_TRUE(PressKey("XF86AudioRaiseVolume"));
    EXPECT_TRUE(IsTold(21, false));
    EXPECT_TRUE(PressKey("XF86AudioMute"));
    EXPECT_TRUE(IsTold(21, true));
    EXPECT_FALSE(PressKey("Up"));
}

TEST_F(VolumeService, FollowsTheConfiguration) {
    ASSERT_TRUE(volume.Start());
    EXPECT_TRUE(SetConfiguration("db/audio/volume", 35));
    EXPECT_TRUE(IsTold(35, false));
    Json::Value request;
    request["get"] = "now";
    EXPECT_EQ(volume.Call(request).payload["level"], 35);
}

TEST_F(VolumeService, DoesNotStartWithoutADisplay) {
    unsetenv("DISPLAY");
    EXPECT_FALSE(volume.Start());
    EXPECT_EQ(volume.GetState(), HostedService::State::LOADED);
    setenv("DISPLAY", "again", 1);
    EXPECT_TRUE(volume.Start());
}

} // namespace

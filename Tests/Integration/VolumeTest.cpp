// SPDX-License-Identifier: Apache-2.0

// The example volume in the installed daemon: keys that are pressed on an X server, and a
// configuration that other programs change.

#include "ServiceTest.h"

#include <map>

#include "Program.h"
#include "TemporaryFolder.h"
#include "VirtualDisplay.h"
#include "WaitUntil.h"

namespace {

constexpr const char* NOW = R"({"get":"now"})";
constexpr const char* RAISE = "XF86AudioRaiseVolume";
constexpr const char* LOWER = "XF86AudioLowerVolume";
constexpr const char* MUTE = "XF86AudioMute";
constexpr const char* SUBSCRIBED = "> Subscribe for db/audio/mute value change";

class VolumeTest : public ServiceTest {
protected:
    VolumeTest() {
        daemon.AddService("volume", {.library = std::string(EXAMPLES) + "libvolume.so"});
        // The daemon's and the programs' that the test runs.
        setenv("VCONF_DATABASE", (folder.Path() / "vconf.db").c_str(), 1);
    }

    static std::string VConf(const std::vector<std::string>& arguments) {
        std::vector<std::string> words{HEARTHD_STAGE "/usr/bin/vconf"};
        words.insert(words.end(), arguments.begin(), arguments.end());
        Program program(words);
        EXPECT_EQ(program.Wait(), 0) << program.Errors();
        return program.Output();
    }

    void ExpectNotification(int level, bool isMuted) {
        const Json::Value payload = NextOf("volume");
        EXPECT_EQ(payload["level"].asInt(), level) << payload;
        EXPECT_EQ(payload["muted"].asBool(), isMuted) << payload;
    }

    TemporaryFolder folder;
};

class Volume : public VolumeTest {
protected:
    // The subscriptions come behind the service's start.
    void StartAndWait() {
        VolumeTest::StartAndWait();
        EXPECT_TRUE(daemon.WaitForLog(SUBSCRIBED));
    }

    VirtualDisplay display;
};

TEST_F(Volume, IsChangedByKeysWhichTheConfigurationKeeps) {
    StartAndWait();
    EXPECT_EQ(Call("volume", NOW), R"({"level":20,"muted":false})");
    display.Tap(RAISE);
    ExpectNotification(21, false);
    display.Tap(RAISE);
    ExpectNotification(22, false);
    display.Tap(LOWER);
    ExpectNotification(21, false);
    display.Tap(MUTE);
    ExpectNotification(21, true);
    EXPECT_EQ(VConf({"list"}), "db/audio/mute  bool  true\ndb/audio/volume  int  21\n");
    display.Tap(MUTE);
    ExpectNotification(21, false);
    EXPECT_EQ(Call("volume", NOW), R"({"level":21,"muted":false})");
}

TEST_F(Volume, StaysBetweenNothingAndItsLoudest) {
    VConf({"set", "db/audio/volume", "99"});
    StartAndWait();
    display.Tap(RAISE);
    ExpectNotification(100, false);
    display.Tap(RAISE);
    ExpectNotification(100, false);
    VConf({"set", "db/audio/volume", "1"});
    ExpectNotification(1, false);
    display.Tap(LOWER);
    ExpectNotification(0, false);
    display.Tap(LOWER);
    ExpectNotification(0, false);
}

TEST_F(Volume, FollowsWhoeverChangesTheConfiguration) {
    StartAndWait();
    VConf({"set", "db/audio/volume", "55"});
    ExpectNotification(55, false);
    VConf({"set", "db/audio/mute", "true"});
    ExpectNotification(55, true);
    VConf({"set", "db/audio/volume", "7000"});
    ExpectNotification(100, true);
    VConf({"set", "-t", "string", "db/audio/volume", "loud"});
    ExpectNotification(20, true);
    VConf({"unset", "db/audio/mute"});
    ExpectNotification(20, false);
    EXPECT_EQ(Call("volume", NOW), R"({"level":20,"muted":false})");
}

TEST_F(Volume, IsSetByCallsWhichAreNotifiedToo) {
    StartAndWait();
    EXPECT_EQ(Call("volume", R"({"set":35})"), R"({"level":35,"muted":false})");
    ExpectNotification(35, false);
    EXPECT_EQ(Call("volume", R"({"mute":true})"), R"({"level":35,"muted":true})");
    ExpectNotification(35, true);
    for (const char* payload :
         {"", "{}", R"({"set":101})", R"({"set":-1})", R"({"set":"x"})", R"({"set":1e99})",
          R"({"mute":1})", R"({"get":"then"})", R"({"get":"now","set":5})", R"({"set":[5]})"}) {
        EXPECT_EQ(Call("volume", payload).substr(0, 10), R"({"error":")") << payload;
    }
    EXPECT_EQ(Call("volume", NOW), R"({"level":35,"muted":true})");
}

TEST_F(Volume, IsThereAgainBehindTheDaemonsDeath) {
    StartAndWait();
    display.Tap(RAISE);
    ExpectNotification(21, false);
    daemon.Kill();
    daemon.Start();
    ASSERT_TRUE(WaitForStart(daemon, 2));
    ASSERT_TRUE(daemon.WaitForLog(SUBSCRIBED, 2));
    EXPECT_EQ(Call("volume", NOW), R"({"level":21,"muted":false})");
    display.Tap(RAISE);
    ExpectNotification(22, false);
}

TEST_F(Volume, ServiceMayGoAndComeBackWhileKeysArePressed) {
    StartAndWait();
    for (int round = 0; round < 10; ++round) {
        for (int i = 0; i < 5; ++i) {
            display.Tap(i % 2 == 0 ? RAISE : LOWER);
        }
        NextOf("volume"); // it is at work
        EXPECT_EQ(Shell("status-unload", "volume"), UNLOADED);
        display.Tap(RAISE);
        EXPECT_EQ(Shell("status-start", "volume"), STARTED);
    }
    EXPECT_EQ(Call("volume", R"({"set":40})"), R"({"level":40,"muted":false})");
}

TEST_F(Volume, SaysWhenTheConfigurationRefuses) {
    setenv("VCONF_DATABASE", "/proc/no/such/folder/vconf.db", 1);
    StartAndWait();
    EXPECT_EQ(Call("volume", R"({"set":35})"),
              R"({"error":"the configuration refuses; the log tells why"})");
    EXPECT_TRUE(daemon.WaitForLog("/proc/no/such/folder/vconf.db"));
    display.Tap(RAISE);
    EXPECT_TRUE(daemon.WaitForLog("the configuration refuses what a key has set"));
    EXPECT_EQ(Call("volume", NOW), R"({"level":20,"muted":false})");
}

// Without an X server.
TEST_F(VolumeTest, DoesNotStartWhereThereAreNoKeys) {
    unsetenv("DISPLAY");
    StartAndWait();
    EXPECT_TRUE(daemon.WaitForLog("there is no DISPLAY, and so no keys"));
    EXPECT_TRUE(daemon.WaitForLog("failed to start volume service"));
    EXPECT_TRUE(daemon.IsRunning());
}

// As the interface has it: who asks for keys where the X server isn't ends the daemon.
TEST_F(VolumeTest, EndsTheDaemonWhereTheXServerHasGone) {
    setenv("DISPLAY", ":54321", 1);
    daemon.Start();
    const auto status = daemon.WaitForEnd();
    ASSERT_TRUE(status.has_value());
    EXPECT_NE(*status, 0);
    unsetenv("DISPLAY");
}

} // namespace

// SPDX-License-Identifier: Apache-2.0
#include "../DaemonTest.h"

#include <filesystem>

#include "ReadFile.h"
#include "RunCommand.h"

namespace {

namespace fs = std::filesystem;

constexpr const char* ANSWER = R"({"casts":true,"current":true,"dependencies":2,"manager":true,)"
                               R"("priority":7,"services":["outside"]})";

class Sdk : public DaemonTest {
protected:
    Sdk() : folder(bus.Folder() + "/outside") { fs::create_directories(folder); }

    void Run(const std::string& command) { RunCommand(command, folder + "/log"); }

    // As its author would drop it: the library somewhere, the manifest with the others.
    void Drop(const std::string& manifestFile, const std::string& library) {
        std::string text = ReadFile(manifestFile);
        const std::string installed = "/usr/apps/org.norvane.hearthd/lib/services/liboutside.so";
        ASSERT_NE(text.find(installed), std::string::npos) << text;
        text.replace(text.find(installed), installed.size(), library);
        daemon.AddManifest("outside.json", text);
    }

    void ExpectAnswer() {
        daemon.Start();
        ASSERT_TRUE(daemon.WaitForLog("> started outside"));
        RawClient client;
        EXPECT_EQ(client.Call(ROUTER, "outside", R"({"a":1})").payload, ANSWER);
        EXPECT_TRUE(daemon.WaitForOutput("tag: outside_OWN execution_time: "))
            << "the library and the daemon share one monitor";
    }

    const std::string folder;
    const std::string flags =
        std::string(HEARTHD_SANITIZE).empty() ? "" : std::string("-fsanitize=") + HEARTHD_SANITIZE;
};

TEST_F(Sdk, BuildsAServiceOutsideTheTreeWithCMake) {
    const std::string compiler = std::string(" -DCMAKE_CXX_COMPILER=") + HEARTHD_COMPILER;
    Run("cmake -G Ninja -S " HEARTHD_OUTSIDE_PROJECT " -B " + folder + "/build" + compiler +
        " -DCMAKE_CXX_FLAGS='" + flags + "' -Dhearthd_DIR=" HEARTHD_SDK_CMAKE_DIR);
    Run("cmake --build " + folder + "/build");
    Run(folder + "/build/outside-test"); // the service's own, with hearthd::testing
    Run("DESTDIR=" + folder + "/installed cmake --install " + folder + "/build");
    const std::string app = folder + "/installed/usr/apps/org.norvane.hearthd";
    Drop(app + "/etc/manifests/outside.json", app + "/lib/services/liboutside.so");
    ExpectAnswer();
}

TEST_F(Sdk, BuildsAServiceOutsideTheTreeWithPkgConfig) {
    const std::string flagsOfSdk =
        "$(PKG_CONFIG_PATH=" HEARTHD_SDK_PC_DIR " pkg-config --cflags hearthd)";
    const std::string library = folder + "/liboutside.so";
    Run(std::string(HEARTHD_COMPILER) + " -shared -fPIC " + flags + " " + flagsOfSdk +
        " " HEARTHD_OUTSIDE_PROJECT "/OutsideService.cpp -o " + library);
    daemon.AddService(
        "outside",
        {.library = library, .priority = 7, .more = R"(,"dependencies":["echo","clock"])"});
    ExpectAnswer();
}

TEST_F(Sdk, LetsTheDaemonBeBuiltOnPlatformLibrariesFromAFolder) {
    if (!flags.empty()) {
        GTEST_SKIP() << "once, without sanitizers, is enough";
    }
    const std::string platform = folder + "/platform";
    fs::create_directories(platform + "/include");
    for (const auto& library : fs::directory_iterator(HEARTHD_SOURCE_DIR "/Platform")) {
        if (fs::is_directory(library.path() / "Inc")) {
            fs::copy(library.path() / "Inc", platform + "/include");
        }
    }
    fs::create_directory_symlink(HEARTHD_STAGE "/usr/apps/org.norvane.hearthd/lib",
                                 platform + "/lib");
    Run("cmake -G Ninja -S " HEARTHD_SOURCE_DIR " -B " + folder + "/build -DBUILD_TESTING=OFF" +
        " -DCMAKE_INSTALL_PREFIX=/usr -DHEARTHD_PLATFORM=" + platform);
    Run("cmake --build " + folder + "/build");
    Run("DESTDIR=" + folder + "/installed cmake --install " + folder + "/build");
    const std::string app = folder + "/installed/usr/apps/org.norvane.hearthd";
    EXPECT_TRUE(fs::exists(app + "/bin/hearthd"));
    EXPECT_TRUE(fs::exists(folder + "/installed/usr/include/hearthd/TCServer.h"));
    EXPECT_FALSE(fs::exists(app + "/lib/libQuill.so")) << "the device has its own";
    EXPECT_TRUE(fs::exists(folder + "/installed/usr/lib/systemd/system/hearthd.service"));
    EXPECT_FALSE(fs::exists(folder + "/installed/usr/lib/systemd/system/hang-beacon.service"))
        << "it would mount a device of its own over the platform's";
}

} // namespace

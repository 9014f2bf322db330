// SPDX-License-Identifier: Apache-2.0

// A client that somebody builds elsewhere: the example's source and the project of Docs/clients.md,
// in a folder of their own.

#include "../ServiceTest.h"

#include <filesystem>

#include "Program.h"
#include "RunCommand.h"

namespace {

namespace fs = std::filesystem;

class ClientSdk : public DaemonTest {
protected:
    ClientSdk() : folder(bus.Folder() + "/outside-client") {
        fs::create_directories(folder);
        fs::copy(HEARTHD_OUTSIDE_CLIENT "/CMakeLists.txt", folder);
        fs::copy(HEARTHD_CLIENTS "/cpp/EchoClient.cpp", folder);
        daemon.AddService("echo", {.library = std::string(EXAMPLES) + "libecho.so"});
    }

    void Run(const std::string& command) { RunCommand(command, folder + "/log"); }

    void ExpectAnswer(const std::string& program) {
        StartAndWait();
        Program client({program, "hello"});
        EXPECT_EQ(client.Wait(), 0) << client.Errors();
        EXPECT_EQ(client.Output(), "hello\n");
    }

    const std::string folder;
    const std::string flags =
        std::string(HEARTHD_SANITIZE).empty() ? "" : std::string("-fsanitize=") + HEARTHD_SANITIZE;
};

TEST_F(ClientSdk, BuildsAClientOutsideTheTreeWithCMake) {
    Run("cmake -G Ninja -S " + folder + " -B " + folder +
        "/build -DCMAKE_CXX_COMPILER=" HEARTHD_COMPILER " -DCMAKE_CXX_FLAGS='" + flags +
        "' -Dhearthd_DIR=" HEARTHD_SDK_CMAKE_DIR);
    Run("cmake --build " + folder + "/build");
    ExpectAnswer(folder + "/build/outside-client");
}

TEST_F(ClientSdk, BuildsAClientOutsideTheTreeWithPkgConfig) {
    const std::string program = folder + "/outside-client";
    // The libraries aren't where a device has them: the program has to be told.
    Run("export PKG_CONFIG_PATH=" HEARTHD_SDK_PC_DIR "\n" HEARTHD_COMPILER " " + flags + " " +
        folder + "/EchoClient.cpp -o " + program +
        " $(pkg-config --cflags --libs hearthd-client)"
        " -Wl,-rpath,$(pkg-config --variable=libdir hearthd-client)");
    ExpectAnswer(program);
}

} // namespace

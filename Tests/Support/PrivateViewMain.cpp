// SPDX-License-Identifier: Apache-2.0

// main() of tests that need /usr/apps, /opt/usr and /dev/hang_beacon of their own. The program runs
// itself again inside a private view; the tests find the paths empty and writable. Exit status 77
// says that no such view can be had here.

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr const char* INSIDE = "HEARTHD_TEST_INSIDE_VIEW";

int RunInside(std::vector<std::string> arguments) {
    std::string folder = (std::filesystem::temp_directory_path() / "hearthd-view-XXXXXX").string();
    if (mkdtemp(folder.data()) == nullptr) {
        std::perror("mkdtemp");
        return EXIT_FAILURE;
    }
    const std::string self = std::filesystem::read_symlink("/proc/self/exe").string();
    arguments[0] = self;
    arguments.insert(arguments.begin(), {HEARTHD_PRIVATE_VIEW, folder});
    std::vector<char*> command;
    for (std::string& argument : arguments) {
        command.push_back(argument.data());
    }
    command.push_back(nullptr);
    setenv(INSIDE, "1", 1);
    const pid_t child = fork();
    if (child == 0) {
        execv(command[0], command.data());
        std::perror(command[0]);
        _exit(EXIT_FAILURE);
    }
    int status = 0;
    waitpid(child, &status, 0);
    std::filesystem::remove_all(folder);
    return WIFEXITED(status) ? WEXITSTATUS(status) : EXIT_FAILURE;
}

} // namespace

int main(int count, char** arguments) {
    const std::vector<std::string> given(arguments, arguments + count); // GoogleTest takes its own
    testing::InitGoogleTest(&count, arguments);
    if (testing::GTEST_FLAG(list_tests) || std::getenv(INSIDE) != nullptr) {
        return RUN_ALL_TESTS();
    }
    return RunInside(given);
}

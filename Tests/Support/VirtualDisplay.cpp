// SPDX-License-Identifier: Apache-2.0
#include "VirtualDisplay.h"

#include <X11/Xlib.h>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>
#include <xcb/xcb.h>
#include <xcb/xtest.h>

namespace {

constexpr std::chrono::seconds START_LIMIT{20};

struct Free {
    void operator()(void* reply) const { std::free(reply); }
};

// The server writes its number and a newline when it listens. Empty where it ends, or where the
// limit passes first.
std::string ReadLine(int descriptor) {
    const auto deadline = std::chrono::steady_clock::now() + START_LIMIT;
    std::string line;
    while (line.empty() || line.back() != '\n') {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        pollfd ready{descriptor, POLLIN, 0};
        const int count = left.count() > 0 ? poll(&ready, 1, static_cast<int>(left.count())) : 0;
        char byte = 0;
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0 || read(descriptor, &byte, 1) != 1) {
            return {};
        }
        line += byte;
    }
    line.pop_back();
    return line;
}

} // namespace

VirtualDisplay::VirtualDisplay() {
    Start();
    try {
        Connect();
    } catch (...) {
        Kill();
        throw;
    }
    if (const char* outer = std::getenv("DISPLAY")) {
        m_outer = outer;
    }
    setenv("DISPLAY", m_name.c_str(), 1);
}

VirtualDisplay::~VirtualDisplay() {
    if (m_outer) {
        setenv("DISPLAY", m_outer->c_str(), 1);
    } else {
        unsetenv("DISPLAY");
    }
    m_connection.reset();
    Kill();
}

void VirtualDisplay::Start() {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        throw std::runtime_error("pipe2");
    }
    m_pid = fork();
    if (m_pid == 0) {
        Run(ends[1]);
    }
    close(ends[1]);
    const std::string number = m_pid > 0 ? ReadLine(ends[0]) : std::string();
    close(ends[0]);
    if (number.empty()) {
        Kill();
        throw std::runtime_error("Xvfb doesn't start");
    }
    m_name = ":" + number;
}

// In the child: it becomes the server.
void VirtualDisplay::Run(int descriptor) const {
    prctl(PR_SET_PDEATHSIG, SIGKILL);   // a test that is killed leaves no server behind
    const int number = dup(descriptor); // stays open in the server
    // It has a line for each number that is taken.
    const int nowhere = open("/dev/null", O_WRONLY);
    dup2(nowhere, STDOUT_FILENO);
    dup2(nowhere, STDERR_FILENO);
    std::vector<std::string> words = {"Xvfb",      "-displayfd", std::to_string(number),
                                      "-nolisten", "tcp",        "-nolisten",
                                      "unix",      "-listen",    "local",
                                      "-noreset",  "-nolock",    "-screen",
                                      "0",         "64x64x8"};
    if (!m_name.empty()) {
        words.push_back(m_name);
    }
    std::vector<char*> pointers;
    for (std::string& word : words) {
        pointers.push_back(word.data());
    }
    pointers.push_back(nullptr);
    execvp("Xvfb", pointers.data());
    _exit(127);
}

void VirtualDisplay::Restart() {
    m_connection.reset();
    Kill();
    Start();
    Connect();
}

void VirtualDisplay::Connect() {
    m_connection.reset(xcb_connect(m_name.c_str(), nullptr));
    if (xcb_connection_has_error(m_connection.get()) != 0) {
        throw std::runtime_error("Xvfb takes no connection");
    }
    const auto* extension = xcb_get_extension_data(m_connection.get(), &xcb_test_id);
    if (extension == nullptr || extension->present == 0) {
        throw std::runtime_error("Xvfb cannot press keys");
    }
}

void VirtualDisplay::Disconnect::operator()(xcb_connection_t* connection) const {
    xcb_disconnect(connection);
}

void VirtualDisplay::Kill() {
    if (m_pid > 0) {
        kill(m_pid, SIGKILL);
        waitpid(m_pid, nullptr, 0);
        m_pid = -1;
    }
}

void VirtualDisplay::Tap(std::uint8_t keycode) const {
    Press(keycode);
    Release(keycode);
}

void VirtualDisplay::Fake(bool isPress, std::uint8_t keycode) const {
    const std::unique_ptr<xcb_generic_error_t, Free> error(xcb_request_check(
        m_connection.get(),
        xcb_test_fake_input_checked(m_connection.get(), isPress ? XCB_KEY_PRESS : XCB_KEY_RELEASE,
                                    keycode, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0)));
    if (error != nullptr || xcb_connection_has_error(m_connection.get()) != 0) {
        throw std::runtime_error("the key " + std::to_string(keycode) + " cannot be pressed");
    }
}

std::uint8_t VirtualDisplay::KeyCode(const std::string& key) const {
    const KeySym wanted = XStringToKeysym(key.c_str());
    const xcb_setup_t* setup = xcb_get_setup(m_connection.get());
    const auto count = static_cast<std::uint8_t>(setup->max_keycode - setup->min_keycode + 1);
    const std::unique_ptr<xcb_get_keyboard_mapping_reply_t, Free> map(
        xcb_get_keyboard_mapping_reply(
            m_connection.get(),
            xcb_get_keyboard_mapping(m_connection.get(), setup->min_keycode, count), nullptr));
    for (unsigned i = 0; wanted != NoSymbol && map != nullptr && i < count; ++i) {
        const xcb_keysym_t* keysyms = xcb_get_keyboard_mapping_keysyms(map.get());
        if (keysyms[static_cast<std::size_t>(i) * map->keysyms_per_keycode] == wanted) {
            return static_cast<std::uint8_t>(setup->min_keycode + i);
        }
    }
    throw std::runtime_error("no key is called " + key);
}

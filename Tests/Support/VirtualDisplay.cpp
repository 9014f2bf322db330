// SPDX-License-Identifier: Apache-2.0
#include "VirtualDisplay.h"

#include <X11/Xlib.h>
#include <algorithm>
#include <array>
#include <atomic>
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

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds START_LIMIT{20};
constexpr int FIRST_NUMBER = 1000; // well away from those of people's displays
constexpr int NUMBERS = 50000;
constexpr int STEP = 7919; // from one display of a process to the next
constexpr int TRIES = 20;

// Numbers that no other test process begins with: a server that is started again finds its own
// free.
int NextNumber() {
    static std::atomic<int> count{0};
    return FIRST_NUMBER + (getpid() + STEP * count++) % NUMBERS;
}

struct Free {
    void operator()(void* reply) const { std::free(reply); }
};

// Whether a line comes from there: the server's number, when it listens. None comes where it ends,
// or where the limit passes first.
bool HasLine(int descriptor) {
    const auto deadline = Clock::now() + START_LIMIT;
    char byte = 0;
    while (byte != '\n') { // to its end: the server mustn't find the pipe closed
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
        pollfd ready{descriptor, POLLIN, 0};
        const int count = poll(&ready, 1, static_cast<int>(std::max(left, decltype(left){0})));
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count != 1 || read(descriptor, &byte, 1) != 1) {
            return false;
        }
    }
    return true;
}

} // namespace

VirtualDisplay::VirtualDisplay() {
    bool isStarted = false;
    for (int i = 0; i < TRIES && !isStarted; ++i) { // a number may be taken
        m_name = ":" + std::to_string(NextNumber());
        isStarted = Start();
    }
    if (!isStarted) {
        throw std::runtime_error("Xvfb doesn't start");
    }
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

bool VirtualDisplay::Start() {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        throw std::runtime_error("pipe2");
    }
    m_pid = fork();
    if (m_pid == 0) {
        Run(ends[1]);
    }
    close(ends[1]);
    const bool isStarted = m_pid > 0 && HasLine(ends[0]);
    close(ends[0]);
    if (!isStarted) {
        Kill();
    }
    return isStarted;
}

// In the child: it becomes the server.
void VirtualDisplay::Run(int descriptor) const {
    prctl(PR_SET_PDEATHSIG, SIGKILL);   // a test that is killed leaves no server behind
    const int number = dup(descriptor); // stays open in the server
    // It says so where its number is taken.
    const int nowhere = open("/dev/null", O_WRONLY);
    dup2(nowhere, STDOUT_FILENO);
    dup2(nowhere, STDERR_FILENO);
    std::vector<std::string> words = {"Xvfb",      m_name,  "-displayfd", std::to_string(number),
                                      "-nolisten", "tcp",   "-nolisten",  "unix",
                                      "-listen",   "local", "-nolock",    "-noreset",
                                      "-screen",   "0",     "64x64x8"};
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
    if (!Start()) {
        throw std::runtime_error("Xvfb doesn't start again");
    }
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

void VirtualDisplay::Release(std::initializer_list<std::uint8_t> keycodes) const {
    for (const std::uint8_t keycode : keycodes) {
        xcb_test_fake_input(m_connection.get(), XCB_KEY_RELEASE, keycode, XCB_CURRENT_TIME,
                            XCB_NONE, 0, 0, 0);
    }
    // Its answer means that the server has seen them.
    const std::unique_ptr<xcb_get_input_focus_reply_t, Free> reply(xcb_get_input_focus_reply(
        m_connection.get(), xcb_get_input_focus(m_connection.get()), nullptr));
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

// SPDX-License-Identifier: Apache-2.0

// What a thread writes of its stack.

#define UNW_LOCAL_ONLY

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <libunwind.h>
#include <memory>
#include <pthread.h>
#include <string>
#include <vector>

#include "APIWatchdog.h"
#include "BlockedThread.h"
#include "DeathTest.h"
#include "DeviceRecord.h"
#include "FaultyCalls.h"

namespace {

using Texts = std::vector<std::string>;

// The thread that is to be asked, once it is where that is to happen; and whether it may go on.
// For the compiler's atomics, which make no call: a signal is to find the thread in one function.
pid_t spinner = 0;
pid_t spinning = 0;
bool mayLeave = false;
// Written behind a call, which isn't the function's last act then.
volatile int calls = 0;

// How many frames have an address yet; -1 for all of them.
std::atomic<int> framesWithAddress = -1;

} // namespace

#define SIXTY "_ten_bytes_ten_bytes_ten_bytes_ten_bytes_ten_bytes_ten_bytes"

extern "C" {

[[gnu::noinline]] void SpinInTheInnermostFrame() {
    __atomic_store_n(&spinning, spinner, __ATOMIC_SEQ_CST);
    while (!__atomic_load_n(&mayLeave, __ATOMIC_RELAXED)) {
    }
}

[[gnu::noinline]] void CallTheInnermostFrame() {
    SpinInTheInnermostFrame();
    calls = 1;
}

void* EnterTheThread(void* /*argument*/) {
    spinner = ThisThread();
    CallTheInnermostFrame();
    calls = 2;
    return nullptr;
}

[[gnu::noinline]] void RaiseInTheInnermostFrame() {
    raise(APIWatchdog::SIGNAL);
    calls = 3;
}

[[gnu::noinline]] void CallTheOneThatRaises() {
    RaiseInTheInnermostFrame();
    calls = 4;
}

// A name has room for 255 bytes, as a line has; the first is of 250, the second of 300.
[[gnu::noinline]] void RaiseUnderALongName() asm("Long_name_" SIXTY SIXTY SIXTY SIXTY);
void RaiseUnderALongName() {
    raise(APIWatchdog::SIGNAL);
    calls = 5;
}

[[gnu::noinline]] void RaiseUnderTooLongAName() asm(SIXTY SIXTY SIXTY SIXTY SIXTY);
void RaiseUnderTooLongAName() {
    raise(APIWatchdog::SIGNAL);
    calls = 6;
}

[[gnu::noinline]] void CallTheOneWithTooLongAName() {
    RaiseUnderTooLongAName();
    calls = 7;
}

} // extern "C"

namespace {

std::string Hex(std::uintptr_t number) {
    char text[32];
    std::snprintf(text, sizeof(text), "0x%x", static_cast<unsigned>(number));
    return text;
}

// The line of a frame in `function` at that offset, in the form that the device gets.
std::string LineOf(pid_t thread, const std::string& name, void (*function)(), unsigned offset) {
    const std::uintptr_t address = reinterpret_cast<std::uintptr_t>(function) + offset;
    return std::to_string(thread) + ")" + Hex(address) + ": (" + name + "+" + Hex(offset) + ")";
}

// Which of the lines is of that function; -1 for none.
int Find(const Texts& lines, const std::string& name) {
    for (std::size_t i = 0; i < lines.size(); ++i) {
        if (lines[i].find(": (" + name + "+0x") != std::string::npos) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

// The offset that a line ends with.
unsigned OffsetOf(const std::string& line) {
    const auto plus = line.rfind("+0x");
    return plus == std::string::npos
               ? 0
               : static_cast<unsigned>(std::stoul(line.substr(plus + 3), nullptr, 16));
}

class StackLines : public testing::Test {
protected:
    // The lines of a thread that spins in its innermost function.
    Texts LinesOfSpinning() {
        pthread_t thread{};
        pthread_create(&thread, nullptr, EnterTheThread, nullptr);
        const auto id = [] { return __atomic_load_n(&spinning, __ATOMIC_SEQ_CST); };
        EXPECT_TRUE(WaitUntil([&] { return id() != 0; }));
        watchdog->PrintInfo();
        EXPECT_TRUE(WaitUntil([&] { return DeviceRecord::HasHeard(id()); }));
        __atomic_store_n(&mayLeave, true, __ATOMIC_SEQ_CST);
        pthread_join(thread, nullptr); // all is written then
        return DeviceRecord::TextsOf(id());
    }

    // The lines that this thread writes in `work`.
    static Texts LinesOf(void (*work)()) {
        const std::size_t before = DeviceRecord::TextsOf(ThisThread()).size();
        work();
        Texts lines = DeviceRecord::TextsOf(ThisThread());
        lines.erase(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(before));
        return lines;
    }

    // It watches nothing: only its signal handler is of interest.
    const std::unique_ptr<APIWatchdog> watchdog =
        (FaultyCalls::FailInotifyInit(EMFILE),
         std::make_unique<APIWatchdog>([](const std::string&) {}));
};

TEST_F(StackLines, BeginWithTheInterruptedCodeAndRunToTheThreadsEntry) {
    if (UNDER_THREAD_SANITIZER) {
        GTEST_SKIP()
            << "handlers run when the thread makes a call, and not where it is interrupted";
    }
    const Texts lines = LinesOfSpinning();
    ASSERT_GE(lines.size(), 3U);
    EXPECT_EQ(lines[0], LineOf(spinning, "SpinInTheInnermostFrame", SpinInTheInnermostFrame,
                               OffsetOf(lines[0])));
    EXPECT_EQ(lines[1],
              LineOf(spinning, "CallTheInnermostFrame", CallTheInnermostFrame, OffsetOf(lines[1])));
    EXPECT_EQ(Find(lines, "EnterTheThread"), 2);
    EXPECT_EQ(Find(lines, "SignalHandler"), -1);
}

TEST_F(StackLines, NameEachFunctionThatIsUnderWayWithItsAddressAndOffset) {
    const Texts lines = LinesOf(CallTheOneThatRaises);
    const int inner = Find(lines, "RaiseInTheInnermostFrame");
    const int outer = Find(lines, "CallTheOneThatRaises");
    const int main = Find(lines, "main");
    ASSERT_GE(inner, 0) << testing::PrintToString(lines);
    EXPECT_EQ(outer, inner + 1);
    EXPECT_GT(main, outer);
    const std::string& line = lines[static_cast<std::size_t>(inner)];
    EXPECT_GT(OffsetOf(line), 0U);
    EXPECT_EQ(line, LineOf(ThisThread(), "RaiseInTheInnermostFrame", RaiseInTheInnermostFrame,
                           OffsetOf(line)));
}

TEST_F(StackLines, AreCutAt255Bytes) {
    const Texts lines = LinesOf(RaiseUnderALongName);
    const std::string name = "Long_name_" SIXTY SIXTY SIXTY SIXTY;
    ASSERT_EQ(name.size(), 250U);
    const std::string whole = LineOf(ThisThread(), name, RaiseUnderALongName, 0);
    const auto isCut = [&](const std::string& line) {
        // The address is of the call and not of the function's beginning.
        const auto place = line.find(": (Long_name_");
        return place != std::string::npos && line.size() == 255 &&
               line.substr(place) == whole.substr(whole.find(": ("), 255 - place);
    };
    EXPECT_EQ(std::count_if(lines.begin(), lines.end(), isCut), 1) << testing::PrintToString(lines);
}

TEST_F(StackLines, EndAheadOfAFrameThatHasNoAddress) {
    const Texts whole = LinesOf(CallTheOneThatRaises);
    const int outer = Find(whole, "CallTheOneThatRaises");
    ASSERT_GT(outer, 0) << testing::PrintToString(whole);
    framesWithAddress = outer;
    const Texts lines = LinesOf(CallTheOneThatRaises);
    EXPECT_EQ(lines, Texts(whole.begin(), whole.begin() + outer));
    EXPECT_EQ(framesWithAddress, 0);
    framesWithAddress = -1;
}

TEST_F(StackLines, SayUnknownWhereAFunctionsNameCantBeHad) {
    const Texts lines = LinesOf(CallTheOneWithTooLongAName);
    const int caller = Find(lines, "CallTheOneWithTooLongAName");
    ASSERT_GT(caller, 0) << testing::PrintToString(lines);
    EXPECT_EQ(lines[static_cast<std::size_t>(caller) - 1],
              std::to_string(ThisThread()) + ")<unknown>");
}

} // namespace

#define TEXT_OF(name) #name
#define NAME_OF(macro) TEXT_OF(macro)

namespace {

using Register = int (*)(unw_cursor_t*, int, unw_word_t*);

// Found ahead of the first signal.
const auto nextRegister = reinterpret_cast<Register>(dlsym(RTLD_NEXT, NAME_OF(unw_get_reg)));

} // namespace

extern "C" {

// The linker's: where this program's code begins and ends.
extern const char __executable_start;
extern const char etext;

// In the place of libunwind's, for the whole test process. Libunwind asks here too, and always gets
// the true answer.
int unw_get_reg(unw_cursor_t* cursor, int number, unw_word_t* value) {
    const auto* const caller = static_cast<const char*>(__builtin_return_address(0));
    if (caller >= &__executable_start && caller < &etext) {
        if (framesWithAddress == 0) {
            *value = 0;
            return 0;
        }
        if (framesWithAddress > 0) {
            --framesWithAddress;
        }
    }
    return nextRegister(cursor, number, value);
}

} // extern "C"

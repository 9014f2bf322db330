// SPDX-License-Identifier: Apache-2.0

// Who is asked for a stack, and what that does to the threads that are asked.

#include <cerrno>
#include <csignal>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <link.h>
#include <map>
#include <optional>
#include <sys/resource.h>

#include "APIWatchdog.h"
#include "BlockedThread.h"
#include "DeathTest.h"
#include "DeviceRecord.h"
#include "FaultyCalls.h"
#include "KeptWorker.h"
#include "MallocCount.h"
#include "Said.h"
#include "TestThread.h"
#include "WorkerTools.h"

namespace {

using testing::IsEmpty;
using Texts = std::vector<std::string>;

constexpr const char* HELD_BACK =
    "the sanitizer holds a signal back from a thread that waits in a read";

// An object that watches nothing and has no thread: only its signal handler is of interest.
class StackDump : public testing::Test {
protected:
    StackDump() {
        FaultyCalls::FailInotifyInit(EMFILE);
        watchdog.emplace([](const std::string&) {});
        LogCapture::Clear();
    }

    static std::ptrdiff_t Entries(const std::string& folder) {
        return std::distance(std::filesystem::directory_iterator(folder),
                             std::filesystem::directory_iterator());
    }

    // No descriptor can be opened while it lives.
    class NoDescriptors {
    public:
        NoDescriptors() {
            getrlimit(RLIMIT_NOFILE, &m_before);
            const rlimit none{0, m_before.rlim_max};
            setrlimit(RLIMIT_NOFILE, &none);
        }
        ~NoDescriptors() { setrlimit(RLIMIT_NOFILE, &m_before); }
        NoDescriptors(const NoDescriptors&) = delete;
        NoDescriptors& operator=(const NoDescriptors&) = delete;

    private:
        rlimit m_before{};
    };

    std::optional<APIWatchdog> watchdog;
};

TEST_F(StackDump, AsksEveryThreadButTheCallingOne) {
    if (UNDER_THREAD_SANITIZER) {
        GTEST_SKIP() << HELD_BACK;
    }
    ReadingThread first;
    ReadingThread second;
    ReadingThread third;
    watchdog->PrintInfo();
    EXPECT_EQ(Said(), Texts{"I Threads dumps"});
    EXPECT_TRUE(WaitUntil([&] {
        return DeviceRecord::HasHeard(first.Id()) && DeviceRecord::HasHeard(second.Id()) &&
               DeviceRecord::HasHeard(third.Id());
    }));
    EXPECT_THAT(DeviceRecord::TextsOf(ThisThread()), IsEmpty());
}

TEST_F(StackDump, LeavesOutWhicheverThreadCalls) {
    KeepWorker("caller");
    pid_t caller = 0;
    ASSERT_TRUE(RunOn(marrow::ser::WorkerFactory::Get().GetWorker("caller"), [&] {
        caller = ThisThread();
        watchdog->PrintInfo();
    }));
    EXPECT_TRUE(WaitUntil([] { return DeviceRecord::HasHeard(ThisThread()); }));
    EXPECT_THAT(DeviceRecord::TextsOf(caller), IsEmpty());
}

TEST_F(StackDump, OfAProcessWithOneThreadAsksNobody) {
    if (UNDER_THREAD_SANITIZER) {
        GTEST_SKIP() << "it has a thread of its own";
    }
    ASSERT_EQ(Entries("/proc/self/task"), 1);
    watchdog->PrintInfo();
    EXPECT_EQ(Said(), Texts{"I Threads dumps"});
    EXPECT_THAT(DeviceRecord::Openings(), IsEmpty());
}

TEST_F(StackDump, DoesntWaitForThoseItAsks) {
    if (UNDER_THREAD_SANITIZER) {
        GTEST_SKIP() << HELD_BACK;
    }
    ReadingThread thread;
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, APIWatchdog::SIGNAL);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr); // this thread doesn't answer
    pid_t caller = 0;
    std::thread([&] {
        caller = ThisThread();
        watchdog->PrintInfo();
    }).join(); // it returns all the same
    EXPECT_THAT(DeviceRecord::TextsOf(ThisThread()), IsEmpty());
    EXPECT_TRUE(WaitUntil([&] { return DeviceRecord::HasHeard(thread.Id()); }));
    pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
    EXPECT_TRUE(WaitUntil([] { return DeviceRecord::HasHeard(ThisThread()); }));
    EXPECT_THAT(DeviceRecord::TextsOf(caller), IsEmpty());
}

TEST_F(StackDump, LetsAReadThatItInterruptsGoOn) {
    if (UNDER_THREAD_SANITIZER) {
        GTEST_SKIP() << HELD_BACK;
    }
    ReadingThread thread;
    ASSERT_TRUE(thread.IsReading());
    watchdog->PrintInfo();
    ASSERT_TRUE(WaitUntil([&] { return DeviceRecord::HasHeard(thread.Id()); }));
    EXPECT_TRUE(WaitUntil([&] { return thread.IsReading(); }));
    EXPECT_EQ(thread.End(), 1) << "the byte, and no EINTR";
}

TEST_F(StackDump, HasItsHandlerInstalledWithRestartAndAllSignalsBlocked) {
    struct sigaction action {};
    ASSERT_EQ(sigaction(APIWatchdog::SIGNAL, nullptr, &action), 0);
    EXPECT_EQ(action.sa_handler, APIWatchdog::SignalHandler);
    EXPECT_NE(action.sa_flags & SA_RESTART, 0);
    EXPECT_EQ(action.sa_flags & (SA_SIGINFO | SA_RESETHAND | SA_NODEFER), 0);
}

TEST_F(StackDump, BlocksAllSignalsWhileItIsWritten) {
    if (UNDER_THREAD_SANITIZER) {
        GTEST_SKIP() << "handlers run later, with a mask of the sanitizer's";
    }
    ReadingThread thread;
    watchdog->PrintInfo();
    ASSERT_TRUE(WaitUntil([&] { return DeviceRecord::HasHeard(thread.Id()); }));
    for (const DeviceRecord::Line& line : DeviceRecord::Lines()) {
        for (int signal = 1; signal < 32; ++signal) {
            if (signal != SIGKILL && signal != SIGSTOP) { // nobody blocks these
                EXPECT_EQ(sigismember(&line.blocked, signal), 1) << strsignal(signal);
            }
        }
    }
}

TEST_F(StackDump, OpensTheDeviceOnceForReadingAndWriting) {
    if (UNDER_THREAD_SANITIZER) {
        GTEST_SKIP() << HELD_BACK;
    }
    ReadingThread first;
    ReadingThread second;
    watchdog->PrintInfo();
    ASSERT_TRUE(WaitUntil(
        [&] { return DeviceRecord::HasHeard(first.Id()) && DeviceRecord::HasHeard(second.Id()); }));
    EXPECT_EQ(first.End() + second.End(), 2); // and what they wrote is written
    std::map<pid_t, int> descriptorOf;
    for (const DeviceRecord::Opening& opening : DeviceRecord::Openings()) {
        EXPECT_EQ(opening.flags, O_RDWR);
        EXPECT_TRUE(descriptorOf.emplace(opening.thread, opening.descriptor).second) << "once each";
    }
    for (const DeviceRecord::Line& line : DeviceRecord::Lines()) {
        ASSERT_TRUE(descriptorOf.contains(line.thread));
        EXPECT_EQ(line.descriptor, descriptorOf[line.thread]);
    }
}

TEST_F(StackDump, ClosesTheDeviceBehindIt) {
    raise(APIWatchdog::SIGNAL); // the unwinder keeps descriptors of its own from here on
    const auto descriptors = Entries("/proc/self/fd");
    raise(APIWatchdog::SIGNAL);
    EXPECT_EQ(DeviceRecord::Openings().size(), 2U);
    EXPECT_EQ(Entries("/proc/self/fd"), descriptors);
}

// It may interrupt an allocation. The second allocation shows that they are counted.
TEST_F(StackDump, AllocatesNothing) {
    if (UNDER_SANITIZER) {
        GTEST_SKIP() << "the sanitizer's allocator isn't counted";
    }
    const long before = MallocCount();
    raise(APIWatchdog::SIGNAL);
    const long after = MallocCount();
    EXPECT_GT(DeviceRecord::TextsOf(ThisThread()).size(), 3U);
    EXPECT_EQ(after, before);
    EXPECT_GT(MallocCount(), after);
}

// As in a dlopen, or where an exception looks for its handler: the others' stacks wait for the
// loader's lock meanwhile, and may have nothing that the interrupted thread's needs.
TEST_F(StackDump, ComesToItsEndWhereItInterruptsAThreadThatHasTheLoadersLock) {
    if (UNDER_THREAD_SANITIZER) {
        GTEST_SKIP() << HELD_BACK;
    }
    ReadingThread other;
    const auto dump = [](dl_phdr_info* /*library*/, std::size_t /*size*/, void* data) {
        const pid_t otherId = static_cast<ReadingThread*>(data)->Id();
        syscall(SYS_tgkill, getpid(), otherId, APIWatchdog::SIGNAL);
        EXPECT_TRUE(WaitUntil([&] { return IsIn(otherId, SYS_futex); }));
        raise(APIWatchdog::SIGNAL);
        return 1; // no further library
    };
    dl_iterate_phdr(dump, &other);
    EXPECT_TRUE(DeviceRecord::HasHeard(ThisThread()));
    EXPECT_TRUE(WaitUntil([&] { return DeviceRecord::HasHeard(other.Id()); }));
}

// The device of the tests is a file, which knows no request: the lines' ioctl fails.
TEST_F(StackDump, KeepsErrnoOfTheCodeThatItInterrupts) {
    errno = EXDEV;
    raise(APIWatchdog::SIGNAL);
    EXPECT_EQ(errno, EXDEV);
    EXPECT_TRUE(DeviceRecord::HasHeard(ThisThread()));
}

TEST_F(StackDump, IsLostWithoutASignWhereTheDeviceCantBeOpened) {
    {
        const NoDescriptors none;
        errno = EXDEV;
        raise(APIWatchdog::SIGNAL);
        EXPECT_EQ(errno, EXDEV);
    }
    ASSERT_EQ(DeviceRecord::Openings().size(), 1U) << "it was tried";
    EXPECT_EQ(DeviceRecord::Openings()[0].descriptor, -1);
    EXPECT_THAT(DeviceRecord::Lines(), IsEmpty());
    EXPECT_THAT(Said(), IsEmpty());
}

TEST(Exceptions, AreThrownByTheCompilersOwnLibrary) {
    if (UNDER_SANITIZER) {
        GTEST_SKIP() << "the sanitizer stands in front of it";
    }
    Dl_info found{};
    ASSERT_NE(dladdr(dlsym(RTLD_DEFAULT, "_Unwind_RaiseException"), &found), 0);
    EXPECT_THAT(found.dli_fname, testing::HasSubstr("/libgcc_s.so"));
}

} // namespace

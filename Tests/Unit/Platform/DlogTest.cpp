// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <functional>
#include <poll.h>
#include <sched.h>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "Dlog.h"
#include "Gate.h"

namespace {

// Runs `work` in a process of its own, whose log comes out of a pipe.
class Writer {
public:
    explicit Writer(const std::function<void()>& work) {
        std::array<int, 2> ends{};
        EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
        m_pid = fork();
        if (m_pid == 0) {
            dup2(ends[1], STDERR_FILENO);
            work();
            std::exit(0);
        }
        close(ends[1]);
        m_log = ends[0];
    }
    ~Writer() {
        close(m_log);
        if (m_pid > 0) {
            kill(m_pid, SIGKILL);
            waitpid(m_pid, nullptr, 0);
        }
    }
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;

    // Reads until `part` has come, the log has ended or ten seconds have passed.
    bool WaitFor(const std::string& part) {
        pollfd ready{m_log, POLLIN, 0};
        while (text.find(part) == std::string::npos) {
            std::array<char, 65536> some{};
            if (poll(&ready, 1, 10000) != 1) {
                return false;
            }
            const ssize_t length = read(m_log, some.data(), some.size());
            if (length <= 0) {
                return false;
            }
            text.append(some.data(), static_cast<std::size_t>(length));
        }
        return true;
    }

    // Everything to the end; the status as waitpid gives it.
    int Finish() {
        WaitFor("a text that no log holds");
        int status = 0;
        waitpid(m_pid, &status, 0);
        m_pid = -1;
        return status;
    }

    void Kill(int signal) { kill(m_pid, signal); }

    std::string text;

private:
    pid_t m_pid = -1;
    int m_log = -1;
};

std::string LogOf(const std::function<void()>& work) {
    Writer writer(work);
    writer.Finish();
    return writer.text;
}

int LinesOf(const std::string& text) {
    return static_cast<int>(std::count(text.begin(), text.end(), '\n'));
}

void LogOneOfEach() {
    __dlog_print(DLOG_DEBUG, "TAG", "debug");
    __dlog_print(DLOG_INFO, "TAG", "info");
    __dlog_print(DLOG_WARN, "TAG", "warn");
    __dlog_print(DLOG_ERROR, "TAG", "error");
}

TEST(Dlog, WritesTimePriorityTagThreadAndText) {
    const std::string text = LogOf([] { __dlog_print(DLOG_INFO, "TAG", "%s %d\n", "text", 5); });
    EXPECT_TRUE(text.ends_with("] text 5\n")) << text;
    EXPECT_NE(text.find(" I TAG ["), std::string::npos) << text;
    EXPECT_EQ(LinesOf(text), 1) << text;
}

TEST(Dlog, WritesFromInfoOnUnlessToldOtherwise) {
    unsetenv("DLOG_LEVEL");
    const std::string text = LogOf(LogOneOfEach);
    EXPECT_EQ(text.find("debug"), std::string::npos);
    EXPECT_EQ(LinesOf(text), 3) << text;
}

TEST(Dlog, TakesItsLevelFromTheEnvironment) {
    const std::vector<std::pair<const char*, int>> levels = {
        {"debug", 4}, {"info", 3}, {"warn", 2}, {"error", 1}, {"off", 0}};
    for (const auto& [level, lines] : levels) {
        setenv("DLOG_LEVEL", level, 1);
        EXPECT_EQ(LinesOf(LogOf(LogOneOfEach)), lines) << level;
    }
}

TEST(Dlog, SaysSoWhenItDoesntKnowTheLevelAndTakesInfo) {
    setenv("DLOG_LEVEL", "verbose", 1);
    const std::string text = LogOf(LogOneOfEach);
    EXPECT_TRUE(text.starts_with("DLOG_LEVEL is 'verbose'")) << text;
    EXPECT_EQ(LinesOf(text), 4) << text;
}

TEST(Dlog, AnswersTheLengthOrZeroForWhatItDoesntWrite) {
    EXPECT_EQ(__dlog_print(DLOG_INFO, "TAG", "12345"), 5);
    EXPECT_EQ(__dlog_print(DLOG_DEBUG, "TAG", "12345"), 0);
}

TEST(Dlog, WritesLongTextsAndCutsThoseThatAreTooLong) {
    const std::string text = LogOf([] {
        __dlog_print(DLOG_INFO, "TAG", "%s|", std::string(60000, 'a').c_str());
        __dlog_print(DLOG_INFO, "TAG", "%s|", std::string(100000, 'b').c_str());
        __dlog_print(DLOG_INFO, "TAG", "last");
    });
    EXPECT_NE(text.find(std::string(60000, 'a') + "|\n"), std::string::npos);
    EXPECT_NE(text.find(std::string(65536, 'b') + "... (cut)\n"), std::string::npos);
    EXPECT_TRUE(text.ends_with("last\n"));
}

TEST(Dlog, WritesTextsAroundItsLimitsWhateverCameBefore) {
    const std::vector<std::size_t> sizes = {1022,  1023,  1024,  1025,  65500, 65535, 65536,
                                            65537, 65545, 65546, 65536, 100,   70000, 1024};
    const std::string text = LogOf([&] {
        for (const std::size_t size : sizes) {
            const int length = __dlog_print(DLOG_INFO, "TAG", "%s", std::string(size, 'a').c_str());
            __dlog_print(DLOG_INFO, "TAG", "%d", length);
        }
    });
    std::istringstream lines(text);
    const auto next = [&lines] {
        std::string line;
        std::getline(lines, line);
        return line.substr(line.find("] ") + 2);
    };
    for (const std::size_t size : sizes) {
        const std::string expected =
            size <= 65536 ? std::string(size, 'a') : std::string(65536, 'a') + "... (cut)";
        EXPECT_TRUE(next() == expected) << size;
        EXPECT_EQ(next(), std::to_string(size));
    }
}

TEST(Dlog, TellsHowMuchOfATextItWrites) {
    setenv("DLOG_LEVEL", "warn", 1);
    const std::string text = LogOf([] {
        const unsigned room = __dlog_room(DLOG_WARN, "TAG");
        __dlog_print(DLOG_WARN, "TAG", "%s", std::string(room, 'a').c_str());
        __dlog_print(DLOG_WARN, "TAG", "%s", std::string(room + 1U, 'b').c_str());
        __dlog_print(DLOG_ERROR, "TAG", "room %u", __dlog_room(DLOG_ERROR, "TAG") - room);
        __dlog_print(DLOG_ERROR, "TAG", "of info %u", __dlog_room(DLOG_INFO, "TAG"));
    });
    unsetenv("DLOG_LEVEL");
    EXPECT_NE(text.find("a\n"), std::string::npos);
    EXPECT_NE(text.find("b... (cut)\n"), std::string::npos);
    EXPECT_NE(text.find("] room 0\n"), std::string::npos) << text;
    EXPECT_NE(text.find("] of info 0\n"), std::string::npos) << text;
}

TEST(Dlog, KeepsTheLinesOfManyThreadsWhole) {
    constexpr int THREADS = 8;
    constexpr int LINES = 500;
    const std::string text = LogOf([] {
        std::vector<std::thread> threads;
        for (int t = 0; t < THREADS; ++t) {
            threads.emplace_back([] {
                for (int i = 0; i < LINES; ++i) {
                    __dlog_print(DLOG_INFO, "TAG", "<%s>", std::string(100, 'x').c_str());
                }
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
    });
    EXPECT_EQ(LinesOf(text), THREADS * LINES);
    const std::string whole = "<" + std::string(100, 'x') + ">\n";
    int count = 0;
    for (std::size_t at = text.find(whole); at != std::string::npos;
         at = text.find(whole, at + 1)) {
        ++count;
    }
    EXPECT_EQ(count, THREADS * LINES);
}

TEST(Dlog, WritesALineThatNobodyFollowsAfterAShortWhile) {
    Writer writer([] {
        __dlog_print(DLOG_INFO, "TAG", "lonely");
        pause();
    });
    EXPECT_TRUE(writer.WaitFor("lonely"));
}

TEST(Dlog, WritesAWarningAtOnceWithWhatCameBeforeIt) {
    // The process stops itself right behind the warning: nobody else could have written it.
    Writer writer([] {
        __dlog_print(DLOG_INFO, "TAG", "before");
        __dlog_print(DLOG_WARN, "TAG", "warning");
        _exit(0);
    });
    writer.Finish();
    EXPECT_NE(writer.text.find("before\n"), std::string::npos);
    EXPECT_NE(writer.text.find("warning\n"), std::string::npos);
}

TEST(Dlog, LosesNothingToASignalThatEndsTheProcess) {
    for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGABRT}) {
        Writer writer([signal] {
            __dlog_print(DLOG_INFO, "TAG", "last words");
            raise(signal);
        });
        const int status = writer.Finish();
        EXPECT_NE(writer.text.find("last words\n"), std::string::npos) << signal;
        EXPECT_TRUE(WIFSIGNALED(status));
        EXPECT_EQ(WTERMSIG(status), signal) << "the signal's action stays what it was";
    }
}

// Whose default actions the kernel doesn't take.
TEST(Dlog, LetsASignalEndTheFirstProcessOfAContainer) {
    constexpr int NOT_PERMITTED = 77;
    Writer writer([] {
        if (unshare(CLONE_NEWPID) != 0 && unshare(CLONE_NEWUSER | CLONE_NEWPID) != 0) {
            _exit(NOT_PERMITTED);
        }
        const pid_t first = fork();
        if (first == 0) {
            __dlog_print(DLOG_INFO, "TAG", "last words");
            raise(SIGTERM);
            __dlog_print(DLOG_ERROR, "TAG", "still there");
            _exit(0);
        }
        int status = -1;
        waitpid(first, &status, 0);
        _exit(WIFEXITED(status) ? WEXITSTATUS(status) : 1);
    });
    const int status = writer.Finish();
    ASSERT_TRUE(WIFEXITED(status));
    if (WEXITSTATUS(status) == NOT_PERMITTED) {
        GTEST_SKIP() << "no process ids of one's own are permitted here";
    }
    EXPECT_EQ(WEXITSTATUS(status), 128 + SIGTERM);
    EXPECT_NE(writer.text.find("last words\n"), std::string::npos);
}

TEST(Dlog, StillWritesWhatStaticDestructorsSay) {
    const std::string text = LogOf([] {
        struct Late {
            ~Late() { __dlog_print(DLOG_INFO, "TAG", "from a static destructor"); }
        };
        static const Late late;
        __dlog_print(DLOG_INFO, "TAG", "first");
    });
    EXPECT_NE(text.find("first\n"), std::string::npos);
    EXPECT_NE(text.find("from a static destructor\n"), std::string::npos);
}

TEST(Dlog, LeavesSignalsToTheProcesssOwnThreads) {
    Writer writer([] {
        __dlog_print(DLOG_INFO, "TAG", "the log has a thread from here on");
        sigset_t signals;
        sigemptyset(&signals);
        sigaddset(&signals, SIGUSR1);
        pthread_sigmask(SIG_BLOCK, &signals, nullptr);
        kill(getpid(), SIGUSR1);
        int signal = 0;
        sigwait(&signals, &signal);
        __dlog_print(DLOG_WARN, "TAG", "it has waited for this thread");
    });
    EXPECT_TRUE(writer.WaitFor("it has waited for this thread"));
}

TEST(Dlog, LeavesASignalAloneThatTheProcessHandles) {
    Writer writer([] {
        std::signal(SIGTERM, [](int) { _exit(7); });
        __dlog_print(DLOG_ERROR, "TAG", "ready");
        while (true) {
            pause();
        }
    });
    ASSERT_TRUE(writer.WaitFor("ready"));
    writer.Kill(SIGTERM);
    const int status = writer.Finish();
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 7);
}

TEST(Dlog, PutsTheJournalsPrefixAheadOfEveryLineWhereTheJournalReads) {
    const std::string text = LogOf([] {
        struct stat status {};
        fstat(STDERR_FILENO, &status);
        setenv("JOURNAL_STREAM",
               (std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino)).c_str(), 1);
        __dlog_print(DLOG_INFO, "TAG", "one\ntwo\n");
        __dlog_print(DLOG_WARN, "TAG", "three");
        __dlog_print(DLOG_ERROR, "TAG", "four");
    });
    EXPECT_TRUE(text.starts_with("<6>TAG [")) << text;
    EXPECT_NE(text.find("\n<6>two\n<4>TAG ["), std::string::npos) << text;
    EXPECT_NE(text.find("\n<3>TAG ["), std::string::npos) << text;
}

TEST(Dlog, TakesNoPrefixWhereAnotherStreamIsTheJournals) {
    const std::string text = LogOf([] {
        setenv("JOURNAL_STREAM", "1:1", 1);
        __dlog_print(DLOG_INFO, "TAG", "text");
    });
    EXPECT_FALSE(text.starts_with("<")) << text;
}

} // namespace

// SPDX-License-Identifier: Apache-2.0

// A process that sets keys and waits for the disk is killed at any moment, thousands of times.
//
// What a killed process has handed to the kernel is still there, so this shows that no moment
// leaves the store broken, half a value, or a lock that nobody frees. It can't show what a loss of
// power leaves: that the log was synchronised before vconf_sync_key returned is for the tests that
// look at the calls.

#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <random>
#include <spawn.h>
#include <sqlite3.h>
#include <stdexcept>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "Store.h"
#include "StoreError.h"
#include "TemporaryFolder.h"
#include "VConf.h"
#include "VConfKillValue.h"
#include "WaitUntil.h"

namespace {

using namespace std::chrono_literals;

// HEARTHD_KILLS, for a shorter or a longer look.
int Kills() {
    const char* kills = std::getenv("HEARTHD_KILLS");
    return kills != nullptr ? std::atoi(kills) : HEARTHD_DEFAULT_KILLS;
}

class Writer {
public:
    Writer() {
        std::array<int, 2> pipe{};
        if (pipe2(pipe.data(), O_CLOEXEC) != 0) {
            throw std::runtime_error("no pipe");
        }
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, pipe[1], STDOUT_FILENO);
        std::string program = HEARTHD_KILL_WRITER;
        const std::array<char*, 2> words{program.data(), nullptr};
        const int failed =
            posix_spawn(&m_pid, program.c_str(), &actions, nullptr, words.data(), environ);
        posix_spawn_file_actions_destroy(&actions);
        close(pipe[1]);
        m_output = pipe[0];
        if (failed != 0) {
            throw std::runtime_error("no writer");
        }
    }
    ~Writer() {
        Kill();
        close(m_output);
    }
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;

    /// The next number that is on the disk; nothing once it is dead and has been read out.
    std::optional<long> Next() const {
        long number = 0;
        return read(m_output, &number, sizeof(number)) == sizeof(number) ? std::optional(number)
                                                                         : std::nullopt;
    }
    /// Whether it has lived until then.
    bool Kill() {
        if (m_pid > 0) {
            kill(m_pid, SIGKILL);
            int status = 0;
            waitpid(m_pid, &status, 0);
            m_pid = -1;
            return WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
        }
        return false;
    }

private:
    pid_t m_pid = -1;
    int m_output = -1;
};

class VConfKill : public testing::Test {
protected:
    VConfKill() { setenv("VCONF_DATABASE", File().c_str(), 1); }

    std::string File() const { return (m_folder.Path() / "vconf.db").string(); }

    // Lets a writer run for a while and kills it. Adds to the numbers that must be there.
    void RunAndKill() {
        Writer writer;
        const bool isEarly = m_random() % 4 == 0; // while it opens the store, say
        if (!isEarly) {
            const std::optional<long> number = writer.Next();
            ASSERT_TRUE(number.has_value());
            m_synced = *number;
        }
        std::this_thread::sleep_for(
            std::chrono::microseconds(m_random() % (isEarly ? 10000 : 3000)));
        ASSERT_TRUE(writer.Kill());
        while (const std::optional<long> number = writer.Next()) {
            m_synced = *number;
        }
    }

    void ExpectIntegrity() const {
        sqlite3* database = nullptr;
        ASSERT_EQ(sqlite3_open(File().c_str(), &database), SQLITE_OK);
        sqlite3_db_config(database, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
        sqlite3_stmt* check = nullptr;
        ASSERT_EQ(sqlite3_prepare_v2(database, "PRAGMA integrity_check", -1, &check, nullptr),
                  SQLITE_OK);
        EXPECT_EQ(sqlite3_step(check), SQLITE_ROW);
        EXPECT_STREQ(reinterpret_cast<const char*>(sqlite3_column_text(check, 0)), "ok");
        sqlite3_finalize(check);
        sqlite3_close(database);
    }

    // The numbers that have been found: all that was synced, and no more than one set apart.
    void ExpectWhole(const std::optional<long>& first, const std::optional<long>& second) const {
        ASSERT_TRUE(first.has_value());
        ASSERT_TRUE(second.has_value());
        EXPECT_GE(*second, m_synced);
        EXPECT_GE(*first, *second);
        EXPECT_LE(*first, *second + 1);
    }

    long Synced() const { return m_synced; }

private:
    const TemporaryFolder m_folder;
    std::minstd_rand m_random{std::random_device()()};
    long m_synced = 0;
};

// Each time the next process finds the files as the dead one has left them, and nobody else has
// them open.
TEST_F(VConfKill, LeavesAStoreThatTheNextProcessOpens) {
    const int kills = Kills() / 2;
    const auto numberOf = [](vconf::Store& store, const char* key) -> std::optional<long> {
        try {
            return KillNumber(store.Get(key, VCONF_STRING).text);
        } catch (const vconf::KeyError&) {
            return 0; // it hasn't come so far
        }
    };
    for (int kill = 0; kill < kills && !HasFailure(); ++kill) {
        RunAndKill();
        vconf::Store store(File(), "boot");
        const std::optional<long> first = numberOf(store, KILL_FIRST_KEY);
        ExpectWhole(first, numberOf(store, KILL_SECOND_KEY));
        ExpectIntegrity();
    }
    EXPECT_GT(Synced(), kills);
}

std::optional<long> NumberOf(const char* key) {
    const std::unique_ptr<char, void (*)(void*)> text(vconf_get_str(key), std::free);
    return text ? KillNumber(text.get()) : std::nullopt;
}

struct Watched {
    std::atomic<long> last{0};
    std::atomic<int> broken{0};

    static void Check(struct _keynode_t* node, void* user) {
        auto& watched = *static_cast<Watched*>(user);
        const std::optional<long> number = KillNumber(vconf_keynode_get_str(node));
        watched.broken += number && *number > watched.last ? 0 : 1;
        watched.last = number.value_or(0);
    }
};

TEST_F(VConfKill, ShowsReadersAndWatchersWholeValuesOnly) {
    const int kills = Kills() / 2;
    ASSERT_EQ(vconf_set_str(KILL_FIRST_KEY, KillValue(1).c_str()), 0);
    ASSERT_EQ(vconf_set_str(KILL_SECOND_KEY, KillValue(1).c_str()), 0);
    Watched watched;
    ASSERT_EQ(vconf_notify_key_changed(KILL_SECOND_KEY, Watched::Check, &watched), 0);
    std::atomic<bool> isEnough{false};
    std::atomic<long> broken{0};
    std::atomic<long> seen{0};
    std::thread reader([&] {
        long last = 0;
        while (!isEnough) {
            // The second is set behind the first, so whoever reads them the other way round never
            // finds it ahead.
            const std::optional<long> second = NumberOf(KILL_SECOND_KEY);
            const std::optional<long> first = NumberOf(KILL_FIRST_KEY);
            broken += first && second && *first >= *second && *second >= last ? 0 : 1;
            seen += second.value_or(0) > last ? 1 : 0;
            last = second.value_or(0);
            std::this_thread::yield();
        }
    });
    for (int kill = 0; kill < kills && !HasFailure(); ++kill) {
        RunAndKill();
        const std::optional<long> second = NumberOf(KILL_SECOND_KEY);
        ExpectWhole(NumberOf(KILL_FIRST_KEY), second);
        ExpectIntegrity();
        EXPECT_TRUE(second == 1 || WaitUntil([&] { return watched.last == *second; }))
            << watched.last << " has been told, and " << *second << " is there";
    }
    isEnough = true;
    reader.join();
    EXPECT_EQ(vconf_ignore_key_changed(KILL_SECOND_KEY, Watched::Check), 0);
    EXPECT_EQ(broken, 0);
    EXPECT_EQ(watched.broken, 0);
    EXPECT_GT(seen, kills / 2);
    EXPECT_GT(Synced(), kills);
}

} // namespace

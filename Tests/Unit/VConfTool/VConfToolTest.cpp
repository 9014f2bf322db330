// SPDX-License-Identifier: Apache-2.0

// The program vconf, as a person or a script has it.

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include "Program.h"
#include "TemporaryFolder.h"
#include "WaitUntil.h"

namespace {

using testing::HasSubstr;

using Words = std::vector<std::string>;

class VConfTool : public testing::Test {
protected:
    VConfTool() { Use(folder.Path() / "vconf.db"); }

    static void Use(const std::filesystem::path& store) {
        setenv("VCONF_DATABASE", store.c_str(), 1);
    }
    static Words With(const Words& arguments) {
        Words words{VCONF_PROGRAM};
        words.insert(words.end(), arguments.begin(), arguments.end());
        return words;
    }
    // What it prints; it must end well.
    static std::string Run(const Words& arguments) {
        Program program(With(arguments));
        EXPECT_EQ(program.Wait(), 0) << program.Errors();
        EXPECT_EQ(program.Errors(), "");
        return program.Output();
    }
    // What it says where it must end with this status, and print nothing.
    static std::string Fail(const Words& arguments, int status) {
        Program program(With(arguments));
        EXPECT_EQ(program.Wait(), status) << program.Errors();
        EXPECT_EQ(program.Output(), "");
        return program.Errors();
    }

    void Execute(const std::string& sql, int (*row)(void*, int, char**, char**) = nullptr,
                 void* user = nullptr) const {
        sqlite3* database = nullptr;
        ASSERT_EQ(sqlite3_open((folder.Path() / "vconf.db").c_str(), &database), SQLITE_OK);
        sqlite3_busy_timeout(database, 10'000);
        EXPECT_EQ(sqlite3_exec(database, sql.c_str(), row, user, nullptr), SQLITE_OK)
            << sqlite3_errmsg(database);
        sqlite3_close(database);
    }
    // How often somebody has waited for the disk.
    int Syncs() const {
        int syncs = -1;
        Execute(
            "SELECT value FROM meta WHERE name = 'syncs'",
            [](void* number, int, char** values, char**) {
                *static_cast<int*>(number) = std::atoi(values[0]);
                return 0;
            },
            &syncs);
        return syncs;
    }

    TemporaryFolder folder;
};

TEST_F(VConfTool, PrintsWhatWasSet) {
    EXPECT_EQ(Run({"set", "db/audio/volume", "30"}), "");
    EXPECT_EQ(Run({"get", "db/audio/volume"}), "30\n");
    Run({"set", "a", "two\nlines"});
    EXPECT_EQ(Run({"get", "a"}), "two\nlines\n");
    Run({"set", "n", "--", "-5"});
    EXPECT_EQ(Run({"get", "n"}), "-5\n");
}

TEST_F(VConfTool, MakesANewKeyOfTheTypeThatItsValueLooksLikeOrThatIsNamed) {
    Run({"set", "a", "30"});
    Run({"set", "b", "2.5"});
    Run({"set", "c", "true"});
    Run({"set", "d", "words"});
    Run({"set", "e", "30", "-t", "string"});
    Run({"set", "--type", "double", "f", "30"});
    Run({"set", "g", "7", "-t", "bool"});
    EXPECT_EQ(Run({"list"}), "a  int  30\n"
                             "b  double  2.5\n"
                             "c  bool  true\n"
                             "d  string  \"words\"\n"
                             "e  string  \"30\"\n"
                             "f  double  30\n"
                             "g  bool  7\n");
}

TEST_F(VConfTool, KeepsTheTypeOfAKeyUnlessAnotherIsNamed) {
    Run({"set", "a", "words"});
    Run({"set", "a", "30"});
    EXPECT_EQ(Run({"list", "a"}), "a  string  \"30\"\n");
    Run({"set", "-t", "int", "a", "31"});
    EXPECT_EQ(Run({"list", "a"}), "a  int  31\n");
    EXPECT_EQ(Fail({"set", "a", "words"}, 1), "vconf: \"words\" is no value of the type int\n");
    EXPECT_EQ(Run({"get", "a"}), "31\n");
}

TEST_F(VConfTool, ListsWhatBeginsSo) {
    for (const char* key : {"db/b", "db/a", "dc", "memory/x"}) {
        Run({"set", key, "1"});
    }
    EXPECT_EQ(Run({"list", "--names", "db/"}), "db/a\ndb/b\n");
    EXPECT_EQ(Run({"list", "--names", "m", "dc"}), "memory/x\ndc\n");
    EXPECT_EQ(Run({"list", "--names", "db/b", "db/"}), "db/b\ndb/a\n") << "each once";
    EXPECT_EQ(Run({"list", "--names"}), "db/a\ndb/b\ndc\nmemory/x\n");
    EXPECT_EQ(Run({"list", "nothing"}), "");
}

TEST_F(VConfTool, RemovesAKey) {
    Run({"set", "a", "1"});
    EXPECT_EQ(Run({"unset", "a"}), "");
    EXPECT_EQ(Run({"list"}), "");
    EXPECT_THAT(Fail({"unset", "a"}, 1), HasSubstr("vconf: "));
    EXPECT_THAT(Fail({"get", "a"}, 1), HasSubstr("no key a"));
}

// It says nothing when it begins to listen: the first change is made until it is heard of.
void WaitForWatch(Program& watch, const std::function<void()>& change) {
    ASSERT_TRUE(WaitUntil([&] {
        change();
        return !watch.Output().empty();
    }));
}

TEST_F(VConfTool, ShowsEachChangeOfWhatBeginsSo) {
    Run({"set", "db/a", "1"});
    Program watch(With({"watch", "db/"}));
    WaitForWatch(watch, [] { Run({"set", "db/first", "0"}); });
    Run({"set", "elsewhere", "1"});
    Run({"set", "db/a", "2"});
    ASSERT_TRUE(watch.WaitForOutput("db/a  int  2\n"));
    Run({"set", "db/a", "2"});
    ASSERT_TRUE(watch.WaitForOutput("db/a  int  2\ndb/a  int  2\n"));
    Run({"unset", "db/a"});
    ASSERT_TRUE(watch.WaitForOutput("db/a  int  2\ndb/a  unset\n"));
    EXPECT_THAT(watch.Output(), testing::Not(HasSubstr("elsewhere")));
    EXPECT_THAT(watch.Output(), testing::StartsWith("db/first  int  0\n"));
}

TEST_F(VConfTool, WatchEndsWhenItHasShownEnough) {
    Program watch(With({"watch", "--count", "2"}));
    ASSERT_TRUE(WaitUntil([&] {
        Run({"set", "a", "1"});
        return watch.HasEnded();
    }));
    EXPECT_EQ(watch.Wait(), 0);
    EXPECT_EQ(watch.Output(), "a  int  1\na  int  1\n");
}

TEST_F(VConfTool, WatchEndsAtCtrlC) {
    Program watch(With({"watch"}), Program::At::TERMINAL);
    WaitForWatch(watch, [] { Run({"set", "a", "1"}); });
    watch.Type("\x03");
    EXPECT_EQ(watch.Wait(), 128 + SIGINT);
}

TEST_F(VConfTool, WatchGoesOnWithAnotherStoreInThePlaceOfTheFirst) {
    Program watch(With({"watch"}));
    WaitForWatch(watch, [] { Run({"set", "a", "1"}); });
    for (const auto& file : std::filesystem::directory_iterator(folder.Path())) {
        std::filesystem::remove(file);
    }
    Run({"set", "b", "2"});
    EXPECT_TRUE(watch.WaitForOutput("b  int  2\n"));
    for (const char* value : {"3", "4", "5"}) { // which makes no file, and it looks once more only
        Run({"set", "b", value});
        ASSERT_TRUE(watch.WaitForOutput("b  int  " + std::string(value) + "\n"));
    }
}

TEST_F(VConfTool, WatchShowsNoRowThatIsNoKey) {
    Program watch(With({"watch"}));
    WaitForWatch(watch, [] { Run({"set", "a", "1"}); });
    Execute("INSERT OR REPLACE INTO keys(name, type) VALUES('', 0);"
            "INSERT INTO keys(name, type, value) VALUES(char(27) || '[2J', 41, 1);"
            "INSERT INTO keys(name, type, value) VALUES('b', 41, 1);");
    ASSERT_TRUE(watch.WaitForOutput("b  int  1\n"));
    EXPECT_THAT(watch.Output(), testing::MatchesRegex("(a  int  1\n)+b  int  1\n"));
}

TEST_F(VConfTool, WatchGoesOnWhereAnOldContentIsPutBack) {
    Run({"set", "a", "1"});
    Execute("PRAGMA wal_checkpoint(TRUNCATE)");
    const std::filesystem::path store = folder.Path() / "vconf.db";
    std::filesystem::copy_file(store, folder.Path() / "copy.db");
    Program watch(With({"watch"}));
    WaitForWatch(watch, [] { Run({"set", "b", "1"}); });
    for (int count = 0; count < 5; ++count) {
        Run({"set", "b", "2"});
    }
    Execute("ATTACH '" + (folder.Path() / "copy.db").string() +
            "' AS old; BEGIN; DELETE FROM main.keys;"
            "INSERT INTO main.keys SELECT * FROM old.keys; COMMIT");
    Run({"set", "c", "1"});
    EXPECT_TRUE(watch.WaitForOutput("c  int  1\n"));
}

TEST_F(VConfTool, ReturnsFromAChangeWhenItIsOnTheDisk) {
    Run({"set", "a", "1"});
    const int syncs = Syncs();
    EXPECT_GT(syncs, 0);
    Run({"set", "a", "2"});
    EXPECT_EQ(Syncs(), syncs + 1);
    Run({"unset", "a"});
    EXPECT_EQ(Syncs(), syncs + 2);
    Run({"list"});
    EXPECT_EQ(Syncs(), syncs + 2);
}

TEST_F(VConfTool, TakesANameThatMeansSomethingToTheDatabaseForAFile) {
    const std::string begin = "cd " + folder.Path().string() + " && VCONF_DATABASE=:memory: ";
    Program set({"sh", "-c", begin + VCONF_PROGRAM + " set a 1"});
    EXPECT_EQ(set.Wait(), 0) << set.Errors();
    Program get({"sh", "-c", begin + VCONF_PROGRAM + " get a"});
    EXPECT_EQ(get.Wait(), 0) << get.Errors();
    EXPECT_EQ(get.Output(), "1\n");
    EXPECT_TRUE(std::filesystem::exists(folder.Path() / ":memory:"));
}

TEST_F(VConfTool, TellsUsageFromRefusalAndFromATroubledStore) {
    EXPECT_THAT(Fail({}, 2), HasSubstr("subcommand"));
    EXPECT_THAT(Fail({"sett", "a", "1"}, 2), HasSubstr("--help"));
    EXPECT_THAT(Fail({"set", "a"}, 2), HasSubstr("VALUE is required"));
    EXPECT_THAT(Fail({"set", "-t", "float", "a", "1"}, 2), HasSubstr("float"));
    EXPECT_THAT(Fail({"watch", "--count", "0"}, 2), HasSubstr("--count"));
    for (const char* key : {"", "/a", "a/", "a//b", "a\nb"}) {
        EXPECT_THAT(Fail({"set", key, "1"}, 1), HasSubstr("malformed key")) << key;
        EXPECT_THAT(Fail({"get", key}, 1), HasSubstr("malformed key")) << key;
    }
    std::ofstream(folder.Path() / "foreign.db") << "this is no database, whatever its name says\n";
    Use(folder.Path() / "foreign.db");
    EXPECT_THAT(Fail({"list"}, 3), HasSubstr("foreign.db"));
    Use("/proc/no/folder/vconf.db");
    EXPECT_THAT(Fail({"get", "a"}, 3), HasSubstr("/proc/no/folder/vconf.db"));
    EXPECT_THAT(Fail({"watch"}, 3), HasSubstr("/proc/no/folder/vconf.db"));
}

TEST_F(VConfTool, SaysWhereItsOutputCannotBeWritten) {
    Run({"set", "a", "1"});
    Program program({"sh", "-c", std::string(VCONF_PROGRAM) + " get a >/dev/full"});
    EXPECT_EQ(program.Wait(), 1);
    EXPECT_THAT(program.Errors(), HasSubstr("cannot write to standard output"));
}

TEST_F(VConfTool, MakesTheFolderOfItsStore) {
    Use(folder.Path() / "one" / "two" / "vconf.db");
    Run({"set", "a", "1"});
    EXPECT_EQ(Run({"get", "a"}), "1\n");
}

// As bash asks: the words so far, the last of which is to be completed.
class VConfCompletion : public VConfTool {
protected:
    static std::string Complete(const Words& words) {
        std::string line = "source " VCONF_COMPLETION "; COMP_WORDS=(" VCONF_PROGRAM;
        for (const std::string& word : words) {
            line += " '" + word + "'";
        }
        line += "); COMP_CWORD=" + std::to_string(words.size()) +
                R"(; _vconf; printf '%s ' "${COMPREPLY[@]}")";
        Program bash({"bash", "-c", line});
        EXPECT_EQ(bash.Wait(), 0) << bash.Errors();
        return bash.Output();
    }
};

TEST_F(VConfCompletion, KnowsVerbsOptionsTypesAndKeys) {
    Run({"set", "db/volume", "1"});
    Run({"set", "db/mute", "true"});
    EXPECT_EQ(Complete({""}), "get set unset list watch --help ");
    EXPECT_EQ(Complete({"u"}), "unset ");
    EXPECT_EQ(Complete({"get", "db/"}), "db/mute db/volume ");
    EXPECT_EQ(Complete({"unset", "db/v"}), "db/volume ");
    EXPECT_EQ(Complete({"list", "x", "db/m"}), "db/mute ");
    EXPECT_EQ(Complete({"set", "db/mute", ""}), "true false ");
    EXPECT_EQ(Complete({"set", "db/volume", ""}), " ");
    EXPECT_EQ(Complete({"set", "-t", "b"}), "bool ");
    EXPECT_EQ(Complete({"set", "-t", "int", "db/v"}), "db/volume ");
    EXPECT_EQ(Complete({"list", "--n"}), "--names ");
    EXPECT_EQ(Complete({"watch", "--count", "1", "db/v"}), "db/volume ");
}

} // namespace

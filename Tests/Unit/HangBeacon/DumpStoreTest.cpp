// SPDX-License-Identifier: Apache-2.0
#include "DumpStore.h"

#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Dlog.h"
#include "LogCapture.h"
#include "ReadFile.h"
#include "TemporaryFolder.h"

namespace {

namespace fs = std::filesystem;
using hang_beacon::Dump;
using hang_beacon::DumpStore;
using testing::ElementsAre;
using testing::HasSubstr;

class DumpStoreTest : public testing::Test {
protected:
    std::vector<std::string> Names() const {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(dumps)) {
            names.push_back(entry.path().filename());
        }
        return names;
    }
    static Dump DumpOf(pid_t process) {
        Dump dump;
        dump.process = process;
        dump.name = "name";
        dump.threads = {{process, "one", {"1)a"}}};
        return dump;
    }

    const TemporaryFolder folder;
    const fs::path dumps = folder.Path() / "dumps";
};

TEST_F(DumpStoreTest, SaysHowManyLinesHadNoRoom) {
    DumpStore store(dumps, 2);
    Dump dump = DumpOf(7);
    EXPECT_EQ(ReadFile(store.Add(dump)), "process 7 name\ntime 1970-01-01T00:00:00.000Z\n"
                                         "thread 7 one\n1)a\n");
    dump.dropped = 3;
    EXPECT_THAT(ReadFile(store.Add(dump)), HasSubstr("\n1)a\ndropped 3\n"));
}

TEST_F(DumpStoreTest, RemovesNothingButDumps) {
    DumpStore store(dumps, 1);
    std::ofstream(dumps / "a-note.txt") << "mine";
    store.Add(DumpOf(1));
    const fs::path last = store.Add(DumpOf(2));
    EXPECT_THAT(Names(), testing::UnorderedElementsAre("a-note.txt", last.filename().string()));
}

TEST_F(DumpStoreTest, KeepsTheNewestThoughTheClockIsBehind) {
    DumpStore store(dumps, 2);
    Dump dump = DumpOf(1);
    dump.time += std::chrono::hours(1);
    store.Add(dump);
    const std::string second = store.Add(dump).filename().string();
    dump.time -= std::chrono::hours(1);
    const std::string last = store.Add(dump).filename().string();
    EXPECT_THAT(Names(), testing::UnorderedElementsAre(second, last));
}

TEST_F(DumpStoreTest, GoesOnBehindADumpThatCannotBeWritten) {
    DumpStore store(dumps, 2);
    fs::remove(dumps);
    EXPECT_EQ(store.Add(DumpOf(1)), fs::path());
    EXPECT_EQ(LogCapture::CountBeginning(DLOG_ERROR, "cannot write " + dumps.string()), 1);
    fs::create_directory(dumps);
    const fs::path written = store.Add(DumpOf(2));
    EXPECT_THAT(ReadFile(written), HasSubstr("process 2 name\n"));
}

TEST_F(DumpStoreTest, LeavesNothingOfADumpWhosePlaceIsTaken) {
    DumpStore store(dumps, 2);
    const fs::path place = store.Add(DumpOf(1));
    fs::remove(place);
    fs::create_directories(place / "more"); // where a store that begins anew puts the same dump
    EXPECT_EQ(DumpStore(dumps, 2).Add(DumpOf(1)), fs::path());
    EXPECT_EQ(LogCapture::Count(DLOG_ERROR, "cannot write " + place.string() + ": Is a directory"),
              1);
    EXPECT_THAT(Names(), ElementsAre(place.filename().string()));
}

} // namespace

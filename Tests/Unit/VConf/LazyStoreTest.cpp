// SPDX-License-Identifier: Apache-2.0

// When a process's connections to its store are opened and closed.

#include "LazyStore.h"

#include <filesystem>
#include <gtest/gtest.h>

#include "Dlog.h"
#include "LogCapture.h"
#include "TemporaryFolder.h"

namespace {

using vconf::KeyError;
using vconf::LazyStore;
using vconf::Store;
using vconf::StoreError;
using vconf::StorePlace;

class LazyStoreTest : public testing::Test {
protected:
    std::string File() const { return (m_folder.Path() / "vconf.db").string(); }

    // How many descriptors of this process have a file open whose name ends so.
    int CountOpen(const std::string& name) const {
        int count = 0;
        for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
            std::error_code gone; // that of the folder itself
            const std::string file = std::filesystem::read_symlink(entry.path(), gone).string();
            count += !gone && file == File() + name ? 1 : 0;
        }
        return count;
    }
    void Replace() const {
        for (const char* ending : {"", "-wal", "-shm", "-bell"}) {
            std::filesystem::remove(File() + ending);
        }
    }

private:
    const TemporaryFolder m_folder;
};

TEST_F(LazyStoreTest, OpensWhenItIsUsedAndStaysOpen) {
    StorePlace place(File(), "boot");
    LazyStore lazy(place);
    EXPECT_FALSE(std::filesystem::exists(File()));
    const Store* first = nullptr;
    lazy.Use([&](Store& store) { first = &store; });
    EXPECT_EQ(CountOpen(""), 1);
    EXPECT_THROW(lazy.Use([](Store& store) { store.Get("db/none"); }), KeyError);
    EXPECT_EQ(CountOpen(""), 1);
    lazy.Use([&](Store& store) { EXPECT_EQ(&store, first); });
}

TEST_F(LazyStoreTest, ClosesWhatHasFailed) {
    StorePlace place(File(), "boot");
    LazyStore lazy(place);
    EXPECT_THROW(lazy.Use([](Store&) { throw StoreError("no"); }), StoreError);
    EXPECT_EQ(CountOpen(""), 0);
    lazy.Use([](Store& store) { store.SetInt("db/a", 1); });
    EXPECT_EQ(CountOpen(""), 1);
}

// They share locks by the files' numbers: none may be left behind when the first is opened anew.
TEST_F(LazyStoreTest, ClosesAllOfAPlaceBeforeOneIsOpenedAnew) {
    StorePlace place(File(), "boot");
    LazyStore first(place);
    LazyStore second(place);
    LazyStore third(place);
    for (LazyStore* lazy : {&first, &second, &third}) {
        lazy->Use([](Store& store) { store.SetInt("db/a", 1); });
    }
    EXPECT_EQ(CountOpen(""), 3);
    Replace();
    LogCapture::Clear();
    second.Use([&](Store& store) {
        EXPECT_THROW(store.Get("db/a"), KeyError); // it is a new one
        EXPECT_EQ(CountOpen(" (deleted)"), 0);
        EXPECT_EQ(CountOpen("-shm (deleted)"), 0);
        EXPECT_EQ(CountOpen(""), 1);
    });
    EXPECT_EQ(
        LogCapture::Count(DLOG_WARN, File() + " has been removed or replaced; opening it anew"), 1);
    first.Use([](Store& store) { store.SetInt("db/a", 2); });
    third.Use([](Store& store) { EXPECT_EQ(store.Get("db/a").integer, 2); });
}

} // namespace

// SPDX-License-Identifier: Apache-2.0

// The watch over a store's files, without a store.

#include "StoreWatch.h"

#include <fstream>
#include <future>
#include <gtest/gtest.h>

#include "TemporaryFolder.h"

namespace {

using namespace std::chrono_literals;
using vconf::StoreWatch;

class StoreWatchTest : public testing::Test {
protected:
    const TemporaryFolder folder;
    const vconf::StorePaths paths{(folder.Path() / "vconf.db").string()};
    StoreWatch watch{paths};
};

TEST_F(StoreWatchTest, IsWholeWhenDatabaseLogAndBellAreThere) {
    for (const std::string& file : {paths.database, paths.log, paths.bell}) {
        EXPECT_FALSE(watch.Renew()) << "without " << file;
        std::ofstream{file};
    }
    EXPECT_TRUE(watch.Renew());
    std::filesystem::remove(paths.log);
    EXPECT_FALSE(watch.Renew());
}

TEST_F(StoreWatchTest, LooksAgainByItselfWhereThatIsWanted) {
    const auto begin = StoreWatch::Clock::now();
    watch.LookAgain();
    auto noticed = std::async(std::launch::async, [this] { return watch.Wait(); });
    if (noticed.wait_for(20s) != std::future_status::ready) {
        ADD_FAILURE() << "it waits for ever";
        watch.Wake();
    }
    EXPECT_EQ(noticed.get(), StoreWatch::Noticed::Files);
    EXPECT_GE(StoreWatch::Clock::now() - begin, 900ms) << "and not over and over";
}

} // namespace

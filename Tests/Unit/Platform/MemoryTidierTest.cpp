// SPDX-License-Identifier: Apache-2.0
#include "FreeMemory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <vector>

namespace {

using marrow::base::MemoryTidier;

std::vector<long> WaitsOf(MemoryTidier& tidier) {
    std::vector<long> waits;
    while (const auto wait = tidier.Wait()) {
        waits.push_back(wait->count());
        tidier.TidyUp();
    }
    return waits;
}

TEST(MemoryTidier, HasNothingToDoForAThreadThatHasNotWorked) {
    EXPECT_EQ(MemoryTidier().Wait(), std::nullopt);
}

TEST(MemoryTidier, LooksAfterASecondAndEverMoreRarely) {
    MemoryTidier tidier;
    tidier.HasWorked();
    EXPECT_THAT(WaitsOf(tidier), testing::ElementsAre(1, 2, 4, 8, 16, 32, 64, 128, 256));
}

TEST(MemoryTidier, BeginsAnewWhenTheThreadHasWorked) {
    MemoryTidier tidier;
    tidier.HasWorked();
    tidier.TidyUp();
    tidier.TidyUp();
    tidier.HasWorked();
    EXPECT_EQ(tidier.Wait(), MemoryTidier::FIRST_WAIT);
}

} // namespace

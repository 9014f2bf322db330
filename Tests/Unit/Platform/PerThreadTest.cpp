// SPDX-License-Identifier: Apache-2.0
#include "PerThread.h"

#include <atomic>
#include <gtest/gtest.h>
#include <thread>

namespace {

using marrow::base::PerThread;

std::atomic<int> s_made{0};
std::atomic<int> s_gone{0};

struct Counted {
    explicit Counted(int given = 0) : number(given) { ++s_made; }
    ~Counted() { ++s_gone; }
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;

    int number;
};

TEST(PerThread, IsOneObjectForAThreadAndMadeAtItsFirstUse) {
    Counted& first = PerThread<Counted>::Get(7);
    EXPECT_EQ(&PerThread<Counted>::Get(8), &first);
    EXPECT_EQ(first.number, 7);
    EXPECT_EQ(s_made, 1);
}

TEST(PerThread, GoesWithItsThread) {
    Counted* const here = &PerThread<Counted>::Get();
    std::thread([here] {
        EXPECT_NE(&PerThread<Counted>::Get(), here);
        EXPECT_EQ(s_gone, 0);
    }).join();
    EXPECT_EQ(s_made, 2);
    EXPECT_EQ(s_gone, 1);
    EXPECT_EQ(&PerThread<Counted>::Get(), here);
}

struct AsksAtItsEnd {
    ~AsksAtItsEnd() { PerThread<Counted>::Get().number = 1; }
};

TEST(PerThread, IsThereForWhatAThreadsOtherObjectsDoAtTheirEnd) {
    std::thread([] {
        static thread_local const AsksAtItsEnd asks;
        [[maybe_unused]] const auto* const used = &asks;
        PerThread<Counted>::Get();
    }).join();
    EXPECT_EQ(s_made, 1);
    EXPECT_EQ(s_gone, 1);
}

struct AsksWhenItGoes {
    ~AsksWhenItGoes() { PerThread<Counted>::Get(); }
};

TEST(PerThread, IsMadeAnewForWhatAsksAfterItsEnd) {
    std::thread([] {
        PerThread<Counted>::Get();
        PerThread<AsksWhenItGoes>::Get();
    }).join();
    EXPECT_EQ(s_made, s_gone) << "and that one goes too";
}

} // namespace

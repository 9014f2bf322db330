// SPDX-License-Identifier: Apache-2.0

// What stays behind where a worker can't be made.

#include <gtest/gtest.h>
#include <memory>
#include <new>

#include "FailingNew.h"
#include "WorkerFactory.h"
#include "WorkerTools.h"

namespace {

using marrow::ser::Job;
using marrow::ser::Worker;
using marrow::ser::WorkerFactory;

TEST(WorkerFailure, AheadOfTheListLeavesItAsItWasAndTheLockFree) {
    WorkerFactory& factory = WorkerFactory::Get();
    {
        const FailingNew noWorker(sizeof(Worker));
        EXPECT_THROW(factory.GetWorker("Failing"), std::bad_alloc);
    }
    EXPECT_EQ(factory.FindWorker("Failing"), nullptr);
    const auto worker = factory.GetWorker("Failing");
    ASSERT_NE(worker, nullptr);
    EXPECT_TRUE(RunOn(worker));
}

TEST(WorkerFailure, BehindTheListLeavesTheEntryThere) {
    WorkerFactory& factory = WorkerFactory::Get();
    static Worker* left = nullptr;
    {
        const FailingNew noJob(sizeof(Job));
        EXPECT_THROW(factory.GetWorker("Left"), std::bad_alloc);
    }
    left = factory.FindWorker("Left");
    EXPECT_NE(left, nullptr);
    EXPECT_THROW(factory.GetWorker("Left"), std::bad_weak_ptr); // nobody shares it
    EXPECT_NE(factory.GetWorker("Other"), nullptr);
}

} // namespace

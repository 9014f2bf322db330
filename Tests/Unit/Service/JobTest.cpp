// SPDX-License-Identifier: Apache-2.0
#include "Job.h"

#include <functional>
#include <gtest/gtest.h>
#include <memory>

#include "Dlog.h"
#include "LogCapture.h"
#include "TCEvent.h"
#include "Text.h"
#include "Worker.h"

namespace {

using marrow::ser::Job;
using marrow::ser::Worker;

// Ends a job as the queue does.
struct ClearJob {
    void operator()(Job* job) const { job->t_Clear(nullptr); }
};
using JobPointer = std::unique_ptr<Job, ClearJob>;

TEST(Job, HasNoOwnerUntilItGetsOne) {
    Worker worker("JobOwner");
    const JobPointer job(new Job([] {}));
    EXPECT_EQ(job->owner, nullptr);
    job->SetOwner(&worker);
    EXPECT_EQ(job->owner, &worker);
    job->SetOwner(nullptr);
    EXPECT_EQ(job->owner, nullptr);
}

TEST(Job, RunsItsWorkOnceForEachEventAndAnswersTrue) {
    int runs = 0;
    const JobPointer job(new Job([&] { ++runs; }));
    EXPECT_EQ(runs, 0);
    const Quill::TCEvent event;
    EXPECT_TRUE(job->t_OnEvent(&event));
    EXPECT_EQ(runs, 1);
}

TEST(Job, LogsItsAddressAheadOfItsWork) {
    const Job* address = nullptr;
    int linesAtWork = 0;
    const JobPointer job(new Job([&] {
        linesAtWork = LogCapture::Count(DLOG_INFO, "Executing job[" + Pointer(address) + "]");
    }));
    address = job.get();
    LogCapture::Clear();
    job->t_OnEvent(nullptr);
    EXPECT_EQ(linesAtWork, 1);
    EXPECT_EQ(LogCapture::Lines().size(), 1U);
}

TEST(Job, KeepsACopyOfItsWork) {
    int runs = 0;
    std::function<void()> work = [&] { ++runs; };
    const JobPointer job(new Job(work));
    work = nullptr;
    job->t_OnEvent(nullptr);
    EXPECT_EQ(runs, 1);
}

TEST(Job, DeletesItselfAndItsArgumentsAtClearAndNotBefore) {
    const auto argument = std::make_shared<int>(7);
    auto* const job = new Job([argument] {});
    EXPECT_EQ(argument.use_count(), 2);
    job->t_OnEvent(nullptr);
    EXPECT_EQ(argument.use_count(), 2);
    job->t_Clear(nullptr);
    EXPECT_EQ(argument.use_count(), 1);
}

TEST(Job, DeletesItselfWithoutHavingRun) {
    const auto argument = std::make_shared<int>(7);
    auto* const job = new Job([argument] {});
    job->t_Clear(nullptr);
    EXPECT_EQ(argument.use_count(), 1);
}

TEST(Job, RaisesBadFunctionCallWhereThereIsNoWork) {
    const JobPointer job(new Job(std::function<void()>()));
    EXPECT_THROW(job->t_OnEvent(nullptr), std::bad_function_call);
}

TEST(Job, LetsAnExceptionOfItsWorkThrough) {
    const JobPointer job(new Job([] { throw 7; }));
    EXPECT_THROW(job->t_OnEvent(nullptr), int);
}

} // namespace

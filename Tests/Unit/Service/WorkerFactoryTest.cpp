// SPDX-License-Identifier: Apache-2.0

// How workers are found, shared and made.

#include "WorkerFactory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "CoutCapture.h"
#include "Dlog.h"
#include "LogCapture.h"
#include "PrivateMember.h"
#include "Text.h"
#include "WaitUntil.h"
#include "WorkerTools.h"

namespace {

using marrow::ser::Worker;
using marrow::ser::WorkerFactory;

struct Cleaner : PrivateMember<Cleaner, Worker * WorkerFactory::*> {};
struct Workers : PrivateMember<Workers, std::list<Worker*> WorkerFactory::*> {};

} // namespace

template struct ExposeMember<Cleaner, &WorkerFactory::m_cleaner>;
template struct ExposeMember<Workers, &WorkerFactory::m_workers>;

namespace {

std::shared_ptr<Worker> GetWorker(const std::string& name) {
    return WorkerFactory::Get().GetWorker(name);
}

std::string ThreadOf(const std::shared_ptr<Worker>& worker) {
    std::string name;
    EXPECT_TRUE(RunOn(worker, [&] { name = ThreadName(); }));
    return name;
}

std::thread::id IdOf(const std::shared_ptr<Worker>& worker) {
    std::thread::id id;
    EXPECT_TRUE(RunOn(worker, [&] { id = std::this_thread::get_id(); }));
    return id;
}

TEST(WorkerFactory, IsOneObjectForTheProcess) {
    EXPECT_EQ(&WorkerFactory::Get(), &WorkerFactory::Get());
}

TEST(WorkerFactory, GivesOneObjectAndOneThreadForOneName) {
    const auto first = GetWorker("Shared");
    const auto second = GetWorker("Shared");
    EXPECT_EQ(first, second);
    EXPECT_EQ(first.use_count(), 2); // one control block
    EXPECT_EQ(IdOf(first), IdOf(second));
}

TEST(WorkerFactory, GivesAWorkerForEachName) {
    const auto first = GetWorker("One");
    const auto second = GetWorker("Two");
    EXPECT_NE(first, second);
    EXPECT_EQ(first->GetName(), "One");
    EXPECT_EQ(second->GetName(), "Two");
    EXPECT_NE(IdOf(first), IdOf(second));
}

TEST(WorkerFactory, TellsNamesApartThatDifferInOneByteOrInLength) {
    const auto worker = GetWorker("Name");
    EXPECT_NE(worker, GetWorker("name"));
    EXPECT_NE(worker, GetWorker("Name "));
    EXPECT_NE(worker, GetWorker("Nam"));
    EXPECT_NE(worker, GetWorker(std::string("Name\0", 5)));
}

TEST(WorkerFactory, NamesTheThreadAfterTheWorker) {
    EXPECT_EQ(ThreadOf(GetWorker("Short")), "Short_thread");
    EXPECT_EQ(ThreadOf(GetWorker("ANameThatIsLong")), "ANameThatIsLong");
}

TEST(WorkerFactory, TakesTheEmptyNameAsAnyOther) {
    const auto worker = GetWorker("");
    ASSERT_NE(worker, nullptr);
    EXPECT_EQ(worker, GetWorker(""));
    EXPECT_EQ(worker->GetName(), "");
    EXPECT_EQ(ThreadOf(worker), "_thread");
}

TEST(WorkerFactory, ConnectsTheWorkersReferenceToItself) {
    const auto worker = GetWorker("Self");
    EXPECT_EQ(worker->shared_from_this(), worker);
    EXPECT_EQ(worker->weak_from_this().lock(), worker);
}

TEST(WorkerFactory, HasACleanerThatNobodyShares) {
    const Worker* const cleaner = WorkerFactory::Get().*MemberOf(Cleaner());
    ASSERT_NE(cleaner, nullptr);
    EXPECT_TRUE(cleaner->weak_from_this().expired());
    EXPECT_TRUE(WaitUntil([] { return CountThreads("WFCleaner_threa") == 1; }));
}

TEST(WorkerFactory, MakesAnOrdinaryWorkerOfTheCleanersName) {
    WorkerFactory& factory = WorkerFactory::Get();
    EXPECT_EQ(factory.FindWorker("WFCleaner"), nullptr);
    const auto worker = GetWorker("WFCleaner");
    ASSERT_NE(worker, nullptr);
    EXPECT_NE(worker.get(), factory.*MemberOf(Cleaner()));
    EXPECT_EQ(ThreadOf(worker), "WFCleaner_threa");
    EXPECT_TRUE(WaitUntil([] { return CountThreads("WFCleaner_threa") == 2; }));
    EXPECT_EQ(GetWorker("WFCleaner"), worker);
}

TEST(WorkerFactory, ListsWorkersInTheOrderOfTheirCreationWithoutTheCleaner) {
    const auto before = WorkerFactory::Get().*MemberOf(Workers());
    const auto first = GetWorker("ListedFirst");
    const auto second = GetWorker("ListedSecond");
    const auto again = GetWorker("ListedFirst");
    std::list<Worker*> expected = before;
    expected.push_back(first.get());
    expected.push_back(second.get());
    EXPECT_EQ(WorkerFactory::Get().*MemberOf(Workers()), expected);
    EXPECT_THAT(expected,
                testing::Not(testing::Contains(WorkerFactory::Get().*MemberOf(Cleaner()))));
}

TEST(WorkerFactory, FindsAWorkerByItsNameAndNoneForAnother) {
    const auto worker = GetWorker("Findable");
    EXPECT_EQ(WorkerFactory::Get().FindWorker("Findable"), worker.get());
    EXPECT_EQ(WorkerFactory::Get().FindWorker("Unknown"), nullptr);
}

// Names are unique in the list, so that this shows nowhere else.
TEST(WorkerFactory, FindsTheLastOfSeveralEntriesOfOneName) {
    std::list<Worker*>& workers = WorkerFactory::Get().*MemberOf(Workers());
    Worker first("Duplicate");
    Worker last("Duplicate");
    workers.push_back(&first);
    workers.push_back(&last);
    EXPECT_EQ(WorkerFactory::Get().FindWorker("Duplicate"), &last);
    workers.remove(&first);
    workers.remove(&last);
}

TEST(WorkerFactory, FindsNobodyWhereThereAreNoWorkers) {
    if (!(WorkerFactory::Get().*MemberOf(Workers())).empty()) {
        GTEST_SKIP() << "another test of this process keeps a worker";
    }
    EXPECT_EQ(WorkerFactory::Get().FindWorker(""), nullptr);
}

// The list isn't given out. The operation stays as it is.
TEST(WorkerFactory, GivesAnEmptyListHoweverManyWorkersThereAre) {
    EXPECT_TRUE(WorkerFactory::Get().GetWorkersList().empty());
    const auto first = GetWorker("Unlisted");
    const auto second = GetWorker("UnlistedToo");
    EXPECT_TRUE(WorkerFactory::Get().GetWorkersList().empty());
}

TEST(WorkerFactory, MakesOneWorkerForFirstUsersWhoComeTogether) {
    constexpr int USERS = 8;
    for (int round = 0; round < 20; ++round) {
        const std::string name = "Together" + std::to_string(round);
        std::vector<std::shared_ptr<Worker>> workers(USERS);
        Gate start;
        std::vector<std::thread> users;
        for (int i = 0; i < USERS; ++i) {
            users.emplace_back([&, i] {
                start.Wait();
                workers[static_cast<std::size_t>(i)] = GetWorker(name);
            });
        }
        start.Open();
        for (std::thread& user : users) {
            user.join();
        }
        EXPECT_EQ(std::set(workers.begin(), workers.end()).size(), 1U) << name;
    }
}

TEST(WorkerFactory, IsNeitherCopiedNorMadeByOthers) {
    EXPECT_FALSE(std::is_default_constructible_v<WorkerFactory>);
    EXPECT_FALSE(std::is_copy_constructible_v<WorkerFactory>);
    EXPECT_FALSE(std::is_polymorphic_v<WorkerFactory>);
    EXPECT_TRUE(std::is_empty_v<WorkerFactory::WorkerDeleter>);
}

// What stands in the log comes from the workers and their jobs.
TEST(WorkerFactory, LogsNothingOfItsOwn) {
    CoutCapture& output = CoutCapture::Get();
    GetWorker("Warm").reset();
    LogCapture::Clear();
    auto worker = GetWorker("Logging");
    const std::string cleaning = "cleaning Worker = [" + Pointer(worker.get()) + "]";
    worker.reset();
    ASSERT_TRUE(output.WaitFor(cleaning));
    ASSERT_TRUE(LogCapture::WaitFor(DLOG_INFO, "~Worker[Logging]"));
    for (const LogCapture::Line& line : LogCapture::Lines()) {
        EXPECT_EQ(line.priority, DLOG_INFO);
        EXPECT_THAT(line.text, testing::AnyOf(testing::StartsWith("Worker["),
                                              testing::StartsWith("Executing job["),
                                              testing::StartsWith("SetLocalWorker = "),
                                              testing::StartsWith("~Worker[")));
    }
}

} // namespace

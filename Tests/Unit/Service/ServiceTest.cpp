// SPDX-License-Identifier: Apache-2.0

// A service's states, and on which thread its code runs.

#include "Service.h"

#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

#include "Dlog.h"
#include "LogCapture.h"
#include "TestService.h"
#include "Text.h"
#include "WorkerFactory.h"

namespace {

using marrow::ser::Service;
using marrow::ser::Worker;
using marrow::ser::WorkerFactory;

// The lines that a Start or a Stop may write.
int CountServiceLines() {
    return LogCapture::CountBeginning(DLOG_INFO, "Starting service") +
           LogCapture::CountBeginning(DLOG_INFO, "Stopping service") +
           LogCapture::CountBeginning(DLOG_ERROR, "");
}

int CountJobs(const std::shared_ptr<Worker>& worker) {
    return LogCapture::CountBeginning(DLOG_INFO, "Worker[" + Pointer(worker.get()) + "][" +
                                                     worker->GetName() + "] adds to queue");
}

TEST(Service, IsStoppedWhenItIsNew) {
    TestService service("New");
    EXPECT_FALSE(service.IsStarted());
    EXPECT_EQ(service.starts, 0);
}

TEST(Service, HasTheWorkerOfItsName) {
    TestService service("Named");
    EXPECT_EQ(service.GetWorker(), WorkerFactory::Get().GetWorker("Named"));
    EXPECT_EQ(service.GetWorker()->GetName(), "Named");
}

TEST(Service, StartsAndStopsOnItsWorker) {
    TestService service("Hopping");
    std::vector<std::string> threads;
    service.onStart = service.onStop = [&] {
        threads.push_back(ThreadName());
        return true;
    };
    EXPECT_TRUE(service.Start());
    EXPECT_TRUE(service.IsStarted());
    EXPECT_TRUE(service.Stop());
    EXPECT_FALSE(service.IsStarted());
    EXPECT_EQ(threads, (std::vector<std::string>{"Hopping_thread", "Hopping_thread"}));
}

TEST(Service, LogsItsStartAndItsStop) {
    TestService service("Logged");
    LogCapture::Clear();
    service.Start();
    EXPECT_EQ(LogCapture::Count(DLOG_INFO, "Starting service['Logged']"), 1);
    EXPECT_EQ(CountServiceLines(), 1);
    service.Stop();
    EXPECT_EQ(LogCapture::Count(DLOG_INFO, "Stopping service['Logged']"), 1);
    EXPECT_EQ(CountServiceLines(), 2);
}

TEST(Service, StartOfAStartedServiceSucceedsWithoutOnStartAndWithoutAWord) {
    TestService service("Twice");
    ASSERT_TRUE(service.Start());
    LogCapture::Clear();
    EXPECT_TRUE(service.Start());
    EXPECT_EQ(service.starts, 1);
    EXPECT_TRUE(LogCapture::Lines().empty());
}

TEST(Service, StopOfAStoppedServiceSucceedsWithoutOnStopAndWithoutAWord) {
    TestService service("Stopped");
    ASSERT_TRUE(RunOn(service.GetWorker()));
    LogCapture::Clear();
    EXPECT_TRUE(service.Stop());
    EXPECT_EQ(service.stops, 0);
    EXPECT_EQ(CountServiceLines(), 0);
    EXPECT_EQ(CountJobs(service.GetWorker()), 0);
}

TEST(Service, StaysStoppedWhereOnStartFailsWhichIsNoError) {
    TestService service("Failing");
    service.onStart = [] { return false; };
    LogCapture::Clear();
    EXPECT_FALSE(service.Start());
    EXPECT_FALSE(service.IsStarted());
    EXPECT_EQ(LogCapture::CountBeginning(DLOG_ERROR, ""), 0);
    service.onStart = [] { return true; };
    EXPECT_TRUE(service.Start());
    EXPECT_TRUE(service.IsStarted());
}

TEST(Service, StaysStartedWhereOnStopFailsWhichIsNoError) {
    TestService service("Lasting");
    service.onStop = [] { return false; };
    ASSERT_TRUE(service.Start());
    LogCapture::Clear();
    EXPECT_FALSE(service.Stop());
    EXPECT_TRUE(service.IsStarted());
    EXPECT_EQ(LogCapture::CountBeginning(DLOG_ERROR, ""), 0);
    service.onStop = [] { return true; };
    EXPECT_TRUE(service.Stop());
    EXPECT_FALSE(service.IsStarted());
}

TEST(Service, QueuesOneJobForAStartFromAnotherThread) {
    TestService service("Queueing");
    ASSERT_TRUE(RunOn(service.GetWorker()));
    LogCapture::Clear();
    ASSERT_TRUE(service.Start());
    EXPECT_EQ(CountJobs(service.GetWorker()), 1);
}

TEST(Service, StartsAndStopsOnTheCallersStackWhereThatIsItsWorker) {
    TestService service("Direct");
    const auto worker = service.GetWorker();
    std::vector<std::string> steps;
    service.onStart = [&] {
        steps.emplace_back("OnStart");
        return true;
    };
    service.onStop = [&] {
        steps.emplace_back("OnStop");
        return true;
    };
    int jobs = -1;
    ASSERT_TRUE(RunOn(worker, [&] {
        LogCapture::Clear();
        EXPECT_TRUE(service.Start());
        steps.emplace_back("started");
        EXPECT_TRUE(service.IsStarted());
        EXPECT_TRUE(service.Stop());
        steps.emplace_back("stopped");
        EXPECT_FALSE(service.IsStarted());
        jobs = CountJobs(worker);
    }));
    EXPECT_EQ(steps, (std::vector<std::string>{"OnStart", "started", "OnStop", "stopped"}));
    EXPECT_EQ(jobs, 0);
    EXPECT_EQ(LogCapture::Count(DLOG_INFO, "Starting service['Direct']"), 1);
    EXPECT_EQ(LogCapture::Count(DLOG_INFO, "Stopping service['Direct']"), 1);
}

TEST(Service, ReportsAFailureOnTheDirectWayToo) {
    TestService service("DirectFailure");
    service.onStart = [] { return false; };
    bool started = true;
    ASSERT_TRUE(RunOn(service.GetWorker(), [&] { started = service.Start(); }));
    EXPECT_FALSE(started);
    EXPECT_FALSE(service.IsStarted());
}

TEST(Service, IsTheCurrentOneOnItsWorkerFromOnStartOn) {
    TestService service("Current");
    Service* atStart = nullptr;
    Service* atStop = nullptr;
    Service* later = nullptr;
    service.onStart = [&] {
        atStart = Service::GetCurrent();
        return true;
    };
    service.onStop = [&] {
        atStop = Service::GetCurrent();
        return true;
    };
    ASSERT_TRUE(service.Start());
    ASSERT_TRUE(RunOn(service.GetWorker(), [&] { later = Service::GetCurrent(); }));
    ASSERT_TRUE(service.Stop());
    EXPECT_EQ(atStart, &service);
    EXPECT_EQ(atStop, &service);
    EXPECT_EQ(later, &service);
}

TEST(Service, IsCurrentOnNoOtherThread) {
    TestService service("NotHere");
    ASSERT_TRUE(service.Start());
    EXPECT_EQ(Service::GetCurrent(), nullptr);
    Service* other = &service;
    ASSERT_TRUE(RunOn(WorkerFactory::Get().GetWorker("NotHereEither"),
                      [&] { other = Service::GetCurrent(); }));
    EXPECT_EQ(other, nullptr);
}

TEST(Service, SetCurrentServiceStoresWhatItIsGivenOnTheCallingThread) {
    TestService service("SetByHand");
    std::thread([&] {
        Service::_set_current_service(&service);
        EXPECT_EQ(Service::GetCurrent(), &service);
        Service::_set_current_service(nullptr);
        EXPECT_EQ(Service::GetCurrent(), nullptr);
    }).join();
}

TEST(Service, SharesItsThreadWithServicesOfTheSameNameTheLastOfWhichIsCurrent) {
    TestService first("Twin");
    TestService second("Twin");
    EXPECT_EQ(first.GetWorker(), second.GetWorker());
    std::thread::id threads[2];
    Service* current = nullptr;
    first.onStart = [&] {
        threads[0] = std::this_thread::get_id();
        current = Service::GetCurrent();
        return true;
    };
    second.onStart = [&] {
        threads[1] = std::this_thread::get_id();
        return true;
    };
    ASSERT_TRUE(first.Start());
    ASSERT_TRUE(second.Start());
    EXPECT_EQ(threads[0], threads[1]);
    EXPECT_EQ(current, &second);
}

TEST(Service, StaysTheStaleCurrentOneOfAWorkerThatOutlivesIt) {
    const auto worker = WorkerFactory::Get().GetWorker("Outliving");
    auto service = std::make_unique<TestService>("Outliving");
    const Service* const address = service.get();
    service.reset();
    const Service* current = nullptr;
    ASSERT_TRUE(RunOn(worker, [&] { current = Service::GetCurrent(); }));
    EXPECT_EQ(current, address);
}

TEST(Service, DoesNotStopItselfAtItsEnd) {
    int stops = 0;
    {
        TestService service("Abandoned");
        service.onStop = [&] {
            ++stops;
            return true;
        };
        ASSERT_TRUE(service.Start());
    }
    EXPECT_EQ(stops, 0);
    EXPECT_TRUE(LogCapture::WaitFor(DLOG_INFO, "~Worker[Abandoned]"));
}

TEST(Service, MayEndOnItsOwnWorker) {
    auto* const service = new TestService("Suicidal");
    Post(service->GetWorker(), [service] { delete service; });
    EXPECT_TRUE(LogCapture::WaitFor(DLOG_INFO, "~Worker[Suicidal]"));
}

} // namespace

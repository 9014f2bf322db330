// SPDX-License-Identifier: Apache-2.0

// The daemon's own limit of ten seconds, which no clock of a test shortens.

#include <gtest/gtest.h>

#include <hearthd/IServiceControl.h>
#include <hearthd/IServiceManager.h>
#include <hearthd/ModuleAccessor.h>
#include <hearthd/WorkerFactory.h>

#include "Gate.h"
#include "LambdaService.h"
#include "WorkerTools.h"

namespace {

TEST(HostedServiceLimit, CountsAsNotStartedWhereItsStartTakesTenSeconds) {
    Gate release;
    int stops = 0;
    {
        LambdaHost host("mine", {.start = [&] { return release.Wait(); },
                                 .stop = [&] { return ++stops != 0; }});
        EXPECT_FALSE(host.service.Start());
        EXPECT_TRUE(host.service.Call({}).IsDeliveryFailed());
        release.Open();
        auto* const services = ModuleAccessor<marrow::mgr::IServiceManager>::Get();
        EXPECT_TRUE(RunOn(services->GetServiceByName("mine")->GetWorker()));
        EXPECT_EQ(host.service.GetState(), hearthd::testing::HostedService::State::LOADED);
    }
    EXPECT_EQ(stops, 1) << "it has started after all";
}

TEST(HostedServiceLimit, GivesUpACallThatTakesTenSecondsOnAnotherWorkerThanItsOwn) {
    Gate release;
    const Work work{.call = [&](const Json::Value&) {
        release.Wait();
        return Object("late", true);
    }};
    hearthd::testing::HostedService service("mine", std::make_unique<LambdaService>("mine", work),
                                            std::make_unique<LambdaProxy>("another", work));
    ASSERT_TRUE(service.Start());
    EXPECT_TRUE(service.Call({}).IsDeliveryFailed());
    release.Open();
    // The late answer is still written into the proxy, which ends with the service.
    EXPECT_TRUE(RunOn(marrow::ser::WorkerFactory::Get().GetWorker("another")));
    EXPECT_TRUE(service.Stop());
}

} // namespace

// SPDX-License-Identifier: Apache-2.0
#include <chrono>
#include <gtest/gtest.h>

#include "Caller.h"
#include "Dlog.h"
#include "FakeServices.h"
#include "Gate.h"
#include "LogCapture.h"
#include "PerformanceMonitor.h"
#include "PrivateMember.h"
#include "ServiceControl.h"
#include "Text.h"
#include "WorkerFactory.h"

namespace {

using marrow::ser::LaunchType;
using marrow::ser::LoadType;
using Quill::TCMessage;
using State = marrow::mgr::IServiceControl::ServiceState;

constexpr const char* REFUSAL =
    "service['probe'] invalid state load operation could not be executed";

marrow::ser::service_info_t Info() {
    marrow::ser::service_info_t info;
    info.service_name = "probe";
    info.lib_path = "/lib/probe.so";
    info.priority = 7;
    info.dependencies = {"a", "b"};
    return info;
}

struct Records : RecordHandler {
    std::vector<std::string> tags;
    record_t last;
    void handle(record_t record) override {
        tags.push_back(record.tag);
        last = record;
    }
};

struct ControlMutex : PrivateMember<ControlMutex, marrow::base::SpinningMutex ServiceControl::*> {};

} // namespace

template struct ExposeMember<ControlMutex, &ServiceControl::m_mutex>;

namespace {

class ServiceControlTest : public testing::Test {
protected:
    FakeFactory& factory = FakeFactory::Register();
    ServiceControl control{Info()};
};

TEST_F(ServiceControlTest, SaysWhatItStandsFor) {
    EXPECT_EQ(control.GetName(), "probe");
    EXPECT_EQ(control.GetPriority(), 7);
    EXPECT_EQ(control.GetDependencies(), (std::vector<std::string>{"a", "b"}));
    EXPECT_TRUE(control.IsAutostart());
    EXPECT_EQ(control.GetState(), State::NOT_LOADED);
    EXPECT_EQ(LogCapture::CountBeginning(DLOG_DEBUG, "\n######### New ServiceControl("), 1);
    EXPECT_EQ(LogCapture::Count(DLOG_DEBUG,
                                "\n######### New ServiceControl(" + Pointer(&control) +
                                    ") #########\nservice_name: probe\nlib_path: /lib/probe.so\n"
                                    "load_type: COREAPP_PROCESS\nlaunch_type: AUTOSTART\n"
                                    "#################################################"),
              1);
}

TEST_F(ServiceControlTest, StartsByItselfWithLaunchTypeZeroAlone) {
    for (const int type : {1, 2, -1, 1000}) {
        marrow::ser::service_info_t info = Info();
        info.launch_type = static_cast<LaunchType>(type);
        EXPECT_FALSE(ServiceControl(info).IsAutostart()) << type;
    }
}

TEST_F(ServiceControlTest, NamesItsEnumerators) {
    EXPECT_EQ(control.LoadTypeToString(LoadType::COREAPP_PROCESS), "COREAPP_PROCESS");
    EXPECT_EQ(control.LoadTypeToString(LoadType::EXTERNAL_PROCESS), "EXTERNAL_PROCESS");
    EXPECT_EQ(control.LoadTypeToString(static_cast<LoadType>(2)), "UNKNOWN");
    EXPECT_EQ(control.LaunchTypeToString(LaunchType::AUTOSTART), "AUTOSTART");
    EXPECT_EQ(control.LaunchTypeToString(LaunchType::LAZY), "LAZY");
    EXPECT_EQ(control.LaunchTypeToString(static_cast<LaunchType>(2)), "UNKNOWN");
    EXPECT_EQ(control.StateToString(State::NOT_LOADED), "NOT_LOADED");
    EXPECT_EQ(control.StateToString(State::LOADED), "LOADED");
    EXPECT_EQ(control.StateToString(State::STARTED), "STARTED");
    EXPECT_EQ(control.StateToString(static_cast<State>(3)), "UNKNOWN");
}

TEST_F(ServiceControlTest, GoesThroughItsStatesAndBackAsOftenAsAsked) {
    for (int round = 1; round <= 2; ++round) {
        EXPECT_TRUE(control.Load());
        EXPECT_EQ(control.GetState(), State::LOADED);
        EXPECT_TRUE(control.Start());
        EXPECT_EQ(control.GetState(), State::STARTED);
        EXPECT_TRUE(control.Stop());
        EXPECT_EQ(control.GetState(), State::LOADED);
        EXPECT_TRUE(control.Unload());
        EXPECT_EQ(control.GetState(), State::NOT_LOADED);
        EXPECT_EQ(LogCapture::Count(DLOG_DEBUG, "service['probe'] state changed to LOADED"),
                  2 * round);
        EXPECT_EQ(LogCapture::Count(DLOG_DEBUG, "service['probe'] state changed to STARTED"),
                  round);
        EXPECT_EQ(LogCapture::Count(DLOG_DEBUG, "service['probe'] state changed to NOT_LOADED"),
                  round);
    }
    EXPECT_EQ(factory.calls, (std::vector<std::string>{"create probe", "proxy", "delete",
                                                       "create probe", "proxy", "delete"}));
}

TEST_F(ServiceControlTest, RefusesInOneWordingWhateverItsStateDoesntAllow) {
    int refusals = 0;
    const auto refuses = [&](bool result, State state) {
        EXPECT_FALSE(result);
        EXPECT_EQ(control.GetState(), state);
        EXPECT_EQ(LogCapture::Count(DLOG_ERROR, REFUSAL), ++refusals);
    };
    refuses(control.Start(), State::NOT_LOADED);
    refuses(control.Stop(), State::NOT_LOADED);
    refuses(control.Unload(), State::NOT_LOADED);
    control.Load();
    refuses(control.Load(), State::LOADED);
    refuses(control.Stop(), State::LOADED);
    control.Start();
    refuses(control.Load(), State::STARTED);
    refuses(control.Start(), State::STARTED);
    refuses(control.Unload(), State::STARTED);
}

TEST_F(ServiceControlTest, StaysNotLoadedWhenTheFactoryYieldsNothing) {
    factory.refused["probe"] = true;
    EXPECT_FALSE(control.Load());
    EXPECT_EQ(LogCapture::Count(DLOG_ERROR, "service['probe'] failed to load"), 1);
    EXPECT_EQ(control.GetState(), State::NOT_LOADED);
    EXPECT_EQ(factory.calls, (std::vector<std::string>{"create probe"})) << "no proxy is asked for";
}

TEST_F(ServiceControlTest, IsLoadedWithoutAProxyToo) {
    factory.withProxy = false;
    EXPECT_TRUE(control.Load());
    EXPECT_EQ(control.GetState(), State::LOADED);
}

TEST_F(ServiceControlTest, StaysLoadedWhenTheServiceFailsToStart) {
    factory.service.onStart = [] { return false; };
    control.Load();
    EXPECT_FALSE(control.Start());
    EXPECT_EQ(LogCapture::Count(DLOG_ERROR, "service['probe'] failed to start"), 1);
    EXPECT_EQ(control.GetState(), State::LOADED);
}

TEST_F(ServiceControlTest, StaysStartedWhenTheServiceFailsToStop) {
    factory.service.onStop = [] { return false; };
    control.Load();
    control.Start();
    EXPECT_FALSE(control.Stop());
    EXPECT_EQ(LogCapture::Count(DLOG_ERROR, "service['probe'] service failed to stop"), 1);
    EXPECT_EQ(control.GetState(), State::STARTED);
}

TEST_F(ServiceControlTest, LogsTheStateThatItIsAskedFor) {
    control.GetState();
    EXPECT_EQ(LogCapture::Count(DLOG_DEBUG, "service['probe'] state is NOT_LOADED"), 1);
}

TEST_F(ServiceControlTest, HasNoWorkerUntilItIsLoaded) {
    factory.service.worker = marrow::ser::WorkerFactory::Get().GetWorker("probe");
    EXPECT_EQ(control.GetWorker(), nullptr);
    EXPECT_EQ(
        LogCapture::Count(DLOG_WARN, "service['probe'] is NOT_LOADED. Can not get worker for it."),
        1);
    control.Load();
    EXPECT_EQ(control.GetWorker(), factory.service.worker);
    control.Start();
    EXPECT_EQ(control.GetWorker(), factory.service.worker);
    factory.service.worker.reset();
}

TEST_F(ServiceControlTest, RefusesACallUntilItIsStartedAndTimesNothing) {
    static Records records; // handlers are never removed
    PerformanceMonitor::Get().AddRecordHandler(&records);
    bool called = false;
    factory.proxy.onCall = [&](const TCMessage& message) {
        called = true;
        return message;
    };
    TCMessage message;
    message.payload["a"] = 1;
    message.subject = "probe";
    EXPECT_TRUE(control.CallAPI(message).payload.empty());
    EXPECT_EQ(control.CallAPI(message).subject, "");
    control.Load();
    EXPECT_TRUE(control.CallAPI(message).payload.empty());
    EXPECT_EQ(LogCapture::Count(DLOG_WARN, "service['probe'] service is not started"), 3);
    EXPECT_FALSE(called);
    EXPECT_TRUE(records.tags.empty());
}

TEST_F(ServiceControlTest, CallsThroughItsProxyAndTimesIt) {
    static Records records; // handlers are never removed
    PerformanceMonitor::Get().AddRecordHandler(&records);
    control.Load();
    control.Start();
    TCMessage message;
    message.subject = "probe";
    message.payload["a"] = 1;
    const TCMessage reply = control.CallAPI(message);
    EXPECT_EQ(reply.payload, message.payload);
    EXPECT_EQ(LogCapture::Count(DLOG_DEBUG, "service['probe'] call api"), 1);
    EXPECT_EQ(records.tags, (std::vector<std::string>{"probe_CALL_API"}));
}

TEST_F(ServiceControlTest, TimesACallFromBeforeTheProxyIsAskedUntilItHasAnswered) {
    static Records records; // handlers are never removed
    PerformanceMonitor::Get().AddRecordHandler(&records);
    record_t::time_point inside;
    factory.proxy.onCall = [&](const TCMessage& message) {
        inside = std::chrono::steady_clock::now();
        return message;
    };
    control.Load();
    control.Start();
    control.CallAPI({});
    EXPECT_LE(records.last.start, inside);
    EXPECT_GE(records.last.stop, inside);
}

// Whoever asks meanwhile sleeps on the lock; what needs none doesn't.
class ServiceControlLock : public ServiceControlTest {
protected:
    template <typename Operation>
    void ExpectThatEverybodyWaitsFor(Operation operation) {
        Caller running([&] {
            operation();
            return true;
        });
        ASSERT_TRUE(inside.Wait());
        Caller state([&] { return control.GetState(); });
        Caller worker([&] { return control.GetWorker() == nullptr; });
        EXPECT_TRUE(state.IsBlockedBy(control.*MemberOf(ControlMutex())));
        EXPECT_TRUE(worker.IsBlockedBy(control.*MemberOf(ControlMutex())));
        EXPECT_EQ(control.GetName(), "probe");
        EXPECT_EQ(control.GetPriority(), 7);
        EXPECT_TRUE(control.IsAutostart());
        EXPECT_EQ(control.GetDependencies().size(), 2U);
        goOn.Open();
    }

    bool Enter() {
        inside.Open();
        return goOn.Wait();
    }

    Gate inside;
    Gate goOn;
};

TEST_F(ServiceControlLock, IsHeldThroughACall) {
    factory.proxy.onCall = [&](const TCMessage& message) {
        Enter();
        return message;
    };
    control.Load();
    control.Start();
    ExpectThatEverybodyWaitsFor([&] { control.CallAPI({}); });
}

TEST_F(ServiceControlLock, IsHeldThroughALoad) {
    factory.onCreate = [&] { Enter(); };
    ExpectThatEverybodyWaitsFor([&] { control.Load(); });
}

TEST_F(ServiceControlLock, IsHeldThroughAnUnload) {
    factory.onDelete = [&] { Enter(); };
    control.Load();
    ExpectThatEverybodyWaitsFor([&] { control.Unload(); });
}

TEST_F(ServiceControlLock, IsHeldThroughAStart) {
    factory.service.onStart = [&] { return Enter(); };
    control.Load();
    ExpectThatEverybodyWaitsFor([&] { control.Start(); });
}

TEST_F(ServiceControlLock, IsHeldThroughAStop) {
    factory.service.onStop = [&] { return Enter(); };
    control.Load();
    control.Start();
    ExpectThatEverybodyWaitsFor([&] { control.Stop(); });
}

TEST_F(ServiceControlTest, RunsOneCallAtATime) {
    std::atomic<int> running{0};
    std::atomic<int> most{0};
    factory.proxy.onCall = [&](const TCMessage& message) {
        most = std::max(most.load(), ++running);
        std::this_thread::yield();
        --running;
        return message;
    };
    control.Load();
    control.Start();
    std::vector<std::thread> callers;
    for (int i = 0; i < 4; ++i) {
        callers.emplace_back([&] {
            for (int n = 0; n < 100; ++n) {
                control.CallAPI({});
            }
        });
    }
    for (std::thread& caller : callers) {
        caller.join();
    }
    EXPECT_EQ(most, 1);
}

TEST_F(ServiceControlTest, TakesAServiceThatHasStartedLateForStartedAtTheNextTry) {
    // The first start gives up while the service goes on; the second finds it started.
    bool started = false;
    factory.service.onStart = [&] { return std::exchange(started, true); };
    control.Load();
    EXPECT_FALSE(control.Start());
    EXPECT_EQ(control.GetState(), State::LOADED);
    EXPECT_TRUE(control.Start());
    EXPECT_EQ(control.GetState(), State::STARTED);
}

TEST_F(ServiceControlTest, FreesItsLockWhenAServiceThrows) {
    factory.service.onStart = []() -> bool { throw std::runtime_error("from the service"); };
    control.Load();
    EXPECT_THROW(control.Start(), std::runtime_error);
    EXPECT_EQ(control.GetState(), State::LOADED);
}

TEST_F(ServiceControlTest, LeavesItsServiceAloneWhenItIsDestroyed) {
    {
        ServiceControl brief(Info());
        brief.Load();
        brief.Start();
    }
    EXPECT_EQ(factory.calls, (std::vector<std::string>{"create probe", "proxy"}));
}

} // namespace

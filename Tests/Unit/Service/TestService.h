// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>

#include "Gate.h"
#include "PrivateMember.h"
#include "Service.h"
#include "WorkerTools.h"

/// A service whose OnStart and OnStop are the test's. It waits for its worker before it goes, so
/// that no job is left that names it.
class TestService : public marrow::ser::Service {
public:
    explicit TestService(const std::string& name) : Service(name) {}
    ~TestService() override {
        if (!marrow::ser::Worker::IsCurrentWorker(GetWorker())) {
            RunOn(GetWorker());
        }
    }

    // Set while neither runs.
    std::function<bool()> onStart = [] { return true; };
    std::function<bool()> onStop = [] { return true; };
    std::atomic<int> starts{0};
    std::atomic<int> stops{0};

protected:
    bool OnStart() override {
        ++starts;
        return onStart();
    }
    bool OnStop() override {
        ++stops;
        return onStop();
    }
};

struct HandOverMutex : PrivateMember<HandOverMutex, GMutex marrow::ser::Service::*> {};
struct HandOverCondition : PrivateMember<HandOverCondition, GCond marrow::ser::Service::*> {};
template struct ExposeMember<HandOverMutex, &marrow::ser::Service::m_handOverMutex>;
template struct ExposeMember<HandOverCondition, &marrow::ser::Service::m_handOverCondition>;

/// Wakes the caller of Start or Stop for no reason, as a condition may. It holds the mutex until it
/// waits, so that with the mutex in hand it does.
inline void WakeForNoReason(marrow::ser::Service& service) {
    GMutex& mutex = service.*MemberOf(HandOverMutex());
    g_mutex_lock(&mutex);
    g_cond_signal(&(service.*MemberOf(HandOverCondition())));
    g_mutex_unlock(&mutex);
}

// SPDX-License-Identifier: Apache-2.0

// A service whose listener falls asleep over its first event.

#include <chrono>
#include <thread>

#include <hearthd/HostedLibrary.h>
#include <hearthd/NullServiceProxy.h>
#include <hearthd/Service.h>
#include <hearthd/TVSProgramEventProxy.h>

#include "Say.h"

namespace {

using marrow::evt::tvs_program_event_arg_t;
using marrow::evt::TVSProgramEventProxy;

class SleepyListenerService : public marrow::ser::Service, TVSProgramEventProxy::IListener {
public:
    SleepyListenerService() : Service("sleepy_listener") {}

protected:
    bool OnStart() override {
        int id = 0;
        return TVSProgramEventProxy::Get().Subscribe(this, TCProgramFilteringItem(), id);
    }
    bool OnStop() override { return false; }

private:
    std::shared_ptr<marrow::ser::Worker> GetWorker() override { return Service::GetWorker(); }

    void OnEvent(tvs_program_event_arg_t /*event*/) override {
        Say("the listener sleeps");
        std::this_thread::sleep_for(std::chrono::hours(1));
        Say("the listener is awake");
    }
};

} // namespace

marrow::ser::IService* g_service = new SleepyListenerService;
marrow::ser::IServiceProxy* g_service_proxy = new marrow::ser::NullServiceProxy;

// SPDX-License-Identifier: Apache-2.0

// A service whose start takes its time, or fails.

#include <chrono>
#include <thread>

#include <hearthd/HostedLibrary.h>
#include <hearthd/NullServiceProxy.h>
#include <hearthd/Service.h>

#ifndef START_SECONDS
#define START_SECONDS 2
#endif
#ifndef START_RESULT
#define START_RESULT true
#endif

namespace {

class SlowStartService : public marrow::ser::Service {
public:
    SlowStartService() : Service("slow_start") {}

protected:
    bool OnStart() override {
        std::this_thread::sleep_for(std::chrono::seconds(START_SECONDS));
        return START_RESULT;
    }
    bool OnStop() override { return true; }
};

} // namespace

marrow::ser::IService* g_service = new SlowStartService;
marrow::ser::IServiceProxy* g_service_proxy = new marrow::ser::NullServiceProxy;

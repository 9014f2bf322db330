// SPDX-License-Identifier: Apache-2.0

// A service from outside the tree. It also looks at the daemon through the registry, whose
// templates it instantiates itself.

#include <hearthd/HostedLibrary.h>
#include <hearthd/IServiceManager.h>
#include <hearthd/ModuleAccessor.h>
#include <hearthd/PerformanceMonitor.h>
#include <hearthd/Service.h>
#include <hearthd/ServiceProxy.h>

namespace {

class OutsideService : public marrow::ser::Service {
public:
    OutsideService() : Service("outside") {}

protected:
    bool OnStart() override { return true; }
    bool OnStop() override { return true; }
};

class OutsideProxy : public marrow::ser::ServiceProxy {
public:
    OutsideProxy() : ServiceProxy("outside") {}

protected:
    Quill::TCMessage OnCallAPI(Quill::TCMessage& /*message*/) override {
        PerformanceMonitor::Get().Start("outside_OWN");
        Quill::TCMessage reply;
        auto* const manager = ModuleAccessor<marrow::mgr::IServiceManager>::Get();
        reply.payload["manager"] = manager != nullptr;
        IModule* const module = manager;
        reply.payload["casts"] = dynamic_cast<marrow::mgr::IServiceManager*>(module) == manager;
        reply.payload["current"] = marrow::ser::Service::GetCurrent() == g_service;
        for (const marrow::ser::service_info_t& info : manager->GetServiceList()) {
            reply.payload["services"].append(info.service_name);
            reply.payload["dependencies"] = static_cast<Json::UInt64>(info.dependencies.size());
            reply.payload["priority"] = info.priority;
        }
        PerformanceMonitor::Get().Stop("outside_OWN");
        return reply;
    }
};

} // namespace

marrow::ser::IService* g_service = new OutsideService;
marrow::ser::IServiceProxy* g_service_proxy = new OutsideProxy;

// SPDX-License-Identifier: Apache-2.0
#include "ServiceManager.h"

#include <algorithm>
#include <functional>

#include "Job.h"
#include "Log.h"
#include "PerformanceMonitor.h"
#include "ServiceControl.h"
#include "WorkerFactory.h"

using marrow::mgr::IServiceControl;
using marrow::ser::Job;
using marrow::ser::service_info_t;
using marrow::ser::Worker;
using marrow::ser::WorkerFactory;

namespace {

constexpr const char* AUTOSTART_WORKER = "Init";

} // namespace

ModuleClass<ServiceManager> ServiceManager::CLASS("ServiceManager");

ServiceManager::ServiceManager() {
    LOGI("init");
    LoadServiceManiests();
    LOGI("sorting services");
    std::sort(m_services.begin(), m_services.end(), [](IServiceControl* a, IServiceControl* b) {
        return a->GetPriority() > b->GetPriority();
    });
    LOGI("autostarting services...");
    // The job holds a copy of the list and knows nothing of this object.
    const std::function<void()> autostart = [services = m_services] {
        for (IServiceControl* service : services) {
            StartAutostartService(service);
        }
    };
    Job* job = new Job(autostart);
    const std::shared_ptr<Worker> worker = WorkerFactory::Get().GetWorker(AUTOSTART_WORKER);
    worker->Do(job);
    LOGI("autostart done");
    // Nobody keeps the worker: it ends when the job that is queued on it has run.
}

void ServiceManager::Init() {}

std::vector<service_info_t> ServiceManager::GetServiceList() {
    return m_serviceInfos;
}

IServiceControl* ServiceManager::GetServiceByName(std::string name) {
    for (IServiceControl* service : m_services) {
        if (service->GetName() == name) {
            return service;
        }
    }
    return nullptr;
}

void ServiceManager::StartAutostartService(IServiceControl* service) {
    if (service->IsAutostart()) {
        StartService(service);
    }
}

// The check of the state and the load aren't one act: in a race the control decides, and the
// loser's load is refused and logged as a failure.
void ServiceManager::StartService(IServiceControl* service) {
    const std::string name = service->GetName();
    if (service->GetState() == IServiceControl::ServiceState::STARTED) {
        LOGI("%s already started", name.c_str());
        return;
    }
    PerformanceMonitor& monitor = PerformanceMonitor::Get();
    monitor.Start(name + "_LOAD");
    if (!service->Load()) {
        LOGE("failed to load %s service", name.c_str());
        return;
    }
    monitor.Stop(name + "_LOAD");
    monitor.Start(name + "_START");
    if (!service->Start()) {
        LOGE("failed to start %s service", name.c_str());
        return;
    }
    monitor.Stop(name + "_START");
    LOGI("started %s", name.c_str());
}

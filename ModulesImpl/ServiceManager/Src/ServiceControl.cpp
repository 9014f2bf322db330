// SPDX-License-Identifier: Apache-2.0
#include "ServiceControl.h"

#include "IServiceFactory.h"
#include "Log.h"
#include "ModuleAccessor.h"
#include "PerformanceMonitor.h"
#include "Probe.h"
#include "Worker.h"

using marrow::base::MutexLock;
using marrow::ser::IServiceFactory;
using marrow::ser::LaunchType;
using marrow::ser::LoadType;
using marrow::ser::service_info_t;
using marrow::ser::Worker;
using Quill::TCMessage;

namespace {

const std::string CALL_API_TAG = "_CALL_API";

} // namespace

ServiceControl::ServiceControl(service_info_t info)
    : m_info(std::move(info)), m_service(nullptr), m_proxy(nullptr),
      m_state(ServiceState::NOT_LOADED) {
    LOGD("\n######### New ServiceControl(%p) #########\nservice_name: %s\nlib_path: %s\n"
         "load_type: %s\nlaunch_type: %s\n#################################################",
         static_cast<void*>(this), m_info.service_name.c_str(), m_info.lib_path.c_str(),
         LoadTypeToString(m_info.load_type).c_str(),
         LaunchTypeToString(m_info.launch_type).c_str());
}

std::string ServiceControl::GetName() {
    return m_info.service_name;
}

bool ServiceControl::IsAutostart() {
    return m_info.launch_type == LaunchType::AUTOSTART;
}

std::uint8_t ServiceControl::GetPriority() {
    return m_info.priority;
}

std::vector<std::string> ServiceControl::GetDependencies() {
    return m_info.dependencies;
}

bool ServiceControl::Load() {
    const MutexLock lock(m_mutex);
    if (IsRefused(ServiceState::NOT_LOADED)) {
        return false;
    }
    IServiceFactory* const factory = ModuleAccessor<IServiceFactory>::Get();
    m_service = factory->CreateIService(m_info);
    if (m_service == nullptr) {
        LOGE("service['%s'] failed to load", m_info.service_name.c_str());
        return false;
    }
    m_proxy = factory->CreateIServiceProxy(m_service);
    ChangeState(ServiceState::LOADED);
    return true;
}

bool ServiceControl::Unload() {
    const MutexLock lock(m_mutex);
    if (IsRefused(ServiceState::LOADED)) {
        return false;
    }
    ModuleAccessor<IServiceFactory>::Get()->DeleteIService(m_service);
    m_service = nullptr;
    m_proxy = nullptr;
    ChangeState(ServiceState::NOT_LOADED);
    return true;
}

bool ServiceControl::Start() {
    const MutexLock lock(m_mutex);
    if (IsRefused(ServiceState::LOADED)) {
        return false;
    }
    if (!m_service->Start()) {
        LOGE("service['%s'] failed to start", m_info.service_name.c_str());
        return false;
    }
    ChangeState(ServiceState::STARTED);
    HEARTHD_PROBE(hearthd, service_started, m_info.service_name.c_str());
    return true;
}

bool ServiceControl::Stop() {
    const MutexLock lock(m_mutex);
    if (IsRefused(ServiceState::STARTED)) {
        return false;
    }
    if (!m_service->Stop()) {
        LOGE("service['%s'] service failed to stop", m_info.service_name.c_str());
        return false;
    }
    ChangeState(ServiceState::LOADED);
    return true;
}

ServiceControl::ServiceState ServiceControl::GetState() {
    const MutexLock lock(m_mutex);
    LOGD("service['%s'] state is %s", m_info.service_name.c_str(), StateToString(m_state).c_str());
    return m_state;
}

std::shared_ptr<Worker> ServiceControl::GetWorker() {
    const MutexLock lock(m_mutex);
    if (m_state == ServiceState::NOT_LOADED) {
        LOGW("service['%s'] is NOT_LOADED. Can not get worker for it.",
             m_info.service_name.c_str());
        return {};
    }
    return m_service->GetWorker();
}

TCMessage ServiceControl::CallAPI(const TCMessage& message) {
    const MutexLock lock(m_mutex);
    TCMessage result;
    if (m_state != ServiceState::STARTED) {
        LOGW("service['%s'] service is not started", m_info.service_name.c_str());
        return result;
    }
    LOGD("service['%s'] call api", m_info.service_name.c_str());
    const std::string tag = m_info.service_name + CALL_API_TAG;
    PerformanceMonitor::Get().Start(tag);
    result = m_proxy->CallAPI(message);
    PerformanceMonitor::Get().Stop(tag);
    return result;
}

std::string ServiceControl::LoadTypeToString(LoadType type) {
    switch (type) {
    case LoadType::COREAPP_PROCESS:
        return "COREAPP_PROCESS";
    case LoadType::EXTERNAL_PROCESS:
        return "EXTERNAL_PROCESS";
    }
    return "UNKNOWN";
}

std::string ServiceControl::LaunchTypeToString(LaunchType type) {
    switch (type) {
    case LaunchType::AUTOSTART:
        return "AUTOSTART";
    case LaunchType::LAZY:
        return "LAZY";
    }
    return "UNKNOWN";
}

std::string ServiceControl::StateToString(ServiceState state) {
    switch (state) {
    case ServiceState::NOT_LOADED:
        return "NOT_LOADED";
    case ServiceState::LOADED:
        return "LOADED";
    case ServiceState::STARTED:
        return "STARTED";
    }
    return "UNKNOWN";
}

// One text for all four operations, whichever was refused.
bool ServiceControl::IsRefused(ServiceState needed) {
    if (m_state == needed) {
        return false;
    }
    LOGE("service['%s'] invalid state load operation could not be executed",
         m_info.service_name.c_str());
    return true;
}

void ServiceControl::ChangeState(ServiceState state) {
    m_state = state;
    LOGD("service['%s'] state changed to %s", m_info.service_name.c_str(),
         StateToString(state).c_str());
}

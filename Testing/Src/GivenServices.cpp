// SPDX-License-Identifier: Apache-2.0
#include "GivenServices.h"

#include <algorithm>
#include <utility>

#include "ModuleAccessor.h"
#include "ServiceControl.h"

using marrow::base::MutexLock;
using marrow::mgr::IServiceControl;
using marrow::ser::IService;
using marrow::ser::IServiceProxy;
using marrow::ser::service_info_t;

namespace hearthd::testing {

ModuleClass<GivenServices> GivenServices::CLASS("GivenServices");
ModuleClass<DeclaredServices> DeclaredServices::CLASS("DeclaredServices");

GivenServices& GivenServices::Get() {
    return dynamic_cast<GivenServices&>(*ModuleAccessor<marrow::ser::IServiceFactory>::Get());
}

void GivenServices::Give(const std::string& name, std::unique_ptr<IService> service,
                         std::unique_ptr<IServiceProxy> proxy) {
    const MutexLock lock(m_mutex);
    m_given[name] = {std::move(service), std::move(proxy)};
}

void GivenServices::TakeBack(const std::string& name) {
    std::map<std::string, Given>::node_type taken; // ends behind the lock
    const MutexLock lock(m_mutex);
    taken = m_given.extract(name);
}

void GivenServices::Abandon(const std::string& name) {
    const MutexLock lock(m_mutex);
    m_abandoned.push_back(m_given.extract(name)); // an empty one for a library's
}

IService* GivenServices::CreateIService(service_info_t info) {
    {
        const MutexLock lock(m_mutex);
        const auto found = m_given.find(info.service_name);
        if (found != m_given.end()) {
            return found->second.proxy == nullptr ? nullptr : found->second.service.get();
        }
    }
    return ServiceFactory::CreateIService(std::move(info));
}

IServiceProxy* GivenServices::CreateIServiceProxy(IService* service) {
    {
        const MutexLock lock(m_mutex);
        for (const auto& [name, given] : m_given) {
            if (given.service.get() == service) {
                return given.proxy.get();
            }
        }
    }
    return ServiceFactory::CreateIServiceProxy(service);
}

void GivenServices::DeleteIService(IService* service) {
    const auto removed = Remove(service);
    if (removed.empty()) {
        ServiceFactory::DeleteIService(service);
        return;
    }
    if (service->IsStarted()) { // after all: its start took too long
        service->Stop();
    }
}

std::map<std::string, GivenServices::Given>::node_type
GivenServices::Remove(const IService* service) {
    const MutexLock lock(m_mutex);
    const auto found = std::find_if(m_given.begin(), m_given.end(), [service](const auto& entry) {
        return entry.second.service.get() == service;
    });
    return found == m_given.end() ? std::map<std::string, Given>::node_type()
                                  : m_given.extract(found);
}

DeclaredServices& DeclaredServices::Get() {
    return dynamic_cast<DeclaredServices&>(*ModuleAccessor<marrow::mgr::IServiceManager>::Get());
}

IServiceControl* DeclaredServices::Declare(const service_info_t& info) {
    const MutexLock lock(m_mutex);
    m_controls.push_back(std::make_unique<ServiceControl>(info));
    IServiceControl* const control = m_controls.back().get();
    m_declared[info.service_name] = {info, control};
    return control;
}

void DeclaredServices::Withdraw(const std::string& name) {
    const MutexLock lock(m_mutex);
    m_declared.erase(name);
}

std::vector<service_info_t> DeclaredServices::GetServiceList() {
    const MutexLock lock(m_mutex);
    std::vector<service_info_t> list;
    for (const auto& [name, declared] : m_declared) {
        list.push_back(declared.info);
    }
    return list;
}

IServiceControl* DeclaredServices::GetServiceByName(std::string name) {
    const MutexLock lock(m_mutex);
    const auto found = m_declared.find(name);
    return found == m_declared.end() ? nullptr : found->second.control;
}

} // namespace hearthd::testing

// SPDX-License-Identifier: Apache-2.0
#include "ServiceFactory.h"

#include <algorithm>

#include "Log.h"
#include "ServiceLoader.h"

using marrow::base::MutexLock;
using marrow::ser::IService;
using marrow::ser::IServiceProxy;
using marrow::ser::service_info_t;

ModuleClass<ServiceFactory> ServiceFactory::CLASS("ServiceFactory");

void ServiceFactory::Init() {}

IService* ServiceFactory::CreateIService(service_info_t info) {
    const MutexLock lock(m_mutex);
    for (const service_context_t* context : m_contexts) {
        if (context->service_name == info.service_name) {
            LOGE("service already created");
            return context->service;
        }
    }
    IServiceLoader* const loader = ServiceLoader::Get(info.load_type);
    if (loader == nullptr) {
        LOGE("service info contains incorrect load type");
        return nullptr;
    }
    service_context_t* const context = loader->Load(info);
    if (context == nullptr) {
        LOGE("service could not be load");
        return nullptr;
    }
    m_contexts.push_back(context);
    return context->service;
}

IServiceProxy* ServiceFactory::CreateIServiceProxy(IService* service) {
    if (service == nullptr) {
        LOGE("IService is null");
        return nullptr;
    }
    const MutexLock lock(m_mutex);
    const auto context = FindContext(service);
    if (context == m_contexts.end() || (*context)->proxy == nullptr) {
        LOGE("IServiceProxy is null");
        return nullptr;
    }
    return (*context)->proxy;
}

void ServiceFactory::DeleteIService(IService* service) {
    if (service == nullptr) {
        LOGE("IService is null");
        return;
    }
    const MutexLock lock(m_mutex);
    const auto found = FindContext(service);
    if (found == m_contexts.end()) {
        LOGE("service context is null");
        return;
    }
    service_context_t* const context = *found;
    m_contexts.erase(found);
    if (!ServiceLoader::Get(context->load_type)->Unload(context)) {
        LOGE("failed to unload service");
    }
}

ServiceFactory::Contexts::iterator ServiceFactory::FindContext(const IService* service) {
    return std::find_if(
        m_contexts.begin(), m_contexts.end(),
        [service](const service_context_t* context) { return context->service == service; });
}

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "IServiceFactory.h"
#include "ModuleClass.h"
#include "Mutex.h"
#include "ServiceContext.h"

/// The loaded services of the process.
///
/// Any thread; one lock covers everything. It is held across the loading and unloading itself, with
/// the library's static initialisers, a service's Stop and the closing, so that one service at a
/// time is loaded or unloaded and everybody else waits. It isn't recursive: a hosted library must
/// not come back here from its static initialisation or from OnStop.
class ServiceFactory : public marrow::ser::IServiceFactory {
public:
    static ModuleClass<ServiceFactory> CLASS;

    void Init() override;

    marrow::ser::IService* CreateIService(marrow::ser::service_info_t info) override;
    marrow::ser::IServiceProxy* CreateIServiceProxy(marrow::ser::IService* service) override;
    void DeleteIService(marrow::ser::IService* service) override;

private:
    using Contexts = std::vector<service_context_t*>;

    Contexts::iterator FindContext(const marrow::ser::IService* service) REQUIRES(m_mutex);

    Contexts m_contexts GUARDED_BY(m_mutex); // in order of creation; left only to be unloaded
    marrow::base::Mutex m_mutex;
};

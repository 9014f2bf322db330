// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "IModule.h"
#include "ServiceInfo.h"

namespace marrow::ser {

class IService;
class IServiceProxy;

/// Loads and unloads services. Any thread. Every failure is a line in the log and a null or nothing
/// as result.
class IServiceFactory : public IModule {
public:
    /// Loads the service, or returns the one that is loaded under this name. Owned by the factory.
    virtual IService* CreateIService(service_info_t info) = 0;
    /// The proxy that came with `service`; nothing is created. Owned by the factory.
    virtual IServiceProxy* CreateIServiceProxy(IService* service) = 0;
    /// Unloads `service` and its proxy.
    virtual void DeleteIService(IService* service) = 0;
    ~IServiceFactory() override;
};

} // namespace marrow::ser

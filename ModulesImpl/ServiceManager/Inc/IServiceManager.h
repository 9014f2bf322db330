// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "IModule.h"
#include "ServiceInfo.h"

namespace marrow::mgr {

class IServiceControl;

/// The directory of declared services. It doesn't change after its creation: any thread, no lock.
class IServiceManager : public IModule {
public:
    /// What the manifests declare, in reading order.
    virtual std::vector<ser::service_info_t> GetServiceList() = 0;
    /// The service of that name, or null. It lives as long as the process. Of several services of
    /// one name it is the one of the greatest priority.
    virtual IServiceControl* GetServiceByName(std::string name) = 0;
    ~IServiceManager() override;
};

} // namespace marrow::mgr

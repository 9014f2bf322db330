// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "TCMessage.h"

namespace marrow::ser {

/// The door into a hosted service, as the daemon sees it.
class IServiceProxy {
public:
    /// Calls the service's API. An empty payload means that nothing answered.
    virtual Quill::TCMessage CallAPI(const Quill::TCMessage& message) = 0;
    /// Publishes a notification of the service.
    virtual void SendNotification(const Quill::TCMessage& message) = 0;
    virtual ~IServiceProxy();
};

} // namespace marrow::ser

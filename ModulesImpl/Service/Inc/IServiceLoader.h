// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ServiceContext.h"

/// Turns a manifest's record into a living service and back. No locks: ServiceFactory makes all
/// calls under its own.
class IServiceLoader {
public:
    /// Returns null on failure, with a line in the log. The caller owns the context until Unload.
    virtual service_context_t* Load(marrow::ser::service_info_t info) = 0;
    /// Ends the service and frees the context, also where the service won't stop.
    virtual bool Unload(service_context_t* context) = 0;
    virtual ~IServiceLoader();
};

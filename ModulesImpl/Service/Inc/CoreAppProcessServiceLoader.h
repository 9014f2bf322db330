// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "IServiceLoader.h"

/// Brings a service's shared library into the daemon's own process.
class CoreAppProcessServiceLoader : public IServiceLoader {
public:
    service_context_t* Load(marrow::ser::service_info_t info) override;
    bool Unload(service_context_t* context) override;
};

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "IServiceLoader.h"

/// Holds the place of services in processes of their own: declines every request.
class ExternalProcessServiceLoader : public IServiceLoader {
public:
    service_context_t* Load(marrow::ser::service_info_t info) override;
    bool Unload(service_context_t* context) override;
};

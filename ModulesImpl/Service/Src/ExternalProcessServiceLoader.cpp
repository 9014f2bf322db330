// SPDX-License-Identifier: Apache-2.0
#include "ExternalProcessServiceLoader.h"

service_context_t* ExternalProcessServiceLoader::Load(marrow::ser::service_info_t /*info*/) {
    return nullptr;
}

bool ExternalProcessServiceLoader::Unload(service_context_t* /*context*/) {
    return false;
}

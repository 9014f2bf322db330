// SPDX-License-Identifier: Apache-2.0
#include "ServiceLoader.h"

#include <map>

#include "CoreAppProcessServiceLoader.h"
#include "ExternalProcessServiceLoader.h"

using marrow::ser::LoadType;

IServiceLoader* ServiceLoader::Get(LoadType type) {
    static std::map<LoadType, IServiceLoader*> loaders;
    if (loaders.empty()) {
        loaders[LoadType::COREAPP_PROCESS] = new CoreAppProcessServiceLoader;
        loaders[LoadType::EXTERNAL_PROCESS] = new ExternalProcessServiceLoader;
    }
    return loaders[type]; // an unknown type enters with null
}

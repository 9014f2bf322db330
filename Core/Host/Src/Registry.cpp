// SPDX-License-Identifier: Apache-2.0

// The executable's copies of the registry's statics. A hosted library that instantiates one of
// these templates binds to the copy here, so that there is one registry in the process, whatever
// the compiler would otherwise have found unused and left out.

#include "IMessageHandler.h"
#include "IMessageRouter.h"
#include "IServiceFactory.h"
#include "IServiceManager.h"
#include "ModuleAccessor.h"

#define INSTANTIATE_REGISTRY(I)                                                                    \
    template class ModuleInterface<I>;                                                             \
    template class ConfigAccessor<I>;                                                              \
    template class ModuleAccessor<I>

INSTANTIATE_REGISTRY(IConfig);
INSTANTIATE_REGISTRY(marrow::mgr::IServiceManager);
INSTANTIATE_REGISTRY(marrow::ser::IServiceFactory);
INSTANTIATE_REGISTRY(marrow::msg::IMessageHandler);
INSTANTIATE_REGISTRY(marrow::msg::IMessageRouter);

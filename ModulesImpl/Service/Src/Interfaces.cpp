// SPDX-License-Identifier: Apache-2.0

// The virtual tables and the type information of this room's interfaces stand where these are
// defined: in the executable, whose copies hosted libraries bind to.

#include "IService.h"
#include "IServiceFactory.h"
#include "IServiceLoader.h"
#include "IServiceProxy.h"

IServiceLoader::~IServiceLoader() = default;

namespace marrow::ser {

IService::~IService() = default;
IServiceProxy::~IServiceProxy() = default;
IServiceFactory::~IServiceFactory() = default;

} // namespace marrow::ser

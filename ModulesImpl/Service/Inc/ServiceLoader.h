// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "IServiceLoader.h"

/// The loaders by load type.
class ServiceLoader {
public:
    /// The same object at each call, never deleted; null for a type outside the enumeration. Not
    /// thread-safe: ServiceFactory calls it under its lock.
    static IServiceLoader* Get(marrow::ser::LoadType type);
};

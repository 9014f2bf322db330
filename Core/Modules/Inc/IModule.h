// SPDX-License-Identifier: Apache-2.0
#pragma once

/// Base of everything that is created through the registry.
class IModule {
public:
    /// Called once by each ModuleAccessor that creates or shares the module.
    virtual void Init() = 0;
    virtual ~IModule();
};

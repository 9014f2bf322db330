// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

class IModule;

/// The class object of an implementation: what the registry knows of a class until it needs an
/// object. It lives as long as the process and is never deleted through this interface.
class IModuleClass {
public:
    IModuleClass();
    /// A new or a shared module; null where there can be none. The registry owns it.
    virtual IModule* Instance() const = 0;
    /// The name by which a configuration chooses this implementation.
    virtual std::string GetName() const = 0;

protected:
    ~IModuleClass() = default;
};

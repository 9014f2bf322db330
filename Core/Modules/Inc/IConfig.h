// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "IModule.h"

/// A configuration module, which may choose between the implementations of an interface. The daemon
/// has none.
class IConfig : public IModule {
public:
    /// Whether there is a value for `key`. The registry doesn't ask.
    virtual bool HasValue(std::string key) = 0;
    /// The value for `key`. The registry asks for "ModuleClassName" alone.
    virtual std::string GetValue(std::string key) = 0;
    ~IConfig() override;
};

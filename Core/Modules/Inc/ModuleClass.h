// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <utility>

#include "IModule.h"
#include "IModuleClass.h"

// Class objects are static data and never deleted through a pointer, and hosted libraries know
// their virtual table without a destructor.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

/// The class object of T: makes a new T at each Instance.
template <typename T>
class ModuleClass : public IModuleClass {
public:
    explicit ModuleClass(std::string name) : m_name(std::move(name)) {}

    IModule* Instance() const override { return new T; }
    std::string GetName() const override { return m_name; }

private:
    std::string m_name;
};

#pragma GCC diagnostic pop

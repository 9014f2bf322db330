// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>
#include <utility>

#include "IModule.h"
#include "IModuleClass.h"

/// What has become of the modules of a test.
struct ModuleCounts {
    int made = 0;
    int initialised = 0;
    int destroyed = 0;
};

/// A module behind the interface I that counts what happens to it.
template <typename I>
class CountedModule : public I {
public:
    explicit CountedModule(ModuleCounts& counts) : m_counts(counts) { ++m_counts.made; }
    ~CountedModule() override { ++m_counts.destroyed; }
    void Init() override { ++m_counts.initialised; }

private:
    ModuleCounts& m_counts;
};

/// A class object whose Instance is the test's.
class FakeModuleClass final : public IModuleClass {
public:
    FakeModuleClass(std::string name, std::function<IModule*()> instance)
        : m_name(std::move(name)), m_instance(std::move(instance)) {}

    IModule* Instance() const override { return m_instance(); }
    std::string GetName() const override { return m_name; }

private:
    std::string m_name;
    std::function<IModule*()> m_instance;
};

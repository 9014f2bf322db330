// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <list>

class IModuleClass;

/// The implementations that are registered for the interface I. No lock: the list is complete
/// before the first ModuleAccessor<I>::Get and isn't changed afterwards.
template <typename I>
class ModuleInterface {
public:
    /// `impl` isn't owned and lives as long as the process.
    static void AddImpl(IModuleClass* impl) { m_impls.push_back(impl); }
    /// In the order of registration.
    static std::list<IModuleClass*> GetImpls() { return m_impls; }

private:
    static std::list<IModuleClass*> m_impls;
};

template <typename I>
std::list<IModuleClass*> ModuleInterface<I>::m_impls;

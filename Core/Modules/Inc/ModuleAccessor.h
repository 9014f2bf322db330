// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <list>
#include <string>
#include <type_traits>

#include "ConfigAccessor.h"
#include "IConfig.h"
#include "IModule.h"
#include "IModuleClass.h"
#include "ModuleInterface.h"

/// The one module that stands behind the interface I.
///
/// No locks: Get is a test and a set on the message path, and costs one load once it has been made.
/// The daemon's main thread makes the first Get of the router and of the manager before other
/// threads need them; the factory is made by the thread that first loads a service. Two threads
/// that meet in a first Get both create a module. The pointer is atomic, so that whoever sees it
/// sees a whole module.
template <typename I>
class ModuleAccessor {
public:
    /// Creates the module at the first call that can. Null while nothing suitable is registered:
    /// each call then tries again.
    static I* Get() {
        I* instance = m_instance.load(std::memory_order_acquire);
        if (instance == nullptr) {
            instance = Create();
            m_instance.store(instance, std::memory_order_release);
        }
        return instance;
    }

    /// Chooses a class object, makes a module, initialises it and returns it; null where no class
    /// object is registered, where it makes no module, or where that module is no I (it is deleted
    /// then). Doesn't look at what Get keeps.
    static I* Create() {
        const std::list<IModuleClass*> impls = ModuleInterface<I>::GetImpls();
        if (impls.empty()) {
            return nullptr;
        }
        IModule* const module = Choose(impls)->Instance();
        if (module == nullptr) {
            return nullptr;
        }
        I* const instance = dynamic_cast<I*>(module);
        if (instance == nullptr) {
            delete module;
            return nullptr;
        }
        module->Init();
        return instance;
    }

private:
    // The class object that the configuration names; the first one where nothing is configured or
    // nothing bears that name. A configuration itself is always the first.
    static IModuleClass* Choose(const std::list<IModuleClass*>& impls) {
        if constexpr (!std::is_same_v<I, IConfig>) {
            IConfig*& config = ConfigAccessor<I>::m_storage;
            if (config == nullptr) {
                config = ModuleAccessor<IConfig>::Create();
            }
            if (config != nullptr) {
                const std::string wanted = config->GetValue("ModuleClassName");
                for (IModuleClass* impl : impls) {
                    if (impl->GetName() == wanted) {
                        return impl;
                    }
                }
            }
        }
        return impls.front();
    }

    static std::atomic<I*> m_instance;
    static_assert(sizeof(m_instance) == sizeof(I*));
};

template <typename I>
std::atomic<I*> ModuleAccessor<I>::m_instance{nullptr};

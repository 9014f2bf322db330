// SPDX-License-Identifier: Apache-2.0
#pragma once

class IConfig;

template <typename I>
class ModuleAccessor;

/// The configuration object of the interface I; each interface has one of its own.
template <typename I>
class ConfigAccessor {
private:
    friend class ModuleAccessor<I>;
    static IConfig* m_storage;
};

template <typename I>
IConfig* ConfigAccessor<I>::m_storage = nullptr;

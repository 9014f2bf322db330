// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <string>
#include <vector>

#include "ElfSymbols.h"

/// The dynamic symbol table of the daemon's executable, by name; read once in a process.
inline const std::map<std::string, ElfSymbol>& Exported() {
    static const auto* const exported = [] {
        auto* const symbols = new std::map<std::string, ElfSymbol>;
        for (const ElfSymbol& symbol : DynamicSymbols(HEARTHD_EXECUTABLE)) {
            symbols->emplace(symbol.name, symbol);
        }
        return symbols;
    }();
    return *exported;
}

/// Those of the names that it lacks.
inline std::vector<std::string> Missing(const std::vector<std::string>& names) {
    std::vector<std::string> missing;
    for (const std::string& name : names) {
        if (!Exported().contains(name)) {
            missing.push_back(name);
        }
    }
    return missing;
}

/// `beginnings` before each of the names.
inline std::vector<std::string> Each(const std::vector<std::string>& beginnings,
                                     const std::vector<std::string>& names) {
    std::vector<std::string> all;
    for (const std::string& beginning : beginnings) {
        for (const std::string& name : names) {
            all.push_back(beginning + name);
        }
    }
    return all;
}

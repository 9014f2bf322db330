// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

/// A symbol that an ELF file of this machine defines.
struct ElfSymbol {
    std::string name; ///< demangled, with "std::string" for the class behind it
    bool isLocal = false;
    bool isWeak = false;
    bool isUnique = false; ///< STB_GNU_UNIQUE
    bool isHidden = false;
    bool isObject = false;      ///< data that isn't thread-local
    bool isThreadLocal = false; ///< data of each thread
    bool isFunction = false;
};

/// The dynamic symbol table: what libraries that are loaded later bind to. Throws
/// std::runtime_error where the file can't be read.
std::vector<ElfSymbol> DynamicSymbols(const std::string& path);
/// The whole symbol table; empty in a file that was stripped.
std::vector<ElfSymbol> AllSymbols(const std::string& path);

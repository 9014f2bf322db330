// SPDX-License-Identifier: Apache-2.0
#include "LibraryCheck.h"

#include <map>

#include "Demangled.h"
#include "HostedVariables.h"

namespace hearthctl {

namespace {

using Fault = LibraryCheck::Fault;
using Faults = std::vector<Fault>;

constexpr const char* OWN_FILE = "/proc/self/exe";

// The first few, and how many more there are.
std::string Enumerated(const std::vector<std::string>& names) {
    constexpr std::size_t SHOWN = 3;
    std::string text;
    for (std::size_t i = 0; i < names.size() && i < SHOWN; ++i) {
        text += (i == 0 ? "" : ", ") + names[i];
    }
    return names.size() <= SHOWN ? text
                                 : text + " and " + std::to_string(names.size() - SHOWN) + " more";
}

// The daemon reads through whatever stands there.
Faults CheckVariables(const std::map<std::string, int>& types) {
    Faults faults;
    for (const char* name : {marrow::ser::SERVICE_VARIABLE, marrow::ser::PROXY_VARIABLE}) {
        const auto type = types.find(name);
        if (type == types.end()) {
            faults.push_back({true, std::string("exports no variable ") + name +
                                        ": the daemon ends when it loads that"});
        } else if (type->second != STT_OBJECT) {
            faults.push_back({true, std::string("exports ") + name +
                                        ", which is no variable: the daemon ends when it loads "
                                        "that"});
        }
    }
    return faults;
}

Faults CheckExports(const ElfFile& library) {
    std::map<std::string, int> types;
    std::vector<std::string> unique;
    library.ForEachExport([&](const std::string& name, const GElf_Sym& symbol) {
        types[name] = GELF_ST_TYPE(symbol.st_info);
        if (GELF_ST_BIND(symbol.st_info) == STB_GNU_UNIQUE) {
            unique.push_back(Demangled(name));
        }
    });
    Faults faults = CheckVariables(types);
    if (!unique.empty()) {
        faults.push_back({false, "has unique symbols, which keep it in the process when it was "
                                 "unloaded (-fno-gnu-unique makes none): " +
                                     Enumerated(unique)});
    }
    return faults;
}

} // namespace

LibraryCheck::LibraryCheck(std::string root) : m_root(std::move(root)) {
    const std::string daemon = m_root + HEARTHD_DAEMON;
    try {
        m_reference.emplace(daemon);
        m_trial.emplace(daemon);
    } catch (const ElfFile::Unusable& unusable) {
        m_obstacle = daemon + ' ' + unusable.what();
        if (!m_reference) {
            m_reference.emplace(OWN_FILE);
        }
    }
}

std::vector<Fault> LibraryCheck::Check(const std::string& path) const {
    const std::string file = m_root + path;
    Faults faults;
    try {
        const ElfFile library(file);
        CheckMachine(library);
        faults = CheckExports(library);
        const Faults tried = Tried(file);
        faults.insert(faults.end(), tried.begin(), tried.end());
    } catch (const ElfFile::Unusable& unusable) {
        faults.push_back({true, unusable.what()});
    }
    for (Fault& fault : faults) {
        fault.text.insert(0, "the library " + file + ' ');
    }
    return faults;
}

void LibraryCheck::CheckMachine(const ElfFile& library) const {
    if (!library.IsOfMachineOf(*m_reference)) {
        throw ElfFile::Unusable("is for another kind of machine than the daemon");
    }
    if (!library.IsSharedObject()) {
        throw ElfFile::Unusable("is no shared library");
    }
}

std::vector<Fault> LibraryCheck::Tried(const std::string& path) const {
    Faults faults;
    if (!m_trial || !LoadTrial::CanTry(path)) {
        return faults;
    }
    const LoadTrial::Result result = m_trial->Try(path);
    if (!result.missing.empty()) { // names are missing then too
        faults.push_back({true, "needs what isn't found: " + Enumerated(result.missing)});
    } else if (!result.unresolved.empty()) {
        faults.push_back({true, "has names that neither it nor the daemon knows: " +
                                    Enumerated(result.unresolved)});
    }
    for (const std::string& other : result.others) {
        faults.push_back({true, "can't be loaded: " + other});
    }
    return faults;
}

} // namespace hearthctl

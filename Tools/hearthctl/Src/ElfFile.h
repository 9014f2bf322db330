// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>

#include <gelf.h>

#include "FileDescriptor.h"

namespace hearthctl {

/// An ELF file, which is only read: nothing of it runs.
class ElfFile {
public:
    /// Why it can't be used; for a person.
    struct Unusable : std::runtime_error {
        using std::runtime_error::runtime_error;
    };

    /// Throws Unusable where `path` can't be opened, or is no whole ELF file.
    explicit ElfFile(const std::string& path);

    /// Whether the two are for the same kind of machine.
    bool IsOfMachineOf(const ElfFile& other) const;
    bool IsSharedObject() const { return m_header.e_type == ET_DYN; }
    /// The program that loads it; empty for a library.
    std::string Interpreter() const;

    /// What the file itself defines for others. Throws Unusable where there is no table of that.
    void ForEachExport(
        const std::function<void(const std::string& name, const GElf_Sym& symbol)>& visit) const;

private:
    struct EndElf {
        void operator()(Elf* elf) const { elf_end(elf); }
    };

    const marrow::base::FileDescriptor m_file;
    std::unique_ptr<Elf, EndElf> m_elf;
    GElf_Ehdr m_header{};
};

} // namespace hearthctl

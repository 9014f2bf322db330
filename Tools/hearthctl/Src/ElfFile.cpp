// SPDX-License-Identifier: Apache-2.0
#include "ElfFile.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>

namespace hearthctl {

namespace {

// The sections, whose headers are the end of a file that a linker makes, end within `size`.
bool IsWhole(const GElf_Ehdr& header, std::size_t size) {
    return header.e_shoff <= size &&
           std::size_t{header.e_shnum} * header.e_shentsize <= size - header.e_shoff;
}

} // namespace

ElfFile::ElfFile(const std::string& path) : m_file(open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
    if (m_file.Number() < 0) {
        throw Unusable(std::string("can't be opened: ") + strerror(errno));
    }
    elf_version(EV_CURRENT);
    m_elf.reset(elf_begin(m_file.Number(), ELF_C_READ, nullptr));
    if (m_elf == nullptr || elf_kind(m_elf.get()) != ELF_K_ELF) {
        throw Unusable("is no ELF file");
    }
    if (gelf_getehdr(m_elf.get(), &m_header) == nullptr) {
        throw Unusable(std::string("is damaged: ") + elf_errmsg(-1));
    }
    std::size_t size = 0;
    if (elf_rawfile(m_elf.get(), &size) == nullptr || !IsWhole(m_header, size)) {
        throw Unusable("is cut off");
    }
}

bool ElfFile::IsOfMachineOf(const ElfFile& other) const {
    return m_header.e_machine == other.m_header.e_machine &&
           m_header.e_ident[EI_CLASS] == other.m_header.e_ident[EI_CLASS] &&
           m_header.e_ident[EI_DATA] == other.m_header.e_ident[EI_DATA];
}

std::string ElfFile::Interpreter() const {
    std::size_t count = 0;
    elf_getphdrnum(m_elf.get(), &count);
    for (int i = 0; i < static_cast<int>(count); ++i) {
        GElf_Phdr segment{};
        if (gelf_getphdr(m_elf.get(), i, &segment) != nullptr && segment.p_type == PT_INTERP) {
            const Elf_Data* const data =
                elf_getdata_rawchunk(m_elf.get(), static_cast<std::int64_t>(segment.p_offset),
                                     segment.p_filesz, ELF_T_BYTE);
            const auto* const text = data == nullptr ? "" : static_cast<const char*>(data->d_buf);
            return {text, data == nullptr ? 0 : strnlen(text, data->d_size)};
        }
    }
    return {};
}

void ElfFile::ForEachExport(
    const std::function<void(const std::string& name, const GElf_Sym& symbol)>& visit) const {
    Elf_Scn* section = nullptr;
    GElf_Shdr header{};
    do {
        section = elf_nextscn(m_elf.get(), section);
    } while (section != nullptr && gelf_getshdr(section, &header) != nullptr &&
             header.sh_type != SHT_DYNSYM);
    Elf_Data* const data = section == nullptr ? nullptr : elf_getdata(section, nullptr);
    if (data == nullptr || header.sh_type != SHT_DYNSYM || header.sh_entsize == 0) {
        throw Unusable("has no table of what it exports");
    }
    GElf_Sym symbol{};
    for (int i = 0; gelf_getsym(data, i, &symbol) != nullptr; ++i) {
        const char* const name = elf_strptr(m_elf.get(), header.sh_link, symbol.st_name);
        if (symbol.st_shndx != SHN_UNDEF && GELF_ST_BIND(symbol.st_info) != STB_LOCAL &&
            name != nullptr) {
            visit(name, symbol);
        }
    }
}

} // namespace hearthctl

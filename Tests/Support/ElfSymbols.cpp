// SPDX-License-Identifier: Apache-2.0
#include "ElfSymbols.h"

#include <cstdlib>
#include <cstring>
#include <cxxabi.h>
#include <fstream>
#include <iterator>
#include <link.h>
#include <memory>
#include <stdexcept>

namespace {

std::string Demangled(const char* name) {
    int status = 0;
    const std::unique_ptr<char, decltype(&std::free)> text(
        abi::__cxa_demangle(name, nullptr, nullptr, &status), &std::free);
    std::string result = status == 0 ? text.get() : name;
    static const std::string LONG =
        "std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> >";
    for (auto at = result.find(LONG); at != std::string::npos; at = result.find(LONG, at)) {
        result.replace(at, LONG.size(), "std::string");
    }
    return result;
}

// A structure of the file, copied out of it: the bytes have no alignment.
template <typename T>
T Read(const std::string& bytes, std::size_t offset) {
    T value;
    if (offset + sizeof(T) > bytes.size()) {
        throw std::runtime_error("the ELF file is cut off");
    }
    std::memcpy(&value, bytes.data() + offset, sizeof(T));
    return value;
}

ElfSymbol MakeSymbol(const ElfW(Sym) & symbol, const char* name) {
    const auto binding = ELF64_ST_BIND(symbol.st_info); // the same in both classes
    const auto type = ELF64_ST_TYPE(symbol.st_info);
    const auto visibility = ELF64_ST_VISIBILITY(symbol.st_other);
    ElfSymbol result;
    result.name = Demangled(name);
    result.isLocal = binding == STB_LOCAL;
    result.isWeak = binding == STB_WEAK;
    result.isUnique = binding == STB_GNU_UNIQUE;
    result.isHidden = visibility == STV_HIDDEN || visibility == STV_INTERNAL;
    result.isObject = type == STT_OBJECT;
    result.isThreadLocal = type == STT_TLS;
    result.isFunction = type == STT_FUNC;
    return result;
}

std::vector<ElfSymbol> Symbols(const std::string& path, ElfW(Word) table) {
    std::ifstream file(path, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(file)),
                            std::istreambuf_iterator<char>());
    const auto header = Read<ElfW(Ehdr)>(bytes, 0);
    if (std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0) {
        throw std::runtime_error(path + " is no ELF file");
    }
    std::vector<ElfSymbol> symbols;
    for (std::size_t i = 0; i < header.e_shnum; ++i) {
        const auto section = Read<ElfW(Shdr)>(bytes, header.e_shoff + i * sizeof(ElfW(Shdr)));
        if (section.sh_type != table) {
            continue;
        }
        const auto names =
            Read<ElfW(Shdr)>(bytes, header.e_shoff + section.sh_link * sizeof(ElfW(Shdr)));
        for (std::size_t at = 0; at < section.sh_size; at += sizeof(ElfW(Sym))) {
            const auto symbol = Read<ElfW(Sym)>(bytes, section.sh_offset + at);
            if (symbol.st_shndx != SHN_UNDEF && symbol.st_name != 0) {
                symbols.push_back(
                    MakeSymbol(symbol, bytes.data() + names.sh_offset + symbol.st_name));
            }
        }
    }
    return symbols;
}

} // namespace

std::vector<ElfSymbol> DynamicSymbols(const std::string& path) {
    return Symbols(path, SHT_DYNSYM);
}

std::vector<ElfSymbol> AllSymbols(const std::string& path) {
    return Symbols(path, SHT_SYMTAB);
}

// SPDX-License-Identifier: Apache-2.0

// Symbol tables as the dynamic linker itself uses them (System V gABI, "Dynamic Linking"; the GNU
// hash table beside it), in the memory of this process.

#include "ProcedureName.h"

#include <algorithm>
#include <cstring>
#include <elf.h>
#include <link.h>

namespace {

using Address = ElfW(Addr);

struct Search {
    const Address address;
    char* const name;
    const std::size_t size;
    Address offset = 0;
    bool found = false;
};

struct SymbolTable {
    const ElfW(Sym) * symbols = nullptr;
    const char* names = nullptr;
    std::size_t count = 0;
};

bool Contains(const dl_phdr_info& part, Address address) {
    return std::any_of(part.dlpi_phdr, part.dlpi_phdr + part.dlpi_phnum,
                       [&](const ElfW(Phdr) & segment) {
                           const Address start = part.dlpi_addr + segment.p_vaddr;
                           return segment.p_type == PT_LOAD && address >= start &&
                                  address - start < segment.p_memsz;
                       });
}

// One past the last symbol that the table can find: the symbols that it holds come last, and the
// chain of the last bucket ends with them.
std::size_t CountFromGnuHash(const std::uint32_t* table) {
    const std::uint32_t buckets = table[0];
    const std::uint32_t first = table[1];
    const std::uint32_t filterWords = table[2];
    const std::uint32_t* const bucket = table + 4 + filterWords * (sizeof(Address) / 4);
    const std::uint32_t* const chain = bucket + buckets;
    std::uint32_t last = 0;
    for (std::uint32_t i = 0; i < buckets; ++i) {
        last = std::max(last, bucket[i]);
    }
    if (last < first) {
        return first;
    }
    while ((chain[last - first] & 1U) == 0) {
        ++last;
    }
    return last + 1;
}

// The linker has made the addresses of most parts absolute; the kernel's own part keeps its own.
template <typename T>
const T* Absolute(const dl_phdr_info& part, Address address) {
    // NOLINTNEXTLINE(performance-no-int-to-ptr): that is what the tables hold
    return reinterpret_cast<const T*>(address < part.dlpi_addr ? address + part.dlpi_addr
                                                               : address);
}

SymbolTable TableOf(const dl_phdr_info& part) {
    SymbolTable table;
    for (int i = 0; i < part.dlpi_phnum; ++i) {
        if (part.dlpi_phdr[i].p_type != PT_DYNAMIC) {
            continue;
        }
        const auto* entry = Absolute<ElfW(Dyn)>(part, part.dlpi_phdr[i].p_vaddr);
        for (; entry->d_tag != DT_NULL; ++entry) {
            const Address address = entry->d_un.d_ptr;
            if (entry->d_tag == DT_SYMTAB) {
                table.symbols = Absolute<ElfW(Sym)>(part, address);
            } else if (entry->d_tag == DT_STRTAB) {
                table.names = Absolute<char>(part, address);
            } else if (entry->d_tag == DT_HASH && table.count == 0) {
                table.count = Absolute<ElfW(Word)>(part, address)[1];
            } else if (entry->d_tag == DT_GNU_HASH) {
                table.count = CountFromGnuHash(Absolute<std::uint32_t>(part, address));
            }
        }
    }
    if (table.symbols == nullptr || table.names == nullptr) {
        table.count = 0;
    }
    return table;
}

bool IsProcedure(const ElfW(Sym) & symbol) {
    const unsigned type = symbol.st_info & 0xFU;
    return (type == STT_FUNC || type == STT_GNU_IFUNC) && symbol.st_shndx != SHN_UNDEF;
}

int LookInto(dl_phdr_info* part, std::size_t /*size*/, void* data) {
    Search& search = *static_cast<Search*>(data);
    if (!Contains(*part, search.address)) {
        return 0;
    }
    const SymbolTable table = TableOf(*part);
    for (std::size_t i = 0; i < table.count; ++i) {
        const ElfW(Sym)& symbol = table.symbols[i];
        const Address start = part->dlpi_addr + symbol.st_value;
        if (IsProcedure(symbol) && search.address >= start &&
            search.address - start < symbol.st_size) {
            // Here, where the library can't go away.
            const char* const name = table.names + symbol.st_name;
            const std::size_t length = strnlen(name, search.size);
            search.found = length < search.size;
            if (search.found) {
                std::memcpy(search.name, name, length + 1);
                search.offset = search.address - start;
            }
            break;
        }
    }
    return 1; // nothing else lies at this address
}

} // namespace

// NOLINTNEXTLINE(readability-non-const-parameter): the search writes to it
bool ProcedureName(std::uintptr_t address, char* name, std::size_t size, std::uintptr_t& offset) {
    Search search{address, name, size};
    dl_iterate_phdr(LookInto, &search);
    offset = search.offset;
    return search.found;
}

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>

/// The name of the procedure around `address`, as the linker knows it, and the offset into it: from
/// the dynamic symbol table of whichever part of the process lies there. A procedure that stands in
/// no such table has none.
///
/// Async-signal-safe as far as the C library lets it be: it allocates nothing, opens nothing, and
/// takes the one lock that guards the list of loaded libraries, which nobody holds for long.
///
/// Returns false where there is no name, or none that fits into `size` bytes with its NUL.
bool ProcedureName(std::uintptr_t address, char* name, std::size_t size, std::uintptr_t& offset);

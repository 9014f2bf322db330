// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

namespace vconf {

/// Whether it is what VConf.h calls a key's name.
bool IsKeyName(std::string_view name);
/// Throws KeyError where it isn't.
void CheckKeyName(std::string_view name);

/// Whether such a key ends with the machine's restart.
bool IsMemoryKey(std::string_view name);

bool IsUtf8(std::string_view text);

} // namespace vconf

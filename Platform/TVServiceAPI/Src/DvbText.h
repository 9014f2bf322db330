// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "TsPacket.h"

namespace tvservice {

/// A text of a DVB table as UTF-8 (EN 300 468, annex A): its first bytes select the character
/// table. Control codes go, but for the line break, which becomes a newline; what the table doesn't
/// have becomes U+FFFD.
std::string TextOf(Bytes text);

} // namespace tvservice

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>

// What a fuzzer drives, and what the tests replay. Any input is taken; 0 each time.

/// Bytes of a transport stream.
int FuzzTransportStream(std::span<const std::uint8_t> input);
/// Contents of table sections.
int FuzzTables(std::span<const std::uint8_t> input);
/// A message's payload. Ends the process where the codec and the JSON library disagree about it.
int FuzzJson(std::span<const std::uint8_t> input);

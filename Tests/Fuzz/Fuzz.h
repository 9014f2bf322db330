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
/// Names and texts of the wire. This one and those below end the process where what must hold
/// doesn't.
int FuzzWire(std::span<const std::uint8_t> input);
/// A manifest.
int FuzzManifest(std::span<const std::uint8_t> input);
/// The database of the configuration.
int FuzzConfiguration(std::span<const std::uint8_t> input);
/// Names of files in the directory of the crash files, with '/' or NUL between them.
int FuzzCrashFile(std::span<const std::uint8_t> input);
/// What is written into the debug shell's pipe.
int FuzzPipe(std::span<const std::uint8_t> input);

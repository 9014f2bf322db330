// SPDX-License-Identifier: Apache-2.0

// A libFuzzer target: any bytes as the contents of table sections. Each piece of the input is a
// PID, a length, and a section's bytes; the section gets its right length and CRC_32, which no
// fuzzer would find, and goes through the library in packets.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

#include "Fuzz.h"
#include "SectionBuilder.h"
#include "StreamCore.h"
#include "TsWriter.h"

namespace {

constexpr std::size_t LEAST_LONG_BYTES = 12;

std::uint16_t PidOf(std::uint8_t choice) {
    constexpr std::uint16_t PIDS[] = {0x00, 0x11, 0x12, 0x14, 0x1001, 0x1002};
    return PIDS[choice % std::size(PIDS)];
}

// Of the long form where the bytes say so.
streammaker::Bytes SectionOf(std::span<const std::uint8_t> bytes) {
    streammaker::Bytes section(bytes.begin(), bytes.end());
    section.resize(std::max(section.size(), LEAST_LONG_BYTES));
    const std::size_t length = section.size() - 3;
    section[1] = static_cast<std::uint8_t>((section[1] & 0xF0U) | length >> 8);
    section[2] = static_cast<std::uint8_t>(length);
    if ((section[1] & 0x80) != 0) {
        streammaker::RenewCrc(section);
    }
    return section;
}

} // namespace

int FuzzTables(std::span<const std::uint8_t> input) {
    streammaker::TsWriter writer;
    writer.WriteNull(3);
    while (input.size() >= 3) {
        const std::size_t wanted = (input[1] & 0x0FU) << 8 | input[2];
        const std::uint16_t pid = PidOf(input[0]);
        input = input.subspan(3);
        const std::size_t size = std::min({wanted, input.size(), std::size_t{4096}});
        writer.WriteSection(pid, SectionOf(input.first(size)));
        input = input.subspan(size);
    }
    StreamCore core;
    core.Push(writer.Written());
    core.Break();
    return 0;
}

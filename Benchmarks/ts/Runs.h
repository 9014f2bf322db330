// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

/// What one way through a file has brought.
struct RunResult {
    double seconds = 0;
    std::uint64_t sections = 0;
    std::uint64_t captions = 0;
    std::uint64_t pesPackets = 0;
};

/// The services and PIDs of the multiplex, as ffmpeg numbers them.
constexpr unsigned SERVICES = 4;
constexpr std::uint16_t FIRST_PMT_PID = 0x1000;
constexpr std::uint16_t FIRST_STREAM_PID = 0x100; // video and audio of the services by turns
constexpr std::uint16_t SDT_PID = 0x11;
constexpr std::uint16_t EIT_PID = 0x12;

/// The PIDs that the section filters are on.
std::vector<std::uint16_t> SectionPids();

/// Through TVServiceAPI: 32 section filters, four PES subscriptions, captions on.
RunResult RunLibrary(const std::string& path);

/// Through libdvbpsi's assembler: every section of the same PIDs, and nothing else.
RunResult RunDvbpsi(const std::string& path);

/// Puts guides and service names into the null packets of a stream, and writes it `copies` times.
void MakeMultiplex(const std::string& input, const std::string& output, unsigned copies);

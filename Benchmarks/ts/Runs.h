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
constexpr unsigned FILTERS = 32;
constexpr std::uint16_t FIRST_PMT_PID = 0x1000;
constexpr std::uint16_t FIRST_STREAM_PID = 0x100; // video and audio of the services by turns
constexpr std::uint16_t SDT_PID = 0x11;
constexpr std::uint16_t EIT_PID = 0x12;

/// The PIDs that the section filters are on, and the PID of each of the 32.
std::vector<std::uint16_t> SectionPids();
std::vector<std::uint16_t> FilterPids();

/// Through TVServiceAPI: 32 section filters, four PES subscriptions, captions on.
RunResult RunLibrary(const std::string& path);

/// Through libdvbpsi's assembler and nothing else: every section of these PIDs, of one that stands
/// there several times as often.
RunResult RunDvbpsi(const std::string& path, const std::vector<std::uint16_t>& pids);

/// Puts guides and service names into the null packets of a stream, and writes it `copies` times.
void MakeMultiplex(const std::string& input, const std::string& output, unsigned copies);

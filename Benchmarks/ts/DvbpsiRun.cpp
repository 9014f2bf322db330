// SPDX-License-Identifier: Apache-2.0
#include <chrono>
#include <dvbpsi/dvbpsi.h>
#include <dvbpsi/psi.h>
#include <fcntl.h>
#include <stdexcept>
#include <unistd.h>

#include "Runs.h"

namespace {

constexpr std::size_t PACKET_BYTES = 188;
constexpr int LONGEST_SECTION = 4096;

std::uint64_t g_sections = 0;

void OnSection(dvbpsi_t* /*handle*/, dvbpsi_psi_section_t* section) {
    ++g_sections;
    dvbpsi_DeletePSISections(section);
}

} // namespace

RunResult RunDvbpsi(const std::string& path, const std::vector<std::uint16_t>& pids) {
    std::vector<std::vector<dvbpsi_t*>> decoders(0x2000);
    for (const std::uint16_t pid : pids) {
        dvbpsi_t* decoder = dvbpsi_new(nullptr, DVBPSI_MSG_NONE);
        decoder->p_decoder = static_cast<dvbpsi_decoder_t*>(
            dvbpsi_decoder_new(OnSection, LONGEST_SECTION, true, sizeof(dvbpsi_decoder_t)));
        decoders[pid].push_back(decoder);
    }
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0) {
        throw std::runtime_error("cannot open " + path);
    }
    const auto begin = std::chrono::steady_clock::now();
    std::vector<std::uint8_t> buffer(PACKET_BYTES * 348); // the library's reads are as large
    ssize_t size = 0;
    while ((size = read(file, buffer.data(), buffer.size())) > 0) {
        for (std::size_t at = 0; at + PACKET_BYTES <= static_cast<std::size_t>(size);
             at += PACKET_BYTES) {
            std::uint8_t* packet = &buffer[at];
            for (dvbpsi_t* decoder : decoders[(packet[1] & 0x1FU) << 8 | packet[2]]) {
                dvbpsi_packet_push(decoder, packet);
            }
        }
    }
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
    close(file);
    for (const std::vector<dvbpsi_t*>& ofPid : decoders) {
        for (dvbpsi_t* decoder : ofPid) {
            dvbpsi_decoder_delete(decoder->p_decoder);
            decoder->p_decoder = nullptr;
            dvbpsi_delete(decoder);
        }
    }
    return {taken.count(), g_sections, 0, 0};
}

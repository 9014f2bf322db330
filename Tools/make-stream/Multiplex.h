// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Descriptors.h"
#include "SiText.h"
#include "VideoCoder.h"

namespace streammaker {

/// An event of the guide (EN 300 468, 5.2.4).
struct Event {
    std::uint16_t id = 0;
    std::int64_t start = 0;     ///< UTC, seconds since 1970; -1: undefined
    std::uint32_t duration = 0; ///< seconds
    std::uint8_t runningStatus = 0;
    bool scrambled = false; ///< free_CA_mode
    SiText name;
    SiText text;
    std::string language = "eng";
    std::vector<Descriptor> descriptors; ///< behind the short event descriptor
};

/// A line of a PMT beside the video's. What its PID carries is StreamMaker::AddPes'.
struct Component {
    std::uint16_t pid = 0;
    std::uint8_t streamType = 6; ///< ISO/IEC 13818-1, table 2-34; 6: private data in PES packets
    std::vector<Descriptor> descriptors;
};

struct Service {
    std::uint16_t id = 0;
    SiText name;
    SiText provider;
    std::uint8_t type = 1;          ///< service_type; 1 is digital television
    std::uint8_t runningStatus = 4; ///< 4: running
    bool scrambled = false;         ///< free_CA_mode

    std::uint16_t pmtPid = 0;
    std::uint16_t pcrPid = 0; ///< 0: the video's
    std::uint16_t videoPid = 0;
    VideoCodec codec = VideoCodec::MPEG2;
    bool boundedVideo = false; ///< PES_packet_length of the video is the length, not 0
    std::vector<Descriptor> programDescriptors;
    std::vector<Component> components; ///< in the PMT behind the video

    std::optional<Event> present;
    std::optional<Event> following;
    /// In the order of their start, from midnight (UTC) of the day on which the stream begins, for
    /// four days.
    std::vector<Event> schedule;
};

/// All that the tables of a stream tell.
struct Multiplex {
    std::uint16_t transportStreamId = 1;
    std::uint16_t originalNetworkId = 1;
    std::vector<Service> services;

    /// Throws std::invalid_argument where there is no such service.
    Service& ServiceOf(std::uint16_t id);
    const Service* Find(std::uint16_t id) const;
};

/// Throws std::invalid_argument where two services have one id or one video PID, or a PID is out of
/// range. Several PMTs may share a PID.
void Check(const Multiplex& multiplex);

/// PCR_PID of its PMT; 0x1FFF where it has none.
std::uint16_t PcrPidOf(const Service& service);

} // namespace streammaker

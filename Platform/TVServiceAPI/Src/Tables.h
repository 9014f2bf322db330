// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Section.h"
#include "TCProgramData.h"

namespace tvservice {

// The tables of a stream, decoded. Each function takes the sections of one version of one table,
// all of them and intact, in their order, and returns nothing where they don't hold such a table.

using SectionBytes = std::vector<std::uint8_t>;

/// Program association table (ISO/IEC 13818-1, 2.4.4.3).
struct Pat {
    struct Program {
        std::uint16_t number = 0; ///< never 0, which would be the network's own table
        std::uint16_t pmtPid = 0;
    };
    std::uint16_t transportStreamId = 0;
    std::uint8_t version = 0;
    std::vector<Program> programs;
};
std::optional<Pat> DecodePat(const std::vector<SectionBytes>& sections);

/// Program map table (ISO/IEC 13818-1, 2.4.4.8).
struct Pmt {
    enum class Captions { None, DvbSubtitles, Teletext };
    struct Stream {
        TSProgramComponent component;
        Captions captions = Captions::None; ///< what its descriptors say that it carries
    };
    std::uint16_t programNumber = 0;
    std::uint8_t version = 0;
    std::uint16_t pcrPid = NULL_PID;
    std::vector<Stream> streams;
};
std::optional<Pmt> DecodePmt(const std::vector<SectionBytes>& sections);

/// Service description table (EN 300 468, 5.2.3).
struct Sdt {
    struct Service {
        std::uint16_t serviceId = 0;
        std::uint8_t type = 0;
        std::string name;
        std::string provider;
        ERunningStatus runningStatus = RUNNING_UNDEFINED;
        bool freeToAir = true;
    };
    std::uint16_t transportStreamId = 0;
    std::uint16_t originalNetworkId = 0;
    std::vector<Service> services;
};
std::optional<Sdt> DecodeSdt(const std::vector<SectionBytes>& sections);

/// One section of an event information table (EN 300 468, 5.2.4): sections of these come and change
/// one by one.
struct EitSection {
    std::uint8_t tableId = 0;
    std::uint16_t serviceId = 0;
    std::uint16_t transportStreamId = 0;
    std::uint16_t originalNetworkId = 0;
    std::uint8_t number = 0;
    std::vector<TSProgramEvent> events;
    std::uint8_t lastNumber = 0;  ///< of the table's sections
    std::uint8_t lastTableId = 0; ///< that the schedule has; of its own in other tables
};
std::optional<EitSection> DecodeEit(const Section& section);

/// Time and date table, and time offset table (EN 300 468, 5.2.5 and 5.2.6).
struct StreamTime {
    std::int64_t utc = 0;         ///< seconds since 1970
    std::int32_t localOffset = 0; ///< seconds
};
std::optional<StreamTime> DecodeTime(const Section& section);

} // namespace tvservice
